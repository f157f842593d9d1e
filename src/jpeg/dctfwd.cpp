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
template <class V> struct RowWeights { WordConstants<V> s01d01f0, s23d23f0, s01d01f4, s23d23f4; };
constexpr RowWeights<Lane> rowWeights(const Cosines& c) {
  return {words(c.c4, c.c4, c.c1, c.c3, c.c2, c.c6, c.c3, -c.c7),
          words(c.c4, c.c4, c.c5, c.c7, -c.c6, -c.c2, -c.c1, -c.c5),
          words(c.c4, -c.c4, c.c5, -c.c1, c.c6, -c.c2, c.c7, -c.c5),
          words(-c.c4, c.c4, c.c7, c.c3, c.c2, -c.c6, c.c3, -c.c1)};
}
// Of the sums' fractional bits some are the columns', some the cosines', and three are the transform's division by 8.
// The level shift, 128 from every sample, is made where it comes to: in the first output of all.
constexpr int kColumnBits = 3, kRowShift = kColumnBits + kCosineBits + 3, kRound = 1 << (kRowShift - 1);
constexpr int kLevel = 8 * 8 * 128 << (kColumnBits + kCosineBits);

template <class V> constexpr RowWeights<V> joinWeights(const RowWeights<Lane>& a, const RowWeights<Lane>& b) {
  return {joinConstants<V>(a.s01d01f0, b.s01d01f0), joinConstants<V>(a.s23d23f0, b.s23d23f0),
          joinConstants<V>(a.s01d01f4, b.s01d01f4), joinConstants<V>(a.s23d23f4, b.s23d23f4)};
}

// A lane has one row after the other of two with the same weights: 0 and 4, 2 and 6; 1 and 7, 3 and 5. A group is as many
// such pairs as V has lanes.
template <class V> struct Constants {
  static constexpr int kLanes = sizeof(V) / sizeof(Lane), kGroups = 2 / kLanes;

  RowWeights<V> even[kGroups], odd[kGroups];
  DwordConstants<V> round, roundFirst;
  Tangents tangents;

  constexpr Constants()
      : even(),
        odd(),
        round(joinConstants<V>(kRounds, kRounds)),
        roundFirst(joinConstants<V>({{kRound - kLevel, kRound, kRound, kRound}}, kRounds)),
        tangents(kTangents) {
    constexpr RowWeights<Lane> evens[2] = {rowWeights(kRow04), rowWeights(kRow26)};
    constexpr RowWeights<Lane> odds[2] = {rowWeights(kRow17), rowWeights(kRow35)};
    for (int i = 0; i < 2; i += kLanes) {
      even[i / kLanes] = joinWeights<V>(evens[i], evens[i + kLanes - 1]);
      odd[i / kLanes] = joinWeights<V>(odds[i], odds[i + kLanes - 1]);
    }
  }

 private:
  static constexpr DwordConstant kRounds = {{kRound, kRound, kRound, kRound}};
};
template <class V> constexpr Constants<V> kConstants;

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

// Rows 0 and 4, 2 and 6 of the columns' transform, from the sums of opposite rows.
ORV_INLINE void evenRows(const Tangents& t, Lane s0, Lane s1, Lane s2, Lane s3, TwoRows<Lane> (&rows)[2]) {
  const Lane outer = addSat16(s0, s3), inner = addSat16(s1, s2);
  const Lane x = scaled(subSat16(s0, s3)), y = scaled(subSat16(s1, s2));
  rows[0] = {scaled(addSat16(outer, inner)), scaled(subSat16(outer, inner))};
  rows[1] = {addSat16(x, mulHigh16(y, t.tan2)), subSat16(mulHigh16(x, t.tan2), y)};
}
// Rows 1 and 7, 3 and 5, from their differences.
ORV_INLINE void oddRows(const Tangents& t, Lane d0, Lane d1, Lane d2, Lane d3, TwoRows<Lane> (&rows)[2]) {
  const Lane w = diagonal(addSat16(d1, d2), t), z = diagonal(subSat16(d1, d2), t);
  const Lane x = scaled(d0), y = scaled(d3);
  const Lane p = addSat16(x, w), q = addSat16(y, z), u = subSat16(x, w), v = subSat16(y, z);
  rows[0] = {addSat16(p, mulHigh16(q, t.tan1)), subSat16(mulHigh16(p, t.tan1), q)};
  rows[1] = {subSat16(u, timesTan3(v, t)), addSat16(timesTan3(u, t), v)};
}

// ---- Rows

