// Loading a plug-in and calling it by declaration, with the fixture plug-in in
// both record layouts: registrations as decoded, every parameter and result type,
// defaults, overloads, byref variables, setters, class instances and their
// properties, the Picture extension and module methods, exceptions, and the
// one-line errors of calls that cannot be made.
#include "tests/support/host_test.h"

namespace {

using testhost::Callable;
using testhost::CallResult;
using testhost::HostConfig;
using testhost::PictureSpec;
using testhost::Ref;
using testhost::Value;

constexpr const char* kFixtures[] = {FIXTURE_PLUGIN_PATH, FIXTURE9_PLUGIN_PATH};

class Calls : public HostTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { StartHostWith(GetParam()); }
  int32_t Layout() const { return GetParam() == kFixtures[1] ? 9 : 13; }

  Ref Picture(int32_t width, int32_t height) {
    PictureSpec shape;
    shape.width = width;
    shape.height = height;
    return host().NewPicture(shape);
  }
};

int64_t integer(const Value& value) { return std::get<int64_t>(value); }

TEST_P(Calls, RegistrationsAreDecodedInTheAnnouncedLayout) {
  const auto& r = host().registrations();
  EXPECT_EQ(r.pluginVersion, Layout());
  ASSERT_GE(r.order.size(), 4u);
  EXPECT_EQ(r.order[0], "extension Picture");
  EXPECT_EQ(r.order[1], "class Counter");
  EXPECT_EQ(r.order[2], "module FixtureModule");
  EXPECT_EQ(r.order[3], "method AddInts(a as integer, b as integer = 5) as integer");
  EXPECT_EQ(r.methods.size(), r.order.size() - 3);

  ASSERT_EQ(r.classes.size(), 1u);
  const auto& counter = r.classes[0];
  EXPECT_EQ(counter.layout, Layout());
  EXPECT_EQ(counter.version, uint32_t(Layout()));
  EXPECT_EQ(counter.name, "Counter");
  EXPECT_GE(counter.dataSize, 40u);
  EXPECT_NE(counter.constructor, nullptr);
  EXPECT_NE(counter.destructor, nullptr);
  EXPECT_EQ(counter.flags, 4u);
  ASSERT_EQ(counter.properties.size(), 7u);
  EXPECT_EQ(counter.properties[0].name, "Count");
  EXPECT_EQ(counter.properties[0].type, "Integer");
  EXPECT_EQ(counter.properties[0].param, 0);
  EXPECT_TRUE(counter.properties[0].direct());
  EXPECT_EQ(counter.properties[5].group, "Derived");
  EXPECT_EQ(counter.properties[5].flags, 2u);
  EXPECT_FALSE(counter.properties[5].direct());
  ASSERT_EQ(counter.methods.size(), 2u);
  EXPECT_EQ(counter.methods[1].declaration, "Item(i as integer) as integer");
  EXPECT_NE(counter.methods[1].setter, nullptr);
  EXPECT_EQ(counter.methods[0].flags, 4u);
  EXPECT_EQ(counter.events, std::vector<std::string>{"Changed(n as integer)"});
  ASSERT_EQ(counter.constants.size(), 1u);
  EXPECT_EQ(counter.constants[0].declaration, "kLimit = 10");
  EXPECT_EQ(counter.constants[0].flags, 8u);
  ASSERT_EQ(counter.sharedMethods.size(), 1u);
  EXPECT_EQ(counter.sharedMethods[0].declaration, "Make(start as integer) as Counter");

  ASSERT_EQ(r.extensions.size(), 1u);
  EXPECT_EQ(r.extensions[0].name, "Picture");
  EXPECT_EQ(r.extensions[0].methods.size(), 2u);
  ASSERT_EQ(r.modules.size(), 1u);
  EXPECT_EQ(r.modules[0].name, "FixtureModule");
  ASSERT_EQ(r.modules[0].methods.size(), 4u);
  EXPECT_EQ(r.modules[0].methods[2].flags, 16u);
}

TEST_P(Calls, EveryHostGetsAFreshCopyOfThePlugin) {
  EXPECT_EQ(integer(host().Call("MainCalls", {}).value), 1);
  StartHostWith(GetParam());  // replaces the host, and with it the plug-in copy
  EXPECT_EQ(integer(host().Call("MainCalls", {}).value), 1);
}

