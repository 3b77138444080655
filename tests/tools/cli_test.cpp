#include "tools/cli.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace picture_host {
namespace {

struct LiteralCase {
  std::string text;
  Literal expected;
};

TEST(ParseLiteral, ReadsEveryLiteralForm) {
  const std::vector<LiteralCase> cases = {
      {"0", int64_t{0}},
      {"12", int64_t{12}},
      {"-3", int64_t{-3}},
      {"+7", int64_t{7}},
      {"  42 ", int64_t{42}},
      {"2147483647", int64_t{2147483647}},
      {"-2147483648", int64_t{-2147483648LL}},
      {"4294967295", int64_t{4294967295LL}},
      {"&hFF", int64_t{255}},
      {"&HfF", int64_t{255}},
      {"&h0", int64_t{0}},
      {"&hFFFFFFFF", int64_t{4294967295LL}},
      {"&o17", int64_t{15}},
      {"&b101", int64_t{5}},
      {"1.5", 1.5},
      {"-0.25", -0.25},
      {".5", 0.5},
      {"5.", 5.0},
      {"1e3", 1000.0},
      {"2.5E-2", 0.025},
      {"+1.0", 1.0},
      {"true", true},
      {"TRUE", true},
      {"False", false},
      {"nil", std::monostate{}},
      {"Nil", std::monostate{}},
      {"&cFF8000", int64_t{0xFF8000}},
      {"&c00ff00", int64_t{0x00FF00}},
      {"&C000000", int64_t{0}},
      {"\"abc\"", std::string("abc")},
      {"\"\"", std::string()},
      {"\"say \"\"hi\"\"\"", std::string("say \"hi\"")},
      {"\"a, b (c)\"", std::string("a, b (c)")},
      {"\" padded \"", std::string(" padded ")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(ParseLiteral(c.text), c.expected);
  }
}

struct BadCase {
  std::string text;
  std::string message;  // a part of the error
};

TEST(ParseLiteral, RejectsWhatIsNotALiteral) {
  const std::vector<BadCase> cases = {
      {"", "empty argument"},
      {"   ", "empty argument"},
      {"abc", "'abc' is not a literal"},
      {"tru", "is not a literal"},
      {"1x", "is not a literal"},
      {"1.2.3", "is not a literal"},
      {"--1", "is not a literal"},
      {"-", "is not a literal"},
      {".", "is not a literal"},
      {"e5", "is not a literal"},
      {"1e", "is not a literal"},
      {"0x10", "is not a literal"},
      {"inf", "is not a literal"},
      {"nan", "is not a literal"},
      {"1 2", "is not a literal"},
      {"&", "is not a literal"},
      {"&h", "is not a literal"},
      {"&hG1", "is not a literal"},
      {"&z1", "is not a literal"},
      {"-&hFF", "is not a literal"},
      {"&h100000000", "does not fit 32 bits"},
      {"4294967296", "does not fit 32 bits"},
      {"-2147483649", "does not fit 32 bits"},
      {"99999999999999999999", "does not fit 32 bits"},
      {"1e999", "out of range"},
      {"&c12345", "six hex digits"},
      {"&c1234567", "six hex digits"},
      {"&cGGGGGG", "six hex digits"},
      {"&c", "six hex digits"},
      {"\"abc", "unterminated string"},
      {"\"a\"b", "is not a literal"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    try {
      ParseLiteral(c.text);
      ADD_FAILURE() << "accepted";
    } catch (const UsageError& e) {
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
    }
  }
}

TEST(FormatResult, PrintsEachKindOfResult) {
  const std::vector<std::tuple<Literal, std::string, std::string>> cases = {
      {int64_t{42}, "integer", "42"},
      {int64_t{-7}, "", "-7"},
      {int64_t{0xFF8000}, "color", "&cFF8000"},
      {int64_t{0x0000FF}, "color", "&c0000FF"},
      {int64_t{0xFF8000}, "integer", "16744448"},
      {1.5, "double", "1.5"},
      {2.0, "double", "2.0"},
      {0.1, "double", "0.1"},
      {-1e300, "double", "-1e+300"},
      {true, "boolean", "true"},
      {false, "boolean", "false"},
      {std::monostate{}, "picture", "nil"},
      {std::string("abc"), "string", "\"abc\""},
      {std::string("say \"hi\""), "string", "\"say \"\"hi\"\"\""},
      {std::string("a\nb"), "string", "\"a\" + Chr(10) + \"b\""},
  };
  for (const auto& [value, type, text] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(FormatResult(value, type), text);
  }
}

TEST(FormatResult, PrintsWhatParseLiteralReadsBack) {
  const std::vector<std::pair<Literal, std::string>> values = {
      {int64_t{-2147483648LL}, "integer"}, {int64_t{4294967295LL}, "integer"},
      {int64_t{0x123456}, "color"},        {0.1, "double"},
      {1.0 / 3.0, "double"},               {-2.5e-8, "double"},
      {123456789.0, "double"},             {true, "boolean"},
      {std::monostate{}, "picture"},       {std::string("x \"y\" z, (w)"), "string"},
  };
  for (const auto& [value, type] : values) {
    const std::string text = FormatResult(value, type);
    SCOPED_TRACE(text);
    EXPECT_EQ(ParseLiteral(text), value);
  }
}

TEST(ParseCall, SplitsNameAndArguments) {
  const std::vector<std::tuple<std::string, std::string, std::vector<Literal>>> cases = {
      {"InvertZRK", "InvertZRK", {}},
      {"InvertZRK()", "InvertZRK", {}},
      {"  InvertZRK ( ) ", "InvertZRK", {}},
      {"InvertZRK(10, 10, 200, 100)", "InvertZRK",
       {int64_t{10}, int64_t{10}, int64_t{200}, int64_t{100}}},
      {"isGrayZRK( 3 ,-1,&h10 , 0 )", "isGrayZRK",
       {int64_t{3}, int64_t{-1}, int64_t{16}, int64_t{0}}},
      {"CountColorZRK(&cFF0000)", "CountColorZRK", {int64_t{0xFF0000}}},
      {"F_2(\"a,b\", nil, true, 1.5)", "F_2",
       {std::string("a,b"), std::monostate{}, true, 1.5}},
      {"F(\"x)\")", "F", {std::string("x)")}},
      {"F(\"\"\"\")", "F", {std::string("\"")}},
  };
  for (const auto& [text, name, args] : cases) {
    SCOPED_TRACE(text);
    const Call call = ParseCall(text);
    EXPECT_EQ(call.text, text);
    EXPECT_EQ(call.name, name);
    EXPECT_EQ(call.args, args);
  }
}

TEST(ParseCall, RejectsMalformedCalls) {
  const std::vector<BadCase> cases = {
      {"", "expected a method name"},
      {"1abc", "expected a method name"},
      {"(1)", "expected a method name"},
      {"Invert ZRK", "expected '(' after Invert"},
      {"InvertZRK(1", "missing ')'"},
      {"InvertZRK(1))", "unexpected text after ')'"},
      {"InvertZRK(1) x", "unexpected text after ')'"},
      {"InvertZRK((1))", "unexpected '('"},
      {"InvertZRK(1,)", "argument 2: empty argument"},
      {"InvertZRK(,1)", "argument 1: empty argument"},
      {"InvertZRK(1 2)", "argument 1: '1 2' is not a literal"},
      {"InvertZRK(1, 2, 3, 4x)", "argument 4: '4x' is not a literal"},
      {"F(\"open)", "missing ')'"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    try {
      ParseCall(c.text);
      ADD_FAILURE() << "accepted";
    } catch (const UsageError& e) {
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
      if (!c.text.empty()) {
        EXPECT_NE(std::string(e.what()).find(c.text), std::string::npos);
      }
    }
  }
}

// Everything ParseCommandLine settles, in one line.
std::string Summary(const Options& o) {
  if (o.command == Command::kHelp) return "help";
  std::string s = o.command == Command::kList ? "list" : o.chart ? "chart" : "input=" + o.input;
  for (const auto& call : o.calls) s += " " + call.name + "/" + std::to_string(call.args.size());
  if (o.output) s += " -o " + *o.output;
  if (!o.plugin.empty()) s += " plugin=" + o.plugin;
  s += " version=" + (o.host.version ? FormatResult(*o.host.version, "double") : "none");
  s += o.host.kind == testhost::HostKind::kDesktop ? " desktop"
       : o.host.kind == testhost::HostKind::kConsole ? " console"
                                                      : " web";
  if (o.layout) s += " layout=" + std::to_string(*o.layout);
  s += " made=" + std::to_string(o.host.newPictureAlphaInfo) + "/" +
       std::to_string(o.host.alphaPictureAlphaInfo);
  return s;
}

TEST(ParseCommandLine, ReadsOptionsInputCallsAndOutput) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"in.png"}, "input=in.png version=2019.011 desktop made=5/1"},
      {{"in.png", "InvertZRK", "InvertGrayZRK(1, 2, 3, 4)", "-o", "out.png"},
       "input=in.png InvertZRK/0 InvertGrayZRK/4 -o out.png version=2019.011 desktop made=5/1"},
      {{"-o", "out.png", "in.png", "InvertZRK"},
       "input=in.png InvertZRK/0 -o out.png version=2019.011 desktop made=5/1"},
      {{"--output=o.png", "in.jpg"}, "input=in.jpg -o o.png version=2019.011 desktop made=5/1"},
      {{"--plugin", "/x/p.so", "in.png"}, "input=in.png plugin=/x/p.so version=2019.011 desktop made=5/1"},
      {{"--plugin=/y/q.so", "in.png"}, "input=in.png plugin=/y/q.so version=2019.011 desktop made=5/1"},
      {{"--host-version", "2012.5", "in.png"}, "input=in.png version=2012.5 desktop made=5/1"},
      {{"--host-version=none", "in.png"}, "input=in.png version=none desktop made=5/1"},
      {{"--kind", "console", "in.png"}, "input=in.png version=2019.011 console made=5/1"},
      {{"--kind=web", "in.png"}, "input=in.png version=2019.011 web made=5/1"},
      // Pictures the host makes follow the input's byte order.
      {{"--layout", "2", "in.png"}, "input=in.png version=2019.011 desktop layout=2 made=6/2"},
      {{"--layout=3", "in.png"}, "input=in.png version=2019.011 desktop layout=3 made=5/1"},
      {{"--chart", "InvertZRK", "-o", "c.png"}, "chart InvertZRK/0 -o c.png version=2019.011 desktop made=5/1"},
      {{"--kind", "console", "list"}, "list version=2019.011 console made=5/1"},
      {{"--", "-odd.png", "InvertZRK"}, "input=-odd.png InvertZRK/0 version=2019.011 desktop made=5/1"},
      // Help is shown before anything after it is looked at.
      {{"in.png", "--help", "--bogus"}, "help"},
  };
  for (const auto& [args, summary] : cases) EXPECT_EQ(Summary(ParseCommandLine(args)), summary);
}

