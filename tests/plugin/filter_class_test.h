// Test-side helpers for the two filter classes: Run and its result, and the
// ranges a Run is given with the block it processes from the top-left corner.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <optional>
#include <vector>

#include "tests/plugin/pixel_reference.h"

namespace filtertest {

using pixeltest::Pixel;

// MinX, MinY, MaxX, MaxY on a 100 × 4 picture, one per way an end is chosen:
// whole, inner, past the picture, before the start, a negative start, a start
// whose 32-bit distance overflows, a start beyond the picture.
inline const int32_t kRanges[][4] = {{0, 0, 0, 0},   {10, 1, 20, 3}, {5, 0, 200, 2},  {70, 2, 25, 1},
                                     {-3, 0, 0, -1}, {INT32_MIN, INT32_MIN, 0, 0},   {101, 0, 0, 0}};
inline const char* const kEnds[] = {"MinX", "MinY", "MaxX", "MaxY"};

// Up to the end when it lies after the start and inside the picture, else to
// the edge; counted from the corner, never beyond the picture.
inline bool in_extent(int32_t at, int32_t min, int32_t max, int32_t size) {
  return at < std::clamp<int64_t>((max > min && max < size ? max : size) - int64_t{min}, 0, size);
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
  const std::vector<Pixel> before = pixeltest::pixels_of(h, source.picture());
  const int32_t width = h.Width(source.picture()), height = h.Height(source.picture());
  for (const auto& r : kRanges) {
    ASSERT_TRUE(h.SetProperty(object.get(), "SourcePicture", source).ok());
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(h.SetProperty(object.get(), kEnds[i], int64_t{r[i]}).ok()) << kEnds[i];
    ASSERT_TRUE(run(h, object));
    EXPECT_TRUE(pixeltest::result_matches(
        h, result, source.picture(), before, h.GetProperty(object.get(), "DestinationPicture"),
        [&](int32_t x, int32_t y, Pixel p) {
          const bool inside = in_extent(x, r[0], r[2], width) && in_extent(y, r[1], r[3], height);
          return inside ? std::optional(reference(p)) : std::nullopt;
        }))
        << "range " << r[0] << "," << r[1] << " to " << r[2] << "," << r[3];
    h.CallMethod(object.get(), "Close", {});
  }
}

// Runs `object` on a new desktop picture one row high holding `pixels`; the
// result's colours (the alpha written is checked with the lendings), or none
// when Run fails.
inline std::vector<Pixel> run_on_row(testhost::Host& h, const testhost::Ref& object, const std::vector<Pixel>& pixels) {
  testhost::Ref source = h.NewPicture(pixeltest::sized(static_cast<int32_t>(pixels.size()), 1));
  for (size_t x = 0; x < pixels.size(); ++x) h.SetPixel(source.picture(), static_cast<int32_t>(x), 0, pixels[x]);
  EXPECT_TRUE(h.SetProperty(object.get(), "SourcePicture", source).ok());
  std::vector<Pixel> result;
  if (run(h, object)) result = pixeltest::pixels_of(h, destination(h, object).picture());
  for (Pixel& p : result) p.a = 0;
  return result;
}

}  // namespace filtertest
