// Supersampling by areas: the mean of what a destination pixel's square covers of the source, parts of pixels included.
//
// Rows come first: those that a destination row covers are weighed and added up at full width, into a row of floats.
// Whole pixels weigh 1 and are added up as integers, so that sums of whole pixels are exact; the area is divided by at
// the end.
#pragma once
#include "core/cache.h"
#include "resize/super.h"

namespace {

// ---- What a destination pixel covers in one direction

// Pixels of the region: the first one weighs head, the last one tail, what is between them 1, one alone head.
struct Span {
  int first, count;
  float head, tail;
  float inverse;  // of the sum of the weights
};

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

// The rows of a span.
struct CoveredRows {
  const Vel8u* whole;
  int wholes, step;
  const Vel8u *last, *head, *tail;  // the latter null where there is none, or it is whole
  float headWeight, tailWeight;

  CoveredRows(const Vel8u* region, int srcStep, const Span& span)
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

  // Sixteen samples from i on: whole rows as integers, then those that count in part.
  template <class Load> ORV_INLINE FloatRun<16> sum(int i, const Load& loadFrom) const {
    constexpr int kMost = 256;  // bytes that a word holds the sum of
    FloatRun<16> sums = allRun<16>(0);
    const Vel8u* p = whole;
    for (int left = wholes; left > 0; left -= kMost) {
      Lane low = zero(), high = zero();
      for (int n = left < kMost ? left : kMost; n > 0; --n, p = rowOf(p, step, 1)) {
        const Lane bytes = loadFrom(p + i);
        low = add16(low, widenLowU8(bytes));
        high = add16(high, widenHighU8(bytes));
      }
      sums = sums + wordsToFloats(low, high);
    }
    prefetchTwoRows(last + i, step, 1);
    if (head) sums = sums + bytesToFloats<16>(loadFrom(head + i)) * headWeight;
    if (tail) sums = sums + bytesToFloats<16>(loadFrom(tail + i)) * tailWeight;
    return sums;
  }
  // The same of sixteen samples or more, from two or three rows, of which no more than one is whole: it comes first, with a
  // weight of 1.
  template <int kRows> void sumRows(int samples, float* to) const {
    const Vel8u* row[kRows];
    float weight[kRows];
    int count = 0;
    const auto add = [&](const Vel8u* p, float w) { row[count] = p, weight[count++] = w; };
    if (wholes == 1) add(whole, 1);
    if (head) add(head, headWeight);
    if (tail) add(tail, tailWeight);
    for (int place = 0; place < samples; place += 16) {
      const int i = place + 16 <= samples ? place : samples - 16;
      FloatRun<16> sums = bytesToFloats<16>(load(row[0] + i)) * weight[0];
      ORV_UNROLL for (int r = 1; r < kRows; ++r) sums = sums + bytesToFloats<16>(load(row[r] + i)) * weight[r];
      prefetchTwoRows(last + i, step, 1);
      storeRun(to + i, sums);
    }
  }
  void sum(int samples, float* to) const {
    const int rows = samples >= 16 && wholes <= 1 ? wholes + (head != nullptr) + (tail != nullptr) : 0;
    if (rows == 2) return sumRows<2>(samples, to);
    if (rows == 3) return sumRows<3>(samples, to);
    forSamples(samples, [&](int i, const auto& loadFrom) { storeRun(to + i, sum(i, loadFrom)); });
  }
};

// ---- Columns
//
// The tables hold a section of the destination's columns: for all of them the buffer has no room.

constexpr int kSection = 256;

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
// Of one channel: four sources of a column at once, and as many columns as a vector has floats.
struct PlaneColumns {
  int from[kSection], loads[kSection];         // of four sources each
  float head[kSection][4], tail[kSection][4];  // weights of the first and the last load; those between weigh 1
  float inverse[kSection];
  bool isNarrow;  // one load each

  static constexpr int kColumns = kFloats;
  // Where a column's weights are: next to those of the column four further on, in the vector's other lane if it has one.
  static int placeOf(int x) { return x / kColumns * kColumns + x % 4 * kFloatsLanes + x % kColumns / 4; }

