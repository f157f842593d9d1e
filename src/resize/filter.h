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
// Where a table of columns and rows of sums begin, so that their vectors lie in one cache line each.
template <class T> ORV_INLINE T* alignedUp(void* p) {
  return reinterpret_cast<T*>((reinterpret_cast<size_t>(p) + kFloatsBytes - 1) & ~(kFloatsBytes - 1));
}

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

// Groups whose taps are loaded column by column: kBytes from the first tap on.
template <int kTaps, int kPixel, int kBytes> struct Gathered {
  using End = RowEnd<kTaps, kPixel>;
  static constexpr int kTapsOfColumn = kTaps;

  static FilterPart partOf(int index, int count) {
    if (index < kBefore<kTaps>) return kLeftEnd;
    return int64_t(index - kBefore<kTaps>) * kPixel + kBytes > int64_t(count) * kPixel ? kRightEnd : kMiddle;
  }
  // Where a column's first tap lies in its part, in bytes. A position further out than all taps is as good as that.
  static int placeOf(FilterPart part, int index, int count) {
    int first = index - kBefore<kTaps>;
    if (part == kLeftEnd) first = first < -End::kLeft ? 0 : first + End::kLeft;
    if (part == kRightEnd) first = first - count > kTaps ? End::kInside + kTaps : first - count + End::kInside;
    return first * kPixel;
  }
  static void finish(FilterPart, int) {}
};
template <int kTaps, int kPixel> struct Group : Gathered<kTaps, kPixel, (kTaps - 1) * kPixel + 4> {  // of whole pixels
  static constexpr int kColumns = kFloatsLanes;
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
template <int kTaps> struct Group<kTaps, 1> : Gathered<kTaps, 1, (kTaps + 3) / 4 * 4> {  // of single samples
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

#if ORV_HAS_SHUFFLE  // without a byte shuffle, taps are gathered column by column
constexpr bool kMayBeShuffled = true;
// Of single samples where those of four columns lie close together: one load has the taps of a lane's columns. A shuffle
// gives each dword the first taps of its column, three or four, a byte each. Byte i of a dword, left where it is, is
// 256^i times too large, so the weights are as much smaller: that changes no digit of a product. The fourth byte would
// be the sign, so it is shifted down.
template <int kTaps> struct alignas(kFloatsBytes) ShuffledGroup {
  static constexpr int kTapsOfColumn = kTaps, kColumns = kFloats;
  static constexpr int kAtOnce = kTaps % 3 == 0 ? 3 : 4;  // taps in a dword
  static constexpr int kReach = 16 + kTaps - kAtOnce;     // bytes that are loaded from `from` on
  static constexpr int kOutside = 16;                     // at the ends, what places are larger by
  Vel32f weights[kTaps][kColumns];
  Vel32u places[kColumns];  // from `from` on, a byte each; until finished the first tap's in the region
  Vel32s from[kFloatsLanes];

  // The first taps of four columns are 3 * inverse + 1 apart at most, or where the row's end moves `from` down, as many
  // bytes as are loaded.
  static bool fits(const Axis& axis) { return axis.count >= kReach && 3 * axis.inverse + kAtOnce < 15; }
  static FilterPart partOf(int index, int count) {
    return index < kBefore<kTaps> ? kLeftEnd : index - kBefore<kTaps> > count - kTaps ? kRightEnd : kMiddle;
  }
  static int placeOf(FilterPart, int index, int) { return index - kBefore<kTaps>; }
  void set(int i, int first, const float* w) {
    constexpr float kScale[] = {1, 1.0f / 256, 1.0f / 65536, 1};
    places[i] = Vel32u(first);
    for (int t = 0; t < kTaps; ++t) weights[t][i] = w[t] * kScale[t % kAtOnce];
  }
  void finish(FilterPart part, int count) {
    for (int q = 0; q < kFloatsLanes; ++q) {
      const int first = Vel32s(places[4 * q]), last = count - kReach;
      from[q] = part == kLeftEnd ? 0 : part == kRightEnd ? count - 16 : first < last ? first : last;
      const Vel32u less = Vel32u(from[q]) - (part == kMiddle ? 0 : kOutside);
      for (int i = 4 * q; i < 4 * q + 4; ++i) places[i] = (places[i] - less) * 0x01010101 + 0x03020100;
    }
  }

  template <class Quads> ORV_INLINE Floats filteredFrom(const Quads& quadsOf) const {
    Dwords quads[kTaps / kAtOnce];
    ORV_UNROLL for (int i = 0; i < kTaps / kAtOnce; ++i) quads[i] = quadsOf(i * kAtOnce);
    const auto product = [&](int t) __attribute__((always_inline)) {
      const Dwords quad = quads[t / kAtOnce];
      const int byte = t % kAtOnce;
      const Dwords sample = byte == 3 ? shiftRightU32(quad, 24) : quad & repeatedDwords(all32(0xFF << 8 * byte));
      return toFloats(sample) * inMemory(weights[t]);
    };
    Floats sum = product(0);
    ORV_UNROLL for (int t = 1; t < kTaps; ++t) sum = sum + product(t);
    return sum;
  }
  ORV_INLINE Floats filtered(const Vel8u* row) const {
    return filteredFrom([&](int t) __attribute__((always_inline)) {
      const auto samples = [&](int q) { return load(row + from[q] + t); };
      return shuffleLanes8(samples, load<Dwords>(places));
    });
  }
  // Where taps are outside of the row, the row's first or last sample, which is the first or last that is loaded.
  ORV_INLINE Floats filteredAtEnd(const Vel8u* row) const {
    return filteredFrom([&](int t) __attribute__((always_inline)) {
      return joinLanes([&](int q) {
        const Lane place = subSatU8(add8(loadAligned(places + 4 * q), all8(t)), all8(kOutside));
        return shuffle8(load(row + from[q]), minU8(place, all8(15)));
      });
    });
  }
};
#else
constexpr bool kMayBeShuffled = false;
template <int kTaps> struct ShuffledGroup;
#endif

// A table of columns; groups of a part follow those of the one before.
template <class G> struct Horizontal {
  static int groupsOf(int columns) { return (columns + G::kColumns - 1) / G::kColumns; }
  static G* groupsOf(const FilterColumns& c, FilterPart part) {
    G* group = static_cast<G*>(c.groups);
    for (int i = 0; i < part; ++i) group += groupsOf(c.begin[i + 1] - c.begin[i]);
    return group;
  }
  static void* end(const FilterColumns& c) { return groupsOf(c, FilterPart(kRightEnd + 1)); }

  static void build(FilterColumns& c, WeightsKernel* weigh, const Axis& axis, int columns) {
    // Positions do not descend, so the first column of the next part can be searched for by halving.
    c.begin[kLeftEnd] = 0, c.begin[kRightEnd + 1] = columns;
    for (int part = kLeftEnd; part < kRightEnd; ++part) {
      int from = c.begin[part], to = columns;
      while (from < to) {
        const int x = from + (to - from) / 2;
        if (G::partOf(positionOf(axis, x).index, axis.count) > part)
          to = x;
        else
          from = x + 1;
      }
      c.begin[part + 1] = to;
    }
    for (int part = kLeftEnd; part <= kRightEnd; ++part) {
      const int begin = c.begin[part], last = c.begin[part + 1] - 1, count = groupsOf(last + 1 - begin);
      G* const groups = groupsOf(c, FilterPart(part));
      // The last column stands for what is missing of the part's last group.
      weighAll<G::kTapsOfColumn>(
          weigh, count * G::kColumns, [&](int i) { return positionOf(axis, begin + i < last ? begin + i : last); },
          [&](int i, int index, const float* weights) {
            groups[i / G::kColumns].set(i % G::kColumns, G::placeOf(FilterPart(part), index, axis.count), weights);
          });
      for (int i = 0; i < count; ++i) groups[i].finish(FilterPart(part), axis.count);
    }
  }
  template <int kChannels, class Filter>
  static ORV_INLINE void run(const FilterColumns& c, FilterPart part, float* to, const Filter& filter) {
    const G* group = groupsOf(c, part);
    float* const end = to + c.begin[part + 1] * kChannels;
    for (to += c.begin[part] * kChannels; to < end; to += G::kColumns * kChannels, ++group)
      // Of three channels each pixel's fourth element is written over by the next pixel.
      kChannels == 3 ? store(to, filter(*group), 3 * sizeof *to) : store(to, filter(*group));
  }
};

// The steps. Of four-byte pixels three channels or four are filtered.
template <int kTaps, int kPixel>
ORV_INLINE void filterGathered(const FilterColumns& c, FilterPart part, const Vel8u* row, float* to) {
  using G = Group<kTaps, kPixel>;
  const auto filter = [row](const G& group) __attribute__((always_inline)) { return group.filtered(row); };
  if (kPixel == 4 && c.channels == 3)
    Horizontal<G>::template run<3>(c, part, to, filter);
  else
    Horizontal<G>::template run<kPixel>(c, part, to, filter);
}
template <int kTaps, int kPixel>
ORV_INLINE void filterEnd(const FilterColumns& c, FilterPart part, const Vel8u* row, float* to) {
  const RowEnd<kTaps, kPixel> end(part, row, c.width);
  filterGathered<kTaps, kPixel>(c, part, end.pixels, to);
}
// Of planes: shuffled columns, of all parts, or the middle ones.
template <int kTaps> ORV_INLINE void filterPlaneRow(const FilterColumns& c, const Vel8u* row, float* to) {
  if constexpr (kMayBeShuffled) {
    using G = ShuffledGroup<kTaps>;
    const auto filter = [row](const G& group) __attribute__((always_inline)) { return group.filtered(row); };
    const auto filterAtEnd = [row](const G& group) __attribute__((always_inline)) { return group.filteredAtEnd(row); };
    if (c.isShuffled) {
      Horizontal<G>::template run<1>(c, kLeftEnd, to, filterAtEnd);
      Horizontal<G>::template run<1>(c, kMiddle, to, filter);
      return Horizontal<G>::template run<1>(c, kRightEnd, to, filterAtEnd);
    }
  }
  filterGathered<kTaps, 1>(c, kMiddle, row, to);
}

// ---- Vertical pass

// How many rows of sums a method weighs, and how it rounds their sums.
struct CubicSums {
  static constexpr int kTaps = 4;
  // To the nearest integer, ties to even.
  static Dwords round(Floats v) { return toNearest(v); }
};
struct LanczosSums {
  static constexpr int kTaps = 6;
  static constexpr float kHalf = 0.5000001192092896f;
  static Dwords round(Floats v) { return truncated(v + allFloats(kHalf)); }
};

// With narrower vectors there is more to work out than to wait for.
constexpr bool kMayStream = kFloatsLanes > 1;

// Weighs rows of sums.
template <class Method> struct Vertical {
  const float* const* rows;
  const float* weights;

  // A vector of elements from i on, which is a multiple of as many where kIsAligned.
  template <bool kIsAligned> ORV_INLINE Dwords rounded(int i) const {
    const auto product = [&](int t) __attribute__((always_inline)) {
      const Floats weight = allFloats(weights[t]);
      return kIsAligned ? inMemory(rows[t] + i) * weight : load<Floats>(rows[t] + i) * weight;
    };
    Floats sum = product(0);
    ORV_UNROLL for (int t = 1; t < Method::kTaps; ++t) sum = sum + product(t);
    return Method::round(sum);
  }
  // As many elements as V has bytes.
  template <class V, bool kIsAligned> ORV_INLINE V weighed(int i) const {
    return narrowVectorsTo8U<V>([&](int k) __attribute__((always_inline)) { return rounded<kIsAligned>(i + k); });
  }
  // Elements from i on up to `end`, of which the last may be worked out twice. kIsAligned: i is 0.
  template <bool kIsAligned> ORV_INLINE void storePart(Vel8u* dst, int i, int end) const {
    constexpr int kLanes = sizeof(Lanes);
    for (; i + kLanes <= end; i += kLanes) store(dst + i, weighed<Lanes, kIsAligned>(i));
    if (kLanes > 16)
      for (; i + 16 <= end; i += 16) store(dst + i, weighed<Lane, kIsAligned>(i));
    if (i == end) return;
    if (end >= 16) return store(dst + end - 16, weighed<Lane, false>(end - 16));
    storeFirst(dst, weighed<Lane, true>(0), size_t(end));
  }
  ORV_INLINE void run(Vel8u* dst, int elements) const { storePart<true>(dst, 0, elements); }
  // The same past the caches, line by line. What is no whole line at the ends is stored: last, because stores take effect
  // in their order, and one that waits for its line holds up all after it.
  ORV_INLINE void runPastCaches(Vel8u* dst, int elements) const {
    const int head = int((kLine - reinterpret_cast<size_t>(dst) % kLine) % kLine);
    const int end = head + (elements - head) / int(kLine) * int(kLine);
    if (head >= end) return run(dst, elements);
    prefetch(dst, 0);
    prefetch(dst, elements);
    for (int i = head; i < end; i += int(sizeof(Lanes))) stream(dst + i, weighed<Lanes, false>(i));
    const int from[] = {0, end}, to[] = {head, elements};
    for (int k = 0; k < 2; ++k)
      if (from[k] < to[k]) storePart<false>(dst, from[k], to[k]);
  }
  // Of four channels the first three, of which the rows of sums consist: five pixels at a time.
  ORV_INLINE void runKeepingFourth(Vel8u* dst, int pixels) const {
    for (int x = 0; x < pixels;) {
      Vel8u samples[16];
      store(static_cast<Vel8u*>(samples), weighed<Lane, false>(3 * x));
      for (int i = 0; i < 5 && x < pixels; ++i, ++x) memcpy(dst + 4 * x, samples + 3 * i, 3);
    }
  }
};

// Gives run(vertical) copies of the rows and weights, which the bytes that are stored cannot change. Not by memcpy: the
// pointers have just been stored, and a vector of them would wait until they are in the cache.
template <class Method, class Run>
ORV_INLINE void withRows(const float* const* rows, const float* weights, const Run& run) {
  const float* from[Method::kTaps];
  float by[Method::kTaps];
  ORV_UNROLL for (int t = 0; t < Method::kTaps; ++t) from[t] = rows[t], by[t] = weights[t];
  run(Vertical<Method>{from, by});
}
template <class Method>
ORV_INLINE void sumRows(const FilterColumns& c, const float* const* rows, const float* weights, Vel8u* dst) {
  const int elements = c.begin[kRightEnd + 1] * c.channels;
  withRows<Method>(
      rows, weights, [&](const Vertical<Method>& vertical) __attribute__((always_inline)) {
        if (kMayStream && c.streams) return vertical.runPastCaches(dst, elements);
        vertical.run(dst, elements);
      });
}
template <class Method> ORV_INLINE void sumRowsKeepingFourth(const FilterColumns& c, const float* const* rows,
                                                             const float* weights, Vel8u* dst) {
  withRows<Method>(
      rows, weights, [&](const Vertical<Method>& vertical) __attribute__((always_inline)) {
        vertical.runKeepingFourth(dst, c.begin[kRightEnd + 1]);
      });
}

// ---- The image

// How many floats a row of sums takes, in whole vectors. After its elements up to 13 are read with the last ones, and some
// are written.
constexpr int sumsOf(int elements) { return (elements + 13 + 7) / 8 * 8; }

// A destination row's position and weights.
template <int kTaps> struct RowTaps {
  int index;
  float weights[kTaps];
};

// kTaps rows of sums, of the source rows last used: row i is in slot i % kTaps.
template <class Method, int kPixel> struct SumsOfRows {
  static constexpr int kTaps = Method::kTaps;
  const FilterColumns& columns;
  float* sums;

  int elements() const { return columns.begin[kRightEnd + 1] * columns.channels; }
  float* slot(int i) const { return sums + ptrdiff_t(i) * sumsOf(elements()); }
  void* end() const { return slot(kTaps); }
  void clearSlack() const {
    for (int i = 0; i < kTaps; ++i)
      memset(slot(i) + elements(), 0, size_t(sumsOf(elements()) - elements()) * sizeof(float));
  }
  void filterRow(const Vel8u* src, float* to) const {
    if (columns.isShuffled) return Method::template row<kPixel>(&columns, src, to);
    // From left to right: a part's last group may write where the next part begins.
    if (columns.begin[kLeftEnd] < columns.begin[kMiddle]) Method::template end<kPixel>(&columns, kLeftEnd, src, to);
    if (columns.begin[kMiddle] < columns.begin[kRightEnd]) Method::template row<kPixel>(&columns, src, to);
    if (columns.begin[kRightEnd] < columns.begin[kRightEnd + 1])
      Method::template end<kPixel>(&columns, kRightEnd, src, to);
  }
};

// Destination rows of one plane. Their positions do not descend, so each source row is filtered once.
template <class Method, int kPixel>
ORV_INLINE void resizePlane(const SumsOfRows<Method, kPixel>& sums, const RowTaps<Method::kTaps>* taps, int height,
                            int srcRows, const ResizeImages& images, ResizePlane plane) {
  constexpr int kTaps = Method::kTaps;
  const float* slots[kTaps];
  for (int i = 0; i < kTaps; ++i) slots[i] = sums.slot(i);
  int next = 0;  // source rows before this one need no more work
  for (int y = 0; y < height; ++y) {
    const int64_t first = int64_t(taps[y].index) - kBefore<kTaps>;
    int row = clamped(first, srcRows), slot = row % kTaps;
    if (next < row) next = row;
    for (const int last = clamped(first + kTaps - 1, srcRows); next <= last; ++next)
      sums.filterRow(rowOf(plane.src, images.srcStep, next), sums.slot(next % kTaps));
    const float* from[kTaps];
    for (int t = 0; t < kTaps; ++t) {
      from[t] = slots[slot];
      if (first + t < row || row == srcRows - 1) continue;  // the next tap's row is the same one
      ++row, slot = slot + 1 < kTaps ? slot + 1 : 0;
    }
    Method::template column<kPixel>(&sums.columns, from, taps[y].weights, rowOf(plane.dst, images.dstStep, y));
  }
}

// The buffer holds the table of columns, rows of sums, then the table of rows. What is true up to 256 columns and rows is
// true of more: all grow evenly with each 64 of them, the buffer by no less.
template <class G, int kPixel> constexpr bool bufferHoldsTables(int channels) {
  constexpr int kTaps = G::kTapsOfColumn, kMethod = kTaps == 6 ? velInterLanczos : velInterCubic;
  for (int size = 1; size <= 256; ++size) {
    const int groups = (size + 3 * (G::kColumns - 1)) / G::kColumns;  // of three parts, at most
    const Vel64u tables = size * sizeof(RowTaps<kTaps>) + groups * sizeof(G);
    const Vel64u sums = kTaps * Vel64u(sumsOf(size * channels)) * sizeof(float), alignment = 2 * (kFloatsBytes - 4);
    const VeliRect roi = {0, 0, size, size};
    if (tables + sums + alignment > bufferSize(roi, roi, unsigned(channels), kMethod, false)) return false;
  }
  return true;
}
// Gives where the table of columns ends.
template <class G, int kPixel> ORV_INLINE void* buildColumns(FilterColumns& table, WeightsKernel* weigh,
                                                             const ResizePlan& plan, const ResizeImages& images) {
  static_assert(bufferHoldsTables<G, kPixel>(kPixel));
  static_assert(bufferHoldsTables<G, kPixel>(kPixel == 4 ? 3 : kPixel));
  Horizontal<G>::build(table, weigh, columns(plan, images), plan.dstWidth);
  return Horizontal<G>::end(table);
}
template <class Method, int kPixel>
ORV_INLINE VelStatus filter(WeightsKernel* weigh, const ResizePlan& plan, const ResizeImages& images) {
  constexpr int kTaps = Method::kTaps;
  FilterColumns table = {alignedUp<void>(images.buffer),
                         {},
                         images.region.width,
                         kPixel,
                         images.channels,
                         false,
                         kMayStream && images.channels == kPixel && exceedsCaches(plan, images)};
  void* end = nullptr;
  if constexpr (kMayBeShuffled && kPixel == 1) {
    table.isShuffled = ShuffledGroup<kTaps>::fits(columns(plan, images));
    if (table.isShuffled) end = buildColumns<ShuffledGroup<kTaps>, 1>(table, weigh, plan, images);
  }
  if (!table.isShuffled) end = buildColumns<Group<kTaps, kPixel>, kPixel>(table, weigh, plan, images);

  const SumsOfRows<Method, kPixel> sums = {table, alignedUp<float>(end)};
  sums.clearSlack();
  const Axis axis = rows(plan, images);
  RowTaps<kTaps>* const taps = static_cast<RowTaps<kTaps>*>(sums.end());
  weighAll<kTaps>(
      weigh, plan.dstHeight, [&](int y) { return positionOf(axis, y); },
      [&](int y, int index, const float* weights) {
        taps[y].index = index;
        memcpy(taps[y].weights, weights, sizeof taps[y].weights);
      });
  for (const ResizePlane plane : images)
    resizePlane<Method, kPixel>(sums, taps, plan.dstHeight, axis.count, images, plane);
  if (table.streams) streamEnd();
  return velStsNoErr;
}

template <class Method>
ORV_INLINE VelStatus filterPixels(WeightsKernel* weigh, const ResizePlan& plan, const ResizeImages& images) {
  return images.pixel == 3 ? filter<Method, 3>(weigh, plan, images) : filter<Method, 4>(weigh, plan, images);
}

}  // namespace
