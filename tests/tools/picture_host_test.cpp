// picture-host run as a program: exit status, stdout and stderr, files written.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <set>
#include <sstream>

#include "tools/catalogue.h"
#include "tools/chart.h"
#include "tools/cli.h"
#include "tools/image_io.h"
#include "tools/lending.h"
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

// Every colour byte turned over (an opaque picture: every byte).
Image Negated(Image image) {
  for (size_t i = 0; i < image.pixels.size(); ++i) {
    if (!image.alpha || i % 4 != 3) image.pixels[i] = static_cast<uint8_t>(~image.pixels[i]);
  }
  return image;
}

class PictureHost : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(dir_); }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // Runs the tool with `extra` after `args`; "@name" in either is a file in the test directory. `shell` comes
  // before the command, `redirect` after it (standard output goes to the file "stdout" unless it says otherwise).
  Outcome Run(const Strings& args, const Strings& extra = {}, const std::string& shell = "",
              const std::string& redirect = "") const {
    const auto quoted = [](std::string s) {
      for (size_t at = 0; (at = s.find('\'', at)) != std::string::npos; at += 4) s.replace(at, 1, "'\\''");
      return "'" + s + "'";
    };
    std::string command = quoted(PICTURE_HOST_EXE);
    for (const Strings* list : {&args, &extra}) {
      for (const std::string& a : *list) command.append(" ").append(quoted(a.starts_with("@") ? Path(a.substr(1)) : a));
    }
    const std::string out = redirect.empty() ? " >" + quoted(Path("stdout")) : redirect;
    const int status = std::system((shell + command + out + " 2>" + quoted(Path("stderr"))).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Slurp("stdout"), Slurp("stderr")};
  }
  std::string Slurp(const char* name) const {
    return (std::stringstream() << std::ifstream(Path(name)).rdbuf()).str();
  }

  const std::string dir_ = std::filesystem::temp_directory_path().string() + "/picture_host_test_" +
                           std::to_string(::getpid()) + "_" +
                           ::testing::UnitTest::GetInstance()->current_test_info()->name();
};