TEST(ParseCommandLine, RejectsBadCommandLines) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{}, "no input picture given"},
      {{"--bogus", "in.png"}, "unknown option '--bogus'"},
      {{"-x", "in.png"}, "unknown option '-x'"},
      {{"in.png", "-o"}, "option -o needs a value"},
      {{"in.png", "--output="}, "needs a file name"},
      {{"-o", "a.png", "-o", "b.png", "in.png"}, "output is given twice"},
      {{"--plugin"}, "option --plugin needs a value"},
      {{"--kind", "phone", "in.png"}, "--kind 'phone'"},
      {{"--kind"}, "option --kind needs a value"},
      {{"--layout", "0", "in.png"}, "--layout '0'"},
      {{"--layout", "7", "in.png"}, "--layout '7'"},
      {{"--layout", "x", "in.png"}, "--layout 'x'"},
      {{"--layout", "1.5", "in.png"}, "--layout '1.5'"},
      {{"--kind", "console", "--layout", "1", "in.png"}, "desktop hosts only"},
      {{"--host-version", "abc", "in.png"}, "--host-version 'abc'"},
      {{"--host-version", "-1", "in.png"}, "--host-version '-1'"},
      {{"--host-version", "2019x", "in.png"}, "--host-version '2019x'"},
      {{"--chart=yes"}, "--chart takes no value"},
      {{"list", "InvertZRK"}, "list takes no calls"},
      {{"list", "-o", "x.png"}, "list writes no picture"},
      {{"in.png", "Invert ZRK"}, "bad call 'Invert ZRK'"},
      {{"in.png", "InvertZRK(1, 2, 3, 4x)"}, "argument 4"},
  };
  for (const auto& [args, message] : cases) {
    SCOPED_TRACE(message);
    try {
      ParseCommandLine(args);
      ADD_FAILURE() << "accepted";
    } catch (const UsageError& e) {
      EXPECT_NE(std::string(e.what()).find(message), std::string::npos) << e.what();
    }
  }
}

