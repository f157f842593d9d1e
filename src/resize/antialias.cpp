// Antialiased resizing: a reduction widens the method's kernel to what a destination pixel covers. Every source row that
// is needed is filtered once, into one of as many rows of floats as a destination row's kernel covers; those are summed.
#include "resize/cubic.h"
#include "resize/kernels.h"

namespace {

// ---- Weights

struct Kernel {
  int method;

  int radius() const { return method == velInterLinear ? 1 : method == velInterLanczos ? 3 : 2; }
  double at(double d) const {
    if (d < 0) d = -d;
    if (method == velInterLinear) return d < 1 ? 1 - d : 0;
    if (method != velInterLanczos) return cubicKernel(method).at(d);
    if (d >= 3) return 0;
    const int i = int(d * 100);
    return tblLanczos3[i] + (d * 100 - i) * (double(tblLanczos3[i + 1]) - tblLanczos3[i]);
  }
};

// The source pixels that make a destination pixel: `count` of the region from `first` on, and their weights, to which
// zeros are added up to a multiple of four.
struct Taps {
  Vel32s first, count;

  Vel32f* weights() { return reinterpret_cast<Vel32f*>(this + 1); }
  const Vel32f* weights() const { return reinterpret_cast<const Vel32f*>(this + 1); }
  const Taps* next() const { return reinterpret_cast<const Taps*>(weights() + (count + 3) / 4 * 4); }
};

// With a buffer of the size that is asked for, coordinates and the reach are below 2^31 / 13, and their sums fit an int. A
// scale far beyond the region's size is capped: it gives nearly equal weights anyway.
ORV_INLINE double scaleOf(const Axis& axis) {
  const double most = 65536 + 4.0 * axis.count;
  return axis.inverse < 1 ? 1 : axis.inverse < most ? axis.inverse : most;
}
// Writes the taps of a destination pixel: the kernel at all distances it reaches, and what is outside the region added to
// the nearest pixel in it.
ORV_INLINE void fill(Taps& taps, const Kernel& kernel, const Axis& axis, int i) {
  const double scale = scaleOf(axis), reach = kernel.radius() * scale;
  const double v = (double(axis.start) + i + 0.5) * axis.inverse + (axis.offset - 0.5) - axis.first;
  // !(v < end), so that a NaN, of an infinite inverse, counts as the end too.
  const double centre = !(v < axis.count - 0.5) ? axis.count - 0.5 : v > -0.5 ? v : -0.5;
  const int low = floorOf(centre - reach) + 1, high = -floorOf(-(centre + reach)) - 1;
  const auto sumOf = [&](int from, int to) {
    double sum = 0;
    for (int k = from; k <= to; ++k) sum += kernel.at((k - centre) / scale);
    return sum;
  };
  const int first = clamped(low, axis.count), last = clamped(high, axis.count);
  const double whole = sumOf(low, high);
  taps.first = first;
  taps.count = last - first + 1;
  Vel32f* weight = taps.weights();
  for (int k = first; k <= last; ++k) *weight++ = float(sumOf(k == first ? low : k, k == last ? high : k) / whole);
  for (int k = taps.count; k % 4 != 0; ++k) *weight++ = 0;
}

// The lists of one direction.
//
// The buffer has room for them. Let S source pixels become D, by a kernel of radius r. A list takes 8 + 4 t bytes, where t
// is the number of taps, rounded up to a multiple of 4. The buffer has 8 (2 k + 2) D bytes for them, where k is at least r
// and at least r S / D.
// - Not reduced: t is 2 r at most, rounded up 2 r + 2. That is 16 r + 16 bytes for each of D lists at most.
// - Reduced by s: t is 2 r s + 4 at most, and there are n <= S / s lists. That is 8 r S + 24 n bytes at most, of
//   16 r S + 16 D: n is neither more than D nor more than S.
// - Pixels on both edges of a region may make n one more than S / s, but lose half their taps each; what else rounds n up
//   takes less than rows of floats leave of their part of the buffer.
struct Lists {
  Taps* first;
  int count, most;  // lists; taps of the longest one
  Taps* end;

