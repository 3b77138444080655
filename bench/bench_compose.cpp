// Channel composition and the embedded mask through the host on 2048 x 2048
// pictures, per host kind and layout mix. Bytes counted are those read (every
// input) plus those written.
#include <vector>

#include "bench/bench_host.h"

namespace {

// state.range(0): host kind (0 desktop, 1 console); range(1): layout of the first
// input; range(2): layout of the others; range(3): layout of new pictures.
template <int Inputs>
void run(benchmark::State& state, const char* name) {
  auto host = bench::start(state, 3);
  if (!host) return;
  std::vector<testhost::Value> inputs;
  for (int i = 0; i < Inputs; ++i) inputs.push_back(bench::square(*host, state.range(i == 0 ? 1 : 2)));
  for (auto _ : state) {
    testhost::CallResult r = Inputs == 1 ? host->CallMethod(std::get<testhost::Ref>(inputs[0]).get(), name, {false})
                                         : host->Call(name, inputs);
    if (!bench::gave<testhost::Ref>(state, r, name)) break;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (Inputs + 1) * bench::kPictureBytes);
}

void BM_MergePicture(benchmark::State& state) { run<2>(state, "MergePictureZRK"); }
void BM_CombinePicturesZRK(benchmark::State& state) { run<3>(state, "CombinePicturesZRK"); }
void BM_GetEmbededMask(benchmark::State& state) { run<1>(state, "EmbeddedMaskZRK"); }

void layouts(benchmark::internal::Benchmark* b) {
  b->ArgNames({"console", "first", "others", "to"})->Args({0, 5, 5, 5})->Args({0, 1, 2, 6})->Args({1, 0, 0, 0});
}

BENCHMARK(BM_MergePicture)->Apply(layouts)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CombinePicturesZRK)->Apply(layouts)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetEmbededMask)->Apply(layouts)->Unit(benchmark::kMillisecond);

}  // namespace
