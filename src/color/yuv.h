// Subsampled YUV to RGB: what the chroma samples of sixteen pixels add to their luma.
//
//   R = Y + (kRv v >> 13)      G = Y + ((kGu u + kGv v) >> 13)      B = Y + (kBu u >> 13)
//
// with u = U - 128 and v = V - 128. These are the formulas with 8192 Y inside the shift: 8192 Y is a whole multiple of
// what the shift drops. So what chroma adds is worked out once for all the pixels that share a sample.
#pragma once
#include "color/layouts.h"
#include "color/weights.h"

namespace {

struct YuvWeights {
  static constexpr int kBits = 13;
  static constexpr int kRv = fixedPointBelow(1.140, kBits), kGu = fixedPointBelow(-0.394, kBits),
                       kGv = fixedPointBelow(-0.581, kBits), kBu = fixedPointBelow(2.032, kBits);
};

// Words, one for each of the eight chroma samples of sixteen pixels. They lie in -261..258, so words hold the sums, too.
template <class V> struct ChromaPart { V r, g, b; };

// U and V as words.
template <class V> ORV_INLINE ChromaPart<V> chromaPart(V wordsOfU, V wordsOfV) {
  const V u = sub16(wordsOfU, all16<V>(128)), v = sub16(wordsOfV, all16<V>(128));
  using W = YuvWeights;
  const V weights = allPairs16<V>(W::kGu, W::kGv);
  return {mulHigh16(shiftLeft16(v, 16 - W::kBits), all16<V>(W::kRv)),  // kRv v >> 13 is the high word of kRv * 8 v
          narrow32(shiftRight32(mulAddPairs16(interleaveLow16(u, v), weights), W::kBits),
                   shiftRight32(mulAddPairs16(interleaveHigh16(u, v), weights), W::kBits)),
          mulHigh16(shiftLeft16(u, 16 - W::kBits), all16<V>(W::kBu))};
}

// Green first, then the others as they are stored, red first or blue: so registers suffice.
template <bool kBgr, class V> ORV_INLINE Pixels<kEvenOdd, V> addChroma(V luma, const ChromaPart<V>& c) {
  const EvenOdd<V> y = splitEvenOdd8(luma);
  const auto channel = [&](V chroma) ORV_INLINED { return narrow16To8U(add16(y.even, chroma), add16(y.odd, chroma)); };
  const V g = channel(c.g), first = channel(kBgr ? c.b : c.r), last = channel(kBgr ? c.r : c.b);
  return {kBgr ? last : first, g, kBgr ? first : last};
}

}  // namespace
