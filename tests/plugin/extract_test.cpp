// Colour replacement, extraction and the rectangle mask over every lending.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::Ref;
using testhost::Value;

struct Area { int32_t left, top, width, height; };

bool grey(Pixel p) { return p.r == p.g && p.g == p.b; }

// The mask as a plain reading of its rule: seed at the first marked pixel from the
// top, edges grown one pixel per pass (top, bottom, left, right) while the line
// beside holds a mark, the whole box covered and unmarked.
std::vector<bool> reference_mask(const std::vector<Pixel>& px, int w, int h, Area a) {
  std::vector<bool> mark(w * h), cover(w * h);
  const int64_t x1 = std::min<int64_t>(int64_t{a.left} + (a.width < 0 ? w : a.width), w);
  const int64_t y1 = std::min<int64_t>(int64_t{a.top} + (a.height < 0 ? h : a.height), h);
  for (int64_t y = std::max(a.top, 0); y < y1; ++y)
    for (int64_t x = std::max(a.left, 0); x < x1; ++x) mark[y * w + x] = !grey(px[y * w + x]);
  const auto any = [&](int r0, int r1, int c0, int c1) {  // outside the picture: no mark
    for (int r = std::max(r0, 0); r <= std::min(r1, h - 1); ++r)
      for (int c = std::max(c0, 0); c <= std::min(c1, w - 1); ++c)
        if (mark[r * w + c]) return true;
    return false;
  };
  for (int i = 0; i < w * h; ++i) {
    if (!mark[i]) continue;
    int t = i / w, b = t, l = i % w, rt = l;
    for (bool moved = true; moved;) {
      moved = false;
      if (any(t - 1, t - 1, l, rt)) --t, moved = true;
      if (any(b + 1, b + 1, l, rt)) ++b, moved = true;
      if (any(t, b, l - 1, l - 1)) --l, moved = true;
      if (any(t, b, rt + 1, rt + 1)) ++rt, moved = true;
    }
    for (int y = t; y <= b; ++y)
      for (int x = l; x <= rt; ++x) cover[y * w + x] = true, mark[y * w + x] = false;
    i = -1;  // the scan starts again from the top
  }
  return cover;
}

// 8 x 8 grey pictures with red at `spots`, the mask of `area`, its black boxes (x, y, w, h).
struct MaskCase { const char* name; std::vector<std::pair<int, int>> spots; Area area, black[2]; };
const MaskCase kMaskCases[] = {
    {"corner contact stays apart", {{2, 2}, {3, 3}}, {0, 0, -1, -1}, {{2, 2, 1, 1}, {3, 3, 1, 1}}},
    {"a third pixel joins them", {{2, 2}, {3, 3}, {3, 2}}, {0, 0, -1, -1}, {{2, 2, 2, 2}}},
    {"growth turns round its corners", {{3, 2}, {3, 3}, {2, 3}, {1, 3}, {1, 4}}, {0, 0, -1, -1}, {{1, 2, 3, 3}}},
    {"outside the rectangle", {{0, 0}, {1, 5}, {2, 5}, {3, 5}, {4, 4}}, {2, 2, 4, 4}, {{4, 4, 1, 1}, {2, 5, 2, 1}}},
    {"negative left pulls the right edge in", {{5, 0}, {6, 1}}, {-2, 0, -1, -1}, {{5, 0, 1, 1}}},
    {"width 0 covers nothing", {{3, 3}}, {0, 0, 0, -1}, {}},
};

// The lending of a result made as a new opaque picture.
Lending opaque(Lending l) { return l.hasAlphaChannel = false, l; }

class ExtractTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(ExtractTest, MaskOfWorkedShapesAndRandomPictures) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  const auto check = [&](const Ref& source, Area a, const std::vector<bool>& black) {
    const int w = h.Width(source.picture());
    std::vector<Value> args{int64_t{a.left}, int64_t{a.top}, int64_t{a.width}, int64_t{a.height}};
    if (a.left == 0 && a.top == 0 && a.width == -1 && a.height == -1) args.clear();  // the short form
    EXPECT_TRUE(result_matches(h, opaque(GetParam()), source.picture(), pixels_of(h, source.picture()),
                               h.CallMethod(source.get(), "ExtractColorRectangleMaskZRK", args),
                               [&](int32_t x, int32_t y, Pixel) {
                                 const uint8_t v = black[y * w + x] ? 0 : 255;
                                 return std::optional(Pixel{v, v, v});
                               }));
  };
  for (const MaskCase& c : kMaskCases) {
    SCOPED_TRACE(c.name);
    auto shape = shape_for(GetParam(), 8, 8);
    shape.fill = Pixel{90, 90, 90, 0};
    const Ref source = h.NewPicture(shape);
    for (auto [x, y] : c.spots) h.SetPixel(source.picture(), x, y, {200, 10, 10, 255});
    std::vector<bool> black(64);
    for (const Area& b : c.black)
      for (int y = b.top; y < b.top + b.height; ++y)
        for (int x = b.left; x < b.left + b.width; ++x) black[y * 8 + x] = true;
    check(source, c.area, black);
  }
  for (uint32_t seed = 1; seed <= 8; ++seed) {
    const int w = 1 + seed * 5 % 31, ht = 1 + seed * 3 % 19;
    Ref source = random_picture(h, GetParam(), w, ht, seed);
    std::mt19937 rng(seed);
    for (int i = 0; i < w * ht; ++i)  // grey but for about one pixel in 4 + seed % 5
      if (rng() % (4 + seed % 5) != 0) {
        const Pixel p = h.GetPixel(source.picture(), i % w, i / w);
        h.SetPixel(source.picture(), i % w, i / w, {p.g, p.g, p.g, p.a});
      }
    const std::vector<Pixel> px = pixels_of(h, source.picture());
    for (const Area& a : {Area{0, 0, -1, -1}, Area{3, 2, 11, 9}, Area{-4, -3, -1, -1}, Area{5, 1, 30, 0}})
      check(source, a, reference_mask(px, w, ht, a));
  }
  // Shapes that make many boxes or long thin ones, in widths either side of 64 and 128 pixels.
  const struct { const char* name; bool (*coloured)(int x, int y); } kShapes[] = {
      {"checkerboard", [](int x, int y) { return (x + y) % 2 == 0; }},
      {"columns", [](int x, int) { return x % 2 == 1; }},
      {"rows", [](int, int y) { return y % 2 == 0; }},
      {"staircase", [](int x, int y) { return x == y || x == y + 1 || x == y + 70; }},
      {"sparse", [](int x, int y) { return (x * 7 + y * 13) % 5 == 0 || (x * y) % 11 == 3; }},
      // A seed in a word's last cell whose box grows into the next word and then down.
      {"word ends", [](int x, int y) { return (y % 3 == 0 && x % 64 >= 62) || (y % 3 == 1 && x % 64 == 63); }},
  };
  for (const auto& shape : kShapes)
    for (const int w : {63, 64, 65, 129}) {
      SCOPED_TRACE(testing::Message() << shape.name << " " << w);
      auto form = shape_for(GetParam(), w, 9);
      form.fill = Pixel{90, 90, 90, 0};
      const Ref source = h.NewPicture(form);
      for (int y = 0; y < 9; ++y)
        for (int x = 0; x < w; ++x)
          if (shape.coloured(x, y)) h.SetPixel(source.picture(), x, y, {200, 10, 10, 255});
      const std::vector<Pixel> px = pixels_of(h, source.picture());
      for (const Area& a : {Area{0, 0, -1, -1}, Area{1, 2, w - 3, -1}})
        check(source, a, reference_mask(px, w, 9, a));
    }
}

