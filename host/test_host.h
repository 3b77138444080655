// The test host: a real host for the plug-in, in process. It answers every entry
// point of the host interface through its resolver, lends pictures in every pixel
// layout a host can lend, records what the plug-in registers, calls registered
// functions by their declarations (libffi), and keeps a ledger of every reference,
// description lock, string data and exception so that a test can prove that the
// plug-in returned everything it took.
//
// One Host exists at a time (the entry points are plain C functions that reach
// the current one). Constructing a Host makes it current; destroying it unloads
// the plug-in copy it loaded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "frame/host_interface.h"

namespace testhost {

enum class HostKind { kDesktop, kConsole, kWeb };

struct HostConfig {
  // Host version returned by "REALGetRBVersion"; nullopt: the host does not answer it.
  std::optional<double> version = 2019.011;
  HostKind kind = HostKind::kDesktop;
  // Entry points (resolver names) that the resolver answers with null.
  std::set<std::string> missing;
  // Desktop: alpha information of the bitmap context of pictures made by "newPicture" (5 or 6).
  uint32_t newPictureAlphaInfo = 5;
  // Desktop: alpha information of pictures with alpha channel made by the "Picture"
  // constructor (1 or 2; premultiplied).
  uint32_t alphaPictureAlphaInfo = 1;
  // Pixel rows, memory blocks and string data end at an inaccessible page.
  bool guardPages = true;
  // For benchmarks: "newPicture" and the Picture constructor take their pixel memory
  // from the memory of pictures they made before and since released, unfilled (the
  // pixels hold whatever the last picture left), so that timing a call measures the
  // plug-in's pass and not the page faults of a fresh allocation. "PluginGetStringData"
  // then lends a string's stored bytes instead of a copy.
  bool picturePool = false;
};

// One pixel word by the roles of its bytes. Bitmap layouts (alpha information 0..7):
// r, g, b and a are the bytes the layout assigns (for codes 5 and 6, `a` is the
// skipped byte; codes 0 and 7 are read as 1 and 2 are). Row-table layout (code 8):
// r = bits 16-23, g = 8-15, b = 0-7, a = bits 24-31 (7-bit transparency, 0 opaque).
struct Pixel {
  uint8_t r = 0, g = 0, b = 0, a = 0;
  bool operator==(const Pixel&) const = default;
};

// A picture for a test to lend to the plug-in. A width or height of 0 makes an
// empty picture (a context or row table of that size), which no host makes itself.
struct PictureSpec {
  int32_t width = 1;
  int32_t height = 1;
  // Desktop hosts: the bitmap context's alpha information (0..7) and bits per pixel.
  uint32_t alphaInfo = 5;
  uint32_t bitsPerPixel = 32;
  // Desktop hosts: extra bytes at the end of every row (a multiple of 4).
  int32_t rowPadding = 0;
  // Value of the picture's "HasAlphaChannel" property.
  bool hasAlphaChannel = false;
  // Desktop hosts: the picture has content but no pixel buffer. Its description
  // cannot be locked (any kind); it can only be drawn with "DrawPicture" or read
  // back by the test.
  bool drawOnly = false;
  // The picture has a separate mask picture (same size, opaque, filled black).
  bool withMask = false;
  // Initial value of every pixel, written per layout (default: opaque white, that
  // is a = 255 in bitmap layouts and a = 0 in the row-table layout).
  std::optional<Pixel> fill;
};

class Host;

// One owned reference to a host object (picture, memory block, graphics, exception,
// plug-in class instance): released when the Ref goes. Copying takes another reference.
class Ref {
 public:
  Ref() = default;
  static Ref Adopt(REALobject object);  // takes over an existing reference
  static Ref Retain(REALobject object);  // takes a new reference
  Ref(const Ref& other);
  Ref(Ref&& other) noexcept;
  Ref& operator=(Ref other) noexcept;
  ~Ref();

  REALobject get() const { return object_; }
  REALpicture picture() const { return reinterpret_cast<REALpicture>(object_); }
  REALmemoryBlock block() const { return reinterpret_cast<REALmemoryBlock>(object_); }
  explicit operator bool() const { return object_ != nullptr; }
  REALobject release();  // gives the reference up to the caller

