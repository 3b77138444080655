// Channel composition through the registered declarations: every operation against
// its per-pixel rule over every lending, then the worked values and the nil and size rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;

// The inputs in declaration order, the others `grow` pixels larger than the first.
const struct Operation {
  const char* name;
  bool global;  // else a method on the first input
  int inputs, grow;
  Pixel (*rule)(Pixel, Pixel, Pixel);
} kOperations[] = {
    {"MergePictureZRK", true, 2, 0,
     [](Pixel a, Pixel b, Pixel) { return Pixel{std::max(a.r, b.r), std::max(a.g, b.g), std::max(a.b, b.b)}; }},
    {"CombinePicturesZRK", true, 3, 0, [](Pixel r, Pixel b, Pixel g) { return Pixel{r.r, g.g, b.b}; }},
    {"ReplaceRedChannelZRK", false, 2, 0, [](Pixel s, Pixel c, Pixel) { return Pixel{c.r, s.g, s.b}; }},
    {"ReplaceGreenChannelZRK", false, 2, 2, [](Pixel s, Pixel c, Pixel) { return Pixel{s.r, c.g, s.b}; }},
    {"ReplaceBlueChannelZRK", false, 2, 1, [](Pixel s, Pixel c, Pixel) { return Pixel{s.r, s.g, c.b}; }},
};

class ChannelsTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(ChannelsTest, EveryOperationFollowsItsRule) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  // Results are opaque; the other inputs take the first one's layout family, then the host's other one.
  Lending opaque = l, same = l, other = l;
  opaque.hasAlphaChannel = same.drawOnly = other.drawOnly = false;
  same.rowPadding = other.rowPadding = 4;
  other.alphaInfo = l.hasAlphaChannel ? 3 - l.alphaInfo : l.alphaInfo % 6 + 1;
  for (const Lending* o : {&same, &other}) {
    for (const Operation& op : kOperations) {
      std::vector<Ref> in = {random_picture(h, l, 7, 3, 1)};
      for (int i = 1; i < op.inputs; ++i) in.push_back(random_picture(h, *o, 7 + op.grow, 3 + op.grow, 7u * i));
      const std::vector<Pixel> before = pixels_of(h, in[0].picture());
      const std::vector<Value> args(in.begin() + (op.global ? 0 : 1), in.end());
      const CallResult r = op.global ? h.Call(op.name, args) : h.CallMethod(in[0].get(), op.name, args);
      EXPECT_TRUE(result_matches(h, opaque, in[0].picture(), before, r, [&](int32_t x, int32_t y, Pixel p) {
        const auto at = [&](int i) { return h.GetPixel(in[i].picture(), x, y); };
        return std::optional(op.rule(p, at(1), op.inputs > 2 ? at(2) : Pixel{}));
      })) << op.name << (o == &same ? ", inputs of one family" : "");
    }
  }
}

// A merge larger than the caches is streamed out; rows of 1601 words start off
// the cache lines.
TEST_F(ChannelsTest, MergeLargerThanTheCaches) {
  OnLargePictureHosts([&](testhost::Host& h, const Lending& l) {
    const Ref a = random_picture(h, l, 1601, 1500, 1), b = random_picture(h, l, 1601, 1500, 2);
    const std::vector<Pixel> other = pixels_of(h, b.picture());
    EXPECT_TRUE(result_matches(h, l, a.picture(), pixels_of(h, a.picture()), h.Call("MergePictureZRK", {a, b}),
                               [&](int32_t x, int32_t y, Pixel p) {
                                 const Pixel q = other[size_t(y) * 1601 + x];
                                 return std::optional(Pixel{std::max(p.r, q.r), std::max(p.g, q.g), std::max(p.b, q.b)});
                               }));
  });
}

INSTANTIATE_TEST_SUITE_P(AllLendings, ChannelsTest, ::testing::ValuesIn(kLendings), ByName());

// Nil for a size mismatch, an output out of range or a nil input, with no exception;
// a nil channel picture raises before self is opened.
TEST_F(ChannelsTest, WorkedValuesAndFailures) {
  testhost::Host& h = StartHost();
  const auto filled = [&](int32_t width, int32_t height, Pixel c) {
    return h.NewPicture({.width = width, .height = height, .fill = Pixel{c.r, c.g, c.b, 255}});
  };
  const Ref a = filled(1, 1, {10, 200, 30}), b = filled(1, 1, {20, 100, 40}), c = filled(1, 1, {1, 2, 3}),
            p = filled(4, 3, {}), taller = filled(4, 4, {}), narrower = filled(3, 5, {}), wide = filled(32768, 1, {}),
            untouched = filled(4, 3, {});
  const struct { CallResult r; std::optional<Pixel> want; bool raises = false; } cases[] = {  // want: nil when none
      {h.Call("MergePictureZRK", {a, b}), Pixel{20, 200, 40, 255}},
      {h.Call("CombinePicturesZRK", {a, b, c}), Pixel{10, 2, 40, 255}},  // red, blue, green
      {h.Call("CombinePicturesZRK", {a, c, b}), Pixel{10, 100, 3, 255}},  // green and blue swapped
      {h.Call("MergePictureZRK", {p, taller}), {}},       {h.Call("MergePictureZRK", {p, Value{}}), {}},
      {h.Call("MergePictureZRK", {wide, wide}), {}},      {h.Call("CombinePicturesZRK", {p, p, taller}), {}},
      {h.Call("CombinePicturesZRK", {p, taller, p}), {}}, {h.CallMethod(taller.get(), "ReplaceRedChannelZRK", {p}), {}},
      {h.CallMethod(p.get(), "ReplaceGreenChannelZRK", {narrower}), {}},
      {h.CallMethod(untouched.get(), "ReplaceBlueChannelZRK", {Value{}}), {}, true},
      {h.CallMethod(nullptr, "ReplaceRedChannelZRK", {Value{}}), {}, true},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    const CallResult& r = cases[i].r;
    const Ref* made = std::get_if<Ref>(&r.value);
    ASSERT_TRUE(r.ok() && (made != nullptr) == cases[i].want.has_value()) << i << ": " << r.error;
    if (made) { EXPECT_EQ(h.GetPixel(made->picture(), 0, 0), *cases[i].want) << i; }
    EXPECT_EQ(r.exception ? r.exception->className + ": " + r.exception->message : "",
              cases[i].raises ? "NilObjectException: The channel picture is nil." : "") << i;
  }
  EXPECT_EQ(h.LockCount(untouched.picture()), 0) << "self was opened before the nil check";
}

}  // namespace
