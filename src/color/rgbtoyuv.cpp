// RGB to YUV 4:2:0 and 4:2:2, planar and packed.
//
//   Y = ((2 kR R >> 8) + (2 kG G >> 8) + (2 kB B >> 8) + 2) >> 8
//   U = 128 + floor(D * kU / (n * 32768))      D: the sum of B less the sum of Y over the n pixels that share a sample
//   V = 128 + floor(D * kV / (n * 32768))      the same with R, clamped to 0..255
//
// Even and odd pixels are kept apart, as words of 256 times a sample: products then keep their high halves.
#include "color/layouts.h"
#include "color/weights.h"

namespace {

struct Weights {
  static constexpr int kBits = 15;
  static constexpr int kR = fixedPoint(0.299, kBits), kG = fixedPoint(0.587, kBits), kB = fixedPoint(0.114, kBits);
  static constexpr int kU = fixedPointBelow(0.492, kBits), kV = fixedPointBelow(0.877, kBits);
};

// ---- Luma

// Each product loses less than 1 by rounding down; of a grey the three together lose 2 at most, which is added again. In
// this order the sums take the fewest registers.
template <class V> ORV_INLINE V lumaTimes256(V r, V g, V b) {
  const V blue = mulHighU16(b, all16<V>(2 * Weights::kB)), red = mulHighU16(r, all16<V>(2 * Weights::kR));
  return add16(add16(add16(blue, red), mulHighU16(g, all16<V>(2 * Weights::kG))), all16<V>(2));
}
// Luma of the even pixels as words; that of the odd ones is the high halves of words.
template <class V> struct Luma {
  V even, odd;
  explicit Luma(const PixelWords<V>& p)
      : even(shiftRightU16(lumaTimes256(p.r.even, p.g.even, p.b.even), 8)),
        odd(lumaTimes256(p.r.odd, p.g.odd, p.b.odd)) {}
  V oddWords() const { return shiftRightU16(odd, 8); }
  // The bytes in order, and the sums of pairs of them.
  V bytes() const { return even | (odd & all16<V>(0xFF00)); }
  V sumsOfBytes() const { return addLowAndHighU8(even, odd & all16<V>(0xFF00)); }
  // The same where words are at hand: the bytes of even pixels, then those of odd ones.
  V evenThenOdd() const { return narrow16To8U(even, oddWords()); }
  V sumsOfWords() const { return add16(even, oddWords()); }
};

// ---- Chroma

// What U and V follow from: the sums of blue, red and luma over pairs or blocks of pixels. Those of blue and red stand as
// 256 times the mean, which words hold exactly.
template <class V> struct Shared { V r, b, luma; };
template <class V> ORV_INLINE V mean(const EvenOdd<V>& channel) { return meanU16(channel.even, channel.odd); }
template <class V> ORV_INLINE Shared<V> mean(const Shared<V>& a, const Shared<V>& b) {
  return {meanU16(a.r, b.r), meanU16(a.b, b.b), add16(a.luma, b.luma)};
}
// Eight U bytes a lane, then eight V bytes, of blocks of two pixels in each of kRows rows. D * weight / (2 * 32768) is the
// high word of a product, and half of that for two rows: exactly, rounded down. It lies in -224..223 and is clamped as a
// signed byte; then 128 is added.
template <int kRows, class V> ORV_INLINE V chromaOf(const Shared<V>& s) {
  const auto weigh = [&](V channel, int weight) {
    const V difference = sub16(shiftRightU16(channel, 8 - kRows), s.luma);
    return shiftRight16(mulHigh16(difference, all16<V>(weight)), kRows - 1);
  };
  return narrow16(weigh(s.b, Weights::kU), weigh(s.r, Weights::kV)) ^ all8<V>(128);
}

// ---- Layouts of a source: kPlanes rows of a row of pixels

struct FromC3 {
  using Format = C3;
  template <class V, class Row> static ORV_INLINE PixelWords<V> load(const Row& row) {
    // The hardware prefetcher does not follow steps of 48 bytes.
    ORV_UNROLL for (int i = 0; i < int(sizeof(V)); i += 16) prefetch(row[0] + 3 * i, kRowAhead);
    return load3Times256<V>(row[0]);
  }
};
struct FromP3 {
  using Format = P3;
  template <class V, class Row> static ORV_INLINE PixelWords<V> load(const Row& row) {
    return splitTimes256(P3::load<V>(row));
  }
};

// The last pixel of an odd width, in 32-bit integers: there is one in a row at most. Some layouts store its U and V, some
// its Y only.
struct LonePixel {
  Vel8u y, u, v;
  LonePixel(int r, int g, int b) {
    constexpr int bits = Weights::kBits, one = 1 << bits;
    const int s = Weights::kR * r + Weights::kG * g + Weights::kB * b;
    const int fromR = ((((r * one - s) >> bits) * Weights::kV) >> bits) + 128;
    y = Vel8u(s >> bits);
    u = Vel8u(((((b * one - s) >> bits) * Weights::kU) >> bits) + 128);
    v = Vel8u(fromR < 0 ? 0 : fromR > 255 ? 255 : fromR);
  }
};
ORV_INLINE LonePixel loneOf(const Place<Strip<const Vel8u, 2, Plane<6>>>& s) { return {s[0][0], s[0][1], s[0][2]}; }
ORV_INLINE LonePixel loneOf(const Place<Strip<const Vel8u, 2, Plane<2>, Plane<2>, Plane<2>>>& s) {
  return {s[0][0], s[1][0], s[2][0]};
}

// ---- Kernels

// A row of sixteen pixels a lane: its luma goes to use(luma).
template <class Source, class V, class Row, class Use>
ORV_INLINE Shared<V> convertPixels(const Row& row, const Use& use) {
  const PixelWords<V> p = Source::template load<V>(row);
  const V r = mean(p.r), b = mean(p.b);  // before luma: fewer registers are in use at once
  const Luma<V> luma(p);
  use(luma);
  return {r, b, luma.sumsOfBytes()};
}
template <class V> ORV_INLINE void storePlanar(Vel8u* u, Vel8u* v, V chroma) {
  storeLowHalves(u, chroma);
  storeHighHalves(v, chroma);
}

template <class Source> struct To420 {
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    Shared<V> rows[2];
    ORV_UNROLL for (int r = 0; r < 2; ++r) rows[r] =
        convertPixels<Source, V>(src.row(r), [&](const Luma<V>& luma) { store(dst.row(r)[0], luma.bytes()); });
    storePlanar(dst[1], dst[2], chromaOf<2>(mean(rows[0], rows[1])));
  }
};

