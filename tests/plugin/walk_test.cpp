// The pixel formats and the walkers on editors laid over plain buffers: every
// (reader, writer) family pair, widths that cross vector tails, untouched words around rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "adjust/lut3d.h"
#include "pixels/channel.h"
#include "pixels/channel_tables.h"
#include "pixels/isa.h"
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
  // A copy of the pixels and guards, with a row table of its own.
  Surface(const Surface& other)
      : format_(other.format_), width_(other.width_), height_(other.height_), stride_(other.stride_),
        blocks_(other.blocks_) {
    for (int32_t y = 0; y < height_; ++y) table_.push_back(Row(y));
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

// Runs `f` once with each instruction set this machine runs made active, with
// results streamed around the caches and without; the machine's own choice after.
template <class F>
void for_each_variant(F&& f) {
  for (Isa isa : kIsas) {
    if (!UseIsa(isa)) continue;
    for (int64_t threshold : {int64_t{0}, std::numeric_limits<int64_t>::max()}) {
      SetStreamThreshold(threshold);
      SCOPED_TRACE(std::string(IsaName(isa)) + (threshold == 0 ? " streamed" : ""));
      f();
    }
  }
  UseIsa(DetectedIsa());
  SetStreamThreshold(int64_t{8} << 20);
}

TEST(Isa, TheBaselineAlwaysRunsAndNothingBeyondTheMachineIsTaken) {
  EXPECT_TRUE(UseIsa(Isa::kBaseline));
  EXPECT_EQ(ActiveIsa(), Isa::kBaseline);
  for (Isa isa : kIsas) EXPECT_EQ(UseIsa(isa), isa <= DetectedIsa()) << IsaName(isa);
  UseIsa(DetectedIsa());
  EXPECT_EQ(ActiveIsa(), DetectedIsa());
}

const int32_t kFamilies[] = {3, 6, 8, 0};  // one code of each layout family
// Widths on both sides of vector lengths, scan blocks and streamed chunks.
const int32_t kWidths[] = {1, 2, 3, 8, 9, 17, 33, 65, 129, 257, 300};

// The source one column wider, the result one row taller: the walk clips to the smaller of each.
TEST(MapWalker, MatchesThePerPixelRuleForEveryFamilyPairWidthAndInstructionSet) {
  for_each_variant([] {
    std::mt19937 rng(7);
    for (int32_t in : kFamilies) {
      for (int32_t out : kFamilies) {
        for (int32_t width : kWidths) {
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
  });
}

// (R1, G1, B1), (R2, G2, B2), (R3, G3, B3) -> (R1 ^ G2, B3, G1 + B2 mod 256)
struct Mix {
  Rgb operator()(Rgb a, Rgb b, Rgb c) const { return {a.r ^ b.g, c.b, (a.g + b.b) & 255}; }
};

TEST(MapWalker, SeveralSourcesOfAnyFamiliesGiveThePerPixelRule) {
  for_each_variant([] {
    std::mt19937 rng(11);
    for (int32_t out : kFamilies) {
      for (int32_t a : kFamilies) {
        for (int32_t b : {3, 8}) {
          for (int32_t width : {5, 65, 257}) {
            Surface sa(a, width, 2), sb(b, width + 2, 3), sc(out, width, 2), dst(out, width, 2);
            for (Surface* surface : {&sa, &sb, &sc, &dst}) surface->Fill(rng);
            Surface was = dst;
            PictureEditor ea, eb, ec, writer;
            sa.Attach(ea);
            sb.Attach(eb);
            sc.Attach(ec);
            dst.Attach(writer);
            map_many(writer, Rect{0, 0, INT32_MAX, INT32_MAX}, Mix{}, ea, eb, ec);
            for (int32_t y = 0; y < 2; ++y) {
              for (int32_t x = 0; x < width; ++x) {
                uint32_t want = was.Row(y)[x];
                with_layout(out, [&](auto l) {
                  using L = decltype(l);
                  if (L::kWrites) {
                    want = L::store(Mix{}(reference_load(a, sa.Row(y)[x]), reference_load(b, sb.Row(y)[x]),
                                          reference_load(out, sc.Row(y)[x])));
                  }
                });
                ASSERT_EQ(dst.Row(y)[x], want) << out << " " << a << " " << b << " width " << width << " at " << x;
              }
            }
            ASSERT_TRUE(dst.GuardsIntact());
          }
        }
      }
    }
  });
}

// Whether the red of a pixel is below a bound: pictures of random colours with
// the bound placed so that the first failure falls anywhere.
struct RedBelow {
  uint32_t bound;
  bool operator()(Rgb c) const { return c.r < bound; }
};

// The same rule with a form for eight words, as the byte-wise tests have.
struct RedBelowEights : RedBelow {
#if defined(__x86_64__)
  template <class In>
  [[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] __m256i pass8(__m256i w) const {
    const __m256i red = _mm256_and_si256(w, _mm256_set1_epi32(static_cast<int>(255u << In::kRed)));
    const __m256i over = _mm256_subs_epu8(red, _mm256_set1_epi8(static_cast<char>(bound - 1)));
    return _mm256_cmpeq_epi32(over, _mm256_setzero_si256());
  }
  template <class In>
  [[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  __mmask16 pass16(__m512i w) const {
    const __m512i red = _mm512_and_si512(w, _mm512_set1_epi32(static_cast<int>(255u << In::kRed)));
    const __m512i over = _mm512_subs_epu8(red, _mm512_set1_epi8(static_cast<char>(bound - 1)));
    return _mm512_testn_epi32_mask(over, over);
  }
#endif
};

TEST(ScanWalker, StopsOnTheRowOfTheFirstFailureAndCountsAsThePerPixelRule) {
  for_each_variant([] {
    std::mt19937 rng(3);
    for (int32_t format : kFamilies) {
      for (int32_t width : kWidths) {
        Surface src(format, width, 5);
        src.Fill(rng);
        // A red of 255 fails RedBelow{255}: every such red becomes 254, then one
        // pixel (or none) at a random place gets red 255.
        const auto red_bits = [format](uint32_t red) {
          return with_layout(format, [red](auto l) { return decltype(l)::store({red, 0, 0}) ^ decltype(l)::store({}); });
        };
        for (int32_t y = 0; y < 5; ++y) {
          for (int32_t x = 0; x < width; ++x) {
            if (reference_load(format, src.Row(y)[x]).r == 255) src.Row(y)[x] ^= red_bits(1);
          }
        }
        const int32_t failX = static_cast<int32_t>(rng() % static_cast<uint32_t>(width));
        const int32_t failY = static_cast<int32_t>(rng() % 6);  // 5: none
        if (failY < 5) src.Row(failY)[failX] |= red_bits(255);
        const Rect r{0, 1, width, 5};
        int32_t wantRow = -1;  // the reference: pixel by pixel
        uint32_t wantCount = 0;
        for (int32_t y = r.y0; y < r.y1; ++y) {
          for (int32_t x = r.x0; x < r.x1; ++x) {
            const bool pass = RedBelow{255}(reference_load(format, src.Row(y)[x]));
            if (!pass && wantRow < 0) wantRow = y;
            wantCount += RedBelow{128}(reference_load(format, src.Row(y)[x]));
          }
        }
        const auto check = [&](auto fails255, auto half, const char* form) {
          PictureEditor reader;
          src.Attach(reader);
          EXPECT_EQ(scan(reader, r, fails255), wantRow < 0) << format << " width " << width << form;
          if (wantRow >= 0) {
            EXPECT_EQ(reader.y, wantRow) << format << " width " << width << form;
          }
          PictureEditor counter;
          src.Attach(counter);
          EXPECT_EQ(count(counter, r, half), wantCount) << format << " width " << width << form;
        };
        check(RedBelow{255}, RedBelow{128}, "");
        check(RedBelowEights{{255}}, RedBelowEights{{128}}, " by eights");
      }
      Surface empty(format, 5, 4);
      PictureEditor again;
      empty.Attach(again);
      EXPECT_TRUE(scan(again, Rect{2, 2, 2, 9}, [](Rgb) { return false; })) << "an empty rectangle passes";
    }
  });
}

TEST(HistogramWalker, AddsEveryPixelOfTheRectangleToItsChannelsCounters) {
  for_each_variant([] {
    std::mt19937 rng(5);
    for (int32_t format : kFamilies) {
      for (int32_t width : {1, 3, 4, 7, 65}) {
        Surface src(format, width + 2, 3);
        src.Fill(rng);
        uint32_t want[3][256] = {}, got[3][256] = {};
        for (int32_t y = 1; y < 3; ++y) {
          for (int32_t x = 1; x < width + 1; ++x) {
            const Rgb c = reference_load(format, src.Row(y)[x]);
            ++want[0][c.r];
            ++want[1][c.g];
            ++want[2][c.b];
          }
        }
        got[1][7] = want[1][7] += 1000;  // counts add to what is there
        PictureEditor reader;
        src.Attach(reader);
        histogram(reader, Rect{1, 1, width + 1, 9}, got);
        for (int32_t channel = 0; channel < 3; ++channel) {
          for (int32_t v = 0; v < 256; ++v) ASSERT_EQ(got[channel][v], want[channel][v]) << format << " " << width;
        }
      }
    }
  });
}

// Under every variant, on equal pictures of every family pair and width: `walk`
// and `oracle`, each (reader, writer, rectangle), write the same words, and
// nothing outside the rows. Source words come from `word`.
template <class Word, class Walk, class Oracle>
void expect_same_words(std::mt19937& rng, const Word& word, const Walk& walk, const Oracle& oracle) {
  for_each_variant([&] {
    for (int32_t in : kFamilies) {
      for (int32_t out : kFamilies) {
        for (int32_t width : kWidths) {
          Surface src(in, width, 3), dst(out, width, 3);
          for (int32_t y = 0; y < 3; ++y) std::generate(src.Row(y), src.Row(y) + width, word);
          dst.Fill(rng);
          Surface want = dst;
          PictureEditor reader, writer, oracleReader, oracleWriter;
          src.Attach(reader);
          dst.Attach(writer);
          src.Attach(oracleReader);
          want.Attach(oracleWriter);
          const Rect r{width > 2 ? 1 : 0, 1, width, 3};
          walk(reader, writer, r);
          oracle(oracleReader, oracleWriter, r);
          for (int32_t y = 0; y < 3; ++y) {
            ASSERT_TRUE(std::equal(dst.Row(y), dst.Row(y) + width, want.Row(y)))
                << "in " << in << " out " << out << " width " << width << " row " << y;
          }
          ASSERT_TRUE(dst.GuardsIntact());
        }
      }
    }
  });
}

TEST(TableWalker, GivesTheGeneralWalkersWordsForEveryFamilyPairWidthAndInstructionSet) {
  std::mt19937 rng(13);
  std::array<std::array<uint8_t, 256>, 3> bytes;
  for (auto& table : bytes) std::generate(table.begin(), table.end(), [&] { return static_cast<uint8_t>(rng()); });
  const auto from = [](const std::array<uint8_t, 256>& table) { return [&table](int32_t v) { return table[v]; }; };
  const ChannelTables tables(from(bytes[0]), from(bytes[1]), from(bytes[2]));
  expect_same_words(
      rng, std::ref(rng), [&](PictureEditor& src, PictureEditor& dst, Rect r) { map(src, dst, r, tables); },
      [&](PictureEditor& src, PictureEditor& dst, Rect r) { walk_detail::map_sources(dst, r, tables, src); });
}

// Channel values where the lattice's cells and steps meet, or any value.
uint32_t lattice_word(std::mt19937& rng) {
  static const uint8_t kEdges[] = {0, 1, 16, 17, 18, 34, 238, 254, 255};
  uint32_t word = 0;
  for (int32_t byte = 0; byte < 4; ++byte) {
    const uint32_t v = rng() % 4 == 0 ? kEdges[rng() % std::size(kEdges)] : rng() & 255;
    word |= v << (8 * byte);
  }
  return word;
}

// Finite tables: fractions around the channel range, whole multiples of 17 (exact sums,
// many ties of weight 0), and values whose sums overflow to infinity or NaN.
TEST(Lut3DWalker, GivesThePerPixelKernelsWordsForEveryFamilyPairWidthAndInstructionSet) {
  struct Table {
    double node[kLutNodes][kLutNodes][kLutNodes][3];
  };
  std::mt19937 rng(17);
  const std::function<double()> kinds[] = {
      [&] { return int32_t(rng() % 30000) / 100.0 - 20.0; },
      [&] { return 17.0 * int32_t(rng() % 18); },
      [&] { return (rng() % 2 == 0 ? 1.0 : -1.0) * std::numeric_limits<double>::max() / (1 + rng() % 4); },
  };
  for (const auto& kind : kinds) {
    const auto table = std::make_unique<Table>();
    for (auto& plane : table->node)
      for (auto& line : plane)
        for (auto& node : line)
          for (double& v : node) v = kind();
    expect_same_words(
        rng, [&] { return lattice_word(rng); },
        [&](PictureEditor& src, PictureEditor& dst, Rect r) { ASSERT_TRUE(MapLut3D(src, dst, r, table->node, false)); },
        [&](PictureEditor& src, PictureEditor& dst, Rect r) { ASSERT_TRUE(MapLut3D(src, dst, r, table->node, true)); });
  }
}

}  // namespace
}  // namespace picture
