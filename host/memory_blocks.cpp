// Memory blocks: zero-filled guarded bytes with a 32-bit size, reference counted
// like every host object.
#include "host/host_internal.h"

namespace testhost::internal {

namespace {

MemoryBlockObject* make_block(Impl& h, int32_t size, std::string origin) {
  if (size < 0) return nullptr;
  auto block = std::make_unique<MemoryBlockObject>();
  block->data = GuardedBuffer(static_cast<size_t>(size), h.config.guardPages);
  block->size = size;
  return adopt_new(h, std::move(block), std::move(origin));
}

REALmemoryBlock newMemoryBlock(int32_t size) {
  Impl& h = enter("newMemoryBlock");
  if (inject(h, "newMemoryBlock")) return nullptr;
  return reinterpret_cast<REALmemoryBlock>(
      make_block(h, size, "newMemoryBlock " + std::to_string(size) + " bytes, " + context_of(h)));
}

void* memoryBlockGetPtr(REALmemoryBlock block) {
  Impl& h = enter("memoryBlockGetPtr");
  if (inject(h, "memoryBlockGetPtr")) return nullptr;
  auto* found = find_as<MemoryBlockObject>(h, block, "memoryBlockGetPtr", ObjectKind::kMemoryBlock);
  return found != nullptr ? found->data.data() : nullptr;
}

int32_t memoryBlockGetSize(REALmemoryBlock block) {
  Impl& h = enter("memoryBlockGetSize");
  auto* found = find_as<MemoryBlockObject>(h, block, "memoryBlockGetSize", ObjectKind::kMemoryBlock);
  return found != nullptr ? found->size : 0;
}

}  // namespace

void add_memory_block_entries(EntryTable& table) {
  TESTHOST_ENTRY(table, newMemoryBlock);
  TESTHOST_ENTRY(table, memoryBlockGetPtr);
  TESTHOST_ENTRY(table, memoryBlockGetSize);
}

}  // namespace testhost::internal

namespace testhost {

Ref Host::NewMemoryBlock(int32_t size) {
  return Ref::Adopt(reinterpret_cast<REALobject>(internal::make_block(
      *impl_, size, "NewMemoryBlock " + std::to_string(size) + " bytes, " + internal::context_of(*impl_))));
}

std::span<uint8_t> Host::Bytes(REALmemoryBlock block) const {
  auto* found = internal::find_as<internal::MemoryBlockObject>(*impl_, block, "Bytes", internal::ObjectKind::kMemoryBlock);
  if (found == nullptr) return {};
  return {found->data.data(), static_cast<size_t>(found->size)};
}

}  // namespace testhost
