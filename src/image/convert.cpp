// Depth conversion.
#include "image/convert.h"
#include "core/cache.h"
#include "core/simd.h"
#include "image/checks.h"

namespace {

// ---- Elements
//
// A conversion's convert<n, kStreams>(src, dst) converts n elements: kMost, 16, 8, 4, 2 or 1. kStreams: past the caches; n is
// kMost and dst a multiple of a vector's size, and kMayStream says that there is such a form. kKeepsAlpha leaves every fourth
// element of the destination as it is; n is then a whole number of pixels.

struct ToWords {
  using Src = Vel8u;
  using Dst = Vel16u;
  static constexpr bool kKeepsAlpha = false, kMayStream = true;
  static constexpr int kMost = 16;

  template <int n, bool kStreams> static ORV_INLINE void convert(const Src* src, Dst* dst) {
    if constexpr (n == 16 && sizeof(Lanes) == 32) {
      put<kStreams>(dst, loadWidenU8<Lanes>(src));
    } else if constexpr (n == 16) {
      const Lane v = load(src);
      putPair<kStreams>(dst, widenLowU8(v), widenHighU8(v));
    } else {
      storeFirst<2 * n>(dst, widenLowU8(loadFirst<n>(src)));
    }
  }
};

template <bool kKeeps> struct ToFloats {
  using Src = Vel8u;
  using Dst = Vel32f;
  static constexpr bool kKeepsAlpha = kKeeps, kMayStream = !kKeeps;
  static constexpr int kMost = 16;

  template <int n, bool kStreams> static ORV_INLINE void convert(const Src* src, Dst* dst) {
    if constexpr (kKeeps)
      storeRun(dst, addFourth(loadThreeBytesAsFloats<n>(src), loadRun<n>(dst)));
    else
      storeRun<kStreams>(dst, loadBytesAsFloats<n>(src));
  }
};

enum Rounding { kTowardsZero, kNearestEven, kAwayFromZero };

template <Rounding kRounding, bool kKeeps> struct ToBytes {
  using Src = Vel32f;
  using Dst = Vel8u;
  static constexpr bool kKeepsAlpha = kKeeps, kMayStream = !kKeeps;
  static constexpr int kMost = sizeof(Lanes);

  template <int n, bool kStreams> static ORV_INLINE void convert(const Src* src, Dst* dst) {
    const auto at = [=](int i) { return rounded(load<Floats>(src + i)); };
    if constexpr (kStreams) {
      stream(dst, narrowVectorsTo8U<Lanes>(at));
    } else if constexpr (n > 16) {
      const auto bytes = narrowVectorsTo8U<Lanes>(at);
      store(dst, kKeeps ? keepFourth8(bytes, load<Lanes>(dst)) : bytes);
    } else {
      Lane bytes;
      if constexpr (n == 16)
        bytes = narrowVectorsTo8U(at);
      else
        bytes = narrowTo8U(eachAsDwords(loadRun<n>(src), [](auto v) { return rounded(v); }));
      storeFirst<n>(dst, kKeeps ? keepFourth8(bytes, loadFirst<n>(dst)) : bytes);
    }
  }

  // The order in the minimum makes 255 of a NaN. There is nothing to do about what is below 0: it becomes a negative
  // number, -2147483648 at worst, and narrowing makes 0 of that. Halves away from zero: half more, with the value's sign.
  template <class F> static ORV_INLINE auto rounded(F v) {
    const F limited = min(v, allFloats<F>(255));
    if constexpr (kRounding == kNearestEven) return toNearest(limited);
    if constexpr (kRounding == kTowardsZero) return truncated(limited);
    return truncated(limited + bitOr(bitAnd(limited, allFloats<F>(-0.0f)), allFloats<F>(0.5f)));
  }
};

// ---- Rows

constexpr size_t kTurn = 64;  // elements of a loop's turn: whole lines of any destination

// A row of n to 2 n elements: both ends, which may overlap.
template <class Conversion, int n>
ORV_INLINE void convertEnds(const typename Conversion::Src* src, typename Conversion::Dst* dst, size_t len) {
  Conversion::template convert<n, false>(src, dst);
  Conversion::template convert<n, false>(src + len - n, dst + len - n);
}

// Sixteen elements at a time, or kMost; those at the two ends of a row may overlap others. Stores between them are aligned
// where whole elements allow it. kIsShort: a row that no loop of whole turns is worth having for.
template <class Conversion, bool kIsShort>
ORV_INLINE void convertRow(const typename Conversion::Src* src, typename Conversion::Dst* dst, size_t len) {
  if (len < 16) {
    if (len >= 8) return convertEnds<Conversion, 8>(src, dst, len);
    if (len >= 4 || Conversion::kKeepsAlpha) return convertEnds<Conversion, 4>(src, dst, len);
    if (len >= 2) return convertEnds<Conversion, 2>(src, dst, len);
    return convertEnds<Conversion, 1>(src, dst, len);
  }
  constexpr size_t kMost = Conversion::kMost;
  const size_t end = len - 16, past = reinterpret_cast<uintptr_t>(dst) % sizeof(Floats) / sizeof *dst % 16;
  Conversion::template convert<16, false>(src, dst);
  size_t i = 16 - (Conversion::kKeepsAlpha ? 0 : past);
  if constexpr (!kIsShort) {
    if (kMost > 16 && !Conversion::kKeepsAlpha && i < end && reinterpret_cast<uintptr_t>(dst + i) & 16) {
      Conversion::template convert<16, false>(src + i, dst + i);
      i += 16;
    }
    // A loop of one may lie within a line of the instruction cache, and some processors then store only once in a cycle.
    for (; i + kTurn <= end; i += kTurn) {
      ORV_UNROLL for (size_t k = 0; k < kTurn; k += kMost)
          Conversion::template convert<kMost, false>(src + i + k, dst + i + k);
    }
  }
  for (; i < end; i += 16) Conversion::template convert<16, false>(src + i, dst + i);
  Conversion::template convert<16, false>(src + end, dst + end);
}

template <class Conversion> __attribute__((noinline)) void convertShortRow(const typename Conversion::Src* src,
                                                                           typename Conversion::Dst* dst, size_t len) {
  if (len > 0) convertRow<Conversion, true>(src, dst, len);
}
// Whole lines past the caches: a line that is written in part, or in both ways, takes many times as long. dst is a multiple of
// an element.
template <class Conversion>
ORV_INLINE void convertPastCaches(const typename Conversion::Src* src, typename Conversion::Dst* dst, size_t len) {
  const size_t toLine = -reinterpret_cast<uintptr_t>(dst) % kLine / sizeof *dst;
  if (len < toLine + kTurn) return convertShortRow<Conversion>(src, dst, len);
  convertShortRow<Conversion>(src, dst, toLine);
  size_t i = toLine;
  for (; i + kTurn <= len; i += kTurn) {
    ORV_UNROLL for (size_t k = 0; k < kTurn; k += Conversion::kMost)
        Conversion::template convert<Conversion::kMost, true>(src + i + k, dst + i + k);
  }
  constexpr size_t kLineElements = kLine / sizeof *dst;
  for (; i + kLineElements <= len; i += kLineElements) {
    ORV_UNROLL for (size_t k = 0; k < kLineElements; k += Conversion::kMost)
        Conversion::template convert<Conversion::kMost, true>(src + i + k, dst + i + k);
  }
  convertShortRow<Conversion>(src + i, dst + i, len - i);
}

// Rows of len elements; those that lie close together make one row.
template <class Conversion, class Convert> ORV_INLINE void eachRow(const typename Conversion::Src* src, int srcStep,
                                                                   typename Conversion::Dst* dst, int dstStep,
                                                                   size_t len, int height, const Convert& convert) {
  if (size_t(srcStep) == len * sizeof *src && size_t(dstStep) == len * sizeof *dst) {
    len *= size_t(height);
    height = 1;
  }
  for (int y = 0; y < height; ++y) convert(rowOf(src, srcStep, y), rowOf(dst, dstStep, y), len);
}
template <class Conversion> __attribute__((noinline)) void convertRowsPastCaches(const typename Conversion::Src* src,
                                                                                 int srcStep,
                                                                                 typename Conversion::Dst* dst,
                                                                                 int dstStep, size_t len, int height) {
  eachRow<Conversion>(
      src, srcStep, dst, dstStep, len, height,
      [](auto from, auto to, size_t n) __attribute__((always_inline)) { convertPastCaches<Conversion>(from, to, n); });
  streamEnd();
}
template <class Conversion> ORV_INLINE void convertRowsInCaches(const typename Conversion::Src* src, int srcStep,
                                                                typename Conversion::Dst* dst, int dstStep, size_t len,
                                                                int height) {
  eachRow<Conversion>(
      src, srcStep, dst, dstStep, len, height,
      [](auto from, auto to, size_t n) __attribute__((always_inline)) { convertRow<Conversion, false>(from, to, n); });
}
// A function of its own, without calls: with one, its stack would be aligned, and few elements feel that.
template <class Conversion> __attribute__((noinline)) void convertRows(const typename Conversion::Src* src, int srcStep,
                                                                       typename Conversion::Dst* dst, int dstStep,
                                                                       size_t len, int height) {
  convertRowsInCaches<Conversion>(src, srcStep, dst, dstStep, len, height);
}
template <class Conversion> ORV_INLINE void convertRows(const typename Conversion::Src* src, int srcStep,
                                                        typename Conversion::Dst* dst, int dstStep, size_t len,
                                                        int height, bool streams) {
  if constexpr (Conversion::kMayStream) {
    if (streams && (reinterpret_cast<uintptr_t>(dst) | unsigned(dstStep)) % sizeof *dst == 0)
      return convertRowsPastCaches<Conversion>(src, srcStep, dst, dstStep, len, height);
    convertRows<Conversion>(src, srcStep, dst, dstStep, len, height);
  } else {
    convertRowsInCaches<Conversion>(src, srcStep, dst, dstStep, len, height);
  }
}

// ---- Images

template <class Src, class Dst>
ORV_INLINE VelStatus check(const Src* pSrc, int srcStep, Dst* pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(size));
  return checkSteps(srcStep, dstStep);
}

