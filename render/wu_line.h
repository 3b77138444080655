// Anti-aliased one-pixel lines (Wu's algorithm) in the outline colour, over an
// editor's pixels. A 16-bit error accumulator runs along the major axis; its top
// byte weighs each pair of pixels across the line. The blend puts the pixel's
// blue into the new green and its green into the new blue, while the outline
// colour keeps its channels: weight 0 paints the outline colour and weight 255
// swaps green and blue. That crossing is the published look and is kept.
//
// Only the stretch of a line that can touch the picture is walked: the position
// and accumulator of any step follow from its index, so a line whose ends lie far
// outside costs no more than one that spans the picture, and plots the same.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "pixels/layout.h"
#include "pixels/picture_editor.h"

namespace picture {

// The outline colour the blend reads, as channels 0..255; each rendering sets it.
extern int32_t gOutLineColorR;
extern int32_t gOutLineColorG;
extern int32_t gOutLineColorB;

// Blends the outline colour into the pixel (x, y) with weight 0..255 of the old
// pixel; points outside the picture and pixels of an unknown format are left alone.
void DrawPixel(PictureEditor& editor, int32_t x, int32_t y, int32_t weight);
// One anti-aliased line from (x0, y0) to (x1, y1), both ends in full outline colour.
void DrawWuLine(PictureEditor& editor, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

// The lines of one editor with its layout resolved: for drawing many lines.
template <class Layout>
class WuCanvas {
 public:
  explicit WuCanvas(PictureEditor& editor)
      : editor_(editor), r_(gOutLineColorR), g_(gOutLineColorG), b_(gOutLineColorB) {}

  // new = (old·w + outline·(255 − w)) / 255, with old green and blue crossed
  void pixel(int64_t x, int64_t y, int32_t w) const {
    if constexpr (Layout::kWrites) {
      if (x < 0 || y < 0 || x >= editor_.width || y >= editor_.height) return;
      uint32_t* p = row(static_cast<int32_t>(y)) + x;
      const Rgb c = Layout::load(p);
      const int32_t k = 255 - w;
      const auto mix = [&](uint32_t old, int32_t outline) {
        return static_cast<uint32_t>((static_cast<int32_t>(old) * w + outline * k) / 255);
      };
      *p = Layout::store({mix(c.r, r_), mix(c.b, g_), mix(c.g, b_)});
    }
  }

  void line(int64_t x0, int64_t y0, int64_t x1, int64_t y1) const {
    if (y0 > y1) {  // run downward
      std::swap(x0, x1);
      std::swap(y0, y1);
    }
    pixel(x0, y0, 0);
    const int64_t dir = x1 >= x0 ? 1 : -1;
    const int64_t dx = (x1 - x0) * dir;
    const int64_t dy = y1 - y0;
    if (dy == 0) return run(x0, y0, dir, 0, dx);
    if (dx == 0) return run(x0, y0, 0, 1, dy);
    if (dx == dy) return run(x0, y0, dir, 1, dy);

    // After i steps the accumulator holds (i·step) mod 65536 and has wrapped
    // (i·step) >> 16 times; a zero step counts as a wrap on every step.
    const auto wraps = [](int64_t i, int64_t step) { return step == 0 ? i : (i * step) >> 16; };
    const auto weight = [](int64_t i, int64_t step) { return static_cast<int32_t>(((i * step) & 0xFFFF) >> 8); };
    int64_t first = 1;
    if (dy > dx) {
      const int64_t step = (dx << 16) / dy;
      int64_t last = dy - 1;
      clip(y0, 1, editor_.height, first, last);
      for (int64_t i = first; i <= last; ++i) {
        const int64_t x = x0 + dir * wraps(i, step);
        const int32_t w = weight(i, step);
        pixel(x, y0 + i, w);
        pixel(x + dir, y0 + i, w ^ 255);
      }
    } else {
      const int64_t step = (dy << 16) / dx;
      int64_t last = dx - 1;
      clip(x0, dir, editor_.width, first, last);
      for (int64_t i = first; i <= last; ++i) {
        const int64_t y = y0 + wraps(i, step);
        const int32_t w = weight(i, step);
        pixel(x0 + dir * i, y, w);
        pixel(x0 + dir * i, y + 1, w ^ 255);
      }
    }
    pixel(x1, y1, 0);
  }

 private:
  uint32_t* row(int32_t y) const {
    if constexpr (std::is_same_v<Layout, RowTableLayout>) return editor_.rowTable[y];
    return reinterpret_cast<uint32_t*>(reinterpret_cast<unsigned char*>(editor_.baseAddress) +
                                       static_cast<ptrdiff_t>(y) * editor_.bytesPerRow);
  }

  // Narrows [first, last] to the steps i at which c0 + s·i lies in 0 … limit − 1.
  static void clip(int64_t c0, int64_t s, int64_t limit, int64_t& first, int64_t& last) {
    if (s == 0) {
      if (c0 < 0 || c0 >= limit) last = first - 1;
    } else if (s > 0) {
      first = std::max(first, -c0);
      last = std::min(last, limit - 1 - c0);
    } else {
      first = std::max(first, c0 - (limit - 1));
      last = std::min(last, c0);
    }
  }

  // Steps 1 … n from (x0, y0) by (sx, sy), far end included, in full outline colour.
  void run(int64_t x0, int64_t y0, int64_t sx, int64_t sy, int64_t n) const {
    int64_t first = 1, last = n;
    clip(x0, sx, editor_.width, first, last);
    clip(y0, sy, editor_.height, first, last);
    for (int64_t i = first; i <= last; ++i) pixel(x0 + sx * i, y0 + sy * i, 0);
  }

  PictureEditor& editor_;
  int32_t r_, g_, b_;
};

}  // namespace picture
