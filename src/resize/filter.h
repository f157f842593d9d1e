// Resizing by a filter of kTaps taps in each direction, in single precision: source rows are filtered into rows of
// floats, each once, and kTaps of those make a destination row. Sums go from the first tap to the last.
//
// A Method says how many taps there are, rounds the sums of a column, and names the kernels of its steps.
#pragma once
#include "resize/buffer.h"
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

// ---- The ends of source rows
//
// Columns at the ends of a row have taps outside it, which are copies of its first or last pixel, or would be loaded
// together with bytes after it. They take theirs from a copy of the row's end with more pixels on the outside.
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
// A group is as many columns as fill a vector with floats: four or eight of one channel, one or two pixels of three or
// four channels, of which each has a lane.

template <int kTaps, int kPixel> struct Group {  // of whole pixels
  static constexpr int kColumns = kFloatsLanes;
  static constexpr int kBytes = (kTaps - 1) * kPixel + 4;  // that are loaded from the first tap on
  struct {
    Vel32s from;
    Vel32f weights[kTaps];
  } column[kColumns];

  void set(int i, int from, const float* weights) {
    column[i].from = from;
    memcpy(column[i].weights, weights, sizeof column[i].weights);
  }
  // Of one pixel in each lane.
  ORV_INLINE Floats filtered(const Vel8u* row) const {
    const auto product = [&](int t) __attribute__((always_inline)) {
      const auto pixel = [&](int i) { return widenU8To32<0>(loadFirst<4>(row + column[i].from + t * kPixel)); };
      const auto weight = [&](int i) { return allFloats<Floats4>(column[i].weights[t]); };
      return toFloats(joinLanes(pixel)) * joinLanes(weight);
    };
    Floats sum = product(0);
    ORV_UNROLL for (int t = 1; t < kTaps; ++t) sum = sum + product(t);
    return sum;
  }
};
template <int kTaps> struct Group<kTaps, 1> {  // of single samples
  static constexpr int kColumns = kFloats;
  static constexpr int kBytes = (kTaps + 3) / 4 * 4;
  Vel32s from[kColumns];
  Vel32f weights[kTaps][kColumns];

  void set(int i, int first, const float* w) {
    from[i] = first;
    for (int t = 0; t < kTaps; ++t) weights[t][i] = w[t];
  }
  // Of columns a b c d in each lane, whose taps are brought together:
  // a0 a1 a2 a3, b0 ..., c0 ..., d0 ... -> a0 b0 a1 b1 ..., c0 d0 c1 d1 ... -> a0 b0 c0 d0 a1 b1 c1 d1 ...
  ORV_INLINE Floats filtered(const Vel8u* row) const {
    Lane taps[2][kFloatsLanes];  // 0 to 3, and the others
    ORV_UNROLL for (int q = 0; q < kFloatsLanes; ++q) {
      const auto bytes = [&](int i) { return loadFirst<kBytes>(row + from[4 * q + i]); };
      const Lane ab = interleaveLow8(bytes(0), bytes(1)), cd = interleaveLow8(bytes(2), bytes(3));
      taps[0][q] = interleaveLow16(ab, cd);
      taps[1][q] = interleaveHigh16(ab, cd);
    }
    const auto product = [&](int t) __attribute__((always_inline)) {
      const auto columns = [&](int q) { return widenQuarterU8(taps[t / 4][q], t % 4); };
      return toFloats(joinLanes(columns)) * load<Floats>(weights[t]);
    };
    Floats sum = product(0);
    ORV_UNROLL for (int t = 1; t < kTaps; ++t) sum = sum + product(t);
    return sum;
  }
};

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
  static ORV_INLINE void run(const FilterColumns& c, FilterPart part, const Vel8u* row, float* to) {
    const G* group = groupsOf(c, part);
    float* const end = to + c.begin[part + 1] * kChannels;
    for (to += c.begin[part] * kChannels; to < end; to += G::kColumns * kChannels, ++group)
      // Of three channels each pixel's fourth element is written over by the next pixel.
      kChannels == 3 ? store(to, group->filtered(row), 3 * sizeof *to) : store(to, group->filtered(row));
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
  const float* const* rows;
  const float* weights;

  ORV_INLINE Lane weighed(int i) const {
    return narrowVectorsTo8U([&](int k) __attribute__((always_inline)) {
      const auto product = [&](int t) { return load<Floats>(rows[t] + i + k) * allFloats(weights[t]); };
      Floats sum = product(0);
      ORV_UNROLL for (int t = 1; t < Method::kTaps; ++t) sum = sum + product(t);
      return Method::round(sum);
    });
  }
  ORV_INLINE void run(Vel8u* dst, int elements) const {
    int i = 0;
    for (; i + 16 <= elements; i += 16) store(dst + i, weighed(i));
    if (i == elements) return;
    if (elements >= 16) return store(dst + elements - 16, weighed(elements - 16));
    storeFirst(dst, weighed(0), size_t(elements));
  }
  // Of four channels the first three, of which the rows of sums consist: five pixels at a time.
  ORV_INLINE void runKeepingFourth(Vel8u* dst, int pixels) const {
    for (int x = 0; x < pixels;) {
      Vel8u samples[16];
      store(static_cast<Vel8u*>(samples), weighed(3 * x));
      for (int i = 0; i < 5 && x < pixels; ++i, ++x) memcpy(dst + 4 * x, samples + 3 * i, 3);
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

constexpr int kSlack = 16;  // floats after a row of sums that are written or read with the last ones

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

// The buffer holds the tables of rows and of columns, then rows of sums. What is true up to 256 columns and rows is true of
// more: both grow evenly with each 64 of them, the buffer by no less.
template <int kTaps, int kPixel> constexpr bool bufferHoldsTables(int channels) {
  using G = Group<kTaps, kPixel>;
  constexpr int kMethod = kTaps == 6 ? velInterLanczos : velInterCubic;
  for (int size = 1; size <= 256; ++size) {
    const int groups = (size + 3 * (G::kColumns - 1)) / G::kColumns;  // of three parts, at most
    const Vel64u tables = size * sizeof(RowTaps<kTaps>) + groups * sizeof(G);
    const Vel64u sums = kTaps * Vel64u(size * channels + kSlack) * sizeof(float);
    const VeliRect roi = {0, 0, size, size};
    if (tables + sums > bufferSize(roi, roi, unsigned(channels), kMethod, false)) return false;
  }
  return true;
}
template <class Method, int kPixel>
ORV_INLINE VelStatus filter(WeightsKernel* weigh, const ResizePlan& plan, const ResizeImages& images) {
  constexpr int kTaps = Method::kTaps;
  using H = Horizontal<kTaps, kPixel>;
  static_assert(bufferHoldsTables<kTaps, kPixel>(kPixel));
  static_assert(bufferHoldsTables<kTaps, kPixel>(kPixel == 4 ? 3 : kPixel));
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
