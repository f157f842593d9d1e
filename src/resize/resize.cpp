// The front end of resizing: checks, the plan, and the choice of what carries it out.
#include "resize/buffer.h"
#include "resize/kernels.h"

namespace {

// ---- The plan

ORV_INLINE bool isEmpty(const VeliRect& r) { return r.x < 0 || r.y < 0 || r.width < 1 || r.height < 1; }
ORV_INLINE VelStatus checkRegions(const VeliRect& src, const VeliRect& dst) {
  return isEmpty(src) || isEmpty(dst) ? velStsSizeErr : velStsNoErr;
}

// A filter needs as many pixels of the image as it has taps. Whole images decide, not regions.
ORV_INLINE int substituted(int method, VeliSize image) {
  const int least = image.width < image.height ? image.width : image.height;
  if (method == velInterLanczos && least < 6) method = velInterCubic;
  if (isCubic(method) && least < 4) method = velInterLinear;
  return method;
}

// The destination's pixels in one direction. The comparisons leave a NaN of infinite factors in place, so that it is
// found at the end.
struct Extent {
  double min, max;
  Vel32s start, size;
};
ORV_INLINE VelStatus mapExtent(int src, int srcSize, int dst, int dstSize, double factor, double shift, bool hasRing,
                               Extent& e) {
  constexpr double kLastCoordinate = 2147483647.0;
  const double low = dst, high = low + dstSize < kLastCoordinate ? low + dstSize : kLastCoordinate;
  const double left = src * factor + shift, right = (double(src) + srcSize) * factor + shift;
  e.min = left < low ? low : left;
  e.max = right > high ? high : right;
  if (!(e.min < high && e.max > low)) return velStsNoOperation;
  int end;
  if (hasRing) {  // whole pixels
    e.start = int(e.min) + cutsFirst(e.min);
    end = int(e.max) + !cutsLast(e.max);
  } else {  // pixels whose centre is inside, or so close to an edge that it counts as on it
    e.start = int(e.min + 0.4999999999);
    end = int(e.max + 0.5000000001 < kLastCoordinate ? e.max + 0.5000000001 : kLastCoordinate);
  }
  e.size = end - e.start;
  return e.start < end ? velStsNoErr : velStsNoOperation;
}

// ---- Formats: how many of a pixel's bytes are resized, and the ring's kernels

struct C1 {
  static constexpr int kPixel = 1, kChannels = 1;
  static constexpr auto smooth = ORV_NAME(ownpi_SmoothDstBorder8pl), subpixel = ORV_NAME(ownpi_SubpixDstBorder8pl);
};
struct C3 {
  static constexpr int kPixel = 3, kChannels = 3;
  static constexpr auto smooth = ORV_NAME(ownpi_SmoothDstBorder8px), subpixel = ORV_NAME(ownpi_SubpixDstBorder8px);
};
struct C4 {
  static constexpr int kPixel = 4, kChannels = 4;
  static constexpr auto smooth = ORV_NAME(ownpi_SmoothDstBorder8px4), subpixel = ORV_NAME(ownpi_SubpixDstBorder8px4);
};
struct AC4 {
  static constexpr int kPixel = 4, kChannels = 3;
  static constexpr auto smooth = ORV_NAME(ownpi_SmoothDstBorder8px4a), subpixel = ORV_NAME(ownpi_SubpixDstBorder8px4a);
};

// ---- The images

template <class Format, int kPlanes> ORV_INLINE VelStatus resizePlanes(const Vel8u* const* src, int srcStep,
                                                                       Vel8u* const* dst, int dstStep, ResizeRequest r,
                                                                       Vel8u* buffer) {
  ResizePlan plan;
  ORV_CHECK(ORV_NAME(ownpiPreludeToResize)(&r, &plan));
  Vel8u* const aligned = reinterpret_cast<Vel8u*>((reinterpret_cast<uintptr_t>(buffer) + 15) & ~uintptr_t(15));
  ResizeImages images = {{}, kPlanes, srcStep, dstStep, r.srcRoi, Format::kChannels, Format::kPixel, aligned};
  for (int i = 0; i < kPlanes; ++i)
    images.plane[i] = {rowOf(src[i], srcStep, r.srcRoi.y) + ptrdiff_t(r.srcRoi.x) * Format::kPixel,
                       rowOf(dst[i], dstStep, plan.dstY) + ptrdiff_t(plan.dstX) * Format::kPixel};
  const bool filters = plan.method != velInterNearest && plan.method != velInterSuper;
  const VelStatus status =
      (plan.antialias && filters ? ORV_NAME(ownpiResizeAA) : ORV_NAME(ownpiResizeSP))(&plan, &images);
  const auto drawRing = [&](auto kernel) {
    for (const ResizePlane plane : images)
      kernel(plane.dst, dstStep, plan.dstWidth, plan.dstHeight, plan.xMin, plan.xMax, plan.yMin, plan.yMax);
  };
  if (plan.smoothEdge) drawRing(Format::smooth);
  if (plan.subpixelEdge) drawRing(Format::subpixel);
  return plan.antialias && !filters ? VelStatus(status | velStsNoAntialiasing) : status;
}

template <class Format> ORV_INLINE VelStatus resize(const Vel8u* src, int srcStep, Vel8u* dst, int dstStep,
                                                    const ResizeRequest& r, Vel8u* buffer) {
  ORV_CHECK(checkPointers(src, dst, buffer));
  return resizePlanes<Format, 1>(&src, srcStep, &dst, dstStep, r, buffer);
}
template <class Format, int kPlanes> ORV_INLINE VelStatus resize(const Vel8u* const* src, int srcStep,
                                                                 Vel8u* const* dst, int dstStep, const ResizeRequest& r,
                                                                 Vel8u* buffer) {
  ORV_CHECK(checkPointers(src, dst, buffer));
  for (int i = 0; i < kPlanes; ++i) ORV_CHECK(checkPointers(src[i], dst[i]));
  return resizePlanes<Format, kPlanes>(src, srcStep, dst, dstStep, r, buffer);
}

}  // namespace

