// The built plug-in file itself: one exported symbol, and no library beyond the
// C and C++ runtimes (the sanitizer runtimes aside in a sanitizer build).
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <regex>
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
  const std::regex symbol(R"(^\s*\d+:\s+\S+\s+\d+\s+\S+\s+(GLOBAL|WEAK)\s+DEFAULT\s+(\S+)\s+(\S+))");
  while (std::getline(lines, line)) {
    std::smatch m;
    if (std::regex_search(line, m, symbol) && m[2] != "UND") exported.insert(m[3]);
  }
  EXPECT_EQ(exported, std::set<std::string>{"REALPluginMain"});
}

TEST(PluginLibrary, NeedsOnlyTheRuntimeLibraries) {
  const std::string dynamic = run("readelf -d -W '" PICTURE_PLUGIN_PATH "'");
  ASSERT_NE(dynamic.find("NEEDED"), std::string::npos) << dynamic;
  std::regex needed(R"(\(NEEDED\)\s+Shared library: \[([^\]]+)\])");
  std::set<std::string> allowed = {"libc.so.6", "libm.so.6", "libstdc++.so.6", "libgcc_s.so.1",
                                   "ld-linux-x86-64.so.2"};
#ifdef PICTURE_SANITIZE
  allowed.insert({"libasan.so.8", "libubsan.so.1"});
#endif
  for (std::sregex_iterator it(dynamic.begin(), dynamic.end(), needed), end; it != end; ++it) {
    EXPECT_EQ(allowed.count((*it)[1]), 1u) << "links " << (*it)[1];
  }
}

}  // namespace
