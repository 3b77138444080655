// The host's plug-in interface as this project builds it: handle types, the
// registration records (current and version-9 layouts), picture descriptions,
// string data, text encodings and the C signature of every host entry point.
// Both the plug-in and the test host compile against this one header, and the
// signatures below are what the resolver's untyped pointers are cast to.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

struct REALobjectStruct;
struct REALpictureStruct;
struct REALstringStruct;
struct REALmemoryBlockStruct;

using REALobject = REALobjectStruct*;
using REALpicture = REALpictureStruct*;
using REALstring = REALstringStruct*;
using REALmemoryBlock = REALmemoryBlockStruct*;

// Every function pointer in a record is stored as a REALproc.
using REALproc = void (*)(void);
using RBBoolean = int8_t;
using REALresolver = void* (*)(const char* name);

// ---- registration records, current layout (interface versions 10 to 13) ----

struct REALmethodDefinition {
  REALproc function;
  REALproc setterFunction;
  const char* declaration;
  uint32_t flags;
  size_t attributeCount;
  void* attributes;
};

struct REALproperty {
  const char* group;
  const char* name;
  const char* type;
  uint32_t flags;
  REALproc getter;  // (REALproc)-1 with setter (REALproc)-1: direct access at `param`
  REALproc setter;
  int32_t param;
  REALproc editor;
  size_t enumCount;
  const char** enumEntries;
  size_t attributeCount;
  void* attributes;
};

struct REALevent {
  const char* declaration;
  intptr_t forSystemUse;
  size_t attributeCount;
  void* attributes;
};

struct REALeventInstance {
  const char* name;
  REALproc implementation;
};

struct REALconstant {
  const char* declaration;
  void* reserved;
  uint32_t flags;
  size_t attributeCount;
  void* attributes;
};

struct REALstructure {
  const char* name;
  uint32_t flags;
  const char** fields;
  size_t fieldCount;
  size_t attributeCount;
  void* attributes;
};

struct REALenum {
  const char* name;
  const char* type;
  uint32_t flags;
  const char** fields;
  size_t fieldCount;
  size_t attributeCount;
  void* attributes;
};

struct REALclassDefinition {
  uint32_t version;
  const char* name;
  const char* superName;
  size_t dataSize;
  intptr_t forSystemUse;
  REALproc constructor;
  REALproc destructor;
  REALproperty* properties;
  size_t propertyCount;
  REALmethodDefinition* methods;
  size_t methodCount;
  REALevent* events;
  size_t eventCount;
  REALeventInstance* eventInstances;
  size_t eventInstanceCount;
  const char* interfaces;
  void* bindDescriptions;
  size_t bindDescriptionCount;
  REALconstant* constants;
  size_t constantCount;
  uint32_t flags;
  REALproperty* sharedProperties;
  size_t sharedPropertyCount;
  REALmethodDefinition* sharedMethods;
  size_t sharedMethodCount;
  void* delegates;
  size_t delegateCount;
  void* enums;
  size_t enumCount;
};

struct REALmoduleDefinition {
  uint32_t version;
  const char* name;
  REALmethodDefinition* methods;
  size_t methodCount;
  REALconstant* constants;
  size_t constantCount;
  REALproperty* properties;
  size_t propertyCount;
  REALstructure* structures;
  size_t structureCount;
  REALenum* enums;
  size_t enumCount;
  void* attributes;
  size_t attributeCount;
  void* delegates;
  size_t delegateCount;
  void* classes;
  size_t classCount;
  void* interfaces;
  size_t interfaceCount;
  void* modules;
  size_t moduleCount;
  void* controls;
  size_t controlCount;
};

// ---- version-9 layouts: prefixes of the records above ----

struct REALmethodDefinition9 {
  REALproc function;
  REALproc setterFunction;
  const char* declaration;
  uint32_t flags;
};

struct REALproperty9 {
  const char* group;
  const char* name;
  const char* type;
  uint32_t flags;
  REALproc getter;
  REALproc setter;
  int32_t param;
  REALproc editor;
  size_t enumCount;
  const char** enumEntries;
};

struct REALevent9 {
  const char* declaration;
  intptr_t forSystemUse;
};

struct REALconstant9 {
  const char* declaration;
  void* reserved;
  uint32_t flags;
};

struct REALstructure9 {
  const char* name;
  uint32_t flags;
  const char** fields;
  size_t fieldCount;
};

struct REALenum9 {
  const char* name;
  const char* type;
  uint32_t flags;
  const char** fields;
  size_t fieldCount;
};

struct REALclassDefinition9 {
  uint32_t version;
  const char* name;
  const char* superName;
  size_t dataSize;
  intptr_t forSystemUse;
  REALproc constructor;
  REALproc destructor;
  REALproperty9* properties;
  size_t propertyCount;
  REALmethodDefinition9* methods;
  size_t methodCount;
  REALevent9* events;
  size_t eventCount;
  REALeventInstance* eventInstances;
  size_t eventInstanceCount;
  const char* interfaces;
  void* bindDescriptions;
  size_t bindDescriptionCount;
  REALconstant9* constants;
  size_t constantCount;
  uint32_t flags;
  REALproperty9* sharedProperties;
  size_t sharedPropertyCount;
  REALmethodDefinition9* sharedMethods;
  size_t sharedMethodCount;
};

struct REALmoduleDefinition9 {
  uint32_t version;
  const char* name;
  REALmethodDefinition9* methods;
  size_t methodCount;
  REALconstant9* constants;
  size_t constantCount;
  REALproperty9* properties;
  size_t propertyCount;
  REALstructure9* structures;
  size_t structureCount;
  REALenum9* enums;
  size_t enumCount;
};

