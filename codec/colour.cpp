#include "codec/colour.h"
#include <emmintrin.h>
#include <cstring>
#include "orv.h"

namespace jpeg {

#define ORV_ALWAYS_INLINE __attribute__((always_inline)) inline

namespace {

struct alignas(16) Vector {
  uint16_t words[8];
  operator __m128i() const { return _mm_load_si128(reinterpret_cast<const __m128i*>(words)); }
};
// Two words in each lane.
constexpr Vector words(int low, int high) {
  const auto a = uint16_t(low), b = uint16_t(high);
  return {{a, b, a, b, a, b, a, b}};
}

ORV_ALWAYS_INLINE __m128i load(const uint8_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
ORV_ALWAYS_INLINE void store(uint8_t* to, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v); }

}  // namespace

// ---- Rows of samples to RGB
//
// Luma is an integer, so rounding a sum is adding the rounded term, half up. With c for a chroma sample less 128:
//   red    1.402 Cr = c + 0.402 c
//   blue   1.772 Cb = 2 c - 0.228 c
//   green  -0.34414 Cb - 0.71414 Cr
// scripts/derive/jfif finds the constants that round all samples right.

namespace {

// What red and blue add to c and 2 c: the high word of 256 c times the multiple, which has as many bits of fraction as the
// shift takes away. The bias is half, and what makes up for the multiple's own rounding.
constexpr int kRedMultiple = 26345, kRedBias = 128, kRedBits = 8;
constexpr int kBlueMultiple = -29884, kBlueBias = 257, kBlueBits = 9;

// Green's weights have 30 bits, in a high and a low part of 15: Cb's and Cr's. What the low parts carry goes into the
// sum of the high ones.
constexpr int kGreenHigh[2] = {-11277, -23401}, kGreenLow[2] = {7225, 1982}, kGreenBits = 15, kGreenBias = 536881674;

// Eight pixels' terms, from chroma in the high bytes of words.
ORV_ALWAYS_INLINE __m128i part(__m128i chroma, int multiple, int bias, int bits) {
  const __m128i product = _mm_mulhi_epi16(chroma, _mm_set1_epi16(short(multiple)));
  return _mm_srai_epi16(_mm_add_epi16(product, _mm_set1_epi16(short(bias))), bits);
}
ORV_ALWAYS_INLINE __m128i redTerm(__m128i cr) {
  return _mm_add_epi16(_mm_srai_epi16(cr, 8), part(cr, kRedMultiple, kRedBias, kRedBits));
}
ORV_ALWAYS_INLINE __m128i blueTerm(__m128i cb) {
  return _mm_add_epi16(_mm_srai_epi16(cb, 7), part(cb, kBlueMultiple, kBlueBias, kBlueBits));
}
ORV_ALWAYS_INLINE __m128i greenTerm(__m128i cb, __m128i cr) {
  cb = _mm_srai_epi16(cb, 8), cr = _mm_srai_epi16(cr, 8);
  const auto four = [](__m128i both) {  // cb0 cr0 cb1 cr1 ...
    const __m128i low = _mm_madd_epi16(both, words(kGreenLow[0], kGreenLow[1]));
    const __m128i carry = _mm_srai_epi32(_mm_add_epi32(low, _mm_set1_epi32(kGreenBias)), kGreenBits);
    const __m128i high = _mm_madd_epi16(both, words(kGreenHigh[0], kGreenHigh[1]));
    return _mm_srai_epi32(_mm_add_epi32(high, carry), kGreenBits);
  };
  return _mm_packs_epi32(four(_mm_unpacklo_epi16(cb, cr)), four(_mm_unpackhi_epi16(cb, cr)));
}

struct Rgb {
  __m128i r, g, b;  // sixteen of each
};

ORV_ALWAYS_INLINE Rgb loadRgb(const uint8_t* r, const uint8_t* g, const uint8_t* b) {
  return {load(r), load(g), load(b)};
}
ORV_ALWAYS_INLINE Rgb loadYcc(const uint8_t* y, const uint8_t* cb, const uint8_t* cr) {
  const __m128i zero = _mm_setzero_si128(), sign = _mm_set1_epi8(-128);
  const __m128i luma = load(y), blue = _mm_xor_si128(load(cb), sign), red = _mm_xor_si128(load(cr), sign);
  const __m128i luma0 = _mm_unpacklo_epi8(luma, zero), luma1 = _mm_unpackhi_epi8(luma, zero);
  const __m128i cb0 = _mm_unpacklo_epi8(zero, blue), cb1 = _mm_unpackhi_epi8(zero, blue);
  const __m128i cr0 = _mm_unpacklo_epi8(zero, red), cr1 = _mm_unpackhi_epi8(zero, red);
  const auto sum = [&](__m128i term0, __m128i term1) {
    return _mm_packus_epi16(_mm_add_epi16(luma0, term0), _mm_add_epi16(luma1, term1));
  };
  return {sum(redTerm(cr0), redTerm(cr1)), sum(greenTerm(cb0, cr0), greenTerm(cb1, cr1)),
          sum(blueTerm(cb0), blueTerm(cb1))};
}

// Stores r0 g0 b0 0 | r1 g1 b1 0 | ...
ORV_ALWAYS_INLINE void storeWithGaps(const Rgb& v, uint8_t* to) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i rg0 = _mm_unpacklo_epi8(v.r, v.g), b0 = _mm_unpacklo_epi8(v.b, zero);
  const __m128i rg1 = _mm_unpackhi_epi8(v.r, v.g), b1 = _mm_unpackhi_epi8(v.b, zero);
  store(to, _mm_unpacklo_epi16(rg0, b0));
  store(to + 16, _mm_unpackhi_epi16(rg0, b0));
  store(to + 32, _mm_unpacklo_epi16(rg1, b1));
  store(to + 48, _mm_unpackhi_epi16(rg1, b1));
}

// Makes pixels of three rows, sixteen at a time. The library takes the gaps out, a tile at a time, with what the
// processor has for that.
template <Rgb (*kLoad)(const uint8_t*, const uint8_t*, const uint8_t*)>
ORV_ALWAYS_INLINE void makePixels(const uint8_t* a, const uint8_t* b, const uint8_t* c, int width, uint8_t* rgb) {
  static constexpr int kOrder[3] = {0, 1, 2};
  alignas(16) uint8_t pixels[4 * kTileWidth];
  for (int left = width; left > 0;) {
    const int count = left < kTileWidth ? left : kTileWidth, whole = count / kGroup * kGroup;
    for (int x = 0; x < whole; x += kGroup) storeWithGaps(kLoad(a + x, b + x, c + x), pixels + 4 * x);
    if (whole < count) {
      uint8_t last[3][kGroup] = {};
      const auto rest = size_t(count - whole);
      memcpy(last[0], a + whole, rest), memcpy(last[1], b + whole, rest), memcpy(last[2], c + whole, rest);
      storeWithGaps(kLoad(last[0], last[1], last[2]), pixels + 4 * whole);
    }
    orviSwapChannels_8u_C4C3R(pixels, 4 * count, rgb, 3 * count, {count, 1}, kOrder);
    a += count, b += count, c += count, rgb += 3 * count, left -= count;
  }
}

}  // namespace

