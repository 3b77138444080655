// What the host sees registered in every host version band. The complete tables
// come from the table fixture plug-in; the real plug-in's must be an in-order selection.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <tuple>

#include "tests/plugin/expected_tables.h"
#include "tests/plugin/pixel_reference.h"
#include "tests/plugin/plugin_test.h"

namespace {

using testhost::ClassRecord;
using testhost::MethodRecord;
using testhost::ModuleRecord;

struct Band {
  const char* name;
  std::optional<double> version;
  int32_t interfaceVersion;
  bool modules;    // extension and globals registered as modules
  bool hostFlags;  // 0x40000 becomes 4 (and 0x80000 8)
};
void PrintTo(const Band& b, std::ostream* os) { *os << b.name; }

const Band kBands[] = {
    {"NoVersion", std::nullopt, 9, false, false}, {"V2009", 2009.0, 9, false, false},
    {"V2010_028", 2010.028, 9, false, false},     {"V2010_029", 2010.029, 9, false, true},
    {"V2011_04", 2011.04, 9, false, true},        {"V2012_0", 2012.0, 10, false, true},
    {"V2012_5", 2012.5, 10, false, true},         {"V2013_0", 2013.0, 11, true, true},
    {"V2013_03", 2013.03, 12, true, true},        {"V2013_04", 2013.04, 13, true, true},
    {"V2019_011", 2019.011, 13, true, true},      {"V3000_0", 3000.0, 13, false, true},
    {"V3100", 3100.0, 13, false, true},
};

uint32_t host_flags(uint32_t table, bool hostFlags) {
  switch (table) {
    case 0x40000: return hostFlags ? 4 : 0;
    case 0x40002: return hostFlags ? 6 : 2;
    default: return table;
  }
}

// "Name rest" -> "Name(extends ref as Picture) rest"; "Name(args" -> "Name(extends ref as Picture, args".
std::string with_extends(std::string_view declaration) {
  const size_t paren = declaration.find('(');
  std::string d(declaration);
  if (paren != std::string::npos && paren < declaration.find(' '))
    return d.insert(paren + 1, "extends ref as Picture, ");
  return d.insert(declaration.find(' '), "(extends ref as Picture)");
}

// The extension's methods as the host must show them; as module functions a
// setter comes first, its value an assigns-parameter.
std::vector<std::string> listed(bool modules) {
  std::vector<std::string> out;
  for (const expected::Method& m : expected::kPictureExtension) {
    const std::string d = modules ? with_extends(m.declaration) : std::string(m.declaration);
    const size_t close = d.find(')');
    if (modules && m.hasSetter) out.push_back(d.substr(0, close) + ", assigns value" + d.substr(close + 1) + ")");
    out.push_back(d);
  }
  return out;
}

const ModuleRecord* find_module(const testhost::Registrations& r, std::string_view name) {
  for (const ModuleRecord& m : r.modules) {
    if (m.name == name) return &m;
  }
  return nullptr;
}

// The extension's methods, registered in a module or on the class extension.
const std::vector<MethodRecord>* extension_methods(const testhost::Registrations& r, const Band& band) {
  const ModuleRecord* module = find_module(r, "PicturePictureExtensionZRK");
  if (!band.modules) return r.extensions.size() == 1 ? &r.extensions[0].methods : nullptr;
  return module != nullptr && find_module(r, "PictureGlobalsZRK") != nullptr ? &module->methods : nullptr;
}

class BandTest : public PluginTest, public ::testing::WithParamInterface<Band> {};

// The table fixture registers the complete tables; the real plug-in the operations built so far, each as
// listed, in the listed order, answering calls on the class or as module functions.
TEST_P(BandTest, RegistersTheTablesAdaptedToTheHost) {
  const Band& band = GetParam();
  const testhost::Registrations& r = StartHostWith(TABLE_FIXTURE_PATH, {.version = band.version}).registrations();
  EXPECT_EQ(r.pluginVersion, band.interfaceVersion);

  std::vector<std::string> order = {"class PictureSepiaZRK", "class PictureLut3DZRK"};
  if (band.modules) {
    order.insert(order.end(), {"module PicturePictureExtensionZRK", "module PictureGlobalsZRK"});
  } else {
    order.push_back("extension Picture");
    for (const expected::Method& m : expected::kGlobals) order.push_back("method " + std::string(m.declaration));
  }
  ASSERT_EQ(r.order, order);

  // Classes with their sizes rounded up to 16.
  for (size_t c = 0; c < r.classes.size(); ++c) {
    const ClassRecord& got = r.classes[c];
    const expected::Class& want = expected::kClasses[c];
    SCOPED_TRACE(got.name);
    EXPECT_EQ(std::tie(got.layout, got.version, got.dataSize, got.flags),
              std::make_tuple(band.interfaceVersion, uint32_t(band.interfaceVersion), (want.dataSize + 15) / 16 * 16,
                              want.flags));
    EXPECT_TRUE(got.constructor != nullptr && got.destructor != nullptr);
    ASSERT_EQ(got.properties.size(), want.propertyCount);
    for (size_t i = 0; i < want.propertyCount; ++i) {
      const expected::Property& p = want.properties[i];
      const testhost::PropertyRecord& g = got.properties[i];
      EXPECT_EQ(std::tie(g.name, g.type, g.flags),
                std::make_tuple(p.name, p.type, host_flags(p.flags, band.hostFlags)));
      EXPECT_TRUE(p.offset >= 0 ? g.direct() && g.param == p.offset : !g.direct() && g.getter != g.setter) << p.name;
    }
    ASSERT_EQ(got.methods.size(), want.methodCount);
    for (size_t i = 0; i < want.methodCount; ++i) {
      const expected::Method& m = want.methods[i];
      EXPECT_EQ(std::tie(got.methods[i].declaration, got.methods[i].flags),
                std::make_tuple(m.declaration, host_flags(m.flags, band.hostFlags)));
      EXPECT_EQ(got.methods[i].setter != nullptr, m.hasSetter) << m.declaration;
    }
  }

  // Every table entry as the host must get it; a module function per method and setter.
  const uint32_t flags = host_flags(expected::kAnyHost, band.hostFlags);
  const std::vector<MethodRecord>* extension = extension_methods(r, band);
  const std::vector<MethodRecord>& globals = band.modules ? find_module(r, "PictureGlobalsZRK")->methods : r.methods;
  const std::vector<std::string> want = listed(band.modules);
  ASSERT_TRUE(extension != nullptr && extension->size() == want.size());
  std::set<REALproc> functions;
  for (size_t i = 0; i < want.size(); ++i) {
    EXPECT_EQ(std::tie((*extension)[i].declaration, (*extension)[i].flags), std::tie(want[i], flags));
    if (!band.modules) {
      EXPECT_EQ((*extension)[i].setter != nullptr, expected::kPictureExtension[i].hasSetter) << want[i];
    }
    functions.insert((*extension)[i].function);
  }
  EXPECT_TRUE(functions.size() == want.size() && functions.count(nullptr) == 0) << "a distinct function each";
  ASSERT_EQ(globals.size(), std::size(expected::kGlobals));
  for (size_t i = 0; i < globals.size(); ++i) {
    EXPECT_EQ(globals[i].declaration, expected::kGlobals[i].declaration);
    EXPECT_EQ(globals[i].flags, flags | (band.modules ? 16u : 0u)) << globals[i].declaration;
  }
  if (band.modules) {
    for (const char* module : {"PicturePictureExtensionZRK", "PictureGlobalsZRK"}) {
      EXPECT_EQ(find_module(r, module)->version, uint32_t(band.interfaceVersion)) << module;
    }
  } else {
    EXPECT_EQ(std::tie(r.extensions[0].layout, r.extensions[0].flags), std::make_tuple(band.interfaceVersion, 4u));
  }
  StopHost();

  testhost::Host& h = StartHost({.version = band.version});
  const testhost::Ref source = h.NewPicture(pixeltest::sized(2, 2));
  h.SetPixel(source.picture(), 1, 1, testhost::Pixel{1, 2, 3, 255});
  const testhost::CallResult inverted =
      h.CallMethod(source.get(), "InvertZRK", {int64_t{1}, int64_t{1}, int64_t{1}, int64_t{1}});
  ASSERT_TRUE(std::holds_alternative<testhost::Ref>(inverted.value)) << inverted.error;
  const testhost::Pixel white{255, 255, 255, 255};
  EXPECT_EQ(pixeltest::pixels_of(h, std::get<testhost::Ref>(inverted.value).picture()),
            (std::vector<testhost::Pixel>{white, white, white, {254, 253, 252, 255}}));
  EXPECT_EQ(h.registrations().pluginVersion, band.interfaceVersion);
  const std::vector<MethodRecord>* methods = extension_methods(h.registrations(), band);
  ASSERT_NE(methods, nullptr);
  auto next = want.begin();
  for (const MethodRecord& m : *methods) {
    next = std::find(next, want.end(), m.declaration);
    ASSERT_NE(next++, want.end()) << "not in the table, or out of order: " << m.declaration;
    if (!band.modules) {
      EXPECT_EQ(m.flags, flags) << m.declaration;
    }
  }
  const auto find = [&](std::string_view d) {
    return std::find_if(methods->begin(), methods->end(), [&](const MethodRecord& m) { return m.declaration == d; });
  };
  EXPECT_NE(find(band.modules ? with_extends("InvertZRK as picture") : "InvertZRK as picture"), methods->end());
  if (band.modules) {
    EXPECT_NE(find("EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)"),
              methods->end());
  } else {
    const auto mask = find("EmbeddedMaskZRK(swap as boolean) as picture");
    EXPECT_TRUE(mask != methods->end() && mask->setter != nullptr) << "the mask and its setter";
  }
}

INSTANTIATE_TEST_SUITE_P(AllHosts, BandTest, ::testing::ValuesIn(kBands), ByName());

class RegistrationTest : public PluginTest {};

// A host that lacks a registration entry point loses that registration only.
TEST_F(RegistrationTest, SkipsRegistrationsTheHostCannotTake) {
  const struct { double version; const char* missing; size_t classes, extensions, modules, methods; } cases[] = {
      {2019.0, "PluginRegisterModule", 2, 0, 0, 0},  {2019.0, "RegisterPluginVersion", 2, 0, 2, 0},
      {3000.0, "PluginRegisterMethod", 2, 1, 0, 0},  {3000.0, "PluginRegisterClass", 0, 1, 0, 6},
      {2005.0, "PluginRegisterClassExtension", 2, 0, 0, 6},
  };
  for (const auto& c : cases) {
    const testhost::Registrations& r =
        StartHostWith(TABLE_FIXTURE_PATH, {.version = c.version, .missing = {c.missing}}).registrations();
    EXPECT_EQ(std::tie(c.classes, c.extensions, c.modules, c.methods),
              std::make_tuple(r.classes.size(), r.extensions.size(), r.modules.size(), r.methods.size()))
        << "without " << c.missing;
    StopHost();
  }
}

}  // namespace
