// Sub-picture search: the first exact occurrence, topmost row first and
// leftmost within it. The two pictures may lie in different layouts; pixels
// compare on red, green and blue only.
//
// Two passes share the work. The direct pass screens each candidate by its
// top-left pixel and compares until the first difference, which is the
// quickest way through ordinary pictures. It runs on a budget of comparisons
// that grows with the candidates screened; a picture that makes it compare
// too much (a near-uniform area that almost holds the pattern everywhere) is
// handed, from the row it reached, to the hashed pass. That one hashes every
// window of the pattern's width in each haystack row with a rolling hash, and
// follows each column of window hashes down with a Knuth-Morris-Pratt matcher
// over the pattern's row hashes; a column that holds all of them in order is a
// candidate, compared pixel by pixel before it is taken, so a hash collision
// never gives a wrong answer. Cost: O(W·H) for either pass, whatever the
// pattern's size, plus w·h for each false hash hit (none outside crafted
// collisions of the 64-bit hash). Memory: one state per candidate column and
// one hash per pattern row.
#include "analysis/find.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>

#include "analysis/colour_key.h"
#include "pixels/layout.h"

namespace picture {
namespace {

template <class A, class B>
bool same_run(const uint32_t* a, const uint32_t* b, int32_t count) {
  int32_t i = 0;
  if constexpr (std::is_same_v<A, B> && A::kWrites) {
    // One family: words differ in colour where their XOR has channel bits. Blocks
    // without an exit inside let the compiler compare several words at once.
    const uint32_t mask = ColourKey<A>(Rgb{0, 0, 0}).mask;
    for (; i + 8 <= count; i += 8) {
      uint32_t diff = 0;
      for (int32_t k = 0; k < 8; ++k) diff |= a[i + k] ^ b[i + k];
      if (diff & mask) return false;
    }
  }
  for (; i < count; ++i) {
    const Rgb p = A::load(a + i), q = B::load(b + i);
    if (p.r != q.r || p.g != q.g || p.b != q.b) return false;
  }
  return true;
}

enum class Verdict { kMatch, kMiss, kOverBudget };

// The pattern at (cx, cy), row 0 from its second pixel on (the anchor is
// already known to match), while `budget` lasts: each row compared costs w.
template <class Hay, class Pat>
Verdict compare_at(const PictureEditor& hay, const PictureEditor& pat, int32_t cx, int32_t cy, int64_t& budget) {
  const int32_t w = pat.width;
  for (int32_t r = 0; r < pat.height; ++r) {
    if ((budget -= w) < 0) return Verdict::kOverBudget;
    const int32_t from = r == 0 ? 1 : 0;
    if (!same_run<Hay, Pat>(hay.Row(cy + r) + cx + from, pat.Row(r) + from, w - from)) return Verdict::kMiss;
  }
  return Verdict::kMatch;
}

// The hashed pass over candidate rows firstRow and below.
template <class Hay, class Pat>
class HashedSearch {
 public:
  HashedSearch(const PictureEditor& hay, const PictureEditor& pat, const SearchTuning& tuning)
      : hay_(hay), pat_(pat), keyMask_(tuning.keyMask) {}

  // False when the tables cannot be had; else whether the pattern was found.
  bool Run(int32_t firstRow, bool& found, int32_t& foundX, int32_t& foundY) {
    const int32_t w = pat_.width, h = pat_.height, columns = hay_.width - w + 1;
    rowHash_.reset(new (std::nothrow) uint64_t[static_cast<size_t>(h)]);
    fallback_.reset(new (std::nothrow) int32_t[static_cast<size_t>(h)]);
    state_.reset(new (std::nothrow) int32_t[static_cast<size_t>(columns)]());
    if (!rowHash_ || !fallback_ || !state_) return false;
    reach_ = 1;
    for (int32_t k = 1; k < w; ++k) reach_ *= kBase;
    HashPatternRows();

    found = false;
    for (int32_t y = firstRow; y < hay_.height; ++y) {
      const uint32_t* row = hay_.Row(y);
      uint64_t hash = 0;
      for (int32_t k = 0; k < w - 1; ++k) hash = hash * kBase + HayKey(row[k]);
      const int32_t top = y - h + 1;  // the candidate row a full column completes, never above firstRow
      for (int32_t x = 0; x < columns; ++x) {
        hash = hash * kBase + HayKey(row[x + w - 1]);
        if (Step(state_[x], hash) && CompareAll(x, top)) {
          found = true;
          foundX = x;
          foundY = top;
          return true;
        }
        hash -= HayKey(row[x]) * reach_;
      }
    }
    return true;
  }

 private:
  static constexpr uint64_t kBase = 0x9E3779B97F4A7C15u;

  uint64_t HayKey(uint32_t word) const { return word & channels_ & keyMask_; }
  // A pattern pixel as the haystack's layout would hold it. Where the haystack
  // reads all black (every key 0), a pattern pixel of another colour gets a key
  // no haystack pixel has.
  uint64_t PatKey(const uint32_t* p) const {
    const Rgb c = Pat::load(p);
    if constexpr (Hay::kWrites) {
      return Hay::store(c) & channels_ & keyMask_;
    } else {
      return (c.r | c.g | c.b) != 0 ? 1 & keyMask_ : 0;
    }
  }

