// The outline's anti-aliased line on a row table whose rows lie in reverse order (bitmap layouts: render_test):
// worked lines and the crossed blend, then seeded lines, ends far outside included, against the reference.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "render/wu_line.h"
#include "tests/plugin/render_reference.h"

namespace picture {
namespace {

using rendertest::Grid;

Grid flipped(Grid g) {
  for (int32_t y = 0; y < g.height / 2; ++y)
    std::swap_ranges(g.at(0, y), g.at(0, y) + g.width, g.at(0, g.height - 1 - y));
  return g;
}

// A row-table editor over a copy of a grid of 0x00RRGGBB colours, its rows reversed in memory.
struct Canvas {
  explicit Canvas(const Grid& g) : memory(flipped(g)) {
    for (int32_t y = 0; y < g.height; ++y) rows.push_back(memory.at(0, g.height - 1 - y));
    editor.pixelFormat = 8, editor.width = g.width, editor.height = g.height, editor.bytesPerRow = g.width * 4;
    editor.rowTable = rows.data(), editor.baseAddress = editor.rowPtr = rows[0];
  }
  Grid grid() const { return flipped(memory); }
  Grid memory;
  std::vector<uint32_t*> rows;
  PictureEditor editor;
};

void use_outline(uint32_t rgb) {
  gOutLineColorR = int32_t(rgb >> 16), gOutLineColorG = int32_t((rgb >> 8) & 255), gOutLineColorB = int32_t(rgb & 255);
}

// Outline (30, 60, 90) over (10, 200, 40): weight 85 gives (23, 53, 126) and 170 gives
// (16, 46, 163); ends and straight runs take the outline colour.
TEST(WuLine, WorkedLinesAndTheCrossedBlend) {
  const uint32_t kBack = 0x0AC828, kLine = 0x1E3C5A;
  // The rows one after another: '.' untouched, 'O' outline, 'a' weight 85, 'b' weight 170.
  const struct { int32_t x0, y0, x1, y1; const char* rows; } cases[] = {
      {1, 0, 4, 1, ".Oab....baO......."}, {4, 1, 1, 0, ".Oab....baO......."},
      {-3, 2, 2, 2, "............OOO..."}, {5, 2, 5, 0, ".....O.....O.....O"},
  };
  use_outline(kLine);
  for (const auto& c : cases) {
    Grid want(6, 3, kBack);
    Canvas canvas(want);
    DrawWuLine(canvas.editor, c.x0, c.y0, c.x1, c.y1);
    for (int32_t i = 0; i < 18; ++i)
      want.rgb[i] = c.rows[i] == 'O' ? kLine : c.rows[i] == 'a' ? 0x17357E : c.rows[i] == 'b' ? 0x102EA3 : kBack;
    EXPECT_EQ(canvas.grid(), want) << "from " << c.x0 << "," << c.y0;
  }
  Canvas one(Grid(1, 1, kBack));
  DrawPixel(one.editor, 0, 0, 255);  // green and blue swap
  EXPECT_EQ(one.grid().rgb[0], 0x0A28C8u);
}

TEST(WuLine, SeededLinesMatchTheStepwiseReference) {
  std::mt19937 rng(5);
  const auto any = [&](int32_t span) { return static_cast<int32_t>(rng() % (2 * span + 1)) - span; };
  Grid want(23, 17, 0);
  for (uint32_t& v : want.rgb) v = rng() & 0xFFFFFF;
  Canvas canvas(want);
  for (int i = 0; i < 1200; ++i) {
    // Mostly near the picture; some steep or flat enough for a zero step.
    int32_t x0 = any(40), y0 = any(40), x1 = any(40), y1 = any(40);
    if (i % 10 == 0) y0 = any(150000), y1 = any(150000), x1 = x0 + any(2);
    if (i % 10 == 5) x0 = any(150000), x1 = any(150000), y1 = y0 + any(2);
    const uint32_t outline = rng() & 0xFFFFFF;
    use_outline(outline);
    DrawWuLine(canvas.editor, x0, y0, x1, y1);
    rendertest::ref_wu_line(want, outline, x0, y0, x1, y1);
    ASSERT_EQ(canvas.grid(), want) << x0 << "," << y0 << " to " << x1 << "," << y1;
  }
}

}  // namespace
}  // namespace picture
