// Scaled multiply and norm against their definitions in 64-bit integers.
#include <cmath>
#include "signal/vectors.h"

namespace {

Vel16s model(Vel16s val, Vel16s x, int scaleFactor) {
  int64_t t = int64_t(val) * x;
  if (scaleFactor <= 0) {
    t *= int64_t(1) << std::min(-int64_t(scaleFactor), int64_t(20));  // no product is so small that more would matter
  } else {
    const int by = std::min(scaleFactor, 40);
    const int64_t floor = t >> by, rest = t - floor * (int64_t(1) << by), half = int64_t(1) << (by - 1);
    t = floor + (rest > half || (rest == half && floor % 2 != 0));
  }
  return Vel16s(std::clamp(t, int64_t(INT16_MIN), int64_t(INT16_MAX)));
}

class Multiply : public OnEveryPath {};
ORV_ON_EVERY_PATH(Multiply);

TEST_P(Multiply, IsExactForEveryElement) {
  std::vector<Vel16s> all(65536), found, expected(65536);
  for (int i = 0; i < 65536; ++i) all[size_t(i)] = Vel16s(i - 32768);
  for (int scaleFactor = -20; scaleFactor <= 35; ++scaleFactor)
    for (const Vel16s val : {0, 1, -1, 2, 3, -5, 16393, 16384, -16384, 32767, -32768}) {
      found = all;
      ASSERT_EQ(orvsMulC_16s_ISfs(val, found.data(), 65536, scaleFactor), velStsNoErr);
      std::transform(all.begin(), all.end(), expected.begin(), [&](Vel16s x) { return model(val, x, scaleFactor); });
      ASSERT_TRUE(expectSame(found, expected)) << "32768 less, times " << val << ", scale factor " << scaleFactor;
    }
}

TEST_P(Multiply, KnowsExtremeScales) {
  for (const int scaleFactor : {INT32_MIN, -1000, -33, -32, -31, 36, 63, 64, INT32_MAX})
    for (const Vel16s val : {1, -1, 32767, -32768}) {
      std::vector<Vel16s> found = {0, 1, -1, 2, 255, -256, 4096, 32767, -32768}, expected = found;
      for (Vel16s& x : expected) x = model(val, x, scaleFactor);
      ASSERT_EQ(orvsMulC_16s_ISfs(val, found.data(), 9, scaleFactor), velStsNoErr);
      ASSERT_TRUE(expectSame(found, expected)) << val << ", " << scaleFactor;
    }
}

TEST_P(Multiply, WorksOnEveryLength) {
  Vectors vectors;
  for (int len = 1; len <= 200; ++len)
    for (const int scaleFactor : {-3, 0, 5, 31})
      ASSERT_NO_FATAL_FAILURE(vectors.check(
          2 * size_t(len), false,
          [&](const Operands& o) { return orvsMulC_16s_ISfs(-57, reinterpret_cast<Vel16s*>(o.dst), len, scaleFactor); },
          [&](const Vel8u*, const Vel8u*, Vel8u* dst) {
            for (int i = 0; i < len; ++i) {
              Vel16s x;
              memcpy(&x, dst + 2 * i, 2);
              x = model(-57, x, scaleFactor);
              memcpy(dst + 2 * i, &x, 2);
            }
          }))
          << len << ", scale factor " << scaleFactor;
}

TEST_P(Multiply, ChecksItsArgumentsInOrder) {
  Vel16s x = 7;
  EXPECT_EQ(orvsMulC_16s_ISfs(0, nullptr, 0, 0), velStsNullPtrErr);
  for (const Vel16s val : {0, 1, 2})
    for (const int scaleFactor : {0, 31, -31, 1})
      for (const int len : {0, -1, INT32_MIN}) EXPECT_EQ(orvsMulC_16s_ISfs(val, &x, len, scaleFactor), velStsSizeErr);
  EXPECT_EQ(x, 7);
  const Guarded memory(1, Guard::kBehind);
  EXPECT_EQ(orvsMulC_16s_ISfs(1, reinterpret_cast<Vel16s*>(memory.data() + 1), 4, 0), velStsNoErr);  // untouched
}

// ---- Norm

class Norm : public OnEveryPath {
 protected:
  static void check(const Vel8u* src, int len) {
    Vel64u sum = 0;
    for (int i = 0; i < len; ++i) {
      Vel16s x;
      memcpy(&x, src + 2 * i, 2);
      sum += Vel64u(int64_t(x) * x);
    }
    const Guarded norm(sizeof(Vel32f), Guard::kBehind);
    ASSERT_EQ(orvsNorm_L2_16s32f(reinterpret_cast<const Vel16s*>(src), len, norm.as<Vel32f>()), velStsNoErr);
    ASSERT_EQ(*norm.as<Vel32f>(), Vel32f(std::sqrt(double(sum)))) << len;
    ASSERT_TRUE(norm.intact());
  }
};
ORV_ON_EVERY_PATH(Norm);

TEST_P(Norm, WorksOnEveryLength) {
  Random random(16);
  for (const Guard guard : {Guard::kBefore, Guard::kBehind})
    for (const size_t away : {0, 1, 6, 15}) {
      const Guarded memory(400 + away, guard);
      for (size_t i = 0; i < memory.size(); ++i) memory[i] = Vel8u(random());
      for (int len = 1; len <= 200; ++len)
        ASSERT_NO_FATAL_FAILURE(
            check(guard == Guard::kBefore ? memory.data() + away : memory.data() + 400 - 2 * len, len));
    }
}

TEST_P(Norm, SumsExactly) {
  std::vector<Vel16s> x(4000003, Vel16s(-32768));  // every pair of squares fills 32 bits
  for (const int len : {1, 2, 15, 16, 65536, 65537, 4000003})
    ASSERT_NO_FATAL_FAILURE(check(reinterpret_cast<const Vel8u*>(x.data()), len));
  Random random(64);
  for (Vel16s& value : x) value = Vel16s(random());
  ASSERT_NO_FATAL_FAILURE(check(reinterpret_cast<const Vel8u*>(x.data()), int(x.size())));
}

TEST_P(Norm, ChecksItsArgumentsInOrder) {
  const Vel16s x = 3;
  Vel32f norm = 7;
  EXPECT_EQ(orvsNorm_L2_16s32f(nullptr, 0, &norm), velStsNullPtrErr);
  EXPECT_EQ(orvsNorm_L2_16s32f(&x, 0, nullptr), velStsNullPtrErr);
  for (const int len : {0, -1, INT32_MIN}) EXPECT_EQ(orvsNorm_L2_16s32f(&x, len, &norm), velStsSizeErr);
  EXPECT_EQ(norm, 7);
}

}  // namespace
