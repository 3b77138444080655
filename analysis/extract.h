#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

// Colours are 0x00RRGGBB; the top byte is ignored.
REALpicture ReplaceColorZRK(REALpicture source, uint32_t searchColor, uint32_t replaceWithColor);
REALpicture ExtractColorZRK(REALpicture source, uint32_t searchColor, uint32_t replaceWithColor,
                            uint32_t backGroundColor);
REALpicture ExtractColorRectangleMaskZRK(REALpicture source, int32_t left, int32_t top, int32_t width, int32_t height);
REALpicture ExtractColorRectangleMaskZRK2(REALpicture source);

}  // namespace picture
