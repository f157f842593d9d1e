// What the forward and the inverse DCT share: constants, and arithmetic on words.
//
// Both are separable. In the columns' pass a rotation by an angle is done by its tangent alone; the cosine that is left
// over is a factor of the whole row, and stands in that row's weights.
#pragma once
#include "core/simd.h"

namespace {

constexpr WordConstant words(int a, int b, int c, int d, int e, int f, int g, int h) {
  return {{Vel16s(a), Vel16s(b), Vel16s(c), Vel16s(d), Vel16s(e), Vel16s(f), Vel16s(g), Vel16s(h)}};
}
constexpr WordConstant allWords(int x) { return words(x, x, x, x, x, x, x, x); }

// ---- Cosines and tangents

// cos(k pi / 16), by its power series.
constexpr double cosine(int k) {
  const double x = k * 3.14159265358979323846 / 16;
  double sum = 0, term = 1;
  for (int n = 0; n < 24; n += 2) {
    sum += term;
    term *= -x * x / ((n + 1) * (n + 2));
  }
  return sum;
}
constexpr double tangent(int k) { return cosine(8 - k) / cosine(k); }
constexpr int nearest(double x) { return int(x < 0 ? x - 0.5 : x + 0.5); }

// With 14 fractional bits, cK is sqrt(2) cos(K pi / 16) times the row's factor. The factor of rows r and 8 - r is
// sqrt(2) cos(r pi / 16); that of rows 0 and 4 is 1, which is the same with r = 4.
constexpr int kCosineBits = 14;
struct Cosines {
  int c1, c2, c3, c4, c5, c6, c7;
};
constexpr int cosineOfRow(int k, int r) { return nearest((2 << kCosineBits) * cosine(k) * cosine(r)); }
constexpr Cosines cosinesOfRow(int r) {
  return {cosineOfRow(1, r), cosineOfRow(2, r), cosineOfRow(3, r), cosineOfRow(4, r),
          cosineOfRow(5, r), cosineOfRow(6, r), cosineOfRow(7, r)};
}
constexpr Cosines kRow04 = cosinesOfRow(4), kRow17 = cosinesOfRow(1), kRow26 = cosinesOfRow(2),
                  kRow35 = cosinesOfRow(3);

// Times 2^16. A word holds less than a half: tan3 is kept less 1, and of cos4 the half.
struct Tangents {
  WordConstant tan1, tan2, tan3Less1, halfCos4;
};
constexpr Tangents kTangents = {allWords(nearest(65536 * tangent(1))), allWords(nearest(65536 * tangent(2))),
                                allWords(nearest(65536 * (tangent(3) - 1))), allWords(nearest(65536 * cosine(4) / 2))};

ORV_INLINE Lane timesTan3(Lane a, const Tangents& t) { return addSat16(mulHigh16(a, t.tan3Less1), a); }

// A lane of each has a row of its own.
template <class V> struct TwoRows { V a, b; };

}  // namespace
