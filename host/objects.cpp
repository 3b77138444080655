// Host objects in general: handle lookup, reference counting and release,
// instances of plug-in classes (instance data, constructor, destructor),
// exceptions and their delivery, properties of every object kind, and the
// entry points that find classes and methods by name.
#include <cstdio>
#include <cstring>

#include "host/host_internal.h"

namespace testhost::internal {

namespace {

constexpr const char* kPictureConstructor = "Constructor(width as integer, height as integer)";
constexpr const char* kDrawPicture =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, sx as Integer = 0, sy "
    "as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";
constexpr const char* kLenB = "LenB( s as string ) as integer";
constexpr const char* kExceptionClasses[] = {"NilObjectException", "OutOfMemoryException", "RuntimeException"};

// pluginObjectType answers these addresses for host classes.
constexpr const char* kHostClasses[] = {"Application", "ConsoleApplication", "WebApplication", "Picture",
                                        "Graphics",    "NilObjectException", "OutOfMemoryException",
                                        "RuntimeException"};

std::string handle_text(const void* handle) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", handle);
  return text;
}

std::optional<size_t> class_index(const Impl& h, std::string_view name) {
  const auto& classes = h.registrations.classes;
  for (size_t i = 0; i < classes.size(); ++i) {
    if (iequals(classes[i].name, name)) return i;
  }
  return std::nullopt;
}

// Keeps the released object as a tombstone and frees the oldest one beyond the
// limit. A picture released while locked keeps its pixels (and tombstone) until
// ~Host, since the plug-in may still be reading them.
void bury(Impl& h, Object* object) {
  h.tombstones.push_back(object);
  while (h.tombstones.size() > kTombstones) {
    const void* oldest = h.tombstones.front();
    h.tombstones.pop_front();
    const auto it = h.objects.find(oldest);
    if (it == h.objects.end()) continue;
    if (it->second->kind == ObjectKind::kPicture) {
      auto* picture = static_cast<PictureObject*>(it->second.get());
      if (picture->locks > 0) continue;
      h.contexts.erase(&picture->context);
    }
    h.objects.erase(it);
  }
}

void destroy(Impl& h, Object* object) {
  if (object->kind == ObjectKind::kInstance) {
    // The destructor sees a live object; it is released after it returns.
    auto* instance = static_cast<InstanceObject*>(object);
    const auto destructor = h.registrations.classes[instance->class_index].destructor;
    if (destructor != nullptr) reinterpret_cast<void (*)(REALobject)>(destructor)(reinterpret_cast<REALobject>(object));
  }
  object->released = true;
  switch (object->kind) {
    case ObjectKind::kPicture: {
      auto* picture = static_cast<PictureObject*>(object);
      // A plug-in still reading a locked description finds its pixels until ~Host.
      if (picture->locks > 0) {
        fault(h, "released while its description is locked: " + describe(*object));
      } else {
        free_picture_pixels(h, *picture);
      }
      if (auto* mask = std::exchange(picture->mask, nullptr)) release_object(h, mask);
      break;
    }
    case ObjectKind::kGraphics:
      if (auto* target = std::exchange(static_cast<GraphicsObject*>(object)->target, nullptr)) release_object(h, target);
      break;
    case ObjectKind::kException:
      if (auto* message = std::exchange(static_cast<ExceptionObject*>(object)->message, nullptr)) {
        release_object(h, message);
      }
      break;
    case ObjectKind::kMemoryBlock:
      static_cast<MemoryBlockObject*>(object)->data.reset();
      break;
    case ObjectKind::kString:
      static_cast<StringObject*>(object)->data.reset();
      break;
    case ObjectKind::kInstance:
      static_cast<InstanceObject*>(object)->data.reset();
      break;
  }
  bury(h, object);
}

InstanceObject* new_instance(Impl& h, size_t index, std::string origin) {
  const ClassRecord& record = h.registrations.classes[index];
  auto instance = std::make_unique<InstanceObject>();
  instance->class_index = index;
  instance->data = GuardedBuffer(record.dataSize, h.config.guardPages);
  InstanceObject* raw = adopt_new(h, std::move(instance), std::move(origin));
  if (record.constructor != nullptr) {
    reinterpret_cast<void (*)(REALobject)>(record.constructor)(reinterpret_cast<REALobject>(raw));
  }
  return raw;
}

Object* new_object(Impl& h, std::string_view class_name, std::string origin) {
  if (iequals(class_name, "Picture")) {
    return adopt_new(h, std::make_unique<PictureObject>(), std::move(origin));
  }
  for (const char* name : kExceptionClasses) {
    if (iequals(class_name, name)) {
      auto exception = std::make_unique<ExceptionObject>();
      exception->class_name = name;
      return adopt_new(h, std::move(exception), std::move(origin));
    }
  }
  if (const auto index = class_index(h, class_name)) return new_instance(h, *index, std::move(origin));
  return nullptr;
}

void set_message(Impl& h, ExceptionObject* exception, StringObject* message) {
  if (message != nullptr) ++message->refs;
  if (auto* old = std::exchange(exception->message, message)) release_object(h, old);
}

// ---- direct properties of plug-in instances ----

size_t direct_size(const TypeRef& type) {
  switch (type.base) {
    case BaseType::kInteger:
    case BaseType::kUInt32:
    case BaseType::kColor: return 4;
    case BaseType::kDouble: return 8;
    case BaseType::kBoolean: return 1;
    default: return sizeof(void*);
  }
}

uint8_t* direct_slot(Impl& h, InstanceObject* instance, const PropertyRecord& property, const TypeRef& type) {
  const size_t size = direct_size(type);
  if (property.param < 0 || static_cast<size_t>(property.param) + size > instance->data.size()) {
    fault(h, "direct property " + property.name + " at offset " + std::to_string(property.param) +
                 " lies outside the instance data of " + describe(*instance));
    return nullptr;
  }
  return instance->data.data() + property.param;
}

std::optional<Value> read_direct(Impl& h, InstanceObject* instance, const PropertyRecord& property) {
  const TypeRef type = parse_type(property.type);
  const uint8_t* slot = direct_slot(h, instance, property, type);
  if (slot == nullptr) return std::nullopt;
  const auto load = [slot](auto value) {
    std::memcpy(&value, slot, sizeof value);
    return value;
  };
  Value value;
  switch (type.base) {
    case BaseType::kInteger: value = int64_t{load(int32_t{})}; break;
    case BaseType::kUInt32:
    case BaseType::kColor: value = int64_t{load(uint32_t{})}; break;
    case BaseType::kDouble: value = load(double{}); break;
    case BaseType::kBoolean: value = load(int8_t{}) != 0; break;
    case BaseType::kString:
      if (auto* string = find_string(h, load(static_cast<void*>(nullptr)), "property " + property.name)) {
        value = text_as_utf8(*string);
      }
      break;
    default:
      if (void* handle = load(static_cast<void*>(nullptr))) value = Ref::Retain(static_cast<REALobject>(handle));
      break;
  }
  return value;
}

bool write_direct(Impl& h, InstanceObject* instance, const PropertyRecord& property, const Value& value,
                  std::string* error) {
  const TypeRef type = parse_type(property.type);
  uint8_t* slot = direct_slot(h, instance, property, type);
  if (slot == nullptr) return false;
  const auto* integer = std::get_if<int64_t>(&value);
  switch (type.base) {
    case BaseType::kInteger:
    case BaseType::kUInt32:
    case BaseType::kColor: {
      if (integer == nullptr) break;
      const uint32_t v = static_cast<uint32_t>(*integer);
      std::memcpy(slot, &v, sizeof v);
      return true;
    }
    case BaseType::kDouble: {
      double v;
      if (const auto* d = std::get_if<double>(&value)) {
        v = *d;
      } else if (integer != nullptr) {
        v = static_cast<double>(*integer);
      } else {
        break;
      }
      std::memcpy(slot, &v, sizeof v);
      return true;
    }
    case BaseType::kBoolean: {
      const auto* b = std::get_if<bool>(&value);
      if (b == nullptr) break;
      *slot = *b ? 1 : 0;
      return true;
    }
    default: {
      // A handle: the instance holds its own reference on the new value.
      void* fresh = nullptr;
      if (type.base == BaseType::kString) {
        if (const auto* text = std::get_if<std::string>(&value)) {
          fresh = make_string(h, *text, encoding_for_text(*text), "property " + property.name + ", " + context_of(h));
        } else if (!std::holds_alternative<std::monostate>(value)) {
          break;
        }
      } else if (const auto* ref = std::get_if<Ref>(&value)) {
        fresh = ref->get();
        if (fresh != nullptr) retain(h, fresh, "property " + property.name);
      } else if (!std::holds_alternative<std::monostate>(value)) {
        break;
      }
      void* old = nullptr;
      std::memcpy(&old, slot, sizeof old);
      std::memcpy(slot, &fresh, sizeof fresh);
      if (old != nullptr) release(h, old, "property " + property.name);
      return true;
    }
  }
  if (error != nullptr) *error = "property " + property.name + " must be " + type_phrase(type);
  return false;
}

const PropertyRecord* find_property(const ClassRecord& record, std::string_view name) {
  for (const auto& property : record.properties) {
    if (iequals(property.name, name)) return &property;
  }
  return nullptr;
}

// ---- entry points ----

REALobject PluginNewInstance(const char* className) {
  Impl& h = enter("PluginNewInstance");
  if (inject(h, "PluginNewInstance")) return nullptr;
  if (className == nullptr) return nullptr;
  return reinterpret_cast<REALobject>(
      new_object(h, className, "PluginNewInstance(\"" + std::string(className) + "\"), " + context_of(h)));
}

// Strings have their own pair of entry points.
bool is_string(Impl& h, const void* handle, std::string_view entry) {
  const auto it = h.objects.find(handle);
  if (it == h.objects.end() || it->second->kind != ObjectKind::kString) return false;
  fault(h, std::string(entry) + " was given " + describe(*it->second) + ", a string, " + context_of(h));
  return true;
}

void REALLockObject(REALobject object) {
  Impl& h = enter("REALLockObject");
  if (object != nullptr && !is_string(h, object, "REALLockObject")) retain(h, object, "REALLockObject");
}

void REALUnlockObject(REALobject object) {
  Impl& h = enter("REALUnlockObject");
  if (object != nullptr && !is_string(h, object, "REALUnlockObject")) release(h, object, "REALUnlockObject");
}

void* REALGetClassData(REALobject object, REALclassDefinition* record) {
  Impl& h = enter("REALGetClassData");
  Object* found = find_object(h, object, "REALGetClassData");
  if (found == nullptr || found->kind != ObjectKind::kInstance) return nullptr;
  auto* instance = static_cast<InstanceObject*>(found);
  if (h.registrations.classes[instance->class_index].record != record) return nullptr;
  return instance->data.data();
}

REALproc REALLoadObjectMethod(REALobject object, const char* declaration) {
  Impl& h = enter("REALLoadObjectMethod");
  if (inject(h, "REALLoadObjectMethod")) return nullptr;
  Object* found = find_object(h, object, "REALLoadObjectMethod");
  if (found == nullptr || declaration == nullptr) return nullptr;
  const std::string_view wanted(declaration);
  if (found->kind == ObjectKind::kPicture && wanted == kPictureConstructor) {
    return reinterpret_cast<REALproc>(&picture_constructor);
  }
  if (found->kind == ObjectKind::kGraphics && wanted == kDrawPicture) {
    return reinterpret_cast<REALproc>(&draw_picture_method);
  }
  const auto method_of = [wanted](const ClassRecord& record) -> REALproc {
    for (const auto& method : record.methods) {
      if (method.declaration == wanted) return method.function != nullptr ? method.function : method.setter;
    }
    return nullptr;
  };
  if (found->kind == ObjectKind::kInstance) {
    return method_of(h.registrations.classes[static_cast<InstanceObject*>(found)->class_index]);
  }
  if (found->kind == ObjectKind::kPicture) {
    for (const auto& extension : h.registrations.extensions) {
      if (!iequals(extension.name, "Picture")) continue;
      if (REALproc method = method_of(extension)) return method;
    }
  }
  return nullptr;
}

REALproc REALLoadGlobalMethod(const char* module, const char* declaration) {
  Impl& h = enter("REALLoadGlobalMethod");
  if (inject(h, "REALLoadGlobalMethod")) return nullptr;
  if (declaration == nullptr) return nullptr;
  const std::string_view wanted(declaration);
  if (module == nullptr) {
    if (wanted == kLenB) return reinterpret_cast<REALproc>(&lenb);
    for (const auto& method : h.registrations.methods) {
      if (method.declaration == wanted) return method.function;
    }
    return nullptr;
  }
  for (const auto& record : h.registrations.modules) {
    if (!iequals(record.name, module)) continue;
    for (const auto& method : record.methods) {
      if (method.declaration == wanted) return method.function;
    }
  }
  return nullptr;
}

void* pluginObjectType(const char* className) {
  Impl& h = enter("pluginObjectType");
  if (inject(h, "pluginObjectType")) return nullptr;
  if (className == nullptr) return nullptr;
  const std::string_view name(className);
  const char* kind_class = h.config.kind == HostKind::kDesktop   ? "Application"
                           : h.config.kind == HostKind::kConsole ? "ConsoleApplication"
                                                                 : "WebApplication";
  for (const char* const& host_class : kHostClasses) {
    if (!iequals(name, host_class)) continue;
    if (std::string_view(host_class).ends_with("Application") && host_class != kind_class) return nullptr;
    return const_cast<const char**>(&host_class);
  }
  if (const auto index = class_index(h, name)) return const_cast<void*>(h.registrations.classes[*index].record);
  return nullptr;
}

RBBoolean REALGetPropValueBool(REALobject object, const char* name, RBBoolean* out) {
  Impl& h = enter("REALGetPropValueBool");
  if (inject(h, "REALGetPropValueBool")) return 0;
  Object* found = find_object(h, object, "REALGetPropValueBool");
  if (found == nullptr || name == nullptr || out == nullptr) return 0;
  const auto value = read_property(h, found, name, nullptr);
  const bool* flag = value ? std::get_if<bool>(&*value) : nullptr;
  if (flag == nullptr) return 0;
  *out = *flag ? 1 : 0;
  return 1;
}

RBBoolean REALGetPropValueInt(REALobject object, const char* name, int32_t* out) {
  Impl& h = enter("REALGetPropValueInt");
  if (inject(h, "REALGetPropValueInt")) return 0;
  Object* found = find_object(h, object, "REALGetPropValueInt");
  if (found == nullptr || name == nullptr || out == nullptr) return 0;
  const auto value = read_property(h, found, name, nullptr);
  const int64_t* integer = value ? std::get_if<int64_t>(&*value) : nullptr;
  if (integer == nullptr) return 0;
  *out = static_cast<int32_t>(*integer);
  return 1;
}

RBBoolean set_integer_property(std::string_view entry, REALobject object, const char* name, int64_t value) {
  Impl& h = enter(entry);
  if (inject(h, entry)) return 0;
  Object* found = find_object(h, object, entry);
  if (found == nullptr || name == nullptr) return 0;
  return write_property(h, found, name, Value{value}, nullptr) ? 1 : 0;
}

RBBoolean REALSetPropValueInt(REALobject object, const char* name, int32_t value) {
  return set_integer_property("REALSetPropValueInt", object, name, value);
}

RBBoolean REALSetPropValueUInt32(REALobject object, const char* name, uint32_t value) {
  return set_integer_property("REALSetPropValueUInt32", object, name, value);
}

RBBoolean REALSetPropValueString(REALobject object, const char* name, REALstring value) {
  Impl& h = enter("REALSetPropValueString");
  if (inject(h, "REALSetPropValueString")) return 0;
  Object* found = find_object(h, object, "REALSetPropValueString");
  if (found == nullptr || name == nullptr) return 0;
  StringObject* string = nullptr;
  if (value != nullptr) {
    string = find_string(h, value, "REALSetPropValueString");
    if (string == nullptr) return 0;
  }
  // An exception keeps the very string it is given, with a reference of its own.
  if (found->kind == ObjectKind::kException && iequals(name, "Message")) {
    set_message(h, static_cast<ExceptionObject*>(found), string);
    return 1;
  }
  const Value text = string != nullptr ? Value{text_as_utf8(*string)} : Value{};
  return write_property(h, found, name, text, nullptr) ? 1 : 0;
}

void RuntimeRaiseException(REALobject exception) {
  Impl& h = enter("RuntimeRaiseException");
  auto* found = find_as<ExceptionObject>(h, exception, "RuntimeRaiseException", ObjectKind::kException);
  if (found == nullptr) return;
  ++found->refs;
  h.raised.push_back({found, context_of(h)});
}

}  // namespace

