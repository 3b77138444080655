// Every registered method and both classes, one representative call each, with
// every fallible host call in turn failing as a real host fails it (and, with a
// test build of the plug-in, every allocation of the plug-in's own): each time
// the call gives its neutral result or the right one, raises nothing it should
// not, leaves its source as it was, and returns everything it took.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::Host;

constexpr int kMaxFaults = 400;  // far above any call's count; stops a runaway loop

// The pictures a call works on: the receiver or first argument, and two others of
// the same lending for the methods that take several.
struct Scene {
  Ref source, other, third;
  Ref pattern;  // two of the source's pixels, to be found
};

enum class Kind { kMethod, kSetter, kGlobal, kClass };

struct Sample {
  const char* name;  // of the method, or of the class whose Run stands for all its members
  Kind kind;
  std::function<std::vector<Value>(Host&, const Scene&)> args;  // a setter's value last
  std::optional<Pixel> fill = std::nullopt;  // the source's colour; seeded random pixels when none
  bool inPlace = false;                      // changes its receiver by design
  // A call made of independent operations: each alone may be all that happened when another failed.
  std::vector<std::pair<const char*, std::vector<Value>>> steps = {};
};

Value colour_at(Host& h, const Scene& s) { return int64_t{h.Color(s.source.picture(), 0, 0)}; }

uint8_t inverse(int i) { return static_cast<uint8_t>(255 - i); }
uint8_t wave(int i) { return static_cast<uint8_t>(i * 37); }

const std::string kBinaryString = binary_header(52, 2, 2) +
                                  "\x10\x20\x30\x40\x50\x60\x70\x80\x90\xA0\xB0\xC0";

const Pixel kWhite{255, 255, 255, 255}, kBlack{0, 0, 0, 255}, kGrey{90, 90, 90, 255};

// Fixed arguments.
std::function<std::vector<Value>(Host&, const Scene&)> just(std::vector<Value> args) {
  return [args](Host&, const Scene&) { return args; };
}

// The scene's pictures named, then fixed arguments.
std::function<std::vector<Value>(Host&, const Scene&)> pictures(std::vector<Ref Scene::*> refs,
                                                                std::vector<Value> rest = {}) {
  return [refs, rest](Host&, const Scene& s) {
    std::vector<Value> args;
    for (Ref Scene::*r : refs) args.push_back(s.*r);
    args.insert(args.end(), rest.begin(), rest.end());
    return args;
  };
}

const std::vector<Value> kWhole = {int64_t{0}, int64_t{0}, int64_t{-1}, int64_t{-1}};
const std::vector<Value> kInner = {int64_t{1}, int64_t{1}, int64_t{3}, int64_t{2}};