// Four outputs of a row, from s0 s1 d0 d1 s0 s1 d0 d1 and s2 s3 d2 d3 s2 s3 d2 d3.
template <class V> ORV_INLINE V outputs(V pairs01, const WordConstants<V>& weights01, V pairs23,
                                        const WordConstants<V>& weights23, const DwordConstants<V>& round) {
  const V sums = add32(mulAddPairs16(pairs01, weights01), mulAddPairs16(pairs23, weights23));
  return shiftRight32(add32(sums, round), kRowShift);
}
// All eight, from s0 s1 s2 s3 d0 d1 d2 d3. `round` is what rounds the first four.
template <class V>
ORV_INLINE V transformRow(const Constants<V>& k, const RowWeights<V>& w, V sd, const DwordConstants<V>& round) {
  const V pairs01 = shuffle32<0, 2, 0, 2>(sd), pairs23 = shuffle32<1, 3, 1, 3>(sd);
  return narrow32(outputs(pairs01, w.s01d01f0, pairs23, w.s23d23f0, round),
                  outputs(pairs01, w.s01d01f4, pairs23, w.s23d23f4, k.round));
}
template <class V> ORV_INLINE TwoRows<V> transformRows(const Constants<V>& k, const RowWeights<V>& w,
                                                       const TwoRows<V>& rows, const DwordConstants<V>& roundFirst) {
  // a0 a1 a2 a3 b0 b1 b2 b3 | a4 ... a7 b4 ... b7, and the latter as a7 a6 a5 a4 b7 b6 b5 b4
  const V left = interleaveLow64(rows.a, rows.b), right = interleaveHigh64(rows.a, rows.b);
  const V mirrored = shuffleHalves16<3, 2, 1, 0>(right);
  const V s = add16(left, mirrored), d = sub16(left, mirrored);
  return {transformRow(k, w, interleaveLow64(s, d), roundFirst), transformRow(k, w, interleaveHigh64(s, d), k.round)};
}

// ---- Quantisation

// Eight coefficients times their table entries, divided by 2^15 and rounded to the nearest integer, halves to the even
// one. Samples of 8 bits make no coefficient larger than 1200, so twice of it fits a word, and the high word of the
// product is the quotient; the low one is twice the remainder, an even number, which leaves its last bit for the
// quotient's.
template <class V> ORV_INLINE V rounded(V quotient, V remainder) {
  const V odd = quotient & all16<V>(1);
  const V up = greater16((remainder | odd) ^ all16<V>(0x8000), zero<V>());  // -1 above a half
  return sub16(quotient, up);
}
// The table's entries are unsigned. Where there are instructions for signs, it is magnitudes that are multiplied. They
// would be slow to do without: there the entries are taken as signed, which makes those whose highest bit is set 2^16
// smaller, and quotients `twice` smaller.
#if ORV_HAS_SHUFFLE
template <class V> ORV_INLINE V quantise(V c, V entries) {
  const V twice = shiftLeft16(magnitude16(c), 1);
  return withSignsOf16(c, rounded(mulHighU16(twice, entries), mulLow16(twice, entries)));
}
#else
template <class V> ORV_INLINE V quantise(V c, V entries) {
  const V twice = add16(c, c), missing = twice & shiftRight16(entries, 15);
  return rounded(add16(mulHigh16(twice, entries), missing), mulLow16(twice, entries));
}
#endif
// Row `row` of the block, or also the one that lies `apart` rows further on.
template <class V> ORV_INLINE void storeRow(Vel16s* dst, const Vel16u* table, int row, int apart, V coefficients) {
  const ptrdiff_t distance = ptrdiff_t(sizeof(Lane)) * apart;
  store(dst + 8 * row, quantise(coefficients, load<V>(table + 8 * row, distance)), distance);
}

// ---- Blocks

template <class V> ORV_INLINE void transformBlock(const Samples& s, Vel16s* dst, const Vel16u* table) {
  constexpr int kLanes = Constants<V>::kLanes;
  const Constants<V>* k = &kConstants<V>;
  const Lane x0 = s.row(0), x7 = s.row(7), x1 = s.row(1), x6 = s.row(6);
  const Lane x2 = s.row(2), x5 = s.row(5), x3 = s.row(3), x4 = s.row(4);
  TwoRows<Lane> even[2], odd[2];
  oddRows(k->tangents, subSat16(x0, x7), subSat16(x1, x6), subSat16(x2, x5), subSat16(x3, x4), odd);
  evenRows(k->tangents, addSat16(x0, x7), addSat16(x1, x6), addSat16(x2, x5), addSat16(x3, x4), even);
  const auto group = [](const TwoRows<Lane>& first, const TwoRows<Lane>& second) {
    return TwoRows<V>{joined<V>(first.a, second.a), joined<V>(first.b, second.b)};
  };
  ORV_UNROLL for (int i = 0; i < 2; i += kLanes) {
    opaque(k);
    const TwoRows<V> rows =
        transformRows(*k, k->even[i / kLanes], group(even[i], even[i + kLanes - 1]), i == 0 ? k->roundFirst : k->round);
    storeRow(dst, table, 2 * i, 2, rows.a);
    storeRow(dst, table, 4 + 2 * i, 2, rows.b);
  }
  ORV_UNROLL for (int i = 0; i < 2; i += kLanes) {
    opaque(k);
    const TwoRows<V> rows = transformRows(*k, k->odd[i / kLanes], group(odd[i], odd[i + kLanes - 1]), k->round);
    storeRow(dst, table, 1 + 2 * i, 2, rows.a);
    storeRow(dst, table, 7 - 2 * i, -2, rows.b);
  }
}

}  // namespace

// ---- Bodies

ORV_BODY_B(veliDCTQuantFwd8x8LS_JPEG_8u16s_C1R)
(const Vel8u* pSrc, int srcStep, Vel16s* pDst, const Vel16u* pQuantFwdTable) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSteps(srcStep));
  ORV_CHECK(checkPointers(pQuantFwdTable));
  transformBlock<Lanes>(Samples{pSrc, srcStep}, pDst, pQuantFwdTable);
  lanesEnd();
  return velStsNoErr;
}