template <class Conversion> ORV_INLINE VelStatus widen(const Vel8u* pSrc, int srcStep, typename Conversion::Dst* pDst,
                                                       int dstStep, VeliSize size, int channels) {
  ORV_CHECK(check(pSrc, srcStep, pDst, dstStep, size));
  const double touched = double(sizeof *pSrc + sizeof *pDst) * channels * size.width * size.height;
  convertRows<Conversion>(pSrc, srcStep, pDst, dstStep, size_t(size.width) * size_t(channels), size.height,
                          Conversion::kMayStream && exceedsCaches(touched, UnknownSize::kNeverExceeded));
  return velStsNoErr;
}

// SSE's rounding mode, while this object lives.
class RoundingMode {
 public:
  static constexpr Vel32u kNearest = 0, kZero = 0x6000, kField = 0x6000;
  explicit RoundingMode(Vel32u mode) : mode_(mode), before_(vel_set_rc_ssx(mode)) {}
  ~RoundingMode() {
    if ((before_ & kField) != mode_) vel_set_cw_ssx(before_);
  }
  RoundingMode(const RoundingMode&) = delete;
  RoundingMode& operator=(const RoundingMode&) = delete;

 private:
  Vel32u mode_, before_;
};

template <bool kKeepsAlpha> ORV_INLINE VelStatus narrow(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep,
                                                        VeliSize size, int channels, int roundMode) {
  ORV_CHECK(check(pSrc, srcStep, pDst, dstStep, size));
  const size_t len = size_t(size.width) * size_t(channels);
  const double touched = double(sizeof *pSrc + sizeof *pDst) * double(len) * size.height;
  const bool streams = !kKeepsAlpha && exceedsCaches(touched);
  if (roundMode == 0) {  // the instruction truncates in any mode
    convertRows<ToBytes<kTowardsZero, kKeepsAlpha>>(pSrc, srcStep, pDst, dstStep, len, size.height, streams);
  } else if (roundMode == 1) {
    const RoundingMode mode(RoundingMode::kNearest);
    convertRows<ToBytes<kNearestEven, kKeepsAlpha>>(pSrc, srcStep, pDst, dstStep, len, size.height, streams);
  } else {  // nor may the sum of 0.5 and the greatest number below it be rounded up to 1
    const RoundingMode mode(RoundingMode::kZero);
    convertRows<ToBytes<kAwayFromZero, kKeepsAlpha>>(pSrc, srcStep, pDst, dstStep, len, size.height, streams);
  }
  return velStsNoErr;
}

}  // namespace

