#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

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

}  // namespace picture
