// The ring of pixels just outside a resized rectangle, which the image covers in part.
#include "resize/kernels.h"

namespace {

// How much of the ring each side covers; 0 where there is nothing to do. In double precision: single would take for whole
// what the plan does not.
struct Coverage {
  double left, right, top, bottom;
};
ORV_INLINE double before(double edge) { return cutsFirst(edge) ? 1 - fractionOf(edge) : 0; }
ORV_INLINE double after(double edge) { return cutsLast(edge) ? fractionOf(edge) : 0; }
ORV_INLINE Coverage coverageOf(double xMin, double xMax, double yMin, double yMax) {
  return {before(xMin), after(xMax), before(yMin), after(yMax)};
}

constexpr float kHalf = 0.5000001f;
ORV_INLINE Vel8u toByte(float v) { return Vel8u(v < 0 ? 0 : v > 255 ? 255 : int(v)); }
// What is not covered stays.
struct Smooth {
  static Vel8u blend(float weight, Vel8u edge, Vel8u old) {
    return toByte(kHalf + (weight * (float(edge) - float(old)) + float(old)));
  }
};
// What is not covered is black.
struct Subpixel {
  static Vel8u blend(float weight, Vel8u edge, Vel8u) { return toByte(kHalf + weight * float(edge)); }
};

// Images of pixels kPixel bytes apart, of which the first kChannels are blended.
template <class Edge, int kPixel, int kChannels> struct Ring {
  Vel8u* dst;
  int step, width, height;

  Vel8u* at(int x, int y) const { return rowOf(dst, step, y) + ptrdiff_t(x) * kPixel; }
  static void blend(Vel8u* ring, const Vel8u* edge, double weight) {
    for (int c = 0; c < kChannels; ++c) ring[c] = Edge::blend(float(weight), edge[c], ring[c]);
  }
  void row(int ring, int edge, double weight) const {
    if (weight > 0)
      for (int x = 0; x < width; ++x) blend(at(x, ring), at(x, edge), weight);
  }
  void column(int ring, int edge, double weight) const {
    if (weight > 0)
      for (int y = 0; y < height; ++y) blend(at(ring, y), at(edge, y), weight);
  }
  void corner(int x, int y, int edgeX, int edgeY, double horizontal, double vertical) const {
    if (horizontal > 0 && vertical > 0) blend(at(x, y), at(edgeX, edgeY), horizontal * vertical);
  }
  void draw(const Coverage& c) const {
    const int right = width - 1, bottom = height - 1;
    row(-1, 0, c.top);
    row(height, bottom, c.bottom);
    column(-1, 0, c.left);
    column(width, right, c.right);
    corner(-1, -1, 0, 0, c.left, c.top);
    corner(width, -1, right, 0, c.right, c.top);
    corner(-1, height, 0, bottom, c.left, c.bottom);
    corner(width, height, right, bottom, c.right, c.bottom);
  }
};

}  // namespace

ORV_EDGE_KERNEL(ownpi_SmoothDstBorder8pl) {
  Ring<Smooth, 1, 1>{dst, dstStep, width, height}.draw(coverageOf(xMin, xMax, yMin, yMax));
}
ORV_EDGE_KERNEL(ownpi_SmoothDstBorder8px) {
  Ring<Smooth, 3, 3>{dst, dstStep, width, height}.draw(coverageOf(xMin, xMax, yMin, yMax));
}
ORV_EDGE_KERNEL(ownpi_SmoothDstBorder8px4) {
  Ring<Smooth, 4, 4>{dst, dstStep, width, height}.draw(coverageOf(xMin, xMax, yMin, yMax));
}
ORV_EDGE_KERNEL(ownpi_SmoothDstBorder8px4a) {
  Ring<Smooth, 4, 3>{dst, dstStep, width, height}.draw(coverageOf(xMin, xMax, yMin, yMax));
}
ORV_EDGE_KERNEL(ownpi_SubpixDstBorder8pl) {
  Ring<Subpixel, 1, 1>{dst, dstStep, width, height}.draw(coverageOf(xMin, xMax, yMin, yMax));
}
ORV_EDGE_KERNEL(ownpi_SubpixDstBorder8px) {
  Ring<Subpixel, 3, 3>{dst, dstStep, width, height}.draw(coverageOf(xMin, xMax, yMin, yMax));
}
ORV_EDGE_KERNEL(ownpi_SubpixDstBorder8px4) {
  Ring<Subpixel, 4, 4>{dst, dstStep, width, height}.draw(coverageOf(xMin, xMax, yMin, yMax));
}
ORV_EDGE_KERNEL(ownpi_SubpixDstBorder8px4a) {
  Ring<Subpixel, 4, 3>{dst, dstStep, width, height}.draw(coverageOf(xMin, xMax, yMin, yMax));
}
