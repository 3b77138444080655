// Waveform pictures from a memory block of samples. The samples fold into one
// column per pixel, keeping the sums below and above zero over half the column's
// sample count: twice the mean swing of each sign, for every encoding. An
// exponential average may smooth the columns from left to right; they are scaled
// by height ÷ range, the range being the encoding's full scale or, auto-scaled,
// twice the loudest column (which then reaches half the height from the centre),
// and each column is filled from the centre line out to both envelopes. Rows grow downward, so negative values rise above the centre line.
// The outline follows both envelopes: the plug-in's own anti-aliased lines at
// width 1, the host's graphics pen, offset by half its size, above that.
//
// Where a caller's request cannot be drawn as asked: a sample count that the block
// cannot hold, or a negative one (float encodings without a count), gives nil,
// so no sample is read outside the block; a column that gets no samples (more
// columns than samples) lies on the centre line; and so does every column when
// auto-scaling finds nothing but silence, where the scale would be 0 / 0.
#include "render/samples.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "frame/host.h"
#include "pixels/channel.h"
#include "pixels/layout.h"
#include "pixels/picture_editor.h"
#include "render/wu_line.h"

namespace picture {
namespace {

constexpr int32_t kMaxSide = 32767;
constexpr int32_t kDefaultHeight = 500;

// The encodings by their Bits code: a sample's type, what is taken off it, and
// the value that spans half the height unless auto-scaled.
template <class T, int32_t Offset, int FullRange>
struct Encoding {
  using Raw = T;
  static constexpr int32_t kOffset = Offset;
  static constexpr double kFullRange = FullRange;
};
using Signed8 = Encoding<int8_t, 0, 127>;
using Unsigned8 = Encoding<uint8_t, 128, 127>;
using Signed16 = Encoding<int16_t, 0, 32767>;
using Unsigned16 = Encoding<uint16_t, 32768, 32767>;
using Float32 = Encoding<float, 0, 1>;
using Float64 = Encoding<double, 0, 1>;

template <class F>
bool with_encoding(int32_t bits, F&& f) {
  switch (bits) {
    case 7: return f(Signed8{}), true;
    case 8: return f(Unsigned8{}), true;
    case 15: return f(Signed16{}), true;
    case 16: return f(Unsigned16{}), true;
    case -32: return f(Float32{}), true;
    case -64: return f(Float64{}), true;
    default: return false;
  }
}

// Host memory blocks need not be aligned for wider samples.
template <class Raw>
Raw sample_at(const unsigned char* data, int64_t i) {
  Raw v;
  std::memcpy(&v, data + i * static_cast<int64_t>(sizeof(Raw)), sizeof v);
  return v;
}

// Both envelopes of every column; returns the peak swing. Integer samples are
// summed in 64 bits: exact, so equal to the sums in doubles.
template <class E>
double fold(const unsigned char* data, int64_t count, int32_t width, double* neg, double* pos) {
  using Raw = typename E::Raw;
  double peak = 0.0;
  for (int32_t x = 0; x < width; ++x) {
    const auto from = static_cast<int64_t>(static_cast<double>(x) / width * static_cast<double>(count));
    const auto to = static_cast<int64_t>(static_cast<double>(x + 1) / width * static_cast<double>(count));
    double below = 0.0, above = 0.0;
    if constexpr (std::is_integral_v<Raw>) {
      int64_t n = 0, p = 0;
      for (int64_t i = from; i < to; ++i) {
        const int64_t v = int64_t{sample_at<Raw>(data, i)} - E::kOffset;
        n += v < 0 ? v : 0;
        p += v < 0 ? 0 : v;
      }
      below = static_cast<double>(n);
      above = static_cast<double>(p);
    } else {
      for (int64_t i = from; i < to; ++i) {
        const double v = sample_at<Raw>(data, i);
        if (v < 0) {
          below += v;
        } else {
          above += v;
        }
      }
    }
    neg[x] = pos[x] = 0.0;
    if (to > from) {
      const double half = static_cast<double>(to - from) * 0.5;
      neg[x] = below / half;
      pos[x] = above / half;
    }
    if (pos[x] > peak) peak = pos[x];
    if (-neg[x] > peak) peak = -neg[x];
  }
  return peak;
}

// e'[x] = e'[x − 1]·(1 − α) + e[x]·α
void smooth(double* e, int32_t width, double alpha, double keep) {
  for (int32_t x = 1; x < width; ++x) e[x] = e[x - 1] * keep + e[x] * alpha;
}

Rgb channels(uint32_t colour) { return {(colour >> 16) & 255, (colour >> 8) & 255, colour & 255}; }

// a − b wrapping in 32 bits: pen positions are the host's 32-bit integers.
int32_t minus(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }

struct Request {
  int64_t count;
  int32_t width, height, smooth, outlinewidth;
  double alpha;
  Rgb back, fore;
  uint32_t outline;
  bool autoScale;
};

// Thick outlines go through the host's graphics pen, on the rendered picture.
REALpicture draw_thick_outline(REALpicture picture, const Request& r, const int32_t* yn, const int32_t* yp) {
  REALobject graphics = pluginPictureGraphicsGetter(picture);
  if (graphics == nullptr) return picture;
  REALSetPropValueUInt32(graphics, "ForeColor", r.outline);
  REALSetPropValueInt(graphics, "PenHeight", r.outlinewidth);
  REALSetPropValueInt(graphics, "PenWidth", r.outlinewidth);
  const int32_t h = r.outlinewidth / 2;
  const int32_t centre = r.height / 2;
  int32_t nx = 0, ny = centre, px = 0, py = centre;
  for (int32_t x = 0; x < r.width; ++x) {
    RuntimeGraphicsDrawLine(graphics, nx - h, minus(ny, h), x - h, minus(yn[x], h));
    RuntimeGraphicsDrawLine(graphics, px - h, minus(py, h), x - h, minus(yp[x], h));
    nx = px = x;
    ny = yn[x];
    py = yp[x];
  }
  REALUnlockObject(graphics);
  return picture;
}

template <class E>
REALpicture render(const unsigned char* data, const Request& r) {
  // Envelopes: negative then positive. Rows: yn, yp, and each column's filled span.
  const std::unique_ptr<double[]> envelopes(new (std::nothrow) double[2 * static_cast<size_t>(r.width)]);
  const std::unique_ptr<int32_t[]> rows(new (std::nothrow) int32_t[4 * static_cast<size_t>(r.width)]);
  if (envelopes == nullptr || rows == nullptr) return nullptr;
  double* neg = envelopes.get();
  double* pos = neg + r.width;
  int32_t* yn = rows.get();
  int32_t* yp = yn + r.width;
  int32_t* top = yp + r.width;
  int32_t* bottom = top + r.width;

  const double peak = fold<E>(data, r.count, r.width, neg, pos);
  double range = r.autoScale ? 2.0 * peak : E::kFullRange;
  if (r.smooth > 0) {
    const double keep = 1.0 - r.alpha;
    smooth(neg, r.width, r.alpha, keep);
    smooth(pos, r.width, r.alpha, keep);
    range = range * keep + range * r.alpha;
  }
  if (range != 0.0) {
    for (int32_t i = 0; i < 2 * r.width; ++i) envelopes[i] = envelopes[i] * r.height / range;
  }

  PictureWriter writer;
  if (!writer.NewPictureWriter(r.width, r.height, false)) return nullptr;
  const int32_t centre = r.height / 2;
  for (int32_t x = 0; x < r.width; ++x) {
    yn[x] = TruncateToInt32(neg[x] + centre);
    yp[x] = TruncateToInt32(pos[x] + centre);
    // Both fills run from the centre line, so together they span one interval.
    top[x] = std::max(std::min({centre, yn[x], yp[x]}), 0);
    bottom[x] = std::min(std::max({centre, yn[x], yp[x]}), r.height - 1);
  }

  with_layout(writer.pixelFormat, [&](auto layout) {
    using L = decltype(layout);
    if constexpr (L::kWrites) {
      const uint32_t back = L::store(r.back), fore = L::store(r.fore);
      const int32_t columns = std::min(r.width, writer.width);
      const int32_t height = std::min(r.height, writer.height);
      for (int32_t y = 0; y < height; ++y) {
        uint32_t* __restrict d = writer.rowPtr;
        for (int32_t x = 0; x < columns; ++x) d[x] = y >= top[x] && y <= bottom[x] ? fore : back;
        writer.NextRow();
      }
      if (r.outlinewidth == 1) {
        const WuCanvas<L> canvas(writer);
        int32_t nx = 0, ny = centre, px = 0, py = centre;
        for (int32_t x = 0; x < r.width; ++x) {
          canvas.line(nx, ny, x, yn[x]);
          canvas.line(px, py, x, yp[x]);
          nx = px = x;
          ny = yn[x];
          py = yp[x];
        }
      }
    }
  });

  REALpicture picture = writer.RenderPictureWriter();
  if (picture == nullptr || r.outlinewidth <= 1) return picture;
  return draw_thick_outline(picture, r, yn, yp);
}

}  // namespace

REALpicture RenderSamples(REALmemoryBlock Samples, int32_t SampleCount, int32_t Smooth, int32_t Width, int32_t Height,
                          int32_t outlinewidth, uint32_t BackColor, uint32_t ForeColor, uint32_t OutLineColor,
                          int32_t Bits, RBBoolean AutoScale) {
  if (Samples == nullptr) {
    RaiseException("NilObjectException", "memoryblock is nil");
    return nullptr;
  }
  const Rgb outline = channels(OutLineColor);
  gOutLineColorR = static_cast<int32_t>(outline.r);
  gOutLineColorG = static_cast<int32_t>(outline.g);
  gOutLineColorB = static_cast<int32_t>(outline.b);

  Request r{};
  r.smooth = Smooth;
  r.outlinewidth = outlinewidth;
  r.alpha = 2.0 / (static_cast<double>(Smooth) + 1.0);
  r.back = channels(BackColor);
  r.fore = channels(ForeColor);
  r.outline = OutLineColor;
  r.autoScale = AutoScale != 0;

  REALpicture result = nullptr;
  with_encoding(Bits, [&](auto encoding) {
    using E = decltype(encoding);
    const int64_t size = std::max(memoryBlockGetSize(Samples), 0);
    // The float encodings' divisors are negative (-3, -7): they need a count.
    r.count = SampleCount >= 1 ? SampleCount : size / ((Bits + 7) / 8);
    const int64_t width = Width >= 1 ? Width : r.count;
    r.height = Height > 0 ? Height : kDefaultHeight;
    const auto* data = static_cast<const unsigned char*>(memoryBlockGetPtr(Samples));
    if (data == nullptr || width * 8 + 19 >= 0x7FFFFFFF) return;
    if (r.count < 0 || r.count > size / static_cast<int64_t>(sizeof(typename E::Raw))) return;
    if (width < 1 || width > kMaxSide || r.height > kMaxSide) return;
    r.width = static_cast<int32_t>(width);
    result = render<E>(data, r);
  });
  return result;
}

}  // namespace picture
