// Lanczos resizing: six taps.
#include "resize/filter.h"

namespace {

struct Lanczos {
  static constexpr int kTaps = 6;

  void weigh(float fraction, float* weights) const {
    const float first = -fraction - 2;
    float sum = 0;
    for (int t = 0; t < kTaps; ++t) {
      float d = first + float(t);
      if (d < 0) d = -d;
      const float place = (d < 3 ? d : 3) * 100;
      const int i = int(place);
      weights[t] = tblLanczos3[i] + (place - float(i)) * (tblLanczos3[i + 1] - tblLanczos3[i]);
      sum += weights[t];
    }
    for (int t = 0; t < kTaps; ++t) weights[t] /= sum;
  }
  static constexpr float kHalf = 0.5000001192092896f;
#if ORV_HAS_WIDE_FLOAT
  static __m256i round(Wide v) { return _mm256_cvttps_epi32(addWide(v, allWide(kHalf))); }
#else
  static Vec round(Wide v) { return _mm_cvttps_epi32(addWide(v, allWide(kHalf))); }
#endif
};

}  // namespace

ORV_RESIZE_KERNEL(ownResize8plLz) { return filter<Lanczos, 1>(Lanczos(), *plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxLz) { return filterPixels(Lanczos(), *plan, *images); }
