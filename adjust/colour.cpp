// Saturation and tint into a new opaque picture of the source's size.
// Saturation works in signed 32-bit integers: the grey weighs green twice and
// is shifted down (truncating), the scaled distance from it is divided toward
// zero, and the result is clamped. Tint works in doubles: an unnormalised grey
// (up to 765 with a white grey base) scaled by the sepia base, truncated and
// capped at 255.
#include "adjust/colour.h"

#include <algorithm>

#include "adjust/map_picture.h"
#include "pixels/channel.h"

namespace picture {
namespace {

// grey = (r + 2g + b) >> 2; v' = grey + ((v − grey)·(Amount + 255)) / 255, clamped
struct Saturation {
  // Amount + 255 and the product with it are taken modulo 2^32, in unsigned
  // arithmetic, so that an Amount near INT32_MAX gives what 32-bit two's
  // complement wrap-around gives, with no signed overflow.
  uint32_t k;
  explicit Saturation(int32_t amount) : k(static_cast<uint32_t>(amount) + 255u) {}

  uint32_t channel(int32_t v, int32_t grey) const {
    const auto product = static_cast<int32_t>(static_cast<uint32_t>(v - grey) * k);
    return Clamp255(grey + product / 255);
  }
  Rgb operator()(Rgb c) const {
    const auto grey = static_cast<int32_t>((c.r + 2 * c.g + c.b) >> 2);
    return {channel(static_cast<int32_t>(c.r), grey), channel(static_cast<int32_t>(c.g), grey),
            channel(static_cast<int32_t>(c.b), grey)};
  }
};

double unit(uint32_t colour, int shift) { return ((colour >> shift) & 255) / 255.0; }

// grey = r·wR + g·wG + b·wB; v' = min(truncate(s·grey), 255) per sepia channel s
struct Tint {
  double wR, wG, wB, sR, sG, sB;
  Tint(uint32_t greyBase, uint32_t sepiaBase)
      : wR(unit(greyBase, 16)),
        wG(unit(greyBase, 8)),
        wB(unit(greyBase, 0)),
        sR(unit(sepiaBase, 16)),
        sG(unit(sepiaBase, 8)),
        sB(unit(sepiaBase, 0)) {}

  // 0 <= w <= 765 (weights and sepia channels lie in 0..1), so the plain cast
  // truncates as TruncateToInt32 does, and vectorises.
  static uint32_t capped(double w) { return static_cast<uint32_t>(std::min(static_cast<int32_t>(w), 255)); }
  Rgb operator()(Rgb c) const {
    const double grey = c.r * wR + c.g * wG + c.b * wB;
    return {capped(sR * grey), capped(sG * grey), capped(sB * grey)};
  }
};

}  // namespace

REALpicture SaturationPicture(REALpicture source, int32_t amount) { return map_picture(source, Saturation(amount)); }

REALpicture TintPicture(REALpicture source, uint32_t greyBase, uint32_t sepiaBase) {
  return map_picture(source, Tint(greyBase, sepiaBase));
}

}  // namespace picture
