// REALPluginMain's work: learn the host, announce the interface version, adapt
// the static tables and register them. Hosts that speak interface version 9 get
// copies in the old record layouts, written over the static records (the old
// layouts are prefixes of the new ones). Module records built here are never
// freed: the host keeps pointing at them.
#include "frame/registration.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/host.h"

namespace picture {

const char* gpartname = nullptr;
const char* gpluginname = nullptr;

namespace {

static_assert(sizeof(REALclassDefinition9) == offsetof(REALclassDefinition, delegates));
static_assert(sizeof(REALmoduleDefinition9) == offsetof(REALmoduleDefinition, attributes));
static_assert(sizeof(REALmethodDefinition9) == offsetof(REALmethodDefinition, attributeCount));
static_assert(sizeof(REALproperty9) == offsetof(REALproperty, attributeCount));

constexpr size_t kDeclarationBuffer = 1000;

// The module records the host keeps pointing at for the life of the process.
REALmoduleDefinition gExtensionModule{};
REALmoduleDefinition gGlobalsModule{};

int32_t interface_version(double host) {
  if (host >= 2013.04) return 13;
  if (host >= 2013.03) return 12;
  if (host >= 2013.0) return 11;
  if (host >= 2012.0) return 10;
  return 9;
}

bool registers_modules(double host) { return host >= 2013.0 && host < 3000.0; }

template <class T>
T* allocate(size_t count) {
  return count == 0 ? nullptr : static_cast<T*>(std::calloc(count, sizeof(T)));
}

// Copies the leading fields that the version-9 record `Old` shares with `New`.
template <class Old, class New>
Old* convert_prefix(const New* records, size_t count, bool& failed) {
  if (records == nullptr || count == 0) return nullptr;
  Old* out = allocate<Old>(count);
  if (out == nullptr) {
    failed = true;
    return nullptr;
  }
  for (size_t i = 0; i < count; ++i) std::memcpy(&out[i], &records[i], sizeof(Old));
  return out;
}

template <class Record>
void fix_flags(Record* records, size_t count) {
  for (size_t i = 0; records != nullptr && i < count; ++i) records[i].flags = ConsoleFlags(records[i].flags);
}

void register_class(REALclassDefinition* record, EntryPoint<void(REALclassDefinition*)>& registrar) {
  if (CurrentREALControlVersion > 9) {
    record->version = static_cast<uint32_t>(CurrentREALControlVersion);
    registrar(record);
    return;
  }
  REALclassDefinition9* old = FixClass(record);
  if (old == nullptr) return;
  std::memcpy(record, old, sizeof *old);
  registrar(record);
  std::free(old);
}

void register_module(REALmoduleDefinition* module) {
  module->version = static_cast<uint32_t>(CurrentREALControlVersion);
  if (CurrentREALControlVersion <= 9) {
    REALmoduleDefinition9* old = FixModule(module);
    if (old == nullptr) return;
    std::memcpy(module, old, sizeof *old);
    std::free(old);
  }
  PluginRegisterModule(module);
}

void free_methods(REALmethodDefinition* methods, size_t count) {
  for (size_t i = 0; i < count; ++i) std::free(const_cast<char*>(methods[i].declaration));
  std::free(methods);
}

// The extension's methods as module functions: a setter (with an assigns
// parameter) before the getter of the same record. False when out of memory.
bool build_extension_module(const REALclassDefinition& extension, REALmoduleDefinition& module) {
  char name[100];
  std::snprintf(name, sizeof name, "%s%s%s", extension.name, gpartname, "ExtensionZRK");

  size_t count = 0;
  for (size_t i = 0; i < extension.methodCount; ++i) {
    count += (extension.methods[i].function != nullptr) + (extension.methods[i].setterFunction != nullptr);
  }
  auto* methods = allocate<REALmethodDefinition>(count);
  char* moduleName = strdup(name);
  bool failed = (count > 0 && methods == nullptr) || moduleName == nullptr;

  size_t n = 0;
  for (size_t i = 0; !failed && i < extension.methodCount; ++i) {
    const REALmethodDefinition& record = extension.methods[i];
    if (record.setterFunction != nullptr) {
      char* withClass = AddClassParameter(record.declaration, extension.name);
      char* declaration = withClass != nullptr ? AddAssignsParameter(withClass) : nullptr;
      std::free(withClass);
      methods[n] = record;
      methods[n].function = record.setterFunction;
      methods[n++].declaration = declaration;
      failed = declaration == nullptr;
    }
    if (!failed && record.function != nullptr) {
      char* declaration = AddClassParameter(record.declaration, extension.name);
      methods[n] = record;
      methods[n++].declaration = declaration;
      failed = declaration == nullptr;
    }
  }
  if (failed) {
    if (methods != nullptr) free_methods(methods, n);
    std::free(moduleName);
    return false;
  }
  module = REALmoduleDefinition{.version = 13, .name = moduleName, .methods = methods, .methodCount = count};
  return true;
}

bool build_globals_module(std::span<const REALmethodDefinition> globals, REALmoduleDefinition& module) {
  char name[100];
  std::snprintf(name, sizeof name, "%s%s", gpartname, "GlobalsZRK");
  auto* methods = allocate<REALmethodDefinition>(globals.size());
  char* moduleName = strdup(name);
  if ((!globals.empty() && methods == nullptr) || moduleName == nullptr) {
    std::free(methods);
    std::free(moduleName);
    return false;
  }
  for (size_t i = 0; i < globals.size(); ++i) {
    methods[i] = globals[i];
    methods[i].flags |= kFlagModuleGlobal;
  }
  module = REALmoduleDefinition{.version = 13, .name = moduleName, .methods = methods, .methodCount = globals.size()};
  return true;
}

}  // namespace

uint32_t ConsoleFlags(uint32_t flags) {
  if (rbversion_rbversion >= 2010.029) {
    if (flags & kFlagConsoleSafe) flags |= 4;
    if (flags & kFlagHostDependent) flags |= 8;
  }
  return flags & ~kFlagsHostBits;
}

void FixConsoleFlags(REALclassDefinition* record) {
  record->flags = ConsoleFlags(record->flags);
  fix_flags(record->properties, record->propertyCount);
  fix_flags(record->methods, record->methodCount);
  fix_flags(record->sharedProperties, record->sharedPropertyCount);
  fix_flags(record->sharedMethods, record->sharedMethodCount);
}

REALproperty9* FixProperties(const REALproperty* properties, size_t count) {
  bool failed = false;
  return convert_prefix<REALproperty9>(properties, count, failed);
}

REALclassDefinition9* FixClass(REALclassDefinition* record) {
  auto* out = allocate<REALclassDefinition9>(1);
  if (out == nullptr) return nullptr;
  bool failed = false;
  out->version = static_cast<uint32_t>(CurrentREALControlVersion);
  out->name = record->name;
  out->superName = record->superName;
  out->dataSize = record->dataSize;
  out->forSystemUse = record->forSystemUse;
  out->constructor = record->constructor;
  out->destructor = record->destructor;
  out->properties = convert_prefix<REALproperty9>(record->properties, record->propertyCount, failed);
  out->propertyCount = record->propertyCount;
  out->methods = convert_prefix<REALmethodDefinition9>(record->methods, record->methodCount, failed);
  out->methodCount = record->methodCount;
  out->events = convert_prefix<REALevent9>(record->events, record->eventCount, failed);
  out->eventCount = record->eventCount;
  // The host finds an event's copy through the original record.
  for (size_t i = 0; out->events != nullptr && i < record->eventCount; ++i) {
    record->events[i].forSystemUse = reinterpret_cast<intptr_t>(&out->events[i]);
  }
  out->eventInstances = record->eventInstances;
  out->eventInstanceCount = record->eventInstanceCount;
  out->interfaces = record->interfaces;
  out->bindDescriptions = nullptr;
  out->bindDescriptionCount = 0;
  out->constants = convert_prefix<REALconstant9>(record->constants, record->constantCount, failed);
  out->constantCount = record->constantCount;
  out->flags = record->flags;
  out->sharedProperties =
      convert_prefix<REALproperty9>(record->sharedProperties, record->sharedPropertyCount, failed);
  out->sharedPropertyCount = record->sharedPropertyCount;
  out->sharedMethods =
      convert_prefix<REALmethodDefinition9>(record->sharedMethods, record->sharedMethodCount, failed);
  out->sharedMethodCount = record->sharedMethodCount;
  if (failed) {
    std::free(out);
    return nullptr;
  }
  return out;
}

REALmoduleDefinition9* FixModule(const REALmoduleDefinition* record) {
  auto* out = allocate<REALmoduleDefinition9>(1);
  if (out == nullptr) return nullptr;
  bool failed = false;
  out->version = static_cast<uint32_t>(CurrentREALControlVersion);
  out->name = record->name;
  out->methods = convert_prefix<REALmethodDefinition9>(record->methods, record->methodCount, failed);
  out->methodCount = record->methodCount;
  out->constants = convert_prefix<REALconstant9>(record->constants, record->constantCount, failed);
  out->constantCount = record->constantCount;
  out->properties = convert_prefix<REALproperty9>(record->properties, record->propertyCount, failed);
  out->propertyCount = record->propertyCount;
  out->structures = convert_prefix<REALstructure9>(record->structures, record->structureCount, failed);
  out->structureCount = record->structureCount;
  out->enums = convert_prefix<REALenum9>(record->enums, record->enumCount, failed);
  out->enumCount = record->enumCount;
  if (failed) {
    std::free(out);
    return nullptr;
  }
  return out;
}

char* AddClassParameter(const char* declaration, const char* className) {
  char buffer[kDeclarationBuffer];
  const char* blank = std::strchr(declaration, ' ');
  const char* paren = std::strchr(declaration, '(');
  if (blank != nullptr && (paren == nullptr || blank < paren)) {
    std::snprintf(buffer, sizeof buffer, "%.*s(extends ref as %s)%s", static_cast<int>(blank - declaration),
                  declaration, className, blank);
  } else if (paren != nullptr) {
    std::snprintf(buffer, sizeof buffer, "%.*s(extends ref as %s, %s", static_cast<int>(paren - declaration),
                  declaration, className, paren + 1);
  } else {
    std::snprintf(buffer, sizeof buffer, "%s(extends ref as %s)", declaration, className);
  }
  return strdup(buffer);
}

char* AddAssignsParameter(const char* declaration) {
  char buffer[kDeclarationBuffer];
  const char* close = std::strchr(declaration, ')');
  const char* blank = std::strchr(declaration, ' ');
  if (close != nullptr) {
    std::snprintf(buffer, sizeof buffer, "%.*s, assigns value%s)", static_cast<int>(close - declaration),
                  declaration, close + 1);
  } else if (blank != nullptr) {
    std::snprintf(buffer, sizeof buffer, "%.*s(assigns value%s)", static_cast<int>(blank - declaration),
                  declaration, blank);
  } else {
    std::snprintf(buffer, sizeof buffer, "%s(assigns value)", declaration);
  }
  return strdup(buffer);
}

void PluginMain(REALresolver resolver, const PluginTables& tables) {
  gResolver = resolver;
  if (REALGetRBVersion.available()) rbversion_rbversion = REALGetRBVersion();
  CurrentREALControlVersion = interface_version(rbversion_rbversion);
  RegisterPluginVersion(CurrentREALControlVersion);
  gpartname = "Picture";
  gpluginname = "Picture";

  for (REALclassDefinition* record : tables.classes) FixConsoleFlags(record);
  if (tables.pictureExtension != nullptr) FixConsoleFlags(tables.pictureExtension);
  for (REALmethodDefinition& method : tables.globals) method.flags = ConsoleFlags(method.flags);

  for (REALclassDefinition* record : tables.classes) record->dataSize = (record->dataSize + 15) & ~size_t{15};

  for (REALclassDefinition* record : tables.classes) register_class(record, PluginRegisterClass);

  if (REALclassDefinition* extension = tables.pictureExtension) {
    if (registers_modules(rbversion_rbversion)) {
      if (build_extension_module(*extension, gExtensionModule)) register_module(&gExtensionModule);
    } else {
      register_class(extension, PluginRegisterClassExtension);
    }
  }

  if (registers_modules(rbversion_rbversion)) {
    if (build_globals_module(tables.globals, gGlobalsModule)) register_module(&gGlobalsModule);
  } else {
    for (REALmethodDefinition& method : tables.globals) PluginRegisterMethod(&method);
  }
}

}  // namespace picture