std::vector<Sample> all_samples() {
  using K = Kind;
  return {
      {"ColornessZRK", K::kMethod, just({int64_t{10}})},
      {"ScrollVerticalZRK", K::kMethod, just({int64_t{2}, true, true}), std::nullopt, true},
      {"ScrollHorizontalZRK", K::kMethod, just({int64_t{-1}, false, true}), std::nullopt, true},
      {"ScrollZRK", K::kMethod, just({int64_t{1}, int64_t{-2}, true, false}), std::nullopt, true,
       {{"ScrollHorizontalZRK", {int64_t{1}, true, false}}, {"ScrollVerticalZRK", {int64_t{-2}, true, false}}}},
      {"HasMaskZRK", K::kMethod, just({})},
      {"ChangeContrastBrightnessAbsoluteZRK", K::kMethod, just({1.2, 0.8, 1.0, 10.0, -5.0, 0.0})},
      {"ChangeContrastBrightnessLinearZRK", K::kMethod, just({1.2, 0.8, 1.0, 10.0, -5.0, 0.0})},
      {"ChangeContrastBrightnessAbsoluteZRK", K::kMethod, just({1.5, 20.0})},
      {"ChangeContrastBrightnessLinearZRK", K::kMethod, just({1.5, 20.0})},
      {"ChangeBrightnessAbsoluteZRK", K::kMethod, just({10.0, -10.0, 5.0})},
      {"ChangeBrightnessLinearZRK", K::kMethod, just({10.0, -10.0, 5.0})},
      {"ChangeBrightnessAbsoluteZRK", K::kMethod, just({15.0})},
      {"ChangeBrightnessLinearZRK", K::kMethod, just({15.0})},
      {"ChangeContrastZRK", K::kMethod, just({1.3})},
      {"ChangeContrastZRK", K::kMethod, just({1.1, 0.9, 1.2})},
      {"ChangeCustomZRK", K::kMethod, just({0.5, 10.0})},
      {"ChangeCustomZRK", K::kMethod, just({0.5, 10.0, 1.5, -20.0, 1.0, 0.0})},
      {"InvertZRK", K::kMethod, just(kInner)},
      {"InvertZRK", K::kMethod, just({})},
      {"InvertGrayZRK", K::kMethod, just(kInner)},
      {"InvertGrayZRK", K::kMethod, just({})},
      {"ExtractColorRectangleMaskZRK", K::kMethod, just(kInner)},
      {"ExtractColorRectangleMaskZRK", K::kMethod, just({})},
      {"EmbeddedMaskZRK", K::kMethod, just({false})},
      {"EmbeddedMaskZRK", K::kSetter,
       [](Host&, const Scene& s) { return std::vector<Value>{true, s.other}; }, std::nullopt, true},
      {"CountColorZRK", K::kMethod, [](Host& h, const Scene& s) { return std::vector<Value>{colour_at(h, s)}; }},
      {"CountColorsZRK", K::kMethod, just({Value{}, Value{}, Value{}, int64_t{0}})},
      {"TransformColorsZRK", K::kMethod,
       [](Host& h, const Scene&) {
         return std::vector<Value>{memory_block(h, 256, inverse), memory_block(h, 256, wave),
                                   memory_block(h, 256, inverse), Value{}};
       }},
      {"ReplaceColorZRK", K::kMethod,
       [](Host& h, const Scene& s) { return std::vector<Value>{colour_at(h, s), int64_t{0x00FF00}}; }},
      {"ExtractColorZRK", K::kMethod,
       [](Host& h, const Scene& s) {
         return std::vector<Value>{colour_at(h, s), int64_t{0xFF0000}, int64_t{0x0000FF}};
       }},
      {"ChangeSaturationZRK", K::kMethod, just({int64_t{50}})},
      {"ReplaceRedChannelZRK", K::kMethod, pictures({&Scene::other})},
      {"ReplaceGreenChannelZRK", K::kMethod, pictures({&Scene::other})},
      {"ReplaceBlueChannelZRK", K::kMethod, pictures({&Scene::other})},
      {"FindPictureZRK", K::kMethod, pictures({&Scene::pattern}, {int64_t{7}, int64_t{8}})},
      {"isWhiteZRK", K::kMethod, just({}), kWhite},
      {"isWhiteZRK", K::kMethod, just(kWhole), kWhite},
      {"isBlackZRK", K::kMethod, just({}), kBlack},
      {"isBlackZRK", K::kMethod, just(kInner), kBlack},
      {"isGrayZRK", K::kMethod, just({int64_t{0}}), kGrey},
      {"isGrayZRK", K::kMethod, just({int64_t{3}, int64_t{0}, int64_t{0}, int64_t{-1}, int64_t{-1}}), kGrey},
      {"BinaryStringtoPictureZRK", K::kGlobal, just({kBinaryString})},
      {"PicturetoBinaryStringZRK", K::kGlobal, pictures({&Scene::source})},
      {"CombinePicturesZRK", K::kGlobal, pictures({&Scene::source, &Scene::other, &Scene::third})},
      {"MergePictureZRK", K::kGlobal, pictures({&Scene::source, &Scene::other})},
      {"TintPictureZRK", K::kGlobal, pictures({&Scene::source}, {int64_t{0x808080}, int64_t{0xA08060}})},
      {"RenderSamplesZRK", K::kGlobal,
       [](Host& h, const Scene&) {
         return std::vector<Value>{memory_block(h, 48, wave), int64_t{48},       int64_t{2},        int64_t{12},
                                   int64_t{8},                int64_t{1},        int64_t{0x88B5C4}, int64_t{0x274C5A},
                                   int64_t{0x203F4E},         int64_t{8},        true};
       }},
      // SourcePicture, then SepiaRed and FactorBlue, or one Table node.
      {"PictureSepiaZRK", K::kClass, pictures({&Scene::source}, {int64_t{40}, 0.5})},
      {"PictureLut3DZRK", K::kClass, pictures({&Scene::source}, {200.0})},
  };
}

