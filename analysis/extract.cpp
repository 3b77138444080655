// Pictures made from the colours of a source: one exact colour replaced, one
// exact colour extracted onto a background, and a black-on-white mask of the
// bounding boxes of the coloured (non-grey) areas of a rectangle. Colours
// compare on red, green and blue only. Every pixel written is opaque, so a
// replaced picture with an alpha channel comes back fully opaque, on purpose.
//
// The mask grows each box from a seed one edge step at a time, looking only at
// the cells directly beside an edge, so areas that touch only at a corner stay
// apart. Both region maps carry a border of zero cells so the growth needs no
// bounds tests.
#include "analysis/extract.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "analysis/colour_key.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

Rgb rgb_of(uint32_t colour) { return {(colour >> 16) & 255, (colour >> 8) & 255, colour & 255}; }

bool same(Rgb a, Rgb b) { return (a.r == b.r) & (a.g == b.g) & (a.b == b.b); }

// Each channel of `a` where `pick`, else of `b`, without a branch.
Rgb select(bool pick, Rgb a, Rgb b) {
  const uint32_t m = 0u - static_cast<uint32_t>(pick);
  return {(a.r & m) | (b.r & ~m), (a.g & m) | (b.g & ~m), (a.b & m) | (b.b & ~m)};
}

// c = search ? with : c
struct Replace {
  Rgb search, with;
  Rgb operator()(Rgb c) const { return select(same(c, search), with, c); }
};

// The same on the words of one layout family: word = search ? with : word made opaque
template <class L>
struct ReplaceWord {
  ColourKey<L> search;
  uint32_t with;
  explicit ReplaceWord(const Replace& rule) : search(rule.search), with(L::store(rule.with)) {}
  uint32_t operator()(uint32_t p) const { return search(p) ? with : (p & search.mask) | search.opaque; }
};

// c = search ? with : background
struct Extract {
  Rgb search, with, background;
  Rgb operator()(Rgb c) const { return select(same(c, search), with, background); }
};

// The same on the words of one layout family
template <class L>
struct ExtractWord {
  ColourKey<L> search;
  uint32_t with, background;
  explicit ExtractWord(const Extract& rule)
      : search(rule.search), with(L::store(rule.with)), background(L::store(rule.background)) {}
  uint32_t operator()(uint32_t p) const { return search(p) ? with : background; }
};

// Pictures of one family map word to word (`Word` over the family's layout);
// any other pair maps colour to colour.
template <template <class> class Word, class Kernel>
void map_colours(PictureEditor& reader, PictureEditor& writer, const Kernel& kernel) {
  const Rect all{0, 0, reader.width, reader.height};
  if (family_of(reader.pixelFormat) != family_of(writer.pixelFormat)) return map_general(reader, writer, all, kernel);
  with_layout(writer.pixelFormat, [&](auto layout) {
    using L = decltype(layout);
    if constexpr (L::kWrites) map_words(reader, writer, all, Word<L>(kernel));
  });
}

// A region map: (W + 2) x (H + 2) byte cells, picture pixel (x, y) at cell
// (y + 1) * stride + x + 1, zero-filled (calloc: large maps cost no writes).
using RegionMap = std::unique_ptr<uint8_t, decltype(&std::free)>;

RegionMap zeroed_map(size_t cells) { return RegionMap(static_cast<uint8_t*>(std::calloc(cells, 1)), &std::free); }

// A box of map cells, edges inclusive.
struct Box {
  int32_t top, bottom, left, right;
};

// The span of the line beside one edge already seen to hold no 1 (lo > hi:
// none). The map does not change while a box grows and a box's spans only
// widen, so only the cells added since the last look need looking at.
struct Clear {
  int32_t lo = 1, hi = 0;
};

// Whether cells a..b of the line hold a 1; `any(from, to)` looks at a stretch.
template <class Any>
bool reaches(Clear& clear, int32_t a, int32_t b, const Any& any) {
  const bool found = clear.lo > clear.hi ? any(a, b)
                                         : (a < clear.lo && any(a, clear.lo - 1)) || (clear.hi < b && any(clear.hi + 1, b));
  clear = found ? Clear{} : Clear{a, b};
  return found;
}

class RegionFinder {
 public:
  RegionFinder(uint8_t* colour, uint8_t* cover, size_t stride, size_t cells)
      : colour_(colour), cover_(cover), stride_(stride), cells_(cells) {}

  // Covers every coloured cell with boxes, seeds in row-major order.
  void CoverAll() {
    size_t next = 0;
    while (const void* hit = std::memchr(colour_ + next, 1, cells_ - next)) {
      const size_t seed = static_cast<size_t>(static_cast<const uint8_t*>(hit) - colour_);
      Fill(Grow(static_cast<int32_t>(seed / stride_), static_cast<int32_t>(seed % stride_)));
      // Every cell before the seed held 0 and filling only clears cells, so
      // going on from here finds the seed a scan from the top would find.
      next = seed;
    }
  }

 private:
  bool RowHolds(int32_t row, int32_t from, int32_t to) const {
    return std::memchr(colour_ + row * stride_ + from, 1, static_cast<size_t>(to - from + 1)) != nullptr;
  }
  bool ColumnHolds(int32_t column, int32_t from, int32_t to) const {
    const uint8_t* cell = colour_ + from * stride_ + column;
    for (int32_t row = from; row <= to; ++row, cell += stride_) {
      if (*cell) return true;
    }
    return false;
  }

