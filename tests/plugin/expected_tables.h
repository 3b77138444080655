// What the host must be offered, as the host's documentation lists it: every
// declaration with its table flags, in table order. The table fixture plug-in
// registers exactly this (with stand-in functions) so that the adaptation to each
// host version can be checked on the full tables; the real plug-in's tables must
// be an in-order selection of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace expected {

inline constexpr uint32_t kAnyHost = 0x40000;

struct Method {
  std::string_view declaration;
  uint32_t flags;
  bool hasSetter = false;
};

inline constexpr Method kPictureExtension[] = {
    {"ColornessZRK(threshold as integer = 10) as double", kAnyHost},
    {"ScrollVerticalZRK(delta as integer, wrap as boolean, scrollmask as boolean) as boolean", kAnyHost},
    {"ScrollHorizontalZRK(delta as integer, wrap as boolean, scrollmask as boolean) as boolean", kAnyHost},
    {"ScrollZRK(deltaX as integer, deltaY as integer, wrap as boolean, scrollmask as boolean) as boolean", kAnyHost},
    {"HasMaskZRK as boolean", kAnyHost},
    {"ChangeContrastBrightnessAbsoluteZRK(ContrastRed as double, ContrastGreen as double, ContrastBlue as double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture", kAnyHost},
    {"ChangeContrastBrightnessLinearZRK(ContrastRed as double, ContrastGreen as double, ContrastBlue as double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture", kAnyHost},
    {"ChangeContrastBrightnessAbsoluteZRK(Contrast as double, Brightness as double) as picture", kAnyHost},
    {"ChangeContrastBrightnessLinearZRK(Contrast as double, Brightness as double) as picture", kAnyHost},
    {"ChangeBrightnessAbsoluteZRK(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture", kAnyHost},
    {"ChangeBrightnessLinearZRK(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture", kAnyHost},
    {"ChangeBrightnessAbsoluteZRK(Brightness as double) as picture", kAnyHost},
    {"ChangeBrightnessLinearZRK(Brightness as double) as picture", kAnyHost},
    {"ChangeContrastZRK(Contrast as double) as picture", kAnyHost},
    {"ChangeContrastZRK(ContrastRed as double, ContrastGreen as double, ContrastBlue as double) as picture", kAnyHost},
    {"ChangeCustomZRK(a as double, b as double) as picture", kAnyHost},
    {"ChangeCustomZRK(Ra as double, Rb as double, Ga as double, Gb as double, Ba as double, Bb as double) as picture", kAnyHost},
    {"InvertZRK(left as integer,top as integer,width as integer,height as integer) as picture", kAnyHost},
    {"InvertZRK as picture", kAnyHost},
    {"InvertGrayZRK(left as integer,top as integer,width as integer,height as integer) as picture", kAnyHost},
    {"InvertGrayZRK as picture", kAnyHost},
    {"ExtractColorRectangleMaskZRK(left as integer,top as integer,width as integer,height as integer) as picture", kAnyHost},
    {"ExtractColorRectangleMaskZRK as picture", kAnyHost},
    {"EmbeddedMaskZRK(swap as boolean) as picture", kAnyHost, true},
    {"CountColorZRK(col as color) as integer", kAnyHost},
    {"CountColorsZRK(byref red as memoryblock, byref blue as memoryblock, byref green as memoryblock, byref count as integer)", kAnyHost},
    {"TransformColorsZRK(red as memoryblock, blue as memoryblock, green as memoryblock, dest as picture = nil) as picture", kAnyHost},
    {"ReplaceColorZRK(SearchColor as color, ReplaceWithColor as color) as picture", kAnyHost},
    {"ExtractColorZRK(SearchColor as color, ReplaceWithColor as color, BackGroundColor as color) as picture", kAnyHost},
    {"ChangeSaturationZRK(Amount as integer) as picture", kAnyHost},
    {"ReplaceRedChannelZRK(RedChannel as picture) as picture", kAnyHost},
    {"ReplaceGreenChannelZRK(GreenChannel as picture) as picture", kAnyHost},
    {"ReplaceBlueChannelZRK(BlueChannel as picture) as picture", kAnyHost},
    {"FindPictureZRK(pic as picture, byref x as integer, byref y as integer) as boolean", kAnyHost},
    {"isWhiteZRK as boolean", kAnyHost},
    {"isWhiteZRK(left as integer,top as integer,width as integer,height as integer) as boolean", kAnyHost},
    {"isBlackZRK as boolean", kAnyHost},
    {"isBlackZRK(left as integer,top as integer,width as integer,height as integer) as boolean", kAnyHost},
    {"isGrayZRK(tolerance as integer = 0) as boolean", kAnyHost},
    {"isGrayZRK(tolerance as integer, left as integer,top as integer,width as integer,height as integer) as boolean", kAnyHost},
};

