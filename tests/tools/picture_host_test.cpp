// picture-host run as a program: exit status, stdout and stderr, files written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/test_images.h"
#include "tools/chart.h"
#include "tools/image_io.h"

extern char** environ;

namespace picture_host {
namespace {

using testing::Noise;

struct Outcome {
  int status = -1;  // exit status; -1 when the tool did not exit normally
  std::string out, err;
};

std::string Slurp(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

int LineCount(const std::string& text) {
  return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

Image Invert(const Image& image) {
  Image out = image;
  for (size_t i = 0; i < out.pixels.size(); ++i) {
    if (!image.alpha || i % 4 != 3) out.pixels[i] = static_cast<uint8_t>(255 - out.pixels[i]);
  }
  return out;
}

class PictureHost : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("picture_host_test_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  std::string Write(const std::string& name, const Image& image) {
    WritePng(Path(name), image);
    return Path(name);
  }

  std::string WriteText(const std::string& name, const std::string& text) {
    std::ofstream(Path(name)) << text;
    return Path(name);
  }

  Outcome Run(const std::vector<std::string>& args) const {
    std::vector<std::string> all = {PICTURE_HOST_EXE};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : all) argv.push_back(a.data());
    argv.push_back(nullptr);

    const std::string outPath = (dir_ / "stdout.txt").string(), errPath = (dir_ / "stderr.txt").string();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = 0;
    Outcome outcome;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
      ADD_FAILURE() << "cannot start " << argv[0];
      return outcome;
    }
    int wstatus = 0;
    waitpid(pid, &wstatus, 0);
    if (WIFEXITED(wstatus)) outcome.status = WEXITSTATUS(wstatus);
    outcome.out = Slurp(outPath);
    outcome.err = Slurp(errPath);
    std::filesystem::remove(outPath);
    std::filesystem::remove(errPath);
    return outcome;
  }

