// Allocation: aligned blocks behind replaceable hooks, and aligned blocks straight from the C library.
#include <stdlib.h>
#include <string.h>
#include "orv.h"
#include "stack.h"

extern "C" {
void* (*i_malloc)(size_t) = malloc;
void* (*i_calloc)(size_t, size_t) = calloc;
void* (*i_realloc)(void*, size_t) = realloc;
void (*i_free)(void*) = free;
Vel32s i_version = 1;
Vel32s i_min_version = 0;
}

namespace {

// In front of every aligned block stands the pointer that the allocator gave.
using Raw = void*;

// The highest multiple of align (a power of two) that leaves room in front, in a block with align - 1 + sizeof(Raw) to
// spare.
void* alignIn(Raw raw, size_t align) {
  const uintptr_t p = (reinterpret_cast<uintptr_t>(raw) + align - 1 + sizeof(Raw)) & ~(uintptr_t(align) - 1);
  memcpy(reinterpret_cast<void*>(p - sizeof(Raw)), &raw, sizeof raw);
  return reinterpret_cast<void*>(p);
}
Raw rawOf(const void* p) {
  Raw raw;
  memcpy(&raw, static_cast<const char*>(p) - sizeof raw, sizeof raw);
  return raw;
}

constexpr size_t kAlign = 32;

}  // namespace

ALIGN_STACK void* velMalloc(int len) {
  if (len <= 0) return nullptr;
  const Raw raw = i_malloc(size_t(len) + kAlign + sizeof(Raw));
  return raw ? alignIn(raw, kAlign) : nullptr;
}
ALIGN_STACK void velFree(void* ptr) {
  if (ptr) i_free(rawOf(ptr));
}

ALIGN_STACK VelStatus orvzkMallocAligned(void** ppMem, int size, int align) {
  const Raw raw = malloc(size_t(size) + size_t(align) + sizeof(Raw) - 1);
  if (!raw) return velStsErr;
  *ppMem = alignIn(raw, size_t(align));
  return velStsNoErr;
}
ALIGN_STACK VelStatus orvzkFreeAligned(void* pMem) {
  if (pMem) free(rawOf(pMem));
  return velStsNoErr;
}
