// Access to the control and status registers of SSE and x87.
#include <gtest/gtest.h>
#include <limits>
#include "orv.h"

namespace {

Vel32u mxcsr() {
  Vel32u r;
  __asm__ volatile("stmxcsr %0" : "=m"(r));
  return r;
}
Vel32u controlWord() {
  Vel16u w;
  __asm__ volatile("fnstcw %0" : "=m"(w));
  return w;
}
Vel32u statusWord() {
  Vel16u w;
  __asm__ volatile("fnstsw %0" : "=m"(w));
  return w;
}

TEST(FloatControl, Sse) {
  const Vel32u before = mxcsr(), others = before & ~0xE03Fu;
  vel_set_cw_ssx(others | 0x15);
  for (Vel32u rc : {0x2000, 0x4000, 0x4000, 0x6000, 0x0000}) {
    const Vel32u old = mxcsr();
    EXPECT_EQ(vel_set_rc_ssx(rc), old);
    EXPECT_EQ(mxcsr(), others | 0x15 | rc);
  }
  EXPECT_EQ(ps_set_ssx(0xA02A, 0x8028), others | 0x15);
  EXPECT_EQ(mxcsr(), others | 0x803D);
  EXPECT_EQ(ps_get_ssx(), others | 0x803D);
  EXPECT_EQ(vel_clear_ssx(), others | 0x803D);
  EXPECT_EQ(mxcsr(), others | 0x8000);
  vel_set_cw_ssx(before);
  EXPECT_EQ(mxcsr(), before);

  alignas(16) static Vel8u image[512];
  __asm__ volatile("fxsave %0" : "+m"(image));
  EXPECT_EQ(vel_tst_daz_ssx(), image[28] >> 6 & 1);
}

TEST(FloatControl, X87) {
  const Vel32u before = controlWord(), others = before & ~0xF00u;
  EXPECT_EQ(ps_get_cw_fpu(), before);
  for (Vel32u rcpc : {0x000, 0x200, 0x800, 0xE00}) {
    const Vel32u old = controlWord();
    EXPECT_EQ(vel_set_rcpc_fpu(rcpc | 0x20), old);
    EXPECT_EQ(controlWord(), others | rcpc);
  }
  EXPECT_EQ(ps_set_cw_fpu(0x120, 0x600), others | 0xE00);
  EXPECT_EQ(controlWord(), others | 0x800);
  EXPECT_EQ(vel_control87(0x420, 0xC00), others | 0x400);
  EXPECT_EQ(controlWord(), others | 0x400);
  EXPECT_EQ(vel_set_cw_fpu(before), others | 0x400);
  EXPECT_EQ(controlWord(), before);

  for (auto clear : {ps_clear_fpu, vel_clear87}) {
    volatile long double divisor = 0, quotient = 1 / divisor;
    (void)quotient;
    const Vel32u raised = statusWord();
    EXPECT_TRUE(raised & 4) << "division by zero";
    EXPECT_EQ(ps_get_sw_fpu(), raised);
    EXPECT_EQ(vel_status87(), raised);
    EXPECT_EQ(clear(), raised);
    EXPECT_EQ(statusWord() & 0x80FF, 0u);
  }
}

TEST(FloatControl, Classes) {
  using Limits = std::numeric_limits<double>;
  const double kNan = Limits::quiet_NaN(), kInfinity = Limits::infinity();
  for (double x : {0.0, -1.5, Limits::max(), Limits::denorm_min(), kNan, -kNan, kInfinity, -kInfinity}) {
    EXPECT_EQ(vel_isnan(x), x != x) << x;
    EXPECT_EQ(vel_finite(x), x >= -Limits::max() && x <= Limits::max()) << x;
  }
}

}  // namespace
