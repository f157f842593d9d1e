// Depth conversion.
#include "image/convert.h"
#include "core/simd.h"
#include "image/checks.h"

namespace {

constexpr int kPiece = 16;  // elements that a loop converts at once

// ---- Elements
//
// A conversion's piece<n, kStreams>(src, dst) converts n elements: 16, 8, 4, 2 or 1. kStreams: past the caches; n is 16 and
// dst a multiple of kWide bytes, and kMayStream says that there is such a form. kKeepsAlpha leaves every fourth element of
// the destination as it is; n is a whole number of pixels.

#if ORV_HAS_WIDE_FLOAT
ORV_INLINE __m256i join(Vec low, Vec high) { return _mm256_insertf128_si256(_mm256_castsi128_si256(low), high, 1); }
#endif

template <bool kStreams> ORV_INLINE void put(void* p, Wide v) { kStreams ? streamWide(p, v) : storeWide(p, v); }
// Two vectors, one behind the other.
template <bool kStreams> ORV_INLINE void put(void* p, Vec low, Vec high) {
#if ORV_HAS_WIDE_FLOAT
  put<kStreams>(p, _mm256_castsi256_ps(join(low, high)));
#else
  put<kStreams>(p, _mm_castsi128_ps(low));
  put<kStreams>(static_cast<Vec*>(p) + 1, _mm_castsi128_ps(high));
#endif
}

struct ToWords {
  using Src = Vel8u;
  using Dst = Vel16u;
  static constexpr bool kKeepsAlpha = false, kMayStream = true;

