#include "tools/lending.h"

#include <algorithm>

namespace picture_host {

uint8_t Premultiply(uint8_t c, uint8_t a) {
  return static_cast<uint8_t>((c * a + 127) / 255);
}

uint8_t Unpremultiply(uint8_t p, uint8_t a) {
  if (a == 0) return 0;
  return static_cast<uint8_t>(std::min(255, (p * 255 + a / 2) / a));
}

uint8_t AlphaToTransparency(uint8_t a) {
  return static_cast<uint8_t>(((255 - a) * 127 + 127) / 255);
}

uint8_t TransparencyToAlpha(uint8_t t) {
  const int clear = std::min<int>(t, 127);
  return static_cast<uint8_t>(255 - (clear * 255 + 63) / 127);
}

bool LayoutHoldsAlpha(int32_t layout) {
  return (layout >= 1 && layout <= 4) || layout == kRowTableLayout;
}

testhost::Pixel LendPixel(int32_t layout, bool hasAlphaChannel, Rgba c) {
  if (!hasAlphaChannel) c.a = 255;
  switch (layout) {
    case kRowTableLayout:
      return {c.r, c.g, c.b, hasAlphaChannel ? AlphaToTransparency(c.a) : uint8_t{0}};
    case 1:
    case 2:
      return {Premultiply(c.r, c.a), Premultiply(c.g, c.a), Premultiply(c.b, c.a), c.a};
    case 3:
    case 4:
      return {c.r, c.g, c.b, c.a};
    default:
      return {c.r, c.g, c.b, 255};
  }
}

Rgba ReadLentPixel(int32_t layout, bool hasAlphaChannel, testhost::Pixel p) {
  if (!hasAlphaChannel) return {p.r, p.g, p.b, 255};
  switch (layout) {
    case kRowTableLayout:
      return {p.r, p.g, p.b, TransparencyToAlpha(p.a & 0x7F)};
    case 1:
    case 2:
      return {Unpremultiply(p.r, p.a), Unpremultiply(p.g, p.a), Unpremultiply(p.b, p.a), p.a};
    case 3:
    case 4:
      return {p.r, p.g, p.b, p.a};
    default:
      return {p.r, p.g, p.b, 255};
  }
}

}  // namespace picture_host
