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

// The source pixels that make a destination pixel: `count` of the region from `first` on. Their weights follow, with zeros
// after them.
struct Taps {
  Vel32s first, count;

  Vel32f* weights() { return reinterpret_cast<Vel32f*>(this + 1); }
  const Vel32f* weights() const { return reinterpret_cast<const Vel32f*>(this + 1); }
};

// With a buffer of the size that is asked for, coordinates and the reach are below 2^31 / 13, and their sums fit an int. A
// scale far beyond the region's size is capped: it gives nearly equal weights anyway.
ORV_INLINE double scaleOf(const Axis& axis) {
  const double most = 65536 + 4.0 * axis.count;
  return axis.inverse < 1 ? 1 : axis.inverse < most ? axis.inverse : most;
}
ORV_INLINE double reachOf(const Kernel& kernel, const Axis& axis) { return kernel.radius() * scaleOf(axis); }
// Writes a list of `length` weights: the kernel at all distances it reaches, and what is outside the region added to the
// nearest pixel in it.
ORV_INLINE void fill(Taps& taps, const Kernel& kernel, const Axis& axis, int i, int length) {
  const double scale = scaleOf(axis), reach = reachOf(kernel, axis);
  const double v = (double(axis.start) + i + 0.5) * axis.inverse + (axis.offset - 0.5) - axis.first;
  // !(v < end), so that a NaN, of an infinite inverse, counts as the end too.
  const double centre = !(v < axis.count - 0.5) ? axis.count - 0.5 : v > -0.5 ? v : -0.5;
  const int low = floorOf(centre - reach) + 1, high = -floorOf(-(centre + reach)) - 1;
  // The kernel at tap k. Those of the usual lists are worked out only once.
  constexpr int kKept = 64;
  double kept[kKept];
  const auto compute = [&](int k) { return kernel.at((k - centre) / scale); };
  for (int k = low; k <= high && k - low < kKept; ++k) kept[k - low] = compute(k);
  const auto sumOf = [&](int from, int to) {
    double sum = 0;
    for (int k = from; k <= to; ++k) sum += k - low < kKept ? kept[k - low] : compute(k);
    return sum;
  };
  const int first = clamped(low, axis.count), last = clamped(high, axis.count);
  const double whole = sumOf(low, high);
  taps.first = first;
  taps.count = last - first + 1;
  Vel32f* weight = taps.weights();
  for (int k = first; k <= last; ++k) *weight++ = float(sumOf(k == first ? low : k, k == last ? high : k) / whole);
  for (int k = taps.count; k < length; ++k) *weight++ = 0;
}

// The lists of one direction, all of one length: the most taps, rounded up to a multiple of `unit`, 1 or 2. So the place of
// the next one is known before a list has been read.
//
// The buffer has room for them. Let S source pixels become D, by a kernel of radius r. A list takes 8 + 4 t bytes, where t
// is its length. The buffer has 8 (2 k + 2) D bytes for them, where k is at least r and at least r S / D.
// - Not reduced: t is 2 r at most, which is even. That is 8 r + 8 bytes for each of D lists at most.
// - Reduced by s: t is less than 2 r s + 2, and there are n <= S / s lists. That is 8 r S + 16 n bytes at most, of
//   16 r S + 16 D: n is neither more than D nor more than S.
// - Pixels on both edges of a region may make n one more than S / s; that list, and what else rounds n up, takes less than
//   rows of floats leave of their part of the buffer.
class Lists {
 public:
  int count, most, length;  // lists; taps, at most; weights of each

  Lists(void* at, const Kernel& kernel, const Axis& axis, int n, int unit)
      : count(n),
        most(mostTaps(kernel, axis)),
        length((most + unit - 1) / unit * unit),
        first_(static_cast<Vel8u*>(at)) {
    for (int i = 0; i < n; ++i) fill(*reinterpret_cast<Taps*>(first_ + i * step()), kernel, axis, i, length);
  }
  const Taps& operator[](int i) const { return *reinterpret_cast<const Taps*>(first_ + i * step()); }
  void* end() const { return first_ + count * step(); }

