#pragma once

#include "frame/host_interface.h"

namespace picture {

// Moves a picture's content in place by `delta` pixels (positive: down or right).
// `wrap` rotates it; otherwise the content shifts and the vacated strip turns
// opaque white. `scrollmask` moves the picture's separate mask along first.
// Vertical: false when the picture (or, first, its mask) could not be scrolled.
RBBoolean ScrollVerticalZRK(REALpicture picture, int32_t delta, RBBoolean wrap, RBBoolean scrollmask);
// Always true.
RBBoolean ScrollHorizontalZRK(REALpicture picture, int32_t delta, RBBoolean wrap, RBBoolean scrollmask);
// Horizontal, then vertical; the vertical result.
RBBoolean ScrollZRK(REALpicture picture, int32_t deltaX, int32_t deltaY, RBBoolean wrap, RBBoolean scrollmask);

}  // namespace picture
