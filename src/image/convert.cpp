// Depth conversion.
#include "image/convert.h"
#include "core/simd.h"
#include "image/checks.h"

namespace {

// One row of bytes to words. kStream: past the caches, for what is too large for them.
template <bool kStream> ORV_INLINE void widenRow(const Vel8u* src, Vel16u* dst, size_t n) {
  size_t i = 0;
  if (kStream) {
    const size_t head = (-reinterpret_cast<uintptr_t>(dst) & 15) / 2;
    for (; i < head && i < n; ++i) dst[i] = src[i];
  }
  const bool aligned = (reinterpret_cast<uintptr_t>(dst + i) & 15) == 0;
  for (; i + 16 <= n; i += 16) {
    const Vec v = load(src + i);
    if (kStream && aligned) {
      stream(dst + i, widenLow8(v));
      stream(dst + i + 8, widenHigh8(v));
    } else {
      store(dst + i, widenLow8(v));
      store(dst + i + 8, widenHigh8(v));
    }
  }
  if (i + 8 <= n) {
    store(dst + i, widenLow8(loadLow(src + i)));
    i += 8;
  }
  for (; i < n; ++i) dst[i] = src[i];
}

}  // namespace

ORV_KERNEL VelStatus ORV_NAME(veliConvert_8u16u_C1R)(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                                     VeliSize roiSize) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(roiSize));
  ORV_CHECK(checkSteps(srcStep, dstStep));
  size_t width = size_t(roiSize.width);
  int height = roiSize.height;
  const bool streams = exceedsCaches(3.0 * roiSize.width * roiSize.height);
  if (srcStep == roiSize.width && dstStep / 2 == roiSize.width && dstStep % 2 == 0) {  // packed: one row
    width *= size_t(height);
    height = 1;
  }
  for (int y = 0; y < height; ++y) {
    if (streams)
      widenRow<true>(rowOf(pSrc, srcStep, y), rowOf(pDst, dstStep, y), width);
    else
      widenRow<false>(rowOf(pSrc, srcStep, y), rowOf(pDst, dstStep, y), width);
  }
  if (streams) streamEnd();
  return velStsNoErr;
}
