// Lanczos resizing: six taps.
#include "resize/filter.h"

namespace {

struct Lanczos {
  static constexpr int kTaps = 6;

  static constexpr float kHalf = 0.5000001192092896f;
  static Dwords round(Floats v) { return truncated(v + allFloats(kHalf)); }
  template <int kPixel> static constexpr auto* row = kPixel == 1   ? ORV_NAME(ownpi_RowLanczos8pl)
                                                     : kPixel == 3 ? ORV_NAME(ownpi_RowLanczos8px)
                                                                   : ORV_NAME(ownpi_RowLanczos8px4);
  template <int kPixel> static constexpr auto* end = kPixel == 1 ? ORV_NAME(ownpi_CalcBorder8plLz)
                                                                 : ORV_NAME(ownpi_CalcBorder8pxLz);
  template <int kPixel> static constexpr auto* column = kPixel == 1 ? ORV_NAME(ownpi_ColLanczos8pl)
                                                                    : ORV_NAME(ownpi_ColLanczos8px);
};

ORV_INLINE void weigh(float fraction, float* weights) {
  const float first = -fraction - 2;
  float sum = 0;
  for (int t = 0; t < Lanczos::kTaps; ++t) {
    float d = first + float(t);
    if (d < 0) d = -d;
    const float place = (d < 3 ? d : 3) * 100;
    const int i = int(place);
    weights[t] = tblLanczos3[i] + (place - float(i)) * (tblLanczos3[i + 1] - tblLanczos3[i]);
    sum += weights[t];
  }
  for (int t = 0; t < Lanczos::kTaps; ++t) weights[t] /= sum;
}

}  // namespace

ORV_WEIGHTS_KERNEL(ownpi_Lanczos3) {
  for (int i = 0; i < count; ++i) weigh(fractions[i], weights + i * Lanczos::kTaps);
}
ORV_ROW_KERNEL(ownpi_RowLanczos8pl) { filterMiddle<6, 1>(*columns, row, sums); }
ORV_ROW_KERNEL(ownpi_RowLanczos8px) { filterMiddle<6, 3>(*columns, row, sums); }
ORV_ROW_KERNEL(ownpi_RowLanczos8px4) { filterMiddle<6, 4>(*columns, row, sums); }
ORV_ROW_END_KERNEL(ownpi_CalcBorder8plLz) { filterEnd<6, 1>(*columns, part, row, sums); }
ORV_ROW_END_KERNEL(ownpi_CalcBorder8pxLz) {
  columns->pixel == 3 ? filterEnd<6, 3>(*columns, part, row, sums) : filterEnd<6, 4>(*columns, part, row, sums);
}
ORV_COLUMN_KERNEL(ownpi_ColLanczos8pl) { sumRows<Lanczos>(*columns, rows, weights, dst); }
ORV_COLUMN_KERNEL(ownpi_ColLanczos8px) { sumRows<Lanczos>(*columns, rows, weights, dst); }

ORV_RESIZE_KERNEL(ownResize8plLz) { return filter<Lanczos, 1>(ORV_NAME(ownpi_Lanczos3), *plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxLz) { return filterPixels<Lanczos>(ORV_NAME(ownpi_Lanczos3), *plan, *images); }
