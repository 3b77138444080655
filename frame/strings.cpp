// Host strings. Text is always handed to the host in UTF-8: other encodings are
// built in their own encoding first and converted by the host. Settled choices:
// 0xFFFF (raw bytes, as binary data travels) is built as it stands and never
// converted; UTF-8 is built directly; encodings the host cannot convert stay in
// their own encoding rather than being lost; UTF-32 code points beyond U+10FFFF
// become U+FFFD when the host needs them re-encoded as UTF-16.
#include <cstdlib>
#include <cstring>

#include "frame/host.h"

namespace picture {
namespace {

using host_abi::kEncodingUnknown;
using host_abi::kEncodingUTF16;
using host_abi::kEncodingUTF32;
using host_abi::kEncodingUTF8;

constexpr int64_t kMaxStringBytes = int64_t{1} << 31;
constexpr size_t kStackUnits = 799;
constexpr char kOutOfMemory[] = "Failed to allocate memory for a string.";

REALstring build_tagged(const void* data, int32_t length, uint32_t encoding) {
  REALstring s = REALBuildString(data, length);
  if (s != nullptr) REALSetStringEncoding(s, encoding);
  return s;
}

REALstring build_with_encoding(const void* data, int32_t length, uint32_t encoding) {
  REALstring s = REALBuildStringWithEncoding(data, length, encoding);
  return s != nullptr ? s : build_tagged(data, length, encoding);
}

REALstring to_utf8(REALstring s) {
  if (s == nullptr) return nullptr;
  REALstring converted = REALConvertString(s, kEncodingUTF8);
  if (converted == nullptr) return s;
  REALUnlockString(s);
  return converted;
}

REALstring build_utf16(const void* data, int32_t length) {
  // Hosts before 2012.0 cannot build UTF-16 directly.
  if (rbversion_rbversion >= 2012.0) return build_with_encoding(data, length, kEncodingUTF16);
  return build_tagged(data, length, kEncodingUTF16);
}

REALstring build_utf32(const void* data, int32_t length) {
  if (REALstring s = REALBuildStringWithEncoding(data, length, kEncodingUTF32)) return to_utf8(s);

  const size_t count = static_cast<size_t>(length) / 4;
  uint16_t stack[kStackUnits];
  uint16_t* units = stack;
  if (count * 2 > kStackUnits) {
    units = static_cast<uint16_t*>(std::malloc(count * 2 * sizeof(uint16_t)));
    if (units == nullptr) {
      RaiseException("OutOfMemoryException", kOutOfMemory);
      return nullptr;
    }
  }
  size_t n = 0;
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (size_t i = 0; i < count; ++i) {
    uint32_t cp;
    std::memcpy(&cp, bytes + i * 4, 4);
    if (cp > 0x10FFFF) cp = 0xFFFD;
    if (cp > 0xFFFF) {
      cp -= 0x10000;
      units[n++] = static_cast<uint16_t>(0xD800 + (cp >> 10));
      units[n++] = static_cast<uint16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      units[n++] = static_cast<uint16_t>(cp);
    }
  }
  REALstring s = n > 0 ? to_utf8(build_utf16(units, static_cast<int32_t>(n * 2))) : nullptr;
  if (units != stack) std::free(units);
  return s;
}

}  // namespace

REALstring REALBuildUnicodeString(const void* data, int64_t length, uint32_t encoding) {
  if (data == nullptr || length <= 0 || length >= kMaxStringBytes) return nullptr;
  const auto n = static_cast<int32_t>(length);
  switch (encoding) {
    case kEncodingUnknown: return REALBuildString(data, n);
    case kEncodingUTF8: return build_with_encoding(data, n, kEncodingUTF8);
    case kEncodingUTF16: return to_utf8(build_utf16(data, n));
    case kEncodingUTF32: return build_utf32(data, n);
    default: return to_utf8(build_tagged(data, n, encoding));
  }
}

bool REALGetStringData(REALstring string, uint32_t encoding, REALstringData* out) {
  if (!PluginGetStringData.available()) return lock_string_data(string, encoding, out);
  if (out == nullptr) return false;
  *out = REALstringData{};
  return string != nullptr && PluginGetStringData(string, encoding, out) != 0;
}

void REALDisposeStringData(REALstringData* data) {
  if (data == nullptr) return;
  if (!PluginGetStringData.available()) return unlock_string_data(data);
  PluginDisposeStringData(data);
  *data = REALstringData{};
}

// The bytes come from "StringGetCString" and the host's "LenB", and stay valid
// while the plug-in holds the string: that hold is kept in `private1` until
// unlock_string_data.
bool lock_string_data(REALstring string, uint32_t encoding, REALstringData* out) {
  if (out == nullptr) return false;
  *out = REALstringData{};
  if (string == nullptr) return false;
  auto* lenB = reinterpret_cast<sig::LenB*>(
      REALLoadGlobalMethod(nullptr, "LenB( s as string ) as integer"));
  if (lenB == nullptr) return false;
  REALstring held = string;
  if (encoding != kEncodingUnknown && REALGetStringEncoding(string) != encoding) {
    held = REALConvertString(string, encoding);
    if (held == nullptr) return false;
  } else {
    REALLockString(string);
  }
  const char* bytes = StringGetCString(held);
  const int32_t length = lenB(held);
  if (bytes == nullptr || length < 0) {
    REALUnlockString(held);
    return false;
  }
  out->data = bytes;
  out->length = static_cast<size_t>(length);
  out->encoding = encoding != kEncodingUnknown ? encoding : REALGetStringEncoding(held);
  out->private1 = held;
  return true;
}

void unlock_string_data(REALstringData* data) {
  if (data == nullptr) return;
  if (data->private1 != nullptr) REALUnlockString(static_cast<REALstring>(const_cast<void*>(data->private1)));
  *data = REALstringData{};
}

}  // namespace picture
