// Resizing by a filter of kTaps taps in each direction, in single precision: source rows are filtered into rows of
// floats, each once, and kTaps of those make a destination row. Sums go from the first tap to the last.
//
// A Method says how many taps there are, makes their weights from a fraction, and rounds the sums of a column.
#pragma once
#include "resize/kernels.h"

namespace {

// The taps of a position are the pixels from its index less kBefore on.
template <int kTaps> constexpr int kBefore = kTaps / 2 - 1;

ORV_INLINE Vec load4(const Vel8u* p) {
  Vel32s four;
  memcpy(&four, p, 4);
  return _mm_cvtsi32_si128(four);
}

// ---- Source rows
//
// Columns at the ends of a row have taps outside it, which are copies of its first or last pixel, or would be loaded
// together with bytes behind it. They take theirs from copies of the row's ends with more pixels on the outside.
template <int kTaps, int kPixel> struct SourceRow {
  static constexpr int kLeft = 2 * kTaps, kRight = 3 * kTaps, kInside = 3 * kTaps;
  Vel8u left[(kLeft + kInside) * kPixel], right[(kInside + kRight) * kPixel];
  const Vel8u* row;

  SourceRow(const Vel8u* p, int count) : row(p) {
    for (int i = 0; i < kLeft + kInside; ++i)
      memcpy(left + i * kPixel, row + clamped(i - kLeft, count) * kPixel, kPixel);
    for (int i = 0; i < kInside + kRight; ++i)
      memcpy(right + i * kPixel, row + clamped(count - kInside + i, count) * kPixel, kPixel);
  }
};
enum Part { kLeftEnd, kMiddle, kRightEnd };

// ---- Horizontal pass
//
// A group is as many columns as fill a wide vector with floats: four or eight of one channel, one or two pixels of three
// or four channels, of which each has four lanes.

constexpr int kLanes = int(kWide / sizeof(float));

ORV_INLINE Wide toFloats([[maybe_unused]] const Vec* quads) {
#if ORV_HAS_WIDE_FLOAT
  return _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(quads[0]), quads[1], 1));
#else
  return _mm_cvtepi32_ps(quads[0]);
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
  __attribute__((always_inline)) Wide filtered(const Vel8u* row) const {
    Wide sum = zeroWide();
    ORV_UNROLL for (int t = 0; t < kTaps; ++t) {
      Vec quads[kColumns];
      ORV_UNROLL for (int i = 0; i < kColumns; ++i) quads[i] =
          _mm_unpacklo_epi16(widenLow8(load4(row + column[i].from + t * kPixel)), zero());
      const Wide product = mulWide(toFloats(quads), weights(t));
      sum = t == 0 ? product : addWide(sum, product);
    }
    return sum;
  }
  Wide weights(int t) const {
#if ORV_HAS_WIDE_FLOAT
    return _mm256_insertf128_ps(_mm256_broadcast_ss(&column[0].weights[t]), _mm_set1_ps(column[1].weights[t]), 1);
#else
    return _mm_set1_ps(column[0].weights[t]);
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
  __attribute__((always_inline)) Wide filtered(const Vel8u* row) const {
    const auto two = [&](int i) {
      return _mm_unpacklo_epi8(loadPart<kBytes>(row + from[i]), loadPart<kBytes>(row + from[i + 1]));
    };
    Vec bytes[2][kLanes / 4];  // of four taps, for four columns each
    ORV_UNROLL for (int q = 0; q < kLanes / 4; ++q) {
      const Vec ab = two(4 * q), cd = two(4 * q + 2);
      bytes[0][q] = _mm_unpacklo_epi16(ab, cd);
      bytes[1][q] = _mm_unpackhi_epi16(ab, cd);
    }
    Wide sum = zeroWide();
    ORV_UNROLL for (int t = 0; t < kTaps; ++t) {
      Vec quads[kLanes / 4];
      ORV_UNROLL for (int q = 0; q < kLanes / 4; ++q) {
        const Vec words = t % 4 < 2 ? widenLow8(bytes[t / 4][q]) : widenHigh8(bytes[t / 4][q]);
        quads[q] = t % 2 ? _mm_unpackhi_epi16(words, zero()) : _mm_unpacklo_epi16(words, zero());
      }
      const Wide product = mulWide(toFloats(quads), loadWide(weights[t]));
      sum = t == 0 ? product : addWide(sum, product);
    }
    return sum;
  }
};

