// YCbCr to RGB, sixteen pixels a lane: exactly, and in the sixteen-bit arithmetic of groups.
#pragma once
#include "color/layouts.h"
#include "color/weights.h"

namespace {

// ---- Eight pixels a lane as dwords, four in each of two vectors

template <class V> struct Dwords8 { V v[2]; };
template <class V, class F> ORV_INLINE Dwords8<V> each(const Dwords8<V>& a, const F& f) {
  return {{f(a.v[0]), f(a.v[1])}};
}
template <class V> ORV_INLINE Dwords8<V> add32(const Dwords8<V>& a, const Dwords8<V>& b) {
  return {{add32(a.v[0], b.v[0]), add32(a.v[1], b.v[1])}};
}
template <class V> ORV_INLINE Dwords8<V> add32(const Dwords8<V>& a, int constant) {
  return each(a, [=](V v) { return add32(v, all32<V>(constant)); });
}
// first a0 + second a1 for each pair of words.
template <class V> ORV_INLINE Dwords8<V> weigh(const Dwords8<V>& pairs, int first, int second) {
  return each(pairs, [=](V v) { return mulAddPairs16(v, allPairs16<V>(first, second)); });
}

// A conversion of eight pixels has the members first(), second() and third(), which work out a channel when it is asked
// for: one after another they fit into eight registers. A value is the high word of its dword, a fraction the low one.

// The values clamped to bytes, each the high byte of a word.
template <class V> ORV_INLINE V clampToHighBytes(const Dwords8<V>& channel) {
  return narrow16To8U(channel.v[0], channel.v[1]);
}
// Sixteen pixels from the conversions of eight and eight, convert(0) and convert(1).
template <Order kOrder, class Convert> ORV_INLINE auto convertHalves(const Convert& convert) {
  const auto a = convert(0);
  const auto r = clampToHighBytes(a.first()), g = clampToHighBytes(a.second()), b = clampToHighBytes(a.third());
  const auto z = convert(1);
  return Pixels<kOrder, decltype(+r)>{highBytes16(r, clampToHighBytes(z.first())),
                                      highBytes16(g, clampToHighBytes(z.second())),
                                      highBytes16(b, clampToHighBytes(z.third()))};
}

// ---- Exactly
//
//   R = (y + rv v) >> 16      G = (y + gu u + gv v) >> 16      B = (y + bu u) >> 16
//
// with u = Cb - 128, v = Cr - 128, and y luma's weight times Y - 16, plus a half where kRounded. What the 16 and the two
// 128 come to is one constant for each channel, so that the samples are taken as they are. The weights have more than
// sixteen bits, and multiply-add takes words; but it takes two at once, and which two is free. In place of the samples
// they are sums of small multiples of them, for which the weights become words and the results stay the same.
// scripts/derive/ycbcr finds the smallest multiples; the compiler checks them.

// ITU-R BT.601, to three decimals.
struct Coefficients {
  static constexpr double kLuma = 1.164, kRv = 1.596, kGu = -0.392, kGv = -0.813, kBu = 2.017;
};
template <bool kRound> struct Weights {
  using C = Coefficients;
  static constexpr int kLuma = fixedPoint(C::kLuma, 16), kRv = fixedPoint(C::kRv, 16), kGu = fixedPoint(C::kGu, 16),
                       kGv = fixedPoint(C::kGv, 16), kBu = fixedPoint(C::kBu, 16);
  static constexpr bool kRounded = kRound;
  static constexpr int kA = 4, kB = 2, kD = 17, kLumaWithV = -54780;
};
// A little less, for what is left of rows from planes to C3 after their groups.
struct WeightsAfterGroups {
  using C = Coefficients;
  static constexpr int kLuma = fixedPointBelow(C::kLuma, 16), kRv = fixedPointBelow(C::kRv, 16),
                       kGu = fixedPointBelow(C::kGu, 16), kGv = fixedPointBelow(C::kGv, 16),
                       kBu = fixedPointBelow(C::kBu, 16);
  static constexpr bool kRounded = false;
  static constexpr int kA = 43, kB = 22, kD = 3, kLumaWithV = -65618;
};
constexpr int kHalf = fixedPoint(0.5, 16);
constexpr bool isWord(int x) { return x == Vel16s(x); }
constexpr int magnitude(int x) { return x < 0 ? -x : x; }
// The constant of a channel to which chroma adds weightU u + weightV v.
template <class W> constexpr int offsetOf(int weightU, int weightV) {
  return (W::kRounded ? kHalf : 0) - 16 * W::kLuma - 128 * (weightU + weightV);
}

// Luma makes a pair with each chroma sample C: kA Y + kB C and kD C. G takes luma from both pairs, kLumaWithV of it from
// the one with Cr.
template <class W, class V> class Exact {
 public:
  // From dwords of Y Cb Cr and anything.
  Exact(V a, V b) {
    const Dwords8<V> samples = {{a, b}};
    withV_ = each(samples, [](V s) { return pairOf(s & all16<V>(0xFF)); });
    withU_ = each(samples, [](V s) { return pairOf((s & all32<V>(0xFF)) | shiftLeft32(s & all32<V>(0xFF00), 8)); });
  }
  // From the lower eight bytes of each lane, or the upper ones.
  Exact(const Pixels<kInOrder, V>& p, int half) {
    const auto words = [=](V samples) { return half ? widenHighU8(samples) : widenLowU8(samples); };
    const V y = mulLow16(words(p.r), all16<V>(W::kA));
    const auto pairs = [=](V chroma) {
      const V a = add16(y, mulLow16(chroma, all16<V>(W::kB))), d = mulLow16(chroma, all16<V>(W::kD));
      return Dwords8<V>{{interleaveLow16(a, d), interleaveHigh16(a, d)}};
    };
    withV_ = pairs(words(p.b));
    withU_ = pairs(words(p.g));
  }
  Dwords8<V> first() const { return add32(part<W::kLuma, W::kRv>(withV_), offsetOf<W>(0, W::kRv)); }
  Dwords8<V> second() const {
    return add32(add32(part<W::kLumaWithV, W::kGv>(withV_), part<W::kLuma - W::kLumaWithV, W::kGu>(withU_)),
                 offsetOf<W>(W::kGu, W::kGv));
  }
  Dwords8<V> third() const { return add32(part<W::kLuma, W::kBu>(withU_), offsetOf<W>(W::kBu, 0)); }

 private:
  // From a dword of both as words.
  static ORV_INLINE V pairOf(V lumaAndChroma) {
    static_assert(isWord(255 * (W::kA + W::kB)) && isWord(255 * W::kD), "too large");
    const V twiceChroma = shiftRightU32(lumaAndChroma, 15);
    static_assert(W::kB == 2, "another multiple");
    return add16(mulLow16(lumaAndChroma, allPairs16<V>(W::kA, W::kD)), twiceChroma);
  }
  template <int kLuma, int kChroma> static ORV_INLINE Dwords8<V> part(const Dwords8<V>& pairs) {
    constexpr int first = kLuma / W::kA, second = (kChroma - W::kB * first) / W::kD;
    static_assert(first * W::kA == kLuma && first * W::kB + second * W::kD == kChroma, "inexact");
    static_assert(isWord(first) && isWord(second), "too large");
    return weigh(pairs, first, second);
  }
  Dwords8<V> withV_, withU_;
};

// Where bytes can be shuffled, a multiply-add of bytes makes the multiples, of its own for each channel.
#if ORV_HAS_SHUFFLE
template <bool kRound, class V> class Exact<Weights<kRound>, V> {
 public:
  Exact(V a, V b) {
    quads_ = each(Dwords8<V>{{a, b}}, [](V s) {
      return shuffle8(s, bytePattern<V>([](int i) { return i / 4 * 4 + (i % 2 ? 2 : i % 4 / 2); }));
    });
  }
  Exact(const Pixels<kInOrder, V>& p, int half) {
    const V yv = half ? interleaveHigh8(p.r, p.b) : interleaveLow8(p.r, p.b);
    const V uv = half ? interleaveHigh8(p.g, p.b) : interleaveLow8(p.g, p.b);
    quads_ = {{interleaveLow16(yv, uv), interleaveHigh16(yv, uv)}};
  }
  Dwords8<V> first() const { return sum<kRed, W::kRv, 0>(); }
  Dwords8<V> second() const { return sum<kGreen, W::kGv, W::kGu>(); }
  Dwords8<V> third() const { return sum<kBlue, 0, W::kBu>(); }

 private:
  using W = Weights<kRound>;
  // Of the words y Y + v Cr and u Cb + v2 Cr.
  struct Multiples {
    int y, v, u, v2;
  };
  static constexpr Multiples kRed = {3, 0, 0, 5}, kGreen = {12, -13, 7, -8}, kBlue = {3, 0, 6, 0};

  template <const Multiples& kOf, int kWeightV, int kWeightU> Dwords8<V> sum() const {
    constexpr int kY = kOf.y, kV = kOf.v, kU = kOf.u, kV2 = kOf.v2;
    constexpr int first = W::kLuma / kY, second = kU != 0 ? kWeightU / (kU != 0 ? kU : 1) : kWeightV / kV2;
    static_assert(first * kY == W::kLuma && second * kU == kWeightU && first * kV + second * kV2 == kWeightV,
                  "inexact");
    static_assert(isWord(first) && isWord(second), "too large");
    static_assert(isWord(255 * (kY + magnitude(kV))) && isWord(255 * (kU + magnitude(kV2))), "too large");
    const Dwords8<V> words = each(quads_, [](V q) { return mulAddPairs8(q, allQuads8<V>(kY, kV, kU, kV2)); });
    return add32(weigh(words, first, second), offsetOf<W>(kWeightU, kWeightV));
  }
  Dwords8<V> quads_;  // Y Cr Cb Cr
};
#endif

template <class W, class V> ORV_INLINE Pixels<kInOrder, V> exact(const Pixels<kInOrder, V>& p) {
  return convertHalves<kInOrder>([=](int half) { return Exact<W, V>(p, half); });
}

// ---- Groups
//
// With a, b, c = 128 (Y - 16), 128 (Cb - 128), 128 (Cr - 128) and m(x, k) = x k >> 16:
//   y = m(a, kLuma) + 8      R = (y + m(c, kRv)) >> 4      G = (y + m(b, kGu) + m(c, kGv)) >> 4
//   B = (y + m(b, kBu)) >> 4
// Samples come as words of 256 times their value, those of chroma less 128. An even weight is halved instead of the
// sample.

template <int kLumaWeight, int kGuWeight> struct Group {
  using C = Coefficients;
  static constexpr int kLuma = kLumaWeight, kRv = fixedPoint(C::kRv, 13), kGu = kGuWeight, kGv = fixedPoint(C::kGv, 13),
                       kBu = fixedPoint(C::kBu, 13);
  static_assert(kRv % 2 == 0 && kGv % 2 == 0, "cannot be halved");
};
using GroupP3C3 = Group<fixedPoint(Coefficients::kLuma, 13), fixedPoint(Coefficients::kGu, 13)>;
// Luma's weight of sixteen bits is rounded once more, and U takes a little less from green.
using GroupC3 = Group<fixedPoint(Weights<false>::kLuma / 65536.0, 13), fixedPoint(-0.391, 13)>;

template <class G, class V> ORV_INLINE V lumaPart(V y) {
  // An offset that comes out of the product whole is subtracted together with adding 8.
  constexpr int offset = 16 * 128 * G::kLuma;
  if (offset % 65536 == 0) return add16(mulHighU16(y, all16<V>(G::kLuma / 2)), all16<V>(8 - offset / 65536));
  return add16(mulHigh16(sub16(shiftRightU16(y, 1), all16<V>(128 * 16)), all16<V>(G::kLuma)), all16<V>(8));
}
template <class V> struct ChannelWords { V r, g, b; };
template <class G, class V> ORV_INLINE ChannelWords<V> convertGroup(V luma, V cb, V cr) {
  const V y = lumaPart<G>(luma), b = shiftRight16(cb, 1);
  const V green = add16(mulHigh16(b, all16<V>(G::kGu)), mulHigh16(cr, all16<V>(G::kGv / 2)));
  return {shiftRight16(add16(y, mulHigh16(cr, all16<V>(G::kRv / 2))), 4), shiftRight16(add16(y, green), 4),
          shiftRight16(add16(y, mulHigh16(b, all16<V>(G::kBu))), 4)};
}
template <class G, class V> ORV_INLINE Pixels<kEvenOdd, V> convertGroups(const PixelWords<V>& p) {
  const ChannelWords<V> even = convertGroup<G>(p.r.even, p.g.even, p.b.even);
  const ChannelWords<V> odd = convertGroup<G>(p.r.odd, p.g.odd, p.b.odd);
  return {narrow16To8U(even.r, odd.r), narrow16To8U(even.g, odd.g), narrow16To8U(even.b, odd.b)};
}

template <class V> ORV_INLINE EvenOdd<V> less128(const EvenOdd<V>& c) {
  return {c.even ^ all16<V>(0x8000), c.odd ^ all16<V>(0x8000)};
}
template <class V> ORV_INLINE PixelWords<V> loadTimes256(const Place<Strip<const Vel8u, 1, Plane<3>>>& s) {
  const PixelWords<V> p = load3Times256<V>(s[0]);
  return {p.r, less128(p.g), less128(p.b)};
}
template <class V>
ORV_INLINE PixelWords<V> loadTimes256(const Place<Strip<const Vel8u, 1, Plane<1>, Plane<1>, Plane<1>>>& s) {
  const Pixels<kInOrder, V> p = P3::load<V>(s);
  return splitTimes256(Pixels<kInOrder, V>{p.r, p.g ^ all8<V>(128), p.b ^ all8<V>(128)});
}

// Rows in groups of eight by G from their start, and what is left exactly, by W.
template <class G, class Format> struct ConvertGroups {
  using PastCaches = ConvertGroups<G, typename Format::PastCaches>;
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    Format::store(dst, convertGroups<G>(loadTimes256<V>(src)));
  }
};
template <class From, class W, class Format> struct ConvertExactly {
  template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst) {
    Format::store(dst, exact<W>(From::template load<V>(src)));
  }
};
template <class From, class G, class W, class Format, class Src, class Dst>
ORV_INLINE void convertRowInGroups(bool isPastCaches, const Src& src, const Dst& dst, ptrdiff_t width) {
  using Exactly = ConvertExactly<From, W, Format>;
  const ptrdiff_t grouped = width & ~ptrdiff_t(7);
  const auto convertRest = [&](bool mayRepeat) ORV_INLINED {
    if (grouped < width) convertLast<Exactly, false>(src.strip, src.x, dst.strip, dst.x, grouped, width, mayRepeat);
  };
  // First where pixels may be written that the groups write again: that is fastest.
  const bool isFirst = width >= 16 && !isPastCaches && !isInPlace(src, dst);
  if (isFirst) convertRest(true);
  convertRowOf<ConvertGroups<G, Format>, Format>(isPastCaches, src, dst, grouped);
  if (!isFirst) convertRest(false);
}

}  // namespace
