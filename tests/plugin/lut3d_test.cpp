// The lookup-table class through the host: Table's range checks, worked cases, and
// every lending and range against a plain tetrahedral reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "tests/plugin/filter_class_test.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using namespace filtertest;
using testhost::Ref;
using Index = std::array<int64_t, 4>;  // r, g, b, x
using Lattice = double (*)(const Index&);  // nodes 0..15 of each dimension

// Entry i of a flat table of 18 × 18 × 18 nodes of three values.
Index index_of(size_t i) { return {int64_t(i / 972), int64_t(i / 54 % 18), int64_t(i / 3 % 18), int64_t(i % 3)}; }

// Values around the channel range, hashed from the entry.
double random_node(const Index& n) {
  const auto entry = static_cast<uint32_t>(((n[0] * 18 + n[1]) * 18 + n[2]) * 3 + n[3]);
  return (entry * 2654435761u + 6) % 29501 / 100.0 - 20.0;
}

// Lower node v / 17, upper one on (15 for 255), fraction (v mod 17) / 17; the
// tetrahedron by strict comparisons of the fractions; out = N000 + f_p·(N(p) −
// N000) + f_q·(N(pq) − N(p)) + f_s·(N111 − N(pq)).
Pixel tetrahedral(Pixel p, Lattice t) {
  const int64_t v[3] = {p.r, p.g, p.b};
  const double f[3] = {v[0] % 17 / 17.0, v[1] % 17 / 17.0, v[2] % 17 / 17.0};
  using Order = std::array<int, 3>;
  const Order o = f[0] > f[1] ? (f[1] > f[2] ? Order{0, 1, 2} : f[0] > f[2] ? Order{0, 2, 1} : Order{2, 0, 1})
                              : (f[2] > f[1] ? Order{2, 1, 0} : f[2] > f[0] ? Order{1, 2, 0} : Order{1, 0, 2});
  uint8_t out[3];
  for (int64_t x = 0; x < 3; ++x) {
    Index n = {v[0] / 17, v[1] / 17, v[2] / 17, x};
    double sum = t(n);
    for (int c : o) {
      const double from = t(n);
      n[c] = v[c] == 255 ? 15 : n[c] + 1;
      sum += f[c] * (t(n) - from);
    }
    out[x] = sum < 0 ? 0 : sum > 255 ? 255 : static_cast<uint8_t>(sum);
  }
  return {out[0], out[1], out[2], 0};
}

bool assign(testhost::Host& h, const Ref& lut, const Index& n, double value) {
  return h.Assign(lut.get(), "Table", {n[0], n[1], n[2], n[3]}, value).ok();
}

// The spare slots 16 and 17 hold infinity, which would show wherever Run read them, even with a weight of 0.
Ref new_lut(testhost::Host& h, Lattice t) {
  Ref lut = h.NewInstance("PictureLut3DZRK");
  for (size_t i = 0; i < 18 * 18 * 18 * 3; ++i) {
    const Index n = index_of(i);
    EXPECT_TRUE(assign(h, lut, n, std::max({n[0], n[1], n[2]}) > 15 ? HUGE_VAL : t(n)));
  }
  return lut;
}

class Lut3DTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

// On a version-9 host: indices past the lattice are neither stored nor read; each
// Run releases the destination before it, so a failed Run leaves none.
TEST_F(Lut3DTest, TableStoresInsideTheLatticeOnlyAndRunsLeakNothing) {
  testhost::Host& h = StartHost({.version = 2009.0});
  Ref lut = h.NewInstance("PictureLut3DZRK");
  const auto table = [&](const Index& n) {
    return std::get<double>(h.CallMethod(lut.get(), "Table", {n[0], n[1], n[2], n[3]}).value);
  };
  for (const Index& n : {Index{17, 17, 17, 2}, {18, 0, 0, 0}, {0, 18, 0, 0}, {0, 0, 18, 0}, {0, 0, 0, 3},
                         {0xFFFFFFFF, 0, 0, 0}}) {
    ASSERT_TRUE(assign(h, lut, n, 7.5));
    EXPECT_EQ(table(n), n[0] == 17 ? 7.5 : 0.0) << n[0] << "," << n[1] << "," << n[2] << "," << n[3];
  }
  // Where the rejected indices would land in a flat table.
  EXPECT_EQ(table({0, 0, 1, 0}) + table({0, 1, 0, 0}) + table({1, 0, 0, 0}), 0.0);
  ASSERT_EQ(run_on_row(h, lut, {{}}).size(), 1u);
  ASSERT_TRUE(run(h, lut));
  ASSERT_TRUE(h.SetProperty(lut.get(), "SourcePicture", Ref()).ok());
  EXPECT_FALSE(run(h, lut));
  EXPECT_FALSE(destination(h, lut));
}

TEST_F(Lut3DTest, WorkedExamples) {
  // Exact only if 255 reads node 15 (node 16 would give 0 · infinity) and 17 node 1.
  const Lattice identity = [](const Index& n) { return 17.0 * n[n[3]]; };
  // The corners of the cube of node 0 by r·4 + g·2 + b, where equal fractions give f · 40 (2.35) in either
  // neighbouring tetrahedron; above 255 around node 5 (one corner past 32 bits); below 0 around node 10.
  const Lattice features = [](const Index& n) {
    static const double kCorner[] = {0, 150, 100, 40, 200, 40, 40, 60};
    const int64_t low = std::min({n[0], n[1], n[2]}), high = std::max({n[0], n[1], n[2]});
    if (high <= 1) return kCorner[n[0] * 4 + n[1] * 2 + n[2]];
    return low >= 5 && high <= 6 ? (low == 6 ? 1e10 : 300.0) : low >= 10 && high <= 11 ? -5.0 : 0.0;
  };
  // Every value in each channel, after pixels that (1 − f)·N000 + … summed term by term would turn into 124 and 3.
  std::vector<Pixel> every = {{0, 0, 125}, {4, 1, 0}};
  for (int i = 0; i < 256; ++i) every.push_back(Pixel{uint8_t(i), uint8_t(i * 7 + 3), uint8_t(255 - i)});
  testhost::Host& h = StartHost();
  EXPECT_EQ(run_on_row(h, new_lut(h, identity), every), every);
  EXPECT_EQ(run_on_row(h, new_lut(h, features),
                       {{1, 1, 0}, {1, 0, 1}, {0, 1, 1}, {1, 1, 1}, {100, 90, 95}, {180, 175, 178}}),
            (std::vector<Pixel>{{2, 2, 2}, {2, 2, 2}, {2, 2, 2}, {3, 3, 3}, {255, 255, 255}, {0, 0, 0}}));
}

TEST_P(Lut3DTest, MatchesTheReferenceInEveryRange) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  check_every_range(h, GetParam(), random_picture(h, GetParam(), 100, 4, 5), new_lut(h, random_node),
                    [](Pixel p) { return tetrahedral(p, random_node); });
}

INSTANTIATE_TEST_SUITE_P(AllLendings, Lut3DTest, ::testing::ValuesIn(kLendings), ByName());

}  // namespace
