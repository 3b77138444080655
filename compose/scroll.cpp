// Scrolling in place. Wrap mode rotates the content the shorter way round. The
// vertical rotation keeps the limits of its two historical buffer sizes on
// purpose (the H - d rows that stay when moving down, the whole picture when
// moving up): a size outside 1..2^31-1 fails the call, though the rows now move
// through a single row's buffer; the horizontal one uses one row's buffer for
// all rows. Shift mode moves the pixels by the distance cut to 16 bits, as the
// platform's rectangle scroll took it, and paints the vacated strip opaque white,
// the colour a fresh picture has. Whole pixel words move, alpha included. Rows
// that lie back to back move as one block; padded rows and the row table of
// console and web pictures move row by row, and row padding is never touched.
#include "compose/scroll.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <numeric>

#include "frame/host.h"
#include "pixels/layout.h"
#include "pixels/picture_editor.h"

namespace picture {
namespace {

constexpr int64_t kMaxBuffer = 2147483647;

// The rows of an open editor, or of a scratch buffer, as addresses.
struct Rows {
  unsigned char* base = nullptr;
  size_t stride = 0;
  uint32_t** table = nullptr;  // row-table layout: every row from here
  size_t rowBytes = 0;

  unsigned char* at(int32_t y) const {
    return table != nullptr ? reinterpret_cast<unsigned char*>(table[y]) : base + static_cast<size_t>(y) * stride;
  }
  bool packed() const { return table == nullptr && stride == rowBytes; }
};

Rows rows_of(const PictureEditor& e) {
  const size_t rowBytes = static_cast<size_t>(e.width) * 4;
  if (e.pixelFormat == kRowTableFormat) return Rows{nullptr, rowBytes, e.rowTable, rowBytes};
  return Rows{reinterpret_cast<unsigned char*>(e.baseAddress), static_cast<size_t>(e.bytesPerRow), nullptr, rowBytes};
}

// Rows [from, from + n) of `src` onto [to, to + n) of `dst`; the order of the
// row copies makes an overlapping move within one picture safe.
void move_rows(const Rows& dst, int32_t to, const Rows& src, int32_t from, int32_t n) {
  if (n <= 0) return;
  if (dst.packed() && src.packed()) {
    std::memmove(dst.at(to), src.at(from), static_cast<size_t>(n) * dst.rowBytes);
  } else if (to <= from) {
    for (int32_t i = 0; i < n; ++i) std::memmove(dst.at(to + i), src.at(from + i), dst.rowBytes);
  } else {
    for (int32_t i = n - 1; i >= 0; --i) std::memmove(dst.at(to + i), src.at(from + i), dst.rowBytes);
  }
}

// Opaque white in the editor's layout, or nothing for a layout it cannot write.
bool white_of(int32_t format, uint32_t* white) {
  return with_layout(format, [&](auto layout) {
    using L = decltype(layout);
    *white = L::store(Rgb{255, 255, 255});
    return L::kWrites;
  });
}

void fill_rows(const Rows& rows, int32_t from, int32_t n, uint32_t white) {
  if (n <= 0) return;
  const size_t words = rows.rowBytes / 4;
  if (rows.packed()) {
    std::fill_n(reinterpret_cast<uint32_t*>(rows.at(from)), words * static_cast<size_t>(n), white);
    return;
  }
  for (int32_t y = from; y < from + n; ++y) std::fill_n(reinterpret_cast<uint32_t*>(rows.at(y)), words, white);
}

// The same rotation as delta over `size` pixels, taken the shorter way round.
int32_t shorter_way(int32_t delta, int32_t size) {
  int32_t d = delta % size;
  if (d >= size / 2) d -= size;
  if (d <= -(size / 2)) d += size;
  return d;
}

int32_t cut_to_16_bits(int32_t delta) { return static_cast<int16_t>(static_cast<uint16_t>(delta)); }

// The vertical rotation; false when the picture is too large for the rotation's
// buffer sizes or the buffer of one row cannot be had. Each row moves once,
// straight to its place: the rows form gcd(H, d) cycles (row y takes row y - d),
// and one row per cycle waits in the buffer while the others move round.
bool rotate_rows(const PictureEditor& e, int32_t delta) {
  const int32_t height = e.height;
  if (height < 1) return false;
  const int32_t d = shorter_way(delta, height);
  if (d == 0) return true;
  const int64_t size = int64_t{d > 0 ? height - d : height} * e.bytesPerRow;
  if (size < 1 || size > kMaxBuffer) return false;
  const Rows picture = rows_of(e);
  void* buffer = std::malloc(std::max<size_t>(picture.rowBytes, 1));
  if (buffer == nullptr) return false;

  const int32_t cycles = std::gcd(height, d < 0 ? -d : d);
  for (int32_t start = 0; start < cycles; ++start) {
    std::memcpy(buffer, picture.at(start), picture.rowBytes);
    int32_t y = start;
    for (;;) {
      const int32_t from = (y - d + height) % height;
      if (from == start) break;
      std::memcpy(picture.at(y), picture.at(from), picture.rowBytes);
      y = from;
    }
    std::memcpy(picture.at(y), buffer, picture.rowBytes);
  }
  std::free(buffer);
  return true;
}

void rotate_columns(PictureEditor& e, int32_t delta) {
  const int32_t width = e.width;
  if (width < 1) return;
  const int32_t d = shorter_way(delta, width);
  if (d == 0) return;
  const int64_t size = int64_t{width} * 4;
  if (size > kMaxBuffer) return;
  auto* buffer = static_cast<uint32_t*>(std::calloc(static_cast<size_t>(size), 1));
  if (buffer == nullptr) return;
  // Moving right, the first W - d pixels wait; moving left, the first e do.
  const size_t waiting = static_cast<size_t>(d > 0 ? width - d : -d);
  const size_t moving = static_cast<size_t>(width) - waiting;
  for (int32_t row = 0; row < e.height; ++row) {
    uint32_t* p = e.rowPtr;
    std::memcpy(buffer, p, waiting * 4);
    std::memmove(p, p + waiting, moving * 4);
    std::memcpy(p + moving, buffer, waiting * 4);
    e.NextRow();
  }
  std::free(buffer);
}

void shift_rows(const PictureEditor& e, int32_t distance) {
  uint32_t white = 0;
  if (distance == 0 || !white_of(e.pixelFormat, &white)) return;
  const Rows picture = rows_of(e);
  const int32_t n = static_cast<int32_t>(std::min<int64_t>(std::abs(int64_t{distance}), e.height));
  const int32_t kept = e.height - n;
  if (distance > 0) {
    move_rows(picture, n, picture, 0, kept);
    fill_rows(picture, 0, n, white);
  } else {
    move_rows(picture, 0, picture, n, kept);
    fill_rows(picture, kept, n, white);
  }
}

void shift_columns(PictureEditor& e, int32_t distance) {
  uint32_t white = 0;
  if (distance == 0 || !white_of(e.pixelFormat, &white)) return;
  const int32_t n = static_cast<int32_t>(std::min<int64_t>(std::abs(int64_t{distance}), e.width));
  const size_t kept = static_cast<size_t>(e.width - n);
  for (int32_t row = 0; row < e.height; ++row) {
    uint32_t* p = e.rowPtr;
    if (distance > 0) {
      std::memmove(p + n, p, kept * 4);
      std::fill_n(p, n, white);
    } else {
      std::memmove(p, p + n, kept * 4);
      std::fill_n(p + kept, n, white);
    }
    e.NextRow();
  }
}

// Scrolls the picture's separate mask, when it has one, with `scroll`; false only
// when there is a mask and it could not be scrolled.
template <class Scroll>
bool scroll_mask(REALpicture picture, int32_t delta, RBBoolean wrap, Scroll scroll) {
  if (picture == nullptr) return true;
  REALpicture mask = REALGetPictureMask(picture, 0);
  if (mask == nullptr) return true;
  const bool moved = scroll(mask, delta, wrap, RBBoolean{0}) != 0;
  REALUnlockObject(reinterpret_cast<REALobject>(mask));
  return moved;
}

}  // namespace

RBBoolean ScrollVerticalZRK(REALpicture picture, int32_t delta, RBBoolean wrap, RBBoolean scrollmask) {
  if (scrollmask != 0 && !scroll_mask(picture, delta, wrap, ScrollVerticalZRK)) return 0;
  if (delta == 0) return 1;
  PictureEditor editor;
  if (wrap != 0) return editor.GetPictureEditor(picture, true, true) && rotate_rows(editor, delta);
  if (!editor.GetPictureEditor(picture, false, true)) return 0;
  shift_rows(editor, cut_to_16_bits(delta));
  return 1;
}

RBBoolean ScrollHorizontalZRK(REALpicture picture, int32_t delta, RBBoolean wrap, RBBoolean scrollmask) {
  if (scrollmask != 0) scroll_mask(picture, delta, wrap, ScrollHorizontalZRK);
  if (delta == 0) return 1;
  PictureEditor editor;
  if (!editor.GetPictureEditor(picture, wrap != 0, true)) return 1;
  if (wrap != 0) {
    rotate_columns(editor, delta);
  } else {
    shift_columns(editor, cut_to_16_bits(delta));
  }
  return 1;
}

RBBoolean ScrollZRK(REALpicture picture, int32_t deltaX, int32_t deltaY, RBBoolean wrap, RBBoolean scrollmask) {
  ScrollHorizontalZRK(picture, deltaX, wrap, scrollmask);
  return ScrollVerticalZRK(picture, deltaY, wrap, scrollmask);
}

}  // namespace picture
