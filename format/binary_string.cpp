// The picture binary string: "PPIC", total size, width, height, a bits field
// (written 32 and never read, though a pixel takes 3 bytes), the pixel data
// offset (written 40) and sixteen reserved zero bytes, every number a big-endian
// 32-bit field; then the rows top to bottom, red, green, blue per pixel, with no
// padding. Alpha and masks are not carried: a string reads back as an opaque
// picture (top byte 0 in the row-table layout). The reader honours the offset
// field, even one that points into the header, but refuses a string whose pixel
// area does not lie inside it.
#include "format/binary_string.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include "frame/host.h"
#include "pixels/layout.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

constexpr unsigned char kMagic[4] = {'P', 'P', 'I', 'C'};
constexpr int64_t kWrittenOffset = 40;
constexpr int64_t kFieldsEnd = 24;  // the offset field is the last one read
constexpr int32_t kMaxSide = 32767;
constexpr int64_t kMaxString = 2147483647;

void put_be32(unsigned char* at, uint32_t v) {
  at[0] = static_cast<unsigned char>(v >> 24);
  at[1] = static_cast<unsigned char>(v >> 16);
  at[2] = static_cast<unsigned char>(v >> 8);
  at[3] = static_cast<unsigned char>(v);
}

uint32_t get_be32(const unsigned char* at) {
  return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | at[3];
}

int32_t get_be32_signed(const unsigned char* at) { return static_cast<int32_t>(get_be32(at)); }

#if defined(__linux__)
// Memory for the string's bytes larger than the caches. Fresh memory costs the
// system a fault per 4 KB and a zero fill, more than packing the pixels, so it
// is mapped in huge pages where the system grants them, and the last mapping is
// kept for the next call: its pages go back to the system only when memory runs
// short (MADV_FREE), and are reused as they are otherwise.
class Mappings {
 public:
  ~Mappings() {
    if (spare_ != nullptr) munmap(spare_, spareSize_);
  }
  void* take(size_t size) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (spare_ != nullptr && spareSize_ == size) return std::exchange(spare_, nullptr);
    }
    void* p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) return nullptr;
    madvise(p, size, MADV_HUGEPAGE);  // a refusal only costs speed
    return p;
  }
  void give(void* p, size_t size) {
    madvise(p, size, MADV_FREE);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (spare_ != nullptr) munmap(spare_, spareSize_);
    spare_ = p;
    spareSize_ = size;
  }

 private:
  std::mutex mutex_;
  void* spare_ = nullptr;
  size_t spareSize_ = 0;
};

Mappings gMappings;
#endif

// The string's bytes before the host copies them: mapped when larger than the
// caches, else from the C library.
class PackBuffer {
 public:
  explicit PackBuffer(size_t size) : size_(size) {
#if defined(__linux__)
    if (static_cast<int64_t>(size) > StreamThreshold()) {
      data_ = static_cast<unsigned char*>(gMappings.take(size));
      mapped_ = true;
      return;
    }
#endif
    data_ = static_cast<unsigned char*>(std::malloc(size));
  }
  ~PackBuffer() {
#if defined(__linux__)
    if (mapped_) {
      if (data_ != nullptr) gMappings.give(data_, size_);
      return;
    }
#endif
    std::free(data_);
  }
  PackBuffer(const PackBuffer&) = delete;
  PackBuffer& operator=(const PackBuffer&) = delete;

  unsigned char* data() const { return data_; }

 private:
  unsigned char* data_ = nullptr;
  size_t size_;
  bool mapped_ = false;
};

// A host string's bytes for the length of a call, handed back when this goes,
// whatever the reader decided. A host before 2012.0 is read through
// "REALLockString" even when it answers "PluginGetStringData".
class StringBytes {
 public:
  explicit StringBytes(REALstring s)
      : locked_(rbversion_rbversion < 2012.0),
        held_(locked_ ? lock_string_data(s, host_abi::kEncodingUnknown, &data_)
                      : REALGetStringData(s, host_abi::kEncodingUnknown, &data_)) {
    if (held_ && data_.data != nullptr) {
      bytes = static_cast<const unsigned char*>(data_.data);
      length = data_.length;
    }
  }
  ~StringBytes() {
    if (held_ && locked_) unlock_string_data(&data_);
    if (held_ && !locked_) REALDisposeStringData(&data_);
  }
  StringBytes(const StringBytes&) = delete;
  StringBytes& operator=(const StringBytes&) = delete;

  const unsigned char* bytes = nullptr;
  size_t length = 0;

 private:
  REALstringData data_{};
  bool locked_;
  bool held_;
};

// The pixel area of a well-formed string, or null.
const unsigned char* pixel_area(const StringBytes& s, int32_t* width, int32_t* height) {
  const unsigned char* b = s.bytes;
  const auto length = static_cast<int64_t>(std::min<size_t>(s.length, INT64_MAX));
  if (length < 8 || std::memcmp(b, kMagic, 4) != 0 || get_be32_signed(b + 4) != length) return nullptr;
  if (length < kFieldsEnd) return nullptr;
  *width = get_be32_signed(b + 8);
  *height = get_be32_signed(b + 12);
  if (*width < 1 || *height < 1 || *width > kMaxSide || *height > kMaxSide) return nullptr;
  const uint32_t offset = get_be32(b + 20);
  if (int64_t{offset} + int64_t{*width} * *height * 3 > length) return nullptr;
  return b + offset;
}

