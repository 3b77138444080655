// Brightness, contrast and custom linear tone changes, each channel on its own,
// into a new opaque picture of the source's size. Every rule is evaluated in
// doubles on the integer channel value and truncated toward zero; a result that
// does not fit 32 bits (NaN and huge parameters included) becomes INT32_MIN.
// All rules clamp to 0..255 except linear brightness, which keeps only the low
// 8 bits of its result: for parameters outside -255..255 it wraps instead of
// clipping. The three-pair custom transform multiplies green by the red factor
// and never reads Ga. Both quirks are kept on purpose.
#include "adjust/tone.h"

#include <cstdint>

#include "adjust/map_picture.h"
#include "pixels/channel_tables.h"
#include "pixels/channel.h"

namespace picture {
namespace {

uint8_t clamped(double w) { return static_cast<uint8_t>(Clamp255(TruncateToInt32(w))); }

// The linear brightness pair: black lifts to B and white stays for B >= 0,
// black stays and white falls to 255 + B for B < 0.
struct Linear {
  double scale, offset;
  explicit Linear(double b) : scale(b < 0 ? (255.0 + b) / 255.0 : (255.0 - b) / 255.0), offset(b < 0 ? 0.0 : b) {}
};

// w = v·scale + offset, low 8 bits
struct LinBrightness {
  Linear linear;
  explicit LinBrightness(double b) : linear(b) {}
  uint8_t operator()(int32_t v) const {
    return static_cast<uint8_t>(TruncateToInt32(v * linear.scale + linear.offset) & 255);
  }
};

// w = v + B, clamped
struct AbsBrightness {
  double b;
  uint8_t operator()(int32_t v) const { return clamped(v + b); }
};

// w = (v − 127)·(Q + 1) + 127, clamped
struct Contrast {
  double k;
  explicit Contrast(double q) : k(q + 1.0) {}
  double unclamped(int32_t v) const { return (v - 127) * k + 127.0; }
  uint8_t operator()(int32_t v) const { return clamped(unclamped(v)); }
};

// w = ((v − 127)·k + 127)·scale + offset, clamped
struct ContrastLinBrightness {
  Contrast contrast;
  Linear linear;
  ContrastLinBrightness(double q, double b) : contrast(q), linear(b) {}
  uint8_t operator()(int32_t v) const { return clamped(contrast.unclamped(v) * linear.scale + linear.offset); }
};

// w = (v − 127)·k + 127 + B, clamped
struct ContrastAbsBrightness {
  Contrast contrast;
  double b;
  ContrastAbsBrightness(double q, double brightness) : contrast(q), b(brightness) {}
  uint8_t operator()(int32_t v) const { return clamped(contrast.unclamped(v) + b); }
};

// w = v·a + b, clamped
struct Transform {
  double a, b;
  uint8_t operator()(int32_t v) const { return clamped(v * a + b); }
};

// A rule depends on one channel value and its parameters only, so it is
// evaluated once per value into a table; the lookup gives what evaluating it
// per pixel would.
template <class Rule>
REALpicture tone(REALpicture source, const Rule& red, const Rule& green, const Rule& blue) {
  return map_picture(source, ChannelTables(red, green, blue));
}

template <class Rule>
REALpicture tone(REALpicture source, const Rule& all) {
  return tone(source, all, all, all);
}

}  // namespace

REALpicture LinBrightnessPicture1(REALpicture source, double brightness) {
  return tone(source, LinBrightness(brightness));
}

REALpicture LinBrightnessPicture3(REALpicture source, double brightnessRed, double brightnessGreen,
                                  double brightnessBlue) {
  return tone(source, LinBrightness(brightnessRed), LinBrightness(brightnessGreen), LinBrightness(brightnessBlue));
}

REALpicture AbsBrightnessPicture1(REALpicture source, double brightness) {
  return tone(source, AbsBrightness{brightness});
}

REALpicture AbsBrightnessPicture3(REALpicture source, double brightnessRed, double brightnessGreen,
                                  double brightnessBlue) {
  return tone(source, AbsBrightness{brightnessRed}, AbsBrightness{brightnessGreen}, AbsBrightness{brightnessBlue});
}

REALpicture ContrastPicture1(REALpicture source, double contrast) { return tone(source, Contrast(contrast)); }

REALpicture ContrastPicture3(REALpicture source, double contrastRed, double contrastGreen, double contrastBlue) {
  return tone(source, Contrast(contrastRed), Contrast(contrastGreen), Contrast(contrastBlue));
}

REALpicture ContrastLinBrightnessPicture1(REALpicture source, double contrast, double brightness) {
  return ContrastLinBrightnessPicture3(source, contrast, contrast, contrast, brightness, brightness, brightness);
}

REALpicture ContrastLinBrightnessPicture3(REALpicture source, double contrastRed, double contrastGreen,
                                          double contrastBlue, double brightnessRed, double brightnessGreen,
                                          double brightnessBlue) {
  return tone(source, ContrastLinBrightness(contrastRed, brightnessRed),
              ContrastLinBrightness(contrastGreen, brightnessGreen),
              ContrastLinBrightness(contrastBlue, brightnessBlue));
}

REALpicture ContrastAbsBrightnessPicture1(REALpicture source, double contrast, double brightness) {
  return ContrastAbsBrightnessPicture3(source, contrast, contrast, contrast, brightness, brightness, brightness);
}

REALpicture ContrastAbsBrightnessPicture3(REALpicture source, double contrastRed, double contrastGreen,
                                          double contrastBlue, double brightnessRed, double brightnessGreen,
                                          double brightnessBlue) {
  return tone(source, ContrastAbsBrightness(contrastRed, brightnessRed),
              ContrastAbsBrightness(contrastGreen, brightnessGreen),
              ContrastAbsBrightness(contrastBlue, brightnessBlue));
}

REALpicture TransformPicture1(REALpicture source, double a, double b) { return tone(source, Transform{a, b}); }

// Green takes the red factor; Ga is accepted and ignored.
REALpicture TransformPicture3(REALpicture source, double Ra, double Rb, double /*Ga*/, double Gb, double Ba,
                              double Bb) {
  return tone(source, Transform{Ra, Rb}, Transform{Ra, Gb}, Transform{Ba, Bb});
}

}  // namespace picture
