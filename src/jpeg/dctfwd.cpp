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
struct FourDwords {
  Vel32s d[4];
};
// Of the sums' 20 fractional bits three are the columns', fourteen the cosines', and three are the transform's division
// by 8. The level shift, 128 from every sample, is made where it comes to: in the first output of all.
constexpr int kRowShift = 20, kRound = 1 << (kRowShift - 1), kColumnBits = 3;
constexpr int kLevel = (8 * 8 * 128 << kColumnBits) * 16384;
struct Constants {
  Tables rows04, rows26, rows17, rows35;
  Tangents tangents;
  FourDwords round, roundFirst;
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
  Lane row(int y) const { return widenLowU8(loadLow(src + ptrdiff_t(step) * y)); }
};

ORV_INLINE Lane scaled(Lane x) { return shiftLeft16(x, kColumnBits); }
// cos(4 pi / 16) x, scaled: the constant is half the cosine, so there is one bit more in front of it.
ORV_INLINE Lane diagonal(Lane x, const Tangents& t) { return mulHigh(shiftLeft16(x, kColumnBits + 1), t.halfCos4); }

// Rows 0, 4, 2 and 6 of the columns' transform, from the sums of opposite rows.
ORV_INLINE void evenRows(const Tangents& t, Lane s0, Lane s1, Lane s2, Lane s3, TwoRows& r04, TwoRows& r26) {
  const Lane outer = add(s0, s3), inner = add(s1, s2);
  const Lane x = scaled(sub(s0, s3)), y = scaled(sub(s1, s2));
  r04 = {scaled(add(outer, inner)), scaled(sub(outer, inner))};
  r26 = {add(x, mulHigh(y, t.tan2)), sub(mulHigh(x, t.tan2), y)};
}
// Rows 1, 7, 3 and 5, from their differences.
ORV_INLINE void oddRows(const Tangents& t, Lane d0, Lane d1, Lane d2, Lane d3, TwoRows& r17, TwoRows& r35) {
  const Lane w = diagonal(add(d1, d2), t), z = diagonal(sub(d1, d2), t);
  const Lane x = scaled(d0), y = scaled(d3);
  const Lane p = add(x, w), q = add(y, z), u = sub(x, w), v = sub(y, z);
  r17 = {add(p, mulHigh(q, t.tan1)), sub(mulHigh(p, t.tan1), q)};
  r35 = {sub(u, timesTan3(v, t)), add(timesTan3(u, t), v)};
}

// ---- Rows

// Four outputs from the pairs s0 s1, d0 d1 and s2 s3, d2 d3, each in turn.
ORV_INLINE Lane outputs(Lane pairs01, const Words& w, Lane pairs23, const Words& v, const FourDwords& round) {
  const Lane sums = add32(mulAddPairs16(pairs01, constant(w)), mulAddPairs16(pairs23, constant(v)));
  return shiftRight32(add32(sums, constant(round)), kRowShift);
}
// A row, from s0 s1 s2 s3 d0 d1 d2 d3.
ORV_INLINE Lane transformRow(const Constants* k, const Tables& t, Lane sd, const FourDwords& round) {
  const Lane pairs01 = shuffle32<0, 2, 0, 2>(sd), pairs23 = shuffle32<1, 3, 1, 3>(sd);
  return narrow32(outputs(pairs01, t.s01d01f0, pairs23, t.s23d23f0, round),
                  outputs(pairs01, t.s01d01f4, pairs23, t.s23d23f4, k->round));
}
ORV_INLINE TwoRows transformRows(const Constants* k, const Tables Constants::*table, const TwoRows& rows,
                                 const FourDwords Constants::*round = &Constants::round) {
  const Lane left = interleaveLow64(rows.a, rows.b), right = interleaveHigh64(rows.a, rows.b);
  const Lane mirrored = shuffleHalves16<3, 2, 1, 0>(right);
  const Lane s = add16(left, mirrored), d = sub16(left, mirrored);
  return {transformRow(k, k->*table, interleaveLow64(s, d), k->*round),
          transformRow(k, k->*table, interleaveHigh64(s, d), k->round)};
}

// ---- Quantisation

// Eight coefficients times their table entries, divided by 2^15 and rounded to the nearest integer, halves to the even
// one. Samples of 8 bits make no coefficient larger than 1200, so twice of it fits a word, and the high word of the
// product is the quotient; the low one is twice the remainder, an even number, which leaves its last bit for the
// quotient's.
ORV_INLINE Lane rounded(Lane quotient, Lane remainder) {
  const Lane odd = quotient & all16(1);
  const Lane up = greater16(((remainder | odd) ^ all16(0x8000)), zero());  // above a half
  return sub16(quotient, up);
}
#if ORV_HAS_SHUFFLE
ORV_INLINE Lane quantise(Lane c, const Vel16u* table) {
  const Lane q = load(table), twice = shiftLeft16(magnitude16(c), 1);
  return withSignsOf16(c, rounded(mulHighU16(twice, q), mulLow16(twice, q)));
}
#else
// Without instructions for signs: the entries are taken as signed, and 2^16 c put back where that made them negative.
ORV_INLINE Lane quantise(Lane c, const Vel16u* table) {
  const Lane q = load(table), twice = add16(c, c);
  const Lane missing = twice & shiftRight16(q, 15);
  return rounded(add16(mulHigh16(twice, q), missing), mulLow16(twice, q));
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
  const Lane x0 = s.row(0), x7 = s.row(7), x1 = s.row(1), x6 = s.row(6);
  const Lane x2 = s.row(2), x5 = s.row(5), x3 = s.row(3), x4 = s.row(4);
  TwoRows r04, r26, r17, r35;
  oddRows(k->tangents, sub(x0, x7), sub(x1, x6), sub(x2, x5), sub(x3, x4), r17, r35);
  evenRows(k->tangents, add(x0, x7), add(x1, x6), add(x2, x5), add(x3, x4), r04, r26);
  opaque(k);
  storeRows(pDst, pQuantFwdTable, 0, 4, transformRows(k, &Constants::rows04, r04, &Constants::roundFirst));
  opaque(k);
  storeRows(pDst, pQuantFwdTable, 2, 6, transformRows(k, &Constants::rows26, r26));
  opaque(k);
  storeRows(pDst, pQuantFwdTable, 1, 7, transformRows(k, &Constants::rows17, r17));
  opaque(k);
  storeRows(pDst, pQuantFwdTable, 3, 5, transformRows(k, &Constants::rows35, r35));
  return velStsNoErr;
}
