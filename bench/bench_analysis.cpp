// Colour analysis through the host, per layout family: the uniformity test that
// reads every pixel (white on a white picture), colourfulness, histograms, and
// the channel tables into a new picture. Bytes counted are those read, plus
// those written for the tables.
#include <utility>
#include <vector>

#include "bench/bench_host.h"

namespace {

using bench::kPictureBytes;

// state.range(0): host kind (0 desktop, 1 console); range(1): source layout;
// range(2): layout of new pictures. The source is opaque white; with no host
// (the plug-in did not load) the benchmark is already stopped.
struct Setup {
  explicit Setup(benchmark::State& state) : host(bench::start(state, 2)) {
    if (host) source = bench::square(*host, state.range(1));
  }
  bool Run(benchmark::State& state, const char* method, std::vector<testhost::Value> args) {
    return bench::gave(state, host->CallMethod(source.get(), method, std::move(args)), method);
  }

  std::unique_ptr<testhost::Host> host;
  testhost::Ref source;
};

void BM_isWhiteZRK(benchmark::State& state) {
  Setup s(state);
  for (auto _ : state)
    if (!s.Run(state, "isWhiteZRK", {})) break;
  state.SetBytesProcessed(state.iterations() * kPictureBytes);
}

void BM_ColornessZRK(benchmark::State& state) {
  Setup s(state);
  for (auto _ : state)
    if (!s.Run(state, "ColornessZRK", {})) break;
  state.SetBytesProcessed(state.iterations() * kPictureBytes);
}

void BM_CountColorsZRK(benchmark::State& state) {
  Setup s(state);
  if (!s.host) return;
  // Count and blocks come back as results; the blocks made on the first call are kept.
  testhost::Ref blocks[3] = {s.host->NewMemoryBlock(1024), s.host->NewMemoryBlock(1024), s.host->NewMemoryBlock(1024)};
  for (auto _ : state) {
    testhost::CallResult r =
        s.host->CallMethod(s.source.get(), "CountColorsZRK", {blocks[0], blocks[1], blocks[2], int64_t{0}});
    if (!r.ok() || r.args.size() != 4 || std::get<int64_t>(r.args[3]) != bench::kPixels) {
      state.SkipWithError("CountColorsZRK failed");
      break;
    }
  }
  state.SetBytesProcessed(state.iterations() * kPictureBytes);
}

void BM_TransformColorsZRK(benchmark::State& state) {
  Setup s(state);
  if (!s.host) return;
  testhost::Ref table = s.host->NewMemoryBlock(256);
  for (int i = 0; i < 256; ++i) s.host->Bytes(table.block())[i] = static_cast<uint8_t>(255 - i);
  for (auto _ : state)
    if (!s.Run(state, "TransformColorsZRK", {table, table, table})) break;
  state.SetBytesProcessed(state.iterations() * 2 * kPictureBytes);
}

#define ANALYSIS_BENCHMARK(name)              \
  BENCHMARK(name)                             \
      ->ArgNames({"console", "from", "to"})   \
      ->Args({0, 5, 5})                       \
      ->Args({0, 2, 6})                       \
      ->Args({0, 1, 6})                       \
      ->Args({1, 0, 0})                       \
      ->Unit(benchmark::kMillisecond)

ANALYSIS_BENCHMARK(BM_isWhiteZRK);
ANALYSIS_BENCHMARK(BM_ColornessZRK);
ANALYSIS_BENCHMARK(BM_CountColorsZRK);
ANALYSIS_BENCHMARK(BM_TransformColorsZRK);

}  // namespace