  // Passes of top, bottom, left, right, each moving by one where the line
  // beside it holds a 1, until a pass moves nothing. The zero border stops
  // every edge at the picture's edge.
  Box Grow(int32_t row, int32_t column) const {
    Box b{row, row, column, column};
    Clear above, below, before, after;
    for (bool moved = true; moved;) {
      moved = false;
      if (reaches(above, b.left, b.right, [&](int32_t f, int32_t t) { return RowHolds(b.top - 1, f, t); })) {
        --b.top;
        moved = true;
      }
      if (reaches(below, b.left, b.right, [&](int32_t f, int32_t t) { return RowHolds(b.bottom + 1, f, t); })) {
        ++b.bottom;
        moved = true;
      }
      if (reaches(before, b.top, b.bottom, [&](int32_t f, int32_t t) { return ColumnHolds(b.left - 1, f, t); })) {
        --b.left;
        moved = true;
      }
      if (reaches(after, b.top, b.bottom, [&](int32_t f, int32_t t) { return ColumnHolds(b.right + 1, f, t); })) {
        ++b.right;
        moved = true;
      }
    }
    return b;
  }

  // The whole box, grey cells included, a row of contiguous bytes at a time.
  void Fill(const Box& b) {
    const auto length = static_cast<size_t>(b.right - b.left + 1);
    for (int32_t row = b.top; row <= b.bottom; ++row) {
      const size_t at = row * stride_ + static_cast<size_t>(b.left);
      std::memset(cover_ + at, 1, length);
      std::memset(colour_ + at, 0, length);
    }
  }

  uint8_t* colour_;
  uint8_t* cover_;
  size_t stride_;
  size_t cells_;
};

// colour cell = 1 where the pixel is not grey (R = G = B), over `r` only
template <class In>
void mark_coloured(PictureEditor& source, Rect r, uint8_t* colour, size_t stride) {
  source.AdvanceRows(r.y0);
  for (int32_t y = r.y0; y < r.y1; ++y) {
    const uint32_t* s = source.rowPtr;
    uint8_t* cells = colour + (y + 1) * stride + 1;
    for (int32_t x = r.x0; x < r.x1; ++x) {
      const Rgb c = In::load(s + x);
      cells[x] = static_cast<uint8_t>(c.r != c.g || c.g != c.b);
    }
    source.NextRow();
  }
}

// pixel = covered ? black : white
template <class Out>
void write_mask(PictureEditor& result, int32_t width, int32_t height, const uint8_t* cover, size_t stride) {
  if constexpr (Out::kWrites) {
    const uint32_t black = Out::store({0, 0, 0});
    const uint32_t white = Out::store({255, 255, 255});
    for (int32_t y = 0; y < height; ++y) {
      uint32_t* d = result.rowPtr;
      const uint8_t* cells = cover + (y + 1) * stride + 1;
      for (int32_t x = 0; x < width; ++x) d[x] = cells[x] ? black : white;
      result.NextRow();
    }
  }
}

}  // namespace

REALpicture ReplaceColorZRK(REALpicture source, uint32_t searchColor, uint32_t replaceWithColor) {
  PictureReader reader;
  if (!reader.GetPictureEditor(source, true, false)) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(reader.width, reader.height, reader.hasAlphaChannel)) return nullptr;
  map_colours<ReplaceWord>(reader, writer, Replace{rgb_of(searchColor), rgb_of(replaceWithColor)});
  return writer.RenderPictureWriter();
}

REALpicture ExtractColorZRK(REALpicture source, uint32_t searchColor, uint32_t replaceWithColor,
                            uint32_t backGroundColor) {
  PictureReader reader;
  if (!reader.GetPictureEditor(source, true, false)) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(reader.width, reader.height, false)) return nullptr;
  map_colours<ExtractWord>(reader, writer,
                          Extract{rgb_of(searchColor), rgb_of(replaceWithColor), rgb_of(backGroundColor)});
  return writer.RenderPictureWriter();
}

REALpicture ExtractColorRectangleMaskZRK(REALpicture source, int32_t left, int32_t top, int32_t width, int32_t height) {
  PictureReader reader;
  if (!reader.GetPictureEditor(source, true, false)) return nullptr;
  const int32_t w = reader.width, h = reader.height;
  const int64_t cells = (int64_t{w} + 2) * (int64_t{h} + 2);
  if (cells <= 0 || cells > std::numeric_limits<int32_t>::max()) return nullptr;
  RegionMap colour = zeroed_map(static_cast<size_t>(cells));
  RegionMap cover = zeroed_map(static_cast<size_t>(cells));
  if (colour == nullptr || cover == nullptr) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(w, h, false)) return nullptr;

  const size_t stride = static_cast<size_t>(w) + 2;
  // A negative size reaches to the picture's edge; 0 covers nothing.
  const Rect r = ClipRect(left, top, width < 0 ? w : width, height < 0 ? h : height, w, h);
  if (!r.empty()) {
    with_layout(reader.pixelFormat, [&](auto in) { mark_coloured<decltype(in)>(reader, r, colour.get(), stride); });
  }
  RegionFinder(colour.get(), cover.get(), stride, static_cast<size_t>(cells)).CoverAll();
  with_layout(writer.pixelFormat, [&](auto out) {
    write_mask<decltype(out)>(writer, std::min(w, writer.width), std::min(h, writer.height), cover.get(), stride);
  });
  return writer.RenderPictureWriter();
}

REALpicture ExtractColorRectangleMaskZRK2(REALpicture source) {
  return ExtractColorRectangleMaskZRK(source, 0, 0, -1, -1);
}

}  // namespace picture
