// The three-dimensional lookup-table class: every pixel's colour is mapped
// through an 18 × 18 × 18 lattice of output colours with tetrahedral
// interpolation, into a new picture of the source's alpha kind held by the
// instance. Nodes sit 17 channel units apart, so only indices 0..15 take part;
// the two spare slots per dimension are kept for the host's programs. The
// weights are whole multiples of 1/17 (the remainders of v / 17), so the sum is
// taken with whole weights and divided by 17 once: whole-number tables, the
// identity among them, come out exact. A term whose weight is 0 contributes
// nothing, so an infinite or NaN node changes only the pixels it weighs in.
// Outputs below 0 (and NaN) give 0, above 255 give 255, the rest truncate.
// Unlike the sepia class, Run releases its previous destination first.
#include "adjust/lut3d.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "adjust/filter_class.h"
#include "frame/tables.h"
#include "pixels/isa.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

constexpr uint32_t kLastNode = 15;  // node of channel value 255

PictureLut3DData* data_of(REALobject instance) {
  return static_cast<PictureLut3DData*>(REALGetClassData(instance, &gPictureLut3DClass));
}

bool in_table(uint32_t r, uint32_t g, uint32_t b, uint32_t x) {
  return r < kLutNodes && g < kLutNodes && b < kLutNodes && x < 3;
}

// The kernel's own copy of the lattice: nodes 0..15 of the table and a node 16
// of zeros per dimension, so that every channel steps up by one fixed stride
// (255 steps onto node 16, always with weight 0); two Lanes per node.
constexpr uint32_t kSide = kLastNode + 2;
constexpr uint32_t kStride[3] = {kSide * kSide * 2, kSide * 2, 2};  // in Lanes
constexpr uint32_t kRemainders = kLutSpacing;  // 0..16
constexpr uint32_t kTetrahedra = kRemainders * kRemainders * kRemainders;

// Two channels' worth of doubles: a node's red and green, or its blue and a
// spare lane. Plain vector arithmetic, lane by lane, that the compiler maps to
// whatever the target has.
using Lanes = double __attribute__((vector_size(16)));

// One tetrahedron of the cube, by the three remainders: the whole weights of
// N000, N(p), N(pq), N111 (each in both lanes), and the offsets of N(p) and
// N(pq) from N000.
struct Tetrahedron {
  Lanes weight[4];
  uint32_t up1, up2;
};

// The channels in the order they step up, largest remainder first; equal
// remainders give the same result in either order, their middle weight being 0.
Tetrahedron tetrahedron_of(const uint32_t (&rem)[3]) {
  int p, q, s;
  if (rem[0] > rem[1]) {
    if (rem[1] > rem[2]) p = 0, q = 1, s = 2;
    else if (rem[0] > rem[2]) p = 0, q = 2, s = 1;
    else p = 2, q = 0, s = 1;
  } else {
    if (rem[2] > rem[1]) p = 2, q = 1, s = 0;
    else if (rem[2] > rem[0]) p = 1, q = 2, s = 0;
    else p = 1, q = 0, s = 2;
  }
  const double w[4] = {double(kLutSpacing - rem[p]), double(rem[p] - rem[q]), double(rem[q] - rem[s]),
                       double(rem[s])};
  Tetrahedron t;
  for (int i = 0; i < 4; ++i) t.weight[i] = Lanes{w[i], w[i]};
  t.up1 = kStride[p];
  t.up2 = kStride[p] + kStride[q];
  return t;
}

// 0 below 0 and for NaN, 255 from 255 · 17 up, else the whole part of sum / 17,
// which is floor(sum) / 17 for every sum in between. Lane by lane, no branch.
constexpr double kTop = 255.0 * kLutSpacing;

Lanes clamp_sums(Lanes sum) {
  const Lanes zero = {0.0, 0.0}, top = {kTop, kTop};
  const Lanes low = sum > zero ? sum : zero;  // NaN compares false
  return low < top ? low : top;
}

uint32_t channel_of(double clamped) { return static_cast<uint32_t>(static_cast<int32_t>(clamped)) / kLutSpacing; }

