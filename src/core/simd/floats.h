// Vectors of floats. Sums, differences, products and quotients are written with the operators; they are not contracted, and
// keep their order.
#pragma once
#include "core/simd/shuffles.h"

namespace {

constexpr int kFloats = int(sizeof(Floats) / sizeof(float));  // how many a vector has: 4 or 8
constexpr size_t kFloatsBytes = sizeof(Floats);
typedef float Floats4 __attribute__((vector_size(16)));

// ---- Lanes and halves of vectors that may be wider than a lane

#if ORV_HAS_WIDE_FLOAT
ORV_INLINE Dwords joinHalves(Lane low, Lane high) {
  return _mm256_insertf128_si256(_mm256_castsi128_si256(low), high, 1);
}
ORV_INLINE Lane lowHalf(Dwords v) { return _mm256_castsi256_si128(v); }
ORV_INLINE Lane highHalf(Dwords v) { return _mm256_extractf128_si256(v, 1); }
ORV_INLINE Floats joinHalves(Floats4 low, Floats4 high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
}
ORV_INLINE Floats4 lowHalf(Floats v) { return _mm256_castps256_ps128(v); }
ORV_INLINE Floats4 highHalf(Floats v) { return _mm256_extractf128_ps(v, 1); }
// Lane i of v.
ORV_INLINE Floats4 laneOf(Floats v, int i) { return i == 0 ? lowHalf(v) : highHalf(v); }
#if !ORV_HAS_WIDE_INTEGER
ORV_INLINE Dwords shiftRightU32(Dwords v, int count) {
  return joinHalves(shiftRightU32(lowHalf(v), count), shiftRightU32(highHalf(v), count));
}
#endif
#else
ORV_INLINE Floats4 laneOf(Floats v, int) { return v; }
#endif

// Two lanes, one after the other, past the caches or not.
template <bool kStreams> ORV_INLINE void putPair(void* p, Lane low, Lane high) {
#if ORV_HAS_WIDE_FLOAT
  put<kStreams>(p, Floats(joinHalves(low, high)));
#else
  put<kStreams>(p, low);
  put<kStreams>(static_cast<Lane*>(p) + 1, high);
#endif
}
// The same two, with the bits that `kept` has, and low and high have not, left as they are in memory.
ORV_INLINE void storePairButKept(void* p, Lane low, Lane high, Lane kept) {
#if ORV_HAS_WIDE_FLOAT
  store(p, joinHalves(low, high) | (load<Dwords>(p) & joinHalves(kept, kept)));
#else
  const auto storeLane = [=](Lane* at, Lane v) { store(at, v | (load(at) & kept)); };
  storeLane(static_cast<Lane*>(p), low);
  storeLane(static_cast<Lane*>(p) + 1, high);
#endif
}
// The same lane as often as Floats has lanes.
ORV_INLINE Floats repeatLane(Lane v) {
#if ORV_HAS_WIDE_FLOAT
  return Floats(joinHalves(v, v));
#else
  return Floats(v);
#endif
}

// ---- One operation each, on Floats and on Floats4

template <class F> ORV_INLINE F allFloats(float x);
template <> ORV_INLINE Floats4 allFloats<Floats4>(float x) { return _mm_set1_ps(x); }
// The same bits as a vector of another kind.
ORV_INLINE Lane asBits(Floats4 v) { return _mm_castps_si128(v); }
ORV_INLINE Floats4 asFloats(Lane v) { return _mm_castsi128_ps(v); }
ORV_INLINE Floats4 bitAnd(Floats4 a, Floats4 b) { return _mm_and_ps(a, b); }
ORV_INLINE Floats4 bitOr(Floats4 a, Floats4 b) { return _mm_or_ps(a, b); }
ORV_INLINE Floats4 min(Floats4 a, Floats4 b) { return _mm_min_ps(a, b); }            // b where one is a NaN
ORV_INLINE Lane atMost(Floats4 a, Floats4 b) { return asBits(_mm_cmple_ps(a, b)); }  // all bits where a <= b
// Floats and integers. toNearest rounds as SSE's control register says, ties to even as a rule; what no integer holds,
// and a NaN, becomes -2^31.
ORV_INLINE Floats4 toFloats(Lane v) { return _mm_cvtepi32_ps(v); }
ORV_INLINE Lane toNearest(Floats4 v) { return _mm_cvtps_epi32(v); }
ORV_INLINE Lane truncated(Floats4 v) { return _mm_cvttps_epi32(v); }
// Pixels of four channels: three from v, the fourth, alpha as a rule, from old.
ORV_INLINE Floats4 keepFourth(Floats4 v, Floats4 old) {
#if ORV_HAS_BLEND
  return _mm_blend_ps(v, old, 8);
#else
  const Lane three = _mm_setr_epi32(-1, -1, -1, 0), fourth = _mm_setr_epi32(0, 0, 0, -1);
  return asFloats((asBits(v) & three) | (asBits(old) & fourth));
#endif
}
#if ORV_HAS_WIDE_FLOAT
template <> ORV_INLINE Floats allFloats<Floats>(float x) { return _mm256_set1_ps(x); }
ORV_INLINE Dwords asBits(Floats v) { return _mm256_castps_si256(v); }
ORV_INLINE Floats asFloats(Dwords v) { return _mm256_castsi256_ps(v); }
ORV_INLINE Floats bitAnd(Floats a, Floats b) { return _mm256_and_ps(a, b); }
ORV_INLINE Floats bitOr(Floats a, Floats b) { return _mm256_or_ps(a, b); }
ORV_INLINE Floats min(Floats a, Floats b) { return _mm256_min_ps(a, b); }
ORV_INLINE Dwords atMost(Floats a, Floats b) { return asBits(_mm256_cmp_ps(a, b, _CMP_LE_OQ)); }
ORV_INLINE Floats toFloats(Dwords v) { return _mm256_cvtepi32_ps(v); }
ORV_INLINE Dwords toNearest(Floats v) { return _mm256_cvtps_epi32(v); }
ORV_INLINE Dwords truncated(Floats v) { return _mm256_cvttps_epi32(v); }
ORV_INLINE Floats keepFourth(Floats v, Floats old) { return _mm256_blend_ps(v, old, 0x88); }
#endif
ORV_INLINE Floats allFloats(float x) { return allFloats<Floats>(x); }

// ---- Operations that keep the order of their operands
//
// Of two NaNs an instruction gives the first. Compilers think that the operands of a sum or a product may change places,
// hence the instructions themselves.

// Floats at a multiple of 16 bytes, which SSE's instructions, too, take from memory.
typedef float FloatsInMemory __attribute__((vector_size(sizeof(Floats)), aligned(16)));
ORV_INLINE const FloatsInMemory& inMemory(const float* p) { return *reinterpret_cast<const FloatsInMemory*>(p); }

#if ORV_HAS_WIDE_FLOAT
#define ORV_ORDERED(instruction, a, where, b) __asm__("v" instruction " %2, %1, %0" : "=x"(a) : "x"(a), where(b))
#else
#define ORV_ORDERED(instruction, a, where, b) __asm__(instruction " %1, %0" : "+x"(a) : where(b))
#endif
template <class F> ORV_INLINE F addInOrder(F a, F b) {
  ORV_ORDERED("addps", a, "x", b);
  return a;
}
ORV_INLINE Floats addInMemory(Floats a, const float* p) {
  ORV_ORDERED("addps", a, "m", inMemory(p));
  return a;
}
template <class F> ORV_INLINE F mulInOrder(F a, F b) {
  ORV_ORDERED("mulps", a, "x", b);
  return a;
}
#undef ORV_ORDERED

// ---- Four vectors as matrices of four by four, one in each lane: vector i is row i of each

struct Floats4x4 {
  Floats v[4];
};
ORV_INLINE Floats4x4 transpose(const Floats4x4& m) {
#if ORV_HAS_WIDE_FLOAT
  const auto low = [](Floats a, Floats b) { return _mm256_unpacklo_ps(a, b); };
  const auto high = [](Floats a, Floats b) { return _mm256_unpackhi_ps(a, b); };
  const auto lowPairs = [](Floats a, Floats b) { return _mm256_shuffle_ps(a, b, 0x44); };
  const auto highPairs = [](Floats a, Floats b) { return _mm256_shuffle_ps(a, b, 0xEE); };
#else
  const auto low = [](Floats a, Floats b) { return _mm_unpacklo_ps(a, b); };
  const auto high = [](Floats a, Floats b) { return _mm_unpackhi_ps(a, b); };
  const auto lowPairs = [](Floats a, Floats b) { return _mm_shuffle_ps(a, b, 0x44); };
  const auto highPairs = [](Floats a, Floats b) { return _mm_shuffle_ps(a, b, 0xEE); };
#endif
  // 00 10 01 11 | 20 30 21 31 | 02 12 03 13 | 22 32 23 33
  const Floats a = low(m.v[0], m.v[1]), b = low(m.v[2], m.v[3]), c = high(m.v[0], m.v[1]), d = high(m.v[2], m.v[3]);
  return {{lowPairs(a, b), highPairs(a, b), lowPairs(c, d), highPairs(c, d)}};
}

// ---- The first n floats, n being known at run time only and less than a vector has: nothing after them is touched

#if ORV_HAS_WIDE_FLOAT
ORV_INLINE Floats loadFirst(const float* p, int n) {
  const Floats places = _mm256_setr_ps(0, 1, 2, 3, 4, 5, 6, 7);
  return _mm256_maskload_ps(p, asBits(_mm256_cmp_ps(places, allFloats(float(n)), _CMP_LT_OQ)));
}
#else
ORV_INLINE Floats loadFirst(const float* p, int n) {
  if (n == 1) return _mm_load_ss(p);
  const Floats pair = asFloats(loadLow(p));
  return n == 2 ? pair : _mm_movelh_ps(pair, _mm_load_ss(p + 2));
}
#endif
ORV_INLINE void storeFirst(float* p, Floats4 v, int n) {
  if (n == 1) return _mm_store_ss(p, v);
  storeLow(p, asBits(v));
  if (n == 3) _mm_store_ss(p + 2, _mm_movehl_ps(v, v));
}

// ---- Between elements and lanes

constexpr int kFloatsLanes = kFloats / 4;  // how many lanes Floats has

// As many lanes as Floats has: lane i is at(i).
template <class At> ORV_INLINE auto joinLanes(const At& at) {
#if ORV_HAS_WIDE_FLOAT
  return joinHalves(at(0), at(1));
#else
  return at(0);
#endif
}
// Lanes `distance` bytes apart, one after the other: what they have in common is the later one's.
ORV_INLINE void store(void* p, Floats v, [[maybe_unused]] ptrdiff_t distance) {
#if ORV_HAS_WIDE_FLOAT
  store(p, lowHalf(v));
  store(static_cast<Vel8u*>(p) + distance, highHalf(v));
#else
  store(p, v);
#endif
}
// The same lane as often as Dwords has lanes.
ORV_INLINE Dwords repeatedDwords(Lane v) {
  return joinLanes([v](int) { return v; });
}
#if ORV_HAS_SHUFFLE
// shuffle8 of each lane, of which lane i is at(i).
template <class At> ORV_INLINE Dwords shuffleLanes8(const At& at, Dwords places) {
#if ORV_HAS_WIDE_INTEGER
  return shuffle8(joinLanes(at), places);
#elif ORV_HAS_WIDE_FLOAT
  return joinHalves(shuffle8(at(0), lowHalf(places)), shuffle8(at(1), highHalf(places)));
#else
  return shuffle8(at(0), places);
#endif
}
#endif
// Element i of a lane in all four places.
template <int i> ORV_INLINE Floats4 repeatElement(Floats4 v) { return _mm_shuffle_ps(v, v, shuffleCode(i, i, i, i)); }

// The sums of the four elements of each lane: element i of the lane is vector i's. They are (0 + 2) + (1 + 3).
ORV_INLINE Floats4 laneSums(const Floats4 (&v)[4]) {
  const Floats4 a = _mm_unpacklo_ps(v[0], v[1]) + _mm_unpackhi_ps(v[0], v[1]);
  const Floats4 b = _mm_unpacklo_ps(v[2], v[3]) + _mm_unpackhi_ps(v[2], v[3]);
  return _mm_movelh_ps(a, b) + _mm_movehl_ps(b, a);
}
#if ORV_HAS_WIDE_FLOAT
ORV_INLINE Floats laneSums(const Floats (&v)[4]) {
  const Floats a = _mm256_unpacklo_ps(v[0], v[1]) + _mm256_unpackhi_ps(v[0], v[1]);
  const Floats b = _mm256_unpacklo_ps(v[2], v[3]) + _mm256_unpackhi_ps(v[2], v[3]);
  return _mm256_shuffle_ps(a, b, 0x44) + _mm256_shuffle_ps(a, b, 0xEE);
}
#endif

}  // namespace
