// The picture binary string through the registered globals: the exact bytes and opaque
// round trip over every lending, then worked strings the reader accepts and refuses.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using namespace std::string_literals;

const std::string kRed = binary_header(43, 1, 1) + "\xFF\x00\x00"s;

std::string text_of(const Value& v) { const auto* t = std::get_if<std::string>(&v); return t ? *t : "nil"; }

class BinaryStringTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(BinaryStringTest, BytesAndOpaqueRoundTrip) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  const Ref source = random_picture(h, l, 7, 3, 10);
  std::string want = binary_header(40 + 7 * 3 * 3, 7, 3);
  std::vector<Pixel> opaque = pixels_of(h, source.picture());
  for (Pixel& p : opaque) {
    want += {char(p.r), char(p.g), char(p.b)};
    p.a = written_alpha(l);
  }
  const CallResult s = h.Call("PicturetoBinaryStringZRK", {source});
  ASSERT_EQ(text_of(s.value), want) << s.error;
  const CallResult back = h.Call("BinaryStringtoPictureZRK", {s.value});
  ASSERT_TRUE(std::holds_alternative<Ref>(back.value)) << back.error;
  const REALpicture made = std::get<Ref>(back.value).picture();
  EXPECT_EQ(h.PixelFormat(made), l.kind != HostKind::kDesktop ? 8 : int32_t(l.newPictureAlphaInfo));
  EXPECT_EQ(pixels_of(h, made), opaque);
}

INSTANTIATE_TEST_SUITE_P(AllLendings, BinaryStringTest, ::testing::ValuesIn(kLendings), ByName());

// Above 8 MB the string is packed in mapped memory, kept for the next string of
// its size, and the picture read back is streamed; rows of 1801 words start off
// the cache lines and end at guard pages.
TEST_F(BinaryStringTest, LargerThanTheCachesBothWays) {
  // The header's 40 bytes, then each pixel's red, green and blue.
  const auto expect_pixels = [](const std::string& text, const std::vector<Pixel>& px) {
    ASSERT_EQ(text.size(), 40 + px.size() * 3);
    for (size_t i = 0; i < px.size(); ++i) {
      ASSERT_EQ(text.substr(40 + 3 * i, 3), (std::string{char(px[i].r), char(px[i].g), char(px[i].b)})) << i;
    }
  };
  OnLargePictureHosts([&](testhost::Host& h, const Lending& l) {
    const Ref source = random_picture(h, l, 1801, 1700, 11);
    const CallResult s = h.Call("PicturetoBinaryStringZRK", {source});
    std::vector<Pixel> opaque = pixels_of(h, source.picture());
    expect_pixels(text_of(s.value), opaque);
    for (Pixel& p : opaque) p.a = written_alpha(l);
    const CallResult back = h.Call("BinaryStringtoPictureZRK", {s.value});
    ASSERT_TRUE(std::holds_alternative<Ref>(back.value)) << back.error;
    EXPECT_EQ(pixels_of(h, std::get<Ref>(back.value).picture()), opaque);
    // Again into the memory the first string was packed in, from another picture.
    const Ref other = random_picture(h, l, 1801, 1700, 12);
    const std::string again = text_of(h.Call("PicturetoBinaryStringZRK", {other}).value);
    EXPECT_EQ(again.substr(0, 40), text_of(s.value).substr(0, 40));
    expect_pixels(again, pixels_of(h, other.picture()));
  });
}

// The 1x1 red picture's string and a nil picture; strings the reader takes (its picture's
// width and first pixel) or refuses; on hosts before and from 2012.0 (whose string access differs).
TEST_F(BinaryStringTest, WorkedStringsOnBothStringAccesses) {
  // A nil string where `bytes` is none; nil wanted where `width` is 0.
  const struct { const char* name; std::optional<std::string> bytes; int32_t width = 0; Pixel first = {}; } cases[] = {
      {"red", kRed, 1, {255, 0, 0}},
      {"bits field 0", binary_header(43, 1, 1, 0) + "\xFF\x00\x00"s, 1, {255, 0, 0}},
      {"offset 0 reads the header", binary_header(43, 1, 1, 32, 0) + "abc", 1, {'P', 'P', 'I'}},
      {"width 32767", binary_header(40 + 32767 * 3, 32767, 1) + std::string(32767 * 3, '\x7F'), 32767, {0x7F, 0x7F, 0x7F}},
      {"width 32768", binary_header(40 + 32768 * 3, 32768, 1) + std::string(32768 * 3, '\0')},
      {"size field one more", binary_header(44, 1, 1) + "\xFF\x00\x00"s},
      {"one byte longer", kRed + '\0'},
      {"wrong magic", "PPIc" + kRed.substr(4)},
      {"height 32768", binary_header(40 + 32768 * 3, 1, 32768) + std::string(32768 * 3, '\0')},
      {"pixels past the end", binary_header(43, 1, 1, 32, 41) + "abc"},
      {"offset at 2^32 - 1", binary_header(43, 1, 1, 32, 0xFFFFFFFF) + "abc"},
      {"size field only", binary_header(8, 0, 0).substr(0, 8)},
      {"seven bytes", kRed.substr(0, 7)},
      {"empty", ""},
      {"nil", std::nullopt},
  };
  for (const double version : {2011.5, 2012.0}) {
    testhost::Host& h = StartHost({.version = version});
    EXPECT_EQ(text_of(h.Call("PicturetoBinaryStringZRK", {h.NewPicture({.fill = Pixel{255, 0, 0, 255}})}).value), kRed);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(h.Call("PicturetoBinaryStringZRK", {Value{}}).value));
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << c.name << ", host " << version);
      const CallResult r = h.Call("BinaryStringtoPictureZRK", {c.bytes ? Value{*c.bytes} : Value{}});
      ASSERT_TRUE(r.ok() && !r.exception) << r.error;
      ASSERT_EQ(std::holds_alternative<Ref>(r.value), c.width != 0);
      if (c.width == 0) continue;
      const REALpicture p = std::get<Ref>(r.value).picture();
      EXPECT_EQ(h.Width(p), c.width);
      EXPECT_EQ(h.GetPixel(p, 0, 0), (Pixel{c.first.r, c.first.g, c.first.b, 255}));
    }
    // The older host answers both string accesses; the reader locks the string there.
    const bool old = version < 2012.0;
    EXPECT_EQ(h.CallCount("PluginGetStringData") == 0, old);
    EXPECT_EQ(h.CallCount("REALLockString") > 0, old);
    EXPECT_EQ(h.CallCount("REALLockString"), h.CallCount("REALUnlockString"));
    StopHost();
  }
}

}  // namespace