struct ScalarCase {
  const char* what;
  const char* name;
  std::vector<Value> args;
  Value expected;
};

class ScalarCalls : public Calls {
 protected:
  static std::vector<ScalarCase> Cases() {
    return {
        {"integers", "AddInts", {int64_t{2}, int64_t{3}}, int64_t{5}},
        {"integer default", "AddInts", {int64_t{2}}, int64_t{7}},
        {"negative integer", "AddInts", {int64_t{-10}, int64_t{3}}, int64_t{-7}},
        {"integer to double", "Half", {int64_t{3}}, 1.5},
        {"double", "Half", {5.0}, 2.5},
        {"boolean", "Negate", {true}, false},
        {"boolean back", "Negate", {false}, true},
        {"colour default", "Mix", {}, int64_t{0x88B5C4}},
        {"colour", "Mix", {int64_t{0x123456}}, int64_t{0x123456}},
        {"UInt32 wraps", "Wrap", {int64_t{0xFFFFFFFF}}, int64_t{0}},
        {"UInt32 stays unsigned", "Wrap", {int64_t{0x7FFFFFFF}}, int64_t{0x80000000}},
        {"string in and out", "Shout", {std::string("abc")}, std::string("ABC")},
        {"case-insensitive name", "shOUT", {std::string("x")}, std::string("X")},
        {"overload: integer", "Describe", {int64_t{1}}, std::string("integer")},
        {"overload: double", "Describe", {1.0}, std::string("double")},
        {"overload: string", "Describe", {std::string("s")}, std::string("string")},
        {"overload: nil prefers the object", "Describe", {Value{}}, std::string("picture")},
        {"string bytes through LenB", "ByteLength", {std::string("h\xC3\xA9llo")}, int64_t{6}},
        {"module method as a global", "Twice", {int64_t{21}}, int64_t{42}},
    };
  }
};

TEST_P(ScalarCalls, PassAndReturnEveryScalarType) {
  for (auto& c : Cases()) {
    const CallResult result = host().Call(c.name, c.args);
    ASSERT_TRUE(result.ok()) << c.what << ": " << result.error;
    EXPECT_EQ(result.value.index(), c.expected.index()) << c.what;
    if (result.value.index() != c.expected.index()) continue;
    if (std::holds_alternative<int64_t>(c.expected)) {
      EXPECT_EQ(integer(result.value), integer(c.expected)) << c.what;
    } else if (std::holds_alternative<double>(c.expected)) {
      EXPECT_EQ(std::get<double>(result.value), std::get<double>(c.expected)) << c.what;
    } else if (std::holds_alternative<bool>(c.expected)) {
      EXPECT_EQ(std::get<bool>(result.value), std::get<bool>(c.expected)) << c.what;
    } else {
      EXPECT_EQ(std::get<std::string>(result.value), std::get<std::string>(c.expected)) << c.what;
    }
    EXPECT_FALSE(result.exception) << c.what;
  }
  Ref picture = Picture(1, 1);
  EXPECT_EQ(std::get<std::string>(host().Call("Describe", {picture}).value), "picture");
}

struct ErrorCase {
  const char* name;
  std::vector<Value> args;
  const char* error;
};

TEST_P(Calls, CallsThatCannotBeMadeSayWhyInOneLine) {
  Ref block = host().NewMemoryBlock(4);
  Ref picture = Picture(1, 1);
  const std::vector<ErrorCase> cases = {
      {"Nope", {}, "unknown method Nope"},
      {"AddInts", {}, "no overload of AddInts takes 0 arguments"},
      {"AddInts", {int64_t{1}, int64_t{2}, int64_t{3}}, "no overload of AddInts takes 3 arguments"},
      {"Negate", {int64_t{1}}, "argument 1 of Negate must be a boolean"},
      {"AddInts", {int64_t{1}, 2.5}, "argument 2 of AddInts must be an integer"},
      {"Shout", {int64_t{1}}, "argument 1 of Shout must be a string"},
      {"DrawInto", {block, picture}, "argument 1 of DrawInto must be a picture"},
      {"DrawInto", {picture, int64_t{1}}, "argument 2 of DrawInto must be a picture"},
      {"Area", {}, "unknown method Area"},  // an extension method needs its picture
  };
  for (const auto& c : cases) {
    const CallResult result = host().Call(c.name, c.args);
    EXPECT_EQ(result.error, c.error);
    EXPECT_FALSE(result.ok());
  }
  EXPECT_EQ(host().CallMethod(picture.get(), "Area", {int64_t{1}}).error, "no overload of Area takes 1 argument");
  EXPECT_EQ(host().Assign(picture.get(), "Stamp", {}, std::string("red")).error,
            "the value assigned to Stamp must be a color");
  EXPECT_EQ(host().CallMethod(block.get(), "Area", {}).error, "unknown method Area");
}

