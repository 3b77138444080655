// The declaration parser: every form of declaration and parameter a plug-in
// registers, default literals, and the texts it must refuse.
#include <gtest/gtest.h>

#include "host/declaration.h"

namespace {

using testhost::internal::BaseType;
using testhost::internal::Literal;
using testhost::internal::ParamMode;
using testhost::internal::parse_declaration;

struct ParamCase {
  const char* name;
  BaseType base;
  ParamMode mode;
  std::optional<Literal> default_value;
};

struct DeclarationCase {
  const char* text;
  const char* name;
  BaseType result;
  std::vector<ParamCase> params;
};

class DeclarationParse : public ::testing::TestWithParam<DeclarationCase> {};

TEST_P(DeclarationParse, ReadsNameParametersAndResult) {
  const auto& c = GetParam();
  std::string error;
  const auto decl = parse_declaration(c.text, &error);
  ASSERT_TRUE(decl) << c.text << ": " << error;
  EXPECT_EQ(decl->name, c.name);
  EXPECT_EQ(decl->result.base, c.result);
  ASSERT_EQ(decl->params.size(), c.params.size()) << c.text;
  for (size_t i = 0; i < c.params.size(); ++i) {
    SCOPED_TRACE(c.params[i].name);
    EXPECT_EQ(decl->params[i].name, c.params[i].name);
    EXPECT_EQ(decl->params[i].type.base, c.params[i].base);
    EXPECT_EQ(decl->params[i].mode, c.params[i].mode);
    EXPECT_EQ(decl->params[i].default_value, c.params[i].default_value);
  }
}

const ParamMode kValue = ParamMode::kValue;

INSTANTIATE_TEST_SUITE_P(
    Forms, DeclarationParse,
    ::testing::Values(
        DeclarationCase{"InvertZRK as picture", "InvertZRK", BaseType::kObject, {}},
        DeclarationCase{"Close", "Close", BaseType::kVoid, {}},
        DeclarationCase{"Run()", "Run", BaseType::kVoid, {}},
        DeclarationCase{"InvertZRK(left as integer,top as integer,width as integer,height as integer) as picture",
                        "InvertZRK",
                        BaseType::kObject,
                        {{"left", BaseType::kInteger, kValue, {}},
                         {"top", BaseType::kInteger, kValue, {}},
                         {"width", BaseType::kInteger, kValue, {}},
                         {"height", BaseType::kInteger, kValue, {}}}},
        DeclarationCase{"RenderSamplesZRK(Samples as memoryblock, BackColor as color=&c88B5C4, Bits as Integer = 8, "
                        "AutoScale as boolean = false, Scale as Double = -2.5, dest as picture = nil) as Picture",
                        "RenderSamplesZRK",
                        BaseType::kObject,
                        {{"Samples", BaseType::kObject, kValue, {}},
                         {"BackColor", BaseType::kColor, kValue, Literal{int64_t{0x88B5C4}}},
                         {"Bits", BaseType::kInteger, kValue, Literal{int64_t{8}}},
                         {"AutoScale", BaseType::kBoolean, kValue, Literal{false}},
                         {"Scale", BaseType::kDouble, kValue, Literal{-2.5}},
                         {"dest", BaseType::kObject, kValue, Literal{}}}},
        DeclarationCase{"CountColorsZRK(byref red as memoryblock, byref count as integer)",
                        "CountColorsZRK",
                        BaseType::kVoid,
                        {{"red", BaseType::kObject, ParamMode::kByRef, {}},
                         {"count", BaseType::kInteger, ParamMode::kByRef, {}}}},
        DeclarationCase{"EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)",
                        "EmbeddedMaskZRK",
                        BaseType::kVoid,
                        {{"ref", BaseType::kObject, ParamMode::kExtends, {}},
                         {"swap", BaseType::kBoolean, kValue, {}},
                         {"value", BaseType::kObject, ParamMode::kAssigns, {}}}},
        // An extends parameter added to empty parentheses leaves a stray ", ".
        DeclarationCase{"Name(extends ref as Picture, ) as UInt32",
                        "Name",
                        BaseType::kUInt32,
                        {{"ref", BaseType::kObject, ParamMode::kExtends, {}}}},
        DeclarationCase{"LenB( s as string ) as integer", "LenB", BaseType::kInteger,
                        {{"s", BaseType::kString, kValue, {}}}},
        DeclarationCase{"Table(r as UINT32, x as COLOR = &hFF, n as INTEGER = -10000) as DOUBLE",
                        "Table",
                        BaseType::kDouble,
                        {{"r", BaseType::kUInt32, kValue, {}},
                         {"x", BaseType::kColor, kValue, Literal{int64_t{255}}},
                         {"n", BaseType::kInteger, kValue, Literal{int64_t{-10000}}}}},
        DeclarationCase{"Greet(who as String = \"a, b\") as Counter",
                        "Greet",
                        BaseType::kObject,
                        {{"who", BaseType::kString, kValue, Literal{std::string("a, b")}}}}));

TEST(DeclarationParse, RefusesMalformedText) {
  const char* const kBad[] = {
      "",                                   // no name
      "(a as integer)",                     // no name
      "F(a as integer",                     // unclosed
      "F(a integer)",                       // no 'as'
      "F(a as)",                            // no type
      "F(a as integer = ) as integer",      // empty default
      "F(a as integer = &cXYZ)",            // bad colour
      "F as",                               // no result type
      "F(a as integer) as integer extra",   // trailing text
      "F(a as integer b as integer)",       // missing comma
  };
  for (const char* text : kBad) {
    std::string error;
    EXPECT_FALSE(parse_declaration(text, &error)) << "accepted: " << text;
    EXPECT_FALSE(error.empty()) << text;
  }
}

TEST(DeclarationParse, ClassNamesKeepTheirSpelling) {
  const auto decl = parse_declaration("NewCounter(start as integer) as PictureSepiaZRK");
  ASSERT_TRUE(decl);
  EXPECT_EQ(decl->result.name, "PictureSepiaZRK");
  EXPECT_EQ(testhost::internal::type_phrase(decl->result), "a PictureSepiaZRK");
  EXPECT_EQ(testhost::internal::type_phrase(decl->params[0].type), "an integer");
}

}  // namespace
