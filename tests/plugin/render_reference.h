// The outline's anti-aliased line, literally: on a grid of 0x00RRGGBB colours,
// stepped one by one with a 16-bit accumulator and no clipping.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ostream>
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
  bool operator==(const Grid&) const = default;
  friend void PrintTo(const Grid& g, std::ostream* os) {
    *os << g.width << "x" << g.height << std::hex;
    for (size_t i = 0; i < g.rgb.size(); ++i) *os << (i % g.width ? " " : "\n") << g.rgb[i];
  }
};

// The old pixel's green and blue cross over; the outline's channels stay.
inline void ref_pixel(Grid& g, uint32_t outline, int64_t x, int64_t y, uint32_t w) {
  uint32_t* p = g.at(x, y);
  const auto mix = [&](int from, int to) { return ((*p >> from & 255) * w + (outline >> to & 255) * (255 - w)) / 255; };
  if (p != nullptr) *p = mix(16, 16) << 16 | mix(0, 8) << 8 | mix(8, 0);
}

inline void ref_wu_line(Grid& g, uint32_t outline, int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
  if (y0 > y1) std::swap(x0, x1), std::swap(y0, y1);
  const int64_t dir = x1 >= x0 ? 1 : -1, dx = std::llabs(x1 - x0), dy = y1 - y0, n = std::max(dx, dy);
  ref_pixel(g, outline, x0, y0, 0);
  if (dy == 0 || dx == 0 || dx == dy) {
    for (int64_t i = 1; i <= n; ++i) ref_pixel(g, outline, x0 + (dx ? dir * i : 0), y0 + (dy ? i : 0), 0);
    return;
  }
  const bool steep = dy > dx;
  const auto step = static_cast<uint16_t>(steep ? (dx << 16) / dy : (dy << 16) / dx);
  uint16_t acc = 0;
  for (int64_t i = 1; i < n; ++i) {
    const uint16_t old = acc;
    acc = static_cast<uint16_t>(acc + step);
    x0 += steep ? (acc <= old ? dir : 0) : dir;
    y0 += steep ? 1 : acc <= old;
    ref_pixel(g, outline, x0, y0, acc >> 8);
    ref_pixel(g, outline, x0 + (steep ? dir : 0), y0 + (steep ? 0 : 1), (acc >> 8) ^ 255);
  }
  ref_pixel(g, outline, x1, y1, 0);
}

}  // namespace rendertest
