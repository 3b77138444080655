// What the host sees registered, in every host version band: the interface
// version announced, record layouts, flags, class sizes, and the choice between
// class extension and modules. The complete tables are checked through the table
// fixture plug-in; the real plug-in's tables must be an in-order selection of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <tuple>

#include "tests/plugin/expected_tables.h"
#include "tests/plugin/plugin_test.h"

namespace {

using testhost::ClassRecord;
using testhost::HostConfig;
using testhost::MethodRecord;
using testhost::ModuleRecord;

struct Band {
  const char* name;
  std::optional<double> version;
  int32_t interfaceVersion;
  bool modules;    // extension and globals registered as modules
  bool hostFlags;  // 0x40000 becomes 4 (and 0x80000 8)
};

const Band kBands[] = {
    {"NoVersion", std::nullopt, 9, false, false}, {"V2009", 2009.0, 9, false, false},
    {"V2010_028", 2010.028, 9, false, false},     {"V2010_029", 2010.029, 9, false, true},
    {"V2011_04", 2011.04, 9, false, true},        {"V2012_0", 2012.0, 10, false, true},
    {"V2012_5", 2012.5, 10, false, true},         {"V2013_0", 2013.0, 11, true, true},
    {"V2013_03", 2013.03, 12, true, true},        {"V2013_04", 2013.04, 13, true, true},
    {"V2019_011", 2019.011, 13, true, true},      {"V3000_0", 3000.0, 13, false, true},
    {"V3100", 3100.0, 13, false, true},
};

// Flags as the host must receive them, for the table values in use.
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
  const size_t blank = declaration.find(' ');
  std::string d(declaration);
  if (paren != std::string::npos && paren < blank) return d.insert(paren + 1, "extends ref as Picture, ");
  return d.insert(blank, "(extends ref as Picture)");
}

const ModuleRecord* find_module(const testhost::Registrations& r, std::string_view name) {
  for (const ModuleRecord& m : r.modules) {
    if (m.name == name) return &m;
  }
  return nullptr;
}

class BandTest : public PluginTest, public ::testing::WithParamInterface<Band> {
 protected:
  HostConfig Config() const {
    HostConfig config;
    config.version = GetParam().version;
    return config;
  }
};

std::string band_name(const ::testing::TestParamInfo<Band>& info) { return info.param.name; }

class TableFixtureBands : public BandTest {};

