// Turning the arithmetic of an operation back into channel values. A double is
// truncated toward zero; one that does not fit a signed 32-bit integer, NaN
// included, becomes the most negative 32-bit integer, as the host's own
// conversion gives (a plain C++ cast would be undefined there).
#pragma once

#include <cstdint>
#include <limits>

namespace picture {

inline int32_t TruncateToInt32(double value) {
  // Both bounds are exact doubles; the negation also rejects NaN.
  if (!(value > -2147483649.0 && value < 2147483648.0)) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value);
}

inline uint32_t Clamp255(int32_t value) {
  return static_cast<uint32_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

}  // namespace picture
