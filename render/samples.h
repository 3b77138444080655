#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

// A waveform picture of the samples in `Samples`. Colours are 0x00RRGGBB. Bits
// names the encoding: 7 signed and 8 unsigned bytes, 15 signed and 16 unsigned
// 16-bit words in host byte order, -32 and -64 floats. Nil for a nil block (with
// a "NilObjectException"), an unknown encoding, a sample count the block cannot
// hold, or a size no picture can have.
REALpicture RenderSamples(REALmemoryBlock Samples, int32_t SampleCount, int32_t Smooth, int32_t Width, int32_t Height,
                          int32_t outlinewidth, uint32_t BackColor, uint32_t ForeColor, uint32_t OutLineColor,
                          int32_t Bits, RBBoolean AutoScale);

}  // namespace picture