 private:
  static int mostTaps(const Kernel& kernel, const Axis& axis) {
    const int inReach = -floorOf(-2 * reachOf(kernel, axis));
    return inReach < axis.count ? inReach : axis.count;
  }
  ptrdiff_t step() const { return ptrdiff_t(sizeof(Taps)) + length * ptrdiff_t(sizeof(Vel32f)); }

  Vel8u* first_;
};

// ---- Horizontal pass

// A stretch of source pixels as floats. Of one channel, kRows rows stand side by side, one in each element of a vector; of
// several, one row, and the fourth float of a pixel may be anything. After the last pixel there are zeros, where lists have
// weights of zero.
template <int kPixel> class Stretch {
 public:
  static constexpr int kRows = kPixel == 1 ? kFloats : 1, kFloatsOf = kPixel == 1 ? kFloats : 4, kPixels = 256;

  // Lists have `length` weights.
  Stretch(const Vel8u* const (&rows)[kRows], int width, int length)
      : width_(width), length_(length < kPixels ? length : kPixels) {
    ORV_UNROLL for (int r = 0; r < kRows; ++r) rows_[r] = rows[r];
  }
  // Where the pixels from x on stand: those of a list, but kPixels at most.
  ORV_INLINE const float* provide(int x) {
    if (unsigned(x - from_) > unsigned(kPixels - length_)) fill(x);
    return floats_ + ptrdiff_t(x - from_) * kFloatsOf;
  }

 private:
  static constexpr int kStep = kPixel == 1 ? 16 : 4, kBytes = kStep * kPixel;  // pixels that are converted at a time

  __attribute__((noinline)) void fill(int x) {
    const int left = width_ - x, count = left < 0 ? 0 : left < kPixels ? left : kPixels, whole = count / kStep * kStep;
    from_ = x;
    const Vel8u* rows[kRows];
    ORV_UNROLL for (int r = 0; r < kRows; ++r) rows[r] = rows_[r] + ptrdiff_t(x) * kPixel;
    for (int i = 0; i < whole; i += kStep) convert(rows, ptrdiff_t(i) * kPixel, floats_ + i * kFloatsOf);
    Vel8u last[kRows][kBytes] = {};
    ORV_UNROLL for (int r = 0; r < kRows; ++r) {
      memcpy(last[r], rows[r] + ptrdiff_t(whole) * kPixel, size_t((count - whole) * kPixel));
      rows[r] = last[r];
    }
    convert(rows, 0, floats_ + whole * kFloatsOf);
    const int end = count + length_ < kPixels ? count + length_ : kPixels;
    for (int i = whole + kStep; i < end; i += kStep)
      for (int k = 0; k < kStep * kFloatsOf; k += 16) storeRun(floats_ + i * kFloatsOf + k, allRun<16>(0));
  }
  static ORV_INLINE void convert(const Vel8u* const (&rows)[kRows], ptrdiff_t at, float* to) {
    if constexpr (kPixel == 1) {
      Lane pixels[4], more[4];
      fourRows(rows, at, pixels);
      if constexpr (kRows == 8) fourRows(rows + 4, at, more);
      ORV_UNROLL for (int i = 0; i < 4; ++i, to += 4 * kRows) {
        if constexpr (kRows == 8) {
          storeRun(to, bytesToFloats<16>(interleaveLow32(pixels[i], more[i])));
          storeRun(to + 16, bytesToFloats<16>(interleaveHigh32(pixels[i], more[i])));
        } else {
          storeRun(to, bytesToFloats<16>(pixels[i]));
        }
      }
    } else if constexpr (kPixel == 3) {
      // Two loads, of pixels 0 1 | 2 3, do not reach past the last pixel.
      const Lane bytes = loadHalves(rows[0] + at, rows[0] + at + 4);
      store(to, toFloats(widenU8To32<0>(bytes)));
      store(to + 4, toFloats(widenU8To32<3>(bytes)));
      store(to + 8, toFloats(widenU8To32<10>(bytes)));
      store(to + 12, toFloats(widenU8To32<13>(bytes)));
    } else {
      storeRun(to, loadBytesAsFloats<16>(rows[0] + at));
    }
  }
  // Four rows a, b, c, d of sixteen pixels: a0 b0 c0 d0 a1 ... d3, a4 ...
  static ORV_INLINE void fourRows(const Vel8u* const* rows, ptrdiff_t at, Lane (&to)[4]) {
    const Lane a = load(rows[0] + at), b = load(rows[1] + at), c = load(rows[2] + at), d = load(rows[3] + at);
    const Lane lowAB = interleaveLow8(a, b), lowCD = interleaveLow8(c, d);
    const Lane highAB = interleaveHigh8(a, b), highCD = interleaveHigh8(c, d);
    to[0] = interleaveLow16(lowAB, lowCD), to[1] = interleaveHigh16(lowAB, lowCD);
    to[2] = interleaveLow16(highAB, highCD), to[3] = interleaveHigh16(highAB, highCD);
  }

  const Vel8u* rows_[kRows];
  int width_, length_, from_ = -kPixels - 1;  // none are there yet
  alignas(Floats) float floats_[(kPixels + kStep) * kFloatsOf];
};