TEST_P(TableFixtureBands, RegistersTheCompleteTablesAdaptedToTheHost) {
  const Band& band = GetParam();
  testhost::Host& host = StartHostWith(TABLE_FIXTURE_PATH, Config());
  const testhost::Registrations& r = host.registrations();

  ASSERT_TRUE(r.pluginVersion.has_value());
  EXPECT_EQ(*r.pluginVersion, band.interfaceVersion);

  // Classes, in order, with their sizes rounded up to 16.
  ASSERT_EQ(r.classes.size(), std::size(expected::kClasses));
  for (size_t c = 0; c < r.classes.size(); ++c) {
    const ClassRecord& got = r.classes[c];
    const expected::Class& want = expected::kClasses[c];
    SCOPED_TRACE(got.name);
    EXPECT_EQ(got.name, want.name);
    EXPECT_EQ(got.layout, band.interfaceVersion);
    EXPECT_EQ(got.version, static_cast<uint32_t>(band.interfaceVersion));
    EXPECT_EQ(got.dataSize, (want.dataSize + 15) / 16 * 16);
    EXPECT_EQ(got.flags, want.flags);
    EXPECT_NE(got.constructor, nullptr);
    EXPECT_NE(got.destructor, nullptr);
    ASSERT_EQ(got.properties.size(), want.propertyCount);
    for (size_t i = 0; i < want.propertyCount; ++i) {
      const expected::Property& p = want.properties[i];
      SCOPED_TRACE(p.name);
      EXPECT_EQ(got.properties[i].name, p.name);
      EXPECT_EQ(got.properties[i].type, p.type);
      EXPECT_EQ(got.properties[i].flags, host_flags(p.flags, band.hostFlags));
      EXPECT_EQ(got.properties[i].direct(), p.offset >= 0);
      if (p.offset >= 0) {
        EXPECT_EQ(got.properties[i].param, p.offset);
      } else {
        EXPECT_NE(got.properties[i].getter, got.properties[i].setter);
      }
    }
    ASSERT_EQ(got.methods.size(), want.methodCount);
    for (size_t i = 0; i < want.methodCount; ++i) {
      EXPECT_EQ(got.methods[i].declaration, want.methods[i].declaration);
      EXPECT_EQ(got.methods[i].flags, host_flags(want.methods[i].flags, band.hostFlags));
      EXPECT_EQ(got.methods[i].setter != nullptr, want.methods[i].hasSetter);
    }
  }
  EXPECT_EQ(r.classes[0].dataSize, 64u);
  EXPECT_EQ(r.classes[1].dataSize, 140000u);

  if (band.modules) {
    EXPECT_TRUE(r.extensions.empty());
    EXPECT_TRUE(r.methods.empty());
    ASSERT_EQ(r.modules.size(), 2u);

    const ModuleRecord* extension = find_module(r, "PicturePictureExtensionZRK");
    ASSERT_NE(extension, nullptr);
    EXPECT_EQ(extension->version, static_cast<uint32_t>(band.interfaceVersion));
    // One function per method and one more for the one setter, the setter first.
    std::vector<std::string> want;
    for (const expected::Method& m : expected::kPictureExtension) {
      if (m.hasSetter) {
        std::string d = with_extends(m.declaration);
        const size_t close = d.find(')');
        want.push_back(d.substr(0, close) + ", assigns value" + d.substr(close + 1) + ")");
      }
      want.push_back(with_extends(m.declaration));
    }
    ASSERT_EQ(extension->methods.size(), want.size());
    std::set<REALproc> functions;
    for (size_t i = 0; i < want.size(); ++i) {
      EXPECT_EQ(extension->methods[i].declaration, want[i]);
      EXPECT_EQ(extension->methods[i].flags, 4u);
      functions.insert(extension->methods[i].function);
    }
    EXPECT_EQ(functions.size(), want.size()) << "every module method has its own function";
    EXPECT_EQ(functions.count(nullptr), 0u);

    const ModuleRecord* globals = find_module(r, "PictureGlobalsZRK");
    ASSERT_NE(globals, nullptr);
    EXPECT_EQ(globals->version, static_cast<uint32_t>(band.interfaceVersion));
    ASSERT_EQ(globals->methods.size(), std::size(expected::kGlobals));
    for (size_t i = 0; i < globals->methods.size(); ++i) {
      EXPECT_EQ(globals->methods[i].declaration, expected::kGlobals[i].declaration);
      EXPECT_EQ(globals->methods[i].flags, 4u | 16u);
    }
    EXPECT_EQ(r.order, (std::vector<std::string>{"class PictureSepiaZRK", "class PictureLut3DZRK",
                                                 "module PicturePictureExtensionZRK", "module PictureGlobalsZRK"}));
  } else {
    EXPECT_TRUE(r.modules.empty());
    ASSERT_EQ(r.extensions.size(), 1u);
    const ClassRecord& extension = r.extensions[0];
    EXPECT_EQ(extension.name, "Picture");
    EXPECT_EQ(extension.layout, band.interfaceVersion);
    EXPECT_EQ(extension.flags, 4u);
    ASSERT_EQ(extension.methods.size(), std::size(expected::kPictureExtension));
    for (size_t i = 0; i < extension.methods.size(); ++i) {
      const expected::Method& m = expected::kPictureExtension[i];
      EXPECT_EQ(extension.methods[i].declaration, m.declaration);
      EXPECT_EQ(extension.methods[i].flags, host_flags(m.flags, band.hostFlags));
      EXPECT_EQ(extension.methods[i].setter != nullptr, m.hasSetter);
    }
    ASSERT_EQ(r.methods.size(), std::size(expected::kGlobals));
    for (size_t i = 0; i < r.methods.size(); ++i) {
      EXPECT_EQ(r.methods[i].declaration, expected::kGlobals[i].declaration);
      EXPECT_EQ(r.methods[i].flags, host_flags(expected::kAnyHost, band.hostFlags));
    }
    ASSERT_GE(r.order.size(), 3u);
    EXPECT_EQ(r.order[2], "extension Picture");
  }
}

INSTANTIATE_TEST_SUITE_P(AllHosts, TableFixtureBands, ::testing::ValuesIn(kBands), band_name);

// The spellings the host shows for module functions, as its documentation gives them.
class RegistrationTest : public PluginTest {};

TEST_F(RegistrationTest, ModuleDeclarationsReadAsTheHostDocumentsThem) {
  HostConfig config;
  config.version = 2013.0;
  const testhost::Registrations& r = StartHostWith(TABLE_FIXTURE_PATH, config).registrations();
  const ModuleRecord* extension = find_module(r, "PicturePictureExtensionZRK");
  ASSERT_NE(extension, nullptr);
  std::set<std::string> declarations;
  for (const MethodRecord& m : extension->methods) declarations.insert(m.declaration);
  for (const char* d : {"InvertZRK(extends ref as Picture) as picture",
                        "isGrayZRK(extends ref as Picture, tolerance as integer = 0) as boolean",
                        "EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)",
                        "EmbeddedMaskZRK(extends ref as Picture, swap as boolean) as picture"}) {
    EXPECT_EQ(declarations.count(d), 1u) << d;
  }
}