TEST_P(Calls, ByrefVariablesAreReadBack) {
  const CallResult swapped = host().Call("Swap", {int64_t{1}, int64_t{2}});
  ASSERT_TRUE(swapped.ok()) << swapped.error;
  ASSERT_EQ(swapped.args.size(), 2u);
  EXPECT_EQ(integer(swapped.args[0]), 2);
  EXPECT_EQ(integer(swapped.args[1]), 1);

  // A nil byref object that the callee fills: the variable owns the new block.
  CallResult made = host().Call("EnsureBlock", {Value{}, int64_t{16}});
  ASSERT_TRUE(made.ok()) << made.error;
  const Ref& block = std::get<Ref>(made.args[0]);
  ASSERT_TRUE(block);
  EXPECT_EQ(host().Bytes(block.block()).size(), 16u);
  EXPECT_EQ(host().Bytes(block.block())[0], 7);

  // An existing block stays the caller's block.
  Ref mine = host().NewMemoryBlock(2);
  const CallResult kept = host().Call("EnsureBlock", {mine, int64_t{99}});
  EXPECT_EQ(std::get<Ref>(kept.args[0]).get(), mine.get());
  EXPECT_EQ(host().Bytes(mine.block())[0], 7);

  const CallResult text = host().Call("Exclaim", {std::string("hi")});
  EXPECT_EQ(std::get<std::string>(text.args[0]), "hi!");
}

TEST_P(Calls, ExceptionsAreDeliveredWhenTheCallReturns) {
  const CallResult result =
      host().Call("Fail", {std::string("NilObjectException"), std::string("The channel picture is nil.")});
  ASSERT_TRUE(result.ok()) << result.error;
  EXPECT_EQ(integer(result.value), -1);
  ASSERT_TRUE(result.exception);
  EXPECT_EQ(result.exception->className, "NilObjectException");
  EXPECT_EQ(result.exception->message, "The channel picture is nil.");
  EXPECT_EQ(result.exception->errorNumber, 42);
  const CallResult quiet = host().Call("AddInts", {int64_t{1}});
  EXPECT_FALSE(quiet.exception);
}

TEST_P(Calls, PicturesComeBackOwned) {
  CallResult blank = host().Call("Blank", {int64_t{3}, int64_t{2}});
  const Ref& picture = std::get<Ref>(blank.value);
  EXPECT_EQ(host().Width(picture.picture()), 3);
  EXPECT_EQ(host().Color(picture.picture(), 2, 1), 0xFFFFFFu);
  EXPECT_EQ(host().CallCount("newPicture"), 1);

  CallResult clear = host().Call("Transparent", {int64_t{2}, int64_t{2}});
  const Ref& alpha = std::get<Ref>(clear.value);
  EXPECT_TRUE(host().HasAlphaChannel(alpha.picture()));

  Ref source = Picture(1, 1);
  host().SetPixel(source.picture(), 0, 0, testhost::Pixel{1, 2, 3, 255});
  ASSERT_TRUE(host().Call("DrawInto", {picture, source, int64_t{2}, int64_t{1}}).ok());
  EXPECT_EQ(host().Color(picture.picture(), 2, 1), 0x010203u);
  EXPECT_EQ(host().CallCount("DrawPicture"), 1);
}

