// YCbCr to RGB in 16-bit words.
#include "color/ycbcr.h"

namespace {

template <Packing kPacking, bool kBgr>
ORV_INLINE VelStatus convert(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkImages(pSrc, pDst, size));
  using Format = Packed16<kPacking, kBgr>;
  const int step = dstStep >> 1;  // in words
  ptrdiff_t width = size.width;
  int height = size.height;
  if (srcStep == int(3u * unsigned(size.width)) && step == size.width) {  // packed: one row
    width *= height;
    height = 1;
  }
  const bool isPastCaches = goesPastCaches<Format, 1>(pDst, step * 2, width, height);
  convertStrips(stripsOf<C3, 1, 1>(pSrc, srcStep), stripsOf<Format, 1, 1>(pDst, step * 2), height, width,
                [=](const auto& src, const auto& dst, ptrdiff_t units) ORV_INLINED {
                  convertRowInGroups<C3, GroupP3C3, Weights<false>, Format>(isPastCaches, src, dst, units);
                });
  if (isPastCaches) streamEnd();
  return velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_C(veliYCbCrToRGB565_8u16u_C3R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<k565, false>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_C(veliYCbCrToRGB555_8u16u_C3R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<k555, false>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB444_8u16u_C3R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<k444, false>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_C(veliYCbCrToBGR565_8u16u_C3R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<k565, true>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_C(veliYCbCrToBGR555_8u16u_C3R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<k555, true>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToBGR444_8u16u_C3R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<k444, true>(pSrc, srcStep, pDst, dstStep, roiSize);
}
