#include "tools/cli.h"
#include "tools/lattice.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace picture_host {
namespace {

TEST(ParseCall, ReadsTheNameAndEveryLiteralForm) {
  struct Case {
    std::string text, name;
    std::vector<Argument> args;
    std::vector<Setting> settings = {};
  };
  const std::vector<Case> cases = {
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
      {"TintPictureZRK(self, &c808080, SELF)", "TintPictureZRK", {CurrentPicture{}, 0x808080, CurrentPicture{}}},
      // In a setting, a bare name is a word; the keywords and self are not.
      {R"(C(A=-1, b = self, Table=warm, T="x=y", On=TRUE, N=nil))", "C", {},
       {{"A", -1}, {"b", CurrentPicture{}}, {"Table", Word{"warm"}}, {"T", std::string("x=y")}, {"On", true},
        {"N", std::monostate{}}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const Call call = ParseCall(c.text);
    EXPECT_EQ(call.name, c.name);
    EXPECT_EQ(call.args, c.args);
    EXPECT_EQ(call.settings, c.settings);
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
      {"F(warm)", "argument 1: 'warm' is not a literal"},
      {"C(A=1, 2)", "settings (Name=value) and plain arguments cannot be mixed"},
      {"C(a=1, A=2)", "A is set twice"},
      {"C(A=)", "setting A: empty argument"},
      {"C(A=1 2)", "setting A: '1 2' is not a literal"},
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

TEST(Lattice, FilesSetTheNodesTheyNameAndNoOther) {
  struct Case {
    std::string text;
    std::array<int, 3> node = {};
    std::array<double, 3> out = {};
    std::string error = "";  // the start of the message
  };
  const std::vector<Case> cases = {
      {"# a grade\n\n  1 2 3\t10 20.5 -3e1 # lifted\r\n17 17 17 0 0 0", {1, 2, 3}, {10, 20.5, -30}},
      {"1 2 3 10 20.5 -3e1", {3, 2, 1}, {51, 34, 17}},  // nodes not given map to themselves
      {"1 2 3 4 5", {}, {}, "line 1: expected six numbers (r g b red green blue), found 5"},
      {"\n18 0 0 1 2 3", {}, {}, "line 2: index 18 is outside 0 to 17"},
      {"1 2 x 0 0 0", {}, {}, "line 1: 'x' is not an index"},
      {"0 0 0 1 inf 2", {}, {}, "line 1: 'inf' is not a finite number"},
      {"1 1 1 0 0 0\n1 1 1 5 5 5", {}, {}, "line 2: node 1 1 1 was set on line 1"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    try {
      const Lattice lattice = ParseLattice(c.text);
      EXPECT_EQ(c.error, "");
      for (int x = 0; x < 3; ++x) EXPECT_EQ(lattice.at(LatticeIndex(c.node[0], c.node[1], c.node[2], x)), c.out[x]);
    } catch (const LatticeError& e) {
      EXPECT_TRUE(!c.error.empty() && std::string(e.what()).starts_with(c.error)) << e.what();
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
