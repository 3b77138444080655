// The colour lattice of a three-dimensional lookup table, as picture-host fills a
// plug-in class's indexed Table property: 18 nodes per input channel, node i
// standing for the channel value 17 * i, three outputs per node in channel units.
// It comes from a built-in table or from a small text file.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/image_io.h"

namespace picture_host {

class LatticeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr int kLatticeSide = 18;
inline constexpr int kLatticeStep = 17;

// Outputs indexed [r][g][b][x], x fastest: 0 red, 1 green, 2 blue.
using Lattice = std::vector<double>;
inline size_t LatticeIndex(int r, int g, int b, int x) {
  return ((static_cast<size_t>(r) * kLatticeSide + g) * kLatticeSide + b) * 3 + x;
}

// identity, invert or warm (any case); nullopt for any other name.
std::optional<Lattice> BuiltInLattice(std::string_view name);
inline constexpr std::string_view kBuiltInLattices = "identity, invert, warm";

// The text form: one node a line, "r g b red green blue" (indices 0 to 17, then
// the output colour as numbers); '#' starts a comment; nodes not given keep the
// identity. Throws LatticeError naming the line.
Lattice ParseLattice(std::string_view text);
// ParseLattice of a file; errors name the file.
Lattice ReadLattice(const std::string& path);

// A colour lookup file of any format OpenColorIO reads (.cube of any LUT_3D_SIZE
// with DOMAIN_MIN/DOMAIN_MAX, .3dl, .csp, .spi3d, ...), sampled at the lattice's
// nodes; node values past 255 (indices 16 and 17) take 255's output.
Lattice ReadColourFileLattice(const std::string& path);

// A Hald colour lookup picture: level L, a square of L^3 pixels a side holding a
// cube of L^2 nodes a side, red fastest, then green, then blue. Sampled at the
// lattice's nodes with trilinear interpolation between the picture's nodes.
Lattice HaldLattice(const Image& hald, const std::string& name);

// Which reader a table file goes to: the text form for .txt or no extension,
// OpenColorIO for any other.
Lattice ReadTableFile(const std::string& path);

}  // namespace picture_host
