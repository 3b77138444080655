// Negatives of a picture or of a rectangle of it, into a new picture of the
// source's full size and alpha kind. Pixels outside the rectangle are never
// written: they keep what a fresh picture holds, on purpose. A width or height
// of 0 or less reaches to the picture's edge.
#include "adjust/invert.h"

#include <algorithm>

#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

// (R, G, B) -> (255 - R, 255 - G, 255 - B)
struct Invert {
  Rgb operator()(Rgb c) const { return {c.r ^ 255, c.g ^ 255, c.b ^ 255}; }
};

// grey (R = G = B) -> 255 - R; any other colour unchanged
struct InvertGray {
  Rgb operator()(Rgb c) const {
    const uint32_t flip = 255u * static_cast<uint32_t>((c.r == c.g) & (c.g == c.b));
    return {c.r ^ flip, c.g ^ flip, c.b ^ flip};
  }
};

// The same on the words of a source and result of one byte family.
template <class L>
struct InvertWord {
  explicit InvertWord(const Invert&) {}
  uint32_t operator()(uint32_t p) const { return (~p & kChannelBits<L>) | L::kOpaque; }
};

// The channels of a byte family are neighbouring bytes: from the lowest, two
// differences of neighbours are zero exactly for a grey.
template <class L>
struct InvertGrayWord {
  static constexpr uint32_t kLowest = std::min({L::kRed, L::kGreen, L::kBlue});
  explicit InvertGrayWord(const InvertGray&) {}
  uint32_t operator()(uint32_t p) const {
    const uint32_t q = p >> kLowest;
    const uint32_t flip = kChannelBits<L> * static_cast<uint32_t>(((q ^ (q >> 8)) & 0xFFFF) == 0);
    return ((p ^ flip) & kChannelBits<L>) | L::kOpaque;
  }
};

template <class Kernel, template <class> class Word>
REALpicture invert_rect(REALpicture source, int32_t left, int32_t top, int32_t width, int32_t height) {
  PictureReader reader;
  if (!reader.GetPictureEditor(source, true, false)) return nullptr;
  if (width <= 0) width = reader.width;
  if (height <= 0) height = reader.height;
  PictureWriter writer;
  if (!writer.NewPictureWriter(reader.width, reader.height, reader.hasAlphaChannel)) return nullptr;
  map_by_words<Word>(reader, writer, ClipRect(left, top, width, height, reader.width, reader.height), Kernel{});
  return writer.RenderPictureWriter();
}

}  // namespace

REALpicture InvertPicture(REALpicture source, int32_t left, int32_t top, int32_t width, int32_t height) {
  return invert_rect<Invert, InvertWord>(source, left, top, width, height);
}

REALpicture InvertPicture2(REALpicture source) { return InvertPicture(source, 0, 0, -1, -1); }

REALpicture InvertGrayPicture(REALpicture source, int32_t left, int32_t top, int32_t width, int32_t height) {
  return invert_rect<InvertGray, InvertGrayWord>(source, left, top, width, height);
}

REALpicture InvertGrayPicture2(REALpicture source) { return InvertGrayPicture(source, 0, 0, -1, -1); }

}  // namespace picture