// Each output pixel from the input pixel at x, y: the ways of lending a picture to the plug-in, then the ways
// of calling it; a class takes the current picture as SourcePicture, and its DestinationPicture becomes current.
TEST_F(PictureHost, RunsWriteWhatTheCallsMade) {
  WriteFileBytes(Path("invert.bin"), *BuiltInChannelTable("invert"));
  using Pixel = std::function<Rgba(int32_t, int32_t, Rgba)>;
  const Pixel same = [](int32_t, int32_t, Rgba c) { return c; };
  const Pixel negated = [](int32_t, int32_t, Rgba c) { return Rgba{uint8_t(~c.r), uint8_t(~c.g), uint8_t(~c.b), c.a}; };
  const auto mapped = [](const Image& in, const Pixel& f) {
    Image out = in;
    for (int32_t y = 0; y < in.height; ++y) {
      for (int32_t x = 0; x < in.width; ++x) out.Set(x, y, f(x, y, in.Get(x, y)));
    }
    return out;
  };
  const auto file = [&](const std::string& form, const std::string& name) { return form + "(\"" + Path(name) + "\")"; };
  // alpha: in.png has an alpha channel, all opaque; neg.png is in.png negated, and pattern.png its 2x2 pixels at 5, 3.
  struct Case { Strings args; bool alpha; Pixel pixel; std::string out = ""; };
  const std::vector<Case> cases = {
      {{"@in.png", "InvertZRK"}, false, negated},
      {{"@in.png", "InvertZRK()"}, true, negated},                            // premultiplied
      {{"--kind", "console", "@in.png", "InvertZRK"}, true, negated},         // row table
      // A class extension, not a module; premultiplied with the alpha byte first.
      {{"--host-version", "2012.5", "--layout", "2", "@in.png", "InvertZRK"}, true, negated},
      // Each call works on the last result; a built-in table by name.
      {{"--kind", "web", "@in.png", "InvertZRK", "PictureLut3DZRK(Table=invert)"}, false, same},
      {{"--chart", "InvertZRK"}, false, negated},  // the built-in chart stands in for an input file
      {{"--plugin", FIXTURE_PLUGIN, "@in.png", "Pick(nil, self, 2)", "Counter(Enabled=true, Count=3)",
        "Pick(self, nil, 1)"}, false, same},
      // The plug-in's own: each setting and argument shows in the result.
      {{"@in.png", "PictureSepiaZRK(FactorRed=1, FactorBlue=0, FactorGreen=0.0, SepiaRed=40, SepiaBlue=-300)"}, false,
       [](int32_t, int32_t, Rgba c) { return Rgba{uint8_t(std::min(c.r + 40, 255)), c.r, 0}; }},
      // Pictures, channel tables and variables as arguments; a picture assigned through a setter.
      {{"@in.png", "TransformColorsZRK(table(invert), " + file("table", "invert.bin") + ", table(invert))"}, false,
       negated},
      {{"@in.png", "FindPictureZRK(" + file("picture", "pattern.png") + ", x, y)", "InvertZRK(X, y, 2, 2)"}, false,
       [&](int32_t x, int32_t y, Rgba c) {
         return x >= 5 && x < 7 && y >= 3 && y < 5 ? negated(x, y, c) : Rgba{255, 255, 255};  // the rest is new
       },
       "FindPictureZRK = true\nx = 5\ny = 3\n"},
      // The setter writes the mask's red into the lowest byte of each word: red in layout 5.
      {{"@in.png", "EmbeddedMaskZRK(false) = " + file("picture", "neg.png")}, false,
       [](int32_t, int32_t, Rgba c) { return Rgba{uint8_t(~c.r), c.g, c.b}; }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    Image in = c.args[0] == "--chart" ? MakeChart() : Noise(9, 7, c.alpha, 11), pattern(2, 2, false);
    for (size_t i = 3; c.alpha && i < in.pixels.size(); i += 4) in.pixels[i] = 255;
    for (int32_t n = 0; n < 4 && in.width > 6; ++n) pattern.Set(n % 2, n / 2, in.Get(5 + n % 2, 3 + n / 2));
    WriteImage(Path("in.png"), in);
    WriteImage(Path("neg.png"), Negated(in));
    WriteImage(Path("pattern.png"), pattern);
    const Outcome o = Run(c.args, {"-o", "@out.png"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_TRUE(o.out == c.out && o.err.empty()) << o.out << o.err;
    const Image out = ReadImage(Path("out.png"));
    EXPECT_EQ(out.alpha, c.alpha);
    EXPECT_EQ(out.pixels, mapped(in, c.pixel).pixels);
  }
}

// A PNG of a few bytes whose header claims `width` x `height` pixels.
std::vector<uint8_t> HeaderOnlyPng(uint32_t width, uint32_t height) {
  std::vector<uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  const auto chunk = [&](const char* type, std::vector<uint8_t> data) {
    for (int shift = 24; shift >= 0; shift -= 8) png.push_back(uint8_t(data.size() >> shift));
    data.insert(data.begin(), type, type + 4);
    uint32_t crc = 0xFFFFFFFFu;
    for (uint8_t byte : data) {
      crc ^= byte;
      for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1)));
    }
    crc = ~crc;
    png.insert(png.end(), data.begin(), data.end());
    for (int shift = 24; shift >= 0; shift -= 8) png.push_back(uint8_t(crc >> shift));
  };
  std::vector<uint8_t> header;
  for (uint32_t v : {width, height}) {
    for (int shift = 24; shift >= 0; shift -= 8) header.push_back(uint8_t(v >> shift));
  }
  header.insert(header.end(), {8, 2, 0, 0, 0});
  chunk("IHDR", header);
  chunk("IDAT", {0x78, 0x9C, 0x63, 0x00, 0x00, 0x00, 0x01, 0x00, 0x01});
  chunk("IEND", {});
  return png;
}

