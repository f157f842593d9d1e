// Inverse DCT with dequantisation.
//
// In 16-bit fixed point. Rows first: a row's eight outputs are sums of products with a 32-bit accumulator, kept with
// three fractional bits. Then the columns, with saturating arithmetic.
//
// A zero coefficient adds exactly nothing to any sum here, so kernels that leave out coefficients known to be zero
// give the same samples as the full one.
#include "jpeg/dctinv.h"
#include "core/cache.h"
#include "image/checks.h"
#include "jpeg/dct.h"
#include "jpeg/value.h"

namespace {

// ---- Constants

// Row results keep 3 of the cosines' bits. Row 0 reaches every sample of its column unchanged, so the half that rounds
// the columns' final shift is added to it, where it costs nothing.
constexpr int kRowShift = kCosineBits - 3, kColumnShift = 6;
constexpr int kRound = 1 << (kRowShift - 1);
constexpr int kRound0 = kRound + ((1 << (kColumnShift - 1)) << kRowShift);

// A row's outputs are out[n] = e[n] + o[n] and out[7 - n] = e[n] - o[n], n = 0..3: e sums the even coefficients, o the
// odd ones. Rows are transformed in twos. A constant here is what a pair of coefficients weighs in two sums of row a,
// then in the same two of row b.
struct RowWeights {
  WordConstant e04, e26;              // e0 e1 is the sum of the two, e3 e2 the difference
  WordConstant o15, o37;              // o0 o1
  WordConstant o15r, o37r;            // o3 o2
  WordConstant e02, e02r, o13, o13r;  // e0 e1, e3 e2, o0 o1, o3 o2 where there are no coefficients but the first four
  DwordConstant round;
};
constexpr RowWeights rowWeights(const Cosines& a, const Cosines& b, int roundA) {
  return {words(a.c4, a.c4, a.c4, -a.c4, b.c4, b.c4, b.c4, -b.c4),
          words(a.c2, a.c6, a.c6, -a.c2, b.c2, b.c6, b.c6, -b.c2),
          words(a.c1, a.c5, a.c3, -a.c1, b.c1, b.c5, b.c3, -b.c1),
          words(a.c3, a.c7, -a.c7, -a.c5, b.c3, b.c7, -b.c7, -b.c5),
          words(a.c7, a.c3, a.c5, a.c7, b.c7, b.c3, b.c5, b.c7),
          words(-a.c5, -a.c1, -a.c1, a.c3, -b.c5, -b.c1, -b.c1, b.c3),
          words(a.c4, a.c2, a.c4, a.c6, b.c4, b.c2, b.c4, b.c6),
          words(a.c4, -a.c2, a.c4, -a.c6, b.c4, -b.c2, b.c4, -b.c6),
          words(a.c1, a.c3, a.c3, -a.c7, b.c1, b.c3, b.c3, -b.c7),
          words(a.c7, -a.c5, a.c5, -a.c1, b.c7, -b.c5, b.c5, -b.c1),
          {{roundA, roundA, kRound, kRound}}};
}
// What the first pair of coefficients of one row weighs in out[0..3] and out[4..7].
struct PairWeights {
  WordConstant low, high;
  DwordConstant round;
};
constexpr PairWeights pairWeights(const Cosines& a, int round) {
  return {words(a.c4, a.c1, a.c4, a.c3, a.c4, a.c5, a.c4, a.c7),
          words(a.c4, -a.c7, a.c4, -a.c5, a.c4, -a.c3, a.c4, -a.c1),
          {{round, round, round, round}}};
}

struct Constants {
  RowWeights rows13, rows57, rows02, rows46;
  PairWeights row0, row1;
  Tangents tangents;
  ByteConstant halvesInTurn, ascending;  // shuffles, see the order of a row's words
  ByteConstant signBits;
};
constexpr Constants kConstants = {rowWeights(kRow17, kRow35, kRound),
                                  rowWeights(kRow35, kRow17, kRound),
                                  rowWeights(kRow04, kRow26, kRound0),
                                  rowWeights(kRow04, kRow26, kRound),
                                  pairWeights(kRow04, kRound0),
                                  pairWeights(kRow17, kRound),
                                  kTangents,
                                  {{0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15}},
                                  {{0, 1, 3, 2, 4, 5, 7, 6, 8, 9, 11, 10, 12, 13, 15, 14}},
                                  {{128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128}}};

// ---- The order of a row's words
//
// Sums come in pairs e0 e1 and e3 e2, and make outputs 0 1 3 2 | 4 5 7 6. A byte shuffle leaves them so and puts the
// samples of two rows in order at once; without one, each second pair of sums is exchanged before it is narrowed.
#if ORV_HAS_SHUFFLE
// x0 x4 x1 x5 | x2 x6 x3 x7 from x0 ... x7.
ORV_INLINE Lane halvesInTurn(const Constants& k, Lane row) { return shuffle8(row, k.halvesInTurn); }
ORV_INLINE Lane exchanged(Lane sums) { return sums; }
ORV_INLINE Lane ascending(const Constants& k, Lane samples) { return shuffle8(samples, k.ascending); }
#else
ORV_INLINE Lane halvesInTurn(const Constants&, Lane row) { return interleaveLow16(row, shiftBytesDown<8>(row)); }
ORV_INLINE Lane exchanged(Lane sums) { return shuffle32<1, 0, 3, 2>(sums); }
ORV_INLINE Lane ascending(const Constants&, Lane samples) { return samples; }
#endif

// ---- Rows

// Dword kI of a twice, then of b twice.
template <int kI> ORV_INLINE Lane repeat32(Lane a, Lane b) { return joinPairs32<kI, kI, kI, kI>(a, b); }

// Words of two rows, from their sums.
ORV_INLINE TwoRows<Lane> outputs(Lane e01, Lane e32, Lane o01, Lane o32) {
  const auto scaled = [](Lane sums) { return shiftRight32(sums, kRowShift); };
  // a01 b01 a32 b32 | a45 b45 a76 b76 or, exchanged, a01 b01 a23 b23 | a45 b45 a67 b67
  const Lane low = narrow32(scaled(add32(e01, o01)), exchanged(scaled(add32(e32, o32))));
  const Lane high = narrow32(scaled(sub32(e32, o32)), exchanged(scaled(sub32(e01, o01))));
  return {joinPairs32<0, 2, 0, 2>(low, high), joinPairs32<1, 3, 1, 3>(low, high)};
}

ORV_INLINE TwoRows<Lane> transformRows(const Constants& k, const RowWeights& w, Lane rowA, Lane rowB) {
  const Lane a = halvesInTurn(k, rowA), b = halvesInTurn(k, rowB);
  const Lane x04 = repeat32<0>(a, b), x15 = repeat32<1>(a, b), x26 = repeat32<2>(a, b), x37 = repeat32<3>(a, b);
  const Lane e04 = add32(mulAddPairs16(x04, w.e04), w.round), e26 = mulAddPairs16(x26, w.e26);
  return outputs(add32(e04, e26), sub32(e04, e26), add32(mulAddPairs16(x15, w.o15), mulAddPairs16(x37, w.o37)),
                 add32(mulAddPairs16(x15, w.o15r), mulAddPairs16(x37, w.o37r)));
}

// The same for rows of four coefficients: those of a, then those of b.
ORV_INLINE TwoRows<Lane> transformShortRows(const RowWeights& w, Lane halves) {
  const Lane pairs = shuffleHalves16<0, 2, 1, 3>(halves);  // x0 x2 x1 x3 of each
  const Lane x02 = shuffle32<0, 0, 2, 2>(pairs), x13 = shuffle32<1, 1, 3, 3>(pairs), round = w.round;
  return outputs(add32(mulAddPairs16(x02, w.e02), round), add32(mulAddPairs16(x02, w.e02r), round),
                 mulAddPairs16(x13, w.o13), mulAddPairs16(x13, w.o13r));
}

// One row of two coefficients, which `row` begins with: a pair makes all eight sums, in their natural order.
ORV_INLINE Lane transformPair(const PairWeights& w, Lane row) {
  const Lane x01 = shuffle32<0, 0, 0, 0>(row), round = w.round;
  const Lane low = add32(mulAddPairs16(x01, w.low), round), high = add32(mulAddPairs16(x01, w.high), round);
  return narrow32(shiftRight32(low, kRowShift), shiftRight32(high, kRowShift));
}

// ---- Columns

// A column's samples are a[n] + b[n] and a[n] - b[n] for n and 7 - n = 0..3: a from the even rows, b from the odd ones.
// Of each, only the first kRows rows (8, 4 or 2) can be other than zero.
struct Half {
  Lane v[4];
};
template <int kRows> ORV_INLINE Half oddRows(const Tangents& t, Lane r1, Lane r3, Lane r5, Lane r7) {
  Lane t1 = r1, t7 = mulHigh16(r1, t.tan1);  // rotated by pi / 16
  if (kRows == 8) {
    t1 = addSat16(t1, mulHigh16(r7, t.tan1));
    t7 = subSat16(t7, r7);
  }
  Lane b0 = t1, b3 = t7, u1 = t1, u2 = t7;
  if (kRows > 2) {
    Lane t3 = r3, t5 = timesTan3(r3, t);  // by 3 pi / 16
    if (kRows == 8) {
      t3 = addSat16(t3, timesTan3(r5, t));
      t5 = subSat16(t5, r5);
    }
    b0 = addSat16(t1, t3), b3 = subSat16(t7, t5);
    u1 = subSat16(t1, t3), u2 = addSat16(t7, t5);
  }
  const Lane h1 = mulHigh16(addSat16(u1, u2), t.halfCos4), h2 = mulHigh16(subSat16(u1, u2), t.halfCos4);
  return {{b0, addSat16(h1, h1), addSat16(h2, h2), b3}};
}
template <int kRows> ORV_INLINE Half evenRows(const Tangents& t, Lane r0, Lane r2, Lane r4, Lane r6) {
  if (kRows == 2) return {{r0, r0, r0, r0}};
  Lane e0 = r0, e1 = r0, t2 = r2, t6 = mulHigh16(r2, t.tan2);  // rotated by 2 pi / 16
  if (kRows == 8) {
    e0 = addSat16(e0, r4);
    e1 = subSat16(e1, r4);
    t2 = addSat16(t2, mulHigh16(r6, t.tan2));
    t6 = subSat16(t6, r6);
  }
  return {{addSat16(e0, t2), addSat16(e1, t6), subSat16(e1, t6), subSat16(e0, t2)}};
}
// A row of samples, level shift and clamping to come.
template <int kRow> ORV_INLINE Lane outputRow(const Half& a, const Half& b) {
  constexpr int n = kRow < 4 ? kRow : 7 - kRow;
  return shiftRight16(kRow < 4 ? addSat16(a.v[n], b.v[n]) : subSat16(a.v[n], b.v[n]), kColumnShift);
}

// ---- Samples

// Two rows of samples to bytes, by the usual level shift of 128 with clamping to 0..255: saturated to signed bytes, whose
// sign bits are then inverted.
struct Level128 {
  const Constants* k;
  Lane operator()(Lane a, Lane b) const { return narrow16(a, b) ^ Lane(k->signBits); }
};
struct LevelAndClip {
  const Constants* k;
  Lane level, low, high;
  Lane operator()(Lane a, Lane b) const {
    const Lane samples = narrow16To8U(add16(a, level), add16(b, level));
    return minU8(maxU8(samples, low), high);
  }
};
// The same for rows in the order in which outputs() leaves them.
template <class Level> struct Ordered {
  Level level;
  Lane operator()(Lane a, Lane b) const { return ascending(*level.k, level(a, b)); }
};
ORV_INLINE void storeRows(Vel8u* dst, int step, Lane twoRows) {
  storeLow(dst, twoRows);
  storeHigh(dst + step, twoRows);
}
// Rows are made two at a time: pairs that share what they are made from.
template <class Finish>
ORV_INLINE void storeBlock(Vel8u* dst, int step, const Half& a, const Half& b, const Finish& finish) {
  Vel8u* const middle = dst + ptrdiff_t(step) * 2;
  Vel8u* const end = middle + ptrdiff_t(step) * 4;
  storeRows(dst, step, finish(outputRow<0>(a, b), outputRow<1>(a, b)));
  storeRows(end, step, finish(outputRow<6>(a, b), outputRow<7>(a, b)));
  storeRows(middle, step, finish(outputRow<2>(a, b), outputRow<3>(a, b)));
  storeRows(middle + ptrdiff_t(step) * 2, step, finish(outputRow<4>(a, b), outputRow<5>(a, b)));
}

// ---- Blocks

struct Dequantised {
  const Vel16s* coef;
  const Vel16u* quant;
  Lane row(int y) const { return mulLow16(load(coef + 8 * y), load(quant + 8 * y)); }
  // The first four coefficients of rows y and z.
  Lane halfRows(int y, int z) const {
    return mulLow16(loadHalves(coef + 8 * y, coef + 8 * z), loadHalves(quant + 8 * y, quant + 8 * z));
  }
  // The first two coefficients only; what follows need not be zero.
  Lane pair(int y) const { return mulLow16(loadFirst<4>(coef + 8 * y), loadFirst<4>(quant + 8 * y)); }
};
struct Plain {
  const Vel16s* coef;
  Lane row(int y) const { return load(coef + 8 * y); }
};

// The odd rows come first, so that what depends on them proceeds while the even ones are transformed.

template <class Source, class Level>
ORV_INLINE void transform8x8(const Source& s, Vel8u* dst, int step, const Level& level) {
  const Constants* k = level.k;
  const TwoRows<Lane> r13 = transformRows(*k, k->rows13, s.row(1), s.row(3));
  opaque(k);
  const TwoRows<Lane> r57 = transformRows(*k, k->rows57, s.row(5), s.row(7));
  opaque(k);
  const Half b = oddRows<8>(k->tangents, r13.a, r13.b, r57.a, r57.b);
  const TwoRows<Lane> r02 = transformRows(*k, k->rows02, s.row(0), s.row(2));
  opaque(k);
  const TwoRows<Lane> r46 = transformRows(*k, k->rows46, s.row(4), s.row(6));
  opaque(k);
  storeBlock(dst, step, evenRows<8>(k->tangents, r02.a, r02.b, r46.a, r46.b), b, Ordered<Level>{level});
}
// From the first four rows of a block that has no others.
ORV_INLINE void finishUpper(const Level128& level, const TwoRows<Lane>& r13, const TwoRows<Lane>& r02, Vel8u* dst, int step) {
  const Lane none = zero();
  const Half b = oddRows<4>(level.k->tangents, r13.a, r13.b, none, none);
  storeBlock(dst, step, evenRows<4>(level.k->tangents, r02.a, r02.b, none, none), b, Ordered<Level128>{level});
}
ORV_INLINE void transform8x4(const Dequantised& s, Vel8u* dst, int step, const Level128& level) {
  const Constants* k = level.k;
  const TwoRows<Lane> r13 = transformRows(*k, k->rows13, s.row(1), s.row(3));
  opaque(k);
  finishUpper(level, r13, transformRows(*k, k->rows02, s.row(0), s.row(2)), dst, step);
}
ORV_INLINE void transform4x4(const Dequantised& s, Vel8u* dst, int step, const Level128& level) {
  const Constants* k = level.k;
  const TwoRows<Lane> r13 = transformShortRows(k->rows13, s.halfRows(1, 3));
  opaque(k);
  finishUpper(level, r13, transformShortRows(k->rows02, s.halfRows(0, 2)), dst, step);
}
ORV_INLINE void transform2x2(const Dequantised& s, Vel8u* dst, int step, const Level128& level) {
  const Lane none = zero();
  const Half b = oddRows<2>(level.k->tangents, transformPair(level.k->row1, s.pair(1)), none, none, none);
  const Half a = evenRows<2>(level.k->tangents, transformPair(level.k->row0, s.pair(0)), none, none, none);
  storeBlock(dst, step, a, b, level);
}

// The cases of the full form, functions of their own so that the compiler does not merge them: a block with something in
// its lower half, one without, and one with nothing outside its 2x2 corner.
__attribute__((noinline)) VelStatus wholeBlock(const Vel16s* coef, Vel8u* dst, int step, const Vel16u* quant) {
  transform8x8(Dequantised{coef, quant}, dst, step, Level128{&kConstants});
  return velStsNoErr;
}
__attribute__((noinline)) VelStatus upperHalf(const Vel16s* coef, Vel8u* dst, int step, const Vel16u* quant) {
  transform8x4(Dequantised{coef, quant}, dst, step, Level128{&kConstants});
  return velStsNoErr;
}
__attribute__((noinline)) VelStatus corner(const Vel16s* coef, Vel8u* dst, int step, const Vel16u* quant) {
  transform2x2(Dequantised{coef, quant}, dst, step, Level128{&kConstants});
  return velStsNoErr;
}

// Asks for what processors do not predict when block follows block: the source some blocks on, and of the eight rows
// below this block one, a different one for each of the blocks that share their cache lines. All of the source, also for
// those who need half of it: taking turns, this goes faster.
ORV_INLINE void prefetchNext(const Vel16s* src, const Vel8u* dst, int step) {
  prefetch(src, kRowAhead);
  prefetch(src, kRowAhead + ptrdiff_t(kLine));
  prefetch(dst, ptrdiff_t(step) * ptrdiff_t(8 + reinterpret_cast<size_t>(dst) / 8 % 8));
}

// What all forms begin with.
ORV_INLINE VelStatus check(const Vel16s* pSrc, const Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSteps(dstStep));
  ORV_CHECK(checkPointers(pQuantInvTable));
  prefetchNext(pSrc, pDst, dstStep);
  return velStsNoErr;
}

}  // namespace