// Every row of `reader` as R, G, B bytes, rows one after another from `p`.
template <class L>
struct PackRows {
  [[gnu::always_inline]] static void run(PictureEditor& reader, unsigned char* p) {
    // Sizes in locals: the bytes written may alias anything, the editor included.
    const int32_t width = reader.width, height = reader.height;
    for (int32_t y = 0; y < height; ++y) {
      const uint32_t* __restrict row = reader.rowPtr;
      unsigned char* __restrict q = p + static_cast<size_t>(y) * width * 3;
      for (int32_t x0 = 0; x0 < width; x0 += walk_detail::kChunk) {
        const int32_t x1 = std::min(x0 + walk_detail::kChunk, width);
        walk_detail::prefetch(row + x0, x1 - x0);
        for (int32_t x = x0; x < x1; ++x) {
          const Rgb c = L::load(row + x);
          q[3 * x] = static_cast<unsigned char>(c.r);
          q[3 * x + 1] = static_cast<unsigned char>(c.g);
          q[3 * x + 2] = static_cast<unsigned char>(c.b);
        }
      }
      reader.NextRow();
    }
  }
};

// The first `columns` pixels of the first `rows` rows from R, G, B bytes laid
// out `width` pixels a row. A result larger than the caches goes a chunk at a
// time through a scratch row and around the caches, as the walkers' results do.
template <class L>
struct UnpackRows {
  [[gnu::always_inline]] static void run(PictureEditor& writer, const unsigned char* pixels, int32_t width,
                                         int32_t rows, int32_t columns) {
    using namespace walk_detail;
    const bool stream = int64_t{rows} * columns * 4 > StreamThreshold();
    alignas(64) uint32_t scratch[kChunk];
    for (int32_t y = 0; y < rows; ++y) {
      const unsigned char* p = pixels + static_cast<size_t>(y) * width * 3;
      uint32_t* d = writer.rowPtr;
      for (int32_t x = 0, n = first_chunk(d, stream); x < columns; x += n, n = kChunk) {
        n = std::min(n, columns - x);
        uint32_t* __restrict t = stream ? scratch : d + x;
        const unsigned char* __restrict q = p + static_cast<size_t>(x) * 3;
        for (int32_t i = 0; i < n; ++i) t[i] = L::store(Rgb{q[3 * i], q[3 * i + 1], q[3 * i + 2]});
        if (stream) StreamWords(d + x, scratch, n);
      }
      writer.NextRow();
    }
    if (stream) stream_fence();
  }
};

}  // namespace

REALstring PicturetoBinaryString(REALpicture picture) {
  PictureReader reader;
  if (!reader.GetPictureEditor(picture, true, false)) return nullptr;
  const int64_t size = int64_t{reader.width} * 3 * reader.height + kWrittenOffset;
  if (size < 1 || size > kMaxString) return nullptr;
  const PackBuffer buffer(static_cast<size_t>(size));
  unsigned char* out = buffer.data();
  if (out == nullptr) return nullptr;

  std::memcpy(out, kMagic, 4);
  put_be32(out + 4, static_cast<uint32_t>(size));
  put_be32(out + 8, static_cast<uint32_t>(reader.width));
  put_be32(out + 12, static_cast<uint32_t>(reader.height));
  put_be32(out + 16, 32);
  put_be32(out + 20, static_cast<uint32_t>(kWrittenOffset));
  std::memset(out + kFieldsEnd, 0, kWrittenOffset - kFieldsEnd);  // reserved

  // An unknown layout reads black.
  with_layout(reader.pixelFormat, [&](auto layout) { dispatch<PackRows<decltype(layout)>>(reader, out + kWrittenOffset); });
  return REALBuildUnicodeString(out, size, host_abi::kEncodingUnknown);
}

REALpicture BinaryStringtoPicture(REALstring data) {
  if (data == nullptr) return nullptr;
  const StringBytes string(data);
  int32_t width = 0;
  int32_t height = 0;
  const unsigned char* pixels = pixel_area(string, &width, &height);
  if (pixels == nullptr) return nullptr;

  REALpicture made = newPicture(width, height, 32);
  if (made == nullptr) return nullptr;
  PictureWriter writer;
  const bool opened = writer.GetPictureEditor(made, false, true);
  REALUnlockObject(reinterpret_cast<REALobject>(made));  // the writer holds it now
  if (!opened) return nullptr;

  const int32_t rows = std::min(height, writer.height);
  const int32_t columns = std::min(width, writer.width);
  with_layout(writer.pixelFormat, [&](auto layout) {
    using L = decltype(layout);
    if constexpr (L::kWrites) dispatch<UnpackRows<L>>(writer, pixels, width, rows, columns);
  });
  return writer.RenderPictureWriter();
}

}  // namespace picture