// Results are printed, byref arguments after them. A bad input gives status 2, a fault of the plug-in's that
// the host survives 1; either way one line on stderr, and a picture written only when the fault is found
// after the run. A header that claims too much is refused before any pixel is decoded.
TEST_F(PictureHost, EachRunGivesItsStatusOutputAndOneLine) {
  WriteImage(Path("rgb.png"), Noise(5, 4, false, 1));
  WriteImage(Path("rgba.png"), Noise(5, 4, true, 2));
  WriteFileBytes(Path("bomb.png"), HeaderOnlyPng(32767, 32767));
  WriteFileBytes(Path("wide.png"), HeaderOnlyPng(40000, 1));
  std::ofstream(Path("notes.txt")) << "not a picture\n";
  std::ofstream(Path("broken.cube")) << "LUT_3D_SIZE 4\n1 2\n";
  const std::string fixture = FIXTURE_PLUGIN, notes = Path("notes.txt"), cube = Path("broken.cube");
  const auto fx = [&](Strings calls) {  // the fixture plug-in on rgb.png
    calls.insert(calls.begin(), {"--plugin", fixture, "@rgb.png"});
    return calls;
  };
  // `out` is printed before the failure, if any; `message` is a part of stderr ("@" the test directory), none
  // for a success.
  struct Case { Strings args; int status; std::string out, message; };
  const std::vector<Case> cases = {
      {fx({"nextCOLOR", "Half(0.2)", "Half(1e3)", "AddInts(-7)", "Negate(True)",
        R"-(Shout("say ""hi"", (ok)"))-", "Shout(\"a\nb\")", "Swap(1, 2)", "EnsureBlock(nil, 8)", "Describe(self)",
        "EnsureBlock(m, 4)", "EnsureBlock(M, 99)", "Exclaim(s)", "Exclaim(s)"}),
       0,
       "nextCOLOR = &c88B5C5\nHalf = 0.1\nHalf = 500.0\nAddInts = -2\nNegate = false\n"
       "Shout = \"SAY \"\"HI\"\", (OK)\"\nShout = \"A\" + Chr(10) + \"B\"\nSwap.a = 2\nSwap.b = 1\n"
       "EnsureBlock = 8\nEnsureBlock.m = memoryblock of 8 bytes: 07 00 00 00 00 00 00 00\nDescribe = \"picture\"\n"
       // A variable keeps what a byref parameter left in it for the next call.
       "EnsureBlock = 4\nm = memoryblock of 4 bytes: 07 00 00 00\n"
       "EnsureBlock = 4\nm = memoryblock of 4 bytes: 07 00 00 00\n"
       "s = \"!\"\ns = \"!!\"\n",
       ""},
      {{"@nosuch.png", "InvertZRK"}, 2, "", "cannot open '@nosuch.png': No such file"},
      {{"--bogus", "@rgb.png"}, 2, "", "unknown option '--bogus'"},
      {{"--plugin", "@notes.txt", "@rgb.png"}, 2, "", "cannot load the plug-in '@notes.txt': "},
      {{"@rgb.png", "InvertZRK(\"a\nb\", 2, 3, 4)"}, 2, "", "InvertZRK(\"a b\", 2, 3, 4): "},  // still one line
      // Integers out of their parameter's range, names the plug-in does not have.
      {{"@rgb.png", "InvertZRK(4294967295, 0, 1, 1)"}, 2, "",
       "InvertZRK(4294967295, 0, 1, 1): left is 4294967295, outside the range of integer (-2147483648 to"},
      {{"@rgb.png", "CountColorZRK(-1)"}, 2, "", "CountColorZRK(-1): col is -1, outside the range of color (0 to"},
      {{"@rgb.png", "invertzkr"}, 2, "", "no method or class invertzkr; did you mean InvertZRK?"},
      {{"--layout", "5", "@rgba.png", "InvertZRK"}, 2, "", "needs layout 1 to 4"},
      {{"@rgb.png", "InvertZRK", "-o", "@no/out.png"}, 2, "", "cannot write '@no/out.png'"},
      {{"@rgb.png", "InvertZRK", "-o", "@out.bmp"}, 2, "", "cannot tell the format to write from the extension '.bmp'"},
      {{"@rgb.png", "@rgba.png", "InvertZRK", "-o", "@one.png"}, 2, "",
       "several inputs need --out-dir DIR or an output pattern"},
      {{"@bomb.png", "InvertZRK"}, 2, "", "is 32767x32767 pixels, over the 268435456 of --max-pixels"},
      {{"@wide.png", "InvertZRK"}, 2, "", "is 40000x1 pixels; each side may be at most 32767"},
      {{"--max-pixels", "19", "@rgb.png"}, 2, "", "is 5x4 pixels, over the 19 of --max-pixels"},
      {{"describe", "InvertZKR"}, 2, "", "did you mean InvertZRK?"},
      {fx({"Pick(self, self, 0)", "-o", "@out.png"}), 2, "", "returned nil"},
      {fx({"AddInts(1)", R"(Fail("NilObjectException", "picture is nil"))", "AddInts(2)", "-o", "@out.png"}), 2,
       "AddInts = 6\n", "raised NilObjectException: picture is nil (error 42)"},
      {fx({"Crash", "-o", "@out.png"}), 1, "", "the plug-in crashed in Crash"},
      {fx({"AddInts(a=1)"}), 2, "", "only plug-in classes take settings"},
      {fx({"Counter(1)"}), 2, "", "Counter is a class; it takes settings"},
      {fx({"Counter(Enabled=false)", "-o", "@out.png"}), 2, "", "Run returned false"},
      {fx({"Counter(Bogus=1)"}), 2, "", "Counter has no property Bogus"},
      {fx({"Describe(v)"}), 2, "", "the type of the new variable v is unclear"},
      {{"@rgb.png", "PictureLut3DZRK(Table=\"" + notes + "\")"}, 2, "",
       "Table: table '@notes.txt' line 1: expected six numbers"},
      {{"--chart", "PictureLut3DZRK(Table=\"" + cube + "\")"}, 2, "",
       "PictureLut3DZRK(Table=\"@broken.cube\"): Table: table '@broken.cube'"},
      {{"@rgb.png", "TransformColorsZRK(table(\"" + notes + "\"), nil, nil)"}, 2, "",
       "the channel table '@notes.txt' holds 14 bytes, not 256"},
      {{"@rgb.png", "InvertZRK", "--save-string", "@s.bin"}, 2, "", "--save-string: no call returned a string"},
      {{"--plugin", fixture, "--no-input", "AddInts(1)", "-o", "@out.png"}, 2, "AddInts = 6\n", "no picture to write"},
      {{"render", "@notes.txt", "-o", "@out.png"}, 2, "", "cannot read the sound '@notes.txt'"},
      // The ledger's account follows the line, one line per problem.
      {fx({"LeakPicture(2, 2)", "AddInts(3)", "-o", "@out.png"}), 1, "AddInts = 8\n", "ledger unbalanced:\n  "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    const Outcome o = Run(c.args);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.out, c.out);
    const bool account = c.message.ends_with("\n  ");
    std::string expected;
    for (char ch : c.message) expected += ch == '@' ? dir_ + "/" : std::string(1, ch);
    EXPECT_EQ(o.err.find('\n'), account ? o.err.find("\n  ") : o.err.size() - 1) << o.err;  // one line at most
    EXPECT_TRUE(c.message.empty() ? o.err.empty()
                                  : o.err.starts_with("picture-host: ") && o.err.find(expected) != std::string::npos)
        << o.err;
    EXPECT_EQ(std::filesystem::remove(Path("out.png")), account);
    EXPECT_FALSE(std::filesystem::exists(Path("out.bmp")) || std::filesystem::exists(Path("one.png")));
  }
  rusage usage{};
  ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &usage), 0);
  EXPECT_LT(usage.ru_maxrss, 400 * 1024) << "kB at most in a run: a decoded 32767x32767 picture needs 3 GiB";
}

