// Channel composition through the registered declarations: every operation
// against its per-pixel rule over every lending, with the other inputs in a
// different layout; the worked values; and the nil and size rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::CallResult;
using testhost::Ref;
using testhost::Value;

// The arguments are the inputs in declaration order; the rule takes their pixels.
struct Operation {
  const char* name;
  bool global;  // else a method on the first input
  int inputs;
  int32_t grow;  // how much larger the other inputs are
  Pixel (*rule)(Pixel, Pixel, Pixel);
};

const Operation kOperations[] = {
    {"MergePictureZRK", true, 2, 0,
     [](Pixel a, Pixel b, Pixel) { return Pixel{std::max(a.r, b.r), std::max(a.g, b.g), std::max(a.b, b.b)}; }},
    // Declared red, blue, green.
    {"CombinePicturesZRK", true, 3, 0,
     [](Pixel red, Pixel blue, Pixel green) { return Pixel{red.r, green.g, blue.b}; }},
    {"ReplaceRedChannelZRK", false, 2, 0, [](Pixel s, Pixel c, Pixel) { return Pixel{c.r, s.g, s.b}; }},
    {"ReplaceGreenChannelZRK", false, 2, 2, [](Pixel s, Pixel c, Pixel) { return Pixel{s.r, c.g, s.b}; }},
    {"ReplaceBlueChannelZRK", false, 2, 1, [](Pixel s, Pixel c, Pixel) { return Pixel{s.r, s.g, c.b}; }},
};

CallResult call(testhost::Host& h, const Operation& op, const std::vector<Ref>& in) {
  std::vector<Value> args(in.begin() + (op.global ? 0 : 1), in.begin() + op.inputs);
  return op.global ? h.Call(op.name, args) : h.CallMethod(in[0].get(), op.name, args);
}

// The same host's other layout family, so that each input's layout counts.
Lending partner(const Lending& l) {
  Lending p = l;
  p.drawOnly = false;
  p.rowPadding = 4;
  p.alphaInfo = l.hasAlphaChannel ? 3 - l.alphaInfo : l.alphaInfo % 6 + 1;
  return p;
}

class ChannelsTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(ChannelsTest, EveryOperationFollowsItsRule) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  Lending opaque = l;  // results are new opaque pictures
  opaque.hasAlphaChannel = false;
  for (const Operation& op : kOperations) {
    std::vector<Ref> in = {random_picture(h, l, 7, 3, 1)};
    for (int i = 1; i < op.inputs; ++i) in.push_back(random_picture(h, partner(l), 7 + op.grow, 3 + op.grow, 7u * i));
    const std::vector<Pixel> before = pixels_of(h, in[0].picture());
    EXPECT_TRUE(result_matches(h, opaque, in[0].picture(), before, call(h, op, in),
                               [&](int32_t x, int32_t y, Pixel p) -> std::optional<Pixel> {
                                 const auto at = [&](int i) { return h.GetPixel(in[i].picture(), x, y); };
                                 return op.rule(p, at(1), op.inputs > 2 ? at(2) : Pixel{});
                               }))
        << op.name;
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, ChannelsTest, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

class ChannelsCases : public PluginTest {};

Ref filled(testhost::Host& h, int32_t width, int32_t height, Pixel colour) {
  testhost::PictureSpec shape = sized(width, height);
  colour.a = 255;
  shape.fill = colour;
  return h.NewPicture(shape);
}

// Worked values; nil for a size mismatch, an output out of range or a nil input,
// with no exception; a nil channel picture raises before self is opened.
TEST_F(ChannelsCases, WorkedValuesAndFailures) {
  testhost::Host& h = StartHost();
  const Ref a = filled(h, 1, 1, {10, 200, 30}), b = filled(h, 1, 1, {20, 100, 40}), red = filled(h, 1, 1, {1, 2, 3}),
            green = filled(h, 1, 1, {4, 5, 6}), blue = filled(h, 1, 1, {7, 8, 9});
  const Ref p = filled(h, 4, 3, {}), taller = filled(h, 4, 4, {}), narrower = filled(h, 3, 5, {}),
            wide = filled(h, 32768, 1, {}), untouched = filled(h, 4, 3, {});
  const struct {
    CallResult r;
    std::optional<Pixel> want;  // nil when none
    bool raises = false;
  } cases[] = {
      {h.Call("MergePictureZRK", {a, b}), Pixel{20, 200, 40, 255}},
      {h.Call("CombinePicturesZRK", {red, blue, green}), Pixel{1, 5, 9, 255}},
      {h.Call("CombinePicturesZRK", {red, green, blue}), Pixel{1, 8, 6, 255}},  // green and blue swapped
      {h.Call("MergePictureZRK", {p, taller}), {}},
      {h.Call("MergePictureZRK", {p, Value{}}), {}},
      {h.Call("MergePictureZRK", {wide, wide}), {}},
      {h.Call("CombinePicturesZRK", {p, p, taller}), {}},
      {h.Call("CombinePicturesZRK", {p, taller, p}), {}},
      {h.CallMethod(p.get(), "ReplaceGreenChannelZRK", {narrower}), {}},
      {h.CallMethod(taller.get(), "ReplaceRedChannelZRK", {p}), {}},
      {h.CallMethod(untouched.get(), "ReplaceBlueChannelZRK", {Value{}}), {}, true},
      {h.CallMethod(nullptr, "ReplaceRedChannelZRK", {Value{}}), {}, true},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    const CallResult& r = cases[i].r;
    ASSERT_TRUE(r.ok()) << r.error;
    ASSERT_EQ(std::holds_alternative<Ref>(r.value), cases[i].want.has_value());
    if (cases[i].want) {
      EXPECT_EQ(h.GetPixel(std::get<Ref>(r.value).picture(), 0, 0), *cases[i].want);
    }
    ASSERT_EQ(r.exception.has_value(), cases[i].raises);
    if (r.exception) {
      EXPECT_EQ(r.exception->className, "NilObjectException");
      EXPECT_EQ(r.exception->message, "The channel picture is nil.");
    }
  }
  EXPECT_EQ(h.LockCount(untouched.picture()), 0) << "self was opened before the nil check";
}

}  // namespace
