#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

// Whether every pixel of a rectangle is black, white or grey. A negative width
// or height reaches to the picture's edge; the no-argument forms test the whole
// picture.
RBBoolean isBlack(REALpicture picture, int32_t left, int32_t top, int32_t width, int32_t height);
RBBoolean isBlack2(REALpicture picture);
RBBoolean isWhite(REALpicture picture, int32_t left, int32_t top, int32_t width, int32_t height);
RBBoolean isWhite2(REALpicture picture);
RBBoolean isGray(REALpicture picture, int32_t tolerance, int32_t left, int32_t top, int32_t width, int32_t height);
RBBoolean isGray2(REALpicture picture, int32_t tolerance);

// The fraction of all pixels whose green differs from red or blue by more than
// `threshold`, near-black pixels never counted.
double ColornessZRK(REALpicture picture, int32_t threshold);

}  // namespace picture
