// Host objects and the resolver: which entry points and classes each host kind
// answers, exceptions and their properties, reference counting through the
// entry points, and Ref.
#include "tests/support/host_test.h"

namespace {

using testhost::HostConfig;
using testhost::HostKind;
using testhost::Ref;

class Objects : public HostTest {};

struct ClassCase {
  HostKind kind;
  std::vector<std::string> answered;
  std::vector<std::string> unknown;
};

class ObjectTypes : public Objects, public ::testing::WithParamInterface<ClassCase> {};

TEST_P(ObjectTypes, AnswerTheHostKindAndItsClasses) {
  HostConfig config;
  config.kind = GetParam().kind;
  StartHostWithout(config);
  auto* object_type = HOST_ENTRY(host(), pluginObjectType);
  for (const auto& name : GetParam().answered) EXPECT_NE(object_type(name.c_str()), nullptr) << name;
  for (const auto& name : GetParam().unknown) EXPECT_EQ(object_type(name.c_str()), nullptr) << name;
  EXPECT_NE(object_type("Picture"), object_type("Graphics"));
}

const std::vector<std::string> kCommon = {"Picture", "Graphics", "NilObjectException", "OutOfMemoryException",
                                          "RuntimeException"};

std::vector<std::string> with(std::vector<std::string> names, const std::string& extra) {
  names.push_back(extra);
  return names;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ObjectTypes,
    ::testing::Values(ClassCase{HostKind::kDesktop, with(kCommon, "Application"),
                                {"ConsoleApplication", "WebApplication", "Window", ""}},
                      ClassCase{HostKind::kConsole, with(kCommon, "ConsoleApplication"),
                                {"Application", "WebApplication", "Counter"}},
                      ClassCase{HostKind::kWeb, with(kCommon, "WebApplication"),
                                {"Application", "ConsoleApplication"}}));

TEST_F(Objects, ResolverLeavesOutMissingEntriesAndAnUnknownVersion) {
  HostConfig config;
  config.version = std::nullopt;
  config.missing = {"PluginGetStringData", "newPicture"};
  StartHostWithout(config);
  EXPECT_EQ(host().Resolve("REALGetRBVersion"), nullptr);
  EXPECT_EQ(host().Resolve("PluginGetStringData"), nullptr);
  EXPECT_EQ(host().Resolve("newPicture"), nullptr);
  EXPECT_EQ(host().Resolve("NoSuchEntry"), nullptr);
  EXPECT_EQ(host().Resolve(nullptr), nullptr);
  EXPECT_NE(host().Resolve("REALBuildString"), nullptr);
}

TEST_F(Objects, ResolverAnswersEveryEntryPointOfTheInterface) {
  StartHostWithout();
  const char* const kEntries[] = {
      "REALGetRBVersion", "RegisterPluginVersion", "PluginRegisterClass", "PluginRegisterClassExtension",
      "PluginRegisterModule", "PluginRegisterMethod", "PluginNewInstance", "REALLockObject", "REALUnlockObject",
      "REALGetClassData", "REALLoadObjectMethod", "REALLoadGlobalMethod", "pluginObjectType",
      "REALGetPropValueBool", "REALGetPropValueInt", "REALSetPropValueInt", "REALSetPropValueUInt32",
      "REALSetPropValueString", "newPicture", "REALLockPictureDescription", "lockPictureDescription",
      "unlockPictureDescription", "REALPictureClearCache", "REALGetPictureMask", "REALBuildPictureFromBuffer",
      "pluginPictureGraphicsGetter", "RuntimeGraphicsDrawPicture", "RuntimeGraphicsDrawLine", "newMemoryBlock",
      "memoryBlockGetPtr", "memoryBlockGetSize", "REALBuildString", "REALBuildStringWithEncoding",
      "REALSetStringEncoding", "REALGetStringEncoding", "REALConvertString", "REALLockString", "REALUnlockString",
      "PluginGetStringData", "PluginDisposeStringData", "StringGetCString", "RuntimeRaiseException"};
  for (const char* name : kEntries) EXPECT_NE(host().Resolve(name), nullptr) << name;
  EXPECT_DOUBLE_EQ(HOST_ENTRY(host(), REALGetRBVersion)(), 2019.011);
  EXPECT_EQ(host().CallCount("REALGetRBVersion"), 1);
  EXPECT_EQ(host().CallCount("REALBuildString"), 0);
}

TEST_F(Objects, ExceptionsCarryMessageAndNumber) {
  StartHostWithout();
  for (const char* name : {"NilObjectException", "OutOfMemoryException", "RuntimeException"}) {
    Ref exception = Ref::Adopt(HOST_ENTRY(host(), PluginNewInstance)(name));
    ASSERT_TRUE(exception) << name;
    const REALstring message = HOST_ENTRY(host(), REALBuildString)("gone", 4);
    EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueString)(exception.get(), "Message", message));
    HOST_ENTRY(host(), REALUnlockString)(message);  // the exception holds its own reference
    EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueInt)(exception.get(), "ErrorNumber", 7));
    const auto text = host().GetProperty(exception.get(), "Message");
    EXPECT_EQ(std::get<std::string>(text.value), "gone");
    int32_t number = 0;
    EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueInt)(exception.get(), "ErrorNumber", &number));
    EXPECT_EQ(number, 7);
    // A nil message is an empty text.
    EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueString)(exception.get(), "Message", nullptr));
    EXPECT_EQ(std::get<std::string>(host().GetProperty(exception.get(), "Message").value), "");
  }
  EXPECT_EQ(HOST_ENTRY(host(), PluginNewInstance)("NoSuchClass"), nullptr);
}

