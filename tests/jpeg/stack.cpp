// Allocation for 32-bit callers whose stack is aligned to 4 bytes: the C library expects 16, and must get them. The
// allocator is replaced, which AddressSanitizer does, too.
#ifdef __has_feature
#define SANITIZES_ADDRESSES __has_feature(address_sanitizer)
#endif
#if defined(__i386__) && !SANITIZES_ADDRESSES
#include "jpeg/support.h"

namespace {

struct {
  int calls, misaligned;
} seen;
__attribute__((always_inline)) inline void see(const void* frame) {
  ++seen.calls;
  seen.misaligned += uintptr_t(frame) % 16 != 8;  // above it lie the caller's frame pointer and the return address
}

}  // namespace

extern "C" {
// The allocator of this program, the library included.
void* __libc_malloc(size_t size);
void __libc_free(void* ptr);
void* malloc(size_t size) noexcept {
  see(__builtin_frame_address(0));
  return __libc_malloc(size);
}
void free(void* ptr) noexcept {
  see(__builtin_frame_address(0));
  __libc_free(ptr);
}
// Calls with the stack so many bytes below a multiple of 16.
void runBelow(int offset, void (*run)());
}
__asm__(
    ".text\n"
    "runBelow:\n\t"
    "push %ebp\n\tmov %esp, %ebp\n\tand $-16, %esp\n\tsub 8(%ebp), %esp\n\tcall *12(%ebp)\n\tleave\n\tret\n");

namespace {

constexpr Vel8u kBits[16] = {1}, kValues[1] = {};
void* memory;
VeliEncodeHuffmanSpec* encodeSpec;
VeliEncodeHuffmanState* encodeState;
VeliDecodeHuffmanSpec* decodeSpec;
VeliDecodeHuffmanState* decodeState;
Vel16u* table;

struct Pair {
  const char* name;
  void (*allocate)();
  void (*release)();
};
const Pair kPairs[] = {
    {"velMalloc", [] { memory = velMalloc(100); }, [] { velFree(memory); }},
    {"orvzkMallocAligned", [] { orvzkMallocAligned(&memory, 100, 64); }, [] { orvzkFreeAligned(memory); }},
    {"orvizkQuantInvTableAlloc", [] { orvizkQuantInvTableAlloc(&table); }, [] { orvizkQuantInvTableFree(table); }},
    {"orvizkDecodeHuffmanSpecAlloc", [] { orvizkDecodeHuffmanSpecAlloc_JPEG_8u(&decodeSpec); },
     [] { orvizkDecodeHuffmanSpecFree_JPEG_8u(decodeSpec); }},
    {"orviDecodeHuffmanStateInitAlloc", [] { orviDecodeHuffmanStateInitAlloc_JPEG_8u(&decodeState); },
     [] { orviDecodeHuffmanStateFree_JPEG_8u(decodeState); }},
    {"orviEncodeHuffmanStateInitAlloc", [] { orviEncodeHuffmanStateInitAlloc_JPEG_8u(&encodeState); },
     [] { orviEncodeHuffmanStateFree_JPEG_8u(encodeState); }},
    {"orviEncodeHuffmanSpecInitAlloc", [] { orviEncodeHuffmanSpecInitAlloc_JPEG_8u(kBits, kValues, &encodeSpec); },
     [] { orviEncodeHuffmanSpecFree_JPEG_8u(encodeSpec); }},
};

class JpegStack : public OnEveryPath {};
ORV_ON_EVERY_PATH(JpegStack);

TEST_P(JpegStack, IsAlignedForTheAllocator) {
  for (const Pair& pair : kPairs)
    for (int offset : {0, 4, 8, 12}) {
      seen = {};
      runBelow(offset, pair.allocate);
      const auto allocation = seen;
      runBelow(offset, pair.release);
      const auto both = seen;
      EXPECT_EQ(both.calls * 10 + allocation.calls, 21) << pair.name;
      EXPECT_EQ(std::make_pair(allocation.misaligned, both.misaligned), std::make_pair(0, 0))
          << pair.name << " and its release, stack " << offset << " below 16";
    }
}

}  // namespace
#endif
