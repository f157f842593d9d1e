// Subsampled YUV to RGB: what the chroma samples of sixteen pixels add to their luma.
//
//   R = Y + (9338 v >> 13)      G = Y - ((3227 u + 4759 v) >> 13)      B = Y + (16645 u >> 13)
//
// with u = U - 128 and v = V - 128. These are the formulas with 8192 Y inside the shift: 8192 Y is a whole multiple of
// what the shift drops. So what chroma adds is worked out once for all the pixels that share a sample.
#pragma once
#include "color/layouts.h"

namespace {

// Words, one for each of the eight chroma samples of sixteen pixels. They lie in -261..258, so words hold the sums, too.
template <class V> struct ChromaPart { V r, g, b; };

// U and V as words.
template <class V> ORV_INLINE ChromaPart<V> chromaPart(V wordsOfU, V wordsOfV) {
  const V u = sub16(wordsOfU, all16(128)), v = sub16(wordsOfV, all16(128));
  const V weights = allPairs16(-3227, -4759);
  return {mulHigh16(shiftLeft16(v, 3), all16(9338)),  // 9338 v >> 13 is the high word of 9338 * 8 v
          narrow32(shiftRight32(mulAddPairs16(interleaveLow16(u, v), weights), 13),
                   shiftRight32(mulAddPairs16(interleaveHigh16(u, v), weights), 13)),
          mulHigh16(shiftLeft16(u, 3), all16(16645))};
}

template <class V> ORV_INLINE Pixels<kEvenOdd, V> addChroma(V luma, const ChromaPart<V>& c) {
  const EvenOdd<V> y = splitEvenOdd8(luma);
  return {narrow16To8U(add16(y.even, c.r), add16(y.odd, c.r)), narrow16To8U(add16(y.even, c.g), add16(y.odd, c.g)),
          narrow16To8U(add16(y.even, c.b), add16(y.odd, c.b))};
}

}  // namespace
