// Faults the host catches: each kind of ledger problem, reported in one line that
// names the object, where it came from and the call that was running; and the
// guard page behind pixel rows and memory blocks (one word past the end crashes).
#include <dlfcn.h>

#include "tests/support/host_test.h"

namespace {

using testhost::Host;
using testhost::HostConfig;
using testhost::HostKind;
using testhost::PictureSpec;
using testhost::Ref;

Ref TwoByTwo(Host& host) { return host.NewPicture(PictureSpec{2, 2}); }

struct FaultCase {
  const char* what;
  Ref (*provoke)(Host&);  // returns what stays alive while the ledger is read
  std::vector<std::string> expected;
};

const FaultCase kFaults[] = {
    {"leak", [](Host& h) { h.Call("LeakPicture", {int64_t{4}, int64_t{3}}); return Ref(); },
     {"leak: picture #1 (newPicture 4x3, during LeakPicture) still has 1 reference"}},
    {"over-release", [](Host& h) { h.Call("OverRelease", {TwoByTwo(h)}); return Ref(); },
     {"over-release: a Ref of the test on picture #1 (NewPicture 2x2, by the test), which has no reference left, "
      "by the test"}},
    // The picture is kept, so the test's own reference shows first.
    {"lock left held", [](Host& h) { Ref p = TwoByTwo(h); h.Call("HoldLock", {p}); return p; },
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

class Ledger : public HostTest {};

TEST_F(Ledger, NamesEachFaultWithTheObjectAndItsOrigin) {
  for (const auto& c : kFaults) {
    Ref kept = c.provoke(StartHostWith(FIXTURE_PLUGIN_PATH));
    EXPECT_EQ(host().LedgerProblems(), c.expected) << c.what;
    kept = Ref();
    DiscardHost();
  }
}

template <class Sig>
Sig* system_function(const char* name) {
  return reinterpret_cast<Sig*>(dlsym(RTLD_DEFAULT, name));
}

// Where the last word of the object lies, after the lock (if any) is given back.
struct GuardCase {
  const char* what;
  HostKind kind;
  const uint8_t* (*last_word)(Host&, Ref&);
  uint32_t value;  // the word there
};

const uint8_t* LockedRow(Host& h, Ref& picture, int row) {
  REALpictureDescription description{};
  EXPECT_TRUE(HOST_ENTRY(h, lockPictureDescription)(picture.picture(), &description));
  const uint8_t* data =
      description.kind == host_abi::kBitmapContext
          ? static_cast<const uint8_t*>(system_function<host_abi::sig::CGBitmapContextGetData>(
                "CGBitmapContextGetData")(description.handle))
          : reinterpret_cast<const uint8_t*>(static_cast<REALrowTableImage*>(description.handle)->rowTable[row]);
  HOST_ENTRY(h, unlockPictureDescription)(picture.picture());
  return data;
}

const GuardCase kGuards[] = {
    {"the last bitmap row, padded", HostKind::kDesktop,
     [](Host& h, Ref& p) {
       p = h.NewPicture(PictureSpec{.width = 5, .height = 4, .rowPadding = 12});
       return LockedRow(h, p, 0) + 3 * (5 * 4 + 12) + 4 * 4;
     },
     0xFFFFFFFFu},
    {"a row-table row, not the last", HostKind::kConsole,
     [](Host& h, Ref& p) {
       p = h.NewPicture(PictureSpec{7, 3});
       return LockedRow(h, p, 0) + 6 * 4;
     },
     0x00FFFFFFu},
    {"a memory block", HostKind::kDesktop,
     [](Host& h, Ref& block) {
       block = h.NewMemoryBlock(64);
       return static_cast<const uint8_t*>(HOST_ENTRY(h, memoryBlockGetPtr)(block.block())) + 60;
     },
     0u},
};

// Reads through a volatile pointer so that the compiler keeps the read.
uint32_t read_word(const uint8_t* at) { return *reinterpret_cast<const volatile uint32_t*>(at); }

class GuardPagesDeathTest : public HostTest, public ::testing::WithParamInterface<GuardCase> {};

TEST_P(GuardPagesDeathTest, OneWordPastTheEndCrashes) {
  HostConfig config;
  config.kind = GetParam().kind;
  StartHostWithout(config);
  Ref object;
  const uint8_t* last = GetParam().last_word(host(), object);
  EXPECT_EQ(read_word(last), GetParam().value) << GetParam().what;
  EXPECT_DEATH(read_word(last + 4), "") << GetParam().what;
}

INSTANTIATE_TEST_SUITE_P(Guards, GuardPagesDeathTest, ::testing::ValuesIn(kGuards));

}  // namespace
