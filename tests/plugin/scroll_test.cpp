// Scrolling in place through the registered methods over every lending, against a plain
// reference (rotation, or a shift that leaves opaque white behind), with the mask.
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::Ref;
using testhost::Value;

const struct Scroll { const char* method; int32_t dx, dy; bool wrap, scrollmask; int32_t width, height; } kScrolls[] = {
    {"ScrollVerticalZRK", 0, 3, true, true, 5, 10},  // row 0 to row 3, row 7 to row 0
    {"ScrollVerticalZRK", 0, -1, true, false, 5, 10},  // the top row to the bottom
    {"ScrollVerticalZRK", 0, 10, true, true, 5, 10},  // a whole turn
    {"ScrollVerticalZRK", 0, INT32_MIN, true, false, 2, 7},
    {"ScrollHorizontalZRK", 3, 0, true, true, 10, 3},
    {"ScrollHorizontalZRK", -1, 0, true, false, 65, 2},
    {"ScrollHorizontalZRK", INT32_MAX, 0, true, true, 9, 4},
    {"ScrollZRK", 4, -3, true, true, 9, 6},
    {"ScrollZRK", -3, 4, true, false, 7, 8},  // rows in four cycles, each turned on its way
    {"ScrollZRK", 2, 6, true, true, 5, 6},    // a whole turn down: the columns alone move
    {"ScrollVerticalZRK", 0, 3, false, true, 5, 10},
    {"ScrollVerticalZRK", 0, -4, false, false, 3, 10},
    {"ScrollVerticalZRK", 0, 12, false, true, 3, 10},  // everything vacated
    {"ScrollHorizontalZRK", 2, 0, false, true, 17, 3},
    {"ScrollHorizontalZRK", -7, 0, false, true, 9, 2},
    {"ScrollZRK", -2, 5, false, true, 7, 8},
    {"ScrollHorizontalZRK", 70000, 0, false, true, 4470, 1},  // 4464 to the right
    {"ScrollVerticalZRK", 0, -70000, false, false, 1, 4470},  // 4464 up
    {"ScrollZRK", 0, 0, true, true, 3, 3},  // nothing to move, even where nothing can be moved
};

// Row-table alpha holds 7 bits.
void fill_random(testhost::Host& h, REALpicture p, bool rowTable, uint32_t seed) {
  std::mt19937 rng(seed);
  for (int32_t i = 0, w = h.Width(p); i < w * h.Height(p); ++i) {
    const uint32_t v = rng();
    h.SetPixel(p, i % w, i / w, {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> (rowTable ? 25 : 24))});
  }
}

// Where each pixel of `was` lands, and opaque white where none does.
std::vector<Pixel> moved(const std::vector<Pixel>& was, const Scroll& s, bool moves, Pixel white) {
  std::vector<Pixel> want;
  const int64_t w = s.width, ht = s.height;
  for (int64_t y = 0; y < ht; ++y)
    for (int64_t x = 0; x < w; ++x) {
      int64_t sx = x, sy = y;
      if (moves && s.wrap) sx = ((x - s.dx) % w + w) % w, sy = ((y - s.dy) % ht + ht) % ht;
      if (moves && !s.wrap) sx = x - int16_t(s.dx), sy = y - int16_t(s.dy);
      want.push_back(sx < 0 || sy < 0 || sx >= w || sy >= ht ? white : was[sy * w + sx]);
    }
  return want;
}

class ScrollTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

// A picture that cannot be locked is left alone (the vertical scroll failing); its mask moves all the same.
TEST_P(ScrollTest, MovesPictureAndMaskLikeTheReference) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  const Pixel white{255, 255, 255, written_alpha(l)};
  for (const Scroll& s : kScrolls) {
    SCOPED_TRACE(testing::Message() << "row " << &s - kScrolls);
    auto shape = shape_for(l, s.width, s.height);
    shape.withMask = true;
    const Ref p = h.NewPicture(shape);
    fill_random(h, p.picture(), l.kind != HostKind::kDesktop, uint32_t(s.width * 7 + s.height));
    fill_random(h, h.Mask(p.picture()), l.kind != HostKind::kDesktop, uint32_t(s.dx + s.dy));
    const std::vector<Pixel> picture = pixels_of(h, p.picture()), mask = pixels_of(h, h.Mask(p.picture()));
    const std::string method = s.method;
    std::vector<Value> args = {int64_t{method == "ScrollHorizontalZRK" ? s.dx : s.dy}, s.wrap, s.scrollmask};
    if (method == "ScrollZRK") args.insert(args.begin(), int64_t{s.dx});
    const testhost::CallResult r = h.CallMethod(p.get(), s.method, args);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(std::get<bool>(r.value), !(l.drawOnly && method != "ScrollHorizontalZRK" && s.dy != 0));
    EXPECT_EQ(pixels_of(h, p.picture()), moved(picture, s, !l.drawOnly, white));
    EXPECT_EQ(pixels_of(h, h.Mask(p.picture())), moved(mask, s, s.scrollmask, white)) << "mask";
    EXPECT_TRUE(h.PaddingIntact(p.picture()));
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, ScrollTest, ::testing::ValuesIn(kLendings), ByName());

class ScrollCases : public PluginTest {};

// A mask that cannot be locked (layout 7) stops the vertical scroll before the picture moves;
// the horizontal one ignores it. Nil pictures: only a vertical scroll with something to move fails.
TEST_F(ScrollCases, UnscrollableMaskAndNilPictures) {
  for (const double version : {2011.5, 2019.011}) {
    SCOPED_TRACE(version);
    testhost::Host& h = StartHost({.version = version, .newPictureAlphaInfo = 7});
    const auto answer = [&](REALobject self, const char* method, std::vector<Value> args) {
      const testhost::CallResult r = h.CallMethod(self, method, std::move(args));
      return r.ok() && std::get<bool>(r.value);
    };
    Ref p = h.NewPicture({.width = 4, .height = 4, .withMask = true});
    fill_random(h, p.picture(), false, 1);
    const std::vector<Pixel> was = pixels_of(h, p.picture());
    for (const bool wrap : {true, false}) {
      EXPECT_FALSE(answer(p.get(), "ScrollVerticalZRK", {int64_t{1}, wrap, true}));
      EXPECT_FALSE(answer(p.get(), "ScrollZRK", {int64_t{0}, int64_t{1}, wrap, true}));
      EXPECT_EQ(pixels_of(h, p.picture()), was);
      EXPECT_FALSE(answer(nullptr, "ScrollVerticalZRK", {int64_t{1}, wrap, true}));
      EXPECT_TRUE(answer(nullptr, "ScrollVerticalZRK", {int64_t{0}, wrap, true}));
      EXPECT_TRUE(answer(nullptr, "ScrollHorizontalZRK", {int64_t{1}, wrap, true}));
    }
    EXPECT_TRUE(answer(p.get(), "ScrollHorizontalZRK", {int64_t{1}, true, true}));
    EXPECT_EQ(h.GetPixel(p.picture(), 1, 2), was[2 * 4]);
    // Both ways at once: the columns turn, the rows stay where the mask's failure leaves them.
    EXPECT_FALSE(answer(p.get(), "ScrollZRK", {int64_t{1}, int64_t{1}, true, true}));
    EXPECT_EQ(h.GetPixel(p.picture(), 2, 2), was[2 * 4]);
    p = {};
    StopHost();
  }
}

}  // namespace
