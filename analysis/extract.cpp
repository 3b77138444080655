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

// A region map: (W + 2) x (H + 2) cells of one bit, picture pixel (x, y) at
// row y + 1, column x + 1; each row a whole number of 64-bit words, so a row of
// cells is tested, filled or cleared a word at a time. Zero-filled (calloc: a
// map costs no writes where nothing is marked).
using RegionMap = std::unique_ptr<uint64_t, decltype(&std::free)>;

RegionMap zeroed_map(size_t words) {
  return RegionMap(static_cast<uint64_t*>(std::calloc(words, sizeof(uint64_t))), &std::free);
}

// The bits of one word that cells c0..c1 (inclusive) of a row hold, word by word.
template <class Visit>
void for_span(uint64_t* row, int32_t c0, int32_t c1, Visit&& visit) {
  const int32_t k0 = c0 >> 6, k1 = c1 >> 6;
  for (int32_t k = k0; k <= k1; ++k) {
    uint64_t mask = ~uint64_t{0};
    if (k == k0) mask &= ~uint64_t{0} << (c0 & 63);
    if (k == k1) mask &= ~uint64_t{0} >> (63 - (c1 & 63));
    if (!visit(row[k], mask)) return;
  }
}

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
  RegionFinder(uint64_t* colour, uint64_t* cover, int32_t words) : colour_(colour), cover_(cover), words_(words) {}

  // Covers the coloured cells of map row `row` (whose rows above hold none) with
  // boxes, seeds in row-major order. Afterwards the row's cover is final: every
  // later seed lies below it, and a box never reaches above its seed's row.
  void CoverRow(int32_t row) {
    uint64_t* cells = Row(colour_, row);
    const uint64_t* below = Row(colour_, row + 1);
    for (int32_t k = 0; k < words_; ++k) {
      while (cells[k] != 0) {
        // A seed with nothing right of it and nothing below is a box of one cell:
        // above and to its left lie no marked cells. Such seeds before the first
        // other one are covered together; clearing them changes no one's box.
        const uint64_t next = k + 1 < words_ ? cells[k + 1] << 63 : 0;
        const uint64_t alone = cells[k] & ~((cells[k] >> 1) | next) & ~below[k];
        const uint64_t others = cells[k] & ~alone;
        const uint64_t first = others & (~others + 1);
        const uint64_t done = others == 0 ? alone : alone & (first - 1);
        Row(cover_, row)[k] |= done;
        cells[k] &= ~done;
        if (others == 0) break;
        Fill(Grow(row, k * 64 + __builtin_ctzll(first)));
      }
    }
  }

  const uint64_t* CoverOf(int32_t row) const { return Row(cover_, row); }

 private:
  uint64_t* Row(uint64_t* map, int32_t row) const { return map + static_cast<size_t>(row) * words_; }

  bool RowHolds(int32_t row, int32_t from, int32_t to) const {
    bool holds = false;
    for_span(Row(colour_, row), from, to, [&](uint64_t word, uint64_t mask) { return !(holds = (word & mask) != 0); });
    return holds;
  }
  bool ColumnHolds(int32_t column, int32_t from, int32_t to) const {
    const uint64_t* cell = Row(colour_, from) + (column >> 6);
    const uint64_t bit = uint64_t{1} << (column & 63);
    for (int32_t row = from; row <= to; ++row, cell += words_) {
      if (*cell & bit) return true;
    }
    return false;
  }

  // The least box round the seed whose four neighbouring lines hold no 1. The
  // pass-by-pass growth of one step per edge ends in the same box whatever order
  // the steps come in (each step is forced by a 1 that any such box must hold),
  // so each edge moves as far as it can before the next is looked at. The zero
  // border stops every edge at the picture's edge.
  Box Grow(int32_t row, int32_t column) const {
    Box b{row, row, column, column};
    Clear above, below, before, after;
    for (bool moved = true; moved;) {
      moved = false;
      while (reaches(above, b.left, b.right, [&](int32_t f, int32_t t) { return RowHolds(b.top - 1, f, t); })) {
        --b.top;
        moved = true;
      }
      if (b.left >> 6 == b.right >> 6) {
        // A box within one word of each row (a thin column) goes down a row at a
        // time on a single mask.
        const uint64_t mask = (~uint64_t{0} << (b.left & 63)) & (~uint64_t{0} >> (63 - (b.right & 63)));
        const uint64_t* next = Row(colour_, b.bottom + 1) + (b.left >> 6);
        for (; *next & mask; next += words_) {
          ++b.bottom;
          moved = true;
        }
        below = Clear{b.left, b.right};
      } else {
        while (reaches(below, b.left, b.right, [&](int32_t f, int32_t t) { return RowHolds(b.bottom + 1, f, t); })) {
          ++b.bottom;
          moved = true;
        }
      }
      while (reaches(before, b.top, b.bottom, [&](int32_t f, int32_t t) { return ColumnHolds(b.left - 1, f, t); })) {
        --b.left;
        moved = true;
      }
      while (reaches(after, b.top, b.bottom, [&](int32_t f, int32_t t) { return ColumnHolds(b.right + 1, f, t); })) {
        ++b.right;
        moved = true;
      }
    }
    return b;
  }

  // The whole box, grey cells included, a word of each row at a time.
  void Fill(const Box& b) {
    if (b.left >> 6 == b.right >> 6) {
      const uint64_t mask = (~uint64_t{0} << (b.left & 63)) & (~uint64_t{0} >> (63 - (b.right & 63)));
      const size_t at = static_cast<size_t>(b.top) * words_ + (b.left >> 6);
      for (int32_t row = b.top; row <= b.bottom; ++row) {
        const size_t k = at + static_cast<size_t>(row - b.top) * words_;
        cover_[k] |= mask;
        colour_[k] &= ~mask;
      }
      return;
    }
    for (int32_t row = b.top; row <= b.bottom; ++row) {
      uint64_t* cover = Row(cover_, row);
      for_span(Row(colour_, row), b.left, b.right, [&](uint64_t& word, uint64_t mask) {
        cover[&word - Row(colour_, row)] |= mask;
        word &= ~mask;
        return true;
      });
    }
  }

  uint64_t* colour_;
  uint64_t* cover_;
  int32_t words_;
};

