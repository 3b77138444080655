// Read-only measurements over a picture's pixels: uniformity tests on a
// rectangle, stopping at the first pixel that fails, and the colourfulness of
// the whole picture. Kept on purpose: the rectangle's right and bottom edges come
// from the caller's unclamped left and top, so a negative left shortens the span
// from the right; colourfulness compares green with red and with blue but never
// red with blue, and divides by every pixel, near-black ones included.
#include "analysis/uniformity.h"

#include <algorithm>
#include <cstdlib>

#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {
namespace {

#if defined(__x86_64__)
// Per byte, how far the distance between w and p exceeds t (0 when it does not).
[[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] inline __m256i beyond8(__m256i w, __m256i p, int32_t t) {
  const __m256i apart = _mm256_sub_epi8(_mm256_max_epu8(w, p), _mm256_min_epu8(w, p));
  return _mm256_subs_epu8(apart, _mm256_set1_epi8(static_cast<char>(t)));
}

[[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
inline __m512i beyond16(__m512i w, __m512i p, int32_t t) {
  const __m512i apart = _mm512_sub_epi8(_mm512_max_epu8(w, p), _mm512_min_epu8(w, p));
  return _mm512_subs_epu8(apart, _mm512_set1_epi8(static_cast<char>(t)));
}
#endif

// R = G = B = 0
struct Black {
  bool operator()(Rgb c) const { return (c.r | c.g | c.b) == 0; }
};

// R = G = B = 255
struct White {
  bool operator()(Rgb c) const { return (c.r & c.g & c.b) == 255; }
};

// R = G = B
struct ExactGray {
  bool operator()(Rgb c) const { return (c.r == c.g) & (c.g == c.b); }
#if defined(__x86_64__)
  // Each word against itself with R, G, B rotated.
  template <class In>
  [[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] __m256i pass8(__m256i w) const {
    return _mm256_cmpeq_epi32(w, _mm256_shuffle_epi8(w, byte_shuffle<In>(In::kGreen, In::kBlue, In::kRed)));
  }
  template <class In>
  [[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  __mmask16 pass16(__m512i w) const {
    return _mm512_cmpeq_epi32_mask(w, _mm512_shuffle_epi8(w, byte_shuffle16<In>(In::kGreen, In::kBlue, In::kRed)));
  }
#endif
};

// |R - G|, |R - B| and |G - B| each at most t
struct TolerantGray {
  int32_t t;
  static bool near(uint32_t a, uint32_t b, int32_t t) { return std::abs(int32_t(a) - int32_t(b)) <= t; }
  bool operator()(Rgb c) const {
    const bool rg = near(c.r, c.g, t), rb = near(c.r, c.b, t), gb = near(c.g, c.b, t);
    return rg & rb & gb;
  }
#if defined(__x86_64__)
  // R, G, B bytes against G, B, R: per-byte distances, none above t.
  template <class In>
  [[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] __m256i pass8(__m256i w) const {
    const __m256i p = _mm256_shuffle_epi8(w, byte_shuffle<In>(In::kGreen, In::kBlue, In::kRed));
    const __m256i over = beyond8(w, p, t);
    return _mm256_cmpeq_epi32(over, _mm256_setzero_si256());
  }
  template <class In>
  [[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  __mmask16 pass16(__m512i w) const {
    const __m512i p = _mm512_shuffle_epi8(w, byte_shuffle16<In>(In::kGreen, In::kBlue, In::kRed));
    const __m512i over = beyond16(w, p, t);
    return _mm512_testn_epi32_mask(over, over);
  }
#endif
};

#if defined(__x86_64__)
// Lanes all ones where some R, G or B byte is 30 or more.
template <class In>
[[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] inline __m256i lit8(__m256i w) {
  const __m256i channels = _mm256_and_si256(w, _mm256_set1_epi32(static_cast<int>(kChannelBits<In>)));
  const __m256i dark = _mm256_cmpeq_epi32(_mm256_subs_epu8(channels, _mm256_set1_epi8(29)), _mm256_setzero_si256());
  return _mm256_xor_si256(dark, _mm256_set1_epi32(-1));
}
#endif

// not near black (some channel 30 or more), and G differs from R or B by more than t
struct Coloured {
  int32_t t;
  bool operator()(Rgb c) const {
    const bool considered = std::max({c.r, c.g, c.b}) >= 30;
    const int32_t dGR = int32_t(c.g) - int32_t(c.r);
    const int32_t dGB = int32_t(c.g) - int32_t(c.b);
    return considered & ((dGR > t) | (dGB > t) | (dGR < -t) | (dGB < -t));
  }
};

// Coloured for a t of 0 to 255: R and B bytes against G, a distance above t,
// and some channel byte above 29 (a word is zero when either part is).
struct ColouredApart : Coloured {
#if defined(__x86_64__)
  template <class In>
  [[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] __m256i pass8(__m256i w) const {
    const __m256i g = _mm256_shuffle_epi8(w, byte_shuffle<In>(In::kGreen, In::kGreen, In::kGreen));
    const __m256i over = beyond8(w, g, t);
    const __m256i channels = _mm256_and_si256(w, _mm256_set1_epi32(static_cast<int>(kChannelBits<In>)));
    const __m256i lit = _mm256_subs_epu8(channels, _mm256_set1_epi8(29));
    const __m256i dull = _mm256_cmpeq_epi32(_mm256_min_epu32(over, lit), _mm256_setzero_si256());
    return _mm256_xor_si256(dull, _mm256_set1_epi32(-1));
  }
  template <class In>
  [[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  __mmask16 pass16(__m512i w) const {
    const __m512i g = _mm512_shuffle_epi8(w, byte_shuffle16<In>(In::kGreen, In::kGreen, In::kGreen));
    const __m512i over = beyond16(w, g, t);
    const __m512i channels = _mm512_and_si512(w, _mm512_set1_epi32(static_cast<int>(kChannelBits<In>)));
    const __m512i lit = _mm512_subs_epu8(channels, _mm512_set1_epi8(29));
    return _mm512_mask_test_epi32_mask(_mm512_test_epi32_mask(lit, lit), over, over);
  }
#endif
};

// Coloured for a negative t: every G passes, so only the brightness counts.
struct ColouredAny : Coloured {
#if defined(__x86_64__)
  template <class In>
  [[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] __m256i pass8(__m256i w) const {
    return lit8<In>(w);
  }
  template <class In>
  [[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  __mmask16 pass16(__m512i w) const {
    const __m512i channels = _mm512_and_si512(w, _mm512_set1_epi32(static_cast<int>(kChannelBits<In>)));
    const __m512i lit = _mm512_subs_epu8(channels, _mm512_set1_epi8(29));
    return _mm512_test_epi32_mask(lit, lit);
  }
#endif
};

template <class Test>
RBBoolean uniform(REALpicture picture, int32_t left, int32_t top, int32_t width, int32_t height, Test test) {
  PictureReader reader;
  if (!reader.GetPictureEditor(picture, true, false)) return 0;
  if (width < 0) width = reader.width;
  if (height < 0) height = reader.height;
  return scan(reader, ClipRect(left, top, width, height, reader.width, reader.height), test) ? 1 : 0;
}

}  // namespace

RBBoolean isBlack(REALpicture picture, int32_t left, int32_t top, int32_t width, int32_t height) {
  return uniform(picture, left, top, width, height, Black{});
}

RBBoolean isBlack2(REALpicture picture) { return isBlack(picture, 0, 0, -1, -1); }

RBBoolean isWhite(REALpicture picture, int32_t left, int32_t top, int32_t width, int32_t height) {
  return uniform(picture, left, top, width, height, White{});
}

RBBoolean isWhite2(REALpicture picture) { return isWhite(picture, 0, 0, -1, -1); }

RBBoolean isGray(REALpicture picture, int32_t tolerance, int32_t left, int32_t top, int32_t width, int32_t height) {
  if (tolerance == 0) return uniform(picture, left, top, width, height, ExactGray{});
  // Channel differences never exceed 255, so a larger (or most negative) tolerance is 255.
  const int32_t t = tolerance < -255 || tolerance > 255 ? 255 : std::abs(tolerance);
  return uniform(picture, left, top, width, height, TolerantGray{t});
}

RBBoolean isGray2(REALpicture picture, int32_t tolerance) { return isGray(picture, tolerance, 0, 0, -1, -1); }

double ColornessZRK(REALpicture picture, int32_t threshold) {
  PictureReader reader;
  if (!reader.GetPictureEditor(picture, true, false)) return 0.0;
  // Differences lie in -255..255: any negative threshold passes every pixel and
  // 255 or more none, so the clamped threshold decides alike and negates safely.
  const int32_t t = std::clamp(threshold, -1, 255);
  const Rect all{0, 0, reader.width, reader.height};
  const uint32_t coloured = t < 0 ? count(reader, all, ColouredAny{{t}}) : count(reader, all, ColouredApart{{t}});
  // Counter and pixel count are 32-bit signed, as the host's programs see them;
  // an empty picture divides 0 by 0.
  const auto pixels = static_cast<int32_t>(static_cast<uint32_t>(reader.width) * static_cast<uint32_t>(reader.height));
  return static_cast<double>(static_cast<int32_t>(coloured)) / static_cast<double>(pixels);
}

}  // namespace picture
