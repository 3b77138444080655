// The pure parts of registration: declaration rewriting for module functions,
// the host-dependent flag rule and the version-9 record conversions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <tuple>
#include <iterator>
#include <memory>
#include <string>

#include "frame/host.h"
#include "frame/registration.h"

namespace picture {
namespace {

std::string take(char* text) {
  std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
  return text != nullptr ? std::string(text) : std::string("<null>");
}

TEST(AddClassParameter, RewritesEveryDeclarationShape) {
  struct Case {
    const char* declaration;
    const char* expected;
  };
  const Case cases[] = {
      {"InvertZRK as picture", "InvertZRK(extends ref as Picture) as picture"},
      {"isGrayZRK(tolerance as integer = 0) as boolean",
       "isGrayZRK(extends ref as Picture, tolerance as integer = 0) as boolean"},
      {"InvertZRK(left as integer,top as integer,width as integer,height as integer) as picture",
       "InvertZRK(extends ref as Picture, left as integer,top as integer,width as integer,height as integer) as picture"},
      {"Empty() as picture", "Empty(extends ref as Picture, ) as picture"},
      {"Close", "Close(extends ref as Picture)"},
      {"Go(a as integer (x))", "Go(extends ref as Picture, a as integer (x))"},
  };
  for (const Case& c : cases) EXPECT_EQ(take(AddClassParameter(c.declaration, "Picture")), c.expected);
}

TEST(AddClassParameter, StaysWithinItsBuffer) {
  const std::string longName(2000, 'x');
  const std::string result = take(AddClassParameter((longName + " as picture").c_str(), "Picture"));
  EXPECT_EQ(result.size(), 999u);
}

TEST(AddAssignsParameter, AddsTheValueBeforeTheFirstClosingParenthesis) {
  struct Case {
    const char* declaration;
    const char* expected;
  };
  const Case cases[] = {
      {"EmbeddedMaskZRK(extends ref as Picture, swap as boolean) as picture",
       "EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)"},
      {"Mask as picture", "Mask(assigns value as picture)"},
      {"Mask", "Mask(assigns value)"},
  };
  for (const Case& c : cases) EXPECT_EQ(take(AddAssignsParameter(c.declaration)), c.expected);
}

TEST(ConsoleFlags, TurnsHostBitsIntoFlagsFrom2010029AndAlwaysClearsThem) {
  struct Case {
    double host;
    uint32_t in, out;
  };
  const Case cases[] = {
      {0.0, 0x40000, 0},          {2010.028, 0x40002, 2},     {2010.029, 0x40000, 4},
      {2010.029, 0x40002, 6},     {2019.0, 0x80000, 8},       {2019.0, 0xC0000, 12},
      {2019.0, 0x100001, 1},      {2005.0, 0x1C0010, 0x10},   {2019.0, 6, 6},
  };
  const double saved = rbversion_rbversion;
  for (const Case& c : cases) {
    rbversion_rbversion = c.host;
    EXPECT_EQ(ConsoleFlags(c.in), c.out) << "host " << c.host << " flags " << std::hex << c.in;
  }
  rbversion_rbversion = saved;
}

void proc_a() {}
void proc_b() {}
REALproc pa() { return reinterpret_cast<REALproc>(&proc_a); }
REALproc pb() { return reinterpret_cast<REALproc>(&proc_b); }

// Each old-layout record holds the leading fields of its source. Sources live in
// static storage, so their padding is zero whichever way the fields are copied.
template <class Old, class New>
bool is_prefix(const Old* converted, const New* source, size_t count) {
  if (converted == nullptr) return false;
  for (size_t i = 0; i < count; ++i) {
    if (std::memcmp(&converted[i], &source[i], sizeof(Old)) != 0) return false;
  }
  return true;
}

template <class Record, class Converted>
Converted* at_version_9(Converted* (*convert)(Record*), Record* record) {
  const int32_t saved = CurrentREALControlVersion;
  CurrentREALControlVersion = 9;
  Converted* converted = convert(record);
  CurrentREALControlVersion = saved;
  return converted;
}

void free_all(std::initializer_list<void*> blocks) {
  for (void* p : blocks) std::free(p);
}

TEST(FixClass, KeepsTheLeadingFieldsOfEveryTableAndPointsEventsAtTheirCopies) {
  static REALproperty properties[] = {
      {nullptr, "A", "Integer", 6, host_abi::kDirectAccess, host_abi::kDirectAccess, 24, nullptr, 0, nullptr, 7,
       nullptr},
      {"g", "B", "Double", 2, pa(), pb(), 0, pa(), 0, nullptr, 0, nullptr},
  };
  static REALmethodDefinition methods[] = {{pa(), pb(), "M(x as integer)", 4, 3, properties}};
  static REALevent events[] = {{"E1", 0, 0, nullptr}, {"E2", 0, 0, nullptr}};
  static REALconstant constants[] = {{"K = 1", nullptr, 9, 0, nullptr}};
  static REALmethodDefinition shared[] = {{pb(), nullptr, "S", 8, 0, nullptr}};
  static REALclassDefinition record{.version = 13, .name = "C", .superName = "Base", .dataSize = 48, .forSystemUse = 5,
                             .constructor = pa(), .destructor = pb(), .properties = properties,
                             .propertyCount = 2, .methods = methods, .methodCount = 1, .events = events,
                             .eventCount = 2, .interfaces = "I", .bindDescriptions = &record,
                             .bindDescriptionCount = 3, .constants = constants, .constantCount = 1, .flags = 4,
                             .sharedMethods = shared, .sharedMethodCount = 1};
  REALclassDefinition9* fixed = at_version_9(FixClass, &record);
  ASSERT_NE(fixed, nullptr);
  EXPECT_EQ(fixed->version, 9u);
  EXPECT_EQ(std::tie(fixed->name, fixed->superName, fixed->dataSize, fixed->forSystemUse, fixed->constructor,
                     fixed->destructor, fixed->interfaces, fixed->flags),
            std::tie(record.name, record.superName, record.dataSize, record.forSystemUse, record.constructor,
                     record.destructor, record.interfaces, record.flags));
  EXPECT_EQ(fixed->propertyCount, 2u);
  EXPECT_TRUE(is_prefix(fixed->properties, properties, 2));
  EXPECT_TRUE(is_prefix(fixed->methods, methods, 1));
  ASSERT_EQ(fixed->eventCount, 2u);
  EXPECT_EQ(std::tie(fixed->events[0].declaration, fixed->events[1].declaration),
            std::tie(events[0].declaration, events[1].declaration));
  EXPECT_EQ(events[1].forSystemUse, reinterpret_cast<intptr_t>(&fixed->events[1]));
  EXPECT_TRUE(is_prefix(fixed->constants, constants, 1));
  EXPECT_TRUE(is_prefix(fixed->sharedMethods, shared, 1));
  EXPECT_EQ(fixed->sharedProperties, nullptr);
  EXPECT_EQ(fixed->bindDescriptions, nullptr);
  EXPECT_EQ(fixed->bindDescriptionCount, 0u);

  free_all({fixed->properties, fixed->methods, fixed->events, fixed->constants, fixed->sharedMethods, fixed});
}

TEST(FixModule, ConvertsEveryTableOfAModule) {
  static REALmethodDefinition methods[] = {{pa(), nullptr, "F", 20, 0, nullptr}, {pb(), pa(), "G", 4, 0, nullptr}};
  static REALconstant constants[] = {{"K", nullptr, 1, 0, nullptr}};
  static REALproperty properties[] = {{nullptr, "P", "Integer", 4, pa(), pb(), 3, nullptr, 0, nullptr, 0, nullptr}};
  static const char* fields[] = {"a", "b"};
  static REALstructure structures[] = {{"S", 1, fields, 2, 0, nullptr}};
  static REALenum enums[] = {{"E", "Integer", 2, fields, 2, 0, nullptr}};
  static REALmoduleDefinition record{.version = 13, .name = "M", .methods = methods, .methodCount = 2,
                              .constants = constants, .constantCount = 1, .properties = properties,
                              .propertyCount = 1, .structures = structures, .structureCount = 1, .enums = enums,
                              .enumCount = 1};
  REALmoduleDefinition9* fixed = at_version_9(FixModule, static_cast<const REALmoduleDefinition*>(&record));
  ASSERT_NE(fixed, nullptr);
  EXPECT_EQ(fixed->version, 9u);
  EXPECT_STREQ(fixed->name, "M");
  EXPECT_EQ(std::tie(fixed->methodCount, fixed->constantCount, fixed->propertyCount, fixed->structureCount,
                     fixed->enumCount),
            std::tie(record.methodCount, record.constantCount, record.propertyCount, record.structureCount,
                     record.enumCount));
  EXPECT_TRUE(is_prefix(fixed->methods, methods, 2));
  EXPECT_TRUE(is_prefix(fixed->constants, constants, 1));
  EXPECT_TRUE(is_prefix(fixed->properties, properties, 1));
  EXPECT_TRUE(is_prefix(fixed->structures, structures, 1));
  EXPECT_TRUE(is_prefix(fixed->enums, enums, 1));
  free_all({fixed->methods, fixed->constants, fixed->properties, fixed->structures, fixed->enums, fixed});
}

TEST(FixProperties, IsNullForAnEmptyTable) {
  REALproperty one{};
  EXPECT_EQ(FixProperties(nullptr, 3), nullptr);
  EXPECT_EQ(FixProperties(&one, 0), nullptr);
}

}  // namespace
}  // namespace picture
