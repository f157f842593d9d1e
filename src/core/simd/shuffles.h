// Moving elements within a lane, and interleaving those of two. Places count from the lowest address.
#pragma once
#include "core/simd/integers.h"

namespace {

// a0 b0 a1 b1 ...: the low halves of two, and the high halves.
#if ORV_HAS_WIDE_INTEGER
#define ORV_INTERLEAVE(bits)                                                                         \
  ORV_INLINE Lane interleaveLow##bits(Lane a, Lane b) { return _mm_unpacklo_epi##bits(a, b); }       \
  ORV_INLINE Lane interleaveHigh##bits(Lane a, Lane b) { return _mm_unpackhi_epi##bits(a, b); }      \
  ORV_INLINE Lanes interleaveLow##bits(Lanes a, Lanes b) { return _mm256_unpacklo_epi##bits(a, b); } \
  ORV_INLINE Lanes interleaveHigh##bits(Lanes a, Lanes b) { return _mm256_unpackhi_epi##bits(a, b); }
#else
#define ORV_INTERLEAVE(bits)                                                                   \
  ORV_INLINE Lane interleaveLow##bits(Lane a, Lane b) { return _mm_unpacklo_epi##bits(a, b); } \
  ORV_INLINE Lane interleaveHigh##bits(Lane a, Lane b) { return _mm_unpackhi_epi##bits(a, b); }
#endif
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
#if ORV_HAS_WIDE_INTEGER
template <int i0, int i1, int i2, int i3> ORV_INLINE Lanes shuffle32(Lanes v) {
  return _mm256_shuffle_epi32(v, shuffleCode(i0, i1, i2, i3));
}
template <int i0, int i1, int i2, int i3> ORV_INLINE Lanes shuffleLow16(Lanes v) {
  return _mm256_shufflelo_epi16(v, shuffleCode(i0, i1, i2, i3));
}
template <int i0, int i1, int i2, int i3> ORV_INLINE Lanes shuffleHigh16(Lanes v) {
  return _mm256_shufflehi_epi16(v, shuffleCode(i0, i1, i2, i3));
}
#endif
// Words of both halves alike.
template <int i0, int i1, int i2, int i3, class V> ORV_INLINE V shuffleHalves16(V v) {
  return shuffleHigh16<i0, i1, i2, i3>(shuffleLow16<i0, i1, i2, i3>(v));
}
// Dwords i0 i1 of a, then j0 j1 of b; qword i of a, then j of b.
template <int i0, int i1, int j0, int j1> ORV_INLINE Lane joinPairs32(Lane a, Lane b) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), shuffleCode(i0, i1, j0, j1)));
}
template <int i, int j> ORV_INLINE Lane join64(Lane a, Lane b) {
  return _mm_castpd_si128(_mm_shuffle_pd(_mm_castsi128_pd(a), _mm_castsi128_pd(b), i | j << 1));
}
#if ORV_HAS_WIDE_INTEGER
template <int i0, int i1, int j0, int j1> ORV_INLINE Lanes joinPairs32(Lanes a, Lanes b) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), shuffleCode(i0, i1, j0, j1)));
}
template <int i, int j> ORV_INLINE Lanes join64(Lanes a, Lanes b) {
  return _mm256_castpd_si256(_mm256_shuffle_pd(_mm256_castsi256_pd(a), _mm256_castsi256_pd(b), 5 * (i | j << 1)));
}
template <int n> ORV_INLINE Lanes shiftBytesUp(Lanes v) { return _mm256_slli_si256(v, n); }
template <int n> ORV_INLINE Lanes shiftBytesDown(Lanes v) { return _mm256_srli_si256(v, n); }
ORV_INLINE Lanes shuffle8(Lanes v, Lanes places) { return _mm256_shuffle_epi8(v, places); }
template <int n> ORV_INLINE Lanes align8(Lanes low, Lanes high) { return _mm256_alignr_epi8(high, low, n); }
template <int kMask> ORV_INLINE Lanes blend16(Lanes a, Lanes b) { return _mm256_blend_epi16(a, b, kMask); }
#endif
// Bytes moved up or down by n places, zeros following.
template <int n> ORV_INLINE Lane shiftBytesUp(Lane v) { return _mm_slli_si128(v, n); }
template <int n> ORV_INLINE Lane shiftBytesDown(Lane v) { return _mm_srli_si128(v, n); }

#if ORV_HAS_SHUFFLE
// Byte i is byte places[i] of v, or 0 where the highest bit of places[i] is set.
ORV_INLINE Lane shuffle8(Lane v, Lane places) { return _mm_shuffle_epi8(v, places); }
// Byte i is at(index[i]), from a table of at(0) to at(15) that is made in compiling; 0 as above.
template <int (*at)(int)> constexpr long long tableHalf(int start) {
  Vel64u half = 0;
  for (int i = 0; i < 8; ++i) half |= Vel64u(at(start + i) & 0xFF) << 8 * i;
  return static_cast<long long>(half);
}
template <int (*at)(int)> ORV_INLINE Lane lookUp(Lane index) {
  constexpr long long low = tableHalf<at>(0), high = tableHalf<at>(8);
  return shuffle8(Lane{low, high}, index);
}
// Sixteen bytes of low, then high, from byte n on.
template <int n> ORV_INLINE Lane align8(Lane low, Lane high) { return _mm_alignr_epi8(high, low, n); }
#endif

// Bytes kFrom to kFrom + 3 as dwords; what is past the lane's end counts as zero.
template <int kFrom> ORV_INLINE Lane widenU8To32(Lane v) {
#if ORV_HAS_BLEND
  if constexpr (kFrom == 0) return _mm_cvtepu8_epi32(v);
#endif
#if ORV_HAS_SHUFFLE
  return shuffle8(v, bytePattern([](int i) { return i % 4 == 0 && kFrom + i / 4 < 16 ? kFrom + i / 4 : -1; }));
#else
  if constexpr (kFrom % 4 != 0) {
    return widenLowU16(widenLowU8(shiftBytesDown<kFrom>(v)));
  } else {
    const Lane words = kFrom < 8 ? widenLowU8(v) : widenHighU8(v);
    return kFrom % 8 == 0 ? widenLowU16(words) : widenHighU16(words);
  }
#endif
}
// The same of quarter i of the bytes; i is a constant where loops are unrolled.
ORV_INLINE Lane widenQuarterU8(Lane v, int i) {
  return i == 0 ? widenU8To32<0>(v) : i == 1 ? widenU8To32<4>(v) : i == 2 ? widenU8To32<8>(v) : widenU8To32<12>(v);
}

// Word i is the two bytes at p + offset(i).
template <class Offset> ORV_INLINE Lane gather16(const Vel8u* p, const Offset& offset) {
  const auto word = [&](int i) {
    Vel16u bytes;
    memcpy(&bytes, p + offset(i), 2);
    return int(bytes);
  };
  Lane v = fromInt(word(0));
  v = _mm_insert_epi16(v, word(1), 1), v = _mm_insert_epi16(v, word(2), 2), v = _mm_insert_epi16(v, word(3), 3);
  v = _mm_insert_epi16(v, word(4), 4), v = _mm_insert_epi16(v, word(5), 5), v = _mm_insert_epi16(v, word(6), 6);
  return _mm_insert_epi16(v, word(7), 7);
}

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
