// The embedded mask: the alpha inside a picture's pixel words, read out as a grey
// picture, and a grey picture written back. Row-table alpha holds 7 bits and is
// stretched onto 0..255 by doubling with its lowest bit repeated, so 127 reads as
// 255. Writing back stores the mask value in the lowest-addressed byte of each
// pixel word whatever the layout: alpha only in the A, R, G, B layouts, red in the
// R, G, B, A ones and blue in row tables. Self is opened for reading even there,
// so the host's cached rendering stays and an opaque copy takes the values.
#include "compose/mask.h"

#include <algorithm>
#include <bit>
#include <type_traits>

#include "frame/host.h"
#include "pixels/layout.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

// The mask value a pixel word holds in layout family `Layout`.
template <class Layout>
uint32_t alpha_of(uint32_t p) {
  if constexpr (std::is_same_v<Layout, RgbaLayout>) return p >> 24;
  if constexpr (std::is_same_v<Layout, ArgbLayout>) return p & 255;
  if constexpr (std::is_same_v<Layout, RowTableLayout>) return ((p >> 23) & 0xFE) | ((p >> 24) & 1);
  return 0;
}

// v = 255 - a with swap, a without, written as the grey (v, v, v): the three
// channel bytes of every family are adjacent, lowest at `shift`.
struct MaskGrey {
  uint32_t flip, shift, opaque;
  uint32_t operator()(uint32_t v) const { return ((v ^ flip) * 0x010101u) << shift | opaque; }
};

template <class Layout>
struct MaskWord {
  MaskGrey grey;
  uint32_t operator()(uint32_t p) const { return grey(alpha_of<Layout>(p)); }
};

// The mask's red (in its layout `In`) ^ flip into the lowest-addressed byte of
// each word of self, in place. Self and the mask may be the same picture: a row
// that is its own mask row is walked through one pointer.
template <class In>
struct WriteMask {
  [[gnu::always_inline]] static uint32_t merged(uint32_t word, uint32_t mask, uint32_t flip) {
    return (word & ~uint32_t{255}) | (In::load(&mask).r ^ flip);
  }
  [[gnu::always_inline]] static void run(PictureEditor& target, PictureEditor& source, int32_t width, int32_t height,
                                         uint32_t flip) {
    for (int32_t y = 0; y < height; ++y) {
      uint32_t* d = target.rowPtr;
      const uint32_t* s = source.rowPtr;
      if constexpr (std::endian::native != std::endian::little) {
        auto* bytes = reinterpret_cast<unsigned char*>(d);
        for (int32_t x = 0; x < width; ++x) bytes[4 * x] = static_cast<unsigned char>(In::load(s + x).r ^ flip);
      } else if (d == s) {
        for (int32_t x = 0; x < width; ++x) d[x] = merged(d[x], d[x], flip);
      } else {
        uint32_t* __restrict to = d;
        const uint32_t* __restrict from = s;
        for (int32_t x = 0; x < width; ++x) to[x] = merged(to[x], from[x], flip);
      }
      target.NextRow();
      source.NextRow();
    }
  }
};

}  // namespace

REALpicture GetEmbededMask(REALpicture self, RBBoolean swap) {
  PictureReader reader;
  if (!reader.GetPictureEditor(self, true, false)) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(reader.width, reader.height, false)) return nullptr;
  const ShiftLayout out = ShiftLayout::of(writer.pixelFormat);
  if (out.channel == 0) return writer.RenderPictureWriter();
  const MaskGrey grey{swap != 0 ? 255u : 0u, std::min({out.red, out.green, out.blue}), out.opaque};
  with_layout(reader.pixelFormat, [&](auto in) {
    map_words(reader, writer, Rect{0, 0, reader.width, reader.height}, MaskWord<decltype(in)>{grey});
  });
  return writer.RenderPictureWriter();
}

void SetEmbededMask(REALpicture self, RBBoolean swap, REALpicture mask) {
  if (mask == nullptr) return;
  PictureEditor target;
  if (!target.GetPictureEditor(self, true, false)) return;
  PictureReader source;
  if (!source.GetPictureEditor(mask, true, false)) return;
  // Nothing past the mask's edges is read: the rest of self keeps its values.
  const int32_t width = std::min(target.width, source.width);
  const int32_t height = std::min(target.height, source.height);
  const uint32_t flip = swap != 0 ? 255 : 0;
  with_layout(source.pixelFormat,
              [&](auto in) { dispatch<WriteMask<decltype(in)>>(target, source, width, height, flip); });
}

RBBoolean PictureHasMask(REALpicture self) {
  if (self == nullptr) return false;
  REALpicture mask = REALGetPictureMask(self, 0);
  if (mask == nullptr) return false;
  REALUnlockObject(reinterpret_cast<REALobject>(mask));
  return true;
}

}  // namespace picture
