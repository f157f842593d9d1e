// Runs of floats and of integers, from and to bytes, in as many vectors as they take.
#pragma once
#include "core/simd/floats.h"

namespace {

// ---- Runs: n elements, 1, 2, 4, 8 or 16, in as many vectors as they take. Fewer than four leave a vector's rest undefined.

template <int n> struct RunVectors {
  static constexpr bool kIsWide = n >= kFloats;
  template <class Wide, class Narrow> static auto pick() {
    if constexpr (kIsWide)
      return Wide();
    else
      return Narrow();
  }
  using Float = decltype(pick<Floats, Floats4>());
  using Int = decltype(pick<Dwords, Lane>());
  static constexpr int kElements = int(sizeof(Float) / sizeof(float));  // of a vector
  static constexpr int kCount = n > kElements ? n / kElements : 1;
};
template <int n> struct FloatRun {
  using V = typename RunVectors<n>::Float;
  static constexpr int kElements = RunVectors<n>::kElements, kCount = RunVectors<n>::kCount;
  V v[kCount];
};
template <int n> struct DwordRun {
  using V = typename RunVectors<n>::Int;
  static constexpr int kElements = RunVectors<n>::kElements, kCount = RunVectors<n>::kCount;
  V v[kCount];
};

template <int n> ORV_INLINE FloatRun<n> loadRun(const float* p) {
  using Run = FloatRun<n>;
  if constexpr (n < 4) return {{asFloats(loadFirst<4 * n>(p))}};
  Run run;
  ORV_UNROLL for (int i = 0; i < Run::kCount; ++i) run.v[i] = load<typename Run::V>(p + i * Run::kElements);
  return run;
}
template <bool kStreams = false, int n> ORV_INLINE void storeRun(float* p, const FloatRun<n>& run) {
  if constexpr (n < 4)
    storeFirst<4 * n>(p, asBits(run.v[0]));
  else
    ORV_UNROLL for (int i = 0; i < run.kCount; ++i) put<kStreams>(p + i * run.kElements, run.v[i]);
}

template <int n> ORV_INLINE FloatRun<n> keepFourth(const FloatRun<n>& run, const FloatRun<n>& old) {
  FloatRun<n> kept;
  ORV_UNROLL for (int i = 0; i < run.kCount; ++i) kept.v[i] = keepFourth(run.v[i], old.v[i]);
  return kept;
}

template <int n> ORV_INLINE FloatRun<n> allRun(float x) {
  FloatRun<n> run;
  ORV_UNROLL for (auto& v : run.v) v = allFloats<typename FloatRun<n>::V>(x);
  return run;
}
template <int n> ORV_INLINE FloatRun<n> operator+(FloatRun<n> a, const FloatRun<n>& b) {
  ORV_UNROLL for (int i = 0; i < a.kCount; ++i) a.v[i] = a.v[i] + b.v[i];
  return a;
}
template <int n> ORV_INLINE FloatRun<n> operator*(FloatRun<n> a, const FloatRun<n>& b) {
  ORV_UNROLL for (int i = 0; i < a.kCount; ++i) a.v[i] = a.v[i] * b.v[i];
  return a;
}
template <int n> ORV_INLINE FloatRun<n> operator*(FloatRun<n> a, float x) {
  ORV_UNROLL for (auto& v : a.v) v = v * allFloats<typename FloatRun<n>::V>(x);
  return a;
}
// Each lane times the same four.
template <int n> ORV_INLINE FloatRun<n> mulLanes(FloatRun<n> a, Floats4 b) {
  ORV_UNROLL for (auto& v : a.v) if constexpr (sizeof v == sizeof b) v = v * b;
  else v = v * repeatLane(asBits(b));
  return a;
}
template <int n> ORV_INLINE FloatRun<n> laneSums(const FloatRun<n> (&runs)[4]) {
  FloatRun<n> sums;
  ORV_UNROLL for (int i = 0; i < sums.kCount; ++i) {
    const typename FloatRun<n>::V v[4] = {runs[0].v[i], runs[1].v[i], runs[2].v[i], runs[3].v[i]};
    sums.v[i] = laneSums(v);
  }
  return sums;
}

// Lane i is element i, four times.
ORV_INLINE FloatRun<16> repeatElements(Floats4 v) {
#if ORV_HAS_WIDE_FLOAT
  const Floats twice = repeatLane(asBits(v));
  return {{_mm256_permutevar_ps(twice, _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1)),
           _mm256_permutevar_ps(twice, _mm256_setr_epi32(2, 2, 2, 2, 3, 3, 3, 3))}};
#else
  return {{repeatElement<0>(v), repeatElement<1>(v), repeatElement<2>(v), repeatElement<3>(v)}};
#endif
}
// a b added to the lower lanes of a sum.
ORV_INLINE FloatRun<16> addLow(FloatRun<16> sum, const FloatRun<8>& a, const FloatRun<16>& b) {
  ORV_UNROLL for (int i = 0; i < a.kCount; ++i) sum.v[i] = sum.v[i] + a.v[i] * b.v[i];
  return sum;
}
// (0 + 2) + (1 + 3).
ORV_INLINE Floats4 sumOfLanes(const FloatRun<16>& run) {
#if ORV_HAS_WIDE_FLOAT
  const Floats sum = run.v[0] + run.v[1];
  return lowHalf(sum) + highHalf(sum);
#else
  return (run.v[0] + run.v[2]) + (run.v[1] + run.v[3]);
#endif
}

