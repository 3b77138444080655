// Calling a plug-in by declaration, with the fixture plug-in: each parameter and result type, defaults,
// overloads, byref variables, exceptions, setters, class instances and their properties, the one-line errors
// of calls that cannot be made, and a fresh plug-in copy per host.
#include <dlfcn.h>

#include <sstream>

#include "tests/support/host_test.h"

namespace {

using namespace testhost;

// The error, or the result, every argument as the call left it, and the exception raised;
// each value as "i:5", "d:2.5", "b:true", "s:text", "obj" or "nil".
std::string show(const CallResult& result) {
  if (!result.ok()) return result.error;
  std::ostringstream out;
  const auto put = [&](const Value& v) {
    if (const auto* i = std::get_if<int64_t>(&v)) out << "i:" << *i;
    if (const auto* d = std::get_if<double>(&v)) out << "d:" << *d;
    if (const auto* b = std::get_if<bool>(&v)) out << "b:" << (*b ? "true" : "false");
    if (const auto* s = std::get_if<std::string>(&v)) out << "s:" << *s;
    if (const auto* r = std::get_if<Ref>(&v)) out << (*r ? "obj" : "nil");
    if (std::holds_alternative<std::monostate>(v)) out << "nil";
  };
  put(result.value);
  for (const Value& arg : result.args) out << " ", put(arg);
  if (const auto& e = result.exception) out << " raised " << e->className << ": " << e->message
                                        << " #" << e->errorNumber;
  return out.str();
}

class Calls : public HostTest {
 protected:
  void SetUp() override { StartHostWith(FIXTURE_PLUGIN_PATH); }
};

TEST_F(Calls, EveryHostGetsAFreshCopyOfThePlugin) {
  void* held = dlopen(FIXTURE_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);  // a copy shared by path would keep its state
  ASSERT_NE(held, nullptr);
  EXPECT_EQ(show(host().Call("MainCalls", {})), "i:1");
  StartHostWith(FIXTURE_PLUGIN_PATH);
  EXPECT_EQ(show(host().Call("MainCalls", {})), "i:1");
  dlclose(held);
}

TEST_F(Calls, GlobalMethodsByName) {
  const Ref picture = host().NewPicture(PictureSpec{}), block = host().NewMemoryBlock(4);
  const std::tuple<const char*, std::vector<Value>, const char*> cases[] = {
      {"AddInts", {int64_t{2}, int64_t{-3}}, "i:-1 i:2 i:-3"},
      {"addINTS", {int64_t{2}}, "i:7 i:2 i:5"},  // any case; the default is filled and shown
      {"Half", {int64_t{3}}, "d:1.5 i:3"}, {"Negate", {true}, "b:false b:true"},
      {"NextColor", {}, "i:8959429 i:8959428"},  // &c88B5C4 and one more
      {"NextColor", {int64_t{0x7FFFFFFF}}, "i:2147483648 i:2147483647"},  // unsigned, as UInt32 is
      {"Shout", {std::string("abc")}, "s:ABC s:abc"},
      {"Describe", {int64_t{1}}, "s:integer i:1"}, {"Describe", {1.5}, "s:double d:1.5"},
      {"Describe", {picture}, "s:picture obj"},
      {"Describe", {Value{}}, "s:picture nil"},  // nil fits an object without conversion
      {"Swap", {int64_t{1}, int64_t{2}}, "nil i:2 i:1"},
      {"EnsureBlock", {Value{}, int64_t{16}}, "i:16 obj i:16"},  // the variable owns the new block
      {"EnsureBlock", {block, int64_t{99}}, "i:4 obj i:99"},
      {"Exclaim", {std::string("hi")}, "nil s:hi!"},
      {"Fail", {std::string("RuntimeException"), std::string("gone")},
       "i:-1 s:RuntimeException s:gone i:42 raised RuntimeException: gone #42"},
      {"Nope", {}, "unknown method Nope"}, {"Add", {}, "unknown method Add"},  // a class method needs its object
      {"AddInts", {}, "no overload of AddInts takes 0 arguments"},
      {"Negate", {int64_t{1}}, "argument 1 of Negate must be a boolean"},
      {"AddInts", {int64_t{1}, 2.5}, "argument 2 of AddInts must be an integer"},
      {"Describe", {block}, "argument 1 of Describe must be a double"},  // a block is no picture
  };
  for (const auto& [name, args, expected] : cases) EXPECT_EQ(show(host().Call(name, args)), expected) << name;
  EXPECT_EQ(host().Bytes(block.block())[0], 7);  // the callee wrote into the caller's block
}

TEST_F(Calls, ClassInstancesTheirMethodsAndProperties) {
  const Ref counter = host().NewInstance("Counter");
  ASSERT_TRUE(counter);
  const Ref first = host().NewPicture(PictureSpec{}), second = host().NewPicture(PictureSpec{});
  enum Op { kGet, kSet, kMethod, kAssign };  // for kSet and kAssign, the value is the last of the args
  const std::tuple<Op, const char*, std::vector<Value>, const char*> steps[] = {
      {kGet, "Count", {}, "i:0"},    // zero-filled data,
      {kGet, "Ratio", {}, "d:0.5"},  // then the constructor
      {kSet, "count", {int64_t{5}}, "nil"},
      {kMethod, "Add", {}, "i:6 i:1"},
      {kSet, "Visible", {true}, "nil"}, {kGet, "Enabled", {}, "b:false"},  // neighbours, one byte each
      {kSet, "Enabled", {true}, "nil"}, {kGet, "Visible", {}, "b:true"},
      {kSet, "Tint", {int64_t{0xFF112233}}, "nil"},
      {kGet, "Tint", {}, "i:4279312947"},  // a colour is unsigned
      {kSet, "Doubled", {int64_t{8}}, "nil"}, {kGet, "Count", {}, "i:4"},  // through the accessors
      {kMethod, "Add", {}, "i:5 i:1"}, {kGet, "Doubled", {}, "i:10"},
      {kSet, "SourcePicture", {first}, "nil"},   // takes a reference,
      {kSet, "SourcePicture", {second}, "nil"},  // drops it for the next; the destructor drops the last
      {kAssign, "Item", {int64_t{2}, int64_t{9}}, "nil i:2"},  // a method's own setter
      {kMethod, "Item", {int64_t{2}}, "i:9 i:2"},
      {kAssign, "Scale", {int64_t{3}}, "nil"}, {kGet, "Ratio", {}, "d:3"},  // a declared assigns parameter
      {kSet, "Enabled", {int64_t{1}}, "property Enabled must be a boolean"},
      {kGet, "Missing", {}, "no property Missing on object #1 (NewInstance(\"Counter\"), by the test)"},
      {kAssign, "Item", {int64_t{1}, std::string("x")}, "the value assigned to Item must be an integer"},
      {kAssign, "Add", {int64_t{1}}, "unknown method Add"},
      {kMethod, "Add", {int64_t{1}, int64_t{2}}, "no overload of Add takes 2 arguments"},
  };
  for (const auto& [op, name, args, expected] : steps) {
    const REALobject self = counter.get();
    const Value last = args.empty() ? Value{} : args.back();
    const CallResult result = op == kGet      ? host().GetProperty(self, name)
                              : op == kSet    ? host().SetProperty(self, name, last)
                              : op == kMethod ? host().CallMethod(self, name, args)
                                              : host().Assign(self, name, {args.begin(), args.end() - 1}, last);
    EXPECT_EQ(show(result), expected) << name;
  }
  EXPECT_EQ(std::get<Ref>(host().GetProperty(counter.get(), "SourcePicture").value).get(), second.get());
}

}  // namespace
