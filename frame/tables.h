#pragma once

#include "frame/registration.h"

namespace picture {

// The plug-in's static registration tables.
PluginTables PictureTables();

}  // namespace picture
