// libFuzzer target: RenderSamplesZRK with a sample block from the input (any
// size, nil included) and every numeric argument at its edges. A picture that
// comes back has the size asked for (the count when Width is below 1).
#include "fuzz/fuzz_host.h"

// Sides kept to a few hundred pixels, so that every input runs quickly; the
// refusals past 32767 are kept.
int64_t side(fuzzhost::Input& in) {
  const int64_t v = in.integer();
  return v > 300 && v <= 32767 ? v % 300 : v;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  testhost::Host& h = fuzzhost::the_host();
  fuzzhost::Input in(data, size);
  {
    std::vector<testhost::Value> args;
    args.push_back(in.block(h));
    args.push_back(in.integer());  // SampleCount
    args.push_back(in.integer());  // Smooth
    const int64_t width = side(in), height = side(in);
    args.push_back(width);
    args.push_back(height);
    args.push_back(in.integer());  // outlinewidth
    for (int i = 0; i < 3; ++i) args.push_back(in.unsigned_integer());  // colours
    args.push_back(in.integer());  // Bits
    args.push_back(in.flag());     // AutoScale
    const testhost::CallResult r = h.Call("RenderSamplesZRK", std::move(args));
    fuzzhost::check_call(r, "RenderSamplesZRK");
    if (const auto* made = std::get_if<testhost::Ref>(&r.value)) {
      fuzzhost::check(h.Height(made->picture()) == height, "the picture's height differs from the one asked for");
      fuzzhost::check(width < 1 || h.Width(made->picture()) == width, "the picture's width differs");
    }
  }
  fuzzhost::check_ledger(h);
  return 0;
}
