// Tone changes, saturation and tint through the host: the worked values, and
// every form against its plain formula over every channel value and every
// lending, with parameters that include NaN, infinities, values far outside 32
// bits and amounts whose 32-bit arithmetic wraps.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <limits>
#include <vector>

#include "pixels/channel.h"
#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using picture::Clamp255;
using picture::TruncateToInt32;
using testhost::Ref;
using testhost::Value;
using Params = std::vector<double>;

uint8_t low8(double w) { return static_cast<uint8_t>(TruncateToInt32(w) & 255); }
uint8_t clamped(double w) { return static_cast<uint8_t>(Clamp255(TruncateToInt32(w))); }
double scale(double b) { return b < 0 ? (255.0 + b) / 255.0 : (255.0 - b) / 255.0; }
double offset(double b) { return b < 0 ? 0.0 : b; }
double contrast(int v, double q) { return (v - 127) * (q + 1.0) + 127.0; }

// A tone form: its argument count and channel c's value (0 red, 1 green, 2 blue) from v.
struct Form {
  const char* method;
  size_t arity;
  uint8_t (*channel)(int v, int c, const Params& a);
};

const Form kForms[] = {
    {"ChangeBrightnessLinearZRK", 1, [](int v, int, const Params& a) { return low8(v * scale(a[0]) + offset(a[0])); }},
    {"ChangeBrightnessLinearZRK", 3,
     [](int v, int c, const Params& a) { return low8(v * scale(a[c]) + offset(a[c])); }},
    {"ChangeBrightnessAbsoluteZRK", 1, [](int v, int, const Params& a) { return clamped(v + a[0]); }},
    {"ChangeBrightnessAbsoluteZRK", 3, [](int v, int c, const Params& a) { return clamped(v + a[c]); }},
    {"ChangeContrastZRK", 1, [](int v, int, const Params& a) { return clamped(contrast(v, a[0])); }},
    {"ChangeContrastZRK", 3, [](int v, int c, const Params& a) { return clamped(contrast(v, a[c])); }},
    {"ChangeContrastBrightnessLinearZRK", 2,
     [](int v, int, const Params& a) { return clamped(contrast(v, a[0]) * scale(a[1]) + offset(a[1])); }},
    {"ChangeContrastBrightnessLinearZRK", 6,
     [](int v, int c, const Params& a) { return clamped(contrast(v, a[c]) * scale(a[3 + c]) + offset(a[3 + c])); }},
    {"ChangeContrastBrightnessAbsoluteZRK", 2,
     [](int v, int, const Params& a) { return clamped(contrast(v, a[0]) + a[1]); }},
    {"ChangeContrastBrightnessAbsoluteZRK", 6,
     [](int v, int c, const Params& a) { return clamped(contrast(v, a[c]) + a[3 + c]); }},
    {"ChangeCustomZRK", 2, [](int v, int, const Params& a) { return clamped(v * a[0] + a[1]); }},
    // Green takes Ra, never Ga.
    {"ChangeCustomZRK", 6, [](int v, int c, const Params& a) { return clamped(v * a[c == 2 ? 4 : 0] + a[2 * c + 1]); }},
};

const double kNaN = std::numeric_limits<double>::quiet_NaN(), kInf = std::numeric_limits<double>::infinity();
const double kValues[] = {0,    100,  -100,  300,   -300,   0.5,          -1,           1, 254.9, -0.7, 2.5,
                          kNaN, kInf, -kInf, 1e300, -1e300, 2147483648.0, -2147483904.0};

// Computed in 64 bits, then cut to 32 as two's complement wrap-around does.
Pixel saturated(Pixel p, int64_t amount) {
  const auto k = static_cast<int32_t>(amount + 255);
  const int grey = (p.r + 2 * p.g + p.b) >> 2;
  auto channel = [&](int v) {
    return static_cast<uint8_t>(Clamp255(grey + static_cast<int32_t>(int64_t{v - grey} * k) / 255));
  };
  return Pixel{channel(p.r), channel(p.g), channel(p.b)};
}

double unit(int64_t colour, int shift) { return ((colour >> shift) & 255) / 255.0; }

Pixel tinted(Pixel p, int64_t grey, int64_t sepia) {
  const double g = p.r * unit(grey, 16) + p.g * unit(grey, 8) + p.b * unit(grey, 0);
  auto channel = [&](int shift) {
    return static_cast<uint8_t>(std::min(static_cast<int>(unit(sepia, shift) * g), 255));
  };
  return Pixel{channel(16), channel(8), channel(0)};
}

const int64_t kAmounts[] = {0, -255, 255, 1, -256, 1000, INT32_MAX, INT32_MAX - 254, INT32_MAX - 255, INT32_MIN};
const std::pair<int64_t, int64_t> kTints[] = {
    {0x808080, 0xFFFFFF}, {0xFFFFFF, 0xFFFFFF}, {0x2050F0, 0xFF8020}, {0xFF404040, 0x7F70A0C0}};

class ToneTest : public PluginTest, public ::testing::WithParamInterface<Lending> {
 protected:
  // `method` on `source` (or a ramp picture), each pixel against want(x, pixel). A
  // global takes the source as its first argument.
  template <class Want>
  ::testing::AssertionResult Matches(const Lending& l, const char* method, bool global, std::vector<Value> args,
                                     Want want, Ref source = {}) {
    if (!source) source = ramp_picture(host(), l, static_cast<uint32_t>(args.size()));
    const std::vector<Pixel> before = pixels_of(host(), source.picture());
    if (global) args.insert(args.begin(), source);
    const testhost::CallResult r = global ? host().Call(method, args) : host().CallMethod(source.get(), method, args);
    return result_matches(host(), l, source.picture(), before, r,
                          [&](int32_t x, int32_t, Pixel p) -> std::optional<Pixel> { return want(x, p); });
  }
};

