// Planar YUV 4:2:0 to RGB: bytes, planes and 16-bit words.
#include "core/cache.h"
#include "color/yuv.h"

namespace {

// Two rows of sixteen pixels, with the eight chroma samples that they share.
template <class Format> struct Convert420 {
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    const ChromaPart<V> c = chromaPart(loadWidenU8<V>(src[2]), loadWidenU8<V>(src[3]));
    ORV_UNROLL for (int r = 0; r < 2; ++r) {
      if (Format::kKeepsFourth) prefetch(src[r], kRowsAhead);
      Format::store(dst.from(r * Format::kPlanes), addChroma(load<V>(src[r]), c));
    }
  }
};

// One of the rows.
template <class Format> struct ConvertRowOf420 {
  using PastCaches = ConvertRowOf420<typename Format::PastCaches>;
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    const ChromaPart<V> c = chromaPart(loadWidenU8<V>(src[1]), loadWidenU8<V>(src[2]));
    Format::store(dst, addChroma(load<V>(src[0]), c));
  }
};
// Past the caches one row after the other, as memory takes it fastest; chroma is worked out for each.
template <class Format, class Dst>
void convertPastCaches(const Vel8u* const pSrc[3], const int srcStep[3], Dst pDst, int dstStep, int width, int height) {
  for (int y = 0; y < height; ++y) {
    const Vel8u* const rows[3] = {rowOf(pSrc[0], srcStep[0], y), rowOf(pSrc[1], srcStep[1], y / 2),
                                  rowOf(pSrc[2], srcStep[2], y / 2)};
    const auto src = stripOfYuv<const Vel8u, 1>(rows, srcStep);
    const auto dst = stripOf<Format, 1>(rowOf(pDst, dstStep, y), dstStep);
    convertRowPastCaches<ConvertRowOf420<Format>, Format::kBytes>(Place{src}, Place{dst}, width);
  }
  streamEnd();
}

// Checks the arguments and converts the whole blocks.
template <class Format, class Dst> ORV_INLINE VelStatus convert(const Vel8u* const pSrc[3], const int srcStep[3],
                                                                Dst pDst, int dstStep, VeliSize size, int least = 1) {
  ORV_CHECK(checkPointers(pSrc, srcStep, pDst));
  ORV_CHECK(checkImages(pSrc, pDst, size, least));
  using Kernel = Convert420<Format>;
  const int width = size.width & ~1;
  const VelStatus status = (size.width | size.height) & 1 ? velStsDoubleSize : velStsNoErr;
  if constexpr (Format::kMayStream)
    if (goesPastCaches<Format>(size)) {
      convertPastCaches<Format>(pSrc, srcStep, pDst, dstStep, width, size.height & ~1);
      return status;
    }
  const auto convertAll = [&](const auto& convertStrip) __attribute__((always_inline)) {
    convertStrips(stripOfYuv<const Vel8u, 2>(pSrc, srcStep), stripOf<Format, 2>(pDst, dstStep), size.height / 2,
                  convertStrip);
  };
  if (width == 16)  // the tile of a JPEG MCU
    convertAll([](const auto& src, const auto& dst) { Kernel::template convert<Lane>(src, dst); });
  else
    convertAll([=](const auto& src, const auto& dst) {
      convertRow<Kernel, LastPixels::kMayRepeat, Format::kKeepsFourth>(src, dst, width);
    });
  return status;
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
