// The wrapper layer's own functions for JPEG decoders. They are not dispatched: what is, they reach through the public
// layer.
#include <stdlib.h>
#include "core/dispatch.h"
#include "core/stack.h"
#include "jpeg/mcu.h"
#include "orv.h"

namespace {

constexpr int kBlockSamples = 64, kBlocksOfMcu = 6;

// Where the six blocks of an MCU go in its scratch: luma as one plane of 16 by 16 samples, then the two chroma planes.
constexpr struct {
  int offset, step;
} kPlaces[kBlocksOfMcu] = {{0, 16}, {8, 16}, {128, 16}, {136, 16}, {256, 8}, {320, 8}};

OrvMcuKernel* const kMcuKernels[6] = {w7_ownpj_YUV420ToRGB888LS_MCU, w7_ownpj_YUV420ToRGB888LS_MCU,
                                      v8_ownpj_YUV420ToRGB888LS_MCU, s8_ownpj_YUV420ToRGB888LS_MCU,
                                      p8_ownpj_YUV420ToRGB888LS_MCU, g9_ownpj_YUV420ToRGB888LS_MCU};

}  // namespace

// ---- Tables and scratch

VelStatus orvizkDCTQuantInv8x8TmpBufferSize(int* pSize, int* pAlignment, int numBlocks) {
  *pSize = int(unsigned(kBlockSamples) * unsigned(numBlocks));  // any number may come: it wraps
  *pAlignment = 4;
  return velStsNoErr;
}

VelStatus orvizkDecodeHuffmanSpecAlloc_JPEG_8u(VeliDecodeHuffmanSpec** ppDecHuffSpec) {
  int size;
  const VelStatus status = orviDecodeHuffmanSpecGetBufSize_JPEG_8u(&size);
  if (status != velStsNoErr) return status;
  return orvzkMallocAligned(reinterpret_cast<void**>(ppDecHuffSpec), size, 8);
}
VelStatus orvizkDecodeHuffmanSpecFree_JPEG_8u(VeliDecodeHuffmanSpec* pDecHuffSpec) {
  return orvzkFreeAligned(pDecHuffSpec);
}

ALIGN_STACK VelStatus orvizkQuantInvTableAlloc(Vel16u** ppQuantInvTable) {
  *ppQuantInvTable = static_cast<Vel16u*>(malloc(kBlockSamples * sizeof(Vel16u)));
  return *ppQuantInvTable ? velStsNoErr : velStsErr;
}
ALIGN_STACK VelStatus orvizkQuantInvTableFree(Vel16u* pQuantInvTable) {
  free(pQuantInvTable);
  return velStsNoErr;
}
VelStatus orvizkQuantInvTableInit_JPEG_8u16u(const Vel8u* pQuantRawTable, Vel16u* pQuantInvTable) {
  return orviQuantInvTableInit_JPEG_8u16u(pQuantRawTable, pQuantInvTable);
}

// ---- Blocks and MCUs

VelStatus orvizkDCTQuantInv8x8LS_JPEG_16s8u_C1R(const Vel16s* pSrc, Vel8u* pDst, int dstStep,
                                                const Vel16u* pQuantInvTable) {
  return orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(pSrc, pDst, dstStep, pQuantInvTable);
}

VelStatus orvizkDCTQuantInv8x8LS_JPEG_16s8u_YUV420ToRGB_8u_P3C3R(const Vel16s* pSrcMCU, Vel8u* pTmp,
                                                                 const Vel16u* const pQuantInvTables[6], Vel8u* pDst,
                                                                 int dstStep, VeliSize roiSize) {
  for (int i = 0; i < kBlocksOfMcu; ++i) {
    const VelStatus status = orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(pSrcMCU + kBlockSamples * i, pTmp + kPlaces[i].offset,
                                                                 kPlaces[i].step, pQuantInvTables[i]);
    if (status != velStsNoErr) return status;
  }
  const Vel8u* const planes[3] = {pTmp, pTmp + kPlaces[4].offset, pTmp + kPlaces[5].offset};
  const int steps[3] = {kPlaces[0].step, kPlaces[4].step, kPlaces[5].step};
  return orviYUV420ToRGB_8u_P3C3R(planes, steps, pDst, dstStep, roiSize);
}

VelStatus orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(const Vel16s* const pSrcBlocks[3], Vel8u* pDst, int dstStep) {
  // The conversion has a kernel for each path; a table of its own selects it, as for a primitive.
  kMcuKernels[ownJumpIndex](pSrcBlocks[0], pSrcBlocks[1], pSrcBlocks[2], pDst, dstStep);
  return velStsNoErr;
}

// ---- One pixel

float clip_F32(float low, float high, float x) { return x > high ? high : x < low ? low : x; }

namespace {

// The value to the nearest integer, as x87 does it: in extended precision, and with a low byte of zero for a NaN.
Vel8u toByte(float x) {
  const float clipped = clip_F32(0.0f, 255.0f, x);
  return clipped == clipped ? Vel8u(static_cast<long double>(clipped) + 0.5L) : Vel8u(0);
}

}  // namespace

int computeRGBFromYUV_JPEG_F32_U8(float y, float cb, float cr, Vel8u* pR, Vel8u* pG, Vel8u* pB) {
  // Extended precision throughout (long double, in both word sizes), constants of double precision, rounded once at the
  // end.
  const long double luma = static_cast<long double>(128.0f) + y, b = cb, r = cr;
  const float red = float(luma + 1.402 * r + 0.0 * b);
  const float green = float(luma - 0.34414 * b - 0.71414 * r);
  const float blue = float(luma + 1.772 * b + 0.0 * r);
  *pR = toByte(red);
  *pG = toByte(green);
  *pB = toByte(blue);
  return 0;
}