TEST_P(Calls, ClassInstancesAndTheirProperties) {
  {
    Ref counter = host().NewInstance("Counter");
    ASSERT_TRUE(counter);
    // Zero-filled instance data, then the constructor.
    EXPECT_EQ(integer(host().GetProperty(counter.get(), "Count").value), 0);
    EXPECT_EQ(std::get<double>(host().GetProperty(counter.get(), "Ratio").value), 0.5);
    ASSERT_TRUE(host().SetProperty(counter.get(), "count", int64_t{5}).ok());
    EXPECT_EQ(integer(host().CallMethod(counter.get(), "Add", {}).value), 6);
    EXPECT_EQ(integer(host().CallMethod(counter.get(), "Add", {int64_t{4}}).value), 10);
    EXPECT_EQ(integer(host().GetProperty(counter.get(), "Doubled").value), 20);
    ASSERT_TRUE(host().SetProperty(counter.get(), "Doubled", int64_t{8}).ok());
    int32_t count = 0;
    EXPECT_TRUE(HOST_ENTRY(host(), REALGetPropValueInt)(counter.get(), "Count", &count));
    EXPECT_EQ(count, 4);
    ASSERT_TRUE(host().SetProperty(counter.get(), "Enabled", true).ok());
    EXPECT_TRUE(std::get<bool>(host().GetProperty(counter.get(), "Enabled").value));
    EXPECT_TRUE(HOST_ENTRY(host(), REALSetPropValueUInt32)(counter.get(), "Tint", 0x112233));
    EXPECT_EQ(integer(host().GetProperty(counter.get(), "Tint").value), 0x112233);
    ASSERT_TRUE(host().SetProperty(counter.get(), "Label", std::string("name")).ok());
    EXPECT_EQ(std::get<std::string>(host().GetProperty(counter.get(), "Label").value), "name");
    EXPECT_EQ(host().SetProperty(counter.get(), "Count", std::string("x")).error, "property Count must be an integer");
    EXPECT_FALSE(host().GetProperty(counter.get(), "Missing").ok());

    // A direct picture property holds its own reference.
    REALpicture held = nullptr;
    {
      Ref picture = Picture(2, 2);
      held = picture.picture();
      ASSERT_TRUE(host().SetProperty(counter.get(), "Source", picture).ok());
    }
    CallResult source = host().GetProperty(counter.get(), "Source");
    EXPECT_EQ(std::get<Ref>(source.value).picture(), held);
    EXPECT_EQ(host().Width(held), 2);

    ASSERT_TRUE(host().Assign(counter.get(), "Item", {int64_t{2}}, int64_t{9}).ok());
    EXPECT_EQ(integer(host().CallMethod(counter.get(), "Item", {int64_t{2}}).value), 9);
    EXPECT_EQ(HOST_ENTRY(host(), REALGetClassData)(counter.get(), nullptr), nullptr);
  }
  // The last reference ran the destructor, which let go of the picture and the label.
  EXPECT_EQ(integer(host().Call("Destroyed", {}).value), 1);
  CallResult made = host().Call("NewCounter", {int64_t{3}});
  const Ref& counter = std::get<Ref>(made.value);
  EXPECT_EQ(integer(host().CallMethod(counter.get(), "Add", {int64_t{1}}).value), 4);
}

TEST_P(Calls, ExtensionAndModuleMethodsTakeThePictureFirst) {
  Ref picture = Picture(4, 3);
  EXPECT_EQ(integer(host().CallMethod(picture.get(), "Area", {}).value), 12);
  EXPECT_EQ(integer(host().CallMethod(picture.get(), "Perimeter", {}).value), 14);
  EXPECT_EQ(integer(host().CallMethod(picture.get(), "Tag", {int64_t{3}}).value), 6);
  ASSERT_TRUE(host().Assign(picture.get(), "Tag", {int64_t{3}}, int64_t{4}).ok());
  EXPECT_EQ(integer(host().Call("LastTag", {}).value), 3004);
  ASSERT_TRUE(host().Assign(picture.get(), "Stamp", {}, int64_t{0xABCDEF}).ok());
  EXPECT_EQ(integer(host().Call("LastStamp", {}).value), 0xABCDEF);

  EXPECT_EQ(integer(host().CallDeclared("Area as integer", picture.get(), {}).value), 12);
  EXPECT_EQ(host().CallDeclared("Area as integer", nullptr, {}).error, "Area needs an object");
  ASSERT_TRUE(host().CallDeclared("Stamp(extends ref as Picture, assigns value as color)", picture.get(),
                                  {int64_t{0x10}}).ok());
  EXPECT_EQ(integer(host().Call("LastStamp", {}).value), 0x10);
  EXPECT_EQ(integer(host().CallDeclared("AddInts(a as integer, b as integer = 5) as integer", nullptr, {int64_t{1}}).value),
            6);
  EXPECT_FALSE(host().CallDeclared("AddInts(a as integer) as integer", nullptr, {int64_t{1}}).ok());
}