void convertYcc(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, int width, uint8_t* rgb) {
  makePixels<loadYcc>(y, cb, cr, width, rgb);
}

void interleave(const uint8_t* r, const uint8_t* g, const uint8_t* b, int width, uint8_t* rgb) {
  makePixels<loadRgb>(r, g, b, width, rgb);
}

void doubleSamples(const uint8_t* from, int count, uint8_t* to) {
  for (int x = 0; x < count; x += 8) {
    const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + x));
    store(to + 2 * x, _mm_unpacklo_epi8(v, v));
  }
}

// ---- RGB to rows of samples
//
// Sixteen pixels at a time, in four vectors of each fourth pixel, so that what is made of them goes together again by
// shifts. What is done to two of these vectors before the others keeps to the few registers that 32-bit code has.

namespace {

// With n for 250 times Y, the fraction cut off, Y is (n + 125) / 250, the fraction cut off. For n up to 63750 so is
// (n + kLumaRound) * kLumaReciprocal >> kLumaBits, as scripts/derive/jfif finds. Of the product only the high word is
// wanted.
constexpr int kLumaRound = 126, kLumaReciprocal = 33554, kLumaBits = 23;

struct Constants {
  Vector evenBytes = words(0xFF, 0xFF), most = words(255, 255);
  // Thousandths: of R and B, and of G and no neighbour.
  Vector lumaRB = words(299, 114), lumaG = words(587, 0);
  Vector chromaR = words(1000, 0), chromaB = words(0, 1000);
  Vector lumaRound = words(kLumaRound, kLumaRound), lumaReciprocal = words(kLumaReciprocal, kLumaReciprocal);
};
constexpr Constants kConstants;

// Makes the compiler forget where p points: what it loads through p it then loads as an operand, each time. It would
// keep constants in registers, and 32-bit code has too few.
template <class T> ORV_ALWAYS_INLINE T* reload(T* p) {
  __asm__("" : "+r"(p));
  return p;
}

// Fetches what is converted a tile later, when the encoder comes back to this row.
ORV_ALWAYS_INLINE void prefetch(const uint8_t* rgb) {
  _mm_prefetch(reinterpret_cast<const char*>(rgb + 3 * kTileWidth), _MM_HINT_T0);
}

// Four pixels: their R and B in words, and 1000 times their Y. Or sums of pixels.
struct Pixels {
  __m128i rb, luma;
};
ORV_ALWAYS_INLINE Pixels operator+(const Pixels& a, const Pixels& b) {
  return {_mm_add_epi16(a.rb, b.rb), _mm_add_epi32(a.luma, b.luma)};
}

// The pixels 0, 4, 8 and 12 from p on: they start in lanes 0 and 3 of vectors of which one is 8 pixels further on.
ORV_ALWAYS_INLINE Pixels everyFourth(const uint8_t* p, const Constants* k) {
  const auto loadFloats = [](const uint8_t* from) { return _mm_loadu_ps(reinterpret_cast<const float*>(from)); };
  const __m128i v = _mm_castps_si128(_mm_shuffle_ps(loadFloats(p), loadFloats(p + 24), _MM_SHUFFLE(3, 0, 3, 0)));
  const __m128i rb = _mm_and_si128(k->evenBytes, v), g = _mm_srli_epi16(v, 8);  // G with a neighbour's byte
  return {rb, _mm_add_epi32(_mm_madd_epi16(k->lumaRB, rb), _mm_madd_epi16(g, k->lumaG))};
}

// Lanes of b in the high words, lanes of a in the low ones.
ORV_ALWAYS_INLINE __m128i pair(__m128i a, __m128i b) { return _mm_or_si128(_mm_slli_epi32(b, 16), a); }

// Pixels 0, 4, 8, 12 and their neighbours 1, 5, 9, 13.
struct Neighbours {
  Pixels a, b;
  Pixels sum() const { return a + b; }
};
ORV_ALWAYS_INLINE Neighbours neighbours(const uint8_t* p, const Constants* k) {
  return {everyFourth(p, k), everyFourth(p + 3, k)};
}

ORV_ALWAYS_INLINE void storeLuma(const Neighbours& first, const Neighbours& second, uint8_t* y, const Constants* k) {
  const auto luma = [k](const Pixels& low, const Pixels& high) {
    const __m128i n = pair(_mm_srli_epi32(low.luma, 2), _mm_srli_epi32(high.luma, 2));
    return _mm_srli_epi16(_mm_mulhi_epu16(_mm_add_epi16(n, k->lumaRound), k->lumaReciprocal), kLumaBits - 16);
  };
  const __m128i even = luma(first.a, second.a), odd = luma(first.b, second.b);
  store(y, _mm_or_si128(even, _mm_slli_epi16(odd, 8)));
}

// For quotients in single precision, 128.5 added: kCount pixels' sums divided by thousandths of 1.772 and 1.402. Each is a
// multiple of 1 / divisor. Half of that is added, which is more than all rounding errors together, so that no half falls
// below itself.
struct alignas(16) Divisor {
  float reciprocal[4], offset[4];
  constexpr explicit Divisor(int divisor) : reciprocal(), offset() {
    for (int i = 0; i < 4; ++i) {
      reciprocal[i] = float(1.0 / divisor);
      offset[i] = float(128.5 + 0.5 / divisor);
    }
  }
};
struct Divisors {
  Divisor cb, cr;
};
template <int kCount> constexpr Divisors kDivisors = {Divisor(1772 * kCount), Divisor(1402 * kCount)};

struct Chroma {
  __m128i cb, cr;  // 32 bits each, up to 256
};
// The mean of kCount pixels, from their sum. Thousandths: 886 B - 299 R - 587 G is 1000 (B - Y), and so on.
template <int kCount> ORV_ALWAYS_INLINE Chroma chromaOf(const Pixels& sum, const Constants* k) {
  const Divisors* const divisors = reload(&kDivisors<kCount>);
  const auto quotient = [](__m128i n, const Divisor& d) {
    const __m128 q = _mm_mul_ps(_mm_cvtepi32_ps(n), _mm_load_ps(d.reciprocal));
    return _mm_cvttps_epi32(_mm_add_ps(q, _mm_load_ps(d.offset)));
  };
  return {quotient(_mm_sub_epi32(_mm_madd_epi16(k->chromaB, sum.rb), sum.luma), divisors->cb),
          quotient(_mm_sub_epi32(_mm_madd_epi16(sum.rb, k->chromaR), sum.luma), divisors->cr)};
}

// Eight samples each: `even` has the first, third, ...
ORV_ALWAYS_INLINE void storeChroma(const Chroma& even, const Chroma& odd, uint8_t* cb, uint8_t* cr) {
  const __m128d both = _mm_castsi128_pd(_mm_packus_epi16(pair(even.cb, odd.cb), pair(even.cr, odd.cr)));
  _mm_storel_pd(reinterpret_cast<double*>(cb), both);
  _mm_storeh_pd(reinterpret_cast<double*>(cr), both);
}

}  // namespace

