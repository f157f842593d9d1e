// A-law companding (ITU-T G.711).
//
// A code is made of a sign (bit 7, set from zero up), a segment (bits 6..4) and a mantissa (bits 3..0), exclusive-ored
// with 0x55. The number of their instructions bounds the loops.
#include "core/simd.h"

namespace {

template <bool kStream> ORV_INLINE void put(void* p, Vec v) {
  if (kStream)
    stream(p, v);
  else
    store(p, v);
}

// ---- Codes from samples
//
// Segment and mantissa together are a concave function of the magnitude m, which has 15 bits: the least of
// (m >> (k + 4)) + 16 k, k from 0 to 6. Each of these lines is the mean of the one before and 16 k, rounded down. Bytes
// hold the first four of magnitudes below 4096; what is greater is, three segments higher, the same at an eighth of it.

// Eight magnitudes of samples shifted right by 4 (below zero: as zero), and their signs: words, 0 or -1.
struct Eight {
  Vec magnitude, sign;
};
ORV_INLINE Vec codesOf(const Eight& a, const Eight& b) {
  const Vec small = _mm_packus_epi16(a.magnitude, b.magnitude);
  const Vec great = _mm_packus_epi16(_mm_srai_epi16(a.magnitude, 3), _mm_srai_epi16(b.magnitude, 3));
  // Or 4080 to 4095, which have the same code either way.
  const Vec isGreat = _mm_cmpeq_epi8(small, all8(255));
#if ORV_HAS_BLEND
  const Vec line0 = _mm_blendv_epi8(small, great, isGreat);
#else
  const Vec line0 = _mm_andnot_si128(_mm_andnot_si128(great, isGreat), small);
#endif
  const Vec line1 = _mm_avg_epu8(line0, all8(31));
  const Vec line2 = _mm_avg_epu8(line1, all8(47));
  const Vec line3 = _mm_avg_epu8(line2, all8(63));
  const Vec least = _mm_min_epu8(_mm_min_epu8(line0, line1), _mm_min_epu8(line2, line3));
  const Vec code = _mm_add_epi8(least, _mm_and_si128(isGreat, all8(48)));
  const Vec negative = _mm_packs_epi16(a.sign, b.sign);
#if ORV_HAS_BLEND
  const Vec inverted = _mm_blendv_epi8(all8(0x80 ^ 0x55), all8(0x55), negative);
#else
  const Vec inverted = _mm_xor_si128(_mm_and_si128(negative, all8(0x80)), all8(0x80 ^ 0x55));
#endif
  return _mm_xor_si128(code, inverted);
}

// The magnitude of a negative word s is -s - 1.
ORV_INLINE Eight eight(const Vel16s* src) {
  const Vec s = load(src), sign = _mm_srai_epi16(s, 15);
  return {_mm_xor_si128(_mm_srai_epi16(s, 4), sign), sign};
}

// Of v steps, rounded half away from zero, the magnitude is |v + 1/2| rounded down, on either side of zero. In floats
// this sum may itself be rounded, but in no direction across a multiple of 16 steps, and nothing else matters. A float
// is negative from half a step below zero on, and already where half a step more makes it a whole one when rounded to
// nearest: that is one float earlier.
constexpr float kNegative = -0x1.fffffep-17f;
ORV_INLINE Wide stepsOf16(Wide f) {  // a NaN stays one
  return addWide(mulWide(minWide(allWide(1), f), allWide(2048)), allWide(0x1p-5f));
}
ORV_INLINE Eight eight(const Vel32f* src) {
#if ORV_HAS_WIDE_FLOAT
  const auto words = [](__m256i v) {
    return _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extractf128_si256(v, 1));
  };
  const Wide f = loadWide(src);
  const Vec steps = words(_mm256_cvttps_epi32(stepsOf16(f)));
  const Vec sign = words(_mm256_castps_si256(_mm256_cmp_ps(f, allWide(kNegative), _CMP_LE_OQ)));
#else
  const auto signOf = [](Wide f) { return _mm_castps_si128(_mm_cmple_ps(f, allWide(kNegative))); };
  const Wide f0 = loadWide(src), f1 = loadWide(src + 4);
  const Vec steps = _mm_packs_epi32(_mm_cvttps_epi32(stepsOf16(f0)), _mm_cvttps_epi32(stepsOf16(f1)));
  const Vec sign = _mm_packs_epi32(signOf(f0), signOf(f1));
#endif
  // A NaN becomes the least integer, and as it does not count as negative, a magnitude below zero.
  return {_mm_subs_epi16(_mm_xor_si128(steps, sign), sign), sign};
}

template <bool kStream, class T> ORV_INLINE void sixteen(const T* src, Vel8u* dst) {
  put<kStream>(dst, codesOf(eight(src), eight(src + 8)));
}

