// The outline's anti-aliased line, literally: on a grid of 0x00RRGGBB colours,
// stepped one by one with a 16-bit accumulator and no clipping.
#pragma once

#include <cstdint>
#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace rendertest {

struct Grid {
  int32_t width, height;
  std::vector<uint32_t> rgb;  // row by row
  Grid(int32_t w, int32_t h, uint32_t fill) : width(w), height(h), rgb(static_cast<size_t>(w) * h, fill) {}
  uint32_t* at(int64_t x, int64_t y) {
    return x >= 0 && y >= 0 && x < width && y < height ? &rgb[static_cast<size_t>(y * width + x)] : nullptr;
  }
};

// The old pixel's green and blue cross over; the outline's channels stay.
inline void ref_pixel(Grid& g, uint32_t outline, int64_t x, int64_t y, uint32_t w) {
  uint32_t* p = g.at(x, y);
  if (p == nullptr) return;
  const auto mix = [&](int old, int line) { return static_cast<uint32_t>((old * w + line * (255 - w)) / 255); };
  const auto c = [](uint32_t v, int shift) { return static_cast<int>((v >> shift) & 255); };
  *p = mix(c(*p, 16), c(outline, 16)) << 16 | mix(c(*p, 0), c(outline, 8)) << 8 | mix(c(*p, 8), c(outline, 0));
}

inline void ref_wu_line(Grid& g, uint32_t outline, int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
  if (y0 > y1) {
    std::swap(x0, x1);
    std::swap(y0, y1);
  }
  ref_pixel(g, outline, x0, y0, 0);
  const int64_t dir = x1 >= x0 ? 1 : -1;
  int64_t dx = std::llabs(x1 - x0), dy = y1 - y0;
  if (dy == 0 || dx == 0 || dx == dy) {
    for (int64_t i = 1; i <= std::max(dx, dy); ++i)
      ref_pixel(g, outline, x0 + (dx ? dir * i : 0), y0 + (dy ? i : 0), 0);
    return;
  }
  uint16_t acc = 0, old = 0;
  const bool steep = dy > dx;
  const auto step = static_cast<uint16_t>(steep ? (dx << 16) / dy : (dy << 16) / dx);
  for (int64_t n = std::max(dx, dy) - 1; n > 0; --n) {
    old = acc;
    acc = static_cast<uint16_t>(acc + step);
    const bool wrapped = acc <= old;
    x0 += steep ? (wrapped ? dir : 0) : dir;
    y0 += steep ? 1 : wrapped;
    ref_pixel(g, outline, x0, y0, acc >> 8);
    ref_pixel(g, outline, x0 + (steep ? dir : 0), y0 + (steep ? 0 : 1), (acc >> 8) ^ 255);
  }
  ref_pixel(g, outline, x1, y1, 0);
}

}  // namespace rendertest
