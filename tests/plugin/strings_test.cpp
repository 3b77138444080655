// Host strings and exceptions as the frame makes them, driven through the probe
// plug-in on hosts of different versions and with entry points missing.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

#include "tests/plugin/plugin_test.h"

namespace {

using testhost::CallResult;
using testhost::HostConfig;
using testhost::Ref;

constexpr int64_t kUTF8 = 0x08000100, kUTF16 = 0x0100, kUTF32 = 0x0c000100, kLatin1 = 0x0500, kASCII = 0x0600,
                  kRaw = 0xFFFF;

class StringsTest : public PluginTest {
 protected:
  void Start(const HostConfig& config = {}) { StartHostWith(PROBE_PLUGIN_PATH, config); }

  // The probe's result for `bytes` in a memory block.
  testhost::Value Probe(const char* probe, const std::string& bytes, double length, int64_t encoding) {
    Ref block = host().NewMemoryBlock(static_cast<int32_t>(bytes.size()));
    if (!bytes.empty()) std::memcpy(host().Bytes(block.block()).data(), bytes.data(), bytes.size());
    CallResult r = host().Call(probe, {block, length, encoding});
    EXPECT_TRUE(r.ok()) << r.error;
    return r.value;
  }
  // The built string's text, or "<nil>".
  std::string Build(const std::string& bytes, double length, int64_t encoding) {
    const testhost::Value v = Probe("ProbeBuildString", bytes, length, encoding);
    return std::holds_alternative<std::string>(v) ? std::get<std::string>(v) : "<nil>";
  }
  int64_t BuiltEncoding(const std::string& bytes, int64_t encoding) {
    const testhost::Value v = Probe("ProbeBuiltEncoding", bytes, static_cast<double>(bytes.size()), encoding);
    return std::holds_alternative<int64_t>(v) ? std::get<int64_t>(v) : -2;
  }

  std::string Data(const std::string& text, int64_t encoding) {
    CallResult r = host().Call("ProbeStringData", {text, encoding});
    EXPECT_TRUE(r.ok()) << r.error;
    if (!std::holds_alternative<Ref>(r.value)) return "<nil>";
    auto bytes = host().Bytes(std::get<Ref>(r.value).block());
    return std::string(bytes.begin(), bytes.end());
  }
};

// Code units in memory order.
template <class Unit>
std::string units(std::initializer_list<Unit> list) {
  std::string out;
  for (Unit u : list) out.append(reinterpret_cast<const char*>(&u), sizeof u);
  return out;
}

// Every encoding reaches the host as UTF-8 text, raw bytes stay raw, and lengths
// that cannot be built give nil.
TEST_F(StringsTest, EveryEncodingReachesTheHostAsUtf8) {
  const std::pair<const char*, HostConfig> hosts[] = {
      {"current", {}},
      {"before 2012", {.version = 2011.0}},
      {"no direct build", {.missing = {"REALBuildStringWithEncoding"}}},
      {"old, no direct build", {.version = 2010.5, .missing = {"REALBuildStringWithEncoding"}}},
  };
  const std::string grin = "\xF0\x9F\x98\x81";  // U+1F601, one character
  // Fewer code points than the stack buffer holds, but more UTF-16 units: made on the heap.
  std::string wide, wideText;
  for (uint32_t i = 0; i < 700; ++i) {
    wide += units<uint32_t>({i % 2 ? 0x1F601 : 'a' + i % 26});
    wideText += i % 2 ? grin : std::string(1, static_cast<char>('a' + i % 26));
  }
  const std::string binary("PP\0\xFF\x80\x01", 6);
  for (const auto& [name, config] : hosts) {
    SCOPED_TRACE(name);
    Start(config);
    EXPECT_EQ(Build("h\xC3\xA9llo", 6, kUTF8), "h\xC3\xA9llo");
    EXPECT_EQ(Build(units<uint16_t>({'h', 0xE9, 0xD83D, 0xDE01}), 8, kUTF16), "h\xC3\xA9" + grin);
    EXPECT_EQ(Build(units<uint32_t>({'a', 0x1F601, 'b'}), 12, kUTF32), "a" + grin + "b");
    EXPECT_EQ(Build(wide, static_cast<double>(wide.size()), kUTF32), wideText);
    EXPECT_EQ(Build("caf\xE9", 4, kLatin1), "caf\xC3\xA9");
    EXPECT_EQ(Build("plain", 5, kASCII), "plain");
    for (int64_t encoding : {kUTF8, kUTF16, kUTF32, kLatin1, kASCII}) {
      const std::string x =
          encoding == kUTF32 ? units<uint32_t>({'x'}) : encoding == kUTF16 ? units<uint16_t>({'x'}) : "x";
      EXPECT_EQ(BuiltEncoding(x, encoding), kUTF8) << std::hex << encoding;
    }
    EXPECT_EQ(Build(binary, 6, kRaw), binary);
    EXPECT_EQ(BuiltEncoding(binary, kRaw), kRaw);
    for (double length : {0.0, -1.0, -2147483648.0, 2147483648.0, 4294967296.0})
      EXPECT_EQ(Build("abc", length, kUTF8), "<nil>") << length;
    EXPECT_EQ(Build("abc", 2, kUTF8), "ab");
    StopHost();
  }
}

// With the host's string-data entry points, and on older hosts through the C
// string and "LenB", holding the string meanwhile.
TEST_F(StringsTest, StringDataInTheWantedEncoding) {
  const HostConfig old{.version = 2011.0, .missing = {"PluginGetStringData", "PluginDisposeStringData"}};
  for (const HostConfig& config : {HostConfig{}, old}) {
    Start(config);
    EXPECT_EQ(Data("h\xC3\xA9", kUTF8), "h\xC3\xA9");
    EXPECT_EQ(Data("h\xC3\xA9", kRaw), "h\xC3\xA9");
    EXPECT_EQ(Data("h\xC3\xA9", kUTF16), units<uint16_t>({'h', 0xE9}));
    EXPECT_EQ(Data("caf\xC3\xA9", kLatin1), "caf\xE9");
    StopHost();
  }
  Start({.version = 2011.0, .missing = {"PluginGetStringData", "REALLoadGlobalMethod"}});
  EXPECT_EQ(Data("abc", kUTF8), "<nil>") << "without string data or LenB";
}

TEST_F(StringsTest, ExceptionsCarryClassAndMessage) {
  const struct { const char* className; bool withMessage; const char* wantClass; } cases[] = {
      {"NilObjectException", true, "NilObjectException"},
      {"NoSuchClassException", true, "RuntimeException"},
      {"NilObjectException", false, "NilObjectException"},
  };
  Start();
  for (const auto& c : cases) {
    CallResult r = host().Call("ProbeRaise", {std::string(c.className), std::string("picture is nil"), c.withMessage});
    ASSERT_TRUE(r.ok() && r.exception.has_value()) << c.className << r.error;
    EXPECT_EQ(r.exception->className, c.wantClass);
    EXPECT_EQ(r.exception->message, c.withMessage ? "picture is nil" : "");
    EXPECT_EQ(r.exception->errorNumber, 0);
  }
}

}  // namespace
