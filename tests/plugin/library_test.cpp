// The built plug-in file itself: one exported symbol, and no library beyond the
// C and C++ runtimes (the sanitizer runtimes aside in a sanitizer build).
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string run(const std::string& command) {
  std::unique_ptr<FILE, decltype(&pclose)> pipe(popen(command.c_str(), "r"), &pclose);
  if (!pipe) return {};
  std::string out;
  char buffer[4096];
  while (size_t n = fread(buffer, 1, sizeof buffer, pipe.get())) out.append(buffer, n);
  return out;
}

TEST(PluginLibrary, ExportsOnlyTheEntryPoint) {
  const std::string table = run("readelf --dyn-syms -W '" PICTURE_PLUGIN_PATH "'");
  ASSERT_FALSE(table.empty()) << "readelf gave nothing";
  std::set<std::string> exported;
  std::istringstream lines(table);
  std::string line;
  // Num: Value Size Type Bind Vis Ndx Name; defined (Ndx not UND) global or weak symbols.
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    std::string num, value, size, type, bind, visibility, index, name;
    if (!(fields >> num >> value >> size >> type >> bind >> visibility >> index >> name)) continue;
    if (num.back() == ':' && (bind == "GLOBAL" || bind == "WEAK") && visibility == "DEFAULT" && index != "UND") {
      exported.insert(name);
    }
  }
  EXPECT_EQ(exported, std::set<std::string>{"REALPluginMain"});
}

TEST(PluginLibrary, NeedsOnlyTheRuntimeLibraries) {
  const std::string dynamic = run("readelf -d -W '" PICTURE_PLUGIN_PATH "'");
  ASSERT_NE(dynamic.find("NEEDED"), std::string::npos) << dynamic;
  std::set<std::string> allowed = {"libc.so.6", "libm.so.6", "libstdc++.so.6", "libgcc_s.so.1",
                                   "ld-linux-x86-64.so.2"};
#ifdef PICTURE_SANITIZE
  allowed.insert({"libasan.so.8", "libubsan.so.1"});
#endif
  const std::string marker = "(NEEDED)";
  for (size_t at = dynamic.find(marker); at != std::string::npos; at = dynamic.find(marker, at + 1)) {
    const size_t open = dynamic.find('[', at);
    const size_t close = dynamic.find(']', open);
    ASSERT_NE(close, std::string::npos);
    const std::string library = dynamic.substr(open + 1, close - open - 1);
    EXPECT_EQ(allowed.count(library), 1u) << "links " << library;
  }
}

}  // namespace