TEST_F(Objects, ExceptionRaisedOutsideACallWaitsForTheTest) {
  StartHostWithout();
  REALobject exception = HOST_ENTRY(host(), PluginNewInstance)("NilObjectException");
  const REALstring message = HOST_ENTRY(host(), REALBuildString)("picture is nil", 14);
  HOST_ENTRY(host(), REALSetPropValueString)(exception, "Message", message);
  HOST_ENTRY(host(), RuntimeRaiseException)(exception);
  HOST_ENTRY(host(), REALUnlockObject)(exception);
  HOST_ENTRY(host(), REALUnlockString)(message);
  const auto problems = host().LedgerProblems();
  ASSERT_EQ(problems.size(), 1u) << ::testing::PrintToString(problems);
  EXPECT_EQ(problems[0].rfind("exception never delivered: exception #", 0), 0u) << problems[0];
  const auto raised = host().TakeRaisedException();
  ASSERT_TRUE(raised);
  EXPECT_EQ(raised->className, "NilObjectException");
  EXPECT_EQ(raised->message, "picture is nil");
  EXPECT_FALSE(host().TakeRaisedException());
}

TEST_F(Objects, RefCountsThroughTheEntryPoints) {
  StartHostWithout();
  Ref picture = Ref::Adopt(reinterpret_cast<REALobject>(HOST_ENTRY(host(), newPicture)(1, 1, 32)));
  HOST_ENTRY(host(), REALLockObject)(picture.get());
  Ref copy = picture;  // a third reference
  HOST_ENTRY(host(), REALUnlockObject)(picture.get());
  copy = Ref();
  EXPECT_EQ(host().Width(picture.picture()), 1);  // still alive on the first reference
  // Until the test's own reference goes, the ledger counts it.
  EXPECT_EQ(host().LedgerProblems(),
            std::vector<std::string>{"leak: picture #1 (newPicture 1x1, by the test) still has 1 reference"});
  REALobject given_up = picture.release();
  EXPECT_FALSE(picture);
  HOST_ENTRY(host(), REALUnlockObject)(given_up);
  EXPECT_EQ(host().LedgerProblems(), std::vector<std::string>{});
}

TEST_F(Objects, UnconstructedPictureHasNoPixels) {
  StartHostWithout();
  Ref picture = Ref::Adopt(HOST_ENTRY(host(), PluginNewInstance)("Picture"));
  REALpictureDescription description{};
  EXPECT_EQ(HOST_ENTRY(host(), lockPictureDescription)(picture.picture(), &description), 0);
  int32_t width = -1;
  EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueInt)(picture.get(), "Width", &width));
  EXPECT_EQ(width, 0);
  EXPECT_EQ(HOST_ENTRY(host(), pluginPictureGraphicsGetter)(picture.picture()), nullptr);
  EXPECT_EQ(HOST_ENTRY(host(), REALLoadObjectMethod)(picture.get(), "Constructor(width as Integer, height as Integer)"),
            nullptr);  // the exact text only
}

}  // namespace