// Blocks a call leaves in variables go on to the next call and out to files; a string result goes to a file
// whose bytes a later run passes back.
TEST_F(PictureHost, ByrefBlocksAndStringsGoToFilesAndBack) {
  const Image in = Noise(6, 5, false, 3);
  WriteImage(Path("in.png"), in);
  Outcome o = Run({"@in.png", "CountColorsZRK(red, green, blue, n)", "CountColorsZRK(red, green, blue, n)",
                   "--save-blocks", "@blocks"});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_TRUE(o.out.starts_with("red = memoryblock of 1024 bytes: 256 counters, total 30 in ") &&
              o.out.ends_with("\nn = 30\n")) << o.out;
  // Counted twice into the same blocks, in the order the names say.
  const char* names[] = {"red", "green", "blue"};
  for (const int channel : {0, 1, 2}) {
    std::vector<uint32_t> expected(256), saved(256);
    for (size_t i = channel; i < in.pixels.size(); i += 3) expected[in.pixels[i]] += 2;
    const std::vector<uint8_t> bytes = ReadFileBytes(Path(std::string("blocks/") + names[channel] + ".bin"));
    ASSERT_EQ(bytes.size(), 1024u) << channel;
    std::memcpy(saved.data(), bytes.data(), bytes.size());
    EXPECT_EQ(saved, expected) << channel;
  }

  o = Run({"@in.png", "PicturetoBinaryStringZRK(self)", "--save-string", "@p.ppic"});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, "PicturetoBinaryStringZRK = string of 130 bytes: 50 50 49 43 00 00 00 82 00 00 00 06 00 00 00 05 ...\n");
  o = Run({"--no-input", "BinaryStringtoPictureZRK(file(\"" + Path("p.ppic") + "\"))", "-o", "@back.png"});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(ReadImage(Path("back.png")).pixels, in.pixels);
}