// ---- Samples from codes
//
// A magnitude is the product of 8 mantissa + 4, with 128 more from segment 1 on, and a power of two: 2, 2, 4, 8 to 128.
//
// Of the floats only the upper halves are not zero: a sign, eight bits of exponent, seven of mantissa. From segment 1
// on these are 119 + segment and the code's mantissa followed by a one. In segment 0 the leading one must be found.

#if ORV_HAS_SHUFFLE
// Tables by the upper or the lower half of a code.
constexpr int segment(int upper) { return (upper ^ 5) & 7; }
constexpr bool isNegative(int upper) { return (upper & 8) == 0; }
constexpr int mantissa(int lower) { return lower ^ 5; }
template <int (*kAt)(int)> ORV_INLINE Vec lookUp(Vec index) {
#define AT(i) char(kAt(i))
  return _mm_shuffle_epi8(_mm_setr_epi8(AT(0), AT(1), AT(2), AT(3), AT(4), AT(5), AT(6), AT(7), AT(8), AT(9), AT(10),
                                        AT(11), AT(12), AT(13), AT(14), AT(15)),
                          index);
#undef AT
}
struct Halves {
  Vec upper, lower;
  explicit Halves(Vec codes)
      : upper(_mm_and_si128(_mm_srli_epi16(codes, 4), all8(15))), lower(_mm_and_si128(codes, all8(15))) {}
};
constexpr int above0(int upper) { return segment(upper) > 0 ? 128 : 0; }

// The instruction multiplies bytes with signed bytes and adds two products; 128 is none of the latter, so both products
// are the same and the powers are halved.
constexpr int byMantissa(int lower) { return 8 * mantissa(lower) + 4; }
constexpr int halfPower(int upper) {
  return (segment(upper) > 0 ? 1 << (segment(upper) - 1) : 1) * (isNegative(upper) ? -1 : 1);
}
template <bool kStream> ORV_INLINE void sixteen(const Vel8u* src, Vel16s* dst) {
  const Halves half(load(src));
  const Vec m = _mm_or_si128(lookUp<byMantissa>(half.lower), lookUp<above0>(half.upper));
  const Vec p = lookUp<halfPower>(half.upper);
  put<kStream>(dst, _mm_maddubs_epi16(_mm_unpacklo_epi8(m, m), _mm_unpacklo_epi8(p, p)));
  put<kStream>(dst + 8, _mm_maddubs_epi16(_mm_unpackhi_epi8(m, m), _mm_unpackhi_epi8(p, p)));
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
template <bool kStream> ORV_INLINE void sixteen(const Vel8u* src, Vel32f* dst) {
  const Vec codes = load(src);
  const Halves half(codes);
  const Vec lower0 = _mm_or_si128(half.lower, lookUp<above0>(half.upper));  // with bit 7 set, a look-up gives zero
  const Vec high = _mm_or_si128(lookUp<highByte>(half.upper), lookUp<highByte0>(lower0));
  const Vec bits = _mm_and_si128(_mm_slli_epi16(codes, 3), all8(0xF8));
  const Vec low = _mm_xor_si128(_mm_xor_si128(bits, all8((0x55 << 3) ^ 0x84)), lookUp<lowByte0>(lower0));
  const Vec a = _mm_unpacklo_epi8(low, high), b = _mm_unpackhi_epi8(low, high);
  put<kStream>(dst, _mm_unpacklo_epi16(zero(), a));
  put<kStream>(dst + 4, _mm_unpackhi_epi16(zero(), a));
  put<kStream>(dst + 8, _mm_unpacklo_epi16(zero(), b));
  put<kStream>(dst + 12, _mm_unpackhi_epi16(zero(), b));
}
#else
// Codes with a sign for what is negative, and nothing inverted.
ORV_INLINE Vec plainCodes(const Vel8u* src) { return _mm_xor_si128(load(src), all8(0x80 ^ 0x55)); }

template <bool kStream> ORV_INLINE void sixteen(const Vel8u* src, Vel16s* dst) {
  const Vec c = plainCodes(src), sign = _mm_cmpgt_epi8(zero(), c);
  const Vec s = _mm_and_si128(c, all8(0x70));  // 16 segment
  const Vec m = _mm_or_si128(_mm_and_si128(_mm_slli_epi16(c, 3), all8(0x78)),
                             _mm_and_si128(_mm_add_epi8(s, all8(0x74)), all8(0x84)));
  // The powers are a convex function of the segment: the greatest of lines, each through two of them.
  const Vec p01 = all8(2);
  const Vec p23 = _mm_srli_epi16(_mm_subs_epu8(s, all8(16)), 2);
  const Vec p45 = _mm_subs_epu8(s, all8(48));
  const Vec p67 = _mm_slli_epi16(_mm_subs_epu8(s, all8(80)), 2);
  const Vec p = _mm_max_epu8(_mm_max_epu8(p23, p01), _mm_max_epu8(p67, p45));
  const Vec q = _mm_sub_epi8(_mm_xor_si128(p, sign), sign);
  put<kStream>(dst, _mm_mullo_epi16(_mm_unpacklo_epi8(m, zero()), _mm_unpacklo_epi8(q, sign)));
  put<kStream>(dst + 8, _mm_mullo_epi16(_mm_unpackhi_epi8(m, zero()), _mm_unpackhi_epi8(q, sign)));
}

// Takes segment 0 as if it were segment 1, and takes away what the leading one then stands for.
ORV_INLINE Vec upperHalves(Vec codes) {
  return _mm_add_epi16(_mm_and_si128(_mm_srai_epi16(codes, 5), all16(0x83F8)), all16(119 << 7 | 4));
}
ORV_INLINE Vec minus(Vec a, Vec b) { return _mm_castps_si128(_mm_sub_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b))); }
template <bool kStream> ORV_INLINE void sixteen(const Vel8u* src, Vel32f* dst) {
  const Vec c = plainCodes(src);
  const Vec is0 = _mm_cmpeq_epi8(_mm_and_si128(c, all8(0x70)), zero());
  const Vec c1 = _mm_or_si128(c, _mm_and_si128(is0, all8(0x10)));
  const Vec a = upperHalves(_mm_unpacklo_epi8(zero(), c1)), b = upperHalves(_mm_unpackhi_epi8(zero(), c1));
  // Sign and exponent: the byte behind them begins with the lowest bit of an exponent of 120.
  const Vec a0 = _mm_and_si128(_mm_unpacklo_epi8(zero(), is0), a);
  const Vec b0 = _mm_and_si128(_mm_unpackhi_epi8(zero(), is0), b);
  put<kStream>(dst, minus(_mm_unpacklo_epi16(zero(), a), _mm_unpacklo_epi16(zero(), a0)));
  put<kStream>(dst + 4, minus(_mm_unpackhi_epi16(zero(), a), _mm_unpackhi_epi16(zero(), a0)));
  put<kStream>(dst + 8, minus(_mm_unpacklo_epi16(zero(), b), _mm_unpacklo_epi16(zero(), b0)));
  put<kStream>(dst + 12, minus(_mm_unpackhi_epi16(zero(), b), _mm_unpackhi_epi16(zero(), b0)));
}
#endif

