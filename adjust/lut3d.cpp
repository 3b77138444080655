// The three-dimensional lookup-table class: every pixel's colour is mapped
// through an 18 × 18 × 18 lattice of output colours with tetrahedral
// interpolation, into a new picture of the source's alpha kind held by the
// instance. Nodes sit 17 channel units apart, so only indices 0..15 take part;
// the two spare slots per dimension are kept for the host's programs. Outputs
// below 0 give 0, above 255 give 255, the rest truncate. Unlike the sepia class,
// Run releases its previous destination first.
#include "adjust/lut3d.h"

#include <cstddef>

#include "adjust/filter_class.h"
#include "frame/tables.h"
#include "pixels/channel.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

using Lattice = double[kLutNodes][kLutNodes][kLutNodes][3];
constexpr uint32_t kLastNode = 15;  // node of channel value 255

PictureLut3DData* data_of(REALobject instance) {
  return static_cast<PictureLut3DData*>(REALGetClassData(instance, &gPictureLut3DClass));
}

bool in_table(uint32_t r, uint32_t g, uint32_t b, uint32_t x) {
  return r < kLutNodes && g < kLutNodes && b < kLutNodes && x < 3;
}

uint32_t to_channel(double value) { return value > 255.0 ? 255 : Clamp255(TruncateToInt32(value)); }

// out = N000 + f_p·(N(p) − N000) + f_q·(N(pq) − N(p)) + f_s·(N111 − N(pq)), fractions f_p ≥ f_q ≥ f_s
// This equals (1 − f_p)·N000 + (f_p − f_q)·N(p) + (f_q − f_s)·N(pq) + f_s·N111; summed as
// differences it keeps the identity lattice exact (17·i + f·17 rounds back to v).
struct Lut3D {
  const Lattice& nodes;
  uint32_t lower[256];
  uint32_t upper[256];
  double fraction[256];

  explicit Lut3D(const Lattice& lattice) : nodes(lattice) {
    for (uint32_t v = 0; v < 256; ++v) {
      lower[v] = v / kLutSpacing;
      upper[v] = v == 255 ? kLastNode : lower[v] + 1;
      fraction[v] = (v - kLutSpacing * lower[v]) / static_cast<double>(kLutSpacing);
    }
  }

  const double* node(const uint32_t (&index)[3]) const { return nodes[index[0]][index[1]][index[2]]; }

  Rgb operator()(Rgb c) const {
    const double f[3] = {fraction[c.r], fraction[c.g], fraction[c.b]};
    // The channels in the order they step up from the lower node; ties go to the
    // later branch, as the host's programs have always seen it.
    int p, q, s;
    if (f[0] > f[1]) {
      if (f[1] > f[2]) p = 0, q = 1, s = 2;
      else if (f[0] > f[2]) p = 0, q = 2, s = 1;
      else p = 2, q = 0, s = 1;
    } else {
      if (f[2] > f[1]) p = 2, q = 1, s = 0;
      else if (f[2] > f[0]) p = 1, q = 2, s = 0;
      else p = 1, q = 0, s = 2;
    }
    const uint32_t up[3] = {upper[c.r], upper[c.g], upper[c.b]};
    uint32_t index[3] = {lower[c.r], lower[c.g], lower[c.b]};
    const double* n0 = node(index);
    index[p] = up[p];
    const double* n1 = node(index);
    index[q] = up[q];
    const double* n2 = node(index);
    index[s] = up[s];
    const double* n3 = node(index);
    uint32_t out[3];
    for (int x = 0; x < 3; ++x) {
      out[x] = to_channel(n0[x] + f[p] * (n1[x] - n0[x]) + f[q] * (n2[x] - n1[x]) + f[s] * (n3[x] - n2[x]));
    }
    return {out[0], out[1], out[2]};
  }
};

}  // namespace

// The host zero-fills the instance: a fresh table maps every colour to black.
void PictureLut3DConstructor(REALobject) {}

void PictureLut3DClose(REALobject instance) {
  if (PictureLut3DData* d = data_of(instance)) {
    release_picture(d->source);
    release_picture(d->destination);
  }
}

RBBoolean PictureLut3DRun(REALobject instance) {
  PictureLut3DData* d = data_of(instance);
  if (d == nullptr) return false;
  // Released first, so a Run that fails leaves no destination.
  release_picture(d->destination);
  if (d->source == nullptr) return false;
  PictureReader reader;
  if (!reader.GetPictureEditor(d->source, true, false)) return false;
  PictureWriter writer;
  if (!writer.NewPictureWriter(reader.width, reader.height, reader.hasAlphaChannel)) return false;
  map(reader, writer, anchored_block(d->MinX, d->MinY, d->MaxX, d->MaxY, reader.width, reader.height),
      Lut3D(d->table));
  d->destination = writer.RenderPictureWriter();
  return true;
}

double GetPMX(REALobject instance, uint32_t r, uint32_t g, uint32_t b, uint32_t x) {
  const PictureLut3DData* d = data_of(instance);
  return d != nullptr && in_table(r, g, b, x) ? d->table[r][g][b][x] : 0.0;
}

void SetPMX(REALobject instance, uint32_t r, uint32_t g, uint32_t b, uint32_t x, double value) {
  PictureLut3DData* d = data_of(instance);
  if (d != nullptr && in_table(r, g, b, x)) d->table[r][g][b][x] = value;
}

}  // namespace picture
