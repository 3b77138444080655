#include "tools/chart.h"

namespace picture_host {

Rgba ChartHue(int32_t x) {
  // Six sectors of 256 steps; the column runs through them six steps at a time.
  const int pos = x * 6;
  const auto f = static_cast<uint8_t>(pos % 256);
  const auto rf = static_cast<uint8_t>(255 - f);
  switch (pos / 256) {
    case 0: return {255, f, 0};
    case 1: return {rf, 255, 0};
    case 2: return {0, 255, f};
    case 3: return {0, rf, 255};
    case 4: return {f, 0, 255};
    default: return {255, 0, rf};
  }
}

Image MakeChart() {
  static constexpr Rgba kPatches[8] = {
      {0, 0, 0},     {255, 255, 255}, {255, 0, 0},   {0, 255, 0},
      {0, 0, 255},   {0, 255, 255},   {255, 0, 255}, {255, 255, 0},
  };
  Image chart(kChartWidth, kChartHeight, false);
  for (int32_t x = 0; x < kChartWidth; ++x) {
    const Rgba hue = ChartHue(x);
    const Rgba dark = {static_cast<uint8_t>((hue.r + 1) / 2), static_cast<uint8_t>((hue.g + 1) / 2),
                       static_cast<uint8_t>((hue.b + 1) / 2)};
    const Rgba pastel = {static_cast<uint8_t>(255 - (255 - hue.r) / 2),
                         static_cast<uint8_t>(255 - (255 - hue.g) / 2),
                         static_cast<uint8_t>(255 - (255 - hue.b) / 2)};
    const auto level = static_cast<uint8_t>(x);
    for (int32_t y = 0; y < kChartHeight; ++y) {
      Rgba c;
      if (y < 32) c = hue;
      else if (y < 48) c = dark;
      else if (y < 64) c = pastel;
      else if (y < 96) c = {level, level, level};
      else c = kPatches[x / 32];
      chart.Set(x, y, c);
    }
  }
  return chart;
}

}  // namespace picture_host
