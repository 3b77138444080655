#include "tools/lattice.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace picture_host {
namespace {

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

// Every node's output is f(x, v), v being the node's input value for channel x.
template <typename F>
Lattice Tabulate(F f) {
  Lattice lattice(LatticeIndex(kLatticeSide, 0, 0, 0));
  for (int r = 0; r < kLatticeSide; ++r) {
    for (int g = 0; g < kLatticeSide; ++g) {
      for (int b = 0; b < kLatticeSide; ++b) {
        const int in[3] = {r, g, b};
        for (int x = 0; x < 3; ++x) lattice[LatticeIndex(r, g, b, x)] = f(x, double(kLatticeStep * in[x]));
      }
    }
  }
  return lattice;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

}  // namespace

std::optional<Lattice> BuiltInLattice(std::string_view name) {
  if (SameName(name, "identity")) return Tabulate([](int, double v) { return v; });
  if (SameName(name, "invert")) return Tabulate([](int, double v) { return 255 - v; });
  // Red up, blue down, black kept: the plug-in clips what passes 255.
  static constexpr double kWarm[3] = {1.12, 1.02, 0.86};
  if (SameName(name, "warm")) return Tabulate([](int x, double v) { return v * kWarm[x]; });
  return std::nullopt;
}

Lattice ParseLattice(std::string_view text) {
  Lattice lattice = *BuiltInLattice("identity");
  std::vector<int> setOn(lattice.size() / 3, 0);  // the line that set each node
  int lineNumber = 0;
  while (!text.empty()) {
    ++lineNumber;
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    line = line.substr(0, line.find('#'));

    const auto fail = [&](const std::string& why) {
      return LatticeError("line " + std::to_string(lineNumber) + ": " + why);
    };
    std::vector<std::string_view> words;
    for (size_t i = 0; i < line.size();) {
      if (IsBlank(line[i])) {
        ++i;
        continue;
      }
      size_t j = i;
      while (j < line.size() && !IsBlank(line[j])) ++j;
      words.push_back(line.substr(i, j - i));
      i = j;
    }
    if (words.empty()) continue;
    if (words.size() != 6) {
      throw fail("expected six numbers (r g b red green blue), found " + std::to_string(words.size()));
    }
    std::array<int, 3> node{};
    std::array<double, 3> out{};
    for (size_t k = 0; k < 6; ++k) {
      const std::string_view w = words[k];
      const char* last = w.data() + w.size();
      if (k < 3) {
        const auto [stop, ec] = std::from_chars(w.data(), last, node[k]);
        if (ec != std::errc() || stop != last) throw fail("'" + std::string(w) + "' is not an index");
        if (node[k] < 0 || node[k] >= kLatticeSide) {
          throw fail("index " + std::string(w) + " is outside 0 to " + std::to_string(kLatticeSide - 1));
        }
      } else {
        const auto [stop, ec] = std::from_chars(w.data(), last, out[k - 3]);
        if (ec != std::errc() || stop != last || !std::isfinite(out[k - 3])) {
          throw fail("'" + std::string(w) + "' is not a finite number");
        }
      }
    }
    int& first = setOn[LatticeIndex(node[0], node[1], node[2], 0) / 3];
    if (first != 0) {
      throw fail("node " + std::string(words[0]) + " " + std::string(words[1]) + " " + std::string(words[2]) +
                 " was set on line " + std::to_string(first));
    }
    first = lineNumber;
    for (int x = 0; x < 3; ++x) lattice[LatticeIndex(node[0], node[1], node[2], x)] = out[x];
  }
  return lattice;
}

Lattice ReadLattice(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::error_code ec;  // a directory opens but reads as nothing
  if (!in || !std::filesystem::is_regular_file(path, ec)) throw LatticeError("cannot open the table '" + path + "'");
  std::ostringstream text;
  text << in.rdbuf();
  try {
    return ParseLattice(text.str());
  } catch (const LatticeError& e) {
    throw LatticeError("table '" + path + "' " + e.what());
  }
}

}  // namespace picture_host
