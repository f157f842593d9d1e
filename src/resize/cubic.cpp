// Cubic resizing: four taps.
#include "resize/cubic.h"
#include "resize/filter.h"

namespace {

struct Cubic : CubicSums {
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
    const double d[] = {-double(first), -(double(first) + 1), double(first) + 2, double(first) + 3};
    // Distances from 0 to 1 of the inner taps and from 1 to 2 of the outer ones, as fractions make them, need no search.
    // Where two polynomials meet, the outer one holds.
    if (d[0] >= 1 && d[0] <= 2) {
      weights[0] = d[0] < 2 ? float(kernel.polynomial(kernel.outer, d[0])) : 0;
      weights[1] = float(kernel.polynomial(d[1] < 1 ? kernel.inner : kernel.outer, d[1]));
      weights[2] = float(kernel.polynomial(d[2] < 1 ? kernel.inner : kernel.outer, d[2]));
      weights[3] = d[3] < 2 ? float(kernel.polynomial(kernel.outer, d[3])) : 0;
    } else {
      for (int t = 0; t < Cubic::kTaps; ++t) weights[t] = float(kernel.at(d[t]));
    }
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

ORV_ROW_KERNEL(ownpi_RowCubic8px) { filterGathered<4, 3>(*columns, kMiddle, row, sums); }
ORV_ROW_KERNEL(ownpi_RowCubic8px4) { filterGathered<4, 4>(*columns, kMiddle, row, sums); }
ORV_ROW_END_KERNEL(ownpi_CalcBorder8plC) { filterEnd<4, 1>(*columns, part, row, sums); }
ORV_ROW_END_KERNEL(ownpi_CalcBorder8pxC) {
  columns->pixel == 3 ? filterEnd<4, 3>(*columns, part, row, sums) : filterEnd<4, 4>(*columns, part, row, sums);
}

ORV_RESIZE_KERNEL(ownResize8plC) { return filter<Cubic, 1>(weightsKernel(plan->method), *plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxC) { return filterPixels<Cubic>(weightsKernel(plan->method), *plan, *images); }