// ---- Kernels

// Pointers have been checked.
ORV_KERNEL VelStatus ORV_NAME(ownpiPreludeToResize)(ResizeRequest* request, ResizePlan* result) {
  ResizeRequest& r = *request;
  ResizePlan& plan = *result;
  if (r.srcSize.width < 1 || r.srcSize.height < 1) return velStsSizeErr;
  ORV_CHECK(checkRegions(r.srcRoi, r.dstRoi));
  if (!(r.xFactor > 0 && r.yFactor > 0)) return velStsResizeFactorErr;
  ORV_CHECK(checkInterpolation(r.interpolation));
  const int method = methodOf(r.interpolation);
  if (method == velInterSuper && (r.xFactor > 1 || r.yFactor > 1)) return velStsResizeFactorErr;
  if (r.srcRoi.x >= r.srcSize.width || r.srcRoi.y >= r.srcSize.height) return velStsWrongIntersectROI;
  if (r.srcRoi.width > r.srcSize.width - r.srcRoi.x) r.srcRoi.width = r.srcSize.width - r.srcRoi.x;
  if (r.srcRoi.height > r.srcSize.height - r.srcRoi.y) r.srcRoi.height = r.srcSize.height - r.srcRoi.y;

  const unsigned flags = unsigned(r.interpolation);
  plan.smoothEdge = Vel32s(flags & unsigned(velFlagSmoothEdge));
  plan.subpixelEdge = Vel32s(flags & unsigned(velFlagSubpixelEdge));
  plan.antialias = Vel32s(flags & unsigned(velFlagAntialiasing));
  plan.method = substituted(method, r.srcSize);
  const bool hasRing = plan.smoothEdge != 0 || plan.subpixelEdge != 0;
  Extent x, y;
  const VeliRect &s = r.srcRoi, &d = r.dstRoi;
  ORV_CHECK(mapExtent(s.x, s.width, d.x, d.width, r.xFactor, r.xShift, hasRing, x));
  ORV_CHECK(mapExtent(s.y, s.height, d.y, d.height, r.yFactor, r.yShift, hasRing, y));
  plan.dstX = x.start, plan.dstWidth = x.size, plan.xMin = x.min, plan.xMax = x.max;
  plan.dstY = y.start, plan.dstHeight = y.size, plan.yMin = y.min, plan.yMax = y.max;
  plan.invXFactor = 1 / r.xFactor;
  plan.invYFactor = 1 / r.yFactor;
  plan.xOffset = -r.xShift / r.xFactor;
  plan.yOffset = -r.yShift / r.yFactor;
  plan.superArea = plan.method == velInterSuper ? r.xFactor * r.yFactor : 0;
  return velStsNoErr;
}

