// Colour replacement, extraction and the rectangle mask through the registered
// methods, over every way a host lends a picture: the worked mask shapes
// (corner contact, joining pixel, L shape, clipping), random pictures against a
// plain reference of the mask, and the opaque results of replace and extract.
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

struct Area {
  int32_t left, top, width, height;
};
struct Box {
  int32_t x, y, w, h;
};

bool grey(Pixel p) { return p.r == p.g && p.g == p.b; }

// The mask as a plain reading of its rule: seed at the first marked cell from the
// top, edges grown one cell per pass (top, bottom, left, right) while the line
// beside holds a mark, the whole box covered and unmarked. Bordered grid.
std::vector<bool> reference_mask(const std::vector<Pixel>& px, int w, int h, Area a) {
  std::vector<std::vector<int>> mark(h + 2, std::vector<int>(w + 2)), cover = mark;
  const int64_t x1 = std::min<int64_t>(int64_t{a.left} + (a.width < 0 ? w : a.width), w);
  const int64_t y1 = std::min<int64_t>(int64_t{a.top} + (a.height < 0 ? h : a.height), h);
  for (int64_t y = std::max(a.top, 0); y < y1; ++y)
    for (int64_t x = std::max(a.left, 0); x < x1; ++x) mark[y + 1][x + 1] = !grey(px[y * w + x]);
  const auto any = [&](int r0, int r1, int c0, int c1) {
    for (int r = r0; r <= r1; ++r)
      for (int c = c0; c <= c1; ++c)
        if (mark[r][c]) return true;
    return false;
  };
  for (int r = 0; r < h + 2; ++r) {
    for (int c = 0; c < w + 2; ++c) {
      if (!mark[r][c]) continue;
      int t = r, b = r, l = c, rt = c;
      for (bool moved = true; moved;) {
        moved = false;
        if (any(t - 1, t - 1, l, rt)) --t, moved = true;
        if (any(b + 1, b + 1, l, rt)) ++b, moved = true;
        if (any(t, b, l - 1, l - 1)) --l, moved = true;
        if (any(t, b, rt + 1, rt + 1)) ++rt, moved = true;
      }
      for (int y = t; y <= b; ++y)
        for (int x = l; x <= rt; ++x) cover[y][x] = 1, mark[y][x] = 0;
      r = 0, c = -1;  // the scan starts again from the top
    }
  }
  std::vector<bool> out;
  for (int y = 1; y <= h; ++y)
    for (int x = 1; x <= w; ++x) out.push_back(cover[y][x] != 0);
  return out;
}

const Pixel kRed{200, 10, 10, 255};

// 8 x 8 grey pictures with red at `spots`, the mask of `area`, the black boxes.
const struct MaskCase {
  const char* name;
  std::vector<std::pair<int, int>> spots;
  Area area;
  std::vector<Box> black;
} kMaskCases[] = {
    {"all grey", {}, {0, 0, -1, -1}, {}},
    {"one pixel", {{5, 7}}, {0, 0, -1, -1}, {{5, 7, 1, 1}}},
    {"corner contact stays apart", {{2, 2}, {3, 3}}, {0, 0, -1, -1}, {{2, 2, 1, 1}, {3, 3, 1, 1}}},
    {"a third pixel joins them", {{2, 2}, {3, 3}, {3, 2}}, {0, 0, -1, -1}, {{2, 2, 2, 2}}},
    {"growth turns round its corners", {{3, 2}, {3, 3}, {2, 3}, {1, 3}, {1, 4}}, {0, 0, -1, -1}, {{1, 2, 3, 3}}},
    {"L shape", {{1, 1}, {1, 2}, {1, 3}, {1, 4}, {2, 4}, {3, 4}}, {0, 0, -1, -1}, {{1, 1, 3, 4}}},
    {"outside the rectangle", {{0, 0}, {1, 5}, {2, 5}, {3, 5}, {4, 4}}, {2, 2, 4, 4}, {{4, 4, 1, 1}, {2, 5, 2, 1}}},
    {"negative left pulls the right edge in", {{5, 0}, {6, 1}}, {-2, 0, -1, -1}, {{5, 0, 1, 1}}},
    {"width 0 covers nothing", {{3, 3}}, {0, 0, 0, -1}, {}},
};

class ExtractTest : public PluginTest, public ::testing::WithParamInterface<Lending> {
 protected:
  // The lending of a result made as a new opaque picture.
  Lending Opaque() const {
    Lending l = GetParam();
    l.hasAlphaChannel = false;
    return l;
  }
  void CheckMask(const Ref& source, Area a, const std::vector<bool>& black) {
    testhost::Host& h = host();
    const int w = h.Width(source.picture());
    std::vector<Value> args{int64_t{a.left}, int64_t{a.top}, int64_t{a.width}, int64_t{a.height}};
    if (a.left == 0 && a.top == 0 && a.width == -1 && a.height == -1) args.clear();
    EXPECT_TRUE(result_matches(h, Opaque(), source.picture(), pixels_of(h, source.picture()),
                               h.CallMethod(source.get(), "ExtractColorRectangleMaskZRK", args),
                               [&](int32_t x, int32_t y, Pixel) -> std::optional<Pixel> {
                                 const uint8_t v = black[y * w + x] ? 0 : 255;
                                 return Pixel{v, v, v};
                               }));
  }
};