// A filter class run on the source: Run's result, and the destination as the one argument.
CallResult run_filter(Host& h, const Sample& sample, std::vector<Value> args) {
  CallResult out;
  Ref filter = h.NewInstance(sample.name);
  if (!filter) {
    out.error = "no instance";
    return out;
  }
  const auto set = [&](const CallResult& r) {
    if (!r.ok()) out.error = r.error;
  };
  set(h.SetProperty(filter.get(), "SourcePicture", args[0]));
  if (std::string_view(sample.name) == "PictureSepiaZRK") {
    set(h.SetProperty(filter.get(), "SepiaRed", args[1]));
    set(h.SetProperty(filter.get(), "FactorBlue", args[2]));
  } else {
    set(h.Assign(filter.get(), "Table", {int64_t{1}, int64_t{2}, int64_t{3}, int64_t{0}}, args[1]));
  }
  const CallResult run = h.CallMethod(filter.get(), "Run", {});
  if (!run.ok()) out.error = run.error;
  out.value = run.value;
  out.exception = run.exception;
  out.args.push_back(h.GetProperty(filter.get(), "DestinationPicture").value);
  h.CallMethod(filter.get(), "Close", {});
  return out;
}

CallResult make_call(Host& h, const Sample& sample, const Scene& scene) {
  std::vector<Value> args = sample.args(h, scene);
  switch (sample.kind) {
    case Kind::kMethod: return h.CallMethod(scene.source.get(), sample.name, std::move(args));
    case Kind::kSetter: {
      Value value = std::move(args.back());
      args.pop_back();
      return h.Assign(scene.source.get(), sample.name, std::move(args), std::move(value));
    }
    case Kind::kGlobal: return h.Call(sample.name, std::move(args));
    case Kind::kClass: return run_filter(h, sample, std::move(args));
  }
  return {};
}

// ---- what a call left, in words, so that two runs compare as text ----

std::string picture_text(Host& h, REALpicture p) {
  std::string text = "picture " + std::to_string(h.Width(p)) + "x" + std::to_string(h.Height(p));
  char hex[16];
  for (int32_t y = 0; y < h.Height(p); ++y) {
    for (int32_t x = 0; x < h.Width(p); ++x) {
      std::snprintf(hex, sizeof hex, " %06X", h.Color(p, x, y));
      text += hex;
    }
  }
  return text;
}

// Memory blocks come back only as CountColorsZRK's byref arguments.
std::string value_text(Host& h, const Value& v, bool block) {
  if (std::holds_alternative<std::monostate>(v)) return "nil";
  if (const auto* i = std::get_if<int64_t>(&v)) return "integer " + std::to_string(*i);
  if (const auto* d = std::get_if<double>(&v)) return "double " + std::to_string(*d);
  if (const auto* b = std::get_if<bool>(&v)) return *b ? "true" : "false";
  if (const auto* s = std::get_if<std::string>(&v)) return "string of " + std::to_string(s->size()) + " bytes " + *s;
  const Ref& ref = std::get<Ref>(v);
  if (!block) return picture_text(h, ref.picture());
  std::string text = "block";
  for (const uint8_t byte : h.Bytes(ref.block())) text += " " + std::to_string(byte);
  return text;
}

