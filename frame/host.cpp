// The binding of host entry points and system functions, and host exceptions.
#include "frame/host.h"

#include <dlfcn.h>

#include <cstring>

namespace picture {

REALresolver gResolver = nullptr;
double rbversion_rbversion = 0.0;
int32_t CurrentREALControlVersion = 13;

void* resolve_host(const char* name) { return gResolver != nullptr ? gResolver(name) : nullptr; }

void* resolve_system(const char* name) { return dlsym(RTLD_DEFAULT, name); }

void* LoadFrameworkBundle() { return nullptr; }

void* resolve_framework(const char* name) {
  // Functions are looked up in the bundle; without one there is nothing to bind.
  (void)name;
  return LoadFrameworkBundle();
}

EntryPoint<sig::REALGetRBVersion>             REALGetRBVersion{"REALGetRBVersion"};
EntryPoint<sig::RegisterPluginVersion>        RegisterPluginVersion{"RegisterPluginVersion"};
EntryPoint<sig::PluginRegisterClass>          PluginRegisterClass{"PluginRegisterClass"};
EntryPoint<sig::PluginRegisterClassExtension> PluginRegisterClassExtension{"PluginRegisterClassExtension"};
EntryPoint<sig::PluginRegisterModule>         PluginRegisterModule{"PluginRegisterModule"};
EntryPoint<sig::PluginRegisterMethod>         PluginRegisterMethod{"PluginRegisterMethod"};
EntryPoint<sig::PluginNewInstance>            PluginNewInstance{"PluginNewInstance"};
EntryPoint<sig::REALLockObject>               REALLockObject{"REALLockObject"};
EntryPoint<sig::REALUnlockObject>             REALUnlockObject{"REALUnlockObject"};
EntryPoint<sig::REALGetClassData>             REALGetClassData{"REALGetClassData"};
EntryPoint<sig::REALLoadObjectMethod>         REALLoadObjectMethod{"REALLoadObjectMethod"};
EntryPoint<sig::REALLoadGlobalMethod>         REALLoadGlobalMethod{"REALLoadGlobalMethod"};
EntryPoint<sig::pluginObjectType>             pluginObjectType{"pluginObjectType"};
EntryPoint<sig::REALGetPropValueBool>         REALGetPropValueBool{"REALGetPropValueBool"};
EntryPoint<sig::REALGetPropValueInt>          REALGetPropValueInt{"REALGetPropValueInt"};
EntryPoint<sig::REALSetPropValueInt>          REALSetPropValueInt{"REALSetPropValueInt"};
EntryPoint<sig::REALSetPropValueUInt32>       REALSetPropValueUInt32{"REALSetPropValueUInt32"};
EntryPoint<sig::REALSetPropValueString>       REALSetPropValueString{"REALSetPropValueString"};
EntryPoint<sig::newPicture>                   newPicture{"newPicture"};
EntryPoint<sig::REALLockPictureDescription>   REALLockPictureDescription{"REALLockPictureDescription"};
EntryPoint<sig::lockPictureDescription>       lockPictureDescription{"lockPictureDescription"};
EntryPoint<sig::unlockPictureDescription>     unlockPictureDescription{"unlockPictureDescription"};
EntryPoint<sig::REALPictureClearCache>        REALPictureClearCache{"REALPictureClearCache"};
EntryPoint<sig::REALGetPictureMask>           REALGetPictureMask{"REALGetPictureMask"};
EntryPoint<sig::REALBuildPictureFromBuffer>   REALBuildPictureFromBuffer{"REALBuildPictureFromBuffer"};
EntryPoint<sig::pluginPictureGraphicsGetter>  pluginPictureGraphicsGetter{"pluginPictureGraphicsGetter"};
EntryPoint<sig::RuntimeGraphicsDrawPicture>   RuntimeGraphicsDrawPicture{"RuntimeGraphicsDrawPicture"};
EntryPoint<sig::RuntimeGraphicsDrawLine>      RuntimeGraphicsDrawLine{"RuntimeGraphicsDrawLine"};
EntryPoint<sig::newMemoryBlock>               newMemoryBlock{"newMemoryBlock"};
EntryPoint<sig::memoryBlockGetPtr>            memoryBlockGetPtr{"memoryBlockGetPtr"};
EntryPoint<sig::memoryBlockGetSize>           memoryBlockGetSize{"memoryBlockGetSize"};
EntryPoint<sig::REALBuildString>              REALBuildString{"REALBuildString"};
EntryPoint<sig::REALBuildStringWithEncoding>  REALBuildStringWithEncoding{"REALBuildStringWithEncoding"};
EntryPoint<sig::REALSetStringEncoding>        REALSetStringEncoding{"REALSetStringEncoding"};
EntryPoint<sig::REALGetStringEncoding>        REALGetStringEncoding{"REALGetStringEncoding"};
EntryPoint<sig::REALConvertString>            REALConvertString{"REALConvertString"};
EntryPoint<sig::REALLockString>               REALLockString{"REALLockString"};
EntryPoint<sig::REALUnlockString>             REALUnlockString{"REALUnlockString"};
EntryPoint<sig::PluginGetStringData>          PluginGetStringData{"PluginGetStringData"};
EntryPoint<sig::PluginDisposeStringData>      PluginDisposeStringData{"PluginDisposeStringData"};
EntryPoint<sig::StringGetCString>             StringGetCString{"StringGetCString"};
EntryPoint<sig::RuntimeRaiseException>        RuntimeRaiseException{"RuntimeRaiseException"};

SystemFunction<sig::CGBitmapContextGetData>         CGBitmapContextGetData{"CGBitmapContextGetData"};
SystemFunction<sig::CGBitmapContextGetWidth>        CGBitmapContextGetWidth{"CGBitmapContextGetWidth"};
SystemFunction<sig::CGBitmapContextGetHeight>       CGBitmapContextGetHeight{"CGBitmapContextGetHeight"};
SystemFunction<sig::CGBitmapContextGetBytesPerRow>  CGBitmapContextGetBytesPerRow{"CGBitmapContextGetBytesPerRow"};
SystemFunction<sig::CGBitmapContextGetBitsPerPixel> CGBitmapContextGetBitsPerPixel{"CGBitmapContextGetBitsPerPixel"};
SystemFunction<sig::CGBitmapContextGetAlphaInfo>    CGBitmapContextGetAlphaInfo{"CGBitmapContextGetAlphaInfo"};

EntryPoint<void(void*), resolve_framework> UnlockPixels{"UnlockPixels"};

void RaiseException(const char* className, const char* message) {
  REALstring text = nullptr;
  if (message != nullptr) {
    text = REALBuildUnicodeString(message, static_cast<int64_t>(std::strlen(message)),
                                  host_abi::kEncodingASCII);
  }
  REALobject exception = PluginNewInstance(className);
  if (exception == nullptr) exception = PluginNewInstance("RuntimeException");
  if (exception != nullptr) {
    REALSetPropValueString(exception, "Message", text);
    REALSetPropValueInt(exception, "ErrorNumber", 0);
    RuntimeRaiseException(exception);
    REALUnlockObject(exception);
  }
  if (text != nullptr) REALUnlockString(text);
}

}  // namespace picture
