// Cubic resizing: four taps.
#include "resize/cubic.h"
#include "resize/filter.h"

namespace {

struct Cubic {
  static constexpr int kTaps = 4;

  // To the nearest integer, ties to even.
  static Dwords round(Floats v) { return toNearest(v); }
  template <int kPixel> static constexpr auto* row = kPixel == 1   ? ORV_NAME(ownpi_RowCubic8pl)
                                                     : kPixel == 3 ? ORV_NAME(ownpi_RowCubic8px)
                                                                   : ORV_NAME(ownpi_RowCubic8px4);
  template <int kPixel> static constexpr auto* end = kPixel == 1 ? ORV_NAME(ownpi_CalcBorder8plC)
                                                                 : ORV_NAME(ownpi_CalcBorder8pxC);
  template <int kPixel> static constexpr auto* column = kPixel == 1 ? ORV_NAME(ownpi_ColCubic8pl)
                                                                    : ORV_NAME(ownpi_SummCubic8px);
};

ORV_INLINE void weigh(int method, const float* fractions, int count, float* weights) {
  const CubicKernel& kernel = cubicKernel(method);
  for (int i = 0; i < count; ++i, weights += Cubic::kTaps) {
    const float first = -1 - fractions[i];
    for (int t = 0; t < Cubic::kTaps; ++t) weights[t] = float(kernel.at(double(first) + t));
  }
}
ORV_INLINE WeightsKernel* weightsKernel(int method) {
  switch (method) {
    case velInterCubic: return ORV_NAME(ownpi_Cubic0Kernel);
    case velInterCubicBSpline: return ORV_NAME(ownpi_Cubic1Kernel);
    case velInterCubicCatmullRom: return ORV_NAME(ownpi_Cubic2Kernel);
    default: return ORV_NAME(ownpi_Cubic3Kernel);
  }
}

}  // namespace

ORV_WEIGHTS_KERNEL(ownpi_Cubic0Kernel) { weigh(velInterCubic, fractions, count, weights); }
ORV_WEIGHTS_KERNEL(ownpi_Cubic1Kernel) { weigh(velInterCubicBSpline, fractions, count, weights); }
ORV_WEIGHTS_KERNEL(ownpi_Cubic2Kernel) { weigh(velInterCubicCatmullRom, fractions, count, weights); }
ORV_WEIGHTS_KERNEL(ownpi_Cubic3Kernel) { weigh(velInterCubicB05C03, fractions, count, weights); }

ORV_ROW_KERNEL(ownpi_RowCubic8pl) { filterMiddle<4, 1>(*columns, row, sums); }
ORV_ROW_KERNEL(ownpi_RowCubic8px) { filterMiddle<4, 3>(*columns, row, sums); }
ORV_ROW_KERNEL(ownpi_RowCubic8px4) { filterMiddle<4, 4>(*columns, row, sums); }
ORV_ROW_END_KERNEL(ownpi_CalcBorder8plC) { filterEnd<4, 1>(*columns, part, row, sums); }
ORV_ROW_END_KERNEL(ownpi_CalcBorder8pxC) {
  columns->pixel == 3 ? filterEnd<4, 3>(*columns, part, row, sums) : filterEnd<4, 4>(*columns, part, row, sums);
}
ORV_COLUMN_KERNEL(ownpi_ColCubic8pl) { sumRows<Cubic>(*columns, rows, weights, dst); }
ORV_COLUMN_KERNEL(ownpi_SummCubic8px) { sumRows<Cubic>(*columns, rows, weights, dst); }

ORV_RESIZE_KERNEL(ownResize8plC) { return filter<Cubic, 1>(weightsKernel(plan->method), *plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxC) { return filterPixels<Cubic>(weightsKernel(plan->method), *plan, *images); }
