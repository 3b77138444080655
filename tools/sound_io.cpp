#include "tools/sound_io.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>

namespace picture_host {
namespace {

struct CloseSound {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using SoundFile = std::unique_ptr<SNDFILE, CloseSound>;

std::string Quoted(const std::string& s) { return "'" + s + "'"; }

template <typename T>
void Append(std::vector<uint8_t>& out, T value) {
  const size_t at = out.size();
  out.resize(at + sizeof value);
  std::memcpy(out.data() + at, &value, sizeof value);
}

// Full scale to `scale`, rounded to nearest and clipped to -scale..scale.
long Scaled(double v, double scale) { return std::lround(std::clamp(v, -1.0, 1.0) * scale); }

}  // namespace

Sound ReadSound(const std::string& path) {
  SF_INFO info{};
  SoundFile file(sf_open(path.c_str(), SFM_READ, &info));
  if (!file) throw SoundError("cannot read the sound " + Quoted(path) + ": " + sf_strerror(nullptr));
  if (info.frames <= 0 || info.channels < 1) throw SoundError("the sound " + Quoted(path) + " has no samples");

  Sound sound;
  sound.sampleRate = info.samplerate;
  sound.channels = info.channels;
  sound.samples.reserve(static_cast<size_t>(info.frames));
  std::vector<double> frames(4096 * static_cast<size_t>(info.channels));
  while (true) {
    const sf_count_t got = sf_readf_double(file.get(), frames.data(), 4096);
    if (got <= 0) break;
    for (sf_count_t f = 0; f < got; ++f) {
      double sum = 0;
      for (int c = 0; c < info.channels; ++c) sum += frames[static_cast<size_t>(f * info.channels + c)];
      sound.samples.push_back(sum / info.channels);
    }
  }
  if (sf_error(file.get()) != SF_ERR_NO_ERROR) {
    throw SoundError("cannot read the sound " + Quoted(path) + ": " + sf_strerror(file.get()));
  }
  if (sound.samples.empty()) throw SoundError("the sound " + Quoted(path) + " has no samples");
  return sound;
}

void WriteSound(const std::string& path, std::span<const double> interleaved, int channels, int sampleRate) {
  const bool flac = path.size() >= 5 && path.compare(path.size() - 5, 5, ".flac") == 0;
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = channels;
  info.format = (flac ? SF_FORMAT_FLAC : SF_FORMAT_WAV) | SF_FORMAT_PCM_16;
  SoundFile file(sf_open(path.c_str(), SFM_WRITE, &info));
  if (!file) throw SoundError("cannot write the sound " + Quoted(path) + ": " + sf_strerror(nullptr));
  // Full scale clips at the top instead of wrapping round to the bottom.
  sf_command(file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
  const sf_count_t frames = static_cast<sf_count_t>(interleaved.size() / static_cast<size_t>(channels));
  if (sf_writef_double(file.get(), interleaved.data(), frames) != frames) {
    throw SoundError("cannot write the sound " + Quoted(path) + ": " + sf_strerror(file.get()));
  }
}

int32_t EncodingBits(SampleEncoding encoding) {
  switch (encoding) {
    case SampleEncoding::kInt16: return 15;
    case SampleEncoding::kUint8: return 8;
    case SampleEncoding::kFloat32: return -32;
    case SampleEncoding::kFloat64: return -64;
  }
  return 0;
}

size_t EncodingSize(SampleEncoding encoding) {
  switch (encoding) {
    case SampleEncoding::kInt16: return 2;
    case SampleEncoding::kUint8: return 1;
    case SampleEncoding::kFloat32: return 4;
    case SampleEncoding::kFloat64: return 8;
  }
  return 0;
}

std::vector<uint8_t> EncodeSamples(std::span<const double> samples, SampleEncoding encoding) {
  std::vector<uint8_t> out;
  out.reserve(samples.size() * EncodingSize(encoding));
  for (const double v : samples) {
    switch (encoding) {
      case SampleEncoding::kInt16: Append(out, static_cast<int16_t>(Scaled(v, 32767))); break;
      case SampleEncoding::kUint8: Append(out, static_cast<uint8_t>(Scaled(v, 127) + 128)); break;
      case SampleEncoding::kFloat32: Append(out, static_cast<float>(v)); break;
      case SampleEncoding::kFloat64: Append(out, v); break;
    }
  }
  return out;
}

std::vector<double> DecayingChord(double seconds, int sampleRate) {
  // A, C sharp and E over two octaves, each with a quick attack and its own decay.
  static constexpr double kNotes[][3] = {{220.0, 0.30, 1.1}, {277.18, 0.22, 1.5}, {329.63, 0.20, 1.9},
                                         {440.0, 0.12, 2.6}};
  const auto count = static_cast<size_t>(std::max(0.0, seconds * sampleRate));
  std::vector<double> samples(count);
  for (size_t i = 0; i < count; ++i) {
    const double t = static_cast<double>(i) / sampleRate;
    const double attack = std::min(1.0, t / 0.01);
    double v = 0;
    for (const auto& [frequency, level, decay] : kNotes) {
      v += level * std::exp(-decay * t) * std::sin(2 * std::numbers::pi * frequency * t);
    }
    samples[i] = attack * v;
  }
  return samples;
}

}  // namespace picture_host
