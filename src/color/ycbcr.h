// YCbCr to RGB, sixteen pixels at a time: exactly, and in the sixteen-bit arithmetic of groups; and what conversions to
// and from YCbCr share.
#pragma once
#include "image/checks.h"
#include "color/interleave.h"

namespace {

// ---- Rows

// Where a row, or a piece of it, begins in each of its planes.
template <class T, int kPlaneCount, int kPixelBytes> struct Row {
  static constexpr int kPlanes = kPlaneCount, kPixel = kPixelBytes;
  T* p[kPlanes];
  Row at(ptrdiff_t x) const {
    Row r;
    for (int i = 0; i < kPlanes; ++i) r.p[i] = p[i] + x * kPixel;
    return r;
  }
  Row down(int step) const {
    Row r;
    for (int i = 0; i < kPlanes; ++i) r.p[i] = rowOf(p[i], step, 1);
    return r;
  }
};
using FromC3 = Row<const Vel8u, 1, 3>;
using FromAC4 = Row<const Vel8u, 1, 4>;
using FromP3 = Row<const Vel8u, 3, 1>;
using ToC3 = Row<Vel8u, 1, 3>;
using ToAC4 = Row<Vel8u, 1, 4>;
using ToP3 = Row<Vel8u, 3, 1>;
using ToWords = Row<Vel8u, 1, 2>;

// Memory for sixteen pixels, of which the first few are somebody's and the others zero.
template <class R> struct Padded {
  Vel8u bytes[R::kPlanes][16 * R::kPixel];
  Padded() {
    for (Vel8u* plane : bytes)
      for (int i = 0; i < R::kPixel; ++i) store(plane + 16 * i, zero());
  }
  void take(const R& row, ptrdiff_t n) {
    for (int i = 0; i < R::kPlanes; ++i) memcpy(bytes[i], row.p[i], size_t(n * R::kPixel));
  }
  R row() {
    R r;
    for (int i = 0; i < R::kPlanes; ++i) r.p[i] = bytes[i];
    return r;
  }
};
// What Op does to sixteen pixels, done to the first n of them: nothing behind them is read or written. Rows do not end
// with a vector that reaches back instead, because in place it would convert pixels twice.
template <class Op, class Src, class Dst> ORV_INLINE void convertSome(const Src& src, const Dst& dst, ptrdiff_t n) {
  Padded<Src> from;
  Padded<Dst> to;
  from.take(src, n);
  if (Dst::kPixel == 4) to.take(dst, n);
  Op::convert(from.row(), to.row());
  for (int i = 0; i < Dst::kPlanes; ++i) memcpy(dst.p[i], to.bytes[i], size_t(n * Dst::kPixel));
}

template <class Rows, class Src, class Dst>
ORV_INLINE void convertImage(Src src, int srcStep, Dst dst, int dstStep, ptrdiff_t width, int height) {
  for (;;) {
    Rows::convert(src, dst, width);
    if (--height == 0) return;
    src = src.down(srcStep);
    dst = dst.down(dstStep);
  }
}

// ---- Quads: a dword for each pixel, of its three samples in the lowest bytes; four pixels a vector

struct Two {
  Vec v[2];
};
template <class F> ORV_INLINE Two each(const Two& a, const F& f) { return {{f(a.v[0]), f(a.v[1])}}; }
ORV_INLINE Two plus(const Two& a, const Two& b) {
  return {{_mm_add_epi32(a.v[0], b.v[0]), _mm_add_epi32(a.v[1], b.v[1])}};
}
ORV_INLINE Two plus(const Two& a, int constant) { return plus(a, Two{{all32(constant), all32(constant)}}); }
// A dword's words, and a dword's bytes, the same in every dword.
ORV_INLINE Vec words(int low, int high) { return all32(int((unsigned(low) & 0xFFFF) | unsigned(high) << 16)); }
ORV_INLINE Vec bytes(int b0, int b1, int b2, int b3) {
  return words((b0 & 0xFF) | (b1 & 0xFF) << 8, (b2 & 0xFF) | (b3 & 0xFF) << 8);
}
// Each pair of words times the weights, added.
ORV_INLINE Two weighed(const Two& pairs, Vec weights) {
  return each(pairs, [=](Vec v) { return _mm_madd_epi16(v, weights); });
}

// A conversion of eight pixels has the members first(), second() and third(), which work out a channel when it is asked
// for: one after another they fit into eight registers. Each value is in the high word of its dword, and below it a
// fraction.

// The values clamped, in the high bytes of eight words; in the low bytes is what became of the fractions.
ORV_INLINE Vec clamped(const Two& channel) { return _mm_packus_epi16(channel.v[0], channel.v[1]); }
// The high bytes of words.
ORV_INLINE Vec highBytes(Vec v, Vec w) { return _mm_packus_epi16(_mm_srli_epi16(v, 8), _mm_srli_epi16(w, 8)); }
// Words of two high bytes. Put together with masks, which any unit does, and not with a blend, which takes a unit that
// multiplies.
ORV_INLINE Vec highPairs(Vec low, Vec high) {
  return _mm_or_si128(_mm_srli_epi16(low, 8), _mm_and_si128(high, all16(0xFF00)));
}

// Sixteen pixels from the conversions of eight and eight, convert(0) and convert(1).
template <Order kOrder, class Convert> ORV_INLINE Rgb16<kOrder> sixteenOf(const Convert& convert) {
  const auto a = convert(0);
  const Vec r = clamped(a.first()), g = clamped(a.second()), b = clamped(a.third());
  const auto z = convert(1);
  return {highBytes(r, clamped(z.first())), highBytes(g, clamped(z.second())), highBytes(b, clamped(z.third()))};
}

// ---- Exact

// R = (y + rv v) >> 16, G = (y + gu u + gv v) >> 16, B = (y + bu u) >> 16, where y is luma's weight times Y - 16, and a
// half where kRounded, u = Cb - 128 and v = Cr - 128. The weights have more than sixteen bits, and multiply-add takes
// words; but it takes two at once, and which two is free. In place of the samples they are sums of small multiples of
// them, for which the weights become words and the results stay the same. A search has found the multiples; the
// compiler checks them.

// 1.164, 1.596, 0.392, 0.813 and 2.017 (ITU-R BT.601) times 65536, rounded.
template <bool kRound> struct Standard {
  static constexpr int kLuma = 76284, kRv = 104595, kGu = -25690, kGv = -53281, kBu = 132186;
  static constexpr bool kRounded = kRound;
  static constexpr int kA = 4, kB = 2, kD = 17, kLumaWithV = -54780;
};
// A little less, for what is left of rows from planes to C3 after their groups.
struct Lesser {
  static constexpr int kLuma = 76282, kRv = 104593, kGu = -25689, kGv = -53279, kBu = 132184;
  static constexpr bool kRounded = false;
  static constexpr int kA = 43, kB = 22, kD = 3, kLumaWithV = -65618;
};
constexpr bool isWord(int x) { return x == Vel16s(x); }

// Eight pixels from two quads of Y, Cb, Cr. Luma makes a pair with each chroma sample c: kA (Y - 16) + kB (c - 128) and
// kD (c - 128). G takes luma from both pairs, kLumaWithV of it from the one with Cr.
template <class W> class Exact {
 public:
  Exact(Vec a, Vec b) {
    const Two quads = {{a, b}};
    v = each(quads, [](Vec q) { return pairOf(_mm_and_si128(q, all16(0xFF))); });
    u = each(quads, [](Vec q) {
      return pairOf(_mm_or_si128(_mm_and_si128(q, all32(0xFF)), _mm_slli_epi32(_mm_and_si128(q, all32(0xFF00)), 8)));
    });
  }
  Two first() const { return rounded(part<W::kLuma, W::kRv>(v)); }
  Two second() const {
    return rounded(plus(part<W::kLumaWithV, W::kGv>(v), part<W::kLuma - W::kLumaWithV, W::kGu>(u)));
  }
  Two third() const { return rounded(part<W::kLuma, W::kBu>(u)); }

 private:
  ORV_INLINE Vec pairOf(Vec samples) {
    const Vec centred = _mm_sub_epi16(samples, words(16, 128));
    return _mm_add_epi16(_mm_mullo_epi16(centred, words(W::kA, W::kD)),
                         _mm_mullo_epi16(_mm_srli_epi32(centred, 16), words(W::kB, 0)));
  }
  template <int kLuma, int kChroma> ORV_INLINE Two part(const Two& pairs) {
    constexpr int first = kLuma / W::kA, second = (kChroma - W::kB * first) / W::kD;
    static_assert(first * W::kA == kLuma && first * W::kB + second * W::kD == kChroma, "inexact");
    static_assert(isWord(first) && isWord(second), "too large");
    return weighed(pairs, words(first, second));
  }
  ORV_INLINE Two rounded(const Two& channel) { return W::kRounded ? plus(channel, 32768) : channel; }
  Two v, u;
};

#if ORV_HAS_SHUFFLE
// The same with a byte shuffle and a multiply-add of bytes: each channel has multiples of its own. Its two words are
// kY Y + kV Cr and kU Cb + kV2 Cr, centred.
template <bool kRound> class Exact<Standard<kRound>> {
 public:
  Exact(Vec a, Vec b)
      : quads(each({{a, b}}, [](Vec q) {
          return _mm_shuffle_epi8(q, _mm_setr_epi8(0, 2, 1, 2, 4, 6, 5, 6, 8, 10, 9, 10, 12, 14, 13, 14));
        })) {}
  Two first() const { return sum<W::kRv, 0, 4, 0, 0, 5>(); }
  Two second() const { return sum<W::kGv, W::kGu, 12, -13, 7, -8>(); }
  Two third() const { return sum<0, W::kBu, 4, 0, 6, 0>(); }

 private:
  using W = Standard<kRound>;
  template <int kWeightV, int kWeightU, int kY, int kV, int kU, int kV2> Two sum() const {
    constexpr int first = W::kLuma / kY, second = kU != 0 ? kWeightU / (kU != 0 ? kU : 1) : kWeightV / kV2;
    static_assert(first * kY == W::kLuma && second * kU == kWeightU && first * kV + second * kV2 == kWeightV,
                  "inexact");
    static_assert(isWord(first) && isWord(second), "too large");
    const Two centred = each(quads, [](Vec q) {
      return _mm_sub_epi16(_mm_maddubs_epi16(q, bytes(kY, kV, kU, kV2)), words(16 * kY + 128 * kV, 128 * (kU + kV2)));
    });
    const Two channel = weighed(centred, words(first, second));
    return kRound ? plus(channel, 32768) : channel;
  }
  Two quads;
};
#endif

template <class W> ORV_INLINE Rgb16<kNatural> exact(const FromP3& src) {
  const Vec y = load(src.p[0]), cb = load(src.p[1]), cr = load(src.p[2]);
  return sixteenOf<kNatural>([=](int half) {
    const Vec low = half ? _mm_unpackhi_epi8(y, cb) : _mm_unpacklo_epi8(y, cb);
    const Vec high = half ? widenHigh8(cr) : widenLow8(cr);
    return Exact<W>(_mm_unpacklo_epi16(low, high), _mm_unpackhi_epi16(low, high));
  });
}
template <class W> ORV_INLINE Rgb16<kNatural> exact(const FromC3& src) {
  const Rgb16<kNatural> p = loadC3(src.p[0]);
  Vel8u planes[3][16];
  store(planes[0], p.r), store(planes[1], p.g), store(planes[2], p.b);
  return exact<W>(FromP3{{planes[0], planes[1], planes[2]}});
}

// ---- Groups

// With a, b, c = 128 (Y - 16), 128 (Cb - 128), 128 (Cr - 128) and m(x, k) = x k >> 16:
//   y = m(a, kLuma) + 8      R = (y + m(c, 13074)) >> 4      G = (y + m(b, kGu) + m(c, -6660)) >> 4
//   B = (y + m(b, 16523)) >> 4
// An even weight may be halved, and the sample taken 256 times.
template <int kLumaWeight, int kGuWeight> struct Group { static constexpr int kLuma = kLumaWeight, kGu = kGuWeight; };
using GroupP3C3 = Group<9535, -3211>;
using GroupC3 = Group<9536, -3203>;

// Y, Cb - 128 and Cr - 128 of eight pixels, 256 times: words.
struct Eight {
  Vec y, u, v;
};
struct EvenAndOdd {
  Eight even, odd;
};

template <class G> ORV_INLINE Vec lumaTerm(Vec y) {
  // 16 * 128 * 9536 is 298 * 65536, so that the offset comes out of the product whole.
  if (G::kLuma == 9536) return _mm_add_epi16(_mm_mulhi_epu16(y, all16(9536 / 2)), all16(8 - 298));
  const Vec a = _mm_sub_epi16(_mm_srli_epi16(y, 1), all16(128 * 16));
  return _mm_add_epi16(_mm_mulhi_epi16(a, all16(G::kLuma)), all16(8));
}
struct Channels {
  Vec r, g, b;
};
template <class G> ORV_INLINE Channels convertGroup(const Eight& p) {
  const Vec y = lumaTerm<G>(p.y), b = _mm_srai_epi16(p.u, 1);
  const Vec green = _mm_add_epi16(_mm_mulhi_epi16(b, all16(G::kGu)), _mm_mulhi_epi16(p.v, all16(-6660 / 2)));
  return {_mm_srai_epi16(_mm_add_epi16(y, _mm_mulhi_epi16(p.v, all16(13074 / 2))), 4),
          _mm_srai_epi16(_mm_add_epi16(y, green), 4),
          _mm_srai_epi16(_mm_add_epi16(y, _mm_mulhi_epi16(b, all16(16523))), 4)};
}

ORV_INLINE EvenAndOdd evenAndOdd(Vec y, Vec cb, Vec cr) {
  const Vec u = _mm_xor_si128(cb, all8(128)), v = _mm_xor_si128(cr, all8(128)), high = all16(0xFF00);
  return {{_mm_slli_epi16(y, 8), _mm_slli_epi16(u, 8), _mm_slli_epi16(v, 8)},
          {_mm_and_si128(y, high), _mm_and_si128(u, high), _mm_and_si128(v, high)}};
}
ORV_INLINE EvenAndOdd evenAndOdd(const FromP3& src) {
  return evenAndOdd(load(src.p[0]), load(src.p[1]), load(src.p[2]));
}
ORV_INLINE EvenAndOdd evenAndOdd(const FromC3& src) {
#if ORV_HAS_BLEND
  const Rgb16<kNatural> p = loadC3(src.p[0]);
  return evenAndOdd(p.r, p.g, p.b);
#else
  // Three perfect shuffles of the 48 bytes: one more would complete the channels, and three leave the even pixels of
  // each in one half and the odd ones in another.
  const Vel8u* const s = src.p[0];
  Vec x = load(s), y = load(s + 24), z = _mm_unpacklo_epi8(loadLow(s + 16), loadLow(s + 40));
  for (int i = 0;; ++i) {  // x and y begin the halves; z has the end of both, done
    const Vec a = _mm_unpacklo_epi8(x, y), b = _mm_unpackhi_epi8(x, y), c = z;
    if (i == 2) {
      // a: Y and Cb of even pixels; b: Cr of even ones, Y of odd ones; c: Cb and Cr of odd ones
      const int k = int(0x80808080);
      const Vec ac = _mm_xor_si128(a, _mm_setr_epi32(0, 0, k, k)), bc = _mm_xor_si128(b, _mm_setr_epi32(k, k, 0, 0)),
                cc = _mm_xor_si128(c, all32(k));
      return {{_mm_unpacklo_epi8(zero(), ac), _mm_unpackhi_epi8(zero(), ac), _mm_unpacklo_epi8(zero(), bc)},
              {_mm_unpackhi_epi8(zero(), bc), _mm_unpacklo_epi8(zero(), cc), _mm_unpackhi_epi8(zero(), cc)}};
    }
    x = a;
    y = _mm_castpd_si128(_mm_shuffle_pd(_mm_castsi128_pd(b), _mm_castsi128_pd(c), 1));
    z = _mm_unpacklo_epi8(b, _mm_srli_si128(c, 8));
  }
#endif
}
template <class G, class Src> ORV_INLINE Rgb16<kSplit> grouped(const Src& src) {
  const EvenAndOdd p = evenAndOdd(src);
  const Channels even = convertGroup<G>(p.even), odd = convertGroup<G>(p.odd);
  return {_mm_packus_epi16(even.r, odd.r), _mm_packus_epi16(even.g, odd.g), _mm_packus_epi16(even.b, odd.b)};
}

// Rows in groups of G from their start, and what is left exactly by W. Store::put stores sixteen pixels.
template <class G, class W, class Store> struct InGroups {
  struct Whole {
    template <class Src, class Dst> ORV_INLINE void convert(const Src& src, const Dst& dst) {
      Store::put(dst, grouped<G>(src));
    }
  };
  struct Rest {
    template <class Src, class Dst> ORV_INLINE void convert(const Src& src, const Dst& dst) {
      Store::put(dst, exact<W>(src));
    }
  };
  template <class Src, class Dst> ORV_INLINE void convert(const Src& src, const Dst& dst, ptrdiff_t width) {
    ptrdiff_t x = 0;
    for (; x + 16 <= width; x += 16) Whole::convert(src.at(x), dst.at(x));
    if (width & 8) convertSome<Whole>(src.at(x), dst.at(x), 8);
    x = width & ~ptrdiff_t(7);
    if (x < width) convertSome<Rest>(src.at(x), dst.at(x), width - x);
  }
};

}  // namespace
