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

// What eight chroma samples add to luma, with the level shift: words.
struct Terms {
  Lane r, g, b;
};

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
ORV_INLINE Lane weighted(Lane c, int weight, int bias) {
  const Lane product = mulHigh16(shiftLeft16(c, 8), all16(weight));
  return shiftRight16(add16(product, all16(128 + bias)), 8);
}
// Of four pairs (cb, cr). Sums are multiples of 0.00002, so 23 bits of fraction tell them from a half; the weights are
// split into 15 high bits and 8 low ones.
ORV_INLINE Lane green(Lane pairs) {
  const Lane high = mulAddPairs16(pairs, allPairs16(kCbWeight >> kLowBits, kCrWeight >> kLowBits));
  const Lane low = mulAddPairs16(pairs, allPairs16(kCbWeight & 255, kCrWeight & 255));
  const Lane sum = add32(shiftLeft32(high, kLowBits), low);
  return shiftRight32(add32(sum, all32((1 << (kFraction - 1)) + kGreenBias)), kFraction);
}

// `outside` gathers bits above the low eight from samples outside -128..127, for which the terms are not exact.
ORV_INLINE Terms terms(Lane cb, Lane cr, Lane& outside) {
  const Lane level = all16(128);
  const Lane cbLevel = add16(cb, level), crLevel = add16(cr, level);
  outside = outside | cbLevel | crLevel;
  const Lane g = narrow32(green(interleaveLow16(cb, cr)), green(interleaveHigh16(cb, cr)));
  const Lane r = add16(crLevel, weighted(cr, kRedWeight, kRedBias));
  const Lane b = add16(add16(cb, cbLevel), weighted(cb, kBlueWeight, kBlueBias));
  return {r, add16(g, level), b};
}

// What the terms' eight samples add to sixteen pixels: each serves two.
struct PixelTerms {
  Lane left, right;
  explicit PixelTerms(Lane t) : left(interleaveLow16(t, t)), right(interleaveHigh16(t, t)) {}
  Lane channel(Lane l, Lane r) const { return narrow16To8U(addSat16(l, left), addSat16(r, right)); }
};

// Two rows of sixteen pixels, each from eight luma samples of the left block and eight of the right one, which follows it.
ORV_INLINE void convertRows(const Vel16s* left, const Vel16s* cb, const Vel16s* cr, Vel8u* dst, int dstStep,
                            Lane& outside) {
  const Terms t = terms(load(cb), load(cr), outside);
  const PixelTerms r(t.r), g(t.g), b(t.b);
  ORV_UNROLL for (int i = 0; i < 2; ++i) {
    const Lane l = load(left + 8 * i), m = load(left + 64 + 8 * i);
    store3(dst + ptrdiff_t(dstStep) * i,
           interleave3(Pixels<kInOrder, Lane>{r.channel(l, m), g.channel(l, m), b.channel(l, m)}));
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

}  // namespace

ORV_KERNEL void ORV_NAME(ownpj_YUV420ToRGB888LS_MCU)(const Vel16s* pLuma, const Vel16s* pCb, const Vel16s* pCr,
                                                     Vel8u* pDst, int dstStep) {
  Lane outside = zero();
  for (int j = 0; j < 8; ++j) {
    // What MCUs further on and the one below this one will need, which processors do not predict. The last bytes of
    // neighbours' rows are nearer than a cache line to each other, so every line is asked for.
    prefetch(pLuma, kRowAhead + 64 * j);
    if (j % 4 == 0) {
      prefetch(pCb, kRowAhead + 16 * j);
      prefetch(pCr, kRowAhead + 16 * j);
    }
    prefetch(pDst, ptrdiff_t(dstStep) * (16 + 2 * j) + 47);
    prefetch(pDst, ptrdiff_t(dstStep) * (17 + 2 * j) + 47);
    convertRows(pLuma + j / 4 * 128 + j % 4 * 16, pCb + 8 * j, pCr + 8 * j, rowOf(pDst, dstStep, 2 * j), dstStep,
                outside);
  }
  if (!allZero(shiftRightU16(outside, 8))) convertOneByOne(pLuma, pCb, pCr, pDst, dstStep);
}