// Sums of a group, in memory: of three channels each pixel's fourth lane is written over by the next one.
template <int kPixel, int kChannels> ORV_INLINE void storeSums(float* to, Wide sums) {
#if ORV_HAS_WIDE_FLOAT
  if (kPixel > 1 && kChannels == 3) {
    _mm_storeu_ps(to, _mm256_castps256_ps128(sums));
    _mm_storeu_ps(to + 3, _mm256_extractf128_ps(sums, 1));
    return;
  }
#endif
  storeWide(to, sums);
}

template <class Method, int kPixel, int kChannels> struct Horizontal {
  static constexpr int kTaps = Method::kTaps;
  using G = Group<kTaps, kPixel>;
  using Row = SourceRow<kTaps, kPixel>;
  G* groups;
  int begin[4];  // the first column of each part, and their end

  static int groupsOf(int columns) { return (columns + G::kColumns - 1) / G::kColumns; }
  // The most groups that three parts can have.
  static int mostGroups(int columns) { return groupsOf(columns) + 3; }

  static Part partOf(int index, int count) {
    if (index < kBefore<kTaps>) return kLeftEnd;
    return (index - kBefore<kTaps>)*kPixel + G::kBytes > count * kPixel ? kRightEnd : kMiddle;
  }
  // Where a column's first tap lies in its part, in bytes. A position further out than all taps is as good as that.
  static int placeOf(Part part, int index, int count) {
    int first = index - kBefore<kTaps>;
    if (part == kLeftEnd) first = first < -Row::kLeft ? 0 : first + Row::kLeft;
    if (part == kRightEnd) first = first > count + kTaps ? Row::kInside + kTaps : first - count + Row::kInside;
    return first * kPixel;
  }

  void build(const Method& method, const Axis& axis, int columns) {
    const auto partAt = [&](int x) { return partOf(positionOf(axis, x).index, axis.count); };
    begin[kLeftEnd] = begin[kMiddle] = 0;
    while (begin[kMiddle] < columns && partAt(begin[kMiddle]) == kLeftEnd) ++begin[kMiddle];
    begin[kRightEnd] = begin[kMiddle];
    while (begin[kRightEnd] < columns && partAt(begin[kRightEnd]) == kMiddle) ++begin[kRightEnd];
    begin[3] = columns;
    G* group = groups;
    for (int part = kLeftEnd; part <= kRightEnd; ++part)
      for (int x = begin[part]; x < begin[part + 1]; x += G::kColumns, ++group)
        for (int i = 0; i < G::kColumns; ++i) {
          const int last = begin[part + 1] - 1;  // stands for what is missing of the part's last group
          const Position p = positionOf(axis, x + i < last ? x + i : last);
          float weights[kTaps];
          method.weigh(p.fraction, weights);
          group->set(i, placeOf(Part(part), p.index, axis.count), weights);
        }
  }
  void run(const Vel8u* src, int count, float* to) const {
    const Row row(src, count);
    const Vel8u* const base[] = {row.left, row.row, row.right};
    const G* group = groups;
    for (int part = kLeftEnd; part <= kRightEnd; ++part)
      for (int x = begin[part]; x < begin[part + 1]; x += G::kColumns, ++group)
        storeSums<kPixel, kChannels>(to + x * kChannels, group->filtered(base[part]));
  }
};

// ---- Vertical pass

