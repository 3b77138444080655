// Calls by declaration. Registered records become call candidates (which object
// comes first, which arguments the caller supplies, which value a setter takes
// last); a call picks one by name, argument count (defaults fill the rest) and
// argument types, preferring the fewest conversions, and makes it through libffi
// with the C types of the interface's type table. Arguments are borrowed: text
// arguments become host strings for the call and are released after it; byref
// variables belong to the host, which reads them back. Exceptions raised during
// the call are delivered in its result.
#include <ffi.h>

#include <cstring>

#include "host/host_internal.h"

namespace testhost::internal {

namespace {

using Owner = Candidate::Owner;

void add_candidates(std::vector<Candidate>& out, const MethodRecord& record, Owner owner_kind, const std::string& owner,
                    const std::optional<TypeRef>& self_type) {
  const auto decl = parse_declaration(record.declaration);
  if (!decl) return;  // reported at registration
  Candidate base;
  base.owner_kind = owner_kind;
  base.declaration = record.declaration;
  base.shown = record.declaration;
  base.owner = owner;
  base.name = decl->name;
  base.result = decl->result;
  if (self_type) {
    base.takes_self = true;
    base.self_type = *self_type;
  }
  for (const auto& param : decl->params) {
    if (param.mode == ParamMode::kExtends) {
      base.takes_self = true;
      base.self_type = param.type;
      base.owner = param.type.name;
    } else if (param.mode == ParamMode::kAssigns) {
      base.value_type = param.type;
    } else {
      base.params.push_back(param);
    }
  }
  if (record.function != nullptr) {
    Candidate candidate = base;
    candidate.function = record.function;
    candidate.setter = base.value_type.has_value();
    if (candidate.setter) candidate.result = TypeRef{};
    out.push_back(std::move(candidate));
  }
  // A record's setter function takes the declared result type as its value.
  if (record.setter != nullptr && !base.value_type) {
    Candidate candidate = base;
    candidate.function = record.setter;
    candidate.setter = true;
    candidate.value_type = decl->result;
    candidate.result = TypeRef{};
    out.push_back(std::move(candidate));
  }
}

void rebuild(Impl& h) {
  std::vector<Candidate> out;
  const Registrations& r = h.registrations;
  for (const auto& ext : r.extensions) {
    for (const auto& m : ext.methods) add_candidates(out, m, Owner::kExtension, ext.name, TypeRef{BaseType::kObject, ext.name});
  }
  for (const auto& cls : r.classes) {
    for (const auto& m : cls.methods) add_candidates(out, m, Owner::kClass, cls.name, TypeRef{BaseType::kObject, cls.name});
  }
  for (const auto& mod : r.modules) {
    for (const auto& m : mod.methods) add_candidates(out, m, Owner::kModule, mod.name, std::nullopt);
  }
  for (const auto& m : r.methods) add_candidates(out, m, Owner::kGlobal, "", std::nullopt);
  h.candidates = std::move(out);
  h.candidates_stale = false;
}

bool is_class_of(const Impl& h, const Object& object, std::string_view class_name) {
  if (object.kind != ObjectKind::kInstance) return false;
  const auto& instance = static_cast<const InstanceObject&>(object);
  return iequals(h.registrations.classes[instance.class_index].name, class_name);
}

bool is_registered_class(const Impl& h, std::string_view name) {
  for (const auto& cls : h.registrations.classes) {
    if (iequals(cls.name, name)) return true;
  }
  return false;
}

// Whether an object (live or not, the plug-in's use of it is checked on its own) is of a type.
bool object_fits(const Impl& h, const void* handle, const TypeRef& type) {
  const auto it = h.objects.find(handle);
  if (it == h.objects.end() || it->second->released) return true;
  const Object& object = *it->second;
  if (iequals(type.name, "picture")) return object.kind == ObjectKind::kPicture;
  if (iequals(type.name, "memoryblock")) return object.kind == ObjectKind::kMemoryBlock;
  if (is_registered_class(h, type.name)) return is_class_of(h, object, type.name);
  return object.kind != ObjectKind::kString;
}

// Conversions a value needs to become `type`, or nullopt when it cannot.
std::optional<int> fit(const Impl& h, const Value& value, const TypeRef& type) {
  switch (type.base) {
    case BaseType::kInteger:
    case BaseType::kUInt32:
    case BaseType::kColor:
      if (std::holds_alternative<int64_t>(value)) return 0;
      break;
    case BaseType::kDouble:
      if (std::holds_alternative<double>(value)) return 0;
      if (std::holds_alternative<int64_t>(value)) return 1;
      break;
    case BaseType::kBoolean:
      if (std::holds_alternative<bool>(value)) return 0;
      break;
    case BaseType::kString:
      if (std::holds_alternative<std::string>(value)) return 0;
      if (std::holds_alternative<std::monostate>(value)) return 1;  // a nil string
      break;
    case BaseType::kObject:
      if (std::holds_alternative<std::monostate>(value)) return 0;
      if (const auto* ref = std::get_if<Ref>(&value)) {
        if (ref->get() == nullptr || object_fits(h, ref->get(), type)) return 0;
      }
      break;
    case BaseType::kVoid:
      break;
  }
  return std::nullopt;
}

Value literal_value(const Literal& literal) {
  return std::visit([](const auto& v) -> Value {
    using T = std::decay_t<decltype(v)>;
    if constexpr (std::is_same_v<T, std::monostate>) {
      return Value{};
    } else {
      return Value{v};
    }
  }, literal);
}

size_t required_count(const Candidate& c) {
  size_t required = c.params.size();
  while (required > 0 && c.params[required - 1].default_value) --required;
  return required;
}

// The first argument of `c` that does not fit, as an error line; empty when all fit.
std::string type_error(const Impl& h, const Candidate& c, const std::vector<Value>& args, const Value* value,
                       int* conversions) {
  *conversions = 0;
  for (size_t i = 0; i < args.size(); ++i) {
    const auto n = fit(h, args[i], c.params[i].type);
    if (!n) return "argument " + std::to_string(i + 1) + " of " + c.name + " must be " + type_phrase(c.params[i].type);
    *conversions += *n;
  }
  if (value != nullptr) {
    const auto n = fit(h, *value, *c.value_type);
    if (!n) return "the value assigned to " + c.name + " must be " + type_phrase(*c.value_type);
    *conversions += *n;
  }
  return {};
}

// `nil_picture`: the receiver is a nil picture, as when a program calls an
// extension in module form with nil; the plug-in must cope, so the call is made.
bool self_matches(const Impl& h, const Candidate& c, const Object* self, bool nil_picture) {
  if (nil_picture) return c.takes_self && iequals(c.self_type.name, "picture");
  if (self == nullptr) return !c.takes_self;
  if (!c.takes_self) return false;
  if (self->kind == ObjectKind::kPicture) return iequals(c.self_type.name, "picture");
  return is_class_of(h, *self, c.self_type.name);
}

Exception exception_info(const ExceptionObject& object) {
  return Exception{object.class_name, object.message != nullptr ? text_as_utf8(*object.message) : std::string(),
                   object.error_number};
}

ffi_type* ffi_type_of(const TypeRef& type) {
  switch (type.base) {
    case BaseType::kVoid: return &ffi_type_void;
    case BaseType::kInteger: return &ffi_type_sint32;
    case BaseType::kUInt32:
    case BaseType::kColor: return &ffi_type_uint32;
    case BaseType::kDouble: return &ffi_type_double;
    case BaseType::kBoolean: return &ffi_type_sint8;
    case BaseType::kString:
    case BaseType::kObject: return &ffi_type_pointer;
  }
  return &ffi_type_void;
}

// One argument's storage; every field has its own address, so a byref argument
// points the callee at the field of its type.
struct Cell {
  int32_t i32 = 0;
  uint32_t u32 = 0;
  double d = 0;
  int8_t i8 = 0;
  void* handle = nullptr;
  void* pointer = nullptr;  // byref: the address of the variable
};

void* field_of(Cell& cell, const TypeRef& type) {
  switch (type.base) {
    case BaseType::kInteger: return &cell.i32;
    case BaseType::kUInt32:
    case BaseType::kColor: return &cell.u32;
    case BaseType::kDouble: return &cell.d;
    case BaseType::kBoolean: return &cell.i8;
    default: return &cell.handle;
  }
}

// Writes a value into its cell. Strings become host strings with one reference,
// which the caller gives up after the call; byref objects get the variable's own reference.
bool store(Impl& h, const FfiArg& arg, Cell& cell, std::string_view label, std::string* error) {
  const Value& v = arg.value;
  const auto* integer = std::get_if<int64_t>(&v);
  bool ok = false;
  switch (arg.type.base) {
    case BaseType::kInteger:
      if ((ok = integer != nullptr)) cell.i32 = static_cast<int32_t>(*integer);
      break;
    case BaseType::kUInt32:
    case BaseType::kColor:
      if ((ok = integer != nullptr)) cell.u32 = static_cast<uint32_t>(*integer);
      break;
    case BaseType::kDouble:
      if (const auto* d = std::get_if<double>(&v)) {
        cell.d = *d;
        ok = true;
      } else if (integer != nullptr) {
        cell.d = static_cast<double>(*integer);
        ok = true;
      }
      break;
    case BaseType::kBoolean:
      if (const auto* b = std::get_if<bool>(&v)) {
        cell.i8 = *b ? 1 : 0;
        ok = true;
      }
      break;
    case BaseType::kString:
      if (const auto* text = std::get_if<std::string>(&v)) {
        cell.handle = make_string(h, *text, encoding_for_text(*text),
                                  std::string(arg.byref ? "byref" : "argument") + " string of " + std::string(label) +
                                      ", made by the host");
        ok = true;
      } else {
        ok = std::holds_alternative<std::monostate>(v);
      }
      break;
    case BaseType::kObject:
      if (const auto* ref = std::get_if<Ref>(&v)) {
        cell.handle = ref->get();
        if (arg.byref && cell.handle != nullptr) retain(h, cell.handle, "a byref variable");
        ok = true;
      } else {
        ok = std::holds_alternative<std::monostate>(v);
      }
      break;
    case BaseType::kVoid:
      break;
  }
  if (!ok && error != nullptr) *error = std::string(label) + ": a value must be " + type_phrase(arg.type);
  return ok;
}

// A string handle the callee handed over: its text, and its reference dropped.
Value take_string(Impl& h, void* handle, std::string_view label) {
  if (handle == nullptr) return Value{};
  auto* string = find_string(h, handle, label);
  if (string == nullptr) return Value{};
  Value text{text_as_utf8(*string)};
  release_object(h, string);
  return text;
}

Value take_object(Impl& h, void* handle, std::string_view label) {
  if (handle == nullptr || find_object(h, handle, label) == nullptr) return Value{};
  return Value{Ref::Adopt(static_cast<REALobject>(handle))};
}

Value read_back(Impl& h, const FfiArg& arg, Cell& cell, std::string_view label) {
  switch (arg.type.base) {
    case BaseType::kInteger: return Value{int64_t{cell.i32}};
    case BaseType::kUInt32:
    case BaseType::kColor: return Value{int64_t{cell.u32}};
    case BaseType::kDouble: return Value{cell.d};
    case BaseType::kBoolean: return Value{cell.i8 != 0};
    case BaseType::kString: return take_string(h, cell.handle, label);
    case BaseType::kObject: return take_object(h, cell.handle, label);
    case BaseType::kVoid: break;
  }
  return Value{};
}

// Which candidate a call by name means, or the reason there is none.
const Candidate* choose(Impl& h, std::string_view name, const Object* self, bool setter, std::vector<Value>& args,
                        const Value* value, std::string* error, bool nil_picture = false) {
  std::vector<const Candidate*> named;
  for (const auto& c : candidates(h)) {
    if (c.setter == setter && iequals(c.name, name) && self_matches(h, c, self, nil_picture)) named.push_back(&c);
  }
  if (named.empty()) {
    *error = "unknown method " + std::string(name);
    return nullptr;
  }
  std::vector<const Candidate*> counted;
  for (const auto* c : named) {
    if (args.size() >= required_count(*c) && args.size() <= c->params.size()) counted.push_back(c);
  }
  if (counted.empty()) {
    *error = "no overload of " + std::string(name) + " takes " + std::to_string(args.size()) + " argument" +
             (args.size() == 1 ? "" : "s");
    return nullptr;
  }
  const Candidate* best = nullptr;
  int best_conversions = 0;
  std::string first_error;
  for (const auto* c : counted) {
    int conversions = 0;
    std::string problem = type_error(h, *c, args, value, &conversions);
    if (!problem.empty()) {
      if (first_error.empty()) first_error = std::move(problem);
      continue;
    }
    if (best == nullptr || conversions < best_conversions) {
      best = c;
      best_conversions = conversions;
    }
  }
  if (best == nullptr) *error = first_error;
  return best;
}

// Makes the chosen call: self first, the caller's arguments with defaults filled,
// a setter's value last.
CallResult call_candidate(Impl& h, const Candidate& c, REALobject self, std::vector<Value> args,
                          std::optional<Value> value) {
  const size_t given = args.size();
  for (size_t i = given; i < c.params.size(); ++i) args.push_back(literal_value(*c.params[i].default_value));
  std::vector<FfiArg> ffi_args;
  if (c.takes_self) ffi_args.push_back({c.self_type, false, Value{Ref::Retain(self)}});
  for (size_t i = 0; i < args.size(); ++i) {
    ffi_args.push_back({c.params[i].type, c.params[i].mode == ParamMode::kByRef, std::move(args[i])});
  }
  if (value) ffi_args.push_back({*c.value_type, false, std::move(*value)});
  CallResult result = invoke(h, c.function, c.name, std::move(ffi_args), c.result);
  // The caller sees its own arguments (defaults included), not self or the value.
  if (c.takes_self && !result.args.empty()) result.args.erase(result.args.begin());
  if (value && !result.args.empty()) result.args.pop_back();
  return result;
}

}  // namespace

const std::vector<Candidate>& candidates(Impl& h) {
  if (h.candidates_stale) rebuild(h);
  return h.candidates;
}

CallResult invoke(Impl& h, REALproc function, std::string_view label, std::vector<FfiArg> args, const TypeRef& result) {
  CallResult out;
  const size_t n = args.size();
  std::vector<Cell> cells(n);
  std::vector<ffi_type*> types(n);
  std::vector<void*> values(n);
  for (size_t i = 0; i < n; ++i) {
    if (!store(h, args[i], cells[i], label, &out.error)) {
      for (size_t k = 0; k < i; ++k) {
        if (cells[k].handle != nullptr && (args[k].type.base == BaseType::kString || args[k].byref)) {
          release(h, cells[k].handle, "a call that was not made");
        }
      }
      return out;
    }
    void* field = field_of(cells[i], args[i].type);
    if (args[i].byref) {
      cells[i].pointer = field;
      types[i] = &ffi_type_pointer;
      values[i] = &cells[i].pointer;
    } else {
      types[i] = ffi_type_of(args[i].type);
      values[i] = field;
    }
  }
  ffi_cif cif;
  if (ffi_prep_cif(&cif, FFI_DEFAULT_ABI, static_cast<unsigned>(n), ffi_type_of(result), types.data()) != FFI_OK) {
    out.error = "cannot describe the call of " + std::string(label);
    return out;
  }
  // Integral results come back widened to a full ffi_arg.
  ffi_arg word = 0;
  double real = 0;
  void* pointer = nullptr;
  void* result_storage = result.base == BaseType::kDouble ? static_cast<void*>(&real)
                         : result.base == BaseType::kString || result.base == BaseType::kObject
                             ? static_cast<void*>(&pointer)
                             : static_cast<void*>(&word);
  const size_t raised_before = h.raised.size();
  std::string outer = std::exchange(h.running, std::string(label));
  ffi_call(&cif, reinterpret_cast<void (*)()>(function), result_storage, values.data());
  h.running = std::move(outer);

  switch (result.base) {
    case BaseType::kInteger: out.value = int64_t{static_cast<int32_t>(word)}; break;
    case BaseType::kUInt32:
    case BaseType::kColor: out.value = int64_t{static_cast<uint32_t>(word)}; break;
    case BaseType::kDouble: out.value = real; break;
    case BaseType::kBoolean: out.value = static_cast<int8_t>(word & 0xFF) != 0; break;
    case BaseType::kString: out.value = take_string(h, pointer, "the result of " + std::string(label)); break;
    case BaseType::kObject: out.value = take_object(h, pointer, "the result of " + std::string(label)); break;
    case BaseType::kVoid: break;
  }
  for (size_t i = 0; i < n; ++i) {
    if (args[i].byref) {
      out.args.push_back(read_back(h, args[i], cells[i], "byref " + std::to_string(i + 1) + " of " + std::string(label)));
      continue;
    }
    if (args[i].type.base == BaseType::kString && cells[i].handle != nullptr) {
      release(h, cells[i].handle, "the host after the call of " + std::string(label));
    }
    out.args.push_back(std::move(args[i].value));
  }
  // The first exception raised is the one delivered; the host drops its references.
  if (h.raised.size() > raised_before) {
    out.exception = exception_info(*h.raised[raised_before].object);
    std::vector<RaisedException> delivered(h.raised.begin() + static_cast<std::ptrdiff_t>(raised_before), h.raised.end());
    h.raised.resize(raised_before);
    for (const auto& raised : delivered) release_object(h, raised.object);
  }
  return out;
}

}  // namespace testhost::internal

