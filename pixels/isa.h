// Instruction sets for the hot loops. Every pass over pixels is compiled once for
// the x86-64 baseline and once each for AVX2 and AVX-512, from the same source: a
// pass is a struct whose always-inlined `run` holds the loop, and each entry below
// is the only function compiled for its set, so no code for a wider set is ever
// shared with a narrower one. A pass may bring its own code for a set instead, as
// static members `avx2` and `avx512` declared with that set's target attribute.
// The set is chosen once per process from what the processor and the system
// support; every set gives the same results.
#pragma once

#include <cstdint>
#include <utility>

namespace picture {

enum class Isa : int32_t { kBaseline, kAvx2, kAvx512 };
inline constexpr Isa kIsas[] = {Isa::kBaseline, Isa::kAvx2, Isa::kAvx512};

const char* IsaName(Isa isa);
// The widest set this machine runs, capped by the environment variable
// PICTURE_ISA ("baseline", "avx2", "avx512") when it is set; decided once.
Isa DetectedIsa();
// The set the walkers use: DetectedIsa() unless a test chose another.
Isa ActiveIsa();
// For tests: use `isa` from now on. False, and nothing changed, when this
// machine cannot run it.
bool UseIsa(Isa isa);

// Whether the machine permutes bytes across a whole AVX-512 register (VBMI);
// passes with code of their own for it use it along with Isa::kAvx512 only.
bool HasByteShuffles();

// Results larger than this many bytes are written around the caches.
int64_t StreamThreshold();
void SetStreamThreshold(int64_t bytes);  // for tests

// Copies n words with stores that bypass the caches, the widest the active set
// has once `to` is aligned to them.
void StreamWords(uint32_t* to, const uint32_t* from, int32_t n);

namespace isa_detail {

template <class Pass, class... Args>
decltype(auto) baseline(Args&&... args) {
  return Pass::run(std::forward<Args>(args)...);
}

#if defined(__x86_64__)
template <class Pass, class... Args>
[[gnu::target("avx2,bmi,bmi2,popcnt")]] decltype(auto) avx2(Args&&... args) {
  return Pass::run(std::forward<Args>(args)...);
}

template <class Pass, class... Args>
[[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] decltype(auto) avx512(Args&&... args) {
  return Pass::run(std::forward<Args>(args)...);
}
#endif

}  // namespace isa_detail

// Runs the pass compiled for the active set. `run` must be declared
// [[gnu::always_inline]] so that its loop is compiled into each entry.
template <class Pass, class... Args>
decltype(auto) dispatch(Args&&... args) {
#if defined(__x86_64__)
  switch (ActiveIsa()) {
    case Isa::kAvx512:
      if constexpr (requires { &Pass::avx512; }) {
        return Pass::avx512(std::forward<Args>(args)...);
      } else {
        return isa_detail::avx512<Pass>(std::forward<Args>(args)...);
      }
    case Isa::kAvx2:
      if constexpr (requires { &Pass::avx2; }) {
        return Pass::avx2(std::forward<Args>(args)...);
      } else {
        return isa_detail::avx2<Pass>(std::forward<Args>(args)...);
      }
    case Isa::kBaseline:
      break;
  }
#endif
  return isa_detail::baseline<Pass>(std::forward<Args>(args)...);
}

}  // namespace picture