ORV_KERNEL VelStatus ORV_NAME(veliDCT8x8InvLSClip_16s8u_C1R)(const Vel16s* pSrc, Vel8u* pDst, int dstStep, Vel16s level,
                                                             Vel8u clipMin, Vel8u clipMax) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSteps(dstStep));
  const LevelAndClip levelAndClip{&kConstants, all16(level), all8(clipMin), all8(clipMax)};
  transform8x8(Plain{pSrc}, pDst, dstStep, levelAndClip);
  return velStsNoErr;
}

// ---- Bodies

ORV_BODY_B(veliDCTQuantInv8x8LS_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  // Most blocks of a photo have nothing in their lower half, and many of those nothing outside their corner.
  const auto row = [&](int y) { return load(pSrc + 8 * y); };
  if (!allZero(row(4) | row(5) | row(6) | row(7))) return wholeBlock(pSrc, pDst, dstStep, pQuantInvTable);
  const Lane right = shiftBytesDown<4>(row(0) | row(1));  // of the corner
  if (!allZero(row(2) | row(3) | right)) return upperHalf(pSrc, pDst, dstStep, pQuantInvTable);
  return corner(pSrc, pDst, dstStep, pQuantInvTable);
}

ORV_BODY_B(veliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  transform4x4(Dequantised{pSrc, pQuantInvTable}, pDst, dstStep, Level128{&kConstants});
  return velStsNoErr;
}

ORV_BODY_B(veliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  transform2x2(Dequantised{pSrc, pQuantInvTable}, pDst, dstStep, Level128{&kConstants});
  return velStsNoErr;
}

ORV_BODY_B(veliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  const int level = Vel16s((valueAt(pSrc) * valueAt(pQuantInvTable) >> 3) + 128);
  const Lane samples = all8(level < 0 ? 0 : level > 255 ? 255 : level);
  for (int y = 0; y < 8; y += 2) storeRows(rowOf(pDst, dstStep, y), dstStep, samples);
  return velStsNoErr;
}
