// Waveform rendering through the registered global on every layout a host gives new pictures:
// seeded samples in each encoding against a plain reference, then the worked cases and refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"
#include "tests/plugin/render_reference.h"

namespace {

using rendertest::Grid;
using testhost::CallResult;
using testhost::Ref;
using testhost::Value;

constexpr uint32_t kBack = 0x88B5C4, kFore = 0x274C5A, kLine = 0x203F4E;  // the declared defaults

struct Params {
  int32_t count, smooth, width, height, outline, bits;
  bool autoScale;
  uint32_t back = kBack, fore = kFore, line = kLine;
};

CallResult render(testhost::Host& h, const Ref& block, const Params& p) {
  return h.Call("RenderSamplesZRK", {block ? Value{block} : Value{}, int64_t{p.count}, int64_t{p.smooth},
                                     int64_t{p.width}, int64_t{p.height}, int64_t{p.outline}, int64_t{p.back},
                                     int64_t{p.fore}, int64_t{p.line}, int64_t{p.bits}, p.autoScale});
}

// The picture a call returned, as 0x00RRGGBB colours (0 x 0 for none).
Grid grid_of(testhost::Host& h, const CallResult& r) {
  const REALpicture pic = std::holds_alternative<Ref>(r.value) ? std::get<Ref>(r.value).picture() : nullptr;
  Grid g(pic ? h.Width(pic) : 0, pic ? h.Height(pic) : 0, 0);
  for (int32_t i = 0; i < g.width * g.height; ++i) g.rgb[i] = h.Color(pic, i % g.width, i / g.width);
  return g;
}

// The host's pen line: Bresenham, both ends, the pen reaching right and down.
void pen_line(Grid& g, uint32_t colour, int32_t pen, int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
  const int64_t dx = std::llabs(x1 - x0), dy = -std::llabs(y1 - y0), sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
  for (int64_t err = dx + dy;;) {
    for (int64_t i = 0; i < pen * pen; ++i)
      if (uint32_t* p = g.at(x0 + i % pen, y0 + i / pen)) *p = colour;
    if (x0 == x1 && y0 == y1) return;
    const int64_t e2 = 2 * err;
    if (e2 >= dy) err += dy, x0 += sx;
    if (e2 <= dx) err += dx, y0 += sy;
  }
}

// Fold, smoothing, scaling and fill, then both outlines column by column.
Grid reference(const std::vector<double>& v, const Params& p) {
  const auto n = static_cast<int64_t>(v.size());
  const int32_t w = p.width >= 1 ? p.width : static_cast<int32_t>(n), h = p.height;
  std::vector<double> neg(w), pos(w);
  double peak = 0;
  for (int32_t x = 0; x < w; ++x) {
    const auto from = static_cast<int64_t>(static_cast<double>(x) / w * n);
    const auto to = static_cast<int64_t>(static_cast<double>(x + 1) / w * n);
    double below = 0, above = 0;
    for (int64_t i = from; i < to; ++i) (v[i] < 0 ? below : above) += v[i];
    if (to > from) neg[x] = below / ((to - from) * 0.5), pos[x] = above / ((to - from) * 0.5);
    peak = std::max({peak, pos[x], -neg[x]});
  }
  double range = p.autoScale ? 2 * peak : p.bits < 0 ? 1.0 : p.bits <= 8 ? 127.0 : 32767.0;
  const double a = 2.0 / (p.smooth + 1);
  for (int32_t x = 1; x < w && p.smooth > 0; ++x) {
    neg[x] = neg[x - 1] * (1 - a) + neg[x] * a;
    pos[x] = pos[x - 1] * (1 - a) + pos[x] * a;
  }
  if (p.smooth > 0) range = range * (1 - a) + range * a;
  Grid g(w, h, p.back);
  const int32_t centre = h / 2, half = p.outline / 2;
  std::vector<int32_t> ys[2] = {std::vector<int32_t>(w), std::vector<int32_t>(w)};
  for (int32_t x = 0; x < w; ++x) {
    for (int s = 0; s < 2; ++s) {
      const int32_t y = ys[s][x] = range == 0 ? centre : static_cast<int32_t>((s ? pos : neg)[x] * h / range + centre);
      for (int32_t row = std::max(std::min(centre, y), 0); row <= std::min(std::max(centre, y), h - 1); ++row)
        *g.at(x, row) = p.fore;
    }
  }
  for (int32_t x = 0; x < w; ++x) {
    for (const auto& y : ys) {  // negative, then positive
      const int32_t x0 = std::max(x - 1, 0), y0 = x == 0 ? centre : y[x - 1];
      if (p.outline == 1) rendertest::ref_wu_line(g, p.line, x0, y0, x, y[x]);
      if (p.outline > 1) pen_line(g, p.line, p.outline, x0 - half, y0 - half, x - half, y[x] - half);
    }
  }
  return g;
}

// New pictures in both bitmap families, and in the row tables of console and web hosts.
const pixeltest::Lending kHosts[] = {pixeltest::lending("Rgbx5"), pixeltest::lending("Xrgb6"),
                                     pixeltest::lending("Console"), pixeltest::lending("Web")};

class RenderTest : public PluginTest, public ::testing::WithParamInterface<pixeltest::Lending> {};

Ref block_of(testhost::Host& h, const std::vector<uint8_t>& bytes) {
  return pixeltest::memory_block(h, static_cast<int32_t>(bytes.size()), [&](int32_t i) { return bytes[i]; });
}

// Integer encodings count the block's samples; floats, in [-1.2, 1.2), must pass the count.
TEST_P(RenderTest, EveryEncodingMatchesTheReference) {
  testhost::Host& h = StartHost(pixeltest::config_for(GetParam()));
  std::mt19937 rng(11);
  for (int32_t bits : {7, 8, 15, 16, -32, -64}) {
    const int32_t size = bits < 0 ? -bits / 8 : (bits + 7) / 8;
    std::vector<uint8_t> bytes(45 * size);
    for (auto& b : bytes) b = static_cast<uint8_t>(rng());
    std::vector<double> values;
    for (size_t at = 0; at < bytes.size(); at += size) {
      const double d = (static_cast<int32_t>(rng() % 2400) - 1200) / 1000.0;
      const float f = static_cast<float>(d);
      if (bits < 0) std::memcpy(&bytes[at], bits == -32 ? static_cast<const void*>(&f) : &d, size);
      // Odd Bits are signed integers, even ones offset by half their range; little-endian.
      const int32_t raw = size == 1 ? bytes[at] : bytes[at] | bytes[at + 1] << 8, half = size == 1 ? 128 : 32768;
      values.push_back(bits == -32 ? f : bits == -64 ? d : (bits % 2 ? raw ^ half : raw) - half);
    }
    const Ref block = block_of(h, bytes);
    for (int32_t width : {0, 7, 60})
      for (int32_t height : {8, 33})
        for (int32_t smooth : {0, 3})
          for (bool autoScale : {false, true})
            for (int32_t outline : {0, 1, 2, 3}) {
              const Params p{bits < 0 ? 45 : 0, smooth, width, height, outline, bits, autoScale};
              const Grid want = reference(values, p);
              const int lines = h.CallCount("RuntimeGraphicsDrawLine");
              ASSERT_EQ(grid_of(h, render(h, block, p)), want) << "bits, width, height, smooth, auto, outline "
                  << bits << " " << width << " " << height << " " << smooth << " " << autoScale << " " << outline;
              EXPECT_EQ(h.CallCount("RuntimeGraphicsDrawLine") - lines, outline > 1 ? 2 * want.width : 0);
            }
  }
}

// Silence (128 with the default Bits 8) draws the centre row in ForeColor, drawn over by the
// outline: thin, or three rows for a pen of 3 offset by half of it; every colour is the declared
// default, Height 0 gives 500 rows, Width 0 a column a sample. Auto-scaled, the loudest column
// (+1000) reaches half the height below the centre (rows 20 to 40, clamped to 39); -500 rises
// half as far, to row 10.
TEST_P(RenderTest, SilenceWithTheDefaultsAndAutoScale) {
  testhost::Host& h = StartHost(pixeltest::config_for(GetParam()));
  const Ref silence = block_of(h, std::vector<uint8_t>(5, 128));
  for (int64_t outline : {0, 1, 3}) {
    Grid want(5, 500, kBack);
    for (int32_t y = outline == 3 ? 249 : 250; y <= (outline == 3 ? 251 : 250); ++y)
      for (int32_t x = 0; x < 5; ++x) *want.at(x, y) = outline == 0 ? kFore : kLine;
    const int64_t zero = 0;
    EXPECT_EQ(grid_of(h, h.Call("RenderSamplesZRK", {silence, zero, zero, zero, zero, outline})), want) << outline;
  }
  Grid want(2, 40, 0);
  for (int32_t y = 20; y < 40; ++y) *want.at(0, y) = 0xFFFFFF;
  for (int32_t y = 10; y <= 20; ++y) *want.at(1, y) = 0xFFFFFF;
  const Ref block = block_of(h, {0xE8, 0x03, 0xE8, 0x03, 0x0C, 0xFE, 0x0C, 0xFE});  // 1000, 1000, -500, -500
  EXPECT_EQ(grid_of(h, render(h, block, {0, 0, 2, 40, 0, 15, true, 0, 0xFFFFFF, 0})), want) << "auto-scaled";
}

// {bits, block bytes, count, width, height} and the picture's size, 0 x 0 for nil: the block
// must hold the count, Bits 12 and 32 are no encodings.
TEST_P(RenderTest, SizesAndRefusals) {
  testhost::Host& h = StartHost(pixeltest::config_for(GetParam()));
  const struct { int32_t bits, bytes, count, width, height, wantWidth, wantHeight; } cases[] = {
      {16, 10, 0, 0, 3, 5, 3},    {16, 10, 6, 2, 3, 0, 0},   {-32, 64, 16, 0, 4, 16, 4}, {-32, 64, 17, 0, 4, 0, 0},
      {12, 16, 0, 4, 4, 0, 0},    {32, 16, 0, 4, 4, 0, 0},   {-64, 64, 0, 5, 4, 0, 0},  // -64: a negative count
      {8, 4, 0, 32767, 1, 32767, 1}, {8, 4, 0, 32768, 1, 0, 0}, {8, 4, 0, 2, 32768, 0, 0},
      {8, 4, 0, 0x20000000, 1, 0, 0},  // width * 8 wraps in 32 bits
  };
  for (const auto& c : cases) {
    const CallResult r = render(h, h.NewMemoryBlock(c.bytes), {c.count, 0, c.width, c.height, 1, c.bits, false});
    ASSERT_TRUE(r.ok() && !r.exception) << r.error;
    const REALpicture pic = std::holds_alternative<Ref>(r.value) ? std::get<Ref>(r.value).picture() : nullptr;
    EXPECT_EQ(pic ? std::pair(h.Width(pic), h.Height(pic)) : std::pair(0, 0), std::pair(c.wantWidth, c.wantHeight))
        << "bits " << c.bits << " count " << c.count << " width " << c.width << " height " << c.height;
  }
  const CallResult r = render(h, Ref{}, {4, 0, 4, 4, 1, 8, false});
  EXPECT_TRUE(r.ok() && std::holds_alternative<std::monostate>(r.value));
  EXPECT_EQ(r.exception ? r.exception->className + ": " + r.exception->message : "",
            "NilObjectException: memoryblock is nil");
}

INSTANTIATE_TEST_SUITE_P(NewPictureLayouts, RenderTest, ::testing::ValuesIn(kHosts), ByName());

}  // namespace
