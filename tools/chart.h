// The demo picture, made by the project itself: a 256x128 opaque colour chart.
//   rows   0-31   hue ramp, full saturation (x = 0 is red, through yellow,
//                 green, cyan, blue and magenta)
//   rows  32-47   the same ramp at half value
//   rows  48-63   the same ramp at half saturation
//   rows  64-95   grey ramp, grey level x
//   rows  96-127  eight 32-pixel patches: black, white, red, green, blue, cyan,
//                 magenta, yellow
#pragma once

#include "tools/image_io.h"

namespace picture_host {

constexpr int32_t kChartWidth = 256;
constexpr int32_t kChartHeight = 128;

// The fully saturated colour at column x (0-255) of the hue ramp.
Rgba ChartHue(int32_t x);
Image MakeChart();

}  // namespace picture_host

namespace picture_host {

// A photo-like picture, 320x200, opaque: a sky graded to the horizon, a sun, two
// ranges of hills, a lake with the sun's reflection and a little grain; grey,
// colourful, bright and dark parts for every operation to show on.
constexpr int32_t kSceneWidth = 320;
constexpr int32_t kSceneHeight = 200;
Image MakeScene();

}  // namespace picture_host
