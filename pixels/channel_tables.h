// Per-channel tables: each of R, G and B through its own 256-entry table, the
// rule of every tone change and of the caller's colour tables. Their walker
// turns the byte tables into word tables for the result's layout, so that a
// pixel is three lookups and three ORs; on AVX2 and AVX-512 the lookups are
// gathers. The general map walker with the ChannelTables kernel gives the same
// words and is the oracle.
#pragma once

#include <array>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "pixels/walk.h"

namespace picture {

// (R, G, B) -> (table[0][R], table[1][G], table[2][B])
struct ChannelTables {
  std::array<std::array<uint8_t, 256>, 3> table;

  // From three rules v -> 0..255, each evaluated once per value.
  template <class Red, class Green, class Blue>
  ChannelTables(const Red& red, const Green& green, const Blue& blue) {
    for (int32_t v = 0; v < 256; ++v) {
      table[0][v] = static_cast<uint8_t>(red(v));
      table[1][v] = static_cast<uint8_t>(green(v));
      table[2][v] = static_cast<uint8_t>(blue(v));
    }
  }
  Rgb operator()(Rgb c) const { return {table[0][c.r], table[1][c.g], table[2][c.b]}; }
};

namespace walk_detail {

// The tables as result words: word[0][v] holds red v where the result's layout
// keeps red, and so on; `opaque` completes a word. Indices come from the source
// word by its own shifts (an unknown source: always 0, black).
struct WordTables {
  alignas(64) uint32_t word[3][256];
  uint32_t opaque;
  ShiftLayout in;
  // The byte tables, and whether every channel keeps its byte (source and
  // result of one family): then a pixel's bytes go through them in place.
  const ChannelTables& bytes;
  bool inPlace;

  WordTables(const ChannelTables& t, const ShiftLayout& source, const ShiftLayout& result)
      : opaque(result.opaque),
        in(source),
        bytes(t),
        inPlace(source.channel == 255 && source.red == result.red && source.green == result.green &&
                source.blue == result.blue) {
    for (int32_t v = 0; v < 256; ++v) {
      word[0][v] = uint32_t{t.table[0][v]} << result.red;
      word[1][v] = uint32_t{t.table[1][v]} << result.green;
      word[2][v] = uint32_t{t.table[2][v]} << result.blue;
    }
  }
  [[gnu::always_inline]] uint32_t operator()(uint32_t p) const {
    return word[0][(p >> in.red) & in.channel] | word[1][(p >> in.green) & in.channel] |
           word[2][(p >> in.blue) & in.channel] | opaque;
  }
};

// Maps n source words to n result words, in plain code and with gathers.
struct PlainSpan {
  [[gnu::always_inline]] static void apply(uint32_t* d, const uint32_t* s, int32_t n, const WordTables& t) {
    for (int32_t i = 0; i < n; ++i) d[i] = t(s[i]);
  }
};

#if defined(__x86_64__)
struct Avx2Span {
  [[gnu::target("avx2,bmi,bmi2,popcnt")]] static void apply(uint32_t* d, const uint32_t* s, int32_t n,
                                                           const WordTables& t) {
    const __m256i channel = _mm256_set1_epi32(static_cast<int32_t>(t.in.channel));
    const __m256i opaque = _mm256_set1_epi32(static_cast<int32_t>(t.opaque));
    const __m128i red = _mm_cvtsi32_si128(static_cast<int32_t>(t.in.red));
    const __m128i green = _mm_cvtsi32_si128(static_cast<int32_t>(t.in.green));
    const __m128i blue = _mm_cvtsi32_si128(static_cast<int32_t>(t.in.blue));
    const auto* w0 = reinterpret_cast<const int*>(t.word[0]);
    const auto* w1 = reinterpret_cast<const int*>(t.word[1]);
    const auto* w2 = reinterpret_cast<const int*>(t.word[2]);
    int32_t i = 0;
    for (; i + 8 <= n; i += 8) {
      const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
      const __m256i a = _mm256_i32gather_epi32(w0, _mm256_and_si256(_mm256_srl_epi32(p, red), channel), 4);
      const __m256i b = _mm256_i32gather_epi32(w1, _mm256_and_si256(_mm256_srl_epi32(p, green), channel), 4);
      const __m256i c = _mm256_i32gather_epi32(w2, _mm256_and_si256(_mm256_srl_epi32(p, blue), channel), 4);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i),
                          _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, opaque)));
    }
    for (; i < n; ++i) d[i] = t(s[i]);
  }
};

