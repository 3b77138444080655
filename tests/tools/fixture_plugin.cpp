// A plug-in for the tool's own tests: extension methods that return each kind of
// result the tool prints, and others that misbehave on purpose (a nil picture, a
// raised exception, a crash, a leak), so that the tool's reports can be checked;
// and a global taking pictures and a class, for the tool's other ways of calling.
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

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

// A global that takes pictures: the one `which` picks, as its own reference.
REALpicture PickZRK(REALpicture first, REALpicture second, int32_t which) {
  REALpicture picked = which == 1 ? first : which == 2 ? second : nullptr;
  if (picked != nullptr) Entry<sig::REALLockObject>("REALLockObject")(reinterpret_cast<REALobject>(picked));
  return picked;
}

// A class as the tool drives them: Run hands SourcePicture on to DestinationPicture unless Fail is set.
struct Copier {
  REALobject source, destination;
  RBBoolean fail;
};
extern REALclassDefinition gCopier;

Copier& DataOf(REALobject self) {
  return *static_cast<Copier*>(Entry<sig::REALGetClassData>("REALGetClassData")(self, &gCopier));
}
void Release(REALobject& object) {
  if (object != nullptr) Entry<sig::REALUnlockObject>("REALUnlockObject")(std::exchange(object, nullptr));
}
void CopierClose(REALobject self) { Release(DataOf(self).source), Release(DataOf(self).destination); }

RBBoolean CopierRun(REALobject self) {
  Copier& data = DataOf(self);
  if (data.fail || data.source == nullptr) return 0;
  Release(data.destination);
  Entry<sig::REALLockObject>("REALLockObject")(data.destination = data.source);
  return 1;
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

REALmethodDefinition gPick = {Proc(PickZRK), nullptr,
                              "PickZRK(first as picture, second as picture, which as integer) as picture"};

REALproperty Direct(const char* name, const char* type, size_t offset) {
  return {nullptr, name, type, 0, host_abi::kDirectAccess, host_abi::kDirectAccess, static_cast<int32_t>(offset)};
}
REALproperty gCopierProperties[] = {Direct("SourcePicture", "Picture", offsetof(Copier, source)),
                                    Direct("DestinationPicture", "Picture", offsetof(Copier, destination)),
                                    Direct("Fail", "Boolean", offsetof(Copier, fail))};
REALmethodDefinition gCopierMethods[] = {{Proc(CopierRun), nullptr, "Run as boolean"}};

REALclassDefinition gCopier = {.version = 13,
                               .name = "CopierZRK",
                               .dataSize = sizeof(Copier),
                               .destructor = Proc(CopierClose),
                               .properties = gCopierProperties,
                               .propertyCount = std::size(gCopierProperties),
                               .methods = gCopierMethods,
                               .methodCount = std::size(gCopierMethods)};

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(REALresolver resolver) {
  gResolver = resolver;
  Entry<sig::RegisterPluginVersion>("RegisterPluginVersion")(13);
  Entry<sig::PluginRegisterClassExtension>("PluginRegisterClassExtension")(&gExtension);
  Entry<sig::PluginRegisterMethod>("PluginRegisterMethod")(&gPick);
  Entry<sig::PluginRegisterClass>("PluginRegisterClass")(&gCopier);
}
