// Shifts against shifts of 64-bit numbers.
#include "signal/vectors.h"

namespace {

struct Member {
  const char* name;
  size_t size;  // of an element
  bool isLeft, isSigned;
  VelStatus (*call)(const void* src, int val, void* dst, int len);
  VelStatus (*inPlace)(int val, void* dst, int len);
  int width() const { return int(8 * size); }
  bool leavesNothing(int val) const { return val >= width() && (isLeft || !isSigned); }
};
#define MEMBER(name, T, isLeft)                                                                             \
  {                                                                                                         \
#name, sizeof(T), isLeft, T(-1) < T(0),                                                                   \
        [](const void* src, int val, void* dst, int len) {                                                    \
          return orvs##name(static_cast<const T*>(src), val, static_cast<T*>(dst), len);                      \
        },                                                                                                    \
        [](int val, void* dst, int len) { return orvs##name##_I(val, static_cast<T*>(dst), len); } \
  }
#define BOTH(type, T) MEMBER(LShiftC_##type, T, true), MEMBER(RShiftC_##type, T, false)
const Member kMembers[] = {BOTH(8u, Vel8u), BOTH(16u, Vel16u), BOTH(16s, Vel16s), BOTH(32s, Vel32s)};

void model(const Member& m, const Vel8u* src, int val, Vel8u* dst, size_t n) {
  const int count = std::min(val, m.width());
  for (size_t i = 0; i < n; i += m.size) {
    Vel64u x = 0;
    memcpy(&x, src + i, m.size);
    if (m.isSigned && x >> (m.width() - 1)) x |= ~Vel64u(0) << m.width();
    x = m.isLeft ? x << count : Vel64u(int64_t(x) >> count);
    memcpy(dst + i, &x, m.size);
  }
}

class Shift : public OnEveryPath {
 protected:
  void check(const Member& m, size_t len, int val) {
    const size_t n = len * m.size;
    vectors_.check(
        n, true, [&](const Operands& o) { return m.call(o.src1, val, o.dst, int(len)); },
        [&](const Vel8u* src, const Vel8u*, Vel8u* dst) { model(m, src, val, dst, n); });
    vectors_.check(
        n, false, [&](const Operands& o) { return m.inPlace(val, o.dst, int(len)); },
        [&](const Vel8u*, const Vel8u*, Vel8u* dst) { model(m, dst, val, dst, n); });
  }

 private:
  Vectors vectors_;
};
ORV_ON_EVERY_PATH(Shift);

// And by every count, each with several lengths.
TEST_P(Shift, WorksOnEveryLength) {
  for (const Member& m : kMembers) {
    for (size_t len = 1; len <= 200; ++len)
      ASSERT_NO_FATAL_FAILURE(check(m, len, int(len) % 41)) << m.name << ", " << len;
    for (const int val : {255, 256, 65536, INT32_MAX})
      ASSERT_NO_FATAL_FAILURE(check(m, 9, val)) << m.name << " by " << val;
  }
}

TEST_P(Shift, WritesPastTheCaches) {
  const size_t n = (beyondCaches() / 2 + 4) & ~size_t(3);
  std::vector<Vel8u> src(n + 64), found(n + 64), expected(n + 64);
  for (size_t i = 0; i < src.size(); ++i) src[i] = Vel8u(i * i >> 5);
  const Member& m = *std::find_if(kMembers, std::end(kMembers), [](const Member& x) { return x.size == 4; });
  for (size_t at : {0, 3, 4}) {  // 3: no element is aligned
    model(m, &src[1], 3, &expected[at], n);
    ASSERT_EQ(m.call(&src[1], 3, &found[at], int(n / m.size)), velStsNoErr);
    ASSERT_TRUE(expectSame(found, expected)) << "to " << at;
  }
}

TEST_P(Shift, ChecksItsArgumentsInOrder) {
  Guarded memory(64, Guard::kBehind, 7);
  Vel8u *const p = memory.data(), *const noMemory = p + 64;
  for (const Member& m : kMembers) {
    SCOPED_TRACE(m.name);
    for (const int val : {0, 1, -1, m.width() - 1, m.width(), INT32_MAX, INT32_MIN}) {
      EXPECT_EQ(m.call(nullptr, val, p, 0), velStsNullPtrErr);
      EXPECT_EQ(m.call(p, val, nullptr, 0), velStsNullPtrErr);
      EXPECT_EQ(m.inPlace(val, nullptr, 0), velStsNullPtrErr);
      for (const int len : {0, -1, INT32_MIN}) {
        EXPECT_EQ(m.call(noMemory, val, noMemory, len), velStsSizeErr);
        EXPECT_EQ(m.inPlace(val, noMemory, len), velStsSizeErr);
      }
      if (val < 0) {
        EXPECT_EQ(m.call(noMemory, val, noMemory, 4), velStsShiftErr);
        EXPECT_EQ(m.inPlace(val, noMemory, 4), velStsShiftErr);
      }
    }
    EXPECT_EQ(m.inPlace(0, noMemory, 4), velStsNoErr);
    EXPECT_EQ(std::count(p, p + 64, 7), 64) << "an error wrote";
    if (!m.leavesNothing(m.width())) continue;
    EXPECT_EQ(m.call(noMemory, m.width(), p, 16 / int(m.size)), velStsNoErr);
    EXPECT_EQ(std::count(p, p + 16, 0), 16);
    memset(p, 7, 16);
  }
}

}  // namespace