void convertRgbToGrey(const uint8_t* rgb, int width, uint8_t* y) {
  for (int x = 0; x < width; x += kGroup) {
    const Constants* const k = reload(&kConstants);
    prefetch(rgb + 3 * x);
    storeLuma(neighbours(rgb + 3 * x, k), neighbours(rgb + 3 * x + 6, k), y + x, k);
  }
}

void convertRgbTo444(const uint8_t* rgb, int width, uint8_t* y, uint8_t* cb, uint8_t* cr) {
  for (int x = 0; x < width; x += kGroup) {
    const Constants* const k = reload(&kConstants);
    prefetch(rgb + 3 * x);
    const auto storeBytes = [k](__m128i even, __m128i odd, uint8_t* to) {
      odd = _mm_slli_epi16(_mm_min_epi16(odd, k->most), 8);
      store(to, _mm_or_si128(_mm_min_epi16(even, k->most), odd));
    };
    const Neighbours first = neighbours(rgb + 3 * x, k);
    const Chroma a = chromaOf<1>(first.a, k), b = chromaOf<1>(first.b, k);
    const Neighbours second = neighbours(rgb + 3 * x + 6, k);
    const Chroma c = chromaOf<1>(second.a, k), d = chromaOf<1>(second.b, k);
    storeLuma(first, second, y + x, k);
    storeBytes(pair(a.cb, c.cb), pair(b.cb, d.cb), cb + x);
    storeBytes(pair(a.cr, c.cr), pair(b.cr, d.cr), cr + x);
  }
}

