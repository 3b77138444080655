// Walkers: the loops over pixels. An operation states its per-pixel rule as a
// kernel (a small struct whose call operator maps one colour) and hands it to a
// walker with its editors; the walker picks the (reader, writer) layout pair once
// per call and runs a plain counted loop per row, with no call, format test or
// host call per pixel. Rows are reached through the editors' row step, so the
// row tables of console and web pictures work like contiguous buffers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "pixels/layout.h"
#include "pixels/picture_editor.h"

namespace picture {

// A clipped rectangle: columns x0 <= x < x1, rows y0 <= y < y1.
struct Rect {
  int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  bool empty() const { return x0 >= x1 || y0 >= y1; }
};

// Clips a caller's rectangle to a picture. Negative left and top clip to 0 while
// the right and bottom edges stay at left + width and top + height.
inline Rect ClipRect(int32_t left, int32_t top, int32_t width, int32_t height, int32_t pictureWidth,
                     int32_t pictureHeight) {
  const int64_t right = std::min<int64_t>(int64_t{left} + width, pictureWidth);
  const int64_t bottom = std::min<int64_t>(int64_t{top} + height, pictureHeight);
  return Rect{std::max(left, 0), std::max(top, 0), static_cast<int32_t>(std::max<int64_t>(right, 0)),
              static_cast<int32_t>(std::max<int64_t>(bottom, 0))};
}

namespace walk_detail {

template <class In, class Out, class Kernel>
void map_rows(PictureEditor& src, PictureEditor& dst, Rect r, const Kernel& kernel) {
  src.AdvanceRows(r.y0);
  dst.AdvanceRows(r.y0);
  for (int32_t row = r.y0; row < r.y1; ++row) {
    if constexpr (Out::kWrites) {
      const uint32_t* __restrict s = src.rowPtr;
      uint32_t* __restrict d = dst.rowPtr;
      for (int32_t x = r.x0; x < r.x1; ++x) d[x] = Out::store(kernel(In::load(s + x)));
    }
    src.NextRow();
    dst.NextRow();
  }
}

template <class In, class Visit>
bool scan_rows(PictureEditor& src, Rect r, Visit& visit) {
  src.AdvanceRows(r.y0);
  for (int32_t row = r.y0; row < r.y1; ++row) {
    const uint32_t* s = src.rowPtr;
    if constexpr (std::is_void_v<decltype(visit(Rgb{}))>) {
      // No exit to test: a loop the compiler can vectorise.
      for (int32_t x = r.x0; x < r.x1; ++x) visit(In::load(s + x));
    } else {
      for (int32_t x = r.x0; x < r.x1; ++x) {
        if (!visit(In::load(s + x))) return false;
      }
    }
    src.NextRow();
  }
  return true;
}

}  // namespace walk_detail

// One source pixel to one result pixel at the same place, over `r`.
template <class Kernel>
void map(PictureEditor& src, PictureEditor& dst, Rect r, const Kernel& kernel) {
  r.x1 = std::min({r.x1, src.width, dst.width});
  r.y1 = std::min({r.y1, src.height, dst.height});
  if (r.empty()) return;
  with_layout(src.pixelFormat, [&](auto in) {
    with_layout(dst.pixelFormat, [&](auto out) {
      walk_detail::map_rows<decltype(in), decltype(out)>(src, dst, r, kernel);
    });
  });
}

// Reads the pixels of `r` row by row, left to right, handing each colour to
// `visit` (bool(Rgb)) until it returns false. True when every pixel passed,
// including when `r` holds none. Leaves the cursor where the walk stopped. A
// `visit` returning void (a count) sees every pixel.
template <class Visit>
bool scan(PictureEditor& src, Rect r, Visit&& visit) {
  r.x1 = std::min(r.x1, src.width);
  r.y1 = std::min(r.y1, src.height);
  if (r.empty()) return true;
  return with_layout(src.pixelFormat, [&](auto in) { return walk_detail::scan_rows<decltype(in)>(src, r, visit); });
}

namespace walk_detail {

// Calls `f` with the layout family of each editor, in order.
template <class F>
void with_layouts(F&& f) {
  f();
}
template <class F, class... Rest>
void with_layouts(F&& f, const PictureEditor& first, const Rest&... rest) {
  with_layout(first.pixelFormat, [&](auto layout) {
    with_layouts([&](auto... more) { f(layout, more...); }, rest...);
  });
}

template <class Out, class... In>
struct ManyToOne {
  template <class Kernel, class... Row>
  static void row(uint32_t* __restrict d, int32_t x0, int32_t x1, const Kernel& kernel, Row... s) {
    for (int32_t x = x0; x < x1; ++x) d[x] = Out::store(kernel(In::load(s + x)...));
  }
};

}  // namespace walk_detail

// Several sources to one result pixel at the same place, over `r`: the kernel
// takes one colour per source, in the order the sources are given.
template <class Kernel, class... Sources>
void map_many(PictureEditor& dst, Rect r, const Kernel& kernel, Sources&... src) {
  r.x1 = std::min({r.x1, dst.width, src.width...});
  r.y1 = std::min({r.y1, dst.height, src.height...});
  if (r.empty()) return;
  walk_detail::with_layouts(
      [&](auto out, auto... in) {
        using Out = decltype(out);
        if constexpr (Out::kWrites) {
          dst.AdvanceRows(r.y0);
          (src.AdvanceRows(r.y0), ...);
          for (int32_t row = r.y0; row < r.y1; ++row) {
            walk_detail::ManyToOne<Out, decltype(in)...>::row(dst.rowPtr, r.x0, r.x1, kernel,
                                                               static_cast<const uint32_t*>(src.rowPtr)...);
            dst.NextRow();
            (src.NextRow(), ...);
          }
        }
      },
      dst, src...);
}

}  // namespace picture
