// Sound files for picture-host's render command, through libsndfile: a sound read
// from a WAV or FLAC file and mixed to mono, the samples laid out as the plug-in's
// renderer reads them from a memory block, and the short decaying chord the demo
// draws.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/cli.h"

namespace picture_host {

// A sound file that cannot be read or written; the message names the file.
class SoundError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Sound {
  int sampleRate = 0;
  int channels = 0;             // in the file
  std::vector<double> samples;  // mono: each frame's mean over its channels, full scale 1.0
};

// Any file libsndfile reads (WAV and FLAC among them); one without frames is an error.
Sound ReadSound(const std::string& path);

// Interleaved frames of `channels` samples in -1..1, as 16-bit PCM; the format
// follows the name's ending: .flac is FLAC, anything else WAV.
void WriteSound(const std::string& path, std::span<const double> interleaved, int channels, int sampleRate);

// The Bits value that names the encoding to the renderer, and the bytes per sample.
int32_t EncodingBits(SampleEncoding encoding);
size_t EncodingSize(SampleEncoding encoding);

// The samples in the host's byte order: int16 and uint8 scale full scale to 32767
// and 127 (uint8 biased by 128), rounded and clipped; the float encodings keep
// the values as they are.
std::vector<uint8_t> EncodeSamples(std::span<const double> samples, SampleEncoding encoding);

// A major chord struck once and fading, in -1..1: a sound that shows the
// renderer's envelope and its fill without any file to hand.
std::vector<double> DecayingChord(double seconds, int sampleRate);

}  // namespace picture_host
