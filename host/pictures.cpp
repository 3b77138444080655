// Pictures in every shape a host lends them: desktop bitmap contexts (one buffer,
// alpha information 0..7, any bits-per-pixel value reported, padded rows) whose
// last pixel ends at a guard page, and console/web row-table images whose rows are
// separate guarded blocks. Pixels are always stored as 32-bit words; a context's
// bits-per-pixel value is only what the query reports. Also: description locks,
// masks, pictures from buffers, graphics objects with DrawPicture and DrawLine,
// and the six bitmap-context queries that the plug-in binds from the process.
#include <algorithm>
#include <cstring>

#include "host/host_internal.h"

namespace testhost::internal {

uint32_t PictureObject::word(int32_t x, int32_t y) const {
  uint32_t value;
  std::memcpy(&value, row(y) + static_cast<size_t>(x) * 4, sizeof value);
  return value;
}

void PictureObject::set_word(int32_t x, int32_t y, uint32_t value) {
  std::memcpy(row(y) + static_cast<size_t>(x) * 4, &value, sizeof value);
}

namespace {

constexpr uint8_t kPaddingByte = 0xA5;  // fills row padding, so that stray writes show
constexpr int64_t kMaxPixels = int64_t{1} << 28;

bool argb_family(int32_t format) { return format == 2 || format == 4 || format == 6 || format == 7; }

uint8_t opaque_alpha(int32_t format) { return format == kRowTableFormat ? 0 : 255; }

uint32_t opaque_word(int32_t format, uint32_t rgb) {
  return encode(format, Pixel{static_cast<uint8_t>(rgb >> 16), static_cast<uint8_t>(rgb >> 8),
                              static_cast<uint8_t>(rgb), opaque_alpha(format)});
}

uint32_t rgb_of(int32_t format, uint32_t word) {
  const Pixel p = decode(format, word);
  return uint32_t{p.r} << 16 | uint32_t{p.g} << 8 | p.b;
}

bool valid_size(int32_t width, int32_t height) {
  return width >= 1 && height >= 1 && int64_t{width} * height <= kMaxPixels;
}

// Pixel memory of `size` bytes for `picture`: fresh and zero-filled, or for a
// pooled picture the memory of a released one of the same size where there is one.
GuardedBuffer pixel_memory(Impl& h, const PictureObject& picture, size_t size) {
  if (picture.pooled) {
    if (const auto it = h.picture_pool.find(size); it != h.picture_pool.end()) {
      GuardedBuffer memory = std::move(it->second);
      h.picture_pool.erase(it);
      return memory;
    }
  }
  return GuardedBuffer(size, h.config.guardPages);
}

// What a picture made for the plug-in is filled with: `word`, or nothing for a
// pooled picture, whose pixels keep what the last picture left.
std::optional<uint32_t> fill_unless_pooled(const PictureObject& picture, uint32_t word) {
  return picture.pooled ? std::nullopt : std::optional(word);
}

// Row-table rows: each in a mapping of its own that ends at a guard page. A tall
// picture would need more mappings than the system grants a process (two areas a
// row), so beyond kGuardedRows rows the rows come in blocks of consecutive rows,
// kGuardedRows blocks at most, each block ending at a guard page: a walk past the
// end of a block's last row still faults at once.
constexpr int32_t kGuardedRows = 4096;

void allocate_row_table(Impl& h, PictureObject& picture) {
  const auto height = static_cast<size_t>(picture.height);
  const size_t row_bytes = static_cast<size_t>(picture.width) * 4;
  const size_t per_block = height <= kGuardedRows ? 1 : (height + kGuardedRows - 1) / kGuardedRows;
  picture.rows.reserve((height + per_block - 1) / per_block);
  for (size_t first = 0; first < height; first += per_block) {
    const size_t count = std::min(per_block, height - first);
    picture.rows.push_back(pixel_memory(h, picture, row_bytes * count));
    for (size_t i = 0; i < count; ++i) {
      picture.row_table.push_back(reinterpret_cast<uint32_t*>(picture.rows.back().data() + i * row_bytes));
    }
  }
  picture.row_image = REALrowTableImage{nullptr, picture.row_table.data(), &picture};
}

// Pixel memory for `format` (a bitmap layout or the row table), every word `fill`.
void allocate_pixels(Impl& h, PictureObject& picture, int32_t format, int32_t width, int32_t height, int32_t padding,
                     uint32_t bits_per_pixel, std::optional<uint32_t> fill) {
  picture.constructed = true;
  picture.format = format;
  picture.width = width;
  picture.height = height;
  if (format == kRowTableFormat) {
    picture.bytes_per_row = width * 4;
    allocate_row_table(h, picture);
  } else {
    picture.bytes_per_row = width * 4 + padding;
    // The last row has no padding: its last pixel ends at the guard page.
    const size_t size = height == 0 ? 0
                                    : static_cast<size_t>(picture.bytes_per_row) * static_cast<size_t>(height - 1) +
                                          static_cast<size_t>(width) * 4;
    picture.buffer = pixel_memory(h, picture, size);
    if (padding > 0) {
      for (int32_t y = 0; y + 1 < height; ++y) std::memset(picture.row(y) + width * 4, kPaddingByte, static_cast<size_t>(padding));
    }
    picture.context = BitmapContext{picture.buffer.data(),
                                    static_cast<size_t>(width),
                                    static_cast<size_t>(height),
                                    static_cast<size_t>(picture.bytes_per_row),
                                    bits_per_pixel,
                                    static_cast<uint32_t>(format)};
    h.contexts[&picture.context] = &picture;
  }
  if (!fill) return;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) picture.set_word(x, y, *fill);
  }
}

