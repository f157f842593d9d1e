// Linear resizing: a horizontal pass once for each source row that is needed, and a vertical one over two of its results.
//
// A destination column left of the first source centre, or right of the last one, has one neighbour. It gets a second one
// of weight 0, which leaves its sum as it is. A row above or below the centres is stored straight from the horizontal pass:
// blended with a second row it would be rounded twice.
#include "resize/buffer.h"
#include "resize/kernels.h"

namespace {

constexpr int kOne = 16384;

// The neighbours of a pixel, in pixels, and the second one's weight.
struct Neighbours {
  int first, weight;
};
ORV_INLINE int weightOf(float fraction) { return int(double(fraction) * kOne + 1e-7); }
// Of a column; `first` has a pixel after it, unless the region has but one.
ORV_INLINE Neighbours neighboursOf(const Axis& axis, int i) {
  const Position p = positionOf(axis, i);
  if (p.index < 0) return {0, 0};
  if (p.index >= axis.count - 1) return {axis.count > 1 ? axis.count - 2 : 0, axis.count > 1 ? kOne : 0};
  return {p.index, weightOf(p.fraction)};
}

// ---- Horizontal pass
//
// A group is as many columns as give eight bytes or a little less: eight of one channel, two of three or four. Its bytes
// and their right neighbours are brought together in pairs and weighed.

template <int kPixel> constexpr int kColumns = kPixel == 1 ? 8 : 2;

// How many units of a sum make 1: they have six fractional bits for the vertical pass, and none where there is no such pass.
constexpr int kForBlend = 64, kAlone = 1;

template <int kPixel> struct Gathered;

#if ORV_HAS_SHUFFLE
// Where bytes can be multiplied, the sums are left + weight (right - left), from two products of bytes and one of words:
// a rounding multiplication makes the second term of left - right and -2 weight. Both fit 16 bits, even 64 * 255 and
// -2 * 16384.
template <int kPixel> struct Weights {
  Vel16s words[8];
  void set(int column, int weight) {
    constexpr int kEnd = kColumns<kPixel> * kPixel;
    for (int c = 0; c < kPixel; ++c) words[column * kPixel + c] = Vel16s(-2 * weight);
    for (int i = kEnd; i < 8; ++i) words[i] = 0;  // after the last column
  }
  Lane all() const { return load(words); }
};
template <> struct Weights<4> {  // of AC4 the buffer has no room for more
  Vel16s words[4];
  void set(int column, int weight) { words[2 * column] = words[2 * column + 1] = Vel16s(-2 * weight); }
  Lane all() const { return shuffle32<0, 0, 1, 1>(loadLow(words)); }
};
template <int kScale, int kPixel> ORV_INLINE Lane weighted(Lane pairs, const Weights<kPixel>& weights) {
  const Lane left = mulAddPairs8(pairs, all16(kScale));
  const Lane difference = mulAddPairs8(pairs, all16(kScale - (kScale << 8)));
  return add16(left, mulRound16(difference, weights.all()));
}

// Groups whose pairs lie within sixteen bytes.
constexpr bool kMayShuffle = true;
template <int kPixel> struct Shuffled {
  Vel32s from;
  Weights<kPixel> weights;
  Vel8u at[16];

  bool build(const int* firsts, int rowBytes) {
    from = firsts[0] * kPixel < rowBytes - 16 ? firsts[0] * kPixel : rowBytes - 16;
    if (from < 0 || firsts[kColumns<kPixel> - 1] * kPixel + 2 * kPixel - from > 16) return false;
    for (int i = 0; i < 8; ++i) {
      const int column = i / kPixel < kColumns<kPixel> ? i / kPixel : 0;
      const int left = firsts[column] * kPixel + i % kPixel - from;
      at[2 * i] = Vel8u(left);
      at[2 * i + 1] = Vel8u(left + kPixel);
    }
    return true;
  }
  int place() const { return from; }
  Lane pairs(const Vel8u* row) const { return shuffle8(load(row + from), load(at)); }
};
#else
// Words are multiplied: (1 - weight) left + weight right. The pairs of weights of a group, as the sums of its eight pairs
// of bytes take them.
template <int kPixel> struct Weights {
  Vel32u pairs[2];
  void set(int column, int weight) { pairs[column] = Vel32u(kOne - weight) | Vel32u(weight) << 16; }
  Lane low() const { return shuffle32<0, 0, 0, kPixel == 3>(loadLow(pairs)); }
  Lane high() const { return shuffle32<1, 1, 1, 1>(loadLow(pairs)); }
};
template <> struct Weights<1> {
  Vel32u pairs[8];
  void set(int column, int weight) { pairs[column] = Vel32u(kOne - weight) | Vel32u(weight) << 16; }
  Lane low() const { return load(pairs); }
  Lane high() const { return load(pairs + 4); }
};
template <int kScale, int kPixel> ORV_INLINE Lane weighted(Lane pairs, const Weights<kPixel>& weights) {
  constexpr int kDivisor = kOne / kScale, kShift = kScale == 1 ? 14 : 8;
  static_assert(kDivisor == 1 << kShift);
  const auto sums = [](Lane words, Lane by) {
    return shiftRightU32(add32(mulAddPairs16(words, by), all32(kDivisor / 2)), kShift);
  };
  return narrow32(sums(widenLowU8(pairs), weights.low()), sums(widenHighU8(pairs), weights.high()));
}

constexpr bool kMayShuffle = false;  // all groups are gathered
template <int kPixel> using Shuffled = Gathered<kPixel>;
#endif

// Groups whose pairs are loaded one by one.
template <int kPixel> struct Gathered {
  Vel32s from[kColumns<kPixel>];
  Weights<kPixel> weights;

  bool build(const int* firsts, int) {
    for (int i = 0; i < kColumns<kPixel>; ++i) from[i] = firsts[i] * kPixel;
    return true;
  }
  static Lane pairs(const Vel8u* row, const Vel32s (&from)[8]) {
    return gather16(row, [&](int i) { return from[i]; });
  }
  static Lane pairs(const Vel8u* row, const Vel32s (&from)[2]) {
    const Vel8u *const p = row + from[0], *const q = row + from[1];
    if (kPixel == 4) {
      const auto pair = [](Lane both) { return interleaveLow8(both, shiftRightU64(both, 32)); };
      return interleaveLow64(pair(loadLow(p)), pair(loadLow(q)));
    }
    // Two loads of three channels, r g b r' and b r' g' b', reach no further than the two pixels:
    //   0 b | r r' | g g' | b b'   of p, with a pair too many in front
    //   r r' | g g' | b b' | r' 0  of q, with one too many at the end
    const Lane first = interleaveLow8(shiftLeft32(loadFirst<4>(p), 8), loadFirst<4>(p + 2));
    const Lane second = interleaveLow8(loadFirst<4>(q), shiftRightU32(loadFirst<4>(q + 2), 8));
    return shiftBytesDown<2>(interleaveLow64(first, second));
  }
  Lane pairs(const Vel8u* row) const { return pairs(row, from); }
  int place() const { return from[0]; }
};

constexpr int kSlack = 16;  // words that a row of sums has after its own: the vertical pass takes sixteen at a time

// The horizontal pass for all rows.
template <class Group> struct Horizontal;
template <template <int> class Group, int kPixel> struct Horizontal<Group<kPixel>> {
  static constexpr int kElements = kColumns<kPixel> * kPixel;

  static const Group<kPixel>* groupsOf(const LinearColumns& c) { return static_cast<const Group<kPixel>*>(c.groups); }
  // False where the groups are not of this kind.
  static bool build(const LinearColumns& c, const Axis& axis) {
    Group<kPixel>* const groups = static_cast<Group<kPixel>*>(c.groups);
    for (int g = 0; g < c.count; ++g) {
      int firsts[kColumns<kPixel>];
      for (int i = 0; i < kColumns<kPixel>; ++i) {
        const int column = g * kColumns<kPixel> + i;
        const Neighbours n = neighboursOf(axis, column < c.columns ? column : c.columns - 1);
        firsts[i] = n.first;
        groups[g].weights.set(i, n.weight);
      }
      if (!groups[g].build(firsts, axis.count * kPixel)) return false;
    }
    return true;
  }
  template <int kScale> static ORV_INLINE void run(const LinearColumns& c, const Vel8u* row, Vel16u* sums) {
    Vel8u twice[2 * kPixel];
    if (c.isNarrow) {
      memcpy(twice, row, kPixel);
      memcpy(twice + kPixel, row, kPixel);
      row = twice;
    }
    const Group<kPixel>* const groups = groupsOf(c);
    const int count = c.count;
    for (int g = 0; g < count; ++g)
      store(sums + g * kElements, weighted<kScale>(groups[g].pairs(row), groups[g].weights));
  }
};
template <int kScale, int kPixel> ORV_INLINE void filterRow(const LinearColumns& c, const Vel8u* row, Vel16u* sums) {
  if (kMayShuffle && c.isShuffled) return Horizontal<Shuffled<kPixel>>::template run<kScale>(c, row, sums);
  Horizontal<Gathered<kPixel>>::template run<kScale>(c, row, sums);
}

// ---- Vertical pass

// Bytes of a destination row: blend(i) gives sixteen from element i on, or twelve as two sixes in the halves of a lane. A
// fourth channel can be kept. Where kInOrder is false, a row's end may be blended twice.
template <bool kKeepsFourth, bool kInOrder, int kBytes = 16, class Blend>
ORV_INLINE void storeBytes(Vel8u* dst, int bytes, Blend blend) {
  const auto storeAt = [&](Vel8u * to, int i) __attribute__((always_inline)) {
    const Lane v = blend(i);
    if (kBytes == 16) return store(to, kKeepsFourth ? keepFourth8(v, load(to)) : v);
    storeLow(to, v);
    storeHigh(to + 6, v);
  };
  constexpr int kWritten = kBytes == 12 ? 14 : 16;
  int i = 0;
  for (; i + kWritten <= bytes; i += kBytes) storeAt(dst + i, i);
  if (i == bytes) return;
  if (!kInOrder && bytes >= 16) return storeAt(dst + bytes - 16, bytes - 16);
  Tail<16> tail;
  tail.load(dst + i, size_t(bytes - i));
  storeAt(tail.bytes, i);
  tail.store(dst + i, size_t(bytes - i));
}

// The same past the caches, line by line. What is no whole line at the ends is stored: last, because stores take effect in
// their order, and one that waits for its line holds up all after it.
template <class Blend> ORV_INLINE void streamBytes(Vel8u* dst, int bytes, const Blend& blend) {
  const int toLine = int((kLine - reinterpret_cast<size_t>(dst) % kLine) % kLine),
            head = toLine < bytes ? toLine : bytes;
  prefetch(dst, 0);
  prefetch(dst, bytes);
  int i = head;
  for (; i + int(kLine) <= bytes; i += int(kLine))
    ORV_UNROLL for (int k = 0; k < int(kLine); k += 16) stream(dst + i + k, blend(i + k));
  if (head > 0) storeBytes<false, false>(dst, head, blend);
  if (i < bytes) storeBytes<false, false>(dst + i, bytes - i, [&](int k) { return blend(i + k); });
}

// Without the six fractional bits.
ORV_INLINE Lane roundedOff(Lane sums) { return shiftRightRound16<6>(sums); }

// upper + weight (lower - upper), whose second term is cut off downwards: a fraction of what is rounded off then
// changes nothing. Seen from the nearer row, the other one weighs half at most: -4 times that fits 16 bits, and the term
// is the high word of its product with nearer - farther.
struct BlendRows {
  const Vel16u *nearer, *farther;
  Lane weight;

