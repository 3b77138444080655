#include "bench/harness.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <stdexcept>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace bench {

namespace {

std::string load_average() {
  std::ifstream file("/proc/loadavg");
  std::string one, five, fifteen;
  file >> one >> five >> fifteen;
  return one.empty() ? "unknown" : one + " " + five + " " + fifteen;
}

std::string fixed(double value, int decimals) {
  if (std::isnan(value)) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

// Two significant decimals for small ratios, fewer as they grow.
std::string ratio(double value) { return fixed(value, value < 10 ? 2 : value < 100 ? 1 : 0); }

std::string target_text(const Target& t) {
  switch (t.goal) {
    case Goal::kNone: return "-";
    case Goal::kMemcpy: return "<=" + fixed(t.limit, 1) + "x";
    case Goal::kNsPerPixel: return "<=" + fixed(t.limit, 0) + "ns/px";
    case Goal::kPeer: return "<=" + fixed(t.limit, 2) + "xpeer";
  }
  return "-";
}

}  // namespace

double seconds_of(const std::function<void()>& f) {
  const auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

namespace {

// Bytes i..bytes of the result, one at a time.
template <size_t N>
void max_bytes(uint8_t* out, const uint8_t* const* in, size_t i, size_t bytes) {
  for (; i < bytes; ++i) {
    out[i] = in[0][i];
    for (size_t k = 1; k < N; ++k) out[i] = std::max(out[i], in[k][i]);
  }
}

#if defined(__x86_64__)
// The widest stores the machine has: 64 bytes a store under AVX-512, else 16.
template <size_t N>
[[gnu::target("avx512f,avx512bw")]] void max_avx512(uint8_t* out, const uint8_t* const* in, size_t bytes) {
  const size_t head = std::min(bytes, (64 - reinterpret_cast<uintptr_t>(out) % 64) % 64);
  max_bytes<N>(out, in, 0, head);
  size_t i = head;
  for (; i + 64 <= bytes; i += 64) {
    __m512i v = _mm512_loadu_si512(in[0] + i);
    for (size_t k = 1; k < N; ++k) v = _mm512_max_epu8(v, _mm512_loadu_si512(in[k] + i));
    _mm512_stream_si512(reinterpret_cast<__m512i*>(out + i), v);
  }
  _mm_sfence();
  max_bytes<N>(out, in, i, bytes);
}

template <size_t N>
void max_sse2(uint8_t* out, const uint8_t* const* in, size_t bytes) {
  const size_t head = std::min(bytes, (16 - reinterpret_cast<uintptr_t>(out) % 16) % 16);
  max_bytes<N>(out, in, 0, head);
  size_t i = head;
  for (; i + 16 <= bytes; i += 16) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in[0] + i));
    for (size_t k = 1; k < N; ++k) v = _mm_max_epu8(v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(in[k] + i)));
    _mm_stream_si128(reinterpret_cast<__m128i*>(out + i), v);
  }
  _mm_sfence();
  max_bytes<N>(out, in, i, bytes);
}
#endif

template <size_t N>
void stream_max_of(void* to, const std::vector<const void*>& from, size_t bytes) {
  const uint8_t* in[N];
  for (size_t k = 0; k < N; ++k) in[k] = static_cast<const uint8_t*>(from[k]);
  auto* out = static_cast<uint8_t*>(to);
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw")) return max_avx512<N>(out, in, bytes);
  max_sse2<N>(out, in, bytes);
#else
  max_bytes<N>(out, in, 0, bytes);
#endif
}

}  // namespace

void stream_max(void* to, const std::vector<const void*>& from, size_t bytes) {
  switch (from.size()) {
    case 1:
      return stream_max_of<1>(to, from, bytes);
    case 2:
      return stream_max_of<2>(to, from, bytes);
    case 3:
      return stream_max_of<3>(to, from, bytes);
    default:
      throw std::invalid_argument("stream_max takes one to three sources");
  }
}

Table::Table(Options options) : options_(std::move(options)), load_before_(load_average()) {}

Table::~Table() {
  std::free(from_);
  std::free(to_);
}

bool Table::wanted(const Label& label) const {
  return options_.filter.empty() || label.operation.find(options_.filter) != std::string::npos ||
         label.note.find(options_.filter) != std::string::npos;
}

double Table::copy_once(double bytes) {
  const auto size = static_cast<size_t>(bytes);
  if (size > capacity_) {
    std::free(from_);
    std::free(to_);
    capacity_ = (size + 63) / 64 * 64;
    from_ = static_cast<uint8_t*>(std::aligned_alloc(64, capacity_));
    to_ = static_cast<uint8_t*>(std::aligned_alloc(64, capacity_));
    if (from_ == nullptr || to_ == nullptr) throw std::runtime_error("no memory for the copy buffers");
    std::memset(from_, 0x5A, capacity_);
    std::memset(to_, 0, capacity_);
  }
  return seconds_of([&] { std::memcpy(to_, from_, size); });
}

