#include "tools/chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace picture_host {
namespace {

TEST(Chart, IsAnOpaqueChartOfKnownColours) {
  const Image chart = MakeChart();
  ASSERT_EQ(chart.width, 256);
  ASSERT_EQ(chart.height, 128);
  EXPECT_FALSE(chart.alpha);

  // Hue ramp: starts red, passes the secondaries, always fully saturated.
  EXPECT_EQ(chart.Get(0, 0), (Rgba{255, 0, 0}));
  EXPECT_EQ(chart.Get(128, 31), (Rgba{0, 255, 255}));
  for (int32_t x = 0; x < 256; ++x) {
    const Rgba c = chart.Get(x, 10);
    EXPECT_EQ(std::max({c.r, c.g, c.b}), 255) << x;
    EXPECT_EQ(std::min({c.r, c.g, c.b}), 0) << x;
    if (x > 0) {
      const Rgba p = chart.Get(x - 1, 10);
      EXPECT_LE(std::abs(c.r - p.r) + std::abs(c.g - p.g) + std::abs(c.b - p.b), 12) << x;
    }
    const Rgba dark = chart.Get(x, 40), pastel = chart.Get(x, 56);
    EXPECT_EQ(std::max({dark.r, dark.g, dark.b}), 128) << x;
    EXPECT_EQ(std::min({pastel.r, pastel.g, pastel.b}), 128) << x;
    EXPECT_EQ(chart.Get(x, 80), (Rgba{uint8_t(x), uint8_t(x), uint8_t(x)})) << x;
  }

  const Rgba patches[8] = {{0, 0, 0},   {255, 255, 255}, {255, 0, 0},   {0, 255, 0},
                           {0, 0, 255}, {0, 255, 255},   {255, 0, 255}, {255, 255, 0}};
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(chart.Get(i * 32, 96), patches[i]) << i;
    EXPECT_EQ(chart.Get(i * 32 + 31, 127), patches[i]) << i;
  }
}

}  // namespace
}  // namespace picture_host
