#include "colour.h"
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

}  // namespace jpeg
