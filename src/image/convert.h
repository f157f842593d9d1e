// Depth conversion: this path's kernels for other families.
#pragma once
#include "core/path.h"

// Bytes to words of the same value.
//   velStsNullPtrErr   pSrc or pDst is null
//   velStsSizeErr      width or height below 1
//   velStsStepErr      a step below 1
ORV_KERNEL VelStatus ORV_NAME(veliConvert_8u16u_C1R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                                     VeliSize roiSize);
