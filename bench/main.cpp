// picture_bench: every picture operation of the plug-in, through the test host,
// against memcpy and OpenCV, in the desktop layouts 5 and 6 and the console's row
// table; then the worst cases. Prints one table at the end and exits non-zero
// when a call failed or a result differs from the peer's.
//
//   picture_bench [--smoke] [--side N] [--filter TEXT] [--list]
#include <opencv2/core.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "bench/stage.h"

namespace {

int usage(const char* problem) {
  std::fprintf(stderr, "picture_bench: %s\nusage: picture_bench [--smoke] [--side N] [--filter TEXT] [--list]\n", problem);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  bench::Options options;
  bool list = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--smoke") {
      options.smoke = true;
      options.side = 64;
    } else if (arg == "--side" && i + 1 < argc) {
      options.side = std::atoi(argv[++i]);
      if (options.side < 64 || options.side > 16384) return usage("--side takes 64 to 16384");
    } else if (arg == "--filter" && i + 1 < argc) {
      options.filter = argv[++i];
    } else if (arg == "--list") {
      list = true;
    } else {
      return usage(("unknown argument " + arg).c_str());
    }
  }
  cv::setNumThreads(1);
  bench::Table table(options);
  int ledger = 0;
  const auto finish = [&ledger](bench::Stage& stage) {
    for (const std::string& problem : stage.finish()) {
      std::fprintf(stderr, "ledger: %s\n", problem.c_str());
      ++ledger;
    }
  };
  try {
    for (const int32_t layout : {5, 6, 8}) {
      bench::Stage stage(table, layout, options.side);
      if (list) {
        for (const auto& c : stage.host().Callables()) std::printf("%s\n", c.declaration.c_str());
        return 0;
      }
      std::fprintf(stderr, "%s\n", stage.name().c_str());
      bench::picture_rows(stage);
      finish(stage);
    }
    // Last, so that their large allocations leave the layouts' rows alone.
    bench::Stage stage(table, 5, options.side);
    bench::worst_case_rows(stage);
    finish(stage);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "picture_bench: %s\n", e.what());
    return 1;
  }
  const int failed = table.print(stdout);
  if (ledger > 0) std::printf("host ledger problems: %d (listed above)\n", ledger);
  return failed == 0 && ledger == 0 ? 0 : 1;
}