  std::filesystem::path dir_;
};

// ---- bad input: one line on stderr, exit status 2 ----

struct ErrorCase {
  std::string what;
  std::vector<std::string> args;  // "@name" is a file in the test directory
  std::string message;            // part of the one line
};

TEST_F(PictureHost, EachBadInputGivesOneLineAndStatusTwo) {
  Write("rgb.png", Noise(5, 4, false, 1));
  Write("rgba.png", Noise(5, 4, true, 2));
  WriteText("notes.txt", "not a picture\n");
  WriteText("broken.png", "\x89PNG\r\n\x1a\n and then nothing sensible");

  const std::vector<ErrorCase> cases = {
      {"no input", {}, "no input picture given"},
      {"missing file", {"@nosuch.png", "InvertZRK"}, "cannot open '@nosuch.png': No such file"},
      {"directory", {"@", "InvertZRK"}, "is a directory"},
      {"text file as picture", {"@notes.txt", "InvertZRK"}, "'@notes.txt': not a PNG or JPEG picture"},
      {"broken PNG", {"@broken.png"}, "'@broken.png': broken PNG"},
      {"bad option", {"--bogus", "@rgb.png"}, "unknown option '--bogus'"},
      {"option without value", {"@rgb.png", "-o"}, "option -o needs a value"},
      {"bad host kind", {"--kind", "phone", "@rgb.png"}, "--kind 'phone'"},
      {"bad layout", {"--layout", "9", "@rgb.png"}, "--layout '9'"},
      {"bad literal", {"@rgb.png", "InvertZRK(1, 2, 3, 4x)"}, "argument 4: '4x' is not a literal"},
      {"bad call", {"@rgb.png", "InvertZRK(1, 2"}, "missing ')'"},
      {"plug-in missing", {"--plugin", "@none.so", "@rgb.png"}, "cannot load the plug-in '@none.so'"},
      {"plug-in not a library", {"--plugin", "@notes.txt", "@rgb.png"}, "cannot load the plug-in"},
      {"unknown method", {"@rgb.png", "NoSuchMethodZRK"}, "NoSuchMethodZRK: "},
      {"too few arguments", {"@rgb.png", "InvertZRK(1, 2)"}, "InvertZRK(1, 2): "},
      {"too many arguments", {"@rgb.png", "InvertZRK(1, 2, 3, 4, 5)"}, "InvertZRK(1, 2, 3, 4, 5): "},
      {"wrong argument type", {"@rgb.png", "InvertZRK(\"a\", 2, 3, 4)"}, "InvertZRK(\"a\", 2, 3, 4): "},
      {"alpha picture in a layout without alpha", {"--layout", "5", "@rgba.png", "InvertZRK"},
       "needs layout 1 to 4"},
      {"output in a missing folder", {"@rgb.png", "InvertZRK", "-o", "@no/such/out.png"},
       "cannot write '@no/such/out.png'"},
  };
  const std::string prefix = dir_.string() + "/";
  const auto expand = [&](std::string s) {
    for (size_t at = s.find('@'); at != std::string::npos; at = s.find('@', at + prefix.size())) {
      s.replace(at, 1, prefix);
    }
    return s;
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<std::string> args;
    for (const auto& a : c.args) args.push_back(expand(a));
    const Outcome o = Run(args);
    EXPECT_EQ(o.status, 2);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(LineCount(o.err), 1) << o.err;
    EXPECT_TRUE(o.err.starts_with("picture-host: ")) << o.err;
    EXPECT_NE(o.err.find(expand(c.message)), std::string::npos) << o.err;
  }
  EXPECT_FALSE(std::filesystem::exists(Path("no")));
}

TEST_F(PictureHost, HelpGoesToStdout) {
  const Outcome o = Run({"--help"});
  EXPECT_EQ(o.status, 0);
  EXPECT_TRUE(o.out.starts_with("Usage: picture-host")) << o.out;
  EXPECT_NE(o.out.find("--layout"), std::string::npos);
  EXPECT_EQ(o.err, "");
}

// ---- runs through the plug-in ----

struct HostCase {
  std::vector<std::string> options;
  bool alpha;  // the input has an alpha channel (all opaque, so inversion keeps it whole)
};

std::string Describe(const HostCase& c) {
  std::string s = c.alpha ? "RGBA" : "RGB";
  for (const auto& o : c.options) s += " " + o;
  return s;
}

const std::vector<HostCase>& HostCases() {
  static const std::vector<HostCase> cases = {
      {{}, false},
      {{"--layout", "1"}, false},
      {{"--layout", "2"}, false},
      {{"--layout", "3"}, false},
      {{"--layout", "4"}, false},
      {{"--layout", "6"}, false},
      {{"--kind", "console"}, false},
      {{"--kind", "web"}, false},
      {{"--host-version", "2012.5"}, false},
      {{"--host-version", "none"}, false},
      {{}, true},
      {{"--layout", "2"}, true},
      {{"--kind", "console"}, true},
  };
  return cases;
}

Image OpaqueInput(bool alpha) {
  Image image = Noise(9, 7, alpha, 11);
  if (alpha) {
    for (size_t i = 3; i < image.pixels.size(); i += 4) image.pixels[i] = 255;
  }
  return image;
}

TEST_F(PictureHost, InvertingNegatesEveryChannelAndTwiceGivesBackTheInput) {
  for (const HostCase& c : HostCases()) {
    SCOPED_TRACE(Describe(c));
    const Image input = OpaqueInput(c.alpha);
    const std::string in = Write("in.png", input);
    for (const std::vector<std::string>& calls :
         {std::vector<std::string>{"InvertZRK"}, {"InvertZRK", "InvertZRK()"}}) {
      std::vector<std::string> args = c.options;
      args.push_back(in);
      args.insert(args.end(), calls.begin(), calls.end());
      args.insert(args.end(), {"-o", Path("out.png")});
      const Outcome o = Run(args);
      ASSERT_EQ(o.status, 0) << o.err;
      EXPECT_EQ(o.out, "");
      EXPECT_EQ(o.err, "");
      const Image out = ReadImage(Path("out.png"));
      EXPECT_EQ(out.alpha, c.alpha);
      EXPECT_EQ(out.pixels, calls.size() == 1 ? Invert(input).pixels : input.pixels);
    }
  }
}

TEST_F(PictureHost, JpegInputIsReadByContent) {
  const Image gradient = testing::Gradient(24, 16);
  WriteFileBytes(Path("photo.dat"), EncodeJpeg(gradient, 90));
  const Image decoded = ReadImage(Path("photo.dat"));
  const Outcome o = Run({Path("photo.dat"), "InvertZRK", "InvertZRK", "-o", Path("out.png")});
  ASSERT_EQ(o.status, 0) << o.err;
  const Image out = ReadImage(Path("out.png"));
  EXPECT_FALSE(out.alpha);
  EXPECT_EQ(out.pixels, decoded.pixels);
}

TEST_F(PictureHost, RectangleArgumentsReachThePlugin) {
  const Image input = Noise(6, 5, false, 21);
  const Outcome o = Run({Write("in.png", input), "InvertZRK(1, 2, 3, &h2)", "-o", Path("out.png")});
  ASSERT_EQ(o.status, 0) << o.err;
  const Image out = ReadImage(Path("out.png"));
  for (int32_t y = 0; y < 5; ++y) {
    for (int32_t x = 0; x < 6; ++x) {
      if (x >= 1 && x < 4 && y >= 2 && y < 4) {
        const Rgba c = input.Get(x, y);
        EXPECT_EQ(out.Get(x, y), (Rgba{uint8_t(255 - c.r), uint8_t(255 - c.g), uint8_t(255 - c.b)}))
            << x << "," << y;
      } else {
        // Not written: what a fresh host picture holds.
        EXPECT_EQ(out.Get(x, y), (Rgba{255, 255, 255})) << x << "," << y;
      }
    }
  }
}

TEST_F(PictureHost, TransparentInputGivesAnRgbaResult) {
  const Image input = Noise(4, 4, true, 31);  // alpha anywhere from clear to opaque
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{}, {"--layout", "2"}, {"--kind", "console"}}) {
    std::vector<std::string> args = options;
    for (const std::string& a : {Write("in.png", input), std::string("InvertZRK"), std::string("-o"),
                                 Path("out.png")}) {
      args.push_back(a);
    }
    const Outcome o = Run(args);
    ASSERT_EQ(o.status, 0) << o.err;
    const Image out = ReadImage(Path("out.png"));
    EXPECT_TRUE(out.alpha);
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 4; ++x) EXPECT_EQ(out.Get(x, y).a, 255) << "written pixels are opaque";
    }
  }
}