ORV_KERNEL VelStatus ORV_NAME(veliConvert_8u16u_C1R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                                     VeliSize roiSize) {
  return widen<ToWords>(pSrc, srcStep, pDst, dstStep, roiSize, 1);
}

// ---- Bodies

ORV_BODY_C(veliConvert_8u32f_C1R)(const Vel8u* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize) {
  return widen<ToFloats<false>>(pSrc, srcStep, pDst, dstStep, roiSize, 1);
}

ORV_BODY_C(veliConvert_8u32f_C3R)(const Vel8u* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize) {
  return widen<ToFloats<false>>(pSrc, srcStep, pDst, dstStep, roiSize, 3);
}

ORV_BODY_C(veliConvert_8u32f_C4R)(const Vel8u* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize) {
  return widen<ToFloats<false>>(pSrc, srcStep, pDst, dstStep, roiSize, 4);
}

ORV_BODY_B(veliConvert_8u32f_AC4R)(const Vel8u* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize) {
  return widen<ToFloats<true>>(pSrc, srcStep, pDst, dstStep, roiSize, 4);
}

ORV_BODY_A(veliConvert_32f8u_C1R)
(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, int roundMode) {
  return narrow<false>(pSrc, srcStep, pDst, dstStep, roiSize, 1, roundMode);
}

ORV_BODY_A(veliConvert_32f8u_C3R)
(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, int roundMode) {
  return narrow<false>(pSrc, srcStep, pDst, dstStep, roiSize, 3, roundMode);
}

ORV_BODY_B(veliConvert_32f8u_C4R)
(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, int roundMode) {
  return narrow<false>(pSrc, srcStep, pDst, dstStep, roiSize, 4, roundMode);
}

ORV_BODY_B(veliConvert_32f8u_AC4R)
(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, int roundMode) {
  return narrow<true>(pSrc, srcStep, pDst, dstStep, roiSize, 4, roundMode);
}