int32_t host_format(const Impl& h, uint32_t desktop_alpha_info) {
  return h.config.kind == HostKind::kDesktop ? static_cast<int32_t>(desktop_alpha_info) : kRowTableFormat;
}

// A separate mask: same size, no alpha channel, opaque black.
PictureObject* make_mask(Impl& h, const PictureObject& owner, std::string origin) {
  auto mask = std::make_unique<PictureObject>();
  const int32_t format = host_format(h, h.config.newPictureAlphaInfo);
  allocate_pixels(h, *mask, format, owner.width, owner.height, 0, 32, opaque_word(format, 0));
  return adopt_new(h, std::move(mask), std::move(origin));
}

std::string size_text(int32_t width, int32_t height) { return std::to_string(width) + "x" + std::to_string(height); }

REALpicture as_handle(PictureObject* picture) { return reinterpret_cast<REALpicture>(picture); }

REALpicture newPicture(int32_t width, int32_t height, int32_t /*depth*/) {
  Impl& h = enter("newPicture");
  if (inject(h, "newPicture")) return nullptr;
  if (!valid_size(width, height)) return nullptr;
  auto picture = std::make_unique<PictureObject>();
  picture->pooled = h.config.picturePool;
  const int32_t format = host_format(h, h.config.newPictureAlphaInfo);
  allocate_pixels(h, *picture, format, width, height, 0, 32, fill_unless_pooled(*picture, opaque_word(format, 0xFFFFFF)));
  return as_handle(adopt_new(h, std::move(picture), "newPicture " + size_text(width, height) + ", " + context_of(h)));
}

RBBoolean lock_description(std::string_view entry, REALpicture handle, REALpictureDescription* description,
                           std::optional<uint32_t> kind) {
  Impl& h = enter(entry);
  if (inject(h, entry)) return 0;
  PictureObject* picture = find_picture(h, handle, entry);
  if (picture == nullptr || description == nullptr || !picture->constructed || picture->draw_only) return 0;
  const bool row_table = picture->format == kRowTableFormat;
  const uint32_t own = row_table ? host_abi::kRowTableImage : host_abi::kBitmapContext;
  if (kind && *kind != own) return 0;
  description->kind = own;
  description->handle = row_table ? static_cast<void*>(&picture->row_image) : static_cast<void*>(&picture->context);
  description->width = picture->width;
  description->height = picture->height;
  description->depth = 32;
  description->transparent = picture->has_alpha ? 1 : 0;
  ++picture->locks;
  ++picture->lock_total;
  picture->last_lock = "by " + std::string(entry) + ", " + context_of(h);
  return 1;
}

