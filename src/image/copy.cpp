// Copying a region, and replicating its border.
#include "image/checks.h"
#include "signal/fill.h"
#include "signal/memory.h"

namespace {

// Short rows are copied here: they may be few, and a call would take as long.
ORV_INLINE void copyRows(const Vel8u* src, int srcStep, Vel8u* dst, int dstStep, size_t n, int rows,
                         bool isPastCaches = false) {
  if (n > kSmall || isPastCaches) return ORV_NAME(ownsCopy_8u)(src, srcStep, dst, dstStep, n, rows, isPastCaches);
  for (; rows > 0; --rows, src = rowOf(src, srcStep, 1), dst = rowOf(dst, dstStep, 1)) fillSmall(CopyOf{src}, dst, n);
}

template <int kChannels>
ORV_INLINE VelStatus copy(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize size) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(size));
  size_t row = size_t(size.width) * kChannels;
  int rows = size.height;
  const bool streams = double(row) * rows > kCopiedPastCaches;
  if (srcStep == dstStep && size_t(srcStep) == row) {
    row *= size_t(rows);
    rows = 1;
  }
  copyRows(pSrc, srcStep, pDst, dstStep, row, rows, streams);
  if (streams) streamEnd();
  return velStsNoErr;
}

// The part of a row's border on one side, which takes the value of one pixel.
struct Side {
  const Vel8u* pixel;
  Vel8u* dst;
  size_t width;
  template <class Fill> void extend(ptrdiff_t row, const Fill& fillSide) const {
    fillSide(all8(pixel[row]), dst + row, width);
  }
};

// Fills n to 2 n bytes.
template <size_t n> struct FillEnds {
  ORV_INLINE void operator()(Lane v, Vel8u* dst, size_t width) const { fillEnds<n>(Constant{v}, dst, width); }
};

// Extends rows to both sides, of about the same width as a rule: from p to 2 p pixels are two stores of p each.
void extendRows(Side left, Side right, int step, int rows) {
  if (left.width == 0) left = right;  // which is then done twice
  if (right.width == 0) right = left;
  if (left.width == 0) return;
  const auto are = [&](size_t least, size_t most) {
    return left.width >= least && right.width >= least && left.width <= most && right.width <= most;
  };
  const auto each = [&](const auto& fillSide) {
    ptrdiff_t row = 0;
    for (int n = rows; n > 0; --n, row += step) {
      left.extend(row, fillSide);
      right.extend(row, fillSide);
    }
  };
  if (are(16, 16))
    each([](Lane v, Vel8u* dst, size_t) { store(dst, v); });
  else if (are(16, 32))
    each(FillEnds<16>());
  else if (are(8, 16))
    each(FillEnds<8>());
  else if (are(4, 8))
    each(FillEnds<4>());
  else if (are(2, 4))
    each(FillEnds<2>());
  else if (are(1, 2))
    each(FillEnds<1>());
  else
    each([](Lane v, Vel8u* dst, size_t width) { fillAny(Constant{v}, dst, width); });
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliCopy_8u_C1R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return copy<1>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliCopy_8u_C3R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return copy<3>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliCopy_8u_C4R)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize) {
  return copy<4>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ORV_BODY_A(veliCopyReplicateBorder_8u_C1IR)
(const Vel8u* pSrc, int srcDstStep, VeliSize srcRoiSize, VeliSize dstRoiSize, int topBorderHeight,
 int leftBorderWidth) {
  ORV_CHECK(checkPointers(pSrc));
  ORV_CHECK(checkSteps(srcDstStep));
  ORV_CHECK(checkSize(srcRoiSize));
  ORV_CHECK(checkSize(dstRoiSize));
  const int bottom = dstRoiSize.height - srcRoiSize.height, right = dstRoiSize.width - srcRoiSize.width;
  if (topBorderHeight < 0 || leftBorderWidth < 0 || topBorderHeight > bottom || leftBorderWidth > right)
    return velStsSizeErr;
  const size_t width = size_t(dstRoiSize.width);
  Vel8u* const top = const_cast<Vel8u*>(pSrc) - leftBorderWidth;  // the first row with its border
  const auto extend = [&](int row, int rows) {
    Vel8u* const start = rowOf(top, srcDstStep, row);
    Vel8u* const end = start + leftBorderWidth + srcRoiSize.width;
    extendRows({start + leftBorderWidth, start, size_t(leftBorderWidth)},
               {end - 1, end, size_t(right - leftBorderWidth)}, srcDstStep, rows);
  };
  extend(0, 1);
  copyRows(top, 0, rowOf(top, srcDstStep, -topBorderHeight), srcDstStep, width, topBorderHeight);
  extend(1, srcRoiSize.height - 1);
  Vel8u* const last = rowOf(top, srcDstStep, srcRoiSize.height - 1);
  copyRows(last, 0, last + srcDstStep, srcDstStep, width, bottom - topBorderHeight);
  return velStsNoErr;
}
