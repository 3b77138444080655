// Inversion through the host, per layout, against a plain copy of the same
// number of bytes (the speed of memory on this machine). Bytes counted are those
// read plus those written.
#include <cstring>
#include <vector>

#include "bench/bench_host.h"

namespace {

using bench::kPictureBytes;

void BM_CopyBaseline(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(kPictureBytes);
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
  testhost::Host host({.guardPages = false});
  for (auto _ : state) benchmark::DoNotOptimize(bench::square(host).get());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kPictureBytes);
}
BENCHMARK(BM_HostNewPicture)->Unit(benchmark::kMillisecond);

// state.range(0): host kind (0 desktop, 1 console); range(1): source layout;
// range(2): layout of new pictures.
void BM_InvertZRK(benchmark::State& state) {
  auto host = bench::start(state, 2);
  if (!host) return;
  testhost::Ref source = bench::square(*host, state.range(1));
  for (auto _ : state)
    if (!bench::gave<testhost::Ref>(state, host->CallMethod(source.get(), "InvertZRK", {}), "InvertZRK")) break;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * kPictureBytes);
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
