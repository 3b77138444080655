// Sub-picture search over every lending, the pattern in another layout of the same host
// and differing in alpha: which occurrence wins, near misses, misfits, x and y reset.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::CallResult;
using testhost::Ref;
using testhost::Value;

constexpr int kW = 12, kH = 9;

// The pattern is the haystack's pixels from (fromX, fromY), wrapping at the edges;
// copies of it are planted into the haystack at `plants`; then it may differ from
// them in blue at its `differs`th pixel in row-major order.
const struct FindCase {
  const char* name;
  int w, h, fromX, fromY;
  std::vector<std::pair<int, int>> plants;
  int differs;
  bool found;
  int64_t x, y;
} kFindCases[] = {
    {"whole picture", kW, kH, 0, 0, {}, -1, true, 0, 0},
    {"inner block", 4, 3, 5, 4, {}, -1, true, 5, 4},
    {"upper occurrence", 3, 2, 1, 6, {{8, 2}}, -1, true, 8, 2},
    {"left occurrence", 3, 2, 8, 3, {{2, 3}}, -1, true, 2, 3},
    {"one pixel, row-major first", 1, 1, 7, 5, {{2, 2}, {9, 1}}, -1, true, 9, 1},
    {"last pixel differs", 4, 3, 5, 4, {}, 11, false, 0, 0},
    {"last of the first row differs", 4, 3, 5, 4, {}, 3, false, 0, 0},
    {"a middle pixel differs", 10, 3, 1, 4, {}, 25, false, 0, 0},
    {"one pixel too wide", kW + 1, 1, 0, 0, {}, -1, false, 0, 0},
    {"one pixel too tall", 1, kH + 1, 0, 0, {}, -1, false, 0, 0},
};

// The next lending of the same host kind: another layout where the host has one.
const Lending& other_layout(size_t i) {
  for (size_t k = i + 1;; ++k)
    if (kLendings[k % std::size(kLendings)].kind == kLendings[i].kind) return kLendings[k % std::size(kLendings)];
}

// The boolean result and the byref x and y as the call left them.
std::tuple<bool, int64_t, int64_t> found_of(const CallResult& r) {
  EXPECT_TRUE(r.ok()) << r.error;
  if (!r.ok()) return {};
  return {std::get<bool>(r.value), std::get<int64_t>(r.args[1]), std::get<int64_t>(r.args[2])};
}

class FindTest : public PluginTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(FindTest, FindsTheTopmostThenLeftmostExactOccurrence) {
  const Lending& l = kLendings[GetParam()];
  testhost::Host& h = StartHost(config_for(l));
  const uint8_t alphaBits = l.kind == HostKind::kDesktop ? 0xFF : 0x7F;
  for (const FindCase& c : kFindCases) {
    SCOPED_TRACE(c.name);
    Ref hay = random_picture(h, l, kW, kH, 11);
    Ref pattern = h.NewPicture(shape_for(other_layout(GetParam()), c.w, c.h));
    for (int y = 0; y < c.h; ++y)
      for (int x = 0; x < c.w; ++x) {
        Pixel p = h.GetPixel(hay.picture(), (c.fromX + x) % kW, (c.fromY + y) % kH);
        for (auto [px, py] : c.plants) h.SetPixel(hay.picture(), px + x, py + y, p);
        p.a = static_cast<uint8_t>((p.a ^ 0x55) & alphaBits);
        if (y * c.w + x == c.differs) p.b ^= 1;
        h.SetPixel(pattern.picture(), x, y, p);
      }
    EXPECT_EQ(found_of(h.CallMethod(hay.get(), "FindPictureZRK", {pattern, int64_t{77}, int64_t{88}})),
              std::tuple(c.found, c.x, c.y));
  }
  // Without either picture: false, x and y reset.
  const Ref hay = h.NewPicture(shape_for(l, 3, 3));
  for (const auto& [self, pic] : {std::pair<REALobject, Value>{hay.get(), Value{}}, {nullptr, hay}})
    EXPECT_EQ(found_of(h.CallMethod(self, "FindPictureZRK", {pic, int64_t{5}, int64_t{6}})), std::tuple(false, 0, 0));
}

INSTANTIATE_TEST_SUITE_P(AllLendings, FindTest, ::testing::Range<size_t>(0, std::size(kLendings)),
                         [](const auto& info) { return std::string(kLendings[info.param].name); });

}  // namespace
