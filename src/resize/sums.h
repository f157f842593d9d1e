// What methods with as many taps as they need have in common: sums of four columns, and storing a row.
#pragma once
#include "resize/kernels.h"

namespace {

constexpr int kLanesOfWide = int(kWide / sizeof(float)), kWidesOf16 = 16 / kLanesOfWide;

ORV_INLINE void quadsToFloats(const Vec (&quads)[4], Wide (&floats)[kWidesOf16]) {
  ORV_UNROLL for (int i = 0; i < kWidesOf16; ++i)
#if ORV_HAS_WIDE_FLOAT
      floats[i] =
          _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(quads[2 * i]), quads[2 * i + 1], 1));
#else
      floats[i] = _mm_cvtepi32_ps(quads[i]);
#endif
}
// Sixteen words as floats.
ORV_INLINE void wordsToFloats(Vec low, Vec high, Wide (&floats)[kWidesOf16]) {
  const Vec quads[4] = {_mm_unpacklo_epi16(low, zero()), _mm_unpackhi_epi16(low, zero()),
                        _mm_unpacklo_epi16(high, zero()), _mm_unpackhi_epi16(high, zero())};
  quadsToFloats(quads, floats);
}
// Sixteen bytes as floats.
ORV_INLINE void bytesToFloats(Vec bytes, Wide (&floats)[kWidesOf16]) {
#if ORV_HAS_SHUFFLE
  Vec quads[4];
  ORV_UNROLL for (int i = 0; i < 4; ++i) quads[i] = _mm_shuffle_epi8(
      bytes, _mm_add_epi32(_mm_set_epi32(0x80808003, 0x80808002, 0x80808001, 0x80808000), all32(4 * i)));
  quadsToFloats(quads, floats);
#else
  wordsToFloats(widenLow8(bytes), widenHigh8(bytes), floats);
#endif
}

// The sums of the lanes of four vectors: the first and third lane, and the second and fourth, then both.
ORV_INLINE __m128 laneSums(const __m128 (&v)[4]) {
  const __m128 a = _mm_add_ps(_mm_unpacklo_ps(v[0], v[1]), _mm_unpackhi_ps(v[0], v[1]));
  const __m128 b = _mm_add_ps(_mm_unpacklo_ps(v[2], v[3]), _mm_unpackhi_ps(v[2], v[3]));
  return _mm_add_ps(_mm_movelh_ps(a, b), _mm_movehl_ps(b, a));
}
#if ORV_HAS_WIDE_FLOAT
ORV_INLINE Wide laneSums(const Wide (&v)[4]) {  // in each half
  const Wide a = addWide(_mm256_unpacklo_ps(v[0], v[1]), _mm256_unpackhi_ps(v[0], v[1]));
  const Wide b = addWide(_mm256_unpacklo_ps(v[2], v[3]), _mm256_unpackhi_ps(v[2], v[3]));
  return addWide(_mm256_shuffle_ps(a, b, 0x44), _mm256_shuffle_ps(a, b, 0xEE));
}
#endif

// Stores a pixel, given in the low four bytes. Of three-byte pixels all but the last may write a byte of the next one.
template <int kPixel, int kChannels> ORV_INLINE void storePixel(Vel8u* dst, Vec pixel, bool isLast) {
  const int four = _mm_cvtsi128_si32(pixel);
  if (kChannels == 4 || (kPixel == 3 && !isLast)) {
    memcpy(dst, &four, 4);
  } else {
    memcpy(dst, &four, 2);
    dst[2] = Vel8u(four >> 16);
  }
}

}  // namespace
