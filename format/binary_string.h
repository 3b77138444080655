#pragma once

#include "frame/host_interface.h"

namespace picture {

// A picture as its binary string ("PPIC" header, then 24-bit RGB rows), and
// back. Every failure yields nil; neither raises.
REALstring PicturetoBinaryString(REALpicture picture);
REALpicture BinaryStringtoPicture(REALstring data);

}  // namespace picture