// Objects among the arguments afterwards are the caller's own, except
// CountColorsZRK's byref blocks and a filter's destination.
std::string outcome_text(Host& h, const Sample& sample, const CallResult& r) {
  std::string text = value_text(h, r.value, false);
  const bool blocks = std::string_view(sample.name) == "CountColorsZRK";
  for (size_t i = 0; i < r.args.size(); ++i) {
    if (std::holds_alternative<Ref>(r.args[i]) && !blocks && sample.kind != Kind::kClass) continue;
    text += "; " + value_text(h, r.args[i], blocks && i < 3);
  }
  if (r.exception) text += "; raised " + r.exception->className;
  return text;
}

// The neutral result: nil, 0, false (a NaN is never one); -1 as CountColorsZRK's count.
bool neutral(const Sample& sample, const CallResult& r) {
  if (std::string_view(sample.name) == "CountColorsZRK") {
    return r.args.size() == 4 && std::get_if<int64_t>(&r.args[3]) != nullptr && std::get<int64_t>(r.args[3]) == -1;
  }
  if (sample.kind == Kind::kClass) {
    return std::get_if<bool>(&r.value) != nullptr && !std::get<bool>(r.value) &&
           std::holds_alternative<std::monostate>(r.args.at(0));
  }
  return std::visit(
      [](const auto& v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>) return true;
        else if constexpr (std::is_same_v<T, int64_t> || std::is_same_v<T, double>) return v == 0;
        else if constexpr (std::is_same_v<T, bool>) return !v;
        else return false;
      },
      r.value);
}

// Raw words, padding included, so that a stray write anywhere shows.
std::string source_text(Host& h, const Scene& s) {
  std::string text = picture_text(h, s.source.picture());
  if (!h.PaddingIntact(s.source.picture())) text += " padding overwritten";
  if (const REALpicture mask = h.Mask(s.source.picture())) text += " mask " + picture_text(h, mask);
  return text;
}

Ref picture_for(Host& h, const Lending& l, int32_t width, int32_t height, uint32_t seed, std::optional<Pixel> fill) {
  if (!fill) return random_picture(h, l, width, height, seed);
  testhost::PictureSpec shape = shape_for(l, width, height);
  shape.fill = *fill;
  if (l.kind != HostKind::kDesktop) shape.fill->a = 0;
  return h.NewPicture(shape);
}

Scene scene_for(Host& h, const Lending& l, const Sample& sample) {
  Scene s;
  s.source = picture_for(h, l, 5, 3, 1, sample.fill);
  s.other = picture_for(h, l, 5, 3, 2, std::nullopt);
  s.third = picture_for(h, l, 5, 3, 3, std::nullopt);
  // Two of the source's pixels, to be found at (1, 1).
  s.pattern = h.NewPicture(shape_for(l, 2, 1));
  for (int32_t x = 0; x < 2; ++x) h.SetPixel(s.pattern.picture(), x, 0, h.GetPixel(s.source.picture(), x + 1, 1));
  return s;
}

// One run of a sample on a fresh scene: the outcome and the source afterwards, in words.
struct Observed {
  std::string outcome, source, sourceBefore;
  bool neutral = false, error = false;
};

Observed observe(Host& h, const Lending& l, const Sample& sample) {
  Observed o;
  const Scene scene = scene_for(h, l, sample);
  o.sourceBefore = source_text(h, scene);
  const CallResult r = make_call(h, sample, scene);
  o.error = !r.ok();
  o.outcome = r.ok() ? outcome_text(h, sample, r) : r.error;
  o.neutral = neutral(sample, r);
  o.source = source_text(h, scene);
  return o;
}

