// Floating-point arithmetic against single operations in double precision, which rounds twice only where that does no
// harm, and against the rule for NaNs.
#include <cmath>
#include <string>
#include "support/image.h"

namespace {

// A common shape for all forms. Those with constants take them from src and ignore its step.
using Call = VelStatus(const float* src, int srcStep, float* dst, int dstStep, VeliSize size);
struct Form {
  const char* name;
  char op;
  int channels;
  bool keepsAlpha, hasImage;
  Call* call;
};
#define FORM(name, op, channels, keepsAlpha, hasImage, ...)                                      \
  {                                                                                              \
    name, op, channels, keepsAlpha, hasImage,                                                    \
        [](const float* src, int srcStep, float* dst, int dstStep, VeliSize size) -> VelStatus { \
          return (void)srcStep, __VA_ARGS__;                                                     \
        }                                                                                        \
  }
#define FORMS(name, op)                                                                                \
  FORM(#name " C1", op, 1, false, true, orvi##name##_32f_C1IR(src, srcStep, dst, dstStep, size)),      \
      FORM(#name " C3", op, 3, false, true, orvi##name##_32f_C3IR(src, srcStep, dst, dstStep, size)),  \
      FORM(#name " C4", op, 4, false, true, orvi##name##_32f_C4IR(src, srcStep, dst, dstStep, size)),  \
      FORM(#name " AC4", op, 4, true, true, orvi##name##_32f_AC4IR(src, srcStep, dst, dstStep, size)), \
      FORM(#name "C C1", op, 1, false, false, orvi##name##C_32f_C1IR(*src, dst, dstStep, size)),       \
      FORM(#name "C C3", op, 3, false, false, orvi##name##C_32f_C3IR(src, dst, dstStep, size)),        \
      FORM(#name "C C4", op, 4, false, false, orvi##name##C_32f_C4IR(src, dst, dstStep, size)),        \
      FORM(#name "C AC4", op, 4, true, false, orvi##name##C_32f_AC4IR(src, dst, dstStep, size))
const Form kForms[] = {FORMS(Add, '+'), FORMS(Sub, '-'), FORMS(Mul, '*')};

// Floats as their bits, because some processors' loads change a NaN.
using Bits = Vel32u;
float number(Bits bits) {
  float x;
  memcpy(&x, &bits, sizeof x);
  return x;
}
bool isNan(Bits x) { return (x & 0x7FFFFFFF) > 0x7F800000; }

Bits model(char op, Bits d, Bits s) {
  constexpr Bits kQuiet = 0x00400000;
  if (isNan(d)) return d | kQuiet;
  if (isNan(s)) return s | kQuiet;
  const double x = number(d), y = number(s);
  const float result = float(op == '+' ? x + y : op == '-' ? x - y : x * y);
  if (std::isnan(result)) return 0xFFC00000;
  Bits bits;
  memcpy(&bits, &result, sizeof bits);
  return bits;
}

// Signed zeros, small and large numbers on both sides of what is denormal or infinite, NaNs that signal or do not; or
// anything.
Bits sample(std::mt19937& random) {
  constexpr Bits kSpecial[] = {0,          0x3F800000, 0x40A00000, 0x00000001, 0x007FFFFF, 0x00800000, 0x33800000,
                               0x3F800001, 0x4B7FFFFF, 0x7F7FFFFF, 0x7F800000, 0x7FC00001, 0x7FE54321, 0x7F800123};
  const Bits choice = random();
  if (choice % 2) return Bits(random());
  return kSpecial[choice / 4 % (sizeof kSpecial / sizeof *kSpecial)] | (choice / 2 % 2) << 31;
}

struct Picture {
  Picture(const Form& f, VeliSize s, Layout layout, std::mt19937& random)
      : form(f),
        size(s),
        src(s, pixelOf<float>(f.channels),
            {s.width % 2 ? layout.pad * 3 : layout.pad + 12, layout.upwards, layout.guard}, random),
        dst(s, pixelOf<float>(f.channels), layout, random),
        value({1, 1}, pixelOf<float>(f.channels - f.keepsAlpha), layout, random) {
    dst.forEach([&](int x, int y, int c) { src.set(x, y, c, sample(random)), dst.set(x, y, c, sample(random)); });
    value.forEach([&](int x, int y, int c) { value.set(x, y, c, sample(random)); });
  }

  // onItself: the second image is the first.
  void expectResult(bool onItself = false) const {
    const Plane& from = !form.hasImage ? value : onItself ? dst : src;
    Copied expected = dst.copy();
    expected.forEach([&](int x, int y, int c) {
      const Bits neutral = form.op == '*' ? 0x3F800000 : 0;
      const Bits s = form.keepsAlpha && c == 3 ? neutral
                     : form.hasImage           ? from.get<Bits>(x, y, c)
                                               : from.get<Bits>(0, 0, c);
      expected.set(x, y, c, model(form.op, dst.get<Bits>(x, y, c), s));
    });
    ASSERT_EQ(form.call(from.data<float>(), from.step, dst.data<float>(), dst.step, size), velStsNoErr);
    ASSERT_TRUE(expectSame(dst, expected));
  }

  const Form& form;
  VeliSize size;
  Plane src, dst, value;
};

class Arithmetic : public OnEveryPath {
 protected:
  Random random{32};
};
ORV_ON_EVERY_PATH(Arithmetic);

// Rows that end at a guard page begin at every multiple of four as the width changes; padding that is none makes the other
// addresses.
TEST_P(Arithmetic, EverySize) {
  const Layout layouts[] = {{0, false, Guard::kBehind},  {0, false, Guard::kBefore}, {1, false, Guard::kBehind},
                            {24, false, Guard::kBefore}, {0, true, Guard::kBefore},  {7, true, Guard::kBehind}};
  for (const Form& form : kForms)
    for (const Layout& layout : layouts)
      for (int height : {1, 4})
        for (int width = 1; width <= 70; ++width) {
          const Picture picture(form, {width, height}, layout, random);
          ASSERT_NO_FATAL_FAILURE(picture.expectResult())
              << form.name << ' ' << width << " x " << height << ", layout " << &layout - layouts;
          if (!form.hasImage || width % 8 != 3) continue;
          ASSERT_NO_FATAL_FAILURE(picture.expectResult(true)) << form.name << ' ' << width << ", on itself";
        }
}

TEST_P(Arithmetic, ChecksItsArgumentsInOrder) {
  float memory[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  float *const dst = memory, *const src = memory + 4;
  for (const Form& form : kForms) {
    SCOPED_TRACE(form.name);
    // With an image, the forms that only widen the row look at the width first.
    const bool widthFirst = form.hasImage && form.channels > 1 && !form.keepsAlpha;
    const VelStatus noWidth = widthFirst ? velStsSizeErr : velStsNullPtrErr;
    for (int width : {0, -1, INT32_MIN}) {
      EXPECT_EQ(form.call(src, 0, nullptr, 0, {width, 0}), noWidth);
      EXPECT_EQ(form.call(src, 0, dst, 0, {width, 1}), velStsSizeErr);
    }
    for (int height : {0, -1, INT32_MIN}) {
      EXPECT_EQ(form.call(src, 0, nullptr, 0, {1, height}), velStsNullPtrErr);
      EXPECT_EQ(form.call(src, 0, dst, 0, {1, height}), velStsSizeErr);
    }
    if (!form.hasImage && form.channels == 1) continue;  // no pointer
    EXPECT_EQ(form.call(nullptr, 0, dst, 0, {0, 1}), noWidth);
    EXPECT_EQ(form.call(nullptr, 0, dst, 0, {1, 0}), velStsNullPtrErr);
  }
  for (int i = 0; i < 8; ++i) EXPECT_EQ(memory[i], float(i + 1)) << "an error wrote";
}

}  // namespace
