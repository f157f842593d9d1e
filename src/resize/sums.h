// What methods with as many taps as they need have in common: sums of four columns, and storing a row.
#pragma once
#include "resize/kernels.h"

namespace {

constexpr int kLanesOfWide = int(kFloatsBytes / sizeof(float)), kWidesOf16 = 16 / kLanesOfWide;

ORV_INLINE void quadsToFloats(const Lane (&quads)[4], Floats (&floats)[kWidesOf16]) {
  ORV_UNROLL for (int i = 0; i < kWidesOf16; ++i)
#if ORV_HAS_WIDE_FLOAT
      floats[i] = toFloats(_mm256_insertf128_si256(_mm256_castsi128_si256(quads[2 * i]), quads[2 * i + 1], 1));
#else
      floats[i] = toFloats(quads[i]);
#endif
}
// Sixteen words as floats.
ORV_INLINE void wordsToFloats(Lane low, Lane high, Floats (&floats)[kWidesOf16]) {
  const Lane quads[4] = {interleaveLow16(low, zero()), interleaveHigh16(low, zero()), interleaveLow16(high, zero()),
                         interleaveHigh16(high, zero())};
  quadsToFloats(quads, floats);
}
// Sixteen bytes as floats.
ORV_INLINE void bytesToFloats(Lane bytes, Floats (&floats)[kWidesOf16]) {
#if ORV_HAS_SHUFFLE
  Lane quads[4];
  ORV_UNROLL for (int i = 0; i < 4; ++i) quads[i] =
      shuffle8(bytes, add32(_mm_set_epi32(0x80808003, 0x80808002, 0x80808001, 0x80808000), all32(4 * i)));
  quadsToFloats(quads, floats);
#else
  wordsToFloats(widenLowU8(bytes), widenHighU8(bytes), floats);
#endif
}

// Stores a pixel, given in the low four bytes. Of three-byte pixels all but the last may write a byte of the next one.
template <int kPixel, int kChannels> ORV_INLINE void storePixel(Vel8u* dst, Lane pixel, bool isLast) {
  const int four = toInt(pixel);
  if (kChannels == 4 || (kPixel == 3 && !isLast)) {
    memcpy(dst, &four, 4);
  } else {
    memcpy(dst, &four, 2);
    dst[2] = Vel8u(four >> 16);
  }
}

}  // namespace
