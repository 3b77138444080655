// Colour counts, histograms added to the blocks and channel tables over every lending.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;

using Histogram = std::array<uint32_t, 256>;

Histogram counters(testhost::Host& h, const Value& block) {
  Histogram out{};
  if (const auto* ref = std::get_if<Ref>(&block); ref != nullptr && h.Bytes(ref->block()).size() == sizeof out)
    std::memcpy(out.data(), h.Bytes(ref->block()).data(), sizeof out);
  return out;
}

// Distinct tables, so that a table used for the wrong channel shows.
uint8_t red_table(int i) { return static_cast<uint8_t>(255 - i); }
uint8_t green_table(int i) { return static_cast<uint8_t>(i / 2); }
uint8_t blue_table(int i) { return static_cast<uint8_t>(i * 7 + 3); }
std::optional<Pixel> mapped(int32_t, int32_t, Pixel p) {
  return Pixel{red_table(p.r), green_table(p.g), blue_table(p.b)};
}

const Pixel kMarker{1, 2, 3, 0};

class CountingTest : public PluginTest, public ::testing::WithParamInterface<Lending> {
 protected:
  Ref Table(uint8_t (*entry)(int), int32_t size = 256) { return memory_block(host(), size, entry); }
  // Declared order: red, blue, green.
  CallResult Transform(const Ref& source, Value dest) {
    return host().CallMethod(source.get(), "TransformColorsZRK",
                             {Table(red_table), Table(blue_table), Table(green_table), std::move(dest)});
  }
};

TEST_P(CountingTest, CountsAddUpInCrossedBlocks) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  const Ref source = ramp_picture(h, GetParam(), 11);
  // One colour matches exactly, alpha and the colour's top byte ignored.
  const Pixel spots[] = {{255, 0, 0, 0}, {255, 0, 0, 9}, {255, 0, 0, 99}, {254, 0, 0}, {255, 0, 1}, {255, 1, 0}};
  for (int32_t x = 0; x < 6; ++x) h.SetPixel(source.picture(), 3 * x, 8 + x, spots[x]);
  for (int64_t colour : {0xFF0000LL, 0xABFF0000LL})
    EXPECT_EQ(std::get<int64_t>(h.CallMethod(source.get(), "CountColorZRK", {colour}).value), 3) << std::hex << colour;
  EXPECT_EQ(std::get<int64_t>(h.CallMethod(nullptr, "CountColorZRK", {int64_t{0}}).value), 0);
  Histogram want[3] = {};
  for (const Pixel& p : pixels_of(h, source.picture())) ++want[0][p.r], ++want[1][p.g], ++want[2][p.b];
  // Nil variables get new blocks; the same blocks again double every counter.
  CallResult r = h.CallMethod(source.get(), "CountColorsZRK", {Value{}, Value{}, Value{}, int64_t{0}});
  for (int pass = 1; pass <= 2; ++pass) {
    ASSERT_EQ(r.args.size(), 4u) << r.error;
    EXPECT_EQ(std::get<int64_t>(r.args[3]), 32 * 16);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(counters(h, r.args[c]), want[c]) << "block " << c << " pass " << pass;
    for (Histogram& w : want)
      for (uint32_t& n : w) n *= 2;
    r = h.CallMethod(source.get(), "CountColorsZRK", {r.args[0], r.args[1], r.args[2], int64_t{0}});
  }
  // Too short for 256 counters: never written past its end.
  r = h.CallMethod(source.get(), "CountColorsZRK", {Value{}, h.NewMemoryBlock(1023), Value{}, int64_t{0}});
  EXPECT_EQ(std::get<int64_t>(r.args.at(3)), -1);
  r = h.CallMethod(nullptr, "CountColorsZRK", {Value{}, Value{}, Value{}, int64_t{7}});
  EXPECT_EQ(std::get<int64_t>(r.args.at(3)), -1);
}

TEST_P(CountingTest, TransformIntoADestinationOrANewPicture) {
  testhost::Host& h = StartHost(config_for(GetParam()));
  const Ref source = random_picture(h, GetParam(), 9, 4, 21);
  const std::vector<Pixel> before = pixels_of(h, source.picture());
  const auto dest = [&](int32_t width, uint32_t alphaInfo, bool drawOnly = false) {
    auto shape = sized(width, 5);
    shape.alphaInfo = alphaInfo, shape.drawOnly = drawOnly, shape.fill = kMarker;
    return h.NewPicture(shape);
  };
  Lending opaque = GetParam();  // a new picture is opaque whatever the source
  opaque.hasAlphaChannel = false;
  // The mapped source, opaque, in the top-left of a 10 x 5 destination; the rest kept.
  std::vector<Pixel> into(50, kMarker);
  for (size_t i = 0; i < before.size(); ++i) {
    into[i / 9 * 10 + i % 9] = *mapped(0, 0, before[i]);
    into[i / 9 * 10 + i % 9].a = written_alpha(GetParam());
  }
  for (uint32_t alphaInfo : {1u, 6u}) {  // both layout families as destinations
    const Ref roomy = dest(10, alphaInfo), narrow = dest(8, alphaInfo);
    const CallResult r = Transform(source, roomy);
    EXPECT_TRUE(std::holds_alternative<Ref>(r.value) && std::get<Ref>(r.value).get() == roomy.get()) << r.error;
    EXPECT_EQ(pixels_of(h, roomy.picture()), into) << "dest layout " << alphaInfo;
    // One pixel narrower: left alone, a new picture instead.
    EXPECT_TRUE(result_matches(h, opaque, source.picture(), before, Transform(source, narrow), mapped));
    EXPECT_EQ(pixels_of(h, narrow.picture()), std::vector<Pixel>(40, kMarker)) << "dest layout " << alphaInfo;
  }
  // Large enough but not writable (a desktop picture without pixels): a new picture.
  if (GetParam().kind == HostKind::kDesktop) {
    EXPECT_TRUE(result_matches(h, opaque, source.picture(), before, Transform(source, dest(10, 5, true)), mapped));
  }
  // Tables by size in declared order (0: nil): the first nil among picture, red, green,
  // blue is named; a short table or a source too wide for a new picture gives plain nil.
  const Ref wide = h.NewPicture(sized(32768, 1));
  const REALobject pictures[] = {nullptr, source.get(), wide.get()};
  const struct { int picture; int32_t red, blue, green; const char* raised; } bad[] = {
      {0, 0, 0, 0, "picture is nil"},           {1, 0, 256, 256, "red memoryblock is nil"},
      {1, 256, 0, 0, "green memoryblock is nil"}, {1, 256, 0, 256, "blue memoryblock is nil"},
      {1, 255, 256, 256, nullptr},                {1, 256, 255, 256, nullptr},
      {1, 256, 256, 255, nullptr},                {2, 256, 256, 256, nullptr}};
  for (const auto& c : bad) {
    const auto table = [&](int32_t size) { return size == 0 ? Value{} : Value{Table(red_table, size)}; };
    const CallResult r =
        h.CallMethod(pictures[c.picture], "TransformColorsZRK", {table(c.red), table(c.blue), table(c.green)});
    EXPECT_TRUE(r.ok() && std::holds_alternative<std::monostate>(r.value)) << r.error << " case " << (&c - bad);
    EXPECT_EQ(r.exception ? r.exception->className + ": " + r.exception->message : "",
              c.raised != nullptr ? std::string("NilObjectException: ") + c.raised : "");
  }
}

INSTANTIATE_TEST_SUITE_P(AllLendings, CountingTest, ::testing::ValuesIn(kLendings), ByName());

}  // namespace
