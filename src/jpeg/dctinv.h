// The inverse DCT: this path's kernel without dequantisation.
#pragma once
#include "core/path.h"

// 64 coefficients in natural order to a block of 8 by 8 samples: inverse DCT, add level (16-bit, wrapping), clamp to
// clipMin..clipMax.
//   velStsNullPtrErr   pSrc or pDst is null
//   velStsStepErr      dstStep below 1
ORV_KERNEL VelStatus ORV_NAME(veliDCT8x8InvLSClip_16s8u_C1R)(const Vel16s* pSrc, Vel8u* pDst, int dstStep, Vel16s level,
                                                             Vel8u clipMin, Vel8u clipMax);