TEST_F(PictureHost, ChartIsTheDemoInput) {
  Outcome o = Run({"--chart", "-o", Path("chart.png")});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(ReadImage(Path("chart.png")).pixels, MakeChart().pixels);

  o = Run({"--chart", "InvertZRK", "-o", Path("inverted.png")});
  ASSERT_EQ(o.status, 0) << o.err;
  EXPECT_EQ(ReadImage(Path("inverted.png")).pixels, Invert(MakeChart()).pixels);
}

// ---- every kind of result, and the plug-in's faults, through the tests' own plug-in ----

TEST_F(PictureHost, PrintsEachKindOfResult) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"ShadeZRK"}, "ShadeZRK = &cFF8000\n"},
      {{"HalfZRK(3)", "HalfZRK(-0.5)", "HalfZRK(1e3)"}, "HalfZRK = 1.5\nHalfZRK = -0.25\nHalfZRK = 500.0\n"},
      {{"SameZRK(-7)", "SameZRK(&hFF)", "SameZRK(&b1010)", "samezrk(2147483647)"},
       "SameZRK = -7\nSameZRK = 255\nSameZRK = 10\nsamezrk = 2147483647\n"},
      {{"NotZRK(true)", "NotZRK(False)"}, "NotZRK = false\nNotZRK = true\n"},
      {{"EchoZRK(\"say \"\"hi\"\", (ok)\")"}, "EchoZRK = \"say \"\"hi\"\", (ok)\"\n"},
      {{"BlockZRK"}, "BlockZRK = memoryblock of 16 bytes\n"},
      {{"FillZRK(0, nil)"}, "FillZRK.n = 42\nFillZRK.block = memoryblock of 8 bytes\n"},
  };
  const std::string input = Write("in.png", Noise(2, 2, false, 51));
  for (const auto& [calls, printed] : cases) {
    SCOPED_TRACE(printed);
    std::vector<std::string> args = {"--plugin", FIXTURE_PLUGIN, input};
    args.insert(args.end(), calls.begin(), calls.end());
    const Outcome o = Run(args);
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, printed);
    EXPECT_EQ(o.err, "");
  }
}

