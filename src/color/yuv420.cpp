// Planar YUV 4:2:0 to RGB: bytes, planes and 16-bit words.
#include "color/yuv.h"

namespace {

// Two rows of an image and the chroma row that they share.
struct RowPair {
  const Vel8u *y0, *y1, *u, *v;
  void next(const int step[3]) {
    y0 += ptrdiff_t(step[0]) * 2;
    y1 += ptrdiff_t(step[0]) * 2;
    u += step[1];
    v += step[2];
  }
};

// Eight blocks, to column x.
template <class Layout, class... Count>
ORV_INLINE void eightBlocks(const RowPair& s, int block, const Layout& out, int x, Count... n) {
  const ChromaTerms c(widenLow8(loadLow(s.u + block)), widenLow8(loadLow(s.v + block)));
  if (Layout::kKeepsBytes) {  // so many rows at once that processors lose sight of some
    prefetch(s.y0 + 2 * block, 1024);
    prefetch(s.y1 + 2 * block, 1024);
  }
  out.put(0, x, sixteen(load(s.y0 + 2 * block), c), n...);
  out.put(1, x, sixteen(load(s.y1 + 2 * block), c), n...);
}

template <class Layout> ORV_INLINE void convertRows(const RowPair& s, const Layout& out, int blocks) {
  int i = 0;
  for (; i + 8 <= blocks; i += 8) eightBlocks(s, i, out, 2 * i);
  const int rest = blocks - i;
  if (rest == 0) return;
  if (blocks > 8) {  // once more what the last whole vectors reach
    eightBlocks(s, blocks - 8, out, 2 * (blocks - 8));
    return;
  }
  Vel8u u[8] = {}, v[8] = {}, y0[16] = {}, y1[16] = {};
  memcpy(u, s.u, size_t(rest));
  memcpy(v, s.v, size_t(rest));
  memcpy(y0, s.y0, size_t(rest) * 2);
  memcpy(y1, s.y1, size_t(rest) * 2);
  eightBlocks(RowPair{y0, y1, u, v}, 0, out, 0, 2 * rest);
}

// ---- Images

template <Packing kPacking, bool kBgr> using Words = Interleaved<Word<kPacking, kBgr>, 2>;

// Checks the arguments and converts the whole blocks. Dst is a pointer to pixels or an array of planes.
template <class Layout, class Dst> ORV_INLINE VelStatus convert(const Vel8u* const pSrc[3], const int srcStep[3],
                                                                Dst pDst, int dstStep, VeliSize size, int least = 1) {
  ORV_CHECK(checkPointers(pSrc, srcStep, pDst));
  ORV_CHECK(checkSize(size, least));
  ORV_CHECK(checkPlanes(pSrc));
  ORV_CHECK(checkPlanes(pDst));
  RowPair src{pSrc[0], pSrc[0] + srcStep[0], pSrc[1], pSrc[2]};
  Layout dst(pDst, dstStep);
  const int blocks = size.width / 2;
  for (int n = size.height / 2; n > 0; --n) {
    if (blocks == 8)  // one vector: the tile of a JPEG MCU
      eightBlocks(src, 0, dst, 0);
    else
      convertRows(src, dst, blocks);
    src.next(srcStep);
    dst.next(dstStep);
  }
  return (size.width | size.height) & 1 ? velStsDoubleSize : velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliYUV420ToRGB_8u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<C3<2>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR_8u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<BgrC3<2>>(pSrc, srcStep, pDst, dstStep, roiSize, 2);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3AC4R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<AC4<2>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* const pDst[3], int dstStep, VeliSize roiSize) {
  return convert<P3<2>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3C3)(const Vel8u* const pSrc[3], Vel8u* pDst, VeliSize roiSize) {
  const int srcStep[3] = {roiSize.width, roiSize.width / 2, roiSize.width / 2};
  return convert<C3<2>>(pSrc, srcStep, pDst, int(3u * unsigned(roiSize.width)), roiSize);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  const int srcStep[3] = {roiSize.width, roiSize.width / 2, roiSize.width / 2};
  return convert<P3<2>>(pSrc, srcStep, pDst, roiSize.width, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB565_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Words<k565, false>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB555_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Words<k555, false>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToRGB444_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Words<k444, false>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR565_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Words<k565, true>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR555_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Words<k555, true>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR444_8u16u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Words<k444, true>>(pSrc, srcStep, pDst, dstStep, roiSize);
}