  Lists(Taps* at, const Kernel& kernel, const Axis& axis, int n) : first(at), count(n), most(0), end(at) {
    for (int i = 0; i < n; ++i) {
      fill(*end, kernel, axis, i);
      if (end->count > most) most = end->count;
      end = const_cast<Taps*>(end->next());
    }
  }
};

// ---- Horizontal pass

// One to three bytes of a row's end; zeros after them.
ORV_INLINE Lane loadUpTo3(const Vel8u* p, int n) {
  Vel32u bytes = p[0];
  if (n > 1) bytes |= Vel32u(p[1]) << 8;
  if (n > 2) bytes |= Vel32u(p[2]) << 16;
  return fromInt(int(bytes));
}

// Of one channel, one row or two at a time. Walking the lists is slow, because a list's length must be read to find the
// next one; two rows share that cost. Lane r belongs to row r. Its element i sums taps i, i + 4, ...; then the elements of
// four columns are summed together.
template <int kRows> struct PlaneRows {
  using Sums = FloatRun<4 * kRows>;
  const Vel8u* rows[kRows];
  float* to[kRows];

  // Of one column.
  Sums lanesOf(const Taps& taps, int width) const {
    const Vel32f* weights = taps.weights();
    Sums sums = allRun<4 * kRows>(0);
    int at = taps.first, left = taps.count;
    const auto add = [&](const auto& loadFrom) __attribute__((always_inline)) {
      Lane samples[kRows];
      ORV_UNROLL for (int r = 0; r < kRows; ++r) samples[r] = widenU8To32<0>(loadFrom(rows[r]));
      sums = sums + mulLanes(toFloats(runOf<4 * kRows>(samples)), load<Floats4>(weights));
    };
    for (; left > 0 && at < width - 3; left -= 4, at += 4, weights += 4)
      add([at](const Vel8u* row) { return loadFirst<4>(row + at); });
    if (left > 0) add([=](const Vel8u* row) { return loadUpTo3(row + at, left); });
    return sums;
  }
  void filter(const Lists& columns, int width) const {
    const Taps* taps = columns.first;
    for (int x = 0; x < columns.count; x += 4) {
      const int n = columns.count - x < 4 ? columns.count - x : 4;
      Sums lanes[4];
      for (int i = 0; i < 4; ++i) {
        if (i < n)
          lanes[i] = lanesOf(*taps, width), taps = taps->next();
        else
          lanes[i] = allRun<4 * kRows>(0);
      }
      float sums[kRows][4];
      storeRun(sums[0], laneSums(lanes));
      ORV_UNROLL for (int r = 0; r < kRows; ++r) {
        if (n == 4)
          store(to[r] + x, load<Floats4>(sums[r]));
        else
          memcpy(to[r] + x, sums[r], size_t(n) * sizeof(float));
      }
    }
  }
};

// Four interleaved pixels that follow one another, each as a lane. Of three channels the fourth element is whatever comes
// next in memory; two loads, of pixels 0 1 | 2 3, do not reach past the last pixel.
template <int kPixel> struct PixelLanes {
  Lane bytes;
  explicit PixelLanes(const Vel8u* p) : bytes(kPixel == 4 ? load(p) : loadHalves(p, p + 4)) {}
  template <int i> Floats4 get() const {
    constexpr int kFrom = kPixel == 4 ? 4 * i : i < 2 ? 3 * i : 3 * i + 4;
    return toFloats(widenU8To32<kFrom>(bytes));
  }
};
template <int kPixel, int kChannels>
ORV_INLINE void filterPixelRow(const Lists& columns, const Vel8u* row, int width, float* to) {
  const Taps* taps = columns.first;
  const Vel8u* const end = row + ptrdiff_t(width - 3) * kPixel;  // from there on fewer than four are left in the row
  for (int x = 0; x < columns.count; ++x, taps = taps->next(), to += kChannels) {
    const Vel8u* p = row + ptrdiff_t(taps->first) * kPixel;
    const Vel32f* weights = taps->weights();
    const Floats4 none = allFloats<Floats4>(0);
    Floats4 sums[4] = {none, none, none, none};  // of every fourth tap
    int left = taps->count;
    for (; left > 0 && p < end; left -= 4, weights += 4, p += 4 * kPixel) {
      const PixelLanes<kPixel> pixels(p);
      const Floats4 w = load<Floats4>(weights);
      sums[0] = sums[0] + pixels.template get<0>() * repeatElement<0>(w);
      sums[1] = sums[1] + pixels.template get<1>() * repeatElement<1>(w);
      sums[2] = sums[2] + pixels.template get<2>() * repeatElement<2>(w);
      sums[3] = sums[3] + pixels.template get<3>() * repeatElement<3>(w);
    }
    ORV_UNROLL for (int i = 0; i < 3; ++i) {
      if (i >= left) break;
      const Lane pixel = kPixel == 4 ? loadFirst<4>(p + 4 * i) : loadUpTo3(p + 3 * i, 3);
      sums[i] = sums[i] + toFloats(widenU8To32<0>(pixel)) * allFloats<Floats4>(weights[i]);
    }
    const Floats4 sum = (sums[0] + sums[2]) + (sums[1] + sums[3]);
    // The fourth element is written over by the next pixel's first.
    if (kChannels == 4 || x + 1 < columns.count)
      store(to, sum);
    else
      storeFirst(to, sum, 3);
  }
}

// ---- Vertical pass

// Filtered source rows, of which row i is in slot i % slots. Up to sixteen floats are read after each, so those are
// cleared first.
struct FilteredRows {
  float* rows;
  int slots, elements;

