// What the benchmarks share: a test host with the plug-in loaded, the square
// picture they measure on, and the check that a call gave a result. Guard pages
// are off throughout: they would be measured along with the plug-in.
#pragma once

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <type_traits>
#include <variant>

#include "host/test_host.h"

namespace bench {

constexpr int32_t kSide = 2048;
constexpr int64_t kPixels = int64_t{kSide} * kSide;
constexpr int64_t kPictureBytes = kPixels * 4;

// A host made from `config` with the plug-in loaded; null, with the benchmark
// stopped, when the plug-in does not load.
inline std::unique_ptr<testhost::Host> start(benchmark::State& state, testhost::HostConfig config) {
  config.guardPages = false;
  auto host = std::make_unique<testhost::Host>(config);
  std::string error;
  if (host->LoadPlugin(PICTURE_PLUGIN_PATH, &error)) return host;
  state.SkipWithError(error.c_str());
  return nullptr;
}

// The same for the host kind that state.range(0) names (0 desktop, 1 console);
// `newLayoutArg` is the argument giving the layout of pictures the host makes
// (-1: the host's own).
inline std::unique_ptr<testhost::Host> start(benchmark::State& state, int newLayoutArg = -1) {
  testhost::HostConfig config;
  config.kind = state.range(0) == 0 ? testhost::HostKind::kDesktop : testhost::HostKind::kConsole;
  if (newLayoutArg >= 0) config.newPictureAlphaInfo = static_cast<uint32_t>(state.range(newLayoutArg));
  return start(state, config);
}

// A new kSide x kSide picture, in the layout `alphaInfo` names or the host's default.
inline testhost::Ref square(testhost::Host& host) { return host.NewPicture({.width = kSide, .height = kSide}); }
inline testhost::Ref square(testhost::Host& host, int64_t alphaInfo) {
  return host.NewPicture({.width = kSide, .height = kSide, .alphaInfo = static_cast<uint32_t>(alphaInfo)});
}

// Whether the call went through, raised nothing and gave a T (for testhost::Value:
// anything but nil); otherwise the benchmark stops with an error naming `what`.
template <class T = testhost::Value>
bool gave(benchmark::State& state, const testhost::CallResult& r, const char* what) {
  std::string problem = !r.ok()                                          ? ": " + r.error
                        : r.exception                                    ? " raised " + r.exception->className
                        : std::holds_alternative<std::monostate>(r.value) ? " gave nil"
                                                                         : "";
  if constexpr (!std::is_same_v<T, testhost::Value>)
    if (problem.empty() && !std::holds_alternative<T>(r.value)) problem = " gave a result of another type";
  if (problem.empty()) return true;
  state.SkipWithError((what + problem).c_str());
  return false;
}

// The same for a call that must answer `expected`.
inline bool gave(benchmark::State& state, const testhost::CallResult& r, const char* what, bool expected) {
  if (!gave<bool>(state, r, what)) return false;
  if (std::get<bool>(r.value) == expected) return true;
  state.SkipWithError((std::string(what) + (expected ? " gave false" : " gave true")).c_str());
  return false;
}

}  // namespace bench