 private:
  explicit Ref(REALobject object) : object_(object) {}
  REALobject object_ = nullptr;
};

// A value as the host's program sees it: an argument to, or a result of, a call.
// Integers, UInt32s and colours are int64_t (a colour is 0x00RRGGBB); strings are
// their bytes (converted to UTF-8 when the host knows their encoding); objects
// (pictures, memory blocks, class instances) are owned references; monostate is
// nil (or no value).
using Value = std::variant<std::monostate, int64_t, double, bool, std::string, Ref>;

struct Exception {
  std::string className;  // e.g. "NilObjectException"
  std::string message;    // its "Message" property
  int32_t errorNumber = 0;
};

struct CallResult {
  std::string error;  // non-empty: the call was not made (unknown method, wrong arguments)
  Value value;        // the result; monostate for nil or a method without result
  std::vector<Value> args;  // every argument after the call (byref ones as the callee left them)
  std::optional<Exception> exception;  // raised during the call, delivered at its return
  bool ok() const { return error.empty(); }
};

// ---- registrations as the host decoded them (in the layout of the announced version) ----

struct MethodRecord {
  std::string declaration;
  REALproc function = nullptr;
  REALproc setter = nullptr;
  uint32_t flags = 0;
  size_t attributeCount = 0;
};

struct PropertyRecord {
  std::string group;  // empty when null
  std::string name;
  std::string type;
  uint32_t flags = 0;
  REALproc getter = nullptr;
  REALproc setter = nullptr;
  int32_t param = 0;
  bool direct() const;  // getter and setter are (REALproc)-1
};

struct ConstantRecord {
  std::string declaration;
  uint32_t flags = 0;
};

struct ClassRecord {
  int32_t layout = 0;      // interface version in force when it was registered
  const void* record = nullptr;  // the address the plug-in passed
  uint32_t version = 0;
  std::string name;
  std::string superName;
  size_t dataSize = 0;
  REALproc constructor = nullptr;
  REALproc destructor = nullptr;
  uint32_t flags = 0;
  std::vector<PropertyRecord> properties;
  std::vector<MethodRecord> methods;
  std::vector<std::string> events;  // declarations
  std::vector<ConstantRecord> constants;
  std::vector<PropertyRecord> sharedProperties;
  std::vector<MethodRecord> sharedMethods;
};

struct ModuleRecord {
  int32_t layout = 0;
  const void* record = nullptr;
  uint32_t version = 0;
  std::string name;
  std::vector<MethodRecord> methods;
  std::vector<ConstantRecord> constants;
  std::vector<PropertyRecord> properties;
  size_t structureCount = 0;
  size_t enumCount = 0;
};

struct Registrations {
  std::optional<int32_t> pluginVersion;  // argument of "RegisterPluginVersion"
  std::vector<ClassRecord> classes;      // "PluginRegisterClass"
  std::vector<ClassRecord> extensions;   // "PluginRegisterClassExtension"
  std::vector<ModuleRecord> modules;     // "PluginRegisterModule"
  std::vector<MethodRecord> methods;     // "PluginRegisterMethod"
  // Every registration call in order: "class NAME", "extension NAME", "module NAME",
  // "method DECLARATION".
  std::vector<std::string> order;
};

// A registered function as a program of the host can call it.
struct Callable {
  std::string declaration;  // as the host shows it (extends/assigns parameters included)
  std::string owner;        // "Picture" (extension or module method with extends), a class name, a module name, or "" for a global method
  bool isSetter = false;    // takes an "assigns" value
};

class Host {
 public:
  explicit Host(HostConfig config = {});
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  static Host& Current();
  const HostConfig& config() const;

  // Loads a private copy of the plug-in library (so its process-wide state starts
  // fresh for this host) and calls its REALPluginMain with this host's resolver.
  // False, with the reason in `error`, when the file cannot be loaded or lacks the entry.
  bool LoadPlugin(const std::string& path, std::string* error = nullptr);
  void* Resolve(const char* name) const;  // what the plug-in's resolver answers
  const Registrations& registrations() const;
  std::vector<Callable> Callables() const;  // every registered method and class member

  // ---- calls, as a program of the host makes them ----
  // Overloads are chosen by name (case-insensitive), argument count (declared
  // defaults fill missing trailing arguments) and argument types. Text arguments
  // become host strings tagged UTF-8 when they are valid UTF-8, else the unknown
  // encoding.
  CallResult Call(std::string_view name, std::vector<Value> args);  // global methods
  // A null `self` is a nil picture: only Picture extension methods are candidates.
  CallResult CallMethod(REALobject self, std::string_view name, std::vector<Value> args);
  CallResult Assign(REALobject self, std::string_view name, std::vector<Value> args, Value value);
  // The one registration whose declaration (as registered) is exactly `declaration`.
  // `self` goes first when given, even to a global method (some plug-ins register
  // picture functions as globals); a setter takes its value as the last argument.
  CallResult CallDeclared(std::string_view declaration, REALobject self, std::vector<Value> args);
  // Plug-in class instances: "PluginNewInstance" as a program does it, and properties
  // by name (direct ones at their offset, the others through getter and setter).
  Ref NewInstance(const std::string& className);
  CallResult GetProperty(REALobject self, std::string_view name);
  CallResult SetProperty(REALobject self, std::string_view name, Value value);