// ---- shared helpers ----

Object* find_object(Impl& h, const void* handle, std::string_view entry) {
  if (handle == nullptr) return nullptr;
  const auto it = h.objects.find(handle);
  if (it == h.objects.end()) {
    fault(h, "unknown handle " + handle_text(handle) + " given to " + std::string(entry) + ", " + context_of(h));
    return nullptr;
  }
  Object* object = it->second.get();
  if (object->released) {
    fault(h, std::string(entry) + " used released " + describe(*object) + ", " + context_of(h));
    return nullptr;
  }
  return object;
}

PictureObject* find_picture(Impl& h, const void* handle, std::string_view entry) {
  return find_as<PictureObject>(h, handle, entry, ObjectKind::kPicture);
}

StringObject* find_string(Impl& h, const void* handle, std::string_view entry) {
  return find_as<StringObject>(h, handle, entry, ObjectKind::kString);
}

void retain(Impl& h, const void* handle, std::string_view entry) {
  if (Object* object = find_object(h, handle, entry)) ++object->refs;
}

void release(Impl& h, const void* handle, std::string_view entry) {
  const auto it = h.objects.find(handle);
  if (it == h.objects.end()) {
    fault(h, "unknown handle " + handle_text(handle) + " given to " + std::string(entry) + ", " + context_of(h));
    return;
  }
  Object* object = it->second.get();
  if (object->released) {
    fault(h, "over-release: " + std::string(entry) + " on " + describe(*object) +
                 ", which has no reference left, " + context_of(h));
    return;
  }
  if (--object->refs == 0) destroy(h, object);
}