TEST_F(PictureHost, ReportsWhatThePluginDidWrong) {
  struct Case {
    std::vector<std::string> calls;
    int status;
    std::string out;      // printed before the fault
    std::string message;  // part of the first stderr line
    int lines;            // stderr lines
  };
  const std::vector<Case> cases = {
      {{"NilZRK"}, 2, "", "NilZRK returned nil", 1},
      {{"SameZRK(1)", "RaiseZRK", "SameZRK(2)"}, 2, "SameZRK = 1\n",
       "RaiseZRK raised NilObjectException: picture is nil", 1},
      {{"CrashZRK"}, 1, "", "the plug-in crashed in CrashZRK", 1},
      // The ledger's account follows the first line, one line per problem.
      {{"LeakZRK", "SameZRK(3)"}, 1, "LeakZRK = true\nSameZRK = 3\n", "ledger unbalanced", -1},
  };
  const std::string input = Write("in.png", Noise(2, 2, false, 61));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.calls[0]);
    std::vector<std::string> args = {"--plugin", FIXTURE_PLUGIN, input};
    args.insert(args.end(), c.calls.begin(), c.calls.end());
    args.insert(args.end(), {"-o", Path("out.png")});
    const Outcome o = Run(args);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.out, c.out);
    EXPECT_TRUE(o.err.starts_with("picture-host: ")) << o.err;
    EXPECT_NE(o.err.substr(0, o.err.find('\n')).find(c.message), std::string::npos) << o.err;
    if (c.lines > 0) {
      EXPECT_EQ(LineCount(o.err), c.lines) << o.err;
    } else {
      EXPECT_GE(LineCount(o.err), 2) << o.err;
    }
    // A run that ends in an error writes nothing; a leak is only found afterwards.
    EXPECT_EQ(std::filesystem::exists(Path("out.png")), c.calls[0] == "LeakZRK");
    std::filesystem::remove(Path("out.png"));
  }
}

// Whether `line` is one of the lines of `out` between offsets `from` and `to`.
bool ListedBetween(const std::string& out, const std::string& line, size_t from, size_t to) {
  const size_t at = out.find("\n  " + line + "\n", from);
  return at != std::string::npos && at < to;
}

TEST_F(PictureHost, ListShowsExtensionMethodsAsAProgramCallsThem) {
  // Registered as a class extension (2012.5, no version) or in a module (2019.011).
  for (const std::string version : {"2019.011", "2012.5", "none"}) {
    SCOPED_TRACE(version);
    const Outcome o = Run({"--host-version", version, "list"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, "");
    ASSERT_TRUE(o.out.starts_with("Picture extension methods:\n")) << o.out;
    const size_t end = std::min(o.out.find("\nGlobal"), o.out.find("\nClass"));
    EXPECT_TRUE(ListedBetween(o.out, "InvertZRK as picture", 0, end)) << o.out;
    EXPECT_TRUE(ListedBetween(
        o.out, "InvertZRK(left as integer,top as integer,width as integer,height as integer) as picture", 0,
        end));
    EXPECT_EQ(o.out.find("extends"), std::string::npos) << o.out;
  }
}

TEST_F(PictureHost, ListGroupsGlobalMethodsAndClasses) {
  for (const std::string version : {"2019.011", "2012.5"}) {
    SCOPED_TRACE(version);
    const Outcome o = Run({"--plugin", TABLE_FIXTURE_PLUGIN, "--host-version", version, "list"});
    ASSERT_EQ(o.status, 0) << o.err;
    const std::string& out = o.out;
    const size_t globals = out.find("\nGlobal methods");
    const size_t sepia = out.find("\nClass PictureSepiaZRK:\n");
    const size_t lut = out.find("\nClass PictureLut3DZRK:\n");
    ASSERT_NE(globals, std::string::npos) << out;
    ASSERT_NE(sepia, std::string::npos) << out;
    ASSERT_NE(lut, std::string::npos) << out;
    EXPECT_LT(globals, sepia);
    EXPECT_LT(sepia, lut);

    EXPECT_TRUE(ListedBetween(out, "isGrayZRK(tolerance as integer = 0) as boolean", 0, globals));
    // The mask's setter shows once, as a program assigns through it.
    const std::string setter = "\n  EmbeddedMaskZRK(swap as boolean, assigns value as picture)\n";
    const size_t first = out.find(setter);
    EXPECT_LT(first, globals) << out;
    EXPECT_EQ(out.find(setter, first + 1), std::string::npos) << out;
    EXPECT_TRUE(ListedBetween(out, "MergePictureZRK(source1 as picture, source2 as picture) as picture",
                              globals, sepia));
    EXPECT_TRUE(ListedBetween(out, "Run as boolean", sepia, lut));
    EXPECT_TRUE(ListedBetween(out, "FactorBlue as Double", sepia, lut));
    EXPECT_TRUE(ListedBetween(out, "SourcePicture as Picture", lut, out.size()));
    EXPECT_TRUE(ListedBetween(out,
                              "Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32, assigns value as double)",
                              lut, out.size()));
  }
}

}  // namespace
}  // namespace picture_host
