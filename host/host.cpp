// The Host object: construction and teardown, loading a private copy of a plug-in
// (under a name of its own, so that every Host starts with fresh plug-in globals), the
// resolver that hands the plug-in its entry points, and Ref.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "host/host_internal.h"

namespace testhost {

namespace {

Host* g_current = nullptr;

// What the plug-in receives as its resolver.
void* resolve_entry(const char* name) { return g_current != nullptr ? g_current->Resolve(name) : nullptr; }

bool set_error(std::string* error, std::string message) {
  if (error != nullptr) *error = std::move(message);
  return false;
}

// A copy of the file under a name never used before in this process (its id and
// a serial number): the loader matches already-loaded libraries by name, so a copy
// that was not unloaded must never be mistaken for a new one. The caller removes
// the file once it is loaded.
std::string new_copy_name(std::string* error, int* fd) {
  static int serial = 0;
  const char* tmp = std::getenv("TMPDIR");
  std::string name = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/plugin-copy-" +
                     std::to_string(getpid()) + "-" + std::to_string(++serial) + "-XXXXXX.so";
  *fd = mkstemps(name.data(), 3);
  if (*fd < 0) {
    set_error(error, "cannot make a file for the plug-in copy");
    return {};
  }
  return name;
}

std::string copy_plugin(const std::string& path, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    set_error(error, "cannot read " + path);
    return {};
  }
  int fd = -1;
  std::string copy = new_copy_name(error, &fd);
  if (copy.empty()) return {};
  close(fd);
  std::ofstream out(copy, std::ios::binary);
  out << in.rdbuf();
  out.close();
  if (!out) {
    unlink(copy.c_str());
    set_error(error, "cannot copy " + path);
    return {};
  }
  return copy;
}

// Under LeakSanitizer an unloaded copy would take its globals out of the root set,
// so memory a plug-in keeps for the life of the process (registration records the
// host keeps pointing at) would be reported as leaked: sanitized builds keep every
// copy loaded. Each Host still loads a fresh one.
void unload(void* library) {
#if defined(__SANITIZE_ADDRESS__)
  (void)library;
#else
  dlclose(library);
#endif
}

}  // namespace

namespace internal {

Impl& current_impl() {
  if (g_current == nullptr) {
    std::fprintf(stderr, "test host: an entry point was called with no host\n");
    std::abort();
  }
  return g_current->impl();
}

bool has_current() { return g_current != nullptr; }

Impl& enter(std::string_view entry_point) {
  Impl& h = current_impl();
  auto it = h.call_counts.find(entry_point);
  if (it == h.call_counts.end()) it = h.call_counts.emplace(std::string(entry_point), 0).first;
  ++it->second;
  return h;
}

bool inject(Impl& h, std::string_view entry_point) {
  if (h.fail_at == 0 || !h.failed_call.empty()) return false;
  if (!h.fail_only.empty() && h.fail_only != entry_point) return false;
  if (++h.fallible_calls != h.fail_at) return false;
  h.failed_call = std::string(entry_point) + ", " + context_of(h);
  return true;
}

}  // namespace internal

Host::Host(HostConfig config) : impl_(new Impl(std::move(config))) {
  if (g_current != nullptr) {
    std::fprintf(stderr, "test host: a second Host while one exists\n");
    std::abort();
  }
  internal::add_object_entries(impl_->entries);
  internal::add_picture_entries(impl_->entries);
  internal::add_string_entries(impl_->entries);
  internal::add_registry_entries(impl_->entries);
  internal::add_memory_block_entries(impl_->entries);
  g_current = this;
}

Host::~Host() {
  impl_->tearing_down = true;
  // Objects first (their memory and guard pages), the plug-in's code last.
  impl_->raised.clear();
  impl_->string_data.clear();
  impl_->contexts.clear();
  impl_->objects.clear();
  void* library = impl_->library;
  g_current = nullptr;
  delete impl_;
  if (library != nullptr) unload(library);
}

Host& Host::Current() {
  if (g_current == nullptr) {
    std::fprintf(stderr, "test host: Host::Current() with no host\n");
    std::abort();
  }
  return *g_current;
}

const HostConfig& Host::config() const { return impl_->config; }
const Registrations& Host::registrations() const { return impl_->registrations; }
int Host::UnmatchedUnlocks() const { return impl_->unmatched_unlocks; }
std::vector<std::string> Host::LedgerProblems() const { return internal::ledger_problems(*impl_); }

int Host::CallCount(std::string_view entryPoint) const {
  const auto it = impl_->call_counts.find(entryPoint);
  return it == impl_->call_counts.end() ? 0 : it->second;
}

void Host::FailNthCall(int n, std::string_view entryPoint) {
  impl_->fail_at = n;
  impl_->fail_only = std::string(entryPoint);
  impl_->fallible_calls = 0;
  impl_->failed_call.clear();
}

std::string Host::FailedCall() const { return impl_->failed_call; }
int Host::FallibleCalls() const { return impl_->fallible_calls; }

void* Host::PluginSymbol(const char* name) const {
  return impl_->library != nullptr && name != nullptr ? dlsym(impl_->library, name) : nullptr;
}

void* Host::Resolve(const char* name) const {
  if (name == nullptr) return nullptr;
  const std::string_view wanted(name);
  if (impl_->config.missing.count(std::string(wanted)) != 0) return nullptr;
  if (wanted == "REALGetRBVersion" && !impl_->config.version) return nullptr;
  const auto it = impl_->entries.find(wanted);
  return it == impl_->entries.end() ? nullptr : it->second;
}

bool Host::LoadPlugin(const std::string& path, std::string* error) {
  if (impl_->library != nullptr) return set_error(error, "a plug-in is already loaded");
  const std::string copy_path = copy_plugin(path, error);
  if (copy_path.empty()) return false;
  void* library = dlopen(copy_path.c_str(), RTLD_NOW | RTLD_LOCAL);
  unlink(copy_path.c_str());  // the mapping keeps the copy alive
  if (library == nullptr) {
    const char* reason = dlerror();
    return set_error(error, "cannot load " + path + ": " + (reason != nullptr ? reason : "unknown reason"));
  }
  using PluginMain = void(REALresolver);
  auto* main = reinterpret_cast<PluginMain*>(dlsym(library, "REALPluginMain"));
  if (main == nullptr) {
    dlclose(library);
    return set_error(error, path + " has no REALPluginMain");
  }
  impl_->library = library;
  impl_->running = "REALPluginMain";
  main(&resolve_entry);
  impl_->running.clear();
  return true;
}

// ---- Ref ----

Ref Ref::Adopt(REALobject object) { return Ref(object); }

Ref Ref::Retain(REALobject object) {
  if (object != nullptr) internal::retain(internal::current_impl(), object, "a Ref of the test");
  return Ref(object);
}

Ref::Ref(const Ref& other) : object_(other.object_) {
  if (object_ != nullptr) internal::retain(internal::current_impl(), object_, "a Ref of the test");
}

Ref::Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

Ref& Ref::operator=(Ref other) noexcept {
  std::swap(object_, other.object_);
  return *this;
}

Ref::~Ref() {
  // A Ref that outlives its host has nothing left to release.
  if (object_ != nullptr && internal::has_current() && !internal::current_impl().tearing_down) {
    internal::release(internal::current_impl(), object_, "a Ref of the test");
  }
}

REALobject Ref::release() { return std::exchange(object_, nullptr); }

bool PropertyRecord::direct() const { return getter == host_abi::kDirectAccess && setter == host_abi::kDirectAccess; }

}  // namespace testhost
