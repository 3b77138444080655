// Host strings: immutable bytes with an encoding tag, reference counted like
// objects. Conversions go through glibc's iconv; UTF-16 and UTF-32 are in host
// byte order (little-endian, named explicitly so that iconv writes no byte-order
// mark). The unknown encoding (0xFFFF) and any encoding not listed convert to
// nothing. String data handed out by PluginGetStringData lives in a guarded
// buffer until PluginDisposeStringData.
#include <iconv.h>

#include <cerrno>
#include <cstring>

#include "host/host_internal.h"

namespace testhost::internal {

namespace {

const char* iconv_name(uint32_t encoding) {
  switch (encoding) {
    case host_abi::kEncodingUTF8: return "UTF-8";
    case host_abi::kEncodingUTF16: return "UTF-16LE";
    case host_abi::kEncodingUTF32: return "UTF-32LE";
    case host_abi::kEncodingWindowsLatin1: return "WINDOWS-1252";
    case host_abi::kEncodingASCII: return "ASCII";
    default: return nullptr;
  }
}

std::string origin_text(const Impl& h, std::string_view entry, size_t length) {
  return std::string(entry) + " " + std::to_string(length) + " bytes, " + context_of(h);
}

REALstring as_handle(StringObject* string) { return reinterpret_cast<REALstring>(string); }

REALstring REALBuildString(const void* data, int32_t length) {
  Impl& h = enter("REALBuildString");
  if (inject(h, "REALBuildString")) return nullptr;
  if (length < 0 || (data == nullptr && length > 0)) return nullptr;
  const std::string_view bytes(static_cast<const char*>(data), static_cast<size_t>(length));
  return as_handle(make_string(h, bytes, host_abi::kEncodingUnknown, origin_text(h, "REALBuildString", bytes.size())));
}

REALstring REALBuildStringWithEncoding(const void* data, int32_t length, uint32_t encoding) {
  Impl& h = enter("REALBuildStringWithEncoding");
  if (inject(h, "REALBuildStringWithEncoding")) return nullptr;
  if (length < 0 || (data == nullptr && length > 0)) return nullptr;
  const std::string_view bytes(static_cast<const char*>(data), static_cast<size_t>(length));
  return as_handle(make_string(h, bytes, encoding, origin_text(h, "REALBuildStringWithEncoding", bytes.size())));
}

void REALSetStringEncoding(REALstring string, uint32_t encoding) {
  Impl& h = enter("REALSetStringEncoding");
  if (auto* found = find_string(h, string, "REALSetStringEncoding")) found->encoding = encoding;
}

uint32_t REALGetStringEncoding(REALstring string) {
  Impl& h = enter("REALGetStringEncoding");
  auto* found = find_string(h, string, "REALGetStringEncoding");
  return found != nullptr ? found->encoding : host_abi::kEncodingUnknown;
}

REALstring REALConvertString(REALstring string, uint32_t encoding) {
  Impl& h = enter("REALConvertString");
  if (inject(h, "REALConvertString")) return nullptr;
  auto* found = find_string(h, string, "REALConvertString");
  if (found == nullptr) return nullptr;
  const auto converted = convert_text(found->bytes(), found->encoding, encoding);
  if (!converted) return nullptr;
  return as_handle(make_string(h, *converted, encoding, origin_text(h, "REALConvertString", converted->size())));
}

void REALLockString(REALstring string) {
  Impl& h = enter("REALLockString");
  if (string != nullptr && find_string(h, string, "REALLockString") != nullptr) retain(h, string, "REALLockString");
}

void REALUnlockString(REALstring string) {
  Impl& h = enter("REALUnlockString");
  if (string == nullptr) return;
  const auto it = h.objects.find(string);
  if (it != h.objects.end() && it->second->kind != ObjectKind::kString) {
    wrong_kind(h, *it->second, "REALUnlockString", ObjectKind::kString);
    return;
  }
  release(h, string, "REALUnlockString");
}

RBBoolean PluginGetStringData(REALstring string, uint32_t encoding, REALstringData* out) {
  Impl& h = enter("PluginGetStringData");
  if (inject(h, "PluginGetStringData")) return 0;
  auto* found = find_string(h, string, "PluginGetStringData");
  if (found == nullptr || out == nullptr) return 0;
  // A benchmark host lends the stored bytes themselves when no conversion is asked
  // for, so that a timed call holds no copy of the host's to be taken off again.
  const std::string_view stored = found->bytes();
  if (h.config.picturePool && (encoding == host_abi::kEncodingUnknown || encoding == found->encoding) &&
      h.string_data.emplace(stored.data(), StringDataRecord{{}, "PluginGetStringData, lent, " + context_of(h)}).second) {
    *out = REALstringData{stored.data(), stored.size(), found->encoding, stored.data(), 0};
    return 1;
  }
  std::string bytes(stored);
  uint32_t delivered = found->encoding;
  if (encoding != host_abi::kEncodingUnknown && encoding != found->encoding) {
    auto converted = convert_text(bytes, found->encoding, encoding);
    if (!converted) return 0;
    bytes = std::move(*converted);
    delivered = encoding;
  }
  StringDataRecord record{GuardedBuffer(bytes.size(), h.config.guardPages),
                          "PluginGetStringData of " + describe(*found) + ", " + context_of(h)};
  if (!bytes.empty()) std::memcpy(record.buffer.data(), bytes.data(), bytes.size());
  const void* data = record.buffer.data();
  h.string_data.emplace(data, std::move(record));
  *out = REALstringData{data, bytes.size(), delivered, data, 0};
  return 1;
}

void PluginDisposeStringData(REALstringData* data) {
  Impl& h = enter("PluginDisposeStringData");
  if (data == nullptr) return;
  const auto it = h.string_data.find(data->data);
  if (it == h.string_data.end() || data->private1 != data->data) {
    fault(h, "PluginDisposeStringData was given string data the host did not hand out (or already disposed), " +
                 context_of(h));
    return;
  }
  h.string_data.erase(it);
  *data = REALstringData{};
}

const char* StringGetCString(REALstring string) {
  Impl& h = enter("StringGetCString");
  if (inject(h, "StringGetCString")) return nullptr;
  auto* found = find_string(h, string, "StringGetCString");
  return found != nullptr ? reinterpret_cast<const char*>(found->data.data()) : nullptr;
}

}  // namespace

StringObject* make_string(Impl& h, std::string_view bytes, uint32_t encoding, std::string origin) {
  auto string = std::make_unique<StringObject>();
  string->data = GuardedBuffer(bytes.size() + 1, h.config.guardPages);
  if (!bytes.empty()) std::memcpy(string->data.data(), bytes.data(), bytes.size());
  string->length = bytes.size();
  string->encoding = encoding;
  return adopt_new(h, std::move(string), std::move(origin));
}

namespace {

std::optional<std::string> run_iconv(const char* to_name, const char* from_name, std::string_view bytes) {
  iconv_t cd = iconv_open(to_name, from_name);
  if (cd == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  std::string out(bytes.size() * 4 + 16, '\0');
  std::string input(bytes);  // iconv wants a mutable pointer
  char* in_ptr = input.data();
  size_t in_left = input.size();
  char* out_ptr = out.data();
  size_t out_left = out.size();
  bool ok = true;
  while (in_left > 0) {
    if (iconv(cd, &in_ptr, &in_left, &out_ptr, &out_left) != static_cast<size_t>(-1)) continue;
    if (errno != E2BIG) {
      ok = false;
      break;
    }
    const size_t used = out.size() - out_left;
    out.resize(out.size() * 2);
    out_ptr = out.data() + used;
    out_left = out.size() - used;
  }
  if (ok && iconv(cd, nullptr, nullptr, &out_ptr, &out_left) == static_cast<size_t>(-1)) ok = false;
  iconv_close(cd);
  if (!ok) return std::nullopt;
  out.resize(out.size() - out_left);
  return out;
}

}  // namespace

std::optional<std::string> convert_text(std::string_view bytes, uint32_t from, uint32_t to) {
  const char* from_name = iconv_name(from);
  const char* to_name = iconv_name(to);
  if (from_name == nullptr || to_name == nullptr) return std::nullopt;
  if (from == to) return std::string(bytes);
  return run_iconv(to_name, from_name, bytes);
}

std::string text_as_utf8(const StringObject& string) {
  if (string.encoding == host_abi::kEncodingUTF8) return std::string(string.bytes());
  auto converted = convert_text(string.bytes(), string.encoding, host_abi::kEncodingUTF8);
  return converted ? std::move(*converted) : std::string(string.bytes());
}

uint32_t encoding_for_text(std::string_view bytes) {
  // iconv rejects malformed input, so a UTF-8 to UTF-8 pass is the validity test.
  return run_iconv("UTF-8", "UTF-8", bytes) ? host_abi::kEncodingUTF8 : host_abi::kEncodingUnknown;
}

int32_t lenb(REALstring string) {
  Impl& h = enter("LenB");
  auto* found = find_string(h, string, "LenB");
  return found != nullptr ? static_cast<int32_t>(found->length) : 0;
}

void add_string_entries(EntryTable& table) {
  TESTHOST_ENTRY(table, REALBuildString);
  TESTHOST_ENTRY(table, REALBuildStringWithEncoding);
  TESTHOST_ENTRY(table, REALSetStringEncoding);
  TESTHOST_ENTRY(table, REALGetStringEncoding);
  TESTHOST_ENTRY(table, REALConvertString);
  TESTHOST_ENTRY(table, REALLockString);
  TESTHOST_ENTRY(table, REALUnlockString);
  TESTHOST_ENTRY(table, PluginGetStringData);
  TESTHOST_ENTRY(table, PluginDisposeStringData);
  TESTHOST_ENTRY(table, StringGetCString);
  static_assert(std::is_same_v<decltype(lenb), host_abi::sig::LenB>);
}

}  // namespace testhost::internal

namespace testhost {

using namespace internal;

REALstring Host::NewString(std::string_view bytes, uint32_t encoding) {
  return reinterpret_cast<REALstring>(
      make_string(*impl_, bytes, encoding, "NewString " + std::to_string(bytes.size()) + " bytes, " + context_of(*impl_)));
}

std::string Host::StringBytes(REALstring string) const {
  auto* found = find_string(*impl_, string, "StringBytes");
  return found != nullptr ? std::string(found->bytes()) : std::string();
}

uint32_t Host::StringEncoding(REALstring string) const {
  auto* found = find_string(*impl_, string, "StringEncoding");
  return found != nullptr ? found->encoding : host_abi::kEncodingUnknown;
}

void Host::ReleaseString(REALstring string) {
  if (string != nullptr) release(*impl_, string, "ReleaseString");
}

}  // namespace testhost