class RealPluginBands : public BandTest {};

// The real tables hold the operations built so far, each exactly as listed and in
// the listed order, and nothing else.
TEST_P(RealPluginBands, RegistersItsMethodsAsTheTableListsThem) {
  const Band& band = GetParam();
  const testhost::Registrations& r = StartHost(Config()).registrations();
  ASSERT_TRUE(r.pluginVersion.has_value());
  EXPECT_EQ(*r.pluginVersion, band.interfaceVersion);

  std::vector<std::string> declarations;
  if (band.modules) {
    const ModuleRecord* extension = find_module(r, "PicturePictureExtensionZRK");
    ASSERT_NE(extension, nullptr);
    for (const MethodRecord& m : extension->methods) declarations.push_back(m.declaration);
    EXPECT_NE(find_module(r, "PictureGlobalsZRK"), nullptr);
  } else {
    ASSERT_EQ(r.extensions.size(), 1u);
    for (const MethodRecord& m : r.extensions[0].methods) {
      declarations.push_back(std::string(m.declaration));
      EXPECT_EQ(m.flags, host_flags(expected::kAnyHost, band.hostFlags)) << m.declaration;
    }
  }
  ASSERT_FALSE(declarations.empty());
  // As module functions a setter comes first, its value an assigns-parameter.
  std::vector<std::string> listed;
  for (const expected::Method& m : expected::kPictureExtension) {
    const std::string d = band.modules ? with_extends(m.declaration) : std::string(m.declaration);
    const size_t close = d.find(')');
    if (band.modules && m.hasSetter) {
      listed.push_back(d.substr(0, close) + ", assigns value" + d.substr(close + 1) + ")");
    }
    listed.push_back(d);
  }
  size_t next = 0;
  for (const std::string& d : declarations) {
    while (next < listed.size()) {
      if (d == listed[next++]) break;
      if (next == listed.size()) ADD_FAILURE() << "not in the table, or out of order: " << d;
    }
  }
  for (const char* built : {"InvertZRK as picture", "InvertGrayZRK as picture"}) {
    const std::string want = band.modules ? with_extends(built) : std::string(built);
    EXPECT_NE(std::find(declarations.begin(), declarations.end(), want), declarations.end()) << want;
  }
  const std::string_view mask = "EmbeddedMaskZRK(swap as boolean) as picture";
  if (band.modules) {
    const std::string setter = "EmbeddedMaskZRK(extends ref as Picture, swap as boolean, assigns value as picture)";
    EXPECT_NE(std::find(declarations.begin(), declarations.end(), setter), declarations.end()) << setter;
  } else {
    EXPECT_TRUE(std::any_of(r.extensions[0].methods.begin(), r.extensions[0].methods.end(),
                            [&](const MethodRecord& m) { return m.declaration == mask && m.setter != nullptr; }));
  }
}

INSTANTIATE_TEST_SUITE_P(AllHosts, RealPluginBands, ::testing::ValuesIn(kBands), band_name);

// A host that lacks a registration entry point loses that registration only.
TEST_F(RegistrationTest, SkipsRegistrationsTheHostCannotTake) {
  struct Case {
    double version;
    const char* missing;
    size_t classes, extensions, modules, methods;
  };
  const Case cases[] = {
      {2019.0, "PluginRegisterModule", 2, 0, 0, 0},  {2019.0, "RegisterPluginVersion", 2, 0, 2, 0},
      {3000.0, "PluginRegisterMethod", 2, 1, 0, 0},  {3000.0, "PluginRegisterClass", 0, 1, 0, 6},
      {2005.0, "PluginRegisterClassExtension", 2, 0, 0, 6},
  };
  for (const Case& c : cases) {
    HostConfig config;
    config.version = c.version;
    config.missing = {c.missing};
    const testhost::Registrations& r = StartHostWith(TABLE_FIXTURE_PATH, config).registrations();
    EXPECT_EQ(std::tie(c.classes, c.extensions, c.modules, c.methods),
              std::make_tuple(r.classes.size(), r.extensions.size(), r.modules.size(), r.methods.size()))
        << "without " << c.missing;
    StopHost();
  }
}

}  // namespace
