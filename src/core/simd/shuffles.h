// Moving elements within a lane, and interleaving those of two. Places count from the lowest address.
#pragma once
#include "core/simd/integers.h"

namespace {

// a0 b0 a1 b1 ...: the low halves of two, and the high halves.
#define ORV_INTERLEAVE(bits)                                                                        \
  ORV_INLINE Lane interleaveLow##bits(Lane a, Lane b) { return _mm_unpacklo_epi##bits(a, b); }      \
  ORV_INLINE Lane interleaveHigh##bits(Lane a, Lane b) { return _mm_unpackhi_epi##bits(a, b); }
ORV_INTERLEAVE(8)
ORV_INTERLEAVE(16)
ORV_INTERLEAVE(32)
ORV_INTERLEAVE(64)
#undef ORV_INTERLEAVE

constexpr int shuffleCode(int i0, int i1, int i2, int i3) { return i0 | i1 << 2 | i2 << 4 | i3 << 6; }

// Dwords i0 i1 i2 i3 of v; words of the low and of the high half, the other half staying.
template <int i0, int i1, int i2, int i3> ORV_INLINE Lane shuffle32(Lane v) {
  return _mm_shuffle_epi32(v, shuffleCode(i0, i1, i2, i3));
}
template <int i0, int i1, int i2, int i3> ORV_INLINE Lane shuffleLow16(Lane v) {
  return _mm_shufflelo_epi16(v, shuffleCode(i0, i1, i2, i3));
}
template <int i0, int i1, int i2, int i3> ORV_INLINE Lane shuffleHigh16(Lane v) {
  return _mm_shufflehi_epi16(v, shuffleCode(i0, i1, i2, i3));
}
// Words of both halves alike.
template <int i0, int i1, int i2, int i3> ORV_INLINE Lane shuffleHalves16(Lane v) {
  return shuffleHigh16<i0, i1, i2, i3>(shuffleLow16<i0, i1, i2, i3>(v));
}
// Dwords i0 i1 of a, then j0 j1 of b; qword i of a, then j of b.
template <int i0, int i1, int j0, int j1> ORV_INLINE Lane joinPairs32(Lane a, Lane b) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), shuffleCode(i0, i1, j0, j1)));
}
template <int i, int j> ORV_INLINE Lane join64(Lane a, Lane b) {
  return _mm_castpd_si128(_mm_shuffle_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b), i | j << 1));
}
// Bytes moved up or down by n places, zeros following.
template <int n> ORV_INLINE Lane shiftBytesUp(Lane v) { return _mm_slli_si128(v, n); }
template <int n> ORV_INLINE Lane shiftBytesDown(Lane v) { return _mm_srli_si128(v, n); }

#if ORV_HAS_SHUFFLE
// Byte i is byte places[i] of v, or 0 where the highest bit of places[i] is set.
ORV_INLINE Lane shuffle8(Lane v, Lane places) { return _mm_shuffle_epi8(v, places); }
// Sixteen bytes of low, then high, from byte n on.
template <int n> ORV_INLINE Lane align8(Lane low, Lane high) { return _mm_alignr_epi8(high, low, n); }
#endif

// Word i of b where bit i of the mask is set, else of a.
template <int kMask> ORV_INLINE Lane blend16(Lane a, Lane b) {
#if ORV_HAS_BLEND
  return _mm_blend_epi16(a, b, kMask);
#else
  constexpr auto word = [](int i) { return kMask >> i & 1 ? short(-1) : short(0); };
  return selectBits(_mm_setr_epi16(word(0), word(1), word(2), word(3), word(4), word(5), word(6), word(7)), b, a);
#endif
}

// The low eight bytes from last to first.
ORV_INLINE Lane reverseLow8(Lane v) {
#if ORV_HAS_SHUFFLE
  return shuffle8(v, bytePattern([](int i) { return i < 8 ? 7 - i : -1; }));
#else
  return shuffleLow16<3, 2, 1, 0>(shiftRightU16(v, 8) | shiftLeft16(v, 8));
#endif
}

}  // namespace