// Rows of luma, U and V. kOwnChroma: a lone last pixel has a U and a V sample of its own.
template <bool kOwnChroma> struct Planar422 {
  using Dest = StripOfYuv<Vel8u, 1>;
  static ORV_INLINE Strips<Dest> strips(Vel8u* const planes[3], const int step[3]) {
    return stripsOfYuv<Vel8u, 1>(planes, step);
  }
  template <class V> static ORV_INLINE V sums(const Luma<V>& luma) { return luma.sumsOfBytes(); }
  template <class V> static ORV_INLINE void store(const Place<Dest>& dst, const Luma<V>& luma, V chroma) {
    ::store(dst[0], luma.bytes());
    storePlanar(dst[1], dst[2], chroma);
  }
  static void storeLone(const Place<Dest>& dst, const LonePixel& p) {
    dst[0][0] = p.y;
    if (!kOwnChroma) return;
    dst[1][0] = p.u;
    dst[2][0] = p.v;
  }
};
// Y0 U Y1 V for each pair; Y U of a lone pixel.
struct Packed422 {
  using Dest = Strip<Vel8u, 2, Plane<4>>;
  static ORV_INLINE Strips<Dest> strips(Vel8u* image, int step) { return {{{image}, step}, {step}}; }
  template <class V> static ORV_INLINE V sums(const Luma<V>& luma) { return luma.sumsOfWords(); }
  template <class V> static ORV_INLINE void store(const Place<Dest>& dst, const Luma<V>& luma, V chroma) {
    const V y = luma.evenThenOdd();
    const V yu = interleaveLow8(y, chroma), yv = interleaveHigh8(y, chroma);  // Y0 U Y2 U ... | Y1 V Y3 V ...
    ::store(dst[0], interleaveLow16(yu, yv), 32);
    ::store(dst[0] + 16, interleaveHigh16(yu, yv), 32);
  }
  static void storeLone(const Place<Dest>& dst, const LonePixel& p) {
    dst[0][0] = p.y;
    dst[0][1] = p.u;
  }
};
template <class Source, class Layout> struct To422 {
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    const PixelWords<V> p = Source::template load<V>(src);
    const V r = mean(p.r), b = mean(p.b);  // before luma: fewer registers are in use at once
    const Luma<V> luma(p);
    Layout::store(dst, luma, chromaOf<1>(Shared<V>{r, b, Layout::sums(luma)}));
  }
};

