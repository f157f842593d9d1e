// Reordering the channels of pixels.
//
// The last block of a row overlaps the one before it. Rows that are shorter than a block are swapped pixel by pixel.
#include "core/simd.h"
#include "image/checks.h"
// A shuffle of bytes does any swap; without it two algorithms share them.
#if ORV_HAS_SHUFFLE
#include "image/swap/shuffle.h"
#else
#include "image/swap/shift.h"
#endif

namespace {

// ---- Images

// How many pixels from dst on a cache line begins with a pixel; -1: none does.
template <class F> ORV_INLINE ptrdiff_t pixelsToLine(const Vel8u* dst) {
  constexpr size_t kUnit = F::kToPixel & -F::kToPixel;  // bytes of a pixel are as many as this, or three times as many
  const size_t bytes = -reinterpret_cast<uintptr_t>(dst) % kLine;
  if (bytes % kUnit) return -1;
  return ptrdiff_t(bytes / kUnit * (F::kTo == 3 ? 43 : 1) % (kLine / kUnit));  // 43 is 1 / 3 modulo 64
}

template <class F> struct Row {
  const Selection& selection;
  const Blocks<F>& blocks;
  const Vel8u* src;
  Vel8u* dst;

  static constexpr size_t kMargin = Blocks<F>::kMargin, kBlock = F::kPixels;

  template <bool kStreams> ORV_INLINE void swapBlocks(size_t i, size_t count) const {
    blocks.template swap<kStreams>(src + i * F::kFromPixel, dst + i * F::kToPixel, count);
  }
  ORV_INLINE void swapPixels(size_t i, size_t end) const {
    for (; i < end; ++i) swapPixel<F>(selection, src + i * F::kFromPixel, dst + i * F::kToPixel);
  }
  // kApart: by a loop that is a function of its own, for rows that are long, or parts of them.
  template <bool kApart> ORV_INLINE void swap(size_t i, size_t end) const {
    if (end - i >= kBlock + 2 * kMargin) {
      const size_t last = end - kMargin - kBlock;  // the last block's place
      swapPixels(i, i + kMargin);
      i += kMargin;
      const size_t count = (last - i) / kBlock + 1, more = (last - i) % kBlock;
      if (F::kFrom >= F::kTo && more > 0 && src == dst) {
        constexpr size_t kFewPixels = 4;  // which are swapped sooner than a block that is copied first
        if (more > kFewPixels)
          swapOverlapping(i, count, last);
        else
          swapSome<kApart>(i, count), swapPixels(last + kBlock - more, last + kBlock);
      } else if constexpr (Blocks<F>::kSwapsMore) {
        swapAll<kApart>(i, count, more);
      } else {
        swapSome<kApart>(i, count);
        if (more > 0) swapSome<kApart>(last, 1);
      }
      i = last + kBlock;
    }
    swapPixels(i, end);
  }
  // The same in place: the pixels of the last block are copied before the block in front of it is swapped, which has some of
  // them. Not earlier: the end of a row may be far from the caches.
  __attribute__((noinline)) void swapOverlapping(size_t i, size_t count, size_t last) const {
    Vel8u pixels[(kBlock + 2 * kMargin) * F::kFromPixel];
    const size_t before = i + (count - 1) * kBlock;
    if (count > 1) swapSome<true>(i, count - 1);
    memcpy(pixels, src + (last - kMargin) * F::kFromPixel, sizeof pixels);
    swapSome<true>(before, 1);
    swapApart(pixels + kMargin * F::kFromPixel, dst + last * F::kToPixel, 1);
  }
  template <bool kApart> ORV_INLINE void swapSome(size_t i, size_t count) const {
    if constexpr (kApart)
      swapApart(src + i * F::kFromPixel, dst + i * F::kToPixel, count);
    else
      swapBlocks<false>(i, count);
  }
  template <bool kApart> ORV_INLINE void swapAll(size_t i, size_t count, size_t more) const {
    if constexpr (kApart)
      swapAllApart(src + i * F::kFromPixel, dst + i * F::kToPixel, count, more);
    else
      blocks.swapAll(src + i * F::kFromPixel, dst + i * F::kToPixel, count, more);
  }
  __attribute__((noinline)) void swapAllApart(const Vel8u* from, Vel8u* to, size_t count, size_t more) const {
    blocks.swapAll(from, to, count, more);
  }
  __attribute__((noinline)) void swapApart(const Vel8u* from, Vel8u* to, size_t count) const {
    blocks.template swap<false>(from, to, count);
  }
  __attribute__((noinline)) void swapPart(size_t i, size_t end) const { swap<true>(i, end); }
  // Four blocks are whole cache lines. Only such go past the caches: a line that is written in part, or in both ways, takes
  // many times as long.
  __attribute__((noinline)) void swapPastCaches(size_t n) const {
    const ptrdiff_t toLine = pixelsToLine<F>(dst + kMargin * F::kToPixel);
    const size_t first = size_t(toLine) + kMargin;
    if (toLine < 0 || n < first + kMargin + 4 * kBlock) return swapPart(0, n);
    const size_t count = (n - kMargin - first) / kBlock & ~size_t(3);
    swapPart(0, first);
    swapBlocks<true>(first, count);
    swapPart(first + count * kBlock, n);
  }
};

template <class F> __attribute__((noinline)) void swapRows(const void* pSrc, int srcStep, void* pDst, int dstStep,
                                                           VeliSize size, const Selection& selection) {
  const Blocks<F> blocks(selection);
  size_t width = size_t(size.width);
  int rows = size.height;
  const bool streams = Blocks<F>::kMayStream && pSrc != pDst && double(width * F::kToPixel) * rows > kCopiedPastCaches;
  if (size_t(srcStep) == width * F::kFromPixel && size_t(dstStep) == width * F::kToPixel) {
    width *= size_t(rows);
    rows = 1;
  }
  for (int y = 0; y < rows; ++y) {
    const Row<F> row{selection, blocks, rowOf(static_cast<const Vel8u*>(pSrc), srcStep, y),
                     rowOf(static_cast<Vel8u*>(pDst), dstStep, y)};
    if (streams)
      row.swapPastCaches(width);
    else
      row.template swap<false>(0, width);
  }
  if (streams) streamEnd();
}

// ---- Arguments

// Each of the first `count` entries is in 0..last.
ORV_INLINE VelStatus checkOrder(const int* order, int count, int last) {
  for (int i = 0; i < count; ++i)
    if (order[i] < 0 || order[i] > last) return velStsChannelOrderErr;
  return velStsNoErr;
}

template <class T>
ORV_INLINE VelStatus swapC3(const T* pSrc, int srcStep, T* pDst, int dstStep, VeliSize size, const int* order) {
  ORV_CHECK(checkPointers(pSrc, pDst, order));
  ORV_CHECK(checkSize(size));
  ORV_CHECK(checkSteps(srcStep, dstStep));
  ORV_CHECK(checkOrder(order, 3, 2));
  swapRows<Form<3, 3, sizeof(T), false>>(pSrc, srcStep, pDst, dstStep, size, {{order[0], order[1], order[2]}, 0});
  return velStsNoErr;
}

template <class T>
ORV_INLINE VelStatus swapAC4(const T* pSrc, int srcStep, T* pDst, int dstStep, VeliSize size, const int* order) {
  ORV_CHECK(checkPointers(pSrc, pDst, order));
  ORV_CHECK(checkSize(size));
  ORV_CHECK(checkSteps(srcStep, dstStep));
  ORV_CHECK(checkOrder(order, 3, 2));
  swapRows<Form<4, 4, sizeof(T), true>>(pSrc, srcStep, pDst, dstStep, size, {{order[0], order[1], order[2], kKept}, 0});
  return velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_C(veliSwapChannels_8u_C3R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_16u_C3R)
(const Vel16u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_16s_C3R)
(const Vel16s* pSrc, int srcStep, Vel16s* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_32s_C3R)
(const Vel32s* pSrc, int srcStep, Vel32s* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_32f_C3R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_A(veliSwapChannels_8u_AC4R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_16u_AC4R)
(const Vel16u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_16s_AC4R)
(const Vel16s* pSrc, int srcStep, Vel16s* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_32s_AC4R)
(const Vel32s* pSrc, int srcStep, Vel32s* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_32f_AC4R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_A(veliSwapChannels_8u_C3IR)(Vel8u* pSrcDst, int srcDstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, dstOrder);
}

ORV_BODY_A(veliSwapChannels_8u_C4IR)(Vel8u* pSrcDst, int srcDstStep, VeliSize roiSize, const int dstOrder[4]) {
  ORV_CHECK(checkPointers(pSrcDst, dstOrder));
  ORV_CHECK(checkSteps(srcDstStep));
  ORV_CHECK(checkSize(roiSize));
  ORV_CHECK(checkOrder(dstOrder, 4, 3));
  swapRows<Form<4, 4, 1, false>>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize,
                                 {{dstOrder[0], dstOrder[1], dstOrder[2], dstOrder[3]}, 0});
  return velStsNoErr;
}

ORV_BODY_A(veliSwapChannels_8u_C4C3R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  ORV_CHECK(checkPointers(pSrc, pDst, dstOrder));
  ORV_CHECK(checkSize(roiSize));
  ORV_CHECK(checkOrder(dstOrder, 3, 3));
  swapRows<Form<4, 3, 1, false>>(pSrc, srcStep, pDst, dstStep, roiSize, {{dstOrder[0], dstOrder[1], dstOrder[2]}, 0});
  return velStsNoErr;
}

ORV_BODY_C(veliSwapChannels_8u_C3C4R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[4], Vel8u val) {
  ORV_CHECK(checkPointers(pSrc, pDst, dstOrder));
  ORV_CHECK(checkSize(roiSize));
  ORV_CHECK(checkOrder(dstOrder, 3, INT32_MAX));
  Selection selection{{}, val};
  for (int i = 0; i < 4; ++i) {
    const int from = dstOrder[i];
    selection.channel[i] = from == 3 ? kValue : from < 0 || from > 3 ? kKept : from;
  }
  if (selection.has(kKept))
    swapRows<Form<3, 4, 1, true>>(pSrc, srcStep, pDst, dstStep, roiSize, selection);
  else
    swapRows<Form<3, 4, 1, false>>(pSrc, srcStep, pDst, dstStep, roiSize, selection);
  return velStsNoErr;
}
