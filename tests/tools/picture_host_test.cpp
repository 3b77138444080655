// picture-host run as a program: exit status, stdout and stderr, files written.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "tools/chart.h"
#include "tools/image_io.h"

namespace picture_host {
namespace {

using Strings = std::vector<std::string>;

// The exit status (-1 when the tool did not exit), stdout and stderr.
struct Outcome { int status; std::string out, err; };

// Deterministic noise, so that every channel value and every layout byte matters.
Image Noise(int32_t width, int32_t height, bool alpha, uint32_t seed) {
  Image image(width, height, alpha);
  for (uint8_t& byte : image.pixels) byte = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
  return image;
}

class PictureHost : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() / ("picture_host_test_" + std::to_string(::getpid()) + "_" +
                                                     ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  static std::string Quoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
  }

  // Runs the tool with `extra` after `args`; "@name" in either is a file in the test directory.
  Outcome Run(const Strings& args, const Strings& extra = {}) const {
    std::string command = Quoted(PICTURE_HOST_EXE);
    for (const Strings* list : {&args, &extra}) {
      for (const std::string& a : *list) command.append(" ").append(Quoted(a.starts_with("@") ? Path(a.substr(1)) : a));
    }
    command.append(" >").append(Quoted(Path("stdout"))).append(" 2>").append(Quoted(Path("stderr")));
    const int status = std::system(command.c_str());
    const auto slurp = [&](const char* f) { return (std::stringstream() << std::ifstream(Path(f)).rdbuf()).str(); };
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp("stdout"), slurp("stderr")};
  }

  std::filesystem::path dir_;
};