  BlendRows(const Vel16u* upper, const Vel16u* lower, int w)
      : nearer(w > kOne / 2 ? lower : upper),
        farther(w > kOne / 2 ? upper : lower),
        weight(all16(-4 * (w > kOne / 2 ? kOne - w : w))) {}
  Lane words(int i) const {
    const Lane a = load(nearer + i);
    return roundedOff(add16(a, mulHigh16(sub16(a, load(farther + i)), weight)));
  }
  Lane operator()(int i) const { return narrow16To8U(words(i), words(i + 8)); }
};
// Two source rows of which no sums are held: the lower one's are kept, the upper one's needed here only. Called for the
// groups of a row in their order, two at a time. The second term is the high word of 2 (upper - lower) and -2 weight:
// 2 * 64 * 255 fits 16 bits, too.
template <class G, int kElements> struct FilterAndBlend {
  const G* group;
  const Vel8u* upper;
  ptrdiff_t step;
  Vel16u* kept;
  Lane weight;  // -2 times the lower row's
  ORV_INLINE Lane words() {
    const Vel8u* const lower = upper + step;
    const Lane below = weighted<kForBlend>(group->pairs(lower), group->weights);
    const Lane above = weighted<kForBlend>(group->pairs(upper), group->weights);
    store(kept, below);
    ++group, kept += kElements;
    const Lane difference = sub16(above, below);
    return roundedOff(add16(above, mulHigh16(add16(difference, difference), weight)));
  }
  ORV_INLINE Lane operator()(int) {
    const Lane low = words();
    // Not prefetchTwoRows(upper + place): gcc would keep that pointer for the gathering, which is then slower by 5 percent.
    prefetch(upper, group->place() + 2 * step);
    prefetch(upper, group->place() + 3 * step);
    return narrow16To8U(low, words());
  }
};

// ---- The image

// Two rows of sums, of the two source rows last used.
struct HeldSums {
  Vel16u *upper, *lower;
  int upperRow = -1, lowerRow = -1, aloneRow = -1;  // the last one: in `upper`, for itself

