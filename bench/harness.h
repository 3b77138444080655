// How a row of the benchmark table is measured and printed. Every row times its
// call several times and, between calls, a memcpy of the picture the call works
// on, so that the ratio to memcpy holds even while the machine's load changes;
// the fastest of each is kept. A peer (the same work done by OpenCV) is timed the
// same way where there is one, and its first result is compared with the plug-in's
// where the two must agree.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace bench {

struct Options {
  int32_t side = 4096;  // of the pictures most rows work on
  bool smoke = false;   // one timed call a row, for checking rather than measuring
  std::string filter;   // only rows whose operation or note contains this
};

// What one row times. `run` is the measured call and `release` drops its result
// untimed. `check` looks at the first result (and the peer's, which `peer` made
// just before): empty when they agree, else what differs. `host_share` times, on
// its own, host work that `run` includes but that is not the plug-in's (building
// the host string of a result): it is taken off. A helper throws std::runtime_error
// when a call fails; the row then shows the failure.
struct Work {
  std::function<void()> run;
  std::function<void()> release = [] {};
  std::function<void()> peer;
  std::function<std::string()> check;
  std::function<double()> host_share;  // seconds
};

// What a row must reach: a time no more than `limit` times memcpy's, `limit`
// nanoseconds per pixel, or `limit` times the peer's time.
enum class Goal { kNone, kMemcpy, kNsPerPixel, kPeer };
struct Target {
  Goal goal = Goal::kNone;
  double limit = 0;
};
inline Target vs_memcpy(double limit) { return {Goal::kMemcpy, limit}; }

// What a row shows beside its figures, and what they are held against.
struct Label {
  std::string layout;     // "desktop 5", "console 8"
  std::string operation;  // the host declaration
  std::string note;       // the arguments or the case
  double bytes = 0;       // read plus written by one call, for GB/s
  int64_t pixels = 0;     // for nanoseconds per pixel (or per sample)
  double copy_bytes = 0;  // size of the picture memcpy copies beside it
  std::string peer;       // the peer's calls
  Target target;
  bool binding = true;    // the target applies (desktop layouts); else shown for information
};

class Table {
 public:
  explicit Table(Options options);
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const Options& options() const { return options_; }
  bool wanted(const Label& label) const;
  // Measures `work` now and keeps the row.
  void add(Label label, const Work& work);
  // A row with no measurement, for something that could not be set up.
  void fail(Label label, std::string problem);
  // Prints the table, the load and a summary; the count of failed or mismatched rows.
  int print(std::FILE* out) const;

 private:
  struct Row {
    Label label;
    double seconds = 0, copy_seconds = 0, peer_seconds = 0, host_seconds = 0;
    int runs = 0;
    std::string problem;
  };
  double copy_once(double bytes);
  Options options_;
  std::vector<Row> rows_;
  std::string load_before_;
  uint8_t* from_ = nullptr;
  uint8_t* to_ = nullptr;
  size_t capacity_ = 0;
};

// Seconds that `f` takes.
double seconds_of(const std::function<void()>& f);

// The larger of the bytes of each source, stored with non-temporal stores. With
// one source a copy, what one pass that writes a result too large for the caches
// can reach; with two or three, the floor of a map that reads as many pictures.
void stream_max(void* to, const std::vector<const void*>& from, size_t bytes);

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace bench