// Four sums, of which sum i is that of taps i, i + 4, ...
struct PlaneSums {
  Floats v[4] = {allFloats(0), allFloats(0), allFloats(0), allFloats(0)};

  // Adds the products of an even number of weights with the pixels at p.
  ORV_INLINE void add(const Vel32f* weights, int n, const float* p) {
    for (; n >= 4; n -= 4, weights += 4, p += 4 * kFloats) ORV_UNROLL for (int i = 0; i < 4; ++i) addTap(i, weights, p);
    if (n > 0) ORV_UNROLL for (int i = 0; i < 2; ++i) addTap(i, weights, p);
  }
  Floats total() const { return (v[0] + v[2]) + (v[1] + v[3]); }

 private:
  ORV_INLINE void addTap(int i, const Vel32f* weights, const float* p) {
    v[i] = v[i] + load<Floats>(p + i * kFloats) * allFloats(weights[i]);
  }
};
// The same of pixels of several channels, each sum a lane.
struct PixelSums {
  FloatRun<16> lanes = allRun<16>(0);

  ORV_INLINE void add(const Vel32f* weights, int n, const float* p) {
    for (; n >= 4; n -= 4, weights += 4, p += 16)
      lanes = lanes + loadRun<16>(p) * repeatElements(load<Floats4>(weights));
    if (n > 0) lanes = addLow(lanes, loadRun<8>(p), repeatElements(asFloats(loadLow(weights))));
  }
  Floats4 total() const { return sumOfLanes(lanes); }
};

// Adds what is longer than a stretch part by part.
template <class Sums, class S>
__attribute__((noinline)) void addLong(const Taps& taps, int length, S* stretch, Sums* to) {
  for (int done = 0; done < length; done += S::kPixels) {
    const int left = length - done;
    to->add(taps.weights() + done, left < S::kPixels ? left : S::kPixels, stretch->provide(taps.first + done));
  }
}
template <class Sums, class S> ORV_INLINE auto totalOf(const Lists& columns, int column, S* stretch) {
  const Taps& taps = columns[column];
  if (columns.length > S::kPixels) {
    Sums sums;
    addLong(taps, columns.length, stretch, &sums);
    return sums.total();
  }
  Sums sums;
  sums.add(taps.weights(), columns.length, stretch->provide(taps.first));
  return sums.total();
}

