// RGB to YCbCr and back.
#include "color/ycbcr.h"

namespace {

// ---- Forward

// Eight pixels from quads of R, G, B, and G once more where kGreenTwice. A pixel's chroma weights add up to nothing, so
// that R - G and B - G carry all of its chroma; luma is what they add to 56296 G. That leaves weights of sixteen bits,
// two of which multiply-add takes at once.
template <bool kGreenTwice> struct Forward {
  Two difference, green;
  Forward(Vec a, Vec b) : Forward(Two{{a, b}}) {}
  explicit Forward(const Two& quads)
      : green(each(quads, [](Vec quad) {
          const Vec g = _mm_srli_epi16(quad, 8);
          return kGreenTwice ? g : _mm_shufflehi_epi16(_mm_shufflelo_epi16(g, 0xA0), 0xA0);
        })) {
    for (int i = 0; i < 2; ++i)
#if ORV_HAS_SHUFFLE
      difference.v[i] = _mm_maddubs_epi16(quads.v[i], bytes(1, -1, 1, -1));
#else
      difference.v[i] = _mm_sub_epi16(_mm_and_si128(quads.v[i], all16(0xFF)), green.v[i]);
#endif
  }
  Two first() const {
    return plus(plus(weighed(difference, words(16843, 6423)), weighed(green, words(28148, 28148))), 1081344);  // 16.5
  }
  Two second() const { return plus(weighed(difference, words(-9699, 28770)), 8421376); }  // 128.5
  Two third() const { return plus(weighed(difference, words(28770, -4653)), 8421376); }
};

#if ORV_HAS_SHUFFLE
// A quad with green twice from four pixels of kPixel bytes, which begin at byte kAt.
template <int kPixel, int kAt> ORV_INLINE Vec quadOf(Vec v) {
#define AT(p) kAt + (p)*kPixel, kAt + (p)*kPixel + 1, kAt + (p)*kPixel + 2, kAt + (p)*kPixel + 1
  return _mm_shuffle_epi8(v, _mm_setr_epi8(AT(0), AT(1), AT(2), AT(3)));
#undef AT
}
ORV_INLINE Rgb16<kNatural> forward(const FromC3& src) {
  const Vel8u* const s = src.p[0];
  return sixteenOf<kNatural>([=](int half) {
    return half ? Forward<true>(quadOf<3, 0>(load(s + 24)), quadOf<3, 4>(load(s + 32)))
                : Forward<true>(quadOf<3, 0>(load(s)), quadOf<3, 0>(load(s + 12)));
  });
}
#else
// Dwords 2 i + kWhich of v, then of w.
template <int kWhich> ORV_INLINE Vec everySecond(Vec v, Vec w) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(v), _mm_castsi128_ps(w), kWhich ? 0xDD : 0x88));
}
// Two pixels in each half of a vector: the even ones begin at dwords, the odd ones a byte before.
ORV_INLINE Two quadsOf(Vec a, Vec b, Vec c, Vec d, bool odd) {
  const auto up = [](Vec v) { return _mm_slli_epi64(v, 8); };
  return odd ? Two{{everySecond<1>(up(a), up(b)), everySecond<1>(up(c), up(d))}}
             : Two{{everySecond<0>(a, b), everySecond<0>(c, d)}};
}
ORV_INLINE Rgb16<kSplit> forward(const FromC3& src) {
  const Vel8u* const s = src.p[0];
  const Vec a = loadHalves(s, s + 6), b = loadHalves(s + 12, s + 18), c = loadHalves(s + 24, s + 30);
  const Vec d = _mm_srli_epi64(loadHalves(s + 34, s + 40), 16);  // reads nothing behind the pixels
  return sixteenOf<kSplit>([=](int half) { return Forward<false>(quadsOf(a, b, c, d, half != 0)); });
}
#endif
ORV_INLINE Rgb16<kNatural> forward(const FromP3& src) {
  const Vec r = load(src.p[0]), g = load(src.p[1]), b = load(src.p[2]);
  return sixteenOf<kNatural>([=](int half) {
    const Vec rg = half ? _mm_unpackhi_epi8(r, g) : _mm_unpacklo_epi8(r, g);
    const Vec bg = half ? _mm_unpackhi_epi8(b, g) : _mm_unpacklo_epi8(b, g);
    return Forward<true>(_mm_unpacklo_epi16(rg, bg), _mm_unpackhi_epi16(rg, bg));
  });
}

// ---- Sixteen pixels of each layout

