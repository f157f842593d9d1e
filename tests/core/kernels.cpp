// The kernels that families share: copying, clearing, allocating, and widening bytes.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>
#include "support/guarded.h"
#include "support/paths.h"

namespace {

template <class T> using Copy = VelStatus(const T*, T*, int);
using CopyRows = void(const Vel8u*, int, Vel8u*, int, size_t len, int rows, bool isPastCaches);
template <class T> using Zero = VelStatus(T*, int);
using Widen = VelStatus(const Vel8u*, int, Vel16u*, int, VeliSize);

template <class T> T* as(Vel8u* p) { return reinterpret_cast<T*>(p); }

constexpr Guard kEnds[] = {Guard::kBefore, Guard::kBehind};

// Operands that lie `away` bytes from a guarded end of memory, the source by another distance.
struct Operands {
  Operands(Guard end, size_t srcSize, size_t dstSize, size_t away)
      : src(srcSize + away * 7 % 32, end), dst(dstSize + away, end, 0xEE), expected(dst.size(), 0xEE) {
    for (size_t i = 0; i < src.size(); ++i) src[i] = Vel8u(i * 151 + (i >> 8) * 7 + 3);
    const bool isBefore = end == Guard::kBefore;
    from = src.data() + (isBefore ? away * 7 % 32 : 0);
    to = dst.data() + (isBefore ? away : 0);
    model = expected.data() + (isBefore ? away : 0);
  }
  bool asExpected() const { return memcmp(dst.data(), expected.data(), dst.size()) == 0 && dst.intact(); }

  Guarded src, dst;
  std::vector<Vel8u> expected;
  Vel8u *from, *to, *model;  // where the operands are, and what is expected at `to`
};

class Kernels : public OnEveryPath {
 protected:
  template <class F> F* kernel(const std::string& name) const {
    const auto found = kernelOf<F>(GetParam(), name);
    EXPECT_NE(found, nullptr) << name;
    return found;
  }

  template <class T> void checkCopyAndZero(Guard end, const std::string& type, int len, size_t away) const {
    const size_t n = size_t(len) * sizeof(T);
    const Operands copy(end, n, n, away), zero(end, 0, n, away);
    memcpy(copy.model, copy.from, n);
    memset(zero.model, 0, n);
    ASSERT_EQ(kernel<Copy<T>>("velsCopy_" + type)(as<T>(copy.from), as<T>(copy.to), len), 0);
    ASSERT_EQ(kernel<Zero<T>>("velsZero_" + type)(as<T>(zero.to), len), 0);
    ASSERT_TRUE(copy.asExpected()) << "copy " << type << ' ' << len << " away " << away;
    ASSERT_TRUE(zero.asExpected()) << "zero " << type << ' ' << len << " away " << away;
  }

  // The destination's rows lie `gap` bytes apart; the source is the same row, or lies without gaps.
  void checkCopyRows(Guard end, int len, int rows, int gap, size_t away) const {
    for (const bool isPastCaches : {false, true})
      for (const int srcStep : {0, len}) {
        const int step = len + gap, all = step * (rows - 1) + len;
        const Operands copy(end, size_t(srcStep * (rows - 1) + len), size_t(all), away);
        for (int y = 0; y < rows; ++y) memcpy(copy.model + y * step, copy.from + y * srcStep, size_t(len));
        kernel<CopyRows>("ownsCopy_8u")(copy.from, srcStep, copy.to, step, size_t(len), rows, isPastCaches);
        ASSERT_TRUE(copy.asExpected()) << rows << " rows of " << len << ", step " << srcStep << ", away " << away
                                       << (isPastCaches ? ", past the caches" : "");
      }
  }

  void checkWiden(Guard end, VeliSize size, int srcStep, int dstStep, size_t away) const {
    const int rows = size.height - 1;
    const Operands o(end, size_t(srcStep) * rows + size.width, size_t(dstStep) * rows + 2 * size.width, away);
    for (int y = 0; y <= rows; ++y)
      for (int x = 0; x < size.width; ++x) {
        o.model[dstStep * y + 2 * x] = o.from[srcStep * y + x];
        o.model[dstStep * y + 2 * x + 1] = 0;
      }
    ASSERT_EQ(kernel<Widen>("veliConvert_8u16u_C1R")(o.from, srcStep, as<Vel16u>(o.to), dstStep, size), 0);
    ASSERT_TRUE(o.asExpected()) << size.width << " by " << size.height << ", steps " << srcStep << ", " << dstStep
                                << ", away " << away;
  }
};
ORV_ON_EVERY_PATH(Kernels);

TEST_P(Kernels, CopyAndZero) {
  for (Guard end : kEnds)
    for (size_t away = 0; away < 32; ++away) {
      for (int len = 1; len <= 200; ++len) checkCopyAndZero<Vel8u>(end, "8u", len, away);
      for (const int n : {1, 2, 7, 12, 31, 33, 64, 100, 128, 129, 200, 511, 1000})
        checkCopyRows(end, n, 3, n % 5, away);
      for (int len = 1; len <= 20; ++len) checkCopyAndZero<Vel16s>(end, "16s", len, away);
      for (int len = 1; len <= 20; ++len) checkCopyAndZero<Vel32s>(end, "32s", len, away);
    }
  checkCopyAndZero<Vel8u>(Guard::kBehind, "8u", 70000, 3);
  const auto copy = kernel<Copy<Vel8u>>("velsCopy_8u");
  const auto zero = kernel<Zero<Vel8u>>("velsZero_8u");
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
  for (Guard end : kEnds)
    for (size_t away = 0; away < 32; ++away) {
      for (int width = 1; width <= 100; ++width) checkWiden(end, {width, 1}, width, 2 * width, away);
      // Packed; padded; packed on one side; rows at odd addresses; source rows that overlap.
      constexpr int kSteps[][2] = {{37, 74}, {40, 96}, {37, 80}, {41, 74}, {37, 75}, {1, 74}};
      for (auto steps : kSteps) checkWiden(end, {37, 5}, steps[0], steps[1], away);
    }
  const auto widen = kernel<Widen>("veliConvert_8u16u_C1R");
  Vel8u src[8] = {};
  Vel16u dst[4] = {7};
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
    checkCopyAndZero<Vel8u>(end, "8u", n, away);
    for (int gap : {0, 1}) checkWiden(end, {kWidth, n / kWidth}, kWidth, 2 * kWidth + gap, away * 2);
  }
}

TEST_P(Kernels, Malloc) {
  static size_t asked;
  i_malloc = [](size_t size) { return malloc(asked = size); };
  const auto check = [this](auto* allocate) {
    auto* const p = allocate(25);
    EXPECT_EQ(asked, 25 * sizeof *p + 32 + sizeof(void*));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u);
    kernel<void(void*)>("velsFree")(p);
    for (int len : {0, -7}) EXPECT_EQ(allocate(len), nullptr);
  };
  check(kernel<Vel8u*(int)>("velsMalloc_8u"));
  check(kernel<Vel32f*(int)>("velsMalloc_32f"));
  i_malloc = malloc;
}

}  // namespace
