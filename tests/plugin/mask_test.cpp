// The embedded mask through the registered declarations: the getter's alpha per
// layout and the setter's lowest-addressed byte over every lending, the setter
// stopping at the mask's edges, both setter forms in every host version band,
// the row-table alpha stretch, and the separate-mask test.
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::CallResult;
using testhost::Ref;
using testhost::Value;

constexpr char kModuleSetter[] = "EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)";

Lending other_layout(const Lending& l) {
  Lending p = l;
  p.drawOnly = false;
  p.alphaInfo = l.hasAlphaChannel ? 3 - l.alphaInfo : l.alphaInfo % 6 + 1;
  return p;
}

// The mask value the getter reads from a pixel of this lending.
uint8_t alpha_of(const Lending& l, Pixel p) {
  if (l.drawOnly) return 255;  // read through an opaque copy
  if (l.kind == testhost::HostKind::kDesktop) return p.a;
  return static_cast<uint8_t>((p.a & 0x7F) << 1 | (p.a & 1));
}

std::vector<uint32_t> words_of(testhost::Host& h, REALpicture picture) {
  std::vector<uint32_t> words;
  for (int32_t y = 0; y < h.Height(picture); ++y)
    for (int32_t x = 0; x < h.Width(picture); ++x) words.push_back(h.Word(picture, x, y));
  return words;
}

class MaskTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(MaskTest, GetterReadsTheAlphaOfEveryLayout) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  Lending opaque = l;
  opaque.hasAlphaChannel = false;
  for (const bool swap : {false, true}) {
    const Ref self = random_picture(h, l, 9, 3, swap);
    const std::vector<Pixel> before = pixels_of(h, self.picture());
    EXPECT_TRUE(result_matches(h, opaque, self.picture(), before, h.CallMethod(self.get(), "EmbeddedMaskZRK", {swap}),
                               [&](int32_t, int32_t, Pixel p) -> std::optional<Pixel> {
                                 const uint8_t v = swap ? 255 - alpha_of(l, p) : alpha_of(l, p);
                                 return Pixel{v, v, v};
                               }))
        << "swap " << swap;
  }
}

// The mask's red goes into the lowest-addressed byte of self's words, inside the
// mask's width and height only; a copy takes it where self cannot be locked.
TEST_P(MaskTest, SetterWritesTheLowestByteWithinTheMask) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  for (const bool swap : {false, true}) {
    const Ref self = random_picture(h, l, 7, 4, 3 + swap);
    const Ref mask = random_picture(h, other_layout(l), 5, 3, 5);
    const std::vector<uint32_t> before = words_of(h, self.picture());
    const CallResult r = h.Assign(self.get(), "EmbeddedMaskZRK", {swap}, mask);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_FALSE(r.exception.has_value());
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 7; ++x) {
        uint32_t want = before[static_cast<size_t>(y) * 7 + x];
        if (x < 5 && y < 3 && !l.drawOnly) {
          want = (want & ~0xFFu) | (h.GetPixel(mask.picture(), x, y).r ^ (swap ? 255 : 0));
        }
        ASSERT_EQ(h.Word(self.picture(), x, y), want) << "at " << x << "," << y << " swap " << swap;
      }
    }
    EXPECT_EQ(h.ClearCacheCount(self.picture()), 0) << "self is opened for reading";
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, MaskTest, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

class MaskCases : public PluginTest {};

// Sets 100 from a mask with red 100 through Assign, then 155 with swap through
// the setter's full declaration where it is a module function (Assign again on
// the class), and reads both back through the getter.
void set_and_get(testhost::Host& h, bool module) {
  testhost::PictureSpec shape = sized(2, 1);
  shape.alphaInfo = 4;  // A, R, G, B: the written byte is alpha
  const Ref self = h.NewPicture(shape);
  shape.fill = Pixel{100, 7, 7, 255};
  const Ref mask = h.NewPicture(shape);
  ASSERT_TRUE(h.Assign(self.get(), "EmbeddedMaskZRK", {false}, mask).ok());
  EXPECT_EQ(h.GetPixel(self.picture(), 1, 0).a, 100);
  const CallResult set = module ? h.CallDeclared(kModuleSetter, self.get(), {true, mask})
                                : h.Assign(self.get(), "EmbeddedMaskZRK", {true}, mask);
  ASSERT_TRUE(set.ok()) << set.error;
  EXPECT_EQ(h.GetPixel(self.picture(), 1, 0).a, 155);
  for (const bool swap : {false, true}) {
    const CallResult got = h.CallMethod(self.get(), "EmbeddedMaskZRK", {swap});
    ASSERT_TRUE(std::holds_alternative<Ref>(got.value));
    EXPECT_EQ(h.GetPixel(std::get<Ref>(got.value).picture(), 1, 0).g, swap ? 100 : 155);
  }
}

TEST_F(MaskCases, SetterAndGetterInEveryHostVersionBand) {
  for (const double version : {2012.0, 2013.0, 2019.011, 3000.0}) {
    SCOPED_TRACE(version);
    testhost::HostConfig config;
    config.version = version;
    set_and_get(StartHost(config), version >= 2013.0 && version < 3000.0);
    StopHost();
  }
}

// Row-table alpha: bits 24-30 doubled with bit 24 repeated, bit 31 ignored.
TEST_F(MaskCases, RowTableAlphaStretchesSevenBits) {
  testhost::HostConfig config;
  config.kind = testhost::HostKind::kConsole;
  testhost::Host& h = StartHost(config);
  const Ref self = h.NewPicture(sized(4, 1));
  const uint8_t alpha[] = {64, 65, 0x80 | 64, 127}, want[] = {128, 131, 128, 255};
  for (int32_t x = 0; x < 4; ++x) h.SetPixel(self.picture(), x, 0, Pixel{1, 2, 3, alpha[x]});
  const CallResult r = h.CallMethod(self.get(), "EmbeddedMaskZRK", {false});
  ASSERT_TRUE(std::holds_alternative<Ref>(r.value));
  for (int32_t x = 0; x < 4; ++x) EXPECT_EQ(h.GetPixel(std::get<Ref>(r.value).picture(), x, 0).r, want[x]) << x;
}

TEST_F(MaskCases, NilMaskAndSeparateMasks) {
  testhost::Host& h = StartHost();
  const Ref plain = h.NewPicture(sized(2, 2));
  testhost::PictureSpec shape = sized(2, 2);
  shape.withMask = true;
  const Ref masked = h.NewPicture(shape);

  const std::vector<uint32_t> before = words_of(h, plain.picture());
  const CallResult set = h.Assign(plain.get(), "EmbeddedMaskZRK", {false}, Value{});
  ASSERT_TRUE(set.ok()) << set.error;
  EXPECT_FALSE(set.exception.has_value());
  EXPECT_EQ(words_of(h, plain.picture()), before);
  EXPECT_EQ(h.LockCount(plain.picture()), 0);

  EXPECT_EQ(std::get<bool>(h.CallMethod(masked.get(), "HasMaskZRK", {}).value), true);
  EXPECT_EQ(std::get<bool>(h.CallMethod(plain.get(), "HasMaskZRK", {}).value), false);
  EXPECT_EQ(h.Mask(plain.picture()), nullptr) << "asking made a mask";
}

}  // namespace
