// What supersampling by cells and by areas have in common: the edges of destination pixels, rows of samples, and storing
// a pixel.
#pragma once
#include "resize/buffer.h"
#include "resize/kernels.h"

namespace {

// The edge before the i-th pixel written, in coordinates of the region.
ORV_INLINE double edgeOf(const Axis& axis, int i) {
  return (double(axis.start) + i) * axis.inverse + axis.offset - axis.first;
}
constexpr double kNearlyWhole = 1e-7;
ORV_INLINE double snapped(double v) {
  const double whole = floorOf(v + 0.5);
  return v - whole < kNearlyWhole && whole - v < kNearlyWhole ? whole : v;
}

// Whether the buffer holds a row of sums, sixteen at least, and some more after them. What is true up to 64 columns is
// true of more: the buffer has six bytes a sample at least, where sums take four at most.
constexpr bool bufferHolds(size_t sumBytes, int more, int pixel, int channels) {
  for (int width = 1; width <= 64; ++width) {
    const int samples = width * pixel < 16 ? 16 : width * pixel;
    const VeliRect src = {0, 0, width, 1}, dst = {0, 0, 1, 1};
    if (Vel64u(samples + more) * sumBytes > bufferSize(src, dst, unsigned(channels), velInterSuper, false))
      return false;
  }
  return true;
}

// Calls group(place, loadFrom) for all of a row of samples, sixteen at a time: loadFrom(p) gives those at p, and zeros
// where there are fewer. The last ones may be done twice.
template <class Group> ORV_INLINE void forSamples(int samples, const Group& group) {
  if (samples < 16) return group(0, [=](const Vel8u* p) { return loadFirst(p, size_t(samples)); });
  const auto loadFrom = [](const Vel8u* p) { return load(p); };
  for (int i = 0; i + 16 <= samples; i += 16) group(i, loadFrom);
  if (samples % 16) group(samples - 16, loadFrom);
}

// Stores a pixel, given in the low four bytes. Of three-byte pixels all but the last may write a byte of the next one.
template <int kPixel, int kChannels> ORV_INLINE void storePixel(Vel8u* dst, Lane pixel, bool isLast) {
  const int four = toInt(pixel);
  if (kChannels == 4 || (kPixel == 3 && !isLast)) {
    memcpy(dst, &four, 4);
  } else {
    memcpy(dst, &four, 2);
    dst[2] = Vel8u(four >> 16);
  }
}

}  // namespace
