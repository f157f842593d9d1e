// RGB to YCbCr and back.
#include "color/ycbcr.h"

namespace {

// ---- Forward: Y, Cb and Cr are weighted sums of R, G and B plus a constant, >> 16
//
//   Y = 0.257 R + 0.504 G + 0.098 B + 16      Cb = -0.148 R - 0.291 G + 0.439 B + 128
//                                             Cr = 0.439 R - 0.368 G - 0.071 B + 128
//
// A pixel's chroma weights add up to nothing, so that R - G and B - G carry all of its chroma; luma is what they add to
// (kYr + kYg + kYb) G. That leaves weights of sixteen bits, two of which multiply-add takes at once.

struct ForwardWeights {
  static constexpr int kYr = fixedPoint(0.257, 16), kYg = fixedPoint(0.504, 16), kYb = fixedPoint(0.098, 16);
  static constexpr int kCbR = fixedPoint(-0.148, 16), kCbB = fixedPoint(0.439, 16);
  static constexpr int kCrR = fixedPoint(0.439, 16), kCrB = fixedPoint(-0.071, 16);
  // With the half that rounds.
  static constexpr int kLumaOffset = fixedPoint(16.5, 16), kChromaOffset = fixedPoint(128.5, 16);
  static constexpr int kTwiceGreen = kYr + kYg + kYb, kGreen = kTwiceGreen / 2;
  static_assert(kGreen * 2 == kTwiceGreen && isWord(kGreen), "green comes in two halves");
  static_assert(kCbR + kCbB == -fixedPoint(-0.291, 16) && kCrR + kCrB == -fixedPoint(-0.368, 16), "grey has no chroma");
};

// Eight pixels a lane, from dwords of R G B and, where kGreenTwice, G once more.
template <bool kGreenTwice, class V> struct Forward {
  using W = ForwardWeights;
  Dwords8<V> differences, green;  // words R - G, B - G; G, G

  Forward(V a, V b) {
    const Dwords8<V> rgb = {{a, b}};
    green = each(rgb, [](V p) {
      const V g = shiftRightU16(p, 8);
      return kGreenTwice ? g : shuffleHalves16<0, 0, 2, 2>(g);
    });
    for (int i = 0; i < 2; ++i)
      differences.v[i] = kGreenTwice ? subOddFromEven8(rgb.v[i]) : sub16(rgb.v[i] & all16<V>(0xFF), green.v[i]);
  }
  Dwords8<V> first() const {
    return add32(add32(weigh(differences, W::kYr, W::kYb), weigh(green, W::kGreen, W::kGreen)), W::kLumaOffset);
  }
  Dwords8<V> second() const { return add32(weigh(differences, W::kCbR, W::kCbB), W::kChromaOffset); }
  Dwords8<V> third() const { return add32(weigh(differences, W::kCrR, W::kCrB), W::kChromaOffset); }
};

#if ORV_HAS_SHUFFLE  // a byte shuffle makes R G B G of packed pixels; without one, dwords are picked from shifted vectors
// Of four pixels of kPixel bytes that begin at byte kAt.
template <int kPixel, int kAt, class V> ORV_INLINE V greenTwice(V v) {
  return shuffle8(v, bytePattern<V>([](int i) { return kAt + i / 4 * kPixel + (i % 4 == 3 ? 1 : i % 4); }));
}
template <class V> ORV_INLINE auto forward(const Place<Strip<const Vel8u, 1, Plane<3>>>& src) {
  const Vel8u* const p = src[0];
  return convertHalves<kInOrder>([=](int half) {
    if (half == 0) return Forward<true, V>(greenTwice<3, 0>(load<V>(p, 48)), greenTwice<3, 0>(load<V>(p + 12, 48)));
    return Forward<true, V>(greenTwice<3, 0>(load<V>(p + 24, 48)), greenTwice<3, 4>(load<V>(p + 32, 48)));
  });
}
template <class V> ORV_INLINE Forward<true, V> forward4(V a, V b) {
  return Forward<true, V>(greenTwice<4, 0>(a), greenTwice<4, 0>(b));
}
#else
template <class V> ORV_INLINE auto forward(const Place<Strip<const Vel8u, 1, Plane<3>>>& src) {
  const Vel8u* const p = src[0];
  // Two pixels in each half of a vector: the even ones begin at dwords, the odd ones a byte before.
  const V a = loadHalves(p, p + 6), b = loadHalves(p + 12, p + 18), c = loadHalves(p + 24, p + 30);
  const V d = shiftRightU64(loadHalves(p + 34, p + 40), 16);  // begins early: nothing after the pixels is read
  return convertHalves<kEvenOdd>([=](int odd) {
    const auto up = [](V v) { return shiftLeft64(v, 8); };
    if (odd) return Forward<false, V>(joinPairs32<1, 3, 1, 3>(up(a), up(b)), joinPairs32<1, 3, 1, 3>(up(c), up(d)));
    return Forward<false, V>(joinPairs32<0, 2, 0, 2>(a, b), joinPairs32<0, 2, 0, 2>(c, d));
  });
}
template <class V> ORV_INLINE Forward<false, V> forward4(V a, V b) { return Forward<false, V>(a, b); }
#endif
template <class V> ORV_INLINE auto forward(const Place<Strip<const Vel8u, 1, Plane<1>, Plane<1>, Plane<1>>>& src) {
  const Pixels<kInOrder, V> p = P3::load<V>(src);
  return convertHalves<kInOrder>([=](int half) {
    const V rg = half ? interleaveHigh8(p.r, p.g) : interleaveLow8(p.r, p.g);
    const V bg = half ? interleaveHigh8(p.b, p.g) : interleaveLow8(p.b, p.g);
    return Forward<true, V>(interleaveLow16(rg, bg), interleaveHigh16(rg, bg));
  });
}

// ---- Sixteen pixels a lane of each layout

template <class Format> struct ConvertForward {
  using PastCaches = ConvertForward<typename Format::PastCaches>;
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    Format::store(dst, forward<V>(src));
  }
};

