// Inverse DCT with dequantisation.
//
// The transform is separable, in 16-bit fixed point. Rows first: a row's eight outputs are sums of products with a
// 32-bit accumulator, kept with three fractional bits. A column's outputs are then rotations by tangents only, because
// what a rotation by an angle has beyond its tangent, its cosine, has been multiplied into the row: that is why rows 1
// and 7, 2 and 6, 3 and 5 have tables of their own.
//
// A zero coefficient adds exactly nothing to any sum here, so kernels that leave out coefficients known to be zero
// give the same samples as the full one.
#include "jpeg/dctinv.h"
#include "core/simd.h"
#include "image/checks.h"

namespace {

// ---- Rows

// Cosines with 14 fractional bits: cK is sqrt(2) cos(K pi / 16), c4 being 1, times the row's own factor.
// out[n] = even[n] + odd[n], out[7 - n] = even[n] - odd[n] for n = 0..3, where even sums x0, x2, x4, x6
// and odd x1, x3, x5, x7. One vector holds what a pair of coefficients contributes to the four sums.
struct alignas(16) RowTable {
  Vel16s x02[8], x46[8], x13[8], x57[8];
};
constexpr RowTable rowTable(int c1, int c2, int c3, int c4, int c5, int c6, int c7) {
#define S(x) Vel16s(x)
  return {{S(c4), S(c2), S(c4), S(c6), S(c4), S(-c6), S(c4), S(-c2)},
          {S(c4), S(c6), S(-c4), S(-c2), S(-c4), S(c2), S(c4), S(-c6)},
          {S(c1), S(c3), S(c3), S(-c7), S(c5), S(-c1), S(c7), S(-c5)},
          {S(c5), S(c7), S(-c1), S(-c5), S(c7), S(c3), S(c3), S(-c1)}};
#undef S
}
constexpr RowTable kRow04 = rowTable(22725, 21407, 19266, 16384, 12873, 8867, 4520);
constexpr RowTable kRow17 = rowTable(31521, 29692, 26722, 22725, 17855, 12299, 6270);
constexpr RowTable kRow26 = rowTable(29692, 27969, 25172, 21407, 16819, 11585, 5906);
constexpr RowTable kRow35 = rowTable(26722, 25172, 22654, 19266, 15137, 10426, 5315);

// Row results keep 3 of the tables' 14 bits. Row 0 reaches every sample of its column unchanged, so the half that
// rounds the columns' final shift is added to it, where it costs nothing.
constexpr int kRowShift = 11, kColumnShift = 6;
constexpr int kRound = 1 << (kRowShift - 1);
constexpr int kRound0 = kRound + ((1 << (kColumnShift - 1)) << kRowShift);

// Four times the pair of words (x0, x2), (x4, x6), (x1, x3) or (x5, x7) of a row.
#if ORV_HAS_SHUFFLE
struct Pairs {
  Vec v;
  explicit Pairs(Vec row) : v(row) {}
  static Vec pick(Vec v, int a, int b) {
    const int both = (2 * a) | (2 * a + 1) << 8 | (2 * b) << 16 | (2 * b + 1) << 24;
    return _mm_shuffle_epi8(v, all32(both));
  }
  Vec x02() const { return pick(v, 0, 2); }
  Vec x46() const { return pick(v, 4, 6); }
  Vec x13() const { return pick(v, 1, 3); }
  Vec x57() const { return pick(v, 5, 7); }
};
#else
struct Pairs {
  Vec v;
  explicit Pairs(Vec row) : v(_mm_shufflehi_epi16(_mm_shufflelo_epi16(row, 0xD8), 0xD8)) {}
  Vec x02() const { return _mm_shuffle_epi32(v, 0x00); }
  Vec x13() const { return _mm_shuffle_epi32(v, 0x55); }
  Vec x46() const { return _mm_shuffle_epi32(v, 0xAA); }
  Vec x57() const { return _mm_shuffle_epi32(v, 0xFF); }
};
#endif

ORV_INLINE Vec constant(const Vel16s (&words)[8]) {
  return loadAligned(words);
}

// The transform of a row, of which only the first kWidth coefficients (8, 4 or 2) can be other than zero. The results
// come in the order 0 1 2 3 7 6 5 4.
template <int kWidth> ORV_INLINE Vec transformRow(Vec row, const RowTable& t, int round) {
  const Pairs p(row);
  Vec even = _mm_madd_epi16(p.x02(), constant(t.x02));
  Vec odd = _mm_madd_epi16(p.x13(), constant(t.x13));
  if (kWidth == 8) {
    even = _mm_add_epi32(even, _mm_madd_epi16(p.x46(), constant(t.x46)));
    odd = _mm_add_epi32(odd, _mm_madd_epi16(p.x57(), constant(t.x57)));
  }
  even = _mm_add_epi32(even, all32(round));
  const Vec low = _mm_srai_epi32(_mm_add_epi32(even, odd), kRowShift);
  const Vec high = _mm_srai_epi32(_mm_sub_epi32(even, odd), kRowShift);
  return _mm_packs_epi32(low, high);
}

// ---- Columns

constexpr int kTan1 = 13036;          // tan(pi / 16), times 2^16
constexpr int kTan2 = 27146;          // tan(2 pi / 16)
constexpr int kTan3 = 43790 - 65536;  // tan(3 pi / 16) - 1
constexpr int kHalfCos4 = 23170;      // cos(4 pi / 16) / 2

ORV_INLINE Vec add(Vec a, Vec b) {
  return _mm_adds_epi16(a, b);
}
ORV_INLINE Vec sub(Vec a, Vec b) {
  return _mm_subs_epi16(a, b);
}
ORV_INLINE Vec mulHigh(Vec a, int k) {
  return _mm_mulhi_epi16(a, all16(k));
}

// The transform of eight columns in place; only the first kRows rows (8, 4 or 2) can be other than zero.
template <int kRows> ORV_INLINE void transformColumns(Vec r[8]) {
  const Vec z = zero();
  const Vec r2 = kRows > 2 ? r[2] : z, r3 = kRows > 2 ? r[3] : z;

  Vec t1 = r[1], t7 = mulHigh(r[1], kTan1);
  Vec t3 = r3, t5 = add(mulHigh(r3, kTan3), r3);
  if (kRows == 8) {
    t1 = add(t1, mulHigh(r[7], kTan1));
    t7 = sub(t7, r[7]);
    t3 = add(t3, add(mulHigh(r[5], kTan3), r[5]));
    t5 = sub(t5, r[5]);
  }
  const Vec b0 = add(t1, t3), b3 = sub(t7, t5);
  const Vec u1 = sub(t1, t3), u2 = add(t7, t5);
  const Vec h1 = mulHigh(add(u1, u2), kHalfCos4), h2 = mulHigh(sub(u1, u2), kHalfCos4);
  const Vec b1 = add(h1, h1), b2 = add(h2, h2);

  Vec e0 = r[0], e1 = r[0], t2 = r2, t6 = mulHigh(r2, kTan2);
  if (kRows == 8) {
    e0 = add(e0, r[4]);
    e1 = sub(e1, r[4]);
    t2 = add(t2, mulHigh(r[6], kTan2));
    t6 = sub(t6, r[6]);
  }
  const Vec a0 = add(e0, t2), a3 = sub(e0, t2), a1 = add(e1, t6), a2 = sub(e1, t6);

#define DESCALE(x) _mm_srai_epi16(x, kColumnShift)
  r[0] = DESCALE(add(a0, b0));
  r[7] = DESCALE(sub(a0, b0));
  r[1] = DESCALE(add(a1, b1));
  r[6] = DESCALE(sub(a1, b1));
  r[2] = DESCALE(add(a2, b2));
  r[5] = DESCALE(sub(a2, b2));
  r[3] = DESCALE(add(a3, b3));
  r[4] = DESCALE(sub(a3, b3));
#undef DESCALE
}

// ---- Samples

// From the order in which transformRow leaves its results to the natural one.
ORV_INLINE Vec naturalOrder(Vec bytes) {
#if ORV_HAS_SHUFFLE
  return _mm_shuffle_epi8(bytes, _mm_setr_epi8(0, 1, 2, 3, 7, 6, 5, 4, 8, 9, 10, 11, 15, 14, 13, 12));
#else
  return bytes;
#endif
}
ORV_INLINE Vec naturalWords(Vec words) {
#if ORV_HAS_SHUFFLE
  return words;
#else
  return _mm_shufflehi_epi16(words, 0x1B);
#endif
}

// The usual level shift by 128, clamped to 0..255: saturate to a signed byte, then turn the sign bit over.
struct Level128 {
  Vec operator()(Vec a, Vec b) const { return _mm_xor_si128(_mm_packs_epi16(a, b), all8(0x80)); }
};
struct LevelAndClip {
  Vec level, low, high;
  Vec operator()(Vec a, Vec b) const {
    const Vec samples = _mm_packus_epi16(_mm_add_epi16(a, level), _mm_add_epi16(b, level));
    return _mm_min_epu8(_mm_max_epu8(samples, low), high);
  }
};

// Two rows of samples a time.
template <class Level> ORV_INLINE void storeBlock(Vel8u* dst, int step, const Vec r[8], const Level& samples) {
  for (int y = 0; y < 8; y += 2) {
    const Vec two = naturalOrder(samples(naturalWords(r[y]), naturalWords(r[y + 1])));
    storeLow(dst, two);
    storeHigh(dst + step, two);
    dst += ptrdiff_t(step) * 2;
  }
}

// ---- Blocks

struct Dequantised {
  const Vel16s* coef;
  const Vel16u* quant;
  Vec row(int y) const { return _mm_mullo_epi16(load(coef + 8 * y), load(quant + 8 * y)); }
  Vec halfRow(int y) const { return _mm_mullo_epi16(loadLow(coef + 8 * y), loadLow(quant + 8 * y)); }
};
struct Plain {
  const Vel16s* coef;
  Vec row(int y) const { return load(coef + 8 * y); }
};

template <class Source, class Level>
ORV_INLINE void transform8x8(const Source& s, Vel8u* dst, int step, const Level& level) {
  Vec r[8] = {transformRow<8>(s.row(0), kRow04, kRound0), transformRow<8>(s.row(1), kRow17, kRound),
              transformRow<8>(s.row(2), kRow26, kRound),  transformRow<8>(s.row(3), kRow35, kRound),
              transformRow<8>(s.row(4), kRow04, kRound),  transformRow<8>(s.row(5), kRow35, kRound),
              transformRow<8>(s.row(6), kRow26, kRound),  transformRow<8>(s.row(7), kRow17, kRound)};
  transformColumns<8>(r);
  storeBlock(dst, step, r, level);
}
// Rows 4 to 7 are zero.
template <class Source> ORV_INLINE void transform8x4(const Source& s, Vel8u* dst, int step) {
  Vec r[8] = {transformRow<8>(s.row(0), kRow04, kRound0), transformRow<8>(s.row(1), kRow17, kRound),
              transformRow<8>(s.row(2), kRow26, kRound), transformRow<8>(s.row(3), kRow35, kRound)};
  transformColumns<4>(r);
  storeBlock(dst, step, r, Level128());
}
ORV_INLINE void transform4x4(const Dequantised& s, Vel8u* dst, int step) {
  Vec r[8] = {transformRow<4>(s.halfRow(0), kRow04, kRound0), transformRow<4>(s.halfRow(1), kRow17, kRound),
              transformRow<4>(s.halfRow(2), kRow26, kRound), transformRow<4>(s.halfRow(3), kRow35, kRound)};
  transformColumns<4>(r);
  storeBlock(dst, step, r, Level128());
}

ORV_INLINE VelStatus check(const Vel16s* pSrc, const Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSteps(dstStep));
  return checkPointers(pQuantInvTable);
}

}  // namespace