  bool hasNeither(int row) const { return lowerRow != row && upperRow != row && lowerRow != row + 1; }
  template <class Run> void provide(int row, const Run& run) {
    if (lowerRow == row) {
      Vel16u* const sums = upper;
      upper = lower, lower = sums;
      lowerRow = -1;
    } else if (upperRow != row) {
      run(row, upper);
    }
    upperRow = row, aloneRow = -1;
    if (lowerRow != row + 1) run(lowerRow = row + 1, lower);
  }
};

template <int kPixel> ORV_INLINE void coefficients(const LinearColumns& c, const Vel8u* row, Vel16u* sums) {
  (kPixel == 1   ? ORV_NAME(ownpi_CoefLinear8pl)
   : kPixel == 3 ? ORV_NAME(ownpi_CoefLinear8px)
                 : ORV_NAME(ownpi_CoefLinear8px4))(&c, row, sums);
}

// The vertical pass of large images.
__attribute__((noinline)) void blendPastCaches(const LinearColumns* columns, const Vel16u* upper, const Vel16u* lower,
                                               int weight, Vel8u* dst) {
  streamBytes(dst, columns->bytes, BlendRows(upper, lower, weight));
}

// Of one plane, with rows of sums for it.
template <class Group, int kPixel, bool kKeepsFourth>
ORV_INLINE void resizePlane(const LinearColumns& table, HeldSums sums, const Axis& axis, int height,
                            const ResizeImages& images, ResizePlane plane) {
  const auto at = [&](int row) { return rowOf(plane.src, images.srcStep, row); };
  // Rows of which all bytes are written are blended alike, whatever their pixels are.
  const auto blend = table.streams  ? blendPastCaches
                     : kKeepsFourth ? ORV_NAME(ownpi_SummLinear8px)
                                    : ORV_NAME(ownpi_SummLinear8pl);
  for (int y = 0; y < height; ++y) {
    Vel8u* const dst = rowOf(plane.dst, images.dstStep, y);
    const Position p = positionOf(axis, y);
    if (p.index < 0 || p.index >= axis.count - 1) {
      const int row = p.index < 0 ? 0 : axis.count - 1;
      (kPixel == 1 ? ORV_NAME(ownpi_CalcBorder8plL) : ORV_NAME(ownpi_CalcBorder8pxL))(
          &table, row == sums.aloneRow ? nullptr : at(row), sums.upper, dst);
      sums.upperRow = -1, sums.aloneRow = row;
      continue;
    }
    const int upper = p.index, weight = weightOf(p.fraction);
    if (axis.inverse >= 1 && sums.hasNeither(upper) && !table.isNarrow) {
      constexpr int kElements = Horizontal<Group>::kElements;
      storeBytes<kKeepsFourth, true, 2 * kElements>(
          dst, table.bytes,
          FilterAndBlend<Group, kElements>{Horizontal<Group>::groupsOf(table), at(upper), images.srcStep, sums.lower,
                                           all16(-2 * weight)});
      sums.upperRow = -1, sums.lowerRow = upper + 1;
      continue;
    }
    sums.provide(upper, [&](int row, Vel16u* to) { coefficients<kPixel>(table, at(row), to); });
    blend(&table, sums.upper, sums.lower, weight, dst);
  }
}

// How many groups a row of so many columns has: they come in twos.
template <int kPixel> constexpr int groupsFor(int width) {
  constexpr int kColumnsOfTwo = 2 * kColumns<kPixel>;
  return (width + kColumnsOfTwo - 1) / kColumnsOfTwo * 2;
}
// The buffer holds the groups, and two rows of sums with their slack. What is true up to 256 columns is true of more:
// both grow evenly with each 64 of them, the buffer by no less.
template <class Group, int kPixel> constexpr bool bufferHoldsGroups(int channels) {
  for (int width = 1; width <= 256; ++width) {
    const VeliRect roi = {0, 0, width, 1};
    const int groups = groupsFor<kPixel>(width), words = 2 * (groups * Horizontal<Group>::kElements + kSlack);
    if (groups * sizeof(Group) + Vel64u(words) * sizeof(Vel16u) >
        bufferSize(roi, roi, unsigned(channels), velInterLinear, false))
      return false;
  }
  return true;
}
template <class Group, int kPixel, bool kKeepsFourth>
ORV_INLINE bool resizeBy(const ResizePlan& plan, const ResizeImages& images, bool isShuffled) {
  static_assert(bufferHoldsGroups<Group, kPixel>(kKeepsFourth ? 3 : kPixel));
  const int groups = groupsFor<kPixel>(plan.dstWidth);
  const Axis across = columns(plan, images);
  const LinearColumns table = {images.buffer,
                               groups,
                               plan.dstWidth,
                               plan.dstWidth * kPixel,
                               across.count == 1,
                               isShuffled,
                               kKeepsFourth,
                               kPixel,
                               !kKeepsFourth && exceedsCaches(plan, images)};
  if (!Horizontal<Group>::build(table, across)) return false;
  const int rowWords = groups * Horizontal<Group>::kElements;
  Vel16u* const first = reinterpret_cast<Vel16u*>(reinterpret_cast<Group*>(images.buffer) + groups);
  const HeldSums sums = {first, first + rowWords + kSlack};
  memset(sums.upper + rowWords, 0, kSlack * sizeof *first);
  memset(sums.lower + rowWords, 0, kSlack * sizeof *first);
  for (const ResizePlane plane : images)
    resizePlane<Group, kPixel, kKeepsFourth>(table, sums, rows(plan, images), plan.dstHeight, images, plane);
  if (table.streams) streamEnd();
  return true;
}

template <int kPixel, bool kKeepsFourth = false>
ORV_INLINE VelStatus resize(const ResizePlan& plan, const ResizeImages& images) {
  if (!kMayShuffle || !resizeBy<Shuffled<kPixel>, kPixel, kKeepsFourth>(plan, images, true))
    resizeBy<Gathered<kPixel>, kPixel, kKeepsFourth>(plan, images, false);
  return velStsNoErr;
}

// Sums that are results already.
template <bool kKeepsFourth> ORV_INLINE void storeAlone(Vel8u* dst, int bytes, const Vel16u* sums) {
  storeBytes<kKeepsFourth, false>(dst, bytes, [=](int i) { return narrow16To8U(load(sums + i), load(sums + i + 8)); });
}

}  // namespace

