// Colour counting, histograms and channel tables through the registered methods,
// over every way a host lends a picture: blocks made when nil, counts that add to
// a block's contents, the second block counting green and the third blue; tables
// remapping into a new picture or into a large-enough writable destination (its
// other pixels kept), the nil checks in their order, and blocks too short to use.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::CallResult;
using testhost::Ref;
using testhost::Value;

using Histogram = std::array<uint32_t, 256>;

std::optional<int64_t> integer(const Value& v) {
  if (const auto* i = std::get_if<int64_t>(&v)) return *i;
  return std::nullopt;
}

Histogram counters(testhost::Host& h, const Value& block) {
  Histogram out{};
  const auto* ref = std::get_if<Ref>(&block);
  if (ref != nullptr && h.Bytes(ref->block()).size() == 1024) std::memcpy(out.data(), h.Bytes(ref->block()).data(), 1024);
  return out;
}

// Distinct tables, so that a table used for the wrong channel shows.
uint8_t red_table(int i) { return static_cast<uint8_t>(255 - i); }
uint8_t green_table(int i) { return static_cast<uint8_t>(i / 2); }
uint8_t blue_table(int i) { return static_cast<uint8_t>(i * 7 + 3); }

const Pixel kMarker{1, 2, 3, 0};

class CountingTest : public PluginTest, public ::testing::WithParamInterface<Lending> {
 protected:
  Ref Table(uint8_t (*entry)(int), int32_t size = 256) {
    Ref block = host().NewMemoryBlock(size);
    for (int32_t i = 0; i < size; ++i) host().Bytes(block.block())[i] = entry(i);
    return block;
  }

  // Declared order: red, blue, green.
  CallResult Transform(const Ref& source, Value dest) {
    return host().CallMethod(source.get(), "TransformColorsZRK",
                             {Table(red_table), Table(blue_table), Table(green_table), std::move(dest)});
  }

  Ref Dest(int32_t width, uint32_t alphaInfo, bool drawOnly = false) {
    auto shape = sized(width, 5);
    shape.alphaInfo = alphaInfo;
    shape.drawOnly = drawOnly;
    shape.fill = kMarker;
    return host().NewPicture(shape);
  }

  // The source's pixels mapped, opaque, in the top-left of `result`; elsewhere
  // kMarker, unless `fresh`.
  ::testing::AssertionResult Mapped(REALpicture result, const std::vector<Pixel>& before, bool fresh = false) {
    testhost::Host& h = host();
    const uint8_t opaque = h.PixelFormat(result) == 8 ? 0 : 255;
    for (int32_t y = 0; y < h.Height(result); ++y) {
      for (int32_t x = 0; x < h.Width(result); ++x) {
        const size_t i = static_cast<size_t>(y) * 9 + x;
        if (!(x < 9 && i < before.size()) && fresh) continue;
        const Pixel want = x < 9 && i < before.size()
                         ? Pixel{red_table(before[i].r), green_table(before[i].g), blue_table(before[i].b), opaque}
                         : kMarker;
        if (h.GetPixel(result, x, y) != want)
          return ::testing::AssertionFailure() << "at " << x << "," << y << ": " << describe(h.GetPixel(result, x, y));
      }
    }
    return ::testing::AssertionSuccess();
  }
};

TEST_P(CountingTest, CountColorMatchesExactlyIgnoringTheTopByte) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  Ref source = random_picture(h, GetParam(), 17, 3, 5);
  const Pixel spots[] = {{255, 0, 0, 0}, {255, 0, 0, 9}, {255, 0, 0, 99}, {254, 0, 0}, {255, 0, 1}, {255, 1, 0}};
  for (int32_t x = 0; x < 6; ++x) h.SetPixel(source.picture(), 3 * x, x % 3, spots[x]);
  for (int64_t colour : {0xFF0000LL, 0xABFF0000LL, 0xFFFFFFFFFF0000LL})
    EXPECT_EQ(integer(h.CallMethod(source.get(), "CountColorZRK", {colour}).value), 3) << std::hex << colour;
}

TEST_P(CountingTest, HistogramsAddUpInCrossedBlocks) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  const Ref source = ramp_picture(h, GetParam(), 11);
  Histogram want[3] = {};
  for (const Pixel& p : pixels_of(h, source.picture())) ++want[0][p.r], ++want[1][p.g], ++want[2][p.b];
  // Nil variables get new blocks; the same blocks again double every counter.
  CallResult r = h.CallMethod(source.get(), "CountColorsZRK", {Value{}, Value{}, Value{}, int64_t{0}});
  for (int pass = 1; pass <= 2; ++pass) {
    ASSERT_EQ(r.args.size(), 4u) << r.error;
    EXPECT_EQ(integer(r.args[3]), 32 * 16);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(counters(h, r.args[c]), want[c]) << "block " << c << " pass " << pass;
    for (Histogram& w : want)
      for (uint32_t& n : w) n *= 2;
    r = h.CallMethod(source.get(), "CountColorsZRK", {r.args[0], r.args[1], r.args[2], int64_t{0}});
  }
  // Too short for 256 counters: never written past its end.
  r = h.CallMethod(source.get(), "CountColorsZRK", {Value{}, h.NewMemoryBlock(1023), Value{}, int64_t{0}});
  EXPECT_EQ(integer(r.args.at(3)), -1);
}

