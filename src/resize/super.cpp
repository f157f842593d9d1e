// Supersampling: the mean of what a destination pixel's square covers of the source.
//
// Rows come first: those that a destination row covers are weighed and added up at full width, into a row of floats.
// Whole pixels weigh 1 and are added up as integers, so that sums of whole cells are exact; the area is divided by at
// the end. Cells of 2 x 2 to 4 x 4 whole pixels have kernels of their own, in words.
#include "core/cache.h"
#include "resize/sums.h"

namespace {

// ---- What a destination pixel covers in one direction

// Pixels of the region: the first one weighs head, the last one tail, what is between them 1, one alone head.
struct Span {
  int first, count;
  float head, tail;
  float inverse;  // of the sum of the weights
};

constexpr double kNearlyWhole = 1e-7;
// The edge before the i-th pixel written, in coordinates of the region.
ORV_INLINE double edgeOf(const Axis& axis, int i) {
  return (double(axis.start) + i) * axis.inverse + axis.offset - axis.first;
}
ORV_INLINE double snapped(double v) {
  const double whole = floorOf(v + 0.5);
  return v - whole < kNearlyWhole && whole - v < kNearlyWhole ? whole : v;
}
// The centre is in the region, and the square no smaller than a source pixel: half of one is covered at least.
ORV_INLINE Span spanOf(const Axis& axis, int i) {
  const double left = edgeOf(axis, i), right = edgeOf(axis, i + 1);
  // Written so that a NaN, of an infinite inverse, is the region's edge.
  const double from = left > 0 ? snapped(left < axis.count ? left : axis.count) : 0;
  const double to = right < axis.count ? snapped(right > 0 ? right : 0) : axis.count;
  const int first = clamped(floorOf(from), axis.count), last = clamped(-floorOf(-to) - 1, axis.count);
  Span span = {first, last > first ? last - first + 1 : 1, float(to - from), 0, float(1 / (to - from))};
  if (last > first) span.head = float(first + 1 - from), span.tail = float(to - last);
  return span;
}

// To the nearest integer, halves up: what rounding errors leave of a half is still one. Sums of fewer than 65793 pixels
// have errors below half of it.
constexpr float kHalf = 0.5f + 1.0f / 4096;

// ---- Rows

struct Sixteen {
  Lane operator()(const Vel8u* p) const { return load(p); }
};
struct Fewer {
  int count;
  Lane operator()(const Vel8u* p) const {
    Vel8u bytes[16] = {};
    memcpy(bytes, p, size_t(count));
    return load(bytes);
  }
};
// Calls group(place, load) for all of a row of samples, sixteen at a time; the last ones may be done twice.
template <class Group> ORV_INLINE void bySixteen(int samples, const Group& group) {
  if (samples < 16) return group(0, Fewer{samples});
  for (int i = 0; i + 16 <= samples; i += 16) group(i, Sixteen());
  if (samples % 16) group(samples - 16, Sixteen());
}

// The rows of a span.
struct Rows {
  const Vel8u* whole;
  int wholes, step;
  const Vel8u *last, *head, *tail;  // the latter null where there is none, or it is whole
  float headWeight, tailWeight;

  Rows(const Vel8u* region, int srcStep, const Span& span)
      : whole(rowOf(region, srcStep, span.first)),
        wholes(span.count),
        step(srcStep),
        last(rowOf(region, srcStep, span.first + span.count - 1)),
        head(nullptr),
        tail(nullptr),
        headWeight(span.head),
        tailWeight(span.tail) {
    if (span.head < 1) head = whole, whole = rowOf(whole, step, 1), --wholes;
    if (span.count > 1 && span.tail < 1) tail = last, --wholes;
  }

