// Pixel formats as types. Each family knows how one 32-bit word holds R, G and
// B, and how a new opaque pixel is written; nothing else in the plug-in knows
// byte order. Every write is opaque: alpha byte 255 in the bitmap layouts, top
// byte 0 in the row-table layout. An unknown format reads black and writes
// nothing.
#pragma once

#include <cstdint>

namespace picture {

struct Rgb {
  uint32_t r, g, b;  // each 0..255
};

// Codes 1, 3, 5: bytes R, G, B, A.
struct RgbaLayout {
  static constexpr bool kWrites = true;
  static Rgb load(const uint32_t* p) { return {*p & 255, (*p >> 8) & 255, (*p >> 16) & 255}; }
  static uint32_t store(Rgb c) { return c.r | c.g << 8 | c.b << 16 | 0xFF000000u; }
};

// Codes 2, 4, 6: bytes A, R, G, B.
struct ArgbLayout {
  static constexpr bool kWrites = true;
  static Rgb load(const uint32_t* p) { return {(*p >> 8) & 255, (*p >> 16) & 255, *p >> 24}; }
  static uint32_t store(Rgb c) { return 0xFFu | c.r << 8 | c.g << 16 | c.b << 24; }
};

// Code 8, console and web rows: blue in bits 0-7, green 8-15, red 16-23.
struct RowTableLayout {
  static constexpr bool kWrites = true;
  static Rgb load(const uint32_t* p) { return {(*p >> 16) & 255, (*p >> 8) & 255, *p & 255}; }
  static uint32_t store(Rgb c) { return c.r << 16 | c.g << 8 | c.b; }
};

struct UnknownLayout {
  static constexpr bool kWrites = false;
  static Rgb load(const uint32_t*) { return {0, 0, 0}; }
  static uint32_t store(Rgb) { return 0; }
};

inline constexpr uint32_t kRgbaFormats = 42;  // bits 1, 3, 5
inline constexpr uint32_t kArgbFormats = 84;  // bits 2, 4, 6

// Calls `f` with the layout family of `format`: the one format test of a call.
template <class F>
decltype(auto) with_layout(int32_t format, F&& f) {
  const uint32_t bit = format >= 0 && format < 32 ? uint32_t{1} << format : 0;
  if (bit & kRgbaFormats) return f(RgbaLayout{});
  if (bit & kArgbFormats) return f(ArgbLayout{});
  if (format == 8) return f(RowTableLayout{});
  return f(UnknownLayout{});
}

}  // namespace picture
