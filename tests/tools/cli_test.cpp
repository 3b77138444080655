#include "tools/cli.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace picture_host {
namespace {

TEST(ParseCall, ReadsTheNameAndEveryLiteralForm) {
  const std::vector<std::tuple<std::string, std::string, std::vector<Literal>>> cases = {
      {"InvertZRK", "InvertZRK", {}},
      {"  Invert_2 ( ) ", "Invert_2", {}},
      {"F(0, 12, -3, +7, 2147483647, -2147483648, 4294967295)", "F",
       {0, 12, -3, 7, 2147483647, -2147483648LL, 4294967295LL}},
      {"F( &hFF ,&HfF,&o17,&b101,&hFFFFFFFF)", "F", {255, 255, 15, 5, 4294967295LL}},
      {"F(1.5, -0.25, .5, 5., 1e3, 2.5E-2, +1.0)", "F", {1.5, -0.25, 0.5, 5.0, 1000.0, 0.025, 1.0}},
      {"F(true, FALSE, nil, Nil)", "F", {true, false, std::monostate{}, std::monostate{}}},
      {"F(&cFF8000, &c00ff00)", "F", {0xFF8000, 0x00FF00}},
      {R"-(F("a, b (c)", "", "say ""hi""", " x "))-", "F",
       {std::string("a, b (c)"), std::string(), std::string("say \"hi\""), std::string(" x ")}},
  };
  for (const auto& [text, name, args] : cases) {
    SCOPED_TRACE(text);
    const Call call = ParseCall(text);
    EXPECT_EQ(call.name, name);
    EXPECT_EQ(call.args, args);
  }
}

TEST(ParseCall, NamesWhatIsMalformed) {
  // What follows "bad call 'TEXT': ".
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "expected a method name"},
      {"Invert ZRK", "expected '(' after Invert"},
      {"F(1", "missing ')'"},
      {"F(1) x", "unexpected text after ')'"},
      {"F((1))", "unexpected '('"},
      {"F(1,)", "argument 2: empty argument"},
      {"F(1, 2 3)", "argument 2: '2 3' is not a literal"},
      {"F(1.2.3)", "argument 1: '1.2.3' is not a literal"},
      {"F(tru)", "argument 1: 'tru' is not a literal"},
      {"F(1e)", "argument 1: '1e' is not a literal"},
      {"F(&hG1)", "argument 1: '&hG1' is not a literal"},
      {R"(F("a"b))", R"(argument 1: '"a"b' is not a literal)"},
      {"F(&h100000000)", "argument 1: integer '&h100000000' does not fit 32 bits"},
      {"F(-2147483649)", "argument 1: integer '-2147483649' does not fit 32 bits"},
      {"F(1e999)", "argument 1: double '1e999' is out of range"},
      {"F(&c12345)", "argument 1: colour '&c12345' must be &c and six hex digits"},
  };
  for (const auto& [text, message] : cases) {
    try {
      ParseCall(text);
      ADD_FAILURE() << text << ": accepted";
    } catch (const UsageError& e) {
      EXPECT_TRUE(std::string(e.what()).starts_with("bad call '" + text + "': " + message)) << e.what();
    }
  }
}

// Everything ParseCommandLine settles, in one line.
std::string Summary(const Options& o) {
  if (o.command == Command::kHelp) return "help";
  std::string s = o.command == Command::kList ? "list" : o.chart ? "chart" : "in=" + o.input;
  for (const auto& call : o.calls) s += " " + call.name + "/" + std::to_string(call.args.size());
  if (o.output) s += " -o " + *o.output;
  if (!o.plugin.empty()) s += " plugin=" + o.plugin;
  s += " v=" + (o.host.version ? FormatResult(*o.host.version, "double") : "none");
  using testhost::HostKind;
  s += o.host.kind == HostKind::kDesktop ? " desktop" : o.host.kind == HostKind::kConsole ? " console" : " web";
  if (o.layout) s += " layout=" + std::to_string(*o.layout);
  return s + " made=" + std::to_string(o.host.newPictureAlphaInfo) + "/" + std::to_string(o.host.alphaPictureAlphaInfo);
}

TEST(ParseCommandLine, ReadsOptionsOrNamesTheProblem) {
  // The summary, or "error: " and the start of the message.
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"in.png", "InvertZRK", "F(1, 2)", "-o", "out.png"},
       "in=in.png InvertZRK/0 F/2 -o out.png v=2019.011 desktop made=5/1"},
      {{"--output=o.png", "--plugin", "/x/p.so", "--kind=console", "in.jpg"},
       "in=in.jpg -o o.png plugin=/x/p.so v=2019.011 console made=5/1"},
      {{"--host-version", "2012.5", "--layout=2", "in.png"}, "in=in.png v=2012.5 desktop layout=2 made=6/2"},
      {{"--host-version=none", "--layout", "3", "--chart", "InvertZRK"},
       "chart InvertZRK/0 v=none desktop layout=3 made=5/1"},
      {{"--kind", "web", "list"}, "list v=2019.011 web made=5/1"},
      {{"--", "-odd.png"}, "in=-odd.png v=2019.011 desktop made=5/1"},
      {{"in.png", "--help", "--bogus"}, "help"},
      {{}, "error: no input picture given"},
      {{"--bogus", "in.png"}, "error: unknown option '--bogus'"},
      {{"in.png", "-o"}, "error: option -o needs a value"},
      {{"-o", "a.png", "--output=b.png", "in.png"}, "error: the output is given twice"},
      {{"--chart=yes"}, "error: option --chart takes no value"},
      {{"--layout", "7", "in.png"}, "error: --layout '7'"},
      {{"--kind", "console", "--layout", "1", "in.png"}, "error: --layout applies to desktop hosts only"},
      {{"--host-version", "2019x", "in.png"}, "error: --host-version '2019x'"},
      {{"list", "InvertZRK"}, "error: list takes no calls"},
      {{"in.png", "F(1, 4x)"}, "error: bad call 'F(1, 4x)': argument 2"},
  };
  for (const auto& [args, expected] : cases) {
    std::string got;
    try {
      got = Summary(ParseCommandLine(args));
    } catch (const UsageError& e) {
      got = "error: " + std::string(e.what());
    }
    EXPECT_TRUE(got == expected || (expected.starts_with("error: ") && got.starts_with(expected))) << got;
  }
}

}  // namespace
}  // namespace picture_host
