// Scrolling and the binary string through the host on 2048 x 2048 pictures, per
// host kind. Bytes counted: scrolling reads and writes every pixel word once; the
// string conversions read one side and write the other.
#include <benchmark/benchmark.h>

#include <string>

#include "host/test_host.h"

namespace {

constexpr int32_t kSide = 2048;
constexpr int64_t kPixels = int64_t{kSide} * kSide;

bool start(benchmark::State& state, testhost::Host& host) {
  std::string error;
  if (host.LoadPlugin(PICTURE_PLUGIN_PATH, &error)) return true;
  state.SkipWithError(error.c_str());
  return false;
}

testhost::HostConfig config_of(const benchmark::State& state) {
  testhost::HostConfig config;
  config.kind = state.range(0) == 0 ? testhost::HostKind::kDesktop : testhost::HostKind::kConsole;
  config.guardPages = false;
  return config;
}

testhost::PictureSpec square() {
  testhost::PictureSpec shape;
  shape.width = kSide;
  shape.height = kSide;
  return shape;
}

// range(1): 0 moves down and right (the buffer holds what stays), 1 up and left.
void BM_ScrollZRKWrap(benchmark::State& state) {
  testhost::Host host(config_of(state));
  if (!start(state, host)) return;
  testhost::Ref picture = host.NewPicture(square());
  const int64_t delta = state.range(1) == 0 ? 300 : -300;
  for (auto _ : state) {
    testhost::CallResult r = host.CallMethod(picture.get(), "ScrollZRK", {delta, delta, true, false});
    if (!r.ok() || !std::get<bool>(r.value)) {
      state.SkipWithError("ScrollZRK failed");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * 2 * kPixels * 4);
}
BENCHMARK(BM_ScrollZRKWrap)->ArgNames({"console", "up"})->Args({0, 0})->Args({0, 1})->Args({1, 0})->Unit(benchmark::kMillisecond);

void BM_PicturetoBinaryString(benchmark::State& state) {
  testhost::Host host(config_of(state));
  if (!start(state, host)) return;
  testhost::Ref picture = host.NewPicture(square());
  for (auto _ : state) {
    testhost::CallResult r = host.Call("PicturetoBinaryStringZRK", {picture});
    if (!std::holds_alternative<std::string>(r.value)) {
      state.SkipWithError("PicturetoBinaryStringZRK gave nil");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kPixels * (4 + 3));
}
BENCHMARK(BM_PicturetoBinaryString)->ArgNames({"console"})->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_BinaryStringtoPicture(benchmark::State& state) {
  testhost::Host host(config_of(state));
  if (!start(state, host)) return;
  testhost::Ref picture = host.NewPicture(square());
  const testhost::Value data = host.Call("PicturetoBinaryStringZRK", {picture}).value;
  for (auto _ : state) {
    testhost::CallResult r = host.Call("BinaryStringtoPictureZRK", {data});
    if (!std::holds_alternative<testhost::Ref>(r.value)) {
      state.SkipWithError("BinaryStringtoPictureZRK gave nil");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kPixels * (3 + 4));
}
BENCHMARK(BM_BinaryStringtoPicture)->ArgNames({"console"})->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
