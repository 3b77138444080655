// The pixel formats and the map walker on editors laid over
// plain buffers: every (reader, writer) family pair, widths that cross vector
// tails, row tables whose rows are separate allocations, and untouched bytes
// around every row.
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "pixels/channel.h"
#include "pixels/layout.h"
#include "pixels/walk.h"

namespace picture {
namespace {

TEST(Channel, TruncatesTowardZeroAndSendsWhatDoesNotFitToTheMostNegative) {
  struct Case {
    double in;
    int32_t out;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {
      {254.9, 254},         {-0.7, 0},           {-1.5, -1},          {2147483647.9, INT32_MAX},
      {-2147483648.9, INT32_MIN}, {2147483648.0, INT32_MIN}, {-2147483649.0, INT32_MIN}, {nan, INT32_MIN},
      {inf, INT32_MIN},     {-inf, INT32_MIN},   {1e300, INT32_MIN},
  };
  for (const Case& c : cases) EXPECT_EQ(TruncateToInt32(c.in), c.out) << c.in;
  EXPECT_EQ(Clamp255(INT32_MIN), 0u);
  EXPECT_EQ(Clamp255(-1), 0u);
  EXPECT_EQ(Clamp255(255), 255u);
  EXPECT_EQ(Clamp255(256), 255u);
}

struct FormatCase {
  int32_t format;
  uint32_t word;  // bytes in memory order: 0x11, 0x22, 0x33, 0x44
  Rgb read;
  uint32_t written;  // store of (0x11, 0x22, 0x33)
};

// Words are little-endian: memory bytes b0, b1, b2, b3 form b0 | b1 << 8 | ...
const FormatCase kFormats[] = {
    {1, 0x44332211, {0x11, 0x22, 0x33}, 0xFF332211}, {3, 0x44332211, {0x11, 0x22, 0x33}, 0xFF332211},
    {5, 0x44332211, {0x11, 0x22, 0x33}, 0xFF332211}, {2, 0x44332211, {0x22, 0x33, 0x44}, 0x332211FF},
    {4, 0x44332211, {0x22, 0x33, 0x44}, 0x332211FF}, {6, 0x44332211, {0x22, 0x33, 0x44}, 0x332211FF},
    {8, 0x44332211, {0x33, 0x22, 0x11}, 0x00112233}, {0, 0x44332211, {0, 0, 0}, 0},
    {7, 0x44332211, {0, 0, 0}, 0},                   {9, 0x44332211, {0, 0, 0}, 0},
    {-1, 0x44332211, {0, 0, 0}, 0},                  {40, 0x44332211, {0, 0, 0}, 0},
};

TEST(Layout, ReadsAndWritesEachFormatByItsTable) {
  for (const FormatCase& c : kFormats) {
    with_layout(c.format, [&](auto layout) {
      using L = decltype(layout);
      const Rgb got = L::load(&c.word);
      EXPECT_EQ(got.r, c.read.r) << "format " << c.format;
      EXPECT_EQ(got.g, c.read.g) << "format " << c.format;
      EXPECT_EQ(got.b, c.read.b) << "format " << c.format;
      if (L::kWrites) {
        EXPECT_EQ(L::store({0x11, 0x22, 0x33}), c.written) << "format " << c.format;
      } else {
        EXPECT_EQ(c.written, 0u) << "format " << c.format << " should not write";
      }
    });
  }
}

// A picture held by the test: each row is its own allocation with sentinel words
// on both sides, reached through a row table (format 8) or as one padded buffer.
class Surface {
 public:
  static constexpr uint32_t kSentinel = 0xDEADBEEF;
  static constexpr int kGuard = 2;  // sentinel words before and after each row

  Surface(int32_t format, int32_t width, int32_t height) : format_(format), width_(width), height_(height) {
    stride_ = width + 2 * kGuard + 3;  // padded rows
    buffer_.assign(static_cast<size_t>(stride_) * height + 2 * kGuard, kSentinel);
    for (int32_t y = 0; y < height; ++y) {
      rows_.push_back(std::make_unique<std::vector<uint32_t>>(width + 2 * kGuard, kSentinel));
      table_.push_back(rows_.back()->data() + kGuard);
    }
  }

  void Attach(PictureEditor& e) {
    e.pixelFormat = format_;
    e.width = width_;
    e.height = height_;
    if (format_ == 8) {
      e.rowTable = table_.data();
      e.baseAddress = table_[0];
      e.bytesPerRow = width_ * 4;
    } else {
      e.baseAddress = buffer_.data() + kGuard;
      e.bytesPerRow = stride_ * 4;
    }
    e.rowPtr = e.baseAddress;
  }

  uint32_t* Row(int32_t y) { return format_ == 8 ? table_[y] : buffer_.data() + kGuard + y * stride_; }

  void Fill(std::mt19937& rng) {
    for (int32_t y = 0; y < height_; ++y) {
      for (int32_t x = 0; x < width_; ++x) Row(y)[x] = rng();
    }
  }

  // Every word outside the rows' pixels still holds the sentinel.
  bool GuardsIntact() const {
    if (format_ == 8) {
      for (const auto& row : rows_) {
        for (int i = 0; i < kGuard; ++i) {
          if ((*row)[i] != kSentinel || (*row)[kGuard + width_ + i] != kSentinel) return false;
        }
      }
      return true;
    }
    for (size_t i = 0; i < buffer_.size(); ++i) {
      const ptrdiff_t offset = static_cast<ptrdiff_t>(i) - kGuard;
      const bool pixel = offset >= 0 && offset < static_cast<ptrdiff_t>(stride_) * height_ &&
                         offset % stride_ < width_;
      if (!pixel && buffer_[i] != kSentinel) return false;
    }
    return true;
  }

 private:
  int32_t format_, width_, height_, stride_;
  std::vector<uint32_t> buffer_;
  std::vector<std::unique_ptr<std::vector<uint32_t>>> rows_;
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

TEST(MapWalker, MatchesThePerPixelRuleForEveryFormatPairAndWidth) {
  const int32_t formats[] = {1, 2, 3, 4, 5, 6, 8, 0};
  std::mt19937 rng(7);
  for (int32_t in : formats) {
    for (int32_t out : formats) {
      for (int32_t width : {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65}) {
        const int32_t height = 3;
        Surface src(in, width, height), dst(out, width, height);
        src.Fill(rng);
        dst.Fill(rng);
        std::vector<uint32_t> before;
        for (int32_t y = 0; y < height; ++y) before.insert(before.end(), dst.Row(y), dst.Row(y) + width);

        PictureEditor reader, writer;
        src.Attach(reader);
        dst.Attach(writer);
        const Rect r = ClipRect(width > 2 ? 1 : 0, 1, width, 1, width, height);
        map(reader, writer, r, Swap{});

        for (int32_t y = 0; y < height; ++y) {
          for (int32_t x = 0; x < width; ++x) {
            const bool inside = x >= r.x0 && x < r.x1 && y >= r.y0 && y < r.y1;
            uint32_t expected = before[static_cast<size_t>(y) * width + x];
            if (inside) {
              with_layout(out, [&](auto l) {
                if (decltype(l)::kWrites) expected = decltype(l)::store(Swap{}(reference_load(in, src.Row(y)[x])));
              });
            }
            ASSERT_EQ(dst.Row(y)[x], expected) << "in " << in << " out " << out << " width " << width << " at "
                                               << x << "," << y;
          }
        }
        ASSERT_TRUE(src.GuardsIntact() && dst.GuardsIntact()) << "in " << in << " out " << out << " width " << width;
      }
    }
  }
}

TEST(MapWalker, ClipsToTheSmallerEditor) {
  Surface src(5, 8, 4), dst(5, 3, 2);
  std::mt19937 rng(1);
  src.Fill(rng);
  PictureEditor reader, writer;
  src.Attach(reader);
  dst.Attach(writer);
  map(reader, writer, Rect{0, 0, 8, 4}, Swap{});
  EXPECT_TRUE(dst.GuardsIntact());
  EXPECT_EQ(dst.Row(1)[2], RgbaLayout::store(Swap{}(RgbaLayout::load(&src.Row(1)[2]))));
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