// colour cell = 1 where the pixel is not grey (R = G = B), over `r` only; a row
// of flags first (a loop the compiler can vectorise), then packed eight to a
// byte with one multiply. Where the layout keeps the channels in three
// neighbouring bytes (the channel bits of ColourKey), the test is on the word.
template <class In>
struct MarkColoured {
  [[gnu::always_inline]] static void run(PictureEditor& source, Rect r, uint64_t* colour, int32_t words,
                                         uint8_t* flags) {
    const uint32_t channels = ColourKey<In>(Rgb{0, 0, 0}).mask;
    const int shift = channels == 0 ? 0 : __builtin_ctz(channels);
    const bool neighbours = channels != 0 && channels >> shift == 0xFFFFFF;
    source.AdvanceRows(r.y0);
    for (int32_t y = r.y0; y < r.y1; ++y) {
      const uint32_t* s = source.rowPtr;
      uint8_t* f = flags + 1;  // cell x + 1
      for (int32_t x0 = r.x0; x0 < r.x1; x0 += walk_detail::kChunk) {
        const int32_t x1 = std::min(x0 + walk_detail::kChunk, r.x1);
        walk_detail::prefetch(s + x0, x1 - x0);
        if (neighbours) {
          for (int32_t x = x0; x < x1; ++x) {
            const uint32_t q = s[x] >> shift;
            f[x] = ((q ^ (q >> 8)) & 0xFFFF) != 0;
          }
        } else {
          for (int32_t x = x0; x < x1; ++x) {
            const Rgb c = In::load(s + x);
            f[x] = ((c.r ^ c.g) | (c.g ^ c.b)) != 0;
          }
        }
      }
      uint64_t* cells = colour + static_cast<size_t>(y + 1) * words;
      for (int32_t k = 0; k < words; ++k) {
        uint64_t word = 0;
        for (int32_t i = 0; i < 8; ++i) {
          uint64_t eight;
          std::memcpy(&eight, flags + k * 64 + i * 8, 8);
          word |= (eight * 0x0102040810204080u) >> 56 << (i * 8);
        }
        cells[k] = word;
      }
      source.NextRow();
    }
  }
};

// pixel = covered ? black : white, for one row of the result. Runs of blocks
// of one colour are copied from a ready row of that colour, around the caches
// when the result is larger than they are.
template <class Out>
void write_mask_row(uint32_t* d, int32_t width, const uint64_t* cover, int32_t words, const uint32_t* blackRow,
                    const uint32_t* whiteRow, bool stream) {
  const uint32_t black = blackRow[0], white = whiteRow[0];
  const auto fill = [&](int32_t from, int32_t to, bool covered) {
    if (stream) return StreamWords(d + from, covered ? blackRow : whiteRow, to - from);
    std::memcpy(d + from, covered ? blackRow : whiteRow, static_cast<size_t>(to - from) * 4);
  };
  int32_t runStart = 0;
  uint64_t runBits = 0;  // 0: a white run, all ones: a black one
  for (int32_t x0 = 0, k = 0; x0 < width; x0 += 64, ++k) {
    // Pixels x0..x0 + 63 are cells x0 + 1..x0 + 64.
    const uint64_t bits = cover[k] >> 1 | (k + 1 < words ? cover[k + 1] << 63 : 0);
    const int32_t n = std::min(64, width - x0);
    if (bits == runBits) continue;
    fill(runStart, x0, runBits != 0);
    if (bits == 0 || bits == ~uint64_t{0}) {
      runStart = x0;
      runBits = bits;
    } else {
      for (int32_t i = 0; i < n; ++i) d[x0 + i] = (bits >> i) & 1 ? black : white;
      runStart = x0 + n;
      runBits = 0;
    }
  }
  fill(runStart, width, runBits != 0);
}

}  // namespace

