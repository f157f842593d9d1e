// Integers in vectors: constants, arithmetic, comparisons, and changes of width.
#pragma once
#include "core/simd/memory.h"

namespace {

// ---- Constants: the same in every element. V is Lane unless it is named.

#if ORV_HAS_WIDE_INTEGER
#define ORV_CONSTANT(name, T, type, bits)            \
  template <class V = Lane> ORV_INLINE V name(T x) { \
    if constexpr (sizeof(V) == 32)                   \
      return _mm256_set1_##bits(type(x));            \
    else                                             \
      return _mm_set1_##bits(type(x));               \
  }
#else
#define ORV_CONSTANT(name, T, type, bits) \
  template <class V = Lane> ORV_INLINE V name(T x) { return _mm_set1_##bits(type(x)); }
#endif
ORV_CONSTANT(all8, int, char, epi8)
ORV_CONSTANT(all16, int, short, epi16)
ORV_CONSTANT(all32, int, int, epi32)
#undef ORV_CONSTANT
template <class V = Lane> ORV_INLINE V zero() { return V{}; }
ORV_INLINE Lane all64(long long x) { return Lane{x, x}; }
// The same two words, or four bytes, in every dword.
template <class V = Lane> ORV_INLINE V allPairs16(int a, int b) {
  return all32<V>(int((unsigned(a) & 0xFFFF) | unsigned(b) << 16));
}
template <class V = Lane> ORV_INLINE V allQuads8(int a, int b, int c, int d) {
  return allPairs16<V>((a & 0xFF) | (b & 0xFF) << 8, (c & 0xFF) | (d & 0xFF) << 8);
}
// Byte i of each lane is at(i).
template <class V = Lane, class At> ORV_INLINE V bytePattern(At at) {
  return repeated<V>(_mm_setr_epi8(char(at(0)), char(at(1)), char(at(2)), char(at(3)), char(at(4)), char(at(5)),
                                   char(at(6)), char(at(7)), char(at(8)), char(at(9)), char(at(10)), char(at(11)),
                                   char(at(12)), char(at(13)), char(at(14)), char(at(15))));
}
// A lane of these words, the first at the lowest address.
ORV_INLINE Lane laneOf16(int a, int b, int c, int d, int e, int f, int g, int h) {
  return _mm_setr_epi16(short(a), short(b), short(c), short(d), short(e), short(f), short(g), short(h));
}

// ---- Arithmetic, element by element

#if ORV_HAS_WIDE_INTEGER
#define ORV_OPERATION(name, intrinsic)                                   \
  ORV_INLINE Lane name(Lane a, Lane b) { return _mm_##intrinsic(a, b); } \
  ORV_INLINE Lanes name(Lanes a, Lanes b) { return _mm256_##intrinsic(a, b); }
#else
#define ORV_OPERATION(name, intrinsic) \
  ORV_INLINE Lane name(Lane a, Lane b) { return _mm_##intrinsic(a, b); }
#endif
ORV_OPERATION(add8, add_epi8)
ORV_OPERATION(add16, add_epi16)
ORV_OPERATION(add32, add_epi32)
ORV_OPERATION(add64, add_epi64)
ORV_OPERATION(addSat16, adds_epi16)
ORV_OPERATION(sub8, sub_epi8)
ORV_OPERATION(sub16, sub_epi16)
ORV_OPERATION(sub32, sub_epi32)
ORV_OPERATION(sub64, sub_epi64)
ORV_OPERATION(subSat16, subs_epi16)
ORV_OPERATION(subSatU8, subs_epu8)
ORV_OPERATION(subSatU16, subs_epu16)
ORV_OPERATION(min16, min_epi16)
ORV_OPERATION(max16, max_epi16)
ORV_OPERATION(minU8, min_epu8)
ORV_OPERATION(maxU8, max_epu8)
ORV_OPERATION(meanU8, avg_epu8)  // (a + b + 1) >> 1
ORV_OPERATION(meanU16, avg_epu16)

// Words of products: the low ones, which signs do not change, and the high ones.
ORV_OPERATION(mulLow16, mullo_epi16)
ORV_OPERATION(mulHigh16, mulhi_epi16)
ORV_OPERATION(mulHighU16, mulhi_epu16)
// a0 b0 + a1 b1, a2 b2 + a3 b3, ...: sums of products of neighbours, from words to dwords.
ORV_OPERATION(mulAddPairs16, madd_epi16)
#if ORV_HAS_SHUFFLE
// From bytes to saturated words: a unsigned, b signed.
ORV_OPERATION(mulAddPairs8, maddubs_epi16)
// (a b + 2^14) >> 15
ORV_OPERATION(mulRound16, mulhrs_epi16)
#endif

// Sums of unsigned bytes, as words, from bytes in the low halves of words and bytes in the high halves of others.
template <class V> ORV_INLINE V addLowAndHighU8(V low, V high) {
#if ORV_HAS_SHUFFLE
  return mulAddPairs8(low | high, all8<V>(1));
#else
  return add16(low, _mm_srli_epi16(high, 8));
#endif
}
// Words of unsigned bytes 0 - 1, 2 - 3, ...
template <class V> ORV_INLINE V subOddFromEven8(V v) {
#if ORV_HAS_SHUFFLE
  return mulAddPairs8(v, allQuads8<V>(1, -1, 1, -1));
#else
  return sub16(v & all16(0xFF), _mm_srli_epi16(v, 8));
#endif
}

// All bits where it is so, else none.
ORV_OPERATION(equal8, cmpeq_epi8)
ORV_OPERATION(equal16, cmpeq_epi16)
ORV_OPERATION(equal32, cmpeq_epi32)
ORV_OPERATION(greater8, cmpgt_epi8)
ORV_OPERATION(greater16, cmpgt_epi16)
// Shifts by a number of bits, the same for all elements. To the right the sign follows, unless they are unsigned.
#if ORV_HAS_WIDE_INTEGER
#define ORV_SHIFT_LANES(name, intrinsic, intrinsicOfCount)                           \
  ORV_INLINE Lanes name(Lanes v, int count) { return _mm256_##intrinsic(v, count); } \
  ORV_INLINE Lanes name(Lanes v, Lane count) { return _mm256_##intrinsicOfCount(v, count); }
#else
#define ORV_SHIFT_LANES(name, intrinsic, intrinsicOfCount)
#endif
#define ORV_SHIFT(name, intrinsic, intrinsicOfCount)                                    \
  ORV_INLINE Lane name(Lane v, int count) { return _mm_##intrinsic(v, count); }         \
  ORV_INLINE Lane name(Lane v, Lane count) { return _mm_##intrinsicOfCount(v, count); } \
  ORV_SHIFT_LANES(name, intrinsic, intrinsicOfCount)
ORV_SHIFT(shiftLeft16, slli_epi16, sll_epi16)
ORV_SHIFT(shiftLeft32, slli_epi32, sll_epi32)
ORV_SHIFT(shiftLeft64, slli_epi64, sll_epi64)
ORV_SHIFT(shiftRight16, srai_epi16, sra_epi16)
ORV_SHIFT(shiftRight32, srai_epi32, sra_epi32)
ORV_SHIFT(shiftRightU16, srli_epi16, srl_epi16)
ORV_SHIFT(shiftRightU32, srli_epi32, srl_epi32)
ORV_SHIFT(shiftRightU64, srli_epi64, srl_epi64)
#undef ORV_SHIFT

// v / 2^n to the nearest integer, halves up, of words from 0 to 32767 - 2^(n - 1).
template <int n> ORV_INLINE Lane shiftRightRound16(Lane v) {
#if ORV_HAS_SHUFFLE
  return mulRound16(v, all16(1 << (15 - n)));
#else
  return shiftRightU16(add16(v, all16(1 << (n - 1))), n);
#endif
}

// v without its sign, and v with the signs of `signs` (nothing in particular where those are zero).
#if ORV_HAS_SHUFFLE
ORV_INLINE Lane magnitude16(Lane v) { return _mm_abs_epi16(v); }
ORV_INLINE Lane withSignsOf16(Lane signs, Lane v) { return _mm_sign_epi16(v, signs); }
#if ORV_HAS_WIDE_INTEGER
ORV_INLINE Lanes magnitude16(Lanes v) { return _mm256_abs_epi16(v); }
ORV_INLINE Lanes withSignsOf16(Lanes signs, Lanes v) { return _mm256_sign_epi16(v, signs); }
#endif
#else
ORV_INLINE Lane withSignsOf16(Lane signs, Lane v) {
  const Lane negative = shiftRight16(signs, 15);
  return sub16(v ^ negative, negative);
}
ORV_INLINE Lane magnitude16(Lane v) { return withSignsOf16(v, v); }
#endif

// ---- Choosing

// v without the bits of the mask. Of ~mask & v compilers may make more than the one instruction that it is.
ORV_INLINE Lane clearBits(Lane v, Lane mask) { return _mm_andnot_si128(mask, v); }
#if ORV_HAS_WIDE_INTEGER
ORV_INLINE Lanes clearBits(Lanes v, Lanes mask) { return _mm256_andnot_si256(mask, v); }
#endif

// yes where the mask has all bits, no where it has none; whole bytes.
ORV_INLINE Lane select(Lane mask, Lane yes, Lane no) {
#if ORV_HAS_BLEND
  return _mm_blendv_epi8(no, yes, mask);
#else
  return (mask & yes) | clearBits(no, mask);
#endif
}
#if ORV_HAS_WIDE_INTEGER
ORV_INLINE Lanes select(Lanes mask, Lanes yes, Lanes no) { return _mm256_blendv_epi8(no, yes, mask); }
#endif
// The same of two constants; and where `no` has all bits wherever the mask has.
ORV_INLINE Lane selectConstant(Lane mask, Lane yes, Lane no) {
#if ORV_HAS_BLEND
  return select(mask, yes, no);
#else
  return (mask & (yes ^ no)) ^ no;
#endif
}
ORV_INLINE Lane selectOverOnes(Lane mask, Lane yes, Lane no) {
#if ORV_HAS_BLEND
  return select(mask, yes, no);
#else
  return clearBits(no, clearBits(mask, yes));
#endif
}
// The same with plain logic on every path, which any unit does: a blend by a vector takes one that multiplies.
template <class V> ORV_INLINE V selectBits(V mask, V yes, V no) { return (mask & yes) | clearBits(no, mask); }
// Pixels of four bytes: three from v, the fourth, alpha as a rule, from old.
template <class V> ORV_INLINE V keepFourth8(V v, V old) { return selectBits(all32<V>(0xFFFFFF), v, old); }

#if ORV_HAS_BLEND
ORV_INLINE bool allZero(Lane v) { return _mm_testz_si128(v, v) != 0; }
#else
ORV_INLINE bool allZero(Lane v) { return _mm_movemask_epi8(equal8(v, zero())) == 0xFFFF; }
#endif
#if ORV_HAS_WIDE_INTEGER
ORV_INLINE bool allZero(Lanes v) { return _mm256_testz_si256(v, v) != 0; }
#endif
// Bit i is the highest bit of byte i.
ORV_INLINE int signBits8(Lane v) { return _mm_movemask_epi8(v); }

// ---- Widening: the low and the high half of a lane's elements, with zeros above them

ORV_INLINE Lane widenLowU8(Lane v) { return _mm_unpacklo_epi8(v, zero()); }
ORV_INLINE Lane widenHighU8(Lane v) { return _mm_unpackhi_epi8(v, zero()); }
ORV_INLINE Lane widenLowU16(Lane v) { return _mm_unpacklo_epi16(v, zero()); }
ORV_INLINE Lane widenHighU16(Lane v) { return _mm_unpackhi_epi16(v, zero()); }
#if ORV_HAS_WIDE_INTEGER
ORV_INLINE Lanes widenLowU8(Lanes v) { return _mm256_unpacklo_epi8(v, zero<Lanes>()); }
ORV_INLINE Lanes widenHighU8(Lanes v) { return _mm256_unpackhi_epi8(v, zero<Lanes>()); }
ORV_INLINE Lanes widenLowU16(Lanes v) { return _mm256_unpacklo_epi16(v, zero<Lanes>()); }
ORV_INLINE Lanes widenHighU16(Lanes v) { return _mm256_unpackhi_epi16(v, zero<Lanes>()); }
#endif

// Eight bytes for each lane, one after the other in memory, as words.
template <class V> ORV_INLINE V loadWidenU8(const Vel8u* p) {
#if ORV_HAS_WIDE_INTEGER
  if constexpr (sizeof(V) == 32)
    return _mm256_cvtepu8_epi16(load(p));
  else
#endif
    return widenLowU8(loadLow(p));
}

// A lane of bytes as words, the even ones and the odd ones.
template <class V> struct EvenOdd { V even, odd; };
template <class V> ORV_INLINE EvenOdd<V> splitEvenOdd8(V bytes) {
  return {bytes & all16<V>(0xFF), shiftRightU16(bytes, 8)};
}

// ---- Narrowing: elements of half the width, those of a, then those of b, saturated

ORV_OPERATION(narrow32, packs_epi32)       // to words
ORV_OPERATION(narrow16, packs_epi16)       // to signed bytes
ORV_OPERATION(narrow16To8U, packus_epi16)  // signed words to unsigned bytes
#undef ORV_OPERATION
// The high bytes of words.
template <class V> ORV_INLINE V highBytes16(V a, V b) { return narrow16To8U(shiftRightU16(a, 8), shiftRightU16(b, 8)); }

}  // namespace
