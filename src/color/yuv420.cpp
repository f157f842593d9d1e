// Planar YUV 4:2:0 to RGB: bytes, planes and 16-bit words.
#include "core/cache.h"
#include "color/yuv.h"

namespace {

// Sixteen pixels in each of kRows rows, with the eight chroma samples that they share.
template <class Format, int kRows> struct Convert420 {
  using PastCaches = Convert420<typename Format::PastCaches, kRows>;
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    const ChromaPart<V> c = chromaPart(loadWidenU8<V>(src[1]), loadWidenU8<V>(src[2]));
    if (Format::kKeepsFourth && kRows == 2)  // rows are read from six places, more than processors predict
      ORV_UNROLL for (int r = 0; r < kRows; ++r) { prefetch(src.row(r)[0], kRowAhead / 2); }
    ORV_UNROLL for (int r = 0; r < kRows; ++r) {
      Format::store(dst.row(r), addChroma<Format::kIsBgr>(load<V>(src.row(r)[0]), c));
    }
  }
};

// What exceeds the caches is converted one row after the other, past them where the format allows it: memory is faster so
// than with two rows at once, although chroma is worked out for each.
template <class Format> constexpr bool kMayGoRowByRow = Format::kMayStream || Format::kKeepsFourth;
template <class Format> ORV_INLINE bool goesRowByRow(const void* image, int step, VeliSize size) {
  if (Format::kMayStream) return goesPastCaches<Format, 2>(image, step, size.width, size.height);
  return exceedsCaches(double(size.width) * size.height * Format::kBytes);
}
template <class Format, class Dst>
void convertRowByRow(const Vel8u* const pSrc[3], const int srcStep[3], Dst pDst, int dstStep, int pairs, int height) {
  for (int y = 0; y < height; ++y) {
    const Vel8u* const rows[3] = {rowOf(pSrc[0], srcStep[0], y), rowOf(pSrc[1], srcStep[1], y / 2),
                                  rowOf(pSrc[2], srcStep[2], y / 2)};
    const auto src = stripsOfYuv<const Vel8u, 1>(rows, srcStep).strip;
    const auto dst = stripsOf<Format, 2, 1>(rowOf(pDst, dstStep, y), dstStep).strip;
    convertRowOf<Convert420<Format, 1>, Format>(true, Place{src}, Place{dst}, pairs);
  }
  if (Format::kMayStream) streamEnd();
}

// Checks the arguments and converts the whole blocks.
template <class Format, class Dst> ORV_INLINE VelStatus convert(const Vel8u* const pSrc[3], const int srcStep[3],
                                                                Dst pDst, int dstStep, VeliSize size, int least = 1) {
  ORV_CHECK(checkPointers(pSrc, srcStep, pDst));
  ORV_CHECK(checkImages(pSrc, pDst, size, least));
  using Kernel = Convert420<Format, 2>;
  const int pairs = size.width / 2;
  const VelStatus status = (size.width | size.height) & 1 ? velStsDoubleSize : velStsNoErr;
  if constexpr (kMayGoRowByRow<Format>)
    if (goesRowByRow<Format>(pDst, dstStep, size)) {
      convertRowByRow<Format>(pSrc, srcStep, pDst, dstStep, pairs, size.height & ~1);
      return status;
    }
  const auto convertAll = [&](const auto& convertStrip) ORV_INLINED {
    convertStrips(stripsOfYuv<const Vel8u, 2>(pSrc, srcStep), stripsOf<Format, 2, 2>(pDst, dstStep), size.height / 2,
                  pairs, convertStrip);
  };
  if (pairs == 8)  // the tile of a JPEG MCU
    convertAll([](const auto& src, const auto& dst, ptrdiff_t)
                   ORV_INLINED { Kernel::template convert<Lane>(src, dst); });
  else
    convertAll([=](const auto& src, const auto& dst, ptrdiff_t)
                   ORV_INLINED { convertRow<Kernel, Format::kKeepsFourth>(src, dst, pairs); });
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