REALpicture ReplaceColorZRK(REALpicture source, uint32_t searchColor, uint32_t replaceWithColor) {
  PictureReader reader;
  if (!reader.GetPictureEditor(source, true, false)) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(reader.width, reader.height, reader.hasAlphaChannel)) return nullptr;
  map_by_words<ReplaceWord>(reader, writer, Rect{0, 0, reader.width, reader.height},
                            Replace{rgb_of(searchColor), rgb_of(replaceWithColor)});
  return writer.RenderPictureWriter();
}

REALpicture ExtractColorZRK(REALpicture source, uint32_t searchColor, uint32_t replaceWithColor,
                            uint32_t backGroundColor) {
  PictureReader reader;
  if (!reader.GetPictureEditor(source, true, false)) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(reader.width, reader.height, false)) return nullptr;
  map_by_words<ExtractWord>(reader, writer, Rect{0, 0, reader.width, reader.height},
                            Extract{rgb_of(searchColor), rgb_of(replaceWithColor), rgb_of(backGroundColor)});
  return writer.RenderPictureWriter();
}

REALpicture ExtractColorRectangleMaskZRK(REALpicture source, int32_t left, int32_t top, int32_t width, int32_t height) {
  PictureReader reader;
  if (!reader.GetPictureEditor(source, true, false)) return nullptr;
  const int32_t w = reader.width, h = reader.height;
  const int64_t cells = (int64_t{w} + 2) * (int64_t{h} + 2);
  if (cells <= 0 || cells > std::numeric_limits<int32_t>::max()) return nullptr;
  const int32_t words = (w + 2 + 63) / 64;
  const size_t mapWords = static_cast<size_t>(words) * (static_cast<size_t>(h) + 2);
  RegionMap colour = zeroed_map(mapWords);
  RegionMap cover = zeroed_map(mapWords);
  const std::unique_ptr<uint8_t, decltype(&std::free)> flags(
      static_cast<uint8_t*>(std::calloc(static_cast<size_t>(words) * 64, 1)), &std::free);
  const std::unique_ptr<uint32_t, decltype(&std::free)> ready(
      static_cast<uint32_t*>(std::malloc(static_cast<size_t>(w) * 2 * sizeof(uint32_t))), &std::free);
  if (colour == nullptr || cover == nullptr || flags == nullptr || ready == nullptr) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(w, h, false)) return nullptr;

  // A negative size reaches to the picture's edge; 0 covers nothing.
  const Rect r = ClipRect(left, top, width < 0 ? w : width, height < 0 ? h : height, w, h);
  if (!r.empty()) {
    with_layout(reader.pixelFormat,
                [&](auto in) { dispatch<MarkColoured<decltype(in)>>(reader, r, colour.get(), words, flags.get()); });
  }
  RegionFinder finder(colour.get(), cover.get(), words);
  with_layout(writer.pixelFormat, [&](auto out) {
    using Out = decltype(out);
    const int32_t rows = std::min(h, writer.height), columns = std::min(w, writer.width);
    const bool stream = int64_t{rows} * columns * 4 > StreamThreshold();
    uint32_t* blackRow = ready.get();
    uint32_t* whiteRow = blackRow + w;
    std::fill_n(blackRow, w, Out::store({0, 0, 0}));
    std::fill_n(whiteRow, w, Out::store({255, 255, 255}));
    for (int32_t y = 0; y < h; ++y) {
      finder.CoverRow(y + 1);
      if constexpr (Out::kWrites) {
        if (y < rows) {
          write_mask_row<Out>(writer.rowPtr, columns, finder.CoverOf(y + 1), words, blackRow, whiteRow, stream);
        }
      }
      writer.NextRow();
    }
    if (stream) walk_detail::stream_fence();
  });
  return writer.RenderPictureWriter();
}

REALpicture ExtractColorRectangleMaskZRK2(REALpicture source) {
  return ExtractColorRectangleMaskZRK(source, 0, 0, -1, -1);
}

}  // namespace picture