RBBoolean REALLockPictureDescription(REALpicture picture, REALpictureDescription* description, uint32_t kind) {
  return lock_description("REALLockPictureDescription", picture, description, kind);
}

RBBoolean lockPictureDescription(REALpicture picture, REALpictureDescription* description) {
  return lock_description("lockPictureDescription", picture, description, std::nullopt);
}

void unlockPictureDescription(REALpicture handle) {
  Impl& h = enter("unlockPictureDescription");
  PictureObject* picture = find_picture(h, handle, "unlockPictureDescription");
  if (picture == nullptr) return;
  if (picture->locks == 0) {
    ++h.unmatched_unlocks;  // tolerated, as hosts do
  } else {
    --picture->locks;
  }
}

void REALPictureClearCache(REALpicture handle) {
  Impl& h = enter("REALPictureClearCache");
  if (PictureObject* picture = find_picture(h, handle, "REALPictureClearCache")) ++picture->clear_cache;
}

REALpicture REALGetPictureMask(REALpicture handle, RBBoolean create) {
  Impl& h = enter("REALGetPictureMask");
  if (inject(h, "REALGetPictureMask")) return nullptr;
  PictureObject* picture = find_picture(h, handle, "REALGetPictureMask");
  if (picture == nullptr || !picture->constructed) return nullptr;
  if (picture->mask == nullptr) {
    if (create == 0) return nullptr;
    picture->mask = make_mask(h, *picture, "REALGetPictureMask of " + describe(*picture) + ", " + context_of(h));
  }
  ++picture->mask->refs;  // the caller's reference; the picture keeps its own
  return as_handle(picture->mask);
}

REALpicture REALBuildPictureFromBuffer(int32_t width, int32_t height, int32_t pixel_type, void* buffer,
                                       int32_t bytes_per_row) {
  Impl& h = enter("REALBuildPictureFromBuffer");
  if (inject(h, "REALBuildPictureFromBuffer")) return nullptr;
  if (!valid_size(width, height) || buffer == nullptr || int64_t{bytes_per_row} < int64_t{width} * 4 ||
      pixel_type < 0 || pixel_type > 7) {
    return nullptr;
  }
  auto picture = std::make_unique<PictureObject>();
  const int32_t format = host_format(h, static_cast<uint32_t>(pixel_type));
  allocate_pixels(h, *picture, format, width, height, 0, 32, 0);
  const auto* source = static_cast<const uint8_t*>(buffer);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      uint32_t word;
      std::memcpy(&word, source + static_cast<size_t>(y) * static_cast<size_t>(bytes_per_row) + x * 4, sizeof word);
      picture->set_word(x, y, format == pixel_type ? word : opaque_word(format, rgb_of(pixel_type, word)));
    }
  }
  return as_handle(adopt_new(h, std::move(picture),
                             "REALBuildPictureFromBuffer " + size_text(width, height) + ", " + context_of(h)));
}

REALobject pluginPictureGraphicsGetter(REALpicture handle) {
  Impl& h = enter("pluginPictureGraphicsGetter");
  if (inject(h, "pluginPictureGraphicsGetter")) return nullptr;
  PictureObject* picture = find_picture(h, handle, "pluginPictureGraphicsGetter");
  if (picture == nullptr || !picture->constructed) return nullptr;
  auto graphics = std::make_unique<GraphicsObject>();
  graphics->target = picture;
  ++picture->refs;
  return reinterpret_cast<REALobject>(adopt_new(
      h, std::move(graphics), "pluginPictureGraphicsGetter of " + describe(*picture) + ", " + context_of(h)));
}

