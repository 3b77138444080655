// Pixel formats as types. Each family knows how one 32-bit word holds R, G and
// B, and how a new opaque pixel is written; nothing else in the plug-in knows
// byte order. Every write is opaque: alpha byte 255 in the bitmap layouts, top
// byte 0 in the row-table layout. An unknown format reads black and writes
// nothing. Each family is also data (ShiftLayout): the walkers' general path
// for pictures of different families, one loop for every mix.
#pragma once

#include <cstdint>

namespace picture {

struct Rgb {
  uint32_t r, g, b;  // each 0..255
};

// A family whose channels are the bytes at bit offsets R, G and B of the word,
// and whose written words also hold `Opaque`.
template <uint32_t R, uint32_t G, uint32_t B, uint32_t Opaque>
struct ByteLayout {
  static constexpr bool kWrites = true;
  static constexpr uint32_t kRed = R, kGreen = G, kBlue = B, kOpaque = Opaque;
  static Rgb load(const uint32_t* p) { return {(*p >> R) & 255, (*p >> G) & 255, (*p >> B) & 255}; }
  static uint32_t store(Rgb c) { return c.r << R | c.g << G | c.b << B | Opaque; }
};

// Codes 1, 3, 5: bytes R, G, B, A.
using RgbaLayout = ByteLayout<0, 8, 16, 0xFF000000u>;
// Codes 2, 4, 6: bytes A, R, G, B.
using ArgbLayout = ByteLayout<8, 16, 24, 0xFFu>;
// Code 8, console and web rows: blue in bits 0-7, green 8-15, red 16-23.
using RowTableLayout = ByteLayout<16, 8, 0, 0u>;

struct UnknownLayout {
  static constexpr bool kWrites = false;
  static Rgb load(const uint32_t*) { return {0, 0, 0}; }
  static uint32_t store(Rgb) { return 0; }
};

inline constexpr uint32_t kRgbaFormats = 42;  // bits 1, 3, 5
inline constexpr uint32_t kArgbFormats = 84;  // bits 2, 4, 6

enum class Family { kUnknown, kRgba, kArgb, kRowTable };

inline Family family_of(int32_t format) {
  const uint32_t bit = format >= 0 && format < 32 ? uint32_t{1} << format : 0;
  if (bit & kRgbaFormats) return Family::kRgba;
  if (bit & kArgbFormats) return Family::kArgb;
  if (format == 8) return Family::kRowTable;
  return Family::kUnknown;
}

// Calls `f` with the layout family of `format`: the one format test of a call.
template <class F>
decltype(auto) with_layout(int32_t format, F&& f) {
  switch (family_of(format)) {
    case Family::kRgba:
      return f(RgbaLayout{});
    case Family::kArgb:
      return f(ArgbLayout{});
    case Family::kRowTable:
      return f(RowTableLayout{});
    case Family::kUnknown:
      break;
  }
  return f(UnknownLayout{});
}

// A family as data: the same loads and stores with the shifts held in the
// object. An unknown format has no channel bits (`channel` 0) and reads black.
struct ShiftLayout {
  uint32_t red, green, blue, channel, opaque;

  static ShiftLayout of(int32_t format) {
    return with_layout(format, [](auto layout) {
      using L = decltype(layout);
      if constexpr (L::kWrites) return ShiftLayout{L::kRed, L::kGreen, L::kBlue, 255, L::kOpaque};
      return ShiftLayout{0, 0, 0, 0, 0};
    });
  }
  Rgb load(const uint32_t* p) const {
    return {(*p >> red) & channel, (*p >> green) & channel, (*p >> blue) & channel};
  }
  uint32_t store(Rgb c) const { return c.r << red | c.g << green | c.b << blue | opaque; }
};

}  // namespace picture
