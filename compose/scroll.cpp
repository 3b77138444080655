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

// The turn of `delta` pixels to the right over a row of `width`, in bytes
// (0 <= turn < width · 4); 0 where the horizontal rotation skips the move.
size_t turn_bytes(int32_t delta, int32_t width) {
  if (width < 1 || int64_t{width} * 4 > kMaxBuffer) return 0;
  const int32_t d = shorter_way(delta, width);
  return static_cast<size_t>(d < 0 ? d + width : d) * 4;
}

// Row `from` onto another row `to`, turned right by `turn` bytes.
void copy_turned(unsigned char* to, const unsigned char* from, size_t rowBytes, size_t turn) {
  std::memcpy(to + turn, from, rowBytes - turn);
  std::memcpy(to, from + rowBytes - turn, turn);
}

void rotate_columns(const PictureEditor& e, int32_t delta) {
  const Rows picture = rows_of(e);
  const size_t turn = turn_bytes(delta, e.width);
  if (turn == 0) return;
  void* buffer = std::malloc(picture.rowBytes);
  if (buffer == nullptr) return;
  for (int32_t row = 0; row < e.height; ++row) {
    std::memcpy(buffer, picture.at(row), picture.rowBytes);
    copy_turned(picture.at(row), static_cast<unsigned char*>(buffer), picture.rowBytes, turn);
  }
  std::free(buffer);
}

// The vertical rotation, each row turned right by `columnDelta` on its way (the
// horizontal rotation done in the same pass); false when the picture is too
// large for the vertical rotation's buffer sizes or the buffer of one row
// cannot be had, and then only the rows are turned. Each row moves once,
// straight to its place: the rows form gcd(H, d) cycles (row y takes row y - d),
// and one row per cycle waits in the buffer while the others move round.
bool rotate_rows(const PictureEditor& e, int32_t delta, int32_t columnDelta = 0) {
  const int32_t height = e.height;
  const int32_t d = height < 1 ? 0 : shorter_way(delta, height);
  const int64_t size = int64_t{d > 0 ? height - d : height} * e.bytesPerRow;
  const Rows picture = rows_of(e);
  void* buffer = height < 1 || d == 0 || size < 1 || size > kMaxBuffer ? nullptr : std::malloc(picture.rowBytes);
  if (buffer == nullptr) {
    rotate_columns(e, columnDelta);
    return height >= 1 && d == 0;
  }
  const size_t turn = turn_bytes(columnDelta, e.width);
  const auto* held = static_cast<const unsigned char*>(buffer);
  const int32_t cycles = std::gcd(height, d < 0 ? -d : d);
  for (int32_t start = 0; start < cycles; ++start) {
    std::memcpy(buffer, picture.at(start), picture.rowBytes);
    int32_t y = start;
    for (;;) {
      const int32_t from = (y - d + height) % height;
      if (from == start) break;
      copy_turned(picture.at(y), picture.at(from), picture.rowBytes, turn);
      y = from;
    }
    copy_turned(picture.at(y), held, picture.rowBytes, turn);
  }
  std::free(buffer);
  return true;
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

// Scrolls the picture's separate mask, when it has one, with `scroll(mask)`;
// false only when there is a mask and it could not be scrolled.
template <class Scroll>
bool scroll_mask(REALpicture picture, Scroll scroll) {
  if (picture == nullptr) return true;
  REALpicture mask = REALGetPictureMask(picture, 0);
  if (mask == nullptr) return true;
  const bool moved = scroll(mask) != 0;
  REALUnlockObject(reinterpret_cast<REALobject>(mask));
  return moved;
}

}  // namespace

RBBoolean ScrollVerticalZRK(REALpicture picture, int32_t delta, RBBoolean wrap, RBBoolean scrollmask) {
  if (scrollmask != 0 &&
      !scroll_mask(picture, [&](REALpicture mask) { return ScrollVerticalZRK(mask, delta, wrap, 0); })) {
    return 0;
  }
  if (delta == 0) return 1;
  PictureEditor editor;
  if (wrap != 0) return editor.GetPictureEditor(picture, true, true) && rotate_rows(editor, delta);
  if (!editor.GetPictureEditor(picture, false, true)) return 0;
  shift_rows(editor, cut_to_16_bits(delta));
  return 1;
}

RBBoolean ScrollHorizontalZRK(REALpicture picture, int32_t delta, RBBoolean wrap, RBBoolean scrollmask) {
  if (scrollmask != 0) scroll_mask(picture, [&](REALpicture mask) { return ScrollHorizontalZRK(mask, delta, wrap, 0); });
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

// The horizontal scroll, then the vertical one. Rotating both ways, every row
// moves once, turned on its way; the outcome is that of the two in turn (the
// mask as well, and a vertical rotation that fails leaves the columns turned).
RBBoolean ScrollZRK(REALpicture picture, int32_t deltaX, int32_t deltaY, RBBoolean wrap, RBBoolean scrollmask) {
  if (wrap == 0 || deltaX == 0 || deltaY == 0) {
    ScrollHorizontalZRK(picture, deltaX, wrap, scrollmask);
    return ScrollVerticalZRK(picture, deltaY, wrap, scrollmask);
  }
  const bool maskMoved =
      scrollmask == 0 || scroll_mask(picture, [&](REALpicture mask) { return ScrollZRK(mask, deltaX, deltaY, wrap, 0); });
  PictureEditor editor;
  if (!editor.GetPictureEditor(picture, true, true)) return 0;
  if (!maskMoved) {
    rotate_columns(editor, deltaX);
    return 0;
  }
  return rotate_rows(editor, deltaY, deltaX);
}

}  // namespace picture
