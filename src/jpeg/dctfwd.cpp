// Forward DCT with quantisation.
//
// In 16-bit fixed point. Columns first, with saturating arithmetic and three fractional bits; then the rows, whose
// eight outputs are sums of products with a 32-bit accumulator.
#include "image/checks.h"
#include "jpeg/dct.h"

namespace {

// ---- Constants

// A row's even outputs sum s[n] = x[n] + x[7 - n], its odd ones d[n] = x[n] - x[7 - n], n = 0..3. Rows are transformed
// in twos. A vector holds what a pair of these contributes to two outputs of row a, then to the same two of row b.
struct Tables {
  Words s01f02, s23f02, s01f46, s23f46;
  Words d01f13, d23f13, d01f57, d23f57;
};
constexpr Tables tables(const Cosines& a, const Cosines& b) {
  return {words(a.c4, a.c4, a.c2, a.c6, b.c4, b.c4, b.c2, b.c6),
          words(a.c4, a.c4, -a.c6, -a.c2, b.c4, b.c4, -b.c6, -b.c2),
          words(a.c4, -a.c4, a.c6, -a.c2, b.c4, -b.c4, b.c6, -b.c2),
          words(-a.c4, a.c4, a.c2, -a.c6, -b.c4, b.c4, b.c2, -b.c6),
          words(a.c1, a.c3, a.c3, -a.c7, b.c1, b.c3, b.c3, -b.c7),
          words(a.c5, a.c7, -a.c1, -a.c5, b.c5, b.c7, -b.c1, -b.c5),
          words(a.c5, -a.c1, a.c7, -a.c5, b.c5, -b.c1, b.c7, -b.c5),
          words(a.c7, a.c3, a.c3, -a.c1, b.c7, b.c3, b.c3, -b.c1)};
}
struct Constants {
  Tables rows04, rows26, rows17, rows35;
  Tangents tangents;
  Vel32s round[4];
  Words level;
};
// Of the sums' 20 fractional bits three are the columns', fourteen the cosines', and three are the transform's division
// by 8.
constexpr int kRowShift = 20, kRound = 1 << (kRowShift - 1), kColumnBits = 3;
alignas(16) constexpr Constants kConstants = {tables(kRow04, kRow04),
                                              tables(kRow26, kRow26),
                                              tables(kRow17, kRow17),
                                              tables(kRow35, kRow35),
                                              kTangents,
                                              {kRound, kRound, kRound, kRound},
                                              all(128)};

// ---- Columns

// Row y of the block, level shifted: words.
struct Samples {
  const Vel8u* src;
  int step;
  Vec row(const Constants* k, int y) const {
    return _mm_sub_epi16(widenLow8(loadLow(src + ptrdiff_t(step) * y)), constant(k->level));
  }
};

ORV_INLINE Vec scaled(Vec x) { return _mm_slli_epi16(x, kColumnBits); }
// cos(4 pi / 16) x, scaled: the constant is half the cosine, so there is one bit more in front of it.
ORV_INLINE Vec diagonal(Vec x, const Tangents& t) { return mulHigh(_mm_slli_epi16(x, kColumnBits + 1), t.halfCos4); }

// Rows 0, 4, 2 and 6 of the columns' transform, from the sums of opposite rows.
ORV_INLINE void evenRows(const Tangents& t, Vec s0, Vec s1, Vec s2, Vec s3, TwoRows& r04, TwoRows& r26) {
  const Vec outer = add(s0, s3), inner = add(s1, s2);
  const Vec x = scaled(sub(s0, s3)), y = scaled(sub(s1, s2));
  r04 = {scaled(add(outer, inner)), scaled(sub(outer, inner))};
  r26 = {add(x, mulHigh(y, t.tan2)), sub(mulHigh(x, t.tan2), y)};
}
// Rows 1, 7, 3 and 5, from their differences.
ORV_INLINE void oddRows(const Tangents& t, Vec d0, Vec d1, Vec d2, Vec d3, TwoRows& r17, TwoRows& r35) {
  const Vec w = diagonal(add(d1, d2), t), z = diagonal(sub(d1, d2), t);
  const Vec x = scaled(d0), y = scaled(d3);
  const Vec p = add(x, w), q = add(y, z), u = sub(x, w), v = sub(y, z);
  r17 = {add(p, mulHigh(q, t.tan1)), sub(mulHigh(p, t.tan1), q)};
  r35 = {sub(u, timesTan3(v, t)), add(timesTan3(u, t), v)};
}

// ---- Rows

ORV_INLINE Vec outputs(const Constants* k, Vec sums) {
  return _mm_srai_epi32(_mm_add_epi32(sums, constant(k->round)), kRowShift);
}
ORV_INLINE Vec products(Vec x, const Words& w, Vec y, const Words& v) {
  return _mm_add_epi32(_mm_madd_epi16(x, constant(w)), _mm_madd_epi16(y, constant(v)));
}
ORV_INLINE TwoRows transformRows(const Constants* k, const Tables Constants::*table, const TwoRows& rows) {
  const Tables& t = k->*table;
  const Vec left = _mm_unpacklo_epi64(rows.a, rows.b), right = _mm_unpackhi_epi64(rows.a, rows.b);
  const Vec mirrored = _mm_shufflehi_epi16(_mm_shufflelo_epi16(right, 0x1B), 0x1B);
  const Vec s = _mm_add_epi16(left, mirrored), d = _mm_sub_epi16(left, mirrored);
  const Vec s01 = _mm_shuffle_epi32(s, 0xA0), s23 = _mm_shuffle_epi32(s, 0xF5);
  const Vec d01 = _mm_shuffle_epi32(d, 0xA0), d23 = _mm_shuffle_epi32(d, 0xF5);
  const Vec f02 = outputs(k, products(s01, t.s01f02, s23, t.s23f02)),
            f46 = outputs(k, products(s01, t.s01f46, s23, t.s23f46));
  const Vec f13 = outputs(k, products(d01, t.d01f13, d23, t.d23f13)),
            f57 = outputs(k, products(d01, t.d01f57, d23, t.d23f57));
  const Vec even = _mm_packs_epi32(f02, f46), odd = _mm_packs_epi32(f13, f57);  // dwords: a b a b
  const Vec low = _mm_unpacklo_epi16(even, odd), high = _mm_unpackhi_epi16(even, odd);
  return {_mm_unpacklo_epi64(low, high), _mm_unpackhi_epi64(low, high)};
}

// ---- Quantisation

// Eight coefficients times their table entries, divided by 2^15 and rounded to the nearest integer, halves to the even
// one. Samples of 8 bits make no coefficient larger than 1200, so twice its magnitude fits a word, and the high word of
// the product is the quotient; the low one is twice the remainder, an even number, which leaves its last bit for the
// quotient's.
ORV_INLINE Vec quantise(Vec c, const Vel16u* table) {
  const Vec q = load(table), twice = _mm_slli_epi16(magnitude16(c), 1);
  const Vec quotient = _mm_mulhi_epu16(twice, q), remainder = _mm_mullo_epi16(twice, q);
  const Vec odd = _mm_and_si128(quotient, all16(1));
  const Vec up = _mm_cmpgt_epi16(_mm_xor_si128(_mm_or_si128(remainder, odd), all16(0x8000)), zero());  // above a half
  return withSignOf16(c, _mm_sub_epi16(quotient, up));
}
ORV_INLINE void storeRows(Vel16s* dst, const Vel16u* table, int a, int b, const TwoRows& rows) {
  store(dst + 8 * a, quantise(rows.a, table + 8 * a));
  store(dst + 8 * b, quantise(rows.b, table + 8 * b));
}

}  // namespace

