// The sub-picture search on editors laid over plain buffers, against a plain
// scan: each pass forced on its own, hash collisions forced by hashing no bits
// or one bit of each pixel, haystack and pattern in different layouts with
// stray alpha, patterns at the edges, of every size up to one past the haystack.
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "analysis/find.h"
#include "pixels/layout.h"

namespace picture {
namespace {

// A picture in `format`: rows one word apart in one buffer, or separate rows
// for the row table (format 8).
class Canvas {
 public:
  Canvas(int32_t format, int32_t width, int32_t height) : format_(format), width_(width) {
    for (int32_t y = 0; y < height; ++y) rows_.emplace_back(static_cast<size_t>(width) + 1, 0u);
    if (format != 8) flat_.resize(rows_.size() * (static_cast<size_t>(width) + 1));
  }
  uint32_t* Row(int32_t y) { return format_ == 8 ? rows_[y].data() : flat_.data() + y * (width_ + 1); }
  // Opens `e` on the canvas (no host behind it: nothing to release).
  void Attach(PictureEditor& e) {
    table_.clear();
    for (int32_t y = 0; y < static_cast<int32_t>(rows_.size()); ++y) table_.push_back(Row(y));
    e.pixelFormat = format_;
    e.width = width_;
    e.height = static_cast<int32_t>(rows_.size());
    e.bytesPerRow = (width_ + 1) * 4;
    e.rowTable = table_.data();
    e.baseAddress = e.rowPtr = Row(0);
  }
  // Colour (0xRRGGBB) at (x, y) with `stray` in the bits the layout leaves to alpha.
  void Set(int32_t x, int32_t y, uint32_t colour, uint32_t stray) {
    with_layout(format_, [&](auto layout) {
      using L = decltype(layout);
      const uint32_t word = L::store({colour >> 16 & 255, colour >> 8 & 255, colour & 255});
      const uint32_t channels = L::store({255, 255, 255}) ^ L::store({0, 0, 0});
      Row(y)[x] = L::kWrites ? (word & channels) | (stray & ~channels) : colour;
    });
  }
  uint32_t Colour(int32_t x, int32_t y) {
    return with_layout(format_, [&](auto layout) {
      const Rgb c = decltype(layout)::load(Row(y) + x);
      return c.r << 16 | c.g << 8 | c.b;
    });
  }

 private:
  int32_t format_, width_;
  std::vector<std::vector<uint32_t>> rows_;
  std::vector<uint32_t> flat_;
  std::vector<uint32_t*> table_;
};

// The rule read plainly: every candidate in order, every pixel compared.
std::optional<std::pair<int32_t, int32_t>> plain_search(Canvas& hay, int32_t W, int32_t H, Canvas& pat, int32_t w,
                                                        int32_t h) {
  for (int32_t cy = 0; cy + h <= H; ++cy)
    for (int32_t cx = 0; cx + w <= W; ++cx) {
      bool same = true;
      for (int32_t y = 0; y < h && same; ++y)
        for (int32_t x = 0; x < w && same; ++x) same = hay.Colour(cx + x, cy + y) == pat.Colour(x, y);
      if (same) return std::pair(cx, cy);
    }
  return std::nullopt;
}

std::optional<std::pair<int32_t, int32_t>> find(Canvas& hay, Canvas& pat, const SearchTuning& tuning) {
  PictureEditor h, p;
  hay.Attach(h);
  pat.Attach(p);
  int32_t x = -1, y = -1;
  if (!FindIn(h, p, tuning, x, y)) return std::nullopt;
  return std::pair(x, y);
}

const struct Tuning {
  const char* name;
  SearchTuning tuning;
} kTunings[] = {
    {"as shipped", {}},
    {"direct pass only", {.startBudget = INT64_MAX / 2, .perCandidate = 0}},
    {"hashed pass only", {.startBudget = -1, .perCandidate = 0}},
    {"hand-over mid-row", {.startBudget = 40, .perCandidate = 1}},
    {"every window collides", {.startBudget = -1, .perCandidate = 0, .keyMask = 0}},
    {"one bit hashed", {.startBudget = -1, .perCandidate = 0, .keyMask = 1}},
};

constexpr int32_t kFormats[] = {1, 2, 5, 6, 8, 0};

// Few colours, so that anchors, rows and hashes match often and patterns recur.
TEST(Search, AgreesWithThePlainScanInEveryPassAndLayoutPair) {
  std::mt19937 rng(11);
  int checked = 0, found = 0;
  for (const int32_t hayFormat : kFormats)
    for (const int32_t patFormat : kFormats)
      for (int round = 0; round < 12; ++round) {
        // Every fourth haystack wider than a block of the anchor screen (64 words).
        const int32_t W = round % 4 == 3 ? 60 + rng() % 90 : 1 + rng() % 23, H = 1 + rng() % 17;
        const uint32_t palette[] = {0x102030, 0x102031, 0xFFFFFF, 0x000000};
        const uint32_t colours = 1 + rng() % 3;
        Canvas hay(hayFormat, W, H);
        for (int32_t y = 0; y < H; ++y)
          for (int32_t x = 0; x < W; ++x) hay.Set(x, y, palette[rng() % colours], rng());
        // Up to one past the haystack each way; cut from it at a spot that may touch its edges.
        const int32_t w = 1 + rng() % (W + 1), h = 1 + rng() % (H + 1);
        const int32_t fromX = w <= W ? rng() % (W - w + 1) : 0, fromY = h <= H ? rng() % (H - h + 1) : 0;
        Canvas pat(patFormat, w, h);
        for (int32_t y = 0; y < h; ++y)
          for (int32_t x = 0; x < w; ++x)
            pat.Set(x, y, x < W && y < H ? hay.Colour(fromX + x, fromY + y) : palette[0], rng());
        if (round % 3 == 2) pat.Set(w - 1, h - 1, palette[3] ^ 1, 0);  // a last pixel found nowhere
        const auto want = plain_search(hay, W, H, pat, w, h);
        found += want.has_value();
        for (const Tuning& t : kTunings) {
          ++checked;
          ASSERT_EQ(find(hay, pat, t.tuning), want)
              << t.name << ": haystack " << W << "x" << H << " format " << hayFormat << ", pattern " << w << "x" << h
              << " format " << patFormat << " from " << fromX << "," << fromY;
        }
      }
  EXPECT_GT(found, checked / std::size(kTunings) / 3);  // the rows do exercise both answers
}

// A uniform haystack and a pattern that differs in its last pixel, or not at all.
TEST(Search, UniformHaystackWithANearMiss) {
  for (const Tuning& t : kTunings) {
    SCOPED_TRACE(t.name);
    Canvas hay(5, 40, 30), pat(8, 9, 7);
    for (int32_t y = 0; y < 30; ++y)
      for (int32_t x = 0; x < 40; ++x) hay.Set(x, y, 0x5A5A5A, x * y);
    for (int32_t y = 0; y < 7; ++y)
      for (int32_t x = 0; x < 9; ++x) pat.Set(x, y, 0x5A5A5A, 0);
    EXPECT_EQ(find(hay, pat, t.tuning), std::pair(0, 0));
    pat.Set(8, 6, 0x5A5A5B, 0);
    EXPECT_EQ(find(hay, pat, t.tuning), std::nullopt);
    hay.Set(39, 29, 0x5A5A5B, 0);  // the one place it fits: the bottom-right corner
    EXPECT_EQ(find(hay, pat, t.tuning), std::pair(31, 23));
  }
}

}  // namespace
}  // namespace picture