TEST_P(CountingTest, TransformIntoADestinationOrANewPicture) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  const Ref source = random_picture(h, GetParam(), 9, 4, 21);
  const std::vector<Pixel> before = pixels_of(h, source.picture());
  // Both layout families as destinations: every (source, destination) pairing.
  for (uint32_t alphaInfo : {5u, 6u, 1u, 2u}) {
    const Ref roomy = Dest(10, alphaInfo), narrow = Dest(8, alphaInfo);
    CallResult r = Transform(source, roomy);
    ASSERT_TRUE(std::holds_alternative<Ref>(r.value)) << r.error;
    EXPECT_EQ(std::get<Ref>(r.value).get(), roomy.get());
    EXPECT_TRUE(Mapped(roomy.picture(), before)) << "dest layout " << alphaInfo;
    // One pixel narrower: left alone, a new opaque picture instead.
    r = Transform(source, narrow);
    ASSERT_TRUE(std::holds_alternative<Ref>(r.value)) << r.error;
    const REALpicture made = std::get<Ref>(r.value).picture();
    EXPECT_TRUE(h.Width(made) == 9 && h.Height(made) == 4 && !h.HasAlphaChannel(made));
    EXPECT_TRUE(Mapped(made, before, true));
    EXPECT_TRUE(Mapped(narrow.picture(), {})) << "dest layout " << alphaInfo;
  }
  // Large enough but not writable: a new picture.
  const Ref drawn = Dest(10, 5, GetParam().kind == HostKind::kDesktop);
  const CallResult r = Transform(source, drawn);
  ASSERT_TRUE(std::holds_alternative<Ref>(r.value)) << r.error;
  EXPECT_NE(std::get<Ref>(r.value).get() == drawn.get(), GetParam().kind == HostKind::kDesktop);
  EXPECT_EQ(pixels_of(h, source.picture()), before);
  // A table too short to read: nil, without exception.
  for (int shortOne = 0; shortOne < 3; ++shortOne) {
    std::vector<Value> args{Value{}, Value{}, Value{}, Value{}};
    for (int i = 0; i < 3; ++i) args[i] = Table(red_table, i == shortOne ? 255 : 256);
    const CallResult nil = h.CallMethod(source.get(), "TransformColorsZRK", args);
    EXPECT_TRUE(nil.ok() && !nil.exception && std::holds_alternative<std::monostate>(nil.value)) << shortOne;
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, CountingTest, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

class CountingCases : public PluginTest {};

TEST_F(CountingCases, NilArgumentsAndSizesOutOfRange) {
  testhost::Host& h = StartHost();
  const Ref source = h.NewPicture(sized(2, 2)), t = h.NewMemoryBlock(256);
  // The first nil among picture, red, green (fourth), blue (third) is the one named.
  const struct {
    bool picture, red, blue, green;
    const char* message;
  } nils[] = {{false, false, false, false, "picture is nil"}, {true, false, true, true, "red memoryblock is nil"},
              {true, true, false, false, "green memoryblock is nil"}, {true, true, false, true, "blue memoryblock is nil"}};
  for (const auto& c : nils) {
    const auto block = [&](bool given) { return given ? Value{t} : Value{}; };
    const CallResult r = h.CallMethod(c.picture ? source.get() : nullptr, "TransformColorsZRK",
                                      {block(c.red), block(c.blue), block(c.green)});
    ASSERT_TRUE(r.exception) << c.message;
    EXPECT_EQ(r.exception->className + ": " + r.exception->message, std::string("NilObjectException: ") + c.message);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(r.value));
  }
  EXPECT_EQ(integer(h.CallMethod(nullptr, "CountColorZRK", {int64_t{0}}).value), 0);
  const CallResult r = h.CallMethod(nullptr, "CountColorsZRK", {Value{}, Value{}, Value{}, int64_t{7}});
  EXPECT_EQ(integer(r.args.at(3)), -1);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(counters(h, r.args[c]), Histogram{}) << "new block " << c;
  // Wider than a new opaque picture can be.
  const Ref wide = h.NewPicture(sized(32768, 1));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(h.CallMethod(wide.get(), "TransformColorsZRK", {t, t, t}).value));
}

}  // namespace