// out = (w0·N000 + w1·N(p) + w2·N(pq) + w3·N111) / 17, w = 17 − r_p, r_p − r_q, r_q − r_s, r_s, terms of weight 0 left out
template <bool kFinite>
struct Lut3D {
  const Lanes* nodes;  // two Lanes per node
  const Tetrahedron* tetrahedra;
  // Per channel value: the remainder's part of the tetrahedron index in the
  // high half, the lower node's offset (in Lanes) in the low half; summed over R, G, B.
  const uint32_t (*keys)[256];

  Rgb operator()(Rgb c) const {
    const uint32_t key = keys[0][c.r] + keys[1][c.g] + keys[2][c.b];
    const Tetrahedron& t = tetrahedra[key >> 16];
    const Lanes* n0 = nodes + (key & 0xFFFF);
    const Lanes* n1 = n0 + t.up1;
    const Lanes* n2 = n0 + t.up2;
    const Lanes* n3 = n0 + (kStride[0] + kStride[1] + kStride[2]);
    Lanes sum[2];
    for (int i = 0; i < 2; ++i) {
      if constexpr (kFinite) {
        // With finite nodes a term of weight 0 adds a zero, which changes no sum.
        sum[i] = t.weight[0] * n0[i] + t.weight[1] * n1[i] + t.weight[2] * n2[i] + t.weight[3] * n3[i];
      } else {
        sum[i] = t.weight[0] * n0[i];
        if (t.weight[1][0] != 0.0) sum[i] += t.weight[1] * n1[i];
        if (t.weight[2][0] != 0.0) sum[i] += t.weight[2] * n2[i];
        if (t.weight[3][0] != 0.0) sum[i] += t.weight[3] * n3[i];
      }
    }
    const Lanes rg = clamp_sums(sum[0]), bx = clamp_sums(sum[1]);
    return {channel_of(rg[0]), channel_of(rg[1]), channel_of(bx[0])};
  }
};

// The ready data of one Run, on the heap (some 550 KB).
struct Lut3DTables {
  Lanes nodes[kSide * kSide * kSide * 2];
  Tetrahedron tetrahedra[kTetrahedra];
  uint32_t keys[3][256];
  bool finite = true;

  explicit Lut3DTables(const double (&table)[kLutNodes][kLutNodes][kLutNodes][3]) {
    for (uint32_t r = 0; r < kSide; ++r)
      for (uint32_t g = 0; g < kSide; ++g)
        for (uint32_t b = 0; b < kSide; ++b)
          for (uint32_t x = 0; x < 4; ++x) {
            const bool node = r <= kLastNode && g <= kLastNode && b <= kLastNode && x < 3;
            const double v = node ? table[r][g][b][x] : 0.0;
            finite = finite && std::isfinite(v);
            nodes[r * kStride[0] + g * kStride[1] + b * kStride[2] + x / 2][x % 2] = v;
          }
    for (uint32_t i = 0; i < kTetrahedra; ++i) {
      const uint32_t rem[3] = {i / (kRemainders * kRemainders), i / kRemainders % kRemainders, i % kRemainders};
      tetrahedra[i] = tetrahedron_of(rem);
    }
    constexpr uint32_t kIndexStep[3] = {kRemainders * kRemainders, kRemainders, 1};
    for (int c = 0; c < 3; ++c)
      for (uint32_t v = 0; v < 256; ++v) {
        const uint32_t lower = v / kLutSpacing, rem = v % kLutSpacing;
        keys[c][v] = (rem * kIndexStep[c]) << 16 | lower * kStride[c];
      }
  }
};
static_assert(kLastNode * (kStride[0] + kStride[1] + kStride[2]) < 0x10000 && kTetrahedra < 0x10000);

// The finite lattice over whole rows: source words to result words by the two
// layouts, with the kernel for what no wider code covers.
struct Lut3DWords {
  Lut3D<true> kernel;
  const double* nodes;  // the kernel's nodes, one double per channel
  ShiftLayout in, out;
  [[gnu::always_inline]] uint32_t operator()(const uint32_t* p) const { return out.store(kernel(in.load(p))); }
};

struct PlainLut3DSpan {
  [[gnu::always_inline]] static void apply(uint32_t* d, const uint32_t* s, int32_t n, const Lut3DWords& t) {
    for (int32_t i = 0; i < n; ++i) d[i] = t(s + i);
  }
};

