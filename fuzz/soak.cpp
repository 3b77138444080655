// The soak: 100,000 random calls of registered methods and class members in one
// process and one host (the call fuzz target's inputs, from a fixed seed), the
// ledger balanced after each, and the resident memory shown at 0, 10,000, 50,000
// and 100,000 calls; a run whose memory keeps growing fails. Arguments: the
// number of calls and the seed.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "fuzz/call_input.h"

namespace {

long resident_kib() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0, resident = 0;
  statm >> pages >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace

int main(int argc, char** argv) {
  const long calls = argc > 1 ? std::stol(argv[1]) : 100000;
  const unsigned seed = argc > 2 ? static_cast<unsigned>(std::stoul(argv[2])) : 13;
  testhost::Host& h = fuzzhost::the_host();
  std::mt19937 rng(seed);
  std::vector<uint8_t> bytes;
  const auto start = std::chrono::steady_clock::now();
  long first = 0, at_10k = 0;
  for (long i = 0; i <= calls; ++i) {
    if (i == 0 || i == 10000 || i == 50000 || i == calls || i % 25000 == 0) {
      const long kib = resident_kib();
      const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      std::printf("calls %7ld  resident %7ld KiB  %6.1f s\n", i, kib, seconds);
      std::fflush(stdout);
      if (i == 0) first = kib;
      if (i == 10000) at_10k = kib;
    }
    if (i == calls) break;
    bytes.resize(rng() % 2048);
    for (uint8_t& b : bytes) b = static_cast<uint8_t>(rng());
    fuzzhost::Input in(bytes.data(), bytes.size());
    fuzzhost::run_one_call(h, in);
    fuzzhost::check_ledger(h);
  }
  // Flat: after the first 10,000 calls have filled the host's bounded stores,
  // growth stays within a few MiB.
  const long last = resident_kib();
  const long base = at_10k != 0 ? at_10k : first;
  std::printf("%ld calls, ledger balanced after each; resident %ld -> %ld KiB\n", calls, base, last);
  if (last - base > 16 * 1024) {
    std::printf("resident memory grew by %ld KiB\n", last - base);
    return 1;
  }
  return 0;
}
