// A plug-in for the tool's own tests: extension methods that return each kind of
// result the tool prints, and others that misbehave on purpose (a leak, a crash,
// a raised exception, a nil picture), so that the tool's reports of them can be
// checked without waiting for the real plug-in to have such methods.
#include <csignal>
#include <cstdint>

#include "frame/host_interface.h"

namespace {

namespace sig = host_abi::sig;

REALresolver gResolver = nullptr;

template <typename Signature>
Signature* Entry(const char* name) {
  return reinterpret_cast<Signature*>(gResolver(name));
}

uint32_t ShadeZRK(REALpicture) { return 0xFF8000; }
double HalfZRK(REALpicture, double x) { return x / 2; }
int32_t SameZRK(REALpicture, int32_t n) { return n; }
RBBoolean NotZRK(REALpicture, RBBoolean b) { return b ? 0 : 1; }

REALstring EchoZRK(REALpicture, REALstring s) {
  if (s != nullptr) Entry<sig::REALLockString>("REALLockString")(s);  // the caller's reference
  return s;
}

REALmemoryBlock BlockZRK(REALpicture) { return Entry<sig::newMemoryBlock>("newMemoryBlock")(16); }

// Fills both variables; the block stored is the caller's reference.
void FillZRK(REALpicture, int32_t* n, REALmemoryBlock* block) {
  *n = 42;
  *block = Entry<sig::newMemoryBlock>("newMemoryBlock")(8);
}

REALpicture NilZRK(REALpicture) { return nullptr; }

RBBoolean LeakZRK(REALpicture) {
  Entry<sig::newPicture>("newPicture")(2, 2, 32);  // never released
  return 1;
}

// The signal a stray pointer brings, without undefined behaviour for sanitizers to catch first.
RBBoolean CrashZRK(REALpicture) {
  std::raise(SIGSEGV);
  return 0;
}

REALpicture RaiseZRK(REALpicture) {
  REALobject e = Entry<sig::PluginNewInstance>("PluginNewInstance")("NilObjectException");
  static const char kText[] = "picture is nil";
  REALstring message = Entry<sig::REALBuildString>("REALBuildString")(kText, sizeof kText - 1);
  Entry<sig::REALSetPropValueString>("REALSetPropValueString")(e, "Message", message);
  Entry<sig::RuntimeRaiseException>("RuntimeRaiseException")(e);
  Entry<sig::REALUnlockObject>("REALUnlockObject")(e);
  Entry<sig::REALUnlockString>("REALUnlockString")(message);
  return nullptr;
}

template <typename F>
REALproc Proc(F* f) {
  return reinterpret_cast<REALproc>(f);
}

REALmethodDefinition gMethods[] = {
    {Proc(ShadeZRK), nullptr, "ShadeZRK as color", 0, 0, nullptr},
    {Proc(HalfZRK), nullptr, "HalfZRK(x as double) as double", 0, 0, nullptr},
    {Proc(SameZRK), nullptr, "SameZRK(n as integer) as integer", 0, 0, nullptr},
    {Proc(NotZRK), nullptr, "NotZRK(b as boolean) as boolean", 0, 0, nullptr},
    {Proc(EchoZRK), nullptr, "EchoZRK(s as string) as string", 0, 0, nullptr},
    {Proc(BlockZRK), nullptr, "BlockZRK as memoryblock", 0, 0, nullptr},
    {Proc(FillZRK), nullptr, "FillZRK(byref n as integer, byref block as memoryblock)", 0, 0, nullptr},
    {Proc(NilZRK), nullptr, "NilZRK as picture", 0, 0, nullptr},
    {Proc(LeakZRK), nullptr, "LeakZRK as boolean", 0, 0, nullptr},
    {Proc(CrashZRK), nullptr, "CrashZRK as boolean", 0, 0, nullptr},
    {Proc(RaiseZRK), nullptr, "RaiseZRK as picture", 0, 0, nullptr},
};

REALclassDefinition gExtension = [] {
  REALclassDefinition c{};
  c.version = 13;
  c.name = "Picture";
  c.methods = gMethods;
  c.methodCount = sizeof gMethods / sizeof gMethods[0];
  return c;
}();

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(REALresolver resolver) {
  gResolver = resolver;
  Entry<sig::RegisterPluginVersion>("RegisterPluginVersion")(13);
  Entry<sig::PluginRegisterClassExtension>("PluginRegisterClassExtension")(&gExtension);
}
