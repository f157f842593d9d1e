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

TEST(FloatControl, Sse) {
  const Vel32u before = mxcsr(), others = before & ~0xE03Fu;  // without rounding, flush to zero and flags
  vel_set_cw_ssx(others | 0x15);
  EXPECT_EQ(vel_set_rc_ssx(0x4000), others | 0x15);
  EXPECT_EQ(vel_set_rc_ssx(0x2000), others | 0x4015);
  EXPECT_EQ(ps_set_ssx(0xA02A, 0x8028), others | 0x2015);
  EXPECT_EQ(ps_get_ssx(), others | 0xA03D);
  EXPECT_EQ(vel_clear_ssx(), others | 0xA03D);
  EXPECT_EQ(mxcsr(), others | 0xA000);
  vel_set_cw_ssx(before);
  EXPECT_EQ(mxcsr(), before);

  alignas(16) static Vel8u image[512];
  __asm__ volatile("fxsave %0" : "+m"(image));
  EXPECT_EQ(vel_tst_daz_ssx(), image[28] >> 6 & 1);
}

TEST(FloatControl, X87) {
  const Vel32u before = controlWord(), others = before & ~0xF00u;  // without rounding and precision
  EXPECT_EQ(ps_get_cw_fpu(), before);
  EXPECT_EQ(vel_set_rcpc_fpu(0xE20), before);
  EXPECT_EQ(ps_set_cw_fpu(0x120, 0x600), others | 0xE00);
  EXPECT_EQ(vel_control87(0x420, 0xC00), others | 0x400);
  EXPECT_EQ(vel_set_cw_fpu(before), others | 0x400);
  EXPECT_EQ(controlWord(), before);

  for (auto clear : {ps_clear_fpu, vel_clear87}) {
    volatile long double divisor = 0, quotient = 1 / divisor;
    (void)quotient;
    const Vel32u raised = ps_get_sw_fpu();
    EXPECT_TRUE(raised & 4) << "division by zero";
    EXPECT_EQ(vel_status87(), raised);
    EXPECT_EQ(clear(), raised);
    EXPECT_EQ(ps_get_sw_fpu() & 0x80FF, 0u);
  }
}

TEST(FloatControl, Classes) {
  using Limits = std::numeric_limits<double>;
  for (double x : {0.0, -1.5, Limits::max(), Limits::denorm_min(), Limits::quiet_NaN(), -Limits::infinity()}) {
    EXPECT_EQ(vel_isnan(x), x != x) << x;
    EXPECT_EQ(vel_finite(x), x >= -Limits::max() && x <= Limits::max()) << x;
  }
}

}  // namespace
