// The kernels that families share: copying, clearing, allocating, and widening bytes.
#include <dlfcn.h>
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>
#include "support/guarded.h"
#include "support/paths.h"

namespace {

using Copy = VelStatus(const void*, void*, int);
using Zero = VelStatus(void*, int);
using Widen = VelStatus(const Vel8u*, int, void*, int, VeliSize);

constexpr Guard kEnds[] = {Guard::kBefore, Guard::kBehind};

// Two buffers against a guarded end of memory. A call's operands lie `away` bytes from it, the source by another
// distance; afterwards the whole of the destination buffer is as the model says.
class Buffers {
 public:
  Buffers(size_t srcSize, size_t dstSize, Guard end)
      : end_(end), src_(srcSize, end), dst_(dstSize, end), expected_(dstSize) {
    for (size_t i = 0; i < srcSize; ++i) src_[i] = Vel8u(i * 151 + (i >> 8) * 7 + 3);
  }
  const Vel8u* source(size_t n, size_t away) const { return place(src_, n, away * 7 % 32); }
  // A destination of n bytes, and where the model writes what is expected there.
  Vel8u* destination(size_t n, size_t away, Vel8u** model) {
    memset(dst_.data(), 0xEE, dst_.size());
    std::fill(expected_.begin(), expected_.end(), 0xEE);
    Vel8u* const p = place(dst_, n, away);
    *model = &expected_[p - dst_.data()];
    return p;
  }
  bool asExpected() const { return memcmp(dst_.data(), expected_.data(), dst_.size()) == 0; }

 private:
  Vel8u* place(const Guarded& buffer, size_t n, size_t away) const {
    return buffer.data() + (end_ == Guard::kBefore ? away : buffer.size() - n - away);
  }
  Guard end_;
  Guarded src_, dst_;
  std::vector<Vel8u> expected_;
};

class Kernels : public OnEveryPath {
 protected:
  template <class F> F* kernel(const std::string& name) const {
    void* const found = dlsym(RTLD_DEFAULT, (std::string(GetParam().name) + "_" + name).c_str());
    EXPECT_NE(found, nullptr) << name;
    return reinterpret_cast<F*>(found);
  }

  void checkCopyAndZero(Buffers& buffers, const std::string& type, int len, size_t away) const {
    const size_t n = size_t(len) * (type == "8u" ? 1 : type == "16s" ? 2 : 4);
    const Vel8u* const from = buffers.source(n, away);
    for (bool isCopy : {true, false}) {
      Vel8u* model;
      Vel8u* const to = buffers.destination(n, away, &model);
      for (size_t i = 0; i < n; ++i) model[i] = isCopy ? from[i] : 0;
      ASSERT_EQ(isCopy ? kernel<Copy>("velsCopy_" + type)(from, to, len) : kernel<Zero>("velsZero_" + type)(to, len), 0);
      ASSERT_TRUE(buffers.asExpected()) << (isCopy ? "copy " : "zero ") << type << ' ' << len << " away " << away;
    }
  }

  void checkWiden(Buffers& buffers, VeliSize size, int srcStep, int dstStep, size_t away) const {
    const int rows = size.height - 1;
    Vel8u* model;
    Vel8u* const to = buffers.destination(size_t(dstStep) * rows + 2 * size.width, away, &model);
    const Vel8u* const from = buffers.source(size_t(srcStep) * rows + size.width, away);
    for (int y = 0; y <= rows; ++y) {
      for (int x = 0; x < size.width; ++x) {
        model[dstStep * y + 2 * x] = from[srcStep * y + x];
        model[dstStep * y + 2 * x + 1] = 0;
      }
    }
    ASSERT_EQ(kernel<Widen>("veliConvert_8u16u_C1R")(from, srcStep, to, dstStep, size), 0);
    ASSERT_TRUE(buffers.asExpected()) << size.width << " by " << size.height << ", steps " << srcStep << ", " << dstStep
                                      << ", away " << away;
  }
};
ORV_ON_EVERY_PATH(Kernels);

TEST_P(Kernels, CopyAndZero) {
  for (const char* type : {"8u", "16s", "32s"})
    for (Guard end : kEnds) {
      Buffers buffers(1024, 1024, end);
      for (int len = 1; len <= 200; ++len)
        for (size_t away = 0; away < 32; ++away) checkCopyAndZero(buffers, type, len, away);
    }
  const auto copy = kernel<Copy>("velsCopy_8u");
  const auto zero = kernel<Zero>("velsZero_8u");
  Vel8u some[8] = {1};
  EXPECT_EQ(copy(nullptr, some, 0), -8);
  EXPECT_EQ(copy(some + 4, nullptr, 0), -8);
  EXPECT_EQ(zero(nullptr, 0), -8);
  for (int len : {0, -1}) {
    EXPECT_EQ(copy(some + 4, some, len), -6);
    EXPECT_EQ(zero(some, len), -6);
  }
  EXPECT_EQ(some[0], 1);
}

TEST_P(Kernels, Widen) {
  for (Guard end : kEnds) {
    Buffers buffers(2048, 4096, end);
    for (size_t away = 0; away < 32; ++away) {
      for (int width = 1; width <= 200; ++width) checkWiden(buffers, {width, 1}, width, 2 * width, away);
      // Packed; padded; packed on one side; rows at odd addresses; source rows that overlap.
      constexpr int kSteps[][2] = {{37, 74}, {40, 96}, {37, 80}, {41, 74}, {37, 75}, {1, 74}};
      for (auto steps : kSteps) checkWiden(buffers, {37, 5}, steps[0], steps[1], away);
    }
  }
  const auto widen = kernel<Widen>("veliConvert_8u16u_C1R");
  Vel8u src[8] = {}, dst[8] = {7};
  EXPECT_EQ(widen(nullptr, 0, dst, 0, {0, 0}), -8);
  EXPECT_EQ(widen(src, 0, nullptr, 0, {0, 0}), -8);
  for (VeliSize size : {VeliSize{0, 1}, {1, -1}}) EXPECT_EQ(widen(src, 0, dst, 0, size), -6);
  EXPECT_EQ(widen(src, 0, dst, 4, {1, 1}), -14);
  EXPECT_EQ(widen(src, 4, dst, -4, {1, 1}), -14);
  EXPECT_EQ(dst[0], 7);
}

// Past half a megabyte and the largest cache, where it is known, kernels write around the caches.
TEST_P(Kernels, LargeBlocks) {
  int cache = 0;
  velGetMaxCacheSizeB(&cache);
  const int n = std::min(std::max(cache, 600 << 10), 64 << 20) + 3;
  constexpr int kWidth = 331;
  for (Guard end : kEnds) {
    const size_t away = end == Guard::kBefore ? 5 : 0;
    Buffers buffers(n + 99, 3 * n, end);
    checkCopyAndZero(buffers, "8u", n, away);
    for (int gap : {0, 1}) checkWiden(buffers, {kWidth, n / kWidth}, kWidth, 2 * kWidth + gap, away * 2);
  }
}

TEST_P(Kernels, Malloc) {
  static size_t asked;
  i_malloc = [](size_t size) { return malloc(asked = size); };
  for (size_t bytes : {1, 4}) {
    const auto allocate = kernel<void*(int)>(bytes == 1 ? "velsMalloc_8u" : "velsMalloc_32f");
    void* const p = allocate(25);
    EXPECT_EQ(asked, 25 * bytes + 32 + sizeof(void*));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u);
    kernel<void(void*)>("velsFree")(p);
    for (int len : {0, -7}) EXPECT_EQ(allocate(len), nullptr);
  }
  i_malloc = malloc;
}

}  // namespace
