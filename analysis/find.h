#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

// The first exact occurrence of `pic` in `haystack`, topmost then leftmost; its
// top-left corner goes to x and y, which stay 0 whenever the search fails.
RBBoolean FindPicture(REALpicture haystack, REALpicture pic, int32_t* x, int32_t* y);

}  // namespace picture
