// RGB to YUV 4:2:0 and 4:2:2, planar and packed.
//
// Even and odd pixels are kept apart, as words of 256 times a sample: products keep their high halves, so that luma
// stands at 256 times its value too, and means are averages of words.
#include "core/simd.h"
#include "image/checks.h"

namespace {

// Eight pairs of pixels: one sample of each, 256 times, in words.
struct Channel {
  Vec even, odd;
};
struct Pairs {
  Channel r, g, b;
};

ORV_INLINE Vec lowBytes(Vec v) { return _mm_slli_epi16(v, 8); }
ORV_INLINE Vec highBytes(Vec v) { return _mm_and_si128(v, all16(-256)); }

// The bytes of luma: those of even pixels in the low halves of words, those of odd ones in the high halves.
struct Luma {
  Vec even, odd;
};
ORV_INLINE Luma lumaOf(const Pairs& p) {
  // 2 is what rounding three products down can take from a grey.
  const auto weigh = [](Vec r, Vec g, Vec b) {
    const Vec red = _mm_mulhi_epu16(r, all16(2 * 9798)), green = _mm_mulhi_epu16(g, all16(2 * 19235));
    const Vec sum = _mm_add_epi16(_mm_add_epi16(red, green), _mm_mulhi_epu16(b, all16(2 * 3736)));
    return _mm_add_epi16(sum, all16(2));
  };
  return {_mm_srli_epi16(weigh(p.r.even, p.g.even, p.b.even), 8), highBytes(weigh(p.r.odd, p.g.odd, p.b.odd))};
}
ORV_INLINE Vec bytes(const Luma& luma) { return _mm_or_si128(luma.even, luma.odd); }
// The eight even ones first.
ORV_INLINE Vec splitBytes(const Luma& luma) { return _mm_packus_epi16(luma.even, _mm_srli_epi16(luma.odd, 8)); }

// What the chroma of eight pairs or blocks follows from: 256 times the means of red and blue, which is exact in words, and
// the sums of luma.
struct Shared {
  Vec r, b, luma;
};
ORV_INLINE Vec mean(const Channel& c) { return _mm_avg_epu16(c.even, c.odd); }
ORV_INLINE Vec sum(const Luma& luma) {
#if ORV_HAS_SHUFFLE
  return _mm_maddubs_epi16(bytes(luma), all8(1));
#else
  return _mm_add_epi16(luma.even, _mm_srli_epi16(luma.odd, 8));
#endif
}
ORV_INLINE Shared ofBoth(const Shared& a, const Shared& b) {
  return {_mm_avg_epu16(a.r, b.r), _mm_avg_epu16(a.b, b.b), _mm_add_epi16(a.luma, b.luma)};
}

// Eight U bytes, then eight V bytes. Where D is the difference of the sums over a pair, D * weight / (2 * 32768) is the
// high word of a product, and over a block of two rows half of that: exactly, rounded down. It lies in -224..223 and is
// clamped as a signed byte; then 128 is added.
template <int kRows> ORV_INLINE Vec chromaOf(const Shared& s) {
  const auto weigh = [&](Vec channel, int weight) {
    const Vec difference = _mm_sub_epi16(_mm_srli_epi16(channel, 8 - kRows), s.luma);
    return _mm_srai_epi16(_mm_mulhi_epi16(difference, all16(weight)), kRows - 1);
  };
  return _mm_xor_si128(_mm_packs_epi16(weigh(s.b, 16121), weigh(s.r, 28737)), all8(128));
}

// ---- One pixel, the last of an odd width, in 32-bit integers.

struct Rgb {
  int r, g, b;
};
struct Yuv {
  Vel8u y, u, v;
};
ORV_INLINE Yuv onePixel(const Rgb& p) {
  const int s = 9798 * p.r + 19235 * p.g + 3736 * p.b;
  const int u = ((((p.b * 32768 - s) >> 15) * 16121) >> 15) + 128;
  const int v = ((((p.r * 32768 - s) >> 15) * 28737) >> 15) + 128;
  return {Vel8u(s >> 15), Vel8u(u), Vel8u(v < 0 ? 0 : v > 255 ? 255 : v)};
}

// ---- Layouts of a source: the kRows rows that are read at a time. next() goes on to the next ones; at(row, pair)
// loads eight pairs of pixels, at(row, pair, n) the first n of them.

// A pair of pixels is three words: x = r g of the even one, y = its b and r of the odd one, z = g b of the odd one.
ORV_INLINE Pairs pairsC3(const Vel8u* src) {
  // Of every four pixels, which are twelve bytes, the same four: dwords x y, z x, y z of two pairs.
  const auto everyThird = [](const Vel8u* p) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(load(p)), _mm_castsi128_ps(load(p + 24)), 0xCC));
  };
  const Vec xy = everyThird(src), zx = everyThird(src + 4), yz = everyThird(src + 8);
