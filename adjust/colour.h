#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

REALpicture SaturationPicture(REALpicture source, int32_t amount);
// Colours are 0x00RRGGBB; the top byte is ignored.
REALpicture TintPicture(REALpicture source, uint32_t greyBase, uint32_t sepiaBase);

}  // namespace picture
