#include "tools/image_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vips/vips.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

namespace picture_host {
namespace {

std::string SystemError() { return std::strerror(errno); }

void StartVips() {
  static const bool started = [] {
    if (VIPS_INIT("picture-host") != 0) return false;
    // Every failure reaches the user as one line of its own; libvips' warnings about damaged data would
    // come on top of it.
    g_log_set_handler("VIPS", G_LOG_LEVEL_WARNING, [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
    vips_cache_set_max(0);  // every picture is read and written once
    return true;
  }();
  if (!started) throw ImageError("the image library could not start");
}

// libvips' last error as one line, its buffer cleared.
std::string VipsMessage() {
  std::string text = vips_error_buffer();
  vips_error_clear();
  for (char& c : text) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text.empty() ? "unknown error" : text;
}

struct Unref {
  void operator()(VipsImage* image) const { g_object_unref(image); }
};
using VipsPtr = std::unique_ptr<VipsImage, Unref>;

// Replaces `image` by what `step` made of it; `step` returns libvips' status.
template <typename Step>
void Apply(VipsPtr& image, Step step) {
  VipsImage* out = nullptr;
  if (step(image.get(), &out) != 0) throw ImageError(VipsMessage());
  image.reset(out);
}

std::string Lowered(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// Writes all of `bytes` to `fd`; false with errno set on a failure.
bool WriteAll(int fd, std::span<const uint8_t> bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

Image::Image(int32_t w, int32_t h, bool withAlpha)
    : width(w), height(h), alpha(withAlpha),
      pixels(static_cast<size_t>(w) * static_cast<size_t>(h) * (withAlpha ? 4 : 3)) {}

Rgba Image::Get(int32_t x, int32_t y) const {
  const uint8_t* p = &pixels[(static_cast<size_t>(y) * width + x) * channels()];
  return Rgba{p[0], p[1], p[2], alpha ? p[3] : uint8_t{255}};
}

void Image::Set(int32_t x, int32_t y, Rgba c) {
  uint8_t* p = &pixels[(static_cast<size_t>(y) * width + x) * channels()];
  p[0] = c.r;
  p[1] = c.g;
  p[2] = c.b;
  if (alpha) p[3] = c.a;
}

Image DecodeImage(std::span<const uint8_t> bytes, const ReadLimits& limits, ReadNotes* notes) {
  StartVips();
  // Only the header is read here; pixels are decoded when first asked for.
  VipsPtr image(vips_image_new_from_buffer(bytes.data(), bytes.size(), "", "fail_on", VIPS_FAIL_ON_ERROR, nullptr));
  if (!image) throw ImageError("not a picture libvips reads (" + VipsMessage() + ")");
  const int64_t width = vips_image_get_width(image.get()), height = vips_image_get_height(image.get());
  if (width > kMaxSide || height > kMaxSide) {
    throw ImageError("the picture is " + std::to_string(width) + "x" + std::to_string(height) +
                     " pixels; each side may be at most " + std::to_string(kMaxSide));
  }
  if (static_cast<uint64_t>(width * height) > limits.maxPixels) {
    throw ImageError("the picture is " + std::to_string(width) + "x" + std::to_string(height) + " pixels, over the " +
                     std::to_string(limits.maxPixels) + " of --max-pixels");
  }

  Apply(image, [](VipsImage* in, VipsImage** out) { return vips_autorot(in, out, nullptr); });
  if (vips_image_get_format(image.get()) != VIPS_FORMAT_UCHAR && notes != nullptr) notes->reducedDepth = true;
  if (vips_image_get_interpretation(image.get()) != VIPS_INTERPRETATION_sRGB) {
    Apply(image, [](VipsImage* in, VipsImage** out) {
      return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
    });
  }
  if (vips_image_get_format(image.get()) != VIPS_FORMAT_UCHAR) {
    Apply(image, [](VipsImage* in, VipsImage** out) { return vips_cast_uchar(in, out, nullptr); });
  }
  int bands = vips_image_get_bands(image.get());
  if (bands < 3) {  // grey that came tagged as colour
    Apply(image, [](VipsImage* in, VipsImage** out) {
      return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, "source_space", VIPS_INTERPRETATION_B_W, nullptr);
    });
    bands = vips_image_get_bands(image.get());
  }
  const bool alpha = bands >= 4;
  if (bands != 3 && bands != 4) {
    Apply(image, [&](VipsImage* in, VipsImage** out) { return vips_extract_band(in, out, 0, "n", alpha ? 4 : 3, nullptr); });
  }

  size_t size = 0;
  void* memory = vips_image_write_to_memory(image.get(), &size);
  if (memory == nullptr) throw ImageError("broken picture (" + VipsMessage() + ")");
  std::unique_ptr<void, decltype(&g_free)> owned(memory, g_free);
  Image result(vips_image_get_width(image.get()), vips_image_get_height(image.get()), alpha);
  if (size != result.pixels.size()) throw ImageError("the picture decoded to an unexpected size");
  std::memcpy(result.pixels.data(), memory, size);
  return result;
}

Image ReadImage(const std::string& path, const ReadLimits& limits, ReadNotes* notes) {
  const std::vector<uint8_t> bytes = ReadFileBytes(path);
  try {
    return DecodeImage(bytes, limits, notes);
  } catch (const ImageError& e) {
    throw ImageError("'" + path + "': " + e.what());
  }
}

FileFormat FormatOfName(const std::string& path) {
  const std::string extension = Lowered(std::filesystem::path(path).extension().string());
  if (extension == ".png") return FileFormat::kPng;
  if (extension == ".jpg" || extension == ".jpeg") return FileFormat::kJpeg;
  if (extension == ".webp") return FileFormat::kWebp;
  if (extension == ".tif" || extension == ".tiff") return FileFormat::kTiff;
  throw ImageError("'" + path + "': cannot tell the format to write from the extension '" + extension +
                   "' (" + kWrittenExtensions + ")");
}

std::vector<uint8_t> EncodeImage(const Image& image, FileFormat format, const WriteOptions& options) {
  StartVips();
  VipsPtr in(vips_image_new_from_memory(image.pixels.data(), image.pixels.size(), image.width, image.height,
                                        image.channels(), VIPS_FORMAT_UCHAR));
  if (!in) throw ImageError("cannot encode the picture (" + VipsMessage() + ")");
  if (format == FileFormat::kJpeg && image.alpha) {
    Apply(in, [](VipsImage* i, VipsImage** out) { return vips_extract_band(i, out, 0, "n", 3, nullptr); });
  }
  void* buffer = nullptr;
  size_t size = 0;
  int status = 0;
  switch (format) {
    case FileFormat::kPng:
      status = vips_pngsave_buffer(in.get(), &buffer, &size, "compression", options.pngCompression, "filter",
                                   options.pngCompression == 0 ? VIPS_FOREIGN_PNG_FILTER_NONE
                                                               : VIPS_FOREIGN_PNG_FILTER_SUB,
                                   nullptr);
      break;
    case FileFormat::kJpeg:
      status = vips_jpegsave_buffer(in.get(), &buffer, &size, "Q", options.quality, nullptr);
      break;
    case FileFormat::kWebp:
      status = vips_webpsave_buffer(in.get(), &buffer, &size, "Q", options.quality, nullptr);
      break;
    case FileFormat::kTiff:
      status = vips_tiffsave_buffer(in.get(), &buffer, &size, "compression", VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE,
                                    nullptr);
      break;
  }
  if (status != 0) throw ImageError("cannot encode the picture (" + VipsMessage() + ")");
  std::unique_ptr<void, decltype(&g_free)> owned(buffer, g_free);
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  return std::vector<uint8_t>(bytes, bytes + size);
}

void WriteImage(const std::string& path, const Image& image, const WriteOptions& options) {
  const FileFormat format = path == "-" ? FileFormat::kPng : FormatOfName(path);
  WriteFileBytes(path, EncodeImage(image, format, options));
}

std::vector<uint8_t> ReadFileBytes(const std::string& path) {
  std::error_code ec;
  if (path != "-" && std::filesystem::is_directory(path, ec)) throw ImageError("'" + path + "' is a directory");
  const int fd = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw ImageError("cannot open '" + path + "': " + SystemError());
  std::vector<uint8_t> bytes;
  struct stat info {};
  if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) bytes.reserve(static_cast<size_t>(info.st_size));
  uint8_t buffer[65536];
  ssize_t n = 0;
  while ((n = ::read(fd, buffer, sizeof buffer)) != 0) {
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    bytes.insert(bytes.end(), buffer, buffer + n);
  }
  const std::string reason = n < 0 ? SystemError() : "";
  if (fd != STDIN_FILENO) ::close(fd);
  if (n < 0) throw ImageError("cannot read '" + path + "': " + reason);
  return bytes;
}

void WriteFileBytes(const std::string& path, std::span<const uint8_t> bytes) {
  if (path == "-") {
    if (!WriteAll(STDOUT_FILENO, bytes)) throw ImageError("cannot write to standard output: " + SystemError());
    return;
  }
  const std::filesystem::path target(path);
  std::error_code ec;
  if (std::filesystem::is_directory(target, ec)) throw ImageError("cannot write '" + path + "': it is a directory");
  // A new name in the same folder, so that the rename is atomic.
  const std::filesystem::path folder = target.parent_path().empty() ? "." : target.parent_path();
  std::string hidden = ".";
  hidden.append(target.filename().string()).append(".XXXXXX");
  std::string temporary = (folder / hidden).string();
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) throw ImageError("cannot write '" + path + "': " + SystemError());
  const mode_t mask = ::umask(0);
  ::umask(mask);
  bool ok = ::fchmod(fd, 0666 & ~mask) == 0 && WriteAll(fd, bytes);
  std::string reason = ok ? "" : SystemError();
  if (::close(fd) != 0 && ok) ok = false, reason = SystemError();
  if (ok && ::rename(temporary.c_str(), path.c_str()) != 0) ok = false, reason = SystemError();
  if (!ok) {
    ::unlink(temporary.c_str());
    throw ImageError("cannot write '" + path + "': " + reason);
  }
}

}  // namespace picture_host