// ---- Vectors

// Whether a call writes past the caches: only when it writes more than it reads.
template <class Src, class Dst> ORV_INLINE bool streams(size_t n) {
  return sizeof(Src) < sizeof(Dst) && exceedsCaches(double(sizeof(Src) + sizeof(Dst)) * double(n), kCacheIfUnknown);
}

// Goes on while there are sixteen left.
template <bool kStream, class Src, class Dst> ORV_INLINE void sixteens(const Src*& src, Dst*& dst, size_t& left) {
  for (; left >= 16; left -= 16, src += 16, dst += 16) sixteen<kStream>(src, dst);
}
template <class Src, class Dst> ORV_INLINE void few(const Src* src, Dst* dst, size_t n) {
  Src from[16];
  Dst to[16];
  for (size_t i = 0; i < sizeof from; i += 16) store(reinterpret_cast<Vel8u*>(from) + i, zero());
  memcpy(from, src, n * sizeof *from);
  sixteen<false>(from, to);
  memcpy(dst, to, n * sizeof *to);
}

template <class Src, class Dst> ORV_INLINE VelStatus convert(const Src* src, Dst* dst, int len) {
  if (!src || !dst) return velStsNullPtrErr;
  if (len < 1) return velStsSizeErr;
  size_t left = size_t(len);
  if (left < 16) {
    few(src, dst, left);
    return velStsNoErr;
  }
  const size_t toAligned = -reinterpret_cast<uintptr_t>(dst) & 15;
  if (toAligned % sizeof *dst == 0 && streams<Src, Dst>(left)) {
    sixteen<false>(src, dst);
    const size_t head = toAligned / sizeof *dst;
    src += head, dst += head, left -= head;
    sixteens<true>(src, dst, left);
    streamEnd();
  } else {
    sixteens<false>(src, dst, left);
  }
  if (left > 0) sixteen<false>(src + left - 16, dst + left - 16);  // once more what the last whole ones reach
  return velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_A(velsLinToALaw_16s8u)(const Vel16s* pSrc, Vel8u* pDst, int len) { return convert(pSrc, pDst, len); }
ORV_BODY_B(velsLinToALaw_32f8u)(const Vel32f* pSrc, Vel8u* pDst, int len) { return convert(pSrc, pDst, len); }
ORV_BODY_A(velsALawToLin_8u16s)(const Vel8u* pSrc, Vel16s* pDst, int len) { return convert(pSrc, pDst, len); }
ORV_BODY_B(velsALawToLin_8u32f)(const Vel8u* pSrc, Vel32f* pDst, int len) { return convert(pSrc, pDst, len); }
