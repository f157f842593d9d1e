// YUV 4:2:2, planar and packed, to RGB.
#include "color/yuv.h"

namespace {

// Sixteen luma samples and, as words, the eight pairs of chroma samples that they share.
struct Samples {
  Vec luma, u, v;
};

// ---- Layouts of a source: a row. next(step) goes on to the next one; at(pair) loads eight pairs of pixels,
// some(n) the row's first n, lone(pairs) the last pixel of an odd width, which stands alone behind so many pairs.

ORV_INLINE Samples loneSamples(int y, int u, int v) { return {all8(y), all16(u), all16(v)}; }

ORV_INLINE Samples planarSamples(const Vel8u* y, const Vel8u* u, const Vel8u* v) {
  return {load(y), widenLow8(loadLow(u)), widenLow8(loadLow(v))};
}
// Chroma rows hold a sample of its own for a lone pixel, or they do not: then it takes the pair's before it.
template <bool kOwnChroma> struct Planar {
  const Vel8u *y, *u, *v;
  Planar(const Vel8u* const src[3], const int*) : y(src[0]), u(src[1]), v(src[2]) {}
  void next(const int step[3]) {
    y = rowOf(y, step[0], 1);
    u = rowOf(u, step[1], 1);
    v = rowOf(v, step[2], 1);
  }
  Samples at(int pair) const { return planarSamples(y + 2 * pair, u + pair, v + pair); }
  Samples some(int n) const {
    Vel8u luma[16] = {}, chroma[16] = {};
    memcpy(luma, y, size_t(n) * 2);
    memcpy(chroma, u, size_t(n));
    memcpy(chroma + 8, v, size_t(n));
    return planarSamples(luma, chroma, chroma + 8);
  }
  Samples lone(int pairs) const {
    const int last = kOwnChroma ? pairs : pairs - 1;
    return last < 0 ? loneSamples(y[0], 128, 128) : loneSamples(y[2 * pairs], u[last], v[last]);
  }
};

ORV_INLINE Samples packedSamples(Vec first, Vec second) {
  const Vec byte = all16(0xFF);
  const Vec chroma = _mm_packus_epi16(_mm_srli_epi16(first, 8), _mm_srli_epi16(second, 8));
  return {_mm_packus_epi16(_mm_and_si128(first, byte), _mm_and_si128(second, byte)), _mm_and_si128(chroma, byte),
          _mm_srli_epi16(chroma, 8)};
}
struct Packed {
  const Vel8u* row;
  Packed(const Vel8u* src, int) : row(src) {}
  void next(int step) { row = rowOf(row, step, 1); }
  Samples at(int pair) const { return packedSamples(load(row + 4 * pair), load(row + 4 * pair + 16)); }
  Samples some(int n) const {
    Vel8u pairs[32] = {};
    memcpy(pairs, row, size_t(n) * 4);
    return packedSamples(load(pairs), load(pairs + 16));
  }
  // Y, U: its V is the one of the pair before it.
  Samples lone(int pairs) const {
    const Vel8u* const p = row + 4 * pairs;
    return loneSamples(p[0], p[1], pairs ? p[-1] : 128);
  }
};

// ---- Images

template <class Layout, class... Count> ORV_INLINE void put(const Layout& out, int x, const Samples& s, Count... n) {
  out.put(0, x, sixteen(s.luma, ChromaTerms(s.u, s.v)), n...);
}

template <class Source, class Layout> ORV_INLINE void convertRow(const Source& in, const Layout& out, int width) {
  const int pairs = width / 2;
  int i = 0;
  for (; i + 8 <= pairs; i += 8) put(out, 2 * i, in.at(i));
  if (i < pairs && pairs > 8)  // once more what the last whole vectors reach
    put(out, 2 * (pairs - 8), in.at(pairs - 8));
  else if (i < pairs)
    put(out, 0, in.some(pairs), 2 * pairs);
  if (width & 1) put(out, width - 1, in.lone(pairs), 1);
}

// Checks the arguments, but for an array of steps, and converts. Src and Dst are pointers to pixels, or arrays of
// planes.
template <class Source, class Layout, class Src, class Step, class Dst>
ORV_INLINE VelStatus convert(Src pSrc, Step srcStep, Dst pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(size));
  ORV_CHECK(checkPlanes(pSrc));
  ORV_CHECK(checkPlanes(pDst));
  Source src(pSrc, srcStep);
  Layout dst(pDst, dstStep);
  for (int n = size.height; n > 0; --n) {
    convertRow(src, dst, size.width);
    src.next(srcStep);
    dst.next(dstStep);
  }
  return velStsNoErr;
}

// With steps for the planes, and tightly packed without.
template <class Layout, class Dst> ORV_INLINE VelStatus convertRegion(const Vel8u* const pSrc[3], const int srcStep[3],
                                                                      Dst pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkPointers(srcStep));
  return convert<Planar<true>, Layout>(pSrc, srcStep, pDst, dstStep, size);
}
template <class Layout, class Dst>
ORV_INLINE VelStatus convertImage(const Vel8u* const pSrc[3], Dst pDst, int dstStep, VeliSize size) {
  const int srcStep[3] = {size.width, size.width / 2, size.width / 2};
  return convert<Planar<false>, Layout>(pSrc, srcStep, pDst, dstStep, size);
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliYUV422ToRGB_8u_C2C3R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Packed, C3<1>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convertRegion<C3<1>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3AC4R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convertRegion<AC4<1>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* const pDst[3], int dstStep, VeliSize roiSize) {
  return convertRegion<P3<1>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3C3)(const Vel8u* const pSrc[3], Vel8u* pDst, VeliSize roiSize) {
  return convertImage<C3<1>>(pSrc, pDst, int(3u * unsigned(roiSize.width)), roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  return convertImage<P3<1>>(pSrc, pDst, roiSize.width, roiSize);
}
