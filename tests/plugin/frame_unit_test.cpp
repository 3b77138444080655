// The pure parts of registration: declaration rewriting for module functions,
// the host-dependent flag rule and the version-9 record conversions.
#include <gtest/gtest.h>

#include <cstdlib>
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

TEST(FixClass, KeepsTheLeadingFieldsOfEveryTableAndPointsEventsAtTheirCopies) {
  REALproperty properties[] = {
      {nullptr, "A", "Integer", 6, host_abi::kDirectAccess, host_abi::kDirectAccess, 24, nullptr, 0, nullptr, 7,
       reinterpret_cast<void*>(1)},
      {"g", "B", "Double", 2, pa(), pb(), 0, pa(), 0, nullptr, 0, nullptr},
  };
  REALmethodDefinition methods[] = {{pa(), pb(), "M(x as integer)", 4, 3, reinterpret_cast<void*>(1)}};
  REALevent events[] = {{"E1", 0, 0, nullptr}, {"E2", 0, 0, nullptr}};
  REALconstant constants[] = {{"K = 1", nullptr, 9, 0, nullptr}};
  REALmethodDefinition shared[] = {{pb(), nullptr, "S", 8, 0, nullptr}};
  REALclassDefinition record{.version = 13, .name = "C", .superName = "Base", .dataSize = 48, .forSystemUse = 5,
                             .constructor = pa(), .destructor = pb(), .properties = properties,
                             .propertyCount = 2, .methods = methods, .methodCount = 1, .events = events,
                             .eventCount = 2, .interfaces = "I", .bindDescriptions = &record,
                             .bindDescriptionCount = 3, .constants = constants, .constantCount = 1, .flags = 4,
                             .sharedMethods = shared, .sharedMethodCount = 1};
  const int32_t saved = CurrentREALControlVersion;
  CurrentREALControlVersion = 9;
  REALclassDefinition9* fixed = FixClass(&record);
  CurrentREALControlVersion = saved;
  ASSERT_NE(fixed, nullptr);

  EXPECT_EQ(fixed->version, 9u);
  EXPECT_STREQ(fixed->name, "C");
  EXPECT_STREQ(fixed->superName, "Base");
  EXPECT_EQ(fixed->dataSize, 48u);
  EXPECT_EQ(fixed->forSystemUse, 5);
  EXPECT_EQ(fixed->constructor, pa());
  EXPECT_EQ(fixed->destructor, pb());
  ASSERT_EQ(fixed->propertyCount, 2u);
  EXPECT_STREQ(fixed->properties[0].name, "A");
  EXPECT_EQ(fixed->properties[0].getter, host_abi::kDirectAccess);
  EXPECT_EQ(fixed->properties[0].param, 24);
  EXPECT_STREQ(fixed->properties[1].group, "g");
  EXPECT_EQ(fixed->properties[1].editor, pa());
  ASSERT_EQ(fixed->methodCount, 1u);
  EXPECT_EQ(fixed->methods[0].function, pa());
  EXPECT_EQ(fixed->methods[0].setterFunction, pb());
  EXPECT_STREQ(fixed->methods[0].declaration, "M(x as integer)");
  EXPECT_EQ(fixed->methods[0].flags, 4u);
  ASSERT_EQ(fixed->eventCount, 2u);
  EXPECT_STREQ(fixed->events[1].declaration, "E2");
  EXPECT_EQ(events[1].forSystemUse, reinterpret_cast<intptr_t>(&fixed->events[1]));
  EXPECT_STREQ(fixed->interfaces, "I");
  EXPECT_EQ(fixed->bindDescriptions, nullptr);
  EXPECT_EQ(fixed->bindDescriptionCount, 0u);
  ASSERT_EQ(fixed->constantCount, 1u);
  EXPECT_EQ(fixed->constants[0].flags, 9u);
  EXPECT_EQ(fixed->flags, 4u);
  EXPECT_EQ(fixed->sharedProperties, nullptr);
  ASSERT_EQ(fixed->sharedMethodCount, 1u);
  EXPECT_STREQ(fixed->sharedMethods[0].declaration, "S");

  std::free(fixed->properties);
  std::free(fixed->methods);
  std::free(fixed->events);
  std::free(fixed->constants);
  std::free(fixed->sharedMethods);
  std::free(fixed);
}

TEST(FixModule, ConvertsEveryTableOfAModule) {
  REALmethodDefinition methods[] = {{pa(), nullptr, "F", 20, 0, nullptr}, {pb(), pa(), "G", 4, 0, nullptr}};
  REALconstant constants[] = {{"K", nullptr, 1, 0, nullptr}};
  REALproperty properties[] = {{nullptr, "P", "Integer", 4, pa(), pb(), 3, nullptr, 0, nullptr, 0, nullptr}};
  const char* fields[] = {"a", "b"};
  REALstructure structures[] = {{"S", 1, fields, 2, 0, nullptr}};
  REALenum enums[] = {{"E", "Integer", 2, fields, 2, 0, nullptr}};
  REALmoduleDefinition record{.version = 13, .name = "M", .methods = methods, .methodCount = 2,
                              .constants = constants, .constantCount = 1, .properties = properties,
                              .propertyCount = 1, .structures = structures, .structureCount = 1, .enums = enums,
                              .enumCount = 1};
  const int32_t saved = CurrentREALControlVersion;
  CurrentREALControlVersion = 9;
  REALmoduleDefinition9* fixed = FixModule(&record);
  CurrentREALControlVersion = saved;
  ASSERT_NE(fixed, nullptr);
  EXPECT_EQ(fixed->version, 9u);
  EXPECT_STREQ(fixed->name, "M");
  ASSERT_EQ(fixed->methodCount, 2u);
  EXPECT_EQ(fixed->methods[1].setterFunction, pa());
  EXPECT_EQ(fixed->methods[0].flags, 20u);
  EXPECT_STREQ(fixed->constants[0].declaration, "K");
  EXPECT_EQ(fixed->properties[0].param, 3);
  EXPECT_STREQ(fixed->structures[0].name, "S");
  EXPECT_EQ(fixed->structures[0].fieldCount, 2u);
  EXPECT_STREQ(fixed->enums[0].type, "Integer");
  EXPECT_EQ(fixed->enums[0].fields, fields);
  for (void* p : {static_cast<void*>(fixed->methods), static_cast<void*>(fixed->constants),
                  static_cast<void*>(fixed->properties), static_cast<void*>(fixed->structures),
                  static_cast<void*>(fixed->enums), static_cast<void*>(fixed)}) {
    std::free(p);
  }
}

TEST(FixProperties, IsNullForAnEmptyTable) {
  REALproperty one{};
  EXPECT_EQ(FixProperties(nullptr, 3), nullptr);
  EXPECT_EQ(FixProperties(&one, 0), nullptr);
}

}  // namespace
}  // namespace picture