// A mask larger than the caches is streamed out: rows of 1601 words start off
// the cache lines, and runs of either colour meet boxes at word edges.
TEST_F(ExtractTest, MaskLargerThanTheCaches) {
  OnLargePictureHosts([&](testhost::Host& h, const Lending& l) {
    const int w = 1601, ht = 1500;
    auto shape = shape_for(l, w, ht);
    shape.fill = Pixel{90, 90, 90, 0};
    const Ref source = h.NewPicture(shape);
    for (const Area& a : {Area{100, 50, 40, 40}, Area{1500, 1400, 101, 100}, Area{63, 700, 66, 1}}) {
      for (int y = a.top; y < a.top + a.height; ++y)
        for (int x = a.left; x < a.left + a.width; ++x) h.SetPixel(source.picture(), x, y, {200, 10, 10, 255});
    }
    const std::vector<bool> black = reference_mask(pixels_of(h, source.picture()), w, ht, Area{0, 0, -1, -1});
    EXPECT_TRUE(result_matches(h, opaque(l), source.picture(), pixels_of(h, source.picture()),
                               h.CallMethod(source.get(), "ExtractColorRectangleMaskZRK", {}),
                               [&](int32_t x, int32_t y, Pixel) {
                                 const uint8_t v = black[size_t(y) * w + x] ? 0 : 255;
                                 return std::optional(Pixel{v, v, v});
                               }));
  });
}

// Both write only opaque pixels; the colours' top byte plays no part.
TEST_P(ExtractTest, ReplaceAndExtractMatchTheirRule) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  Ref source = random_picture(h, l, 13, 5, 3);
  const Pixel near[] = {{1, 2, 3}, {1, 2, 4}, {1, 3, 3}, {0, 2, 3}};  // the search colour, misses by one
  for (int x = 0; x < 13; ++x)
    h.SetPixel(source.picture(), x, x % 5, {near[x % 4].r, near[x % 4].g, near[x % 4].b, static_cast<uint8_t>(x * 9)});
  const std::vector<Pixel> before = pixels_of(h, source.picture());
  const int64_t search = 0xFF010203, with = 0x0A0B0C, back = 0x7F112233;
  // The search colour becomes `with`, any other `other` (nullopt: itself); alpha is the written one.
  const auto rule = [](std::optional<Pixel> other) {
    return [=](int32_t, int32_t, Pixel p) {
      return std::optional(p.r == 1 && p.g == 2 && p.b == 3 ? Pixel{10, 11, 12} : other.value_or(p));
    };
  };
  EXPECT_TRUE(result_matches(h, l, source.picture(), before,
                             h.CallMethod(source.get(), "ReplaceColorZRK", {search, with}), rule(std::nullopt)));
  EXPECT_TRUE(result_matches(h, opaque(l), source.picture(), before,
                             h.CallMethod(source.get(), "ExtractColorZRK", {search, with, back}),
                             rule(Pixel{0x11, 0x22, 0x33})));
  // No source, or one too wide for a new picture: nil.
  const Ref wide = h.NewPicture(sized(32768, 1));
  const std::pair<const char*, std::vector<Value>> calls[] = {
      {"ExtractColorZRK", {search, with, back}},
      {"ExtractColorRectangleMaskZRK", {}},
      {"ReplaceColorZRK", {search, with}}};
  for (REALobject self : {static_cast<REALobject>(nullptr), wide.get()})
    for (const auto& [method, args] : calls) {
      const testhost::CallResult r = h.CallMethod(self, method, args);
      EXPECT_TRUE(r.ok() && std::holds_alternative<std::monostate>(r.value)) << method << " " << r.error;
    }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, ExtractTest, ::testing::ValuesIn(kLendings), ByName());

}  // namespace
