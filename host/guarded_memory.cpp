// Guarded allocations: the data pages and one PROT_NONE page after them come from
// one anonymous mapping, and the data is placed so that it ends at the guard page.
#include "host/guarded_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace testhost::internal {

namespace {

size_t page_size() {
  static const size_t size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "test host: %s failed\n", what);
  std::abort();
}

}  // namespace

GuardedBuffer::GuardedBuffer(size_t size, bool guarded) : size_(size) {
  if (!guarded) {
    // At least one word, so that an empty block still has a usable pointer.
    mapping_ = ::operator new(size < 4 ? 4 : size);
    data_ = static_cast<uint8_t*>(mapping_);
    std::memset(data_, 0, size < 4 ? 4 : size);
    return;
  }
  const size_t page = page_size();
  const size_t data_pages = (size + page - 1) / page * page;
  mapping_size_ = (data_pages == 0 ? page : data_pages) + page;
  void* base = mmap(nullptr, mapping_size_, PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) fail("mmap of a guarded block");
  uint8_t* guard = static_cast<uint8_t*>(base) + mapping_size_ - page;
  if (mprotect(guard, page, PROT_NONE) != 0) fail("mprotect of a guard page");
  mapping_ = base;
  // Round the start down to 4 bytes: an odd size leaves a little slack instead of
  // an unaligned start.
  const size_t rounded = (size + 3) / 4 * 4;
  data_ = guard - rounded;  // fresh anonymous pages are already zero
}

GuardedBuffer::GuardedBuffer(GuardedBuffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      mapping_(std::exchange(other.mapping_, nullptr)),
      mapping_size_(std::exchange(other.mapping_size_, 0)) {}

GuardedBuffer& GuardedBuffer::operator=(GuardedBuffer&& other) noexcept {
  if (this != &other) {
    reset();
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
    mapping_ = std::exchange(other.mapping_, nullptr);
    mapping_size_ = std::exchange(other.mapping_size_, 0);
  }
  return *this;
}

GuardedBuffer::~GuardedBuffer() { reset(); }

void GuardedBuffer::reset() {
  if (mapping_ != nullptr) {
    if (mapping_size_ != 0) {
      munmap(mapping_, mapping_size_);
    } else {
      ::operator delete(mapping_);
    }
  }
  data_ = nullptr;
  size_ = 0;
  mapping_ = nullptr;
  mapping_size_ = 0;
}

}  // namespace testhost::internal