  float* row(int i) const { return rows + ptrdiff_t(i % slots) * elements; }
  void clear() const {
    const size_t read = elements < 16 ? size_t(elements) : 16;
    for (int i = 0; i < slots; ++i) memset(row(i), 0, read * sizeof(float));
    memset(rows + ptrdiff_t(slots) * elements, 0, 16 * sizeof(float));
  }

  // Sixteen elements of the weighed sum of rows, ties to even.
  ORV_INLINE Lane sum(const Taps& taps, int element) const {
    FloatRun<16> sums = allRun<16>(0);
    const float *p = row(taps.first) + element, *const end = rows + ptrdiff_t(slots) * elements;
    const Vel32f* weight = taps.weights();
    for (int left = taps.count; left > 0; --left, ++weight) {
      sums = sums + loadRun<16>(p) * *weight;
      p += elements;
      if (p >= end) p -= ptrdiff_t(slots) * elements;
    }
    return narrowTo8U(toNearest(sums));
  }
  template <bool kKeepsFourth> void store(const Taps& taps, Vel8u* dst) const {
    constexpr int kWhole = kKeepsFourth ? 15 : 16;  // five pixels, where the destination has gaps
    for (int i = 0; i < elements; i += kWhole) {
      const int n = elements - i < kWhole ? elements - i : kWhole;
      const Lane v = sum(taps, i);
      if (kKeepsFourth) {
        Vel8u samples[16];
        ::store(static_cast<Vel8u*>(samples), v);
        for (int k = 0; k < n; k += 3) memcpy(dst + (i + k) / 3 * 4, samples + k, 3);
      } else if (n == 16) {
        ::store(dst + i, v);
      } else {
        storeFirst(dst + i, v, size_t(n));
      }
    }
  }
};

// Filters a source row before `end`, or two; gives how many.
template <int kPixel, int kChannels> ORV_INLINE int filterRows(const Lists& columns, const ResizeImages& images,
                                                               const Vel8u* src, int y, int end,
                                                               const FilteredRows& filtered) {
  const Vel8u* const row = rowOf(src, images.srcStep, y);
  const int width = images.region.width;
  if (kPixel > 1) {
    filterPixelRow<kPixel, kChannels>(columns, row, width, filtered.row(y));
    return 1;
  }
  if (y + 1 == end) {
    PlaneRows<1>{{row}, {filtered.row(y)}}.filter(columns, width);
    return 1;
  }
  PlaneRows<2>{{row, rowOf(row, images.srcStep, 1)}, {filtered.row(y), filtered.row(y + 1)}}.filter(columns, width);
  return 2;
}

template <int kPixel, int kChannels = kPixel>
ORV_INLINE VelStatus resize(const ResizePlan& plan, const ResizeImages& images) {
  const Kernel kernel = {plan.method};
  const Lists horizontal(reinterpret_cast<Taps*>(images.buffer), kernel, columns(plan, images), plan.dstWidth);
  const Lists vertical(horizontal.end, kernel, rows(plan, images), plan.dstHeight);
  const FilteredRows filtered = {reinterpret_cast<float*>(vertical.end), vertical.most, plan.dstWidth * kChannels};
  filtered.clear();
  for (const ResizePlane plane : images) {
    const Taps* taps = vertical.first;
    int next = 0;  // source rows before this one need no more work
    for (int y = 0; y < plan.dstHeight; ++y, taps = taps->next()) {
      if (next < taps->first) next = taps->first;
      const int end = taps->first + taps->count;
      while (next < end) next += filterRows<kPixel, kChannels>(horizontal, images, plane.src, next, end, filtered);
      filtered.store<kChannels != kPixel>(*taps, rowOf(plane.dst, images.dstStep, y));
    }
  }
  return velStsNoErr;
}

}  // namespace

ORV_RESIZE_KERNEL(ownpiResizeAA) {
  if (images->pixel == 1) return resize<1>(*plan, *images);
  if (images->pixel == 3) return resize<3>(*plan, *images);
  return images->channels == 3 ? resize<4, 3>(*plan, *images) : resize<4>(*plan, *images);
}
