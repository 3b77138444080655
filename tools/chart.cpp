#include "tools/chart.h"

#include <algorithm>
#include <cmath>

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

namespace picture_host {

Image MakeScene() {
  Image scene(kSceneWidth, kSceneHeight, false);
  uint32_t seed = 7;
  const auto mix = [](double a, double b, double t) { return a + (b - a) * t; };
  constexpr int32_t kHorizon = 130;
  for (int32_t y = 0; y < kSceneHeight; ++y) {
    for (int32_t x = 0; x < kSceneWidth; ++x) {
      double r, g, b;
      const double far = 100 + 12 * std::sin(x * 0.05) + 6 * std::sin(x * 0.13 + 1);
      const double near = 118 + 10 * std::sin(x * 0.03 + 2) + 4 * std::sin(x * 0.21);
      const double sunDistance = std::hypot(x - 230.0, y - 55.0);
      if (y >= kHorizon) {  // the lake, darker downwards, the sun's glitter in a column
        const double t = (y - kHorizon) / double(kSceneHeight - kHorizon);
        r = mix(60, 20, t), g = mix(90, 40, t), b = mix(130, 70, t);
        if (std::abs(x - 230) < 10 - t * 6 && (y / 3) % 2 == 0) r = 250, g = 220, b = 150;
      } else if (y > near) {
        r = 40, g = 90 + (y - near) * 0.8, b = 35;
      } else if (y > far) {
        r = 90, g = 110, b = 120;
      } else if (sunDistance < 18) {
        r = 255, g = 236, b = 170;
      } else {
        const double t = y / double(kHorizon);
        r = mix(70, 240, t), g = mix(120, 180, t), b = mix(210, 150, t);
        const double glow = std::max(0.0, 1 - sunDistance / 70);
        r = mix(r, 255, glow * 0.6), g = mix(g, 220, glow * 0.6), b = mix(b, 160, glow * 0.6);
      }
      seed = seed * 1664525u + 1013904223u;
      const double grain = static_cast<int>(seed >> 28) - 8;
      const auto clamp = [&](double v) { return static_cast<uint8_t>(std::clamp(v + grain * 0.5, 0.0, 255.0)); };
      scene.Set(x, y, {clamp(r), clamp(g), clamp(b)});
    }
  }
  // A grey stone, exactly grey, for the grey-only operations.
  for (int32_t y = 150; y < 175; ++y) {
    for (int32_t x = 40; x < 90; ++x) {
      if (std::hypot((x - 65) / 25.0, (y - 162) / 12.5) < 1) scene.Set(x, y, {128, 128, 128});
    }
  }
  return scene;
}

}  // namespace picture_host
