#include "tools/image_io.h"

#include <png.h>
// jpeglib.h needs size_t and FILE declared first.
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <jpeglib.h>

namespace picture_host {
namespace {

void CheckSize(int64_t width, int64_t height, const char* what) {
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    throw ImageError(std::string(what) + " of " + std::to_string(width) + "x" +
                     std::to_string(height) + " pixels: each side must be 1 to " +
                     std::to_string(kMaxSide));
  }
}

// ---- PNG, through libpng's simplified interface (no longjmp in our frames) ----

Image DecodePng(std::span<const uint8_t> bytes) {
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) {
    throw ImageError(std::string("broken PNG: ") + png.message);
  }
  struct Free {
    png_image* p;
    ~Free() { png_image_free(p); }
  } free{&png};
  CheckSize(png.width, png.height, "PNG");
  // 16-bit files without colour-space chunks are almost always sRGB-encoded.
  png.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
  const bool alpha = (png.format & PNG_FORMAT_FLAG_ALPHA) != 0;  // also set by a tRNS chunk
  png.format = alpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  Image image(static_cast<int32_t>(png.width), static_cast<int32_t>(png.height), alpha);
  if (!png_image_finish_read(&png, nullptr, image.pixels.data(), 0, nullptr)) {
    throw ImageError(std::string("broken PNG: ") + png.message);
  }
  return image;
}

// ---- JPEG: libjpeg reports errors by longjmp, so every libjpeg call sits in a
// function whose frame holds no object with a destructor. ----

struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void JumpOnError(j_common_ptr info) {
  auto* errors = reinterpret_cast<JpegErrors*>(info->err);
  (*info->err->format_message)(info, errors->message);
  std::longjmp(errors->jump, 1);
}

// Warnings about slightly damaged data would go to stderr; the picture still decodes.
void IgnoreMessage(j_common_ptr) {}

void InstallErrors(jpeg_common_struct* info, JpegErrors* errors) {
  info->err = jpeg_std_error(&errors->manager);
  errors->manager.error_exit = JumpOnError;
  errors->manager.output_message = IgnoreMessage;
  errors->message[0] = '\0';
}

struct JpegReader {
  jpeg_decompress_struct info;
  JpegErrors errors;
  ~JpegReader() { jpeg_destroy_decompress(&info); }  // safe on a zeroed struct
};

bool StartJpeg(JpegReader* r, const uint8_t* data, size_t size) {
  InstallErrors(reinterpret_cast<jpeg_common_struct*>(&r->info), &r->errors);
  if (setjmp(r->errors.jump)) return false;
  jpeg_create_decompress(&r->info);
  jpeg_mem_src(&r->info, data, static_cast<unsigned long>(size));
  jpeg_read_header(&r->info, TRUE);
  // libjpeg converts grey and YCbCr to RGB but not CMYK or YCCK.
  const bool cmyk = r->info.jpeg_color_space == JCS_CMYK || r->info.jpeg_color_space == JCS_YCCK;
  r->info.out_color_space = cmyk ? JCS_CMYK : JCS_RGB;
  jpeg_calc_output_dimensions(&r->info);
  return true;
}

bool ReadJpegRows(JpegReader* r, uint8_t* dest, size_t rowBytes) {
  if (setjmp(r->errors.jump)) return false;
  jpeg_start_decompress(&r->info);
  while (r->info.output_scanline < r->info.output_height) {
    JSAMPROW row = dest + static_cast<size_t>(r->info.output_scanline) * rowBytes;
    jpeg_read_scanlines(&r->info, &row, 1);
  }
  jpeg_finish_decompress(&r->info);
  return true;
}

Image DecodeJpeg(std::span<const uint8_t> bytes) {
  JpegReader reader{};
  if (!StartJpeg(&reader, bytes.data(), bytes.size())) {
    throw ImageError(std::string("broken JPEG: ") + reader.errors.message);
  }
  const int64_t width = reader.info.output_width, height = reader.info.output_height;
  CheckSize(width, height, "JPEG");
  Image image(static_cast<int32_t>(width), static_cast<int32_t>(height), false);
  const bool cmyk = reader.info.out_color_space == JCS_CMYK;
  std::vector<uint8_t> cmykRows;
  if (cmyk) cmykRows.resize(static_cast<size_t>(width * height * 4));
  uint8_t* dest = cmyk ? cmykRows.data() : image.pixels.data();
  if (!ReadJpegRows(&reader, dest, static_cast<size_t>(width) * (cmyk ? 4 : 3))) {
    throw ImageError(std::string("broken JPEG: ") + reader.errors.message);
  }
  if (cmyk) {
    // Files written with an Adobe marker store the inks inverted.
    const bool inverted = reader.info.saw_Adobe_marker;
    for (size_t i = 0, n = static_cast<size_t>(width * height); i < n; ++i) {
      const uint8_t* p = &cmykRows[i * 4];
      const unsigned k = inverted ? p[3] : 255u - p[3];
      for (int c = 0; c < 3; ++c) {
        const unsigned ink = inverted ? p[c] : 255u - p[c];
        image.pixels[i * 3 + c] = static_cast<uint8_t>((ink * k + 127) / 255);
      }
    }
  }
  return image;
}