ORV_COEF_KERNEL(ownpi_CoefLinear8pl) { filterRow<kForBlend, 1>(*columns, row, sums); }
ORV_COEF_KERNEL(ownpi_CoefLinear8px) { filterRow<kForBlend, 3>(*columns, row, sums); }
ORV_COEF_KERNEL(ownpi_CoefLinear8px4) { filterRow<kForBlend, 4>(*columns, row, sums); }
ORV_SUMM_KERNEL(ownpi_SummLinear8pl) { storeBytes<false, false>(dst, columns->bytes, BlendRows(upper, lower, weight)); }
ORV_SUMM_KERNEL(ownpi_SummLinear8px) {
  if (!columns->keepsFourth) return ORV_NAME(ownpi_SummLinear8pl)(columns, upper, lower, weight, dst);
  storeBytes<true, false>(dst, columns->bytes, BlendRows(upper, lower, weight));
}
ORV_BORDER_ROW_KERNEL(ownpi_CalcBorder8plL) {
  if (row) filterRow<kAlone, 1>(*columns, row, sums);
  storeAlone<false>(dst, columns->columns, sums);
}
ORV_BORDER_ROW_KERNEL(ownpi_CalcBorder8pxL) {
  if (row) columns->pixel == 3 ? filterRow<kAlone, 3>(*columns, row, sums) : filterRow<kAlone, 4>(*columns, row, sums);
  columns->keepsFourth ? storeAlone<true>(dst, columns->bytes, sums) : storeAlone<false>(dst, columns->bytes, sums);
}

ORV_RESIZE_KERNEL(ownResize8plL) { return resize<1>(*plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxL) {
  if (images->pixel == 3) return resize<3>(*plan, *images);
  return images->channels == 3 ? resize<4, true>(*plan, *images) : resize<4>(*plan, *images);
}
