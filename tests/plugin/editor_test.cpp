// Opening host pictures: the layouts and shapes that must be refused (the
// operation then yields nil), the opaque copy of pictures that can only be drawn,
// the old-host unlock after a failed lock, and how the host kind is settled.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::CallResult;
using testhost::HostConfig;
using testhost::PictureSpec;
using testhost::Ref;

std::optional<Pixel> inverted(int32_t, int32_t, Pixel p) {
  return Pixel{static_cast<uint8_t>(255 - p.r), static_cast<uint8_t>(255 - p.g), static_cast<uint8_t>(255 - p.b)};
}

class EditorTest : public PluginTest {
 protected:
  bool InvertGivesPicture(const Ref& source) {
    CallResult r = host().CallMethod(source.get(), "InvertZRK", {});
    EXPECT_TRUE(r.ok()) << r.error;
    EXPECT_FALSE(r.exception.has_value()) << "no exception crosses the plug-in boundary";
    return std::holds_alternative<Ref>(r.value);
  }

  // InvertZRK on a random picture lent as `l`, checked pixel by pixel.
  ::testing::AssertionResult InvertsThroughACopy(const Lending& l) {
    Ref source = random_picture(host(), l, 6, 4, 3);
    const std::vector<Pixel> before = pixels_of(host(), source.picture());
    return result_matches(host(), l, source.picture(), before, host().CallMethod(source.get(), "InvertZRK", {}),
                          inverted);
  }
};

TEST_F(EditorTest, RefusedPicturesGiveNil) {
  const auto shape = [](uint32_t alphaInfo, bool alpha, uint32_t bits = 32, bool drawOnly = false) {
    PictureSpec s = sized(4, 3);
    std::tie(s.alphaInfo, s.hasAlphaChannel, s.bitsPerPixel, s.drawOnly) = std::tie(alphaInfo, alpha, bits, drawOnly);
    return s;
  };
  const struct {
    const char* what;
    PictureSpec shape;
    HostConfig config;
  } cases[] = {
      {"alpha channel, alpha last not premultiplied", shape(3, true), {}},
      {"alpha channel, alpha first not premultiplied", shape(4, true), {}},
      {"alpha channel, no alpha layout", shape(5, true), {}},
      {"alpha channel, skip-first layout", shape(6, true), {}},
      {"layout 0", shape(0, false), {}},
      {"layout 7", shape(7, false), {}},
      {"24 bits per pixel", shape(5, false, 24), {}},
      {"64 bits per pixel", shape(1, false, 64), {}},
      {"draw-only with alpha channel", shape(5, true, 32, true), {}},
      {"alpha channel on a host before 2011.04", shape(1, true), {.version = 2011.0}},
      {"host without newPicture", shape(5, false), {.missing = {"newPicture"}}},
      {"alpha channel, host without instances", shape(2, true), {.missing = {"PluginNewInstance"}}},
      {"alpha channel, host without the constructor", shape(1, true), {.missing = {"REALLoadObjectMethod"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Ref source = StartHost(c.config).NewPicture(c.shape);
    EXPECT_FALSE(InvertGivesPicture(source));
    source = {};
    StopHost();
  }
}

// A nil picture gives nil; opaque results are limited to 32767 pixels a side,
// results with alpha channel only by the host.
TEST_F(EditorTest, NilAndResultSizeLimits) {
  testhost::Host& h = StartHost();
  EXPECT_FALSE(InvertGivesPicture(Ref()));
  for (auto [width, alpha, accepted] : {std::tuple{32768, false, false}, {32767, false, true}, {32768, true, true}}) {
    PictureSpec wide = sized(width, 1);
    wide.alphaInfo = alpha ? 1 : 5;
    wide.hasAlphaChannel = alpha;
    EXPECT_EQ(InvertGivesPicture(h.NewPicture(wide)), accepted) << width << (alpha ? " with alpha" : "");
  }
}

// A picture without pixels in memory is read through an opaque copy that the
// host draws; hosts before 2012.0 are sent an unlock after every failed lock.
TEST_F(EditorTest, DrawOnlyPictureIsReadThroughACopy) {
  for (double version : {2019.0, 2011.5}) {
    const Lending l{"DrawOnly", HostKind::kDesktop, 5, false, 0, true};
    HostConfig config = config_for(l);
    config.version = version;
    testhost::Host& h = StartHost(config);
    EXPECT_TRUE(InvertsThroughACopy(l)) << version;
    EXPECT_EQ(h.CallCount("newPicture"), 2) << "the copy and the result";
    EXPECT_EQ(h.UnmatchedUnlocks() > 0, version < 2012.0) << version;
    StopHost();
  }
}

// Where the host cannot draw, a row-table copy of a row-table picture is made by
// copying rows. Reached on a console host that cannot tell its kind.
TEST_F(EditorTest, CopyFallsBackToRowCopyWhenTheHostCannotDraw) {
  testhost::Host& h =
      StartHost({.kind = HostKind::kConsole, .missing = {"pluginObjectType", "REALLoadObjectMethod"}});
  EXPECT_TRUE(InvertsThroughACopy(Lending{"Console", HostKind::kConsole}));
  EXPECT_EQ(h.CallCount("newPicture"), 2) << "the copy and the result";
}

// Without the class lookup the kind is learnt from which lock succeeds.
TEST_F(EditorTest, HostKindWithoutClassLookup) {
  for (HostKind kind : {HostKind::kDesktop, HostKind::kConsole, HostKind::kWeb}) {
    Ref source = StartHost({.kind = kind, .missing = {"pluginObjectType"}}).NewPicture(sized(3, 2));
    EXPECT_TRUE(InvertGivesPicture(source));
    EXPECT_TRUE(InvertGivesPicture(source)) << "second call, kind settled";
    source = {};
    StopHost();
  }
}

// Every result is handed back with its cached rendering cleared, and every lock
// the plug-in took is undone.
TEST_F(EditorTest, ResultsAreClearedAndLocksReturned) {
  testhost::Host& h = StartHost();
  Ref source = h.NewPicture(sized(3, 3));
  CallResult r = h.CallMethod(source.get(), "InvertZRK", {});
  ASSERT_TRUE(std::holds_alternative<Ref>(r.value));
  EXPECT_GE(h.ClearCacheCount(std::get<Ref>(r.value).picture()), 1);
  EXPECT_EQ(h.ClearCacheCount(source.picture()), 0) << "the source was only read";
  EXPECT_EQ(h.CallCount("REALLockPictureDescription"), h.CallCount("unlockPictureDescription"));
}

}  // namespace
