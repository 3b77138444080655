// One host kind and pixel layout with the plug-in loaded, the pictures the rows
// work on (made once, on first use), and the helpers that turn a host call into
// the Work of a row.
#pragma once

#include <opencv2/core.hpp>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/harness.h"
#include "bench/pixels.h"
#include "host/test_host.h"

namespace bench {

class Stage {
 public:
  // Layout 5 or 6: a desktop host whose pictures all have that layout; 8: a console host.
  Stage(Table& table, int32_t layout, int32_t side);

  testhost::Host& host() { return *host_; }
  Table& table() { return table_; }
  int32_t layout() const { return layout_; }
  int32_t side() const { return side_; }
  const std::string& name() const { return name_; }

  // A side x side picture made by `colour(x, y)` (0x00RRGGBB) the first time `key` is asked for.
  const testhost::Ref& picture(const std::string& key, const std::function<uint32_t(int32_t, int32_t)>& colour);
  // The same picture as a matrix for the peers.
  const cv::Mat& matrix(const std::string& key, const std::function<uint32_t(int32_t, int32_t)>& colour);

  // The registered declaration of method `name` taking `args` arguments, as a
  // program of the host sees it (the picture an extension method is called on not counted).
  std::string declaration(const std::string& name, size_t args);
  // The function registered with a declaration that begins with `head`.
  REALproc function(const std::string& head);

  // Releases the stage's pictures; what the host's ledger then still holds.
  std::vector<std::string> finish();

  // A row of this stage: `traffic` pictures' worth of bytes read plus written.
  Label label(const std::string& operation, std::string note, double traffic, Target target, std::string peer = "");

 private:
  Table& table_;
  int32_t layout_, side_;
  std::string name_;
  std::unique_ptr<testhost::Host> host_;
  std::map<std::string, testhost::Ref> pictures_;
  std::map<std::string, cv::Mat> matrices_;
};

// A call through the host and its latest result. Each call's result is checked
// (the call went through, raised nothing, and `accept` takes it); a failure throws.
struct Called {
  Work work;
  std::shared_ptr<testhost::CallResult> result;
};
using Accept = std::function<bool(const testhost::CallResult&)>;
bool gave_object(const testhost::CallResult& r);
Accept gave(bool expected);
Called calling(std::string what, std::function<testhost::CallResult()> call, Accept accept = gave_object);

// The picture a call gave.
inline const testhost::Ref& picture_of(const testhost::CallResult& r) { return std::get<testhost::Ref>(r.value); }

// Rows of every pixel layout, and the worst cases.
void picture_rows(Stage& stage);
void worst_case_rows(Stage& stage);

}  // namespace bench
