// Pictures the tool tests make for themselves.
#pragma once

#include <cstdint>

#include "tools/image_io.h"

namespace picture_host::testing {

// Deterministic noise, so that every channel value and every layout byte matters.
inline Image Noise(int32_t width, int32_t height, bool alpha, uint32_t seed) {
  Image image(width, height, alpha);
  uint32_t state = seed * 2654435761u + 1;
  for (uint8_t& byte : image.pixels) {
    state = state * 1664525u + 1013904223u;
    byte = static_cast<uint8_t>(state >> 24);
  }
  return image;
}

// A smooth picture, which JPEG keeps close to its input.
inline Image Gradient(int32_t width, int32_t height) {
  Image image(width, height, false);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      image.Set(x, y, {static_cast<uint8_t>(x * 255 / (width - 1)),
                       static_cast<uint8_t>(y * 255 / (height - 1)), 128});
    }
  }
  return image;
}

}  // namespace picture_host::testing
