// libFuzzer target: the 3-D table class's settings. A sequence of Table
// assignments and reads at any index (edges of the lattice and past it) with any
// value (NaN and infinities included), ranges at the 32-bit edges, source and
// destination pictures of any shape or nil, Run and Close, in any order.
#include "fuzz/fuzz_host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  testhost::Host& h = fuzzhost::the_host();
  fuzzhost::Input in(data, size);
  {
    const testhost::Ref lut = h.NewInstance("PictureLut3DZRK");
    fuzzhost::check(static_cast<bool>(lut), "no instance");
    const char* const kRanges[] = {"MinX", "MinY", "MaxX", "MaxY"};
    const auto index = [&in] { return in.byte() < 200 ? int64_t{in.byte() % 20} : in.unsigned_integer(); };
    for (int step = 0; step < 64 && in.left() > 0; ++step) {
      testhost::CallResult r;
      switch (in.byte() % 6) {
        case 0: {
          const testhost::Value i[] = {index(), index(), index(), index()};
          r = h.Assign(lut.get(), "Table", {i[0], i[1], i[2], i[3]}, in.real());
          break;
        }
        case 1: {
          const testhost::Value i[] = {index(), index(), index(), index()};
          r = h.CallMethod(lut.get(), "Table", {i[0], i[1], i[2], i[3]});
          break;
        }
        case 2: r = h.SetProperty(lut.get(), kRanges[in.byte() % 4], in.integer()); break;
        case 3: r = h.SetProperty(lut.get(), in.flag() ? "SourcePicture" : "DestinationPicture", in.picture(h)); break;
        case 4: r = h.CallMethod(lut.get(), "Run", {}); break;
        default: r = h.CallMethod(lut.get(), "Close", {}); break;
      }
      fuzzhost::check_call(r, "a call");
    }
    h.CallMethod(lut.get(), "Close", {});
  }
  fuzzhost::check_ledger(h);
  return 0;
}