void draw_picture(std::string_view entry, REALobject g, REALpicture source_handle, int32_t x, int32_t y, int32_t w,
                  int32_t h_, int32_t sx, int32_t sy, int32_t sw, int32_t sh) {
  Impl& h = enter(entry);
  auto* graphics = find_as<GraphicsObject>(h, g, entry, ObjectKind::kGraphics);
  PictureObject* source = find_picture(h, source_handle, entry);
  if (graphics == nullptr || source == nullptr || !source->constructed) return;
  PictureObject& target = *graphics->target;
  if (sw == -10000) sw = source->width;
  if (sh == -10000) sh = source->height;
  if (w <= 0 || h_ <= 0 || sw <= 0 || sh <= 0) return;
  // Colours are read before any is written, so a picture may be drawn onto itself.
  std::vector<std::pair<int64_t, uint32_t>> writes;  // target index, colour
  for (int64_t j = 0; j < h_; ++j) {
    const int64_t ty = y + j;
    const int64_t src_y = sy + j * sh / h_;
    if (ty < 0 || ty >= target.height || src_y < 0 || src_y >= source->height) continue;
    for (int64_t i = 0; i < w; ++i) {
      const int64_t tx = x + i;
      const int64_t src_x = sx + i * sw / w;
      if (tx < 0 || tx >= target.width || src_x < 0 || src_x >= source->width) continue;
      const uint32_t word = source->word(static_cast<int32_t>(src_x), static_cast<int32_t>(src_y));
      writes.emplace_back(ty * target.width + tx, rgb_of(source->format, word));
    }
  }
  for (const auto& [index, rgb] : writes) {
    target.set_word(static_cast<int32_t>(index % target.width), static_cast<int32_t>(index / target.width),
                    opaque_word(target.format, rgb));
  }
}

void RuntimeGraphicsDrawPicture(REALobject g, REALpicture source, int32_t x, int32_t y, int32_t w, int32_t h,
                                int32_t sx, int32_t sy, int32_t sw, int32_t sh) {
  draw_picture("RuntimeGraphicsDrawPicture", g, source, x, y, w, h, sx, sy, sw, sh);
}

void RuntimeGraphicsDrawLine(REALobject g, int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
  Impl& h = enter("RuntimeGraphicsDrawLine");
  auto* graphics = find_as<GraphicsObject>(h, g, "RuntimeGraphicsDrawLine", ObjectKind::kGraphics);
  if (graphics == nullptr) return;
  PictureObject& target = *graphics->target;
  const uint32_t word = opaque_word(target.format, graphics->fore_color);
  const auto plot = [&](int64_t px, int64_t py) {
    const int64_t x_end = std::min<int64_t>(px + graphics->pen_width, target.width);
    const int64_t y_end = std::min<int64_t>(py + graphics->pen_height, target.height);
    for (int64_t yy = std::max<int64_t>(py, 0); yy < y_end; ++yy) {
      for (int64_t xx = std::max<int64_t>(px, 0); xx < x_end; ++xx) {
        target.set_word(static_cast<int32_t>(xx), static_cast<int32_t>(yy), word);
      }
    }
  };
  // Bresenham, both ends included.
  int64_t x = x1, y = y1;
  const int64_t dx = std::abs(int64_t{x2} - x1), dy = -std::abs(int64_t{y2} - y1);
  const int64_t step_x = x1 < x2 ? 1 : -1, step_y = y1 < y2 ? 1 : -1;
  int64_t error = dx + dy;
  while (true) {
    plot(x, y);
    if (x == x2 && y == y2) break;
    const int64_t twice = 2 * error;
    if (twice >= dy) {
      error += dy;
      x += step_x;
    }
    if (twice <= dx) {
      error += dx;
      y += step_y;
    }
  }
}

// The six bitmap-context queries read a context only while its picture is locked;
// a failed query answers 0 or null.
const BitmapContext* find_context(void* context, const char* entry) {
  Impl& h = enter(entry);
  if (inject(h, entry)) return nullptr;
  const auto it = h.contexts.find(context);
  if (it == h.contexts.end()) {
    fault(h, std::string(entry) + " was given something that is not a bitmap context, " + context_of(h));
    return nullptr;
  }
  const PictureObject& picture = *it->second;
  if (picture.released) {
    fault(h, std::string(entry) + " read the context of released " + describe(picture) + ", " + context_of(h));
    return nullptr;
  }
  if (picture.locks == 0) {
    fault(h, std::string(entry) + " read the context of " + describe(picture) + " without a description lock, " +
                 context_of(h));
  }
  return &picture.context;
}

}  // namespace

