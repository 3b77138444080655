#pragma once

#include "frame/host_interface.h"

namespace picture {

// The property "EmbeddedMaskZRK(swap as boolean) as picture": the alpha of every
// pixel as a grey picture, and a grey picture's values written back in place.
REALpicture GetEmbededMask(REALpicture self, RBBoolean swap);
void SetEmbededMask(REALpicture self, RBBoolean swap, REALpicture mask);

// Whether the picture has a separate mask; asking never makes one.
RBBoolean PictureHasMask(REALpicture self);

}  // namespace picture
