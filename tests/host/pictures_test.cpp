// What the host makes for a plug-in and the faults it catches: DrawLine and DrawPicture, masks made on
// request, pictures built from a buffer; each ledger problem in one line that names the object, its origin
// and the running call; and the guard page behind pixel rows and memory blocks.
#include <dlfcn.h>

#include <cstring>

#include "tests/support/host_test.h"

namespace {

using namespace testhost;

class Pictures : public HostTest {};

// DrawLine (x1 y1 x2 y2 pen-width pen-height) or DrawPicture of the 4x4 source (x y w h sx sy sw sh), and
// the 5x5 target by rows: '.' white, '#' the pen, 'a'..'p' a source pixel.
struct DrawCase { const char* what; bool line; std::vector<int32_t> args; const char* expected; };

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
  StartHostWithout({.kind = HostKind::kDesktop});  // the last row ends at a guard page: no stray write goes unseen
  for (const auto& [what, line, a, expected] : kDrawings) {
    Ref source = host().NewPicture(PictureSpec{4, 4}), target = host().NewPicture(PictureSpec{5, 5});
    for (uint8_t i = 0; i < 16; ++i) host().SetPixel(source.picture(), i % 4, i / 4, Pixel{i, 100, 200, 50});
    Ref graphics = Ref::Adopt(HOST_ENTRY(host(), pluginPictureGraphicsGetter)(target.picture()));
    if (line) {
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
      const uint32_t c = host().Color(target.picture(), i % 5, i / 5);
      drawn += (c & 0xF0FFFF) == 0x64C8 ? char('a' + (c >> 16)) : c == 0xFFFFFF ? '.' : c == 0x123456 ? '#' : '?';
    }
    EXPECT_EQ(drawn, expected) << what;
  }
}

TEST_F(Pictures, MaskIsMadeOnRequestAndHeldByItsPicture) {
  StartHostWithout({.kind = HostKind::kConsole});  // a pixel word is 0x00RRGGBB when opaque
  Ref picture = host().NewPicture(PictureSpec{3, 2});
  const auto get_mask = [&](RBBoolean make) {
    return Ref::Adopt(reinterpret_cast<REALobject>(HOST_ENTRY(host(), REALGetPictureMask)(picture.picture(), make)));
  };
  EXPECT_FALSE(get_mask(0));
  Ref mask = get_mask(1);
  ASSERT_TRUE(mask);
  EXPECT_TRUE(get_mask(0).get() == mask.get() && host().Mask(picture.picture()) == mask.picture());
  EXPECT_TRUE(host().Width(mask.picture()) == 3 && host().Height(mask.picture()) == 2);
  EXPECT_EQ(host().Word(mask.picture(), 2, 1), 0u);  // black, opaque
  mask = Ref();
  EXPECT_EQ(host().Width(host().Mask(picture.picture())), 3);  // still the picture's
}

TEST_F(Pictures, PictureFromBufferCopiesThePixels) {
  StartHostWithout({.kind = HostKind::kConsole});
  // Pixel type 1: bytes R, G, B, A; rows of 12 bytes, the last 4 of them padding.
  uint8_t buffer[24] = {10, 20, 30, 255, 40, 50, 60, 255, 0xEE, 0xEE, 0xEE, 0xEE,
                        70, 80, 90, 255, 1,  2,  3,  255, 0xEE, 0xEE, 0xEE, 0xEE};
  auto* build = HOST_ENTRY(host(), REALBuildPictureFromBuffer);
  Ref picture = Ref::Adopt(reinterpret_cast<REALobject>(build(2, 2, 1, buffer, 12)));
  ASSERT_TRUE(picture);
  std::memset(buffer, 0, sizeof buffer);  // a copy, not the caller's memory
  const uint32_t kWords[] = {0x0A141E, 0x28323C, 0x46505A, 0x010203};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(host().Word(picture.picture(), i % 2, i / 2), kWords[i]) << i;
  EXPECT_TRUE(build(2, 2, 1, buffer, 4) == nullptr && build(0, 2, 1, buffer, 12) == nullptr);  // short rows, no width
}

