// Opening host pictures: the layouts and shapes that must be refused (the
// operation then yields nil), the opaque copy of pictures that can only be drawn,
// the old-host unlock after a failed lock, and how the host kind is settled.
// Every case ends with the host's ledger balanced.
#include <gtest/gtest.h>

#include <string>

#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using namespace pixeltest;
using testhost::CallResult;
using testhost::HostConfig;
using testhost::PictureSpec;
using testhost::Ref;

class EditorTest : public PluginTest {
 protected:
  bool InvertGivesPicture(const Ref& source) {
    CallResult r = host().CallMethod(source.get(), "InvertZRK", {});
    EXPECT_TRUE(r.ok()) << r.error;
    EXPECT_FALSE(r.exception.has_value()) << "no exception crosses the plug-in boundary";
    return std::holds_alternative<Ref>(r.value);
  }
};

TEST_F(EditorTest, RefusedPicturesGiveNil) {
  struct Case {
    const char* what;
    PictureSpec shape;
    HostConfig config;
  };
  auto shape = [](uint32_t alphaInfo, bool alpha, uint32_t bits = 32, bool drawOnly = false) {
    PictureSpec s = sized(4, 3);
    s.alphaInfo = alphaInfo;
    s.hasAlphaChannel = alpha;
    s.bitsPerPixel = bits;
    s.drawOnly = drawOnly;
    return s;
  };
  HostConfig old;
  old.version = 2011.0;
  HostConfig noNewPicture;
  noNewPicture.missing = {"newPicture"};
  HostConfig noInstances;
  noInstances.missing = {"PluginNewInstance"};
  HostConfig noConstructor;
  noConstructor.missing = {"REALLoadObjectMethod"};
  const Case cases[] = {
      {"alpha channel, alpha last not premultiplied", shape(3, true), {}},
      {"alpha channel, alpha first not premultiplied", shape(4, true), {}},
      {"alpha channel, no alpha layout", shape(5, true), {}},
      {"alpha channel, skip-first layout", shape(6, true), {}},
      {"layout 0", shape(0, false), {}},
      {"layout 7", shape(7, false), {}},
      {"24 bits per pixel", shape(5, false, 24), {}},
      {"64 bits per pixel", shape(1, false, 64), {}},
      {"draw-only with alpha channel", shape(5, true, 32, true), {}},
      {"alpha channel on a host before 2011.04", shape(1, true), old},
      {"host without newPicture", shape(5, false), noNewPicture},
      {"alpha channel, host without instances", shape(2, true), noInstances},
      {"alpha channel, host without the constructor", shape(1, true), noConstructor},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    testhost::Host& h = StartHost(c.config);
    Ref source = h.NewPicture(c.shape);
    EXPECT_FALSE(InvertGivesPicture(source));
    source = {};
    StopHost();
  }
}

TEST_F(EditorTest, NilPictureGivesNil) {
  StartHost();
  CallResult r = host().CallMethod(nullptr, "InvertZRK", {});
  EXPECT_TRUE(r.ok()) << r.error;
  EXPECT_TRUE(std::holds_alternative<std::monostate>(r.value));
  EXPECT_FALSE(r.exception.has_value());
}

// Opaque results are limited to 32767 pixels a side; results with alpha channel
// only by the host.
TEST_F(EditorTest, ResultSizeLimits) {
  testhost::Host& h = StartHost();
  PictureSpec wide = sized(32768, 1);
  Ref opaque = h.NewPicture(wide);
  EXPECT_FALSE(InvertGivesPicture(opaque));
  wide.width = 32767;
  Ref widest = h.NewPicture(wide);
  EXPECT_TRUE(InvertGivesPicture(widest));
  wide.width = 32768;
  wide.alphaInfo = 1;
  wide.hasAlphaChannel = true;
  Ref alpha = h.NewPicture(wide);
  EXPECT_TRUE(InvertGivesPicture(alpha));
}

// A picture without pixels in memory is read through an opaque copy that the
// host draws; hosts before 2012.0 are sent an unlock after every failed lock.
TEST_F(EditorTest, DrawOnlyPictureIsReadThroughACopy) {
  for (double version : {2019.0, 2011.5}) {
    HostConfig config;
    config.version = version;
    testhost::Host& h = StartHost(config);
    const Lending l{"DrawOnly", HostKind::kDesktop, 5, false, 0, true};
    Ref source = random_picture(h, l, 6, 4, 3);
    CallResult r = h.CallMethod(source.get(), "InvertZRK", {});
    ASSERT_TRUE(std::holds_alternative<Ref>(r.value)) << version;
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 6; ++x) {
        const Pixel s = h.GetPixel(source.picture(), x, y);
        const Pixel got = h.GetPixel(std::get<Ref>(r.value).picture(), x, y);
        ASSERT_EQ(got, (Pixel{static_cast<uint8_t>(255 - s.r), static_cast<uint8_t>(255 - s.g),
                              static_cast<uint8_t>(255 - s.b), 255}));
      }
    }
    EXPECT_EQ(h.CallCount("newPicture"), 2) << "the copy and the result";
    if (version < 2012.0) {
      EXPECT_GE(h.UnmatchedUnlocks(), 1);
    } else {
      EXPECT_EQ(h.UnmatchedUnlocks(), 0);
    }
    r = {};
    source = {};
    StopHost();
  }
}

// Where the host cannot draw, a row-table copy of a row-table picture is made by
// copying rows. Reached on a console host that cannot tell its kind.
TEST_F(EditorTest, CopyFallsBackToRowCopyWhenTheHostCannotDraw) {
  HostConfig config;
  config.kind = HostKind::kConsole;
  config.missing = {"pluginObjectType", "REALLoadObjectMethod"};
  testhost::Host& h = StartHost(config);
  const Lending l{"Console", HostKind::kConsole};
  Ref source = random_picture(h, l, 5, 3, 11);
  CallResult r = h.CallMethod(source.get(), "InvertZRK", {});
  ASSERT_TRUE(std::holds_alternative<Ref>(r.value));
  EXPECT_EQ(h.CallCount("newPicture"), 2) << "the copy and the result";
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 5; ++x) {
      const Pixel s = h.GetPixel(source.picture(), x, y);
      EXPECT_EQ(h.GetPixel(std::get<Ref>(r.value).picture(), x, y),
                (Pixel{static_cast<uint8_t>(255 - s.r), static_cast<uint8_t>(255 - s.g),
                       static_cast<uint8_t>(255 - s.b), 0}));
    }
  }
}

// Without the class lookup the kind is learnt from which lock succeeds.
TEST_F(EditorTest, HostKindWithoutClassLookup) {
  for (HostKind kind : {HostKind::kDesktop, HostKind::kConsole, HostKind::kWeb}) {
    HostConfig config;
    config.kind = kind;
    config.missing = {"pluginObjectType"};
    testhost::Host& h = StartHost(config);
    Ref source = h.NewPicture(sized(3, 2));
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
