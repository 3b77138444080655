// Channel composition and the embedded mask through the host on 2048 x 2048
// pictures, per host kind and layout mix. Bytes counted are those read (every
// input) plus those written.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "host/test_host.h"

namespace {

constexpr int32_t kSide = 2048;

// state.range(0): host kind (0 desktop, 1 console); range(1): layout of the first
// input; range(2): layout of the others; range(3): layout of new pictures.
template <int Inputs>
void run(benchmark::State& state, const char* name) {
  testhost::HostConfig config;
  config.kind = state.range(0) == 0 ? testhost::HostKind::kDesktop : testhost::HostKind::kConsole;
  config.newPictureAlphaInfo = static_cast<uint32_t>(state.range(3));
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
  std::vector<testhost::Value> inputs;
  for (int i = 0; i < Inputs; ++i) {
    shape.alphaInfo = static_cast<uint32_t>(state.range(i == 0 ? 1 : 2));
    inputs.push_back(host.NewPicture(shape));
  }
  for (auto _ : state) {
    testhost::CallResult r = Inputs == 1 ? host.CallMethod(std::get<testhost::Ref>(inputs[0]).get(), name, {false})
                                         : host.Call(name, inputs);
    if (!std::holds_alternative<testhost::Ref>(r.value)) {
      state.SkipWithError("the call gave nil");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (Inputs + 1) * kSide * kSide * 4);
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