#if defined(__x86_64__)
// Sixteen pixels at a time, then eight per register of doubles: the kernel's
// arithmetic in its order, the nodes gathered. The channels sorted by remainder
// give the weights; each remainder carries its channel's stride in its low half,
// so the largest and the smallest also name the steps to N(p) and N(pq). Where
// remainders tie, the order picked may differ from the kernel's, but then the
// node in question weighs 0 and, finite, adds a zero.
struct Avx512Lut3DSpan {
  // The masked forms throughout: their unmasked ones start from an undefined
  // register, which some compilers warn about.
  static constexpr __mmask8 kAll = 0xFF;
  static constexpr __mmask16 kAll16 = 0xFFFF;
  static constexpr int32_t kDoubles[3] = {int32_t(kStride[0] * 2), int32_t(kStride[1] * 2), int32_t(kStride[2] * 2)};
  static constexpr int32_t kCorner = kDoubles[0] + kDoubles[1] + kDoubles[2];  // N000 to N111

  // v / 17 as (v · 0xF0F1) >> 20, exact below 61680, from 16-bit halves.
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] static __m512i over17(__m512i v) {
    return _mm512_maskz_srli_epi32(kAll16, _mm512_mulhi_epu16(v, _mm512_set1_epi32(0xF0F1)), 4);
  }
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] static __m256i half(__m512i v, int h) {
    if (h == 1) return _mm512_maskz_extracti64x4_epi64(kAll, v, 1);
    __m256i low;  // the cast would go through an undefined register too
    std::memcpy(&low, &v, sizeof low);
    return low;
  }
  // One channel of eight pixels: the sum in the kernel's order, clamped and truncated.
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] static __m256i sum(
      const double* nodes, const __m512d (&w)[4], const __m256i (&at)[4]) {
    __m512d s = _mm512_mul_pd(w[0], _mm512_mask_i32gather_pd(_mm512_setzero_pd(), kAll, at[0], nodes, 8));
    for (int k = 1; k < 4; ++k) {
      s = _mm512_add_pd(s, _mm512_mul_pd(w[k], _mm512_mask_i32gather_pd(_mm512_setzero_pd(), kAll, at[k], nodes, 8)));
    }
    // max and min return their second operand for NaN: the kernel's clamp.
    const __m512d clamped =
        _mm512_maskz_min_pd(kAll, _mm512_maskz_max_pd(kAll, s, _mm512_setzero_pd()), _mm512_set1_pd(kTop));
    return _mm512_maskz_cvttpd_epi32(kAll, clamped);
  }
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] static void apply(
      uint32_t* d, const uint32_t* s, int32_t n, const Lut3DWords& t) {
    const __m512i channel = _mm512_set1_epi32(static_cast<int32_t>(t.in.channel));
    const __m128i in[3] = {_mm_cvtsi32_si128(static_cast<int32_t>(t.in.red)),
                           _mm_cvtsi32_si128(static_cast<int32_t>(t.in.green)),
                           _mm_cvtsi32_si128(static_cast<int32_t>(t.in.blue))};
    const __m128i out[3] = {_mm_cvtsi32_si128(static_cast<int32_t>(t.out.red)),
                            _mm_cvtsi32_si128(static_cast<int32_t>(t.out.green)),
                            _mm_cvtsi32_si128(static_cast<int32_t>(t.out.blue))};
    const __m512i opaque = _mm512_set1_epi32(static_cast<int32_t>(t.out.opaque));
    const __m512i spacing = _mm512_set1_epi32(kLutSpacing), stride = _mm512_set1_epi32(0xFFFF);
    int32_t i = 0;
    for (; i + 16 <= n; i += 16) {
      const __m512i p = _mm512_loadu_si512(s + i);
      __m512i base = _mm512_setzero_si512(), keyed[3];
      for (int c = 0; c < 3; ++c) {
        const __m512i v = _mm512_and_si512(_mm512_maskz_srl_epi32(kAll16, p, in[c]), channel);
        const __m512i lower = over17(v);
        const __m512i rem = _mm512_sub_epi32(v, _mm512_mullo_epi16(lower, spacing));
        base = _mm512_add_epi32(base, _mm512_mullo_epi16(lower, _mm512_set1_epi32(kDoubles[c])));
        keyed[c] = _mm512_or_si512(_mm512_maskz_slli_epi32(kAll16, rem, 16), _mm512_set1_epi32(kDoubles[c]));
      }
      const __m512i high = _mm512_maskz_max_epi32(kAll16, keyed[0], _mm512_maskz_max_epi32(kAll16, keyed[1], keyed[2]));
      const __m512i low = _mm512_maskz_min_epi32(kAll16, keyed[0], _mm512_maskz_min_epi32(kAll16, keyed[1], keyed[2]));
      const __m512i middle = _mm512_sub_epi32(_mm512_add_epi32(keyed[0], _mm512_add_epi32(keyed[1], keyed[2])),
                                              _mm512_add_epi32(high, low));
      const __m512i rp = _mm512_maskz_srli_epi32(kAll16, high, 16), rq = _mm512_maskz_srli_epi32(kAll16, middle, 16),
                    rs = _mm512_maskz_srli_epi32(kAll16, low, 16);
      const __m512i weight[4] = {_mm512_sub_epi32(spacing, rp), _mm512_sub_epi32(rp, rq), _mm512_sub_epi32(rq, rs), rs};
      const __m512i n3 = _mm512_add_epi32(base, _mm512_set1_epi32(kCorner));
      const __m512i at[4] = {base, _mm512_add_epi32(base, _mm512_and_si512(high, stride)),
                             _mm512_sub_epi32(n3, _mm512_and_si512(low, stride)), n3};
      __m256i sums[2][3];
      for (int h = 0; h < 2; ++h) {
        const __m512d w[4] = {
            _mm512_maskz_cvtepi32_pd(kAll, half(weight[0], h)), _mm512_maskz_cvtepi32_pd(kAll, half(weight[1], h)),
            _mm512_maskz_cvtepi32_pd(kAll, half(weight[2], h)), _mm512_maskz_cvtepi32_pd(kAll, half(weight[3], h))};
        const __m256i where[4] = {half(at[0], h), half(at[1], h), half(at[2], h), half(at[3], h)};
        for (int c = 0; c < 3; ++c) sums[h][c] = sum(t.nodes + c, w, where);
      }
      __m512i word = opaque;
      for (int c = 0; c < 3; ++c) {
        const __m512i value = over17(_mm512_maskz_inserti64x4(kAll, _mm512_castsi256_si512(sums[0][c]), sums[1][c], 1));
        word = _mm512_or_si512(word, _mm512_maskz_sll_epi32(kAll16, value, out[c]));
      }
      _mm512_storeu_si512(d + i, word);
    }
    for (; i < n; ++i) d[i] = t(s + i);
  }
};
#endif

