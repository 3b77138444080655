// picture-host's units: calls, command lines, table files, printed results, sound and
// picture files, the lending of pixels to host pictures, and the demo chart.
#include <gmock/gmock.h>

#include <vips/vips.h>

#include <array>
#include <fstream>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "tools/chart.h"
#include "tools/cli.h"
#include "tools/image_io.h"
#include "tools/lattice.h"
#include "tools/lending.h"
#include "tools/sound_io.h"

namespace picture_host {
namespace {

using ::testing::StartsWith, ::testing::ThrowsMessage;

TEST(ParseCall, ReadsTheNameAndEveryLiteralForm) {
  struct Case { std::string text, name; std::vector<Argument> args; std::vector<Setting> settings = {};
                std::optional<Argument> assigned = {}; };
  const Argument nil = std::monostate{};
  const std::vector<Case> cases = {
      {"F(0, -3, +7, 2147483647, -2147483648, 4294967295)", "F", {0, -3, 7, 2147483647, -2147483648LL, 4294967295LL}},
      {"F( &hFF ,&HfF,&o17,&b101,&hFFFFFFFF, &cFF8000, &c00ff00, #FF8000, #00ff00)", "F",
       {255, 255, 15, 5, 4294967295LL, 0xFF8000, 0x00FF00, 0xFF8000, 0x00FF00}},
      {"F(1.5, -0.25, .5, 5., 1e3, 2.5E-2, +1.0, true, FALSE, nil, Nil)", "F",
       {1.5, -0.25, 0.5, 5.0, 1000.0, 0.025, 1.0, true, false, nil, nil}},
      {R"-(F("a, b (c)", "", "say ""hi""", " x "))-", "F",
       {std::string("a, b (c)"), std::string(), std::string("say \"hi\""), std::string(" x ")}},
      {"TintPictureZRK(self, &c808080, SELF)", "TintPictureZRK", {CurrentPicture{}, 0x808080, CurrentPicture{}}},
      // In a setting, a bare name is a word; the keywords and self are not.
      {R"(C(A=-1, b = self, Table=warm, T="x=y", On=TRUE, N=nil, H=hald("h.png")))", "C", {},
       {{"A", -1}, {"b", CurrentPicture{}}, {"Table", Word{"warm"}}, {"T", std::string("x=y")}, {"On", true},
        {"N", nil}, {"H", HaldFile{"h.png"}}}},
      // Files, tables and variables; the commas and parentheses of a file name are its own.
      {R"-(F(picture("a, (b).png"), FILE ( "t.bin" ), table(Invert), table("c.bin"), x, Count_2, nil))-", "F",
       {PictureFile{"a, (b).png"}, FileData{"t.bin"}, ChannelTable{"invert", ""}, ChannelTable{"", "c.bin"},
        Variable{"x"}, Variable{"Count_2"}, nil}},
      {R"(M(false, k) = picture("m.png"))", "M", {false, Variable{"k"}}, {}, PictureFile{"m.png"}},
  };
  for (const Case& c : cases) {
    const Call call = ParseCall(c.text);
    EXPECT_EQ(call.name, c.name);
    EXPECT_TRUE(call.args == c.args && call.settings == c.settings && call.assigned == c.assigned) << c.text;
  }
}

TEST(ParseCall, NamesWhatIsMalformed) {
  // What follows "bad call 'TEXT': ".
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "expected a method name"}, {"Invert ZRK", "expected '(' after Invert"}, {"F(1", "missing ')'"},
      {"F(1) x", "unexpected text after ')'"}, {"F(1,)", "argument 2: empty argument"},
      {"F(1, 2 3)", "argument 2: '2 3' is not a literal"}, {"C(a=1, A=2)", "A is set twice"},
      {R"(F("a"b))", R"(argument 1: '"a"b' is not a literal)"},
      {R"(F(picture("a") x))", R"(argument 1: 'picture("a") x' is not a literal)"},
      {R"(F(crop("a")))", R"(argument 1: 'crop("a")' is not a literal; the forms with parentheses)"},
      {"F(&h100000000)", "argument 1: integer '&h100000000' does not fit 32 bits"},
      {"F(1e999)", "argument 1: double '1e999' is out of range"},
      {"F(&c12345)", "argument 1: colour '&c12345' must be &c and six hex digits"},
      {"F(#12345G)", "argument 1: colour '#12345G' must be # and six hex digits"},
      {R"(F(file(""), 2))", "argument 1: file(...) takes a file name in quotes"},
      {"F(1, table(warm))", "argument 2: no built-in channel table 'warm' (identity, invert)"},
      {"F(true) =", "the value assigned: empty argument"},
      {"C(A=1) = 2", "a call with settings (Name=value) assigns nothing"},
      {"C(A=1, 2)", "settings (Name=value) and plain arguments cannot be mixed"},
  };
  for (const auto& c : cases) {
    const std::string& text = c.first;  // a lambda may not capture a structured binding before C++20 in clang
    EXPECT_THAT([&] { ParseCall(text); }, ThrowsMessage<UsageError>(StartsWith("bad call '" + text + "': " + c.second)));
  }
}

TEST(Lattice, FilesSetTheNodesTheyNameAndNoOther) {
  // The node and what it maps to, or the start of the error.
  struct Case { std::string text; std::array<int, 3> node = {}; std::array<double, 3> out = {}; std::string error; };
  const std::vector<Case> cases = {
      {"# a grade\n\n  1 2 3\t10 20.5 -3e1 # lifted\r\n17 17 17 0 0 0", {1, 2, 3}, {10, 20.5, -30}},
      {"1 2 3 10 20.5 -3e1", {3, 2, 1}, {51, 34, 17}},  // nodes not given map to themselves
      {"\n18 0 0 1 2 3", {}, {}, "line 2: index 18 is outside 0 to 17"},
      {"0 0 0 1 inf 2", {}, {}, "line 1: 'inf' is not a finite number"},
      {"1 1 1 0 0 0\n1 1 1 5 5 5", {}, {}, "line 2: node 1 1 1 was set on line 1"},
  };
  for (const Case& c : cases) {
    try {
      const Lattice lattice = ParseLattice(c.text);
      EXPECT_EQ(c.error, "") << c.text;
      for (int x = 0; x < 3; ++x) EXPECT_EQ(lattice.at(LatticeIndex(c.node[0], c.node[1], c.node[2], x)), c.out[x]);
    } catch (const LatticeError& e) {
      EXPECT_TRUE(!c.error.empty() && std::string(e.what()).starts_with(c.error)) << e.what();
    }
  }
}

// Everything ParseCommandLine settles, in one line; the host settings only where they differ from the defaults.
std::string Summary(const Options& o) {
  if (o.command == Command::kHelp) return "help";
  std::string inputs;
  for (const std::string& in : o.inputs) inputs += (inputs.empty() ? "" : ",") + in;
  std::string s = o.command == Command::kList     ? "list"
                  : o.command == Command::kRender ? "render=" + inputs
                  : o.chart                       ? "chart"
                  : o.noInput                     ? "none"
                                                  : "in=" + inputs;
  for (const auto& call : o.calls) s += " " + call.name + "/" + std::to_string(call.args.size());
  if (o.output) s += " -o " + *o.output;
  if (o.outDir) s += " dir=" + *o.outDir;
  if (o.jobs != 1) s += " j=" + std::to_string(o.jobs);
  if (o.flatten) s += " flatten";
  if (o.saveString) s += " string=" + *o.saveString;
  if (o.saveBlocks) s += " blocks=" + *o.saveBlocks;
  if (o.command == Command::kRender) s += " bits=" + std::to_string(EncodingBits(o.encoding));
  if (!o.plugin.empty()) s += " plugin=" + o.plugin;
  if (o.host.version != 2019.011) s += " v=" + (o.host.version ? FormatResult(*o.host.version, "double") : "none");
  using testhost::HostKind;
  if (o.host.kind != HostKind::kDesktop) s += o.host.kind == HostKind::kConsole ? " console" : " web";
  if (o.layout) s += " layout=" + std::to_string(*o.layout);
  const uint32_t made[] = {o.host.newPictureAlphaInfo, o.host.alphaPictureAlphaInfo};
  return made[0] == 5 && made[1] == 1 ? s : s + " made=" + std::to_string(made[0]) + "/" + std::to_string(made[1]);
}

// Colour lookup files and Hald pictures, sampled at the lattice's nodes: index i at channel value 17 i, and
// 16 and 17 at 255. Both files are chosen so that the values between their own nodes are known exactly.
TEST(Lattice, ColourFilesAndHaldPicturesAreSampledAtTheNodes) {
  const std::string dir = ::testing::TempDir();
  // A 3-node cube over the domain 0..2: input x lands at index x, and the outputs grow linearly with the
  // indices, so every lattice node's output is (v/4, v/2, 255 - v/2) for the node's values v.
  std::ofstream cube(dir + "/half.cube");
  cube << "TITLE \"half\"\n# a comment\nLUT_3D_SIZE 3\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 2 2 2\n";
  for (int b = 0; b < 3; ++b) {
    for (int g = 0; g < 3; ++g) {
      for (int r = 0; r < 3; ++r) cube << 0.25 * r << " " << 0.5 * g << " " << 1 - 0.5 * b << "\n";
    }
  }
  cube.close();
  // A level-2 Hald picture: 8x8 pixels, a cube of 4 nodes a side at 0, 85, 170, 255; red grows with the
  // square of its index (0, 28, 112, 252), so a node between two of them shows the interpolation.
  Image hald(8, 8, false);
  for (int at = 0; at < 64; ++at) {
    const int r = at % 4, g = at / 4 % 4, b = at / 16;
    hald.Set(at % 8, at / 8, {uint8_t(28 * r * r), uint8_t(85 * g), uint8_t(255 - 85 * b)});
  }
  struct Node { int r, g, b; std::array<double, 3> cube, hald; };
  const Node nodes[] = {
      {0, 0, 0, {0, 0, 255}, {0, 0, 255}},
      {3, 6, 15, {12.75, 51, 127.5}, {0.4 * 0 + 0.6 * 28, 102, 0}},  // 51 lies 3/5 of the way from 0 to 85
      {7, 7, 7, {29.75, 59.5, 195.5}, {0.6 * 28 + 0.4 * 112, 119, 136}},
      {5, 0, 15, {21.25, 0, 127.5}, {28, 0, 0}},
      {17, 16, 17, {63.75, 127.5, 127.5}, {252, 255, 0}},
  };
  const Lattice fromCube = ReadTableFile(dir + "/half.cube"), fromHald = HaldLattice(hald, "hald.png");
  for (const Node& n : nodes) {
    for (int x = 0; x < 3; ++x) {
      EXPECT_NEAR(fromCube[LatticeIndex(n.r, n.g, n.b, x)], n.cube[x], 1e-3) << n.r << " " << n.g << " " << n.b << " " << x;
      EXPECT_NEAR(fromHald[LatticeIndex(n.r, n.g, n.b, x)], n.hald[x], 1e-9) << n.r << " " << n.g << " " << n.b << " " << x;
    }
  }
  EXPECT_THROW(HaldLattice(Image(8, 9, false), "x.png"), LatticeError);
  std::ofstream(dir + "/bad.cube") << "LUT_3D_SIZE 2\n0 0 0\n";
  EXPECT_THROW(ReadTableFile(dir + "/bad.cube"), LatticeError);
  EXPECT_THROW(ReadTableFile(dir + "/missing.cube"), LatticeError);
}

// EXIF orientation turns a picture upright; more than 8 bits a channel come down to 8, and say so.
TEST(ImageIo, OrientationAndDepthAreAppliedOnRead) {
  // Stored turned left, white on top: shown turned right, white on the right.
  Image tall(8, 16, false);
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 8; ++x) tall.Set(x, y, {255, 255, 255});
  }
  VipsImage* plain = vips_image_new_from_memory(tall.pixels.data(), tall.pixels.size(), 8, 16, 3, VIPS_FORMAT_UCHAR);
  ASSERT_NE(plain, nullptr);
  vips_image_set_int(plain, "orientation", 6);
  void* buffer = nullptr;
  size_t size = 0;
  ASSERT_EQ(vips_jpegsave_buffer(plain, &buffer, &size, "Q", 95, nullptr), 0);
  g_object_unref(plain);
  ReadNotes notes;
  const Image upright = DecodeImage({static_cast<const uint8_t*>(buffer), size}, {}, &notes);
  g_free(buffer);
  ASSERT_TRUE(upright.width == 16 && upright.height == 8 && !notes.reducedDepth);
  EXPECT_TRUE(upright.Get(12, 4).r > 240 && upright.Get(3, 4).r < 15);

  std::vector<uint16_t> deep = {0, 257 * 10, 65535, 257 * 200, 300, 65280, 0, 0};
  VipsImage* sixteen = vips_image_new_from_memory(deep.data(), deep.size() * 2, 2, 1, 4, VIPS_FORMAT_USHORT);
  ASSERT_NE(sixteen, nullptr);
  VipsImage* tagged = nullptr;
  ASSERT_EQ(vips_copy(sixteen, &tagged, "interpretation", VIPS_INTERPRETATION_RGB16, nullptr), 0);
  ASSERT_EQ(vips_pngsave_buffer(tagged, &buffer, &size, nullptr), 0);
  g_object_unref(tagged);
  g_object_unref(sixteen);
  const Image reduced = DecodeImage({static_cast<const uint8_t*>(buffer), size}, {}, &notes);
  g_free(buffer);
  EXPECT_TRUE(notes.reducedDepth && reduced.alpha);
  EXPECT_EQ(reduced.pixels, (std::vector<uint8_t>{0, 10, 255, 200, 1, 255, 0, 0}));
}

TEST(ParseCommandLine, ReadsOptionsOrNamesTheProblem) {
  // The summary, or "error: " and the start of the message.
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"in.png", "InvertZRK", "F(1, 2)", "-o", "out.png"}, "in=in.png InvertZRK/0 F/2 -o out.png"},
      {{"--output=o.png", "--plugin", "/p.so", "--kind=console", "a.jpg"}, "in=a.jpg -o o.png plugin=/p.so console"},
      {{"--host-version", "2012.5", "--layout=2", "in.png"}, "in=in.png v=2012.5 layout=2 made=6/2"},
      {{"--host-version=none", "--layout", "3", "--chart", "InvertZRK"}, "chart InvertZRK/0 v=none layout=3"},
      {{"--", "-odd.png"}, "in=-odd.png"}, {{"in.png", "--help", "--bogus"}, "help"},
      {{"--no-input", "--save-string", "x.ppic", "--save-blocks=d", "F(1)"}, "none F/1 string=x.ppic blocks=d"},
      // render: the render call comes first, written out or not; the encoding gives Bits.
      {{"--encoding", "uint8", "render", "s.wav", "InvertZRK", "-o", "w.png"},
       "render=s.wav RenderSamplesZRK/0 InvertZRK/0 -o w.png bits=8"},
      {{"--encoding=float64", "render", "s.flac", "renderSamplesZRK(Width=3)"},
       "render=s.flac renderSamplesZRK/0 bits=-64"},
      // Several inputs before the calls, each with its own output; "-" is standard input.
      {{"a.png", "b/c.jpg", "-", "InvertZRK", "--out-dir", "d", "-j", "3", "--flatten"},
       "in=a.png,b/c.jpg,- InvertZRK/0 dir=d j=3 flatten"},
      {{"a.png", "b.png", "F", "-o", "{name}-f.png"}, "in=a.png,b.png F/0 -o {name}-f.png"},
      {{"a.png", "b.png", "F", "-o", "f.png"}, "error: several inputs need --out-dir DIR or an output pattern"},
      {{"a.png", "F", "b.png"}, "error: 'b.png' looks like a picture; inputs come before the calls"},
      {{"-", "-", "F"}, "error: standard input (-) can be read once"},
      {{"--chrat", "F"}, "error: unknown option '--chrat'; did you mean --chart?"},
      {{"--quality", "101", "a.png"}, "error: --quality: Value 101 not in range 1 to 100"},
      {{}, "error: no input picture given"}, {{"F(1)"}, "error: no input picture given before the call 'F(1)'"}, {{"in.png", "-o"}, "error: --output: 1 required"},
      {{"--layout", "7", "in.png"}, "error: --layout"}, {{"render"}, "error: render needs a sound file"},
      {{"--kind", "console", "--layout", "1", "in.png"}, "error: --layout applies to desktop hosts only"},
      {{"list", "InvertZRK"}, "error: list takes no calls"},
      {{"in.png", "F(1, 4x)"}, "error: bad call 'F(1, 4x)': argument 2"},
      {{"render", "s.wav", "RenderSamplesZRK(1)"}, "error: 'RenderSamplesZRK(1)': render passes the sound itself"},
      {{"--encoding", "int16", "in.png"}, "error: --encoding applies to render only"},
      {{"--encoding", "int24", "render", "s.wav"}, "error: --encoding 'int24'"},
      {{"--chart", "--no-input", "F"}, "error: --chart and --no-input exclude each other"},
  };
  for (const auto& [args, expected] : cases) {
    std::string got;
    try {
      got = Summary(ParseCommandLine(args));
    } catch (const UsageError& e) {
      got = "error: " + std::string(e.what());
    }
    EXPECT_TRUE(got == expected || (expected.starts_with("error: ") && got.starts_with(expected))) << got << " | " << expected;
  }
}

TEST(Format, BlocksAndStringsThatAreNoTextPrintTheirSizeAndWhatTheyHold) {
  std::vector<uint8_t> counters(1024), bytes(20);
  EXPECT_EQ(FormatBlock(counters), "memoryblock of 1024 bytes: 256 counters, all 0");
  const std::pair<int, uint32_t> counts[] = {{3, 5}, {128, 9}, {250, 2}, {251, 9}};  // the first peak is named
  for (const auto& [value, n] : counts) std::memcpy(&counters[4 * value], &n, 4);
  EXPECT_EQ(FormatBlock(counters),
            "memoryblock of 1024 bytes: 256 counters, total 25 in 4 values from 3 to 251, peak 9 at 128");
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 17);
  EXPECT_EQ(FormatBlock(bytes), "memoryblock of 20 bytes: 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF ...");
  EXPECT_EQ(FormatBlock({}), "memoryblock of 0 bytes");
  // Text is UTF-8 without NUL; anything else (cut short, overlong, a surrogate, past U+10FFFF) shows its bytes.
  const std::vector<std::pair<std::string, std::string>> strings = {
      {"\xC3\xA9t\xC3\xA9 \xF0\x9F\x8E\xB5", "\"\xC3\xA9t\xC3\xA9 \xF0\x9F\x8E\xB5\""},
      {std::string("PPIC\0\x01", 6), "string of 6 bytes: 50 50 49 43 00 01"}, {"a\xC3", "string of 2 bytes: 61 C3"},
      {"\xC0\x80", "string of 2 bytes: C0 80"}, {"\xED\xA0\x80", "string of 3 bytes: ED A0 80"},
      {"\xF4\x90\x80\x80", "string of 4 bytes: F4 90 80 80"}};
  for (const auto& [text, printed] : strings) EXPECT_EQ(FormatResult(text, "string"), printed);
}

// Sound files are read end to end by the render runs of picture_host_test.
TEST(Sound, SamplesEncodeAsTheRendererReadsThem) {
  // Full scale, clipped past it, rounded to nearest; the floats as they are.
  const std::vector<double> in = {0.0, 1.0, -1.0, 0.5, 2.0, -0.3};
  const auto decoded = [&](SampleEncoding e, auto sample) {
    const std::vector<uint8_t> bytes = EncodeSamples(in, e);
    std::vector<double> out(bytes.size() / sizeof sample);
    for (size_t i = 0; i < out.size(); ++i) {
      std::memcpy(&sample, &bytes[i * sizeof sample], sizeof sample);
      out[i] = sample;
    }
    return out;
  };
  EXPECT_EQ(decoded(SampleEncoding::kInt16, int16_t{}), (std::vector<double>{0, 32767, -32767, 16384, 32767, -9830}));
  EXPECT_EQ(decoded(SampleEncoding::kUint8, uint8_t{}), (std::vector<double>{128, 255, 1, 192, 255, 90}));
  EXPECT_EQ(decoded(SampleEncoding::kFloat32, float{}), (std::vector<double>{0, 1, -1, 0.5, 2, -0.3f}));
  EXPECT_EQ(decoded(SampleEncoding::kFloat64, double{}), in);
}

TEST(ImageIo, PngRoundTripsJpegReadsAndOtherDataIsRefused) {
  for (const bool alpha : {false, true}) {
    // A smooth picture, which JPEG keeps close: any swapped channel or row shows.
    Image image(32, 16, alpha);
    for (int32_t y = 0; y < 16; ++y) {
      for (int32_t x = 0; x < 32; ++x) image.Set(x, y, {uint8_t(x * 8), uint8_t(y * 16), 128, uint8_t(x * y)});
    }
    // Format, how far a channel may move; JPEG keeps no alpha.
    const std::pair<FileFormat, int> formats[] = {
        {FileFormat::kPng, 0}, {FileFormat::kTiff, 0}, {FileFormat::kWebp, 12}, {FileFormat::kJpeg, 12}};
    for (const auto& [format, tolerance] : formats) {
      SCOPED_TRACE(static_cast<int>(format));
      const std::vector<uint8_t> file = EncodeImage(image, format, {95, 6});
      const Image back = DecodeImage(file);
      const bool keepsAlpha = alpha && format != FileFormat::kJpeg;
      ASSERT_TRUE(back.width == 32 && back.height == 16 && back.alpha == keepsAlpha);
      for (int32_t i = 0; i < 32 * 16; ++i) {
        const Rgba a = image.Get(i % 32, i / 32), b = back.Get(i % 32, i / 32);
        if (format == FileFormat::kWebp && a.a == 0 && keepsAlpha) continue;  // WebP drops what cannot be seen
        for (const auto& [p, q] : {std::pair{a.r, b.r}, {a.g, b.g}, {a.b, b.b}, {keepsAlpha ? a.a : uint8_t{255}, b.a}}) {
          ASSERT_LE(std::abs(p - q), tolerance) << i;
        }
      }
      EXPECT_THROW(DecodeImage(std::vector<uint8_t>(file.begin(), file.begin() + 40)), ImageError);  // truncated
    }
  }
  EXPECT_THROW(DecodeImage(std::vector<uint8_t>{'t', 'e', 'x', 't', '\n'}), ImageError);
  EXPECT_EQ(FormatOfName("a/B.JPEG"), FileFormat::kJpeg);
  EXPECT_THROW(FormatOfName("a.bmp"), ImageError);
}

TEST(Lending, PutsEachLayoutsBytesInTheirRoles) {
  EXPECT_TRUE(Unpremultiply(0, 0) == 0 && Unpremultiply(200, 100) == 255);  // no division by 0; clamped
  // Layout, alpha channel, file pixel, as lent, as read back; premultiplied values round to nearest.
  const std::vector<std::tuple<int32_t, bool, Rgba, testhost::Pixel, Rgba>> cases = {
      {1, true, {255, 128, 0, 128}, {128, 64, 0, 128}, {255, 128, 0, 128}},
      {2, true, {1, 100, 201, 128}, {1, 50, 101, 128}, {2, 100, 201, 128}},
      {3, true, {10, 20, 30, 77}, {10, 20, 30, 77}, {10, 20, 30, 77}},
      {1, false, {10, 20, 30, 77}, {10, 20, 30, 255}, {10, 20, 30, 255}},
      {kRowTableLayout, true, {1, 2, 3, 128}, {1, 2, 3, 63}, {1, 2, 3, 129}},
  };
  for (const auto& [layout, alpha, in, lent, back] : cases) {
    EXPECT_EQ(LendPixel(layout, alpha, in), lent) << layout;
    EXPECT_EQ(ReadLentPixel(layout, alpha, lent), back) << layout;
  }
}

TEST(Chart, IsAnOpaqueChartOfKnownColours) {
  const Image chart = MakeChart();
  ASSERT_TRUE(chart.width == 256 && chart.height == 128 && !chart.alpha);
  // Hue ramp from red through cyan, the same darker and paler, a grey ramp, the patches.
  const std::tuple<int32_t, int32_t, Rgba> samples[] = {{0, 0, {255, 0, 0}}, {128, 31, {0, 255, 255}},
      {0, 40, {128, 0, 0}}, {128, 56, {128, 255, 255}}, {200, 80, {200, 200, 200}}, {140, 100, {0, 0, 255}}};
  for (const auto& [x, y, colour] : samples) EXPECT_EQ(chart.Get(x, y), colour) << x << "," << y;
}

}  // namespace
}  // namespace picture_host
