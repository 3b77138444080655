// What the host draws and makes for a plug-in beyond lending pictures: the
// graphics object's DrawLine and DrawPicture, masks made on request, and pictures
// built from a buffer.
#include <cstring>

#include "tests/support/host_test.h"

namespace {

using testhost::HostConfig;
using testhost::HostKind;
using testhost::Pixel;
using testhost::PictureSpec;
using testhost::Ref;

class Pictures : public HostTest {
 protected:
  void Start(HostKind kind) {
    HostConfig config;
    config.kind = kind;
    StartHostWithout(config);
  }
};

struct DrawCase {
  const char* what;
  bool line;                  // DrawLine, else DrawPicture of the 4x4 source
  std::vector<int32_t> args;  // x1 y1 x2 y2 pen-width pen-height, or x y w h sx sy sw sh
  const char* expected;       // the 5x5 target by rows: '.' white, '#' the pen, 'a'..'p' a source pixel
};

const DrawCase kDrawings[] = {
    {"shallow line", true, {0, 0, 4, 2, 1, 1}, "#...." ".##.." "...##" "....." "....."},
    {"steep line upwards", true, {1, 4, 2, 1, 1, 1}, "....." "..#.." "..#.." ".#..." ".#..."},
    {"line clipped at the corner", true, {-3, -3, 1, 1, 1, 1}, "#...." ".#..." "....." "....." "....."},
    {"pen 2x3, clipped right and below", true, {4, 3, 4, 3, 2, 3}, "....." "....." "....." "....#" "....#"},
    {"pen 0 paints nothing", true, {0, 0, 3, 0, 0, 1}, "....." "....." "....." "....." "....."},
    {"whole source scaled up, clipped left and above", false, {-3, -2, 8, 8, 0, 0, -10000, -10000},
     "fgghh" "fgghh" "jkkll" "jkkll" "noopp"},
    {"source rectangle scaled up, clipped right and below", false, {2, 2, 4, 4, 1, 2, 2, 2},
     "....." "....." "..jjk" "..jjk" "..nno"},
    {"narrowed to half", false, {0, 0, 2, 4, 0, 0, 4, 4}, "ac..." "eg..." "ik..." "mo..." "....."},
};

TEST_F(Pictures, DrawLineAndDrawPicture) {
  Start(HostKind::kDesktop);  // the last row ends at a guard page: no stray write goes unseen
  for (const auto& c : kDrawings) {
    Ref source = host().NewPicture(PictureSpec{4, 4});
    for (uint8_t i = 0; i < 16; ++i) host().SetPixel(source.picture(), i % 4, i / 4, Pixel{i, 100, 200, 50});
    Ref target = host().NewPicture(PictureSpec{5, 5});
    Ref graphics = Ref::Adopt(HOST_ENTRY(host(), pluginPictureGraphicsGetter)(target.picture()));
    const auto& a = c.args;
    if (c.line) {
      EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueUInt32)(graphics.get(), "ForeColor", 0x123456));
      EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueInt)(graphics.get(), "PenWidth", a[4]));
      EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueInt)(graphics.get(), "PenHeight", a[5]));
      HOST_ENTRY(host(), RuntimeGraphicsDrawLine)(graphics.get(), a[0], a[1], a[2], a[3]);
    } else {
      HOST_ENTRY(host(), RuntimeGraphicsDrawPicture)(graphics.get(), source.picture(), a[0], a[1], a[2], a[3], a[4],
                                                     a[5], a[6], a[7]);
    }
    std::string drawn;
    for (int32_t i = 0; i < 25; ++i) {
      const uint32_t color = host().Color(target.picture(), i % 5, i / 5);
      char pixel = color == 0xFFFFFF ? '.' : color == 0x123456 ? '#' : '?';
      if ((color & 0xF0FFFF) == 0x64C8) pixel = static_cast<char>('a' + (color >> 16));
      drawn += pixel;
    }
    EXPECT_EQ(drawn, c.expected) << c.what;
  }
}

TEST_F(Pictures, MaskIsMadeOnRequestAndHeldByItsPicture) {
  Start(HostKind::kConsole);  // a pixel word is 0x00RRGGBB when opaque
  Ref picture = host().NewPicture(PictureSpec{3, 2});
  auto* get_mask = HOST_ENTRY(host(), REALGetPictureMask);
  EXPECT_EQ(get_mask(picture.picture(), 0), nullptr);
  Ref mask = Ref::Adopt(reinterpret_cast<REALobject>(get_mask(picture.picture(), 1)));
  ASSERT_TRUE(mask);
  EXPECT_EQ(Ref::Adopt(reinterpret_cast<REALobject>(get_mask(picture.picture(), 0))).get(), mask.get());
  EXPECT_EQ(host().Mask(picture.picture()), mask.picture());
  EXPECT_EQ(host().Width(mask.picture()), 3);
  EXPECT_EQ(host().Height(mask.picture()), 2);
  EXPECT_EQ(host().Word(mask.picture(), 2, 1), 0u);  // black, opaque
  mask = Ref();
  EXPECT_EQ(host().Width(host().Mask(picture.picture())), 3);  // still the picture's
}

TEST_F(Pictures, PictureFromBufferCopiesThePixels) {
  Start(HostKind::kConsole);
  // Pixel type 1: bytes R, G, B, A; rows of 12 bytes, the last 4 of them padding.
  uint8_t buffer[24] = {10, 20, 30, 255, 40, 50, 60, 255, 0xEE, 0xEE, 0xEE, 0xEE,
                        70, 80, 90, 255, 1,  2,  3,  255, 0xEE, 0xEE, 0xEE, 0xEE};
  Ref picture = Ref::Adopt(reinterpret_cast<REALobject>(
      HOST_ENTRY(host(), REALBuildPictureFromBuffer)(2, 2, 1, buffer, 12)));
  ASSERT_TRUE(picture);
  std::memset(buffer, 0, sizeof buffer);  // a copy, not the caller's memory
  EXPECT_EQ(host().Word(picture.picture(), 0, 0), 0x0A141Eu);
  EXPECT_EQ(host().Word(picture.picture(), 1, 0), 0x28323Cu);
  EXPECT_EQ(host().Word(picture.picture(), 0, 1), 0x46505Au);
  EXPECT_EQ(host().Word(picture.picture(), 1, 1), 0x010203u);
  EXPECT_EQ(HOST_ENTRY(host(), REALBuildPictureFromBuffer)(2, 2, 1, buffer, 4), nullptr);  // rows too short
  EXPECT_EQ(HOST_ENTRY(host(), REALBuildPictureFromBuffer)(0, 2, 1, buffer, 12), nullptr);
}

}  // namespace
