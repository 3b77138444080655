// Test-side helpers for picture operations: the ways a host lends pictures, seeded
// random pictures, what a fresh result picture holds before anything is written
// into it, and the check of a result picture against a per-pixel reference.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/test_host.h"

namespace pixeltest {

using testhost::CallResult;
using testhost::HostKind;
using testhost::Pixel;
using testhost::Ref;
using testhost::Value;

// One way of lending a source picture, and the result layouts that host makes.
struct Lending {
  const char* name;
  HostKind kind = HostKind::kDesktop;
  uint32_t alphaInfo = 5;  // desktop source layout
  bool hasAlphaChannel = false;
  int32_t rowPadding = 0;
  bool drawOnly = false;
  uint32_t newPictureAlphaInfo = 5;
  uint32_t alphaPictureAlphaInfo = 1;
};
inline void PrintTo(const Lending& l, std::ostream* os) { *os << l.name; }

inline const Lending kLendings[] = {
    {"Rgba1", HostKind::kDesktop, 1},
    {"Argb2", HostKind::kDesktop, 2, false, 0, false, 6},
    {"Rgba3", HostKind::kDesktop, 3},
    {"Argb4", HostKind::kDesktop, 4, false, 0, false, 6},
    {"Rgbx5", HostKind::kDesktop, 5},
    {"Xrgb6", HostKind::kDesktop, 6, false, 0, false, 6},
    {"PaddedRows", HostKind::kDesktop, 5, false, 12, false, 6},
    {"AlphaRgba1", HostKind::kDesktop, 1, true, 0, false, 5, 1},
    {"AlphaArgb2", HostKind::kDesktop, 2, true, 8, false, 6, 2},
    {"DrawOnly", HostKind::kDesktop, 5, false, 0, true, 6},
    {"Console", HostKind::kConsole},
    {"ConsoleAlpha", HostKind::kConsole, 5, true},
    {"Web", HostKind::kWeb},
};

// The lending of that name, so that a test over a few of them names them as kLendings does.
inline const Lending& lending(std::string_view name) {
  for (const Lending& l : kLendings) {
    if (l.name == name) return l;
  }
  throw std::invalid_argument(std::string(name));
}

// A memory block of `size` bytes, byte i being byte(i).
template <class Byte>
testhost::Ref memory_block(testhost::Host& host, int32_t size, Byte byte) {
  testhost::Ref block = host.NewMemoryBlock(size);
  for (int32_t i = 0; i < size; ++i) host.Bytes(block.block())[i] = static_cast<uint8_t>(byte(i));
  return block;
}

inline testhost::HostConfig config_for(const Lending& l) {
  testhost::HostConfig config;
  config.kind = l.kind;
  config.newPictureAlphaInfo = l.newPictureAlphaInfo;
  config.alphaPictureAlphaInfo = l.alphaPictureAlphaInfo;
  return config;
}

// A desktop-default picture of the given size.
inline testhost::PictureSpec sized(int32_t width, int32_t height) {
  testhost::PictureSpec shape;
  shape.width = width;
  shape.height = height;
  return shape;
}

inline testhost::PictureSpec shape_for(const Lending& l, int32_t width, int32_t height) {
  testhost::PictureSpec shape = sized(width, height);
  shape.alphaInfo = l.alphaInfo;
  shape.hasAlphaChannel = l.hasAlphaChannel;
  shape.rowPadding = l.rowPadding;
  shape.drawOnly = l.drawOnly;
  return shape;
}

// The layout code a result picture of this host has.
inline int32_t result_format(const Lending& l) {
  if (l.kind != HostKind::kDesktop) return 8;
  return static_cast<int32_t>(l.hasAlphaChannel ? l.alphaPictureAlphaInfo : l.newPictureAlphaInfo);
}

// What a fresh result picture holds where nothing was written.
inline Pixel fresh_pixel(const Lending& l) {
  const bool rowTable = l.kind != HostKind::kDesktop;
  if (l.hasAlphaChannel) return rowTable ? Pixel{0, 0, 0, 0x7F} : Pixel{0, 0, 0, 0};
  return rowTable ? Pixel{255, 255, 255, 0} : Pixel{255, 255, 255, 255};
}

// The alpha byte of every pixel an operation writes.
inline uint8_t written_alpha(const Lending& l) { return l.kind != HostKind::kDesktop ? 0 : 255; }

// A source picture with seeded random pixels, every fourth one grey.
inline testhost::Ref random_picture(testhost::Host& host, const Lending& l, int32_t width, int32_t height,
                                    uint32_t seed) {
  testhost::Ref picture = host.NewPicture(shape_for(l, width, height));
  std::mt19937 rng(seed);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const uint32_t v = rng();
      Pixel p{static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
              static_cast<uint8_t>(v >> 24)};
      if (l.kind != HostKind::kDesktop) p.a &= 0x7F;
      if ((x + y) % 4 == 0) p.g = p.b = p.r;
      host.SetPixel(picture.picture(), x, y, p);
    }
  }
  return picture;
}