TEST_P(Calls, MethodsAreFoundByTheirExactDeclaration) {
  auto* load_method = HOST_ENTRY(host(), REALLoadObjectMethod);
  auto* load_global = HOST_ENTRY(host(), REALLoadGlobalMethod);
  Ref counter = host().NewInstance("Counter");
  auto* add = reinterpret_cast<int32_t (*)(REALobject, int32_t)>(load_method(counter.get(), "Add(n as integer = 1) as integer"));
  ASSERT_NE(add, nullptr);
  EXPECT_EQ(add(counter.get(), 3), 3);
  EXPECT_EQ(load_method(counter.get(), "add(n as integer = 1) as integer"), nullptr);
  Ref picture = Picture(2, 3);
  auto* area = reinterpret_cast<int32_t (*)(REALpicture)>(load_method(picture.get(), "Area as integer"));
  ASSERT_NE(area, nullptr);
  EXPECT_EQ(area(picture.picture()), 6);
  EXPECT_EQ(load_method(counter.get(), "Area as integer"), nullptr);

  auto* twice = reinterpret_cast<int32_t (*)(int32_t)>(load_global("FixtureModule", "Twice(n as integer) as integer"));
  ASSERT_NE(twice, nullptr);
  EXPECT_EQ(twice(4), 8);
  EXPECT_EQ(load_global("OtherModule", "Twice(n as integer) as integer"), nullptr);
  EXPECT_EQ(load_global(nullptr, "Twice(n as integer) as integer"), nullptr);  // a module method needs its module
  auto* add_ints = reinterpret_cast<int32_t (*)(int32_t, int32_t)>(
      load_global(nullptr, "AddInts(a as integer, b as integer = 5) as integer"));
  ASSERT_NE(add_ints, nullptr);
  EXPECT_EQ(add_ints(1, 2), 3);
}

TEST_P(Calls, CallablesListEveryRegisteredFunction) {
  const auto callables = host().Callables();
  const auto has = [&](const std::string& declaration, const std::string& owner, bool setter) {
    for (const Callable& c : callables) {
      if (c.declaration == declaration && c.owner == owner && c.isSetter == setter) return true;
    }
    return false;
  };
  EXPECT_TRUE(has("Perimeter(extends ref as Picture) as integer", "Picture", false));
  EXPECT_TRUE(has("Stamp(extends ref as Picture, assigns value as color)", "Picture", true));
  EXPECT_TRUE(has("Tag(n as integer) as integer", "Picture", false));
  EXPECT_TRUE(has("Tag(n as integer) as integer", "Picture", true));
  EXPECT_TRUE(has("Add(n as integer = 1) as integer", "Counter", false));
  EXPECT_TRUE(has("Twice(n as integer) as integer", "FixtureModule", false));
  EXPECT_TRUE(has("AddInts(a as integer, b as integer = 5) as integer", "", false));
  EXPECT_EQ(callables.size(), 3u + 3u + 4u + host().registrations().methods.size());
}

INSTANTIATE_TEST_SUITE_P(Layouts, Calls, ::testing::ValuesIn(kFixtures));
INSTANTIATE_TEST_SUITE_P(Layouts, ScalarCalls, ::testing::ValuesIn(kFixtures));

class Loading : public HostTest {};

TEST_F(Loading, ReportsFilesThatAreNoPlugin) {
  StartHostWithout();
  std::string error;
  EXPECT_FALSE(host().LoadPlugin("/nonexistent/plugin.so", &error));
  EXPECT_EQ(error, "cannot read /nonexistent/plugin.so");
  EXPECT_FALSE(host().LoadPlugin("/proc/self/cmdline", &error));
  EXPECT_NE(error.find("cannot load"), std::string::npos) << error;
  EXPECT_TRUE(host().LoadPlugin(FIXTURE_PLUGIN_PATH, &error)) << error;
  EXPECT_FALSE(host().LoadPlugin(FIXTURE_PLUGIN_PATH, &error));
  EXPECT_EQ(error, "a plug-in is already loaded");
}

}  // namespace
