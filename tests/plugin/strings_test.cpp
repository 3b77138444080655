// Host strings and exceptions as the frame makes them, driven through the probe
// plug-in on hosts of different versions and with entry points missing: every
// encoding reaches the host as UTF-8 text (raw bytes stay raw), string data is
// read with or without the host's string-data entry points, and exceptions carry
// their class and message.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "tests/plugin/plugin_test.h"

namespace {

using testhost::CallResult;
using testhost::HostConfig;
using testhost::Ref;
using testhost::Value;

constexpr int64_t kUTF8 = 0x08000100;
constexpr int64_t kUTF16 = 0x0100;
constexpr int64_t kUTF32 = 0x0c000100;
constexpr int64_t kLatin1 = 0x0500;
constexpr int64_t kASCII = 0x0600;
constexpr int64_t kRaw = 0xFFFF;

// A host of some version, lacking some entry points.
struct BuildHost {
  const char* name;
  double version;
  std::set<std::string> missing;
};

class StringsTest : public PluginTest {
 protected:
  testhost::Host& Start(HostConfig config = {}) { return StartHostWith(PROBE_PLUGIN_PATH, config); }
  testhost::Host& Start(const BuildHost& b) {
    HostConfig config;
    config.version = b.version;
    config.missing = b.missing;
    return Start(config);
  }

  Ref Block(const std::string& bytes) {
    Ref block = host().NewMemoryBlock(static_cast<int32_t>(bytes.size()));
    if (!bytes.empty()) std::memcpy(host().Bytes(block.block()).data(), bytes.data(), bytes.size());
    return block;
  }

  // The built string's text, or "<nil>".
  std::string Build(const std::string& bytes, double length, int64_t encoding) {
    Ref block = Block(bytes);
    CallResult r = host().Call("ProbeBuildString", {block, length, encoding});
    EXPECT_TRUE(r.ok()) << r.error;
    if (!std::holds_alternative<std::string>(r.value)) return "<nil>";
    return std::get<std::string>(r.value);
  }

  int64_t BuiltEncoding(const std::string& bytes, int64_t encoding) {
    Ref block = Block(bytes);
    CallResult r = host().Call("ProbeBuiltEncoding", {block, static_cast<double>(bytes.size()), encoding});
    EXPECT_TRUE(r.ok()) << r.error;
    return std::holds_alternative<int64_t>(r.value) ? std::get<int64_t>(r.value) : -2;
  }