// 32 x 16: the first 256 pixels take every channel value in each channel, as
// (i, i + 85, 255 - i); the rest are random.
inline testhost::Ref ramp_picture(testhost::Host& host, const Lending& l, uint32_t seed) {
  testhost::Ref picture = random_picture(host, l, 32, 16, seed);
  for (int32_t i = 0; i < 256; ++i) {
    Pixel p = host.GetPixel(picture.picture(), i % 32, i / 32);
    p.r = static_cast<uint8_t>(i);
    p.g = static_cast<uint8_t>(i + 85);
    p.b = static_cast<uint8_t>(255 - i);
    host.SetPixel(picture.picture(), i % 32, i / 32, p);
  }
  return picture;
}

// The head of a picture binary string: magic, big-endian size, width, height, bits and pixel offset, 16 zeros.
inline std::string binary_header(uint32_t size, uint32_t width, uint32_t height, uint32_t bits = 32,
                                 uint32_t offset = 40) {
  std::string head = "PPIC";
  for (const uint32_t v : {size, width, height, bits, offset}) head += {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
  return head + std::string(16, '\0');
}

inline std::string describe(Pixel p) {
  char text[32];
  std::snprintf(text, sizeof text, "(%d, %d, %d, a %d)", p.r, p.g, p.b, p.a);
  return text;
}

inline std::vector<Pixel> pixels_of(testhost::Host& host, REALpicture picture) {
  std::vector<Pixel> pixels;
  for (int32_t y = 0; y < host.Height(picture); ++y)
    for (int32_t x = 0; x < host.Width(picture); ++x) pixels.push_back(host.GetPixel(picture, x, y));
  return pixels;
}

// A call's result against the source's pixels from before the call: a new picture
// of the source's size, alpha kind and result layout; at each pixel the colour
// that want(x, y, source pixel) gives, with the written alpha, or what a fresh
// picture holds where it gives none; and the source unchanged.
template <class Want>
::testing::AssertionResult result_matches(testhost::Host& host, const Lending& l, REALpicture source,
                                          const std::vector<Pixel>& before, const testhost::CallResult& r, Want want) {
  if (!r.ok()) return ::testing::AssertionFailure() << r.error;
  if (r.exception) return ::testing::AssertionFailure() << "raised " << r.exception->className;
  if (!std::holds_alternative<testhost::Ref>(r.value)) return ::testing::AssertionFailure() << "returned nil";
  const REALpicture result = std::get<testhost::Ref>(r.value).picture();
  const int32_t width = host.Width(source), height = host.Height(source);
  if (result == source || host.Width(result) != width || host.Height(result) != height ||
      host.HasAlphaChannel(result) != l.hasAlphaChannel || host.PixelFormat(result) != result_format(l))
    return ::testing::AssertionFailure() << "not a new picture of the source's shape";
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const Pixel was = before[static_cast<size_t>(y) * width + x];
      const std::optional<Pixel> written = want(x, y, was);
      Pixel expected = fresh_pixel(l);
      if (written) {
        expected = *written;
        expected.a = written_alpha(l);
      }
      const Pixel got = host.GetPixel(result, x, y);
      if (got != expected)
        return ::testing::AssertionFailure() << "at " << x << "," << y << " from " << describe(was) << ": got "
                                             << describe(got) << ", want " << describe(expected);
      if (host.GetPixel(source, x, y) != was)
        return ::testing::AssertionFailure() << "the source changed at " << x << "," << y;
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace pixeltest
