// Access to the control and status registers of SSE and x87.
#include <string.h>
#include "orv.h"
#include "stack.h"

namespace {

constexpr Vel32u kSseRounding = 0x6000, kSseFlags = 0x3F;
constexpr Vel32u kFpuRoundingAndPrecision = 0xF00;

Vel32u merge(Vel32u old, Vel32u value, Vel32u mask) { return (old & ~mask) | (value & mask); }

void setControlWord(Vel32u cw) {
  const Vel16u word = Vel16u(cw);
  __asm__ volatile("fldcw %0" : : "m"(word));
}

// A double's bits but for its sign. A comparison of floats would raise an exception for some of what is to be told apart,
// denormals and signalling NaNs.
constexpr Vel64u kInfinity = Vel64u(0x7FF) << 53;
Vel64u magnitude(const double& x) {
  Vel64u bits;
  memcpy(&bits, &x, sizeof bits);
  return bits << 1;
}

}  // namespace

// ---- SSE

Vel32u ps_get_ssx(void) {
  Vel32u csr;
  __asm__ volatile("stmxcsr %0" : "=m"(csr));
  return csr;
}
void vel_set_cw_ssx(Vel32u cw) { __asm__ volatile("ldmxcsr %0" : : "m"(cw)); }

Vel32u ps_set_ssx(Vel32u value, Vel32u mask) {
  const Vel32u old = ps_get_ssx();
  vel_set_cw_ssx(merge(old, value, mask));
  return old;
}
Vel32u vel_set_rc_ssx(Vel32u rc) {
  const Vel32u old = ps_get_ssx();
  if ((old & kSseRounding) != rc) vel_set_cw_ssx((old & ~kSseRounding) | rc);  // the write is slow
  return old;
}
Vel32u vel_clear_ssx(void) { return ps_set_ssx(0, kSseFlags); }

ALIGN_STACK int vel_tst_daz_ssx(void) {
  alignas(16) unsigned char image[512];
  memset(image, 0, sizeof image);
  __asm__ volatile("fxsave %0" : "+m"(image));
  Vel32u mask;
  memcpy(&mask, image + 28, sizeof mask);  // MXCSR_MASK; zero on processors that do not store it
  return mask >> 6 & 1;
}

// ---- x87

Vel32u ps_get_cw_fpu(void) {
  Vel16u cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
Vel32u ps_get_sw_fpu(void) {
  Vel16u sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}
Vel32u ps_set_cw_fpu(Vel32u value, Vel32u mask) {
  const Vel32u old = ps_get_cw_fpu();
  setControlWord(merge(old, value, mask));
  return old;
}
Vel32u vel_set_cw_fpu(Vel32u cw) { return ps_set_cw_fpu(cw, 0xFFFF); }
Vel32u vel_set_rcpc_fpu(Vel32u rcpc) { return ps_set_cw_fpu(rcpc, kFpuRoundingAndPrecision); }
Vel32u ps_clear_fpu(void) {
  const Vel32u old = ps_get_sw_fpu();
  __asm__ volatile("fnclex");
  return old;
}

Vel32u vel_control87(Vel32u value, Vel32u mask) {
  ps_set_cw_fpu(value, mask);
  return ps_get_cw_fpu();
}
Vel32u vel_status87(void) { return ps_get_sw_fpu(); }
Vel32u vel_clear87(void) { return ps_clear_fpu(); }

int vel_isnan(double x) { return magnitude(x) > kInfinity; }
int vel_finite(double x) { return magnitude(x) < kInfinity; }