void release_object(Impl& h, Object* object) {
  if (object->released) {
    fault(h, "over-release: the host's own reference on " + describe(*object) + " was already gone");
    return;
  }
  if (--object->refs == 0) destroy(h, object);
}

std::optional<Value> read_property(Impl& h, Object* object, std::string_view name, std::string* error) {
  // Built in place: returning temporaries here trips a false uninitialised warning of g++ 12.
  std::optional<Value> out;
  switch (object->kind) {
    case ObjectKind::kPicture: {
      const auto* picture = static_cast<PictureObject*>(object);
      if (iequals(name, "Width")) out.emplace(int64_t{picture->width});
      if (iequals(name, "Height")) out.emplace(int64_t{picture->height});
      if (iequals(name, "HasAlphaChannel")) out.emplace(picture->has_alpha);
      break;
    }
    case ObjectKind::kGraphics: {
      const auto* graphics = static_cast<GraphicsObject*>(object);
      if (iequals(name, "ForeColor")) out.emplace(int64_t{graphics->fore_color});
      if (iequals(name, "PenWidth")) out.emplace(int64_t{graphics->pen_width});
      if (iequals(name, "PenHeight")) out.emplace(int64_t{graphics->pen_height});
      break;
    }
    case ObjectKind::kException: {
      const auto* exception = static_cast<ExceptionObject*>(object);
      if (iequals(name, "Message")) {
        out.emplace(exception->message != nullptr ? text_as_utf8(*exception->message) : std::string());
      }
      if (iequals(name, "ErrorNumber")) out.emplace(int64_t{exception->error_number});
      break;
    }
    case ObjectKind::kInstance: {
      auto* instance = static_cast<InstanceObject*>(object);
      const ClassRecord& record = h.registrations.classes[instance->class_index];
      const PropertyRecord* property = find_property(record, name);
      if (property == nullptr) break;
      if (property->direct()) return read_direct(h, instance, *property);
      if (property->getter == nullptr) {
        if (error != nullptr) *error = "property " + property->name + " cannot be read";
        return std::nullopt;
      }
      std::vector<FfiArg> args;
      args.push_back({TypeRef{BaseType::kObject, record.name}, false, Value{Ref::Retain(reinterpret_cast<REALobject>(object))}});
      auto result = invoke(h, property->getter, "get " + property->name, std::move(args), parse_type(property->type));
      if (!result.ok()) {
        if (error != nullptr) *error = result.error;
        return std::nullopt;
      }
      return std::move(result.value);
    }
    case ObjectKind::kMemoryBlock:
    case ObjectKind::kString:
      break;
  }
  if (!out && error != nullptr) *error = "no property " + std::string(name) + " on " + describe(*object);
  return out;
}

