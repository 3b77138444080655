// Registration entry points. Every record is decoded when it is registered, in
// the layout fixed by the announced interface version (9 or lower: the version-9
// layouts; otherwise, or when nothing was announced, the current ones), because a
// plug-in may free or reuse a converted record right after the call.
#include "host/host_internal.h"

namespace testhost::internal {

namespace {

struct CurrentLayout {
  using Class = REALclassDefinition;
  using Module = REALmoduleDefinition;
  using Method = REALmethodDefinition;
  using Property = REALproperty;
  using Event = REALevent;
  using Constant = REALconstant;
};

struct Version9Layout {
  using Class = REALclassDefinition9;
  using Module = REALmoduleDefinition9;
  using Method = REALmethodDefinition9;
  using Property = REALproperty9;
  using Event = REALevent9;
  using Constant = REALconstant9;
};

std::string text(const char* s) { return s != nullptr ? s : ""; }

template <class Method>
MethodRecord decode_method(const Method& m) {
  MethodRecord record{text(m.declaration), m.function, m.setterFunction, m.flags, 0};
  if constexpr (requires { m.attributeCount; }) record.attributeCount = m.attributeCount;
  return record;
}

template <class Property>
PropertyRecord decode_property(const Property& p) {
  return PropertyRecord{text(p.group), text(p.name), text(p.type), p.flags, p.getter, p.setter, p.param};
}

template <class T, class F>
auto decode_array(const T* items, size_t count, F decode) {
  std::vector<decltype(decode(*items))> out;
  if (items == nullptr) return out;
  for (size_t i = 0; i < count; ++i) out.push_back(decode(items[i]));
  return out;
}

template <class Layout>
ClassRecord decode_class(const typename Layout::Class& c, int32_t layout) {
  ClassRecord record;
  record.layout = layout;
  record.record = &c;
  record.version = c.version;
  record.name = text(c.name);
  record.superName = text(c.superName);
  record.dataSize = c.dataSize;
  record.constructor = c.constructor;
  record.destructor = c.destructor;
  record.flags = c.flags;
  record.properties = decode_array(c.properties, c.propertyCount, decode_property<typename Layout::Property>);
  record.methods = decode_array(c.methods, c.methodCount, decode_method<typename Layout::Method>);
  record.events = decode_array(c.events, c.eventCount, [](const typename Layout::Event& e) { return text(e.declaration); });
  record.constants = decode_array(c.constants, c.constantCount, [](const typename Layout::Constant& k) {
    return ConstantRecord{text(k.declaration), k.flags};
  });
  record.sharedProperties =
      decode_array(c.sharedProperties, c.sharedPropertyCount, decode_property<typename Layout::Property>);
  record.sharedMethods = decode_array(c.sharedMethods, c.sharedMethodCount, decode_method<typename Layout::Method>);
  return record;
}

template <class Layout>
ModuleRecord decode_module(const typename Layout::Module& m, int32_t layout) {
  ModuleRecord record;
  record.layout = layout;
  record.record = &m;
  record.version = m.version;
  record.name = text(m.name);
  record.methods = decode_array(m.methods, m.methodCount, decode_method<typename Layout::Method>);
  record.constants = decode_array(m.constants, m.constantCount, [](const typename Layout::Constant& k) {
    return ConstantRecord{text(k.declaration), k.flags};
  });
  record.properties = decode_array(m.properties, m.propertyCount, decode_property<typename Layout::Property>);
  record.structureCount = m.structureCount;
  record.enumCount = m.enumCount;
  return record;
}

bool old_layout(const Impl& h) { return h.registrations.pluginVersion && *h.registrations.pluginVersion <= 9; }
int32_t layout_of(const Impl& h) { return h.registrations.pluginVersion.value_or(0); }

ClassRecord decode_any_class(const Impl& h, const void* record) {
  return old_layout(h) ? decode_class<Version9Layout>(*static_cast<const REALclassDefinition9*>(record), layout_of(h))
                       : decode_class<CurrentLayout>(*static_cast<const REALclassDefinition*>(record), layout_of(h));
}

// A declaration the host cannot read is a fault of the plug-in's tables.
void check_declarations(Impl& h, const std::vector<MethodRecord>& methods, const std::string& owner) {
  for (const auto& method : methods) {
    std::string error;
    if (!parse_declaration(method.declaration, &error)) {
      fault(h, "registration of " + owner + ": cannot read \"" + method.declaration + "\": " + error);
    }
  }
}

void registered(Impl& h, std::string order) {
  h.registrations.order.push_back(std::move(order));
  h.candidates_stale = true;
}

double REALGetRBVersion() {
  Impl& h = enter("REALGetRBVersion");
  return h.config.version.value_or(0.0);
}

void RegisterPluginVersion(int32_t version) {
  Impl& h = enter("RegisterPluginVersion");
  h.registrations.pluginVersion = version;
}

namespace {

void register_class(const char* entry, REALclassDefinition* record, const std::string& what,
                    std::vector<ClassRecord> Registrations::*list) {
  Impl& h = enter(entry);
  if (record == nullptr) return fault(h, std::string(entry) + " was given no record");
  ClassRecord decoded = decode_any_class(h, record);
  check_declarations(h, decoded.methods, what + " " + decoded.name);
  registered(h, (list == &Registrations::classes ? "class " : "extension ") + decoded.name);
  (h.registrations.*list).push_back(std::move(decoded));
}

}  // namespace

void PluginRegisterClass(REALclassDefinition* record) {
  register_class("PluginRegisterClass", record, "class", &Registrations::classes);
}

void PluginRegisterClassExtension(REALclassDefinition* record) {
  register_class("PluginRegisterClassExtension", record, "extension of", &Registrations::extensions);
}

void PluginRegisterModule(REALmoduleDefinition* record) {
  Impl& h = enter("PluginRegisterModule");
  if (record == nullptr) return fault(h, "PluginRegisterModule was given no record");
  ModuleRecord decoded =
      old_layout(h) ? decode_module<Version9Layout>(*reinterpret_cast<const REALmoduleDefinition9*>(record), layout_of(h))
                    : decode_module<CurrentLayout>(*record, layout_of(h));
  check_declarations(h, decoded.methods, "module " + decoded.name);
  registered(h, "module " + decoded.name);
  h.registrations.modules.push_back(std::move(decoded));
}

void PluginRegisterMethod(REALmethodDefinition* record) {
  Impl& h = enter("PluginRegisterMethod");
  if (record == nullptr) return fault(h, "PluginRegisterMethod was given no record");
  MethodRecord decoded = old_layout(h) ? decode_method(*reinterpret_cast<const REALmethodDefinition9*>(record))
                                       : decode_method(*record);
  check_declarations(h, {decoded}, "a global method");
  registered(h, "method " + decoded.declaration);
  h.registrations.methods.push_back(std::move(decoded));
}

}  // namespace

void add_registry_entries(EntryTable& table) {
  TESTHOST_ENTRY(table, REALGetRBVersion);
  TESTHOST_ENTRY(table, RegisterPluginVersion);
  TESTHOST_ENTRY(table, PluginRegisterClass);
  TESTHOST_ENTRY(table, PluginRegisterClassExtension);
  TESTHOST_ENTRY(table, PluginRegisterModule);
  TESTHOST_ENTRY(table, PluginRegisterMethod);
}

}  // namespace testhost::internal
