#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

class PictureEditor;
struct Rect;

// Lattice nodes per dimension. Run reaches indices 0..15 only (node i stands for
// channel value 17·i); 16 and 17 are storage that Table reads and writes.
inline constexpr uint32_t kLutNodes = 18;
inline constexpr uint32_t kLutSpacing = 17;

// Instance data of the lookup-table class, in the order the host's programs rely
// on. table[r][g][b][x]: output channel x (0 red, 1 green, 2 blue) of a node.
struct PictureLut3DData {
  REALpicture source;
  REALpicture destination;
  int32_t MinX;
  int32_t MinY;
  int32_t MaxX;
  int32_t MaxY;
  double table[kLutNodes][kLutNodes][kLutNodes][3];
};

void PictureLut3DConstructor(REALobject instance);
void PictureLut3DClose(REALobject instance);  // also the destructor
RBBoolean PictureLut3DRun(REALobject instance);
double GetPMX(REALobject instance, uint32_t r, uint32_t g, uint32_t b, uint32_t x);
void SetPMX(REALobject instance, uint32_t r, uint32_t g, uint32_t b, uint32_t x, double value);

// Run's mapping of `r` from src into dst through `table`, by the row pass of the
// active instruction set, or pixel by pixel through the general walker
// (`perPixel`, the tests' oracle). False when its tables cannot be allocated.
bool MapLut3D(PictureEditor& src, PictureEditor& dst, Rect r, const double (&table)[kLutNodes][kLutNodes][kLutNodes][3],
              bool perPixel);

}  // namespace picture