TEST_P(ToneTest, EveryFormIsItsFormulaOverEveryChannelValue) {
  const Lending& l = GetParam();
  StartHost(config_for(l));
  for (const Form& form : kForms) {
    for (size_t set = 0; set < std::size(kValues); ++set) {
      Params a;  // each argument a different one of kValues
      for (size_t i = 0; i < form.arity; ++i) a.push_back(kValues[(set + 5 * i) % std::size(kValues)]);
      EXPECT_TRUE(Matches(l, form.method, false, {a.begin(), a.end()},
                          [&](int32_t, Pixel p) {
                            return Pixel{form.channel(p.r, 0, a), form.channel(p.g, 1, a), form.channel(p.b, 2, a)};
                          }))
          << form.method << "/" << form.arity << " set " << set;
    }
  }
  for (int64_t amount : kAmounts)
    EXPECT_TRUE(
        Matches(l, "ChangeSaturationZRK", false, {amount}, [&](int32_t, Pixel p) { return saturated(p, amount); }))
        << "amount " << amount;
  for (auto [grey, sepia] : kTints)
    EXPECT_TRUE(
        Matches(l, "TintPictureZRK", true, {grey, sepia}, [&](int32_t, Pixel p) { return tinted(p, grey, sepia); }))
        << std::hex << grey << " " << sepia;
}

INSTANTIATE_TEST_SUITE_P(AllLendings, ToneTest, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(ToneTest, WorkedValues) {
  struct Worked {
    const char* method;
    std::vector<Value> args;
    std::vector<Pixel> from, to;
    bool global = false;
  };
  const std::vector<Pixel> some = {{0, 255, 128}, {200, 100, 50}, {10, 20, 30}};
  const std::vector<Pixel> black(3), white(3, Pixel{255, 255, 255}), mid(3, Pixel{127, 127, 127});
  const Worked rows[] = {
      {"ChangeSaturationZRK", {int64_t{0}}, some, some},
      {"ChangeBrightnessLinearZRK", {100.0}, {{0, 255, 128}}, {{100, 255, 177}}},
      {"ChangeBrightnessLinearZRK", {-100.0}, {{0, 255, 128}}, {{0, 155, 77}}},
      {"ChangeBrightnessLinearZRK", {300.0}, {{0, 255, 128}}, {{44, 255, 21}}},
      {"ChangeBrightnessAbsoluteZRK", {-300.0}, some, black},
      {"ChangeBrightnessAbsoluteZRK", {300.0}, some, white},
      {"ChangeBrightnessAbsoluteZRK", {-0.7, 0.0, -0.7}, {{0, 0, 255}}, {{0, 0, 254}}},
      {"ChangeContrastZRK", {-1.0}, some, mid},
      {"ChangeContrastZRK", {1.0}, {{0, 200, 100}}, {{0, 255, 73}}},
      {"ChangeContrastBrightnessLinearZRK", {1.0, 100.0}, {{100, 0, 255}}, {{144, 22, 255}}},
      {"ChangeContrastBrightnessAbsoluteZRK", {1.0, 10.0}, {{100, 0, 200}}, {{83, 0, 255}}},
      {"ChangeCustomZRK", {0.0, 0.0, 5.0, 0.0, 0.0, 0.0}, some, black},
      {"ChangeCustomZRK", {2.0, 0.0, 0.0, 0.0, 1.0, 0.0}, {{10, 20, 30}}, {{20, 40, 30}}},
      {"ChangeSaturationZRK", {int64_t{-255}}, {{200, 100, 50}, {10, 20, 30}}, {{112, 112, 112}, {20, 20, 20}}},
      {"ChangeSaturationZRK", {int64_t{255}}, {{200, 100, 50}}, {{255, 88, 0}}},
      {"TintPictureZRK",
       {int64_t{0x808080}, int64_t{0xFFFFFF}},
       {{255, 255, 255}, {0, 0, 0}, {100, 100, 100}},
       {{255, 255, 255}, {0, 0, 0}, {150, 150, 150}},
       true},
      {"TintPictureZRK", {int64_t{0xFFFFFF}, int64_t{0}}, some, black, true},
  };
  testhost::Host& h = StartHost();
  for (const Worked& row : rows) {
    Ref source = h.NewPicture(sized(static_cast<int32_t>(row.from.size()), 1));
    for (size_t x = 0; x < row.from.size(); ++x) h.SetPixel(source.picture(), static_cast<int32_t>(x), 0, row.from[x]);
    EXPECT_TRUE(Matches(
        Lending{"Desktop"}, row.method, row.global, row.args, [&](int32_t x, Pixel) { return row.to[x]; }, source))
        << row.method << " with " << row.args.size() << " arguments";
  }
  EXPECT_TRUE(std::holds_alternative<std::monostate>(h.CallMethod(nullptr, "ChangeContrastZRK", {0.5}).value));
  EXPECT_TRUE(
      std::holds_alternative<std::monostate>(h.Call("TintPictureZRK", {Value{}, int64_t{0}, int64_t{0}}).value));
}

}  // namespace