// f of each vector.
template <int n, class F> ORV_INLINE FloatRun<n> each(FloatRun<n> run, const F& f) {
  ORV_UNROLL for (auto& v : run.v) v = f(v);
  return run;
}
template <int n, class F> ORV_INLINE DwordRun<n> eachAsDwords(const FloatRun<n>& run, const F& f) {
  DwordRun<n> dwords;
  ORV_UNROLL for (int i = 0; i < run.kCount; ++i) dwords.v[i] = f(run.v[i]);
  return dwords;
}
template <int n> ORV_INLINE FloatRun<n> toFloats(const DwordRun<n>& run) {
  FloatRun<n> floats;
  ORV_UNROLL for (int i = 0; i < run.kCount; ++i) floats.v[i] = toFloats(run.v[i]);
  return floats;
}
template <int n> ORV_INLINE DwordRun<n> toNearest(const FloatRun<n>& run) {
  DwordRun<n> dwords;
  ORV_UNROLL for (int i = 0; i < run.kCount; ++i) dwords.v[i] = toNearest(run.v[i]);
  return dwords;
}
template <int n> ORV_INLINE DwordRun<n> truncated(const FloatRun<n>& run) {
  DwordRun<n> dwords;
  ORV_UNROLL for (int i = 0; i < run.kCount; ++i) dwords.v[i] = truncated(run.v[i]);
  return dwords;
}

template <int n> ORV_INLINE FloatRun<n> asFloats(const DwordRun<n>& run) {
  FloatRun<n> floats;
  ORV_UNROLL for (int i = 0; i < run.kCount; ++i) floats.v[i] = asFloats(run.v[i]);
  return floats;
}

// All bits where an element is at most `most`.
template <int n> ORV_INLINE DwordRun<n> atMost(const FloatRun<n>& run, float most) {
  DwordRun<n> mask;
  using V = typename FloatRun<n>::V;
  ORV_UNROLL for (int i = 0; i < run.kCount; ++i) mask.v[i] = atMost(run.v[i], allFloats<V>(most));
  return mask;
}

