// Pictures as the plug-in sees them through the entry points: every shape a host
// lends (bitmap contexts in each alpha layout, padded rows, draw-only pictures,
// row-table images), fresh pictures from newPicture and from the Picture
// constructor, description locks, masks, pictures built from buffers, and the
// graphics object's DrawPicture and DrawLine.
#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "tests/support/host_test.h"

namespace {

using testhost::HostConfig;
using testhost::HostKind;
using testhost::Pixel;
using testhost::PictureSpec;
using testhost::Ref;

constexpr const char* kDrawPicture =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, sx as Integer = 0, sy as "
    "Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";

// The bitmap context as the plug-in reads it: through the process's exported queries.
struct ContextView {
  uint8_t* data;
  size_t width, height, bytes_per_row, bits_per_pixel;
  uint32_t alpha_info;
};

template <class Sig>
Sig* system_function(const char* name) {
  return reinterpret_cast<Sig*>(dlsym(RTLD_DEFAULT, name));
}

ContextView read_context(void* context) {
  using namespace host_abi::sig;
  return ContextView{
      static_cast<uint8_t*>(system_function<CGBitmapContextGetData>("CGBitmapContextGetData")(context)),
      system_function<CGBitmapContextGetWidth>("CGBitmapContextGetWidth")(context),
      system_function<CGBitmapContextGetHeight>("CGBitmapContextGetHeight")(context),
      system_function<CGBitmapContextGetBytesPerRow>("CGBitmapContextGetBytesPerRow")(context),
      system_function<CGBitmapContextGetBitsPerPixel>("CGBitmapContextGetBitsPerPixel")(context),
      system_function<CGBitmapContextGetAlphaInfo>("CGBitmapContextGetAlphaInfo")(context)};
}

uint32_t load_word(const uint8_t* at) {
  uint32_t word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

class Pictures : public HostTest {
 protected:
  // Locks `picture` with its own kind and returns every pixel word as the plug-in would read it.
  std::vector<uint32_t> LockedWords(REALpicture picture) {
    REALpictureDescription description{};
    EXPECT_TRUE(HOST_ENTRY(host(), lockPictureDescription)(picture, &description));
    std::vector<uint32_t> words;
    if (description.kind == host_abi::kBitmapContext) {
      const ContextView view = read_context(description.handle);
      for (size_t y = 0; y < view.height; ++y) {
        for (size_t x = 0; x < view.width; ++x) words.push_back(load_word(view.data + y * view.bytes_per_row + x * 4));
      }
    } else {
      const auto* image = static_cast<REALrowTableImage*>(description.handle);
      for (int32_t y = 0; y < description.height; ++y) {
        for (int32_t x = 0; x < description.width; ++x) words.push_back(image->rowTable[y][x]);
      }
    }
    HOST_ENTRY(host(), unlockPictureDescription)(picture);
    return words;
  }

  Ref NewPictureEntry(int32_t width, int32_t height) {
    return Ref::Adopt(reinterpret_cast<REALobject>(HOST_ENTRY(host(), newPicture)(width, height, 32)));
  }

  Ref ConstructedAlphaPicture(int32_t width, int32_t height) {
    Ref picture = Ref::Adopt(HOST_ENTRY(host(), PluginNewInstance)("Picture"));
    auto* constructor = reinterpret_cast<host_abi::sig::PictureConstructor*>(HOST_ENTRY(host(), REALLoadObjectMethod)(
        picture.get(), "Constructor(width as integer, height as integer)"));
    EXPECT_NE(constructor, nullptr);
    if (constructor != nullptr) constructor(picture.get(), width, height);
    return picture;
  }
};

struct KindCase {
  HostKind kind;
  uint32_t new_alpha_info;
  uint32_t alpha_alpha_info;
};

class PicturesPerKind : public Pictures, public ::testing::WithParamInterface<KindCase> {
 protected:
  void SetUp() override {
    HostConfig config;
    config.kind = GetParam().kind;
    config.newPictureAlphaInfo = GetParam().new_alpha_info;
    config.alphaPictureAlphaInfo = GetParam().alpha_alpha_info;
    StartHostWithout(config);
  }
  bool desktop() const { return GetParam().kind == HostKind::kDesktop; }
};

TEST_P(PicturesPerKind, NewPictureIsOpaqueWhiteWithoutAlpha) {
  Ref picture = NewPictureEntry(3, 2);
  ASSERT_TRUE(picture);
  int32_t width = 0, height = 0;
  RBBoolean alpha = 1;
  EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueInt)(picture.get(), "Width", &width));
  EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueInt)(picture.get(), "Height", &height));
  EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueBool)(picture.get(), "HasAlphaChannel", &alpha));
  EXPECT_EQ(width, 3);
  EXPECT_EQ(height, 2);
  EXPECT_EQ(alpha, 0);
  const uint32_t white = desktop() ? 0xFFFFFFFFu : 0x00FFFFFFu;
  EXPECT_EQ(LockedWords(picture.picture()), std::vector<uint32_t>(6, white));
  EXPECT_EQ(host().PixelFormat(picture.picture()), desktop() ? int32_t(GetParam().new_alpha_info) : 8);
  EXPECT_EQ(host().Color(picture.picture(), 2, 1), 0xFFFFFFu);
}

