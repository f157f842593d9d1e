// YCbCr to RGB, sixteen pixels a lane: exactly, and in the sixteen-bit arithmetic of groups.
#pragma once
#include "color/layouts.h"

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
  return each(a, [=](V v) { return add32(v, all32(constant)); });
}
// first a0 + second a1 for each pair of words.
template <class V> ORV_INLINE Dwords8<V> weigh(const Dwords8<V>& pairs, int first, int second) {
  return each(pairs, [=](V v) { return mulAddPairs16(v, allPairs16(first, second)); });
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
  return pixelsOf<kOrder>(highBytes16(r, clampToHighBytes(z.first())), highBytes16(g, clampToHighBytes(z.second())),
                          highBytes16(b, clampToHighBytes(z.third())));
}

// ---- Exactly
//
//   R = (y + rv v) >> 16      G = (y + gu u + gv v) >> 16      B = (y + bu u) >> 16
//
// with u = Cb - 128, v = Cr - 128, and y luma's weight times Y - 16, plus a half where kRounded. The weights have more than
// sixteen bits, and multiply-add takes words; but it takes two at once, and which two is free. In place of the samples
// they are sums of small multiples of them, for which the weights become words and the results stay the same.
// scripts/derive/ycbcr finds the multiples; the compiler checks them.

// 1.164, 1.596, 0.392, 0.813 and 2.017 (ITU-R BT.601) times 65536, rounded.
template <bool kRound> struct Weights {
  static constexpr int kLuma = 76284, kRv = 104595, kGu = -25690, kGv = -53281, kBu = 132186;
  static constexpr bool kRounded = kRound;
  static constexpr int kA = 4, kB = 2, kD = 17, kLumaWithV = -54780;
};
// A little less, for what is left of rows from planes to C3 after their groups.
struct WeightsAfterGroups {
  static constexpr int kLuma = 76282, kRv = 104593, kGu = -25689, kGv = -53279, kBu = 132184;
  static constexpr bool kRounded = false;
  static constexpr int kA = 43, kB = 22, kD = 3, kLumaWithV = -65618;
};
constexpr bool isWord(int x) { return x == Vel16s(x); }

// From dwords of Y Cb Cr and anything. Luma makes a pair with each chroma sample c: kA (Y - 16) + kB (c - 128) and
// kD (c - 128). G takes luma from both pairs, kLumaWithV of it from the one with Cr.
template <class W, class V> class Exact {
 public:
  Exact(V a, V b) {
    const Dwords8<V> samples = {{a, b}};
    withV = each(samples, [](V s) { return pairOf(s & all16(0xFF)); });
    withU = each(samples, [](V s) { return pairOf((s & all32(0xFF)) | shiftLeft32(s & all32(0xFF00), 8)); });
  }
  Dwords8<V> first() const { return rounded(part<W::kLuma, W::kRv>(withV)); }
  Dwords8<V> second() const {
    return rounded(add32(part<W::kLumaWithV, W::kGv>(withV), part<W::kLuma - W::kLumaWithV, W::kGu>(withU)));
  }
  Dwords8<V> third() const { return rounded(part<W::kLuma, W::kBu>(withU)); }

 private:
  static ORV_INLINE V pairOf(V lumaAndChroma) {
    const V centred = sub16(lumaAndChroma, allPairs16(16, 128));
    return add16(mulLow16(centred, allPairs16(W::kA, W::kD)),
                 mulLow16(shiftRightU32(centred, 16), allPairs16(W::kB, 0)));
  }
  template <int kLuma, int kChroma> static ORV_INLINE Dwords8<V> part(const Dwords8<V>& pairs) {
    constexpr int first = kLuma / W::kA, second = (kChroma - W::kB * first) / W::kD;
    static_assert(first * W::kA == kLuma && first * W::kB + second * W::kD == kChroma, "inexact");
    static_assert(isWord(first) && isWord(second), "too large");
    return weigh(pairs, first, second);
  }
  static ORV_INLINE Dwords8<V> rounded(const Dwords8<V>& channel) {
    return W::kRounded ? add32(channel, 32768) : channel;
  }
  Dwords8<V> withV, withU;
};

// Where bytes can be shuffled, a multiply-add of bytes makes the multiples, of its own for each channel.
#if ORV_HAS_SHUFFLE
template <bool kRound, class V> class Exact<Weights<kRound>, V> {
 public:
  Exact(V a, V b) {
    quads = each(Dwords8<V>{{a, b}}, [](V s) {
      return shuffle8(s, bytePattern([](int i) { return i / 4 * 4 + (i % 2 ? 2 : i % 4 / 2); }));  // Y Cr Cb Cr
    });
  }
  Dwords8<V> first() const { return sum<W::kRv, 0, 4, 0, 0, 5>(); }
  Dwords8<V> second() const { return sum<W::kGv, W::kGu, 12, -13, 7, -8>(); }
  Dwords8<V> third() const { return sum<0, W::kBu, 4, 0, 6, 0>(); }

 private:
  using W = Weights<kRound>;
  // The two words are kY Y + kV Cr and kU Cb + kV2 Cr, centred.
  template <int kWeightV, int kWeightU, int kY, int kV, int kU, int kV2> Dwords8<V> sum() const {
    constexpr int first = W::kLuma / kY, second = kU != 0 ? kWeightU / (kU != 0 ? kU : 1) : kWeightV / kV2;
    static_assert(first * kY == W::kLuma && second * kU == kWeightU && first * kV + second * kV2 == kWeightV,
                  "inexact");
    static_assert(isWord(first) && isWord(second), "too large");
    const Dwords8<V> centred = each(quads, [](V q) {
      return sub16(mulAddPairs8(q, allQuads8(kY, kV, kU, kV2)), allPairs16(16 * kY + 128 * kV, 128 * (kU + kV2)));
    });
    const Dwords8<V> channel = weigh(centred, first, second);
    return kRound ? add32(channel, 32768) : channel;
  }
  Dwords8<V> quads;
};
#endif