inline constexpr Method kGlobals[] = {
    {"BinaryStringtoPictureZRK(data as String) as Picture", kAnyHost},
    {"PicturetoBinaryStringZRK(p as picture) as string", kAnyHost},
    {"CombinePicturesZRK(red as picture, blue as picture, green as picture) as picture", kAnyHost},
    {"MergePictureZRK(source1 as picture, source2 as picture) as picture", kAnyHost},
    {"TintPictureZRK(source as picture, GreyBase as color, SepiaBase as color) as picture", kAnyHost},
    {"RenderSamplesZRK(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width as integer, Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, ForeColor as color=&c274C5A, OutLineColor as color=&c203F4E, Bits as Integer = 8, AutoScale as boolean = false) as Picture", kAnyHost},
};

struct Property {
  std::string_view name;
  std::string_view type;
  uint32_t flags;
  int32_t offset;  // direct access at this offset; -1: accessor pair
};

struct Class {
  std::string_view name;
  size_t dataSize;  // as declared; registered rounded up to 16
  uint32_t flags;
  const Property* properties;
  size_t propertyCount;
  const Method* methods;
  size_t methodCount;
};

inline constexpr Property kSepiaProperties[] = {
    {"SourcePicture", "Picture", 0x40002, 24}, {"DestinationPicture", "Picture", 0x40002, 28},
    {"MaxX", "Integer", 6, 40},                {"MinX", "Integer", 6, 32},
    {"MaxY", "Integer", 6, 44},                {"MinY", "Integer", 6, 36},
    {"SepiaRed", "Integer", 6, 48},            {"SepiaGreen", "Integer", 6, 52},
    {"SepiaBlue", "Integer", 6, 56},           {"FactorRed", "Double", 6, -1},
    {"FactorBlue", "Double", 6, -1},           {"FactorGreen", "Double", 6, -1},
};
inline constexpr Method kSepiaMethods[] = {{"Close", 4}, {"Run as boolean", 4}};

inline constexpr Property kLutProperties[] = {
    {"SourcePicture", "Picture", kAnyHost, 0}, {"DestinationPicture", "Picture", kAnyHost, 4},
    {"MaxX", "Integer", kAnyHost, 16},         {"MinX", "Integer", kAnyHost, 8},
    {"MaxY", "Integer", kAnyHost, 20},         {"MinY", "Integer", kAnyHost, 12},
};
inline constexpr Method kLutMethods[] = {
    {"Close", kAnyHost},
    {"Run as boolean", kAnyHost},
    {"Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double", kAnyHost, true},
};

inline constexpr Class kClasses[] = {
    {"PictureSepiaZRK", 64, 4, kSepiaProperties, std::size(kSepiaProperties), kSepiaMethods,
     std::size(kSepiaMethods)},
    {"PictureLut3DZRK", 139992, 4, kLutProperties, std::size(kLutProperties), kLutMethods, std::size(kLutMethods)},
};

}  // namespace expected
