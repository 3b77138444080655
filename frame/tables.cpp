// What the plug-in offers the host, one line per method as the host reads it:
// declaration, function, flags. The tables are in the host's listing order;
// version adaptation happens in registration.cpp, never here.
#include "frame/tables.h"

#include <iterator>

#include "adjust/invert.h"

namespace picture {
namespace {

template <class F>
REALproc proc(F* function) {
  return reinterpret_cast<REALproc>(function);
}

constexpr uint32_t kAnyHost = kFlagConsoleSafe;
constexpr uint32_t kClassFlags = 4;

REALmethodDefinition gPictureMethods[] = {
  {proc(InvertPicture),      nullptr, "InvertZRK(left as integer,top as integer,width as integer,height as integer) as picture",     kAnyHost, 0, nullptr},
  {proc(InvertPicture2),     nullptr, "InvertZRK as picture",                                                                       kAnyHost, 0, nullptr},
  {proc(InvertGrayPicture),  nullptr, "InvertGrayZRK(left as integer,top as integer,width as integer,height as integer) as picture", kAnyHost, 0, nullptr},
  {proc(InvertGrayPicture2), nullptr, "InvertGrayZRK as picture",                                                                   kAnyHost, 0, nullptr},
};

REALclassDefinition gPictureExtension = {
    .version = 13,
    .name = "Picture",
    .methods = gPictureMethods,
    .methodCount = std::size(gPictureMethods),
    .flags = kClassFlags,
};

}  // namespace

PluginTables PictureTables() { return PluginTables{{}, &gPictureExtension, {}}; }

}  // namespace picture
