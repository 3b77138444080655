#pragma once

#include "frame/registration.h"

namespace picture {

// The plug-in's static registration tables.
PluginTables PictureTables();

// The class records; their instance data is found through them.
extern REALclassDefinition gPictureSepiaClass;
extern REALclassDefinition gPictureLut3DClass;

}  // namespace picture
