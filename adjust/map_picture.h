// The frame every point operation shares: read the source, make a new picture
// of its size and alpha kind, map every pixel through the kernel, hand the new
// picture back. Nil when the source cannot be opened or the result cannot be
// made; the source is never written.
#pragma once

#include "frame/host_interface.h"
#include "pixels/picture_editor.h"
#include "pixels/walk.h"

namespace picture {

template <class Kernel>
REALpicture map_picture(REALpicture source, const Kernel& kernel) {
  PictureReader reader;
  if (!reader.GetPictureEditor(source, true, false)) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(reader.width, reader.height, reader.hasAlphaChannel)) return nullptr;
  map(reader, writer, Rect{0, 0, reader.width, reader.height}, kernel);
  return writer.RenderPictureWriter();
}

}  // namespace picture