TEST_P(PicturesPerKind, ConstructedPictureIsFullyTransparent) {
  Ref picture = ConstructedAlphaPicture(4, 3);
  RBBoolean alpha = 0;
  EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueBool)(picture.get(), "HasAlphaChannel", &alpha));
  EXPECT_EQ(alpha, 1);
  EXPECT_EQ(LockedWords(picture.picture()), std::vector<uint32_t>(12, desktop() ? 0u : 0x7F000000u));
  EXPECT_EQ(host().PixelFormat(picture.picture()), desktop() ? int32_t(GetParam().alpha_alpha_info) : 8);
}

TEST_P(PicturesPerKind, LocksOnlyWithTheHostsOwnKind) {
  Ref picture = NewPictureEntry(2, 2);
  REALpictureDescription description{};
  auto* lock = HOST_ENTRY(host(), REALLockPictureDescription);
  EXPECT_EQ(lock(picture.picture(), &description, host_abi::kBitmapContext), desktop() ? 1 : 0);
  if (desktop()) HOST_ENTRY(host(), unlockPictureDescription)(picture.picture());
  EXPECT_EQ(lock(picture.picture(), &description, host_abi::kRowTableImage), desktop() ? 0 : 1);
  if (!desktop()) HOST_ENTRY(host(), unlockPictureDescription)(picture.picture());
  EXPECT_EQ(lock(picture.picture(), &description, host_abi::kGraphicsWorld), 0);
  EXPECT_EQ(host().LockCount(picture.picture()), 1);
}

TEST_P(PicturesPerKind, DescriptionNamesTheShape) {
  Ref picture = NewPictureEntry(5, 4);
  REALpictureDescription description{};
  ASSERT_TRUE(HOST_ENTRY(host(), lockPictureDescription)(picture.picture(), &description));
  EXPECT_EQ(description.width, 5);
  EXPECT_EQ(description.height, 4);
  EXPECT_EQ(description.transparent, 0);
  if (desktop()) {
    EXPECT_EQ(description.kind, host_abi::kBitmapContext);
    const ContextView view = read_context(description.handle);
    EXPECT_EQ(view.width, 5u);
    EXPECT_EQ(view.height, 4u);
    EXPECT_EQ(view.bytes_per_row, 20u);
    EXPECT_EQ(view.bits_per_pixel, 32u);
    EXPECT_EQ(view.alpha_info, GetParam().new_alpha_info);
  } else {
    EXPECT_EQ(description.kind, host_abi::kRowTableImage);
    const auto* image = static_cast<REALrowTableImage*>(description.handle);
    EXPECT_EQ(image->paletteRows, nullptr);
    EXPECT_NE(image->companion, nullptr);
    // Every row is an allocation of its own, ending at its own guard page.
    const long page = sysconf(_SC_PAGESIZE);
    for (int y = 0; y < 4; ++y) {
      EXPECT_EQ(reinterpret_cast<uintptr_t>(image->rowTable[y] + 5) % page, 0u) << "row " << y;
    }
  }
  HOST_ENTRY(host(), unlockPictureDescription)(picture.picture());
}

