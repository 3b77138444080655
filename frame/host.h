// Host entry points, bound by name through the resolver the host hands to
// REALPluginMain. Each entry point is one process-wide slot, asked for on first
// use (and again while the host has not answered) and then called directly. A
// function the host lacks turns its wrapper into a no-op that yields 0, null or
// false. The host calls on one thread, so the slots are written without locks.
#pragma once

#include <type_traits>

#include "frame/host_interface.h"

namespace picture {

// Process-wide state of the plug-in frame.
extern REALresolver gResolver;
extern double rbversion_rbversion;  // the host's version; 0 when it does not tell
extern int32_t CurrentREALControlVersion;


void* resolve_host(const char* name);    // through gResolver
void* resolve_system(const char* name);  // from the running process

// One cached entry point. `Resolve` says where its name is looked up.
template <class Sig, void* (*Resolve)(const char*) = resolve_host>
class EntryPoint;

template <class R, class... A, void* (*Resolve)(const char*)>
class EntryPoint<R(A...), Resolve> {
 public:
  using Fn = R (*)(A...);
  constexpr explicit EntryPoint(const char* name) : name_(name) {}

  Fn get() {
    if (fn_ == nullptr) fn_ = reinterpret_cast<Fn>(Resolve(name_));
    return fn_;
  }
  bool available() { return get() != nullptr; }

  R operator()(A... args) {
    Fn fn = get();
    if constexpr (std::is_void_v<R>) {
      if (fn != nullptr) fn(args...);
    } else {
      return fn != nullptr ? fn(args...) : R{};
    }
  }

 private:
  const char* name_;
  Fn fn_ = nullptr;
};

template <class Sig>
using SystemFunction = EntryPoint<Sig, resolve_system>;

namespace sig = host_abi::sig;

extern EntryPoint<sig::REALGetRBVersion>             REALGetRBVersion;
extern EntryPoint<sig::RegisterPluginVersion>        RegisterPluginVersion;
extern EntryPoint<sig::PluginRegisterClass>          PluginRegisterClass;
extern EntryPoint<sig::PluginRegisterClassExtension> PluginRegisterClassExtension;
extern EntryPoint<sig::PluginRegisterModule>         PluginRegisterModule;
extern EntryPoint<sig::PluginRegisterMethod>         PluginRegisterMethod;
extern EntryPoint<sig::PluginNewInstance>            PluginNewInstance;
extern EntryPoint<sig::REALLockObject>               REALLockObject;
extern EntryPoint<sig::REALUnlockObject>             REALUnlockObject;
extern EntryPoint<sig::REALGetClassData>             REALGetClassData;
extern EntryPoint<sig::REALLoadObjectMethod>         REALLoadObjectMethod;
extern EntryPoint<sig::REALLoadGlobalMethod>         REALLoadGlobalMethod;
extern EntryPoint<sig::pluginObjectType>             pluginObjectType;
extern EntryPoint<sig::REALGetPropValueBool>         REALGetPropValueBool;
extern EntryPoint<sig::REALGetPropValueInt>          REALGetPropValueInt;
extern EntryPoint<sig::REALSetPropValueInt>          REALSetPropValueInt;
extern EntryPoint<sig::REALSetPropValueUInt32>       REALSetPropValueUInt32;
extern EntryPoint<sig::REALSetPropValueString>       REALSetPropValueString;
extern EntryPoint<sig::newPicture>                   newPicture;
extern EntryPoint<sig::REALLockPictureDescription>   REALLockPictureDescription;
extern EntryPoint<sig::lockPictureDescription>       lockPictureDescription;
extern EntryPoint<sig::unlockPictureDescription>     unlockPictureDescription;
extern EntryPoint<sig::REALPictureClearCache>        REALPictureClearCache;
extern EntryPoint<sig::REALGetPictureMask>           REALGetPictureMask;
extern EntryPoint<sig::REALBuildPictureFromBuffer>   REALBuildPictureFromBuffer;
extern EntryPoint<sig::pluginPictureGraphicsGetter>  pluginPictureGraphicsGetter;
extern EntryPoint<sig::RuntimeGraphicsDrawPicture>   RuntimeGraphicsDrawPicture;
extern EntryPoint<sig::RuntimeGraphicsDrawLine>      RuntimeGraphicsDrawLine;
extern EntryPoint<sig::newMemoryBlock>               newMemoryBlock;
extern EntryPoint<sig::memoryBlockGetPtr>            memoryBlockGetPtr;
extern EntryPoint<sig::memoryBlockGetSize>           memoryBlockGetSize;
extern EntryPoint<sig::REALBuildString>              REALBuildString;
extern EntryPoint<sig::REALBuildStringWithEncoding>  REALBuildStringWithEncoding;
extern EntryPoint<sig::REALSetStringEncoding>        REALSetStringEncoding;
extern EntryPoint<sig::REALGetStringEncoding>        REALGetStringEncoding;
extern EntryPoint<sig::REALConvertString>            REALConvertString;
extern EntryPoint<sig::REALLockString>               REALLockString;
extern EntryPoint<sig::REALUnlockString>             REALUnlockString;
extern EntryPoint<sig::PluginGetStringData>          PluginGetStringData;
extern EntryPoint<sig::PluginDisposeStringData>      PluginDisposeStringData;
extern EntryPoint<sig::StringGetCString>             StringGetCString;
extern EntryPoint<sig::RuntimeRaiseException>        RuntimeRaiseException;

// Bitmap-context queries of the system, bound from the running process.
extern SystemFunction<sig::CGBitmapContextGetData> CGBitmapContextGetData;
extern SystemFunction<sig::CGBitmapContextGetWidth> CGBitmapContextGetWidth;
extern SystemFunction<sig::CGBitmapContextGetHeight> CGBitmapContextGetHeight;
extern SystemFunction<sig::CGBitmapContextGetBytesPerRow> CGBitmapContextGetBytesPerRow;
extern SystemFunction<sig::CGBitmapContextGetBitsPerPixel> CGBitmapContextGetBitsPerPixel;
extern SystemFunction<sig::CGBitmapContextGetAlphaInfo> CGBitmapContextGetAlphaInfo;

// The system framework through which the legacy graphics-world functions were
// reached. This platform has none: the bundle is null, and so is every function
// bound through it ("UnlockPixels" among them).
void* LoadFrameworkBundle();
void* resolve_framework(const char* name);
extern EntryPoint<void(void*), resolve_framework> UnlockPixels;

// ---- composite services over the entry points ----

// Raises a host exception of class `className` (a "RuntimeException" when the
// host has no such class) carrying `message` (may be null). The host delivers it
// when the plug-in function returns; the caller then returns its neutral result.
void RaiseException(const char* className, const char* message);

// A host string in UTF-8 built from `length` bytes of text in `encoding`; null for
// an empty, negative or over-long text. 0xFFFF keeps the bytes as they are.
REALstring REALBuildUnicodeString(const void* data, int64_t length, uint32_t encoding);

// The bytes of `string` in `encoding` (0xFFFF: as stored). On success `out` must
// be handed back, once, with REALDisposeStringData, which ends every hold taken
// for it.
bool REALGetStringData(REALstring string, uint32_t encoding, REALstringData* out);
void REALDisposeStringData(REALstringData* data);

// The same through "REALLockString" alone (what hosts before 2012.0 offer, and
// what REALGetStringData falls back to without "PluginGetStringData"); the data
// goes back with unlock_string_data, which ends with "REALUnlockString".
bool lock_string_data(REALstring string, uint32_t encoding, REALstringData* out);
void unlock_string_data(REALstringData* data);

}  // namespace picture