ORV_KERNEL VelStatus ORV_NAME(veliDCT8x8InvLSClip_16s8u_C1R)(const Vel16s* pSrc, Vel8u* pDst, int dstStep, Vel16s level,
                                                             Vel8u clipMin, Vel8u clipMax) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSteps(dstStep));
  transform8x8(Plain{pSrc}, pDst, dstStep, LevelAndClip{all16(level), all8(clipMin), all8(clipMax)});
  return velStsNoErr;
}

// ---- Bodies

ORV_BODY_B(veliDCTQuantInv8x8LS_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  const Dequantised s{pSrc, pQuantInvTable};
  // Most blocks of a photo have nothing in their lower half.
  const Vec lower =
      _mm_or_si128(_mm_or_si128(load(pSrc + 32), load(pSrc + 40)), _mm_or_si128(load(pSrc + 48), load(pSrc + 56)));
  if (allZero(lower))
    transform8x4(s, pDst, dstStep);
  else
    transform8x8(s, pDst, dstStep, Level128());
  return velStsNoErr;
}

ORV_BODY_B(veliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  transform4x4(Dequantised{pSrc, pQuantInvTable}, pDst, dstStep);
  return velStsNoErr;
}

ORV_BODY_B(veliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  // Two coefficients of each of two rows, four bytes apart from any other.
  const auto pair = [&](int y) {
    int coef, quant;
    memcpy(&coef, pSrc + 8 * y, 4);
    memcpy(&quant, pQuantInvTable + 8 * y, 4);
    return _mm_mullo_epi16(_mm_cvtsi32_si128(coef), _mm_cvtsi32_si128(quant));
  };
  Vec r[8] = {transformRow<2>(pair(0), kRow04, kRound0), transformRow<2>(pair(1), kRow17, kRound)};
  transformColumns<2>(r);
  storeBlock(pDst, dstStep, r, Level128());
  return velStsNoErr;
}

ORV_BODY_B(veliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  const int level = Vel16s((pSrc[0] * pQuantInvTable[0] >> 3) + 128);
  const Vec samples = all8(level < 0 ? 0 : level > 255 ? 255 : level);
  for (int y = 0; y < 8; ++y) storeLow(rowOf(pDst, dstStep, y), samples);
  return velStsNoErr;
}