struct JpegWriter {
  jpeg_compress_struct info;
  JpegErrors errors;
  unsigned char* out = nullptr;
  unsigned long outSize = 0;
  ~JpegWriter() {
    jpeg_destroy_compress(&info);
    std::free(out);
  }
};

bool WriteJpegRows(JpegWriter* w, const Image* image, int quality) {
  InstallErrors(reinterpret_cast<jpeg_common_struct*>(&w->info), &w->errors);
  if (setjmp(w->errors.jump)) return false;
  jpeg_create_compress(&w->info);
  jpeg_mem_dest(&w->info, &w->out, &w->outSize);
  w->info.image_width = static_cast<JDIMENSION>(image->width);
  w->info.image_height = static_cast<JDIMENSION>(image->height);
  w->info.input_components = 3;
  w->info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&w->info);
  jpeg_set_quality(&w->info, quality, TRUE);
  jpeg_start_compress(&w->info, TRUE);
  const size_t rowBytes = static_cast<size_t>(image->width) * 3;
  while (w->info.next_scanline < w->info.image_height) {
    // libjpeg only reads the rows it is given.
    JSAMPROW row = const_cast<uint8_t*>(image->pixels.data()) + w->info.next_scanline * rowBytes;
    jpeg_write_scanlines(&w->info, &row, 1);
  }
  jpeg_finish_compress(&w->info);
  return true;
}

std::string SystemError() { return std::strerror(errno); }

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

FileFormat SniffFormat(std::span<const uint8_t> bytes) {
  static constexpr uint8_t kPng[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (bytes.size() >= sizeof kPng && std::memcmp(bytes.data(), kPng, sizeof kPng) == 0) {
    return FileFormat::kPng;
  }
  if (bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF) {
    return FileFormat::kJpeg;
  }
  return FileFormat::kUnknown;
}

Image DecodeImage(std::span<const uint8_t> bytes) {
  switch (SniffFormat(bytes)) {
    case FileFormat::kPng: return DecodePng(bytes);
    case FileFormat::kJpeg: return DecodeJpeg(bytes);
    case FileFormat::kUnknown: break;
  }
  throw ImageError("not a PNG or JPEG picture");
}

std::vector<uint8_t> EncodePng(const Image& image) {
  CheckSize(image.width, image.height, "picture");
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.width);
  png.height = static_cast<png_uint_32>(image.height);
  png.format = image.alpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  png_alloc_size_t size = 0;
  // The first pass only measures.
  if (!png_image_write_to_memory(&png, nullptr, &size, 0, image.pixels.data(), 0, nullptr)) {
    throw ImageError(std::string("cannot encode PNG: ") + png.message);
  }
  std::vector<uint8_t> out(size);
  if (!png_image_write_to_memory(&png, out.data(), &size, 0, image.pixels.data(), 0, nullptr)) {
    throw ImageError(std::string("cannot encode PNG: ") + png.message);
  }
  out.resize(size);
  return out;
}

std::vector<uint8_t> EncodeJpeg(const Image& image, int quality) {
  CheckSize(image.width, image.height, "picture");
  if (image.alpha) throw ImageError("JPEG cannot hold an alpha channel");
  JpegWriter writer{};
  if (!WriteJpegRows(&writer, &image, quality)) {
    throw ImageError(std::string("cannot encode JPEG: ") + writer.errors.message);
  }
  return std::vector<uint8_t>(writer.out, writer.out + writer.outSize);
}

std::vector<uint8_t> ReadFileBytes(const std::string& path) {
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec)) throw ImageError("'" + path + "' is a directory");
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) throw ImageError("cannot open '" + path + "': " + SystemError());
  std::vector<uint8_t> bytes;
  uint8_t buffer[65536];
  size_t n = 0;
  while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) bytes.insert(bytes.end(), buffer, buffer + n);
  const bool failed = std::ferror(file) != 0;
  const std::string reason = failed ? SystemError() : "";
  std::fclose(file);
  if (failed) throw ImageError("cannot read '" + path + "': " + reason);
  return bytes;
}

void WriteFileBytes(const std::string& path, std::span<const uint8_t> bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) throw ImageError("cannot write '" + path + "': " + SystemError());
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const std::string reason = written ? "" : SystemError();
  if (std::fclose(file) != 0 || !written) {
    throw ImageError("cannot write '" + path + "': " + (written ? SystemError() : reason));
  }
}

Image ReadImage(const std::string& path) {
  const std::vector<uint8_t> bytes = ReadFileBytes(path);
  try {
    return DecodeImage(bytes);
  } catch (const ImageError& e) {
    throw ImageError("'" + path + "': " + e.what());
  }
}

void WritePng(const std::string& path, const Image& image) {
  WriteFileBytes(path, EncodePng(image));
}

}  // namespace picture_host