Pixel decode(int32_t format, uint32_t word) {
  const auto byte = [word](int i) { return static_cast<uint8_t>(word >> (8 * i)); };
  if (format == kRowTableFormat) return {byte(2), byte(1), byte(0), byte(3)};
  if (argb_family(format)) return {byte(1), byte(2), byte(3), byte(0)};
  return {byte(0), byte(1), byte(2), byte(3)};
}

uint32_t encode(int32_t format, Pixel p) {
  const auto at = [](uint8_t value, int i) { return uint32_t{value} << (8 * i); };
  if (format == kRowTableFormat) return at(p.b, 0) | at(p.g, 1) | at(p.r, 2) | at(p.a, 3);
  if (argb_family(format)) return at(p.a, 0) | at(p.r, 1) | at(p.g, 2) | at(p.b, 3);
  return at(p.r, 0) | at(p.g, 1) | at(p.b, 2) | at(p.a, 3);
}

PictureObject* make_picture(Impl& h, const PictureSpec& shape, std::string origin) {
  // A test may lend an empty picture (0 wide or high), which no open may accept.
  const bool empty = shape.width == 0 || shape.height == 0;
  if ((!empty && !valid_size(shape.width, shape.height)) || shape.width < 0 || shape.height < 0 ||
      shape.rowPadding < 0 || shape.rowPadding % 4 != 0) {
    return nullptr;
  }
  auto picture = std::make_unique<PictureObject>();
  const int32_t format = host_format(h, shape.alphaInfo);
  const Pixel fill = shape.fill.value_or(Pixel{255, 255, 255, opaque_alpha(format)});
  allocate_pixels(h, *picture, format, shape.width, shape.height, shape.rowPadding, shape.bitsPerPixel,
                  encode(format, fill));
  picture->has_alpha = shape.hasAlphaChannel;
  picture->draw_only = shape.drawOnly;
  PictureObject* made = adopt_new(h, std::move(picture), std::move(origin));
  if (shape.withMask) made->mask = make_mask(h, *made, "mask of " + describe(*made));
  return made;
}

void free_picture_pixels(Impl& h, PictureObject& picture) {
  if (picture.pooled) {
    if (picture.buffer) h.picture_pool.emplace(picture.buffer.size(), std::move(picture.buffer));
    for (GuardedBuffer& row : picture.rows) h.picture_pool.emplace(row.size(), std::move(row));
  }
  picture.buffer.reset();
  picture.rows.clear();
  picture.row_table.clear();
  picture.context.data = nullptr;
}

void picture_constructor(REALobject object, int32_t width, int32_t height) {
  Impl& h = enter("Constructor");
  if (inject(h, "Constructor")) return;
  PictureObject* picture = find_picture(h, object, "Picture.Constructor");
  if (picture == nullptr || !valid_size(width, height)) return;
  if (picture->constructed) {
    fault(h, "Picture.Constructor called again on " + describe(*picture) + ", " + context_of(h));
    return;
  }
  // Fully transparent: all bytes 0 in a bitmap context, transparency 127 in a row table.
  const int32_t format = host_format(h, h.config.alphaPictureAlphaInfo);
  picture->pooled = h.config.picturePool;
  allocate_pixels(h, *picture, format, width, height, 0, 32,
                  fill_unless_pooled(*picture, format == kRowTableFormat ? 0x7F000000u : 0u));
  picture->has_alpha = true;
  picture->origin += ", constructed " + size_text(width, height);
}

void draw_picture_method(REALobject g, REALpicture source, int32_t x, int32_t y, int32_t w, int32_t h, int32_t sx,
                         int32_t sy, int32_t sw, int32_t sh) {
  draw_picture("DrawPicture", g, source, x, y, w, h, sx, sy, sw, sh);
}

