// The choice of the code path: automatic, and forced.
#include "dispatch.h"

extern "C" {
Vel32s velJumpIndexForMergedLibs = 0;
Vel32s velJumpIndexForMergedLibsLP = 0;
extern Vel32s ownJumpIndex __attribute__((alias("velJumpIndexForMergedLibs")));
}

namespace {

constexpr VelCpuType kAvxCode = velCpuAVX;
int is_avx_cpu_enabled = 1;

// Volatile, because a compiler that takes the two names for one variable would leave out a store. In one piece, because
// threads that select at the same time store the same, and none may see a mixture.
void store(volatile Vel32s& variable, Vel32s value) { __atomic_store_n(&variable, value, __ATOMIC_RELAXED); }

void choose(int index, int lowPower, Vel64u enabled) {
  store(velJumpIndexForMergedLibs, index);
  store(ownJumpIndex, index);
  store(velJumpIndexForMergedLibsLP, lowPower);
  velSetCpuFeaturesMask(enabled);
}

// The rules in order of preference: the first whose features the processor has all of. The masks keep what the path
// may use: MOVBE for the low-power path only, nothing of AVX below it, never the extension bit of family B.
constexpr struct {
  Vel32u needs;
  int index, lowPower;
  Vel32u keeps;
} kRules[] = {
    {velCpuidAVX | velAVX_ENABLEDBYOS, 5, 0, 0xFDF},
    {velCpuidSSE41, 4, 0, 0xCDF},
    {velCpuidMOVBE | velCpuidSSSE3, 3, 1, 0x3F},
    {velCpuidSSSE3, 2, 0, 0x1F},
    {velCpuidSSE2, 1, 0, 0x7},
};

VelStatus selectByFeatures() {
  Vel64u mask = 0;
  const VelStatus status = velGetCpuFeatures(&mask, nullptr);
  if (status != velStsNoErr) {
    choose(0, 0, velCpuidMMX | velCpuidSSE);
    return status;
  }
  for (const auto& rule : kRules) {
    if ((mask & rule.needs) != rule.needs) continue;
    if (rule.index == 5 && !velIsCpuEnabled(kAvxCode)) continue;
    choose(rule.index, rule.lowPower, mask & rule.keeps);
    return velStsNoErr;
  }
  choose(0, 0, mask & (velCpuidMMX | velCpuidSSE));
  return velStsNotSupportedCpu;
}

VelStatus force(int index, int lowPower, Vel64u enabled) {
  choose(index, lowPower, enabled);
  return velStsNoErr;
}

}  // namespace

VelStatus velStaticInit(void) {
  const VelStatus status = selectByFeatures();
  return vel_has_cpuid() && vel_is_vendor_genuine() ? status : velStsNonNemlorCpu;
}
VelStatus velInit(void) { return velStaticInit(); }

VelStatus velStaticInitCpu(VelCpuType cpu) {
  switch (cpu) {
    case velCpuAutomatic: return velInit();
    // Slot 0 holds the w7 bodies too, so this is the SSE2 path.
    case 0:
    case 6:
    case 7:
    case 8:
    case 9:
    case 10:
    case 11:
    case 17:
    case 32:
    case 65:
    case 66: return force(0, 0, 0x7);
    case 33:
    case 34:
    case 67: return force(2, 0, 0x1F);
    case 36: return force(3, 1, 0x3F);
    case 35:
    case 68: return force(4, 0, 0x5F);
    case 37:
    case 69: return force(4, 0, 0xDF);
    case 38:
    case 71: return force(4, 0, 0xCDF);
    case kAvxCode: return force(5, 0, 0xFDF);
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 16:
    case 64:
    case 96: return velStsNotSupportedCpu;
    default: return velStsCpuMismatch;
  }
}
VelStatus velInitCpu(VelCpuType cpu) { return velStaticInitCpu(cpu); }

VelStatus velEnableCpu(VelCpuType cpu) {
  if (cpu == kAvxCode) is_avx_cpu_enabled = 1;
  return velStsNoErr;
}
int velIsCpuEnabled(VelCpuType cpu) { return cpu == kAvxCode ? is_avx_cpu_enabled : 1; }