TEST_P(ExtractTest, MaskWorkedShapes) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  for (const MaskCase& c : kMaskCases) {
    SCOPED_TRACE(c.name);
    Ref source = random_picture(h, GetParam(), 8, 8, 7);
    for (int y = 0; y < 8; ++y)
      for (int x = 0; x < 8; ++x) {
        Pixel p = h.GetPixel(source.picture(), x, y);
        h.SetPixel(source.picture(), x, y, {p.r, p.r, p.r, p.a});
      }
    for (auto [x, y] : c.spots) h.SetPixel(source.picture(), x, y, kRed);
    std::vector<bool> black(64);
    for (const Box& b : c.black)
      for (int y = b.y; y < b.y + b.h; ++y)
        for (int x = b.x; x < b.x + b.w; ++x) black[y * 8 + x] = true;
    CheckMask(source, c.area, black);
  }
}

TEST_P(ExtractTest, MaskOfRandomPicturesMatchesTheReference) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  const Area areas[] = {{0, 0, -1, -1}, {3, 2, 11, 9}, {-4, -3, -1, -1}, {5, 1, 30, 0}};
  for (uint32_t seed = 1; seed <= 8; ++seed) {
    const int w = 1 + seed * 5 % 31, ht = 1 + seed * 3 % 19;
    Ref source = random_picture(h, GetParam(), w, ht, seed);
    std::mt19937 rng(seed);
    for (int y = 0; y < ht; ++y)  // grey but for about one pixel in 4 + seed % 5
      for (int x = 0; x < w; ++x)
        if (rng() % (4 + seed % 5) != 0) {
          Pixel p = h.GetPixel(source.picture(), x, y);
          h.SetPixel(source.picture(), x, y, {p.g, p.g, p.g, p.a});
        }
    const std::vector<Pixel> px = pixels_of(h, source.picture());
    for (const Area& a : areas) CheckMask(source, a, reference_mask(px, w, ht, a));
  }
}

// Both write only opaque pixels; the colours' top byte plays no part.
TEST_P(ExtractTest, ReplaceAndExtractMatchTheirRule) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  Ref source = random_picture(h, l, 13, 5, 3);
  for (int x = 0; x < 13; ++x) {  // the search colour, and near misses in blue or red
    const uint8_t miss = static_cast<uint8_t>(x % 3);
    h.SetPixel(source.picture(), x, x % 5, {static_cast<uint8_t>(1 - miss / 2), 2, static_cast<uint8_t>(3 + miss % 2),
                                            static_cast<uint8_t>(x * 9)});
  }
  const std::vector<Pixel> before = pixels_of(h, source.picture());
  const auto is_search = [](Pixel p) { return p.r == 1 && p.g == 2 && p.b == 3; };
  const int64_t search = 0xFF010203, with = 0x0A0B0C, back = 0x7F112233;
  EXPECT_TRUE(result_matches(h, l, source.picture(), before, h.CallMethod(source.get(), "ReplaceColorZRK", {search, with}),
                             [&](int32_t, int32_t, Pixel p) -> std::optional<Pixel> {
                               return is_search(p) ? Pixel{10, 11, 12} : Pixel{p.r, p.g, p.b};
                             }));
  EXPECT_TRUE(result_matches(h, Opaque(), source.picture(), before,
                             h.CallMethod(source.get(), "ExtractColorZRK", {search, with, back}),
                             [&](int32_t, int32_t, Pixel p) -> std::optional<Pixel> {
                               return is_search(p) ? Pixel{10, 11, 12} : Pixel{0x11, 0x22, 0x33};
                             }));
}

INSTANTIATE_TEST_SUITE_P(AllLendings, ExtractTest, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

class ExtractCases : public PluginTest {};

TEST_F(ExtractCases, NilOrTooWideSourceGivesNil) {
  testhost::Host& h = StartHost();
  Ref wide = h.NewPicture(sized(32768, 1));
  const std::vector<std::pair<const char*, std::vector<Value>>> calls = {
      {"ExtractColorZRK", {int64_t{0}, int64_t{0}, int64_t{0}}},
      {"ExtractColorRectangleMaskZRK", {}},
      {"ExtractColorRectangleMaskZRK", {int64_t{0}, int64_t{0}, int64_t{4}, int64_t{1}}},
      {"ReplaceColorZRK", {int64_t{0}, int64_t{0}}}};
  for (REALobject self : {static_cast<REALobject>(nullptr), wide.get()}) {
    for (const auto& [method, args] : calls) {
      const testhost::CallResult r = h.CallMethod(self, method, args);
      EXPECT_TRUE(r.ok() && std::holds_alternative<std::monostate>(r.value)) << method << " " << r.error;
    }
  }
}

}  // namespace