struct DeclarationCase {
  std::string declaration;
  std::string name;
  std::string resultType;
  size_t minArgs, maxArgs;
  std::string extensionForm;
};

TEST(Declarations, NameResultArityAndExtensionForm) {
  const std::vector<DeclarationCase> cases = {
      {"InvertZRK as picture", "InvertZRK", "picture", 0, 0, "InvertZRK as picture"},
      {"InvertZRK(left as integer,top as integer,width as integer,height as integer) as picture",
       "InvertZRK", "picture", 4, 4,
       "InvertZRK(left as integer,top as integer,width as integer,height as integer) as picture"},
      {"InvertZRK(extends ref as Picture) as picture", "InvertZRK", "picture", 0, 0,
       "InvertZRK as picture"},
      {"isGrayZRK(extends ref as Picture, tolerance as integer = 0) as boolean", "isGrayZRK",
       "boolean", 0, 1, "isGrayZRK(tolerance as integer = 0) as boolean"},
      {"EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)",
       "EmbeddedMaskZRK", "", 1, 1, "EmbeddedMaskZRK(swap as boolean, assigns value as picture)"},
      {"CountColorsZRK(byref red as memoryblock, byref blue as memoryblock, byref green as "
       "memoryblock, byref count as integer)",
       "CountColorsZRK", "", 4, 4,
       "CountColorsZRK(byref red as memoryblock, byref blue as memoryblock, byref green as "
       "memoryblock, byref count as integer)"},
      {"RenderSamplesZRK(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width "
       "as integer, Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, "
       "ForeColor as color=&c274C5A, OutLineColor as color=&c203F4E, Bits as Integer = 8, "
       "AutoScale as boolean = false) as Picture",
       "RenderSamplesZRK", "picture", 6, 11, ""},
      {"Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double", "Table", "double", 4,
       4, ""},
      {"HasMaskZRK As Boolean", "HasMaskZRK", "boolean", 0, 0, "HasMaskZRK As Boolean"},
      {"Name(extends ref as Picture, ) as integer", "Name", "integer", 0, 0, "Name() as integer"},
      {"Close", "Close", "", 0, 0, "Close"},
      {"F(s as string = \"a,b)\") as string", "F", "string", 0, 1, ""},
      {"Ask(x as integer) as Color", "Ask", "color", 1, 1, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.declaration);
    EXPECT_EQ(DeclaredName(c.declaration), c.name);
    EXPECT_EQ(DeclaredResultType(c.declaration), c.resultType);
    const Arity arity = DeclaredArity(c.declaration);
    EXPECT_EQ(arity.min, c.minArgs);
    EXPECT_EQ(arity.max, c.maxArgs);
    const std::string form = c.extensionForm.empty() ? c.declaration : c.extensionForm;
    EXPECT_EQ(ExtensionForm(c.declaration), form);
  }
}

