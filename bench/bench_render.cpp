// Waveform rendering through the host: a million 16-bit samples folded into
// 1200 x 300, with the anti-aliased outline (1) and the host's pen (3). Items
// counted are samples.
#include <algorithm>
#include <random>
#include <vector>

#include "bench/bench_host.h"

namespace {

constexpr int32_t kSamples = 1 << 20;

// state.range(0): host kind (0 desktop, 1 console); range(1): outline width.
void BM_RenderSamplesZRK(benchmark::State& state) {
  auto host = bench::start(state);
  if (!host) return;
  testhost::Ref block = host->NewMemoryBlock(kSamples * 2);
  std::mt19937 rng(3);
  std::normal_distribution<double> noise(0.0, 6000.0);
  auto bytes = host->Bytes(block.block());
  for (int32_t i = 0; i < kSamples; ++i) {
    const auto v = static_cast<int16_t>(std::clamp(noise(rng), -32768.0, 32767.0));
    bytes[2 * i] = static_cast<uint8_t>(v);
    bytes[2 * i + 1] = static_cast<uint8_t>(static_cast<uint16_t>(v) >> 8);
  }
  const std::vector<testhost::Value> args = {block,          int64_t{0},        int64_t{4},        int64_t{1200},
                                             int64_t{300},   state.range(1),    int64_t{0x88B5C4}, int64_t{0x274C5A},
                                             int64_t{0x203F4E}, int64_t{15},    false};
  for (auto _ : state)
    if (!bench::gave<testhost::Ref>(state, host->Call("RenderSamplesZRK", args), "RenderSamplesZRK")) break;
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
}
BENCHMARK(BM_RenderSamplesZRK)
    ->ArgNames({"console", "outline"})
    ->Args({0, 1})
    ->Args({0, 3})
    ->Args({1, 1})
    ->Unit(benchmark::kMillisecond);

}  // namespace
