// Registration of the plug-in's classes, picture class extension and global
// methods, adapted to the host at hand: its version picks the interface version
// and record layouts, the flags of the static tables are normalised for it, and
// hosts from 2013.0 up to 3000.0 get the extension and the globals as modules.
#pragma once

#include <cstddef>
#include <span>

#include "frame/host_interface.h"

namespace picture {

extern const char* gpartname;
extern const char* gpluginname;

// What REALPluginMain registers. The records are static data of the plug-in and
// are changed in place (flags, version words, sizes, version-9 layouts).
struct PluginTables {
  std::span<REALclassDefinition* const> classes;  // registered in this order
  REALclassDefinition* pictureExtension;           // methods on the host's "Picture"
  std::span<REALmethodDefinition> globals;
};

void PluginMain(REALresolver resolver, const PluginTables& tables);

// A function as the records store it.
template <class F>
REALproc proc(F* function) {
  return reinterpret_cast<REALproc>(function);
}

// Flag bits whose meaning depends on the host.
inline constexpr uint32_t kFlagConsoleSafe = 0x40000;  // becomes 4 from 2010.029
inline constexpr uint32_t kFlagHostDependent = 0x80000;  // becomes 8 from 2010.029
inline constexpr uint32_t kFlagsHostBits = 0x1c0000;   // never reach the host
inline constexpr uint32_t kFlagModuleGlobal = 16;

uint32_t ConsoleFlags(uint32_t flags);
void FixConsoleFlags(REALclassDefinition* classRecord);

// Version-9 copies; null for a failed allocation. The arrays they point to stay
// allocated: the host keeps pointing at them.
REALclassDefinition9* FixClass(REALclassDefinition* classRecord);
REALproperty9* FixProperties(const REALproperty* properties, size_t count);
REALmoduleDefinition9* FixModule(const REALmoduleDefinition* moduleRecord);

// Declarations for module functions: the extended class as a first parameter,
// and a setter's value as an assigns-parameter. Fresh heap copies; null when
// out of memory.
char* AddClassParameter(const char* declaration, const char* className);
char* AddAssignsParameter(const char* declaration);

}  // namespace picture
