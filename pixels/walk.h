// Walkers: the loops over pixels. An operation states its per-pixel rule as a
// kernel (a small struct whose call operator maps one colour) and hands it to a
// walker with its editors. The walker resolves the layouts once per call: when
// every picture of the call is of one family, to that family's policy type (the
// fast path), otherwise each picture to its ShiftLayout (one general loop for
// every mix). Each loop is a pass compiled for every instruction set (isa.h);
// inside it a plain counted loop per row, with no call, format test or host
// call per pixel. Rows are reached through the editors' row step, so the row
// tables of console and web pictures work like contiguous buffers. Results too
// large for the caches are computed a chunk at a time into a small scratch row
// and streamed out, whole cache lines at a time, with stores that bypass the
// caches; single sources are fetched a little ahead of the chunk being computed.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "pixels/isa.h"
#include "pixels/layout.h"
#include "pixels/picture_editor.h"

namespace picture {

// A clipped rectangle: columns x0 <= x < x1, rows y0 <= y < y1.
struct Rect {
  int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  bool empty() const { return x0 >= x1 || y0 >= y1; }
  int64_t bytes() const { return empty() ? 0 : int64_t{x1 - x0} * (y1 - y0) * 4; }
};

// Clips a caller's rectangle to a picture. Negative left and top clip to 0 while
// the right and bottom edges stay at left + width and top + height.
inline Rect ClipRect(int32_t left, int32_t top, int32_t width, int32_t height, int32_t pictureWidth,
                     int32_t pictureHeight) {
  const int64_t right = std::min<int64_t>(int64_t{left} + width, pictureWidth);
  const int64_t bottom = std::min<int64_t>(int64_t{top} + height, pictureHeight);
  return Rect{std::max(left, 0), std::max(top, 0), static_cast<int32_t>(std::max<int64_t>(right, 0)),
              static_cast<int32_t>(std::max<int64_t>(bottom, 0))};
}

// The R, G and B bits of a word of a byte family.
template <class In>
inline constexpr uint32_t kChannelBits = 255u << In::kRed | 255u << In::kGreen | 255u << In::kBlue;

#if defined(__x86_64__)
// A test that can also judge the bytes of eight words at once declares
// `pass8<In>(words)` for AVX2: each 32-bit lane all ones where that pixel
// passes, zero where it fails. The scan and count passes then use it for whole
// groups of eight and the per-pixel test for the rest of a block.
template <class Test, class In>
concept PassesEight = requires(const Test& test, __m256i words) {
  In::kRed;
  test.template pass8<In>(words);
};

// For pass8: the byte shuffle that fills the R, G and B bytes of each word from
// the bytes at bit offsets `toR`, `toG` and `toB` of that word; the fourth byte
// keeps its own. `shuffle_word(w)` is the control of word w of a 16-byte lane.
template <class In>
constexpr int shuffle_word(uint32_t toR, uint32_t toG, uint32_t toB, uint32_t w) {
  const uint32_t other = 6 - (In::kRed + In::kGreen + In::kBlue) / 8;
  const uint32_t word =
      (toR / 8) << In::kRed | (toG / 8) << In::kGreen | (toB / 8) << In::kBlue | other << (8 * other);
  return static_cast<int>(word + 0x04040404u * w);
}

template <class In>
[[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] inline __m256i byte_shuffle(uint32_t toR, uint32_t toG,
                                                                                       uint32_t toB) {
  const auto at = [=](uint32_t w) { return shuffle_word<In>(toR, toG, toB, w); };
  return _mm256_setr_epi32(at(0), at(1), at(2), at(3), at(0), at(1), at(2), at(3));
}

// The same for AVX-512: a test that also declares `pass16<In>(words)` gives a
// mask bit per word of sixteen, set where that pixel passes.
template <class Test, class In>
concept PassesSixteen = PassesEight<Test, In> && requires(const Test& test, __m512i words) {
  test.template pass16<In>(words);
};

template <class In>
[[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
inline __m512i byte_shuffle16(uint32_t toR, uint32_t toG, uint32_t toB) {
  const auto at = [=](uint32_t w) { return shuffle_word<In>(toR, toG, toB, w); };
  return _mm512_setr_epi32(at(0), at(1), at(2), at(3), at(0), at(1), at(2), at(3), at(0), at(1), at(2), at(3), at(0),
                           at(1), at(2), at(3));
}

#endif

namespace walk_detail {

// Pixels computed into the scratch row before they are streamed out.
inline constexpr int32_t kChunk = 256;
// How many words ahead of the chunk being computed its sources are fetched.
inline constexpr int32_t kAhead = 512;
// Pixels tested before a scan looks whether one failed.
inline constexpr int32_t kBlock = 256;

// Calls `f` with one layout per editor: their common family's policy type when
// they share one, else each editor's ShiftLayout. Four instantiations of `f`
// whatever the number of editors.
template <class F, class... Editors>
decltype(auto) with_layouts(F&& f, const PictureEditor& first, const Editors&... rest) {
  const Family family = family_of(first.pixelFormat);
  if (((family_of(rest.pixelFormat) == family) && ...)) {
    switch (family) {
      case Family::kRgba:
        return f(RgbaLayout{}, (void(rest), RgbaLayout{})...);
      case Family::kArgb:
        return f(ArgbLayout{}, (void(rest), ArgbLayout{})...);
      case Family::kRowTable:
        return f(RowTableLayout{}, (void(rest), RowTableLayout{})...);
      case Family::kUnknown:
        break;
    }
  }
  return f(ShiftLayout::of(first.pixelFormat), ShiftLayout::of(rest.pixelFormat)...);
}

inline void stream_fence() {
#if defined(__SSE2__)
  _mm_sfence();
#endif
}

// Asks for the n source words kAhead past `s`, a line at a time. The processor's
// own prefetching alone leaves a kernel of more than a few instructions a line
// waiting on memory.
inline void prefetch(const uint32_t* s, int32_t n) {
  for (int32_t i = 0; i < n; i += 16) __builtin_prefetch(s + kAhead + i);
}

// Words in the first chunk of a result row that starts at `d`. Streamed, the
// chunks after it start on a 64-byte line, so that the stores fill whole lines.
inline int32_t first_chunk(const uint32_t* d, bool stream) {
  return kChunk - (stream ? static_cast<int32_t>(reinterpret_cast<uintptr_t>(d) & 63) / 4 : 0);
}

// Writes columns x0..x1 of a result row from `at(x)`, the result word of column x.
template <class At>
[[gnu::always_inline]] inline void fill_row(uint32_t* d, int32_t x0, int32_t x1, const At& at, bool stream) {
  alignas(64) uint32_t scratch[kChunk];
  for (int32_t x = x0, n = first_chunk(d + x0, stream); x < x1; x += n, n = kChunk) {
    n = std::min(n, x1 - x);
    at.prefetch(x, n);
    uint32_t* __restrict t = stream ? scratch : d + x;
    for (int32_t i = 0; i < n; ++i) t[i] = at(x + i);
    if (stream) StreamWords(d + x, scratch, n);
  }
}

// Rows of `r`, each a chunk at a time into the result or the scratch row, by
// Span::apply(to, from..., n, data), a pass's code for n words of one row of
// each source. A single source is fetched ahead, as for map.
template <class Span, class Data, class... Sources>
[[gnu::always_inline]] inline void span_rows(PictureEditor& dst, const Rect& r, bool stream, const Data& data,
                                             Sources&... src) {
  alignas(64) uint32_t scratch[kChunk];
  dst.AdvanceRows(r.y0);
  (src.AdvanceRows(r.y0), ...);
  for (int32_t row = r.y0; row < r.y1; ++row) {
    uint32_t* d = dst.rowPtr;
    for (int32_t x = r.x0, n = first_chunk(d + r.x0, stream); x < r.x1; x += n, n = kChunk) {
      n = std::min(n, r.x1 - x);
      if constexpr (sizeof...(Sources) == 1) (prefetch(src.rowPtr + x, n), ...);
      Span::apply(stream ? scratch : d + x, (src.rowPtr + x)..., n, data);
      if (stream) StreamWords(d + x, scratch, n);
    }
    dst.NextRow();
    (src.NextRow(), ...);
  }
  if (stream) stream_fence();
}

// Result word of column x: the kernel over one pixel of each source row.
template <class L, class Kernel, size_t N>
struct PixelAt {
  L out;
  std::array<L, N> in;
  std::array<const uint32_t*, N> s;
  const Kernel& kernel;

  template <size_t... I>
  [[gnu::always_inline]] uint32_t at(int32_t x, std::index_sequence<I...>) const {
    return out.store(kernel(in[I].load(s[I] + x)...));
  }
  [[gnu::always_inline]] uint32_t operator()(int32_t x) const { return at(x, std::make_index_sequence<N>{}); }
  // One source only: for two or more the extra requests cost more than they win.
  [[gnu::always_inline]] void prefetch(int32_t x, int32_t n) const {
    if constexpr (N == 1) walk_detail::prefetch(s[0] + x, n);
  }
};

// Result word of column x: the kernel over the source word.
template <class Kernel>
struct WordAt {
  const uint32_t* s;
  const Kernel& kernel;
  [[gnu::always_inline]] uint32_t operator()(int32_t x) const { return kernel(s[x]); }
  [[gnu::always_inline]] void prefetch(int32_t x, int32_t n) const { walk_detail::prefetch(s + x, n); }
};

template <class L, class Kernel, size_t N>
struct MapPass {
  [[gnu::always_inline]] static void run(PictureEditor& dst, const std::array<PictureEditor*, N>& src, const Rect& r,
                                         const Kernel& kernel, const L& out, const std::array<L, N>& in,
                                         bool stream) {
    dst.AdvanceRows(r.y0);
    for (PictureEditor* e : src) e->AdvanceRows(r.y0);
    for (int32_t row = r.y0; row < r.y1; ++row) {
      PixelAt<L, Kernel, N> at{out, in, {}, kernel};
      for (size_t i = 0; i < N; ++i) at.s[i] = src[i]->rowPtr;
      fill_row(dst.rowPtr, r.x0, r.x1, at, stream);
      dst.NextRow();
      for (PictureEditor* e : src) e->NextRow();
    }
    if (stream) stream_fence();
  }
};

template <class Kernel>
struct WordPass {
  [[gnu::always_inline]] static void run(PictureEditor& src, PictureEditor& dst, const Rect& r, const Kernel& kernel,
                                         bool stream) {
    src.AdvanceRows(r.y0);
    dst.AdvanceRows(r.y0);
    for (int32_t row = r.y0; row < r.y1; ++row) {
      fill_row(dst.rowPtr, r.x0, r.x1, WordAt<Kernel>{src.rowPtr, kernel}, stream);
      src.NextRow();
      dst.NextRow();
    }
    if (stream) stream_fence();
  }
};

#if defined(__x86_64__)
// A scan or count pass with code of its own for AVX2 and AVX-512: its
// `eights`, for tests that judge eight words at once, and its `sixteens` under
// AVX-512 when the test also judges sixteen.
template <class Pass, class Test>
struct WithEights : Pass {
  using Result = decltype(Pass::run(std::declval<PictureEditor&>(), std::declval<const Rect&>(),
                                    std::declval<const Test&>()));
  [[gnu::target("avx2,bmi,bmi2,popcnt")]]
  static Result avx2(PictureEditor& src, const Rect& r, const Test& test) {
    return Pass::eights(src, r, test);
  }
  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  static Result avx512(PictureEditor& src, const Rect& r, const Test& test) {
    if constexpr (requires { Pass::sixteens(src, r, test); }) {
      return Pass::sixteens(src, r, test);
    } else {
      return Pass::eights(src, r, test);
    }
  }
};
#endif

// `Pass` with the test's own eight- and sixteen-word code where the test has it.
template <class Pass, class In, class Test>
using WithEightsFor =
#if defined(__x86_64__)
    std::conditional_t<PassesEight<Test, In>, WithEights<Pass, Test>, Pass>;
#else
    Pass;
#endif

// The test is pure, so a whole block is tested before looking: the first pixel
// that fails lies in the first block that holds one, and the walk stops on its row.
template <class In, class Test>
struct ScanPass {
  // Rows by blocks: `groups` tests whole groups of words from i on, moving i
  // past them (a call per block), and the per-pixel test takes the rest.
  template <auto groups>
  [[gnu::always_inline]] static bool blocks(PictureEditor& src, const Rect& r, const Test& test) {
    src.AdvanceRows(r.y0);
    for (int32_t row = r.y0; row < r.y1; ++row) {
      const uint32_t* s = src.rowPtr;
      for (int32_t x = r.x0; x < r.x1; x += kBlock) {
        const int32_t end = std::min(x + kBlock, r.x1);
        prefetch(s + x, end - x);
        int32_t i = x;
        uint32_t failed = groups(s, i, end, test);
        for (; i < end; ++i) failed |= !test(In::load(s + i));
        if (failed != 0) return false;
      }
      src.NextRow();
    }
    return true;
  }

  [[gnu::always_inline]] static uint32_t none(const uint32_t*, int32_t&, int32_t, const Test&) { return 0; }

  [[gnu::always_inline]] static bool run(PictureEditor& src, const Rect& r, const Test& test) {
    return blocks<none>(src, r, test);
  }

#if defined(__x86_64__)
  [[gnu::target("avx2,bmi,bmi2,popcnt")]] static uint32_t by8(const uint32_t* s, int32_t& i, int32_t end,
                                                               const Test& test) {
    __m256i passed = _mm256_set1_epi32(-1);
    for (; i + 8 <= end; i += 8) {
      const __m256i words = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
      passed = _mm256_and_si256(passed, test.template pass8<In>(words));
    }
    return _mm256_testc_si256(passed, _mm256_set1_epi32(-1)) ? 0 : 1;
  }

  [[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]]
  static bool eights(PictureEditor& src, const Rect& r, const Test& test)
    requires PassesEight<Test, In>
  {
    return blocks<by8>(src, r, test);
  }

  [[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  static uint32_t by16(const uint32_t* s, int32_t& i, int32_t end, const Test& test) {
    __mmask16 passed = 0xFFFF;
    for (; i + 16 <= end; i += 16) passed &= test.template pass16<In>(_mm512_loadu_si512(s + i));
    return passed != 0xFFFF ? 1 : 0;
  }

  [[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  static bool sixteens(PictureEditor& src, const Rect& r, const Test& test)
    requires PassesSixteen<Test, In>
  {
    return blocks<by16>(src, r, test);
  }
#endif
};

template <class In, class Test>
using ScanPassFor = WithEightsFor<ScanPass<In, Test>, In, Test>;

template <class In, class Test>
struct CountPass {
  [[gnu::always_inline]] static uint32_t run(PictureEditor& src, const Rect& r, const Test& test) {
    src.AdvanceRows(r.y0);
    uint32_t count = 0;
    for (int32_t row = r.y0; row < r.y1; ++row) {
      const uint32_t* s = src.rowPtr;
      for (int32_t x = r.x0; x < r.x1; ++x) count += test(In::load(s + x)) ? 1 : 0;
      src.NextRow();
    }
    return count;
  }


#if defined(__x86_64__)
  [[gnu::always_inline, gnu::target("avx2,bmi,bmi2,popcnt")]] static uint32_t eights(PictureEditor& src, const Rect& r,
                                                                                     const Test& test)
    requires PassesEight<Test, In>
  {
    src.AdvanceRows(r.y0);
    __m256i lanes = _mm256_setzero_si256();
    uint32_t count = 0;
    for (int32_t row = r.y0; row < r.y1; ++row) {
      const uint32_t* s = src.rowPtr;
      int32_t x = r.x0;
      for (; x + 8 <= r.x1; x += 8) {
        __builtin_prefetch(s + x + kAhead);
        const __m256i words = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + x));
        lanes = _mm256_sub_epi32(lanes, test.template pass8<In>(words));
      }
      for (; x < r.x1; ++x) count += test(In::load(s + x)) ? 1 : 0;
      src.NextRow();
    }
    alignas(32) uint32_t sums[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(sums), lanes);
    for (uint32_t sum : sums) count += sum;
    return count;
  }

  [[gnu::always_inline, gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,bmi,bmi2,popcnt")]]
  static uint32_t sixteens(PictureEditor& src, const Rect& r, const Test& test)
    requires PassesSixteen<Test, In>
  {
    src.AdvanceRows(r.y0);
    uint32_t count = 0;
    for (int32_t row = r.y0; row < r.y1; ++row) {
      const uint32_t* s = src.rowPtr;
      int32_t x = r.x0;
      for (; x + 16 <= r.x1; x += 16) {
        __builtin_prefetch(s + x + kAhead);
        const __mmask16 passed = test.template pass16<In>(_mm512_loadu_si512(s + x));
        count += static_cast<uint32_t>(std::popcount(static_cast<uint32_t>(passed)));
      }
      for (; x < r.x1; ++x) count += test(In::load(s + x)) ? 1 : 0;
      src.NextRow();
    }
    return count;
  }
#endif
};

template <class In, class Test>
using CountPassFor = WithEightsFor<CountPass<In, Test>, In, Test>;

// Four interleaved tallies, so that runs of one value do not wait on each
// other. A family whose channels are bytes is counted from its bytes in memory.
template <class In>
struct HistogramPass {
  [[gnu::always_inline]] static void tally_pixel(uint32_t (&tally)[3][256], const uint32_t* p) {
    if constexpr (requires { In::kRed; } && std::endian::native == std::endian::little) {
      const auto* bytes = reinterpret_cast<const unsigned char*>(p);
      ++tally[0][bytes[In::kRed / 8]];
      ++tally[1][bytes[In::kGreen / 8]];
      ++tally[2][bytes[In::kBlue / 8]];
    } else {
      const Rgb c = In::load(p);
      ++tally[0][c.r];
      ++tally[1][c.g];
      ++tally[2][c.b];
    }
  }

  [[gnu::always_inline]] static void run(PictureEditor& src, const Rect& r, uint32_t (&counts)[3][256]) {
    uint32_t tally[4][3][256] = {};
    src.AdvanceRows(r.y0);
    for (int32_t row = r.y0; row < r.y1; ++row) {
      const uint32_t* s = src.rowPtr;
      int32_t x = r.x0;
      for (; x + 4 <= r.x1; x += 4) {
        tally_pixel(tally[0], s + x);
        tally_pixel(tally[1], s + x + 1);
        tally_pixel(tally[2], s + x + 2);
        tally_pixel(tally[3], s + x + 3);
      }
      for (; x < r.x1; ++x) tally_pixel(tally[0], s + x);
      src.NextRow();
    }
    for (int32_t channel = 0; channel < 3; ++channel) {
      for (int32_t v = 0; v < 256; ++v) {
        counts[channel][v] += tally[0][channel][v] + tally[1][channel][v] + tally[2][channel][v] + tally[3][channel][v];
      }
    }
  }
};

// `kGeneralOnly`: the caller handles pictures of one family itself, so only
// the general loop is compiled.
template <bool kGeneralOnly = false, class Kernel, class... Sources>
void map_sources(PictureEditor& dst, Rect r, const Kernel& kernel, Sources&... src) {
  constexpr size_t N = sizeof...(Sources);
  r.x1 = std::min({r.x1, dst.width, src.width...});
  r.y1 = std::min({r.y1, dst.height, src.height...});
  if (r.empty() || family_of(dst.pixelFormat) == Family::kUnknown) return;
  const std::array<PictureEditor*, N> sources{&src...};
  const bool stream = r.bytes() > StreamThreshold();
  const auto walk = [&](auto out, auto... in) {
    using L = decltype(out);
    dispatch<MapPass<L, Kernel, N>>(dst, sources, r, kernel, out, std::array<L, N>{in...}, stream);
  };
  if constexpr (kGeneralOnly) {
    walk(ShiftLayout::of(dst.pixelFormat), ShiftLayout::of(src.pixelFormat)...);
  } else {
    with_layouts(walk, dst, src...);
  }
}

}  // namespace walk_detail

// One source pixel to one result pixel at the same place, over `r`.
template <class Kernel>
void map(PictureEditor& src, PictureEditor& dst, Rect r, const Kernel& kernel) {
  walk_detail::map_sources(dst, r, kernel, src);
}

// Several sources to one result pixel at the same place, over `r`: the kernel
// takes one colour per source, in the order the sources are given.
template <class Kernel, class... Sources>
void map_many(PictureEditor& dst, Rect r, const Kernel& kernel, Sources&... src) {
  walk_detail::map_sources(dst, r, kernel, src...);
}

// map through the general loop only, for a caller that maps pictures of one
// family by other means.
template <class Kernel>
void map_general(PictureEditor& src, PictureEditor& dst, Rect r, const Kernel& kernel) {
  walk_detail::map_sources<true>(dst, r, kernel, src);
}

// One source word to one result word at the same place, over `r`: the kernel
// maps raw words, knowing both layouts itself.
template <class Kernel>
void map_words(PictureEditor& src, PictureEditor& dst, Rect r, const Kernel& kernel) {
  r.x1 = std::min({r.x1, src.width, dst.width});
  r.y1 = std::min({r.y1, src.height, dst.height});
  if (r.empty()) return;
  dispatch<walk_detail::WordPass<Kernel>>(src, dst, r, kernel, r.bytes() > StreamThreshold());
}

// map with the kernel's word form `Word<L>(kernel)` when source and result are
// of one family L: a few operations on the whole word instead of each channel
// taken apart and put back, which leaves a pass that must keep up with memory
// with too little time to ask for it.
template <template <class> class Word, class Kernel>
void map_by_words(PictureEditor& src, PictureEditor& dst, Rect r, const Kernel& kernel) {
  if (family_of(src.pixelFormat) != family_of(dst.pixelFormat)) return map_general(src, dst, r, kernel);
  with_layout(dst.pixelFormat, [&](auto layout) {
    using L = decltype(layout);
    if constexpr (L::kWrites) map_words(src, dst, r, Word<L>(kernel));
  });
}

// Whether every pixel of `r` passes `test` (a pure bool(Rgb)), row by row, left
// to right; true when `r` holds none. Leaves the cursor on the row of the first
// pixel that fails.
template <class Test>
bool scan(PictureEditor& src, Rect r, const Test& test) {
  r.x1 = std::min(r.x1, src.width);
  r.y1 = std::min(r.y1, src.height);
  if (r.empty()) return true;
  return with_layout(src.pixelFormat,
                     [&](auto in) { return dispatch<walk_detail::ScanPassFor<decltype(in), Test>>(src, r, test); });
}

// How many pixels of `r` pass `test` (a pure bool(Rgb)).
template <class Test>
uint32_t count(PictureEditor& src, Rect r, const Test& test) {
  r.x1 = std::min(r.x1, src.width);
  r.y1 = std::min(r.y1, src.height);
  if (r.empty()) return 0;
  return with_layout(src.pixelFormat,
                     [&](auto in) { return dispatch<walk_detail::CountPassFor<decltype(in), Test>>(src, r, test); });
}

// Adds every pixel of `r` to counts[0][R], counts[1][G] and counts[2][B].
inline void histogram(PictureEditor& src, Rect r, uint32_t (&counts)[3][256]) {
  r.x1 = std::min(r.x1, src.width);
  r.y1 = std::min(r.y1, src.height);
  if (r.empty()) return;
  with_layout(src.pixelFormat,
              [&](auto in) { dispatch<walk_detail::HistogramPass<decltype(in)>>(src, r, counts); });
}

}  // namespace picture
