// Inversion through the registered methods, over every way a host lends a
// picture: whole pictures and rectangles (clipped, outside, reaching to the
// edge), compared pixel by pixel with a plain reference; pixels outside the
// rectangle keep what a fresh picture holds, and the source stays as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::CallResult;
using testhost::Ref;
using testhost::Value;

struct Area {
  int32_t left, top, width, height;
};

Pixel invert(Pixel p, bool greyOnly) {
  if (greyOnly && !(p.r == p.g && p.g == p.b)) return p;
  return Pixel{static_cast<uint8_t>(255 - p.r), static_cast<uint8_t>(255 - p.g), static_cast<uint8_t>(255 - p.b),
               p.a};
}

bool inside(const Area& a, int32_t x, int32_t y, int32_t width, int32_t height) {
  const int64_t w = a.width <= 0 ? width : a.width;
  const int64_t h = a.height <= 0 ? height : a.height;
  return x >= a.left && y >= a.top && x < int64_t{a.left} + w && y < int64_t{a.top} + h;
}

class InvertTest : public PluginTest, public ::testing::WithParamInterface<Lending> {
 protected:
  // Calls `method` with `area` (or its no-argument form) and checks every pixel.
  void Check(const char* method, bool greyOnly, std::optional<Area> area, int32_t width, int32_t height) {
    const Lending& l = GetParam();
    testhost::Host& h = host();
    Ref source = random_picture(h, l, width, height, static_cast<uint32_t>(width * 131 + height));
    const std::vector<Pixel> before = pixels_of(h, source.picture());
    std::vector<Value> args;
    if (area) args = {int64_t{area->left}, int64_t{area->top}, int64_t{area->width}, int64_t{area->height}};
    const Area whole{0, 0, -1, -1};
    ASSERT_TRUE(result_matches(h, l, source.picture(), before, h.CallMethod(source.get(), method, args),
                               [&](int32_t x, int32_t y, Pixel p) -> std::optional<Pixel> {
                                 if (!inside(area.value_or(whole), x, y, width, height)) return std::nullopt;
                                 return invert(p, greyOnly);
                               }))
        << method << " " << width << "x" << height;
  }
};

TEST_P(InvertTest, WholePictureAtEveryWidth) {
  StartHost(config_for(GetParam()));
  for (int32_t width : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65}) {
    Check("InvertZRK", false, std::nullopt, width, 2);
    Check("InvertGrayZRK", true, std::nullopt, width, 1);
  }
}

TEST_P(InvertTest, RectanglesAreClippedWithTheCallersEdges) {
  StartHost(config_for(GetParam()));
  const Area areas[] = {
      {0, 0, -1, -1},     {2, 1, 5, 3},          {-3, -2, 5, 4},           {6, 4, 100, 100},
      {40, 40, 5, 5},     {1, 2, 0, 0},          {3, 0, 0, 2},             {0, 0, INT32_MAX, INT32_MAX},
      {INT32_MAX, 0, 10, 10}, {-100, -100, 50, 50}, {INT32_MIN, 1, INT32_MAX, 1},
  };
  for (const Area& a : areas) {
    SCOPED_TRACE(testing::Message() << "area " << a.left << "," << a.top << "," << a.width << "," << a.height);
    Check("InvertZRK", false, a, 9, 6);
    Check("InvertGrayZRK", true, a, 9, 6);
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, InvertTest, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

class InvertCases : public PluginTest {};

TEST_F(InvertCases, WorkedExamples) {
  testhost::Host& h = StartHost();
  Ref source = h.NewPicture(sized(3, 1));
  h.SetPixel(source.picture(), 0, 0, Pixel{255, 255, 255, 255});
  h.SetPixel(source.picture(), 1, 0, Pixel{10, 20, 30, 255});
  h.SetPixel(source.picture(), 2, 0, Pixel{200, 200, 200, 255});

  CallResult all = h.CallMethod(source.get(), "InvertZRK", {});
  ASSERT_TRUE(std::holds_alternative<Ref>(all.value));
  EXPECT_EQ(h.GetPixel(std::get<Ref>(all.value).picture(), 0, 0), (Pixel{0, 0, 0, 255}));
  EXPECT_EQ(h.GetPixel(std::get<Ref>(all.value).picture(), 1, 0), (Pixel{245, 235, 225, 255}));

  CallResult grey = h.CallMethod(source.get(), "InvertGrayZRK", {});
  ASSERT_TRUE(std::holds_alternative<Ref>(grey.value));
  EXPECT_EQ(h.GetPixel(std::get<Ref>(grey.value).picture(), 1, 0), (Pixel{10, 20, 30, 255}));
  EXPECT_EQ(h.GetPixel(std::get<Ref>(grey.value).picture(), 2, 0), (Pixel{55, 55, 55, 255}));
}

// The methods answer in every host version band, whether registered on the class
// or as module functions.
TEST_F(InvertCases, WorksInEveryHostVersionBand) {
  for (std::optional<double> version : {std::optional<double>{}, std::optional<double>{2009.0},
                                        std::optional<double>{2012.0}, std::optional<double>{2013.0},
                                        std::optional<double>{2019.011}, std::optional<double>{3000.0}}) {
    testhost::HostConfig config;
    config.version = version;
    testhost::Host& h = StartHost(config);
    Ref source = h.NewPicture(sized(2, 2));
    h.SetPixel(source.picture(), 1, 1, Pixel{1, 2, 3, 255});
    CallResult r = h.CallMethod(source.get(), "InvertZRK", {int64_t{1}, int64_t{1}, int64_t{1}, int64_t{1}});
    ASSERT_TRUE(r.ok()) << r.error;
    ASSERT_TRUE(std::holds_alternative<Ref>(r.value)) << "version " << version.value_or(0);
    EXPECT_EQ(h.GetPixel(std::get<Ref>(r.value).picture(), 1, 1), (Pixel{254, 253, 252, 255}));
    EXPECT_EQ(h.GetPixel(std::get<Ref>(r.value).picture(), 0, 0), (Pixel{255, 255, 255, 255}));
    r = {};
    source = {};
    StopHost();
  }
}

}  // namespace
