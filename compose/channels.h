#pragma once

#include "frame/host_interface.h"

namespace picture {

REALpicture MergePicture(REALpicture source1, REALpicture source2);
// The arguments come red, blue, green, as the host's programs pass them.
REALpicture CombinePicturesZRK(REALpicture red, REALpicture blue, REALpicture green);
REALpicture ReplaceRedChannel(REALpicture self, REALpicture channel);
REALpicture ReplaceGreenChannel(REALpicture self, REALpicture channel);
REALpicture ReplaceBlueChannel(REALpicture self, REALpicture channel);

}  // namespace picture
