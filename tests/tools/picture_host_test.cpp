// picture-host run as a program: exit status, stdout and stderr, files written.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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

// What InvertZRK gives: the pixels inside [left, right) x [top, bottom) negated, the others
// not written, so white as a fresh host picture holds them.
Image Inverted(const Image& in, const std::array<int32_t, 4>& rect) {
  Image out(in.width, in.height, in.alpha);
  for (int32_t y = 0; y < in.height; ++y) {
    for (int32_t x = 0; x < in.width; ++x) {
      const Rgba c = in.Get(x, y), white = {255, 255, 255};
      const bool inside = x >= rect[0] && y >= rect[1] && x < rect[2] && y < rect[3];
      out.Set(x, y, inside ? Rgba{uint8_t(255 - c.r), uint8_t(255 - c.g), uint8_t(255 - c.b), c.a} : white);
    }
  }
  return out;
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

TEST_F(PictureHost, InvertNegatesEveryChannelInEveryWayOfLending) {
  struct Case {
    Strings args;
    bool alpha;  // in.png has an alpha channel, all opaque
    std::array<int32_t, 4> rect = {0, 0, kMaxSide, kMaxSide};  // left, top, right, bottom
  };
  const std::vector<Case> cases = {
      {{"@in.png", "InvertZRK"}, false},
      {{"@in.png", "InvertZRK()"}, true},                            // premultiplied
      {{"--layout", "2", "@in.png", "InvertZRK"}, true},             // premultiplied, alpha byte first
      {{"--layout", "6", "@in.png", "InvertZRK"}, false},            // no alpha, skipped byte first
      {{"--kind", "console", "@in.png", "InvertZRK"}, true},         // row table
      {{"--host-version", "2012.5", "@in.png", "InvertZRK"}, false},  // a class extension, not a module
      {{"--kind", "web", "@in.png", "InvertZRK", "InvertZRK"}, false},  // each call works on the last result
      {{"@in.png", "InvertZRK(1, 2, 3, &h2)"}, false, {1, 2, 4, 4}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    Image expected = Noise(9, 7, c.alpha, 11);
    for (size_t i = 3; c.alpha && i < expected.pixels.size(); i += 4) expected.pixels[i] = 255;
    WritePng(Path("in.png"), expected);
    const Outcome o = Run(c.args, {"-o", "@out.png"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out + o.err, "");
    for (const std::string& a : c.args) expected = a.starts_with("Invert") ? Inverted(expected, c.rect) : expected;
    const Image out = ReadImage(Path("out.png"));
    EXPECT_EQ(out.alpha, c.alpha);
    EXPECT_EQ(out.pixels, expected.pixels);
  }
  // The built-in chart stands in for an input file.
  ASSERT_EQ(Run({"--chart", "InvertZRK", "-o", "@chart.png"}).status, 0);
  EXPECT_EQ(ReadImage(Path("chart.png")).pixels, Inverted(MakeChart(), {0, 0, kMaxSide, kMaxSide}).pixels);
}

// A bad input gives status 2, a fault of the plug-in's that the host survives 1; either way one line on
// stderr, and a picture written only when the fault is found after the run.
TEST_F(PictureHost, EachFailureGivesItsStatusAndOneLine) {
  WritePng(Path("rgb.png"), Noise(5, 4, false, 1));
  WritePng(Path("rgba.png"), Noise(5, 4, true, 2));
  std::ofstream(Path("notes.txt")) << "not a picture\n";
  const std::string fixture = FIXTURE_PLUGIN;
  struct Case {
    Strings args;
    int status;
    std::string out;      // printed before the failure
    std::string message;  // a part of stderr; "@" is the test directory
  };
  const std::vector<Case> cases = {
      {{"@nosuch.png", "InvertZRK"}, 2, "", "cannot open '@nosuch.png': No such file"},
      {{"@notes.txt", "InvertZRK"}, 2, "", "'@notes.txt': not a PNG or JPEG picture"},
      {{"--bogus", "@rgb.png"}, 2, "", "unknown option '--bogus'"},
      {{"--plugin", "@none.so", "@rgb.png"}, 2, "", "cannot load the plug-in '@none.so'"},
      {{"--plugin", "@notes.txt", "@rgb.png"}, 2, "", "cannot load the plug-in '@notes.txt': "},
      {{"@rgb.png", "NoSuchMethodZRK"}, 2, "", "NoSuchMethodZRK: "},
      {{"@rgb.png", "InvertZRK(1, 2)"}, 2, "", "InvertZRK(1, 2): "},
      {{"@rgb.png", "InvertZRK(\"a\nb\", 2, 3, 4)"}, 2, "", "InvertZRK(\"a b\", 2, 3, 4): "},  // still one line
      {{"--layout", "5", "@rgba.png", "InvertZRK"}, 2, "", "needs layout 1 to 4"},
      {{"@rgb.png", "InvertZRK", "-o", "@no/out.png"}, 2, "", "cannot write '@no/out.png'"},
      {{"--plugin", fixture, "@rgb.png", "NilZRK", "-o", "@out.png"}, 2, "", "NilZRK returned nil"},
      {{"--plugin", fixture, "@rgb.png", "SameZRK(1)", "RaiseZRK", "SameZRK(2)", "-o", "@out.png"}, 2,
       "SameZRK = 1\n", "RaiseZRK raised NilObjectException: picture is nil"},
      {{"--plugin", fixture, "@rgb.png", "CrashZRK", "-o", "@out.png"}, 1, "", "the plug-in crashed in CrashZRK"},
      {{"--plugin", fixture, "@rgb.png", "SameZRK(n=1)"}, 2, "", "only plug-in classes take settings"},
      {{"--plugin", fixture, "@rgb.png", "CopierZRK(1)"}, 2, "", "CopierZRK is a class; it takes settings"},
      {{"--plugin", fixture, "@rgb.png", "CopierZRK(Fail=true)", "-o", "@out.png"}, 2, "", "Run returned false"},
      {{"--plugin", fixture, "@rgb.png", "CopierZRK(Fail=1)"}, 2, "", "Fail=1): property Fail must be a boolean"},
      {{"--plugin", fixture, "@rgb.png", "CopierZRK(Bogus=1)"}, 2, "", "CopierZRK has no property Bogus"},
      {{"@rgb.png", "PictureLut3DZRK(Table=sepia)"}, 2, "", "no built-in table 'sepia'"},
      {{"@rgb.png", "PictureLut3DZRK(Table=\"" + dir_.string() + "/notes.txt\")"}, 2, "",
       "Table: table '@notes.txt' line 1: expected six numbers"},
      // The ledger's account follows the line, one line per problem.
      {{"--plugin", fixture, "@rgb.png", "LeakZRK", "SameZRK(3)", "-o", "@out.png"}, 1,
       "LeakZRK = true\nSameZRK = 3\n", "ledger unbalanced:\n  "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    const Outcome o = Run(c.args);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.out, c.out);
    const bool account = c.message.ends_with("\n  ");
    EXPECT_EQ(o.err.find('\n'), account ? o.err.find("\n  ") : o.err.size() - 1) << o.err;
    std::string expected;
    for (char ch : c.message) expected += ch == '@' ? dir_.string() + "/" : std::string(1, ch);
    EXPECT_TRUE(o.err.starts_with("picture-host: ") && o.err.find(expected) != std::string::npos) << o.err;
    EXPECT_EQ(std::filesystem::remove(Path("out.png")), account);
  }
}

// A global method takes the current picture as self; a class takes it as SourcePicture, and its
// DestinationPicture becomes the current picture. Every reference goes back: the ledger is checked.
TEST_F(PictureHost, GlobalsAndClassesWorkOnTheCurrentPicture) {
  const Image in = Noise(7, 5, false, 23);
  WritePng(Path("in.png"), in);
  std::ofstream grade(Path("grade.txt"));  // red and blue swapped
  for (int n = 0; n < 16 * 16 * 16; ++n) {
    const int r = n / 256, g = n / 16 % 16, b = n % 16;
    grade << r << ' ' << g << ' ' << b << "  " << 17 * b << ' ' << 17 * g << ' ' << 17 * r << '\n';
  }
  grade.close();
  const std::string fixture = FIXTURE_PLUGIN;
  const auto same = [](Rgba c) { return c; };
  struct Case {
    Strings args;
    std::function<Rgba(Rgba)> pixel;  // of the input's, in the output
  };
  const std::vector<Case> cases = {
      {{"--plugin", fixture, "@in.png", "PickZRK(nil, self, 2)", "CopierZRK(Fail=false)", "PickZRK(self, nil, 1)"},
       same},
      // The plug-in's own: each setting and argument shows in the result.
      {{"@in.png", "InvertZRK", "TintPictureZRK(self, &cFF0000, &cFFFFFF)"},
       [](Rgba c) { return Rgba{uint8_t(255 - c.r), uint8_t(255 - c.r), uint8_t(255 - c.r), 255}; }},
      {{"@in.png", "PictureSepiaZRK(FactorRed=1, FactorBlue=0, FactorGreen=0.0, SepiaRed=40, SepiaBlue=-300)"},
       [](Rgba c) { return Rgba{uint8_t(std::min(c.r + 40, 255)), c.r, 0, 255}; }},
      {{"@in.png", "InvertZRK", "PictureLut3DZRK(Table=invert)"}, same},
      {{"@in.png", "PictureLut3DZRK(Table=\"" + Path("grade.txt") + "\")"},
       [](Rgba c) { return Rgba{c.b, c.g, c.r, 255}; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    const Outcome o = Run(c.args, {"-o", "@out.png"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out + o.err, "");
    Image expected = in;
    for (int32_t y = 0; y < in.height; ++y) {
      for (int32_t x = 0; x < in.width; ++x) expected.Set(x, y, c.pixel(in.Get(x, y)));
    }
    EXPECT_EQ(ReadImage(Path("out.png")).pixels, expected.pixels);
  }
}

TEST_F(PictureHost, ListShowsTheRegisteredMethodsAsAProgramCallsThem) {
  const Outcome real = Run({"list"});
  EXPECT_TRUE(real.out.starts_with("Picture extension methods:\n")) << real.out;
  EXPECT_NE(real.out.find("\n  InvertZRK as picture\n"), std::string::npos) << real.out;

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

TEST_F(PictureHost, PrintsEachKindOfResultAndByrefArgument) {
  WritePng(Path("in.png"), Noise(2, 2, false, 51));
  const Outcome o = Run({"--plugin", FIXTURE_PLUGIN, "@in.png", "shadeZRK", "HalfZRK(3)", "HalfZRK(0.2)",
                         "HalfZRK(1e3)", "SameZRK(-7)", "SameZRK(&hFF)", "NotZRK(true)", "NotZRK(False)",
                         R"-(EchoZRK("say ""hi"", (ok)"))-", "EchoZRK(\"a\nb\")", "FillZRK(0, nil)"});
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.err, "");
  EXPECT_EQ(o.out,
            "shadeZRK = &cFF8000\nHalfZRK = 1.5\nHalfZRK = 0.1\nHalfZRK = 500.0\nSameZRK = -7\nSameZRK = 255\n"
            "NotZRK = false\nNotZRK = true\nEchoZRK = \"say \"\"hi\"\", (ok)\"\nEchoZRK = \"a\" + Chr(10) + \"b\"\n"
            "FillZRK.n = 42\nFillZRK.block = memoryblock of 8 bytes\n");
}

}  // namespace
}  // namespace picture_host
