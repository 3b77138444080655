// Uniformity tests and colourfulness over every lending: unclamped rectangle edges,
// empty rectangles, tolerances of either sign, near-black pixels, the signed threshold.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;

const Pixel kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255}, kGrey{100, 100, 100, 255}, kGrey104{104, 100, 100, 255};

template <class... I>
std::vector<Value> ints(I... i) { return {Value{int64_t{i}}...}; }

struct Spot { int32_t x, y; Pixel colour; };

// A 12 x 3 picture of `base` with `spots`, one call on it and its result (true is 1).
const struct Case {
  Pixel base;
  std::vector<Spot> spots;
  const char* method;
  std::vector<Value> args;
  double want;
} kCases[] = {
    {kBlack, {}, "isBlackZRK", {}, true},
    {kBlack, {{11, 2, {0, 0, 1, 255}}}, "isBlackZRK", {}, false},
    {kBlack, {{11, 2, kWhite}}, "isBlackZRK", ints(0, 0, 11, -1), true},
    {kBlack, {{11, 2, kWhite}}, "isBlackZRK", ints(11, 2, 1, 1), false},
    // A negative left or top pulls the far edge in: the last columns (rows) go unscanned.
    {kBlack, {{7, 0, kWhite}, {3, 2, kWhite}}, "isBlackZRK", ints(-5, -1, -1, -1), true},
    {kBlack, {{7, 0, kWhite}}, "isBlackZRK", ints(-4, -1, -1, -1), false},
    {kBlack, {{3, 1, kWhite}}, "isBlackZRK", ints(-5, -1, -1, -1), false},
    // Empty or outside rectangles hold no failing pixel; a width of 0 is empty.
    {kBlack, {}, "isWhiteZRK", ints(3, 1, 0, 2), true},
    {kBlack, {}, "isWhiteZRK", ints(12, 0, 5, 5), true},
    {kBlack, {}, "isWhiteZRK", ints(INT32_MIN, 0, INT32_MAX, -1), true},
    {kBlack, {}, "isWhiteZRK", ints(0, 0, INT32_MAX, INT32_MAX), false},
    {{255, 255, 255, 0}, {}, "isWhiteZRK", {}, true},  // alpha plays no part
    {kWhite, {{0, 0, {255, 255, 254, 255}}}, "isWhiteZRK", {}, false},
    {kGrey, {}, "isGrayZRK", {}, true},
    {kGrey, {{5, 1, {101, 100, 100, 255}}}, "isGrayZRK", {}, false},
    {kGrey, {{5, 1, kGrey104}}, "isGrayZRK", ints(-4), true},
    {kGrey, {{5, 1, kGrey104}}, "isGrayZRK", ints(-3), false},
    {kGrey, {{5, 1, kGrey104}}, "isGrayZRK", ints(3, 6, 0, -1, -1), true},
    // Green and blue 8 apart though each is within 4 of red.
    {kGrey, {{5, 1, {100, 96, 104, 255}}}, "isGrayZRK", ints(4), false},
    {kGrey, {{5, 1, {100, 96, 104, 255}}}, "isGrayZRK", ints(8), true},
    {kGrey, {{0, 0, {0, 255, 0, 255}}}, "isGrayZRK", ints(INT32_MIN), true},
    // Colourfulness counts near-black pixels in the divisor only.
    {kBlack, {{0, 0, {255, 0, 0, 255}}, {5, 2, {255, 0, 0, 255}}}, "ColornessZRK", {}, 2 / 36.0},
    // Red and blue 20 apart, green within 10 of each: not colourful.
    {kGrey, {{5, 1, {60, 50, 40, 255}}}, "ColornessZRK", ints(10), 0},
    {kGrey, {{5, 1, {60, 50, 40, 255}}}, "ColornessZRK", ints(9), 1 / 36.0},
    {kGrey, {{0, 0, {50, 61, 50, 255}}, {1, 0, {50, 60, 50, 255}}, {2, 2, {50, 39, 50, 255}}}, "ColornessZRK", {},
     2 / 36.0},
    // One channel of 30 or more is enough to be considered.
    {{29, 29, 29, 255}, {{0, 0, {29, 29, 200, 255}}, {11, 2, {30, 30, 30, 0}}}, "ColornessZRK", ints(-1), 2 / 36.0},
    {kBlack, {{1, 1, kWhite}, {2, 1, kGrey}, {3, 1, {0, 255, 0, 255}}}, "ColornessZRK", ints(INT32_MIN), 3 / 36.0},
    {kBlack, {{1, 1, kWhite}, {2, 1, kGrey}, {3, 1, {0, 255, 0, 255}}}, "ColornessZRK", ints(INT32_MAX), 0},
};

// A bool (as 0 or 1) or double result; nullopt when the call failed, raised or gave neither.
std::optional<double> result_of(const CallResult& r) {
  const bool* b = std::get_if<bool>(&r.value);
  const double* d = std::get_if<double>(&r.value);
  if (!r.ok() || r.exception || (b == nullptr && d == nullptr)) return std::nullopt;
  return b != nullptr ? *b : *d;
}

class UniformityTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(UniformityTest, WorkedCases) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  for (const Case& c : kCases) {
    auto shape = shape_for(GetParam(), 12, 3);
    shape.fill = c.base;
    const testhost::Ref picture = h.NewPicture(shape);
    for (const Spot& s : c.spots) h.SetPixel(picture.picture(), s.x, s.y, s.colour);
    EXPECT_EQ(result_of(h.CallMethod(picture.get(), c.method, c.args)), c.want) << "case " << (&c - kCases);
  }
  for (const char* method : {"isBlackZRK", "isWhiteZRK", "isGrayZRK", "ColornessZRK"})
    EXPECT_EQ(result_of(h.CallMethod(nullptr, method, {})), 0.0) << method;
}

INSTANTIATE_TEST_SUITE_P(AllLendings, UniformityTest, ::testing::ValuesIn(kLendings), ByName());

}  // namespace
