// Exact colour tests on pixel words. A layout's channel bits are those its
// store sets for white and not for black, so a word's red, green and blue
// equal a colour's exactly when (word & mask) == key, and a word rewritten with
// its own colour is (word & mask) | opaque. An unknown layout has no channel
// bits and every word reads black: its key matches all words or none.
#pragma once

#include <cstdint>

#include "pixels/layout.h"

namespace picture {

template <class L>
struct ColourKey {
  uint32_t mask, key, opaque;
  explicit ColourKey(Rgb c)
      : mask(L::store({255, 255, 255}) ^ L::store({0, 0, 0})),
        key(L::kWrites ? L::store(c) & mask : (c.r | c.g | c.b) != 0),
        opaque(L::store({0, 0, 0})) {}
  bool operator()(uint32_t word) const { return (word & mask) == key; }
};

}  // namespace picture