void Table::add(Label label, const Work& work) {
  if (!wanted(label)) return;
  Row row{std::move(label)};
  std::fprintf(stderr, "  %-10s %s %s\n", row.label.layout.c_str(), row.label.operation.c_str(), row.label.note.c_str());
  try {
    // The first call warms caches and the host's picture pool, and is the one checked.
    work.run();
    if (work.peer) work.peer();
    if (work.check) row.problem = work.check();
    work.release();
    const double inf = std::numeric_limits<double>::infinity();
    row.seconds = row.copy_seconds = row.peer_seconds = row.host_seconds = inf;
    double spent = 0;
    for (;;) {
      const double once = seconds_of(work.run);
      work.release();
      row.seconds = std::min(row.seconds, once);
      row.copy_seconds = std::min(row.copy_seconds, copy_once(row.label.copy_bytes));
      if (work.peer) row.peer_seconds = std::min(row.peer_seconds, seconds_of(work.peer));
      if (work.host_share) row.host_seconds = std::min(row.host_seconds, work.host_share());
      spent += once;
      ++row.runs;
      if (options_.smoke || row.runs >= 10 || (row.runs >= 3 && spent >= 0.4) || spent >= 3) break;
    }
    if (!work.peer) row.peer_seconds = kNaN;
    if (work.host_share) {
      row.seconds = std::max(row.seconds - row.host_seconds, 0.0);
    } else {
      row.host_seconds = kNaN;
    }
  } catch (const std::exception& e) {
    row.problem = e.what();
    row.runs = 0;
  }
  rows_.push_back(std::move(row));
}

void Table::fail(Label label, std::string problem) {
  if (!wanted(label)) return;
  rows_.push_back(Row{std::move(label), 0, 0, 0, 0, 0, std::move(problem)});
}

int Table::print(std::FILE* out) const {
  std::fprintf(out,
               "\nOne thread; each row the fastest of its runs; xmemcpy: time over that of a memcpy of the picture "
               "the call works on, measured between its runs; xpeer: time over the peer's. Targets in parentheses "
               "are shown for information only.\n\n");
  std::fprintf(out, "%-10s %9s %7s %8s %12s %5s %7s  %-34s %s\n", "layout", "ms", "GB/s", "xmemcpy", "target", "met",
               "xpeer", "peer", "operation");
  int failed = 0;
  std::map<std::string, std::pair<int, int>> met;  // per layout: targets met, targets
  for (const Row& row : rows_) {
    const Label& s = row.label;
    const bool measured = row.runs > 0;
    const double ms = row.seconds * 1e3;
    const double vs_copy = row.seconds / row.copy_seconds;
    const double vs_peer = row.seconds / row.peer_seconds;
    const double ns_per_pixel = s.pixels > 0 ? row.seconds * 1e9 / static_cast<double>(s.pixels) : kNaN;
    std::string mark = "-";
    if (measured && s.target.goal != Goal::kNone) {
      const double value = s.target.goal == Goal::kMemcpy       ? vs_copy
                           : s.target.goal == Goal::kNsPerPixel ? ns_per_pixel
                                                                : vs_peer;
      const bool ok = value <= s.target.limit;
      mark = s.binding ? (ok ? "yes" : "NO") : (ok ? "(yes)" : "(no)");
      met[s.layout].first += ok;
      ++met[s.layout].second;
    }
    std::string target = target_text(s.target);
    if (!s.binding && s.target.goal != Goal::kNone) target = "(" + target + ")";
    std::string note = s.note;
    if (s.pixels > 0) note += (note.empty() ? "" : "; ") + fixed(ns_per_pixel, 2) + " ns each";
    if (!std::isnan(row.host_seconds) && measured) {
      note += (note.empty() ? "" : "; ") + std::string("host string work of ") + fixed(row.host_seconds * 1e3, 1) +
              " ms taken off";
    }
    std::fprintf(out, "%-10s %9s %7s %8s %12s %5s %7s  %-34s %s%s%s\n", s.layout.c_str(),
                 measured ? fixed(ms, 2).c_str() : "-", measured && s.bytes > 0 ? fixed(s.bytes / row.seconds / 1e9, 1).c_str() : "-",
                 measured ? ratio(vs_copy).c_str() : "-", target.c_str(), mark.c_str(),
                 measured ? ratio(vs_peer).c_str() : "-", s.peer.empty() ? "-" : s.peer.c_str(), s.operation.c_str(),
                 note.empty() ? "" : ("  [" + note + "]").c_str(),
                 row.problem.empty() ? "" : ("  ** " + row.problem).c_str());
    if (!row.problem.empty()) ++failed;
  }
  std::fprintf(out, "\nload average before: %s, after: %s (2 cores; figures are fair only on an idle machine)\n",
               load_before_.c_str(), load_average().c_str());
  for (const auto& [layout, counts] : met) {
    std::fprintf(out, "targets met, %s: %d of %d%s\n", layout.c_str(), counts.first, counts.second,
                 layout.rfind("desktop", 0) == 0 ? "" : " (for information: the targets are the desktop layouts')");
  }
  std::fprintf(out, "rows failed or differing from the peer: %d\n", failed);
  return failed;
}

}  // namespace bench
