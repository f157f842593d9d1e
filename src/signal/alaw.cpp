// A-law companding (ITU-T G.711).
//
// A code is made of a sign (bit 7, set from zero up), a segment (bits 6..4) and a mantissa (bits 3..0), exclusive-ored
// with 0x55. The loops are bound by the number of their instructions, not by memory.
#include "core/cache.h"
#include "core/simd.h"

namespace {

// ---- Codes from samples
//
// Segment and mantissa together are a concave function of the magnitude m, which has 15 bits: the least of
// (m >> (k + 4)) + 16 k, k from 0 to 6. Line k + 1 is the mean of line k and 16 (k + 2), rounded down. The instruction
// rounds means up, so it is given one less: 31, 47, 63. Bytes hold the first four lines of magnitudes below 4096. From
// there on the code is that of an eighth of the magnitude, three segments higher.

// Of eight samples, in words: magnitudes shifted right by 4 (below zero: as zero), and signs, 0 or -1.
struct Magnitudes {
  Lane magnitude, sign;
};
ORV_INLINE Lane codesOf(const Magnitudes& a, const Magnitudes& b) {
  const Lane small = narrow16To8U(a.magnitude, b.magnitude);
  const Lane great = narrow16To8U(shiftRight16(a.magnitude, 3), shiftRight16(b.magnitude, 3));
  // Or 4080 to 4095, which have the same code either way.
  const Lane isGreat = equal8(small, all8(255));
  const Lane line0 = selectOverOnes(isGreat, great, small);
  const Lane line1 = meanU8(line0, all8(31));
  const Lane line2 = meanU8(line1, all8(47));
  const Lane line3 = meanU8(line2, all8(63));
  const Lane least = minU8(minU8(line0, line1), minU8(line2, line3));
  const Lane code = add8(least, isGreat & all8(48));
  return code ^ selectConstant(narrow16(a.sign, b.sign), all8(0x55), all8(0x80 ^ 0x55));
}

// The magnitude of a negative word s is -s - 1.
ORV_INLINE Magnitudes magnitudesOf(const Vel16s* src) {
  const Lane s = load(src), sign = shiftRight16(s, 15);
  return {shiftRight16(s, 4) ^ sign, sign};
}

// Of v steps, rounded half away from zero, the magnitude is |v + 1/2| rounded down, on either side of zero. In floats
// this sum may itself be rounded, but in no direction across a multiple of 16 steps, and nothing else matters. A float
// is negative from half a step below zero on, and already where half a step more makes it a whole one when rounded to
// nearest: that is one float earlier.
constexpr float kNegative = -0x1.fffffep-17f;
ORV_INLINE Magnitudes magnitudesOf(const Vel32f* src) {
  const FloatRun<8> samples = loadRun<8>(src);
  const auto stepsOf16 = [](auto f) {  // a NaN stays one
    using F = decltype(f);
    return min(allFloats<F>(1), f) * allFloats<F>(2048) + allFloats<F>(0x1p-5f);
  };
  const Lane steps = wordsOf(truncated(each(samples, stepsOf16))), sign = wordsOf(atMost(samples, kNegative));
  // A NaN becomes the least integer, and as it does not count as negative, a magnitude below zero.
  return {subSat16(steps ^ sign, sign), sign};
}

// convert16<kStreams>(src, dst) converts sixteen elements.
template <bool kStreams, class T> ORV_INLINE void convert16(const T* src, Vel8u* dst) {
  const Magnitudes first = magnitudesOf(src);
  put<kStreams>(dst, codesOf(first, magnitudesOf(src + 8)));
}

// ---- Samples from codes
//
// A magnitude is the product of 8 mantissa + 4, with 128 more from segment 1 on, and a power of two: 2, 2, 4, 8 to 128.
//
// Of the floats only the upper halves are not zero: a sign, eight bits of exponent, seven of mantissa. From segment 1
// on these are 119 + segment and the code's mantissa followed by a one. In segment 0 the leading one must be found.

// Where bytes can be shuffled, tables by the upper or the lower half of a code take fewer instructions than arithmetic.
#if ORV_HAS_SHUFFLE
constexpr int segment(int upper) { return (upper ^ 5) & 7; }
constexpr bool isNegative(int upper) { return (upper & 8) == 0; }
constexpr int mantissa(int lower) { return lower ^ 5; }
struct Halves {
  Lane upper, lower;
  explicit Halves(Lane codes) : upper(shiftRightU16(codes, 4) & all8(15)), lower(codes & all8(15)) {}
};
constexpr int above0(int upper) { return segment(upper) > 0 ? 128 : 0; }

// The instruction multiplies bytes with signed bytes and adds two products; 128 is none of the latter, so both products
// are the same and the powers are halved.
constexpr int byMantissa(int lower) { return 8 * mantissa(lower) + 4; }
constexpr int halfPower(int upper) {
  return (segment(upper) > 0 ? 1 << (segment(upper) - 1) : 1) * (isNegative(upper) ? -1 : 1);
}
template <bool kStreams> ORV_INLINE void convert16(const Vel8u* src, Vel16s* dst) {
  const Halves half(load(src));
  const Lane m = lookUp<byMantissa>(half.lower) | lookUp<above0>(half.upper);
  const Lane p = lookUp<halfPower>(half.upper);
  put<kStreams>(dst, mulAddPairs8(interleaveLow8(m, m), interleaveLow8(p, p)));
  put<kStreams>(dst + 8, mulAddPairs8(interleaveHigh8(m, m), interleaveHigh8(p, p)));
}

constexpr int log2Of(int x) { return x > 1 ? 1 + log2Of(x / 2) : 0; }
constexpr int upperHalf0(int odd) { return (115 + log2Of(odd)) << 7 | ((odd << (7 - log2Of(odd))) & 127); }
constexpr int highByte0(int lower) { return upperHalf0(2 * mantissa(lower) + 1) >> 8; }
constexpr int highByte(int upper) {
  return (isNegative(upper) ? 128 : 0) | (segment(upper) > 0 ? (119 + segment(upper)) >> 1 : 0);
}
// What differs from the low byte that would be right in other segments.
constexpr int lowByte0(int lower) {
  return (upperHalf0(2 * mantissa(lower) + 1) & 255) ^ (mantissa(lower) << 3) ^ 0x84;
}
// Eight floats of which these words are the upper halves.
template <bool kStreams> ORV_INLINE void putUpperHalves(Vel32f* dst, Lane words) {
  put<kStreams>(dst, interleaveLow16(zero(), words));
  put<kStreams>(dst + 4, interleaveHigh16(zero(), words));
}
template <bool kStreams> ORV_INLINE void convert16(const Vel8u* src, Vel32f* dst) {
  const Lane codes = load(src);
  const Halves half(codes);
  const Lane lower0 = half.lower | lookUp<above0>(half.upper);  // with bit 7 set, a look-up gives zero
  const Lane high = lookUp<highByte>(half.upper) | lookUp<highByte0>(lower0);
  const Lane bits = shiftLeft16(codes, 3) & all8(0xF8);
  const Lane low = (bits ^ all8((0x55 << 3) ^ 0x84)) ^ lookUp<lowByte0>(lower0);
  putUpperHalves<kStreams>(dst, interleaveLow8(low, high));
  putUpperHalves<kStreams>(dst + 8, interleaveHigh8(low, high));
}
#else
// Codes with a sign for what is negative, and nothing inverted.
ORV_INLINE Lane plainCodes(const Vel8u* src) { return load(src) ^ all8(0x80 ^ 0x55); }

template <bool kStreams> ORV_INLINE void convert16(const Vel8u* src, Vel16s* dst) {
  const Lane c = plainCodes(src), sign = greater8(zero(), c);
  const Lane s = c & all8(0x70);  // 16 segment
  const Lane m = (shiftLeft16(c, 3) & all8(0x78)) | (add8(s, all8(0x74)) & all8(0x84));
  // The powers are a convex function of the segment: the greatest of lines, each through two of them.
  const Lane p01 = all8(2);
  const Lane p23 = shiftRightU16(subSatU8(s, all8(16)), 2);
  const Lane p45 = subSatU8(s, all8(48));
  const Lane p67 = shiftLeft16(subSatU8(s, all8(80)), 2);
  const Lane p = maxU8(maxU8(p23, p01), maxU8(p67, p45));
  const Lane q = sub8(p ^ sign, sign);
  put<kStreams>(dst, mulLow16(interleaveLow8(m, zero()), interleaveLow8(q, sign)));
  put<kStreams>(dst + 8, mulLow16(interleaveHigh8(m, zero()), interleaveHigh8(q, sign)));
}

// Eight codes, in the high bytes of words; is0: those of segment 0, there. They are taken as if they were of segment 1, and
// what the leading one then stands for is taken away: the float with their sign and exponent, and no mantissa.
template <bool kStreams> ORV_INLINE void convert8(Lane codes, Lane is0, Vel32f* dst) {
  // The byte after sign and exponent begins with the lowest bit of an exponent of 120, which is 0.
  const Lane words = add16(shiftRight16(codes, 5) & all16(0x83F8), all16(119 << 7 | 4)), leading = words & is0;
  const auto minus = [](Lane a, Lane b) { return asBits(asFloats(a) - asFloats(b)); };
  put<kStreams>(dst, minus(interleaveLow16(zero(), words), interleaveLow16(zero(), leading)));
  put<kStreams>(dst + 4, minus(interleaveHigh16(zero(), words), interleaveHigh16(zero(), leading)));
}
template <bool kStreams> ORV_INLINE void convert16(const Vel8u* src, Vel32f* dst) {
  const Lane codes = plainCodes(src), is0 = equal8(codes & all8(0x70), zero());
  const Lane from1 = codes | (is0 & all8(0x10));
  convert8<kStreams>(interleaveLow8(zero(), from1), interleaveLow8(zero(), is0), dst);
  convert8<kStreams>(interleaveHigh8(zero(), from1), interleaveHigh8(zero(), is0), dst + 8);
}
#endif

// ---- Vectors

// Whether a call writes past the caches: only when it writes more than it reads.
template <class Src, class Dst> ORV_INLINE bool streams(size_t n) {
  return sizeof(Src) < sizeof(Dst) && exceedsCaches(double(sizeof(Src) + sizeof(Dst)) * double(n));
}

// Fewer than sixteen. A function of its own, called last, so that longer calls need no memory for tails on their stack.
template <class Src, class Dst> __attribute__((noinline)) VelStatus convertTail(const Src* src, Dst* dst, size_t n) {
  Tail<16 * sizeof(Src)> from;
  Tail<16 * sizeof(Dst)> to;
  from.load(src, n * sizeof *src);
  convert16<false>(reinterpret_cast<const Src*>(from.bytes), reinterpret_cast<Dst*>(to.bytes));
  to.store(dst, n * sizeof *dst);
  return velStsNoErr;
}

// Sixteen or more. The last sixteen may overlap those before them, which gives the same once more.
template <bool kStreams, class Src, class Dst> ORV_INLINE void convertRun(const Src* src, Dst* dst, size_t n) {
  for (; n >= 16; n -= 16, src += 16, dst += 16) convert16<kStreams>(src, dst);
  if (n > 0) convert16<false>(src + n - 16, dst + n - 16);
}

template <class Src, class Dst> ORV_INLINE VelStatus convert(const Src* src, Dst* dst, int len) {
  if (!src || !dst) return velStsNullPtrErr;
  if (len < 1) return velStsSizeErr;
  const size_t n = size_t(len), toAligned = -reinterpret_cast<uintptr_t>(dst) & 15;
  if (n < 16) return convertTail(src, dst, n);
  if (toAligned % sizeof *dst == 0 && streams<Src, Dst>(n)) {
    const size_t head = toAligned / sizeof *dst;
    convert16<false>(src, dst);
    convertRun<true>(src + head, dst + head, n - head);
    streamEnd();
  } else {
    convertRun<false>(src, dst, n);
  }
  return velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_A(velsLinToALaw_16s8u)(const Vel16s* pSrc, Vel8u* pDst, int len) { return convert(pSrc, pDst, len); }
ORV_BODY_B(velsLinToALaw_32f8u)(const Vel32f* pSrc, Vel8u* pDst, int len) { return convert(pSrc, pDst, len); }
ORV_BODY_A(velsALawToLin_8u16s)(const Vel8u* pSrc, Vel16s* pDst, int len) { return convert(pSrc, pDst, len); }
ORV_BODY_B(velsALawToLin_8u32f)(const Vel8u* pSrc, Vel32f* pDst, int len) { return convert(pSrc, pDst, len); }
