// The module allocator: a table of operations and a context. All module code uses the default heap.
#pragma once

#include <cstddef>

struct ko_MemoryAllocator;
struct ko_MemoryAllocatorOps {
  int (*alloc)(void* context, size_t size, void** out);
  int (*realloc)(void* context, void** block, size_t size);
  int (*free)(void* context, void** block);
  int (*query)(void* context);  // answers 1
};
struct ko_MemoryAllocator {
  const ko_MemoryAllocatorOps* ops;
  void* context;
};

extern ko_MemoryAllocator ko_MemoryAllocator_DefaultHeap_s;
extern ko_MemoryAllocator* const ko_MemoryAllocator_DefaultHeap;

// 0, or -1 when memory is short; the block is then unchanged. Freeing a null block does nothing.
int ko_MemoryAllocator_Alloc_Untyped(ko_MemoryAllocator* allocator, size_t size, void** out);
int ko_MemoryAllocator_Realloc_Untyped(ko_MemoryAllocator* allocator, void** block, size_t size);
int ko_MemoryAllocator_Free_Untyped(ko_MemoryAllocator* allocator, void** block);