  template <int n, bool kStreams> ORV_INLINE void piece(const Src* src, Dst* dst) {
    const Vec v = loadPart<n>(src);
    if constexpr (n == kPiece)
      put<kStreams>(dst, widenLow8(v), widenHigh8(v));
    else
      storePart<2 * n>(dst, widenLow8(v));
  }
};

template <bool kKeeps> struct ToFloats {
  using Src = Vel8u;
  using Dst = Vel32f;
  static constexpr bool kKeepsAlpha = kKeeps, kMayStream = !kKeeps;

  template <int n, bool kStreams> ORV_INLINE void piece(const Src* src, Dst* dst) {
    constexpr int kVectors = n < 4 ? 1 : n / 4;
    Vec dwords[kVectors];
    widen<n>(src, dwords);
    if constexpr (n < 4) {
      storePart<4 * n>(dst, _mm_castps_si128(_mm_cvtepi32_ps(dwords[0])));
    } else if constexpr (n == 4) {
      const __m128 v = _mm_cvtepi32_ps(dwords[0]);
      _mm_storeu_ps(dst, kKeeps ? withAlpha(v, _mm_loadu_ps(dst)) : v);
    } else {
      ORV_UNROLL
      for (int i = 0; i < kVectors; i += 2) putEight<kStreams>(dwords[i], dwords[i + 1], dst + 4 * i);
    }
  }

  template <int n, size_t kVectors> ORV_INLINE void widen(const Src* src, Vec (&dwords)[kVectors]) {
#if ORV_HAS_BLEND
    constexpr int kBytes = n < 4 ? n : 4;
    ORV_UNROLL
    for (int i = 0; i < int(kVectors); ++i) dwords[i] = _mm_cvtepu8_epi32(loadPart<kBytes>(src + 4 * i));
#else
    Vec v = loadPart<n>(src);
    if (kKeeps) v = _mm_and_si128(v, all32(0x00FFFFFF));
    const Vec low = widenLow8(v), high = widenHigh8(v);
    dwords[0] = _mm_unpacklo_epi16(low, zero());
    if (n > 4) dwords[1 % kVectors] = _mm_unpackhi_epi16(low, zero());
    if (n > 8) dwords[2 % kVectors] = _mm_unpacklo_epi16(high, zero());
    if (n > 8) dwords[3 % kVectors] = _mm_unpackhi_epi16(high, zero());
#endif
  }

  // Colours of v, alpha of old. Where no blend does it, widen() has left 0 in the place of alpha.
  ORV_INLINE __m128 withAlpha(__m128 v, __m128 old) {
#if ORV_HAS_BLEND
    return _mm_blend_ps(v, old, 8);
#else
    return _mm_or_ps(v, _mm_and_ps(old, _mm_castsi128_ps(_mm_setr_epi32(0, 0, 0, -1))));
#endif
  }
#if ORV_HAS_WIDE_FLOAT
  ORV_INLINE __m256 withAlpha(__m256 v, __m256 old) { return _mm256_blend_ps(v, old, 0x88); }
#endif

  template <bool kStreams> ORV_INLINE void putEight(Vec low, Vec high, Dst* dst) {
#if ORV_HAS_WIDE_FLOAT
    const Wide v = _mm256_cvtepi32_ps(join(low, high));
    put<kStreams>(dst, kKeeps ? withAlpha(v, loadWide(dst)) : v);
#else
    const Wide v = _mm_cvtepi32_ps(low), w = _mm_cvtepi32_ps(high);
    put<kStreams>(dst, kKeeps ? withAlpha(v, loadWide(dst)) : v);
    put<kStreams>(dst + 4, kKeeps ? withAlpha(w, loadWide(dst + 4)) : w);
#endif
  }
};

enum Rounding { kTowardsZero, kNearestEven, kAwayFromZero };

template <Rounding kRounding, bool kKeeps> struct ToBytes {
  using Src = Vel32f;
  using Dst = Vel8u;
  static constexpr bool kKeepsAlpha = kKeeps, kMayStream = !kKeeps;

  template <int n, bool kStreams> ORV_INLINE void piece(const Src* src, Dst* dst) {
    Vec low;  // eight words
    if constexpr (n >= 8)
      low = words(src);
    else
      low = words(loadPart<4 * n>(src), zero());
    const Vec v = _mm_packus_epi16(low, n == 16 ? words(src + 8) : low);
    if (kStreams)
      stream(dst, v);
    else
      storePart<n>(dst, kKeeps ? withAlpha(v, loadPart<n>(dst)) : v);
  }

  ORV_INLINE Vec withAlpha(Vec v, Vec old) {
    const Vec alpha = all32(int(0xFF000000));
    return _mm_or_si128(_mm_andnot_si128(alpha, v), _mm_and_si128(alpha, old));
  }

  // The order in the minimum makes 255 of a NaN. There is nothing to do about what is below 0: it becomes a negative
  // number, -2147483648 at worst, and packing makes 0 of that.
#if ORV_HAS_WIDE_FLOAT
  ORV_INLINE Vec words(Wide x) {
    x = prepared(_mm256_min_ps(x, allWide(255)));
    const __m256i dwords = kRounding == kNearestEven ? _mm256_cvtps_epi32(x) : _mm256_cvttps_epi32(x);
    return _mm_packs_epi32(_mm256_castsi256_si128(dwords), _mm256_extractf128_si256(dwords, 1));
  }
  ORV_INLINE Vec words(const Src* src) { return words(loadWide(src)); }
  ORV_INLINE Vec words(Vec low, Vec high) { return words(_mm256_castsi256_ps(join(low, high))); }
#else
  ORV_INLINE Vec dwords(Wide x) {
    x = prepared(_mm_min_ps(x, allWide(255)));
    return kRounding == kNearestEven ? _mm_cvtps_epi32(x) : _mm_cvttps_epi32(x);
  }
  ORV_INLINE Vec words(const Src* src) { return _mm_packs_epi32(dwords(loadWide(src)), dwords(loadWide(src + 4))); }
  ORV_INLINE Vec words(Vec low, Vec high) { return _mm_packs_epi32(dwords(_mm_castsi128_ps(low)), high); }
#endif
  ORV_INLINE Wide prepared(Wide x) {
    return kRounding == kAwayFromZero ? addWide(x, orWide(andWide(x, allWide(-0.0f)), allWide(0.5f))) : x;
  }
};

// ---- Rows

template <class Conversion, int n>
ORV_INLINE void ends(const typename Conversion::Src* src, typename Conversion::Dst* dst, size_t len) {
  Conversion::template piece<n, false>(src, dst);
  Conversion::template piece<n, false>(src + len - n, dst + len - n);
}

// Pieces at the two ends of a row may overlap others. Stores between them are aligned where whole elements allow it.
template <class Conversion, bool kStreams>
ORV_INLINE void convertRow(const typename Conversion::Src* src, typename Conversion::Dst* dst, size_t len) {
  if (len < kPiece) {
    if (len >= 8) return ends<Conversion, 8>(src, dst, len);
    if (len >= 4) return ends<Conversion, 4>(src, dst, len);
    if (len >= 2) return ends<Conversion, 2>(src, dst, len);
    return ends<Conversion, 1>(src, dst, len);
  }
  const size_t end = len - kPiece, past = reinterpret_cast<uintptr_t>(dst) % kWide / sizeof *dst % kPiece;
  Conversion::template piece<kPiece, false>(src, dst);
  size_t i = kPiece - (Conversion::kKeepsAlpha ? 0 : past);
  // A loop of one may lie within a line of the instruction cache, and some processors then store only once in a cycle.
  constexpr size_t kTurn = 4 * kPiece;
  for (; i + kTurn <= end; i += kTurn) {
    ORV_UNROLL for (size_t k = 0; k < kTurn; k += kPiece)
        Conversion::template piece<kPiece, kStreams>(src + i + k, dst + i + k);
  }
  for (; i < end; i += kPiece) Conversion::template piece<kPiece, kStreams>(src + i, dst + i);
  Conversion::template piece<kPiece, false>(src + end, dst + end);
}

// Rows of len elements; those that lie close together make one row.
template <class Conversion> void convertRows(const typename Conversion::Src* src, int srcStep,
                                             typename Conversion::Dst* dst, int dstStep, size_t len, int height,
                                             bool streams = false) {
  if (size_t(srcStep) == len * sizeof *src && size_t(dstStep) == len * sizeof *dst) {
    len *= size_t(height);
    height = 1;
  }
  for (int y = 0; y < height; ++y) {
    const auto from = rowOf(src, srcStep, y);
    const auto to = rowOf(dst, dstStep, y);
    if (Conversion::kMayStream && streams && reinterpret_cast<uintptr_t>(to) % sizeof *to == 0)
      convertRow<Conversion, true>(from, to, len);
    else
      convertRow<Conversion, false>(from, to, len);
  }
  if (streams) streamEnd();
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
                          Conversion::kMayStream && exceedsCaches(touched, __builtin_inf()));
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
  const bool streams = !kKeepsAlpha && exceedsCaches(touched, kCacheIfUnknown);
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