// Benchmark mode: a picture that newPicture makes takes the memory of one it made
// before and the test released, unfilled; a test's own picture never joins the pool.
TEST_F(Pictures, PoolHandsBackReleasedMemoryUnfilled) {
  for (const HostKind kind : {HostKind::kDesktop, HostKind::kConsole}) {
    for (const bool pool : {false, true}) {
      StartHostWithout({.kind = kind, .picturePool = pool});
      const auto made = [&](int32_t width, int32_t height) {
        return Ref::Adopt(reinterpret_cast<REALobject>(HOST_ENTRY(host(), newPicture)(width, height, 32)));
      };
      const auto colour = [&](const Ref& p) { return host().Color(p.picture(), 1, 1); };
      Ref own = host().NewPicture(PictureSpec{3, 2});
      host().SetPixel(own.picture(), 1, 1, {1, 2, 3, 0});
      own = Ref();
      Ref first = made(3, 2);
      EXPECT_EQ(colour(first), pool ? 0u : 0xFFFFFFu) << pool;  // fresh memory either way
      host().SetPixel(first.picture(), 1, 1, {4, 5, 6, 0});
      first = Ref();
      EXPECT_EQ(colour(made(3, 2)), pool ? 0x040506u : 0xFFFFFFu) << pool;
      EXPECT_EQ(colour(made(4, 2)), pool ? 0u : 0xFFFFFFu) << pool;  // no memory of that size yet
      for (const auto& problem : host().LedgerProblems()) ADD_FAILURE() << problem;
    }
  }
}

// `provoke` returns what stays alive while the ledger is read.
struct FaultCase { const char* what; Ref (*provoke)(Host&); std::vector<std::string> expected; };

const FaultCase kFaults[] = {
    {"leak", [](Host& h) { h.Call("LeakPicture", {int64_t{4}, int64_t{3}}); return Ref(); },
     {"leak: picture #1 (newPicture 4x3, during LeakPicture) still has 1 reference"}},
    {"over-release", [](Host& h) { h.Call("OverRelease", {h.NewPicture(PictureSpec{2, 2})}); return Ref(); },
     {"over-release: a Ref of the test on picture #1 (NewPicture 2x2, by the test), which has no reference left, "
      "by the test"}},
    // The picture is kept, so the test's own reference shows first.
    {"lock left held", [](Host& h) { Ref p = h.NewPicture(PictureSpec{2, 2}); h.Call("HoldLock", {p}); return p; },
     {"leak: picture #1 (NewPicture 2x2, by the test) still has 1 reference",
      "description lock still held: picture #1 (NewPicture 2x2, by the test) locked 1 time(s), last by "
      "lockPictureDescription, during HoldLock"}},
    {"string data", [](Host& h) { h.Call("KeepStringData", {std::string("abc")}); return Ref(); },
     {"string data not disposed: PluginGetStringData of string #1 (argument string of KeepStringData, made by the "
      "host), during KeepStringData"}},
    {"released handle", [](Host& h) { h.Call("UseAfterRelease", {}); return Ref(); },
     {"REALGetPropValueInt used released picture #1 (newPicture 2x2, during UseAfterRelease), during "
      "UseAfterRelease"}},
    {"unknown handle", [](Host& h) { HOST_ENTRY(h, REALLockObject)(reinterpret_cast<REALobject>(0x10)); return Ref(); },
     {"unknown handle 0x10 given to REALLockObject, by the test"}},
};

TEST_F(Pictures, LedgerNamesEachFaultWithTheObjectAndItsOrigin) {
  for (const auto& c : kFaults) {
    Ref kept = c.provoke(StartHostWith(FIXTURE_PLUGIN_PATH));
    EXPECT_EQ(host().LedgerProblems(), c.expected) << c.what;
    kept = Ref();
    DiscardHost();
  }
}

// A released object's handle is reported as released, naming it, for the next
// few thousand releases; after that the object is freed and no longer named.
TEST_F(Pictures, ReleasedObjectsAreKeptForAWhileThenFreed) {
  StartHostWithout();
  auto* size_of = HOST_ENTRY(host(), memoryBlockGetSize);
  const REALmemoryBlock first = host().NewMemoryBlock(8).block();  // released at once
  for (int i = 0; i < 5000; ++i) host().NewMemoryBlock(8);
  const REALmemoryBlock recent = host().NewMemoryBlock(8).block();
  EXPECT_EQ(size_of(recent), 0);
  EXPECT_EQ(size_of(first), 0);
  const std::vector<std::string> problems = host().LedgerProblems();
  ASSERT_EQ(problems.size(), 2u);
  EXPECT_EQ(problems[0],
            "memoryBlockGetSize used released memory block #5002 (NewMemoryBlock 8 bytes, by the test), by the test");
  EXPECT_EQ(problems[1].find("#1 "), std::string::npos) << problems[1];
  DiscardHost();
}

