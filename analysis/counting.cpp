// Per-channel work over whole pictures: counting one colour, histograms into the
// caller's memory blocks, and remapping through per-channel tables. Kept on
// purpose: histogram blocks are never cleared, so counts add to what a block
// holds; the second block counts green and the third blue, crossed against the
// declared names. Beyond that, no block is ever read or written past its end: a
// histogram block under 1024 bytes fails the count, a table under 256 bytes
// gives nil.
#include "analysis/counting.h"

#include <array>
#include <cstring>

#include "frame/host.h"
#include "pixels/channel_tables.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

constexpr int32_t kHistogramBytes = 256 * 4;
constexpr int32_t kTableBytes = 256;

REALobject as_object(REALmemoryBlock block) { return reinterpret_cast<REALobject>(block); }
REALobject as_object(REALpicture picture) { return reinterpret_cast<REALobject>(picture); }

int32_t pixel_count(const PictureEditor& editor) {
  return static_cast<int32_t>(static_cast<uint32_t>(editor.width) * static_cast<uint32_t>(editor.height));
}

// The bytes of a block at least `minimum` long; null otherwise.
uint8_t* block_bytes(REALmemoryBlock block, int32_t minimum) {
  if (memoryBlockGetSize(block) < minimum) return nullptr;
  return static_cast<uint8_t*>(memoryBlockGetPtr(block));
}

// Counters in host memory need not be aligned.
void add_counters(uint8_t* block, const uint32_t (&local)[256]) {
  for (int i = 0; i < 256; ++i) {
    uint32_t counter;
    std::memcpy(&counter, block + 4 * i, 4);
    counter += local[i];
    std::memcpy(block + 4 * i, &counter, 4);
  }
}

// A hold on each table block for the length of a call.
class BlockHolds {
 public:
  explicit BlockHolds(std::array<REALmemoryBlock, 3> blocks) : blocks_(blocks) {
    for (REALmemoryBlock block : blocks_) REALLockObject(as_object(block));
  }
  ~BlockHolds() {
    for (REALmemoryBlock block : blocks_) REALUnlockObject(as_object(block));
  }
  BlockHolds(const BlockHolds&) = delete;
  BlockHolds& operator=(const BlockHolds&) = delete;

 private:
  std::array<REALmemoryBlock, 3> blocks_;
};

// R, G, B = those of the wanted colour
struct SameColour {
  Rgb want;
  bool operator()(Rgb c) const { return (c.r == want.r) & (c.g == want.g) & (c.b == want.b); }
#if defined(__x86_64__)
  // Whole words under the channel mask.
  template <class In>
  [[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] __m256i pass8(__m256i w) const {
    const uint32_t word = want.r << In::kRed | want.g << In::kGreen | want.b << In::kBlue;
    return _mm256_cmpeq_epi32(_mm256_and_si256(w, _mm256_set1_epi32(static_cast<int>(kChannelBits<In>))),
                              _mm256_set1_epi32(static_cast<int>(word)));
  }
  template <class In>
  [[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  __mmask16 pass16(__m512i w) const {
    const uint32_t word = want.r << In::kRed | want.g << In::kGreen | want.b << In::kBlue;
    return _mm512_cmpeq_epi32_mask(_mm512_and_si512(w, _mm512_set1_epi32(static_cast<int>(kChannelBits<In>))),
                                   _mm512_set1_epi32(static_cast<int>(word)));
  }
#endif
};

// v -> the byte at v of a caller's table
struct TableBytes {
  const uint8_t* bytes;
  uint8_t operator()(int32_t v) const { return bytes[v]; }
};

}  // namespace

int32_t CountColorZRK(REALpicture picture, uint32_t colour) {
  PictureReader reader;
  if (!reader.GetPictureEditor(picture, true, false)) return 0;
  const Rgb want{(colour >> 16) & 255, (colour >> 8) & 255, colour & 255};
  return static_cast<int32_t>(count(reader, Rect{0, 0, reader.width, reader.height}, SameColour{want}));
}

void CountColorsZRK(REALpicture picture, REALmemoryBlock* first, REALmemoryBlock* second, REALmemoryBlock* third,
                    int32_t* count) {
  int32_t ignored = 0;
  int32_t& result = count != nullptr ? *count : ignored;
  REALmemoryBlock* variables[] = {first, second, third};
  for (REALmemoryBlock* variable : variables) {
    if (variable == nullptr) {
      result = -1;
      return;
    }
    if (*variable == nullptr) *variable = newMemoryBlock(kHistogramBytes);
  }
  for (REALmemoryBlock* variable : variables) {
    if (*variable == nullptr) {
      result = -1;
      return;
    }
  }
  PictureReader reader;
  if (!reader.GetPictureEditor(picture, true, false)) {
    result = -1;
    return;
  }
  uint8_t* blocks[3];
  for (int i = 0; i < 3; ++i) {
    blocks[i] = block_bytes(*variables[i], kHistogramBytes);
    if (blocks[i] == nullptr) {
      result = -1;
      return;
    }
  }
  // Counted locally, added to the blocks once.
  uint32_t counts[3][256] = {};
  histogram(reader, Rect{0, 0, reader.width, reader.height}, counts);
  for (int i = 0; i < 3; ++i) add_counters(blocks[i], counts[i]);
  result = pixel_count(reader);
}

REALpicture TransformColorsZRK(REALpicture picture, REALmemoryBlock red, REALmemoryBlock blue, REALmemoryBlock green,
                               REALpicture dest) {
  const char* nil = picture == nullptr ? "picture is nil"
                    : red == nullptr   ? "red memoryblock is nil"
                    : green == nullptr ? "green memoryblock is nil"
                    : blue == nullptr  ? "blue memoryblock is nil"
                                       : nullptr;
  if (nil != nullptr) {
    RaiseException("NilObjectException", nil);
    return nullptr;
  }
  const std::array<REALmemoryBlock, 3> tables = {red, green, blue};
  const BlockHolds holds(tables);
  const uint8_t* bytes[3];
  for (int i = 0; i < 3; ++i) {
    bytes[i] = block_bytes(tables[i], kTableBytes);
    if (bytes[i] == nullptr) return nullptr;
  }

  PictureReader reader;
  if (!reader.GetPictureEditor(picture, true, false)) return nullptr;
  PictureWriter writer;
  bool intoDest = false;
  if (dest != nullptr) {
    int32_t destWidth = 0;
    int32_t destHeight = 0;
    if (!REALGetPropValueInt(as_object(dest), "Width", &destWidth)) destWidth = 0;
    if (!REALGetPropValueInt(as_object(dest), "Height", &destHeight)) destHeight = 0;
    intoDest = destWidth >= reader.width && destHeight >= reader.height && writer.GetPictureEditor(dest, false, true);
  }
  // A new picture is opaque whatever the source's alpha kind.
  if (!intoDest && !writer.NewPictureWriter(reader.width, reader.height, false)) return nullptr;
  map(reader, writer, Rect{0, 0, reader.width, reader.height}, ChannelTables(TableBytes{bytes[0]}, TableBytes{bytes[1]}, TableBytes{bytes[2]}));
  return writer.RenderPictureWriter();
}

}  // namespace picture
