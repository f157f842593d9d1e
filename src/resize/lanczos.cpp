// Lanczos resizing: six taps.
#include "resize/filter.h"

namespace {

struct Lanczos : LanczosSums {
  template <int kPixel> static constexpr auto* row = kPixel == 1   ? ORV_NAME(ownpi_RowLanczos8pl)
                                                     : kPixel == 3 ? ORV_NAME(ownpi_RowLanczos8px)
                                                                   : ORV_NAME(ownpi_RowLanczos8px4);
  template <int kPixel> static constexpr auto* end = kPixel == 1 ? ORV_NAME(ownpi_CalcBorder8plLz)
                                                                 : ORV_NAME(ownpi_CalcBorder8pxLz);
  template <int kPixel> static constexpr auto* column = kPixel == 1 ? ORV_NAME(ownpi_ColLanczos8pl)
                                                                    : ORV_NAME(ownpi_ColLanczos8px);
};

// Four times what the table has at some places, of which each is between two entries.
ORV_INLINE Floats4 lookUp(Floats4 places) {
  const Lane whole = truncated(places);
  int index[4];
  store(static_cast<int*>(index), whole);
  const auto pairs = [&](int i) { return loadHalves(tblLanczos3 + index[i], tblLanczos3 + index[i + 1]); };
  const Lane ab = pairs(0), cd = pairs(2);
  const Floats4 before = asFloats(joinPairs32<0, 2, 0, 2>(ab, cd)), after = asFloats(joinPairs32<1, 3, 1, 3>(ab, cd));
  return before + (places - toFloats(whole)) * (after - before);
}
// Of four fractions.
ORV_INLINE void weigh(Floats4 fractions, float* weights) {
  constexpr int kTaps = Lanczos::kTaps;
  const Floats4 first = -fractions - allFloats<Floats4>(2), magnitude = asFloats(all32(0x7FFFFFFF));
  Floats4 w[kTaps], sum = allFloats<Floats4>(0);
  ORV_UNROLL for (int t = 0; t < kTaps; ++t) {
    const Floats4 distance = bitAnd(first + allFloats<Floats4>(float(t)), magnitude);
    w[t] = lookUp(min(distance, allFloats<Floats4>(3)) * allFloats<Floats4>(100));
    sum = sum + w[t];
  }
  ORV_UNROLL for (int t = 0; t < kTaps; t += 2) {
    const Lane a = asBits(w[t] / sum), b = asBits(w[t + 1] / sum);
    const Lane low = interleaveLow32(a, b), high = interleaveHigh32(a, b);  // a0 b0 a1 b1, a2 b2 a3 b3
    storeLow(weights + t, low);
    storeHigh(weights + kTaps + t, low);
    storeLow(weights + 2 * kTaps + t, high);
    storeHigh(weights + 3 * kTaps + t, high);
  }
}

}  // namespace

ORV_WEIGHTS_KERNEL(ownpi_Lanczos3) {
  constexpr int kTaps = Lanczos::kTaps;
  float last[4] = {}, weightsOfLast[4 * kTaps];
  for (int i = 0; i < count; i += 4, weights += 4 * kTaps) {
    const size_t n = size_t(count - i);
    if (n < 4) memcpy(last, fractions + i, n * sizeof *last);
    weigh(load<Floats4>(n < 4 ? last : fractions + i), n < 4 ? weightsOfLast : weights);
    if (n < 4) memcpy(weights, weightsOfLast, n * kTaps * sizeof *last);
  }
}
ORV_ROW_KERNEL(ownpi_RowLanczos8px) { filterGathered<6, 3>(*columns, kMiddle, row, sums); }
ORV_ROW_KERNEL(ownpi_RowLanczos8px4) { filterGathered<6, 4>(*columns, kMiddle, row, sums); }
ORV_ROW_END_KERNEL(ownpi_CalcBorder8plLz) { filterEnd<6, 1>(*columns, part, row, sums); }
ORV_ROW_END_KERNEL(ownpi_CalcBorder8pxLz) {
  columns->pixel == 3 ? filterEnd<6, 3>(*columns, part, row, sums) : filterEnd<6, 4>(*columns, part, row, sums);
}

ORV_RESIZE_KERNEL(ownResize8plLz) { return filter<Lanczos, 1>(ORV_NAME(ownpi_Lanczos3), *plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxLz) { return filterPixels<Lanczos>(ORV_NAME(ownpi_Lanczos3), *plan, *images); }