// A sound file's samples reach the renderer whole, mixed to mono, in the encoding asked for.
TEST_F(PictureHost, RenderDrawsASoundFileThroughThePlugIn) {
  // Quarters of silence, a steady half-scale swing above zero, one below, silence; in stereo whose channels
  // differ, so that only their mean gives these values.
  std::vector<double> frames;
  for (int i = 0; i < 4000; ++i) {
    const double v = i / 1000 == 1 ? 0.5 : i / 1000 == 2 ? -0.5 : 0.0;
    frames.insert(frames.end(), {v + 0.25, v - 0.25});
  }
  WriteSound(Path("q.wav"), frames, 2, 8000);
  WriteSound(Path("q.flac"), frames, 2, 8000);
  struct Case { Strings args; int32_t width; bool inverted = false; };
  const std::vector<Case> cases = {
      {{"render", "@q.wav", "RenderSamplesZRK(Height=20)"}, 1000},  // the widest by default
      {{"--encoding", "float32", "render", "@q.flac", "renderSamplesZRK(height=20, width=4)", "InvertZRK"}, 4, true},
  };
  // The declared colours; the fill runs from the centre row 10 to the envelope, clipped to the picture.
  const Rgba back{0x88, 0xB5, 0xC4}, fore{0x27, 0x4C, 0x5A};
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    const Outcome o = Run(c.args, {"-o", "@wave.png"});
    ASSERT_EQ(o.status, 0) << o.err;
    const Image wave = ReadImage(Path("wave.png"));
    ASSERT_TRUE(wave.width == c.width && wave.height == 20);
    for (int32_t i = 0; i < wave.width * 20; ++i) {
      const int32_t x = i % wave.width, y = i / wave.width, quarter = x * 4 / wave.width;
      Rgba want = y == 10 || (quarter == 1 && y > 10) || (quarter == 2 && y < 10) ? fore : back;
      if (c.inverted) want = {uint8_t(~want.r), uint8_t(~want.g), uint8_t(~want.b)};
      ASSERT_EQ(wave.Get(x, y), want) << x << "," << y;
    }
  }
  const Outcome o = Run({"render", "@q.wav", "RenderSamplesZRK(Bits=8)"});
  EXPECT_EQ(o.status, 2);
  EXPECT_NE(o.err.find("render fills in Bits from --encoding"), std::string::npos) << o.err;
}

TEST_F(PictureHost, ListShowsTheRegisteredMethodsAsAProgramCallsThem) {
  // Registered in a module (2019.011) or as a class extension (2012.5), listed alike: each name under its
  // family with its summary, its declarations as a program calls them below it.
  const std::vector<std::string> lines = {
      "Inversion:", "  InvertZRK  - a negative", "Analysis:", "      isGrayZRK(tolerance as integer = 0) as boolean",
      "Composition:", "      MergePictureZRK(source1 as picture, source2 as picture) as picture",
      "Mask and scrolling:", "      EmbeddedMaskZRK(swap as boolean, assigns value as picture)",
      "Colour:", "  PictureSepiaZRK  - a class", "      FactorBlue as Double",
      "      Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32, assigns value as double)"};
  for (const std::string version : {"2019.011", "2012.5"}) {
    const Outcome o = Run({"--plugin", TABLE_FIXTURE_PLUGIN, "--host-version", version, "list"});
    ASSERT_EQ(o.status, 0) << o.err;
    const std::string out = "\n" + o.out;
    for (const std::string& line : lines) EXPECT_NE(out.find("\n" + line), std::string::npos) << line;
    // The mask's setter shows once, as a program assigns through it; every family in its order.
    EXPECT_EQ(out.find(lines[7]), out.rfind(lines[7])) << o.out;
    EXPECT_TRUE(out.find("\nInversion:") < out.find("\nColour:") && out.find("\nColour:") < out.find("\nAnalysis:"));
  }
}