bool write_property(Impl& h, Object* object, std::string_view name, Value value, std::string* error) {
  const auto* integer = std::get_if<int64_t>(&value);
  switch (object->kind) {
    case ObjectKind::kGraphics: {
      auto* graphics = static_cast<GraphicsObject*>(object);
      if (integer == nullptr) break;
      if (iequals(name, "ForeColor")) {
        graphics->fore_color = static_cast<uint32_t>(*integer) & 0xFFFFFF;
        return true;
      }
      if (iequals(name, "PenWidth")) {
        graphics->pen_width = static_cast<int32_t>(*integer);
        return true;
      }
      if (iequals(name, "PenHeight")) {
        graphics->pen_height = static_cast<int32_t>(*integer);
        return true;
      }
      break;
    }
    case ObjectKind::kException: {
      auto* exception = static_cast<ExceptionObject*>(object);
      if (iequals(name, "ErrorNumber") && integer != nullptr) {
        exception->error_number = static_cast<int32_t>(*integer);
        return true;
      }
      if (iequals(name, "Message")) {
        StringObject* message = nullptr;
        if (const auto* text = std::get_if<std::string>(&value)) {
          message = make_string(h, *text, encoding_for_text(*text), "Message of " + describe(*exception));
        } else if (!std::holds_alternative<std::monostate>(value)) {
          break;
        }
        set_message(h, exception, message);
        if (message != nullptr) release_object(h, message);  // the exception's reference remains
        return true;
      }
      break;
    }
    case ObjectKind::kInstance: {
      auto* instance = static_cast<InstanceObject*>(object);
      const ClassRecord& record = h.registrations.classes[instance->class_index];
      const PropertyRecord* property = find_property(record, name);
      if (property == nullptr) break;
      if (property->direct()) return write_direct(h, instance, *property, value, error);
      if (property->setter == nullptr) {
        if (error != nullptr) *error = "property " + property->name + " cannot be written";
        return false;
      }
      std::vector<FfiArg> args;
      args.push_back({TypeRef{BaseType::kObject, record.name}, false, Value{Ref::Retain(reinterpret_cast<REALobject>(object))}});
      args.push_back({parse_type(property->type), false, std::move(value)});
      auto result = invoke(h, property->setter, "set " + property->name, std::move(args), TypeRef{});
      if (!result.ok() && error != nullptr) *error = result.error;
      return result.ok();
    }
    case ObjectKind::kPicture:
    case ObjectKind::kMemoryBlock:
    case ObjectKind::kString:
      break;
  }
  if (error != nullptr) *error = "no writable property " + std::string(name) + " of that type on " + describe(*object);
  return false;
}

