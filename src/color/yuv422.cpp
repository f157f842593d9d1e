// YUV 4:2:2, planar and packed, to RGB.
#include "color/yuv.h"

namespace {

// Sixteen luma samples a lane and, as words, the eight U and V samples that they share.
template <class V> struct Samples { V luma, u, v; };

// ---- Layouts of the source. lone(strip, pairs) are the samples of a last pixel without a partner, after so many
// pairs.

struct LoneSamples {
  Vel8u y, u, v;
};

// Chroma rows hold a sample of its own for a lone pixel, or they do not: then it takes the pair's before it.
template <bool kOwnChroma> struct Planar {
  using Source = StripOfYuv<const Vel8u, 1>;
  static ORV_INLINE Strips<Source> strips(const Vel8u* const planes[3], const int step[3]) {
    return stripsOfYuv<const Vel8u, 1>(planes, step);
  }

  template <class V> static ORV_INLINE Samples<V> load(const Place<Source>& s) {
    return {::load<V>(s[0]), loadWidenU8<V>(s[1]), loadWidenU8<V>(s[2])};
  }
  static LoneSamples lone(const Place<Source>& s, ptrdiff_t pairs) {
    const ptrdiff_t last = kOwnChroma ? pairs : pairs - 1;
    if (last < 0) return {s[0][0], 128, 128};
    return {s[0][2 * pairs], s[1][last], s[2][last]};
  }
};

// Y0 U Y1 V for each pair.
struct Packed {
  using Source = Strip<const Vel8u, 2, Plane<4>>;
  static ORV_INLINE Strips<Source> strips(const Vel8u* image, int step) { return {{{image}, step}, {step}}; }

  template <class V> static ORV_INLINE Samples<V> load(const Place<Source>& s) {
    const EvenOdd<V> first = splitEvenOdd8(::load<V>(s[0], 32)), second = splitEvenOdd8(::load<V>(s[0] + 16, 32));
    const EvenOdd<V> chroma = splitEvenOdd8(narrow16To8U(first.odd, second.odd));
    return {narrow16To8U(first.even, second.even), chroma.even, chroma.odd};
  }
  // Of its own it has Y and U; V is the one of the pair before it.
  static LoneSamples lone(const Place<Source>& s, ptrdiff_t pairs) {
    const Vel8u* const p = s[0] + 4 * pairs;
    return {p[0], p[1], pairs ? p[-1] : Vel8u(128)};
  }
};

// ---- Images

template <class Layout, class Format> struct Convert422 {
  using PastCaches = Convert422<Layout, typename Format::PastCaches>;

  template <class V, class Row> static ORV_INLINE void store(const Samples<V>& s, const Row& row) {
    Format::store(row, addChroma<Format::kIsBgr>(s.luma, chromaPart(s.u, s.v)));
  }
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    store(Layout::template load<V>(src), dst);
  }
  // dst counts single pixels.
  template <class Dst> static __attribute__((noinline)) void convertLone(LoneSamples s, Dst dst) {
    StripTail<Dst> to;
    if (Format::kKeepsFourth) to.load(Place{dst}, 1);
    const auto strip = to.strip();
    store(Samples<Lane>{all8(s.y), all16(s.u), all16(s.v)}, Place{strip});
    to.store(Place{dst}, 1);
  }
};

// Checks the arguments, but for an array of steps, and converts.
template <class Layout, class Format, class Src, class Step, class Dst>
ORV_INLINE VelStatus convert(Src pSrc, Step srcStep, Dst pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkImages(pSrc, pDst, size));
  using Kernel = Convert422<Layout, Format>;
  const bool hasLone = size.width % 2 != 0;
  // One lane takes longer than memory does, whichever way it is written.
  const bool isPastCaches = kHasSeveralLanes && goesPastCaches<Format, 2>(pDst, dstStep, size.width, size.height);
  convertStrips(Layout::strips(pSrc, srcStep), stripsOf<Format, 2, 1>(pDst, dstStep), size.height, size.width / 2,
                [=](const auto& src, const auto& dst, ptrdiff_t pairs) ORV_INLINED {
                  convertRowOf<Kernel, Format>(isPastCaches, src, dst, pairs);
                  if (hasLone) Kernel::convertLone(Layout::lone(src, pairs), inPixels(dst.at(pairs)));
                });
  if (isPastCaches) streamEnd();
  return velStsNoErr;
}

// With steps for the planes, and tightly packed without.
template <class Format, class Dst> ORV_INLINE VelStatus convertRegion(const Vel8u* const pSrc[3], const int srcStep[3],
                                                                      Dst pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkPointers(srcStep));
  return convert<Planar<true>, Format>(pSrc, srcStep, pDst, dstStep, size);
}
template <class Format, class Dst>
ORV_INLINE VelStatus convertImage(const Vel8u* const pSrc[3], Dst pDst, int dstStep, VeliSize size) {
  return convert<Planar<false>, Format>(pSrc, TightSteps(size).step, pDst, dstStep, size);
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliYUV422ToRGB_8u_C2C3R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<Packed, C3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3C3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convertRegion<C3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3AC4R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convertRegion<AC4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3R)
(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* const pDst[3], int dstStep, VeliSize roiSize) {
  return convertRegion<P3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3C3)(const Vel8u* const pSrc[3], Vel8u* pDst, VeliSize roiSize) {
  return convertImage<C3>(pSrc, pDst, int(3u * unsigned(roiSize.width)), roiSize);
}

ORV_BODY_A(veliYUV422ToRGB_8u_P3)(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize) {
  return convertImage<P3>(pSrc, pDst, roiSize.width, roiSize);
}
