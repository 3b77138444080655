// libFuzzer target: the channel tables. CountColorsZRK adds a picture's
// histograms to blocks of any size (nil included) and TransformColorsZRK maps a
// picture through tables of any size, into a destination of any shape or a new
// picture. Counters must add up to the pixels counted.
#include <cstring>

#include "fuzz/fuzz_host.h"

namespace {

uint64_t counted(testhost::Host& h, const testhost::Value& block) {
  const auto* ref = std::get_if<testhost::Ref>(&block);
  if (ref == nullptr || h.Bytes(ref->block()).size() < 1024) return 0;
  uint64_t sum = 0;
  for (size_t i = 0; i < 256; ++i) {
    uint32_t c;
    std::memcpy(&c, h.Bytes(ref->block()).data() + 4 * i, 4);
    sum += c;
  }
  return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  testhost::Host& h = fuzzhost::the_host();
  fuzzhost::Input in(data, size);
  {
    const testhost::Ref source = in.picture(h);
    if (in.flag()) {
      // Fresh blocks start at zero, so each sum is the count the call reports.
      std::vector<testhost::Value> args;
      for (int i = 0; i < 3; ++i) args.push_back(in.flag() ? testhost::Value{} : testhost::Value{in.block(h)});
      for (auto& a : args) {
        if (const auto* ref = std::get_if<testhost::Ref>(&a); ref != nullptr && *ref) {
          for (uint8_t& b : h.Bytes(ref->block())) b = 0;
        }
      }
      args.push_back(in.integer());
      const testhost::CallResult r = h.CallMethod(source.get(), "CountColorsZRK", std::move(args));
      fuzzhost::check_call(r, "CountColorsZRK");
      const int64_t count = std::get<int64_t>(r.args[3]);
      for (int i = 0; i < 3 && count >= 0; ++i) {
        const uint64_t sum = counted(h, r.args[i]);
        fuzzhost::check(sum == 0 || sum == static_cast<uint64_t>(count), "a histogram does not add up to the count");
      }
    } else {
      std::vector<testhost::Value> args;
      for (int i = 0; i < 3; ++i) args.push_back(in.block(h));
      args.push_back(in.picture(h));
      const testhost::CallResult r = h.CallMethod(source.get(), "TransformColorsZRK", std::move(args));
      fuzzhost::check_call(r, "TransformColorsZRK");
    }
  }
  fuzzhost::check_ledger(h);
  return 0;
}
