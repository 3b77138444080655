// Picture files for picture-host: PNG through libpng, JPEG through libjpeg-turbo.
// In memory a picture is 8-bit RGB or RGBA with straight (not premultiplied) alpha.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace picture_host {

// A file that cannot be read, decoded or written; the message names the file.
class ImageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The largest side a picture may have: what the host makes without an alpha channel.
constexpr int32_t kMaxSide = 32767;

struct Rgba {
  uint8_t r = 0, g = 0, b = 0, a = 255;
  bool operator==(const Rgba&) const = default;
};

struct Image {
  int32_t width = 0;
  int32_t height = 0;
  bool alpha = false;
  std::vector<uint8_t> pixels;  // rows top to bottom, 3 or 4 bytes a pixel, no padding

  Image() = default;
  Image(int32_t w, int32_t h, bool withAlpha);
  int channels() const { return alpha ? 4 : 3; }
  Rgba Get(int32_t x, int32_t y) const;  // a = 255 without alpha
  void Set(int32_t x, int32_t y, Rgba c);  // a ignored without alpha
};

enum class FileFormat { kUnknown, kPng, kJpeg };
// By the signature at the start of the data, never by a file name.
FileFormat SniffFormat(std::span<const uint8_t> bytes);

// PNG (any colour type and depth; an alpha channel or transparency chunk gives an
// image with alpha) or JPEG (grey, colour or CMYK; always opaque).
Image DecodeImage(std::span<const uint8_t> bytes);
std::vector<uint8_t> EncodePng(const Image& image);
// Baseline JPEG of an opaque image; `quality` 1 to 100.
std::vector<uint8_t> EncodeJpeg(const Image& image, int quality);

std::vector<uint8_t> ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, std::span<const uint8_t> bytes);
Image ReadImage(const std::string& path);
void WritePng(const std::string& path, const Image& image);

}  // namespace picture_host