  static void addWeighed(Lane bytes, float weight, Floats (&sums)[kWidesOf16]) {
    Floats floats[kWidesOf16];
    bytesToFloats(bytes, floats);
    ORV_UNROLL for (int k = 0; k < kWidesOf16; ++k) sums[k] = sums[k] + (floats[k] * allFloats(weight));
  }
  // Rows of a strip are too short for the processor to foresee the next ones.
  __attribute__((always_inline)) void foresee(int i) const {
    prefetch(last + i, ptrdiff_t(step));
    prefetch(last + i, ptrdiff_t(step) * 2);
  }
  template <class Load> void sum(int i, const Load& load, float* to) const {
    constexpr int kMost = 256;  // bytes that a word holds the sum of
    Floats sums[kWidesOf16];
    for (Floats& s : sums) s = allFloats(0);
    const Vel8u* p = whole;
    for (int left = wholes; left > 0; left -= kMost) {
      Lane low = zero(), high = zero();
      for (int n = left < kMost ? left : kMost; n > 0; --n, p = rowOf(p, step, 1)) {
        const Lane bytes = load(p + i);
        low = add16(low, widenLowU8(bytes));
        high = add16(high, widenHighU8(bytes));
      }
      Floats floats[kWidesOf16];
      wordsToFloats(low, high, floats);
      ORV_UNROLL for (int k = 0; k < kWidesOf16; ++k) sums[k] = sums[k] + floats[k];
    }
    foresee(i);
    if (head) addWeighed(load(head + i), headWeight, sums);
    if (tail) addWeighed(load(tail + i), tailWeight, sums);
    ORV_UNROLL for (int k = 0; k < kWidesOf16; ++k) store(to + i + k * kLanesOfWide, sums[k]);
  }
  // The same of two or three rows, of which no more than one is whole: it comes first, with a weight of 1.
  template <int kRows> void sumFew(int samples, float* to) const {
    const Vel8u* row[kRows];
    float weight[kRows];
    int count = 0;
    const auto add = [&](const Vel8u* p, float w) { row[count] = p, weight[count++] = w; };
    if (wholes == 1) add(whole, 1);
    if (head) add(head, headWeight);
    if (tail) add(tail, tailWeight);
    for (int place = 0; place < samples; place += 16) {
      const int i = place + 16 <= samples ? place : samples - 16;
      Floats sums[kWidesOf16];
      ORV_UNROLL for (int r = 0; r < kRows; ++r) {
        Floats floats[kWidesOf16];
        bytesToFloats(load(row[r] + i), floats);
        ORV_UNROLL for (int k = 0; k < kWidesOf16; ++k) {
          const Floats product = floats[k] * allFloats(weight[r]);
          sums[k] = r == 0 ? product : (sums[k] + product);
        }
      }
      foresee(i);
      ORV_UNROLL for (int k = 0; k < kWidesOf16; ++k) store(to + i + k * kLanesOfWide, sums[k]);
    }
  }
  void sum(int samples, float* to) const {
    const int few = samples >= 16 && wholes <= 1 ? wholes + (head != nullptr) + (tail != nullptr) : 0;
    if (few == 2) return sumFew<2>(samples, to);
    if (few == 3) return sumFew<3>(samples, to);
    bySixteen(samples, [&](int i, const auto& load) { sum(i, load, to); });
  }
};

// ---- Columns
//
// The tables hold a strip of the destination's columns: for all of them the buffer has no room.

constexpr int kStrip = 256;

// The sum of n vectors, in parts short enough for single precision.
template <class At> ORV_INLINE Floats4 sumOf(int n, const At& at) {
  Floats4 sum = allFloats<Floats4>(0);
  for (int i = 0; i < n;) {
    Floats4 part = allFloats<Floats4>(0);
    for (const int end = n - i > 1024 ? i + 1024 : n; i < end; ++i) part = part + at(i);
    sum = sum + part;
  }
  return sum;
}
ORV_INLINE Lane rounded(Floats4 sums, Floats4 inverses) {
  return truncated(((sums * inverses) + allFloats<Floats4>(kHalf)));
}

// Of one channel: four sources of a column at once, and as many columns as a wide vector has lanes.
struct PlaneColumns {
  int from[kStrip], groups[kStrip];        // of four sources
  float head[kStrip][4], tail[kStrip][4];  // weights of the first and the last group; those between weigh 1
  float inverse[kStrip];
  bool isNarrow;  // one group each

  static constexpr int kColumns = kLanesOfWide, kHalves = kLanesOfWide / 4;
  // Where a column's weights are: those of a half's columns are next to those of the other half's.
  static int placeOf(int x) { return x / kColumns * kColumns + x % 4 * kHalves + x % kColumns / 4; }

