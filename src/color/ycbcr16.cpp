// YCbCr to RGB in 16-bit words.
#include "color/ycbcr.h"
#include "color/pack16.h"

namespace {

template <Packing kPacking, bool kBgr> struct StoreWords {
  template <Order kOrder> ORV_INLINE void put(const ToWords& dst, const Rgb16<kOrder>& p) {
    storePacked<kPacking>(reinterpret_cast<Vel16u*>(dst.p[0]), kBgr ? Rgb16<kOrder>{p.b, p.g, p.r} : p);
  }
};

template <Packing kPacking, bool kBgr>
ORV_INLINE VelStatus convert(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(size));
  const int step = dstStep >> 1;  // in words
  ptrdiff_t width = size.width;
  int height = size.height;
  if (srcStep == int(3u * unsigned(size.width)) && step == size.width) {  // packed: one row
    width *= height;
    height = 1;
  }
  convertImage<InGroups<GroupP3C3, Standard<false>, StoreWords<kPacking, kBgr>>>(
      FromC3{{pSrc}}, srcStep, ToWords{{reinterpret_cast<Vel8u*>(pDst)}}, step * 2, width, height);
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
