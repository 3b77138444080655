#pragma once

#include "frame/host_interface.h"

namespace picture {

REALpicture InvertPicture(REALpicture source, int32_t left, int32_t top, int32_t width, int32_t height);
REALpicture InvertPicture2(REALpicture source);
REALpicture InvertGrayPicture(REALpicture source, int32_t left, int32_t top, int32_t width, int32_t height);
REALpicture InvertGrayPicture2(REALpicture source);

}  // namespace picture