void add_object_entries(EntryTable& table) {
  TESTHOST_ENTRY(table, PluginNewInstance);
  TESTHOST_ENTRY(table, REALLockObject);
  TESTHOST_ENTRY(table, REALUnlockObject);
  TESTHOST_ENTRY(table, REALGetClassData);
  TESTHOST_ENTRY(table, REALLoadObjectMethod);
  TESTHOST_ENTRY(table, REALLoadGlobalMethod);
  TESTHOST_ENTRY(table, pluginObjectType);
  TESTHOST_ENTRY(table, REALGetPropValueBool);
  TESTHOST_ENTRY(table, REALGetPropValueInt);
  TESTHOST_ENTRY(table, REALSetPropValueInt);
  TESTHOST_ENTRY(table, REALSetPropValueUInt32);
  TESTHOST_ENTRY(table, REALSetPropValueString);
  TESTHOST_ENTRY(table, RuntimeRaiseException);
}

}  // namespace testhost::internal

namespace testhost {

using namespace internal;

Ref Host::NewInstance(const std::string& className) {
  return Ref::Adopt(reinterpret_cast<REALobject>(
      new_object(*impl_, className, "NewInstance(\"" + className + "\"), " + context_of(*impl_))));
}

CallResult Host::GetProperty(REALobject self, std::string_view name) {
  CallResult result;
  Object* object = find_object(*impl_, self, "GetProperty");
  if (object == nullptr) {
    result.error = "GetProperty needs a live object";
    return result;
  }
  if (auto value = read_property(*impl_, object, name, &result.error)) result.value = std::move(*value);
  return result;
}

CallResult Host::SetProperty(REALobject self, std::string_view name, Value value) {
  CallResult result;
  Object* object = find_object(*impl_, self, "SetProperty");
  if (object == nullptr) {
    result.error = "SetProperty needs a live object";
    return result;
  }
  if (!write_property(*impl_, object, name, std::move(value), &result.error) && result.error.empty()) {
    result.error = "cannot set " + std::string(name);
  }
  return result;
}

}  // namespace testhost
