// The benchmark's own access to the pixels of host pictures: painting the inputs,
// copying them into OpenCV matrices for the peers, and comparing results. It
// locks a picture's description as a plug-in does and works on the words, since
// going through the test host pixel by pixel would take longer than the
// benchmark itself.
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "host/test_host.h"

namespace bench {

// Byte positions of red, green, blue and alpha in a pixel word, by layout code
// (5: R G B A, 6: A R G B, 8: the row table's B G R A). OpenCV's channels of a
// matrix copied from the picture are the same positions.
struct Channels {
  int r, g, b, a;
};
Channels channels_of(int32_t layout);

// The opaque word of colour 0x00RRGGBB in `layout`, and the bits holding R, G and B.
uint32_t pack(int32_t layout, uint32_t rgb);
uint32_t rgb_bits(int32_t layout);

// A picture's rows, locked for as long as this lives.
class Words {
 public:
  Words(testhost::Host& host, const testhost::Ref& picture);
  ~Words();
  Words(const Words&) = delete;
  Words& operator=(const Words&) = delete;
  uint32_t* row(int32_t y) const { return rows_[static_cast<size_t>(y)]; }
  int32_t width() const { return width_; }
  int32_t height() const { return height_; }

 private:
  testhost::Host& host_;
  REALpicture picture_;
  std::vector<uint32_t*> rows_;
  int32_t width_ = 0, height_ = 0;
};

// A seeded generator, quick enough for pictures of millions of pixels.
struct Random {
  uint64_t state;
  uint32_t operator()() {
    state += 0x9E3779B97F4A7C15u;
    uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return static_cast<uint32_t>((z ^ (z >> 31)) >> 16);
  }
};

// A new picture of the host's layout made by the test, every pixel `colour(x, y)` (0x00RRGGBB).
template <class Colour>
testhost::Ref painted(testhost::Host& host, int32_t layout, int32_t width, int32_t height, Colour colour) {
  testhost::Ref picture = host.NewPicture({.width = width, .height = height, .alphaInfo = static_cast<uint32_t>(layout)});
  const Words words(host, picture);
  for (int32_t y = 0; y < height; ++y) {
    uint32_t* row = words.row(y);
    for (int32_t x = 0; x < width; ++x) row[x] = pack(layout, colour(x, y));
  }
  return picture;
}

// The picture's words as a contiguous 4-channel matrix (a copy).
cv::Mat matrix_of(testhost::Host& host, const testhost::Ref& picture);

// Empty when the two hold the same red, green and blue everywhere (alpha aside);
// else where they first differ.
std::string compare_colours(int32_t layout, const cv::Mat& result, const cv::Mat& expected);

}  // namespace bench