// Of one channel, `count` rows of kFloats; those after them may be any.
ORV_INLINE void filterPlaneRows(const Lists& columns, const Vel8u* const (&rows)[kFloats], int width, int count,
                                float* const (&to)[kFloats]) {
  Stretch<1> stretch(rows, width, columns.length);
  for (int x = 0; x < columns.count; x += 4) {
    const int n = columns.count - x < 4 ? columns.count - x : 4;
    Floats4x4 sums;
    ORV_UNROLL for (int i = 0; i < 4; ++i) sums.v[i] =
        i < n ? totalOf<PlaneSums>(columns, x + i, &stretch) : allFloats(0);
    sums = transpose(sums);  // vector i has row i, and i + 4
    for (int r = 0; r < count; ++r) {
      const Floats4 row = laneOf(sums.v[r % 4], r / 4);
      if (n == 4)
        store(to[r] + x, row);
      else
        storeFirst(to[r] + x, row, n);
    }
  }
}

// Of several channels.
template <int kPixel, int kChannels>
ORV_INLINE void filterPixelRow(const Lists& columns, const Vel8u* row, int width, float* to) {
  Stretch<kPixel> stretch({row}, width, columns.length);
  for (int x = 0; x < columns.count; ++x, to += kChannels) {
    const Floats4 sum = totalOf<PixelSums>(columns, x, &stretch);
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

  // Sixteen elements of the weighed sum of rows, those of the first one at p; ties to even.
  ORV_INLINE Lane sum(const Taps& taps, const float* p) const {
    FloatRun<16> sums = allRun<16>(0);
    const float* const end = rows + ptrdiff_t(slots) * elements;
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
    const float* const first = row(taps.first);
    for (int i = 0; i < elements; i += kWhole) {
      const int n = elements - i < kWhole ? elements - i : kWhole;
      const Lane v = sum(taps, first + i);
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

// How many source rows are filtered at a time.
template <int kPixel> constexpr int kRowsAtATime = kPixel == 1 ? kFloats : 1;

// Filters the source rows from y on that are filtered at a time, but only those before `end`; gives how many.
template <int kPixel, int kChannels> ORV_INLINE int filterRows(const Lists& columns, const ResizeImages& images,
                                                               const Vel8u* src, int y, int end,
                                                               const FilteredRows& filtered) {
  const int width = images.region.width;
  if constexpr (kPixel > 1) {
    filterPixelRow<kPixel, kChannels>(columns, rowOf(src, images.srcStep, y), width, filtered.row(y));
    return 1;
  } else {
    const int count = end - y < kFloats ? end - y : kFloats;
    const Vel8u* rows[kFloats];
    float* to[kFloats];
    for (int r = 0; r < kFloats; ++r) {
      const int row = y + (r < count ? r : 0);
      rows[r] = rowOf(src, images.srcStep, row), to[r] = filtered.row(row);
    }
    filterPlaneRows(columns, rows, width, count, to);
    return count;
  }
}

template <int kPixel, int kChannels = kPixel>
ORV_INLINE VelStatus resize(const ResizePlan& plan, const ResizeImages& images) {
  const Kernel kernel = {plan.method};
  const Lists horizontal(images.buffer, kernel, columns(plan, images), plan.dstWidth, 2);
  const Lists vertical(horizontal.end(), kernel, rows(plan, images), plan.dstHeight, 1);
  // The buffer has room for all source rows, twice.
  const int wanted = vertical.most + kRowsAtATime<kPixel> - 1,
            slots = wanted < images.region.height ? wanted : images.region.height;
  const FilteredRows filtered = {static_cast<float*>(vertical.end()), slots, plan.dstWidth * kChannels};
  const Taps& lowest = vertical[plan.dstHeight - 1];
  const int last = lowest.first + lowest.count;
  filtered.clear();
  for (const ResizePlane plane : images) {
    int next = 0;  // source rows before this one need no more work
    for (int y = 0; y < plan.dstHeight; ++y) {
      const Taps& taps = vertical[y];
      if (next < taps.first) next = taps.first;
      while (next < taps.first + taps.count)
        next += filterRows<kPixel, kChannels>(horizontal, images, plane.src, next, last, filtered);
      filtered.store<kChannels != kPixel>(taps, rowOf(plane.dst, images.dstStep, y));
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
