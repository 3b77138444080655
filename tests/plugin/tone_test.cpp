// Tone changes, saturation and tint through the host: worked values, and every form against
// its formula over every channel value and lending, with parameters that reach each conversion branch.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "pixels/channel.h"
#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using picture::Clamp255;
using picture::TruncateToInt32;

uint8_t clamped(double w) { return static_cast<uint8_t>(Clamp255(TruncateToInt32(w))); }
// w·scale + offset of linear brightness b: black lifts to b, or white falls to 255 + b.
double linear(double w, double b) { return b < 0 ? w * ((255.0 + b) / 255.0) : w * ((255.0 - b) / 255.0) + b; }
double contrast(int v, double q) { return (v - 127) * (q + 1.0) + 127.0; }

struct Form {
  const char* method;
  size_t arity;  // of the three-channel form; the one-channel form takes a third as many
  bool pairs;    // arguments in (a, b) pairs per channel, else grouped by kind
  uint8_t (*channel)(int v, int c, const double* a);  // channel c (0 red) of v, from the three-channel arguments
};

const Form kForms[] = {
    {"ChangeBrightnessLinearZRK", 3, false,
     [](int v, int c, const double* a) { return static_cast<uint8_t>(TruncateToInt32(linear(v, a[c])) & 255); }},
    {"ChangeBrightnessAbsoluteZRK", 3, false, [](int v, int c, const double* a) { return clamped(v + a[c]); }},
    {"ChangeContrastZRK", 3, false, [](int v, int c, const double* a) { return clamped(contrast(v, a[c])); }},
    {"ChangeContrastBrightnessLinearZRK", 6, false,
     [](int v, int c, const double* a) { return clamped(linear(contrast(v, a[c]), a[3 + c])); }},
    {"ChangeContrastBrightnessAbsoluteZRK", 6, false,
     [](int v, int c, const double* a) { return clamped(contrast(v, a[c]) + a[3 + c]); }},
    // Green takes Ra, never Ga.
    {"ChangeCustomZRK", 6, true,
     [](int v, int c, const double* a) { return clamped(v * a[c == 2 ? 4 : 0] + a[2 * c + 1]); }},
};

const double kValues[] = {0, -100, 300, 2.5, NAN, HUGE_VAL, -HUGE_VAL, 1e300};

// Computed in 64 bits, then cut to 32 as two's complement wrap-around does.
Pixel saturated(Pixel p, int64_t amount) {
  const int grey = (p.r + 2 * p.g + p.b) >> 2;
  const auto channel = [&](int v) {
    return static_cast<uint8_t>(Clamp255(grey + int32_t(int64_t{v - grey} * int32_t(amount + 255)) / 255));
  };
  return {channel(p.r), channel(p.g), channel(p.b)};
}

Pixel tinted(Pixel p, int64_t grey, int64_t sepia) {
  const auto unit = [](int64_t colour, int shift) { return ((colour >> shift) & 255) / 255.0; };
  const double g = p.r * unit(grey, 16) + p.g * unit(grey, 8) + p.b * unit(grey, 0);
  const auto channel = [&](int shift) { return static_cast<uint8_t>(std::min(int(unit(sepia, shift) * g), 255)); };
  return {channel(16), channel(8), channel(0)};
}

// By hand: linear brightness wrapping past 255; truncation toward zero; the custom green
// taking Ra; the saturation grey weighing green twice; the tint capped at 255.
const struct Worked { const char* method; std::vector<Value> args; std::vector<Pixel> from, to; } kWorked[] = {
    {"ChangeBrightnessLinearZRK", {100.0, -100.0, 300.0}, {{128, 255, 0}}, {{177, 155, 44}}},
    {"ChangeBrightnessAbsoluteZRK", {-0.7, 254.9, -0.7}, {{0, 0, 255}}, {{0, 254, 254}}},
    {"ChangeContrastZRK", {-1.0, 1.0, 1.0}, {{0, 200, 100}, {200, 0, 0}}, {{127, 255, 73}, {127, 0, 0}}},
    {"ChangeCustomZRK", {2.0, 0.0, 5.0, 0.0, 1.0, 0.0}, {{10, 20, 30}}, {{20, 40, 30}}},
    {"ChangeSaturationZRK", {int64_t{-255}}, {{200, 100, 50}, {10, 20, 30}}, {{112, 112, 112}, {20, 20, 20}}},
    {"TintPictureZRK", {int64_t{0x808080}, int64_t{0xFFFFFF}}, {{255, 255, 255}, {0, 0, 0}, {100, 100, 100}},
     {{255, 255, 255}, {0, 0, 0}, {150, 150, 150}}},
    {"TintPictureZRK", {int64_t{0xFFFFFF}, int64_t{0}}, {{0, 255, 128}}, {{0, 0, 0}}},
};

