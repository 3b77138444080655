// What the fuzz targets share: one test host per process with the plug-in
// loaded (FUZZ_HOST=console, web or old picks the host; desktop otherwise), a
// reader that turns input bytes into the values a host's program can pass
// (extreme integers, NaN and infinities, nil, pictures of every layout and of
// any size from 0 to 64 with padded rows, memory blocks), and the checks made
// after every input: the call was made, nothing raised that should not be, and
// the ledger is balanced. A failed check aborts, which libFuzzer reports.
#pragma once

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "host/test_host.h"

namespace fuzzhost {

using testhost::Ref;
using testhost::Value;

[[noreturn]] inline void fail(const std::string& what) {
  std::fprintf(stderr, "fuzz check failed: %s\n", what.c_str());
  std::abort();
}

inline void check(bool ok, const std::string& what) {
  if (!ok) fail(what);
}

inline testhost::Host& the_host() {
  static const std::unique_ptr<testhost::Host> host = [] {
    testhost::HostConfig config;
    const char* kind = std::getenv("FUZZ_HOST");
    const std::string_view k = kind != nullptr ? kind : "";
    if (k == "console") config.kind = testhost::HostKind::kConsole;
    if (k == "web") config.kind = testhost::HostKind::kWeb;
    if (k == "old" || std::getenv("FUZZ_OLD_HOST") != nullptr) config.version = 2011.5;
    auto made = std::make_unique<testhost::Host>(config);
    std::string error;
    if (!made->LoadPlugin(PICTURE_PLUGIN_PATH, &error)) fail("cannot load the plug-in: " + error);
    return made;
  }();
  return *host;
}

// The host could make the call, and the only exceptions are those the plug-in
// raises on purpose: for a nil argument, or when memory runs out.
inline void check_call(const testhost::CallResult& r, const std::string& what) {
  check(r.ok(), what + ": " + r.error);
  if (r.exception) {
    check(r.exception->className == "NilObjectException" || r.exception->className == "OutOfMemoryException",
          what + " raised " + r.exception->className);
  }
}

// Every reference, lock and string data given back after the input.
inline void check_ledger(testhost::Host& h) {
  const auto problems = h.LedgerProblems();
  if (!problems.empty()) fail(problems.front());
}

// Input bytes as values; past the end every byte reads 0.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
  bool flag() { return (byte() & 1) != 0; }
  size_t left() const { return size_ - at_; }
  uint32_t word() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v = v << 8 | byte();
    return v;
  }
  std::string text(size_t most) {
    const size_t wanted = byte();
    const size_t n = std::min<size_t>({most, left(), wanted});
    std::string s(reinterpret_cast<const char*>(data_ + at_), n);
    at_ += n;
    return s;
  }

  // Integers around every edge a 32-bit argument has.
  int64_t integer() {
    static constexpr int64_t kEdges[] = {INT32_MIN, INT32_MIN + 1, -32768, -256, -1, 0, 1, 2, 3, 10, 127, 128,
                                         255,       256,           32767,  32768, 65535, INT32_MAX, 0xFFFFFF};
    const uint8_t pick = byte();
    if (pick < std::size(kEdges)) return kEdges[pick];
    if (pick < 200) return static_cast<int8_t>(byte());
    return static_cast<int32_t>(word());
  }
  // Unsigned and colour arguments: the same, as the bits a host passes.
  int64_t unsigned_integer() { return static_cast<uint32_t>(integer()); }

  double real() {
    static const double kEdges[] = {NAN, INFINITY, -INFINITY, 0.0, -0.0, 1.0, -1.0, 0.5, 255.0, 256.0, 1e300,
                                    -1e300, 5e-324, 2147483648.0, -2147483649.0, 1e10};
    const uint8_t pick = byte();
    if (pick < std::size(kEdges)) return kEdges[pick];
    if (pick < 200) return static_cast<int8_t>(byte()) / 8.0;
    const uint64_t bits = uint64_t{word()} << 32 | word();
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
  }

  // A picture lent in any layout the host has, 0 to 64 pixels a side; nil for a 0 byte.
  Ref picture(testhost::Host& h) {
    const uint8_t shape = byte();
    if (shape == 0) return Ref();
    testhost::PictureSpec form;
    form.width = byte() % 65;
    form.height = byte() % 65;
    form.alphaInfo = shape & 7;
    form.bitsPerPixel = (shape & 0x18) == 0x18 ? 24 : 32;
    form.rowPadding = (shape >> 5 & 3) * 4;
    form.hasAlphaChannel = (shape & 0x80) != 0;
    const uint8_t extras = byte();
    form.drawOnly = (extras & 7) == 7;
    form.withMask = (extras & 8) != 0;
    Ref made = h.NewPicture(form);
    if (!made) return made;
    const int64_t pixels = int64_t{form.width} * form.height;
    for (int64_t i = 0; i < pixels && left() >= 4; ++i) {
      const uint32_t w = word();
      h.SetPixel(made.picture(), static_cast<int32_t>(i % form.width), static_cast<int32_t>(i / form.width),
                 testhost::Pixel{uint8_t(w >> 24), uint8_t(w >> 16), uint8_t(w >> 8), uint8_t(w)});
    }
    return made;
  }

  // A memory block of a size around the table sizes, filled from the input; nil for a 0 byte.
  Ref block(testhost::Host& h) {
    static constexpr int32_t kSizes[] = {0, 1, 4, 255, 256, 257, 1023, 1024, 1025, 2048};
    const uint8_t pick = byte();
    if (pick == 0) return Ref();
    const int32_t size = pick <= std::size(kSizes) ? kSizes[pick - 1] : static_cast<int32_t>(word() % 4097);
    Ref made = h.NewMemoryBlock(size);
    auto bytes = h.Bytes(made.block());
    for (size_t i = 0; i < bytes.size() && left() > 0; ++i) bytes[i] = byte();
    return made;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

// A value of a declared type ("integer", "double", "picture", ...).
inline Value value_of(testhost::Host& h, Input& in, std::string_view type) {
  const auto is = [type](std::string_view name) {
    return type.size() == name.size() &&
           std::equal(type.begin(), type.end(), name.begin(), [](char a, char b) { return std::tolower(a) == b; });
  };
  if (is("integer")) return in.integer();
  if (is("uint32") || is("color")) return in.unsigned_integer();
  if (is("double")) return in.real();
  if (is("boolean")) return in.flag();
  if (is("string")) {
    if (in.byte() == 0) return Value{};
    return in.text(512);
  }
  if (is("memoryblock")) return in.block(h);
  return in.picture(h);  // picture, or any object a picture stands in for
}

}  // namespace fuzzhost

// The host and plug-in start before the first input.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzhost::the_host();
  return 0;
}

// The plug-in's registration records live as long as the process, on purpose.
extern "C" const char* __lsan_default_suppressions() { return "leak:testhost::Host::LoadPlugin\n"; }
