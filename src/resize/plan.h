// What a resize call asks for and comes to: which pixels are written, and where each of them lies in the source.
#pragma once
#include "core/cache.h"
#include "core/simd.h"
#include "image/checks.h"

struct ResizeRequest {
  VeliSize srcSize;
  VeliRect srcRoi, dstRoi;
  double xFactor, yFactor, xShift, yShift;
  int interpolation;
};

// Edges that are no whole numbers are exact; see the public header for the model.
struct ResizePlan {
  Vel32s dstX, dstY, dstWidth, dstHeight;  // the pixels written, in coordinates of the destination image
  double invXFactor, invYFactor;
  double xOffset, yOffset;  // destination coordinate d lies at d * inverse + offset in the source
  double superArea;         // the product of the factors; of supersampling only
  double xMin, xMax, yMin, yMax;
  Vel32s method;
  Vel32s smoothEdge, subpixelEdge, antialias;
};

// The images of a driver: from the first pixel of the clipped source region to the first pixel written. Planes share
// everything else, so that tables serve all of them.
struct ResizePlane {
  const Vel8u* src;
  Vel8u* dst;
};
struct ResizeImages {
  ResizePlane plane[4];
  int planes;  // 1 for interleaved images
  int srcStep, dstStep;
  VeliRect region;  // the clipped source region, in coordinates of the source image
  int channels;     // resized ones
  int pixel;        // bytes from one destination or source pixel to the next: 3 of AC4's 4 bytes are resized
  Vel8u* buffer;    // 16-byte aligned

  const ResizePlane* begin() const { return plane; }
  const ResizePlane* end() const { return plane + planes; }
};

namespace {

// ---- Methods

constexpr unsigned kFlags = unsigned(velFlagAntialiasing) | unsigned(velFlagSubpixelEdge) | unsigned(velFlagSmoothEdge);
ORV_INLINE int methodOf(int interpolation) { return int(unsigned(interpolation) & ~kFlags); }
ORV_INLINE bool isCubic(int method) { return method >= velInterCubic && method <= velInterCubicB05C03; }
ORV_INLINE VelStatus checkInterpolation(int interpolation) {
  const int method = methodOf(interpolation);
  const bool known = method == velInterNearest || method == velInterLinear || isCubic(method) ||
                     method == velInterSuper || method == velInterLanczos;
  const unsigned flags = unsigned(interpolation) & kFlags;
  return known && (flags & (flags - 1)) == 0 ? velStsNoErr : velStsInterpolationErr;
}

// ---- Edges
//
// The pixel that an edge cuts belongs to the rectangle or to the ring around it. One rule says which, for the plan and
// the ring alike, so that no pixel is left out and none is both. Edges are not negative.

constexpr double kHardlyMore = 1e-10;
ORV_INLINE double fractionOf(double edge) { return edge - int(edge); }
ORV_INLINE bool cutsFirst(double min) { return fractionOf(min) > kHardlyMore; }
ORV_INLINE bool cutsLast(double max) { return fractionOf(max) + kHardlyMore < 1; }

// ---- Positions

// One direction of a plan: destination pixels start, start + 1, ... and the source pixels [first, first + count).
struct Axis {
  double inverse, offset;
  int start, first, count;
};
ORV_INLINE Axis columns(const ResizePlan& plan, const ResizeImages& images) {
  return {plan.invXFactor, plan.xOffset, plan.dstX, images.region.x, images.region.width};
}
ORV_INLINE Axis rows(const ResizePlan& plan, const ResizeImages& images) {
  return {plan.invYFactor, plan.yOffset, plan.dstY, images.region.y, images.region.height};
}

// The largest whole number not above v, for |v| < 2^31.
ORV_INLINE int floorOf(double v) {
  const int truncated = int(v);
  return truncated - (v < truncated);
}

// Where the centre of the i-th pixel written lies between the centres of two source pixels.
struct Position {
  int index;       // of the left or upper one, from the region's first
  float fraction;  // from it to the other one
};
// The positions of pixels that no filter reaches from the region are all the same. Of a region so wide that this one is
// past any int, it is an int's last: its fraction is 0, so that taps which are still inside weigh nothing.
constexpr int kBeyond = 8;
ORV_INLINE int beyondEnd(const Axis& axis) {
  return axis.count < 0x7FFFFFFF - kBeyond ? axis.count + kBeyond : 0x7FFFFFFF;
}
ORV_INLINE Position positionOf(const Axis& axis, int i) {
  const double v = (double(axis.start) + i + 0.5) * axis.inverse + (axis.offset - 0.5);
  const double end = double(axis.first) + axis.count + kBeyond;
  // Written so that a NaN, of an infinite inverse, counts as beyond the end.
  if (!(v < end && v < 2147483647.0)) return {beyondEnd(axis), 0};
  if (v < double(axis.first) - kBeyond) return {-kBeyond, 0};
  const int whole = floorOf(v);
  return {whole - axis.first, float(v - whole)};
}
template <class T> ORV_INLINE int clamped(T index, int count) {
  return index < 0 ? 0 : index < count ? int(index) : count - 1;
}

// ---- Sizes

// Whether the pixels read and written are more than the largest cache holds.
ORV_INLINE bool exceedsCaches(const ResizePlan& plan, const ResizeImages& images) {
  const double pixels = double(images.region.width) * images.region.height + double(plan.dstWidth) * plan.dstHeight;
  return exceedsCaches(pixels * images.pixel * images.planes);
}

}  // namespace