struct Avx512Span {
  // The masked forms throughout: their unmasked ones start from an undefined
  // register, which some compilers warn about.
  static constexpr __mmask16 kAll = 0xFFFF;
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] static __m512i gather(
      const uint32_t* table, __m512i index) {
    return _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), kAll, index, table, 4);
  }
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] static void apply(
      uint32_t* d, const uint32_t* s, int32_t n, const WordTables& t) {
    const __m512i channel = _mm512_set1_epi32(static_cast<int32_t>(t.in.channel));
    const __m512i opaque = _mm512_set1_epi32(static_cast<int32_t>(t.opaque));
    const __m128i red = _mm_cvtsi32_si128(static_cast<int32_t>(t.in.red));
    const __m128i green = _mm_cvtsi32_si128(static_cast<int32_t>(t.in.green));
    const __m128i blue = _mm_cvtsi32_si128(static_cast<int32_t>(t.in.blue));
    int32_t i = 0;
    for (; i + 16 <= n; i += 16) {
      const __m512i p = _mm512_loadu_si512(s + i);
      const __m512i a = gather(t.word[0], _mm512_and_si512(_mm512_maskz_srl_epi32(kAll, p, red), channel));
      const __m512i b = gather(t.word[1], _mm512_and_si512(_mm512_maskz_srl_epi32(kAll, p, green), channel));
      const __m512i c = gather(t.word[2], _mm512_and_si512(_mm512_maskz_srl_epi32(kAll, p, blue), channel));
      _mm512_storeu_si512(d + i, _mm512_or_si512(_mm512_or_si512(a, b), _mm512_or_si512(c, opaque)));
    }
    for (; i < n; ++i) d[i] = t(s[i]);
  }
};

// The same through byte permutes: each 256-entry table lives in four registers,
// and every byte of 16 pixels is looked up in the table of its channel.
struct ByteShuffleSpan {
  // q[index]: bits 0-6 pick a byte of q[0], q[1] or of q[2], q[3]; bit 7 picks the pair.
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx512vbmi,avx2,bmi,bmi2,popcnt")]] static __m512i lookup(
      const __m512i (&q)[4], __m512i index) {
    const __m512i low = _mm512_permutex2var_epi8(q[0], index, q[1]);
    const __m512i high = _mm512_permutex2var_epi8(q[2], index, q[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high);
  }
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx512vbmi,avx2,bmi,bmi2,popcnt")]] static void apply(
      uint32_t* d, const uint32_t* s, int32_t n, const WordTables& t) {
    __m512i table[3][4];
    for (int32_t c = 0; c < 3; ++c) {
      for (int32_t k = 0; k < 4; ++k) table[c][k] = _mm512_loadu_si512(t.bytes.table[c].data() + 64 * k);
    }
    constexpr uint64_t kFirstOfFour = 0x1111111111111111u;
    const __mmask64 red = kFirstOfFour << (t.in.red / 8), green = kFirstOfFour << (t.in.green / 8),
                    blue = kFirstOfFour << (t.in.blue / 8);
    const __m512i opaque = _mm512_set1_epi32(static_cast<int32_t>(t.opaque));
    int32_t i = 0;
    for (; i + 16 <= n; i += 16) {
      const __m512i p = _mm512_loadu_si512(s + i);
      __m512i v = _mm512_mask_blend_epi8(red, opaque, lookup(table[0], p));
      v = _mm512_mask_blend_epi8(green, v, lookup(table[1], p));
      v = _mm512_mask_blend_epi8(blue, v, lookup(table[2], p));
      _mm512_storeu_si512(d + i, v);
    }
    for (; i < n; ++i) d[i] = t(s[i]);
  }
};
#endif

struct TablePass {
  [[gnu::always_inline]] static void run(PictureEditor& src, PictureEditor& dst, const Rect& r, bool stream,
                                         const WordTables& t) {
    span_rows<PlainSpan>(dst, r, stream, t, src);
  }
#if defined(__x86_64__)
  [[gnu::target("avx2,bmi,bmi2,popcnt")]] static void avx2(PictureEditor& src, PictureEditor& dst, const Rect& r,
                                                           bool stream, const WordTables& t) {
    span_rows<Avx2Span>(dst, r, stream, t, src);
  }
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]] static void avx512(
      PictureEditor& src, PictureEditor& dst, const Rect& r, bool stream, const WordTables& t) {
    if (t.inPlace && HasByteShuffles()) return span_rows<ByteShuffleSpan>(dst, r, stream, t, src);
    span_rows<Avx512Span>(dst, r, stream, t, src);
  }
#endif
};

}  // namespace walk_detail

// The map walker for per-channel tables (found for map_picture and every other
// caller of map by the kernel's type): every pixel of `r` through the tables.
inline void map(PictureEditor& src, PictureEditor& dst, Rect r, const ChannelTables& tables) {
  r.x1 = std::min({r.x1, src.width, dst.width});
  r.y1 = std::min({r.y1, src.height, dst.height});
  const ShiftLayout out = ShiftLayout::of(dst.pixelFormat);
  if (r.empty() || out.channel == 0) return;
  const walk_detail::WordTables words(tables, ShiftLayout::of(src.pixelFormat), out);
  dispatch<walk_detail::TablePass>(src, dst, r, r.bytes() > StreamThreshold(), words);
}

}  // namespace picture