#if ORV_HAS_BLEND
  const Vec x = _mm_blend_epi16(xy, zx, 0xAA), z = _mm_blend_epi16(zx, yz, 0xAA);
  const Vec swapped = _mm_blend_epi16(yz, xy, 0xAA);  // the words of y, each two exchanged
  const Vec low = _mm_setr_epi8(-1, 2, -1, 0, -1, 6, -1, 4, -1, 10, -1, 8, -1, 14, -1, 12);
  const Vec high = _mm_setr_epi8(-1, 3, -1, 1, -1, 7, -1, 5, -1, 11, -1, 9, -1, 15, -1, 13);
  const Vec b = _mm_shuffle_epi8(swapped, low), r = _mm_shuffle_epi8(swapped, high);
#else
  const Vec mask = all32(0xFFFF);
  const Vec x = _mm_or_si128(_mm_and_si128(xy, mask), _mm_andnot_si128(mask, zx));
  const Vec y = _mm_or_si128(_mm_srli_epi32(xy, 16), _mm_slli_epi32(yz, 16));
  const Vec z = _mm_or_si128(_mm_and_si128(zx, mask), _mm_andnot_si128(mask, yz));
  const Vec b = lowBytes(y), r = highBytes(y);
#endif
  return {{lowBytes(x), r}, {highBytes(x), lowBytes(z)}, {b, highBytes(z)}};
}
template <int kRows> struct C3 {
  const Vel8u* row[kRows];
  int step;
  C3(const Vel8u* src, int s) : step(s) {
    for (int r = 0; r < kRows; ++r) row[r] = rowOf(src, step, r);
  }
  void next() {
    for (int r = 0; r < kRows; ++r) row[r] = rowOf(row[r], step, kRows);
  }
  Pairs at(int r, int pair) const {
    prefetch(row[r] + 6 * pair, kRowAhead);  // processors lose sight of rows read by 48 bytes
    return pairsC3(row[r] + 6 * pair);
  }
  Pairs at(int r, int pair, int n) const {
    Vel8u some[48] = {};
    memcpy(some, row[r] + 6 * pair, size_t(n) * 6);
    return pairsC3(some);
  }
  Rgb pixel(int x) const { return {row[0][3 * x], row[0][3 * x + 1], row[0][3 * x + 2]}; }
};

template <int kRows> struct P3 {
  const Vel8u *red, *green, *blue;
  int step;
  P3(const Vel8u* const src[3], int s) : red(src[0]), green(src[1]), blue(src[2]), step(s) {}
  void next() {
    red = rowOf(red, step, kRows);
    green = rowOf(green, step, kRows);
    blue = rowOf(blue, step, kRows);
  }
  static Channel split(Vec bytes) { return {lowBytes(bytes), highBytes(bytes)}; }
  Pairs at(int r, int pair) const {
    const ptrdiff_t at = ptrdiff_t(step) * r + 2 * pair;
    return {split(load(red + at)), split(load(green + at)), split(load(blue + at))};
  }
  Pairs at(int r, int pair, int n) const {
    const ptrdiff_t at = ptrdiff_t(step) * r + 2 * pair;
    const auto some = [&](const Vel8u* plane) {
      Vel8u bytes[16] = {};
      memcpy(bytes, plane + at, size_t(n) * 2);
      return split(load(bytes));
    };
    return {some(red), some(green), some(blue)};
  }
  Rgb pixel(int x) const { return {red[x], green[x], blue[x]}; }
};