template <class W, class V> ORV_INLINE Pixels<kInOrder, V> exact(const Pixels<kInOrder, V>& p) {
  return convertHalves<kInOrder>([=](int half) {
    const V low = half ? interleaveHigh8(p.r, p.g) : interleaveLow8(p.r, p.g);
    const V high = half ? widenHighU8(p.b) : widenLowU8(p.b);
    return Exact<W, V>(interleaveLow16(low, high), interleaveHigh16(low, high));
  });
}

// ---- Groups
//
// With a, b, c = 128 (Y - 16), 128 (Cb - 128), 128 (Cr - 128) and m(x, k) = x k >> 16:
//   y = m(a, kLuma) + 8      R = (y + m(c, 13074)) >> 4      G = (y + m(b, kGu) + m(c, -6660)) >> 4
//   B = (y + m(b, 16523)) >> 4
// Samples come as words of 256 times their value. An even weight is halved instead of the sample.

template <int kLumaWeight, int kGuWeight> struct Group { static constexpr int kLuma = kLumaWeight, kGu = kGuWeight; };
using GroupP3C3 = Group<9535, -3211>;
using GroupC3 = Group<9536, -3203>;

template <class G, class V> ORV_INLINE V lumaPart(V y) {
  // 16 * 128 * 9536 is 298 * 65536, so that the offset comes out of the product whole.
  if (G::kLuma == 9536) return add16(mulHighU16(y, all16(9536 / 2)), all16(8 - 298));
  return add16(mulHigh16(sub16(shiftRightU16(y, 1), all16(128 * 16)), all16(G::kLuma)), all16(8));
}
template <class V> struct ChannelWords { V r, g, b; };
template <class G, class V> ORV_INLINE ChannelWords<V> convertGroup(V luma, V cb, V cr) {
  const V y = lumaPart<G>(luma), b = shiftRight16(cb ^ all16(0x8000), 1), v = cr ^ all16(0x8000);
  const V green = add16(mulHigh16(b, all16(G::kGu)), mulHigh16(v, all16(-6660 / 2)));
  return {shiftRight16(add16(y, mulHigh16(v, all16(13074 / 2))), 4), shiftRight16(add16(y, green), 4),
          shiftRight16(add16(y, mulHigh16(b, all16(16523))), 4)};
}
template <class G, class V> ORV_INLINE Pixels<kEvenOdd, V> convertGroups(const PixelWords<V>& p) {
  const ChannelWords<V> even = convertGroup<G>(p.r.even, p.g.even, p.b.even);
  const ChannelWords<V> odd = convertGroup<G>(p.r.odd, p.g.odd, p.b.odd);
  return {narrow16To8U(even.r, odd.r), narrow16To8U(even.g, odd.g), narrow16To8U(even.b, odd.b)};
}

template <class V> ORV_INLINE PixelWords<V> loadTimes256(const Strip<const Vel8u, 6>& s) {
  return load3Times256<V>(s.row[0]);
}
template <class V> ORV_INLINE PixelWords<V> loadTimes256(const Strip<const Vel8u, 2, 2, 2>& s) {
  return splitTimes256(P3::load<V>(s.row));
}

// Rows in groups of eight by G from their start, and what is left exactly, by W.
template <class G, class Format> struct ConvertGroups {
  template <class V, class Src, class Dst> static void convert(const Src& src, const Dst& dst) {
    Format::store(dst.row, convertGroups<G>(loadTimes256<V>(src)));
  }
};
template <class From, class W, class Format> struct ConvertExactly {
  template <class V, class Src, class Dst> static void convert(const Src& src, const Dst& dst) {
    Format::store(dst.row, exact<W>(From::template load<V>(src.row)));
  }
};
template <class From, class G, class W, class Format, class Src, class Dst>
ORV_INLINE void convertRowInGroups(const Src& src, const Dst& dst, ptrdiff_t width) {
  const ptrdiff_t grouped = width & ~ptrdiff_t(7);
  convertRow<ConvertGroups<G, Format>, LastPixels::kOnce>(src, dst, grouped);
  if (grouped < width)
    convertTail<ConvertExactly<From, W, Format>, false>(src.at(grouped), dst.at(grouped), int(width - grouped));
}

}  // namespace
