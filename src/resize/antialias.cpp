// Antialiased resizing: a reduction widens the method's kernel to what a destination pixel covers. Every source row that
// is needed is filtered once, into a ring of rows of floats; the rows under a destination row's kernel are summed.
#include "resize/cubic.h"
#include "resize/sums.h"

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

// Where the buffer's size is what was asked for, coordinates and the reach are below 2^31 / 13 and their sums fit an int.
// A region that is nothing against the reduction needs no exact one.
ORV_INLINE double scaleOf(const Axis& axis) {
  const double most = 65536 + 4.0 * axis.count;
  return axis.inverse < 1 ? 1 : axis.inverse < most ? axis.inverse : most;
}
// Writes the taps of a destination pixel: the kernel at all distances it reaches, and what is outside the region added to
// the nearest pixel in it.
ORV_INLINE void fill(Taps& taps, const Kernel& kernel, const Axis& axis, int i) {
  const double scale = scaleOf(axis), reach = kernel.radius() * scale;
  const double v = (double(axis.start) + i + 0.5) * axis.inverse + (axis.offset - 0.5) - axis.first;
  // Written so that a NaN, of an infinite inverse, counts as the end.
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
// With region widths S and D, of n pixels a list has 8 + 4 t bytes, with t taps rounded up to a multiple of 4; the buffer
// has 8 (2 k + 2) D for them, with k >= r and k >= r S / D. Not reduced, t <= 2 r, rounded up 2 r + 2 at most: 16 r + 16
// bytes are enough for each of n <= D. Reduced by s, t <= 2 r s + 4, and n <= S / s: at most 8 r S + 24 n bytes of
// 16 r S + 16 D, where n <= D and n <= S. Two pixels on the edges of a region may add one to S / s, but lose half their
// taps each; what rounds up n is less than the room that rows of floats leave.
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

ORV_INLINE __m128 fourFloats(Vec bytes) { return _mm_cvtepi32_ps(_mm_unpacklo_epi16(widenLow8(bytes), zero())); }
ORV_INLINE Vec fourBytes(const Vel8u* p) {
  Vel32s four;
  memcpy(&four, p, 4);
  return _mm_cvtsi32_si128(four);
}
ORV_INLINE Vec fewerBytes(const Vel8u* p, int n) {
  Vel32u bytes = p[0];
  if (n > 1) bytes |= Vel32u(p[1]) << 8;
  if (n > 2) bytes |= Vel32u(p[2]) << 16;
  return _mm_cvtsi32_si128(int(bytes));
}

// Of one channel: lane i sums taps i, i + 4, ..., and the lanes of four columns are summed together.
ORV_INLINE __m128 lanesOf(const Taps& taps, const Vel8u* row, int width) {
  const Vel8u* p = row + taps.first;
  const Vel32f* weights = taps.weights();
  __m128 sum = _mm_setzero_ps();
  const auto add = [&](Vec bytes) {
    sum = _mm_add_ps(sum, _mm_mul_ps(fourFloats(bytes), _mm_loadu_ps(weights)));
    weights += 4, p += 4;
  };
  int inside = width - taps.first, left = taps.count;
  for (; left > 0 && inside >= 4; left -= 4, inside -= 4) add(fourBytes(p));
  if (left > 0) add(fewerBytes(p, left));
  return sum;
}
ORV_INLINE void filterPlaneRow(const Lists& columns, const Vel8u* row, int width, float* to) {
  const Taps* taps = columns.first;
  for (int x = 0; x < columns.count; x += 4) {
    __m128 lanes[4];
    for (int i = 0; i < 4; ++i) {
      lanes[i] = _mm_setzero_ps();
      if (x + i < columns.count) lanes[i] = lanesOf(*taps, row, width), taps = taps->next();
    }
    float sums[4];
    _mm_storeu_ps(sums, laneSums(lanes));
    memcpy(to + x, sums, x + 4 <= columns.count ? sizeof sums : size_t(columns.count - x) * sizeof(float));
  }
}

// Of interleaved pixels: a lane for each channel.
template <int kPixel, int kChannels>
ORV_INLINE void filterPixelRow(const Lists& columns, const Vel8u* row, int, float* to) {
  const Taps* taps = columns.first;
  for (int x = 0; x < columns.count; ++x, taps = taps->next(), to += kChannels) {
    const Vel8u* p = row + ptrdiff_t(taps->first) * kPixel;
    const Vel32f *weight = taps->weights(), *const last = weight + taps->count - 1;
    __m128 sum = _mm_setzero_ps();
    for (; weight < last; ++weight, p += kPixel)
      sum = _mm_add_ps(sum, _mm_mul_ps(fourFloats(fourBytes(p)), _mm_set1_ps(*weight)));
    const Vec pixel = kPixel == 4 ? fourBytes(p) : fewerBytes(p, 3);  // behind the last one may be nothing
    sum = _mm_add_ps(sum, _mm_mul_ps(fourFloats(pixel), _mm_set1_ps(*weight)));
    if (kChannels == 4 || x + 1 < columns.count) {
      _mm_storeu_ps(to, sum);
    } else {
      float three[4];
      _mm_storeu_ps(three, sum);
      memcpy(to, three, 3 * sizeof(float));
    }
  }
}
template <int kPixel, int kChannels>
ORV_INLINE void filterRow(const Lists& columns, const Vel8u* row, int width, float* to) {
  if (kPixel == 1)
    filterPlaneRow(columns, row, width, to);
  else
    filterPixelRow<kPixel, kChannels>(columns, row, width, to);
}

// ---- Vertical pass

// Filtered rows; row i is in slot i % slots. Sixteen floats are read behind the last one.
struct Ring {
  float* rows;
  int slots, elements;

  float* row(int i) const { return rows + ptrdiff_t(i % slots) * elements; }

  // Sixteen elements of the sum of rows, ties to even.
  Vec sum(const Taps& taps, int element) const {
    Wide sums[kWidesOf16];
    for (Wide& s : sums) s = zeroWide();
    const float *p = row(taps.first) + element, *const end = rows + ptrdiff_t(slots) * elements;
    const Vel32f* weight = taps.weights();
    for (int left = taps.count; left > 0; --left, ++weight) {
      ORV_UNROLL for (int k = 0; k < kWidesOf16; ++k) sums[k] =
          addWide(sums[k], mulWide(loadWide(p + k * kLanesOfWide), allWide(*weight)));
      p += elements;
      if (p >= end) p -= ptrdiff_t(slots) * elements;
    }
    Vec quads[4];
#if ORV_HAS_WIDE_FLOAT
    ORV_UNROLL for (int k = 0; k < 2; ++k) {
      const __m256i v = _mm256_cvtps_epi32(sums[k]);
      quads[2 * k] = _mm256_castsi256_si128(v), quads[2 * k + 1] = _mm256_extractf128_si256(v, 1);
    }
#else
    ORV_UNROLL for (int k = 0; k < 4; ++k) quads[k] = _mm_cvtps_epi32(sums[k]);
#endif
    return _mm_packus_epi16(_mm_packs_epi32(quads[0], quads[1]), _mm_packs_epi32(quads[2], quads[3]));
  }
  template <bool kKeepsFourth> void store(const Taps& taps, Vel8u* dst) const {
    constexpr int kWhole = kKeepsFourth ? 15 : 16;  // five pixels, where the destination has gaps
    for (int i = 0; i < elements; i += kWhole) {
      const int n = elements - i < kWhole ? elements - i : kWhole;
      const Vec v = sum(taps, i);
      if (!kKeepsFourth && n == 16) {
        ::store(dst + i, v);
        continue;
      }
      Vel8u bytes[16];
      ::store(bytes, v);
      if (kKeepsFourth)
        for (int k = 0; k < n; k += 3) memcpy(dst + (i + k) / 3 * 4, bytes + k, 3);
      else
        memcpy(dst + i, bytes, size_t(n));
    }
  }
};

template <int kPixel, int kChannels = kPixel>
ORV_INLINE VelStatus resize(const ResizePlan& plan, const ResizeImages& images) {
  const Kernel kernel = {plan.method};
  const Lists horizontal(reinterpret_cast<Taps*>(images.buffer), kernel, columns(plan, images), plan.dstWidth);
  const Lists vertical(horizontal.end, kernel, rows(plan, images), plan.dstHeight);
  const Ring ring = {reinterpret_cast<float*>(vertical.end), vertical.most, plan.dstWidth * kChannels};
  const Taps* taps = vertical.first;
  int filtered = 0;  // source rows before this one need no more work
  for (int y = 0; y < plan.dstHeight; ++y, taps = taps->next()) {
    if (filtered < taps->first) filtered = taps->first;
    for (; filtered < taps->first + taps->count; ++filtered)
      filterRow<kPixel, kChannels>(horizontal, rowOf(images.src, images.srcStep, filtered), images.region.width,
                                   ring.row(filtered));
    ring.store<kChannels != kPixel>(*taps, rowOf(images.dst, images.dstStep, y));
  }
  return velStsNoErr;
}

}  // namespace

ORV_RESIZE_KERNEL(ownpiResizeAA) {
  if (images->pixel == 1) return resize<1>(*plan, *images);
  if (images->pixel == 3) return resize<3>(*plan, *images);
  return images->channels == 3 ? resize<4, 3>(*plan, *images) : resize<4>(*plan, *images);
}
