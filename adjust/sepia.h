#pragma once

#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

// Instance data of the sepia class, in the order the host's programs rely on.
// weight[1] is served by the property "FactorBlue" yet weighs green, and
// weight[2] by "FactorGreen" yet weighs blue: the crossed names are kept.
struct PictureSepiaData {
  double weight[3];
  REALpicture source;
  REALpicture destination;
  int32_t MinX;
  int32_t MinY;
  int32_t MaxX;
  int32_t MaxY;
  int32_t SepiaRed;
  int32_t SepiaGreen;
  int32_t SepiaBlue;
};

void PictureSepiaConstructor(REALobject instance);
void PictureSepiaClose(REALobject instance);  // also the destructor
RBBoolean PictureSepiaRun(REALobject instance);

double GetFactorR(REALobject instance);
void SetFactorR(REALobject instance, double value);
double GetFactorG(REALobject instance);
void SetFactorG(REALobject instance, double value);
double GetFactorB(REALobject instance);
void SetFactorB(REALobject instance, double value);

}  // namespace picture
