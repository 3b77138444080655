// Pixel access to host pictures. A PictureEditor locks a host picture and shows
// its pixels as rows of 32-bit words with a cursor, in one of the pixel formats:
// 1, 3, 5 (bytes R, G, B, A), 2, 4, 6 (A, R, G, B), the alpha information of a
// desktop bitmap context, or 8, the row table of console and web hosts (red in
// bits 16-23, green 8-15, blue 0-7). A picture that cannot be locked may be read
// through an opaque copy. PictureReader is the editor as a source, PictureWriter
// the editor over a new picture that is handed back as an operation's result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/host_interface.h"

namespace picture {

// Host kind, settled on the first open that can tell; once set, set for good.
extern bool IsDesktop;
extern bool IsConsole;

inline constexpr int32_t kRowTableFormat = 8;

class PictureEditor {
 public:
  PictureEditor() = default;
  PictureEditor(const PictureEditor&) = delete;
  PictureEditor& operator=(const PictureEditor&) = delete;
  virtual ~PictureEditor();

  // Locks `picture` for pixel access. `allowCopy`: a picture without alpha channel
  // that cannot be locked is read through an opaque copy. `forWriting`: the host's
  // cached rendering is cleared when the editor lets go.
  bool GetPictureEditor(REALpicture picture, bool allowCopy, bool forWriting);

  // Ends the writing and returns the picture with one reference for the caller.
  REALpicture RenderPictureWriter();

  // The row step: cursor to the start of the next row, back to row 0 after the last.
  void NextRow() { AdvanceRows(1); }
  // As many row steps at once.
  void AdvanceRows(int32_t rows);
  // The first pixel of row `row` (0 <= row < height), by the row table or the stride.
  uint32_t* Row(int32_t row) const {
    if (pixelFormat == kRowTableFormat) return rowTable[row];
    return reinterpret_cast<uint32_t*>(reinterpret_cast<unsigned char*>(baseAddress) +
                                       static_cast<ptrdiff_t>(row) * bytesPerRow);
  }

  int32_t bytesPerRow = 0;
  int32_t width = 0;
  int32_t height = 0;
  int32_t bytesPerPixel = 0;
  int32_t state = 0;
  int32_t pixelFormat = 0;
  uint32_t* rowPtr = nullptr;
  REALpictureDescription description{};
  void* pixelBuffer = nullptr;
  uint32_t* baseAddress = nullptr;
  int32_t x = 0;
  int32_t y = 0;
  REALpicture picture = nullptr;
  void* pixelLock = nullptr;
  uint32_t** rowTable = nullptr;
  bool hasAlphaChannel = false;
  bool contextAlpha = false;
  bool allowCopy = false;
  bool clearCacheOnRelease = false;
  bool descriptionLocked = false;

 protected:
  void Release();
  bool Open(REALpicture picture, bool allowCopy, bool forWriting, bool mayCopy);

 private:
  bool LockDescription(REALpicture picture, uint32_t kind);
  bool OpenBitmapContext(REALpicture picture);
  bool OpenRowTable(REALpicture picture);
  bool OpenCopy(REALpicture source);
  bool Fail(REALpicture lockedPicture);
  bool Finish(REALpicture picture);
};

class PictureReader : public PictureEditor {};

class PictureWriter : public PictureEditor {
 public:
  // Makes a new host picture (with alpha channel: through the host's "Picture"
  // constructor, fully transparent; without: "newPicture", opaque white) and opens
  // this writer on it.
  bool NewPictureWriter(int32_t width, int32_t height, bool withAlpha);
};

}  // namespace picture