  // The pattern rows' window hashes and the matcher's fallback table: where a
  // column that matched rows 0..k and then differs may go on from.
  void HashPatternRows() {
    const int32_t w = pat_.width, h = pat_.height;
    for (int32_t r = 0; r < h; ++r) {
      const uint32_t* row = pat_.Row(r);
      uint64_t hash = 0;
      for (int32_t k = 0; k < w; ++k) hash = hash * kBase + PatKey(row + k);
      rowHash_[r] = hash;
    }
    fallback_[0] = 0;
    for (int32_t r = 1, k = 0; r < h; ++r) {
      while (k > 0 && rowHash_[r] != rowHash_[k]) k = fallback_[k - 1];
      if (rowHash_[r] == rowHash_[k]) ++k;
      fallback_[r] = k;
    }
  }

  // One more window hash down a column; true when the column now holds every
  // pattern row's hash in order.
  bool Step(int32_t& state, uint64_t hash) const {
    int32_t k = state;
    while (k > 0 && rowHash_[k] != hash) k = fallback_[k - 1];
    if (rowHash_[k] == hash) ++k;
    const bool full = k == pat_.height;
    state = full ? fallback_[k - 1] : k;
    return full;
  }

  bool CompareAll(int32_t cx, int32_t cy) const {
    for (int32_t r = 0; r < pat_.height; ++r) {
      if (!same_run<Hay, Pat>(hay_.Row(cy + r) + cx, pat_.Row(r), pat_.width)) return false;
    }
    return true;
  }

  const PictureEditor& hay_;
  const PictureEditor& pat_;
  uint64_t keyMask_;
  uint32_t channels_ = ColourKey<Hay>(Rgb{0, 0, 0}).mask;
  uint64_t reach_ = 1;  // kBase^(w - 1): what the pixel leaving a window weighed
  std::unique_ptr<uint64_t[]> rowHash_;
  std::unique_ptr<int32_t[]> fallback_;
  std::unique_ptr<int32_t[]> state_;
};

// The first column from `from` to `last` whose word holds the anchor colour, or
// last + 1. Blocks of words are counted without an exit inside (a loop long
// enough that the compiler vectorises it rather than unrolling it); the block
// that holds one is then walked.
template <class Hay>
int32_t next_anchor(const ColourKey<Hay>& anchor, const uint32_t* row, int32_t from, int32_t last) {
  constexpr int32_t kBlock = 64;
  int32_t cx = from;
  for (; cx + kBlock <= last + 1; cx += kBlock) {
    uint32_t hits = 0;
    for (int32_t k = 0; k < kBlock; ++k) hits += (row[cx + k] & anchor.mask) == anchor.key;
    if (hits != 0) break;
  }
  for (; cx <= last; ++cx) {
    if (anchor(row[cx])) return cx;
  }
  return last + 1;
}

template <class Hay, class Pat>
bool search(const PictureEditor& hay, const PictureEditor& pat, const SearchTuning& tuning, int32_t& foundX,
            int32_t& foundY) {
  // The top-left pattern pixel as the haystack holds it: one word test per candidate.
  const ColourKey<Hay> anchor(Pat::load(pat.Row(0)));
  const int32_t lastX = hay.width - pat.width;
  const int32_t lastY = hay.height - pat.height;
  int64_t budget = tuning.startBudget;
  bool unlimited = false;
  for (int32_t cy = 0; cy <= lastY; ++cy) {
    const uint32_t* row = hay.Row(cy);
    if (!unlimited) budget += tuning.perCandidate * (int64_t{lastX} + 1);
    for (int32_t cx = next_anchor(anchor, row, 0, lastX); cx <= lastX; cx = next_anchor(anchor, row, cx + 1, lastX)) {
      const Verdict v = compare_at<Hay, Pat>(hay, pat, cx, cy, budget);
      if (v == Verdict::kMatch) {
        foundX = cx;
        foundY = cy;
        return true;
      }
      if (v == Verdict::kOverBudget) {
        bool found = false;
        if (HashedSearch<Hay, Pat>(hay, pat, tuning).Run(cy, found, foundX, foundY)) return found;
        // No tables to be had: the direct pass finishes alone, from this candidate.
        unlimited = true;
        budget = INT64_MAX;
        if (compare_at<Hay, Pat>(hay, pat, cx, cy, budget) == Verdict::kMatch) {
          foundX = cx;
          foundY = cy;
          return true;
        }
      }
    }
  }
  return false;
}

}  // namespace

bool FindIn(const PictureEditor& hay, const PictureEditor& pattern, const SearchTuning& tuning, int32_t& x,
            int32_t& y) {
  // An empty pattern has no top-left pixel to look for.
  if (pattern.width <= 0 || pattern.height <= 0 || pattern.width > hay.width || pattern.height > hay.height) {
    return false;
  }
  return with_layout(hay.pixelFormat, [&](auto h) {
    return with_layout(pattern.pixelFormat,
                       [&](auto p) { return search<decltype(h), decltype(p)>(hay, pattern, tuning, x, y); });
  });
}

RBBoolean FindPicture(REALpicture haystack, REALpicture pic, int32_t* x, int32_t* y) {
  if (x != nullptr) *x = 0;
  if (y != nullptr) *y = 0;
  PictureReader hay;
  if (!hay.GetPictureEditor(haystack, true, false)) return 0;
  PictureReader pattern;
  if (!pattern.GetPictureEditor(pic, true, false)) return 0;
  int32_t foundX = 0, foundY = 0;
  if (!FindIn(hay, pattern, SearchTuning{}, foundX, foundY)) return 0;
  if (x != nullptr) *x = foundX;
  if (y != nullptr) *y = foundY;
  return 1;
}

}  // namespace picture
