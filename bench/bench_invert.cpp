// Inversion through the host, per layout, against a plain copy of the same
// number of bytes (the speed of memory on this machine). Bytes counted are those
// read plus those written.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "host/test_host.h"

namespace {

constexpr int32_t kSide = 2048;

void BM_CopyBaseline(benchmark::State& state) {
  const size_t bytes = size_t{kSide} * kSide * 4;
  std::vector<uint32_t> from(bytes / 4, 0x12345678), to(bytes / 4);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_CopyBaseline)->Unit(benchmark::kMillisecond);

// What every operation's result costs before the plug-in touches a pixel: the
// host making a fresh picture of the same size (mapped, filled white).
void BM_HostNewPicture(benchmark::State& state) {
  testhost::HostConfig config;
  config.guardPages = false;
  testhost::Host host(config);
  testhost::PictureSpec shape;
  shape.width = kSide;
  shape.height = kSide;
  for (auto _ : state) benchmark::DoNotOptimize(host.NewPicture(shape).get());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kSide * kSide * 4);
}
BENCHMARK(BM_HostNewPicture)->Unit(benchmark::kMillisecond);

// state.range(0): host kind (0 desktop, 1 console); range(1): source layout;
// range(2): layout of new pictures.
void BM_InvertZRK(benchmark::State& state) {
  testhost::HostConfig config;
  config.kind = state.range(0) == 0 ? testhost::HostKind::kDesktop : testhost::HostKind::kConsole;
  config.newPictureAlphaInfo = static_cast<uint32_t>(state.range(2));
  config.guardPages = false;
  testhost::Host host(config);
  std::string error;
  if (!host.LoadPlugin(PICTURE_PLUGIN_PATH, &error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  testhost::PictureSpec shape;
  shape.width = kSide;
  shape.height = kSide;
  shape.alphaInfo = static_cast<uint32_t>(state.range(1));
  testhost::Ref source = host.NewPicture(shape);
  for (auto _ : state) {
    testhost::CallResult r = host.CallMethod(source.get(), "InvertZRK", {});
    if (!std::holds_alternative<testhost::Ref>(r.value)) {
      state.SkipWithError("InvertZRK gave nil");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * kSide * kSide * 4);
}
BENCHMARK(BM_InvertZRK)
    ->ArgNames({"console", "from", "to"})
    ->Args({0, 5, 5})
    ->Args({0, 2, 6})
    ->Args({0, 1, 6})
    ->Args({1, 0, 0})
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
