// The kernels of cubic filters.
#pragma once
#include "core/path.h"

namespace {

// Two polynomials in the distance d, for d < 1 and d < 2: coefficients of d^3, d^2, d and 1.
struct CubicKernel {
  double inner[4], outer[4];

  double at(double d) const {
    if (d < 0) d = -d;
    if (d >= 2) return 0;
    if (!(d < 1 || d >= 1)) return 1;  // a NaN
    return polynomial(d < 1 ? inner : outer, d);
  }
  static double polynomial(const double (&c)[4], double d) { return ((c[0] * d + c[1]) * d + c[2]) * d + c[3]; }
};
constexpr CubicKernel kCubicKernels[] = {
    {{0.5, -1, -0.5, 1}, {-1.0 / 6, 1, -11.0 / 6, 1}},  // Lagrange's, through four points
    {{0.5, -1, 0, 2.0 / 3}, {-1.0 / 6, 1, -2, 4.0 / 3}},
    {{1.5, -2.5, 0, 1}, {-0.5, 2.5, -4, 2}},
    {{0.95, -1.7, 0, 0.8333333333333334}, {-0.38333333333333336, 2, -3.4, 1.8666666666666667}},
};
ORV_INLINE const CubicKernel& cubicKernel(int method) { return kCubicKernels[method - velInterCubic]; }

}  // namespace