// Eight pixels a lane, from their conversion; the fourth byte stays as it was.
template <class V, class Conversion> ORV_INLINE void storeAC4(Vel8u* dst, const Conversion& p) {
  const V g = clampToHighBytes(p.second()), r = clampToHighBytes(p.first());
  const V rg = shiftRightU16(r, 8) | (g & all16<V>(0xFF00)), b = shiftRightU16(clampToHighBytes(p.third()), 8);
  AC4::storeFour(dst, interleaveLow16(rg, b));
  AC4::storeFour(dst + 16, interleaveHigh16(rg, b));
}
// convertEight(a, b) converts four pixels in each of two vectors.
template <class V, class Src, class Dst, class Convert>
ORV_INLINE void convertAC4(const Src& src, const Dst& dst, const Convert& convertEight) {
  ORV_UNROLL for (int i = 0; i < 64; i += 32)
      storeAC4<V>(dst[0] + i, convertEight(load<V>(src[0] + i, 64), load<V>(src[0] + i + 16, 64)));
}
struct ForwardAC4 {
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    convertAC4<V>(src, dst, [](V a, V b) { return forward4(a, b); });
  }
};
struct InverseAC4 {
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    convertAC4<V>(src, dst, [](V a, V b) { return Exact<Weights<false>, V>(a, b); });
  }
};

// ---- Images: convertOne(isPastCaches, src, dst, width) converts a row.

template <class From, class To, class Src, class Dst, class Convert>
ORV_INLINE VelStatus convertImage(Src pSrc, int srcStep, Dst pDst, int dstStep, VeliSize size,
                                  const Convert& convertOne) {
  ORV_CHECK(checkImages(pSrc, pDst, size));
  const bool isInPlace = static_cast<const void*>(pSrc) == static_cast<const void*>(pDst);
  const bool isPastCaches = !isInPlace && goesPastCaches<To, 1>(pDst, dstStep, size.width, size.height);
  convertStrips(stripsOf<From, 1, 1>(pSrc, srcStep), stripsOf<To, 1, 1>(pDst, dstStep), size.height, size.width,
                [&](const auto& src, const auto& dst, ptrdiff_t width)
                    ORV_INLINED { convertOne(isPastCaches, src, dst, width); });
  if (isPastCaches) streamEnd();
  return velStsNoErr;
}
// Where there is one lane, these kernels take longer than memory does, whichever way it is written.
template <class Format, class Kernel, class Src, class Dst>
ORV_INLINE VelStatus convert(Src pSrc, int srcStep, Dst pDst, int dstStep, VeliSize size) {
  return convertImage<Format, Format>(
      pSrc, srcStep, pDst, dstStep, size,
      [](bool isPastCaches, const auto& src, const auto& dst, ptrdiff_t width)
          ORV_INLINED { convertRowOf<Kernel, Format>(kHasSeveralLanes && isPastCaches, src, dst, width); });
}
template <class From, class G, class W, class Src, class Dst>
ORV_INLINE VelStatus convertInGroups(Src pSrc, int srcStep, Dst pDst, int dstStep, VeliSize size) {
  return convertImage<From, C3>(pSrc, srcStep, pDst, dstStep, size,
                                [](bool isPastCaches, const auto& src, const auto& dst, ptrdiff_t width) ORV_INLINED {
                                  constexpr bool kMayStream = kHasSeveralLanes || From::kPlanes == 1;
                                  convertRowInGroups<From, G, W, C3>(kMayStream && isPastCaches, src, dst, width);
                                });
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliRGBToYCbCr_8u_C3R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<C3, ConvertForward<C3>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_C(veliRGBToYCbCr_8u_AC4R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<AC4, ForwardAC4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_C(veliRGBToYCbCr_8u_P3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], int dstStep, VeliSize roiSize) {
  return convert<P3, ConvertForward<P3>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB_8u_C3R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convertInGroups<C3, GroupC3, Weights<false>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB_8u_AC4R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<AC4, InverseAC4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB_8u_P3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], int dstStep, VeliSize roiSize) {
  return convert<P3, ConvertExactly<P3, Weights<true>, P3>>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB_8u_P3C3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convertInGroups<P3, GroupP3C3, WeightsAfterGroups>(pSrc, srcStep, pDst, dstStep, roiSize);
}
