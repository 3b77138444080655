// The embedded mask through the registered declarations: getter and setter over every lending,
// both setter forms in every host version band, the row-table alpha stretch, the separate mask.
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

std::vector<uint32_t> words_of(testhost::Host& h, REALpicture picture) {
  std::vector<uint32_t> words;
  for (int32_t y = 0; y < h.Height(picture); ++y)
    for (int32_t x = 0; x < h.Width(picture); ++x) words.push_back(h.Word(picture, x, y));
  return words;
}

class MaskTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

// The getter reads each layout's alpha (a draw-only picture through an opaque copy);
// the setter puts the mask's red into the lowest-addressed byte of self's words, inside
// the mask's width and height only, with self opened for reading.
TEST_P(MaskTest, GetterAndSetterOverEveryLayout) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  Lending opaque = l, other = l;  // the getter's result; the mask in the host's other layout family
  opaque.hasAlphaChannel = other.drawOnly = false;
  other.alphaInfo = l.hasAlphaChannel ? 3 - l.alphaInfo : l.alphaInfo % 6 + 1;
  for (const bool swap : {false, true}) {
    SCOPED_TRACE(swap ? "swap" : "no swap");
    const uint8_t flip = swap ? 255 : 0;
    const Ref self = random_picture(h, l, 9, 3, swap);
    const std::vector<Pixel> before = pixels_of(h, self.picture());
    const CallResult got = h.CallMethod(self.get(), "EmbeddedMaskZRK", {swap});
    EXPECT_TRUE(result_matches(h, opaque, self.picture(), before, got, [&](int32_t, int32_t, Pixel p) {
      const int alpha = l.drawOnly ? 255 : l.kind == HostKind::kDesktop ? p.a : (p.a & 0x7F) << 1 | (p.a & 1);
      const auto a = uint8_t(alpha ^ flip);
      return std::optional(Pixel{a, a, a});
    }));

    const Ref mask = random_picture(h, other, 5, 2, 5);
    std::vector<uint32_t> want = words_of(h, self.picture());
    const CallResult r = h.Assign(self.get(), "EmbeddedMaskZRK", {swap}, mask);
    ASSERT_TRUE(r.ok() && !r.exception) << r.error;
    for (int32_t i = 0; i < 27 && !l.drawOnly; ++i)
      if (i % 9 < 5 && i / 9 < 2) want[i] = (want[i] & ~0xFFu) | (h.GetPixel(mask.picture(), i % 9, i / 9).r ^ flip);
    EXPECT_EQ(words_of(h, self.picture()), want);
    EXPECT_EQ(h.ClearCacheCount(self.picture()), 0) << "self is opened for reading";

    // Self as its own mask, wide enough for whole vectors: every word takes its own red.
    const Ref own = random_picture(h, l, 37, 2, 9);
    std::vector<uint32_t> ownWant = words_of(h, own.picture());
    for (int32_t i = 0; i < 74 && !l.drawOnly; ++i)
      ownWant[i] = (ownWant[i] & ~0xFFu) | (h.GetPixel(own.picture(), i % 37, i / 37).r ^ flip);
    ASSERT_TRUE(h.Assign(own.get(), "EmbeddedMaskZRK", {swap}, own).ok());
    EXPECT_EQ(words_of(h, own.picture()), ownWant);
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, MaskTest, ::testing::ValuesIn(kLendings), ByName());

class MaskCases : public PluginTest {};

// Sets 100 in the A, R, G, B layout, where the written byte is alpha, then 155 with swap
// through the setter's full declaration where it is a module function (Assign again on
// the class), and reads it back swapped through the getter.
TEST_F(MaskCases, SetterAndGetterInEveryHostVersionBand) {
  for (const double version : {2012.0, 2013.0, 2019.011, 3000.0}) {
    SCOPED_TRACE(version);
    testhost::Host& h = StartHost({.version = version});
    {
      const Ref self = h.NewPicture({.width = 2, .alphaInfo = 4});
      const Ref mask = h.NewPicture({.width = 2, .alphaInfo = 4, .fill = Pixel{100, 7, 7, 255}});
      ASSERT_TRUE(h.Assign(self.get(), "EmbeddedMaskZRK", {false}, mask).ok());
      EXPECT_EQ(h.GetPixel(self.picture(), 1, 0).a, 100);
      const CallResult set =
          version >= 2013.0 && version < 3000.0
              ? h.CallDeclared("EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)",
                               self.get(), {true, mask})
              : h.Assign(self.get(), "EmbeddedMaskZRK", {true}, mask);
      ASSERT_TRUE(set.ok()) << set.error;
      EXPECT_EQ(h.GetPixel(self.picture(), 1, 0).a, 155);
      const CallResult got = h.CallMethod(self.get(), "EmbeddedMaskZRK", {true});
      ASSERT_TRUE(std::holds_alternative<Ref>(got.value));
      EXPECT_EQ(h.GetPixel(std::get<Ref>(got.value).picture(), 1, 0).g, 100);
    }
    StopHost();
  }
}

// Row-table alpha: bits 24-30 doubled with bit 24 repeated, bit 31 ignored. A nil mask
// leaves self alone and unopened; asking about a separate mask makes none.
TEST_F(MaskCases, RowTableStretchNilMaskAndSeparateMasks) {
  testhost::Host& h = StartHost({.kind = testhost::HostKind::kConsole});
  const Ref self = h.NewPicture(sized(4, 1)), masked = h.NewPicture({.width = 2, .withMask = true});
  const uint8_t alpha[] = {64, 65, 0x80 | 64, 127}, want[] = {128, 131, 128, 255};
  for (int32_t x = 0; x < 4; ++x) h.SetPixel(self.picture(), x, 0, Pixel{1, 2, 3, alpha[x]});
  const std::vector<uint32_t> before = words_of(h, self.picture());
  const CallResult set = h.Assign(self.get(), "EmbeddedMaskZRK", {false}, Value{});
  ASSERT_TRUE(set.ok() && !set.exception) << set.error;
  EXPECT_EQ(words_of(h, self.picture()), before);
  EXPECT_EQ(h.LockCount(self.picture()), 0);
  const CallResult r = h.CallMethod(self.get(), "EmbeddedMaskZRK", {false});
  ASSERT_TRUE(std::holds_alternative<Ref>(r.value));
  for (int32_t x = 0; x < 4; ++x) EXPECT_EQ(h.GetPixel(std::get<Ref>(r.value).picture(), x, 0).r, want[x]) << x;
  EXPECT_EQ(std::get<bool>(h.CallMethod(masked.get(), "HasMaskZRK", {}).value), true);
  EXPECT_EQ(std::get<bool>(h.CallMethod(self.get(), "HasMaskZRK", {}).value), false);
  EXPECT_EQ(h.Mask(self.picture()), nullptr) << "asking made a mask";
}

}  // namespace