// A picture with alpha: smooth, so that the lossy formats keep it close, and nowhere clear, where WebP
// would be free to drop the colour.
Image SmoothWithAlpha(int32_t width, int32_t height) {
  Image image(width, height, true);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      image.Set(x, y, {uint8_t(40 + x * 180 / width), uint8_t(200 - y * 150 / height), 90, uint8_t(30 + (x + y) * 7)});
    }
  }
  return image;
}

// The format follows -o's extension; the input's alpha comes back on the inverted colours, straight, unless
// --flatten writes the plug-in's result on the premultiplied picture; "-" reads and writes the standard streams.
TEST_F(PictureHost, WritesEveryFormatByExtensionKeepingTransparency) {
  const Image in = SmoothWithAlpha(24, 16);
  WriteImage(Path("in.png"), in);
  Image flat(in.width, in.height, false);  // the premultiplied picture
  for (int32_t i = 0; i < in.width * in.height; ++i) {
    const Rgba c = in.Get(i % in.width, i / in.width);
    flat.Set(i % in.width, i / in.width, {Premultiply(c.r, c.a), Premultiply(c.g, c.a), Premultiply(c.b, c.a)});
  }
  struct Case { std::string out; Strings extra; bool alpha; int tolerance; bool flatten = false; };
  const std::vector<Case> cases = {
      {"out.png", {}, true, 0}, {"out.TIF", {}, true, 0}, {"out.webp", {"--quality", "100"}, true, 8},
      {"out.jpeg", {"--quality", "100"}, false, 8}, {"flat.png", {"--flatten"}, false, 0, true},
      {"small.png", {"--png-compression", "9"}, true, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.out);
    Strings args = {"@in.png", "InvertZRK", "-o", "@" + c.out};
    args.insert(args.end(), c.extra.begin(), c.extra.end());
    const Outcome o = Run(args);
    ASSERT_EQ(o.status, 0) << o.err;
    const Image out = ReadImage(Path(c.out)), want = Negated(c.flatten ? flat : in);
    ASSERT_TRUE(out.width == in.width && out.height == in.height && out.alpha == c.alpha);
    for (int32_t i = 0; i < in.width * in.height; ++i) {
      const Rgba a = want.Get(i % in.width, i / in.width), b = out.Get(i % in.width, i / in.width);
      const uint8_t alpha = c.alpha ? a.a : uint8_t{255};
      for (const auto& [p, q] : {std::pair{a.r, b.r}, {a.g, b.g}, {a.b, b.b}, {alpha, b.a}}) ASSERT_LE(std::abs(p - q), c.tolerance) << i;
    }
  }
  // The mask reader's grey picture of the alpha is written as it is.
  Outcome o = Run({"@in.png", "EmbeddedMaskZRK(false)", "-o", "@mask.png"});
  ASSERT_EQ(o.status, 0) << o.err;
  const Image mask = ReadImage(Path("mask.png"));
  ASSERT_TRUE(mask.width == in.width && !mask.alpha);
  for (int32_t i = 0; i < in.width * in.height; ++i) {
    const uint8_t a = in.Get(i % in.width, i / in.width).a;
    ASSERT_EQ(mask.Get(i % in.width, i / in.width), (Rgba{a, a, a})) << i;
  }
  // The standard streams: the picture alone on standard output, the printed values on standard error.
  o = Run({"-", "InvertZRK", "CountColorZRK(#000000)", "-o", "-"}, {}, "cat " + Path("in.png") + " | ",
                  " >" + Path("piped.png"));
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.err, "CountColorZRK = 0\n");
  EXPECT_EQ(ReadFileBytes(Path("piped.png")), ReadFileBytes(Path("out.png")));
}

