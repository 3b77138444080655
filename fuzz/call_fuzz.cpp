// libFuzzer target: any registered method or class member, called from input
// bytes with pictures of every layout and size 0..64, extreme numbers and nil
// (see call_input.h); the ledger must be balanced after every input.
#include "fuzz/call_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  testhost::Host& h = fuzzhost::the_host();
  fuzzhost::Input in(data, size);
  fuzzhost::run_one_call(h, in);
  fuzzhost::check_ledger(h);
  return 0;
}