// Each output pixel from the input pixel at x, y: every way of lending a picture to the
// plug-in, then the ways of calling it: globals take the current picture as self; a class
// takes it as SourcePicture and its DestinationPicture becomes the current picture.
TEST_F(PictureHost, RunsWriteWhatTheCallsMade) {
  std::ofstream grade(Path("grade.txt"));  // red and blue swapped
  for (int n = 0; n < 16 * 16 * 16; ++n) {
    const int r = n / 256, g = n / 16 % 16, b = n % 16;
    grade << r << ' ' << g << ' ' << b << "  " << 17 * b << ' ' << 17 * g << ' ' << 17 * r << '\n';
  }
  grade.close();
  using Pixel = std::function<Rgba(int32_t, int32_t, Rgba)>;
  const Pixel same = [](int32_t, int32_t, Rgba c) { return c; };
  const Pixel negated = [](int32_t, int32_t, Rgba c) {
    return Rgba{uint8_t(255 - c.r), uint8_t(255 - c.g), uint8_t(255 - c.b), c.a};
  };
  struct Case { Strings args; bool alpha; Pixel pixel; };  // alpha: in.png has an alpha channel, all opaque
  const std::vector<Case> cases = {
      {{"@in.png", "InvertZRK"}, false, negated},
      {{"@in.png", "InvertZRK()"}, true, negated},                            // premultiplied
      {{"--layout", "2", "@in.png", "InvertZRK"}, true, negated},             // premultiplied, alpha byte first
      {{"--layout", "6", "@in.png", "InvertZRK"}, false, negated},            // no alpha, skipped byte first
      {{"--kind", "console", "@in.png", "InvertZRK"}, true, negated},         // row table
      {{"--host-version", "2012.5", "@in.png", "InvertZRK"}, false, negated},  // a class extension, not a module
      {{"--kind", "web", "@in.png", "InvertZRK", "InvertZRK"}, false, same},  // each call works on the last result
      // Only the rectangle is written; the rest stays white, as a fresh host picture holds it.
      {{"@in.png", "InvertZRK(1, 2, 3, &h2)"}, false,
       [&](int32_t x, int32_t y, Rgba c) {
         return x >= 1 && y >= 2 && x < 4 && y < 4 ? negated(x, y, c) : Rgba{255, 255, 255};
       }},
      {{"--chart", "InvertZRK"}, false, negated},  // the built-in chart stands in for an input file
      {{"--plugin", FIXTURE_PLUGIN, "@in.png", "Pick(nil, self, 2)", "Counter(Enabled=true, Count=3)",
        "Pick(self, nil, 1)"}, false, same},
      // The plug-in's own: each setting and argument shows in the result.
      {{"@in.png", "InvertZRK", "TintPictureZRK(self, &cFF0000, &cFFFFFF)"}, false,
       [](int32_t, int32_t, Rgba c) { return Rgba{uint8_t(255 - c.r), uint8_t(255 - c.r), uint8_t(255 - c.r)}; }},
      {{"@in.png", "PictureSepiaZRK(FactorRed=1, FactorBlue=0, FactorGreen=0.0, SepiaRed=40, SepiaBlue=-300)"}, false,
       [](int32_t, int32_t, Rgba c) { return Rgba{uint8_t(std::min(c.r + 40, 255)), c.r, 0}; }},
      {{"@in.png", "InvertZRK", "PictureLut3DZRK(Table=invert)"}, false, same},
      {{"@in.png", "PictureLut3DZRK(Table=\"" + Path("grade.txt") + "\")"}, false,
       [](int32_t, int32_t, Rgba c) { return Rgba{c.b, c.g, c.r}; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    Image in = c.args[0] == "--chart" ? MakeChart() : Noise(9, 7, c.alpha, 11);
    for (size_t i = 3; c.alpha && i < in.pixels.size(); i += 4) in.pixels[i] = 255;
    WritePng(Path("in.png"), in);
    const Outcome o = Run(c.args, {"-o", "@out.png"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out + o.err, "");
    Image expected = in;
    for (int32_t y = 0; y < in.height; ++y) {
      for (int32_t x = 0; x < in.width; ++x) expected.Set(x, y, c.pixel(x, y, in.Get(x, y)));
    }
    const Image out = ReadImage(Path("out.png"));
    EXPECT_EQ(out.alpha, c.alpha);
    EXPECT_EQ(out.pixels, expected.pixels);
  }
}

// Results are printed, byref arguments after them. A bad input gives status 2, a fault of the
// plug-in's that the host survives 1; either way one line on stderr, and a picture written only
// when the fault is found after the run.
TEST_F(PictureHost, EachRunGivesItsStatusOutputAndOneLine) {
  WritePng(Path("rgb.png"), Noise(5, 4, false, 1));
  WritePng(Path("rgba.png"), Noise(5, 4, true, 2));
  std::ofstream(Path("notes.txt")) << "not a picture\n";
  const std::string fixture = FIXTURE_PLUGIN;
  // `out` is printed before the failure, if any; `message` is a part of stderr ("@" the test directory), none
  // for a success.
  struct Case { Strings args; int status; std::string out, message; };
  const std::vector<Case> cases = {
      {{"--plugin", fixture, "@rgb.png", "nextCOLOR", "Half(3)", "Half(0.2)", "Half(1e3)", "AddInts(-7)",
        "AddInts(&hFF, 0)", "Negate(true)", "Negate(False)", R"-(Shout("say ""hi"", (ok)"))-", "Shout(\"a\nb\")",
        "Swap(1, 2)", "EnsureBlock(nil, 8)", "Describe(self)"},
       0,
       "nextCOLOR = &c88B5C5\nHalf = 1.5\nHalf = 0.1\nHalf = 500.0\nAddInts = -2\nAddInts = 255\nNegate = false\n"
       "Negate = true\nShout = \"SAY \"\"HI\"\", (OK)\"\nShout = \"A\" + Chr(10) + \"B\"\nSwap.a = 2\nSwap.b = 1\n"
       "EnsureBlock = 8\nEnsureBlock.m = memoryblock of 8 bytes\nDescribe = \"picture\"\n",
       ""},
      {{"@nosuch.png", "InvertZRK"}, 2, "", "cannot open '@nosuch.png': No such file"},
      {{"--bogus", "@rgb.png"}, 2, "", "unknown option '--bogus'"},
      {{"--plugin", "@none.so", "@rgb.png"}, 2, "", "cannot load the plug-in '@none.so'"},
      {{"--plugin", "@notes.txt", "@rgb.png"}, 2, "", "cannot load the plug-in '@notes.txt': "},
      {{"@rgb.png", "InvertZRK(\"a\nb\", 2, 3, 4)"}, 2, "", "InvertZRK(\"a b\", 2, 3, 4): "},  // still one line
      {{"--layout", "5", "@rgba.png", "InvertZRK"}, 2, "", "needs layout 1 to 4"},
      {{"@rgb.png", "InvertZRK", "-o", "@no/out.png"}, 2, "", "cannot write '@no/out.png'"},
      {{"--plugin", fixture, "@rgb.png", "Pick(self, self, 0)", "-o", "@out.png"}, 2, "", "returned nil"},
      {{"--plugin", fixture, "@rgb.png", "AddInts(1)", R"(Fail("NilObjectException", "picture is nil"))", "AddInts(2)",
        "-o", "@out.png"},
       2, "AddInts = 6\n", "raised NilObjectException: picture is nil (error 42)"},
      {{"--plugin", fixture, "@rgb.png", "Crash", "-o", "@out.png"}, 1, "", "the plug-in crashed in Crash"},
      {{"--plugin", fixture, "@rgb.png", "AddInts(a=1)"}, 2, "", "only plug-in classes take settings"},
      {{"--plugin", fixture, "@rgb.png", "Counter(1)"}, 2, "", "Counter is a class; it takes settings"},
      {{"--plugin", fixture, "@rgb.png", "Counter(Enabled=false)", "-o", "@out.png"}, 2, "", "Run returned false"},
      {{"--plugin", fixture, "@rgb.png", "Counter(Enabled=1)"}, 2, "", "property Enabled must be a boolean"},
      {{"--plugin", fixture, "@rgb.png", "Counter(Bogus=1)"}, 2, "", "Counter has no property Bogus"},
      {{"@rgb.png", "PictureLut3DZRK(Table=\"" + dir_.string() + "/notes.txt\")"}, 2, "",
       "Table: table '@notes.txt' line 1: expected six numbers"},
      // The ledger's account follows the line, one line per problem.
      {{"--plugin", fixture, "@rgb.png", "LeakPicture(2, 2)", "AddInts(3)", "-o", "@out.png"}, 1, "AddInts = 8\n",
       "ledger unbalanced:\n  "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    const Outcome o = Run(c.args);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.out, c.out);
    const bool account = c.message.ends_with("\n  ");
    std::string expected;
    for (char ch : c.message) expected += ch == '@' ? dir_.string() + "/" : std::string(1, ch);
    EXPECT_EQ(o.err.find('\n'), account ? o.err.find("\n  ") : o.err.size() - 1) << o.err;  // one line at most
    EXPECT_TRUE(c.message.empty() ? o.err.empty()
                                  : o.err.starts_with("picture-host: ") && o.err.find(expected) != std::string::npos)
        << o.err;
    EXPECT_EQ(std::filesystem::remove(Path("out.png")), account);
  }
}

TEST_F(PictureHost, ListShowsTheRegisteredMethodsAsAProgramCallsThem) {
  // Registered in a module (2019.011) or as a class extension (2012.5), listed alike: each line in its group.
  const std::vector<std::string> lines = {
      "Picture extension methods:", "  EmbeddedMaskZRK(swap as boolean, assigns value as picture)",
      "  isGrayZRK(tolerance as integer = 0) as boolean", "Global methods",
      "  MergePictureZRK(source1 as picture, source2 as picture) as picture", "Class PictureSepiaZRK:",
      "  FactorBlue as Double", "Class PictureLut3DZRK:",
      "  Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32, assigns value as double)"};
  for (const std::string version : {"2019.011", "2012.5"}) {
    SCOPED_TRACE(version);
    const Outcome o = Run({"--plugin", TABLE_FIXTURE_PLUGIN, "--host-version", version, "list"});
    ASSERT_EQ(o.status, 0) << o.err;
    const std::string out = "\n" + o.out;
    size_t at = 0;
    for (const std::string& line : lines) {
      at = out.find("\n" + line, at);
      ASSERT_NE(at, std::string::npos) << line << " in order in\n" << o.out;
    }
    // The mask's setter shows once, as a program assigns through it.
    EXPECT_EQ(out.find(lines[1]), out.rfind(lines[1])) << o.out;
  }
}

}  // namespace
}  // namespace picture_host