  void set(int x, const Span& span, int base) {
    static const float kOnes[] = {1, 1, 1, 1, 0, 0, 0, 0};
    from[x] = span.first - base;
    groups[x] = (span.count + 3) / 4;
    inverse[x] = span.inverse;
    isNarrow = groups[x] == 1 && (x == 0 || isNarrow);
    float *const first = head[placeOf(x)], *const last = groups[x] == 1 ? first : tail[placeOf(x)];
    const int used = span.count - 4 * (groups[x] - 1);  // of the last group
    ::store(first, load<Floats4>(kOnes));
    ::store(last, load<Floats4>(kOnes + 4 - used));
    last[used - 1] = span.tail;
    first[0] = span.head;
  }
  Floats4 lanesOf(int x, const float* sums) const {
    const float* const p = sums + from[x];
    const Floats4 first = load<Floats4>(p) * load<Floats4>(head[placeOf(x)]);
    if (groups[x] == 1) return first;
    const float* const last = p + 4 * groups[x] - 4;
    const Floats4 between = sumOf(groups[x] - 2, [p](int i) { return load<Floats4>(p + 4 * i + 4); });
    return (first + between) + (load<Floats4>(last) * load<Floats4>(tail[placeOf(x)]));
  }
  // Of column x + i, and the one four columns on; x is a multiple of kColumns.
  Floats narrowLanesOf(int x, int i, const float* sums) const {
#if ORV_HAS_WIDE_FLOAT
    const Floats sources = _mm256_insertf128_ps(_mm256_castps128_ps256(load<Floats4>(sums + from[x + i])),
                                                load<Floats4>(sums + from[x + i + 4]), 1);
#else
    const Floats sources = load<Floats4>(sums + from[x + i]);
#endif
    return sources * load<Floats>(head[x + i * kHalves]);
  }
  Floats wideLanesOf(int x, const float* sums) const {
#if ORV_HAS_WIDE_FLOAT
    return _mm256_insertf128_ps(_mm256_castps128_ps256(lanesOf(x, sums)), lanesOf(x + 4, sums), 1);
#else
    return lanesOf(x, sums);
#endif
  }
  template <bool kNarrow> void store(const float* sums, float rowInverse, int n, Vel8u* dst) const {
    for (int x = 0; x < n; x += kColumns) {
      Floats lanes[4];
      ORV_UNROLL for (int i = 0; i < 4; ++i) lanes[i] = kNarrow ? narrowLanesOf(x, i, sums) : wideLanesOf(x + i, sums);
      const Floats means = laneSums(lanes) * (load<Floats>(inverse + x) * allFloats(rowInverse));
      const Floats rounded = means + allFloats(kHalf);
#if ORV_HAS_WIDE_FLOAT
      const Dwords eight = truncated(rounded);
      const Lane words = narrow32(lowHalf(eight), highHalf(eight));
#else
      const Lane four = truncated(rounded), words = narrow32(four, four);
#endif
      const Lane bytes = narrow16To8U(words, words);
      if (x + kColumns <= n) {
        storeFirst<kColumns>(dst + x, bytes);
      } else {
        Vel8u last[8];
        storeLow(last, bytes);
        memcpy(dst + x, last, size_t(n - x));
      }
    }
  }
  void store(const float* sums, float rowInverse, int n, Vel8u* dst) const {
    isNarrow ? store<true>(sums, rowInverse, n, dst) : store<false>(sums, rowInverse, n, dst);
  }
};

// Of interleaved pixels: a lane for each channel.
template <int kPixel, int kChannels> struct PixelColumns {
  Span spans[kStrip];

  void set(int x, const Span& span, int base) {
    spans[x] = span;
    spans[x].first = (span.first - base) * kPixel;
  }
  void store(const float* sums, float rowInverse, int n, Vel8u* dst) const {
    for (int x = 0; x < n; ++x) {
      const Span& span = spans[x];
      const float* const p = sums + span.first;
      Floats4 sum = load<Floats4>(p) * allFloats<Floats4>(span.head);
      if (span.count > 2)
        sum = (sum + sumOf(span.count - 2, [p](int i) { return load<Floats4>(p + kPixel * (i + 1)); }));
      if (span.count > 1) sum = sum + (load<Floats4>(p + kPixel * (span.count - 1)) * allFloats<Floats4>(span.tail));
      const Lane four = rounded(sum, allFloats<Floats4>(span.inverse * rowInverse));
      const Lane words = narrow32(four, four);
      storePixel<kPixel, kChannels>(dst + kPixel * x, narrow16To8U(words, words), x + 1 == n);
    }
  }
};

// The buffer has eight bytes for each sample of a region whose width is rounded up to 16, which is room for the sums and
// sixteen floats behind them that are read with weight 0. (Of AC4 it has six bytes for each of four samples.)
template <int kPixel, int kChannels, class Columns>
ORV_INLINE VelStatus decimate(const ResizePlan& plan, const ResizeImages& images) {
  const Axis horizontal = columns(plan, images), vertical = rows(plan, images);
  float* const sums = reinterpret_cast<float*>(images.buffer);
  Columns table;
  for (int x = 0; x < plan.dstWidth; x += kStrip) {
    const int n = plan.dstWidth - x < kStrip ? plan.dstWidth - x : kStrip;
    const int base = spanOf(horizontal, x).first;
    const Span last = spanOf(horizontal, x + n - 1);
    for (int i = 0; i < (n + 7) / 8 * 8; ++i) table.set(i, i < n ? spanOf(horizontal, x + i) : last, base);
    const int samples = (last.first + last.count - base) * kPixel;
    for (int i = 0; i < 16; i += 4) store(sums + (samples < 16 ? 16 : samples) + i, allFloats<Floats4>(0));
    for (const ResizePlane plane : images)
      for (int y = 0; y < plan.dstHeight; ++y) {
        const Span span = spanOf(vertical, y);
        Rows(plane.src + ptrdiff_t(base) * kPixel, images.srcStep, span).sum(samples, sums);
        table.store(sums, span.inverse, n, rowOf(plane.dst, images.dstStep, y) + ptrdiff_t(x) * kPixel);
      }
  }
  return velStsNoErr;
}

// ---- Cells of n x n whole pixels

// The means of eight sums, halves up.
constexpr unsigned kNinth = 7282;  // of 65536, rounded up
constexpr bool isNinthExact() {
  for (unsigned sum = 0; sum <= 9 * 255; ++sum)
    if ((sum + 4) * kNinth >> 16 != (sum + 4) / 9) return false;
  return true;
}
static_assert(isNinthExact(), "");
template <int n> ORV_INLINE Lane means(Lane sums) {
  if (n == 3) return mulHighU16(add16(sums, all16(4)), all16(kNinth));
  return shiftRightU16(add16(sums, all16(n * n / 2)), n == 2 ? 2 : 4);
}

// Sums of columns, of one channel: eight cells.
ORV_INLINE Lane pairSums(Lane a, Lane b) { return narrow32(mulAddPairs16(a, all16(1)), mulAddPairs16(b, all16(1))); }
template <int n> ORV_INLINE Lane cellSums(const Vel16u* p) {
  if (n == 2) return pairSums(load(p), load(p + 8));
  if (n == 4) return pairSums(pairSums(load(p), load(p + 8)), pairSums(load(p + 16), load(p + 24)));
  // Sums of three at every place, of which every third is wanted: from each vector other lanes. Lane i then has cell 3 i
  // (modulo 8).
  const auto three = [p](int i) { return add16(add16(load(p + i), load(p + i + 1)), load(p + i + 2)); };
  const Lane mixed = ((three(0) & _mm_setr_epi16(-1, 0, 0, -1, 0, 0, -1, 0)) |
                      (three(8) & _mm_setr_epi16(0, -1, 0, 0, -1, 0, 0, -1))) |
                     (three(16) & _mm_setr_epi16(0, 0, -1, 0, 0, -1, 0, 0));
  const Lane halves = shuffleHalves16<0, 3, 2, 1>(mixed);
  const Lane swapped = shuffle32<0, 3, 2, 1>(halves);
  const Lane isSwapped = _mm_setr_epi16(0, 0, -1, 0, 0, 0, -1, 0);
  return (isSwapped & swapped) | (~isSwapped & halves);
}

template <int n> ORV_INLINE void storePlaneCells(const Vel16u* sums, int width, Vel8u* dst) {
  for (int x = 0; x < width; x += 8) {
    const Lane words = means<n>(cellSums<n>(sums + n * x)), bytes = narrow16To8U(words, words);
    if (x + 8 <= width) {
      storeLow(dst + x, bytes);
    } else {
      Vel8u last[8];
      storeLow(last, bytes);
      memcpy(dst + x, last, size_t(width - x));
    }
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

template <int n, int kPixel, int kChannels>
ORV_INLINE void decimateCells(const ResizePlan& plan, const ResizeImages& images, const ResizePlane& plane,
                              int firstColumn, int firstRow) {
  Vel16u* const sums = reinterpret_cast<Vel16u*>(images.buffer);
  const Vel8u* src = rowOf(plane.src, images.srcStep, firstRow) + ptrdiff_t(firstColumn) * kPixel;
  const int samples = plan.dstWidth * n * kPixel;
  for (int y = 0; y < plan.dstHeight; ++y, src = rowOf(src, images.srcStep, n)) {
    bySixteen(samples, [&](int i, const auto& load) {
      Lane low = zero(), high = zero();
      ORV_UNROLL for (int row = 0; row < n; ++row) {
        const Lane bytes = load(rowOf(src, images.srcStep, row) + i);
        low = add16(low, widenLowU8(bytes));
        high = add16(high, widenHighU8(bytes));
      }
      store(sums + i, low);
      store(sums + i + 8, high);
    });
    Vel8u* const dst = rowOf(plane.dst, images.dstStep, y);
    if (kPixel == 1)
      storePlaneCells<n>(sums, plan.dstWidth, dst);
    else
      storePixelCells<n, kPixel, kChannels>(sums, plan.dstWidth, dst);
  }
}

template <int n> struct Cells { static constexpr int kSide = n; };
// Where the cells begin, or -1 if the squares are none, or leave the region.
ORV_INLINE int firstCell(const Axis& axis, int size, int n) {
  const double left = edgeOf(axis, 0), right = edgeOf(axis, size);
  if (!(left > -0.5 && right < axis.count + 0.5)) return -1;
  const double first = snapped(left), end = snapped(right);
  return first >= 0 && first == floorOf(first) && end == first + double(size) * n && end <= axis.count ? int(first)
                                                                                                       : -1;
}

template <int kPixel, int kChannels, class Columns>
ORV_INLINE VelStatus supersample(const ResizePlan& plan, const ResizeImages& images) {
  const auto cells = [&](auto n) {
    const int column = firstCell(columns(plan, images), plan.dstWidth, n.kSide);
    const int row = firstCell(rows(plan, images), plan.dstHeight, n.kSide);
    if (column < 0 || row < 0) return false;
    for (const ResizePlane plane : images) decimateCells<n.kSide, kPixel, kChannels>(plan, images, plane, column, row);
    return true;
  };
  if (cells(Cells<2>()) || cells(Cells<3>()) || cells(Cells<4>())) return velStsNoErr;
  return decimate<kPixel, kChannels, Columns>(plan, images);
}
template <int kPixel, int kChannels = kPixel>
ORV_INLINE VelStatus supersamplePixels(const ResizePlan& plan, const ResizeImages& images) {
  return supersample<kPixel, kChannels, PixelColumns<kPixel, kChannels>>(plan, images);
}

}  // namespace

ORV_RESIZE_KERNEL(ownDecimate8plSP) { return supersample<1, 1, PlaneColumns>(*plan, *images); }
ORV_RESIZE_KERNEL(ownDecimate8pxSP) { return supersamplePixels<3>(*plan, *images); }
ORV_RESIZE_KERNEL(ownDecimate8px4SP) {
  return images->channels == 3 ? supersamplePixels<4, 3>(*plan, *images) : supersamplePixels<4>(*plan, *images);
}