void convertRgbTo422(const uint8_t* rgb, int width, uint8_t* y, uint8_t* cb, uint8_t* cr) {
  for (int x = 0; x < width; x += kGroup) {
    const Constants* const k = reload(&kConstants);
    prefetch(rgb + 3 * x);
    const Neighbours first = neighbours(rgb + 3 * x, k);
    const Chroma even = chromaOf<2>(first.sum(), k);
    const Neighbours second = neighbours(rgb + 3 * x + 6, k);
    storeLuma(first, second, y + x, k);
    storeChroma(even, chromaOf<2>(second.sum(), k), cb + x / 2, cr + x / 2);
  }
}

void convertRgbTo420(const uint8_t* const rgb[2], int width, uint8_t* y0, uint8_t* y1, uint8_t* cb, uint8_t* cr) {
  for (int x = 0; x < width; x += kGroup) {
    const Constants* const k = reload(&kConstants);
    const uint8_t *const top = rgb[0] + 3 * x, *const bottom = rgb[1] + 3 * x;
    prefetch(top);
    prefetch(bottom);
    const Neighbours top1 = neighbours(top, k), bottom1 = neighbours(bottom, k);
    const Chroma even = chromaOf<4>(top1.sum() + bottom1.sum(), k);
    const Neighbours top2 = neighbours(top + 6, k);
    storeLuma(top1, top2, y0 + x, k);
    const Neighbours bottom2 = neighbours(bottom + 6, k);
    storeLuma(bottom1, bottom2, y1 + x, k);
    storeChroma(even, chromaOf<4>(top2.sum() + bottom2.sum(), k), cb + x / 2, cr + x / 2);
  }
}

}  // namespace jpeg
