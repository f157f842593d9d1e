// Loading and storing sixteen pixels of red, green and blue, or of any three channels, in the layouts of the colour
// families.
#pragma once
#include "core/simd.h"

namespace {

// Sixteen pixels, a vector of bytes for each channel, in their natural order or split: the eight even pixels first,
// then the eight odd ones, which is how subsampled chroma leaves them.
enum Order { kNatural, kSplit };
template <Order kOrder> struct Rgb16 { Vec r, g, b; };

// ---- C3: 48 bytes r, g, b, r, ...

struct Three {
  Vec v[3];
};

#if ORV_HAS_SHUFFLE
// Byte 3 p + c of the 48 is channel c of pixel p. 3 is odd, so modulo 16 the bytes of a channel all lie at different
// places: one shuffle a channel moves every byte between its pixel and its place, and each of the three vectors takes
// every third byte from each channel.
template <Order kOrder> constexpr char placeOf(int pixel) {
  return char(kOrder == kNatural ? pixel : pixel >> 1 | (pixel & 1) << 3);
}
#define ORV_SIXTEEN(F) \
  _mm_setr_epi8(F(0), F(1), F(2), F(3), F(4), F(5), F(6), F(7), F(8), F(9), F(10), F(11), F(12), F(13), F(14), F(15))
template <Order kOrder> ORV_INLINE Vec spread(Vec channel, int c) {
#define AT(i) placeOf<kOrder>((11 * ((i) + 16 - c)) & 15) /* 11 is 1 / 3 modulo 16 */
  return _mm_shuffle_epi8(channel, ORV_SIXTEEN(AT));
#undef AT
}
ORV_INLINE Vec gather(Vec mixed, int c) {
#define AT(i) char((3 * (i) + c) & 15)
  return _mm_shuffle_epi8(mixed, ORV_SIXTEEN(AT));
#undef AT
}
// All bits in the bytes i with i mod 3 = m.
ORV_INLINE Vec third(int m) {
#define AT(i) char((i) % 3 == m ? -1 : 0)
  return ORV_SIXTEEN(AT);
#undef AT
}
ORV_INLINE Vec mix(Vec r, Vec g, Vec whereG, Vec b, Vec whereB) {
#if ORV_HAS_BLEND
  return _mm_blendv_epi8(_mm_blendv_epi8(r, g, whereG), b, whereB);
#else
  return _mm_xor_si128(_mm_xor_si128(r, _mm_and_si128(_mm_xor_si128(r, g), whereG)),
                       _mm_and_si128(_mm_xor_si128(r, b), whereB));
#endif
}
template <Order kOrder> ORV_INLINE Three interleave(const Rgb16<kOrder>& p) {
  const Vec r = spread<kOrder>(p.r, 0), g = spread<kOrder>(p.g, 1), b = spread<kOrder>(p.b, 2);
  const Vec m0 = third(0), m1 = third(1), m2 = third(2);
  return {{mix(r, g, m1, b, m2), mix(r, g, m0, b, m1), mix(r, g, m2, b, m0)}};
}
ORV_INLINE Rgb16<kNatural> deinterleave(const Three& t) {
  const Vec m0 = third(0), m1 = third(1), m2 = third(2);
  return {gather(mix(t.v[0], t.v[1], m2, t.v[2], m1), 0), gather(mix(t.v[0], t.v[1], m0, t.v[2], m2), 1),
          gather(mix(t.v[0], t.v[1], m1, t.v[2], m0), 2)};
}
#else
// With even and odd pixels apart, a pair of pixels is three words: x = r g of the even one, y = its b and r of the odd
// one, z = g b of the odd one. Two pairs are three dwords: x0 y0, z0 x1, y1 z1. Dwords kU and kU + 2 of u in turn with
// kV and kV + 2 of v.
template <int kU, int kV> ORV_INLINE Vec pairs(Vec u, Vec v) {
  const __m128 four =
      _mm_shuffle_ps(_mm_castsi128_ps(u), _mm_castsi128_ps(v), kU | (kU + 2) << 2 | kV << 4 | (kV + 2) << 6);
  return _mm_shuffle_epi32(_mm_castps_si128(four), 0xD8);
}
struct PixelPairs {
  Vec x, y, z;
  explicit PixelPairs(const Rgb16<kSplit>& p)
      : x(_mm_unpacklo_epi8(p.r, p.g)),
        y(_mm_unpacklo_epi8(p.b, _mm_srli_si128(p.r, 8))),
        z(_mm_unpackhi_epi8(p.g, p.b)) {}
  explicit PixelPairs(const Rgb16<kNatural>& p)
      : x(_mm_or_si128(_mm_and_si128(p.r, all16(0xFF)), _mm_slli_epi16(p.g, 8))),
        y(_mm_or_si128(_mm_and_si128(p.b, all16(0xFF)), _mm_andnot_si128(all16(0xFF), p.r))),
        z(_mm_or_si128(_mm_srli_epi16(p.g, 8), _mm_andnot_si128(all16(0xFF), p.b))) {}
};
template <Order kOrder> ORV_INLINE Three interleave(const Rgb16<kOrder>& p) {
  const PixelPairs q(p);
  const Vec x = q.x, y = q.y, z = q.z;
  const Vec low = all32(0xFFFF);
  const Vec a = _mm_or_si128(_mm_and_si128(x, low), _mm_slli_epi32(y, 16));
  const Vec b = _mm_or_si128(_mm_and_si128(z, low), _mm_andnot_si128(low, x));
  const Vec c = _mm_or_si128(_mm_srli_epi32(y, 16), _mm_andnot_si128(low, z));
  // Dwords of the result: a0 b0 c0 a1, b1 c1 a2 b2, c2 a3 b3 c3.
  const Vec ab = pairs<0, 0>(a, b), ca = pairs<0, 1>(c, a), bc = pairs<1, 1>(b, c);
  const Vec middle = _mm_castpd_si128(_mm_shuffle_pd(_mm_castsi128_pd(bc), _mm_castsi128_pd(ab), 2));
  return {{_mm_unpacklo_epi64(ab, ca), middle, _mm_unpackhi_epi64(ca, bc)}};
}
// Four perfect shuffles of 48 things in three vectors: of halves that lie 24 bytes apart, one byte from each in turn.
// A byte at place i goes to 2 i modulo 47, and 2 to the fourth is 1 / 3 modulo 47.
ORV_INLINE Rgb16<kNatural> deinterleave(Three t) {
  ORV_UNROLL
  for (int i = 0; i < 4; ++i)
    t = {{_mm_unpacklo_epi8(t.v[0], _mm_srli_si128(t.v[1], 8)), _mm_unpacklo_epi8(_mm_srli_si128(t.v[0], 8), t.v[2]),
          _mm_unpacklo_epi8(t.v[1], _mm_srli_si128(t.v[2], 8))}};
  return {t.v[0], t.v[1], t.v[2]};
}
#endif

template <Order kOrder> ORV_INLINE void storeC3(Vel8u* dst, const Rgb16<kOrder>& p) {
  const Three t = interleave(p);
  for (int i = 0; i < 3; ++i) store(dst + 16 * i, t.v[i]);
}
ORV_INLINE Rgb16<kNatural> loadC3(const Vel8u* src) {
  return deinterleave(Three{{load(src), load(src + 16), load(src + 32)}});
}

// ---- AC4: 64 bytes r, g, b, and a fourth that stays as it was

ORV_INLINE void storeAC4(Vel8u* dst, const Rgb16<kSplit>& p) {
  const Vec rgEven = _mm_unpacklo_epi8(p.r, p.g), rgOdd = _mm_unpackhi_epi8(p.r, p.g);
  const Vec bEven = widenLow8(p.b), bOdd = widenHigh8(p.b);
  const Vec even[2] = {_mm_unpacklo_epi16(rgEven, bEven), _mm_unpackhi_epi16(rgEven, bEven)};
  const Vec odd[2] = {_mm_unpacklo_epi16(rgOdd, bOdd), _mm_unpackhi_epi16(rgOdd, bOdd)};
  const Vec alpha = all32(int(0xFF000000));
  prefetch(dst, kRowAhead);  // loads wait for their lines as stores do not
  for (int i = 0; i < 2; ++i) {
    Vel8u* d = dst + 32 * i;
    store(d, _mm_or_si128(_mm_unpacklo_epi32(even[i], odd[i]), _mm_and_si128(load(d), alpha)));
    store(d + 16, _mm_or_si128(_mm_unpackhi_epi32(even[i], odd[i]), _mm_and_si128(load(d + 16), alpha)));
  }
}

// ---- P3: sixteen bytes a plane

ORV_INLINE Vec natural(Vec channel) { return _mm_unpacklo_epi8(channel, _mm_srli_si128(channel, 8)); }

}  // namespace
