// Planar YUV 4:2:0 to RGB.
//
// 8192 Y is a whole multiple of what the final shift drops, so (8192 Y + c) >> 13 is Y + (c >> 13): the chroma terms
// are worked out once for each block of 2 by 2 pixels, exactly, and added to four luma values. A term may leave the
// range of a word plus luma nowhere: it lies in -261..258.
#include "core/simd.h"
#include "image/checks.h"
#include "color/interleave.h"

namespace {

using Pixels = Rgb16<kSplit>;

// What eight chroma samples add to luma: words.
struct ChromaTerms {
  Vec r, g, b;
  ChromaTerms(Vec u8, Vec v8) {
    const Vec u = _mm_sub_epi16(widenLow8(u8), all16(128)), v = _mm_sub_epi16(widenLow8(v8), all16(128));
    // c x >> 13 is the high word of c times 8 x.
    r = _mm_mulhi_epi16(_mm_slli_epi16(v, 3), all16(9338));
    b = _mm_mulhi_epi16(_mm_slli_epi16(u, 3), all16(16645));
    const Vec weights = _mm_set1_epi32(int(Vel16u(-3227) | unsigned(Vel16u(-4759)) << 16));
    g = _mm_packs_epi32(_mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(u, v), weights), 13),
                        _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(u, v), weights), 13));
  }
};

// Sixteen pixels of a row, with the terms of their eight chroma samples.
ORV_INLINE Pixels sixteen(Vec luma, const ChromaTerms& c) {
  const Vec even = _mm_and_si128(luma, all16(0xFF)), odd = _mm_srli_epi16(luma, 8);
  return {_mm_packus_epi16(_mm_add_epi16(even, c.r), _mm_add_epi16(odd, c.r)),
          _mm_packus_epi16(_mm_add_epi16(even, c.g), _mm_add_epi16(odd, c.g)),
          _mm_packus_epi16(_mm_add_epi16(even, c.b), _mm_add_epi16(odd, c.b))};
}

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

// Eight blocks. A Layout says how pixels are stored: put(row, x, pixels) sixteen of them from column x of destination
// row 0 or 1; put(row, x, pixels, n) the first n.
template <class Layout, class... Count>
ORV_INLINE void eightBlocks(const RowPair& s, int block, const Layout& out, int x, Count... n) {
  const ChromaTerms c(loadLow(s.u + block), loadLow(s.v + block));
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

// ---- Layouts: two destination rows

template <bool kBgr> struct C3 {
  Vel8u* row[2];
  C3(Vel8u* dst, int step) : row{dst, dst + step} {}
  void next(int step) {
    row[0] += ptrdiff_t(step) * 2;
    row[1] += ptrdiff_t(step) * 2;
  }
  static Pixels ordered(const Pixels& p) { return kBgr ? Pixels{p.b, p.g, p.r} : p; }
  void put(int r, int x, const Pixels& p) const { storeC3(row[r] + 3 * x, ordered(p)); }
  void put(int r, int x, const Pixels& p, int n) const {
    Vel8u whole[48];
    storeC3(whole, ordered(p));
    memcpy(row[r] + 3 * x, whole, size_t(n) * 3);
  }
};
struct AC4 {
  Vel8u* row[2];
  AC4(Vel8u* dst, int step) : row{dst, dst + step} {}
  void next(int step) {
    row[0] += ptrdiff_t(step) * 2;
    row[1] += ptrdiff_t(step) * 2;
  }
  void put(int r, int x, const Pixels& p) const { storeAC4(row[r] + 4 * x, p); }
  void put(int r, int x, const Pixels& p, int n) const {
    Vel8u whole[64] = {};
    memcpy(whole, row[r] + 4 * x, size_t(n) * 4);
    storeAC4(whole, p);
    memcpy(row[r] + 4 * x, whole, size_t(n) * 4);
  }
};
struct P3 {
  Vel8u *red, *green, *blue;
  int step;
  P3(Vel8u* const dst[3], int s) : red(dst[0]), green(dst[1]), blue(dst[2]), step(s) {}
  void next(int) {
    red += ptrdiff_t(step) * 2;
    green += ptrdiff_t(step) * 2;
    blue += ptrdiff_t(step) * 2;
  }
  void put(int r, int x, const Pixels& p) const {
    const ptrdiff_t at = ptrdiff_t(step) * r + x;
    store(red + at, natural(p.r));
    store(green + at, natural(p.g));
    store(blue + at, natural(p.b));
  }
  void put(int r, int x, const Pixels& p, int n) const {
    const ptrdiff_t at = ptrdiff_t(step) * r + x;
    Vel8u whole[16];
    const auto some = [&](Vel8u* plane, Vec channel) {
      store(whole, natural(channel));
      memcpy(plane + at, whole, size_t(n));
    };
    some(red, p.r);
    some(green, p.g);
    some(blue, p.b);
  }
};

// ---- Images

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
  return convert<C3<false>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV420ToBGR_8u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<C3<true>>(pSrc, srcStep, pDst, dstStep, roiSize, 2);
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
  const int srcStep[3] = {roiSize.width, roiSize.width / 2, roiSize.width / 2};
  return convert<C3<false>>(pSrc, srcStep, pDst, int(3u * unsigned(roiSize.width)), roiSize);
}

ORV_BODY_A(veliYUV420ToRGB_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  const int srcStep[3] = {roiSize.width, roiSize.width / 2, roiSize.width / 2};
  return convert<P3>(pSrc, srcStep, pDst, roiSize.width, roiSize);
}
