// The lookup-table class through the host: Table and its range checks, worked
// cases, every lending and range against a plain tetrahedral reference, the
// record in each layout, and a ledger left clean.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <random>
#include <vector>

#include "tests/plugin/filter_class_test.h"
#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using namespace filtertest;
using testhost::Ref;

// Node values [r][g][b][x], 18 per dimension.
struct Lattice {
  std::vector<double> v = std::vector<double>(18 * 18 * 18 * 3);
  double& at(uint32_t r, uint32_t g, uint32_t b, uint32_t x) { return v[((r * 18 + g) * 18 + b) * 3 + x]; }
  void set(uint32_t r, uint32_t g, uint32_t b, double value) {
    at(r, g, b, 0) = at(r, g, b, 1) = at(r, g, b, 2) = value;
  }
};

// Values around the channel range; the spare slots 16 and 17 hold infinity,
// which would show wherever Run read them, even with a weight of 0.
Lattice random_lattice(uint32_t seed) {
  Lattice t;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> value(-20.0, 275.0);
  for (uint32_t r = 0; r < 18; ++r)
    for (uint32_t g = 0; g < 18; ++g)
      for (uint32_t b = 0; b < 18; ++b)
        for (uint32_t x = 0; x < 3; ++x) t.at(r, g, b, x) = std::max({r, g, b}) > 15 ? HUGE_VAL : value(rng);
  return t;
}

uint8_t channel(double v) { return v < 0 ? 0 : v > 255 ? 255 : static_cast<uint8_t>(v); }

// Lower node v / 17, upper one on (15 for 255), fraction (v − 17·lower) / 17; the
// tetrahedron by strict comparisons of the fractions; out = N000 + f_p·(N(p) −
// N000) + f_q·(N(pq) − N(p)) + f_s·(N111 − N(pq)).
Pixel tetrahedral(Pixel p, Lattice& t) {
  const uint32_t v[3] = {p.r, p.g, p.b};
  uint32_t lower[3], upper[3];
  double f[3];
  for (int c = 0; c < 3; ++c) {
    lower[c] = v[c] / 17;
    upper[c] = v[c] == 255 ? 15 : lower[c] + 1;
    f[c] = (v[c] - 17 * lower[c]) / 17.0;
  }
  using Order = std::array<int, 3>;
  const Order o = f[0] > f[1] ? (f[1] > f[2] ? Order{0, 1, 2} : f[0] > f[2] ? Order{0, 2, 1} : Order{2, 0, 1})
                              : (f[2] > f[1] ? Order{2, 1, 0} : f[2] > f[0] ? Order{1, 2, 0} : Order{1, 0, 2});
  uint8_t out[3];
  for (uint32_t x = 0; x < 3; ++x) {
    uint32_t node[3] = {lower[0], lower[1], lower[2]};
    double sum = t.at(node[0], node[1], node[2], x);
    for (int step = 0; step < 3; ++step) {
      const double from = t.at(node[0], node[1], node[2], x);
      node[o[step]] = upper[o[step]];
      sum += f[o[step]] * (t.at(node[0], node[1], node[2], x) - from);
    }
    out[x] = channel(sum);
  }
  return {out[0], out[1], out[2], 0};
}

void assign(testhost::Host& h, const Ref& lut, int64_t r, int64_t g, int64_t b, int64_t x, double value) {
  ASSERT_TRUE(h.Assign(lut.get(), "Table", {r, g, b, x}, value).ok());
}

double table(testhost::Host& h, const Ref& lut, int64_t r, int64_t g, int64_t b, int64_t x) {
  return std::get<double>(h.CallMethod(lut.get(), "Table", {r, g, b, x}).value);
}

Ref new_lut(testhost::Host& h, const Ref& source, Lattice& t) {
  Ref lut = h.NewInstance("PictureLut3DZRK");
  EXPECT_TRUE(h.SetProperty(lut.get(), "SourcePicture", source).ok());
  for (uint32_t r = 0; r < 18; ++r)
    for (uint32_t g = 0; g < 18; ++g)
      for (uint32_t b = 0; b < 18; ++b)
        for (uint32_t x = 0; x < 3; ++x) assign(h, lut, r, g, b, x, t.at(r, g, b, x));
  return lut;
}

class Lut3DCases : public PluginTest {};

TEST_F(Lut3DCases, TableStoresInsideTheLatticeOnly) {
  const struct {
    int64_t r, g, b, x;
    bool stored;
  } cases[] = {
      {0, 0, 0, 0, true},   {17, 17, 17, 2, true}, {3, 5, 7, 1, true}, {18, 0, 0, 0, false},
      {0, 18, 0, 0, false}, {0, 0, 18, 0, false},  {0, 0, 0, 3, false}, {0xFFFFFFFF, 0, 0, 0, false},
  };
  testhost::Host& h = StartHost();
  Ref lut = h.NewInstance("PictureLut3DZRK");
  for (const auto& c : cases) {
    assign(h, lut, c.r, c.g, c.b, c.x, 7.5);
    EXPECT_EQ(table(h, lut, c.r, c.g, c.b, c.x), c.stored ? 7.5 : 0.0) << c.r << "," << c.g << "," << c.b << "," << c.x;
  }
  // Where the rejected indices would land in a flat table.
  EXPECT_EQ(table(h, lut, 0, 0, 1, 0) + table(h, lut, 0, 1, 0, 0) + table(h, lut, 1, 0, 0, 0), 0.0);
}

