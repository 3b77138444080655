#pragma once

#include <cstdint>

#include "frame/host_interface.h"
#include "pixels/picture_editor.h"

namespace picture {

// The first exact occurrence of `pic` in `haystack`, topmost then leftmost; its
// top-left corner goes to x and y, which stay 0 whenever the search fails.
RBBoolean FindPicture(REALpicture haystack, REALpicture pic, int32_t* x, int32_t* y);

// How the search splits its work; the defaults serve every call, tests narrow
// them to force each pass and hash collisions.
struct SearchTuning {
  // Comparisons the direct pass may spend before the hashed pass takes over, at
  // the start and per candidate screened (a negative start hands over at once).
  int64_t startBudget = 4096;
  int64_t perCandidate = 4;
  // Bits of each pixel's channels that enter the row hashes (all of them).
  uint64_t keyMask = ~uint64_t{0};
};

// The search over two open editors: true and the corner in x and y when found.
bool FindIn(const PictureEditor& hay, const PictureEditor& pattern, const SearchTuning& tuning, int32_t& x,
            int32_t& y);

}  // namespace picture
