// The outline colour and the one-off forms of the line and pixel blend; a
// rendering resolves the layout once and draws through WuCanvas directly.
#include "render/wu_line.h"

namespace picture {

int32_t gOutLineColorR = 0;
int32_t gOutLineColorG = 0;
int32_t gOutLineColorB = 0;

void DrawPixel(PictureEditor& editor, int32_t x, int32_t y, int32_t weight) {
  with_layout(editor.pixelFormat, [&](auto layout) { WuCanvas<decltype(layout)>(editor).pixel(x, y, weight); });
}

void DrawWuLine(PictureEditor& editor, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  with_layout(editor.pixelFormat, [&](auto layout) { WuCanvas<decltype(layout)>(editor).line(x0, y0, x1, y1); });
}

}  // namespace picture
