// What the forward and the inverse DCT share: constants, and arithmetic on words.
//
// Both are separable. In the columns' pass a rotation by an angle is done by its tangent alone; the cosine that is left
// over is a factor of the whole row, and stands in that row's table.
#pragma once
#include "core/simd.h"

namespace {

struct alignas(16) Words {
  Vel16s w[8];
};
constexpr Words words(int a, int b, int c, int d, int e, int f, int g, int h) {
  return {{Vel16s(a), Vel16s(b), Vel16s(c), Vel16s(d), Vel16s(e), Vel16s(f), Vel16s(g), Vel16s(h)}};
}
constexpr Words all(int x) { return words(x, x, x, x, x, x, x, x); }

template <class T> ORV_INLINE Lane constant(const T& vector) {
  static_assert(sizeof vector == 16, "one vector");
  return loadAligned(&vector);
}

// Cosines with 14 fractional bits: cK is sqrt(2) cos(K pi / 16), c4 being 1, times the row's own factor.
struct Cosines {
  int c1, c2, c3, c4, c5, c6, c7;
};
constexpr Cosines kRow04 = {22725, 21407, 19266, 16384, 12873, 8867, 4520};
constexpr Cosines kRow17 = {31521, 29692, 26722, 22725, 17855, 12299, 6270};
constexpr Cosines kRow26 = {29692, 27969, 25172, 21407, 16819, 11585, 5906};
constexpr Cosines kRow35 = {26722, 25172, 22654, 19266, 15137, 10426, 5315};

struct Tangents {
  Words tan1, tan2, tan3, halfCos4;
};
constexpr Tangents kTangents = {all(13036),          // tan(pi / 16), times 2^16
                                all(27146),          // tan(2 pi / 16)
                                all(43790 - 65536),  // tan(3 pi / 16) - 1
                                all(23170)};         // cos(4 pi / 16) / 2

ORV_INLINE Lane add(Lane a, Lane b) { return addSat16(a, b); }
ORV_INLINE Lane sub(Lane a, Lane b) { return subSat16(a, b); }
ORV_INLINE Lane mulHigh(Lane a, const Words& c) { return mulHigh16(a, constant(c)); }
ORV_INLINE Lane timesTan3(Lane a, const Tangents& t) { return add(mulHigh(a, t.tan3), a); }

struct TwoRows {
  Lane a, b;
};

}  // namespace
