// Inversion through the registered methods over every lending: whole pictures and
// rectangles (clipped, outside, reaching to the edge) against a plain reference. The
// registration tests call it in every host version band.
#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;

struct Area { int32_t left, top, width, height; };

bool inside(const Area& a, int32_t x, int32_t y, int32_t width, int32_t height) {
  const int64_t w = a.width <= 0 ? width : a.width;
  const int64_t h = a.height <= 0 ? height : a.height;
  return x >= a.left && y >= a.top && x < int64_t{a.left} + w && y < int64_t{a.top} + h;
}

class InvertTest : public PluginTest, public ::testing::WithParamInterface<Lending> {
 protected:
  // Both methods with `area` (or their no-argument forms), every pixel checked.
  void Check(std::optional<Area> area, int32_t width, int32_t height) {
    const Lending& l = GetParam();
    Ref source = random_picture(host(), l, width, height, static_cast<uint32_t>(width * 131 + height));
    const std::vector<Pixel> before = pixels_of(host(), source.picture());
    std::vector<Value> args;
    if (area) args = {int64_t{area->left}, int64_t{area->top}, int64_t{area->width}, int64_t{area->height}};
    for (bool greyOnly : {false, true}) {
      const char* method = greyOnly ? "InvertGrayZRK" : "InvertZRK";
      EXPECT_TRUE(result_matches(host(), l, source.picture(), before, host().CallMethod(source.get(), method, args),
                                 [&](int32_t x, int32_t y, Pixel p) -> std::optional<Pixel> {
                                   if (!inside(area.value_or(Area{0, 0, -1, -1}), x, y, width, height)) return {};
                                   if (greyOnly && !(p.r == p.g && p.g == p.b)) return p;
                                   return Pixel{uint8_t(255 - p.r), uint8_t(255 - p.g), uint8_t(255 - p.b)};
                                 }))
          << method << " " << width << "x" << height;
    }
  }
};

TEST_P(InvertTest, WholePicturesAndClippedRectangles) {
  StartHost(config_for(GetParam()));
  for (int32_t width : {1, 2, 3, 8, 9, 17, 33, 65}) Check(std::nullopt, width, 2);
  const Area areas[] = {
      {2, 1, 5, 3},         {-3, -2, 5, 4},        {6, 4, 100, 100},           {40, 40, 5, 5},
      {1, 2, 0, 0},         {-100, -100, 50, 50},  {0, 0, INT32_MAX, INT32_MAX}, {INT32_MAX, 0, 10, 10},
      {INT32_MIN, 1, INT32_MAX, 1},
  };
  for (const Area& a : areas) {
    SCOPED_TRACE(testing::Message() << "area " << a.left << "," << a.top << "," << a.width << "," << a.height);
    Check(a, 9, 6);
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, InvertTest, ::testing::ValuesIn(kLendings), ByName());

}  // namespace