// Each input in its own process; one that cannot be read fails alone, and the summary counts it.
TEST_F(PictureHost, BatchesRunEveryInputAndCountTheFailures) {
  const Image a = Noise(6, 5, false, 21), b = Noise(5, 4, false, 22);
  WriteImage(Path("a.png"), a);
  WriteImage(Path("b.tif"), b);
  std::ofstream(Path("bad.png")) << "not a picture\n";
  Outcome o = Run({"@a.png", "@bad.png", "@b.tif", "InvertZRK", "--out-dir", "@out", "-j", "2"});
  EXPECT_EQ(o.status, 2);
  EXPECT_TRUE(o.err.ends_with("picture-host: 2 done, 1 failed\n") &&
              o.err.find("picture-host: " + Path("bad.png") + ": ") != std::string::npos) << o.err;
  for (const auto& [name, in] : {std::pair{"out/a.png", &a}, {"out/b.tif", &b}}) {
    EXPECT_EQ(ReadImage(Path(name)).pixels, Negated(*in).pixels) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(Path("out/bad.png")));
  // A pattern names each output after its input; the printed values say which input they belong to.
  o = Run({"@a.png", "@b.tif", "CountColorZRK(&c000000)", "InvertZRK", "-o", "@{name}-inv.png"});
  EXPECT_EQ(o.status, 0) << o.err;
  EXPECT_NE(o.out.find(Path("b.tif") + ": CountColorZRK = "), std::string::npos) << o.out;
  EXPECT_EQ(ReadImage(Path("a-inv.png")).pixels, ReadImage(Path("out/a.png")).pixels);
  EXPECT_TRUE(std::filesystem::exists(Path("b-inv.png")));
}

// A run that fails to write leaves the earlier output and the input as they were.
TEST_F(PictureHost, KeepsFilesOnFailedWrites) {
  WriteImage(Path("in.png"), Noise(9, 7, false, 3));
  // Files can be written up to a little more than the plug-in's size (the host writes a copy of it); the
  // waveform made from the input, 3200x2600 pixels stored without compression, is far larger, so every
  // write of it fails: to a file of its own, and to the input.
  // (ulimit -f of the shell that runs the tool counts blocks of 512 bytes.)
  const auto limit = std::filesystem::file_size(std::filesystem::path(PICTURE_HOST_EXE).parent_path() /
                                                "picture_plugin.so") / 512 + 1024;
  ASSERT_LT(limit * 512, 3200u * 2600 * 3);
  WriteFileBytes(Path("s.raw"), std::vector<uint8_t>{0x10, 0x80, 0xF0, 0x40});
  const std::vector<uint8_t> input = ReadFileBytes(Path("in.png")), earlier = {'o', 'l', 'd'};
  WriteFileBytes(Path("out.png"), earlier);
  const std::string wave = "RenderSamplesZRK(file(\"" + Path("s.raw") + "\"), 4, 0, 3200, 2600, 0)";
  for (const std::string target : {"@out.png", "@in.png"}) {
    const Outcome o = Run({"@in.png", wave, "--png-compression", "0", "-o", target}, {},
                          "trap '' XFSZ; ulimit -f " + std::to_string(limit) + "; ");
    EXPECT_TRUE(o.status == 2 && o.err.find("cannot write") != std::string::npos) << o.err;
    EXPECT_EQ(ReadFileBytes(Path("out.png")), earlier);
    EXPECT_EQ(ReadFileBytes(Path("in.png")), input);
  }
  for (const auto& entry : std::filesystem::directory_iterator(dir_)) {
    EXPECT_FALSE(entry.path().filename().string().starts_with(".")) << entry.path() << " left behind";
  }
  const Outcome o = Run({"@in.png", "InvertZRK", "-o", "@in.png"});  // replaced whole when the write succeeds
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(ReadImage(Path("in.png")).pixels, Negated(Noise(9, 7, false, 3)).pixels);
}

// Every name the plug-in registers has its description and every description a registered name; each
// example is a call of its own name, and describe tells all of it.
TEST_F(PictureHost, DescribesEveryRegisteredNameAndNoOther) {
  const Outcome names = Run({"--list-names"});
  ASSERT_EQ(names.status, 0) << names.err;
  std::set<std::string> registered, described;
  std::istringstream lines(names.out);
  for (std::string line; std::getline(lines, line);) registered.insert(line);
  for (const CatalogueEntry& entry : Catalogue()) {
    described.insert(std::string(entry.name));
    EXPECT_EQ(ParseCall(entry.example).name, entry.name);
    EXPECT_NE(std::find(Families().begin(), Families().end(), entry.family), Families().end()) << entry.name;
  }
  EXPECT_EQ(registered, described);

  Outcome o = Run({"describe", "picturesepiazrk"});
  ASSERT_EQ(o.status, 0) << o.err;
  for (const std::string part : {"PictureSepiaZRK - a class", "FactorBlue weighs green", "Example:\n  picture-host photo.jpg 'PictureSepiaZRK("}) {
    EXPECT_NE(o.out.find(part), std::string::npos) << o.out;
  }
}

