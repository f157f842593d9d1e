// Supersampling where destination pixels are cells of 2 x 2, 3 x 3 or 4 x 4 whole source pixels: exact, in words. Rows are
// added up at full width first.
#pragma once
#include "resize/super.h"

namespace {

// ---- The means of sums of n x n, halves up

constexpr unsigned kNinth = 7282;  // of 65536, rounded up
constexpr bool isNinthExact() {
  for (unsigned sum = 0; sum <= 9 * 255; ++sum)
    if ((sum + 4) * kNinth >> 16 != (sum + 4) / 9) return false;
  return true;
}
static_assert(isNinthExact());
template <int n> ORV_INLINE Lane means(Lane sums) {
  if (n == 3) return mulHighU16(add16(sums, all16(4)), all16(kNinth));
  return shiftRightU16(add16(sums, all16(n * n / 2)), n == 2 ? 2 : 4);
}

// ---- Columns

// Sums of columns, of one channel: eight cells.
ORV_INLINE Lane pairSums(Lane a, Lane b) { return narrow32(mulAddPairs16(a, all16(1)), mulAddPairs16(b, all16(1))); }
template <int n> ORV_INLINE Lane cellSums(const Vel16u* p) {
  if (n == 2) return pairSums(load(p), load(p + 8));
  if (n == 4) return pairSums(pairSums(load(p), load(p + 8)), pairSums(load(p + 16), load(p + 24)));
  // Sums of three at every place, of which every third is wanted: of places 0 3 6 from the first eight, 9 12 15 from the
  // next and 18 21 from the last. Those are cells 0 3 6 1 4 7 2 5.
  const auto three = [p](int i) { return add16(add16(load(p + i), load(p + i + 1)), load(p + i + 2)); };
  const Lane mixed = blend16<0x24>(blend16<0x92>(three(0), three(8)), three(16));
  const Lane halves = shuffleHalves16<0, 3, 2, 1>(mixed);       // 0 1 6 3 4 5 2 7
  return blend16<0x44>(halves, shuffle32<0, 3, 2, 1>(halves));  // and 0 1 2 7 4 5 6 3
}

template <int n> ORV_INLINE void storePlaneCells(const Vel16u* sums, int width, Vel8u* dst) {
  for (int x = 0; x < width; x += 8) {
    const Lane words = means<n>(cellSums<n>(sums + n * x)), bytes = narrow16To8U(words, words);
    if (x + 8 <= width)
      storeLow(dst + x, bytes);
    else
      storeFirst(dst + x, bytes, size_t(width - x));
  }
}
// Of interleaved pixels: two cells at once.
template <int n, int kPixel, int kChannels> ORV_INLINE void storePixelCells(const Vel16u* sums, int width, Vel8u* dst) {
  for (int x = 0; x < width; x += 2) {
    const Vel16u *const a = sums + n * kPixel * x, *const b = x + 1 < width ? a + n * kPixel : a;
    Lane cells = loadHalves(a, b);
    ORV_UNROLL for (int i = 1; i < n; ++i) cells = add16(cells, loadHalves(a + kPixel * i, b + kPixel * i));
    const Lane words = means<n>(cells), bytes = narrow16To8U(words, words);
    storePixel<kPixel, kChannels>(dst + kPixel * x, bytes, x + 1 >= width);
    if (x + 1 < width) storePixel<kPixel, kChannels>(dst + kPixel * (x + 1), shiftRightU64(bytes, 32), x + 2 >= width);
  }
}

// ---- The image

// The sums of n rows, as words.
template <int n> ORV_INLINE void sumRows(const Vel8u* src, int step, int samples, Vel16u* sums) {
  forSamples(samples, [=](int i, const auto& loadFrom) {
    Lane low = zero(), high = zero();
    ORV_UNROLL for (int row = 0; row < n; ++row) {
      const Lane bytes = loadFrom(rowOf(src, step, row) + i);
      low = add16(low, widenLowU8(bytes));
      high = add16(high, widenHighU8(bytes));
    }
    store(sums + i, low);
    store(sums + i + 8, high);
  });
}
template <int n, int kPixel, int kChannels>
ORV_INLINE void resizeCells(const ResizePlan& plan, const ResizeImages& images, const ResizePlane& plane,
                            int firstColumn, int firstRow) {
  static_assert(bufferHolds(sizeof(Vel16u), 8 * n + 2, kPixel, kChannels));  // a last cellSums reads so many
  Vel16u* const sums = reinterpret_cast<Vel16u*>(images.buffer);
  const Vel8u* src = rowOf(plane.src, images.srcStep, firstRow) + ptrdiff_t(firstColumn) * kPixel;
  const int samples = plan.dstWidth * n * kPixel;
  // Pairs are added up by fours, so that those after the last sums are read, though no result has them.
  store(sums + (samples < 16 ? 16 : samples), zero());
  for (int y = 0; y < plan.dstHeight; ++y, src = rowOf(src, images.srcStep, n)) {
    sumRows<n>(src, images.srcStep, samples, sums);
    Vel8u* const dst = rowOf(plane.dst, images.dstStep, y);
    if (kPixel == 1)
      storePlaneCells<n>(sums, plan.dstWidth, dst);
    else
      storePixelCells<n, kPixel, kChannels>(sums, plan.dstWidth, dst);
  }
}

// Where the cells begin, or -1 if the squares are none, or leave the region.
ORV_INLINE int firstCell(const Axis& axis, int size, int n) {
  const double left = edgeOf(axis, 0), right = edgeOf(axis, size);
  if (!(left > -0.5 && right < axis.count + 0.5)) return -1;
  const double first = snapped(left), end = snapped(right);
  return first >= 0 && first == floorOf(first) && end == first + double(size) * n && end <= axis.count ? int(first)
                                                                                                       : -1;
}

// False where the image does not consist of such cells.
template <int n, int kPixel, int kChannels>
ORV_INLINE bool resizeIfCells(const ResizePlan& plan, const ResizeImages& images) {
  const int column = firstCell(columns(plan, images), plan.dstWidth, n);
  const int row = firstCell(rows(plan, images), plan.dstHeight, n);
  if (column < 0 || row < 0) return false;
  for (const ResizePlane plane : images) resizeCells<n, kPixel, kChannels>(plan, images, plane, column, row);
  return true;
}

}  // namespace
