// Both transforms to the last bit, one value at a time: what holds of the fixed point is said here once more, from the
// angles on.
#pragma once
#include "jpeg/support.h"

namespace transforms {

inline int saturated(int64_t x) { return int(std::clamp<int64_t>(x, -32768, 32767)); }
inline int add(int a, int b) { return saturated(int64_t(a) + b); }
inline int sub(int a, int b) { return saturated(int64_t(a) - b); }
inline double angle(int k) { return k * M_PI / 16; }

// The columns' constants have 16 fractional bits, of products the high half is taken. One above a half leaves out a
// whole: tan(3 pi / 16) one, which is added again, and cos(pi / 4) one half, which is done by doubling.
inline int high(int x, double constant) { return (x * int(std::lround(constant * 65536))) >> 16; }
inline int tan1(int x) { return high(x, std::tan(angle(1))); }
inline int tan2(int x) { return high(x, std::tan(angle(2))); }
inline int tan3(int x) { return add(high(x, std::tan(angle(3)) - 1), x); }
inline int halfCos4(int x) { return high(x, std::cos(angle(4)) / 2); }

// What row v has for its coefficient u and column x: a cosine with 14 fractional bits times sqrt(2), but where u is 0,
// and times what the columns' pass leaves of the row.
inline int rowWeight(size_t v, size_t u, size_t x) {
  static const auto weights = [] {
    const int left[8] = {4, 1, 2, 3, 4, 3, 2, 1};
    std::array<int, 512> w;
    for (int i = 0; i < 512; ++i)
      w[size_t(i)] = int(std::lround(32768 * std::cos(angle(i / 8 % 8 ? (2 * (i % 8) + 1) * (i / 8 % 8) : 4)) *
                                     std::cos(angle(left[i / 64]))));
    return w;
  }();
  return weights[64 * v + 8 * u + x];
}

// Samples less 128 to coefficients.
inline Block forward(const Bytes& samples, size_t step) {
  Block columns{}, out{};
  for (size_t x = 0; x < 8; ++x) {
    int s[4], d[4];
    for (size_t y = 0; y < 4; ++y) {
      const int a = samples[y * step + x] - 128, b = samples[(7 - y) * step + x] - 128;
      s[y] = a + b, d[y] = a - b;
    }
    const int e = 8 * (s[0] - s[3]), f = 8 * (s[1] - s[2]);
    const int w = halfCos4(16 * (d[1] + d[2])), z = halfCos4(16 * (d[1] - d[2]));
    const int p = 8 * d[0] + w, u = 8 * d[0] - w, q = 8 * d[3] + z, v = 8 * d[3] - z;
    const int rows[8] = {8 * (s[0] + s[1] + s[2] + s[3]), p + tan1(q), e + tan2(f), u - tan3(v),
                         8 * (s[0] - s[1] - s[2] + s[3]), tan3(u) + v, tan2(e) - f, tan1(p) - q};
    for (size_t y = 0; y < 8; ++y) columns[8 * y + x] = Vel16s(rows[y]);
  }
  for (size_t i = 0; i < 64; ++i) {
    int sum = 1 << 19;
    for (size_t x = 0; x < 8; ++x) sum += columns[i / 8 * 8 + x] * rowWeight(i / 8, i % 8, x);
    out[i] = Vel16s(saturated(sum >> 20));
  }
  return out;
}

// Coefficients to samples, before level shift and clamping. Rows' sums wrap in 32 bits, everything else saturates.
inline std::array<int, 64> inverse(const Block& coef) {
  std::array<int, 64> rows{}, out{};
  for (size_t i = 0; i < 64; ++i) {
    Vel32u sum = 1024 + (i < 8 ? 32 << 11 : 0);  // the second rounds the columns' shift
    for (size_t u = 0; u < 8; ++u) sum += Vel32u(coef[i / 8 * 8 + u] * rowWeight(i / 8, u, i % 8));
    rows[i] = saturated(Vel32s(sum) >> 11);
  }
  for (size_t x = 0; x < 8; ++x) {
    const auto r = [&](size_t y) { return rows[8 * y + x]; };
    const int e04 = add(r(0), r(4)), d04 = sub(r(0), r(4));
    const int t2 = add(r(2), tan2(r(6))), t6 = sub(tan2(r(2)), r(6));
    const int t1 = add(r(1), tan1(r(7))), t7 = sub(tan1(r(1)), r(7));
    const int t3 = add(r(3), tan3(r(5))), t5 = sub(tan3(r(3)), r(5));
    const int u1 = sub(t1, t3), u2 = add(t7, t5);
    const int h1 = halfCos4(add(u1, u2)), h2 = halfCos4(sub(u1, u2));
    const int even[4] = {add(e04, t2), add(d04, t6), sub(d04, t6), sub(e04, t2)};
    const int odd[4] = {add(t1, t3), add(h1, h1), add(h2, h2), sub(t7, t5)};
    for (size_t n = 0; n < 4; ++n) {
      out[8 * n + x] = add(even[n], odd[n]) >> 6;
      out[8 * (7 - n) + x] = sub(even[n], odd[n]) >> 6;
    }
  }
  return out;
}

}  // namespace transforms
