// Scrolling and the binary string through the host on 2048 x 2048 pictures, per
// host kind. Bytes counted: scrolling reads and writes every pixel word once; the
// string conversions read one side and write the other.
#include "bench/bench_host.h"

namespace {

using bench::kPixels;

// state.range(0): host kind (0 desktop, 1 console).
// range(1): 0 moves down and right (the buffer holds what stays), 1 up and left.
void BM_ScrollZRKWrap(benchmark::State& state) {
  auto host = bench::start(state);
  if (!host) return;
  testhost::Ref picture = bench::square(*host);
  const int64_t delta = state.range(1) == 0 ? 300 : -300;
  for (auto _ : state)
    if (!bench::gave(state, host->CallMethod(picture.get(), "ScrollZRK", {delta, delta, true, false}), "ScrollZRK", true))
      break;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * 2 * kPixels * 4);
}
BENCHMARK(BM_ScrollZRKWrap)->ArgNames({"console", "up"})->Args({0, 0})->Args({0, 1})->Args({1, 0})->Unit(benchmark::kMillisecond);

void BM_PicturetoBinaryString(benchmark::State& state) {
  auto host = bench::start(state);
  if (!host) return;
  testhost::Ref picture = bench::square(*host);
  for (auto _ : state)
    if (!bench::gave<std::string>(state, host->Call("PicturetoBinaryStringZRK", {picture}), "PicturetoBinaryStringZRK"))
      break;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kPixels * (4 + 3));
}
BENCHMARK(BM_PicturetoBinaryString)->ArgNames({"console"})->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_BinaryStringtoPicture(benchmark::State& state) {
  auto host = bench::start(state);
  if (!host) return;
  testhost::Ref picture = bench::square(*host);
  const testhost::Value data = host->Call("PicturetoBinaryStringZRK", {picture}).value;
  for (auto _ : state)
    if (!bench::gave<testhost::Ref>(state, host->Call("BinaryStringtoPictureZRK", {data}), "BinaryStringtoPictureZRK"))
      break;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kPixels * (3 + 4));
}
BENCHMARK(BM_BinaryStringtoPicture)->ArgNames({"console"})->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
