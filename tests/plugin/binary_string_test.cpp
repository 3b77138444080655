// The picture binary string through the registered globals: the exact bytes of
// every lending's pictures and their opaque round trip, the worked 1x1 red
// string, and what the reader accepts and refuses, on hosts before and from
// 2012.0 (whose string access differs).
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::CallResult;
using testhost::Ref;
using testhost::Value;
using namespace std::string_literals;

std::string be32(uint32_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

std::string header(uint32_t size, uint32_t width, uint32_t height, uint32_t bits = 32, uint32_t offset = 40) {
  return "PPIC" + be32(size) + be32(width) + be32(height) + be32(bits) + be32(offset) + std::string(16, '\0');
}

const std::string kRed = header(43, 1, 1) + "\xFF\x00\x00"s;

class BinaryStringTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(BinaryStringTest, BytesAndRoundTrip) {
  const Lending& l = GetParam();
  testhost::Host& h = StartHost(config_for(l));
  for (const auto& [width, height] : std::vector<std::pair<int32_t, int32_t>>{{1, 1}, {7, 3}, {65, 2}}) {
    Ref source = random_picture(h, l, width, height, uint32_t(width + height));
    std::string want = header(uint32_t(40 + width * height * 3), width, height);
    for (const Pixel& p : pixels_of(h, source.picture())) want += {char(p.r), char(p.g), char(p.b)};

    const CallResult s = h.Call("PicturetoBinaryStringZRK", {source});
    ASSERT_TRUE(std::holds_alternative<std::string>(s.value)) << s.error;
    ASSERT_EQ(std::get<std::string>(s.value), want) << width << "x" << height;

    const CallResult back = h.Call("BinaryStringtoPictureZRK", {s.value});
    ASSERT_TRUE(std::holds_alternative<Ref>(back.value)) << back.error;
    const REALpicture made = std::get<Ref>(back.value).picture();
    EXPECT_EQ(h.PixelFormat(made), l.kind != HostKind::kDesktop ? 8 : int32_t(l.newPictureAlphaInfo));
    std::vector<Pixel> opaque = pixels_of(h, source.picture());
    for (Pixel& p : opaque) p.a = written_alpha(l);
    EXPECT_EQ(pixels_of(h, made), opaque);
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, BinaryStringTest, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

class BinaryStringCases : public PluginTest {};

// Strings the reader takes (its picture's size and first pixel) or refuses.
TEST_F(BinaryStringCases, ReaderAcceptsAndRefuses) {
  const std::string wide = header(40 + 32767 * 3, 32767, 1) + std::string(32767 * 3, '\x7F');
  const struct {
    const char* name;
    std::optional<std::string> bytes;  // nullopt: a nil string
    int32_t width = 0;                 // 0: nil wanted
    Pixel first = {};
  } kStrings[] = {
      {"red", kRed, 1, {255, 0, 0}},
      {"bits field 0", header(43, 1, 1, 0) + "\xFF\x00\x00"s, 1, {255, 0, 0}},
      {"black, zero bytes", header(43, 1, 1) + std::string(3, '\0'), 1, {0, 0, 0}},
      {"offset 0 reads the header", header(43, 1, 1, 32, 0) + "abc", 1, {'P', 'P', 'I'}},
      {"width 32767", wide, 32767, {0x7F, 0x7F, 0x7F}},
      {"width 32768", header(40 + 32768 * 3, 32768, 1) + std::string(32768 * 3, '\0')},
      {"size field one more", header(44, 1, 1) + "\xFF\x00\x00"s},
      {"one byte longer", kRed + '\0'},
      {"one byte shorter", kRed.substr(0, 42)},
      {"size little-endian", "PPIC" + std::string("\x2B\0\0\0", 4) + kRed.substr(8)},
      {"wrong magic", "PPIc" + kRed.substr(4)},
      {"width 0", header(43, 0, 1) + "abc"},
      {"width -1", header(43, 0xFFFFFFFF, 1) + "abc"},
      {"height 0", header(43, 1, 0) + "abc"},
      {"height 32768", header(43, 1, 32768) + "abc"},
      {"pixels past the end", header(43, 1, 1, 32, 41) + "abc"},
      {"offset at 2^32 - 1", header(43, 1, 1, 32, 0xFFFFFFFF) + "abc"},
      {"size field only", "PPIC" + be32(8)},
      {"seven bytes", kRed.substr(0, 7)},
      {"empty", ""},
      {"nil", std::nullopt},
  };
  for (const double version : {2011.5, 2012.0}) {
    testhost::Host& h = StartHost({.version = version});
    for (const auto& c : kStrings) {
      SCOPED_TRACE(testing::Message() << c.name << ", host " << version);
      const CallResult r = h.Call("BinaryStringtoPictureZRK", {c.bytes ? Value{*c.bytes} : Value{}});
      ASSERT_TRUE(r.ok()) << r.error;
      EXPECT_FALSE(r.exception);
      if (c.width == 0) {
        EXPECT_TRUE(std::holds_alternative<std::monostate>(r.value));
        continue;
      }
      ASSERT_TRUE(std::holds_alternative<Ref>(r.value));
      const REALpicture p = std::get<Ref>(r.value).picture();
      EXPECT_EQ(h.Width(p), c.width);
      EXPECT_EQ(h.GetPixel(p, 0, 0), (Pixel{c.first.r, c.first.g, c.first.b, 255}));
    }
    StopHost();
  }
}

TEST_F(BinaryStringCases, WorkedRedPictureAndNil) {
  for (const double version : {2011.5, 2012.0}) {
    testhost::Host& h = StartHost({.version = version});
    testhost::PictureSpec red = sized(1, 1);
    red.fill = Pixel{255, 0, 0, 255};
    const Value string = h.Call("PicturetoBinaryStringZRK", {h.NewPicture(red)}).value;
    ASSERT_TRUE(std::holds_alternative<std::string>(string)) << version;
    EXPECT_EQ(std::get<std::string>(string), kRed);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(h.Call("PicturetoBinaryStringZRK", {Value{}}).value));
    StopHost();
  }
}

}  // namespace
