#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

// Pixels whose red, green and blue equal those of `colour` (0x00RRGGBB).
int32_t CountColorZRK(REALpicture picture, uint32_t colour);

// Adds every pixel to three 256-counter histograms: red into `first`, green into
// `second`, blue into `third` (the host declares the last two as blue, green). A
// nil variable gets a new block; `count` becomes the pixel count, -1 on failure.
void CountColorsZRK(REALpicture picture, REALmemoryBlock* first, REALmemoryBlock* second, REALmemoryBlock* third,
                    int32_t* count);

// Every channel through its 256-byte table, into `dest` when it is writable and
// large enough, else into a new opaque picture.
REALpicture TransformColorsZRK(REALpicture picture, REALmemoryBlock red, REALmemoryBlock blue, REALmemoryBlock green,
                               REALpicture dest);

}  // namespace picture
