// What the two filter classes share: the processed block and their picture
// references. The block has the size that MinX..MaxX and MinY..MaxY describe but
// always starts at the top-left corner of source and result; that placement is
// kept on purpose. An end beyond the picture, or not after its start, means the
// picture's edge.
#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/host.h"
#include "pixels/walk.h"

namespace picture {

// Columns (or rows) processed: end - min, kept inside the picture so that a
// negative min cannot walk past the row.
inline int32_t block_extent(int32_t min, int32_t max, int32_t size) {
  const int64_t end = max > min && max < size ? max : size;
  return static_cast<int32_t>(std::max<int64_t>(std::min<int64_t>(end - min, size), 0));
}

inline Rect anchored_block(int32_t minX, int32_t minY, int32_t maxX, int32_t maxY, int32_t width,
                           int32_t height) {
  return Rect{0, 0, block_extent(minX, maxX, width), block_extent(minY, maxY, height)};
}

// Drops the instance's reference on `picture`, if any, and forgets it.
inline void release_picture(REALpicture& picture) {
  if (picture != nullptr) REALUnlockObject(reinterpret_cast<REALobject>(picture));
  picture = nullptr;
}

}  // namespace picture
