// How a file's pixel becomes a pixel of a host picture and back: premultiplied
// alpha in desktop layouts 1 and 2, straight alpha in 3 and 4, no alpha in 5 and 6,
// and the 7-bit transparency of the row-table pictures of console and web hosts.
#pragma once

#include <cstdint>

#include "host/test_host.h"
#include "tools/image_io.h"

namespace picture_host {

// Rounded to nearest. Unpremultiply(Premultiply(c, a), a) is within 255 / (2a) of
// c; Premultiply(Unpremultiply(p, a), a) == p for every p <= a.
uint8_t Premultiply(uint8_t c, uint8_t a);
uint8_t Unpremultiply(uint8_t p, uint8_t a);
// 7-bit transparency, 0 opaque and 127 clear; a round trip is within 1 of alpha.
uint8_t AlphaToTransparency(uint8_t a);
uint8_t TransparencyToAlpha(uint8_t t);

// Code 8 stands for the row-table layout of console and web hosts.
constexpr int32_t kRowTableLayout = 8;

// The pixel word roles (test host Pixel) for `c` in `layout`. Layouts without an
// alpha byte (0, 5, 6, 7) store 255 in the skipped byte; a picture without alpha
// channel is stored opaque whatever c.a says.
testhost::Pixel LendPixel(int32_t layout, bool hasAlphaChannel, Rgba c);
// Back to straight RGBA; a = 255 for a picture without alpha channel.
Rgba ReadLentPixel(int32_t layout, bool hasAlphaChannel, testhost::Pixel p);

// Whether a picture with alpha channel can be lent in `layout`: the desktop
// layouts 1 to 4 and the row table.
bool LayoutHoldsAlpha(int32_t layout);

}  // namespace picture_host
