// The sepia filter class through the host: worked cases, every lending and range against a
// plain reference, failures, and the one reference a second Run loses on purpose.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "tests/plugin/filter_class_test.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using namespace filtertest;
using testhost::Ref;
using Settings = std::vector<std::pair<const char*, testhost::Value>>;

Ref new_sepia(testhost::Host& h, const Settings& settings) {
  Ref sepia = h.NewInstance("PictureSepiaZRK");
  for (const auto& [name, value] : settings) EXPECT_TRUE(h.SetProperty(sepia.get(), name, value).ok()) << name;
  return sepia;
}

// Red, green and blue weighed 0.5, 0.3 and 0.25 ("FactorBlue" weighs green),
// each truncated to 1024ths, then the offsets 40, 20 and -20, clamped.
void check_reference(testhost::Host& h, Lending l) {
  const Ref source = random_picture(h, l, 100, 4, 4);
  const Ref sepia = new_sepia(h, {{"FactorRed", 0.5}, {"FactorBlue", 0.3}, {"FactorGreen", 0.25},
                                  {"SepiaRed", int64_t{40}}, {"SepiaGreen", int64_t{20}}, {"SepiaBlue", int64_t{-20}}});
  l.hasAlphaChannel = false;  // the result never has one
  check_every_range(h, l, source, sepia, [](Pixel p) {
    const int grey = (p.r * 512 + p.g * 307 + p.b * 256) / 1024;
    const auto add = [grey](int offset) { return static_cast<uint8_t>(std::clamp(grey + offset, 0, 255)); };
    return Pixel{add(40), add(20), add(-20)};
  });
}

class SepiaTest : public PluginTest, public ::testing::WithParamInterface<Lending> {};

TEST_F(SepiaTest, WorkedExamples) {
  const struct { const char* what; Settings settings; std::vector<Pixel> in, want; } cases[] = {
      {"weights 306 + 601 + 116 = 1023, brown tint, clamped",
       {{"SepiaRed", int64_t{40}}, {"SepiaGreen", int64_t{20}}, {"SepiaBlue", int64_t{-20}}},
       {{100, 100, 100}, {255, 255, 255}, {0, 0, 0}}, {{139, 119, 79}, {255, 255, 234}, {40, 20, 0}}},
      {"the sum wraps", {{"FactorRed", 2147483647 / 1024.0}, {"SepiaRed", int64_t{100}}}, {{2, 0, 0}}, {{100, 0, 0}}},
      {"weight past 32 bits", {{"FactorRed", 1e10}, {"SepiaRed", int64_t{2097162}}}, {{1, 0, 0}}, {{10, 0, 0}}},
      {"grey + offset wraps", {{"SepiaRed", int64_t{INT32_MAX}}}, {{255, 255, 255}}, {{0, 254, 254}}},
  };
  testhost::Host& h = StartHost();
  for (const auto& c : cases) EXPECT_EQ(run_on_row(h, new_sepia(h, c.settings), c.in), c.want) << c.what;
}

TEST_P(SepiaTest, MatchesTheReferenceInEveryRange) { check_reference(StartHost(config_for(GetParam())), GetParam()); }

INSTANTIATE_TEST_SUITE_P(AllLendings, SepiaTest, ::testing::ValuesIn(kLendings), ByName());

// The real records' rounded sizes, the default weights, and every property
// reaching the field Run reads, in the version-9 layout.
TEST_F(SepiaTest, RecordOnAVersion9Host) {
  testhost::Host& h = StartHost({.version = 2009.0});
  EXPECT_EQ(h.registrations().classes.at(0).dataSize, 80u);
  EXPECT_EQ(h.registrations().classes.at(1).dataSize, 140000u);
  EXPECT_EQ(std::get<double>(h.GetProperty(new_sepia(h, {}).get(), "FactorBlue").value), 0.587);
  check_reference(h, Lending{"Desktop"});
}

// Failures leave the destination as it was; a second successful Run loses the
// reference on the first destination, and nothing else leaks.
TEST_F(SepiaTest, FailuresKeepTheDestinationAndASecondRunLeaksTheFirst) {
  testhost::Host& h = StartHost({.guardPages = false});  // a picture 32768 rows high
  {
    Ref sepia = h.NewInstance("PictureSepiaZRK");
    EXPECT_FALSE(run(h, sepia)) << "nil source";
    // A new destination exactly when Run succeeds.
    REALobject kept = nullptr;
    for (const auto& [shape, succeeds] : {std::pair{sized(2, 2), true}, {sized(32768, 1), false},
                                          {sized(1, 32768), false}, {sized(2, 2), true}}) {
      ASSERT_TRUE(h.SetProperty(sepia.get(), "SourcePicture", h.NewPicture(shape)).ok());
      EXPECT_EQ(run(h, sepia), succeeds) << shape.width << " x " << shape.height;
      EXPECT_EQ(destination(h, sepia).get() != kept, succeeds) << shape.width << " x " << shape.height;
      kept = destination(h, sepia).get();
    }
  }  // Close releases the source and the second destination
  EXPECT_THAT(h.LedgerProblems(), testing::ElementsAre(testing::AllOf(
                                      testing::StartsWith("leak: picture"), testing::HasSubstr("during Run"),
                                      testing::EndsWith("1 reference"))));
  DiscardHost();
}

}  // namespace
