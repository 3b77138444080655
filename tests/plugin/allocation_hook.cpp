// The allocation hook of a test build of the plug-in: linked with the linker's
// --wrap for every allocation function the plug-in's code calls, so that a test
// can make the Nth allocation fail (malloc and calloc answer null, operator new
// throws, its nothrow form answers null) and count them. The controls are
// exported beside REALPluginMain.
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

long gFailAt = 0;   // 0: nothing fails
long gCounted = 0;  // allocations since the switch was set
bool gFailed = false;

bool fails() {
  if (gFailAt == 0) return false;
  return ++gCounted == gFailAt && (gFailed = true);
}

}  // namespace

#define HOOK extern "C" __attribute__((visibility("default")))

// From now on the `n`th allocation fails; 0 turns the switch off.
HOOK void PluginAllocationFailAt(long n) {
  gFailAt = n;
  gCounted = 0;
  gFailed = false;
}
// Whether the chosen allocation was reached (and failed).
HOOK bool PluginAllocationFailed() { return gFailed; }

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* p, size_t size);
void* __wrap_malloc(size_t size) { return fails() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(size_t count, size_t size) { return fails() ? nullptr : __real_calloc(count, size); }
void* __wrap_realloc(void* p, size_t size) { return fails() ? nullptr : __real_realloc(p, size); }

// operator new(size_t), new[](size_t) and their nothrow forms, by their mangled names.
void* __real__Znwm(size_t size);
void* __real__Znam(size_t size);
void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) noexcept;
void* __real__ZnamRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) noexcept;
void* __wrap__Znwm(size_t size) {
  if (fails()) throw std::bad_alloc();
  return __real__Znwm(size);
}
void* __wrap__Znam(size_t size) {
  if (fails()) throw std::bad_alloc();
  return __real__Znam(size);
}
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) noexcept {
  return fails() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}
void* __wrap__ZnamRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) noexcept {
  return fails() ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}
}
