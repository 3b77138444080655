// Sub-picture search: a plain scan of the candidate positions, topmost row
// first and leftmost within it, each screened by its top-left pixel and then
// compared until the first difference (the first differing block of eight
// where both share a layout family). No tables, no hashing, nothing
// allocated; the worst case (a pattern that almost matches everywhere) costs
// about (W - w + 1)(H - h + 1)·w·h comparisons. The two pictures may lie in
// different layouts; pixels compare on red, green and blue only.
#include "analysis/find.h"

#include <cstddef>
#include <type_traits>

#include "analysis/colour_key.h"
#include "pixels/layout.h"
#include "pixels/picture_editor.h"

namespace picture {
namespace {

template <class A, class B>
bool same_run(const uint32_t* a, const uint32_t* b, int32_t count) {
  int32_t i = 0;
  if constexpr (std::is_same_v<A, B> && A::kWrites) {
    // One family: words differ in colour where their XOR has channel bits. Blocks
    // without an exit inside let the compiler compare several words at once.
    const uint32_t mask = ColourKey<A>(Rgb{0, 0, 0}).mask;
    for (; i + 8 <= count; i += 8) {
      uint32_t diff = 0;
      for (int32_t k = 0; k < 8; ++k) diff |= a[i + k] ^ b[i + k];
      if (diff & mask) return false;
    }
  }
  for (; i < count; ++i) {
    const Rgb p = A::load(a + i), q = B::load(b + i);
    if (p.r != q.r || p.g != q.g || p.b != q.b) return false;
  }
  return true;
}

template <class Hay, class Pat>
bool matches_at(const PictureEditor& hay, const PictureEditor& pat, int32_t cx, int32_t cy) {
  const int32_t w = pat.width;
  if (!same_run<Hay, Pat>(hay.Row(cy) + cx + 1, pat.Row(0) + 1, w - 1)) return false;
  for (int32_t r = 1; r < pat.height; ++r) {
    if (!same_run<Hay, Pat>(hay.Row(cy + r) + cx, pat.Row(r), w)) return false;
  }
  return true;
}

template <class Hay, class Pat>
bool search(const PictureEditor& hay, const PictureEditor& pat, int32_t& foundX, int32_t& foundY) {
  // The top-left pattern pixel as the haystack holds it: one word test per candidate.
  const ColourKey<Hay> anchor(Pat::load(pat.Row(0)));
  const int32_t lastX = hay.width - pat.width;
  const int32_t lastY = hay.height - pat.height;
  for (int32_t cy = 0; cy <= lastY; ++cy) {
    const uint32_t* row = hay.Row(cy);
    for (int32_t cx = 0; cx <= lastX; ++cx) {
      if (anchor(row[cx]) && matches_at<Hay, Pat>(hay, pat, cx, cy)) {
        foundX = cx;
        foundY = cy;
        return true;
      }
    }
  }
  return false;
}

}  // namespace

RBBoolean FindPicture(REALpicture haystack, REALpicture pic, int32_t* x, int32_t* y) {
  if (x != nullptr) *x = 0;
  if (y != nullptr) *y = 0;
  PictureReader hay;
  if (!hay.GetPictureEditor(haystack, true, false)) return 0;
  PictureReader pattern;
  if (!pattern.GetPictureEditor(pic, true, false)) return 0;
  // An empty pattern has no top-left pixel to look for.
  if (pattern.width <= 0 || pattern.height <= 0 || pattern.width > hay.width || pattern.height > hay.height) return 0;

  int32_t foundX = 0, foundY = 0;
  const bool found = with_layout(hay.pixelFormat, [&](auto h) {
    return with_layout(pattern.pixelFormat,
                       [&](auto p) { return search<decltype(h), decltype(p)>(hay, pattern, foundX, foundY); });
  });
  if (!found) return 0;
  if (x != nullptr) *x = foundX;
  if (y != nullptr) *y = foundY;
  return 1;
}

}  // namespace picture
