// The JFIF conversion of one MCU: the kernels of all paths, for the wrapper layer's function.
#pragma once
#include "orv.h"

// Four luma blocks (pLuma), a Cb and a Cr block of samples centred on zero, to 16 by 16 pixels of interleaved RGB.
typedef void OrvMcuKernel(const Vel16s* pLuma, const Vel16s* pCb, const Vel16s* pCr, Vel8u* pDst, int dstStep);
extern "C" ORV_API OrvMcuKernel w7_ownpj_YUV420ToRGB888LS_MCU, v8_ownpj_YUV420ToRGB888LS_MCU,
    s8_ownpj_YUV420ToRGB888LS_MCU, p8_ownpj_YUV420ToRGB888LS_MCU, g9_ownpj_YUV420ToRGB888LS_MCU;
