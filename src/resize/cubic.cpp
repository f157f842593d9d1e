// Cubic resizing: four taps.
#include "resize/cubic.h"
#include "resize/filter.h"

namespace {

struct Cubic {
  static constexpr int kTaps = 4;
  const CubicKernel& kernel;
  explicit Cubic(int method) : kernel(cubicKernel(method)) {}

  void weigh(float fraction, float* weights) const {
    const float first = -1 - fraction;
    for (int t = 0; t < kTaps; ++t) weights[t] = float(kernel.at(double(first) + t));
  }
  // To the nearest integer, ties to even.
#if ORV_HAS_WIDE_FLOAT
  static __m256i round(Wide v) { return _mm256_cvtps_epi32(v); }
#else
  static Vec round(Wide v) { return _mm_cvtps_epi32(v); }
#endif
};

}  // namespace

ORV_RESIZE_KERNEL(ownResize8plC) { return filter<Cubic, 1>(Cubic(plan->method), *plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxC) { return filterPixels(Cubic(plan->method), *plan, *images); }
