// Planar YUV 4:2:0 to RGB: bytes, planes and 16-bit words.
#include "core/cache.h"
#include "color/yuv.h"

namespace {

// Two rows of sixteen pixels, with the eight chroma samples that they share.
template <class Format> struct Convert420 {
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    const ChromaPart<V> c = chromaPart(loadWidenU8<V>(src.row[2]), loadWidenU8<V>(src.row[3]));
    ORV_UNROLL for (int r = 0; r < 2; ++r) {
      if (Format::kKeepsFourth) prefetch(src.row[r], kRowsAhead);
      Format::store(dst.row + r * Format::kPlanes, addChroma(load<V>(src.row[r]), c));
    }
  }
};

// Checks the arguments and converts the whole blocks.
template <class Format, class Dst> ORV_INLINE VelStatus convert(const Vel8u* const pSrc[3], const int srcStep[3],
                                                                Dst pDst, int dstStep, VeliSize size, int least = 1) {
  ORV_CHECK(checkPointers(pSrc, srcStep, pDst));
  ORV_CHECK(checkImages(pSrc, pDst, size, least));
  using Kernel = Convert420<Format>;
  const int width = size.width & ~1;
  convertStrips(stripOfYuv<const Vel8u, 2>(pSrc, srcStep), stripOf<Format, 2>(pDst, dstStep), size.height / 2,
                [=](const auto& src, const auto& dst) {
                  if (width == 16)  // the tile of a JPEG MCU
                    convertOnce<Kernel>(src, dst);
                  else
                    convertRow<Kernel, LastPixels::kMayRepeat, Format::kKeepsFourth>(src, dst, width);
                });
  return (size.width | size.height) & 1 ? velStsDoubleSize : velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliYUV420ToRGB_8u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<C3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR_8u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<BgrC3>(pSrc, srcStep, pDst, dstStep, roiSize, 2);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3AC4R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<AC4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* const pDst[3], int dstStep, VeliSize roiSize) {
  return convert<P3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3C3)(const Vel8u* const pSrc[3], Vel8u* pDst, VeliSize roiSize) {
  return convert<C3>(pSrc, TightSteps(roiSize).step, pDst, int(3u * unsigned(roiSize.width)), roiSize);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  return convert<P3>(pSrc, TightSteps(roiSize).step, pDst, roiSize.width, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB565_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Packed16<k565, false>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB555_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Packed16<k555, false>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB444_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Packed16<k444, false>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR565_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Packed16<k565, true>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR555_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Packed16<k555, true>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR444_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Packed16<k444, true>>(pSrc, srcStep, pDst, dstStep, roiSize);
}
