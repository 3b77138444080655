// A plug-in whose global methods reach the frame's string and exception services
// directly, so that tests can drive them through a host with any version and
// any entry point missing.
#include <cstring>
#include <string>

#include "frame/host.h"
#include "frame/registration.h"

namespace {

using namespace picture;

// The text of a host string as UTF-8; empty for nil.
std::string text_of(REALstring s) {
  REALstringData data{};
  if (!REALGetStringData(s, host_abi::kEncodingUTF8, &data)) return {};
  std::string text(static_cast<const char*>(data.data), data.length);
  REALDisposeStringData(&data);
  return text;
}

void ProbeRaise(REALstring className, REALstring message, RBBoolean withMessage) {
  const std::string name = text_of(className);
  const std::string text = text_of(message);
  RaiseException(name.c_str(), withMessage ? text.c_str() : nullptr);
}

REALstring ProbeBuildString(REALmemoryBlock bytes, double length, uint32_t encoding) {
  const void* data = bytes != nullptr ? memoryBlockGetPtr(bytes) : nullptr;
  return REALBuildUnicodeString(data, static_cast<int64_t>(length), encoding);
}

// The encoding the built string has in the host; -1 when none was built.
int32_t ProbeBuiltEncoding(REALmemoryBlock bytes, double length, uint32_t encoding) {
  REALstring s = ProbeBuildString(bytes, length, encoding);
  if (s == nullptr) return -1;
  const auto result = static_cast<int32_t>(REALGetStringEncoding(s));
  REALUnlockString(s);
  return result;
}

// The string's bytes in `encoding`, copied into a new memory block; nil on failure.
REALmemoryBlock ProbeStringData(REALstring s, uint32_t encoding) {
  REALstringData data{};
  if (!REALGetStringData(s, encoding, &data)) return nullptr;
  REALmemoryBlock block = newMemoryBlock(static_cast<int32_t>(data.length));
  if (block != nullptr && data.length > 0) std::memcpy(memoryBlockGetPtr(block), data.data, data.length);
  REALDisposeStringData(&data);
  return block;
}

REALmethodDefinition gProbes[] = {
    {proc(ProbeRaise), nullptr, "ProbeRaise(className as string, message as string, withMessage as boolean)"},
    {proc(ProbeBuildString), nullptr, "ProbeBuildString(bytes as memoryblock, length as double, encoding as UInt32) as string"},
    {proc(ProbeBuiltEncoding), nullptr, "ProbeBuiltEncoding(bytes as memoryblock, length as double, encoding as UInt32) as integer"},
    {proc(ProbeStringData), nullptr, "ProbeStringData(s as string, encoding as UInt32) as memoryblock"},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(REALresolver resolver) {
  PluginMain(resolver, PluginTables{{}, nullptr, gProbes});
}
