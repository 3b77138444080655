// The open, release and hand-back paths of the picture editor. Beyond the host's
// own checks, an open refuses any geometry that would let a row walk leave the
// host's buffer (a null buffer, rows shorter than the width, sizes past 32 bits)
// and an empty picture, which no operation could give a meaningful answer on.
#include "pixels/picture_editor.h"

#include <cstddef>
#include <cstring>
#include <limits>

#include "frame/host.h"

namespace picture {

bool IsDesktop = false;
bool IsConsole = false;

namespace {

constexpr char kDrawPictureDeclaration[] =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, "
    "sx as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";
constexpr char kPictureConstructorDeclaration[] = "Constructor(width as integer, height as integer)";
constexpr int32_t kMaxOpaqueSide = 32767;
constexpr int32_t kInt32Max = std::numeric_limits<int32_t>::max();

REALobject as_object(REALpicture picture) { return reinterpret_cast<REALobject>(picture); }

void settle_host_kind() {
  const bool application = pluginObjectType("Application") != nullptr;
  const bool web = pluginObjectType("WebApplication") != nullptr;
  const bool console = pluginObjectType("ConsoleApplication") != nullptr;
  if (application) {
    IsDesktop = true;
  } else if (web || console) {
    IsConsole = true;
  }
}

const REALrowTableImage* row_table_image(const REALpictureDescription& d) {
  if (d.kind != host_abi::kRowTableImage || d.handle == nullptr) return nullptr;
  const auto* image = static_cast<const REALrowTableImage*>(d.handle);
  if (image->paletteRows != nullptr || image->rowTable == nullptr || image->companion == nullptr) return nullptr;
  return image;
}

// The opaque copy's pixels when the host cannot draw: a row-table source copied
// row by row into a row-table copy of the same size. False when nothing was copied.
bool copy_row_tables(REALpicture source, REALpicture copy) {
  REALpictureDescription from{};
  REALpictureDescription to{};
  const bool fromLocked = REALLockPictureDescription(source, &from, host_abi::kRowTableImage) != 0;
  const bool toLocked = REALLockPictureDescription(copy, &to, host_abi::kRowTableImage) != 0;
  const REALrowTableImage* a = fromLocked ? row_table_image(from) : nullptr;
  const REALrowTableImage* b = toLocked ? row_table_image(to) : nullptr;
  const bool copied =
      a != nullptr && b != nullptr && from.width == to.width && from.height == to.height && from.width > 0;
  if (copied) {
    for (int32_t row = 0; row < from.height; ++row) {
      std::memcpy(b->rowTable[row], a->rowTable[row], static_cast<size_t>(from.width) * 4);
    }
  }
  if (fromLocked) unlockPictureDescription(source);
  if (toLocked) unlockPictureDescription(copy);
  REALPictureClearCache(copy);
  return copied;
}

}  // namespace

PictureEditor::~PictureEditor() { Release(); }

void PictureEditor::Release() {
  state = 0;
  if (pixelLock != nullptr) {
    UnlockPixels(pixelLock);
    pixelLock = nullptr;
  }
  if (descriptionLocked) {
    if (picture != nullptr) unlockPictureDescription(picture);
    descriptionLocked = false;
  }
  if (clearCacheOnRelease && picture != nullptr) REALPictureClearCache(picture);
  if (picture != nullptr) {
    REALUnlockObject(as_object(picture));
    picture = nullptr;
  }
}

void PictureEditor::AdvanceRows(int32_t rows) {
  x = 0;
  y += rows;
  rowPtr = y >= height ? baseAddress : Row(y);
}

bool PictureEditor::GetPictureEditor(REALpicture source, bool allowCopyFlag, bool forWriting) {
  return Open(source, allowCopyFlag, forWriting, /*mayCopy=*/true);
}

bool PictureEditor::LockDescription(REALpicture source, uint32_t kind) {
  description = REALpictureDescription{};
  const bool locked = REALLockPictureDescription(source, &description, kind) != 0;
  // Hosts before 2012.0 expect the unlock even after a failed lock.
  if (!locked && rbversion_rbversion < 2012.0) unlockPictureDescription(source);
  return locked;
}

bool PictureEditor::Open(REALpicture source, bool allowCopyFlag, bool forWriting, bool mayCopy) {
  Release();
  if (source == nullptr) return false;
  clearCacheOnRelease = forWriting;
  allowCopy = allowCopyFlag;
  if (!IsDesktop && !IsConsole) settle_host_kind();

  RBBoolean alpha = 0;
  hasAlphaChannel = REALGetPropValueBool(as_object(source), "HasAlphaChannel", &alpha) != 0 && alpha != 0;

  if (!IsConsole) {
    if (LockDescription(source, host_abi::kBitmapContext)) {
      IsDesktop = true;
      return OpenBitmapContext(source);
    }
    if (!hasAlphaChannel && allowCopy && !forWriting && mayCopy) return OpenCopy(source);
    if (IsDesktop) return false;
  }
  if (!LockDescription(source, host_abi::kRowTableImage)) return false;
  IsConsole = true;
  return OpenRowTable(source);
}

bool PictureEditor::OpenBitmapContext(REALpicture source) {
  if (description.kind != host_abi::kBitmapContext || description.handle == nullptr) return Fail(source);
  void* context = description.handle;
  void* data = CGBitmapContextGetData(context);
  const size_t bitsPerPixel = CGBitmapContextGetBitsPerPixel(context);
  const size_t contextWidth = CGBitmapContextGetWidth(context);
  const size_t contextHeight = CGBitmapContextGetHeight(context);
  const size_t rowBytes = CGBitmapContextGetBytesPerRow(context);
  const auto format = static_cast<int32_t>(CGBitmapContextGetAlphaInfo(context) & 7);

  const bool formatAccepted = hasAlphaChannel ? (format == 1 || format == 2) : (format >= 1 && format <= 6);
  if (!formatAccepted || bitsPerPixel != 32) return Fail(source);
  if (data == nullptr || contextWidth == 0 || contextHeight == 0 || contextWidth > kInt32Max / 4 ||
      contextHeight > kInt32Max || rowBytes > kInt32Max ||
      rowBytes < contextWidth * 4 || rowBytes % 4 != 0) {
    return Fail(source);
  }
  pixelFormat = format;
  bytesPerRow = static_cast<int32_t>(rowBytes);
  width = static_cast<int32_t>(contextWidth);
  height = static_cast<int32_t>(contextHeight);
  baseAddress = static_cast<uint32_t*>(data);
  contextAlpha = hasAlphaChannel;
  return Finish(source);
}

bool PictureEditor::OpenRowTable(REALpicture source) {
  const REALrowTableImage* image = row_table_image(description);
  if (image == nullptr || description.width < 1 || description.height < 1 || description.width > kInt32Max / 4) {
    return Fail(source);
  }
  pixelFormat = kRowTableFormat;
  width = description.width;
  height = description.height;
  bytesPerRow = width * 4;
  rowTable = image->rowTable;
  for (int32_t row = 0; row < height; ++row) {
    if (rowTable[row] == nullptr) return Fail(source);
  }
  baseAddress = rowTable[0];
  return Finish(source);
}

bool PictureEditor::OpenCopy(REALpicture source) {
  int32_t copyWidth = 0;
  int32_t copyHeight = 0;
  REALGetPropValueInt(as_object(source), "Width", &copyWidth);
  REALGetPropValueInt(as_object(source), "Height", &copyHeight);
  if (copyWidth <= 0 || copyHeight <= 0) return false;
  REALpicture copy = newPicture(copyWidth, copyHeight, 32);
  if (copy == nullptr) return false;

  REALobject graphics = pluginPictureGraphicsGetter(copy);
  auto* draw = graphics != nullptr
                   ? reinterpret_cast<sig::DrawPicture*>(REALLoadObjectMethod(graphics, kDrawPictureDeclaration))
                   : nullptr;
  bool filled = draw != nullptr;
  if (filled) {
    draw(graphics, source, 0, 0, copyWidth, copyHeight, 0, 0, copyWidth, copyHeight);
  } else {
    // Older hosts are asked for the entry point; what they answer is not used.
    if (rbversion_rbversion < 2012.0) RuntimeGraphicsDrawPicture.get();
    filled = copy_row_tables(source, copy);
  }
  if (graphics != nullptr) REALUnlockObject(graphics);

  // A copy that got none of the source's pixels would pass a blank picture off
  // as the source; a copy that cannot be opened in turn is not copied again.
  const bool opened = filled && Open(copy, allowCopy, false, /*mayCopy=*/false);
  REALUnlockObject(as_object(copy));
  return opened;
}

bool PictureEditor::Fail(REALpicture lockedPicture) {
  unlockPictureDescription(lockedPicture);
  return false;
}

bool PictureEditor::Finish(REALpicture source) {
  descriptionLocked = true;
  REALLockObject(as_object(source));
  picture = source;
  rowPtr = baseAddress;
  bytesPerPixel = 4;
  x = 0;
  y = 0;
  return true;
}

REALpicture PictureEditor::RenderPictureWriter() {
  REALpicture result = nullptr;
  if (picture != nullptr) {
    REALLockObject(as_object(picture));
    REALPictureClearCache(picture);
    result = picture;
  } else if (pixelBuffer != nullptr) {
    result = REALBuildPictureFromBuffer(width, height, 1, pixelBuffer, bytesPerRow);
  }
  Release();
  return result;
}

bool PictureWriter::NewPictureWriter(int32_t newWidth, int32_t newHeight, bool withAlpha) {
  REALpicture made = nullptr;
  if (withAlpha) {
    if (newWidth < 1 || newHeight < 1 || rbversion_rbversion < 2011.04) return false;
    REALobject instance = PluginNewInstance("Picture");
    if (instance == nullptr) return false;
    auto* construct = reinterpret_cast<sig::PictureConstructor*>(
        REALLoadObjectMethod(instance, kPictureConstructorDeclaration));
    if (construct == nullptr) {
      REALUnlockObject(instance);
      return false;
    }
    construct(instance, newWidth, newHeight);
    made = reinterpret_cast<REALpicture>(instance);
  } else {
    if (newWidth < 1 || newWidth > kMaxOpaqueSide || newHeight < 1 || newHeight > kMaxOpaqueSide) return false;
    made = newPicture(newWidth, newHeight, 32);
    if (made == nullptr) return false;
  }
  const bool opened = GetPictureEditor(made, false, true);
  REALUnlockObject(as_object(made));
  return opened;
}

}  // namespace picture