struct StoreC3 {
  template <Order kOrder> ORV_INLINE void put(const ToC3& dst, const Rgb16<kOrder>& p) { storeC3(dst.p[0], p); }
};
ORV_INLINE void storeP3(const ToP3& dst, const Rgb16<kNatural>& p) {
  store(dst.p[0], p.r);
  store(dst.p[1], p.g);
  store(dst.p[2], p.b);
}
// Eight pixels; the fourth byte stays as it was.
template <class Eight> ORV_INLINE void storeAC4(Vel8u* dst, const Eight& p) {
  const Vec rg = highPairs(clamped(p.first()), clamped(p.second()));
  const Vec b = _mm_srli_epi16(clamped(p.third()), 8);
  const auto put = [](Vel8u* to, Vec v) {
    store(to, _mm_or_si128(v, _mm_and_si128(load(to), all32(int(0xFF000000)))));
  };
  put(dst, _mm_unpacklo_epi16(rg, b));
  put(dst + 16, _mm_unpackhi_epi16(rg, b));
}

struct ForwardC3 {
  ORV_INLINE void convert(const FromC3& src, const ToC3& dst) { storeC3(dst.p[0], forward(src)); }
};
struct ForwardP3 {
  ORV_INLINE void convert(const FromP3& src, const ToP3& dst) { storeP3(dst, forward(src)); }
};
struct ForwardAC4 {
  ORV_INLINE void convert(const FromAC4& src, const ToAC4& dst) {
    ORV_UNROLL
    for (int i = 0; i < 64; i += 32) {
      const Vec a = load(src.p[0] + i), b = load(src.p[0] + i + 16);
#if ORV_HAS_SHUFFLE
      storeAC4(dst.p[0] + i, Forward<true>(quadOf<4, 0>(a), quadOf<4, 0>(b)));
#else
      storeAC4(dst.p[0] + i, Forward<false>(a, b));
#endif
    }
  }
};
struct InverseP3 {
  ORV_INLINE void convert(const FromP3& src, const ToP3& dst) { storeP3(dst, exact<Standard<true>>(src)); }
};
struct InverseAC4 {
  ORV_INLINE void convert(const FromAC4& src, const ToAC4& dst) {
    ORV_UNROLL
    for (int i = 0; i < 64; i += 32)
      storeAC4(dst.p[0] + i, Exact<Standard<false>>(load(src.p[0] + i), load(src.p[0] + i + 16)));
  }
};

// ---- Images

// Rows of which all pixels are converted alike.
template <class Op> struct AllAlike {
  template <class Src, class Dst> ORV_INLINE void convert(const Src& src, const Dst& dst, ptrdiff_t width) {
    ptrdiff_t x = 0;
    for (; x + 16 <= width; x += 16) Op::convert(src.at(x), dst.at(x));
    if (x < width) convertSome<Op>(src.at(x), dst.at(x), width - x);
  }
};

template <class R, class T> ORV_INLINE R rowsOf(T* image) { return {{image}}; }
template <class R, class T> ORV_INLINE R rowsOf(T* const planes[3]) { return {{planes[0], planes[1], planes[2]}}; }

template <class Rows, class Src, class Dst, class From, class To>
ORV_INLINE VelStatus convert(From pSrc, int srcStep, To pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(size));
  ORV_CHECK(checkPlanes(pSrc));
  ORV_CHECK(checkPlanes(pDst));
  convertImage<Rows>(rowsOf<Src>(pSrc), srcStep, rowsOf<Dst>(pDst), dstStep, size.width, size.height);
  return velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliRGBToYCbCr_8u_C3R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<AllAlike<ForwardC3>, FromC3, ToC3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_C(veliRGBToYCbCr_8u_AC4R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<AllAlike<ForwardAC4>, FromAC4, ToAC4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_C(veliRGBToYCbCr_8u_P3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], int dstStep, VeliSize roiSize) {
  return convert<AllAlike<ForwardP3>, FromP3, ToP3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB_8u_C3R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<InGroups<GroupC3, Standard<false>, StoreC3>, FromC3, ToC3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB_8u_AC4R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<AllAlike<InverseAC4>, FromAC4, ToAC4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB_8u_P3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], int dstStep, VeliSize roiSize) {
  return convert<AllAlike<InverseP3>, FromP3, ToP3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliYCbCrToRGB_8u_P3C3R)
(const Vel8u* const pSrc[3], int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return convert<InGroups<GroupP3C3, Lesser, StoreC3>, FromP3, ToC3>(pSrc, srcStep, pDst, dstStep, roiSize);
}
