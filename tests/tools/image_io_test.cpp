// Picture files, the pixel lending between files and host pictures, and the demo chart.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "tools/chart.h"
#include "tools/image_io.h"
#include "tools/lending.h"

namespace picture_host {
namespace {

TEST(ImageIo, PngRoundTripsJpegReadsAndOtherDataIsRefused) {
  for (const bool alpha : {false, true}) {
    // A smooth picture, which JPEG keeps close: any swapped channel or row shows.
    Image image(32, 16, alpha);
    for (int32_t y = 0; y < 16; ++y) {
      for (int32_t x = 0; x < 32; ++x) image.Set(x, y, {uint8_t(x * 8), uint8_t(y * 16), 128, uint8_t(x * y)});
    }
    const std::vector<uint8_t> png = EncodePng(image);
    const Image back = DecodeImage(png);
    EXPECT_TRUE(back.width == 32 && back.height == 16 && back.alpha == alpha);
    EXPECT_EQ(back.pixels, image.pixels);
    // A truncated PNG, and text, are no pictures.
    EXPECT_THROW(DecodeImage(std::vector<uint8_t>(png.begin(), png.begin() + 40)), ImageError);
    EXPECT_THROW(DecodeImage(std::vector<uint8_t>{'t', 'e', 'x', 't', '\n'}), ImageError);
    if (alpha) continue;

    const Image jpeg = DecodeImage(EncodeJpeg(image, 95));
    ASSERT_TRUE(jpeg.width == 32 && jpeg.height == 16 && !jpeg.alpha);
    for (size_t i = 0; i < image.pixels.size(); ++i) {
      ASSERT_LE(std::abs(jpeg.pixels[i] - image.pixels[i]), 12) << "byte " << i;
    }
  }
}

TEST(Lending, PremultipliesWithinOneAndPutsEachLayoutsBytesInTheirRoles) {
  for (int a = 1; a < 256; ++a) {
    for (int c = 0; c < 256; ++c) {
      const auto alpha = static_cast<uint8_t>(a), value = static_cast<uint8_t>(c);
      const uint8_t p = Premultiply(value, alpha);
      ASSERT_LE(p, alpha) << "c " << c << " a " << a;
      // Exact for what the plug-in writes; within one for straight values where alpha keeps the precision.
      ASSERT_TRUE(c > a || Premultiply(Unpremultiply(value, alpha), alpha) == value) << "p " << c << " a " << a;
      ASSERT_LE(std::abs(Unpremultiply(p, alpha) - c), a >= 128 ? 1 : 127.5 / a + 0.5) << "c " << c << " a " << a;
    }
  }
  EXPECT_EQ(Unpremultiply(0, 0), 0);

  // Layout, alpha channel, file pixel, as lent, as read back.
  const std::vector<std::tuple<int32_t, bool, Rgba, testhost::Pixel, Rgba>> cases = {
      {1, true, {255, 128, 0, 128}, {128, 64, 0, 128}, {255, 128, 0, 128}},
      {3, true, {10, 20, 30, 77}, {10, 20, 30, 77}, {10, 20, 30, 77}},
      {1, false, {10, 20, 30, 77}, {10, 20, 30, 255}, {10, 20, 30, 255}},
      {kRowTableLayout, true, {1, 2, 3, 128}, {1, 2, 3, 63}, {1, 2, 3, 129}},
  };
  for (const auto& [layout, alpha, in, lent, back] : cases) {
    EXPECT_EQ(LendPixel(layout, alpha, in), lent) << layout;
    EXPECT_EQ(ReadLentPixel(layout, alpha, lent), back) << layout;
  }
}

TEST(Chart, IsAnOpaqueChartOfKnownColours) {
  const Image chart = MakeChart();
  ASSERT_TRUE(chart.width == 256 && chart.height == 128 && !chart.alpha);
  // Hue ramp from red through cyan, the same darker and paler, a grey ramp, eight patches.
  const std::vector<std::tuple<int32_t, int32_t, Rgba>> samples = {
      {0, 0, {255, 0, 0}},       {128, 31, {0, 255, 255}},    {0, 40, {128, 0, 0}},    {128, 56, {128, 255, 255}},
      {200, 80, {200, 200, 200}}, {31, 127, {0, 0, 0}},       {32, 96, {255, 255, 255}}, {95, 100, {255, 0, 0}},
      {140, 100, {0, 0, 255}},   {255, 127, {255, 255, 0}}};
  for (const auto& [x, y, colour] : samples) EXPECT_EQ(chart.Get(x, y), colour) << x << "," << y;
  for (int32_t x = 1; x < 256; ++x) {  // the hue ramp: fully saturated, without jumps
    const Rgba c = chart.Get(x, 10), p = chart.Get(x - 1, 10);
    EXPECT_TRUE(std::max({c.r, c.g, c.b}) == 255 && std::min({c.r, c.g, c.b}) == 0) << x;
    EXPECT_LE(std::abs(c.r - p.r) + std::abs(c.g - p.g) + std::abs(c.b - p.b), 12) << x;
  }
}

}  // namespace
}  // namespace picture_host