// ---- Layouts of a destination: kRows rows of luma, and a row of chroma. next() goes on to the next ones; put(pair,
// luma, chroma) stores eight pairs of a single row, put(pair, luma, chroma, n) the first n of them, putLone(pairs,
// pixel) the pixel behind so many pairs.

template <int kRows, bool kOwnChroma> struct Planar {
  Vel8u *y[kRows], *u, *v;
  int step[3];
  Planar(Vel8u* const dst[3], const int* s) : u(dst[1]), v(dst[2]), step{s[0], s[1], s[2]} {
    for (int r = 0; r < kRows; ++r) y[r] = rowOf(dst[0], step[0], r);
  }
  void next() {
    for (int r = 0; r < kRows; ++r) y[r] = rowOf(y[r], step[0], kRows);
    u = rowOf(u, step[1], 1);
    v = rowOf(v, step[2], 1);
  }
  void putLuma(int r, int pair, const Luma& luma) const { store(y[r] + 2 * pair, bytes(luma)); }
  void putLuma(int r, int pair, const Luma& luma, int n) const {
    Vel8u whole[16];
    store(whole, bytes(luma));
    memcpy(y[r] + 2 * pair, whole, size_t(n) * 2);
  }
  void putChroma(int pair, Vec chroma) const {
    storeLow(u + pair, chroma);
    storeHigh(v + pair, chroma);
  }
  void putChroma(int pair, Vec chroma, int n) const {
    Vel8u whole[16];
    store(whole, chroma);
    memcpy(u + pair, whole, size_t(n));
    memcpy(v + pair, whole + 8, size_t(n));
  }
  template <class... Count> void put(int pair, const Luma& luma, Vec chroma, Count... n) const {
    putLuma(0, pair, luma, n...);
    putChroma(pair, chroma, n...);
  }
  void putLone(int pairs, const Yuv& p) const {
    y[0][2 * pairs] = p.y;
    if (!kOwnChroma) return;
    u[pairs] = p.u;
    v[pairs] = p.v;
  }
};

struct Packed {
  Vel8u* row;
  int step;
  Packed(Vel8u* dst, int s) : row(dst), step(s) {}
  void next() { row = rowOf(row, step, 1); }
  static void store32(Vel8u* dst, const Luma& luma, Vec chroma) {
    const Vec y = splitBytes(luma);
    const Vec yu = _mm_unpacklo_epi8(y, chroma), yv = _mm_unpackhi_epi8(y, chroma);
    store(dst, _mm_unpacklo_epi16(yu, yv));
    store(dst + 16, _mm_unpackhi_epi16(yu, yv));
  }
  void put(int pair, const Luma& luma, Vec chroma) const { store32(row + 4 * pair, luma, chroma); }
  void put(int pair, const Luma& luma, Vec chroma, int n) const {
    Vel8u whole[32];
    store32(whole, luma, chroma);
    memcpy(row + 4 * pair, whole, size_t(n) * 4);
  }
  void putLone(int pairs, const Yuv& p) const {
    row[4 * pairs] = p.y;
    row[4 * pairs + 1] = p.u;
  }
};

// ---- Rows. The optional n: the first so many of the eight pairs only.

template <template <int> class Source, class Layout, class... Count>
ORV_INLINE void eight(const Source<1>& in, const Layout& out, int pair, Count... n) {
  const Pairs p = in.at(0, pair, n...);
  const Vec r = mean(p.r), b = mean(p.b);  // before luma: fewer registers are in use at once
  const Luma luma = lumaOf(p);
  out.put(pair, luma, chromaOf<1>({r, b, sum(luma)}), n...);
}
template <template <int> class Source, class Layout, class... Count>
ORV_INLINE void eight(const Source<2>& in, const Layout& out, int pair, Count... n) {
  Shared rows[2];
  ORV_UNROLL
  for (int r = 0; r < 2; ++r) {
    const Pairs p = in.at(r, pair, n...);
    rows[r].r = mean(p.r), rows[r].b = mean(p.b);  // as above
    const Luma luma = lumaOf(p);
    rows[r].luma = sum(luma);
    out.putLuma(r, pair, luma, n...);
  }
  out.putChroma(pair, chromaOf<2>(ofBoth(rows[0], rows[1])), n...);
}