struct Lut3DPass {
  [[gnu::always_inline]] static void run(PictureEditor& src, PictureEditor& dst, const Rect& r, bool stream,
                                         const Lut3DWords& t) {
    walk_detail::span_rows<PlainLut3DSpan>(dst, r, stream, t, src);
  }
#if defined(__x86_64__)
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] static void avx512(
      PictureEditor& src, PictureEditor& dst, const Rect& r, bool stream, const Lut3DWords& t) {
    walk_detail::span_rows<Avx512Lut3DSpan>(dst, r, stream, t, src);
  }
#endif
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
  const Rect block = anchored_block(d->MinX, d->MinY, d->MaxX, d->MaxY, reader.width, reader.height);
  if (!MapLut3D(reader, writer, block, d->table, false)) return false;
  d->destination = writer.RenderPictureWriter();
  return true;
}

bool MapLut3D(PictureEditor& src, PictureEditor& dst, Rect r, const double (&table)[kLutNodes][kLutNodes][kLutNodes][3],
              bool perPixel) {
  const std::unique_ptr<Lut3DTables> tables(new (std::nothrow) Lut3DTables(table));
  if (tables == nullptr) return false;
  if (!tables->finite) {
    map(src, dst, r, Lut3D<false>{tables->nodes, tables->tetrahedra, tables->keys});
    return true;
  }
  const Lut3D<true> kernel{tables->nodes, tables->tetrahedra, tables->keys};
  r.x1 = std::min({r.x1, src.width, dst.width});
  r.y1 = std::min({r.y1, src.height, dst.height});
  const ShiftLayout out = ShiftLayout::of(dst.pixelFormat);
  if (perPixel) {
    map(src, dst, r, kernel);
  } else if (!r.empty() && out.channel != 0) {
    const Lut3DWords words{kernel, reinterpret_cast<const double*>(tables->nodes), ShiftLayout::of(src.pixelFormat),
                           out};
    dispatch<Lut3DPass>(src, dst, r, r.bytes() > StreamThreshold(), words);
  }
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
