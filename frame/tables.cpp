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
#include "analysis/counting.h"
#include "analysis/extract.h"
#include "analysis/find.h"
#include "analysis/uniformity.h"
#include "compose/channels.h"
#include "compose/mask.h"
#include "compose/scroll.h"
#include "format/binary_string.h"
#include "render/samples.h"

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
  {proc(ColornessZRK),                  nullptr, "ColornessZRK(threshold as integer = 10) as double",                                                                                                                                                    kAnyHost, 0, nullptr},
  {proc(ScrollVerticalZRK),             nullptr, "ScrollVerticalZRK(delta as integer, wrap as boolean, scrollmask as boolean) as boolean",                                                                                                               kAnyHost, 0, nullptr},
  {proc(ScrollHorizontalZRK),           nullptr, "ScrollHorizontalZRK(delta as integer, wrap as boolean, scrollmask as boolean) as boolean",                                                                                                             kAnyHost, 0, nullptr},
  {proc(ScrollZRK),                     nullptr, "ScrollZRK(deltaX as integer, deltaY as integer, wrap as boolean, scrollmask as boolean) as boolean",                                                                                                    kAnyHost, 0, nullptr},
  {proc(PictureHasMask),                nullptr, "HasMaskZRK as boolean",                                                                                                                                                                                kAnyHost, 0, nullptr},
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
  {proc(ExtractColorRectangleMaskZRK),  nullptr, "ExtractColorRectangleMaskZRK(left as integer,top as integer,width as integer,height as integer) as picture",                                                                                           kAnyHost, 0, nullptr},
  {proc(ExtractColorRectangleMaskZRK2), nullptr, "ExtractColorRectangleMaskZRK as picture",                                                                                                                                                              kAnyHost, 0, nullptr},
  {proc(GetEmbededMask),                proc(SetEmbededMask), "EmbeddedMaskZRK(swap as boolean) as picture",                                                                                                                                             kAnyHost, 0, nullptr},
  {proc(CountColorZRK),                 nullptr, "CountColorZRK(col as color) as integer",                                                                                                                                                               kAnyHost, 0, nullptr},
  {proc(CountColorsZRK),                nullptr, "CountColorsZRK(byref red as memoryblock, byref blue as memoryblock, byref green as memoryblock, byref count as integer)",                                                                              kAnyHost, 0, nullptr},
  {proc(TransformColorsZRK),            nullptr, "TransformColorsZRK(red as memoryblock, blue as memoryblock, green as memoryblock, dest as picture = nil) as picture",                                                                                  kAnyHost, 0, nullptr},
  {proc(ReplaceColorZRK),               nullptr, "ReplaceColorZRK(SearchColor as color, ReplaceWithColor as color) as picture",                                                                                                                          kAnyHost, 0, nullptr},
  {proc(ExtractColorZRK),               nullptr, "ExtractColorZRK(SearchColor as color, ReplaceWithColor as color, BackGroundColor as color) as picture",                                                                                                kAnyHost, 0, nullptr},
  {proc(SaturationPicture),             nullptr, "ChangeSaturationZRK(Amount as integer) as picture",                                                                                                                                                    kAnyHost, 0, nullptr},
  {proc(ReplaceRedChannel),             nullptr, "ReplaceRedChannelZRK(RedChannel as picture) as picture",                                                                                                                                               kAnyHost, 0, nullptr},
  {proc(ReplaceGreenChannel),           nullptr, "ReplaceGreenChannelZRK(GreenChannel as picture) as picture",                                                                                                                                           kAnyHost, 0, nullptr},
  {proc(ReplaceBlueChannel),            nullptr, "ReplaceBlueChannelZRK(BlueChannel as picture) as picture",                                                                                                                                             kAnyHost, 0, nullptr},
  {proc(FindPicture),                   nullptr, "FindPictureZRK(pic as picture, byref x as integer, byref y as integer) as boolean",                                                                                                                    kAnyHost, 0, nullptr},
  {proc(isWhite2),                      nullptr, "isWhiteZRK as boolean",                                                                                                                                                                                kAnyHost, 0, nullptr},
  {proc(isWhite),                       nullptr, "isWhiteZRK(left as integer,top as integer,width as integer,height as integer) as boolean",                                                                                                             kAnyHost, 0, nullptr},
  {proc(isBlack2),                      nullptr, "isBlackZRK as boolean",                                                                                                                                                                                kAnyHost, 0, nullptr},
  {proc(isBlack),                       nullptr, "isBlackZRK(left as integer,top as integer,width as integer,height as integer) as boolean",                                                                                                             kAnyHost, 0, nullptr},
  {proc(isGray2),                       nullptr, "isGrayZRK(tolerance as integer = 0) as boolean",                                                                                                                                                       kAnyHost, 0, nullptr},
  {proc(isGray),                        nullptr, "isGrayZRK(tolerance as integer, left as integer,top as integer,width as integer,height as integer) as boolean",                                                                                        kAnyHost, 0, nullptr},
};

REALclassDefinition gPictureExtension = {
    .version = 13,
    .name = "Picture",
    .methods = gPictureMethods,
    .methodCount = std::size(gPictureMethods),
    .flags = kClassFlags,
};

REALmethodDefinition gGlobalMethods[] = {
  {proc(BinaryStringtoPicture), nullptr, "BinaryStringtoPictureZRK(data as String) as Picture", kAnyHost, 0, nullptr},
  {proc(PicturetoBinaryString), nullptr, "PicturetoBinaryStringZRK(p as picture) as string", kAnyHost, 0, nullptr},
  {proc(CombinePicturesZRK), nullptr, "CombinePicturesZRK(red as picture, blue as picture, green as picture) as picture", kAnyHost, 0, nullptr},
  {proc(MergePicture), nullptr, "MergePictureZRK(source1 as picture, source2 as picture) as picture", kAnyHost, 0, nullptr},
  {proc(TintPicture), nullptr, "TintPictureZRK(source as picture, GreyBase as color, SepiaBase as color) as picture", kAnyHost, 0, nullptr},
  {proc(RenderSamples), nullptr, "RenderSamplesZRK(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width as integer, Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, ForeColor as color=&c274C5A, OutLineColor as color=&c203F4E, Bits as Integer = 8, AutoScale as boolean = false) as Picture", kAnyHost, 0, nullptr},
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
