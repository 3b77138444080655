// A plug-in that registers the complete tables (every method, class and global
// the host must be offered) with stand-in functions, through the plug-in's own
// registration code. It lets the registration tests check the adaptation to
// every host version on the full tables while operations are still being built.
#include <array>
#include <utility>
#include <vector>

#include "frame/registration.h"
#include "tests/plugin/expected_tables.h"

namespace {

// Distinct functions, so that the tests can tell every registered function apart.
template <size_t I>
void stand_in() {}

template <size_t... I>
std::array<REALproc, sizeof...(I)> make_stand_ins(std::index_sequence<I...>) {
  return {reinterpret_cast<REALproc>(&stand_in<I>)...};
}

const auto kStandIns = make_stand_ins(std::make_index_sequence<128>());
size_t gNextStandIn = 0;
REALproc next_stand_in() { return kStandIns.at(gNextStandIn++); }

std::vector<REALmethodDefinition> methods_of(const expected::Method* table, size_t count) {
  std::vector<REALmethodDefinition> out;
  for (size_t i = 0; i < count; ++i) {
    REALproc function = next_stand_in();
    REALproc setter = table[i].hasSetter ? next_stand_in() : nullptr;
    out.push_back({function, setter, table[i].declaration.data(), table[i].flags, 0, nullptr});
  }
  return out;
}

struct ClassTables {
  std::vector<REALproperty> properties;
  std::vector<REALmethodDefinition> methods;
  REALclassDefinition record{};
};

std::vector<REALmethodDefinition> gExtensionMethods;
std::vector<REALmethodDefinition> gGlobals;
std::array<ClassTables, std::size(expected::kClasses)> gClasses;
std::array<REALclassDefinition*, std::size(expected::kClasses)> gClassRecords;
REALclassDefinition gExtension{};

void build_tables() {
  gExtensionMethods = methods_of(expected::kPictureExtension, std::size(expected::kPictureExtension));
  gGlobals = methods_of(expected::kGlobals, std::size(expected::kGlobals));
  for (size_t c = 0; c < gClasses.size(); ++c) {
    const expected::Class& shape = expected::kClasses[c];
    ClassTables& t = gClasses[c];
    for (size_t i = 0; i < shape.propertyCount; ++i) {
      const expected::Property& p = shape.properties[i];
      const bool direct = p.offset >= 0;
      t.properties.push_back({nullptr, p.name.data(), p.type.data(), p.flags,
                              direct ? host_abi::kDirectAccess : next_stand_in(),
                              direct ? host_abi::kDirectAccess : next_stand_in(), direct ? p.offset : 0});
    }
    t.methods = methods_of(shape.methods, shape.methodCount);
    t.record = REALclassDefinition{.version = 13, .name = shape.name.data(), .dataSize = shape.dataSize,
        .constructor = next_stand_in(), .destructor = next_stand_in(), .properties = t.properties.data(),
        .propertyCount = t.properties.size(), .methods = t.methods.data(), .methodCount = t.methods.size(),
        .flags = shape.flags};
    gClassRecords[c] = &t.record;
  }
  gExtension = REALclassDefinition{.version = 13, .name = "Picture", .methods = gExtensionMethods.data(),
                                   .methodCount = gExtensionMethods.size(), .flags = 4};
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(REALresolver resolver) {
  build_tables();
  picture::PluginMain(resolver, picture::PluginTables{gClassRecords, &gExtension, gGlobals});
}
