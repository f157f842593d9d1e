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
// odd ones. Rows are transformed in twos, a and b, in each lane. A constant here is what a pair of coefficients weighs in
// two sums of row a, then in the same two of row b.
template <class V> struct RowWeights {
  WordConstants<V> e04, e26;              // e0 e1 is the sum of the two, e3 e2 the difference
  WordConstants<V> o15, o37;              // o0 o1
  WordConstants<V> o15r, o37r;            // o3 o2
  WordConstants<V> e02, e02r, o13, o13r;  // e0 e1, e3 e2, o0 o1, o3 o2 where there are but the first four coefficients
  DwordConstants<V> round;
};
constexpr RowWeights<Lane> rowWeights(const Cosines& a, const Cosines& b, int roundA) {
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
template <class V> constexpr RowWeights<V> joinWeights(const RowWeights<Lane>& x, const RowWeights<Lane>& y) {
  return {joinConstants<V>(x.e04, y.e04),   joinConstants<V>(x.e26, y.e26),    joinConstants<V>(x.o15, y.o15),
          joinConstants<V>(x.o37, y.o37),   joinConstants<V>(x.o15r, y.o15r),  joinConstants<V>(x.o37r, y.o37r),
          joinConstants<V>(x.e02, y.e02),   joinConstants<V>(x.e02r, y.e02r),  joinConstants<V>(x.o13, y.o13),
          joinConstants<V>(x.o13r, y.o13r), joinConstants<V>(x.round, y.round)};
}

// What the first pair of coefficients of one row weighs in out[0..3] and out[4..7].
template <class V> struct PairWeights {
  WordConstants<V> low, high;
  DwordConstants<V> round;
};
constexpr PairWeights<Lane> pairWeights(const Cosines& a, int round) {
  return {words(a.c4, a.c1, a.c4, a.c3, a.c4, a.c5, a.c4, a.c7),
          words(a.c4, -a.c7, a.c4, -a.c5, a.c4, -a.c3, a.c4, -a.c1),
          {{round, round, round, round}}};
}
template <class V> constexpr PairWeights<V> joinWeights(const PairWeights<Lane>& x, const PairWeights<Lane>& y) {
  return {joinConstants<V>(x.low, y.low), joinConstants<V>(x.high, y.high), joinConstants<V>(x.round, y.round)};
}

constexpr int kLanes = sizeof(Lanes) / sizeof(Lane);
// Weights of even rows, and those of the odd rows after them: in lanes, or one after the other.
template <template <class> class Weights> struct EvenAndOdd {
  Weights<Lanes> weights[2 / kLanes];

  constexpr EvenAndOdd(const Weights<Lane>& even, const Weights<Lane>& odd) : weights() {
    weights[2 / kLanes - 1] = joinWeights<Lanes>(odd, odd);
    weights[0] = joinWeights<Lanes>(even, odd);
  }
  const Weights<Lanes>& both() const { return weights[0]; }  // or only the even ones
  const Weights<Lanes>& odd() const { return weights[2 / kLanes - 1]; }
};
struct Constants {
  EvenAndOdd<RowWeights> upper = {rowWeights(kRow04, kRow26, kRound0), rowWeights(kRow17, kRow35, kRound)};
  EvenAndOdd<RowWeights> lower = {rowWeights(kRow04, kRow26, kRound), rowWeights(kRow35, kRow17, kRound)};
  EvenAndOdd<PairWeights> pairs = {pairWeights(kRow04, kRound0), pairWeights(kRow17, kRound)};
  Tangents tangents = kTangents;
  // Shuffles, see the order of a row's words.
  ByteConstant halvesInTurn = {{0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15}};
  ByteConstant ascending = {{0, 1, 3, 2, 4, 5, 7, 6, 8, 9, 11, 10, 12, 13, 15, 14}};
  ByteConstant signBits = {{128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128}};
};
constexpr Constants kConstants;

// ---- The order of a row's words
//
// Sums come in pairs e0 e1 and e3 e2, and make outputs 0 1 3 2 | 4 5 7 6. A byte shuffle leaves them so and puts the
// samples of two rows in order at once; without one, each second pair of sums is exchanged before it is narrowed.
#if ORV_HAS_SHUFFLE
// x0 x4 x1 x5 | x2 x6 x3 x7 from x0 ... x7.
template <class V> ORV_INLINE V halvesInTurn(const Constants& k, V row) {
  return shuffle8(row, repeated<V>(k.halvesInTurn));
}
template <class V> ORV_INLINE V exchanged(V sums) { return sums; }
ORV_INLINE Lane ascending(const Constants& k, Lane samples) { return shuffle8(samples, k.ascending); }
#else
template <class V> ORV_INLINE V halvesInTurn(const Constants&, V row) {
  return interleaveLow16(row, shiftBytesDown<8>(row));
}
template <class V> ORV_INLINE V exchanged(V sums) { return shuffle32<1, 0, 3, 2>(sums); }
ORV_INLINE Lane ascending(const Constants&, Lane samples) { return samples; }
#endif

// ---- Rows

// Dword kI of a twice, then of b twice.
template <int kI, class V> ORV_INLINE V repeat32(V a, V b) { return joinPairs32<kI, kI, kI, kI>(a, b); }

// Words of two rows, from their sums.
template <class V> ORV_INLINE TwoRows<V> outputs(V e01, V e32, V o01, V o32) {
  const auto scaled = [](V sums) { return shiftRight32(sums, kRowShift); };
  // a01 b01 a32 b32 | a45 b45 a76 b76 or, exchanged, a01 b01 a23 b23 | a45 b45 a67 b67
  const V low = narrow32(scaled(add32(e01, o01)), exchanged(scaled(add32(e32, o32))));
  const V high = narrow32(scaled(sub32(e32, o32)), exchanged(scaled(sub32(e01, o01))));
  return {joinPairs32<0, 2, 0, 2>(low, high), joinPairs32<1, 3, 1, 3>(low, high)};
}

template <class V> ORV_INLINE TwoRows<V> transformRows(const Constants& k, const RowWeights<V>& w, V rowA, V rowB) {
  const V a = halvesInTurn(k, rowA), b = halvesInTurn(k, rowB);
  const V x04 = repeat32<0>(a, b), x15 = repeat32<1>(a, b), x26 = repeat32<2>(a, b), x37 = repeat32<3>(a, b);
  const V e04 = add32(mulAddPairs16(x04, w.e04), w.round), e26 = mulAddPairs16(x26, w.e26);
  return outputs(add32(e04, e26), sub32(e04, e26), add32(mulAddPairs16(x15, w.o15), mulAddPairs16(x37, w.o37)),
                 add32(mulAddPairs16(x15, w.o15r), mulAddPairs16(x37, w.o37r)));
}

// The same for rows of four coefficients: those of a, then those of b.
template <class V> ORV_INLINE TwoRows<V> transformShortRows(const RowWeights<V>& w, V halves) {
  const V pairs = shuffleHalves16<0, 2, 1, 3>(halves);  // x0 x2 x1 x3 of each
  const V x02 = shuffle32<0, 0, 2, 2>(pairs), x13 = shuffle32<1, 1, 3, 3>(pairs), round = w.round;
  return outputs(add32(mulAddPairs16(x02, w.e02), round), add32(mulAddPairs16(x02, w.e02r), round),
                 mulAddPairs16(x13, w.o13), mulAddPairs16(x13, w.o13r));
}

// One row of two coefficients, which `row` begins with: a pair makes all eight sums, in their natural order.
template <class V> ORV_INLINE V transformPair(const PairWeights<V>& w, V row) {
  const V x01 = shuffle32<0, 0, 0, 0>(row), round = w.round;
  const V low = add32(mulAddPairs16(x01, w.low), round), high = add32(mulAddPairs16(x01, w.high), round);
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

// Rows in a second lane are those after the ones that are asked for.
struct Dequantised {
  const Vel16s* coef;
  const Vel16u* quant;
  template <class V = Lane> V row(int y) const { return mulLow16(load<V>(coef + 8 * y), load<V>(quant + 8 * y)); }
  // The first four coefficients of rows y and z.
  template <class V> V halfRows(int y, int z) const { return mulLow16(halves<V>(coef, y, z), halves<V>(quant, y, z)); }
  // The first two coefficients, then anything: in two lanes whole rows are read.
  template <class V> V pair(int y) const {
    if constexpr (sizeof(V) > sizeof(Lane))
      return row<V>(y);
    else
      return mulLow16(loadFirst<4>(coef + 8 * y), loadFirst<4>(quant + 8 * y));
  }

 private:
  // Nothing is read after the last of them. In two lanes, with y low y high for the two halves of row y:
  // 0 low, 0 high | 1 low, 1 high   and   1 high, 2 low | 2 high, 3 low   make   0 low, 2 low | 1 low, 3 low.
  template <class V, class T> static V halves(const T* block, int y, int z) {
    if constexpr (sizeof(V) > sizeof(Lane))
      return join64<0, 1>(load<V>(block + 8 * y), load<V>(block + 8 * z - 4));
    else
      return loadHalves(block + 8 * y, block + 8 * z);
  }
};
struct Plain {
  const Vel16s* coef;
  template <class V = Lane> V row(int y) const { return load<V>(coef + 8 * y); }
};

// A block by its rows: rows(k, weights, y) are rows y and y + 2 after their transform, and in a second lane those after
// them. Odd rows come first where there is one lane, so that what depends on them proceeds while the even ones are
// transformed.
template <class Level, class Rows>
ORV_INLINE void transformWhole(Vel8u* dst, int step, const Level& level, const Rows& rows) {
  const Constants* k = level.k;
  const Ordered<Level> finish{level};
  if constexpr (kLanes == 2) {
    const auto upper = rows(*k, k->upper.both(), 0), lower = rows(*k, k->lower.both(), 4);
    const Half odd =
        oddRows<8>(k->tangents, secondLane(upper.a), secondLane(upper.b), secondLane(lower.a), secondLane(lower.b));
    storeBlock(dst, step,
               evenRows<8>(k->tangents, firstLane(upper.a), firstLane(upper.b), firstLane(lower.a), firstLane(lower.b)),
               odd, finish);
  } else {
    const auto r13 = rows(*k, k->upper.odd(), 1);
    opaque(k);
    const auto r57 = rows(*k, k->lower.odd(), 5);
    opaque(k);
    const Half odd = oddRows<8>(k->tangents, r13.a, r13.b, r57.a, r57.b);
    const auto r02 = rows(*k, k->upper.both(), 0);
    opaque(k);
    const auto r46 = rows(*k, k->lower.both(), 4);
    opaque(k);
    storeBlock(dst, step, evenRows<8>(k->tangents, r02.a, r02.b, r46.a, r46.b), odd, finish);
  }
}
// A block that has only the first four rows.
template <class Level, class Rows>
ORV_INLINE void transformUpper(Vel8u* dst, int step, const Level& level, const Rows& rows) {
  const Constants* k = level.k;
  const auto columns = [&](Lane r0, Lane r2, Lane r1, Lane r3) {
    const Lane none = zero();
    const Half odd = oddRows<4>(level.k->tangents, r1, r3, none, none);
    storeBlock(dst, step, evenRows<4>(level.k->tangents, r0, r2, none, none), odd, Ordered<Level>{level});
  };
  if constexpr (kLanes == 2) {
    const auto r = rows(*k, k->upper.both(), 0);
    columns(firstLane(r.a), firstLane(r.b), secondLane(r.a), secondLane(r.b));
  } else {
    const auto r13 = rows(*k, k->upper.odd(), 1);
    opaque(k);
    const auto r02 = rows(*k, k->upper.both(), 0);
    columns(r02.a, r02.b, r13.a, r13.b);
  }
}

template <class Source, class Level>
ORV_INLINE void transform8x8(const Source& s, Vel8u* dst, int step, const Level& level) {
  transformWhole(dst, step, level, [&](const Constants& k, const RowWeights<Lanes>& weights, int y) {
    return transformRows(k, weights, s.template row<Lanes>(y), s.template row<Lanes>(y + 2));
  });
}
ORV_INLINE void transform8x4(const Dequantised& s, Vel8u* dst, int step, const Level128& level) {
  transformUpper(dst, step, level, [&](const Constants& k, const RowWeights<Lanes>& weights, int y) {
    return transformRows(k, weights, s.row<Lanes>(y), s.row<Lanes>(y + 2));
  });
}
ORV_INLINE void transform4x4(const Dequantised& s, Vel8u* dst, int step, const Level128& level) {
  transformUpper(dst, step, level, [&](const Constants&, const RowWeights<Lanes>& weights, int y) {
    return transformShortRows(weights, s.halfRows<Lanes>(y, y + 2));
  });
}
template <class V = Lanes>
ORV_INLINE void transform2x2(const Dequantised& s, Vel8u* dst, int step, const Level128& level) {
  const Constants* k = level.k;
  const Lane none = zero();
  Lane r0, r1;
  if constexpr (sizeof(V) > sizeof(Lane)) {
    const V both = transformPair(k->pairs.both(), s.pair<V>(0));
    r0 = firstLane(both), r1 = secondLane(both);
  } else {
    r1 = transformPair(k->pairs.odd(), s.pair<V>(1)), r0 = transformPair(k->pairs.both(), s.pair<V>(0));
  }
  const Half odd = oddRows<2>(k->tangents, r1, none, none, none);
  storeBlock(dst, step, evenRows<2>(k->tangents, r0, none, none, none), odd, level);
}

// The cases of the full form, functions of their own so that the compiler does not merge them: a block with something in
// its lower half, one without, and one with nothing outside its 2x2 corner.
__attribute__((noinline)) VelStatus wholeBlock(const Vel16s* coef, Vel8u* dst, int step, const Vel16u* quant) {
  transform8x8(Dequantised{coef, quant}, dst, step, Level128{&kConstants});
  lanesEnd();
  return velStsNoErr;
}
__attribute__((noinline)) VelStatus upperHalf(const Vel16s* coef, Vel8u* dst, int step, const Vel16u* quant) {
  transform8x4(Dequantised{coef, quant}, dst, step, Level128{&kConstants});
  lanesEnd();
  return velStsNoErr;
}
__attribute__((noinline)) VelStatus corner(const Vel16s* coef, Vel8u* dst, int step, const Vel16u* quant) {
  transform2x2(Dequantised{coef, quant}, dst, step, Level128{&kConstants});
  lanesEnd();
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
  lanesEnd();
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
  lanesEnd();
  return velStsNoErr;
}

ORV_BODY_B(veliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R)
(const Vel16s* pSrc, Vel8u* pDst, int dstStep, const Vel16u* pQuantInvTable) {
  ORV_CHECK(check(pSrc, pDst, dstStep, pQuantInvTable));
  transform2x2(Dequantised{pSrc, pQuantInvTable}, pDst, dstStep, Level128{&kConstants});
  lanesEnd();
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
