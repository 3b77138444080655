// The test host's inside: the objects behind every handle it lends, the state of
// one Host (Host::Impl), and the helpers the entry-point files share. A handle is
// the address of its object; a released object stays as a tombstone for the next
// kTombstones releases, so that a later use of its handle is caught and reported
// instead of touching freed memory (pixel memory goes at release). Older
// tombstones are freed, so that a long run stays within bounded memory.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/declaration.h"
#include "host/guarded_memory.h"
#include "host/test_host.h"

namespace testhost::internal {

enum class ObjectKind { kPicture, kGraphics, kMemoryBlock, kString, kException, kInstance };

struct Object {
  explicit Object(ObjectKind k) : kind(k) {}
  virtual ~Object() = default;
  const ObjectKind kind;
  int id = 0;
  std::string origin;  // "newPicture 10x10, during InvertZRK"
  int refs = 1;
  bool released = false;
};

// What the six exported bitmap-context queries read.
struct BitmapContext {
  uint8_t* data = nullptr;
  size_t width = 0, height = 0, bytes_per_row = 0, bits_per_pixel = 32;
  uint32_t alpha_info = 0;
};

inline constexpr int32_t kRowTableFormat = 8;

struct PictureObject : Object {
  PictureObject() : Object(ObjectKind::kPicture) {}
  bool constructed = false;  // false: a "Picture" instance before its constructor ran
  int32_t width = 0, height = 0;
  bool has_alpha = false;
  bool draw_only = false;
  int32_t format = 5;  // bitmap alpha information 0..7, or kRowTableFormat
  int32_t bytes_per_row = 0;
  bool pooled = false;               // pixel memory goes back to the host's pool at release
  GuardedBuffer buffer;              // bitmap layouts: all rows
  std::vector<GuardedBuffer> rows;   // row-table layout: one block per row
  std::vector<uint32_t*> row_table;
  REALrowTableImage row_image{};
  BitmapContext context;
  PictureObject* mask = nullptr;  // owns one reference
  int locks = 0;                  // description locks held now
  int lock_total = 0;             // successful locks so far
  int clear_cache = 0;
  std::string last_lock;  // context of the latest lock, for the ledger

  uint8_t* row(int32_t y) const {
    return format == kRowTableFormat ? reinterpret_cast<uint8_t*>(row_table[static_cast<size_t>(y)])
                                     : buffer.data() + static_cast<size_t>(y) * static_cast<size_t>(bytes_per_row);
  }
  uint32_t word(int32_t x, int32_t y) const;
  void set_word(int32_t x, int32_t y, uint32_t value);
};

struct GraphicsObject : Object {
  GraphicsObject() : Object(ObjectKind::kGraphics) {}
  PictureObject* target = nullptr;  // owns one reference
  uint32_t fore_color = 0;
  int32_t pen_width = 1, pen_height = 1;
};

struct MemoryBlockObject : Object {
  MemoryBlockObject() : Object(ObjectKind::kMemoryBlock) {}
  GuardedBuffer data;
  int32_t size = 0;
};

struct StringObject : Object {
  StringObject() : Object(ObjectKind::kString) {}
  GuardedBuffer data;  // the bytes and a terminating NUL
  size_t length = 0;
  uint32_t encoding = host_abi::kEncodingUnknown;
  std::string_view bytes() const { return {reinterpret_cast<const char*>(data.data()), length}; }
};

struct ExceptionObject : Object {
  ExceptionObject() : Object(ObjectKind::kException) {}
  std::string class_name;
  StringObject* message = nullptr;  // owns one reference
  int32_t error_number = 0;
};

struct InstanceObject : Object {
  InstanceObject() : Object(ObjectKind::kInstance) {}
  size_t class_index = 0;  // into Registrations::classes
  GuardedBuffer data;
};

// A registered function as the host calls it: which arguments go where.
struct Candidate {
  enum class Owner { kGlobal, kModule, kClass, kExtension };
  Owner owner_kind = Owner::kGlobal;
  std::string declaration;  // as registered
  std::string shown;        // as the host shows it
  std::string owner;        // class, module or "Picture"; "" for globals
  std::string name;
  REALproc function = nullptr;
  bool setter = false;      // takes a value last (Assign)
  bool takes_self = false;  // an object first
  TypeRef self_type;
  std::vector<Parameter> params;  // what the caller supplies
  std::optional<TypeRef> value_type;
  TypeRef result;
  std::vector<bool> byref;  // per entry of params
};

struct StringDataRecord {
  GuardedBuffer buffer;
  std::string origin;
};

struct RaisedException {
  ExceptionObject* object;  // the host's reference
  std::string origin;
};

}  // namespace testhost::internal

namespace testhost {

struct Host::Impl {
  explicit Impl(HostConfig c) : config(std::move(c)) {}

  HostConfig config;
  void* library = nullptr;
  std::map<std::string, void*, std::less<>> entries;
  Registrations registrations;
  std::vector<internal::Candidate> candidates;  // rebuilt when registrations change
  bool candidates_stale = true;