  std::string Data(const std::string& text, int64_t encoding) {
    CallResult r = host().Call("ProbeStringData", {text, encoding});
    EXPECT_TRUE(r.ok()) << r.error;
    if (!std::holds_alternative<Ref>(r.value)) return "<nil>";
    auto bytes = host().Bytes(std::get<Ref>(r.value).block());
    return std::string(bytes.begin(), bytes.end());
  }
};

std::string utf32(std::initializer_list<uint32_t> code_points) {
  std::string out;
  for (uint32_t cp : code_points) out.append(reinterpret_cast<const char*>(&cp), 4);
  return out;
}

std::string utf16(std::initializer_list<uint16_t> units) {
  std::string out;
  for (uint16_t u : units) out.append(reinterpret_cast<const char*>(&u), 2);
  return out;
}

TEST_F(StringsTest, EveryEncodingReachesTheHostAsUtf8) {
  const BuildHost hosts[] = {
      {"current", 2019.0, {}},
      {"before 2012", 2011.0, {}},
      {"no direct build", 2019.0, {"REALBuildStringWithEncoding"}},
      {"old, no direct build", 2010.5, {"REALBuildStringWithEncoding"}},
  };
  const std::string grin = "\xF0\x9F\x98\x80";  // U+1F600, one character
  for (const BuildHost& b : hosts) {
    SCOPED_TRACE(b.name);
    Start(b);
    EXPECT_EQ(Build("h\xC3\xA9llo", 6, kUTF8), "h\xC3\xA9llo");
    EXPECT_EQ(Build(utf16({'h', 0xE9, 0xD83D, 0xDE00}), 8, kUTF16), "h\xC3\xA9" + grin);
    EXPECT_EQ(Build(utf32({0x1F600}), 4, kUTF32), grin);
    EXPECT_EQ(Build(utf32({'a', 0x1F600, 'b'}), 12, kUTF32), "a" + grin + "b");
    EXPECT_EQ(Build("caf\xE9", 4, kLatin1), "caf\xC3\xA9");
    EXPECT_EQ(Build("plain", 5, kASCII), "plain");
    for (int64_t encoding : {kUTF8, kUTF16, kUTF32, kLatin1, kASCII}) {
      const std::string text = encoding == kUTF32 ? utf32({'x'}) : encoding == kUTF16 ? utf16({'x'}) : "x";
      EXPECT_EQ(BuiltEncoding(text, encoding), kUTF8) << std::hex << encoding;
    }
    StopHost();
  }
}

// Past the stack buffer the re-encoding is made on the heap.
TEST_F(StringsTest, LongUtf32TextWithoutDirectBuild) {
  HostConfig config;
  config.missing = {"REALBuildStringWithEncoding"};
  Start(config);
  std::string wide, want;
  for (int i = 0; i < 1000; ++i) {
    const uint32_t cp = i % 2 ? 0x1F600 : 'a' + i % 26;
    wide.append(reinterpret_cast<const char*>(&cp), 4);
    want += i % 2 ? "\xF0\x9F\x98\x80" : std::string(1, static_cast<char>('a' + i % 26));
  }
  EXPECT_EQ(Build(wide, static_cast<double>(wide.size()), kUTF32), want);
}

TEST_F(StringsTest, RawBytesStayAsTheyAre) {
  Start();
  const std::string binary("PP\0\xFF\x80\x01", 6);
  EXPECT_EQ(Build(binary, 6, kRaw), binary);
  EXPECT_EQ(BuiltEncoding(binary, kRaw), kRaw);
}

TEST_F(StringsTest, EmptyNegativeOrHugeLengthsBuildNothing) {
  Start();
  for (double length : {0.0, -1.0, -2147483648.0, 2147483648.0, 4294967296.0}) {
    EXPECT_EQ(Build("abc", length, kUTF8), "<nil>") << length;
  }
  EXPECT_EQ(Build("abc", 2, kUTF8), "ab");
}

// With the host's string-data entry points, and on older hosts through the C
// string and "LenB", holding the string meanwhile.
TEST_F(StringsTest, StringDataInTheWantedEncoding) {
  const BuildHost hosts[] = {
      {"current", 2019.0, {}},
      {"without string data", 2011.0, {"PluginGetStringData", "PluginDisposeStringData"}},
      {"without string data or LenB", 2011.0, {"PluginGetStringData", "REALLoadGlobalMethod"}},
  };
  for (const BuildHost& b : hosts) {
    SCOPED_TRACE(b.name);
    Start(b);
    if (b.missing.count("REALLoadGlobalMethod") != 0) {
      EXPECT_EQ(Data("abc", kUTF8), "<nil>");
      StopHost();
      continue;
    }
    EXPECT_EQ(Data("h\xC3\xA9", kUTF8), "h\xC3\xA9");
    EXPECT_EQ(Data("h\xC3\xA9", kRaw), "h\xC3\xA9");
    EXPECT_EQ(Data("h\xC3\xA9", kUTF16), utf16({'h', 0xE9}));
    EXPECT_EQ(Data("caf\xC3\xA9", kLatin1), "caf\xE9");
    StopHost();
  }
}

TEST_F(StringsTest, ExceptionsCarryClassAndMessage) {
  struct Case {
    const char* className;
    const char* message;
    bool withMessage;
    const char* wantClass;
    const char* wantMessage;
  };
  const Case cases[] = {
      {"NilObjectException", "picture is nil", true, "NilObjectException", "picture is nil"},
      {"OutOfMemoryException", "Failed to allocate memory for a string.", true, "OutOfMemoryException",
       "Failed to allocate memory for a string."},
      {"NoSuchClassException", "memoryblock is nil", true, "RuntimeException", "memoryblock is nil"},
      {"NilObjectException", "", true, "NilObjectException", ""},
      {"NilObjectException", "ignored", false, "NilObjectException", ""},
  };
  Start();
  for (const Case& c : cases) {
    CallResult r = host().Call("ProbeRaise", {std::string(c.className), std::string(c.message), c.withMessage});
    ASSERT_TRUE(r.ok()) << r.error;
    ASSERT_TRUE(r.exception.has_value()) << c.className;
    EXPECT_EQ(r.exception->className, c.wantClass);
    EXPECT_EQ(r.exception->message, c.wantMessage);
    EXPECT_EQ(r.exception->errorNumber, 0);
  }
}

}  // namespace
