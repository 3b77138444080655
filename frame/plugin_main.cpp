// The plug-in's one exported symbol.
#include "frame/tables.h"

extern "C" __attribute__((visibility("default"))) void REALPluginMain(REALresolver resolver) {
  picture::PluginMain(resolver, picture::PictureTables());
}