// The name, the number of arguments a caller gives, and whether it assigns: how
// a registration is matched with a sample.
std::string key_of(const testhost::Callable& c) {
  const std::string& d = c.declaration;
  const size_t open = d.find('(');
  std::string name = d.substr(0, std::min(open, d.find(' ')));
  int count = 0;
  if (open != std::string::npos) {
    const std::string inside = d.substr(open + 1, d.rfind(')') - open - 1);
    size_t from = 0;
    while (from < inside.size()) {
      const size_t comma = std::min(inside.find(',', from), inside.size());
      const std::string param = inside.substr(inside.find_first_not_of(' ', from), comma - from);
      if (!param.starts_with("extends") && !param.starts_with("assigns")) ++count;
      from = comma + 1;
    }
  }
  return name + "/" + std::to_string(count) + (c.isSetter ? "/assigns" : "");
}

std::string key_of(const Sample& s, Host& h, const Scene& scene) {
  const size_t count = s.args(h, scene).size() - (s.kind == Kind::kSetter ? 1 : 0);
  return std::string(s.name) + "/" + std::to_string(count) + (s.kind == Kind::kSetter ? "/assigns" : "");
}

// Host lendings: desktop layouts 5 and 6, opaque and with alpha, draw-only, console.
const Lending kFaultLendings[] = {lending("Rgbx5"),      lending("Xrgb6"),   lending("AlphaRgba1"),
                                  lending("AlphaArgb2"), lending("DrawOnly"), lending("Console"),
                                  lending("ConsoleAlpha")};

class HostFaultTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

// Every registration is represented: a new one needs a sample here.
TEST_F(HostFaultTest, EveryRegistrationHasASample) {
  Host& h = StartHost();
  const std::vector<Sample> all = all_samples();
  std::set<std::string> sampled;
  {
    const Scene scene = scene_for(h, kFaultLendings[0], all[0]);
    for (const Sample& s : all) sampled.insert(s.kind == Kind::kClass ? s.name : key_of(s, h, scene));
  }
  for (const testhost::Callable& c : h.Callables()) {
    const bool member = c.owner == "PictureSepiaZRK" || c.owner == "PictureLut3DZRK";
    EXPECT_TRUE(sampled.count(member ? c.owner : key_of(c))) << c.owner << ": " << c.declaration;
  }
}

// The right results of a call: as lent, and as the plug-in must see the source
// when a host call fails: without alpha channel when "HasAlphaChannel" cannot be
// read, through an opaque copy when a desktop picture cannot be locked.
struct Right {
  Observed lent, opaque, copied;
  std::vector<std::string> stepSources;

  Right(Host& h, const Lending& l, const Sample& sample) : lent(observe(h, l, sample)) {
    Lending opaqueLending = l;
    opaqueLending.hasAlphaChannel = false;
    opaque = observe(h, opaqueLending, sample);
    Lending drawOnly = l;
    drawOnly.drawOnly = l.kind == HostKind::kDesktop && !l.hasAlphaChannel;
    copied = observe(h, drawOnly, sample);
    for (const auto& [name, args] : sample.steps) {
      stepSources.push_back(observe(h, l, {name, Kind::kMethod, just(args), sample.fill, true}).source);
    }
  }

  bool accepts(const Observed& got, const std::string& failed) const {
    const bool readAlpha = failed.starts_with("REALGetPropValueBool");
    const bool locked = failed.starts_with("REALLockPictureDescription");
    return got.neutral || got.outcome == lent.outcome || (readAlpha && got.outcome == opaque.outcome) ||
           (locked && got.outcome == copied.outcome);
  }
  bool acceptsSource(const Sample& sample, const Observed& got) const {
    if (got.source == got.sourceBefore || !sample.inPlace) return got.source == got.sourceBefore;
    return got.source == lent.source || got.source == opaque.source ||
           std::find(stepSources.begin(), stepSources.end(), got.source) != stepSources.end();
  }
};

