// Test-side helpers for the two filter classes: Run and its result, the ranges a
// Run is given and the block it processes from the top-left corner, and the
// class record as the host decoded it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "host/test_host.h"
#include "tests/plugin/expected_tables.h"
#include "tests/plugin/pixel_reference.h"

namespace filtertest {

struct Range {
  int32_t minX, minY, maxX, maxY;
};

// On a 100 × 4 picture: whole, inner, ends past or before the start, negative
// and far-out starts.
inline const Range kRanges[] = {
    {0, 0, 0, 0},   {10, 0, 20, 0}, {3, 1, 7, 3},  {5, 0, 200, 2},
    {70, 2, 25, 1}, {-3, 0, 0, -1}, {INT32_MIN, INT32_MIN, 0, 0}, {101, 0, 0, 0},
};

// Up to the end when it lies after the start and inside the picture, else to
// the edge; counted from the corner, never beyond the picture.
inline bool in_block(const Range& r, int32_t x, int32_t y, int32_t width, int32_t height) {
  const auto extent = [](int32_t min, int32_t max, int32_t size) {
    return std::clamp<int64_t>((max > min && max < size ? max : size) - int64_t{min}, 0, size);
  };
  return x < extent(r.minX, r.maxX, width) && y < extent(r.minY, r.maxY, height);
}

inline void set_range(testhost::Host& h, REALobject object, const Range& r) {
  for (auto [name, value] : {std::pair{"MinX", r.minX}, {"MinY", r.minY}, {"MaxX", r.maxX}, {"MaxY", r.maxY}}) {
    ASSERT_TRUE(h.SetProperty(object, name, int64_t{value}).ok()) << name;
  }
}

inline bool run(testhost::Host& h, const testhost::Ref& object) {
  return std::get<bool>(h.CallMethod(object.get(), "Run", {}).value);
}

inline testhost::Ref destination(testhost::Host& h, const testhost::Ref& object) {
  testhost::Value v = h.GetProperty(object.get(), "DestinationPicture").value;
  return std::holds_alternative<testhost::Ref>(v) ? std::get<testhost::Ref>(v) : testhost::Ref();
}

// Runs `object` on `source` in every range, each result checked against
// `reference` inside the block and a fresh picture of `result`'s kind outside it;
// Close ends each round.
template <class Reference>
void check_every_range(testhost::Host& h, const pixeltest::Lending& result, const testhost::Ref& source,
                       const testhost::Ref& object, Reference reference) {
  const std::vector<pixeltest::Pixel> before = pixeltest::pixels_of(h, source.picture());
  const int32_t width = h.Width(source.picture()), height = h.Height(source.picture());
  for (const Range& r : kRanges) {
    ASSERT_TRUE(h.SetProperty(object.get(), "SourcePicture", source).ok());
    set_range(h, object.get(), r);
    ASSERT_TRUE(run(h, object));
    EXPECT_TRUE(pixeltest::result_matches(h, result, source.picture(), before,
                                          h.GetProperty(object.get(), "DestinationPicture"),
                                          [&](int32_t x, int32_t y, pixeltest::Pixel p) {
                                            return in_block(r, x, y, width, height) ? std::optional(reference(p))
                                                                                    : std::nullopt;
                                          }))
        << "range " << r.minX << "," << r.minY << " to " << r.maxX << "," << r.maxY;
    h.CallMethod(object.get(), "Close", {});
  }
}

// The listed names, types, flags (0x40000 is 4 from 2010.029 on, else dropped)
// and methods, with this build's instance size and direct offsets.
inline void expect_registered(const testhost::ClassRecord& got, const expected::Class& want,
                              const std::vector<int32_t>& offsets, size_t dataSize, double version) {
  const auto flags = [version](uint32_t f) {
    return (f & ~0x1c0000u) | (version >= 2010.029 && (f & 0x40000) != 0 ? 4u : 0u);
  };
  EXPECT_EQ(std::tie(got.name, got.flags, got.dataSize), std::tuple(std::string(want.name), want.flags, dataSize));
  ASSERT_EQ(got.properties.size(), want.propertyCount);
  std::vector<int32_t> direct;
  for (size_t i = 0; i < want.propertyCount; ++i) {
    const testhost::PropertyRecord& g = got.properties[i];
    const expected::Property& p = want.properties[i];
    EXPECT_EQ(std::tie(g.name, g.type, g.flags), std::tuple(std::string(p.name), std::string(p.type), flags(p.flags)));
    if (g.direct()) direct.push_back(g.param);
  }
  EXPECT_EQ(direct, offsets);
  ASSERT_EQ(got.methods.size(), want.methodCount);
  for (size_t i = 0; i < want.methodCount; ++i) {
    const expected::Method& m = want.methods[i];
    EXPECT_EQ(std::tuple(got.methods[i].declaration, got.methods[i].flags, got.methods[i].setter != nullptr),
              std::tuple(std::string(m.declaration), flags(m.flags), m.hasSetter));
  }
}

}  // namespace filtertest
