// The rows measured in every pixel layout: every registered picture operation on
// side x side pictures, with its target as a multiple of memcpy's time and its
// OpenCV peer where there is one. Results that must equal the peer's (inversion,
// channel tables, the maximum, channels taken apart and put together, histograms,
// counts, search positions, the binary string's pixels) are compared once a row.
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "bench/stage.h"

namespace bench {

namespace {

using testhost::CallResult;
using testhost::Host;
using testhost::Ref;
using testhost::Value;
using Colour = std::function<uint32_t(int32_t, int32_t)>;

// A colour per pixel from a hash of its position: noise that no kernel can predict.
Colour noise(uint64_t seed) {
  return [seed](int32_t x, int32_t y) {
    Random r{seed << 40 ^ (uint64_t(uint32_t(y)) << 20 | uint32_t(x))};
    return r() & 0xFFFFFF;
  };
}
Colour plain(uint32_t rgb) {
  return [rgb](int32_t, int32_t) { return rgb; };
}
// Half the pixels grey, at random: no branch on greyness can be predicted.
Colour half_grey(uint64_t seed) {
  return [seed](int32_t x, int32_t y) {
    Random r{seed << 40 ^ (uint64_t(uint32_t(y)) << 20 | uint32_t(x))};
    const uint32_t v = r();
    return v & 0x1000000 ? (v & 0xFF) * 0x010101u : v & 0xFFFFFF;
  };
}

const Target kMap = vs_memcpy(1.0), kTone = vs_memcpy(1.3), kColour = vs_memcpy(1.5), kScan = vs_memcpy(0.8),
             kScroll = vs_memcpy(1.5);

struct Inputs {
  Ref random, random2, random3;
  cv::Mat m_random, m_random2, m_random3;
};

// A peer whose output matrix is made on its first run and reused after.
std::shared_ptr<cv::Mat> output() { return std::make_shared<cv::Mat>(); }

void add_call(Stage& s, const Label& label, std::function<CallResult()> call, Accept accept = gave_object) {
  if (!s.table().wanted(label)) return;
  const Called c = calling(label.operation, std::move(call), std::move(accept));
  s.table().add(label, c.work);
}

// A method on `self` whose picture result must hold the same colours as the peer's `out`.
void add_compared(Stage& s, const Label& label, std::function<CallResult()> call, std::function<void()> peer,
                  std::shared_ptr<cv::Mat> out) {
  if (!s.table().wanted(label)) return;
  Called c = calling(label.operation, std::move(call));
  c.work.peer = std::move(peer);
  c.work.check = [&s, result = c.result, out] {
    return compare_colours(s.layout(), matrix_of(s.host(), picture_of(*result)), *out);
  };
  s.table().add(label, c.work);
}

void baseline_rows(Stage& s) {
  Table& t = s.table();
  // memcpy, then what a pass of one, two or three sources whose result bypasses the caches can reach.
  const Label copy = s.label("memcpy of the picture", "", 2, {});
  const Label floors[] = {
      s.label("copy with non-temporal stores", "", 2, {}),
      s.label("two pictures' larger bytes, stored so: the floor of a two-source map", "", 3, {}),
      s.label("three pictures' larger bytes, stored so: the floor of a three-source map", "", 4, {})};
  if (t.wanted(copy) || std::any_of(std::begin(floors), std::end(floors), [&](const Label& l) { return t.wanted(l); })) {
    const size_t bytes = static_cast<size_t>(copy.copy_bytes);
    std::vector<uint8_t> from(bytes, 1), from2(bytes, 2), from3(bytes, 3), to(bytes);
    t.add(copy, Work{.run = [&] { std::memcpy(to.data(), from.data(), bytes); }});
    std::vector<const void*> sources;
    for (const void* source : {from.data(), from2.data(), from3.data()}) {
      sources.push_back(source);
      t.add(floors[sources.size() - 1], Work{.run = [&, sources] { stream_max(to.data(), sources, bytes); }});
    }
  }
  Label fresh = s.label("host: a new picture, allocated and filled", "outside every other row", 1, {});
  if (t.wanted(fresh)) {
    auto made = std::make_shared<Ref>();
    const int32_t side = s.side(), layout = s.layout();
    t.add(fresh, Work{.run = [&s, made, side, layout] {
                        *made = s.host().NewPicture({.width = side, .height = side, .alphaInfo = uint32_t(layout)});
                      },
                      .release = [made] { *made = Ref(); }});
  }
}

void map_rows(Stage& s, const Inputs& in) {
  Host& h = s.host();
  const Channels ch = channels_of(s.layout());
  const Ref& random = in.random;
  auto method = [&h](const Ref& self, const char* name, std::vector<Value> args) {
    return [&h, self, name, args] { return h.CallMethod(self.get(), name, args); };
  };

  auto inverted = output();
  add_compared(s, s.label(s.declaration("InvertZRK", 0), "", 2, kMap, "bitwise_not"), method(random, "InvertZRK", {}),
               [&in, inverted] { cv::bitwise_not(in.m_random, *inverted); }, inverted);
  const Ref& mixed = s.picture("half grey", half_grey(4));
  add_call(s, s.label(s.declaration("InvertGrayZRK", 0), "half the pixels grey", 2, kMap), method(mixed, "InvertGrayZRK", {}));
  const int64_t found = h.Color(mixed.picture(), 0, 0);
  add_call(s, s.label(s.declaration("ReplaceColorZRK", 2), "", 2, kMap),
           method(mixed, "ReplaceColorZRK", {found, int64_t{0x00FF00}}));
  add_call(s, s.label(s.declaration("ExtractColorZRK", 3), "", 2, kMap),
           method(mixed, "ExtractColorZRK", {found, int64_t{0x00FF00}, int64_t{0x000080}}));

  // Channels: each result channel from the picture named for it, the rest from the first.
  const char* const kReplace[] = {"ReplaceRedChannelZRK", "ReplaceGreenChannelZRK", "ReplaceBlueChannelZRK"};
  const int kReplaced[] = {ch.r, ch.g, ch.b};
  for (int i = 0; i < 3; ++i) {
    auto out = output();
    const int replaced = kReplaced[i];
    add_compared(s, s.label(s.declaration(kReplace[i], 1), "", 3, kMap, "split x2, merge"),
                 method(random, kReplace[i], {in.random2}),
                 [&in, out, replaced, planes = std::make_shared<std::vector<cv::Mat>[]>(2)] {
                   cv::split(in.m_random, planes[0]);
                   cv::split(in.m_random2, planes[1]);
                   std::vector<cv::Mat> merged = planes[0];
                   merged[static_cast<size_t>(replaced)] = planes[1][static_cast<size_t>(replaced)];
                   cv::merge(merged, *out);
                 },
                 out);
  }
  auto combined = output();
  add_compared(s, s.label(s.declaration("CombinePicturesZRK", 3), "", 4, kMap, "split x3, merge"),
               [&h, &in] { return h.Call("CombinePicturesZRK", {in.random, in.random2, in.random3}); },
               [&in, combined, ch, planes = std::make_shared<std::vector<cv::Mat>[]>(3)] {
                 // Declared red, blue, green: blue from the second picture, green from the third.
                 cv::split(in.m_random, planes[0]);
                 cv::split(in.m_random2, planes[1]);
                 cv::split(in.m_random3, planes[2]);
                 std::vector<cv::Mat> merged = planes[0];
                 merged[size_t(ch.g)] = planes[2][size_t(ch.g)];
                 merged[size_t(ch.b)] = planes[1][size_t(ch.b)];
                 cv::merge(merged, *combined);
               },
               combined);
  auto brighter = output();
  add_compared(s, s.label(s.declaration("MergePictureZRK", 2), "", 3, kMap, "max"),
               [&h, &in] { return h.Call("MergePictureZRK", {in.random, in.random2}); },
               [&in, brighter] { cv::max(in.m_random, in.m_random2, *brighter); }, brighter);

  add_call(s, s.label(s.declaration("EmbeddedMaskZRK", 1), "read", 2, kMap), method(random, "EmbeddedMaskZRK", {false}));
  const Ref& target = s.picture("mask target", noise(7));
  const Ref& mask = s.picture("grey", [grey = noise(5)](int32_t x, int32_t y) { return (grey(x, y) & 0xFF) * 0x010101u; });
  add_call(s, s.label(s.declaration("EmbeddedMaskZRK", 2), "assigned", 3, kMap),
           [&h, target, mask] { return h.Assign(target.get(), "EmbeddedMaskZRK", {false}, mask); },
           [](const CallResult&) { return true; });
}

// The binary string both ways, called directly so that no test-side copy of the
// string is timed; the host's own work on the string is measured apart and taken off.
void binary_string_rows(Stage& s, const Inputs& in) {
  Host& h = s.host();
  const Channels ch = channels_of(s.layout());
  const int32_t side = s.side();
  const size_t pixel_bytes = size_t(side) * size_t(side) * 3;
  auto* to_string = reinterpret_cast<REALstring (*)(REALpicture)>(s.function("PicturetoBinaryStringZRK("));
  auto* to_picture = reinterpret_cast<REALpicture (*)(REALstring)>(s.function("BinaryStringtoPictureZRK("));
  auto* build = reinterpret_cast<host_abi::sig::REALBuildString*>(h.Resolve("REALBuildString"));
  auto* get_data = reinterpret_cast<host_abi::sig::PluginGetStringData*>(h.Resolve("PluginGetStringData"));
  auto* dispose = reinterpret_cast<host_abi::sig::PluginDisposeStringData*>(h.Resolve("PluginDisposeStringData"));

  const REALstring made = to_string(in.random.picture());
  if (made == nullptr) {
    s.table().fail(s.label(s.declaration("PicturetoBinaryStringZRK", 1), "", 1.75, vs_memcpy(1.2)), "gave nil");
    return;
  }
  auto bytes = std::make_shared<std::string>(h.StringBytes(made));
  h.ReleaseString(made);

  Label writing = s.label(s.declaration("PicturetoBinaryStringZRK", 1), "", 1.75, vs_memcpy(1.2), "mixChannels");
  if (s.table().wanted(writing)) {
    auto last = std::make_shared<REALstring>(nullptr);
    auto out = std::make_shared<cv::Mat>(side, side, CV_8UC3);
    const int pairs[] = {ch.r, 0, ch.g, 1, ch.b, 2};
    Work w{.run = [&in, last, to_string] {
             *last = to_string(in.random.picture());
             if (*last == nullptr) throw std::runtime_error("PicturetoBinaryStringZRK gave nil");
           },
           .release = [&h, last] { h.ReleaseString(std::exchange(*last, nullptr)); },
           .peer = [&in, out, pairs] { cv::mixChannels(&in.m_random, 1, out.get(), 1, pairs, 3); },
           .check = [&h, last, out, pixel_bytes] {
             const std::string text = h.StringBytes(*last);
             return text.size() == 40 + pixel_bytes && std::memcmp(text.data() + 40, out->data, pixel_bytes) == 0
                        ? ""
                        : "pixel bytes differ from the peer's";
           },
           .host_share = [&h, build, bytes] {
             REALstring copy = nullptr;
             const double t = seconds_of([&] { copy = build(bytes->data(), int32_t(bytes->size())); });
             h.ReleaseString(copy);
             return t;
           }};
    s.table().add(writing, w);
  }

  Label reading = s.label(s.declaration("BinaryStringtoPictureZRK", 1), "", 1.75, kMap, "mixChannels");
  if (s.table().wanted(reading)) {
    auto string = std::make_shared<REALstring>(h.NewString(*bytes, host_abi::kEncodingUnknown));
    auto last = std::make_shared<Ref>();
    auto out = std::make_shared<cv::Mat>(side, side, CV_8UC4, cv::Scalar::all(255));
    auto packed = std::make_shared<cv::Mat>(side, side, CV_8UC3, bytes->data() + 40);
    const int pairs[] = {0, ch.r, 1, ch.g, 2, ch.b};
    Work w{.run = [last, string, to_picture] {
             *last = Ref::Adopt(reinterpret_cast<REALobject>(to_picture(*string)));
             if (!*last) throw std::runtime_error("BinaryStringtoPictureZRK gave nil");
           },
           .release = [last] { *last = Ref(); },
           .peer = [out, packed, pairs] { cv::mixChannels(packed.get(), 1, out.get(), 1, pairs, 3); },
           .check = [&s, last, out] { return compare_colours(s.layout(), matrix_of(s.host(), *last), *out); },
           .host_share = [string, get_data, dispose] {
             REALstringData data{};
             const double t = seconds_of([&] { get_data(*string, host_abi::kEncodingUnknown, &data); });
             dispose(&data);
             return t;
           }};
    s.table().add(reading, w);
    h.ReleaseString(*string);
  }
}

// The twelve tone changes, against convertTo's v * alpha + beta.
void tone_rows(Stage& s, const Inputs& in) {
  Host& h = s.host();
  struct Tone {
    const char* name;
    std::vector<double> args;
  };
  const Tone kTones[] = {
      {"ChangeBrightnessLinearZRK", {40}},
      {"ChangeBrightnessLinearZRK", {40, -30, 20}},
      {"ChangeBrightnessAbsoluteZRK", {40}},
      {"ChangeBrightnessAbsoluteZRK", {40, -30, 20}},
      {"ChangeContrastZRK", {0.5}},
      {"ChangeContrastZRK", {0.5, -0.3, 0.2}},
      {"ChangeContrastBrightnessLinearZRK", {0.5, 40}},
      {"ChangeContrastBrightnessLinearZRK", {0.5, -0.3, 0.2, 40, -30, 20}},
      {"ChangeContrastBrightnessAbsoluteZRK", {0.5, 40}},
      {"ChangeContrastBrightnessAbsoluteZRK", {0.5, -0.3, 0.2, 40, -30, 20}},
      {"ChangeCustomZRK", {1.2, 10}},
      {"ChangeCustomZRK", {1.2, 10, 0.8, -5, 0.9, 3}},
  };
  for (const Tone& tone : kTones) {
    std::vector<Value> args(tone.args.begin(), tone.args.end());
    std::string note;
    for (double a : tone.args) note += (note.empty() ? "" : ", ") + cv::format("%g", a);
    Label label = s.label(s.declaration(tone.name, args.size()), note, 2, kTone, "convertTo");
    if (!s.table().wanted(label)) continue;
    Called c = calling(label.operation, [&h, &in, name = tone.name, args] { return h.CallMethod(in.random.get(), name, args); });
    c.work.peer = [&in, out = output()] { in.m_random.convertTo(*out, -1, 1.2, 10); };
    s.table().add(label, c.work);
  }
}

Ref new_block(Host& h, const uint8_t* bytes, int32_t size) {
  Ref block = h.NewMemoryBlock(size);
  std::memcpy(h.Bytes(block.block()).data(), bytes, size_t(size));
  return block;
}

void colour_rows(Stage& s, const Inputs& in) {
  Host& h = s.host();
  const Channels ch = channels_of(s.layout());

  // Random channel tables, against LUT with the same tables in the layout's channels.
  uint8_t tables[3][256];
  Random r{11};
  for (auto& table : tables)
    for (uint8_t& entry : table) entry = uint8_t(r());
  const Ref red = new_block(h, tables[0], 256), green = new_block(h, tables[1], 256), blue = new_block(h, tables[2], 256);
  auto lut = std::make_shared<cv::Mat>(1, 256, CV_8UC4);
  for (int i = 0; i < 256; ++i) {
    cv::Vec4b& entry = lut->at<cv::Vec4b>(i);
    entry[ch.r] = tables[0][i], entry[ch.g] = tables[1][i], entry[ch.b] = tables[2][i], entry[ch.a] = 255;
  }
  auto mapped = output();
  add_compared(s, s.label(s.declaration("TransformColorsZRK", 4), "random tables", 2, kTone, "LUT"),
               [&h, &in, red, blue, green] {
                 return h.CallMethod(in.random.get(), "TransformColorsZRK", {red, blue, green, Value{}});
               },
               [&in, lut, mapped] { cv::LUT(in.m_random, *lut, *mapped); }, mapped);

  {
    Label label = s.label(s.declaration("ChangeSaturationZRK", 1), "60", 2, kColour, "cvtColor HSV, multiply, back");
    Called c = calling(label.operation, [&h, &in] { return h.CallMethod(in.random.get(), "ChangeSaturationZRK", {int64_t{60}}); });
    c.work.peer = [&in, hsv = output(), out = output()] {
      cv::cvtColor(in.m_random, *hsv, cv::COLOR_RGB2HSV);
      cv::multiply(*hsv, cv::Scalar(1, 1.2, 1), *hsv);
      cv::cvtColor(*hsv, *out, cv::COLOR_HSV2RGB, 4);
    };
    if (s.table().wanted(label)) s.table().add(label, c.work);
  }
  // Tint and sepia are rank-one colour matrices (a grey, then a colour times it or plus an offset).
  const auto transform_peer = [&in](cv::Matx34f m) {
    return [&in, m, out = output()] { cv::transform(in.m_random, *out, m); };
  };
  {
    Label label = s.label(s.declaration("TintPictureZRK", 3), "", 2, kColour, "transform");
    Called c = calling(label.operation, [&h, &in] {
      return h.Call("TintPictureZRK", {in.random, int64_t{0x4D961D}, int64_t{0xFFE6B4}});
    });
    c.work.peer = transform_peer(cv::Matx34f(0.3f, 0.59f, 0.11f, 0, 0.27f, 0.53f, 0.1f, 0, 0.21f, 0.41f, 0.08f, 0));
    if (s.table().wanted(label)) s.table().add(label, c.work);
  }
  {
    Label label = s.label("PictureSepiaZRK.Run as boolean", "SepiaRed 40, SepiaGreen 20, SepiaBlue -20", 2, kColour, "transform");
    if (s.table().wanted(label)) {
      const Ref sepia = h.NewInstance("PictureSepiaZRK");
      h.SetProperty(sepia.get(), "SepiaRed", int64_t{40});
      h.SetProperty(sepia.get(), "SepiaGreen", int64_t{20});
      h.SetProperty(sepia.get(), "SepiaBlue", int64_t{-20});
      h.SetProperty(sepia.get(), "SourcePicture", in.random);
      Called c = calling(label.operation, [&h, sepia] { return h.CallMethod(sepia.get(), "Run", {}); }, gave(true));
      // Run keeps its result without releasing the one before: Close releases both.
      c.work.release = [&h, &in, sepia, result = c.result] {
        *result = CallResult{};
        h.CallMethod(sepia.get(), "Close", {});
        h.SetProperty(sepia.get(), "SourcePicture", in.random);
      };
      c.work.peer = transform_peer(cv::Matx34f(0.3f, 0.59f, 0.11f, 40, 0.3f, 0.59f, 0.11f, 20, 0.3f, 0.59f, 0.11f, -20));
      s.table().add(label, c.work);
      h.CallMethod(sepia.get(), "Close", {});
    }
  }
  {
    Label label = s.label("PictureLut3DZRK.Run as boolean", "random table", 2, {Goal::kNsPerPixel, 4});
    label.pixels = int64_t{s.side()} * s.side();
    if (s.table().wanted(label)) {
      const Ref lattice = h.NewInstance("PictureLut3DZRK");
      Random node{12};
      for (int64_t i = 0; i < 18 * 18 * 18 * 3; ++i) {
        h.Assign(lattice.get(), "Table", {i / 972, i / 54 % 18, i / 3 % 18, i % 3}, double(node() % 25600) / 100.0);
      }
      h.SetProperty(lattice.get(), "SourcePicture", in.random);
      Called c = calling(label.operation, [&h, lattice] { return h.CallMethod(lattice.get(), "Run", {}); }, gave(true));
      c.work.release = [&h, &in, lattice, result = c.result] {
        *result = CallResult{};
        h.CallMethod(lattice.get(), "Close", {});
        h.SetProperty(lattice.get(), "SourcePicture", in.random);
      };
      s.table().add(label, c.work);
      h.CallMethod(lattice.get(), "Close", {});
    }
  }
}

void scan_rows(Stage& s, const Inputs& in) {
  Host& h = s.host();
  const Channels ch = channels_of(s.layout());
  const std::vector<Value> whole = {int64_t{0}, int64_t{0}, int64_t{-1}, int64_t{-1}};
  struct Scan {
    const char* name;
    const char* picture;
    uint32_t level;  // of a uniform picture; 0x808080 stands for random greys
    std::vector<Value> args;
    const char* note;
  };
  std::vector<Value> tolerant = whole;
  tolerant.insert(tolerant.begin(), int64_t{3});
  const Scan kScans[] = {
      {"isWhiteZRK", "white", 0xFFFFFF, {}, "all white: every pixel read"},
      {"isWhiteZRK", "white", 0xFFFFFF, whole, "all white"},
      {"isBlackZRK", "black", 0, {}, "all black"},
      {"isBlackZRK", "black", 0, whole, "all black"},
      {"isGrayZRK", "grey", 0x808080, {int64_t{0}}, "random greys"},
      {"isGrayZRK", "grey", 0x808080, tolerant, "random greys, tolerance 3"},
  };
  const Colour grey = [g = noise(5)](int32_t x, int32_t y) { return (g(x, y) & 0xFF) * 0x010101u; };
  for (const Scan& scan : kScans) {
    const Ref& picture = s.picture(scan.picture, scan.level == 0x808080 ? grey : plain(scan.level));
    add_call(s, s.label(s.declaration(scan.name, scan.args.size()), scan.note, 1, kScan),
             [&h, picture, name = scan.name, args = scan.args] { return h.CallMethod(picture.get(), name, args); },
             gave(true));
  }
  add_call(s, s.label(s.declaration("ColornessZRK", 1), "10", 1, kScan),
           [&h, &in] { return h.CallMethod(in.random.get(), "ColornessZRK", {int64_t{10}}); },
           [](const CallResult& r) { return std::holds_alternative<double>(r.value); });

  // CountColorZRK: against inRange and countNonZero, on a picture where the colour is common.
  const Ref& mixed = s.picture("half grey", half_grey(4));
  const cv::Mat& m_mixed = s.matrix("half grey", half_grey(4));
  const uint32_t colour = h.Color(mixed.picture(), 0, 0);
  {
    Label label = s.label(s.declaration("CountColorZRK", 1), "half the pixels grey", 1, kScan, "inRange, countNonZero");
    Called c = calling(label.operation,
                       [&h, mixed, colour] { return h.CallMethod(mixed.get(), "CountColorZRK", {int64_t{colour}}); },
                       [](const CallResult& r) { return std::holds_alternative<int64_t>(r.value); });
    cv::Scalar low, high;
    for (int i = 0; i < 4; ++i) low[i] = 0, high[i] = 255;
    low[ch.r] = high[ch.r] = colour >> 16 & 0xFF;
    low[ch.g] = high[ch.g] = colour >> 8 & 0xFF;
    low[ch.b] = high[ch.b] = colour & 0xFF;
    auto count = std::make_shared<int>(0);
    c.work.peer = [&m_mixed, low, high, count, mask = output()] {
      cv::inRange(m_mixed, low, high, *mask);
      *count = cv::countNonZero(*mask);
    };
    c.work.check = [result = c.result, count] {
      return std::get<int64_t>(result->value) == *count ? "" : "count differs from the peer's";
    };
    if (s.table().wanted(label)) s.table().add(label, c.work);
  }

  // CountColorsZRK: three histograms, against calcHist per channel. The blocks add
  // up over the calls; the first call's counts are compared.
  {
    Label label = s.label(s.declaration("CountColorsZRK", 4), "", 1, kMap, "calcHist x3");
    if (s.table().wanted(label)) {
      const Ref first = h.NewMemoryBlock(1024), second = h.NewMemoryBlock(1024), third = h.NewMemoryBlock(1024);
      const int64_t pixels = int64_t{s.side()} * s.side();
      Called c = calling(
          label.operation,
          [&h, &in, first, second, third] { return h.CallMethod(in.random.get(), "CountColorsZRK", {first, second, third, int64_t{0}}); },
          [pixels](const CallResult& r) { return r.args.size() == 4 && std::get<int64_t>(r.args[3]) == pixels; });
      auto hists = std::make_shared<std::vector<cv::Mat>>(3);
      c.work.peer = [&in, hists, ch] {
        const int size = 256;
        const float range[] = {0, 256};
        const float* ranges[] = {range};
        const int channels[] = {ch.r, ch.g, ch.b};
        for (int i = 0; i < 3; ++i) cv::calcHist(&in.m_random, 1, &channels[i], cv::Mat(), (*hists)[size_t(i)], 1, &size, ranges);
      };
      c.work.check = [&h, hists, first, second, third] {
        const Ref* blocks[] = {&first, &second, &third};  // red, green, blue
        for (size_t i = 0; i < 3; ++i) {
          const auto bytes = h.Bytes(blocks[i]->block());
          for (int v = 0; v < 256; ++v) {
            uint32_t counter;
            std::memcpy(&counter, bytes.data() + 4 * v, 4);
            if (counter != uint32_t((*hists)[i].at<float>(v))) return std::string("histograms differ from the peer's");
          }
        }
        return std::string();
      };
      s.table().add(label, c.work);
    }
  }
  // The coloured areas of an ordinary picture: a few blocks, lines and dots on grey.
  const int32_t side = s.side();
  const Colour areas = [side](int32_t x, int32_t y) -> uint32_t {
    const auto in_box = [&](double l, double t, double w, double hh) {
      return x >= l * side && x < (l + w) * side && y >= t * side && y < (t + hh) * side;
    };
    const bool dot = Random{uint64_t(y) << 20 | uint32_t(x)}() % 20000 == 0;
    return in_box(0.05, 0.05, 0.15, 0.1) || in_box(0.6, 0.35, 0.25, 0.25) || in_box(0, 0.73, 1, 0.001) ||
                   in_box(0.15, 0.83, 0.01, 0.15) || in_box(0.15, 0.97, 0.3, 0.01) || dot
               ? 0xC81E1E
               : 0x808080;
  };
  const Ref& few = s.picture("areas", areas);
  add_call(s, s.label(s.declaration("ExtractColorRectangleMaskZRK", 0), "a few coloured areas on grey", 2, vs_memcpy(2.0)),
           [&h, few] { return h.CallMethod(few.get(), "ExtractColorRectangleMaskZRK", {}); });
}

void scroll_rows(Stage& s) {
  Host& h = s.host();
  const Ref& picture = s.picture("scrolled", noise(6));
  const int64_t d = s.side() / 13 + 1;
  for (const bool wrap : {true, false}) {
    for (const int64_t delta : {d, -d}) {
      const std::string note = std::string(wrap ? "wrap" : "shift") + ", delta " + std::to_string(delta);
      const auto row = [&](const char* name, std::vector<Value> args) {
        add_call(s, s.label(s.declaration(name, args.size()), note, 2, kScroll),
                 [&h, picture, name, args] { return h.CallMethod(picture.get(), name, args); }, gave(true));
      };
      row("ScrollVerticalZRK", {delta, wrap, false});
      row("ScrollHorizontalZRK", {delta, wrap, false});
      row("ScrollZRK", {delta, delta, wrap, false});
    }
  }
}

// A random haystack and a pattern cut from near its end: found at the same place as the peer finds it.
void find_row(Stage& s, const Inputs& in) {
  Host& h = s.host();
  const int32_t side = s.side(), size = std::min(64, side / 8);
  const int32_t at_x = side - size - 7, at_y = side - size - 5;
  Label label = s.label(s.declaration("FindPictureZRK", 3), "random haystack, " + std::to_string(size) + "x" +
                                                             std::to_string(size) + " pattern near the end",
                     1, {}, "matchTemplate SQDIFF, minMaxLoc");
  if (!s.table().wanted(label)) return;
  const Ref pattern = painted(h, s.layout(), size, size, [&](int32_t x, int32_t y) {
    return h.Color(in.random.picture(), at_x + x, at_y + y);
  });
  auto m_pattern = std::make_shared<cv::Mat>(matrix_of(h, pattern));
  Called c = calling(label.operation,
                     [&h, &in, pattern] { return h.CallMethod(in.random.get(), "FindPictureZRK", {pattern, int64_t{0}, int64_t{0}}); },
                     [at_x, at_y](const CallResult& r) {
                       return std::holds_alternative<bool>(r.value) && std::get<bool>(r.value) &&
                              std::get<int64_t>(r.args[1]) == at_x && std::get<int64_t>(r.args[2]) == at_y;
                     });
  auto where = std::make_shared<cv::Point>();
  c.work.peer = [&in, m_pattern, where, scores = output()] {
    cv::matchTemplate(in.m_random, *m_pattern, *scores, cv::TM_SQDIFF);
    cv::minMaxLoc(*scores, nullptr, nullptr, where.get());
  };
  c.work.check = [where, at_x, at_y] {
    return where->x == at_x && where->y == at_y ? "" : "the peer found the pattern elsewhere";
  };
  s.table().add(label, c.work);
}

}  // namespace

void picture_rows(Stage& s) {
  Inputs in{s.picture("random", noise(1)), s.picture("random 2", noise(2)), s.picture("random 3", noise(3)),
            s.matrix("random", noise(1)), s.matrix("random 2", noise(2)), s.matrix("random 3", noise(3))};
  baseline_rows(s);
  map_rows(s, in);
  binary_string_rows(s, in);
  tone_rows(s, in);
  colour_rows(s, in);
  scan_rows(s, in);
  scroll_rows(s);
  find_row(s, in);
}

}  // namespace bench
