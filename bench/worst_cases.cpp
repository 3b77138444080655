// Inputs chosen to be as hard as an operation's rule allows: the search on a
// uniform haystack whose every candidate matches up to the pattern's last pixel,
// the rectangle mask on a 1-pixel checkerboard (every pixel its own rectangle) and
// on 1-pixel stripes, and the waveform of about 100 million samples.
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstring>

#include "bench/stage.h"

namespace bench {

namespace {

using testhost::CallResult;
using testhost::Host;
using testhost::Ref;

// The last pixel differs by 75 in each channel: far above the rounding of the peer's
// sums, so that the peer's least score (16875) tells the same as an exact search.
void uniform_search(Stage& s, int32_t side, int32_t size, Target target) {
  Host& h = s.host();
  Label label = s.label(s.declaration("FindPictureZRK", 3),
                     "uniform " + std::to_string(side) + "x" + std::to_string(side) + " haystack, " + std::to_string(size) +
                         "x" + std::to_string(size) + " pattern differing in its last pixel",
                     0, target, "matchTemplate SQDIFF, minMaxLoc");
  label.copy_bytes = label.bytes = 4.0 * side * side;
  label.pixels = int64_t{side} * side;
  if (!s.table().wanted(label)) return;
  const Ref haystack = painted(h, s.layout(), side, side, [](int32_t, int32_t) { return 0x5A5A5Au; });
  const Ref pattern = painted(h, s.layout(), size, size, [size](int32_t x, int32_t y) {
    return x == size - 1 && y == size - 1 ? 0xA5A5A5u : 0x5A5A5Au;
  });
  auto m_haystack = std::make_shared<cv::Mat>(matrix_of(h, haystack));
  auto m_pattern = std::make_shared<cv::Mat>(matrix_of(h, pattern));
  Called c = calling(label.operation,
                     [&h, haystack, pattern] { return h.CallMethod(haystack.get(), "FindPictureZRK", {pattern, int64_t{0}, int64_t{0}}); },
                     gave(false));
  auto least = std::make_shared<double>(0);
  c.work.peer = [m_haystack, m_pattern, least, scores = std::make_shared<cv::Mat>()] {
    cv::matchTemplate(*m_haystack, *m_pattern, *scores, cv::TM_SQDIFF);
    cv::minMaxLoc(*scores, least.get());
  };
  c.work.check = [least] { return *least > 8000 ? "" : "the peer found the pattern"; };
  s.table().add(label, c.work);
}

void mask_case(Stage& s, const char* note, uint32_t (*colour)(int32_t, int32_t), Target target) {
  Host& h = s.host();
  const Label label = s.label(s.declaration("ExtractColorRectangleMaskZRK", 0), note, 2, target);
  if (!s.table().wanted(label)) return;
  const Ref picture = painted(h, s.layout(), s.side(), s.side(), colour);
  const Called c = calling(label.operation, [&h, picture] { return h.CallMethod(picture.get(), "ExtractColorRectangleMaskZRK", {}); });
  s.table().add(label, c.work);
}

// About 100 million 16-bit samples (6 per pixel of a side x side picture) folded into 1200 x 300.
void render_case(Stage& s) {
  Host& h = s.host();
  const int64_t samples = 6 * int64_t{s.side()} * s.side();
  Label label = s.label(s.declaration("RenderSamplesZRK", 11), std::to_string(samples) + " 16-bit samples into 1200x300, outline 1", 0, {});
  label.copy_bytes = label.bytes = 2.0 * double(samples);
  label.pixels = samples;
  if (!s.table().wanted(label)) return;
  const Ref block = h.NewMemoryBlock(int32_t(2 * samples));
  auto bytes = h.Bytes(block.block());
  Random r{13};
  for (int64_t i = 0; i < samples; ++i) {
    // A slow wave under noise, so that both envelopes move.
    const double wave = 12000.0 * std::sin(double(i) * 6.283 / 48000.0);
    const auto v = static_cast<int16_t>(wave + double(int32_t(r() % 8001) - 4000));
    std::memcpy(bytes.data() + 2 * i, &v, 2);
  }
  const std::vector<testhost::Value> args = {block,           samples,         int64_t{4},        int64_t{1200},
                                             int64_t{300},    int64_t{1},      int64_t{0x88B5C4}, int64_t{0x274C5A},
                                             int64_t{0x203F4E}, int64_t{16},   false};
  const Called c = calling(label.operation, [&h, args] { return h.Call("RenderSamplesZRK", args); });
  s.table().add(label, c.work);
}

}  // namespace

void worst_case_rows(Stage& s) {
  // Linear in the haystack: the same cost per pixel at both sizes, and with a pattern of a sixteenth the area.
  const int32_t pattern = std::min(64, s.side() / 8);
  uniform_search(s, s.side() / 4, pattern, {});
  uniform_search(s, s.side() / 2, pattern, {Goal::kPeer, 0.1});
  uniform_search(s, s.side() / 2, pattern / 4, {});
  mask_case(s, "1-pixel checkerboard", [](int32_t x, int32_t y) { return (x + y) % 2 ? 0xC81E1Eu : 0x808080u; }, vs_memcpy(5));
  mask_case(s, "1-pixel vertical stripes", [](int32_t x, int32_t) { return x % 2 ? 0xC81E1Eu : 0x808080u; }, {});
  render_case(s);
}

}  // namespace bench
