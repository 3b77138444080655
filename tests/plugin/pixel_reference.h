// Test-side helpers for picture operations: the ways a host lends pictures, seeded
// random pictures, and what a fresh result picture holds before anything is
// written into it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

#include "host/test_host.h"

namespace pixeltest {

using testhost::HostKind;
using testhost::Pixel;

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

inline std::string describe(Pixel p) {
  char text[32];
  std::snprintf(text, sizeof text, "(%d, %d, %d, a %d)", p.r, p.g, p.b, p.a);
  return text;
}

}  // namespace pixeltest