void add_picture_entries(EntryTable& table) {
  TESTHOST_ENTRY(table, newPicture);
  TESTHOST_ENTRY(table, REALLockPictureDescription);
  TESTHOST_ENTRY(table, lockPictureDescription);
  TESTHOST_ENTRY(table, unlockPictureDescription);
  TESTHOST_ENTRY(table, REALPictureClearCache);
  TESTHOST_ENTRY(table, REALGetPictureMask);
  TESTHOST_ENTRY(table, REALBuildPictureFromBuffer);
  TESTHOST_ENTRY(table, pluginPictureGraphicsGetter);
  TESTHOST_ENTRY(table, RuntimeGraphicsDrawPicture);
  TESTHOST_ENTRY(table, RuntimeGraphicsDrawLine);
  static_assert(std::is_same_v<decltype(picture_constructor), host_abi::sig::PictureConstructor>);
  static_assert(std::is_same_v<decltype(draw_picture_method), host_abi::sig::DrawPicture>);
}

}  // namespace testhost::internal

// ---- the system's bitmap-context queries, exported by their C names ----

#define TESTHOST_EXPORT extern "C" __attribute__((visibility("default")))

TESTHOST_EXPORT void* CGBitmapContextGetData(void* context) {
  const auto* found = testhost::internal::find_context(context, "CGBitmapContextGetData");
  return found != nullptr ? found->data : nullptr;
}
TESTHOST_EXPORT size_t CGBitmapContextGetWidth(void* context) {
  const auto* found = testhost::internal::find_context(context, "CGBitmapContextGetWidth");
  return found != nullptr ? found->width : 0;
}
TESTHOST_EXPORT size_t CGBitmapContextGetHeight(void* context) {
  const auto* found = testhost::internal::find_context(context, "CGBitmapContextGetHeight");
  return found != nullptr ? found->height : 0;
}
TESTHOST_EXPORT size_t CGBitmapContextGetBytesPerRow(void* context) {
  const auto* found = testhost::internal::find_context(context, "CGBitmapContextGetBytesPerRow");
  return found != nullptr ? found->bytes_per_row : 0;
}
TESTHOST_EXPORT size_t CGBitmapContextGetBitsPerPixel(void* context) {
  const auto* found = testhost::internal::find_context(context, "CGBitmapContextGetBitsPerPixel");
  return found != nullptr ? found->bits_per_pixel : 0;
}
TESTHOST_EXPORT uint32_t CGBitmapContextGetAlphaInfo(void* context) {
  const auto* found = testhost::internal::find_context(context, "CGBitmapContextGetAlphaInfo");
  return found != nullptr ? found->alpha_info : 0;
}

static_assert(std::is_same_v<decltype(CGBitmapContextGetData), host_abi::sig::CGBitmapContextGetData>);
static_assert(std::is_same_v<decltype(CGBitmapContextGetWidth), host_abi::sig::CGBitmapContextGetWidth>);
static_assert(std::is_same_v<decltype(CGBitmapContextGetHeight), host_abi::sig::CGBitmapContextGetHeight>);
static_assert(std::is_same_v<decltype(CGBitmapContextGetBytesPerRow), host_abi::sig::CGBitmapContextGetBytesPerRow>);
static_assert(std::is_same_v<decltype(CGBitmapContextGetBitsPerPixel), host_abi::sig::CGBitmapContextGetBitsPerPixel>);
static_assert(std::is_same_v<decltype(CGBitmapContextGetAlphaInfo), host_abi::sig::CGBitmapContextGetAlphaInfo>);

// ---- the test's view of pictures ----

