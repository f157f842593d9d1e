#include "codec/colour.h"
#include <emmintrin.h>
#include <cmath>
#include "orv.h"

namespace jpeg {

namespace {

// What a chroma sample adds to luma. Luma is an integer, so rounding the sum is adding the rounded term, half up. Green
// has two terms. Their sums are multiples of 0.00002, and a little more than half is added, so that an exact half goes
// up in spite of the tables' own rounding. scripts/derive/jfif finds out how much more.
struct Terms {
  static constexpr int kFraction = 23, kBias = 83;
  int16_t red[256], blue[256];
  int32_t greenCb[256], greenCr[256];

  Terms() {
    for (int i = 0; i < 256; ++i) {
      const int c = i - 128;
      const int luma = c < 0 ? 255 : 0;  // leaves room for the term, so that nothing is clamped
      uint8_t r, g, b;
      computeRGBFromYUV_JPEG_F32_U8(float(luma - 128), 0, float(c), &r, &g, &b);
      red[i] = int16_t(r - luma);
      computeRGBFromYUV_JPEG_F32_U8(float(luma - 128), float(c), 0, &r, &g, &b);
      blue[i] = int16_t(b - luma);
      const double one = 1 << kFraction;
      greenCb[i] = int32_t(std::lround(-0.34414 * c * one));
      greenCr[i] = int32_t(std::lround(-0.71414 * c * one)) + (1 << (kFraction - 1)) + kBias;
    }
  }
};

inline uint8_t clamp(int v) { return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v); }

}  // namespace

void convertYcc(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, int width, uint8_t* rgb) {
  static const Terms t;
  for (int x = 0; x < width; ++x, rgb += 3) {
    const int luma = y[x];
    rgb[0] = clamp(luma + t.red[cr[x]]);
    rgb[1] = clamp(luma + ((t.greenCb[cb[x]] + t.greenCr[cr[x]]) >> Terms::kFraction));
    rgb[2] = clamp(luma + t.blue[cb[x]]);
  }
}

void interleave(const uint8_t* r, const uint8_t* g, const uint8_t* b, int width, uint8_t* rgb) {
  for (int x = 0; x < width; ++x, rgb += 3) {
    rgb[0] = r[x];
    rgb[1] = g[x];
    rgb[2] = b[x];
  }
}

// ---- RGB to rows of samples
//
// Sixteen pixels at a time, in four vectors of each fourth pixel, so that what is made of them goes together again by
// shifts. What is done to two of these vectors before the others keeps to the few registers that 32-bit code has.

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
  const auto load = [](const uint8_t* from) { return _mm_loadu_ps(reinterpret_cast<const float*>(from)); };
  const __m128i v = _mm_castps_si128(_mm_shuffle_ps(load(p), load(p + 24), _MM_SHUFFLE(3, 0, 3, 0)));
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
  _mm_storeu_si128(reinterpret_cast<__m128i*>(y), _mm_or_si128(even, _mm_slli_epi16(odd, 8)));
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
    const auto store = [k](__m128i even, __m128i odd, uint8_t* to) {
      odd = _mm_slli_epi16(_mm_min_epi16(odd, k->most), 8);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_or_si128(_mm_min_epi16(even, k->most), odd));
    };
    const Neighbours first = neighbours(rgb + 3 * x, k);
    const Chroma a = chromaOf<1>(first.a, k), b = chromaOf<1>(first.b, k);
    const Neighbours second = neighbours(rgb + 3 * x + 6, k);
    const Chroma c = chromaOf<1>(second.a, k), d = chromaOf<1>(second.b, k);
    storeLuma(first, second, y + x, k);
    store(pair(a.cb, c.cb), pair(b.cb, d.cb), cb + x);
    store(pair(a.cr, c.cr), pair(b.cr, d.cr), cr + x);
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