  void set(int x, const Span& span, int base) {
    static const float kOnes[] = {1, 1, 1, 1, 0, 0, 0, 0};
    from[x] = span.first - base;
    loads[x] = (span.count + 3) / 4;
    inverse[x] = span.inverse;
    isNarrow = loads[x] == 1 && (x == 0 || isNarrow);
    float *const first = head[placeOf(x)], *const last = loads[x] == 1 ? first : tail[placeOf(x)];
    const int used = span.count - 4 * (loads[x] - 1);  // of the last load
    ::store(first, load<Floats4>(kOnes));
    ::store(last, load<Floats4>(kOnes + 4 - used));
    last[used - 1] = span.tail;
    first[0] = span.head;
  }
  // Sums of every fourth source of column x.
  Floats4 lanesOf(int x, const float* sums) const {
    const float* const p = sums + from[x];
    const Floats4 first = load<Floats4>(p) * load<Floats4>(head[placeOf(x)]);
    if (loads[x] == 1) return first;
    const float* const last = p + 4 * loads[x] - 4;
    const Floats4 between = sumOf(loads[x] - 2, [p](int i) { return load<Floats4>(p + 4 * i + 4); });
    return first + between + load<Floats4>(last) * load<Floats4>(tail[placeOf(x)]);
  }
  // Of columns x + i and, in the other lane, x + i + 4; x is a multiple of kColumns.
  template <bool kNarrow> Floats columnLanes(int x, int i, const float* sums) const {
    if (!kNarrow) return joinLanes([&](int lane) { return lanesOf(x + i + 4 * lane, sums); });
    const auto sources = [&](int lane) { return load<Floats4>(sums + from[x + i + 4 * lane]); };
    return joinLanes(sources) * load<Floats>(head[x + i * kFloatsLanes]);
  }
  template <bool kNarrow> void store(const float* sums, float rowInverse, int n, Vel8u* dst) const {
    for (int x = 0; x < n; x += kColumns) {
      Floats lanes[4];
      ORV_UNROLL for (int i = 0; i < 4; ++i) lanes[i] = columnLanes<kNarrow>(x, i, sums);
      const Floats means = laneSums(lanes) * (load<Floats>(inverse + x) * allFloats(rowInverse));
      const DwordRun<kColumns> rounded = {{truncated(means + allFloats(kHalf))}};
      const Lane bytes = narrowTo8U(rounded);
      if (x + kColumns <= n)
        storeFirst<kColumns>(dst + x, bytes);
      else
        storeFirst(dst + x, bytes, size_t(n - x));
    }
  }
  void store(const float* sums, float rowInverse, int n, Vel8u* dst) const {
    isNarrow ? store<true>(sums, rowInverse, n, dst) : store<false>(sums, rowInverse, n, dst);
  }
};

// Of interleaved pixels: a lane for each channel.
template <int kPixel, int kChannels> struct PixelColumns {
  Span spans[kSection];

  void set(int x, const Span& span, int base) {
    spans[x] = span;
    spans[x].first = (span.first - base) * kPixel;
  }
  void store(const float* sums, float rowInverse, int n, Vel8u* dst) const {
    for (int x = 0; x < n; ++x) {
      const Span& span = spans[x];
      const float* const p = sums + span.first;
      Floats4 sum = load<Floats4>(p) * allFloats<Floats4>(span.head);
      if (span.count > 2) sum = sum + sumOf(span.count - 2, [p](int i) { return load<Floats4>(p + kPixel * (i + 1)); });
      if (span.count > 1) sum = sum + load<Floats4>(p + kPixel * (span.count - 1)) * allFloats<Floats4>(span.tail);
      const Floats4 mean = sum * allFloats<Floats4>(span.inverse * rowInverse);
      const DwordRun<4> rounded = {{truncated(mean + allFloats<Floats4>(kHalf))}};
      storePixel<kPixel, kChannels>(dst + kPixel * x, narrowTo8U(rounded), x + 1 == n);
    }
  }
};

template <int kPixel, int kChannels, class Columns>
ORV_INLINE VelStatus resizeAreas(const ResizePlan& plan, const ResizeImages& images) {
  constexpr int kSlack = 16;  // floats after the sums, which are read with weight 0
  static_assert(bufferHolds(sizeof(float), kSlack, kPixel, kChannels));
  const Axis horizontal = columns(plan, images), vertical = rows(plan, images);
  float* const sums = reinterpret_cast<float*>(images.buffer);
  Columns table;
  for (int x = 0; x < plan.dstWidth; x += kSection) {
    const int n = plan.dstWidth - x < kSection ? plan.dstWidth - x : kSection;
    const int base = spanOf(horizontal, x).first;
    const Span last = spanOf(horizontal, x + n - 1);
    for (int i = 0; i < (n + 7) / 8 * 8; ++i) table.set(i, i < n ? spanOf(horizontal, x + i) : last, base);
    const int samples = (last.first + last.count - base) * kPixel;
    storeRun(sums + (samples < 16 ? 16 : samples), allRun<kSlack>(0));
    for (const ResizePlane plane : images)
      for (int y = 0; y < plan.dstHeight; ++y) {
        const Span span = spanOf(vertical, y);
        CoveredRows(plane.src + ptrdiff_t(base) * kPixel, images.srcStep, span).sum(samples, sums);
        table.store(sums, span.inverse, n, rowOf(plane.dst, images.dstStep, y) + ptrdiff_t(x) * kPixel);
      }
  }
  return velStsNoErr;
}

}  // namespace