// The methods, without antialiasing.
ORV_RESIZE_KERNEL(ownpiResizeSP) {
  const auto run = [=](auto plane, auto three, auto four) {
    return (images->pixel == 1 ? plane : images->pixel == 3 ? three : four)(plan, images);
  };
  switch (plan->method) {
    case velInterNearest: return run(ORV_NAME(ownResize8plN), ORV_NAME(ownResize8pxN), ORV_NAME(ownResize8px4N));
    case velInterLinear: return run(ORV_NAME(ownResize8plL), ORV_NAME(ownResize8pxL), ORV_NAME(ownResize8pxL));
    case velInterLanczos: return run(ORV_NAME(ownResize8plLz), ORV_NAME(ownResize8pxLz), ORV_NAME(ownResize8pxLz));
    case velInterSuper: return run(ORV_NAME(ownDecimate8plSP), ORV_NAME(ownDecimate8pxSP), ORV_NAME(ownDecimate8px4SP));
    default: return run(ORV_NAME(ownResize8plC), ORV_NAME(ownResize8pxC), ORV_NAME(ownResize8pxC));
  }
}

// ---- Bodies

ORV_BODY_A(veliResizeGetBufSize)
(VeliRect srcRoi, VeliRect dstRoi, int nChannel, int interpolation, int* pBufferSize) {
  ORV_CHECK(checkPointers(pBufferSize));
  ORV_CHECK(checkRegions(srcRoi, dstRoi));
  if (nChannel != 1 && nChannel != 3 && nChannel != 4) return velStsNumChannelsErr;
  ORV_CHECK(checkInterpolation(interpolation));
  const int method = methodOf(interpolation);
  const bool antialias = (unsigned(interpolation) & unsigned(velFlagAntialiasing)) != 0;
  const Vel64u size = bufferSize(srcRoi, dstRoi, unsigned(nChannel), method, antialias) + 16;
  if (size > 0x7FFFFFFF) return velStsSizeErr;
  *pBufferSize = int(size);
  return antialias && (method == velInterNearest || method == velInterSuper) ? velStsNoAntialiasing : velStsNoErr;
}

ORV_BODY_B(veliResizeSqrPixel_8u_C1R)
(const Vel8u* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi, Vel8u* pDst, int dstStep, VeliRect dstRoi,
 double xFactor, double yFactor, double xShift, double yShift, int interpolation, Vel8u* pBuffer) {
  return resize<C1>(pSrc, srcStep, pDst, dstStep,
                    {srcSize, srcRoi, dstRoi, xFactor, yFactor, xShift, yShift, interpolation}, pBuffer);
}

ORV_BODY_C(veliResizeSqrPixel_8u_C3R)
(const Vel8u* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi, Vel8u* pDst, int dstStep, VeliRect dstRoi,
 double xFactor, double yFactor, double xShift, double yShift, int interpolation, Vel8u* pBuffer) {
  return resize<C3>(pSrc, srcStep, pDst, dstStep,
                    {srcSize, srcRoi, dstRoi, xFactor, yFactor, xShift, yShift, interpolation}, pBuffer);
}

ORV_BODY_B(veliResizeSqrPixel_8u_C4R)
(const Vel8u* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi, Vel8u* pDst, int dstStep, VeliRect dstRoi,
 double xFactor, double yFactor, double xShift, double yShift, int interpolation, Vel8u* pBuffer) {
  return resize<C4>(pSrc, srcStep, pDst, dstStep,
                    {srcSize, srcRoi, dstRoi, xFactor, yFactor, xShift, yShift, interpolation}, pBuffer);
}

ORV_BODY_B(veliResizeSqrPixel_8u_AC4R)
(const Vel8u* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi, Vel8u* pDst, int dstStep, VeliRect dstRoi,
 double xFactor, double yFactor, double xShift, double yShift, int interpolation, Vel8u* pBuffer) {
  return resize<AC4>(pSrc, srcStep, pDst, dstStep,
                     {srcSize, srcRoi, dstRoi, xFactor, yFactor, xShift, yShift, interpolation}, pBuffer);
}

ORV_BODY_B(veliResizeSqrPixel_8u_P3R)
(const Vel8u* const* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi, Vel8u* const* pDst, int dstStep,
 VeliRect dstRoi, double xFactor, double yFactor, double xShift, double yShift, int interpolation, Vel8u* pBuffer) {
  return resize<C1, 3>(pSrc, srcStep, pDst, dstStep,
                       {srcSize, srcRoi, dstRoi, xFactor, yFactor, xShift, yShift, interpolation}, pBuffer);
}

ORV_BODY_B(veliResizeSqrPixel_8u_P4R)
(const Vel8u* const* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi, Vel8u* const* pDst, int dstStep,
 VeliRect dstRoi, double xFactor, double yFactor, double xShift, double yShift, int interpolation, Vel8u* pBuffer) {
  return resize<C1, 4>(pSrc, srcStep, pDst, dstStep,
                       {srcSize, srcRoi, dstRoi, xFactor, yFactor, xShift, yShift, interpolation}, pBuffer);
}
