// The ledger: each kind of problem a plug-in can cause, reported in one line that
// names the object, the entry point that made it and the plug-in call that was
// running; and no problem at all after balanced use.
#include <dlfcn.h>

#include "tests/support/host_test.h"

namespace {

using testhost::PictureSpec;
using testhost::Ref;
using testhost::Value;

class Ledger : public HostTest {
 protected:
  void SetUp() override { StartHostWith(FIXTURE_PLUGIN_PATH); }

  Ref Picture() {
    PictureSpec shape;
    shape.width = 2;
    shape.height = 2;
    return host().NewPicture(shape);
  }

  // The ledger's lines, after which the host goes without the usual check.
  std::vector<std::string> FinalProblems() {
    auto problems = host().LedgerProblems();
    DiscardHost();
    return problems;
  }
};

TEST_F(Ledger, BalancedUseLeavesNothing) {
  {
    Ref picture = Picture();
    EXPECT_TRUE(host().Call("DrawInto", {picture, picture}).ok());
    EXPECT_TRUE(host().Call("Fail", {std::string("RuntimeException"), std::string("x")}).exception);
    EXPECT_TRUE(host().Call("Exclaim", {std::string("a")}).ok());
    EXPECT_TRUE(host().Call("NewCounter", {int64_t{1}}).ok());
  }
  EXPECT_EQ(host().LedgerProblems(), std::vector<std::string>{});
}

TEST_F(Ledger, LeakNamesTheEntryPointAndTheCall) {
  host().Call("LeakPicture", {int64_t{4}, int64_t{3}});
  const auto problems = FinalProblems();
  ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[0], "leak: picture #1 (newPicture 4x3, during LeakPicture) still has 1 reference");
}

TEST_F(Ledger, OverReleaseIsCaughtWhenTheTestLetsGo) {
  host().Call("OverRelease", {Picture()});
  const auto problems = FinalProblems();
  ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[0],
            "over-release: a Ref of the test on picture #1 (NewPicture 2x2, by the test), which has no reference "
            "left, by the test");
}

TEST_F(Ledger, HeldDescriptionLock) {
  Ref picture = Picture();
  EXPECT_TRUE(std::get<bool>(host().Call("HoldLock", {picture}).value));
  const auto problems = host().LedgerProblems();  // the test's own reference is still there too
  ASSERT_EQ(problems.size(), 2u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[1],
            "description lock still held: picture #1 (NewPicture 2x2, by the test) locked 1 time(s), last by "
            "lockPictureDescription, during HoldLock");
  picture = Ref();
  const auto after = FinalProblems();
  ASSERT_EQ(after.size(), 1u) << ::testing::PrintToString(after);
  EXPECT_EQ(after[0], "released while its description is locked: picture #1 (NewPicture 2x2, by the test)");
}

TEST_F(Ledger, StringDataNotDisposed) {
  EXPECT_EQ(std::get<int64_t>(host().Call("KeepStringData", {std::string("abc")}).value), 3);
  const auto problems = FinalProblems();
  ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[0],
            "string data not disposed: PluginGetStringData of string #1 (argument string of KeepStringData, made "
            "by the host), during KeepStringData");
}

TEST_F(Ledger, ReleasedHandleIsReportedNotFollowed) {
  EXPECT_EQ(std::get<int64_t>(host().Call("UseAfterRelease", {}).value), -1);
  const auto problems = FinalProblems();
  ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[0],
            "REALGetPropValueInt used released picture #1 (newPicture 2x2, during UseAfterRelease), during "
            "UseAfterRelease");
}

TEST_F(Ledger, UnknownHandlesAndWrongKinds) {
  int not_an_object = 0;
  HOST_ENTRY(host(), REALLockObject)(reinterpret_cast<REALobject>(&not_an_object));
  Ref block = host().NewMemoryBlock(1);
  REALpictureDescription description{};
  EXPECT_EQ(HOST_ENTRY(host(), lockPictureDescription)(reinterpret_cast<REALpicture>(block.get()), &description), 0);
  const REALstring text = HOST_ENTRY(host(), REALBuildString)("t", 1);
  HOST_ENTRY(host(), REALUnlockObject)(reinterpret_cast<REALobject>(text));
  HOST_ENTRY(host(), REALUnlockString)(text);
  block = Ref();
  const auto problems = FinalProblems();
  ASSERT_EQ(problems.size(), 3u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[0].rfind("unknown handle 0x", 0), 0u) << problems[0];
  EXPECT_NE(problems[0].find(" given to REALLockObject, by the test"), std::string::npos) << problems[0];
  EXPECT_EQ(problems[1],
            "lockPictureDescription was given memory block #1 (NewMemoryBlock 1 bytes, by the test) where it needs "
            "a picture, by the test");
  EXPECT_EQ(problems[2], "REALUnlockObject was given string #2 (REALBuildString 1 bytes, by the test), a string, by the test");
}

TEST_F(Ledger, HeldReferencesAreNotLeaksOfTheirOwn) {
  // A leaked graphics object keeps its picture; only the graphics object is reported.
  Ref picture = Picture();
  REALobject graphics = HOST_ENTRY(host(), pluginPictureGraphicsGetter)(picture.picture());
  picture = Ref();
  const auto problems = host().LedgerProblems();
  ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[0],
            "leak: graphics #2 (pluginPictureGraphicsGetter of picture #1 (NewPicture 2x2, by the test), by the "
            "test) still has 1 reference");
  HOST_ENTRY(host(), REALUnlockObject)(graphics);
  EXPECT_EQ(host().LedgerProblems(), std::vector<std::string>{});
}

TEST_F(Ledger, ContextQueriesNeedALock) {
  Ref picture = Picture();
  REALpictureDescription description{};
  ASSERT_TRUE(HOST_ENTRY(host(), lockPictureDescription)(picture.picture(), &description));
  HOST_ENTRY(host(), unlockPictureDescription)(picture.picture());
  auto* width = reinterpret_cast<host_abi::sig::CGBitmapContextGetWidth*>(dlsym(RTLD_DEFAULT, "CGBitmapContextGetWidth"));
  EXPECT_EQ(width(description.handle), 2u);
  int not_a_context = 0;
  EXPECT_EQ(width(&not_a_context), 0u);
  picture = Ref();
  const auto problems = FinalProblems();
  ASSERT_EQ(problems.size(), 2u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[0],
            "CGBitmapContextGetWidth read the context of picture #1 (NewPicture 2x2, by the test) without a "
            "description lock, by the test");
  EXPECT_EQ(problems[1], "CGBitmapContextGetWidth was given something that is not a bitmap context, by the test");
}

}  // namespace
