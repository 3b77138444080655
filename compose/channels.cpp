// Pictures built channel by channel from two or three others, into a new opaque
// picture. Alpha and masks of the inputs play no part. Merge and combine want
// inputs of one size; a channel picture may be larger than the picture whose
// channel it replaces, and only its top-left corner is used.
#include "compose/channels.h"

#include <algorithm>

#include "frame/host.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

// (R1, G1, B1), (R2, G2, B2) -> (max R, max G, max B)
struct Lighten {
  Rgb operator()(Rgb a, Rgb b) const { return {std::max(a.r, b.r), std::max(a.g, b.g), std::max(a.b, b.b)}; }
};

// red picture, green picture, blue picture -> (R of the first, G of the second, B of the third)
struct Assemble {
  Rgb operator()(Rgb red, Rgb green, Rgb blue) const { return {red.r, green.g, blue.b}; }
};

// self, channel picture -> self with channel `Channel` of the other
template <uint32_t Rgb::*Channel>
struct TakeChannel {
  Rgb operator()(Rgb self, Rgb channel) const {
    self.*Channel = channel.*Channel;
    return self;
  }
};

// Merge of pictures of the result's own byte family: the larger of each byte,
// then the result's opaque byte; two loops the compiler vectorises, where the
// per-channel kernel takes every channel apart and puts it back.
template <class L>
struct LightenSpan {
  [[gnu::always_inline]] static void apply(uint32_t* __restrict d, const uint32_t* a, const uint32_t* b, int32_t n,
                                           const L&) {
    const auto* __restrict x = reinterpret_cast<const uint8_t*>(a);
    const auto* __restrict y = reinterpret_cast<const uint8_t*>(b);
    auto* __restrict to = reinterpret_cast<uint8_t*>(d);
    for (int32_t i = 0; i < 4 * n; ++i) to[i] = std::max(x[i], y[i]);
    for (int32_t i = 0; i < n; ++i) d[i] = (d[i] & kChannelBits<L>) | L::kOpaque;
  }
};

template <class L>
struct LightenPass {
  [[gnu::always_inline]] static void run(PictureEditor& dst, const Rect& r, PictureEditor& a, PictureEditor& b) {
    walk_detail::span_rows<LightenSpan<L>>(dst, r, r.bytes() > StreamThreshold(), L{}, a, b);
  }
};

bool same_size(const PictureEditor& a, const PictureEditor& b) {
  return a.width == b.width && a.height == b.height;
}

// Opens the result at the first input's size and fills it from every input.
template <class Kernel, class... Readers>
REALpicture compose(const Kernel& kernel, PictureReader& first, Readers&... rest) {
  PictureWriter writer;
  if (!writer.NewPictureWriter(first.width, first.height, false)) return nullptr;
  map_many(writer, Rect{0, 0, first.width, first.height}, kernel, first, rest...);
  return writer.RenderPictureWriter();
}

template <uint32_t Rgb::*Channel>
REALpicture replace_channel(REALpicture self, REALpicture channel) {
  if (channel == nullptr) {
    RaiseException("NilObjectException", "The channel picture is nil.");
    return nullptr;
  }
  PictureReader target, source;
  if (!target.GetPictureEditor(self, true, false) || !source.GetPictureEditor(channel, true, false)) return nullptr;
  if (source.width < target.width || source.height < target.height) return nullptr;
  return compose(TakeChannel<Channel>{}, target, source);
}

}  // namespace

REALpicture MergePicture(REALpicture source1, REALpicture source2) {
  PictureReader first, second;
  if (!first.GetPictureEditor(source1, true, false) || !second.GetPictureEditor(source2, true, false)) return nullptr;
  if (!same_size(first, second)) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(first.width, first.height, false)) return nullptr;
  const Rect all{0, 0, first.width, first.height};
  walk_detail::with_layouts(
      [&](auto out, auto...) {
        using L = decltype(out);
        if constexpr (requires { L::kRed; }) {
          dispatch<LightenPass<L>>(writer, all, first, second);
        } else {
          walk_detail::map_sources<true>(writer, all, Lighten{}, first, second);
        }
      },
      writer, first, second);
  return writer.RenderPictureWriter();
}

REALpicture CombinePicturesZRK(REALpicture red, REALpicture blue, REALpicture green) {
  PictureReader r, g, b;
  if (!r.GetPictureEditor(red, true, false) || !g.GetPictureEditor(green, true, false) ||
      !b.GetPictureEditor(blue, true, false)) {
    return nullptr;
  }
  if (!same_size(r, g) || !same_size(r, b)) return nullptr;
  return compose(Assemble{}, r, g, b);
}

REALpicture ReplaceRedChannel(REALpicture self, REALpicture channel) {
  return replace_channel<&Rgb::r>(self, channel);
}

REALpicture ReplaceGreenChannel(REALpicture self, REALpicture channel) {
  return replace_channel<&Rgb::g>(self, channel);
}

REALpicture ReplaceBlueChannel(REALpicture self, REALpicture channel) {
  return replace_channel<&Rgb::b>(self, channel);
}

}  // namespace picture
