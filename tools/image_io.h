// Picture files for picture-host, through libvips: whatever the installed libvips
// reads (PNG, JPEG, WebP, TIFF, GIF among them) comes in as 8-bit RGB or RGBA with
// straight (not premultiplied) alpha, turned upright by its EXIF orientation; PNG,
// JPEG, WebP and TIFF go out, chosen by the file name's extension. "-" stands for
// standard input or output. Every file is written next to its target under a
// temporary name and renamed into place, so a failed write leaves what was there.
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
// The default pixel budget of a picture read: 16384 x 16384.
constexpr uint64_t kDefaultMaxPixels = uint64_t{1} << 28;

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

struct ReadLimits {
  uint64_t maxPixels = kDefaultMaxPixels;
};

// What reading a file had to change beyond its layout, for a note to the user.
struct ReadNotes {
  bool reducedDepth = false;  // more than 8 bits a channel, reduced to 8
};

// Decodes a file's bytes. The size in the header is checked against kMaxSide and
// `limits` before any pixel is decoded.
Image DecodeImage(std::span<const uint8_t> bytes, const ReadLimits& limits = {}, ReadNotes* notes = nullptr);
// A file, or standard input for "-".
Image ReadImage(const std::string& path, const ReadLimits& limits = {}, ReadNotes* notes = nullptr);

enum class FileFormat { kPng, kJpeg, kWebp, kTiff };
// By the extension (.png, .jpg/.jpeg, .webp, .tif/.tiff, any case); ImageError for another.
FileFormat FormatOfName(const std::string& path);
inline constexpr const char* kWrittenExtensions = ".png, .jpg, .jpeg, .webp, .tif, .tiff";

struct WriteOptions {
  int quality = 90;         // JPEG and WebP, 1 to 100
  int pngCompression = 1;   // 0 (none) to 9 (smallest, slowest)
};

// A JPEG holds no alpha: an image with alpha goes out with its colours alone.
std::vector<uint8_t> EncodeImage(const Image& image, FileFormat format, const WriteOptions& options = {});
// Encoded by `path`'s extension (PNG for "-", standard output).
void WriteImage(const std::string& path, const Image& image, const WriteOptions& options = {});

// Whole files, or standard input and output for "-".
std::vector<uint8_t> ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, std::span<const uint8_t> bytes);

}  // namespace picture_host
