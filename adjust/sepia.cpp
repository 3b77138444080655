// The sepia filter class: a weighted grey of each pixel plus a fixed offset per
// channel, into a new opaque picture held by the instance. Weights become
// integers in 1024ths by truncation, so the default weights sum to 1023 and white
// comes out as 254. The grey and the offsets are 32-bit signed arithmetic that
// wraps around (as the host's programs have always seen it) before the clamp to
// 0..255. A successful Run overwrites DestinationPicture without releasing the
// previous picture: that reference is lost, on purpose.
#include "adjust/sepia.h"

#include <algorithm>
#include <cstddef>

#include "adjust/filter_class.h"
#include "frame/tables.h"
#include "pixels/channel.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

constexpr double kDefaultWeights[3] = {0.299, 0.587, 0.114};
constexpr int32_t kMaxSide = 32767;

PictureSepiaData* data_of(REALobject instance) {
  return static_cast<PictureSepiaData*>(REALGetClassData(instance, &gPictureSepiaClass));
}

// Two's-complement wrap-around of a 32-bit signed sum or product, written with
// unsigned arithmetic so that no overflow is undefined.
int32_t wrap(uint32_t value) { return static_cast<int32_t>(value); }

// grey = (R·wR + G·wG + B·wB) / 1024; (R, G, B) -> clamp(grey + offset) per channel
struct Sepia {
  uint32_t wR, wG, wB;
  uint32_t offR, offG, offB;

  explicit Sepia(const PictureSepiaData& d)
      : wR(static_cast<uint32_t>(TruncateToInt32(d.weight[0] * 1024))),
        wG(static_cast<uint32_t>(TruncateToInt32(d.weight[1] * 1024))),
        wB(static_cast<uint32_t>(TruncateToInt32(d.weight[2] * 1024))),
        offR(static_cast<uint32_t>(d.SepiaRed)),
        offG(static_cast<uint32_t>(d.SepiaGreen)),
        offB(static_cast<uint32_t>(d.SepiaBlue)) {}

  Rgb operator()(Rgb c) const {
    const uint32_t grey = static_cast<uint32_t>(wrap(c.r * wR + c.g * wG + c.b * wB) / 1024);
    return {Clamp255(wrap(grey + offR)), Clamp255(wrap(grey + offG)), Clamp255(wrap(grey + offB))};
  }
};

double get_weight(REALobject instance, int index) {
  const PictureSepiaData* d = data_of(instance);
  return d != nullptr ? d->weight[index] : 0.0;
}

void set_weight(REALobject instance, int index, double value) {
  if (PictureSepiaData* d = data_of(instance)) d->weight[index] = value;
}

}  // namespace

void PictureSepiaConstructor(REALobject instance) {
  if (PictureSepiaData* d = data_of(instance)) {
    std::copy(std::begin(kDefaultWeights), std::end(kDefaultWeights), d->weight);
  }
}

void PictureSepiaClose(REALobject instance) {
  if (PictureSepiaData* d = data_of(instance)) {
    release_picture(d->source);
    release_picture(d->destination);
  }
}

RBBoolean PictureSepiaRun(REALobject instance) {
  PictureSepiaData* d = data_of(instance);
  if (d == nullptr || d->source == nullptr) return false;
  PictureReader reader;
  if (!reader.GetPictureEditor(d->source, true, false)) return false;
  const int32_t w = reader.width;
  const int32_t h = reader.height;
  if (w < 1 || h < 1 || w > kMaxSide || h > kMaxSide) return false;
  PictureWriter writer;
  if (!writer.NewPictureWriter(w, h, false)) return false;
  map(reader, writer, anchored_block(d->MinX, d->MinY, d->MaxX, d->MaxY, w, h), Sepia(*d));
  // The previous destination is not released: its reference is lost on purpose.
  d->destination = writer.RenderPictureWriter();
  return true;
}

double GetFactorR(REALobject instance) { return get_weight(instance, 0); }
void SetFactorR(REALobject instance, double value) { set_weight(instance, 0, value); }
double GetFactorG(REALobject instance) { return get_weight(instance, 1); }
void SetFactorG(REALobject instance, double value) { set_weight(instance, 1, value); }
double GetFactorB(REALobject instance) { return get_weight(instance, 2); }
void SetFactorB(REALobject instance, double value) { set_weight(instance, 2, value); }

}  // namespace picture
