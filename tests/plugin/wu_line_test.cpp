// The outline's anti-aliased line on editors laid over plain buffers (a bitmap
// layout of each family, and a row table whose rows lie in reverse order): the
// worked lines and the crossed blend, then seeded lines, long ones and ends far
// outside included, against the literal stepwise reference.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "pixels/layout.h"
#include "render/wu_line.h"
#include "tests/plugin/render_reference.h"

namespace picture {
namespace {

struct Canvas {
  Canvas(int32_t format, int32_t w, int32_t h) : words(static_cast<size_t>(w) * h) {
    for (int32_t y = 0; y < h; ++y) rows.push_back(&words[static_cast<size_t>(format == 8 ? h - 1 - y : y) * w]);
    editor.pixelFormat = format;
    editor.width = w;
    editor.height = h;
    editor.bytesPerRow = w * 4;
    editor.rowTable = rows.data();
    editor.baseAddress = editor.rowPtr = rows[0];
  }
  // The pixels as 0x00RRGGBB, or all of them set from `g`.
  rendertest::Grid grid() {
    rendertest::Grid g(editor.width, editor.height, 0);
    with_layout(editor.pixelFormat, [&](auto l) {
      for (int32_t y = 0; y < g.height; ++y)
        for (int32_t x = 0; x < g.width; ++x) {
          const Rgb c = decltype(l)::load(&rows[y][x]);
          *g.at(x, y) = c.r << 16 | c.g << 8 | c.b;
        }
    });
    return g;
  }
  void set(rendertest::Grid& g) {
    with_layout(editor.pixelFormat, [&](auto l) {
      for (int32_t y = 0; y < g.height; ++y)
        for (int32_t x = 0; x < g.width; ++x) {
          const uint32_t v = *g.at(x, y);
          rows[y][x] = decltype(l)::store({v >> 16, (v >> 8) & 255, v & 255});
        }
    });
  }
  std::vector<uint32_t> words;
  std::vector<uint32_t*> rows;
  PictureEditor editor;
};

void use_outline(uint32_t rgb) {
  gOutLineColorR = static_cast<int32_t>(rgb >> 16);
  gOutLineColorG = static_cast<int32_t>((rgb >> 8) & 255);
  gOutLineColorB = static_cast<int32_t>(rgb & 255);
}

// Outline (30, 60, 90) over (10, 200, 40): weight 85 gives (23, 53, 126) and 170
// gives (16, 46, 163); ends and straight runs take the outline colour ('O').
TEST(WuLine, WorkedLinesAndTheCrossedBlend) {
  const uint32_t kBack = 0x0AC828, kLine = 0x1E3C5A;
  const struct {
    int32_t x0, y0, x1, y1;
    const char* rows[3];  // '.' untouched, 'O' outline, 'a' weight 85, 'b' weight 170
  } cases[] = {
      {1, 0, 4, 1, {".Oab..", "..baO.", "......"}},
      {4, 1, 1, 0, {".Oab..", "..baO.", "......"}},
      {-3, 2, 2, 2, {"......", "......", "OOO..."}},
      {5, 2, 5, 0, {".....O", ".....O", ".....O"}},
  };
  for (int32_t format : {5, 2, 8}) {
    for (const auto& c : cases) {
      Canvas canvas(format, 6, 3);
      rendertest::Grid g(6, 3, kBack);
      canvas.set(g);
      use_outline(kLine);
      DrawWuLine(canvas.editor, c.x0, c.y0, c.x1, c.y1);
      for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 6; ++x) {
          const char mark = c.rows[y][x];
          *g.at(x, y) = mark == 'O' ? kLine : mark == 'a' ? 0x17357E : mark == 'b' ? 0x102EA3 : kBack;
        }
      EXPECT_EQ(canvas.grid().rgb, g.rgb) << "format " << format << " from " << c.x0 << "," << c.y0;
    }
    Canvas one(format, 1, 1);
    rendertest::Grid g(1, 1, kBack);
    one.set(g);
    DrawPixel(one.editor, 0, 0, 255);  // green and blue swap
    EXPECT_EQ(one.grid().rgb[0], 0x0A28C8u) << "format " << format;
  }
}

TEST(WuLine, SeededLinesMatchTheStepwiseReference) {
  std::mt19937 rng(5);
  const auto any = [&](int32_t span) { return static_cast<int32_t>(rng() % (2 * span + 1)) - span; };
  for (int32_t format : {5, 2, 8}) {
    Canvas canvas(format, 23, 17);
    rendertest::Grid want(23, 17, 0);
    for (uint32_t& v : want.rgb) v = rng() & 0xFFFFFF;
    canvas.set(want);
    for (int i = 0; i < 400; ++i) {
      // Mostly near the picture; some steep or flat enough for a zero step.
      int32_t x0 = any(40), y0 = any(40), x1 = any(40), y1 = any(40);
      if (i % 10 == 0) y0 = any(150000), y1 = any(150000), x1 = x0 + any(2);
      if (i % 10 == 5) x0 = any(150000), x1 = any(150000), y1 = y0 + any(2);
      const uint32_t outline = rng() & 0xFFFFFF;
      use_outline(outline);
      DrawWuLine(canvas.editor, x0, y0, x1, y1);
      rendertest::ref_wu_line(want, outline, x0, y0, x1, y1);
      ASSERT_EQ(canvas.grid().rgb, want.rgb) << "format " << format << ": " << x0 << "," << y0 << " to " << x1 << ","
                                             << y1;
    }
  }
}

}  // namespace
}  // namespace picture
