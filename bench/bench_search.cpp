// Colour replacement, the rectangle mask and the sub-picture search through the
// host on 2048 x 2048 pictures. The search also runs its worst case: a uniform
// haystack and a pattern that differs only in its last pixel, where every
// candidate is compared in full, about (W - w + 1)(H - h + 1)·w·h comparisons.
#include <random>
#include <vector>

#include "bench/bench_host.h"

namespace {

using bench::kSide;
using testhost::Pixel;

// These measure the picture, not the host: all run on a desktop host.
std::unique_ptr<testhost::Host> start(benchmark::State& state) { return bench::start(state, testhost::HostConfig{}); }

testhost::Ref filled(testhost::Host& host, int32_t width, int32_t height, Pixel fill) {
  return host.NewPicture({.width = width, .height = height, .fill = fill});
}

void paint(testhost::Host& host, const testhost::Ref& picture, int32_t x0, int32_t y0, int32_t w, int32_t h, Pixel p) {
  for (int32_t y = y0; y < y0 + h; ++y)
    for (int32_t x = x0; x < x0 + w; ++x) host.SetPixel(picture.picture(), x, y, p);
}

// Grey with a few coloured areas: blocks, a thin line, an L and scattered dots.
testhost::Ref few_areas(testhost::Host& host) {
  testhost::Ref picture = filled(host, kSide, kSide, {128, 128, 128, 255});
  const Pixel red{200, 30, 30, 255};
  paint(host, picture, 100, 100, 300, 200, red);
  paint(host, picture, 1200, 700, 500, 500, red);
  paint(host, picture, 0, 1500, kSide, 1, red);
  paint(host, picture, 300, 1700, 20, 300, red);
  paint(host, picture, 300, 1980, 600, 20, red);
  std::mt19937 rng(1);
  for (int i = 0; i < 200; ++i) host.SetPixel(picture.picture(), rng() % kSide, rng() % kSide, red);
  return picture;
}

void call(benchmark::State& state, testhost::Host& host, const testhost::Ref& self, const char* method,
          std::vector<testhost::Value> args) {
  for (auto _ : state)
    if (!bench::gave(state, host.CallMethod(self.get(), method, args), method)) break;
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * bench::kPixels);
}

void BM_ReplaceColorZRK(benchmark::State& state) {
  auto host = start(state);
  if (!host) return;
  call(state, *host, few_areas(*host), "ReplaceColorZRK", {int64_t{0xC81E1E}, int64_t{0x00FF00}});
}
BENCHMARK(BM_ReplaceColorZRK)->Unit(benchmark::kMillisecond);

void BM_ExtractColorRectangleMaskZRK(benchmark::State& state) {
  auto host = start(state);
  if (!host) return;
  call(state, *host, few_areas(*host), "ExtractColorRectangleMaskZRK", {});
}
BENCHMARK(BM_ExtractColorRectangleMaskZRK)->Unit(benchmark::kMillisecond);

// A random 2048 x 2048 haystack and a 32 x 32 pattern cut from near its end.
void BM_FindPictureTypical(benchmark::State& state) {
  auto host = start(state);
  if (!host) return;
  testhost::Ref hay = filled(*host, kSide, kSide, {0, 0, 0, 255});
  std::mt19937 rng(2);
  for (int32_t y = 0; y < kSide; ++y)
    for (int32_t x = 0; x < kSide; ++x) {
      const uint32_t v = rng();
      host->SetPixel(hay.picture(), x, y, {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), 255});
    }
  testhost::Ref pattern = filled(*host, 32, 32, {0, 0, 0, 255});
  for (int32_t y = 0; y < 32; ++y)
    for (int32_t x = 0; x < 32; ++x)
      host->SetPixel(pattern.picture(), x, y, host->GetPixel(hay.picture(), kSide - 40 + x, kSide - 40 + y));
  for (auto _ : state)
    if (!bench::gave(state, host->CallMethod(hay.get(), "FindPictureZRK", {pattern, int64_t{0}, int64_t{0}}),
                     "FindPictureZRK", true))
      break;
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * bench::kPixels);
}
BENCHMARK(BM_FindPictureTypical)->Unit(benchmark::kMillisecond);

// Uniform N x N haystack, uniform 32 x 32 pattern but for its last pixel: every
// candidate matches up to that pixel. Items: pixel comparisons.
void BM_FindPictureWorstCase(benchmark::State& state) {
  const auto side = static_cast<int32_t>(state.range(0));
  constexpr int32_t kPattern = 32;
  auto host = start(state);
  if (!host) return;
  testhost::Ref hay = filled(*host, side, side, {90, 90, 90, 255});
  testhost::Ref pattern = filled(*host, kPattern, kPattern, {90, 90, 90, 255});
  host->SetPixel(pattern.picture(), kPattern - 1, kPattern - 1, {90, 90, 91, 255});
  for (auto _ : state)
    if (!bench::gave(state, host->CallMethod(hay.get(), "FindPictureZRK", {pattern, int64_t{0}, int64_t{0}}),
                     "FindPictureZRK", false))
      break;
  const int64_t candidates = int64_t{side - kPattern + 1} * (side - kPattern + 1);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * candidates * kPattern * kPattern);
}
BENCHMARK(BM_FindPictureWorstCase)->Arg(256)->Arg(2048)->Unit(benchmark::kMillisecond);

}  // namespace
