// chord-wav: writes the demo's sound, a few seconds of a decaying chord, as a
// 44.1 kHz mono WAV (or FLAC, by the name's ending) for picture-host render.
#include <charconv>
#include <iostream>
#include <string>

#include "tools/sound_io.h"

int main(int argc, char** argv) {
  double seconds = 3;
  if (argc == 3) {
    const std::string text = argv[2];
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (ec != std::errc() || end != text.data() + text.size() || !(seconds > 0 && seconds <= 600)) argc = 0;
  }
  if (argc != 2 && argc != 3) {
    std::cerr << "usage: chord-wav OUT.wav [SECONDS (up to 600, default 3)]\n";
    return 2;
  }
  try {
    constexpr int kRate = 44100;
    const auto samples = picture_host::DecayingChord(seconds, kRate);
    picture_host::WriteSound(argv[1], samples, 1, kRate);
  } catch (const std::exception& e) {
    std::cerr << "chord-wav: " << e.what() << '\n';
    return 2;
  }
  return 0;
}
