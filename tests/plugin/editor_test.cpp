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
using testhost::HostConfig;
using testhost::PictureSpec;

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
};

// Refused pictures give nil, on every call. Opaque results are limited to 32767 pixels a side, results with
// alpha channel only by the host. Without the class lookup the kind is learnt from which lock succeeds.
TEST_F(EditorTest, RefusedPicturesGiveNil) {
  const auto shape = [](uint32_t alphaInfo, bool alpha, uint32_t bits = 32, bool drawOnly = false, int32_t width = 4) {
    PictureSpec s = sized(width, 3);
    std::tie(s.alphaInfo, s.hasAlphaChannel, s.bitsPerPixel, s.drawOnly) = std::tie(alphaInfo, alpha, bits, drawOnly);
    return s;
  };
  const struct { const char* what; PictureSpec shape; HostConfig config; bool gives = false; } cases[] = {
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
      {"32768 wide", shape(5, false, 32, false, 32768), {}},
      {"32767 wide", shape(5, false, 32, false, 32767), {}, true},
      {"32768 wide with alpha channel", shape(1, true, 32, false, 32768), {}, true},
      {"desktop without class lookup", shape(5, false), {.kind = HostKind::kDesktop, .missing = {"pluginObjectType"}},
       true},
      {"console without class lookup", shape(5, false), {.kind = HostKind::kConsole, .missing = {"pluginObjectType"}},
       true},
      {"web without class lookup", shape(5, false), {.kind = HostKind::kWeb, .missing = {"pluginObjectType"}}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Ref source = StartHost(c.config).NewPicture(c.shape);
    EXPECT_EQ(InvertGivesPicture(source), c.gives);
    EXPECT_EQ(InvertGivesPicture(source), c.gives) << "second call, kind settled";
    EXPECT_FALSE(InvertGivesPicture(Ref())) << "nil";
    source = {};
    StopHost();
  }
}

// An empty picture, or a bitmap context that answers a size of 0 or no data, is
// refused: no blank result, no true from a test over no pixels, no NaN.
TEST_F(EditorTest, EmptyPicturesAndEmptyContextsFailToOpen) {
  const auto refused = [this](const Ref& source) {
    testhost::Host& h = host();
    EXPECT_FALSE(InvertGivesPicture(source));
    const CallResult white = h.CallMethod(source.get(), "isWhiteZRK", {});
    EXPECT_TRUE(std::holds_alternative<bool>(white.value) && !std::get<bool>(white.value)) << white.error;
    const CallResult colourness = h.CallMethod(source.get(), "ColornessZRK", {int64_t{10}});
    EXPECT_TRUE(std::holds_alternative<double>(colourness.value) && std::get<double>(colourness.value) == 0.0);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(h.Call("PicturetoBinaryStringZRK", {source}).value));
  };
  for (HostKind kind : {HostKind::kDesktop, HostKind::kConsole}) {
    testhost::Host& h = StartHost({.kind = kind});
    for (auto [width, height] : {std::pair{0, 3}, {4, 0}, {0, 0}}) {
      SCOPED_TRACE(testing::Message() << width << "x" << height
                                      << (kind == HostKind::kDesktop ? " desktop" : " console"));
      PictureSpec shape = sized(width, height);
      shape.fill = Pixel{255, 255, 255, kind == HostKind::kDesktop ? uint8_t{255} : uint8_t{0}};
      refused(h.NewPicture(shape));
    }
    StopHost();
  }
  testhost::Host& h = StartHost();
  for (const char* query : {"CGBitmapContextGetData", "CGBitmapContextGetWidth", "CGBitmapContextGetHeight"}) {
    SCOPED_TRACE(query);
    const Ref white = h.NewPicture(sized(4, 3));
    // Each call's first open meets the query answering 0 or null.
    for (const char* method : {"InvertZRK", "isWhiteZRK", "ColornessZRK"}) {
      h.FailNthCall(1, query);
      const CallResult r = h.CallMethod(white.get(), method, {});
      EXPECT_FALSE(h.FailedCall().empty());
      const bool* flag = std::get_if<bool>(&r.value);
      const double* number = std::get_if<double>(&r.value);
      EXPECT_TRUE(std::holds_alternative<std::monostate>(r.value) || (flag && !*flag) || (number && *number == 0.0))
          << method;
    }
    h.FailNthCall(0);
  }
}

// The opaque copy of a picture that cannot be locked ends in every host
// configuration: known or unknown host kind, a host that can draw or only copy
// rows, old or new. It gives the right picture, or nil where the host can
// neither draw the copy nor copy its rows. A desktop picture without pixels in
// memory is read through a copy the host draws, and hosts before 2012.0 are sent
// an unlock after every failed lock; a console host that cannot tell its kind
// nor draw copies the rows of its row table.
TEST_F(EditorTest, OpaqueCopyEndsInEveryHostConfiguration) {
  for (HostKind kind : {HostKind::kDesktop, HostKind::kConsole, HostKind::kWeb}) {
    for (bool knowsKind : {true, false}) {
      for (bool draws : {true, false}) {
        for (double version : {2011.5, 2019.0}) {
          const bool desktop = kind == HostKind::kDesktop;
          SCOPED_TRACE(testing::Message() << "kind " << int(kind) << (knowsKind ? "" : ", kind unknown")
                                          << (draws ? "" : ", cannot draw") << ", version " << version);
          HostConfig config{.version = version, .kind = kind};
          if (!knowsKind) config.missing.insert("pluginObjectType");
          if (!draws) config.missing.insert("REALLoadObjectMethod");
          testhost::Host& h = StartHost(config);
          {
            const Lending l{"", kind, 5, false, 0, desktop};
            const Ref source = random_picture(h, l, 6, 4, 3);
            const std::vector<Pixel> before = pixels_of(h, source.picture());
            const CallResult r = h.CallMethod(source.get(), "InvertZRK", {});
            if (desktop && !draws) {
              EXPECT_TRUE(r.ok() && std::holds_alternative<std::monostate>(r.value)) << "a blank copy is no copy";
            } else {
              EXPECT_TRUE(result_matches(h, l, source.picture(), before, r, inverted));
            }
            EXPECT_LE(h.CallCount("newPicture"), 2) << "one copy at most, and the result";
            if ((desktop && draws) || (kind == HostKind::kConsole && !knowsKind && !draws)) {
              EXPECT_EQ(h.CallCount("newPicture"), 2) << "the copy and the result";
            }
            if (desktop && draws) {
              EXPECT_EQ(h.UnmatchedUnlocks() > 0, version < 2012.0);
            }
          }
          StopHost();
        }
      }
    }
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
