// Resizing by a filter of kTaps taps in each direction, in single precision: source rows are filtered into rows of
// floats, each once, and kTaps of those make a destination row. Sums go from the first tap to the last.
//
// A Method says how many taps there are, rounds the sums of a column, and names the kernels of its steps.
#pragma once
#include "resize/kernels.h"

namespace {

// The taps of a position are the pixels from its index less kBefore on.
template <int kTaps> constexpr int kBefore = kTaps / 2 - 1;

// ---- Weights

using WeightsKernel = void(const Vel32f* fractions, int count, Vel32f* weights);
// Gives set(i, index, weights) what positionAt(i) comes to, for all i below n.
template <int kTaps, class PositionAt, class Set>
ORV_INLINE void weighAll(WeightsKernel* weigh, int n, const PositionAt& positionAt, const Set& set) {
  constexpr int kAtOnce = 32;
  int indices[kAtOnce];
  float fractions[kAtOnce], weights[kAtOnce * kTaps];
  for (int from = 0; from < n; from += kAtOnce) {
    const int some = n - from < kAtOnce ? n - from : kAtOnce;
    for (int i = 0; i < some; ++i) {
      const Position p = positionAt(from + i);
      indices[i] = p.index, fractions[i] = p.fraction;
    }
    weigh(fractions, some, weights);
    for (int i = 0; i < some; ++i) set(from + i, indices[i], weights + i * kTaps);
  }
}

ORV_INLINE Lane load4(const Vel8u* p) {
  Vel32s four;
  memcpy(&four, p, 4);
  return fromInt(four);
}

// ---- The ends of source rows
//
// Columns at the ends of a row have taps outside it, which are copies of its first or last pixel, or would be loaded
// together with bytes behind it. They take theirs from a copy of the row's end with more pixels on the outside.
template <int kTaps, int kPixel> struct RowEnd {
  static constexpr int kLeft = 2 * kTaps, kRight = 3 * kTaps, kInside = 3 * kTaps;
  Vel8u pixels[(kInside + kRight) * kPixel];

  RowEnd(FilterPart part, const Vel8u* row, int count) {
    const Vel8u* const last = row + ptrdiff_t(count - 1) * kPixel;
    Vel8u* const inside = pixels + (part == kLeftEnd ? kLeft * kPixel : 0);
    if (count < kInside) {
      for (int i = 0; i < kInside; ++i)
        memcpy(inside + i * kPixel, row + clamped(part == kLeftEnd ? i : count - kInside + i, count) * kPixel, kPixel);
    } else {
      memcpy(inside, part == kLeftEnd ? row : last - (kInside - 1) * kPixel, kInside * kPixel);
    }
    if (part == kLeftEnd)
      repeat<kLeft>(pixels, row);
    else
      repeat<kRight>(inside + kInside * kPixel, last);
  }
  template <int n> static void repeat(Vel8u* to, const Vel8u* pixel) {
    if (kPixel == 1)
      memset(to, *pixel, n);
    else
      for (int i = 0; i < n; ++i) memcpy(to + i * kPixel, pixel, kPixel);
  }
};

// ---- Horizontal pass
//
// A group is as many columns as fill a wide vector with floats: four or eight of one channel, one or two pixels of three
// or four channels, of which each has four lanes.

constexpr int kLanes = int(kFloatsBytes / sizeof(float));

ORV_INLINE Floats toFloats([[maybe_unused]] const Lane* quads) {
#if ORV_HAS_WIDE_FLOAT
  return toFloats(_mm256_insertf128_si256(_mm256_castsi128_si256(quads[0]), quads[1], 1));
#else
  return toFloats(quads[0]);
#endif
}

template <int kTaps, int kPixel> struct Group {  // of whole pixels
  static constexpr int kColumns = kLanes / 4;
  static constexpr int kBytes = (kTaps - 1) * kPixel + 4;  // that are loaded from the first tap on
  struct {
    Vel32s from;
    Vel32f weights[kTaps];
  } column[kColumns];

  void set(int i, int from, const float* weights) {
    column[i].from = from;
    memcpy(column[i].weights, weights, sizeof column[i].weights);
  }
  __attribute__((always_inline)) Floats filtered(const Vel8u* row) const {
    Floats sum = allFloats(0);
    ORV_UNROLL for (int t = 0; t < kTaps; ++t) {
      Lane quads[kColumns];
      ORV_UNROLL for (int i = 0; i < kColumns; ++i) quads[i] =
          interleaveLow16(widenLowU8(load4(row + column[i].from + t * kPixel)), zero());
      const Floats product = toFloats(quads) * weights(t);
      sum = t == 0 ? product : (sum + product);
    }
    return sum;
  }
  Floats weights(int t) const {
#if ORV_HAS_WIDE_FLOAT
    return _mm256_insertf128_ps(_mm256_broadcast_ss(&column[0].weights[t]), allFloats<Floats4>(column[1].weights[t]),
                                1);
#else
    return allFloats<Floats4>(column[0].weights[t]);
#endif
  }
};
template <int kTaps> struct Group<kTaps, 1> {  // of single samples
  static constexpr int kColumns = kLanes;
  static constexpr int kBytes = (kTaps + 3) / 4 * 4;
  Vel32s from[kColumns];
  Vel32f weights[kTaps][kColumns];

  void set(int i, int first, const float* w) {
    from[i] = first;
    for (int t = 0; t < kTaps; ++t) weights[t][i] = w[t];
  }
  __attribute__((always_inline)) Floats filtered(const Vel8u* row) const {
    const auto two = [&](int i) {
      return interleaveLow8(loadFirst<kBytes>(row + from[i]), loadFirst<kBytes>(row + from[i + 1]));
    };
    Lane bytes[2][kLanes / 4];  // of four taps, for four columns each
    ORV_UNROLL for (int q = 0; q < kLanes / 4; ++q) {
      const Lane ab = two(4 * q), cd = two(4 * q + 2);
      bytes[0][q] = interleaveLow16(ab, cd);
      bytes[1][q] = interleaveHigh16(ab, cd);
    }
    Floats sum = allFloats(0);
    ORV_UNROLL for (int t = 0; t < kTaps; ++t) {
      Lane quads[kLanes / 4];
      ORV_UNROLL for (int q = 0; q < kLanes / 4; ++q) {
        const Lane words = t % 4 < 2 ? widenLowU8(bytes[t / 4][q]) : widenHighU8(bytes[t / 4][q]);
        quads[q] = t % 2 ? interleaveHigh16(words, zero()) : interleaveLow16(words, zero());
      }
      const Floats product = toFloats(quads) * load<Floats>(weights[t]);
      sum = t == 0 ? product : (sum + product);
    }
    return sum;
  }
};

// Sums of a group, in memory: of three channels each pixel's fourth lane is written over by the next one.
template <int kPixel, int kChannels> ORV_INLINE void storeSums(float* to, Floats sums) {
#if ORV_HAS_WIDE_FLOAT
  if (kPixel > 1 && kChannels == 3) {
    store(to, lowHalf(sums));
    store(to + 3, highHalf(sums));
    return;
  }
#endif
  store(to, sums);
}

// A table of columns; groups of a part follow those of the one before.
template <int kTaps, int kPixel> struct Horizontal {
  using G = Group<kTaps, kPixel>;
  using End = RowEnd<kTaps, kPixel>;

  static int groupsOf(int columns) { return (columns + G::kColumns - 1) / G::kColumns; }
  static G* groupsOf(const FilterColumns& c, FilterPart part) {
    G* group = static_cast<G*>(c.groups);
    for (int i = 0; i < part; ++i) group += groupsOf(c.begin[i + 1] - c.begin[i]);
    return group;
  }
  static G* end(const FilterColumns& c) { return groupsOf(c, FilterPart(kRightEnd + 1)); }

  static FilterPart partOf(int index, int count) {
    if (index < kBefore<kTaps>) return kLeftEnd;
    return int64_t(index - kBefore<kTaps>) * kPixel + G::kBytes > int64_t(count) * kPixel ? kRightEnd : kMiddle;
  }
  // Where a column's first tap lies in its part, in bytes. A position further out than all taps is as good as that.
  static int placeOf(FilterPart part, int index, int count) {
    int first = index - kBefore<kTaps>;
    if (part == kLeftEnd) first = first < -End::kLeft ? 0 : first + End::kLeft;
    if (part == kRightEnd) first = first - count > kTaps ? End::kInside + kTaps : first - count + End::kInside;
    return first * kPixel;
  }

  static void build(FilterColumns& c, WeightsKernel* weigh, const Axis& axis, int columns) {
    const auto partAt = [&](int x) { return partOf(positionOf(axis, x).index, axis.count); };
    int x = 0;
    for (int part = kLeftEnd; part < kRightEnd; ++part) {
      c.begin[part] = x;
      while (x < columns && partAt(x) == part) ++x;
    }
    c.begin[kRightEnd] = x, c.begin[kRightEnd + 1] = columns;
    for (int part = kLeftEnd; part <= kRightEnd; ++part) {
      const int begin = c.begin[part], last = c.begin[part + 1] - 1;
      G* const groups = groupsOf(c, FilterPart(part));
      // The last column stands for what is missing of the part's last group.
      weighAll<kTaps>(
          weigh, groupsOf(last + 1 - begin) * G::kColumns,
          [&](int i) { return positionOf(axis, begin + i < last ? begin + i : last); },
          [&](int i, int index, const float* weights) {
            groups[i / G::kColumns].set(i % G::kColumns, placeOf(FilterPart(part), index, axis.count), weights);
          });
    }
  }
  template <int kChannels = kPixel>
  __attribute__((always_inline)) static void run(const FilterColumns& c, FilterPart part, const Vel8u* row, float* to) {
    const G* group = groupsOf(c, part);
    float* const end = to + c.begin[part + 1] * kChannels;
    for (to += c.begin[part] * kChannels; to < end; to += G::kColumns * kChannels, ++group)
      storeSums<kPixel, kChannels>(to, group->filtered(row));
  }
};

// The steps. Of four-byte pixels three channels or four are filtered.
template <int kTaps, int kPixel>
ORV_INLINE void filterPart(const FilterColumns& c, FilterPart part, const Vel8u* row, float* to) {
  if (kPixel == 4 && c.channels == 3)
    Horizontal<kTaps, kPixel>::template run<3>(c, part, row, to);
  else
    Horizontal<kTaps, kPixel>::run(c, part, row, to);
}
template <int kTaps, int kPixel>
ORV_INLINE void filterEnd(const FilterColumns& c, FilterPart part, const Vel8u* row, float* to) {
  const RowEnd<kTaps, kPixel> end(part, row, c.width);
  filterPart<kTaps, kPixel>(c, part, end.pixels, to);
}

// ---- Vertical pass

// Weighs rows of sums, sixteen elements at a time.
template <class Method> struct Vertical {
  static constexpr int kTaps = Method::kTaps;
  const float* const* rows;
  const float* weights;

  __attribute__((always_inline)) Floats wide(int i) const {
    Floats sum = load<Floats>(rows[0] + i) * allFloats(weights[0]);
    ORV_UNROLL for (int t = 1; t < kTaps; ++t) sum = sum + (load<Floats>(rows[t] + i) * allFloats(weights[t]));
    return sum;
  }
  __attribute__((always_inline)) Lane sixteen(int i) const {
#if ORV_HAS_WIDE_FLOAT
    const Dwords a = Method::round(wide(i)), b = Method::round(wide(i + 8));
    const Lane low = narrow32(lowHalf(a), highHalf(a));
    const Lane high = narrow32(lowHalf(b), highHalf(b));
#else
    const Lane low = narrow32(Method::round(wide(i)), Method::round(wide(i + 4)));
    const Lane high = narrow32(Method::round(wide(i + 8)), Method::round(wide(i + 12)));
#endif
    return narrow16To8U(low, high);
  }
  __attribute__((always_inline)) void run(Vel8u* dst, int elements) const {
    int i = 0;
    for (; i + 16 <= elements; i += 16) store(dst + i, sixteen(i));
    if (i == elements) return;
    if (elements >= 16) return store(dst + elements - 16, sixteen(elements - 16));
    Vel8u last[16];
    store(static_cast<Vel8u*>(last), sixteen(0));
    memcpy(dst, last, size_t(elements));
  }
  // Of four channels the first three, of which the rows of sums consist.
  __attribute__((always_inline)) void runKeepingFourth(Vel8u* dst, int pixels) const {
    for (int x = 0; x < pixels;) {
      Vel8u five[16];  // and a third of a pixel
      store(static_cast<Vel8u*>(five), sixteen(3 * x));
      for (int i = 0; i < 5 && x < pixels; ++i, ++x) memcpy(dst + 4 * x, five + 3 * i, 3);
    }
  }
};

template <class Method>
ORV_INLINE void sumRows(const FilterColumns& c, const float* const* rows, const float* weights, Vel8u* dst) {
  // Copies, which the bytes that are stored cannot change.
  const float* from[Method::kTaps];
  float by[Method::kTaps];
  memcpy(from, rows, sizeof from);
  memcpy(by, weights, sizeof by);
  const Vertical<Method> vertical = {from, by};
  if (c.channels < c.pixel)
    vertical.runKeepingFourth(dst, c.begin[kRightEnd + 1]);
  else
    vertical.run(dst, c.begin[kRightEnd + 1] * c.channels);
}

// ---- The image

constexpr int kSlack = 16;  // floats behind a row of sums that are written or read with the last ones

// A destination row's position and weights.
template <int kTaps> struct RowTaps {
  int index;
  float weights[kTaps];
};

// kTaps rows of sums, of the source rows last used.
template <class Method, int kPixel> struct SumsOfRows {
  static constexpr int kTaps = Method::kTaps;
  const FilterColumns& columns;
  float* sums;
  int heldBy[kTaps];  // the source row in each row of sums

  int elements() const { return columns.begin[kRightEnd + 1] * columns.channels; }
  float* slot(int i) const { return sums + ptrdiff_t(i) * (elements() + kSlack); }
  void clearSlack() const {
    for (int i = 0; i < kTaps; ++i) memset(slot(i) + elements(), 0, kSlack * sizeof(float));
  }
  void forget() {
    for (int& row : heldBy) row = -1;
  }
  const float* provide(const ResizePlane& plane, int srcStep, int row) {
    float* const to = slot(row % kTaps);
    if (heldBy[row % kTaps] == row) return to;
    heldBy[row % kTaps] = row;
    const Vel8u* const src = rowOf(plane.src, srcStep, row);
    // From left to right: a part's last group may write where the next part begins.
    if (columns.begin[kLeftEnd] < columns.begin[kMiddle]) Method::template end<kPixel>(&columns, kLeftEnd, src, to);
    if (columns.begin[kMiddle] < columns.begin[kRightEnd]) Method::template row<kPixel>(&columns, src, to);
    if (columns.begin[kRightEnd] < columns.begin[kRightEnd + 1])
      Method::template end<kPixel>(&columns, kRightEnd, src, to);
    return to;
  }
};

// The buffer holds the tables of rows and of columns, then rows of sums.
template <class Method, int kPixel>
ORV_INLINE VelStatus filter(WeightsKernel* weigh, const ResizePlan& plan, const ResizeImages& images) {
  constexpr int kTaps = Method::kTaps;
  using H = Horizontal<kTaps, kPixel>;
  const Axis axis = rows(plan, images);
  RowTaps<kTaps>* const taps = reinterpret_cast<RowTaps<kTaps>*>(images.buffer);
  weighAll<kTaps>(
      weigh, plan.dstHeight, [&](int y) { return positionOf(axis, y); },
      [&](int y, int index, const float* weights) {
        taps[y].index = index;
        memcpy(taps[y].weights, weights, sizeof taps[y].weights);
      });
  FilterColumns table = {taps + plan.dstHeight, {}, images.region.width, kPixel, images.channels};
  H::build(table, weigh, columns(plan, images), plan.dstWidth);

  SumsOfRows<Method, kPixel> sums = {table, reinterpret_cast<float*>(H::end(table)), {}};
  sums.clearSlack();
  for (const ResizePlane plane : images) {
    sums.forget();
    for (int y = 0; y < plan.dstHeight; ++y) {
      const float* from[kTaps];
      for (int t = 0; t < kTaps; ++t)
        from[t] = sums.provide(plane, images.srcStep, clamped(int64_t(taps[y].index) - kBefore<kTaps> + t, axis.count));
      Method::template column<kPixel>(&table, from, taps[y].weights, rowOf(plane.dst, images.dstStep, y));
    }
  }
  return velStsNoErr;
}

template <class Method>
ORV_INLINE VelStatus filterPixels(WeightsKernel* weigh, const ResizePlan& plan, const ResizeImages& images) {
  return images.pixel == 3 ? filter<Method, 3>(weigh, plan, images) : filter<Method, 4>(weigh, plan, images);
}

}  // namespace
