// What the plug-in offers the host, one line per method as the host reads it:
// declaration, function, flags. The tables are in the host's listing order;
// version adaptation happens in registration.cpp, never here.
#include "frame/tables.h"

#include <cstddef>
#include <iterator>

#include "adjust/colour.h"
#include "adjust/invert.h"
#include "adjust/lut3d.h"
#include "adjust/sepia.h"
#include "adjust/tone.h"

namespace picture {
namespace {

constexpr uint32_t kAnyHost = kFlagConsoleSafe;
constexpr uint32_t kClassFlags = 4;
constexpr uint32_t kSepiaPicture = kFlagConsoleSafe | 2;
constexpr uint32_t kSepiaMember = 6;
constexpr uint32_t kSepiaMethod = 4;

// A property the host reads and writes itself, at `offset` in the instance data.
REALproperty direct(const char* name, const char* type, uint32_t flags, size_t offset) {
  return {nullptr, name, type, flags, host_abi::kDirectAccess, host_abi::kDirectAccess, static_cast<int32_t>(offset)};
}

REALproperty accessor(const char* name, const char* type, uint32_t flags, REALproc getter, REALproc setter) {
  return {nullptr, name, type, flags, getter, setter, 0};
}

REALmethodDefinition gPictureMethods[] = {
  {proc(ContrastAbsBrightnessPicture3), nullptr, "ChangeContrastBrightnessAbsoluteZRK(ContrastRed as double, ContrastGreen as double, ContrastBlue as double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture", kAnyHost, 0, nullptr},
  {proc(ContrastLinBrightnessPicture3), nullptr, "ChangeContrastBrightnessLinearZRK(ContrastRed as double, ContrastGreen as double, ContrastBlue as double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture",   kAnyHost, 0, nullptr},
  {proc(ContrastAbsBrightnessPicture1), nullptr, "ChangeContrastBrightnessAbsoluteZRK(Contrast as double, Brightness as double) as picture",                                                                                                             kAnyHost, 0, nullptr},
  {proc(ContrastLinBrightnessPicture1), nullptr, "ChangeContrastBrightnessLinearZRK(Contrast as double, Brightness as double) as picture",                                                                                                               kAnyHost, 0, nullptr},
  {proc(AbsBrightnessPicture3),         nullptr, "ChangeBrightnessAbsoluteZRK(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture",                                                                                 kAnyHost, 0, nullptr},
  {proc(LinBrightnessPicture3),         nullptr, "ChangeBrightnessLinearZRK(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture",                                                                                   kAnyHost, 0, nullptr},
  {proc(AbsBrightnessPicture1),         nullptr, "ChangeBrightnessAbsoluteZRK(Brightness as double) as picture",                                                                                                                                         kAnyHost, 0, nullptr},
  {proc(LinBrightnessPicture1),         nullptr, "ChangeBrightnessLinearZRK(Brightness as double) as picture",                                                                                                                                           kAnyHost, 0, nullptr},
  {proc(ContrastPicture1),              nullptr, "ChangeContrastZRK(Contrast as double) as picture",                                                                                                                                                     kAnyHost, 0, nullptr},
  {proc(ContrastPicture3),              nullptr, "ChangeContrastZRK(ContrastRed as double, ContrastGreen as double, ContrastBlue as double) as picture",                                                                                                 kAnyHost, 0, nullptr},
  {proc(TransformPicture1),             nullptr, "ChangeCustomZRK(a as double, b as double) as picture",                                                                                                                                                 kAnyHost, 0, nullptr},
  {proc(TransformPicture3),             nullptr, "ChangeCustomZRK(Ra as double, Rb as double, Ga as double, Gb as double, Ba as double, Bb as double) as picture",                                                                                       kAnyHost, 0, nullptr},
  {proc(InvertPicture),                 nullptr, "InvertZRK(left as integer,top as integer,width as integer,height as integer) as picture",                                                                                                              kAnyHost, 0, nullptr},
  {proc(InvertPicture2),                nullptr, "InvertZRK as picture",                                                                                                                                                                                 kAnyHost, 0, nullptr},
  {proc(InvertGrayPicture),             nullptr, "InvertGrayZRK(left as integer,top as integer,width as integer,height as integer) as picture",                                                                                                          kAnyHost, 0, nullptr},
  {proc(InvertGrayPicture2),            nullptr, "InvertGrayZRK as picture",                                                                                                                                                                             kAnyHost, 0, nullptr},
  {proc(SaturationPicture),             nullptr, "ChangeSaturationZRK(Amount as integer) as picture",                                                                                                                                                    kAnyHost, 0, nullptr},
};

REALclassDefinition gPictureExtension = {
    .version = 13,
    .name = "Picture",
    .methods = gPictureMethods,
    .methodCount = std::size(gPictureMethods),
    .flags = kClassFlags,
};

REALmethodDefinition gGlobalMethods[] = {
  {proc(TintPicture), nullptr, "TintPictureZRK(source as picture, GreyBase as color, SepiaBase as color) as picture", kAnyHost, 0, nullptr},
};

// "FactorBlue" is served by the green weight's accessors and "FactorGreen" by the
// blue weight's: the crossing is the class's published behaviour.
REALproperty gSepiaProperties[] = {
  direct("SourcePicture",        "Picture", kSepiaPicture, offsetof(PictureSepiaData, source)),
  direct("DestinationPicture",   "Picture", kSepiaPicture, offsetof(PictureSepiaData, destination)),
  direct("MaxX",                 "Integer", kSepiaMember,  offsetof(PictureSepiaData, MaxX)),
  direct("MinX",                 "Integer", kSepiaMember,  offsetof(PictureSepiaData, MinX)),
  direct("MaxY",                 "Integer", kSepiaMember,  offsetof(PictureSepiaData, MaxY)),
  direct("MinY",                 "Integer", kSepiaMember,  offsetof(PictureSepiaData, MinY)),
  direct("SepiaRed",             "Integer", kSepiaMember,  offsetof(PictureSepiaData, SepiaRed)),
  direct("SepiaGreen",           "Integer", kSepiaMember,  offsetof(PictureSepiaData, SepiaGreen)),
  direct("SepiaBlue",            "Integer", kSepiaMember,  offsetof(PictureSepiaData, SepiaBlue)),
  accessor("FactorRed",          "Double",  kSepiaMember,  proc(GetFactorR), proc(SetFactorR)),
  accessor("FactorBlue",         "Double",  kSepiaMember,  proc(GetFactorG), proc(SetFactorG)),
  accessor("FactorGreen",        "Double",  kSepiaMember,  proc(GetFactorB), proc(SetFactorB)),
};

REALmethodDefinition gSepiaMethods[] = {
  {proc(PictureSepiaClose), nullptr, "Close",          kSepiaMethod, 0, nullptr},
  {proc(PictureSepiaRun),   nullptr, "Run as boolean", kSepiaMethod, 0, nullptr},
};

REALproperty gLut3DProperties[] = {
  direct("SourcePicture",        "Picture", kAnyHost, offsetof(PictureLut3DData, source)),
  direct("DestinationPicture",   "Picture", kAnyHost, offsetof(PictureLut3DData, destination)),
  direct("MaxX",                 "Integer", kAnyHost, offsetof(PictureLut3DData, MaxX)),
  direct("MinX",                 "Integer", kAnyHost, offsetof(PictureLut3DData, MinX)),
  direct("MaxY",                 "Integer", kAnyHost, offsetof(PictureLut3DData, MaxY)),
  direct("MinY",                 "Integer", kAnyHost, offsetof(PictureLut3DData, MinY)),
};

REALmethodDefinition gLut3DMethods[] = {
  {proc(PictureLut3DClose), nullptr,      "Close",                                                              kAnyHost, 0, nullptr},
  {proc(PictureLut3DRun),   nullptr,      "Run as boolean",                                                     kAnyHost, 0, nullptr},
  {proc(GetPMX),            proc(SetPMX), "Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double", kAnyHost, 0, nullptr},
};

}  // namespace

// The destructor of each class is its Close.
REALclassDefinition gPictureSepiaClass = {
    .version = 13,
    .name = "PictureSepiaZRK",
    .dataSize = sizeof(PictureSepiaData),
    .constructor = proc(PictureSepiaConstructor),
    .destructor = proc(PictureSepiaClose),
    .properties = gSepiaProperties,
    .propertyCount = std::size(gSepiaProperties),
    .methods = gSepiaMethods,
    .methodCount = std::size(gSepiaMethods),
    .flags = kClassFlags,
};

REALclassDefinition gPictureLut3DClass = {
    .version = 13,
    .name = "PictureLut3DZRK",
    .dataSize = sizeof(PictureLut3DData),
    .constructor = proc(PictureLut3DConstructor),
    .destructor = proc(PictureLut3DClose),
    .properties = gLut3DProperties,
    .propertyCount = std::size(gLut3DProperties),
    .methods = gLut3DMethods,
    .methodCount = std::size(gLut3DMethods),
    .flags = kClassFlags,
};

namespace {

// Registered in this order.
REALclassDefinition* const gClasses[] = {&gPictureSepiaClass, &gPictureLut3DClass};

}  // namespace

PluginTables PictureTables() { return PluginTables{gClasses, &gPictureExtension, gGlobalMethods}; }

}  // namespace picture
