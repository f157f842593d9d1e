// Forward DCT with quantisation.
//
// In 16-bit fixed point. Columns first, with saturating arithmetic and three fractional bits; then the rows, whose
// eight outputs are sums of products with a 32-bit accumulator.
#include "image/checks.h"
#include "jpeg/dct.h"

namespace {

// ---- Constants

// A row's even outputs are sums of s[n] = x[n] + x[7 - n], its odd ones of d[n] = x[n] - x[7 - n], n = 0..3. A constant
// here is what s0 s1 and d0 d1, or s2 s3 and d2 d3, weigh in outputs 0 to 3, or 4 to 7.
struct RowWeights {
  WordConstant s01d01f0, s23d23f0, s01d01f4, s23d23f4;
};
constexpr RowWeights rowWeights(const Cosines& c) {
  return {words(c.c4, c.c4, c.c1, c.c3, c.c2, c.c6, c.c3, -c.c7),
          words(c.c4, c.c4, c.c5, c.c7, -c.c6, -c.c2, -c.c1, -c.c5),
          words(c.c4, -c.c4, c.c5, -c.c1, c.c6, -c.c2, c.c7, -c.c5),
          words(-c.c4, c.c4, c.c7, c.c3, c.c2, -c.c6, c.c3, -c.c1)};
}
// Of the sums' fractional bits some are the columns', some the cosines', and three are the transform's division by 8.
// The level shift, 128 from every sample, is made where it comes to: in the first output of all.
constexpr int kColumnBits = 3, kRowShift = kColumnBits + kCosineBits + 3, kRound = 1 << (kRowShift - 1);
constexpr int kLevel = 8 * 8 * 128 << (kColumnBits + kCosineBits);
struct Constants {
  RowWeights rows04, rows26, rows17, rows35;
  Tangents tangents;
  DwordConstant round, roundFirst;
};
constexpr Constants kConstants = {rowWeights(kRow04),
                                  rowWeights(kRow26),
                                  rowWeights(kRow17),
                                  rowWeights(kRow35),
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
// cos(4 pi / 16) x, scaled: the constant is half the cosine, so x is scaled by one bit more.
ORV_INLINE Lane diagonal(Lane x, const Tangents& t) { return mulHigh16(shiftLeft16(x, kColumnBits + 1), t.halfCos4); }

// Rows 0, 4, 2 and 6 of the columns' transform, from the sums of opposite rows.
ORV_INLINE void evenRows(const Tangents& t, Lane s0, Lane s1, Lane s2, Lane s3, TwoRows& r04, TwoRows& r26) {
  const Lane outer = addSat16(s0, s3), inner = addSat16(s1, s2);
  const Lane x = scaled(subSat16(s0, s3)), y = scaled(subSat16(s1, s2));
  r04 = {scaled(addSat16(outer, inner)), scaled(subSat16(outer, inner))};
  r26 = {addSat16(x, mulHigh16(y, t.tan2)), subSat16(mulHigh16(x, t.tan2), y)};
}
// Rows 1, 7, 3 and 5, from their differences.
ORV_INLINE void oddRows(const Tangents& t, Lane d0, Lane d1, Lane d2, Lane d3, TwoRows& r17, TwoRows& r35) {
  const Lane w = diagonal(addSat16(d1, d2), t), z = diagonal(subSat16(d1, d2), t);
  const Lane x = scaled(d0), y = scaled(d3);
  const Lane p = addSat16(x, w), q = addSat16(y, z), u = subSat16(x, w), v = subSat16(y, z);
  r17 = {addSat16(p, mulHigh16(q, t.tan1)), subSat16(mulHigh16(p, t.tan1), q)};
  r35 = {subSat16(u, timesTan3(v, t)), addSat16(timesTan3(u, t), v)};
}

// ---- Rows

// Four outputs of a row, from s0 s1 d0 d1 s0 s1 d0 d1 and s2 s3 d2 d3 s2 s3 d2 d3.
ORV_INLINE Lane outputs(Lane pairs01, const WordConstant& weights01, Lane pairs23, const WordConstant& weights23,
                        const DwordConstant& round) {
  const Lane sums = add32(mulAddPairs16(pairs01, weights01), mulAddPairs16(pairs23, weights23));
  return shiftRight32(add32(sums, round), kRowShift);
}
// All eight, from s0 s1 s2 s3 d0 d1 d2 d3. `round` is what rounds the first four.
ORV_INLINE Lane transformRow(const Constants& k, const RowWeights& w, Lane sd, const DwordConstant& round) {
  const Lane pairs01 = shuffle32<0, 2, 0, 2>(sd), pairs23 = shuffle32<1, 3, 1, 3>(sd);
  return narrow32(outputs(pairs01, w.s01d01f0, pairs23, w.s23d23f0, round),
                  outputs(pairs01, w.s01d01f4, pairs23, w.s23d23f4, k.round));
}
ORV_INLINE TwoRows transformRows(const Constants& k, const RowWeights& w, const TwoRows& rows,
                                 const DwordConstant& roundFirst) {
  // a0 a1 a2 a3 b0 b1 b2 b3 | a4 ... a7 b4 ... b7, and the latter as a7 a6 a5 a4 b7 b6 b5 b4
  const Lane left = interleaveLow64(rows.a, rows.b), right = interleaveHigh64(rows.a, rows.b);
  const Lane mirrored = shuffleHalves16<3, 2, 1, 0>(right);
  const Lane s = add16(left, mirrored), d = sub16(left, mirrored);
  return {transformRow(k, w, interleaveLow64(s, d), roundFirst), transformRow(k, w, interleaveHigh64(s, d), k.round)};
}

// ---- Quantisation

// Eight coefficients times their table entries, divided by 2^15 and rounded to the nearest integer, halves to the even
// one. Samples of 8 bits make no coefficient larger than 1200, so twice of it fits a word, and the high word of the
// product is the quotient; the low one is twice the remainder, an even number, which leaves its last bit for the
// quotient's.
ORV_INLINE Lane rounded(Lane quotient, Lane remainder) {
  const Lane odd = quotient & all16(1);
  const Lane up = greater16((remainder | odd) ^ all16(0x8000), zero());  // -1 above a half
  return sub16(quotient, up);
}
// The table's entries are unsigned. Where there are instructions for signs, it is magnitudes that are multiplied. They
// would be slow to do without: there the entries are taken as signed, which makes those whose highest bit is set 2^16
// smaller, and quotients `twice` smaller.
#if ORV_HAS_SHUFFLE
ORV_INLINE Lane quantise(Lane c, const Vel16u* table) {
  const Lane q = load(table), twice = shiftLeft16(magnitude16(c), 1);
  return withSignsOf16(c, rounded(mulHighU16(twice, q), mulLow16(twice, q)));
}
#else
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
  oddRows(k->tangents, subSat16(x0, x7), subSat16(x1, x6), subSat16(x2, x5), subSat16(x3, x4), r17, r35);
  evenRows(k->tangents, addSat16(x0, x7), addSat16(x1, x6), addSat16(x2, x5), addSat16(x3, x4), r04, r26);
  opaque(k);
  storeRows(pDst, pQuantFwdTable, 0, 4, transformRows(*k, k->rows04, r04, k->roundFirst));
  opaque(k);
  storeRows(pDst, pQuantFwdTable, 2, 6, transformRows(*k, k->rows26, r26, k->round));
  opaque(k);
  storeRows(pDst, pQuantFwdTable, 1, 7, transformRows(*k, k->rows17, r17, k->round));
  opaque(k);
  storeRows(pDst, pQuantFwdTable, 3, 5, transformRows(*k, k->rows35, r35, k->round));
  return velStsNoErr;
}