namespace testhost {

using namespace internal;

namespace {

PictureObject* pixels_of(Impl& h, REALpicture handle, int32_t x, int32_t y, const char* what) {
  PictureObject* picture = find_picture(h, handle, what);
  if (picture == nullptr || !picture->constructed) return nullptr;
  if (x < 0 || y < 0 || x >= picture->width || y >= picture->height) {
    fault(h, std::string(what) + " outside " + describe(*picture) + " at " + std::to_string(x) + "," + std::to_string(y));
    return nullptr;
  }
  return picture;
}

}  // namespace

Ref Host::NewPicture(const PictureSpec& shape) {
  return Ref::Adopt(reinterpret_cast<REALobject>(
      make_picture(*impl_, shape, "NewPicture " + size_text(shape.width, shape.height) + ", " + context_of(*impl_))));
}

int32_t Host::Width(REALpicture picture) const {
  const auto* found = find_picture(*impl_, picture, "Width");
  return found != nullptr ? found->width : 0;
}

int32_t Host::Height(REALpicture picture) const {
  const auto* found = find_picture(*impl_, picture, "Height");
  return found != nullptr ? found->height : 0;
}

bool Host::HasAlphaChannel(REALpicture picture) const {
  const auto* found = find_picture(*impl_, picture, "HasAlphaChannel");
  return found != nullptr && found->has_alpha;
}

int32_t Host::PixelFormat(REALpicture picture) const {
  const auto* found = find_picture(*impl_, picture, "PixelFormat");
  if (found == nullptr || !found->constructed) return -1;
  return found->draw_only ? -1 : found->format;
}

Pixel Host::GetPixel(REALpicture picture, int32_t x, int32_t y) const {
  const auto* found = pixels_of(*impl_, picture, x, y, "GetPixel");
  return found != nullptr ? decode(found->format, found->word(x, y)) : Pixel{};
}

void Host::SetPixel(REALpicture picture, int32_t x, int32_t y, Pixel pixel) {
  if (auto* found = pixels_of(*impl_, picture, x, y, "SetPixel")) found->set_word(x, y, encode(found->format, pixel));
}

void Host::GetRow(REALpicture picture, int32_t y, std::span<Pixel> row) const {
  const auto* found = pixels_of(*impl_, picture, 0, y, "GetRow");
  if (found == nullptr) return;
  if (row.size() != static_cast<size_t>(found->width)) {
    fault(*impl_, "GetRow of " + std::to_string(row.size()) + " pixels from " + describe(*found));
    return;
  }
  for (int32_t x = 0; x < found->width; ++x) row[x] = decode(found->format, found->word(x, y));
}

void Host::SetRow(REALpicture picture, int32_t y, std::span<const Pixel> row) {
  auto* found = pixels_of(*impl_, picture, 0, y, "SetRow");
  if (found == nullptr) return;
  if (row.size() != static_cast<size_t>(found->width)) {
    fault(*impl_, "SetRow of " + std::to_string(row.size()) + " pixels into " + describe(*found));
    return;
  }
  for (int32_t x = 0; x < found->width; ++x) found->set_word(x, y, encode(found->format, row[x]));
}

uint32_t Host::Word(REALpicture picture, int32_t x, int32_t y) const {
  const auto* found = pixels_of(*impl_, picture, x, y, "Word");
  return found != nullptr ? found->word(x, y) : 0;
}

uint32_t Host::Color(REALpicture picture, int32_t x, int32_t y) const {
  const auto* found = pixels_of(*impl_, picture, x, y, "Color");
  return found != nullptr ? rgb_of(found->format, found->word(x, y)) : 0;
}

REALpicture Host::Mask(REALpicture picture) const {
  const auto* found = find_picture(*impl_, picture, "Mask");
  return found != nullptr ? as_handle(found->mask) : nullptr;
}

int Host::LockCount(REALpicture picture) const {
  const auto* found = find_picture(*impl_, picture, "LockCount");
  return found != nullptr ? found->lock_total : 0;
}

int Host::ClearCacheCount(REALpicture picture) const {
  const auto* found = find_picture(*impl_, picture, "ClearCacheCount");
  return found != nullptr ? found->clear_cache : 0;
}

bool Host::PaddingIntact(REALpicture picture) const {
  const auto* found = find_picture(*impl_, picture, "PaddingIntact");
  if (found == nullptr || !found->constructed || found->format == kRowTableFormat) return true;
  const int32_t padding = found->bytes_per_row - found->width * 4;
  for (int32_t y = 0; y + 1 < found->height; ++y) {
    const uint8_t* pad = found->row(y) + found->width * 4;
    for (int32_t i = 0; i < padding; ++i) {
      if (pad[i] != kPaddingByte) return false;
    }
  }
  return true;
}

}  // namespace testhost
