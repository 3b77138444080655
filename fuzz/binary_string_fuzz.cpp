// libFuzzer target: arbitrary bytes as a string handed to BinaryStringtoPictureZRK
// in the test host (guard pages after every string and row). A picture that comes
// back must carry the input's pixel area exactly, and the host's ledger must stay
// balanced after every input. FUZZ_HOST=old runs a host from before 2012.0,
// whose string access differs.
#include "fuzz/fuzz_host.h"

namespace {

uint32_t be32(const std::string& s, size_t at) {
  return uint32_t(uint8_t(s[at])) << 24 | uint32_t(uint8_t(s[at + 1])) << 16 | uint32_t(uint8_t(s[at + 2])) << 8 |
         uint8_t(s[at + 3]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using fuzzhost::check;
  testhost::Host& h = fuzzhost::the_host();
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  {
    const testhost::CallResult r = h.Call("BinaryStringtoPictureZRK", {bytes});
    check(r.ok() && !r.exception, "the call failed or raised");
    if (const auto* made = std::get_if<testhost::Ref>(&r.value)) {
      const testhost::CallResult back = h.Call("PicturetoBinaryStringZRK", {*made});
      const auto* text = std::get_if<std::string>(&back.value);
      check(text != nullptr && text->size() >= 40, "a read picture did not convert back");
      const size_t area = text->size() - 40;
      check(be32(*text, 8) == be32(bytes, 8) && be32(*text, 12) == be32(bytes, 12), "the size changed");
      const size_t offset = be32(bytes, 20);
      check(offset + area <= bytes.size() && text->compare(40, area, bytes, offset, area) == 0,
            "the pixels differ from the string's pixel area");
    }
  }
  fuzzhost::check_ledger(h);
  return 0;
}
