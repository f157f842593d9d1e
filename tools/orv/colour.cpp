#include "colour.h"
#include <emmintrin.h>
#include <cmath>
#include "orv.h"

namespace jpeg {

namespace {

// What a chroma sample adds to luma. Luma is an integer, so rounding the sum is adding the rounded term, half up. Green
// has two terms: their sums, multiples of 0.00001, need 23 bits of fraction, and a little more than half is added so
// that an exact half goes up in spite of the tables' own rounding.
struct Terms {
  static constexpr int kFraction = 23;
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
      greenCr[i] = int32_t(std::lround(-0.71414 * c * one)) + (1 << (kFraction - 1)) + 40;
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

namespace {

// Four pixels in each of these: their R and B in words, and their G and a neighbour's byte, that no weight lets through.
struct Pixels {
  __m128i rb, g;
};
Pixels operator+(const Pixels& a, const Pixels& b) { return {_mm_add_epi16(a.rb, b.rb), _mm_add_epi16(a.g, b.g)}; }

// Of the pixels from p on the first and each fourth one: they start in lanes 0 and 3 of vectors of which one is 8
// pixels further on than the other.
Pixels everyFourth(const uint8_t* p) {
  const auto load = [](const uint8_t* from) { return _mm_loadu_ps(reinterpret_cast<const float*>(from)); };
  const __m128i v = _mm_castps_si128(_mm_shuffle_ps(load(p), load(p + 24), _MM_SHUFFLE(3, 0, 3, 0)));
  return {_mm_and_si128(v, _mm_set1_epi32(0x00FF00FF)), _mm_srli_epi16(v, 8)};
}

// Sixteen pixels: of[i] are i, i + 4, i + 8 and i + 12.
struct Group {
  Pixels of[4];
  explicit Group(const uint8_t* p) : of{everyFourth(p), everyFourth(p + 3), everyFourth(p + 6), everyFourth(p + 9)} {}
};

__m128i weigh(__m128i pairs, int low, int high) {
  return _mm_madd_epi16(pairs, _mm_set1_epi32(int(unsigned(high) << 16 | (unsigned(low) & 0xFFFF))));
}

// Lanes of b in the high words, lanes of a in the low ones.
__m128i pair(__m128i a, __m128i b) { return _mm_or_si128(a, _mm_slli_epi32(b, 16)); }

// A thousand times Y, a quarter of it: n. Then Y is (n + 125) / 250, without its fraction. The product with 2^23 / 250,
// truncated, of one more than that has Y in its upper nine bits, for all n up to 63750.
__m128i lumaPair(const Pixels& a, const Pixels& b) {
  const auto quarter = [](const Pixels& p) {
    return _mm_srli_epi32(_mm_add_epi32(weigh(p.rb, 299, 114), weigh(p.g, 587, 0)), 2);
  };
  const __m128i n = _mm_add_epi16(pair(quarter(a), quarter(b)), _mm_set1_epi16(125 + 1));
  return _mm_mulhi_epu16(n, _mm_set1_epi16(short(33554)));
}
void storeLuma(const Group& group, uint8_t* y) {
  const __m128i even = _mm_srli_epi16(lumaPair(group.of[0], group.of[2]), 7);
  const __m128i odd = _mm_slli_epi16(_mm_srli_epi16(lumaPair(group.of[1], group.of[3]), 7), 8);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(y), _mm_or_si128(even, odd));
}

struct Chroma {
  __m128i cb, cr;  // 32 bits each, up to 256
};
// A sum of kCount pixels. The sum of weights is exact. Its quotient is a multiple of 1 / (kCount * 1772); half of that
// is added, which is more than all rounding errors together, so that no half or integer falls below itself.
template <int kCount> Chroma chromaOf(const Pixels& sum) {
  const auto quotient = [](__m128i n, double divisor) {
    const __m128 q = _mm_mul_ps(_mm_cvtepi32_ps(n), _mm_set1_ps(float(1 / divisor)));
    return _mm_cvttps_epi32(_mm_add_ps(q, _mm_set1_ps(float(128.5 + 0.5 / divisor))));
  };
  const __m128i green = weigh(sum.g, -587, 0);
  return {quotient(_mm_add_epi32(weigh(sum.rb, -299, 886), green), 1772 * kCount),
          quotient(_mm_add_epi32(weigh(sum.rb, 701, -114), green), 1402 * kCount)};
}

// Eight samples each, from sums of pixels of which `even` are the first, third, ...
template <int kCount> void storeChroma(const Pixels& even, const Pixels& odd, uint8_t* cb, uint8_t* cr) {
  const Chroma a = chromaOf<kCount>(even), b = chromaOf<kCount>(odd);
  const __m128i both = _mm_packus_epi16(pair(a.cb, b.cb), pair(a.cr, b.cr));
  _mm_storel_pd(reinterpret_cast<double*>(cb), _mm_castsi128_pd(both));
  _mm_storeh_pd(reinterpret_cast<double*>(cr), _mm_castsi128_pd(both));
}

}  // namespace

void convertRgbToGrey(const uint8_t* rgb, int width, uint8_t* y) {
  for (int x = 0; x < width; x += kGroup) storeLuma(Group(rgb + 3 * x), y + x);
}

void convertRgbTo444(const uint8_t* rgb, int width, uint8_t* y, uint8_t* cb, uint8_t* cr) {
  for (int x = 0; x < width; x += kGroup) {
    const Group group(rgb + 3 * x);
    storeLuma(group, y + x);
    const auto store = [x](__m128i even, __m128i odd, uint8_t* to) {
      const __m128i most = _mm_set1_epi16(255);
      even = _mm_min_epi16(even, most);
      odd = _mm_min_epi16(odd, most);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to + x), _mm_or_si128(even, _mm_slli_epi16(odd, 8)));
    };
    const Chroma a = chromaOf<1>(group.of[0]), b = chromaOf<1>(group.of[1]);
    const Chroma c = chromaOf<1>(group.of[2]), d = chromaOf<1>(group.of[3]);
    store(pair(a.cb, c.cb), pair(b.cb, d.cb), cb);
    store(pair(a.cr, c.cr), pair(b.cr, d.cr), cr);
  }
}

void convertRgbTo422(const uint8_t* rgb, int width, uint8_t* y, uint8_t* cb, uint8_t* cr) {
  for (int x = 0; x < width; x += kGroup) {
    const Group group(rgb + 3 * x);
    storeLuma(group, y + x);
    storeChroma<2>(group.of[0] + group.of[1], group.of[2] + group.of[3], cb + x / 2, cr + x / 2);
  }
}

void convertRgbTo420(const uint8_t* const rgb[2], int width, uint8_t* y0, uint8_t* y1, uint8_t* cb, uint8_t* cr) {
  for (int x = 0; x < width; x += kGroup) {
    const Group top(rgb[0] + 3 * x), bottom(rgb[1] + 3 * x);
    storeLuma(top, y0 + x);
    storeLuma(bottom, y1 + x);
    storeChroma<4>(top.of[0] + top.of[1] + bottom.of[0] + bottom.of[1],
                   top.of[2] + top.of[3] + bottom.of[2] + bottom.of[3], cb + x / 2, cr + x / 2);
  }
}

}  // namespace jpeg
