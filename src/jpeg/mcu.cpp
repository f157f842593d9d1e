// The JFIF conversion of one 4:2:0 MCU, in integers.
//
// Luma is an integer, so a pixel's channel is clamp(128 + y + t), where t is what chroma adds, rounded: half up, since
// a sum that lies exactly on a half does so in single precision too.
//
//   red    1.402 cr = cr + 0.402 cr
//   green  -0.34414 cb - 0.71414 cr
//   blue   1.772 cb = 2 cb - 0.228 cb
//
// For chroma of -128..127 the fixed point below gives every t exactly; tests compare all of them with
// computeRGBFromYUV_JPEG_F32_U8, which also converts MCUs with chroma outside.
#include "jpeg/mcu.h"
#include "core/cache.h"
#include "core/simd.h"
#include "image/checks.h"
#include "jpeg/value.h"

namespace {

// A lane has a row of chroma samples, or one of luma samples and the pixels that come of it; the next lane, the row of
// chroma that follows, or the luma row two further down.

// What eight chroma samples a lane add to luma, with the level shift: words.
template <class V> struct Terms { V r, g, b; };

// A weight with so many fractional bits, rounded down.
constexpr int fixedPoint(double weight, int bits) {
  const double exact = weight * (1 << bits);
  return int(exact) - (int(exact) > exact ? 1 : 0);
}
constexpr int kFraction = 23, kLowBits = 8;
constexpr int kRedWeight = fixedPoint(0.402, 16), kBlueWeight = fixedPoint(-0.228, 16);
constexpr int kCbWeight = fixedPoint(-0.34414, kFraction), kCrWeight = fixedPoint(-0.71414, kFraction);
// Added to the half that rounds, these make up for the weights' rounding. scripts/derive/mcu finds the biases with which
// all 256 values, and all pairs of them, come out right, and takes the middle one.
constexpr int kRedBias = 0, kGreenBias = 49, kBlueBias = 1;

// Weight times c, rounded: the product has 8 bits of fraction.
template <class V> ORV_INLINE V weighted(V c, int weight, int bias) {
  const V product = mulHigh16(shiftLeft16(c, 8), all16<V>(weight));
  return shiftRight16(add16(product, all16<V>(128 + bias)), 8);
}
// Of four pairs (cb, cr). Sums are multiples of 0.00002, so 23 bits of fraction tell them from a half; the weights are
// split into 15 high bits and 8 low ones.
template <class V> ORV_INLINE V green(V pairs) {
  const V high = mulAddPairs16(pairs, allPairs16<V>(kCbWeight >> kLowBits, kCrWeight >> kLowBits));
  const V low = mulAddPairs16(pairs, allPairs16<V>(kCbWeight & 255, kCrWeight & 255));
  const V sum = add32(shiftLeft32(high, kLowBits), low);
  return shiftRight32(add32(sum, all32<V>((1 << (kFraction - 1)) + kGreenBias)), kFraction);
}

// `outside` gathers bits above the low eight from samples outside -128..127, for which the terms are not exact.
template <class V> ORV_INLINE Terms<V> terms(V cb, V cr, V& outside) {
  const V level = all16<V>(128);
  const V cbLevel = add16(cb, level), crLevel = add16(cr, level);
  outside = outside | (cbLevel | crLevel);
  const V r = add16(crLevel, weighted(cr, kRedWeight, kRedBias));
  const V b = add16(add16(cb, cbLevel), weighted(cb, kBlueWeight, kBlueBias));
  const V g = narrow32(green(interleaveLow16(cb, cr)), green(interleaveHigh16(cb, cr)));
  return {r, add16(g, level), b};
}

// What the terms' eight samples add to sixteen pixels: each serves two.
template <class V> struct PixelTerms {
  V left, right;
  explicit PixelTerms(V t) : left(interleaveLow16(t, t)), right(interleaveHigh16(t, t)) {}
  V channel(V l, V r) const { return narrow16To8U(addSat16(l, left), addSat16(r, right)); }
};

// Two rows of sixteen pixels a lane, each from eight luma samples of the left block and eight of the right one, which
// follows it.
template <class V> ORV_INLINE void convertRows(const Vel16s* left, const Vel16s* cb, const Vel16s* cr, Vel8u* dst,
                                               int dstStep, V& outside) {
  const Terms<V> t = terms(load<V>(cb), load<V>(cr), outside);
  const PixelTerms<V> r(t.r), g(t.g), b(t.b);
  ORV_UNROLL for (int i = 0; i < 2; ++i) {
    constexpr ptrdiff_t kTwoRows = 16 * sizeof(*left);
    const V l = load<V>(left + 8 * i, kTwoRows), m = load<V>(left + 64 + 8 * i, kTwoRows);
    const auto pixels = interleave3(Pixels<kInOrder, V>{r.channel(l, m), g.channel(l, m), b.channel(l, m)});
    Vel8u* const to = dst + ptrdiff_t(dstStep) * i;
    ORV_UNROLL for (int n = 0; n < 3; ++n) store(to + 16 * n, pixels.v[n], ptrdiff_t(dstStep) * 2);
  }
}

void convertOneByOne(const Vel16s* pLuma, const Vel16s* pCb, const Vel16s* pCr, Vel8u* pDst, int dstStep) {
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 16; ++x) {
      const int l = y / 8 * 128 + x / 8 * 64 + y % 8 * 8 + x % 8, c = y / 2 * 8 + x / 2;
      Vel8u* const p = rowOf(pDst, dstStep, y) + 3 * x;
      computeRGBFromYUV_JPEG_F32_U8(valueAt(pLuma + l), valueAt(pCb + c), valueAt(pCr + c), p, p + 1, p + 2);
    }
}

// Asks for what MCUs further on and the one below this one will need of the chroma row j and its pixels, which processors do
// not predict. The last bytes of neighbours' rows are nearer than a cache line to each other, so every line is asked for.
ORV_INLINE void prefetchNext(const Vel16s* luma, const Vel16s* cb, const Vel16s* cr, const Vel8u* dst, int dstStep,
                             int j) {
  prefetch(luma, kRowAhead + 64 * j);
  if (j % 4 == 0) {
    prefetch(cb, kRowAhead + 16 * j);
    prefetch(cr, kRowAhead + 16 * j);
  }
  prefetch(dst, ptrdiff_t(dstStep) * (16 + 2 * j) + 47);
  prefetch(dst, ptrdiff_t(dstStep) * (17 + 2 * j) + 47);
}

}  // namespace

ORV_KERNEL void ORV_NAME(ownpj_YUV420ToRGB888LS_MCU)(const Vel16s* pLuma, const Vel16s* pCb, const Vel16s* pCr,
                                                     Vel8u* pDst, int dstStep) {
  constexpr int kLanes = sizeof(Lanes) / sizeof(Lane);
  Lanes outside = zero<Lanes>();
  for (int j = 0; j < 8; j += kLanes) {
    ORV_UNROLL for (int i = 0; i < kLanes; ++i) prefetchNext(pLuma, pCb, pCr, pDst, dstStep, j + i);
    convertRows(pLuma + j / 4 * 128 + j % 4 * 16, pCb + 8 * j, pCr + 8 * j, rowOf(pDst, dstStep, 2 * j), dstStep,
                outside);
  }
  const bool isInside = allZero(shiftRightU16(outside, 8));
  lanesEnd();
  if (!isInside) convertOneByOne(pLuma, pCb, pCr, pDst, dstStep);
}