  std::unordered_map<const void*, std::unique_ptr<internal::Object>> objects;
  std::unordered_map<const void*, internal::PictureObject*> contexts;  // bitmap context → picture
  int next_id = 1;
  std::vector<std::string> faults;
  int unmatched_unlocks = 0;
  std::map<std::string, int, std::less<>> call_counts;
  std::string running;  // declared name of the plug-in call running; "" for the test
  std::vector<internal::RaisedException> raised;
  std::map<const void*, internal::StringDataRecord> string_data;
  std::deque<const void*> tombstones;  // released objects, oldest first
  bool tearing_down = false;
  // HostConfig::picturePool: pixel memory of released pooled pictures, by size.
  std::multimap<size_t, internal::GuardedBuffer> picture_pool;

  // The fault switch: the `fail_at`th fallible call counted (of `fail_only` alone
  // when set) fails; 0 is off.
  int fail_at = 0;
  std::string fail_only;
  int fallible_calls = 0;
  std::string failed_call;
};

namespace internal {

using Impl = Host::Impl;
using EntryTable = std::map<std::string, void*, std::less<>>;

// The current host's state; aborts when there is none.
Impl& current_impl();
bool has_current();
// Counts one call of an entry point and gives the current host.
Impl& enter(std::string_view entry_point);
// For an entry point a real host can fail: counts the call and says whether the
// fault switch makes this one fail.
bool inject(Impl& h, std::string_view entry_point);

// Adds an entry point after checking its type against the interface's signature.
template <class Sig, class Fn>
void add_entry(EntryTable& table, const char* name, Fn* function) {
  static_assert(std::is_same_v<Fn, Sig>, "entry point differs from its interface signature");
  table.emplace(name, reinterpret_cast<void*>(function));
}
#define TESTHOST_ENTRY(table, name) \
  ::testhost::internal::add_entry<host_abi::sig::name>(table, #name, &name)

void add_object_entries(EntryTable& table);
void add_picture_entries(EntryTable& table);
void add_string_entries(EntryTable& table);
void add_registry_entries(EntryTable& table);
void add_memory_block_entries(EntryTable& table);

// ---- objects and the ledger (objects.cpp, ledger.cpp) ----
std::string context_of(const Impl& h);  // "during InvertZRK" or "by the test"
std::string describe(const Object& object);
const char* kind_name(ObjectKind kind);
void fault(Impl& h, std::string line);
template <class T>
T* adopt_new(Impl& h, std::unique_ptr<T> object, std::string origin) {
  object->id = h.next_id++;
  object->origin = std::move(origin);
  T* raw = object.get();
  h.objects.emplace(raw, std::move(object));
  return raw;
}
// The live object behind a handle, or null (a fault is recorded for an unknown or
// released handle, or one of another kind). Null handles give null quietly.
Object* find_object(Impl& h, const void* handle, std::string_view entry);
void wrong_kind(Impl& h, const Object& object, std::string_view entry, ObjectKind wanted);
template <class T>
T* find_as(Impl& h, const void* handle, std::string_view entry, ObjectKind kind) {
  Object* object = find_object(h, handle, entry);
  if (object == nullptr) return nullptr;
  if (object->kind != kind) {
    wrong_kind(h, *object, entry, kind);
    return nullptr;
  }
  return static_cast<T*>(object);
}
PictureObject* find_picture(Impl& h, const void* handle, std::string_view entry);
StringObject* find_string(Impl& h, const void* handle, std::string_view entry);
void retain(Impl& h, const void* handle, std::string_view entry);
void release(Impl& h, const void* handle, std::string_view entry);
void release_object(Impl& h, Object* object);  // drops a reference the host holds
inline constexpr size_t kTombstones = 4096;
std::vector<std::string> ledger_problems(const Impl& h);

// ---- pictures (pictures.cpp) ----
PictureObject* make_picture(Impl& h, const PictureSpec& shape, std::string origin);
void free_picture_pixels(Impl& h, PictureObject& picture);
Pixel decode(int32_t format, uint32_t word);
uint32_t encode(int32_t format, Pixel pixel);
void picture_constructor(REALobject object, int32_t width, int32_t height);
void draw_picture_method(REALobject g, REALpicture source, int32_t x, int32_t y, int32_t w, int32_t h,
                         int32_t sx, int32_t sy, int32_t sw, int32_t sh);

// ---- strings (strings.cpp) ----
StringObject* make_string(Impl& h, std::string_view bytes, uint32_t encoding, std::string origin);
std::optional<std::string> convert_text(std::string_view bytes, uint32_t from, uint32_t to);
std::string text_as_utf8(const StringObject& string);
// UTF-8 when the bytes are valid UTF-8, else unknown: how the host types a test's text.
uint32_t encoding_for_text(std::string_view bytes);
int32_t lenb(REALstring string);

// ---- calls (invoke.cpp) ----
struct FfiArg {
  TypeRef type;
  bool byref = false;
  Value value;
};
// Calls `function` with the given arguments and result type; `label` names the
// call in the ledger. Exceptions raised during it are delivered in the result.
CallResult invoke(Impl& h, REALproc function, std::string_view label, std::vector<FfiArg> args, const TypeRef& result);
std::optional<Value> read_property(Impl& h, Object* object, std::string_view name, std::string* error);
bool write_property(Impl& h, Object* object, std::string_view name, Value value, std::string* error);
const std::vector<Candidate>& candidates(Impl& h);

}  // namespace internal
}  // namespace testhost