namespace testhost {

using namespace internal;

namespace {

CallResult failed(std::string error) {
  CallResult result;
  result.error = std::move(error);
  return result;
}

}  // namespace

CallResult Host::Call(std::string_view name, std::vector<Value> args) {
  std::string error;
  const Candidate* c = choose(*impl_, name, nullptr, false, args, nullptr, &error);
  if (c == nullptr) return failed(error);
  return call_candidate(*impl_, *c, nullptr, std::move(args), std::nullopt);
}

CallResult Host::CallMethod(REALobject self, std::string_view name, std::vector<Value> args) {
  Object* object = nullptr;
  if (self != nullptr) {
    object = find_object(*impl_, self, "CallMethod");
    if (object == nullptr) return failed("CallMethod " + std::string(name) + " needs a live object");
  }
  std::string error;
  const Candidate* c = choose(*impl_, name, object, false, args, nullptr, &error, self == nullptr);
  if (c == nullptr) return failed(error);
  return call_candidate(*impl_, *c, self, std::move(args), std::nullopt);
}

CallResult Host::Assign(REALobject self, std::string_view name, std::vector<Value> args, Value value) {
  Object* object = nullptr;
  if (self != nullptr) {
    object = find_object(*impl_, self, "Assign");
    if (object == nullptr) return failed("Assign " + std::string(name) + " needs a live object");
  }
  std::string error;
  const Candidate* c = choose(*impl_, name, object, true, args, &value, &error);
  if (c == nullptr) return failed(error);
  return call_candidate(*impl_, *c, self, std::move(args), std::move(value));
}

CallResult Host::CallDeclared(std::string_view declaration, REALobject self, std::vector<Value> args) {
  const Candidate* chosen = nullptr;
  for (const auto& c : candidates(*impl_)) {
    if (c.declaration != declaration) continue;
    if (chosen == nullptr || (chosen->setter && !c.setter)) chosen = &c;
  }
  if (chosen == nullptr) return failed("no registration is declared \"" + std::string(declaration) + "\"");
  Candidate c = *chosen;
  if (c.takes_self && self == nullptr) return failed(c.name + " needs an object");
  if (!c.takes_self && self != nullptr) {
    // A function registered without a receiver that still takes one first.
    c.takes_self = true;
    c.self_type = TypeRef{BaseType::kObject, "Object"};
  }
  std::optional<Value> value;
  if (c.setter) {
    if (args.empty()) return failed("the setter " + c.name + " needs a value");
    value = std::move(args.back());
    args.pop_back();
  }
  if (args.size() < required_count(c) || args.size() > c.params.size()) {
    return failed("no overload of " + c.name + " takes " + std::to_string(args.size()) + " argument" +
                  (args.size() == 1 ? "" : "s"));
  }
  int conversions = 0;
  std::string problem = type_error(*impl_, c, args, value ? &*value : nullptr, &conversions);
  if (!problem.empty()) return failed(problem);
  return call_candidate(*impl_, c, self, std::move(args), std::move(value));
}

std::vector<Callable> Host::Callables() const {
  std::vector<Callable> out;
  for (const auto& c : candidates(*impl_)) out.push_back({c.shown, c.owner, c.setter});
  return out;
}

std::optional<Exception> Host::TakeRaisedException() {
  if (impl_->raised.empty()) return std::nullopt;
  const RaisedException raised = impl_->raised.front();
  impl_->raised.erase(impl_->raised.begin());
  Exception info = exception_info(*raised.object);
  release_object(*impl_, raised.object);
  return info;
}

}  // namespace testhost
