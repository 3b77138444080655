#include "tools/catalogue.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace picture_host {
namespace {

// Said of the methods that take a rectangle: those that make a picture, and those that test one.
#define RECTANGLE_NOTE                                                                                   \
  "  left, top      pixels from the top-left corner; a negative value is clipped to 0\n"                \
  "  width, height  pixels; 0 or less reaches the right or bottom edge\n"
#define SCAN_RECTANGLE_NOTE                                                                              \
  "  left, top      pixels from the top-left corner; a negative value is clipped to 0\n"                \
  "  width, height  pixels; a negative value reaches the right or bottom edge, 0 covers nothing\n"

constexpr std::array<std::string_view, 8> kFamilies = {
    "Inversion", "Tone and contrast", "Colour", "Analysis", "Colour replacement", "Composition",
    "Mask and scrolling", "Strings and sound"};

constexpr CatalogueEntry kEntries[] = {
    {"InvertZRK", "Inversion", "a negative of the picture or of a rectangle of it",
     "Each channel v becomes 255 - v.\n"
     "InvertZRK inverts the whole picture; InvertZRK(left, top, width, height) a rectangle:\n" RECTANGLE_NOTE
     "Kept on purpose: the result is a new picture of the full size in which only the rectangle is\n"
     "written; the rest is not copied from the source and shows as the new picture's white.",
     "InvertZRK(40, 30, 120, 80)"},
    {"InvertGrayZRK", "Inversion", "a negative of the grey pixels only; coloured ones stay",
     "A pixel with red = green = blue = v becomes 255 - v; any other pixel is copied as it is.\n"
     "The rectangle form works as InvertZRK's:\n" RECTANGLE_NOTE
     "Kept on purpose: outside the rectangle the result is the new picture's white.",
     "InvertGrayZRK"},

    {"ChangeBrightnessLinearZRK", "Tone and contrast", "brightness that compresses the range instead of clipping",
     "Brightness in channel units, -255 to 255, one value or one per channel (red, green, blue).\n"
     "A positive B lifts black to B and keeps white at 255; a negative B keeps black and pulls white\n"
     "down to 255 + B: w = v * (255 - |B|) / 255 + max(B, 0), truncated.\n"
     "Kept on purpose: the units are channel units, so 0.2 changes nothing visible (try 40); past\n"
     "-255..255 the result is not clipped but wraps around in 8 bits (300 turns black into 44).",
     "ChangeBrightnessLinearZRK(60)"},
    {"ChangeBrightnessAbsoluteZRK", "Tone and contrast", "brightness as a shift, clipped at black and white",
     "Brightness in channel units, -255 to 255, one value or one per channel: w = v + B, clipped to\n"
     "0..255.",
     "ChangeBrightnessAbsoluteZRK(-50)"},
    {"ChangeContrastZRK", "Tone and contrast", "contrast around the middle grey 127",
     "Contrast Q is a factor offset by one: 0 leaves the picture, -1 makes it flat grey 127, 1 doubles\n"
     "every distance from 127 (already strong); useful range -1 to about 1.\n"
     "w = (v - 127) * (Q + 1) + 127, truncated and clipped. One value or one per channel.",
     "ChangeContrastZRK(0.5)"},
    {"ChangeContrastBrightnessLinearZRK", "Tone and contrast", "contrast, then linear brightness",
     "Contrast (as ChangeContrastZRK, 0 = unchanged) and then brightness (as\n"
     "ChangeBrightnessLinearZRK, channel units) in one pass, clipped to 0..255 at the end. One pair\n"
     "(Contrast, Brightness) or six values: three contrasts, then three brightnesses.",
     "ChangeContrastBrightnessLinearZRK(0.3, 20)"},
    {"ChangeContrastBrightnessAbsoluteZRK", "Tone and contrast", "contrast, then a brightness shift",
     "Contrast (as ChangeContrastZRK, 0 = unchanged) and then brightness added (as\n"
     "ChangeBrightnessAbsoluteZRK, channel units), truncated and clipped. One pair or six values.",
     "ChangeContrastBrightnessAbsoluteZRK(0.3, -20)"},
    {"ChangeCustomZRK", "Tone and contrast", "any linear map w = v * a + b per channel",
     "ChangeCustomZRK(a, b): every channel becomes v * a + b, truncated and clipped; a is a factor\n"
     "(1 = unchanged), b is in channel units.\n"
     "ChangeCustomZRK(Ra, Rb, Ga, Gb, Ba, Bb): one pair per channel.\n"
     "Kept on purpose: in the six-value form green is multiplied by Ra; Ga is never used.",
     "ChangeCustomZRK(1.2, -20)"},

    {"ChangeSaturationZRK", "Colour", "more or less colour, in whole steps",
     "Amount is an integer: 0 leaves the picture, -255 makes it grey, positive values saturate (255\n"
     "doubles every distance from grey). The grey of a pixel is (r + 2g + b) / 4.",
     "ChangeSaturationZRK(120)"},
    {"TintPictureZRK", "Colour", "a grey picture coloured by a second colour (global)",
     "TintPictureZRK(source, GreyBase, SepiaBase): grey = r * R/255 + g * G/255 + b * B/255 with\n"
     "GreyBase's red, green and blue as weights, then each channel = min(grey * SepiaBase's channel /\n"
     "255, 255). Colours are &cRRGGBB or #RRGGBB.\n"
     "Kept on purpose: the grey is not normalised; a white GreyBase makes it up to 765.",
     "TintPictureZRK(self, &c505050, &cFFD8A0)"},
    {"PictureSepiaZRK", "Colour", "a class: grey by weights, plus an offset per channel",
     "Settings: FactorRed, FactorBlue, FactorGreen (weights, default 0.299, 0.587, 0.114);\n"
     "SepiaRed, SepiaGreen, SepiaBlue (channel units added to the grey, default 0, useful -100..100);\n"
     "MinX, MaxX, MinY, MaxY (a range of columns and rows, MaxX and MaxY exclusive; 0 = all).\n"
     "Each pixel: grey = r * FactorRed + g * FactorBlue + b * FactorGreen, then grey + Sepia*.\n"
     "Kept on purpose: FactorBlue weighs green and FactorGreen weighs blue; a range processes a block\n"
     "of its size anchored at the top-left corner, not at MinX, MinY, and the rest stays blank.",
     "PictureSepiaZRK(SepiaRed=40, SepiaGreen=20, SepiaBlue=-20)"},
    {"PictureLut3DZRK", "Colour", "a class: colours through a three-dimensional lookup table",
     "Table: the lattice, 18 nodes a side, node i standing for the channel value 17 * i (0..255),\n"
     "outputs in channel units. picture-host fills it whole from a built-in table (identity, invert,\n"
     "warm), a .cube file (any LUT_3D_SIZE, DOMAIN_MIN/DOMAIN_MAX; read with OpenColorIO, as are its\n"
     "other formats), a Hald picture (Table=hald(\"x.png\")) or a text file of nodes; files are\n"
     "sampled at the lattice's nodes. Between nodes the plug-in interpolates.\n"
     "MinX, MaxX, MinY, MaxY: a range, as PictureSepiaZRK's (anchored at the top-left corner).",
     "PictureLut3DZRK(Table=warm)"},
    {"TransformColorsZRK", "Colour", "each channel through a 256-byte table",
     "TransformColorsZRK(red, blue, green, dest = nil): three memoryblocks of 256 bytes; byte v of a\n"
     "table is the new value of v. picture-host passes table(identity), table(invert) or\n"
     "table(\"file\"). With a dest picture at least as large, the result is written into it.\n"
     "Kept on purpose: the second table is applied to green and the third to blue, although the\n"
     "declaration names them blue and green.",
     "TransformColorsZRK(table(invert), table(identity), table(identity))"},

    {"isBlackZRK", "Analysis", "whether every pixel (of a rectangle) is black",
     "True when red, green and blue are 0 everywhere in the picture or the rectangle:\n" SCAN_RECTANGLE_NOTE
     "Alpha and masks play no part.",
     "isBlackZRK"},
    {"isWhiteZRK", "Analysis", "whether every pixel (of a rectangle) is white",
     "True when red, green and blue are 255 everywhere in the picture or the rectangle:\n" SCAN_RECTANGLE_NOTE
     "Alpha and masks play no part.",
     "isWhiteZRK(0, 0, 16, 16)"},
    {"isGrayZRK", "Analysis", "whether every pixel (of a rectangle) is grey",
     "tolerance: how far, in channel units, red, green and blue may differ and still count as grey\n"
     "(default 0). isGrayZRK(tolerance, left, top, width, height) tests a rectangle:\n" SCAN_RECTANGLE_NOTE,
     "isGrayZRK(8)"},
    {"ColornessZRK", "Analysis", "the share of colourful pixels, 0.0 to 1.0",
     "threshold in channel units (default 10): a pixel is colourful when green differs from red or\n"
     "from blue by more than it. Pixels with every channel under 30 are never colourful.\n"
     "Kept on purpose: red against blue is not compared, so (60, 50, 40) is not colourful at 10.",
     "ColornessZRK(10)"},
    {"CountColorZRK", "Analysis", "how many pixels have exactly one colour",
     "col: the colour, &cRRGGBB or #RRGGBB; no tolerance.",
     "CountColorZRK(&c808080)"},
    {"CountColorsZRK", "Analysis", "three histograms and the pixel count",
     "CountColorsZRK(red, blue, green, count): each a variable; the three become memoryblocks of 256\n"
     "counters (4 bytes each, counter v = pixels whose channel is v) and count the number of pixels.\n"
     "picture-host prints each histogram's total, range and peak; --save-blocks writes them out.\n"
     "Kept on purpose: the second variable gets green and the third blue, although the declaration\n"
     "names them blue and green; blocks already holding counts are added to, not cleared.",
     "CountColorsZRK(red, green, blue, n)"},
    {"FindPictureZRK", "Analysis", "where a smaller picture first occurs, pixel for pixel",
     "FindPictureZRK(pic, x, y): true when pic occurs exactly; x and y (variables) get the position\n"
     "of its top-left pixel, searched row by row. No tolerance; alpha plays no part.",
     "FindPictureZRK(picture(\"pattern.png\"), x, y)"},

    {"ReplaceColorZRK", "Colour replacement", "one exact colour replaced by another",
     "ReplaceColorZRK(SearchColor, ReplaceWithColor): colours as &cRRGGBB or #RRGGBB; no tolerance.",
     "ReplaceColorZRK(&c808080, &cFF0000)"},
    {"ExtractColorZRK", "Colour replacement", "one exact colour kept, the rest a background",
     "ExtractColorZRK(SearchColor, ReplaceWithColor, BackGroundColor): pixels of SearchColor become\n"
     "ReplaceWithColor, all others BackGroundColor.",
     "ExtractColorZRK(&c808080, &c000000, &cFFFFFF)"},
    {"ExtractColorRectangleMaskZRK", "Colour replacement", "black boxes over the coloured areas",
     "A black-and-white picture: every coloured (not grey) area of the picture or the rectangle is\n"
     "covered by a filled black rectangle on white.\n" SCAN_RECTANGLE_NOTE,
     "ExtractColorRectangleMaskZRK"},

    {"MergePictureZRK", "Composition", "the brighter of two pictures, channel by channel (global)",
     "MergePictureZRK(source1, source2): each channel is the larger of the two; both pictures must\n"
     "have the same size (nil otherwise).",
     "MergePictureZRK(self, picture(\"second.png\"))"},
    {"CombinePicturesZRK", "Composition", "red, green and blue taken from three pictures (global)",
     "CombinePicturesZRK(red, blue, green): red from the first picture, blue from the second and\n"
     "green from the third (mind the declared order); all three the same size (nil otherwise).",
     "CombinePicturesZRK(self, picture(\"second.png\"), self)"},
    {"ReplaceRedChannelZRK", "Composition", "the red channel taken from another picture",
     "ReplaceRedChannelZRK(RedChannel): the result's red comes from RedChannel's red; that picture\n"
     "must be at least as large (its top-left part is used; nil otherwise).",
     "ReplaceRedChannelZRK(picture(\"second.png\"))"},
    {"ReplaceGreenChannelZRK", "Composition", "the green channel taken from another picture",
     "ReplaceGreenChannelZRK(GreenChannel): the result's green comes from GreenChannel's green; that picture\n"
     "must be at least as large (its top-left part is used; nil otherwise).",
     "ReplaceGreenChannelZRK(picture(\"second.png\"))"},
    {"ReplaceBlueChannelZRK", "Composition", "the blue channel taken from another picture",
     "ReplaceBlueChannelZRK(BlueChannel): the result's blue comes from BlueChannel's blue; that picture\n"
     "must be at least as large (its top-left part is used; nil otherwise).",
     "ReplaceBlueChannelZRK(picture(\"second.png\"))"},

    {"EmbeddedMaskZRK", "Mask and scrolling", "the alpha of the picture as a grey picture, and back",
     "EmbeddedMaskZRK(swap) reads the alpha as a grey picture (white = opaque; swap inverts it);\n"
     "-o writes it like any picture. EmbeddedMaskZRK(swap) = picture(\"m.png\") writes a grey\n"
     "picture's values into the picture in place.\n"
     "Kept on purpose: the setter writes into the byte where alpha lies only when the alpha byte comes\n"
     "first; in the usual layout it overwrites red instead.",
     "EmbeddedMaskZRK(false)"},
    {"HasMaskZRK", "Mask and scrolling", "whether the picture has a separate mask",
     "True when the host picture carries a mask of its own; asking does not make one.",
     "HasMaskZRK"},
    {"ScrollZRK", "Mask and scrolling", "moves the content in place, both ways",
     "ScrollZRK(deltaX, deltaY, wrap, scrollmask): pixels to move right and down (negative: left and\n"
     "up); wrap brings what leaves one edge back at the other, otherwise the strip left behind is\n"
     "erased; scrollmask moves the mask along. Returns whether it worked; the picture changes.",
     "ScrollZRK(60, 20, true, false)"},
    {"ScrollHorizontalZRK", "Mask and scrolling", "moves the content in place, sideways",
     "ScrollHorizontalZRK(delta, wrap, scrollmask): as ScrollZRK with deltaY 0.",
     "ScrollHorizontalZRK(-80, true, false)"},
    {"ScrollVerticalZRK", "Mask and scrolling", "moves the content in place, up or down",
     "ScrollVerticalZRK(delta, wrap, scrollmask): as ScrollZRK with deltaX 0.",
     "ScrollVerticalZRK(40, true, false)"},

    {"PicturetoBinaryStringZRK", "Strings and sound", "the picture as a byte string (global)",
     "PicturetoBinaryStringZRK(p): a string holding a 40-byte header and the pixels as 24-bit RGB,\n"
     "no alpha; --save-string writes it to a file.",
     "PicturetoBinaryStringZRK(self)"},
    {"BinaryStringtoPictureZRK", "Strings and sound", "a picture from such a byte string (global)",
     "BinaryStringtoPictureZRK(data): pass the string as file(\"name\"); nil for bytes that are no\n"
     "such string.",
     "BinaryStringtoPictureZRK(file(\"picture.ppic\"))"},
    {"RenderSamplesZRK", "Strings and sound", "the waveform of a sound (global; picture-host render)",
     "picture-host render SOUND fills in Samples, SampleCount and Bits. Settings: Width, Height\n"
     "(pixels; Width defaults to one column a sample up to 1000, Height to 500), Smooth (columns\n"
     "averaged, 0 = off), outlinewidth (pixels, 0 = none), BackColor, ForeColor, OutLineColor,\n"
     "AutoScale (true scales the loudest column to the full height).\n"
     "Kept on purpose: without AutoScale the scale is the encoding's full range, so a quiet sound\n"
     "draws a thin line.",
     "RenderSamplesZRK(Width=720, Height=160, Smooth=3, AutoScale=true, outlinewidth=1)"},
};

bool SameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

std::span<const CatalogueEntry> Catalogue() { return kEntries; }

std::span<const std::string_view> Families() { return kFamilies; }

const CatalogueEntry* FindEntry(std::string_view name) {
  for (const CatalogueEntry& entry : kEntries) {
    if (SameName(entry.name, name)) return &entry;
  }
  return nullptr;
}

}  // namespace picture_host
