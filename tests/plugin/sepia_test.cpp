// The sepia filter class through the host: worked cases, every lending and range
// against a plain reference, failures, the record in each layout, and the one
// reference a second Run loses on purpose.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <optional>
#include <vector>

#include "tests/plugin/filter_class_test.h"
#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using namespace filtertest;
using testhost::Ref;
using Setting = std::pair<const char*, testhost::Value>;

// Weights and offsets by the channel they apply to: red, green, blue.
struct Settings {
  double weight[3];
  int32_t offset[3];
};

// "FactorBlue" weighs green and "FactorGreen" blue.
std::vector<Setting> settings_of(const Settings& s) {
  return {{"FactorRed", s.weight[0]},           {"FactorBlue", s.weight[1]},
          {"FactorGreen", s.weight[2]},         {"SepiaRed", int64_t{s.offset[0]}},
          {"SepiaGreen", int64_t{s.offset[1]}}, {"SepiaBlue", int64_t{s.offset[2]}}};
}

// w = truncate(weight × 1024) (the most negative integer when it does not fit);
// channel = clamp((R·wR + G·wG + B·wB) / 1024 + offset), wrapping at 32 bits throughout
Pixel sepia_of(Pixel p, const Settings& s) {
  int64_t sum = 0;
  for (int c = 0; c < 3; ++c) {
    const double w = s.weight[c] * 1024;
    sum += (c == 0 ? p.r : c == 1 ? p.g : p.b) * (w > -2147483649.0 && w < 2147483648.0 ? int64_t(w) : INT32_MIN);
  }
  const int32_t grey = static_cast<int32_t>(sum) / 1024;
  const auto channel = [grey](int32_t o) { return uint8_t(std::clamp(int32_t(int64_t{grey} + o), 0, 255)); };
  return {channel(s.offset[0]), channel(s.offset[1]), channel(s.offset[2]), 0};
}

Ref new_sepia(testhost::Host& h, const Ref& source, const std::vector<Setting>& settings) {
  Ref sepia = h.NewInstance("PictureSepiaZRK");
  EXPECT_TRUE(h.SetProperty(sepia.get(), "SourcePicture", source).ok());
  for (const auto& [name, value] : settings) EXPECT_TRUE(h.SetProperty(sepia.get(), name, value).ok()) << name;
  return sepia;
}

class SepiaCases : public PluginTest {};

TEST_F(SepiaCases, WorkedExamples) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<Setting> lift = settings_of({{0.299, 0.587, 0.114}, {2097162, 2097162, 2097162}});
  const std::vector<Setting> brown = settings_of({{0.299, 0.587, 0.114}, {40, 20, -20}});
  const struct {
    const char* what;
    std::vector<Setting> settings;
    Pixel in, want;
  } cases[] = {
      {"weights 306 + 601 + 116 = 1023", {}, {255, 255, 255}, {254, 254, 254}},
      {"brown tint", brown, {100, 100, 100}, {139, 119, 79}},
      {"tint clamped", brown, {255, 255, 255}, {255, 255, 234}},
      {"tint clamped at 0", brown, {0, 0, 0}, {40, 20, 0}},
      {"FactorBlue weighs green", {{"FactorBlue", 0.0}}, {0, 255, 0}, {0, 0, 0}},
      {"FactorBlue leaves blue", {{"FactorBlue", 0.0}}, {0, 0, 255}, {28, 28, 28}},
      {"FactorGreen weighs blue", {{"FactorGreen", 0.0}}, {0, 255, 0}, {149, 149, 149}},
      {"the sum wraps", {{"FactorRed", 2147483647 / 1024.0}, {"SepiaRed", int64_t{100}}}, {2, 0, 0}, {100, 0, 0}},
      {"weight past 32 bits", {lift[3], lift[4], lift[5], {"FactorRed", 1e10}}, {1, 0, 0}, {10, 10, 10}},
      {"NaN weight", {lift[3], lift[4], lift[5], {"FactorRed", nan}}, {1, 0, 0}, {10, 10, 10}},
      {"grey + offset wraps", {{"SepiaRed", int64_t{INT32_MAX}}}, {255, 255, 255}, {0, 254, 254}},
  };
  testhost::Host& h = StartHost();
  for (const auto& c : cases) {
    Ref source = h.NewPicture(sized(1, 1));
    h.SetPixel(source.picture(), 0, 0, Pixel{c.in.r, c.in.g, c.in.b, 255});
    Ref sepia = new_sepia(h, source, c.settings);
    ASSERT_TRUE(run(h, sepia)) << c.what;
    EXPECT_EQ(h.GetPixel(destination(h, sepia).picture(), 0, 0), (Pixel{c.want.r, c.want.g, c.want.b, 255})) << c.what;
  }
}