// ---- pictures ----

struct REALpictureDescription {
  uint32_t kind;
  void* handle;
  int32_t width;
  int32_t height;
  int32_t depth;
  int8_t transparent;
};

// Handle of a kind-10 description.
struct REALrowTableImage {
  void* paletteRows;  // null for a true-colour image
  uint32_t** rowTable;
  void* companion;  // the host's bookkeeping, non-null
};

// ---- strings ----

struct REALstringData {
  const void* data;
  size_t length;
  uint32_t encoding;
  const void* private1;
  uint32_t private2;
};

}  // extern "C"

namespace host_abi {

// Picture description kinds.
inline constexpr uint32_t kGraphicsWorld = 4;
inline constexpr uint32_t kBitmapContext = 8;
inline constexpr uint32_t kRowTableImage = 10;

// Text encodings.
inline constexpr uint32_t kEncodingUTF8 = 0x08000100;
inline constexpr uint32_t kEncodingUTF16 = 0x0100;
inline constexpr uint32_t kEncodingUTF32 = 0x0c000100;
inline constexpr uint32_t kEncodingWindowsLatin1 = 0x0500;
inline constexpr uint32_t kEncodingASCII = 0x0600;
inline constexpr uint32_t kEncodingUnknown = 0xFFFF;

// Getter and setter value of a property that the host reads and writes directly.
inline const REALproc kDirectAccess = reinterpret_cast<REALproc>(intptr_t{-1});

// C signatures of the host entry points, by their resolver names.
namespace sig {
using REALGetRBVersion = double();
using RegisterPluginVersion = void(int32_t);
using PluginRegisterClass = void(REALclassDefinition*);
using PluginRegisterClassExtension = void(REALclassDefinition*);
using PluginRegisterModule = void(REALmoduleDefinition*);
using PluginRegisterMethod = void(REALmethodDefinition*);
using PluginNewInstance = REALobject(const char*);
using REALLockObject = void(REALobject);
using REALUnlockObject = void(REALobject);
using REALGetClassData = void*(REALobject, REALclassDefinition*);
using REALLoadObjectMethod = REALproc(REALobject, const char*);
using REALLoadGlobalMethod = REALproc(const char*, const char*);
using pluginObjectType = void*(const char*);
using REALGetPropValueBool = RBBoolean(REALobject, const char*, RBBoolean*);
using REALGetPropValueInt = RBBoolean(REALobject, const char*, int32_t*);
using REALSetPropValueInt = RBBoolean(REALobject, const char*, int32_t);
using REALSetPropValueUInt32 = RBBoolean(REALobject, const char*, uint32_t);
using REALSetPropValueString = RBBoolean(REALobject, const char*, REALstring);
using newPicture = REALpicture(int32_t, int32_t, int32_t);
using REALLockPictureDescription = RBBoolean(REALpicture, REALpictureDescription*, uint32_t);
using lockPictureDescription = RBBoolean(REALpicture, REALpictureDescription*);
using unlockPictureDescription = void(REALpicture);
using REALPictureClearCache = void(REALpicture);
using REALGetPictureMask = REALpicture(REALpicture, RBBoolean);
using REALBuildPictureFromBuffer = REALpicture(int32_t, int32_t, int32_t, void*, int32_t);
using pluginPictureGraphicsGetter = REALobject(REALpicture);
using RuntimeGraphicsDrawPicture = void(REALobject, REALpicture, int32_t, int32_t, int32_t, int32_t,
                                        int32_t, int32_t, int32_t, int32_t);
using RuntimeGraphicsDrawLine = void(REALobject, int32_t, int32_t, int32_t, int32_t);
using newMemoryBlock = REALmemoryBlock(int32_t);
using memoryBlockGetPtr = void*(REALmemoryBlock);
using memoryBlockGetSize = int32_t(REALmemoryBlock);
using REALBuildString = REALstring(const void*, int32_t);
using REALBuildStringWithEncoding = REALstring(const void*, int32_t, uint32_t);
using REALSetStringEncoding = void(REALstring, uint32_t);
using REALGetStringEncoding = uint32_t(REALstring);
using REALConvertString = REALstring(REALstring, uint32_t);
using REALLockString = void(REALstring);
using REALUnlockString = void(REALstring);
using PluginGetStringData = RBBoolean(REALstring, uint32_t, REALstringData*);
using PluginDisposeStringData = void(REALstringData*);
using StringGetCString = const char*(REALstring);
using RuntimeRaiseException = void(REALobject);

// Host methods reached through REALLoadObjectMethod / REALLoadGlobalMethod.
using PictureConstructor = void(REALobject, int32_t, int32_t);  // "Constructor(width as integer, height as integer)"
using DrawPicture = RuntimeGraphicsDrawPicture;                 // graphics "DrawPicture(...)"
using LenB = int32_t(REALstring);                               // "LenB( s as string ) as integer"

// System bitmap-context queries, bound by name from the running process.
using CGBitmapContextGetData = void*(void*);
using CGBitmapContextGetWidth = size_t(void*);
using CGBitmapContextGetHeight = size_t(void*);
using CGBitmapContextGetBytesPerRow = size_t(void*);
using CGBitmapContextGetBitsPerPixel = size_t(void*);
using CGBitmapContextGetAlphaInfo = uint32_t(void*);
}  // namespace sig

}  // namespace host_abi