// Each sample with the 1st, 2nd, ... fault armed by `arm` (0 disarms), until a run meets none; `met` names
// the fault the run met, nullopt for none.
void fail_each_in_turn(Host& h, const Lending& l, const std::function<void(int)>& arm,
                       const std::function<std::optional<std::string>()>& met) {
  int faults = 0;
  for (const Sample& sample : all_samples()) {
    SCOPED_TRACE(sample.name);
    const Right right(h, l, sample);
    ASSERT_FALSE(right.lent.error) << right.lent.outcome;
    ASSERT_TRUE(h.LedgerProblems().empty()) << h.LedgerProblems().front();
    for (int n = 1; n <= kMaxFaults; ++n) {
      arm(n);
      Observed got;
      try {
        got = observe(h, l, sample);
      } catch (...) {
        arm(0);
        FAIL() << "an exception crossed the plug-in boundary at fault " << n;
      }
      const std::optional<std::string> failed = met();
      arm(0);
      if (!failed) {
        EXPECT_EQ(got.outcome, right.lent.outcome) << "with no fault left";
        break;
      }
      ++faults;
      SCOPED_TRACE("fault " + std::to_string(n) + ": " + *failed);
      ASSERT_FALSE(got.error) << got.outcome;
      EXPECT_TRUE(right.accepts(got, *failed)) << got.outcome << "\nright: " << right.lent.outcome;
      EXPECT_TRUE(right.acceptsSource(sample, got)) << "source now " << got.source << "\nwas " << got.sourceBefore;
      const auto problems = h.LedgerProblems();
      ASSERT_TRUE(problems.empty()) << problems.front();
      ASSERT_LT(n, kMaxFaults) << "the call never ran out of faults";
    }
  }
  EXPECT_GT(faults, 0) << "no call met a fault";
}

// The fallible host calls in turn.
void fail_every_host_call(Host& h, const Lending& l) {
  fail_each_in_turn(h, l, [&](int n) { h.FailNthCall(n); }, [&]() -> std::optional<std::string> {
    if (h.FailedCall().empty()) return std::nullopt;
    return h.FailedCall();
  });
}

TEST_P(HostFaultTest, EveryFallibleHostCallFailsCleanly) {
  fail_every_host_call(StartHost(config_for(GetParam())), GetParam());
}

// A host before 2012.0 reaches strings through REALLockString, StringGetCString and LenB.
TEST_F(HostFaultTest, EveryFallibleCallOfAnOldHostFailsCleanly) {
  testhost::HostConfig config = config_for(kFaultLendings[0]);
  config.version = 2011.5;
  fail_every_host_call(StartHost(config), kFaultLendings[0]);
}

INSTANTIATE_TEST_SUITE_P(Lendings, HostFaultTest, ::testing::ValuesIn(kFaultLendings), ByName());

// The plug-in's own allocations, in the test build with the allocation hook.
class AllocationFaultTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(AllocationFaultTest, EveryAllocationFailsCleanly) {
  const Lending& l = GetParam();
  Host& h = StartHostWith(ALLOCATION_FAULT_PLUGIN_PATH, config_for(l));
  const auto fail_at = reinterpret_cast<void (*)(long)>(h.PluginSymbol("PluginAllocationFailAt"));
  const auto failed = reinterpret_cast<bool (*)()>(h.PluginSymbol("PluginAllocationFailed"));
  ASSERT_TRUE(fail_at != nullptr && failed != nullptr);
  fail_each_in_turn(h, l, fail_at, [&]() -> std::optional<std::string> {
    if (!failed()) return std::nullopt;
    return "an allocation";
  });
}

INSTANTIATE_TEST_SUITE_P(Lendings, AllocationFaultTest, ::testing::ValuesIn(kFaultLendings), ByName());

}  // namespace
