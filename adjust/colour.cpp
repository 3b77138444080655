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
#include "pixels/channel_tables.h"

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

// Saturation in byte lanes, for a source and result of one family when no
// product wraps (|k| · 255 < 2^31): then q(d) = (d·k) / 255 is odd in d, and
// since 0 <= grey <= 255 the result is grey ± min(|q|, 255) with saturating
// byte arithmetic, |q| looked up by |d| in a 256-byte table.
struct SaturationBytes {
  static constexpr int64_t kLargestFactor = 8421504;  // (2^31 − 1) / 255
  std::array<uint8_t, 256> scaled;                    // min(|d|·|k| / 255, 255)
  bool negative;                                      // k < 0: q has the sign opposite to d
  uint32_t red, green, blue, opaque;
  const Saturation& plain;

  static bool fits(const Saturation& saturation) {
    const int64_t k = static_cast<int32_t>(saturation.k);
    return k >= -kLargestFactor && k <= kLargestFactor;
  }
  SaturationBytes(const Saturation& saturation, const ShiftLayout& layout)
      : red(layout.red), green(layout.green), blue(layout.blue), opaque(layout.opaque), plain(saturation) {
    const int64_t k = static_cast<int32_t>(saturation.k);
    negative = k < 0;
    for (int64_t d = 0; d < 256; ++d) {
      scaled[static_cast<size_t>(d)] = static_cast<uint8_t>(std::min<int64_t>(d * (negative ? -k : k) / 255, 255));
    }
  }
  uint32_t operator()(uint32_t p) const {
    const ShiftLayout layout{red, green, blue, 255, opaque};
    return layout.store(plain(layout.load(&p)));
  }
};

#if defined(__x86_64__)
struct SaturationSpan {
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx512vbmi,avx2,bmi,bmi2,popcnt")]] static void apply(
      uint32_t* d, const uint32_t* s, int32_t n, const SaturationBytes& t) {
    __m512i table[4];
    for (int32_t k = 0; k < 4; ++k) table[k] = _mm512_loadu_si512(t.scaled.data() + 64 * k);
    constexpr uint64_t kFirstOfFour = 0x1111111111111111u;
    const __mmask64 channels =
        (kFirstOfFour << (t.red / 8)) | (kFirstOfFour << (t.green / 8)) | (kFirstOfFour << (t.blue / 8));
    // Per pixel: weights 1, 2, 1 on the bytes of R, G, B; byte 0 of each word
    // copied to its four bytes.
    const __m512i weights = _mm512_set1_epi32(static_cast<int32_t>(1u << t.red | 2u << t.green | 1u << t.blue));
    const __m512i ones = _mm512_set1_epi16(1);
    const __m512i spread = _mm512_set4_epi32(0x0C0C0C0C, 0x08080808, 0x04040404, 0);
    const __m512i opaque = _mm512_set1_epi32(static_cast<int32_t>(t.opaque));
    int32_t i = 0;
    for (; i + 16 <= n; i += 16) {
      const __m512i p = _mm512_loadu_si512(s + i);
      const __m512i sum = _mm512_madd_epi16(_mm512_maddubs_epi16(p, weights), ones);
      const __m512i grey = _mm512_shuffle_epi8(_mm512_maskz_srli_epi32(static_cast<__mmask16>(0xFFFF), sum, 2), spread);
      const __m512i above = _mm512_subs_epu8(p, grey), below = _mm512_subs_epu8(grey, p);
      const __m512i distance = _mm512_or_si512(above, below);
      const __m512i low = _mm512_permutex2var_epi8(table[0], distance, table[1]);
      const __m512i high = _mm512_permutex2var_epi8(table[2], distance, table[3]);
      const __m512i q = _mm512_mask_blend_epi8(_mm512_movepi8_mask(distance), low, high);
      // Where q is to be subtracted: v below the grey, or above it with k < 0.
      const __mmask64 down = t.negative ? _mm512_test_epi8_mask(above, above) : _mm512_test_epi8_mask(below, below);
      __m512i v = _mm512_mask_subs_epu8(_mm512_adds_epu8(grey, q), down, grey, q);
      _mm512_storeu_si512(d + i, _mm512_mask_blend_epi8(channels, opaque, v));
    }
    for (; i < n; ++i) d[i] = t(s[i]);
  }
};
#endif

// The map walker for saturation (found for map_picture by the kernel's type):
// in byte lanes where the machine and the call allow, else the general walker.
void map(PictureEditor& src, PictureEditor& dst, Rect r, const Saturation& saturation) {
#if defined(__x86_64__)
  r.x1 = std::min({r.x1, src.width, dst.width});
  r.y1 = std::min({r.y1, src.height, dst.height});
  const ShiftLayout in = ShiftLayout::of(src.pixelFormat), out = ShiftLayout::of(dst.pixelFormat);
  const bool sameLayout = in.channel == 255 && out.channel == 255 && in.red == out.red && in.green == out.green &&
                          in.blue == out.blue && in.opaque == out.opaque;
  if (ActiveIsa() == Isa::kAvx512 && HasByteShuffles() && sameLayout && SaturationBytes::fits(saturation)) {
    if (!r.empty()) {
      walk_detail::span_rows<SaturationSpan>(dst, r, r.bytes() > StreamThreshold(), SaturationBytes(saturation, out),
                                             src);
    }
    return;
  }
#endif
  walk_detail::map_sources(dst, r, saturation, src);
}

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