// The dwords of so many lanes.
template <int n> ORV_INLINE DwordRun<n> runOf(const Lane (&lanes)[n < 4 ? 1 : n / 4]) {
  DwordRun<n> run;
  if constexpr (sizeof run.v[0] == 16) {
    ORV_UNROLL for (int i = 0; i < run.kCount; ++i) run.v[i] = lanes[i];
  }
#if ORV_HAS_WIDE_FLOAT
  else {
    ORV_UNROLL for (int i = 0; i < run.kCount; ++i) run.v[i] = joinHalves(lanes[2 * i], lanes[2 * i + 1]);
  }
#endif
  return run;
}
// The first n bytes of a lane, unsigned; the words of two lanes, unsigned.
template <int n> ORV_INLINE FloatRun<n> bytesToFloats(Lane bytes) {
  Lane lanes[n < 4 ? 1 : n / 4];
  ORV_UNROLL for (int i = 0; i < (n < 4 ? 1 : n / 4); ++i) lanes[i] = widenQuarterU8(bytes, i);
  return toFloats(runOf<n>(lanes));
}
template <int n> ORV_INLINE FloatRun<n> loadBytesAsFloats(const Vel8u* p) {
#if ORV_HAS_WIDE_INTEGER
  if constexpr (n >= 8) {
    DwordRun<n> run;
    ORV_UNROLL for (int i = 0; i < run.kCount; ++i) run.v[i] = Dwords(_mm256_cvtepu8_epi32(loadLow(p + 8 * i)));
    return toFloats(run);
  }
#endif
#if ORV_HAS_BLEND
  Lane lanes[n < 4 ? 1 : n / 4];
  ORV_UNROLL for (int i = 0; i < (n < 4 ? 1 : n / 4); ++i) lanes[i] =
      _mm_cvtepu8_epi32(loadFirst<(n < 4 ? n : 4)>(p + 4 * i));
  return toFloats(runOf<n>(lanes));
#else
  return bytesToFloats<n>(loadFirst<n>(p));
#endif
}
// Of pixels of four bytes the first three; addFourth adds the fourth, which it takes from old.
template <int n> ORV_INLINE FloatRun<n> loadThreeBytesAsFloats(const Vel8u* p) {
#if ORV_HAS_BLEND
  return loadBytesAsFloats<n>(p);
#else
  return bytesToFloats<n>(loadFirst<n>(p) & all32(0x00FFFFFF));
#endif
}
template <int n> ORV_INLINE FloatRun<n> addFourth(const FloatRun<n>& three, const FloatRun<n>& old) {
#if ORV_HAS_BLEND
  return keepFourth(three, old);
#else
  FloatRun<n> four;
  ORV_UNROLL for (int i = 0; i < four.kCount; ++i) four.v[i] =
      bitOr(three.v[i], bitAnd(old.v[i], asFloats(_mm_setr_epi32(0, 0, 0, -1))));
  return four;
#endif
}
ORV_INLINE FloatRun<16> wordsToFloats(Lane low, Lane high) {
  return toFloats(runOf<16>({widenLowU16(low), widenHighU16(low), widenLowU16(high), widenHighU16(high)}));
}

// Signed words of dwords, saturated.
template <int n> ORV_INLINE Lane wordsOf(const DwordRun<n>& run, int vector = 0) {
  if constexpr (n < 8) return narrow32(run.v[0], run.v[0]);
#if ORV_HAS_WIDE_FLOAT
  else
    return narrow32(lowHalf(run.v[vector]), highHalf(run.v[vector]));
#else
  else
    return narrow32(run.v[2 * vector], run.v[2 * vector + 1]);
#endif
}
// Unsigned bytes of dwords, saturated.
template <int n> ORV_INLINE Lane narrowTo8U(const DwordRun<n>& run) {
  return narrow16To8U(wordsOf(run, 0), wordsOf(run, n == 16 ? 1 : 0));
}
// As many of them as V holds, one vector after the other: at(i) gives the one that begins with element i. Where working out
// a vector takes many registers, this leaves more of them than a run does.
template <class V = Lane, class At> ORV_INLINE V narrowVectorsTo8U(const At& at) {
#if ORV_HAS_WIDE_INTEGER
  if constexpr (sizeof(V) == 32) {  // dwords 0 2 4 6 | 1 3 5 7: narrowing works within lanes
    const Lanes low = narrow32(at(0), at(8)), v = narrow16To8U(low, narrow32(at(16), at(24)));
    return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
  } else
#endif
  {
    const auto words = [&](int i) __attribute__((always_inline)) {
#if ORV_HAS_WIDE_FLOAT
      const Dwords v = at(i);
      return narrow32(lowHalf(v), highHalf(v));
#else
      return narrow32(at(i), at(i + 4));
#endif
    };
    const Lane low = words(0);
    return narrow16To8U(low, words(8));
  }
}

}  // namespace
