// The pixel formats and the walkers on editors laid over plain buffers: every
// (reader, writer) family pair, widths that cross vector tails, untouched words around rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "pixels/channel.h"
#include "pixels/layout.h"
#include "pixels/walk.h"

namespace picture {
namespace {

TEST(Channel, TruncatesTowardZeroAndSendsWhatDoesNotFitToTheMostNegative) {
  const struct {
    double in;
    int32_t out;
  } cases[] = {
      {254.9, 254},           {-1.5, -1},           {2147483647.9, INT32_MAX},
      {2147483648.0, INT32_MIN}, {-2147483648.9, INT32_MIN}, {-2147483649.0, INT32_MIN},
      {std::numeric_limits<double>::quiet_NaN(), INT32_MIN},
  };
  for (const auto& c : cases) EXPECT_EQ(TruncateToInt32(c.in), c.out) << c.in;
  EXPECT_EQ(std::make_tuple(Clamp255(-1), Clamp255(255), Clamp255(256)), std::make_tuple(0u, 255u, 255u));
}

TEST(Layout, ReadsAndWritesEachFormatByItsTable) {
  const uint32_t word = 0x44332211;  // bytes 0x11, 0x22, 0x33, 0x44 in memory
  const struct {
    int32_t format;
    uint32_t r, g, b;  // read from `word`
    uint32_t written;  // store of (0x11, 0x22, 0x33); 0 for none
  } cases[] = {
      {1, 0x11, 0x22, 0x33, 0xFF332211}, {3, 0x11, 0x22, 0x33, 0xFF332211}, {5, 0x11, 0x22, 0x33, 0xFF332211},
      {2, 0x22, 0x33, 0x44, 0x332211FF}, {4, 0x22, 0x33, 0x44, 0x332211FF}, {6, 0x22, 0x33, 0x44, 0x332211FF},
      {8, 0x33, 0x22, 0x11, 0x00112233}, {0, 0, 0, 0, 0}, {7, 0, 0, 0, 0}, {9, 0, 0, 0, 0}, {-1, 0, 0, 0, 0},
      {40, 0, 0, 0, 0},
  };
  for (const auto& c : cases) {
    with_layout(c.format, [&](auto layout) {
      using L = decltype(layout);
      const Rgb got = L::load(&word);
      EXPECT_EQ(std::tie(got.r, got.g, got.b), std::tie(c.r, c.g, c.b)) << "format " << c.format;
      EXPECT_EQ(L::kWrites ? L::store({0x11, 0x22, 0x33}) : 0u, c.written) << "format " << c.format;
      EXPECT_EQ(L::kWrites, c.written != 0) << "format " << c.format;
    });
  }
}

// A picture held by the test, with sentinel words around every row: one padded
// buffer, or for the row table (format 8) a separate allocation per row.
class Surface {
 public:
  static constexpr uint32_t kSentinel = 0xDEADBEEF;

  Surface(int32_t format, int32_t width, int32_t height)
      : format_(format), width_(width), height_(height), stride_(width + 3) {
    const int32_t rowsPerBlock = format == 8 ? 1 : height;
    blocks_.assign(height / rowsPerBlock, std::vector<uint32_t>(2 + size_t(stride_) * rowsPerBlock, kSentinel));
    for (int32_t y = 0; y < height; ++y) table_.push_back(Row(y));
  }

  void Attach(PictureEditor& e) {
    std::tie(e.pixelFormat, e.width, e.height) = std::tie(format_, width_, height_);
    e.rowTable = table_.data();
    e.bytesPerRow = (format_ == 8 ? width_ : stride_) * 4;
    e.baseAddress = e.rowPtr = Row(0);
  }

  uint32_t* Row(int32_t y) { return format_ == 8 ? blocks_[y].data() + 2 : blocks_[0].data() + 2 + y * stride_; }

  void Fill(std::mt19937& rng) {
    for (int32_t y = 0; y < height_; ++y) std::generate(Row(y), Row(y) + width_, std::ref(rng));
  }

  // Every word outside the rows' pixels still holds the sentinel.
  bool GuardsIntact() const {
    for (const std::vector<uint32_t>& block : blocks_) {
      for (size_t i = 0; i < block.size(); ++i) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(i) - 2;
        if ((at < 0 || at % stride_ >= width_) && block[i] != kSentinel) return false;
      }
    }
    return true;
  }

 private:
  int32_t format_, width_, height_, stride_;
  std::vector<std::vector<uint32_t>> blocks_;
  std::vector<uint32_t*> table_;
};

struct Swap {  // (R, G, B) -> (B, R, G): every channel lands somewhere else
  Rgb operator()(Rgb c) const { return {c.b, c.r, c.g}; }
};

Rgb reference_load(int32_t format, uint32_t p) {
  Rgb c{0, 0, 0};
  with_layout(format, [&](auto l) { c = decltype(l)::load(&p); });
  return c;
}

// The source one column wider, the result one row taller: the walk clips to the smaller of each.
TEST(MapWalker, MatchesThePerPixelRuleForEveryFamilyPairAndWidth) {
  const int32_t kFamilies[] = {3, 6, 8, 0};  // one code of each layout family
  std::mt19937 rng(7);
  for (int32_t in : kFamilies) {
    for (int32_t out : kFamilies) {
      for (int32_t width : {1, 2, 3, 8, 9, 17, 33, 65}) {
        Surface src(in, width + 1, 3), dst(out, width, 4);
        src.Fill(rng);
        dst.Fill(rng);
        Surface was = dst;
        PictureEditor reader, writer;
        src.Attach(reader);
        dst.Attach(writer);
        const int32_t x0 = width > 2 ? 1 : 0;
        map(reader, writer, Rect{x0, 1, INT32_MAX, INT32_MAX}, Swap{});
        for (int32_t y = 0; y < 4; ++y) {
          for (int32_t x = 0; x < width; ++x) {
            uint32_t want = was.Row(y)[x];
            with_layout(out, [&](auto l) {
              using L = decltype(l);
              if (L::kWrites && x >= x0 && y % 3 != 0) want = L::store(Swap{}(reference_load(in, src.Row(y)[x])));
            });
            ASSERT_EQ(dst.Row(y)[x], want) << "in " << in << " out " << out << " width " << width << " at " << x
                                           << "," << y;
          }
        }
        ASSERT_TRUE(src.GuardsIntact() && dst.GuardsIntact()) << "in " << in << " out " << out << " width " << width;
      }
    }
  }
}

TEST(ScanWalker, VisitsTheRectangleInRowOrderAndStopsAtTheFirstRefusal) {
  for (int32_t format : {1, 2, 8, 0}) {
    Surface src(format, 5, 4);
    std::mt19937 rng(3);
    src.Fill(rng);
    PictureEditor reader;
    src.Attach(reader);
    std::vector<uint32_t> seen;
    const bool passed = scan(reader, Rect{1, 1, 9, 9}, [&](Rgb c) {
      seen.push_back(c.r << 16 | c.g << 8 | c.b);
      return seen.size() < 10;
    });
    EXPECT_FALSE(passed) << format;
    ASSERT_EQ(seen.size(), 10u) << format;  // four of rows 1 and 2 each, then two of row 3
    const Rgb last = reference_load(format, src.Row(3)[2]);
    EXPECT_EQ(seen.back(), last.r << 16 | last.g << 8 | last.b) << format;
    PictureEditor again;
    src.Attach(again);
    EXPECT_TRUE(scan(again, Rect{2, 2, 2, 9}, [](Rgb) { return false; })) << "an empty rectangle passes";
  }
}

}  // namespace
}  // namespace picture
