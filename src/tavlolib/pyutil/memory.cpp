#include "pyutil/memory.h"

#include <cstdlib>

#include "pyutil/array.h"
#include "pyutil/python.h"

namespace {

int heapAlloc(void*, size_t size, void** out) {
  *out = std::malloc(size);
  return size != 0 && !*out ? -1 : 0;
}

int heapFree(void*, void** block) {
  std::free(*block);
  *block = nullptr;
  return 0;
}

int heapRealloc(void* context, void** block, size_t size) {
  if (size == 0) return heapFree(context, block);
  void* moved = std::realloc(*block, size);
  if (!moved) return -1;
  *block = moved;
  return 0;
}

int heapQuery(void*) { return 1; }

constexpr ko_MemoryAllocatorOps kHeapOps = {heapAlloc, heapRealloc, heapFree, heapQuery};

}  // namespace

ko_MemoryAllocator ko_MemoryAllocator_DefaultHeap_s = {&kHeapOps, nullptr};
ko_MemoryAllocator* const ko_MemoryAllocator_DefaultHeap = &ko_MemoryAllocator_DefaultHeap_s;

int ko_MemoryAllocator_Alloc_Untyped(ko_MemoryAllocator* allocator, size_t size, void** out) {
  return allocator->ops->alloc(allocator->context, size, out);
}

int ko_MemoryAllocator_Realloc_Untyped(ko_MemoryAllocator* allocator, void** block, size_t size) {
  return allocator->ops->realloc(allocator->context, block, size);
}

int ko_MemoryAllocator_Free_Untyped(ko_MemoryAllocator* allocator, void** block) {
  return *block ? allocator->ops->free(allocator->context, block) : 0;
}

namespace tavlo {

void setNoMemory() { PyErr_NoMemory(); }

}  // namespace tavlo
