#include "bench/pixels.h"

#include <cstring>
#include <stdexcept>

namespace bench {

extern "C" {
void* CGBitmapContextGetData(void* context);
size_t CGBitmapContextGetBytesPerRow(void* context);
}

Channels channels_of(int32_t layout) {
  switch (layout) {
    case 6: return {1, 2, 3, 0};
    case 8: return {2, 1, 0, 3};
    default: return {0, 1, 2, 3};
  }
}

uint32_t pack(int32_t layout, uint32_t rgb) {
  const Channels c = channels_of(layout);
  const uint32_t alpha = layout == 8 ? 0 : 0xFFu << (8 * c.a);
  return ((rgb >> 16) & 0xFF) << (8 * c.r) | ((rgb >> 8) & 0xFF) << (8 * c.g) | (rgb & 0xFF) << (8 * c.b) | alpha;
}

uint32_t rgb_bits(int32_t layout) { return ~(0xFFu << (8 * channels_of(layout).a)); }

Words::Words(testhost::Host& host, const testhost::Ref& picture) : host_(host), picture_(picture.picture()) {
  auto* lock = reinterpret_cast<host_abi::sig::lockPictureDescription*>(host.Resolve("lockPictureDescription"));
  REALpictureDescription description{};
  if (lock == nullptr || !lock(picture_, &description)) throw std::runtime_error("a picture could not be locked");
  width_ = description.width;
  height_ = description.height;
  if (description.kind == host_abi::kRowTableImage) {
    uint32_t** table = static_cast<REALrowTableImage*>(description.handle)->rowTable;
    rows_.assign(table, table + height_);
  } else {
    auto* base = static_cast<uint8_t*>(CGBitmapContextGetData(description.handle));
    const size_t stride = CGBitmapContextGetBytesPerRow(description.handle);
    for (int32_t y = 0; y < height_; ++y) rows_.push_back(reinterpret_cast<uint32_t*>(base + stride * static_cast<size_t>(y)));
  }
}

Words::~Words() {
  reinterpret_cast<host_abi::sig::unlockPictureDescription*>(host_.Resolve("unlockPictureDescription"))(picture_);
}

cv::Mat matrix_of(testhost::Host& host, const testhost::Ref& picture) {
  const Words words(host, picture);
  cv::Mat matrix(words.height(), words.width(), CV_8UC4);
  for (int32_t y = 0; y < words.height(); ++y) std::memcpy(matrix.ptr(y), words.row(y), static_cast<size_t>(words.width()) * 4);
  return matrix;
}

std::string compare_colours(int32_t layout, const cv::Mat& result, const cv::Mat& expected) {
  if (result.size() != expected.size()) return "sizes differ";
  const uint32_t bits = rgb_bits(layout);
  for (int y = 0; y < result.rows; ++y) {
    const auto* a = result.ptr<uint32_t>(y);
    const auto* b = expected.ptr<uint32_t>(y);
    for (int x = 0; x < result.cols; ++x) {
      if (((a[x] ^ b[x]) & bits) != 0) {
        char text[96];
        std::snprintf(text, sizeof text, "differs from the peer at (%d, %d): %08X, peer %08X", x, y, a[x], b[x]);
        return text;
      }
    }
  }
  return "";
}

}  // namespace bench