// ---- Bodies

ORV_BODY_B(veliDCTQuantFwd8x8LS_JPEG_8u16s_C1R)
(const Vel8u* pSrc, int srcStep, Vel16s* pDst, const Vel16u* pQuantFwdTable) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSteps(srcStep));
  ORV_CHECK(checkPointers(pQuantFwdTable));
  const Constants* k = &kConstants;
  const Samples s{pSrc, srcStep};
  const Vec x0 = s.row(k, 0), x7 = s.row(k, 7), x1 = s.row(k, 1), x6 = s.row(k, 6);
  const Vec x2 = s.row(k, 2), x5 = s.row(k, 5), x3 = s.row(k, 3), x4 = s.row(k, 4);
  TwoRows r04, r26, r17, r35;
  oddRows(k->tangents, sub(x0, x7), sub(x1, x6), sub(x2, x5), sub(x3, x4), r17, r35);
  evenRows(k->tangents, add(x0, x7), add(x1, x6), add(x2, x5), add(x3, x4), r04, r26);
  reload(k);
  storeRows(pDst, pQuantFwdTable, 0, 4, transformRows(k, &Constants::rows04, r04));
  reload(k);
  storeRows(pDst, pQuantFwdTable, 2, 6, transformRows(k, &Constants::rows26, r26));
  reload(k);
  storeRows(pDst, pQuantFwdTable, 1, 7, transformRows(k, &Constants::rows17, r17));
  reload(k);
  storeRows(pDst, pQuantFwdTable, 3, 5, transformRows(k, &Constants::rows35, r35));
  return velStsNoErr;
}