// ---- Images

template <class Source, class Src>
ORV_INLINE VelStatus convert420(Src pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize size) {
  ORV_CHECK(checkPointers(dstStep));
  ORV_CHECK(checkImages(pSrc, pDst, size));
  convertStrips(stripsOf<typename Source::Format, 2, 2>(pSrc, srcStep), stripsOfYuv<Vel8u, 2>(pDst, dstStep),
                size.height / 2, size.width / 2, [](const auto& src, const auto& dst, ptrdiff_t pairs) ORV_INLINED {
                  convertRow<To420<Source>>(src, dst, pairs);
                });
  return (size.width | size.height) & 1 ? velStsDoubleSize : velStsNoErr;
}
template <class Layout, class Source, class Src, class Dst, class Step>
ORV_INLINE VelStatus convert422(Src pSrc, int srcStep, Dst pDst, Step dstStep, VeliSize size) {
  ORV_CHECK(checkImages(pSrc, pDst, size));
  const bool hasLone = size.width % 2 != 0;
  convertStrips(stripsOf<typename Source::Format, 2, 1>(pSrc, srcStep), Layout::strips(pDst, dstStep), size.height,
                size.width / 2, [=](const auto& src, const auto& dst, ptrdiff_t pairs) ORV_INLINED {
                  convertRow<To422<Source, Layout>>(src, dst, pairs);
                  if (hasLone) Layout::storeLone(dst.at(pairs), loneOf(src.at(pairs)));
                });
  return velStsNoErr;
}
template <class Source, class Src> ORV_INLINE VelStatus convert422Region(Src pSrc, int srcStep, Vel8u* const pDst[3],
                                                                         const int dstStep[3], VeliSize size) {
  ORV_CHECK(checkPointers(dstStep));
  return convert422<Planar422<true>, Source>(pSrc, srcStep, pDst, dstStep, size);
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliRGBToYUV420_8u_C3P3R)
(const Vel8u* pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize roiSize) {
  return convert420<FromC3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV420_8u_C3P3)(const Vel8u* pSrc, Vel8u* const pDst[3], VeliSize roiSize) {
  return convert420<FromC3>(pSrc, int(3u * unsigned(roiSize.width)), pDst, TightSteps(roiSize).step, roiSize);
}

ORV_BODY_A(veliRGBToYUV420_8u_P3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize roiSize) {
  return convert420<FromP3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV420_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  return convert420<FromP3>(pSrc, roiSize.width, pDst, TightSteps(roiSize).step, roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_C3C2R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert422<Packed422, FromC3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_C3P3R)
(const Vel8u* pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize roiSize) {
  return convert422Region<FromC3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_P3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], const int dstStep[3], VeliSize roiSize) {
  return convert422Region<FromP3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_C3P3)(const Vel8u* pSrc, Vel8u* const pDst[3], VeliSize roiSize) {
  return convert422<Planar422<false>, FromC3>(pSrc, int(3u * unsigned(roiSize.width)), pDst, TightSteps(roiSize).step,
                                              roiSize);
}

ORV_BODY_A(veliRGBToYUV422_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  return convert422<Planar422<false>, FromP3>(pSrc, roiSize.width, pDst, TightSteps(roiSize).step, roiSize);
}
