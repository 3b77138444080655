// A plug-in for the tool's own tests: extension methods that return each kind of
// result the tool prints, and others that misbehave on purpose (a nil picture, a
// raised exception, a crash, a leak), so that the tool's reports can be checked.
#include <csignal>
#include <cstdint>
#include <iterator>

#include "frame/host_interface.h"

namespace {

namespace sig = host_abi::sig;

REALresolver gResolver = nullptr;

template <typename Signature>
Signature* Entry(const char* name) {
  return reinterpret_cast<Signature*>(gResolver(name));
}

REALstring EchoZRK(REALpicture, REALstring s) {
  if (s != nullptr) Entry<sig::REALLockString>("REALLockString")(s);  // the caller's reference
  return s;
}

// Fills both variables; the block stored is the caller's reference.
void FillZRK(REALpicture, int32_t* n, REALmemoryBlock* block) {
  *n = 42;
  *block = Entry<sig::newMemoryBlock>("newMemoryBlock")(8);
}

RBBoolean LeakZRK(REALpicture) {
  Entry<sig::newPicture>("newPicture")(2, 2, 32);  // never released
  return 1;
}

// The signal a stray pointer brings, without undefined behaviour for sanitizers to catch first.
RBBoolean CrashZRK(REALpicture) { return std::raise(SIGSEGV) == 0 ? 0 : 1; }

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
    {Proc(+[](REALpicture) -> uint32_t { return 0xFF8000; }), nullptr, "ShadeZRK as color"},
    {Proc(+[](REALpicture, double x) { return x / 2; }), nullptr, "HalfZRK(x as double) as double"},
    {Proc(+[](REALpicture, int32_t n) { return n; }), nullptr, "SameZRK(n as integer) as integer"},
    {Proc(+[](REALpicture, RBBoolean b) -> RBBoolean { return !b; }), nullptr, "NotZRK(b as boolean) as boolean"},
    {Proc(EchoZRK), nullptr, "EchoZRK(s as string) as string"},
    {Proc(FillZRK), nullptr, "FillZRK(byref n as integer, byref block as memoryblock)"},
    {Proc(+[](REALpicture) -> REALpicture { return nullptr; }), nullptr, "NilZRK as picture"},
    {Proc(LeakZRK), nullptr, "LeakZRK as boolean"},
    {Proc(CrashZRK), nullptr, "CrashZRK as boolean"},
    {Proc(RaiseZRK), nullptr, "RaiseZRK as picture"},
};

REALclassDefinition gExtension = {
    .version = 13, .name = "Picture", .methods = gMethods, .methodCount = std::size(gMethods)};

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(REALresolver resolver) {
  gResolver = resolver;
  Entry<sig::RegisterPluginVersion>("RegisterPluginVersion")(13);
  Entry<sig::PluginRegisterClassExtension>("PluginRegisterClassExtension")(&gExtension);
}