  // ---- pictures ----
  Ref NewPicture(const PictureSpec& shape);
  int32_t Width(REALpicture picture) const;
  int32_t Height(REALpicture picture) const;
  bool HasAlphaChannel(REALpicture picture) const;
  // Layout code: a bitmap context's alpha information (0..7), 8 for row-table
  // pictures; -1 for a draw-only picture.
  int32_t PixelFormat(REALpicture picture) const;
  Pixel GetPixel(REALpicture picture, int32_t x, int32_t y) const;
  void SetPixel(REALpicture picture, int32_t x, int32_t y, Pixel pixel);
  // Row y whole, as GetPixel and SetPixel give it pixel by pixel; `row` holds the
  // picture's width of pixels (a fault otherwise).
  void GetRow(REALpicture picture, int32_t y, std::span<Pixel> row) const;
  void SetRow(REALpicture picture, int32_t y, std::span<const Pixel> row);
  uint32_t Word(REALpicture picture, int32_t x, int32_t y) const;  // the raw 32-bit word
  REALpicture Mask(REALpicture picture) const;  // borrowed; null when none
  // Opaque colour at (x, y) as 0x00RRGGBB decoded by the layout (desktop premultiplied
  // layouts are returned as stored).
  uint32_t Color(REALpicture picture, int32_t x, int32_t y) const;
  // Successful description locks of the picture so far, and REALPictureClearCache calls on it.
  int LockCount(REALpicture picture) const;
  int ClearCacheCount(REALpicture picture) const;
  // Desktop pictures made with rowPadding: the padding bytes still hold the host's fill.
  bool PaddingIntact(REALpicture picture) const;

  // ---- memory blocks and strings ----
  Ref NewMemoryBlock(int32_t size);
  std::span<uint8_t> Bytes(REALmemoryBlock block) const;
  REALstring NewString(std::string_view bytes, uint32_t encoding);  // one reference for the caller
  std::string StringBytes(REALstring string) const;
  uint32_t StringEncoding(REALstring string) const;
  void ReleaseString(REALstring string);

  // ---- ledger ----
  // Every fault seen so far and every reference, lock, string data or exception
  // still outstanding, one line each, naming the object and where it came from.
  // Empty when the plug-in balanced everything.
  std::vector<std::string> LedgerProblems() const;
  // An exception raised outside a call made through the host (for instance while a
  // test called a function it got from REALLoadObjectMethod itself): takes the
  // oldest one off the ledger and drops the host's reference.
  std::optional<Exception> TakeRaisedException();
  // Unlocks of a picture description that was not locked (tolerated by hosts).
  int UnmatchedUnlocks() const;
  // How often each entry point was called, by resolver name (host methods reached
  // through REALLoadObjectMethod / REALLoadGlobalMethod count as "Constructor",
  // "DrawPicture" and "LenB").
  int CallCount(std::string_view entryPoint) const;

  // ---- faults a real host can give ----
  // From now on the `n`th call of an entry point that a host can fail (of
  // `entryPoint` alone when given) fails as a real host's does: null, false or 0,
  // and the Picture constructor leaves its picture unconstructed. One call fails
  // at most; n = 0 turns the switch off. Fallible: newPicture, the Picture
  // constructor, PluginNewInstance, both description locks, REALGetPictureMask,
  // REALBuildPictureFromBuffer, pluginPictureGraphicsGetter, newMemoryBlock,
  // memoryBlockGetPtr, the string builders and REALConvertString, StringGetCString,
  // PluginGetStringData, the property getters and setters, REALLoadObjectMethod,
  // REALLoadGlobalMethod, pluginObjectType and the six bitmap-context queries.
  void FailNthCall(int n, std::string_view entryPoint = {});
  // The call that failed since the switch was set ("" when none did), with its
  // context, and how many fallible calls were counted.
  std::string FailedCall() const;
  int FallibleCalls() const;
  // A symbol of the loaded plug-in copy (for test builds that export controls).
  void* PluginSymbol(const char* name) const;

  struct Impl;
  Impl& impl() { return *impl_; }

 private:
  Impl* impl_;
};

}  // namespace testhost