// A row at once is what the pixels one by one are, in every layout; a row of the wrong width is a fault.
TEST_F(Pictures, RowsAreThePixelsOfARow) {
  for (const HostKind kind : {HostKind::kDesktop, HostKind::kConsole}) {
    StartHostWithout({.kind = kind});
    for (const uint32_t layout : {1u, 2u, 5u, 6u}) {
      Ref picture = host().NewPicture({.width = 3, .height = 2, .alphaInfo = layout, .hasAlphaChannel = layout < 3});
      const std::vector<Pixel> row = {{1, 2, 3, 255}, {40, 50, 60, 255}, {7, 8, 9, 255}};
      host().SetRow(picture.picture(), 1, row);
      std::vector<Pixel> back(3);
      host().GetRow(picture.picture(), 1, back);
      EXPECT_EQ(back, row) << layout;
      for (int32_t x = 0; x < 3; ++x) EXPECT_EQ(host().GetPixel(picture.picture(), x, 1), row[x]) << layout;
    }
    Ref picture = host().NewPicture({4, 1});
    std::vector<Pixel> narrow(3);
    host().GetRow(picture.picture(), 0, narrow);
    host().SetRow(picture.picture(), 0, narrow);
    picture = Ref();
    const std::vector<std::string> problems = host().LedgerProblems();
    EXPECT_TRUE(problems.size() == 2 && problems[0].starts_with("GetRow of 3 pixels from ") &&
                problems[1].starts_with("SetRow of 3 pixels into ")) << ::testing::PrintToString(problems);
    DiscardHost();
  }
}

// The first pixel row of a picture made as `shape`, kept in `picture`; its lock is given back.
const uint8_t* FirstRow(Host& h, Ref& picture, const PictureSpec& shape) {
  picture = h.NewPicture(shape);
  REALpictureDescription d{};
  EXPECT_TRUE(HOST_ENTRY(h, lockPictureDescription)(picture.picture(), &d));
  const void* data = d.kind == host_abi::kBitmapContext
                         ? reinterpret_cast<host_abi::sig::CGBitmapContextGetData*>(
                               dlsym(RTLD_DEFAULT, "CGBitmapContextGetData"))(d.handle)
                         : static_cast<REALrowTableImage*>(d.handle)->rowTable[0];
  HOST_ENTRY(h, unlockPictureDescription)(picture.picture());
  return static_cast<const uint8_t*>(data);
}

// Where the last word of the object lies, and the value there.
struct GuardCase { const char* name; HostKind kind; const uint8_t* (*last_word)(Host&, Ref&); uint32_t value; };

const GuardCase kGuards[] = {
    {"PaddedBitmapRow", HostKind::kDesktop,
     [](Host& h, Ref& p) { return FirstRow(h, p, {.width = 5, .height = 4, .rowPadding = 12}) + 3 * 32 + 4 * 4; },
     0xFFFFFFFFu},
    {"RowTableRow", HostKind::kConsole,
     [](Host& h, Ref& p) { return FirstRow(h, p, {7, 3}) + 6 * 4; }, 0x00FFFFFFu},
    // 10 rows a block: row 9 ends the first block.
    {"RowTableBlockEnd", HostKind::kConsole,
     [](Host& h, Ref& p) { return FirstRow(h, p, {1, 40000}) + 9 * 4; }, 0x00FFFFFFu},
    {"MemoryBlock", HostKind::kDesktop,
     [](Host& h, Ref& block) {
       block = h.NewMemoryBlock(64);
       return static_cast<const uint8_t*>(HOST_ENTRY(h, memoryBlockGetPtr)(block.block())) + 60;
     },
     0u},
};
void PrintTo(const GuardCase& g, std::ostream* os) { *os << g.name; }

// Reads through a volatile pointer so that the compiler keeps the read.
uint32_t read_word(const uint8_t* at) { return *reinterpret_cast<const volatile uint32_t*>(at); }

class GuardPagesDeathTest : public HostTest, public ::testing::WithParamInterface<GuardCase> {};

TEST_P(GuardPagesDeathTest, OneWordPastTheEndCrashes) {
  StartHostWithout({.kind = GetParam().kind});
  Ref object;
  const uint8_t* last = GetParam().last_word(host(), object);
  EXPECT_EQ(read_word(last), GetParam().value) << GetParam().name;
  EXPECT_DEATH(read_word(last + 4), "") << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(Guards, GuardPagesDeathTest, ::testing::ValuesIn(kGuards), ByName());

}  // namespace
