// Host strings through the entry points: building, encodings and conversion
// (through iconv), string data, C strings and LenB, and reference counting.
#include <cstring>

#include "tests/support/host_test.h"

namespace {

constexpr uint32_t kUTF8 = host_abi::kEncodingUTF8;
constexpr uint32_t kUTF16 = host_abi::kEncodingUTF16;
constexpr uint32_t kUTF32 = host_abi::kEncodingUTF32;
constexpr uint32_t kLatin1 = host_abi::kEncodingWindowsLatin1;
constexpr uint32_t kASCII = host_abi::kEncodingASCII;
constexpr uint32_t kUnknown = host_abi::kEncodingUnknown;

class Strings : public HostTest {
 protected:
  void SetUp() override { StartHostWithout(); }

  REALstring Build(const std::string& bytes, uint32_t encoding) {
    return HOST_ENTRY(host(), REALBuildStringWithEncoding)(bytes.data(), static_cast<int32_t>(bytes.size()), encoding);
  }
  void Unlock(REALstring s) { HOST_ENTRY(host(), REALUnlockString)(s); }
};

struct ConversionCase {
  const char* what;
  std::string from_bytes;
  uint32_t from;
  uint32_t to;
  std::optional<std::string> expected;  // nullopt: no string
};

class StringConversions : public Strings, public ::testing::WithParamInterface<ConversionCase> {};

TEST_P(StringConversions, ConvertsThroughTheNamedEncodings) {
  const auto& c = GetParam();
  const REALstring source = Build(c.from_bytes, c.from);
  const REALstring converted = HOST_ENTRY(host(), REALConvertString)(source, c.to);
  if (!c.expected) {
    EXPECT_EQ(converted, nullptr) << c.what;
  } else {
    ASSERT_NE(converted, nullptr) << c.what;
    EXPECT_NE(converted, source);
    EXPECT_EQ(host().StringBytes(converted), *c.expected) << c.what;
    EXPECT_EQ(HOST_ENTRY(host(), REALGetStringEncoding)(converted), c.to);
    Unlock(converted);
  }
  // PluginGetStringData converts the same way (0xFFFF: the bytes as stored).
  REALstringData data{};
  const RBBoolean got = HOST_ENTRY(host(), PluginGetStringData)(source, c.to, &data);
  EXPECT_EQ(got != 0, c.expected.has_value() || c.to == kUnknown) << c.what;
  if (got != 0) {
    const std::string bytes(static_cast<const char*>(data.data), data.length);
    EXPECT_EQ(bytes, c.to == kUnknown ? c.from_bytes : *c.expected) << c.what;
    HOST_ENTRY(host(), PluginDisposeStringData)(&data);
  }
  Unlock(source);
}

const std::string kSmile = "\xF0\x9F\x98\x80";  // U+1F600 in UTF-8

INSTANTIATE_TEST_SUITE_P(
    Encodings, StringConversions,
    ::testing::Values(
        ConversionCase{"UTF-8 to UTF-16, no byte-order mark", "Ab", kUTF8, kUTF16, std::string("A\0b\0", 4)},
        ConversionCase{"UTF-8 to UTF-32", "A", kUTF8, kUTF32, std::string("A\0\0\0", 4)},
        ConversionCase{"astral to UTF-16 surrogates", kSmile, kUTF8, kUTF16, std::string("\x3D\xD8\x00\xDE", 4)},
        ConversionCase{"UTF-32 to UTF-8", std::string("\x00\xF6\x01\x00", 4), kUTF32, kUTF8, kSmile},
        ConversionCase{"UTF-16 to UTF-8", std::string("\xE9\x00", 2), kUTF16, kUTF8, "\xC3\xA9"},
        ConversionCase{"Windows Latin-1 euro", "\x80", kLatin1, kUTF8, "\xE2\x82\xAC"},
        ConversionCase{"UTF-8 to Windows Latin-1", "\xC3\xA9", kUTF8, kLatin1, "\xE9"},
        ConversionCase{"ASCII to UTF-8", "plain", kASCII, kUTF8, "plain"},
        ConversionCase{"not representable in ASCII", "\xC3\xA9", kUTF8, kASCII, std::nullopt},
        ConversionCase{"malformed UTF-8", "\xC3", kUTF8, kUTF16, std::nullopt},
        ConversionCase{"from the unknown encoding", "abc", kUnknown, kUTF8, std::nullopt},
        ConversionCase{"to the unknown encoding", "abc", kUTF8, kUnknown, std::nullopt},
        ConversionCase{"to an encoding the host does not know", "abc", kUTF8, 0x1234, std::nullopt},
        ConversionCase{"same encoding", "same", kUTF8, kUTF8, "same"}));

TEST_F(Strings, BuildStringHasTheUnknownEncodingUntilSet) {
  const REALstring s = HOST_ENTRY(host(), REALBuildString)("xyz", 3);
  EXPECT_EQ(HOST_ENTRY(host(), REALGetStringEncoding)(s), kUnknown);
  HOST_ENTRY(host(), REALSetStringEncoding)(s, kASCII);
  EXPECT_EQ(host().StringEncoding(s), kASCII);
  EXPECT_EQ(HOST_ENTRY(host(), REALBuildString)("xyz", -1), nullptr);
  EXPECT_EQ(HOST_ENTRY(host(), REALBuildString)(nullptr, 2), nullptr);
  Unlock(s);
}

TEST_F(Strings, CStringAndLenBSeeTheStoredBytes) {
  const std::string bytes("a\0b", 3);
  const REALstring s = Build(bytes, kUTF8);
  HOST_ENTRY(host(), REALLockString)(s);
  const char* text = HOST_ENTRY(host(), StringGetCString)(s);
  EXPECT_EQ(std::string(text, 4), std::string("a\0b\0", 4));
  auto* lenb = reinterpret_cast<host_abi::sig::LenB*>(
      HOST_ENTRY(host(), REALLoadGlobalMethod)(nullptr, "LenB( s as string ) as integer"));
  ASSERT_NE(lenb, nullptr);
  EXPECT_EQ(lenb(s), 3);
  EXPECT_EQ(HOST_ENTRY(host(), REALLoadGlobalMethod)(nullptr, "LenB(s as string) as integer"), nullptr);
  HOST_ENTRY(host(), REALUnlockString)(s);
  Unlock(s);
  EXPECT_EQ(host().LedgerProblems(), std::vector<std::string>{});
}

TEST_F(Strings, StringDataIsAGuardedCopyUntilDisposed) {
  const REALstring s = Build("hello", kUTF8);
  REALstringData data{};
  ASSERT_TRUE(HOST_ENTRY(host(), PluginGetStringData)(s, kUnknown, &data));
  EXPECT_EQ(data.encoding, kUTF8);
  EXPECT_EQ(data.length, 5u);
  EXPECT_NE(data.data, HOST_ENTRY(host(), StringGetCString)(s));
  const auto problems = host().LedgerProblems();
  ASSERT_EQ(problems.size(), 2u) << ::testing::PrintToString(problems);  // the string data and the string itself
  EXPECT_NE(problems[1].find("string data not disposed: PluginGetStringData of string #"), std::string::npos)
      << problems[1];
  HOST_ENTRY(host(), PluginDisposeStringData)(&data);
  EXPECT_EQ(data.data, nullptr);
  Unlock(s);
  EXPECT_EQ(host().LedgerProblems(), std::vector<std::string>{});
}

TEST_F(Strings, NilStringsAreQuietlyIgnoredByUnlock) {
  HOST_ENTRY(host(), REALUnlockString)(nullptr);
  REALstringData data{};
  EXPECT_EQ(HOST_ENTRY(host(), PluginGetStringData)(nullptr, kUTF8, &data), 0);
  EXPECT_EQ(host().LedgerProblems(), std::vector<std::string>{});
}

TEST_F(Strings, HostStringsForTestsKeepTheirBytes) {
  const REALstring s = host().NewString("\xFF\xFE", kUnknown);
  EXPECT_EQ(host().StringBytes(s), "\xFF\xFE");
  EXPECT_EQ(host().StringEncoding(s), kUnknown);
  host().ReleaseString(s);
  EXPECT_EQ(host().LedgerProblems(), std::vector<std::string>{});
}

}  // namespace
