// The pure parts of registration: declaration rewriting for module functions,
// the host-dependent flag rule and the version-9 record conversions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "frame/host.h"
#include "frame/registration.h"

namespace picture {
namespace {

std::string take(char* text) {
  std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
  return text != nullptr ? std::string(text) : std::string("<null>");
}

TEST(Declarations, GainTheClassOrTheAssignsParameterInEveryShape) {
  const struct { bool assigns; const char* declaration; const char* expected; } cases[] = {
      {false, "InvertZRK as picture", "InvertZRK(extends ref as Picture) as picture"},
      {false, "isGrayZRK(tolerance as integer = 0) as boolean",
       "isGrayZRK(extends ref as Picture, tolerance as integer = 0) as boolean"},
      {false, "Close", "Close(extends ref as Picture)"},
      {true, "EmbeddedMaskZRK(extends ref as Picture, swap as boolean) as picture",
       "EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)"},
      {true, "Mask as picture", "Mask(assigns value as picture)"},
      {true, "Mask", "Mask(assigns value)"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(take(c.assigns ? AddAssignsParameter(c.declaration) : AddClassParameter(c.declaration, "Picture")),
              c.expected);
  }
  const std::string longName(2000, 'x');
  EXPECT_EQ(take(AddClassParameter((longName + " as picture").c_str(), "Picture")).size(), 999u)
      << "stays within its buffer";
}

// The turn of 2010.029 is checked through every registration band.
TEST(ConsoleFlags, TurnsHostBitsIntoFlagsAndAlwaysClearsThem) {
  const struct { double host; uint32_t in, out; } cases[] = {{2019.0, 0x80000, 8}, {2019.0, 0x100001, 1}, {2005.0, 0x1C0010, 0x10}};
  const double saved = rbversion_rbversion;
  for (const auto& c : cases) {
    rbversion_rbversion = c.host;
    EXPECT_EQ(ConsoleFlags(c.in), c.out) << "host " << c.host << " flags " << std::hex << c.in;
  }
  rbversion_rbversion = saved;
}

void proc_a() {}
void proc_b() {}
const REALproc pa = reinterpret_cast<REALproc>(&proc_a), pb = reinterpret_cast<REALproc>(&proc_b);

// Each old-layout record holds the leading fields of its source. Sources live in
// static storage, so their padding is zero whichever way the fields are copied.
template <class Old, class New>
bool is_prefix(const Old* converted, const New* source, size_t count) {
  for (size_t i = 0; converted != nullptr && i < count; ++i) {
    if (std::memcmp(&converted[i], &source[i], sizeof(Old)) != 0) return false;
  }
  return converted != nullptr;
}

// The conversions as a host of interface version 9 has them made.
struct Version9 {
  const int32_t saved = std::exchange(CurrentREALControlVersion, 9);
  ~Version9() { CurrentREALControlVersion = saved; }
};

TEST(FixClass, KeepsTheLeadingFieldsOfEveryTableAndPointsEventsAtTheirCopies) {
  static REALproperty properties[] = {
      {nullptr, "A", "Integer", 6, host_abi::kDirectAccess, host_abi::kDirectAccess, 24, nullptr, 0, nullptr, 7,
       nullptr},
      {"g", "B", "Double", 2, pa, pb, 0, pa, 0, nullptr, 0, nullptr},
  };
  static REALmethodDefinition methods[] = {{pa, pb, "M(x as integer)", 4, 3, properties}};
  static REALevent events[] = {{"E1", 0, 0, nullptr}, {"E2", 0, 0, nullptr}};
  static REALconstant constants[] = {{"K = 1", nullptr, 9, 0, nullptr}};
  static REALmethodDefinition shared[] = {{pb, nullptr, "S", 8, 0, nullptr}};
  static REALclassDefinition record{.version = 13, .name = "C", .superName = "Base", .dataSize = 48, .forSystemUse = 5,
      .constructor = pa, .destructor = pb, .properties = properties, .propertyCount = 2, .methods = methods,
      .methodCount = 1, .events = events, .eventCount = 2, .interfaces = "I", .bindDescriptions = &record,
      .bindDescriptionCount = 3, .constants = constants, .constantCount = 1, .flags = 4, .sharedMethods = shared,
      .sharedMethodCount = 1};
  const Version9 v9;
  REALclassDefinition9* fixed = FixClass(&record);
  ASSERT_NE(fixed, nullptr);
  EXPECT_EQ(std::tie(fixed->version, fixed->name, fixed->superName, fixed->dataSize, fixed->forSystemUse,
                     fixed->constructor, fixed->destructor, fixed->interfaces, fixed->flags, fixed->propertyCount),
            std::make_tuple(9u, record.name, record.superName, record.dataSize, record.forSystemUse,
                            record.constructor, record.destructor, record.interfaces, record.flags, size_t{2}));
  EXPECT_TRUE(is_prefix(fixed->properties, properties, 2) && is_prefix(fixed->methods, methods, 1) &&
              is_prefix(fixed->constants, constants, 1) && is_prefix(fixed->sharedMethods, shared, 1));
  ASSERT_EQ(fixed->eventCount, 2u);
  EXPECT_EQ(std::tie(fixed->events[0].declaration, fixed->events[1].declaration),
            std::tie(events[0].declaration, events[1].declaration));
  EXPECT_EQ(events[1].forSystemUse, reinterpret_cast<intptr_t>(&fixed->events[1]));
  EXPECT_EQ(std::tie(fixed->sharedProperties, fixed->bindDescriptions, fixed->bindDescriptionCount),
            std::make_tuple(nullptr, nullptr, size_t{0}));
  for (void* p : std::initializer_list<void*>{fixed->properties, fixed->methods, fixed->events, fixed->constants,
                                             fixed->sharedMethods, fixed})
    std::free(p);
}

TEST(FixModule, ConvertsEveryTableOfAModule) {
  static REALmethodDefinition methods[] = {{pa, nullptr, "F", 20, 0, nullptr}, {pb, pa, "G", 4, 0, nullptr}};
  static REALconstant constants[] = {{"K", nullptr, 1, 0, nullptr}};
  static REALproperty properties[] = {{nullptr, "P", "Integer", 4, pa, pb, 3, nullptr, 0, nullptr, 0, nullptr}};
  static const char* fields[] = {"a", "b"};
  static REALstructure structures[] = {{"S", 1, fields, 2, 0, nullptr}};
  static REALenum enums[] = {{"E", "Integer", 2, fields, 2, 0, nullptr}};
  static REALmoduleDefinition record{.version = 13, .name = "M", .methods = methods, .methodCount = 2,
      .constants = constants, .constantCount = 1, .properties = properties, .propertyCount = 1,
      .structures = structures, .structureCount = 1, .enums = enums, .enumCount = 1};
  const Version9 v9;
  REALmoduleDefinition9* fixed = FixModule(&record);
  ASSERT_NE(fixed, nullptr);
  EXPECT_EQ(std::tie(fixed->version, fixed->name, fixed->methodCount, fixed->constantCount, fixed->propertyCount,
                     fixed->structureCount, fixed->enumCount),
            std::make_tuple(9u, record.name, size_t{2}, size_t{1}, size_t{1}, size_t{1}, size_t{1}));
  EXPECT_TRUE(is_prefix(fixed->methods, methods, 2) && is_prefix(fixed->constants, constants, 1) &&
              is_prefix(fixed->properties, properties, 1) && is_prefix(fixed->structures, structures, 1) &&
              is_prefix(fixed->enums, enums, 1));
  for (void* p : std::initializer_list<void*>{fixed->methods, fixed->constants, fixed->properties, fixed->structures,
                                             fixed->enums, fixed})
    std::free(p);
  REALproperty one{};
  EXPECT_TRUE(FixProperties(nullptr, 3) == nullptr && FixProperties(&one, 0) == nullptr) << "empty tables are null";
}

}  // namespace
}  // namespace picture