// The gallery page, opened in a browser: every picture it names loads and nothing is logged.
TEST_F(PictureHost, GalleryLoadsEveryPictureInChromium) {
  const char* browser = "/usr/bin/chromium";
  if (!std::filesystem::exists(browser)) GTEST_SKIP() << browser << " is missing: scripts/install-deps installs chromium";
  const Outcome o = Run({"gallery", "@g"});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(o.out, Path("g") + "/index.html\n");
  const std::vector<uint8_t> bytes = ReadFileBytes(Path("g/index.html"));
  const std::string page(bytes.begin(), bytes.end());
  EXPECT_EQ(page.find("class=\"error\""), std::string::npos) << "an example failed";
  size_t pictures = 0;
  for (size_t at = 0; (at = page.find("<img ", at)) != std::string::npos; ++at) ++pictures;
  EXPECT_GT(pictures, 2 * Catalogue().size());  // before and after on two pictures, and the waveform

  std::ofstream(Path("check.html")) << R"(<!DOCTYPE html><html><body><p id="result">pending</p>
<iframe id="gallery" src="g/index.html"></iframe>
<script>
document.getElementById("gallery").addEventListener("load", () => {
  const images = [...document.getElementById("gallery").contentDocument.images];
  const broken = images.filter(i => !(i.complete && i.naturalWidth > 0)).map(i => i.getAttribute("src"));
  document.getElementById("result").textContent = "loaded " + (images.length - broken.length) + " of " + images.length + " " + broken.join(" ");
});
</script></body></html>)";
  const std::string command = std::string(browser) +
      " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking"
      " --disable-component-update --disable-sync --user-data-dir=" + Path("profile") +
      " --allow-file-access-from-files --enable-logging=stderr --v=0 --virtual-time-budget=10000 --dump-dom file://" +
      Path("check.html") + " >" + Path("dom") + " 2>" + Path("log");
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string dom = Slurp("dom"), log = Slurp("log");
  const std::string all = std::to_string(pictures);
  EXPECT_NE(dom.find("loaded " + all + " of " + all + " <"), std::string::npos) << dom;
  EXPECT_EQ(log.find(":CONSOLE"), std::string::npos) << log;
}

// A .cube file and a Hald picture whose nodes fall on the lattice's give the plug-in the same table as the
// built-in one, so the pictures agree whatever the plug-in does between nodes.
TEST_F(PictureHost, LookupTablesComeFromCubeFilesAndHaldPictures) {
  std::ofstream cube(Path("invert.cube"));
  cube << "LUT_3D_SIZE 16\n" << std::fixed << std::setprecision(6);  // as such files are written
  for (int i = 0; i < 16 * 16 * 16; ++i) {
    cube << 1 - (i % 16) / 15.0 << " " << 1 - (i / 16 % 16) / 15.0 << " " << 1 - (i / 256) / 15.0 << "\n";
  }
  cube.close();
  Image hald(64, 64, false);  // level 4: 16 nodes a side, at 0, 17, ..., 255
  for (int at = 0; at < 64 * 64; ++at) {
    hald.Set(at % 64, at / 64, {uint8_t(255 - 17 * (at % 16)), uint8_t(255 - 17 * (at / 16 % 16)), uint8_t(255 - 17 * (at / 256))});
  }
  WriteImage(Path("hald.png"), hald);
  ASSERT_EQ(Run({"--chart", "PictureLut3DZRK(Table=invert)", "-o", "@builtin.png"}).status, 0);
  const Image builtIn = ReadImage(Path("builtin.png"));
  for (const std::string& table : {"\"" + Path("invert.cube") + "\"", "hald(\"" + Path("hald.png") + "\")"}) {
    const Outcome o = Run({"--chart", "PictureLut3DZRK(Table=" + table + ")", "-o", "@out.png"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(ReadImage(Path("out.png")).pixels, builtIn.pixels) << table;
  }
}

}  // namespace
}  // namespace picture_host
