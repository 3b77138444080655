// The lookup-table class through the host: Table's range checks, worked cases, and
// every lending and range against a plain tetrahedral reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
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

uint32_t hashed(const Index& n) {
  const auto entry = static_cast<uint32_t>(((n[0] * 18 + n[1]) * 18 + n[2]) * 3 + n[3]);
  return entry * 2654435761u + 6;
}

// Values around the channel range, hashed from the entry.
double random_node(const Index& n) { return hashed(n) % 29501 / 100.0 - 20.0; }

// The same with about one entry in 16 infinite or NaN.
double random_node_with_holes(const Index& n) {
  const double hole[] = {HUGE_VAL, -HUGE_VAL, std::nan("")};
  const uint32_t h = hashed(n) >> 7;
  return h % 48 < 3 ? hole[h % 48] : random_node(n);
}

// Lower node v / 17, upper one on (15 for 255), remainder r = v mod 17; the
// tetrahedron by strict comparisons of the remainders; the whole weights 17 − r_p,
// r_p − r_q, r_q − r_s, r_s over N000, N(p), N(pq), N111, a term of weight 0 left
// out; the sum over 17, below 0 (or NaN) 0, above 255 255, else truncated.
Pixel tetrahedral(Pixel p, Lattice t) {
  const int64_t v[3] = {p.r, p.g, p.b};
  const int64_t r[3] = {v[0] % 17, v[1] % 17, v[2] % 17};
  using Order = std::array<int, 3>;
  const Order o = r[0] > r[1] ? (r[1] > r[2] ? Order{0, 1, 2} : r[0] > r[2] ? Order{0, 2, 1} : Order{2, 0, 1})
                              : (r[2] > r[1] ? Order{2, 1, 0} : r[2] > r[0] ? Order{1, 2, 0} : Order{1, 0, 2});
  const int64_t weight[4] = {17 - r[o[0]], r[o[0]] - r[o[1]], r[o[1]] - r[o[2]], r[o[2]]};
  uint8_t out[3];
  for (int64_t x = 0; x < 3; ++x) {
    Index n = {v[0] / 17, v[1] / 17, v[2] / 17, x};
    double sum = double(weight[0]) * t(n);
    for (int k = 1; k < 4; ++k) {
      n[o[k - 1]] = v[o[k - 1]] == 255 ? 15 : n[o[k - 1]] + 1;
      if (weight[k] != 0) sum += double(weight[k]) * t(n);
    }
    const double value = sum / 17;
    out[x] = !(value > 0) ? 0 : value > 255 ? 255 : static_cast<uint8_t>(value);
  }
  return {out[0], out[1], out[2], 0};
}

bool assign(testhost::Host& h, const Ref& lut, const Index& n, double value) {
  return h.Assign(lut.get(), "Table", {n[0], n[1], n[2], n[3]}, value).ok();
}

// The spare slots 16 and 17 hold infinity, which would show wherever Run weighed them in.
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

// An infinite or NaN node changes only the pixels whose result it weighs in: red
// of node [1][1][1] (or [0][0][0]) is `hole`, the rest is the identity.
TEST_F(Lut3DTest, NonFiniteNodesReachOnlyThePixelsTheyWeighIn) {
  testhost::Host& h = StartHost();
  for (const double hole : {HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    SCOPED_TRACE(hole);
    const uint8_t red = hole > 0 ? 255 : 0;
    static double special;
    special = hole;
    for (const int64_t at : {0, 1}) {
      const Lattice lattice = at == 0 ? Lattice([](const Index& n) {
        return n[0] + n[1] + n[2] + n[3] == 0 ? special : 17.0 * n[n[3]];
      })
                                      : Lattice([](const Index& n) {
                                          return n[0] == 1 && n[1] == 1 && n[2] == 1 && n[3] == 0 ? special
                                                                                                : 17.0 * n[n[3]];
                                        });
      const uint8_t v = static_cast<uint8_t>(17 * at);
      // On the node, inside its cell, and beside it with weight 0 on it (16, 16, 0 reads
      // N111 = [1][1][1] with weight 0), then pixels that never read it.
      const std::vector<Pixel> pixels = {{v, v, v}, {1, 0, 0}, {16, 16, 16}, {16, 16, 0}, {34, 17, 17}, {16, 0, 0}};
      std::vector<Pixel> want = pixels;
      want[0].r = red;
      if (at == 0) want[1].r = red;  // (1, 0, 0): N000 weighs 16
      want[2].r = red;               // (16, 16, 16): N000 weighs 1, N111 16
      if (at == 0) want[3].r = red;  // (16, 16, 0): N000 weighs 1
      if (at == 0) want[5].r = red;  // (16, 0, 0): N000 weighs 1
      EXPECT_EQ(run_on_row(h, new_lut(h, lattice), pixels), want) << "node at " << at;
    }
  }
}

// A whole-number table gives the exact quotient: floor(Σ w·N / 17), clamped.
TEST_F(Lut3DTest, WholeNumberTablesAreExact) {
  const Lattice whole = [](const Index& n) { return double(int64_t(hashed(n) % 1201) - 400); };
  std::vector<Pixel> pixels;
  std::mt19937 rng(7);
  for (int i = 0; i < 600; ++i) {
    const uint32_t v = rng();
    pixels.push_back(i < 256 ? Pixel{uint8_t(i), uint8_t(255 - i), uint8_t(i * 17)}
                             : Pixel{uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16)});
  }
  std::vector<Pixel> want;
  for (const Pixel p : pixels) {
    const int64_t v[3] = {p.r, p.g, p.b};
    int64_t order[3] = {0, 1, 2};
    std::sort(order, order + 3, [&](int64_t a, int64_t b) { return v[a] % 17 > v[b] % 17; });
    uint8_t out[3];
    for (int64_t x = 0; x < 3; ++x) {
      Index n = {v[0] / 17, v[1] / 17, v[2] / 17, x};
      int64_t sum = (17 - v[order[0]] % 17) * int64_t(whole(n));
      for (int k = 0; k < 3; ++k) {
        n[order[k]] = std::min<int64_t>(n[order[k]] + 1, 15);
        sum += (v[order[k]] % 17 - (k < 2 ? v[order[k + 1]] % 17 : 0)) * int64_t(whole(n));
      }
      out[x] = static_cast<uint8_t>(std::clamp<int64_t>(sum < 0 ? -1 : sum / 17, 0, 255));
    }
    want.push_back({out[0], out[1], out[2], 0});
  }
  testhost::Host& h = StartHost();
  EXPECT_EQ(run_on_row(h, new_lut(h, whole), pixels), want);
}

TEST_P(Lut3DTest, MatchesTheReferenceInEveryRange) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  for (const Lattice lattice : {random_node, random_node_with_holes}) {
    check_every_range(h, GetParam(), random_picture(h, GetParam(), 100, 4, 5), new_lut(h, lattice),
                      [&](Pixel p) { return tetrahedral(p, lattice); });
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, Lut3DTest, ::testing::ValuesIn(kLendings), ByName());

}  // namespace
