// Memory whose end lies directly before an inaccessible page, so that a read or
// write one byte past the end faults at once, with or without a sanitizer. The
// start is kept 4-byte aligned, which leaves up to three slack bytes at the end of
// a block whose size is not a multiple of 4. Unguarded blocks (for big benchmark
// pictures, where one mapping per row would exhaust the mapping limit) are plain
// heap allocations.
#pragma once

#include <cstddef>
#include <cstdint>

namespace testhost::internal {

class GuardedBuffer {
 public:
  GuardedBuffer() = default;
  // Zero-filled; `size` may be 0 (the pointer is then valid but has no bytes).
  GuardedBuffer(size_t size, bool guarded);
  GuardedBuffer(GuardedBuffer&& other) noexcept;
  GuardedBuffer& operator=(GuardedBuffer&& other) noexcept;
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer();

  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  explicit operator bool() const { return data_ != nullptr; }
  void reset();

 private:
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  void* mapping_ = nullptr;  // guarded: the whole mapping; else the heap block
  size_t mapping_size_ = 0;  // 0 for a heap block
};

}  // namespace testhost::internal
