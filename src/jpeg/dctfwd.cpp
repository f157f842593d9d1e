// Forward DCT with quantisation.
//
// In 16-bit fixed point. Columns first, with saturating arithmetic and three fractional bits; then the rows, whose
// eight outputs are sums of products with a 32-bit accumulator.
#include "image/checks.h"
#include "jpeg/dct.h"

namespace {

// ---- Constants

// A row's even outputs are sums of s[n] = x[n] + x[7 - n], its odd ones of d[n] = x[n] - x[7 - n], n = 0..3. A vector
// holds what s0 s1 and d0 d1, or s2 s3 and d2 d3, contribute to four outputs.
struct Tables {
  Words s01d01f0, s23d23f0, s01d01f4, s23d23f4;
};
constexpr Tables tables(const Cosines& c) {
  return {words(c.c4, c.c4, c.c1, c.c3, c.c2, c.c6, c.c3, -c.c7),
          words(c.c4, c.c4, c.c5, c.c7, -c.c6, -c.c2, -c.c1, -c.c5),
          words(c.c4, -c.c4, c.c5, -c.c1, c.c6, -c.c2, c.c7, -c.c5),
          words(-c.c4, c.c4, c.c7, c.c3, c.c2, -c.c6, c.c3, -c.c1)};
}
struct Dwords {
  Vel32s d[4];
};
// Of the sums' 20 fractional bits three are the columns', fourteen the cosines', and three are the transform's division
// by 8. The level shift, 128 from every sample, is made where it comes to: in the first output of all.
constexpr int kRowShift = 20, kRound = 1 << (kRowShift - 1), kColumnBits = 3;
constexpr int kLevel = (8 * 8 * 128 << kColumnBits) * 16384;
struct Constants {
  Tables rows04, rows26, rows17, rows35;
  Tangents tangents;
  Dwords round, roundFirst;
};
alignas(16) constexpr Constants kConstants = {tables(kRow04),
                                              tables(kRow26),
                                              tables(kRow17),
                                              tables(kRow35),
                                              kTangents,
                                              {{kRound, kRound, kRound, kRound}},
                                              {{kRound - kLevel, kRound, kRound, kRound}}};

// ---- Columns

// Row y of the block: words.
struct Samples {
  const Vel8u* src;
  int step;
  Vec row(int y) const { return widenLow8(loadLow(src + ptrdiff_t(step) * y)); }
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

// Four outputs from the pairs s0 s1, d0 d1 and s2 s3, d2 d3, each in turn.
ORV_INLINE Vec outputs(Vec pairs01, const Words& w, Vec pairs23, const Words& v, const Dwords& round) {
  const Vec sums = _mm_add_epi32(_mm_madd_epi16(pairs01, constant(w)), _mm_madd_epi16(pairs23, constant(v)));
  return _mm_srai_epi32(_mm_add_epi32(sums, constant(round)), kRowShift);
}
// A row, from s0 s1 s2 s3 d0 d1 d2 d3.
ORV_INLINE Vec transformRow(const Constants* k, const Tables& t, Vec sd, const Dwords& round) {
  const Vec pairs01 = _mm_shuffle_epi32(sd, 0x88), pairs23 = _mm_shuffle_epi32(sd, 0xDD);
  return _mm_packs_epi32(outputs(pairs01, t.s01d01f0, pairs23, t.s23d23f0, round),
                         outputs(pairs01, t.s01d01f4, pairs23, t.s23d23f4, k->round));
}
ORV_INLINE TwoRows transformRows(const Constants* k, const Tables Constants::*table, const TwoRows& rows,
                                 const Dwords Constants::*round = &Constants::round) {
  const Vec left = _mm_unpacklo_epi64(rows.a, rows.b), right = _mm_unpackhi_epi64(rows.a, rows.b);
  const Vec mirrored = _mm_shufflehi_epi16(_mm_shufflelo_epi16(right, 0x1B), 0x1B);
  const Vec s = _mm_add_epi16(left, mirrored), d = _mm_sub_epi16(left, mirrored);
  return {transformRow(k, k->*table, _mm_unpacklo_epi64(s, d), k->*round),
          transformRow(k, k->*table, _mm_unpackhi_epi64(s, d), k->round)};
}

// ---- Quantisation

// Eight coefficients times their table entries, divided by 2^15 and rounded to the nearest integer, halves to the even
// one. Samples of 8 bits make no coefficient larger than 1200, so twice of it fits a word, and the high word of the
// product is the quotient; the low one is twice the remainder, an even number, which leaves its last bit for the
// quotient's.
ORV_INLINE Vec rounded(Vec quotient, Vec remainder) {
  const Vec odd = _mm_and_si128(quotient, all16(1));
  const Vec up = _mm_cmpgt_epi16(_mm_xor_si128(_mm_or_si128(remainder, odd), all16(0x8000)), zero());  // above a half
  return _mm_sub_epi16(quotient, up);
}
#if ORV_HAS_SHUFFLE
ORV_INLINE Vec quantise(Vec c, const Vel16u* table) {
  const Vec q = load(table), twice = _mm_slli_epi16(magnitude16(c), 1);
  return withSignOf16(c, rounded(_mm_mulhi_epu16(twice, q), _mm_mullo_epi16(twice, q)));
}
#else
// Without instructions for signs: the entries are taken as signed, and 2^16 c put back where that made them negative.
ORV_INLINE Vec quantise(Vec c, const Vel16u* table) {
  const Vec q = load(table), twice = _mm_add_epi16(c, c);
  const Vec missing = _mm_and_si128(twice, _mm_srai_epi16(q, 15));
  return rounded(_mm_add_epi16(_mm_mulhi_epi16(twice, q), missing), _mm_mullo_epi16(twice, q));
}
#endif
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
  const Vec x0 = s.row(0), x7 = s.row(7), x1 = s.row(1), x6 = s.row(6);
  const Vec x2 = s.row(2), x5 = s.row(5), x3 = s.row(3), x4 = s.row(4);
  TwoRows r04, r26, r17, r35;
  oddRows(k->tangents, sub(x0, x7), sub(x1, x6), sub(x2, x5), sub(x3, x4), r17, r35);
  evenRows(k->tangents, add(x0, x7), add(x1, x6), add(x2, x5), add(x3, x4), r04, r26);
  reload(k);
  storeRows(pDst, pQuantFwdTable, 0, 4, transformRows(k, &Constants::rows04, r04, &Constants::roundFirst));
  reload(k);
  storeRows(pDst, pQuantFwdTable, 2, 6, transformRows(k, &Constants::rows26, r26));
  reload(k);
  storeRows(pDst, pQuantFwdTable, 1, 7, transformRows(k, &Constants::rows17, r17));
  reload(k);
  storeRows(pDst, pQuantFwdTable, 3, 5, transformRows(k, &Constants::rows35, r35));
  return velStsNoErr;
}
