#include "tools/lattice.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <OpenColorIO/OpenColorIO.h>

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

namespace {

// The channel value a lattice index stands for, as a file is sampled there.
double NodeValue(int index) { return std::min(kLatticeStep * index, 255); }

}  // namespace

Lattice ReadColourFileLattice(const std::string& path) {
  namespace ocio = OCIO_NAMESPACE;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec)) throw LatticeError("cannot open the table '" + path + "'");
  std::vector<float> nodes;
  nodes.reserve(static_cast<size_t>(kLatticeSide) * kLatticeSide * kLatticeSide * 3);
  for (int r = 0; r < kLatticeSide; ++r) {
    for (int g = 0; g < kLatticeSide; ++g) {
      for (int b = 0; b < kLatticeSide; ++b) {
        for (const int i : {r, g, b}) nodes.push_back(static_cast<float>(NodeValue(i) / 255.0));
      }
    }
  }
  try {
    const ocio::ConstConfigRcPtr config = ocio::Config::CreateRaw();
    const ocio::FileTransformRcPtr transform = ocio::FileTransform::Create();
    transform->setSrc(path.c_str());
    transform->setInterpolation(ocio::INTERP_TETRAHEDRAL);
    const ocio::ConstCPUProcessorRcPtr cpu = config->getProcessor(transform)->getOptimizedCPUProcessor(
        ocio::BIT_DEPTH_F32, ocio::BIT_DEPTH_F32, ocio::OPTIMIZATION_NONE);
    ocio::PackedImageDesc image(nodes.data(), static_cast<long>(nodes.size() / 3), 1, 3);
    cpu->apply(image);
  } catch (const ocio::Exception& e) {
    std::string message = e.what();
    for (char& c : message) {
      if (c == '\n' || c == '\r') c = ' ';
    }
    throw LatticeError("table '" + path + "': " + message);
  }
  Lattice lattice(nodes.size());
  // Files hold about six decimals and OpenColorIO computes in single precision:
  // values are kept to a thousandth of a channel unit, so that a node the file
  // means as a whole channel value (0.933333 for 238) stays whole.
  for (size_t i = 0; i < nodes.size(); ++i) lattice[i] = std::round(255.0 * nodes[i] * 1e3) / 1e3;
  return lattice;
}

Lattice HaldLattice(const Image& hald, const std::string& name) {
  int level = 2;
  while (level * level * level < hald.width) ++level;
  if (hald.width != hald.height || level * level * level != hald.width) {
    throw LatticeError("'" + name + "' is " + std::to_string(hald.width) + "x" + std::to_string(hald.height) +
                       " pixels; a Hald picture is a square of L*L*L pixels a side (8, 27, 64, 125, 216, 343, 512...)");
  }
  const int side = level * level;  // nodes a side of the picture's cube
  const auto node = [&](int r, int g, int b) {
    const size_t at = (static_cast<size_t>(b) * side + g) * side + r;
    return hald.Get(static_cast<int32_t>(at % hald.width), static_cast<int32_t>(at / hald.width));
  };
  Lattice lattice(LatticeIndex(kLatticeSide, 0, 0, 0));
  // Each lattice index falls between two of the picture's nodes, with a weight on the upper one.
  std::array<int, kLatticeSide> lower{};
  std::array<double, kLatticeSide> weight{};
  for (int i = 0; i < kLatticeSide; ++i) {
    const double at = NodeValue(i) / 255.0 * (side - 1);
    lower[i] = std::min(static_cast<int>(at), side - 2);
    weight[i] = at - lower[i];
  }
  for (int r = 0; r < kLatticeSide; ++r) {
    for (int g = 0; g < kLatticeSide; ++g) {
      for (int b = 0; b < kLatticeSide; ++b) {
        double out[3] = {0, 0, 0};
        for (int corner = 0; corner < 8; ++corner) {
          const int dr = corner & 1, dg = (corner >> 1) & 1, db = corner >> 2;
          const double w = (dr ? weight[r] : 1 - weight[r]) * (dg ? weight[g] : 1 - weight[g]) *
                           (db ? weight[b] : 1 - weight[b]);
          if (w == 0) continue;
          const Rgba c = node(lower[r] + dr, lower[g] + dg, lower[b] + db);
          out[0] += w * c.r, out[1] += w * c.g, out[2] += w * c.b;
        }
        for (int x = 0; x < 3; ++x) lattice[LatticeIndex(r, g, b, x)] = out[x];
      }
    }
  }
  return lattice;
}

Lattice ReadTableFile(const std::string& path) {
  const std::string extension = std::filesystem::path(path).extension().string();
  if (extension.empty() || SameName(extension, ".txt")) return ReadLattice(path);
  return ReadColourFileLattice(path);
}

}  // namespace picture_host