TEST_F(Lut3DCases, WorkedExamples) {
  Lattice identity, random = random_lattice(11), fresh, corners, bright, dark;
  for (uint32_t i = 0; i < 18 * 18 * 18; ++i)
    for (uint32_t x = 0; x < 3; ++x) identity.v[i * 3 + x] = 17.0 * (x == 0 ? i / 324 : x == 1 ? i / 18 % 18 : i % 18);
  // The cube from node 0 to node 1: equal fractions give f · 40 (2.35) in either neighbouring tetrahedron.
  corners.set(1, 0, 0, 200), corners.set(0, 1, 0, 100), corners.set(0, 0, 1, 150), corners.set(1, 1, 1, 60);
  corners.set(1, 1, 0, 40), corners.set(1, 0, 1, 40), corners.set(0, 1, 1, 40);
  for (uint32_t i = 0; i < 8; ++i) bright.set(5 + (i & 1), 5 + (i >> 1 & 1), 5 + (i >> 2), i < 7 ? 300.0 : 1e10);
  for (uint32_t i = 0; i < 8; ++i) dark.set(5 + (i & 1), 5 + (i >> 1 & 1), 5 + (i >> 2), -5.0);
  // Every value in each channel, after pixels that (1 − f)·N000 + … summed term by term would turn into 124 and 3.
  std::vector<Pixel> every = {{0, 0, 125}, {4, 1, 0}};
  for (int i = 0; i < 256; ++i) every.push_back(Pixel{uint8_t(i), uint8_t(i * 7 + 3), uint8_t(255 - i)});
  const auto node = [&random](uint32_t r, uint32_t g, uint32_t b) {
    return Pixel{channel(random.at(r, g, b, 0)), channel(random.at(r, g, b, 1)), channel(random.at(r, g, b, 2))};
  };
  const struct {
    const char* what;
    Lattice* table;
    std::vector<Pixel> in, want;  // empty want: the input itself
  } cases[] = {
      {"identity", &identity, every, {}},
      {"white reads node 15,15,15", &random, {{255, 255, 255}}, {node(15, 15, 15)}},
      {"17,0,0 is node 1,0,0", &random, {{17, 0, 0}}, {node(1, 0, 0)}},
      {"above 255 clamps", &bright, {{100, 90, 95}}, {{255, 255, 255}}},
      {"below 0 clamps", &dark, {{100, 90, 95}}, {{0, 0, 0}}},
      {"equal fractions", &corners, {{1, 1, 0}, {1, 0, 1}, {0, 1, 1}, {1, 1, 1}},
       {{2, 2, 2}, {2, 2, 2}, {2, 2, 2}, {3, 3, 3}}},
      {"a fresh table is black", &fresh, {{90, 180, 45}}, {{0, 0, 0}}},
  };
  testhost::Host& h = StartHost();
  for (const auto& c : cases) {
    Ref source = h.NewPicture(sized(static_cast<int32_t>(c.in.size()), 1));
    for (size_t i = 0; i < c.in.size(); ++i) {
      h.SetPixel(source.picture(), int32_t(i), 0, Pixel{c.in[i].r, c.in[i].g, c.in[i].b, 255});
    }
    Ref lut = new_lut(h, source, *c.table);
    ASSERT_TRUE(run(h, lut)) << c.what;
    const Ref result = destination(h, lut);
    for (size_t i = 0; i < c.in.size(); ++i) {
      const Pixel want = c.want.empty() ? c.in[i] : c.want[i];
      EXPECT_EQ(h.GetPixel(result.picture(), int32_t(i), 0), (Pixel{want.r, want.g, want.b, 255})) << c.what << i;
    }
  }
}

class Lut3DLendings : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(Lut3DLendings, MatchesTheReferenceInEveryRange) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  Lattice t = random_lattice(6);
  const Ref source = random_picture(h, GetParam(), 100, 4, 5);
  check_every_range(h, GetParam(), source, new_lut(h, source, t), [&t](Pixel p) { return tetrahedral(p, t); });
}

INSTANTIATE_TEST_SUITE_P(AllLendings, Lut3DLendings, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

// Every property and Table reach what Run reads, in the version-9, 2013 and
// current layouts. Each Run releases the destination before it (the ledger is
// checked at each host's end), so a failed Run leaves none.
TEST_F(Lut3DCases, PropertiesWorkInEveryRecordLayout) {
  for (double version : {2009.0, 2013.0, 2019.011}) {
    SCOPED_TRACE(version);
    testhost::HostConfig config;
    config.version = version;
    testhost::Host& h = StartHost(config);
    ASSERT_EQ(h.registrations().classes.size(), 2u);
    expect_registered(h.registrations().classes[1], expected::kClasses[1], {0, 8, 24, 16, 28, 20}, 140000, version);
    {
      Ref source = h.NewPicture(sized(2, 2));
      Ref lut = h.NewInstance("PictureLut3DZRK");
      ASSERT_TRUE(h.SetProperty(lut.get(), "SourcePicture", source).ok());
      EXPECT_EQ(std::get<Ref>(h.GetProperty(lut.get(), "SourcePicture").value).get(), source.get());
      set_range(h, lut.get(), {-1, 0, 0, 1});
      assign(h, lut, 15, 15, 15, 1, 99.9);
      ASSERT_TRUE(run(h, lut));
      const Ref result = destination(h, lut);
      EXPECT_EQ(h.GetPixel(result.picture(), 0, 0), (Pixel{0, 99, 0, 255})) << "white through node 15,15,15";
      EXPECT_EQ(h.GetPixel(result.picture(), 1, 0), (Pixel{255, 255, 255, 255})) << "one column";
      EXPECT_EQ(h.GetPixel(result.picture(), 0, 1), (Pixel{255, 255, 255, 255})) << "one row";
      ASSERT_TRUE(run(h, lut));
      ASSERT_TRUE(h.SetProperty(lut.get(), "SourcePicture", Ref()).ok());
      EXPECT_FALSE(run(h, lut));
      EXPECT_FALSE(destination(h, lut));
    }
    StopHost();
  }
}

}  // namespace
