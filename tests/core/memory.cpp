// Allocation through the hooks and past them.
#include <climits>
#include <cstdlib>
#include <cstring>
#include "support/paths.h"

namespace {

// What the hooks were asked, and what i_malloc answers.
struct {
  int mallocs, frees;
  size_t size;
  void *freed, *answer;
} hook;

class Hooks {
 public:
  explicit Hooks(void* answer) {
    hook = {0, 0, 0, nullptr, answer};
    i_malloc = [](size_t size) { return ++hook.mallocs, hook.size = size, hook.answer; };
    i_free = [](void* ptr) { ++hook.frees, hook.freed = ptr; };
  }
  ~Hooks() { i_malloc = malloc, i_free = free; }
};

constexpr int kOver = 32 + sizeof(void*);
alignas(64) char arena[64 + 100 + kOver];

void* wordBefore(const void* p) {
  void* word;
  memcpy(&word, static_cast<const char*>(p) - sizeof word, sizeof word);
  return word;
}

TEST(Memory, BlocksAreAlignedBehindTheirPointer) {
  EXPECT_TRUE(i_malloc == malloc && i_calloc == calloc && i_realloc == realloc && i_free == free);
  for (int offset = 0; offset < 64; ++offset) {
    const Hooks hooks(arena + offset);
    void* const p = velMalloc(100);
    EXPECT_EQ(p, arena + (offset + kOver - 1) / 32 * 32);
    EXPECT_EQ(wordBefore(p), hook.answer);
    EXPECT_EQ(hook.size, size_t(100 + kOver));
    velFree(p);
    EXPECT_EQ(hook.freed, hook.answer);
    EXPECT_EQ(hook.mallocs * 10 + hook.frees, 11);
  }
}

TEST(Memory, NothingToAllocateOrNothingLeft) {
  const Hooks hooks(nullptr);
  for (int len : {0, INT_MIN}) EXPECT_EQ(velMalloc(len), nullptr);
  velFree(nullptr);
  EXPECT_EQ(hook.mallocs + hook.frees, 0);
  EXPECT_EQ(velMalloc(INT_MAX), nullptr);
  EXPECT_EQ(hook.size, size_t(INT_MAX) + kOver);
}

TEST(Memory, AlignedBlocksPassTheHooks) {
  const Hooks hooks(nullptr);
  for (int align = 4; align <= 8192; align *= 2) {
    void* p = nullptr;
    ASSERT_EQ(orvzkMallocAligned(&p, 100, align), 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % align, 0u);
    memset(p, 0x5A, 100);
    EXPECT_EQ(orvzkFreeAligned(p), 0);
  }
  EXPECT_EQ(orvzkFreeAligned(nullptr), 0);
  void* p = &p;
  EXPECT_EQ(orvzkMallocAligned(&p, -200, 64), -2);  // as a size, more than there is
  EXPECT_EQ(p, &p);
  EXPECT_EQ(hook.mallocs + hook.frees, 0);
}

class MemoryOnPath : public OnEveryPath {};
ORV_ON_EVERY_PATH(MemoryOnPath);

TEST_P(MemoryOnPath, StatesComeThroughTheHooks) {
  VeliDecodeHuffmanState* state = nullptr;
  {
    const Hooks hooks(memset(arena, 1, sizeof arena));
    ASSERT_EQ(orviDecodeHuffmanStateInitAlloc_JPEG_8u(&state), 0);
    EXPECT_EQ(wordBefore(state), arena);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(state), 20), std::string(20, '\0'));
    EXPECT_EQ(orviDecodeHuffmanStateFree_JPEG_8u(state), 0);
    EXPECT_EQ(hook.freed, arena);
  }
  const Hooks hooks(nullptr);
  VeliDecodeHuffmanState* const before = state;
  EXPECT_EQ(orviDecodeHuffmanStateInitAlloc_JPEG_8u(&state), -8);
  EXPECT_EQ(state, before);
  EXPECT_EQ(hook.mallocs, 1);
}

}  // namespace
