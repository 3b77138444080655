// picture-host run as a program: exit status, stdout and stderr, files written.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "tools/chart.h"
#include "tools/cli.h"
#include "tools/image_io.h"
#include "tools/sound_io.h"

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
  WriteFileBytes(Path("invert.bin"), *BuiltInChannelTable("invert"));
  using Pixel = std::function<Rgba(int32_t, int32_t, Rgba)>;
  const Pixel same = [](int32_t, int32_t, Rgba c) { return c; };
  const Pixel negated = [](int32_t, int32_t, Rgba c) {
    return Rgba{uint8_t(255 - c.r), uint8_t(255 - c.g), uint8_t(255 - c.b), c.a};
  };
  const auto file = [&](const std::string& form, const std::string& name) { return form + "(\"" + Path(name) + "\")"; };
  // alpha: in.png has an alpha channel, all opaque; neg.png is in.png negated, and pattern.png its 2x2 pixels at 5, 3.
  struct Case { Strings args; bool alpha; Pixel pixel; std::string out = ""; };
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
      // Other pictures, channel tables and variables as arguments.
      {{"@in.png", "TransformColorsZRK(table(invert), " + file("table", "invert.bin") + ", table(invert))"}, false,
       negated},
      {{"@in.png", "MergePictureZRK(self, " + file("picture", "neg.png") + ")"}, false,
       [&](int32_t x, int32_t y, Rgba c) {
         const Rgba n = negated(x, y, c);
         return Rgba{std::max(c.r, n.r), std::max(c.g, n.g), std::max(c.b, n.b)};
       }},
      {{"@in.png", "ReplaceGreenChannelZRK(" + file("picture", "neg.png") + ")"}, false,
       [](int32_t, int32_t, Rgba c) { return Rgba{c.r, uint8_t(255 - c.g), c.b}; }},
      {{"@in.png", "CombinePicturesZRK(" + file("picture", "neg.png") + ", self, self)"}, false,
       [](int32_t, int32_t, Rgba c) { return Rgba{uint8_t(255 - c.r), c.g, c.b}; }},
      {{"@in.png", "FindPictureZRK(" + file("picture", "pattern.png") + ", x, y)", "InvertZRK(X, y, 2, 2)"}, false,
       [&](int32_t x, int32_t y, Rgba c) {
         return x >= 5 && x < 7 && y >= 3 && y < 5 ? negated(x, y, c) : Rgba{255, 255, 255};
       },
       "FindPictureZRK = true\nx = 5\ny = 3\n"},
      // The setter writes the mask's red into the lowest byte of each word: red in layout 5.
      {{"@in.png", "EmbeddedMaskZRK(false) = " + file("picture", "neg.png")}, false,
       [](int32_t, int32_t, Rgba c) { return Rgba{uint8_t(255 - c.r), c.g, c.b}; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    Image in = c.args[0] == "--chart" ? MakeChart() : Noise(9, 7, c.alpha, 11);
    for (size_t i = 3; c.alpha && i < in.pixels.size(); i += 4) in.pixels[i] = 255;
    WritePng(Path("in.png"), in);
    Image neg = in, pattern(2, 2, false);
    for (int32_t y = 0; y < in.height; ++y) {
      for (int32_t x = 0; x < in.width; ++x) neg.Set(x, y, negated(x, y, in.Get(x, y)));
    }
    for (int32_t n = 0; n < 4 && in.width > 6; ++n) pattern.Set(n % 2, n / 2, in.Get(5 + n % 2, 3 + n / 2));
    WritePng(Path("neg.png"), neg);
    WritePng(Path("pattern.png"), pattern);
    const Outcome o = Run(c.args, {"-o", "@out.png"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(o.err, "");
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
        "Swap(1, 2)", "EnsureBlock(nil, 8)", "Describe(self)", "EnsureBlock(m, 4)", "EnsureBlock(M, 99)", "Exclaim(s)",
        "Exclaim(s)"},
       0,
       "nextCOLOR = &c88B5C5\nHalf = 1.5\nHalf = 0.1\nHalf = 500.0\nAddInts = -2\nAddInts = 255\nNegate = false\n"
       "Negate = true\nShout = \"SAY \"\"HI\"\", (OK)\"\nShout = \"A\" + Chr(10) + \"B\"\nSwap.a = 2\nSwap.b = 1\n"
       "EnsureBlock = 8\nEnsureBlock.m = memoryblock of 8 bytes: 07 00 00 00 00 00 00 00\nDescribe = \"picture\"\n"
       // A variable keeps what a byref parameter left in it for the next call.
       "EnsureBlock = 4\nm = memoryblock of 4 bytes: 07 00 00 00\nEnsureBlock = 4\nm = memoryblock of 4 bytes: 07 00 00 00\n"
       "s = \"!\"\ns = \"!!\"\n",
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
      {{"--plugin", fixture, "@rgb.png", "Describe(v)"}, 2, "", "the type of the new variable v is unclear"},
      {{"@rgb.png", "isGrayZRK(x) = 1"}, 2, "", "no setter isGrayZRK of a picture takes 1 argument"},
      {{"@rgb.png", "TintPictureZRK(table(invert), 1, 2)"}, 2, "",
       "argument 1: table(...) is a memoryblock, and this parameter is a picture"},
      {{"@rgb.png", "TransformColorsZRK(table(\"" + dir_.string() + "/notes.txt\"), nil, nil)"}, 2, "",
       "the channel table '@notes.txt' holds 14 bytes, not 256"},
      {{"@rgb.png", "MergePictureZRK(self, picture(\"" + dir_.string() + "/nosuch.png\"))"}, 2, "",
       "argument 2: cannot open '@nosuch.png'"},
      {{"@rgb.png", "InvertZRK", "--save-string", "@s.bin"}, 2, "", "--save-string: no call returned a string"},
      {{"--plugin", fixture, "--no-input", "AddInts(1)", "-o", "@out.png"}, 2, "AddInts = 6\n", "no picture to write"},
      {{"render", "@notes.txt", "-o", "@out.png"}, 2, "", "cannot read the sound '@notes.txt'"},
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

// Blocks a call leaves in variables go on to the next call and out to files; a string result
// goes to a file whose bytes a later run passes back.
TEST_F(PictureHost, ByrefBlocksAndStringsGoToFilesAndBack) {
  const Image in = Noise(6, 5, false, 3);
  WritePng(Path("in.png"), in);
  Outcome o = Run({"@in.png", "CountColorsZRK(red, green, blue, n)", "CountColorsZRK(red, green, blue, n)",
                   "--save-blocks", "@blocks"});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_TRUE(o.out.starts_with("red = memoryblock of 1024 bytes: 256 counters, total 30 in ")) << o.out;
  EXPECT_TRUE(o.out.ends_with("\nn = 30\n")) << o.out;
  // Counted twice into the same blocks, in the order the names say.
  const char* names[] = {"red", "green", "blue"};
  for (int channel = 0; channel < 3; ++channel) {
    std::vector<uint32_t> expected(256), saved(256);
    for (size_t i = channel; i < in.pixels.size(); i += 3) expected[in.pixels[i]] += 2;
    const std::vector<uint8_t> bytes = ReadFileBytes(Path(std::string("blocks/") + names[channel] + ".bin"));
    ASSERT_EQ(bytes.size(), 1024u) << names[channel];
    std::memcpy(saved.data(), bytes.data(), bytes.size());
    EXPECT_EQ(saved, expected) << names[channel];
  }

  o = Run({"@in.png", "PicturetoBinaryStringZRK(self)", "--save-string", "@p.ppic"});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, "PicturetoBinaryStringZRK = string of 130 bytes: 50 50 49 43 00 00 00 82 00 00 00 06 00 00 00 05 ...\n");
  const std::vector<uint8_t> string = ReadFileBytes(Path("p.ppic"));
  ASSERT_EQ(string.size(), 130u);
  EXPECT_TRUE(std::equal(in.pixels.begin(), in.pixels.end(), string.begin() + 40));
  o = Run({"--no-input", "BinaryStringtoPictureZRK(file(\"" + Path("p.ppic") + "\"))", "-o", "@back.png"});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(ReadImage(Path("back.png")).pixels, in.pixels);
}

// A sound file's samples reach the renderer whole, mixed to mono, in each encoding.
TEST_F(PictureHost, RenderDrawsASoundFileThroughThePlugIn) {
  // Quarters of silence, a steady half-scale swing above zero, one below, silence; in stereo
  // whose channels differ, so that only their mean gives these values.
  std::vector<double> frames;
  for (int i = 0; i < 4000; ++i) {
    const double v = i / 1000 == 1 ? 0.5 : i / 1000 == 2 ? -0.5 : 0.0;
    frames.insert(frames.end(), {v + 0.25, v - 0.25});
  }
  WriteSound(Path("q.wav"), frames, 2, 8000);
  WriteSound(Path("q.flac"), frames, 2, 8000);
  struct Case { Strings args; int32_t width; bool inverted = false; };
  const std::vector<Case> cases = {
      {{"render", "@q.wav", "RenderSamplesZRK(Width=4, Height=20)"}, 4},
      {{"--encoding", "uint8", "render", "@q.flac", "renderSamplesZRK(height=20, width=4)"}, 4},
      {{"--encoding", "float32", "render", "@q.wav", "RenderSamplesZRK(Width=4, Height=20)", "InvertZRK"}, 4, true},
      {{"--encoding", "float64", "render", "@q.wav", "RenderSamplesZRK(Height=20)"}, 1000},  // the widest by default
  };
  // The declared colours; the fill runs from the centre row 10 to the envelope, clipped to the picture.
  const Rgba back{0x88, 0xB5, 0xC4}, fore{0x27, 0x4C, 0x5A};
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    const Outcome o = Run(c.args, {"-o", "@wave.png"});
    ASSERT_EQ(o.status, 0) << o.err;
    const Image wave = ReadImage(Path("wave.png"));
    ASSERT_TRUE(wave.width == c.width && wave.height == 20);
    for (int32_t x = 0; x < wave.width; ++x) {
      const int quarter = x * 4 / wave.width;
      for (int32_t y = 0; y < 20; ++y) {
        const bool filled = y == 10 || (quarter == 1 && y > 10) || (quarter == 2 && y < 10);
        Rgba want = filled ? fore : back;
        if (c.inverted) want = {uint8_t(255 - want.r), uint8_t(255 - want.g), uint8_t(255 - want.b)};
        ASSERT_EQ(wave.Get(x, y), want) << x << "," << y;
      }
    }
  }
  const Outcome o = Run({"render", "@q.wav", "RenderSamplesZRK(Bits=8)"});
  EXPECT_EQ(o.status, 2);
  EXPECT_NE(o.err.find("render fills in Bits from --encoding"), std::string::npos) << o.err;
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
