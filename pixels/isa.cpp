// Choosing the instruction set once per process. The processor's feature bits
// are read through the compiler's own detection, which also asks the system
// whether it saves the wide registers.
#include "pixels/isa.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace picture {
namespace {

constexpr int64_t kDefaultStreamBytes = int64_t{8} << 20;

Isa detect() {
  Isa best = Isa::kBaseline;
#if defined(__x86_64__)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
      __builtin_cpu_supports("popcnt")) {
    best = Isa::kAvx2;
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq")) {
      best = Isa::kAvx512;
    }
  }
#endif
  if (const char* cap = std::getenv("PICTURE_ISA")) {
    for (Isa isa : kIsas) {
      if (std::strcmp(cap, IsaName(isa)) == 0 && isa < best) best = isa;
    }
  }
  return best;
}

std::atomic<int32_t> gActive{-1};
std::atomic<int64_t> gStreamBytes{kDefaultStreamBytes};

#if defined(__x86_64__)
// Plain stores up to the first aligned block and after the last.
[[gnu::target("avx512f")]] void stream512(uint32_t* to, const uint32_t* from, int32_t n) {
  int32_t i = 0;
  for (; i < n && (reinterpret_cast<uintptr_t>(to + i) & 63) != 0; ++i) to[i] = from[i];
  for (; i + 16 <= n; i += 16) _mm512_stream_si512(reinterpret_cast<__m512i*>(to + i), _mm512_loadu_si512(from + i));
  for (; i < n; ++i) to[i] = from[i];
}

void stream128(uint32_t* to, const uint32_t* from, int32_t n) {
  int32_t i = 0;
  for (; i < n && (reinterpret_cast<uintptr_t>(to + i) & 15) != 0; ++i) to[i] = from[i];
  for (; i + 4 <= n; i += 4) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(to + i), _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i)));
  }
  for (; i < n; ++i) to[i] = from[i];
}
#endif

}  // namespace

void StreamWords(uint32_t* to, const uint32_t* from, int32_t n) {
#if defined(__x86_64__)
  if (ActiveIsa() == Isa::kAvx512) return stream512(to, from, n);
  stream128(to, from, n);
#else
  std::memcpy(to, from, static_cast<size_t>(n) * 4);
#endif
}

const char* IsaName(Isa isa) {
  switch (isa) {
    case Isa::kAvx2:
      return "avx2";
    case Isa::kAvx512:
      return "avx512";
    case Isa::kBaseline:
      break;
  }
  return "baseline";
}

Isa DetectedIsa() {
  static const Isa detected = detect();
  return detected;
}

Isa ActiveIsa() {
  const int32_t active = gActive.load(std::memory_order_relaxed);
  if (active >= 0) return static_cast<Isa>(active);
  const Isa detected = DetectedIsa();
  gActive.store(static_cast<int32_t>(detected), std::memory_order_relaxed);
  return detected;
}

bool UseIsa(Isa isa) {
  if (isa > DetectedIsa()) return false;
  gActive.store(static_cast<int32_t>(isa), std::memory_order_relaxed);
  return true;
}

bool HasByteShuffles() {
#if defined(__x86_64__)
  static const bool vbmi = DetectedIsa() == Isa::kAvx512 && __builtin_cpu_supports("avx512vbmi");
  return vbmi;
#else
  return false;
#endif
}

int64_t StreamThreshold() { return gStreamBytes.load(std::memory_order_relaxed); }

void SetStreamThreshold(int64_t bytes) { gStreamBytes.store(bytes, std::memory_order_relaxed); }

}  // namespace picture