TEST_P(PicturesPerKind, MaskIsMadeOnRequestAndHeldByItsPicture) {
  Ref picture = NewPictureEntry(3, 3);
  auto* get_mask = HOST_ENTRY(host(), REALGetPictureMask);
  EXPECT_EQ(get_mask(picture.picture(), 0), nullptr);
  Ref mask = Ref::Adopt(reinterpret_cast<REALobject>(get_mask(picture.picture(), 1)));
  ASSERT_TRUE(mask);
  EXPECT_EQ(host().Mask(picture.picture()), mask.picture());
  Ref again = Ref::Adopt(reinterpret_cast<REALobject>(get_mask(picture.picture(), 0)));
  EXPECT_EQ(again.get(), mask.get());
  EXPECT_EQ(host().Width(mask.picture()), 3);
  EXPECT_FALSE(host().HasAlphaChannel(mask.picture()));
  EXPECT_EQ(host().Color(mask.picture(), 1, 1), 0u);
  EXPECT_EQ(host().GetPixel(mask.picture(), 1, 1).a, desktop() ? 255 : 0);  // opaque
}

TEST_P(PicturesPerKind, PictureFromBufferCopiesThePixels) {
  // Pixel type 1: bytes R, G, B, A.
  const uint8_t pixels[2][12] = {{10, 20, 30, 255, 40, 50, 60, 255, 0xEE, 0xEE, 0xEE, 0xEE},
                                 {70, 80, 90, 255, 1, 2, 3, 255, 0xEE, 0xEE, 0xEE, 0xEE}};
  uint8_t buffer[24];
  std::memcpy(buffer, pixels, sizeof buffer);
  Ref picture = Ref::Adopt(reinterpret_cast<REALobject>(
      HOST_ENTRY(host(), REALBuildPictureFromBuffer)(2, 2, 1, buffer, 12)));
  ASSERT_TRUE(picture);
  std::memset(buffer, 0, sizeof buffer);  // a copy, not the caller's memory
  EXPECT_EQ(host().Color(picture.picture(), 0, 0), 0x0A141Eu);
  EXPECT_EQ(host().Color(picture.picture(), 1, 0), 0x28323Cu);
  EXPECT_EQ(host().Color(picture.picture(), 0, 1), 0x46505Au);
  EXPECT_EQ(host().Color(picture.picture(), 1, 1), 0x010203u);
  EXPECT_EQ(host().PixelFormat(picture.picture()), desktop() ? 1 : 8);
  EXPECT_EQ(HOST_ENTRY(host(), REALBuildPictureFromBuffer)(2, 2, 1, buffer, 4), nullptr);  // rows too short
  EXPECT_EQ(HOST_ENTRY(host(), REALBuildPictureFromBuffer)(0, 2, 1, buffer, 12), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Kinds, PicturesPerKind,
                         ::testing::Values(KindCase{HostKind::kDesktop, 5, 1}, KindCase{HostKind::kDesktop, 6, 2},
                                           KindCase{HostKind::kConsole, 5, 1}, KindCase{HostKind::kWeb, 5, 1}));

// ---- bitmap layouts a test can lend ----

struct LayoutCase {
  uint32_t alpha_info;
  uint32_t expected_word;  // of Pixel{r=1, g=2, b=3, a=4}
};

class BitmapLayouts : public Pictures, public ::testing::WithParamInterface<LayoutCase> {};

TEST_P(BitmapLayouts, PixelRolesFollowTheLayoutAndRowsArePadded) {
  StartHostWithout();
  PictureSpec shape;
  shape.width = 3;
  shape.height = 4;
  shape.alphaInfo = GetParam().alpha_info;
  shape.bitsPerPixel = 24;
  shape.rowPadding = 8;
  shape.fill = Pixel{9, 8, 7, 6};
  Ref picture = host().NewPicture(shape);
  host().SetPixel(picture.picture(), 2, 3, Pixel{1, 2, 3, 4});
  EXPECT_EQ(host().Word(picture.picture(), 2, 3), GetParam().expected_word);
  EXPECT_EQ(host().GetPixel(picture.picture(), 2, 3), (Pixel{1, 2, 3, 4}));
  EXPECT_EQ(host().GetPixel(picture.picture(), 0, 0), (Pixel{9, 8, 7, 6}));
  EXPECT_EQ(host().Color(picture.picture(), 2, 3), 0x010203u);
  EXPECT_EQ(host().PixelFormat(picture.picture()), int32_t(GetParam().alpha_info));

  REALpictureDescription description{};
  ASSERT_TRUE(HOST_ENTRY(host(), REALLockPictureDescription)(picture.picture(), &description, 8));
  const ContextView view = read_context(description.handle);
  EXPECT_EQ(view.alpha_info, GetParam().alpha_info);
  EXPECT_EQ(view.bits_per_pixel, 24u);
  EXPECT_EQ(view.bytes_per_row, 20u);
  EXPECT_EQ(load_word(view.data + 3 * 20 + 2 * 4), GetParam().expected_word);
  // The last row's last pixel ends exactly at a page end (the guard page).
  EXPECT_EQ(reinterpret_cast<uintptr_t>(view.data + 3 * 20 + 3 * 4) % sysconf(_SC_PAGESIZE), 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(view.data) % 4, 0u);
  HOST_ENTRY(host(), unlockPictureDescription)(picture.picture());
  EXPECT_TRUE(host().PaddingIntact(picture.picture()));
  view.data[12] = 0;  // the first row's padding
  EXPECT_FALSE(host().PaddingIntact(picture.picture()));
}

INSTANTIATE_TEST_SUITE_P(AlphaInfo, BitmapLayouts,
                         ::testing::Values(LayoutCase{0, 0x04030201}, LayoutCase{1, 0x04030201},
                                           LayoutCase{2, 0x03020104}, LayoutCase{3, 0x04030201},
                                           LayoutCase{4, 0x03020104}, LayoutCase{5, 0x04030201},
                                           LayoutCase{6, 0x03020104}, LayoutCase{7, 0x03020104}));

TEST_F(Pictures, RowTableWordsKeepBlueLowAndTransparencyHigh) {
  HostConfig config;
  config.kind = HostKind::kConsole;
  StartHostWithout(config);
  PictureSpec shape;
  shape.width = 2;
  shape.height = 2;
  Ref picture = host().NewPicture(shape);
  EXPECT_EQ(host().Word(picture.picture(), 1, 1), 0x00FFFFFFu);  // default fill: opaque white
  host().SetPixel(picture.picture(), 0, 1, Pixel{1, 2, 3, 4});
  EXPECT_EQ(host().Word(picture.picture(), 0, 1), 0x04010203u);
  EXPECT_EQ(host().Color(picture.picture(), 0, 1), 0x010203u);
}

TEST_F(Pictures, DrawOnlyPicturesRefuseEveryLockButCanBeDrawn) {
  StartHostWithout();
  PictureSpec shape;
  shape.width = 2;
  shape.height = 2;
  shape.drawOnly = true;
  shape.fill = Pixel{10, 20, 30, 255};
  Ref source = host().NewPicture(shape);
  EXPECT_EQ(host().PixelFormat(source.picture()), -1);
  REALpictureDescription description{};
  for (uint32_t kind : {4u, 8u, 10u}) {
    EXPECT_EQ(HOST_ENTRY(host(), REALLockPictureDescription)(source.picture(), &description, kind), 0) << kind;
  }
  EXPECT_EQ(HOST_ENTRY(host(), lockPictureDescription)(source.picture(), &description), 0);

  Ref target = NewPictureEntry(3, 3);
  Ref graphics = Ref::Adopt(HOST_ENTRY(host(), pluginPictureGraphicsGetter)(target.picture()));
  auto* draw = reinterpret_cast<host_abi::sig::DrawPicture*>(
      HOST_ENTRY(host(), REALLoadObjectMethod)(graphics.get(), kDrawPicture));
  ASSERT_NE(draw, nullptr);
  draw(graphics.get(), source.picture(), 1, 1, 2, 2, 0, 0, 2, 2);
  EXPECT_EQ(host().Color(target.picture(), 0, 0), 0xFFFFFFu);
  EXPECT_EQ(host().Color(target.picture(), 1, 1), 0x0A141Eu);
  EXPECT_EQ(host().Color(target.picture(), 2, 2), 0x0A141Eu);
  EXPECT_EQ(host().GetPixel(target.picture(), 2, 2).a, 255);
}

TEST_F(Pictures, UnlockWithoutLockIsToleratedAndCounted) {
  StartHostWithout();
  Ref picture = NewPictureEntry(1, 1);
  HOST_ENTRY(host(), unlockPictureDescription)(picture.picture());
  HOST_ENTRY(host(), REALPictureClearCache)(picture.picture());
  HOST_ENTRY(host(), REALPictureClearCache)(picture.picture());
  EXPECT_EQ(host().UnmatchedUnlocks(), 1);
  EXPECT_EQ(host().ClearCacheCount(picture.picture()), 2);
  EXPECT_EQ(host().CallCount("REALPictureClearCache"), 2);
  EXPECT_EQ(host().CallCount("unlockPictureDescription"), 1);
}

TEST_F(Pictures, SeparateMaskOfASpecIsBlackAndOpaque) {
  StartHostWithout();
  PictureSpec shape;
  shape.width = 2;
  shape.height = 3;
  shape.withMask = true;
  Ref picture = host().NewPicture(shape);
  const REALpicture mask = host().Mask(picture.picture());
  ASSERT_NE(mask, nullptr);
  EXPECT_EQ(host().Height(mask), 3);
  EXPECT_EQ(host().Color(mask, 1, 2), 0u);
}

// ---- drawing ----

struct DrawCase {
  const char* what;
  int32_t x, y, w, h, sx, sy, sw, sh;
  // Expected source pixel (index into the 4x4 source, -1 for untouched white) at
  // every target pixel of the 4x4 target, row by row.
  std::vector<int> expected;
};

class DrawPictureCases : public Pictures, public ::testing::WithParamInterface<DrawCase> {};

TEST_P(DrawPictureCases, CopiesOpaqueColoursClipped) {
  const DrawCase& c = GetParam();
  HostConfig config;
  config.kind = HostKind::kConsole;
  StartHostWithout(config);
  PictureSpec source_spec;
  source_spec.width = 4;
  source_spec.height = 4;
  Ref source = host().NewPicture(source_spec);
  for (int i = 0; i < 16; ++i) {
    host().SetPixel(source.picture(), i % 4, i / 4, Pixel{uint8_t(i), uint8_t(i + 100), uint8_t(i + 200), 50});
  }
  Ref target = NewPictureEntry(4, 4);
  Ref graphics = Ref::Adopt(HOST_ENTRY(host(), pluginPictureGraphicsGetter)(target.picture()));
  HOST_ENTRY(host(), RuntimeGraphicsDrawPicture)(graphics.get(), source.picture(), c.x, c.y, c.w, c.h, c.sx, c.sy,
                                                 c.sw, c.sh);
  for (int i = 0; i < 16; ++i) {
    const int from = c.expected[static_cast<size_t>(i)];
    const uint32_t want = from < 0 ? 0x00FFFFFFu : uint32_t(from) << 16 | uint32_t(from + 100) << 8 | uint32_t(from + 200);
    EXPECT_EQ(host().Word(target.picture(), i % 4, i / 4), want) << c.what << " at " << i % 4 << "," << i / 4;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, DrawPictureCases,
    ::testing::Values(
        DrawCase{"whole", 0, 0, 4, 4, 0, 0, -10000, -10000, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
        DrawCase{"offset, clipped right and below", 2, 3, 4, 4, 0, 0, 4, 4,
                 {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0, 1}},
        DrawCase{"clipped left and above", -3, -2, 4, 4, 0, 0, 4, 4,
                 {11, -1, -1, -1, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
        DrawCase{"source rectangle", 0, 0, 2, 1, 1, 2, 2, 1,
                 {9, 10, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
        DrawCase{"scaled up twice", 0, 0, 4, 4, 0, 0, 2, 2, {0, 0, 1, 1, 0, 0, 1, 1, 4, 4, 5, 5, 4, 4, 5, 5}},
        DrawCase{"scaled down to half", 0, 0, 2, 2, 0, 0, 4, 4,
                 {0, 2, -1, -1, 8, 10, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}}));

struct LineCase {
  const char* what;
  int32_t x1, y1, x2, y2, pen_width, pen_height;
  std::set<std::pair<int, int>> painted;
};

class DrawLineCases : public Pictures, public ::testing::WithParamInterface<LineCase> {};

TEST_P(DrawLineCases, PaintsThePenAtEveryPointOfThePath) {
  const LineCase& c = GetParam();
  StartHostWithout();
  Ref target = NewPictureEntry(6, 5);
  Ref graphics = Ref::Adopt(HOST_ENTRY(host(), pluginPictureGraphicsGetter)(target.picture()));
  EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueUInt32)(graphics.get(), "ForeColor", 0x123456));
  EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueInt)(graphics.get(), "PenWidth", c.pen_width));
  EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueInt)(graphics.get(), "PenHeight", c.pen_height));
  HOST_ENTRY(host(), RuntimeGraphicsDrawLine)(graphics.get(), c.x1, c.y1, c.x2, c.y2);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 6; ++x) {
      const bool painted = c.painted.count({x, y}) != 0;
      EXPECT_EQ(host().Color(target.picture(), x, y), painted ? 0x123456u : 0xFFFFFFu)
          << c.what << " at " << x << "," << y;
      EXPECT_EQ(host().GetPixel(target.picture(), x, y).a, 255);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, DrawLineCases,
    ::testing::Values(
        LineCase{"one point", 2, 2, 2, 2, 1, 1, {{2, 2}}},
        LineCase{"horizontal, both ends", 1, 1, 4, 1, 1, 1, {{1, 1}, {2, 1}, {3, 1}, {4, 1}}},
        LineCase{"vertical upwards", 0, 3, 0, 1, 1, 1, {{0, 1}, {0, 2}, {0, 3}}},
        LineCase{"diagonal", 0, 0, 3, 3, 1, 1, {{0, 0}, {1, 1}, {2, 2}, {3, 3}}},
        LineCase{"shallow", 0, 0, 4, 2, 1, 1, {{0, 0}, {1, 1}, {2, 1}, {3, 2}, {4, 2}}},
        LineCase{"clipped at the corner", -3, -3, 1, 1, 1, 1, {{0, 0}, {1, 1}}},
        LineCase{"pen 2x3 at one point", 4, 3, 4, 3, 2, 3, {{4, 3}, {5, 3}, {4, 4}, {5, 4}}},
        LineCase{"pen 0 paints nothing", 0, 0, 3, 0, 0, 1, {}}));

TEST_F(Pictures, GraphicsPropertiesHaveHostDefaults) {
  StartHostWithout();
  Ref target = NewPictureEntry(1, 1);
  Ref graphics = Ref::Adopt(HOST_ENTRY(host(), pluginPictureGraphicsGetter)(target.picture()));
  int32_t pen = 0;
  EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueInt)(graphics.get(), "PenWidth", &pen));
  EXPECT_EQ(pen, 1);
  EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueInt)(graphics.get(), "PenHeight", &pen));
  EXPECT_EQ(pen, 1);
  EXPECT_EQ(HOST_ENTRY(host(), REALLoadObjectMethod)(graphics.get(), "DrawPicture(Image as Picture)"), nullptr);
  // The graphics object keeps its picture alive after the caller's reference goes.
  const REALpicture kept = target.picture();
  target = Ref();
  EXPECT_EQ(host().Width(kept), 1);
  const auto problems = host().LedgerProblems();  // only the graphics object, still held below
  ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
  EXPECT_NE(problems[0].find("leak: graphics #"), std::string::npos) << problems[0];
  graphics = Ref();
}

TEST_F(Pictures, UnguardedPicturesHaveTheSameShapes) {
  HostConfig config;
  config.kind = HostKind::kWeb;
  config.guardPages = false;
  StartHostWithout(config);
  Ref picture = NewPictureEntry(300, 200);
  const auto words = LockedWords(picture.picture());
  EXPECT_EQ(words.size(), 60000u);
  EXPECT_EQ(words.back(), 0x00FFFFFFu);
}

}  // namespace