// Weighs rows of sums, sixteen elements at a time.
template <class Method> struct Vertical {
  static constexpr int kTaps = Method::kTaps;
  const float* rows[kTaps];
  float weights[kTaps];

  Wide wide(int i) const {
    Wide sum = mulWide(loadWide(rows[0] + i), allWide(weights[0]));
    ORV_UNROLL for (int t = 1; t < kTaps; ++t) sum = addWide(sum, mulWide(loadWide(rows[t] + i), allWide(weights[t])));
    return sum;
  }
  Vec sixteen(int i) const {
#if ORV_HAS_WIDE_FLOAT
    const __m256i a = Method::round(wide(i)), b = Method::round(wide(i + 8));
    const Vec low = _mm_packs_epi32(_mm256_castsi256_si128(a), _mm256_extractf128_si256(a, 1));
    const Vec high = _mm_packs_epi32(_mm256_castsi256_si128(b), _mm256_extractf128_si256(b, 1));
#else
    const Vec low = _mm_packs_epi32(Method::round(wide(i)), Method::round(wide(i + 4)));
    const Vec high = _mm_packs_epi32(Method::round(wide(i + 8)), Method::round(wide(i + 12)));
#endif
    return _mm_packus_epi16(low, high);
  }
  void run(Vel8u* dst, int elements) const {
    int i = 0;
    for (; i + 16 <= elements; i += 16) store(dst + i, sixteen(i));
    if (i == elements) return;
    Vel8u last[16];
    store(static_cast<Vel8u*>(last), sixteen(i));
    memcpy(dst + i, last, size_t(elements - i));
  }
  // Of four channels the first three, of which the rows of sums consist.
  void runKeepingFourth(Vel8u* dst, int pixels) const {
    for (int x = 0; x < pixels;) {
      Vel8u five[16];  // and a third of a pixel
      store(static_cast<Vel8u*>(five), sixteen(3 * x));
      for (int i = 0; i < 5 && x < pixels; ++i, ++x) memcpy(dst + 4 * x, five + 3 * i, 3);
    }
  }
};

// ---- The image

constexpr int kSlack = 16;  // floats behind a row of sums that are written or read with the last ones

template <class Method, int kPixel, int kChannels = kPixel>
ORV_INLINE VelStatus filter(const Method& method, const ResizePlan& plan, const ResizeImages& images) {
  constexpr int kTaps = Method::kTaps;
  using H = Horizontal<Method, kPixel, kChannels>;
  H horizontal = {reinterpret_cast<typename H::G*>(images.buffer), {}};
  horizontal.build(method, columns(plan, images), plan.dstWidth);

  const int elements = plan.dstWidth * kChannels;
  float* const sums = reinterpret_cast<float*>(horizontal.groups + H::mostGroups(plan.dstWidth));
  int heldBy[kTaps];  // the source row in each row of sums
  for (int& row : heldBy) row = -1;
  const Axis axis = rows(plan, images);
  for (int y = 0; y < plan.dstHeight; ++y) {
    const Position p = positionOf(axis, y);
    Vertical<Method> vertical;
    method.weigh(p.fraction, vertical.weights);
    for (int t = 0; t < kTaps; ++t) {
      const int row = clamped(p.index - kBefore<kTaps> + t, axis.count), slot = row % kTaps;
      float* const to = sums + ptrdiff_t(slot) * (elements + kSlack);
      if (heldBy[slot] != row)
        horizontal.run(rowOf(images.src, images.srcStep, heldBy[slot] = row), images.region.width, to);
      vertical.rows[t] = to;
    }
    Vel8u* const dst = rowOf(images.dst, images.dstStep, y);
    if (kChannels < kPixel)
      vertical.runKeepingFourth(dst, plan.dstWidth);
    else
      vertical.run(dst, elements);
  }
  return velStsNoErr;
}

template <class Method>
ORV_INLINE VelStatus filterPixels(const Method& m, const ResizePlan& plan, const ResizeImages& images) {
  if (images.pixel == 3) return filter<Method, 3>(m, plan, images);
  return images.channels == 3 ? filter<Method, 4, 3>(m, plan, images) : filter<Method, 4>(m, plan, images);
}

}  // namespace
