// The declaration parser: every form of declaration and parameter a plug-in registers, default literals,
// and the texts it must refuse.
#include <gtest/gtest.h>

#include "host/declaration.h"

namespace {

using namespace testhost::internal;

// "Name(mode name type = default, ...) result", types by base (objects by their written name).
std::string shape(const Declaration& d) {
  static const char* const kMode[] = {"", "byref ", "extends ", "assigns "};
  static const char* const kBase[] = {"void", "integer", "uint32", "double", "boolean", "color", "string"};
  const auto type_of = [](const TypeRef& t) { return t.is_object() ? t.name : kBase[static_cast<int>(t.base)]; };
  std::string out = d.name + "(";
  for (const auto& p : d.params) {
    out += (&p == &d.params[0] ? "" : ", ") + std::string(kMode[static_cast<int>(p.mode)]) + p.name + " " +
           type_of(p.type);
    if (!p.default_value) continue;
    out += " = " + std::visit([](const auto& v) -> std::string {
      using T = std::decay_t<decltype(v)>;
      if constexpr (std::is_same_v<T, std::monostate>) return "nil";
      else if constexpr (std::is_same_v<T, bool>) return v ? "true" : "false";
      else if constexpr (std::is_same_v<T, std::string>) return '"' + v + '"';
      else return std::to_string(v);
    }, *p.default_value);
  }
  return out + ") " + type_of(d.result);
}

TEST(Declarations, ParseIntoTheirShape) {
  const std::pair<const char*, const char*> kCases[] = {
      {"Run()", "Run() void"},
      {"Invert as picture", "Invert() picture"},
      {"Render(Samples as memoryblock, Back as color=&c88B5C4, Bits as Integer = 8, Auto as boolean = false, "
       "Scale as Double = -2.5, dest as picture = nil, On as Boolean = TRUE) as Picture",
       "Render(Samples memoryblock, Back color = 8959428, Bits integer = 8, Auto boolean = false, "
       "Scale double = -2.500000, dest picture = nil, On boolean = true) Picture"},
      {"Count(byref red as memoryblock, byref n as integer)", "Count(byref red memoryblock, byref n integer) void"},
      {"Mask(extends ref as Picture, swap as boolean, assigns value as picture)",
       "Mask(extends ref Picture, swap boolean, assigns value picture) void"},
      {"Name(extends ref as Picture, ) as UInt32", "Name(extends ref Picture) uint32"},  // stray ", "
      {"LenB( s as string ) as integer", "LenB(s string) integer"},
      {"T(r as UINT32,x as COLOR = &HFF, n as INTEGER = -10000) as DOUBLE",
       "T(r uint32, x color = 255, n integer = -10000) double"},
      {"Greet(who as String = \"a, b\") as Counter", "Greet(who string = \"a, b\") Counter"},
  };
  for (const auto& [text, expected] : kCases) {
    std::string error;
    const auto decl = parse_declaration(text, &error);
    ASSERT_TRUE(decl) << text << ": " << error;
    EXPECT_EQ(shape(*decl), expected) << text;
  }
}

TEST(Declarations, RefuseMalformedText) {
  const char* const kBad[] = {"",         "(a as integer)",  "F(a as integer", "F(a integer)", "F(a as)",
                              "F(a as integer = ) as integer", "F(a as integer = &cXYZ)", "F as",
                              "F(a as integer) as integer extra", "F(a as integer b as integer)"};
  for (const char* text : kBad) {
    std::string error;
    EXPECT_TRUE(!parse_declaration(text, &error) && !error.empty()) << "accepted, or no reason: " << text;
  }
}

}  // namespace