template <class Source, class Layout> ORV_INLINE void convertRow(const Source& in, const Layout& out, int pairs) {
  int i = 0;
  for (; i + 8 <= pairs; i += 8) eight(in, out, i);
  if (i < pairs && pairs > 8)  // once more what the last whole vectors reach
    eight(in, out, pairs - 8);
  else if (i < pairs)
    eight(in, out, 0, pairs);
}

// ---- Images

// Checks the arguments, but for an array of steps. Images are pointers to pixels or arrays of planes.
template <class Src, class Dst> ORV_INLINE VelStatus check(Src pSrc, Dst pDst, VeliSize size) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(size));
  ORV_CHECK(checkPlanes(pSrc));
  ORV_CHECK(checkPlanes(pDst));
  return velStsNoErr;
}

template <template <int> class Source, class Src>
ORV_INLINE VelStatus convert420(Src pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize size) {
  ORV_CHECK(checkPointers(dstStep));
  ORV_CHECK(check(pSrc, pDst, size));
  Source<2> src(pSrc, srcStep);
  Planar<2, false> dst(pDst, dstStep);
  for (int n = size.height / 2; n > 0; --n) {
    convertRow(src, dst, size.width / 2);
    src.next();
    dst.next();
  }
  return (size.width | size.height) & 1 ? velStsDoubleSize : velStsNoErr;
}
template <class Layout, template <int> class Source, class Src, class Dst, class Step>
ORV_INLINE VelStatus convert422(Src pSrc, int srcStep, Dst pDst, Step dstStep, VeliSize size) {
  ORV_CHECK(check(pSrc, pDst, size));
  Source<1> src(pSrc, srcStep);
  Layout dst(pDst, dstStep);
  for (int n = size.height; n > 0; --n) {
    convertRow(src, dst, size.width / 2);
    if (size.width & 1) dst.putLone(size.width / 2, onePixel(src.pixel(size.width - 1)));
    src.next();
    dst.next();
  }
  return velStsNoErr;
}
template <template <int> class Source, class Src>
ORV_INLINE VelStatus convert422Region(Src pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3],
                                      VeliSize size) {
  ORV_CHECK(checkPointers(dstStep));
  return convert422<Planar<1, true>, Source>(pSrc, srcStep, pDst, dstStep, size);
}

// The steps of planes without bytes between the rows.
struct TightSteps {
  int step[3];
  explicit TightSteps(VeliSize size) : step{size.width, size.width / 2, size.width / 2} {}
};

}  // namespace

// ---- Bodies

ORV_BODY_A(veliRGBToYUV420_8u_C3P3R)
(const Vel8u* pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize roiSize) {
  return convert420<C3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV420_8u_C3P3)(const Vel8u* pSrc, Vel8u* const pDst[3], VeliSize roiSize) {
  return convert420<C3>(pSrc, int(3u * unsigned(roiSize.width)), pDst, TightSteps(roiSize).step, roiSize);
}

ORV_BODY_A(veliRGBToYUV420_8u_P3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize roiSize) {
  return convert420<P3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV420_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  return convert420<P3>(pSrc, roiSize.width, pDst, TightSteps(roiSize).step, roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_C3C2R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert422<Packed, C3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_C3P3R)
(const Vel8u* pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize roiSize) {
  return convert422Region<C3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_P3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize roiSize) {
  return convert422Region<P3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_C3P3)(const Vel8u* pSrc, Vel8u* const pDst[3], VeliSize roiSize) {
  return convert422<Planar<1, false>, C3>(pSrc, int(3u * unsigned(roiSize.width)), pDst, TightSteps(roiSize).step,
                                          roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  return convert422<Planar<1, false>, P3>(pSrc, roiSize.width, pDst, TightSteps(roiSize).step, roiSize);
}