TEST(Declarations, PassedParams) {
  // name:type, with & for byref
  const auto summary = [](std::string_view declaration) {
    std::string s;
    for (const Param& p : PassedParams(declaration)) s += (p.byref ? "&" : "") + p.name + ":" + p.type + " ";
    return s;
  };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"InvertZRK as picture", ""},
      {"CountColorsZRK(byref red as memoryblock, byref blue as memoryblock, byref green as "
       "memoryblock, byref count as integer)",
       "&red:memoryblock &blue:memoryblock &green:memoryblock &count:integer "},
      {"FindPictureZRK(extends ref as Picture, pic as picture, ByRef x as integer, byref y as "
       "Integer) as boolean",
       "pic:picture &x:integer &y:integer "},
      {"isGrayZRK(tolerance as integer = 0) as boolean", "tolerance:integer "},
      {"RenderSamplesZRK(ForeColor as color=&c274C5A, ByVal Bits as Integer = 8)",
       "ForeColor:color Bits:integer "},
      {"EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)",
       "swap:boolean "},
  };
  for (const auto& [declaration, expected] : cases) EXPECT_EQ(summary(declaration), expected) << declaration;
}

TEST(Declarations, SetterForm) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double",
       "Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32, assigns value as double)"},
      {"EmbeddedMaskZRK(swap as boolean) as picture",
       "EmbeddedMaskZRK(swap as boolean, assigns value as picture)"},
      {"EmbeddedMaskZRK(swap as boolean, assigns value as picture)",
       "EmbeddedMaskZRK(swap as boolean, assigns value as picture)"},
      {"Level as Integer", "Level(assigns value as Integer)"},
      {"Level() as Integer", "Level(assigns value as Integer)"},
      {"Close", "Close"},
  };
  for (const auto& [declaration, form] : cases) EXPECT_EQ(SetterForm(declaration), form);
}

}  // namespace
}  // namespace picture_host
