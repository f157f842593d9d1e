// Bitwise logic against the same element by element.
#include "signal/vectors.h"

namespace {

enum Form { kTwo, kTwoInPlace, kConstant, kConstantInPlace, kNot, kNotInPlace };
using Op = Vel32u(Vel32u, Vel32u);
Vel32u doAnd(Vel32u a, Vel32u b) { return a & b; }
Vel32u doOr(Vel32u a, Vel32u b) { return a | b; }
Vel32u doXor(Vel32u a, Vel32u b) { return a ^ b; }
Vel32u doNot(Vel32u a, Vel32u) { return ~a; }

// In-place forms take dst, and the first source of those with two.
struct Member {
  const char* name;
  Form form;
  size_t size;  // of an element
  Op* op;
  VelStatus (*call)(const void* src1, const void* src2, Vel32u val, void* dst, int len);
  bool isInPlace() const { return form == kTwoInPlace || form == kConstantInPlace || form == kNotInPlace; }
};

template <class T> const T* in(const void* p) { return static_cast<const T*>(p); }
template <class T> T* out(void* p) { return static_cast<T*>(p); }
#define MEMBER(name, T, form, op, ...)                                                     \
  {                                                                                        \
#name, form, sizeof(T), op,                                                            \
        [](const void* src1, const void* src2, Vel32u val, void* dst,                      \
           int len) { return (void)src1, (void)src2, (void)val, orvs##name(__VA_ARGS__); } \
  }
#define TWO(name, T, op)                                                 \
  MEMBER(name, T, kTwo, op, in<T>(src1), in<T>(src2), out<T>(dst), len), \
      MEMBER(name##_I, T, kTwoInPlace, op, in<T>(src1), out<T>(dst), len)
#define CONSTANT(name, T, op)                                            \
  MEMBER(name, T, kConstant, op, in<T>(src1), T(val), out<T>(dst), len), \
      MEMBER(name##_I, T, kConstantInPlace, op, T(val), out<T>(dst), len)
#define NOT(name, T) \
  MEMBER(name, T, kNot, doNot, in<T>(src1), out<T>(dst), len), MEMBER(name##_I, T, kNotInPlace, doNot, out<T>(dst), len)
#define TYPES(form, name, ...)                                                    \
  form(name##_8u, Vel8u, ##__VA_ARGS__), form(name##_16u, Vel16u, ##__VA_ARGS__), \
      form(name##_32u, Vel32u, ##__VA_ARGS__)
const Member kMembers[] = {
    TYPES(TWO, And, doAnd),     TYPES(TWO, Or, doOr),         TYPES(TWO, Xor, doXor), TYPES(CONSTANT, AndC, doAnd),
    TYPES(CONSTANT, OrC, doOr), TYPES(CONSTANT, XorC, doXor), TYPES(NOT, Not)};

// One element after the other, as unsigned numbers of any width.
void model(const Member& m, const Vel8u* src1, const Vel8u* src2, Vel32u val, Vel8u* dst, size_t n) {
  for (size_t i = 0; i < n; i += m.size) {
    Vel32u a = 0, b = val;
    memcpy(&a, m.form == kConstantInPlace || m.form == kNotInPlace ? dst + i : src1 + i, m.size);
    if (m.form == kTwo || m.form == kTwoInPlace) memcpy(&b, (m.form == kTwo ? src2 : dst) + i, m.size);
    a = m.op(a, b);
    memcpy(dst + i, &a, m.size);
  }
}

class Logic : public OnEveryPath {
 protected:
  void check(const Member& m, size_t len, Vel32u val) {
    vectors_.check(
        len * m.size, !m.isInPlace(), [&](const Operands& o) { return m.call(o.src1, o.src2, val, o.dst, int(len)); },
        [&](const Vel8u* src1, const Vel8u* src2, Vel8u* dst) { model(m, src1, src2, val, dst, len * m.size); });
  }

 private:
  Vectors vectors_;
};
ORV_ON_EVERY_PATH(Logic);

TEST_P(Logic, WorksOnEveryLength) {
  const Vel32u vals[] = {0x9E3779B1u, 0, ~0u, 0xFF, 0xFF00, 0xFFFF0000u, 1, 0x80, 0x8000, 0x80000000u, 0x5A6B7C8D};
  for (const Member& m : kMembers)
    for (size_t len = 1; len <= 200; ++len)
      ASSERT_NO_FATAL_FAILURE(check(m, len, vals[len % std::size(vals)])) << m.name << ", " << len;
}

// Distances in bytes, of which most tear elements.
TEST_P(Logic, TakesOverlapping32uInOrder) {
  Random random(32);
  std::vector<Vel8u> fill(1024);
  for (Vel8u& x : fill) x = Vel8u(random());
  for (const Member& m : kMembers) {
    if (m.size != 4 || (m.form != kTwo && m.form != kTwoInPlace)) continue;
    for (const size_t len : {1, 2, 3, 6, 7, 8, 20, 70})
      for (size_t at1 = 300; at1 <= 600; at1 += at1 > 400 && at1 < 500 ? 1 : 7)
        for (const size_t at2 : {at1, size_t(40), 1000 - 4 * len, size_t(449), size_t(450), size_t(467)}) {
          std::vector<Vel8u> found = fill, expected = fill;
          model(m, &expected[at1], &expected[at2], 0, &expected[450], 4 * len);
          ASSERT_EQ(m.call(&found[at1], &found[at2], 0, &found[450], int(len)), velStsNoErr);
          ASSERT_TRUE(expectSame(found, expected))
              << m.name << ", " << len << " from " << at1 << " and " << at2 << " to 450";
        }
  }
}

TEST_P(Logic, WritesPastTheCaches) {
  const size_t n = beyondCaches() / 2 + 1;
  std::vector<Vel8u> src(n + 64), found(n + 64), expected(n + 64);
  for (size_t i = 0; i < src.size(); ++i) src[i] = Vel8u(i * i >> 5);
  for (const Member& m : kMembers) {
    if (m.size != 1 || (m.form != kTwo && m.form != kNot)) continue;
    const int len = int(n - 5);
    model(m, &src[1], &src[9], 0x5A, &expected[3], size_t(len));
    ASSERT_EQ(m.call(&src[1], &src[9], 0x5A, &found[3], len), velStsNoErr);
    ASSERT_TRUE(expectSame(found, expected)) << m.name;
  }
}

TEST_P(Logic, ChecksItsArgumentsInOrder) {
  Guarded memory(64, Guard::kBehind, 7);
  Vel8u *const p = memory.data(), *const noMemory = p + 64;
  for (const Member& m : kMembers) {
    SCOPED_TRACE(m.name);
    const bool hasTwo = m.form == kTwo || m.form == kTwoInPlace, takesSource = hasTwo || !m.isInPlace();
    for (const Vel32u val : {0u, 5u}) {
      EXPECT_EQ(m.call(p, p, val, nullptr, 0), velStsNullPtrErr);
      EXPECT_EQ(m.call(nullptr, p, val, p, 0), takesSource ? velStsNullPtrErr : velStsSizeErr);
      EXPECT_EQ(m.call(p, nullptr, val, p, -1), m.form == kTwo ? velStsNullPtrErr : velStsSizeErr);
      for (const int len : {0, -1, INT32_MIN}) EXPECT_EQ(m.call(noMemory, noMemory, val, noMemory, len), velStsSizeErr);
    }
    EXPECT_EQ(std::count(p, p + 64, 7), 64) << "an error wrote";
    if (m.op == doAnd && m.form == kConstant) {
      EXPECT_EQ(m.call(noMemory, nullptr, 0, p, 16 / int(m.size)), velStsNoErr);
      EXPECT_EQ(std::count(p, p + 16, 0), 16);
      memset(p, 7, 16);
    }
  }
}

}  // namespace