class SepiaLendings : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_P(SepiaLendings, MatchesTheReferenceInEveryRange) {
  Lending opaque = GetParam();  // the result never has an alpha channel
  opaque.hasAlphaChannel = false;
  testhost::Host& h = StartHost(config_for(GetParam()));
  const Settings s{{0.5, 0.3, 0.25}, {40, 20, -20}};
  const Ref source = random_picture(h, GetParam(), 100, 4, 4);
  check_every_range(h, opaque, source, new_sepia(h, source, settings_of(s)), [&s](Pixel p) { return sepia_of(p, s); });
}

INSTANTIATE_TEST_SUITE_P(AllLendings, SepiaLendings, ::testing::ValuesIn(kLendings),
                         [](const auto& info) { return std::string(info.param.name); });

// Failures leave the destination as it was; a second successful Run loses the
// reference on the first destination, and nothing else leaks.
TEST_F(SepiaCases, FailuresKeepTheDestinationAndASecondRunLeaksTheFirst) {
  testhost::HostConfig config;
  config.guardPages = false;  // a picture 32768 rows high
  testhost::Host& h = StartHost(config);
  {
    Ref sepia = h.NewInstance("PictureSepiaZRK");
    EXPECT_FALSE(run(h, sepia)) << "nil source";
    const Ref small = h.NewPicture(sized(2, 2));
    ASSERT_TRUE(h.SetProperty(sepia.get(), "SourcePicture", small).ok());
    ASSERT_TRUE(run(h, sepia));
    const REALobject first = destination(h, sepia).get();
    for (const auto& shape : {sized(32768, 1), sized(1, 32768)}) {
      ASSERT_TRUE(h.SetProperty(sepia.get(), "SourcePicture", h.NewPicture(shape)).ok());
      EXPECT_FALSE(run(h, sepia)) << shape.width << " x " << shape.height;
      EXPECT_EQ(destination(h, sepia).get(), first);
    }
    ASSERT_TRUE(h.SetProperty(sepia.get(), "SourcePicture", small).ok());
    ASSERT_TRUE(run(h, sepia));
    EXPECT_NE(destination(h, sepia).get(), first);
  }  // Close releases the source and the second destination
  EXPECT_THAT(h.LedgerProblems(), testing::ElementsAre(testing::AllOf(
                                      testing::StartsWith("leak: picture"), testing::HasSubstr("during Run"),
                                      testing::EndsWith("1 reference"))));
  DiscardHost();
}

// Every property reaches the field Run reads, in the version-9, 2013 and current layouts.
TEST_F(SepiaCases, PropertiesWorkInEveryRecordLayout) {
  for (double version : {2009.0, 2013.0, 2019.011}) {
    SCOPED_TRACE(version);
    testhost::HostConfig config;
    config.version = version;
    testhost::Host& h = StartHost(config);
    ASSERT_EQ(h.registrations().classes.size(), 2u);
    expect_registered(h.registrations().classes[0], expected::kClasses[0], {24, 32, 48, 40, 52, 44, 56, 60, 64}, 80,
                      version);
    {
      Ref sepia = h.NewInstance("PictureSepiaZRK");
      EXPECT_EQ(std::get<double>(h.GetProperty(sepia.get(), "FactorBlue").value), 0.587);
      std::vector<Setting> settings = settings_of({{0.25, 0.5, 0.125}, {-7, 8, 9}});
      settings.insert(settings.end(),
                      {{"MinX", int64_t{-1}}, {"MaxX", int64_t{0}}, {"MinY", int64_t{0}}, {"MaxY", int64_t{1}}});
      Ref source = h.NewPicture(sized(2, 2));
      sepia = new_sepia(h, source, settings);
      EXPECT_EQ(std::get<Ref>(h.GetProperty(sepia.get(), "SourcePicture").value).get(), source.get());
      ASSERT_TRUE(run(h, sepia));
      const Ref result = destination(h, sepia);
      EXPECT_EQ(h.GetPixel(result.picture(), 0, 0), (Pixel{216, 231, 232, 255})) << "white weighed 896 / 1024";
      EXPECT_EQ(h.GetPixel(result.picture(), 1, 0), (Pixel{255, 255, 255, 255})) << "one column";
      EXPECT_EQ(h.GetPixel(result.picture(), 0, 1), (Pixel{255, 255, 255, 255})) << "one row";
      Ref other = h.NewInstance("PictureLut3DZRK");
      const auto get = reinterpret_cast<double (*)(REALobject)>(h.registrations().classes[0].properties[9].getter);
      EXPECT_EQ(get(other.get()), 0.0) << "an object of another class";
    }
    StopHost();
  }
}

}  // namespace