class ToneTest : public PluginTest, public ::testing::WithParamInterface<Lending> {
 protected:
  // `method` on a ramp picture (or a row of `from`), each pixel against want(x,
  // pixel). The tint, a global, takes the source as its first argument.
  template <class Want>
  ::testing::AssertionResult Matches(const char* method, std::vector<Value> args, Want want,
                                     const std::vector<Pixel>& from = {}) {
    const Lending& l = GetParam();
    testhost::Host& h = host();
    const testhost::Ref source = from.empty() ? ramp_picture(h, l, static_cast<uint32_t>(args.size()))
                                              : h.NewPicture(shape_for(l, static_cast<int32_t>(from.size()), 1));
    for (size_t x = 0; x < from.size(); ++x) h.SetPixel(source.picture(), static_cast<int32_t>(x), 0, from[x]);
    const std::vector<Pixel> before = pixels_of(h, source.picture());
    const bool global = std::string(method) == "TintPictureZRK";
    if (global) args.insert(args.begin(), source);
    return result_matches(h, l, source.picture(), before,
                          global ? h.Call(method, args) : h.CallMethod(source.get(), method, args),
                          [&](int32_t x, int32_t, Pixel p) { return std::optional(want(x, p)); });
  }
};

TEST_P(ToneTest, EveryFormGivesItsWorkedValuesAndFormula) {
  StartHost(config_for(GetParam()));
  for (const Worked& w : kWorked)
    EXPECT_TRUE(Matches(w.method, w.args, [&](int32_t x, Pixel) { return w.to[x]; }, w.from)) << w.method;
  for (const Form& form : kForms) {
    for (size_t arity : {form.arity / 3, form.arity}) {
      for (size_t set = 0; set < std::size(kValues); ++set) {
        // Each argument a different one of kValues; the one-channel form's spread over the channels.
        const auto value = [&](size_t i) { return kValues[(set + 3 * i) % std::size(kValues)]; };
        std::vector<Value> args;
        double a[6];
        for (size_t i = 0; i < arity; ++i) args.push_back(value(i));
        for (size_t j = 0; j < form.arity; ++j) a[j] = value(arity == form.arity ? j : form.pairs ? j % 2 : j / 3);
        EXPECT_TRUE(Matches(form.method, args, [&](int32_t, Pixel p) {
          return Pixel{form.channel(p.r, 0, a), form.channel(p.g, 1, a), form.channel(p.b, 2, a)};
        })) << form.method << "/" << arity << " set " << set;
      }
    }
  }
  for (int64_t amount : {0, -256, -1000, 1000, INT32_MAX, INT32_MIN})  // the 32-bit arithmetic wraps
    EXPECT_TRUE(Matches("ChangeSaturationZRK", {amount}, [&](int32_t, Pixel p) { return saturated(p, amount); }))
        << "amount " << amount;
  // Every channel weighed differently; the top byte of a colour ignored.
  for (auto [grey, sepia] : {std::pair<int64_t, int64_t>{0x2050F0, 0xFF8020}, {0xFF404040, 0x7F70A0C0}})
    EXPECT_TRUE(Matches("TintPictureZRK", {grey, sepia}, [&](int32_t, Pixel p) { return tinted(p, grey, sepia); }))
        << std::hex << grey << " " << sepia;
}

INSTANTIATE_TEST_SUITE_P(AllLendings, ToneTest, ::testing::ValuesIn(kLendings), ByName());

}  // namespace
