#include "tools/lending.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/tools/test_images.h"

namespace picture_host {
namespace {

TEST(Premultiply, RoundTripsKeepPremultipliedValuesAndStayCloseToStraightOnes) {
  for (int a = 0; a < 256; ++a) {
    const auto alpha = static_cast<uint8_t>(a);
    for (int c = 0; c < 256; ++c) {
      const auto value = static_cast<uint8_t>(c);
      const uint8_t p = Premultiply(value, alpha);
      ASSERT_LE(p, alpha) << "c " << c << " a " << a;
      if (c <= a) {
        ASSERT_EQ(Premultiply(Unpremultiply(value, alpha), alpha), value) << "p " << c << " a " << a;
      }
      if (a == 0) {
        ASSERT_EQ(Unpremultiply(value, alpha), 0);
        continue;
      }
      const int error = std::abs(Unpremultiply(p, alpha) - c);
      ASSERT_LE(error, 127.5 / a + 0.5) << "c " << c << " a " << a;
      if (a >= 128) {
        ASSERT_LE(error, 1) << "c " << c << " a " << a;
      }
      if (a == 255) {
        ASSERT_EQ(p, c);
      }
    }
  }
}

TEST(Transparency, SpansOpaqueToClearAndRoundTripsWithinOne) {
  EXPECT_EQ(AlphaToTransparency(255), 0);
  EXPECT_EQ(AlphaToTransparency(0), 127);
  EXPECT_EQ(TransparencyToAlpha(0), 255);
  EXPECT_EQ(TransparencyToAlpha(127), 0);
  EXPECT_EQ(TransparencyToAlpha(255), 0);  // past the 7 bits still reads as clear
  int previous = 128;
  for (int a = 0; a < 256; ++a) {
    const uint8_t t = AlphaToTransparency(static_cast<uint8_t>(a));
    ASSERT_LE(t, 127);
    ASSERT_LE(t, previous) << "more alpha, less transparency";
    previous = t;
    ASSERT_LE(std::abs(TransparencyToAlpha(t) - a), 1) << "a " << a;
  }
  for (int t = 0; t < 128; ++t) {
    const uint8_t a = TransparencyToAlpha(static_cast<uint8_t>(t));
    ASSERT_EQ(AlphaToTransparency(a), t) << "t " << t;
  }
}

struct LendCase {
  int32_t layout;
  bool alpha;
  Rgba in;
  testhost::Pixel lent;
  Rgba back;
};

TEST(LendPixel, PutsEachLayoutsBytesInTheirRoles) {
  const std::vector<LendCase> cases = {
      {5, false, {10, 20, 30, 77}, {10, 20, 30, 255}, {10, 20, 30, 255}},
      {6, false, {10, 20, 30, 77}, {10, 20, 30, 255}, {10, 20, 30, 255}},
      {1, false, {10, 20, 30, 0}, {10, 20, 30, 255}, {10, 20, 30, 255}},
      {3, true, {10, 20, 30, 77}, {10, 20, 30, 77}, {10, 20, 30, 77}},
      {4, true, {10, 20, 30, 77}, {10, 20, 30, 77}, {10, 20, 30, 77}},
      {1, true, {255, 128, 0, 128}, {128, 64, 0, 128}, {255, 128, 0, 128}},
      {2, true, {255, 128, 0, 128}, {128, 64, 0, 128}, {255, 128, 0, 128}},
      {2, true, {255, 255, 255, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}},
      {1, true, {9, 8, 7, 255}, {9, 8, 7, 255}, {9, 8, 7, 255}},
      {kRowTableLayout, false, {1, 2, 3, 0}, {1, 2, 3, 0}, {1, 2, 3, 255}},
      {kRowTableLayout, true, {1, 2, 3, 255}, {1, 2, 3, 0}, {1, 2, 3, 255}},
      {kRowTableLayout, true, {1, 2, 3, 0}, {1, 2, 3, 127}, {1, 2, 3, 0}},
      {kRowTableLayout, true, {1, 2, 3, 128}, {1, 2, 3, 63}, {1, 2, 3, 129}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("layout " + std::to_string(c.layout) + (c.alpha ? " with alpha" : ""));
    const testhost::Pixel lent = LendPixel(c.layout, c.alpha, c.in);
    EXPECT_EQ(lent, c.lent);
    EXPECT_EQ(ReadLentPixel(c.layout, c.alpha, lent), c.back);
  }
}

TEST(ReadLentPixel, IgnoresTheUnusedTopBitOfTheRowTable) {
  EXPECT_EQ(ReadLentPixel(kRowTableLayout, true, {1, 2, 3, 0x80}), (Rgba{1, 2, 3, 255}));
  EXPECT_EQ(ReadLentPixel(kRowTableLayout, true, {1, 2, 3, 0xFF}), (Rgba{1, 2, 3, 0}));
}

TEST(LendPixel, OpaquePicturesComeBackExactlyInEveryLayout) {
  const Image image = testing::Noise(16, 16, false, 77);
  for (int32_t layout : {1, 2, 3, 4, 5, 6, kRowTableLayout}) {
    SCOPED_TRACE(layout);
    for (int32_t y = 0; y < image.height; ++y) {
      for (int32_t x = 0; x < image.width; ++x) {
        const Rgba c = image.Get(x, y);
        ASSERT_EQ(ReadLentPixel(layout, false, LendPixel(layout, false, c)), c);
      }
    }
  }
}

TEST(LayoutHoldsAlpha, OnlyLayoutsWithAnAlphaByteOrTransparency) {
  const std::vector<bool> expected = {false, true, true, true, true, false, false, false, true};
  for (int32_t layout = 0; layout <= 8; ++layout) {
    EXPECT_EQ(LayoutHoldsAlpha(layout), expected[static_cast<size_t>(layout)]) << layout;
  }
}

}  // namespace
}  // namespace picture_host
