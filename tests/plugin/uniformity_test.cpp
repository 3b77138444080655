// Uniformity tests and colourfulness through the registered methods, over every
// way a host lends a picture: the rectangle's unclamped right and bottom edges,
// empty rectangles, the grey tolerance in both signs, and the colourfulness rules
// (near-black pixels, the untested red-to-blue difference, the signed threshold).
#include <gtest/gtest.h>

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

const Pixel kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255}, kGrey{100, 100, 100, 255};
const Pixel kGrey104{104, 100, 100, 255};

struct Spot {
  int32_t x, y;
  Pixel colour;
};

template <class... I>
std::vector<Value> ints(I... i) {
  return {Value{int64_t{i}}...};
}

// A 12 x 3 picture of `base` with `spots`, and one call on it.
const struct UniformCase {
  Pixel base;
  std::vector<Spot> spots;
  const char* method;
  std::vector<Value> args;
  bool want;
} kUniformCases[] = {
    {kBlack, {}, "isBlackZRK", {}, true},
    {kBlack, {{11, 2, {0, 0, 1, 255}}}, "isBlackZRK", {}, false},
    {kBlack, {{11, 2, kWhite}}, "isBlackZRK", ints(0, 0, 11, -1), true},
    {kBlack, {{11, 2, kWhite}}, "isBlackZRK", ints(11, 2, 1, 1), false},
    // A negative left or top pulls the far edge in: the last columns (rows) go unscanned.
    {kBlack, {{7, 0, kWhite}, {11, 2, kWhite}}, "isBlackZRK", ints(-5, 0, -1, -1), true},
    {kBlack, {{7, 0, kWhite}}, "isBlackZRK", ints(-4, 0, -1, -1), false},
    {kBlack, {{3, 2, kWhite}}, "isBlackZRK", ints(0, -1, -1, -1), true},
    {kBlack, {{3, 1, kWhite}}, "isBlackZRK", ints(0, -1, -1, -1), false},
    // Empty or outside rectangles hold no failing pixel; a width of 0 is empty.
    {kBlack, {}, "isWhiteZRK", ints(3, 1, 0, 2), true},
    {kBlack, {}, "isGrayZRK", ints(0, 12, 0, 5, 5), true},
    {kBlack, {}, "isWhiteZRK", ints(INT32_MIN, 0, INT32_MAX, -1), true},
    {kBlack, {}, "isWhiteZRK", ints(0, 0, INT32_MAX, INT32_MAX), false},
    // Alpha plays no part.
    {{255, 255, 255, 0}, {}, "isWhiteZRK", {}, true},
    {kWhite, {{0, 0, {255, 255, 254, 255}}}, "isWhiteZRK", {}, false},
    {kGrey, {}, "isGrayZRK", {}, true},
    {kGrey, {{5, 1, {101, 100, 100, 255}}}, "isGrayZRK", {}, false},
    {kGrey, {{5, 1, kGrey104}}, "isGrayZRK", ints(4), true},
    {kGrey, {{5, 1, kGrey104}}, "isGrayZRK", ints(3), false},
    {kGrey, {{5, 1, kGrey104}}, "isGrayZRK", ints(-4), true},
    {kGrey, {{5, 1, kGrey104}}, "isGrayZRK", ints(-3), false},
    {kGrey, {{5, 1, kGrey104}}, "isGrayZRK", ints(3, 6, 0, -1, -1), true},
    // Green and blue 8 apart though each is within 4 of red.
    {kGrey, {{5, 1, {100, 96, 104, 255}}}, "isGrayZRK", ints(4), false},
    {kGrey, {{5, 1, {100, 96, 104, 255}}}, "isGrayZRK", ints(8), true},
    {kGrey, {{0, 0, {0, 255, 0, 255}}}, "isGrayZRK", ints(INT32_MIN), true},
};

// A 4 x 2 picture, both rows `row`: results in quarters.
const struct ColournessCase {
  std::vector<Pixel> row;
  std::vector<Value> args;
  double want;
} kColournessCases[] = {
    {{kGrey, kWhite, kBlack, {7, 7, 7, 0}}, {}, 0.0},
    {{{255, 0, 0, 255}, {255, 0, 0, 255}, kBlack, kBlack}, {}, 0.5},
    // Red and blue 20 apart, green within 10 of each: not colourful.
    {{{60, 50, 40, 255}, kGrey, kGrey, kGrey}, ints(10), 0.0},
    {{{60, 50, 40, 255}, kGrey, kGrey, kGrey}, ints(9), 0.25},
    {{{50, 61, 50, 255}, {50, 60, 50, 255}, {50, 39, 50, 255}, kGrey}, {}, 0.5},
    // Blue of 30 or more is enough to be considered; all three under 30 never counts.
    {{{29, 29, 200, 255}, {29, 29, 29, 255}, kGrey, kGrey}, ints(10), 0.25},
    {{{29, 29, 200, 255}, {29, 29, 29, 255}, kGrey, kGrey}, ints(-1), 0.75},
    {{kWhite, kGrey, {30, 30, 30, 0}, {200, 100, 0, 255}}, ints(-1), 1.0},
    {{kWhite, kGrey, kBlack, {0, 255, 0, 255}}, ints(INT32_MIN), 0.75},
    {{kWhite, kGrey, kBlack, {0, 255, 0, 255}}, ints(INT32_MAX), 0.0},
};

// A call's plain result; nullopt when the call failed, raised, or gave another type.
template <class T>
std::optional<T> value_of(const CallResult& r) {
  if (!r.ok() || r.exception || !std::holds_alternative<T>(r.value)) return std::nullopt;
  return std::get<T>(r.value);
}

class UniformityTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(UniformityTest, WorkedCases) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  const auto make = [&](int32_t width, int32_t height, Pixel base, const std::vector<Spot>& spots) {
    Ref picture = h.NewPicture(shape_for(GetParam(), width, height));
    for (int32_t i = 0; i < width * height; ++i) h.SetPixel(picture.picture(), i % width, i / width, base);
    for (const Spot& s : spots) h.SetPixel(picture.picture(), s.x, s.y, s.colour);
    return picture;
  };
  for (const UniformCase& c : kUniformCases) {
    const Ref picture = make(12, 3, c.base, c.spots);
    EXPECT_EQ(value_of<bool>(h.CallMethod(picture.get(), c.method, c.args)), c.want)
        << c.method << " case " << (&c - kUniformCases);
  }
  for (const ColournessCase& c : kColournessCases) {
    std::vector<Spot> spots;
    for (int32_t x = 0; x < 4; ++x) spots.insert(spots.end(), {{x, 0, c.row[x]}, {x, 1, c.row[x]}});
    const Ref picture = make(4, 2, kWhite, spots);
    EXPECT_EQ(value_of<double>(h.CallMethod(picture.get(), "ColornessZRK", c.args)), c.want)
        << "case " << (&c - kColournessCases);
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, UniformityTest, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

class UniformityCases : public PluginTest {};

TEST_F(UniformityCases, NilPictureGivesTheNeutralResult) {
  testhost::Host& h = StartHost();
  for (const char* method : {"isBlackZRK", "isWhiteZRK", "isGrayZRK"})
    EXPECT_EQ(value_of<bool>(h.CallMethod(nullptr, method, {})), false) << method;
  EXPECT_EQ(value_of<double>(h.CallMethod(nullptr, "ColornessZRK", {})), 0.0);
}

}  // namespace
