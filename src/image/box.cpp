// Box filter: running sums in an order of additions that is fixed, so that results are the same everywhere.
//
// The running sum along a row is a chain of an addition and a subtraction for every pixel, and nothing may reorder it:
// its latency is what bounds a row by itself. So the rows of a band run side by side, one in each lane of a vector.
// Column sums, four rows at a time, each row's from those of the row above, are transposed so that a vector holds one
// column; then come the running sums along these vectors, and what they give is transposed back: all of it for a chunk of
// columns that stays in the first-level cache, then for the next. The channels of four-channel pixels run side by side
// already, and so do the four rows of a band of them: nothing is transposed.
//
// Sums keep the order of their operands: of two NaNs the one in the sum stays.
#include "core/cache.h"
#include "core/simd.h"
#include "image/checks.h"
#include "signal/memory.h"

namespace {

// Calls work(x, loadAt) for each vector of the columns from x to `end`; loadAt(p) loads what there is of it.
template <class Work> ORV_INLINE void eachVector(int x, int end, const Work& work) {
  for (; x + kFloats <= end; x += kFloats) work(x, [](const float* p) { return load<Floats>(p); });
  if (x < end) work(x, [=](const float* p) { return loadFirst(p, end - x); });
}

// ---- Bands

// Bands of kRows rows. kStep: columns of whole transposed matrices after which the channels come round again.
template <int kChannels_, int kRows_, bool kKeepsFourth = false> struct BandOf {
  static constexpr int kChannels = kChannels_, kRows = kRows_, kStep = kChannels == 3 ? 12 : 4;
  static constexpr bool kTransposes = kChannels != 4;

  // The first n floats, when there are no more.
  static ORV_INLINE void put(float* dst, Floats4 v, int n) {
    if (kKeepsFourth)
      store(dst, keepFourth(v, load<Floats4>(dst)));
    else if (n < 4)
      storeFirst(dst, v, n);
    else
      store(dst, v);
  }
};

// ---- Running sums

// A column is a column of floats, a channel of a pixel.
struct Filter {
  const Vel32f* frame;  // the first pixel under the mask
  Vel32f* dst;
  int srcStep, dstStep, width, height;
  VeliSize mask;
  float norm;
  int columns;  // under the mask in all
  int room;     // columns that the window has room for, besides kSlack
  // Column sums of a band: kRows floats to a column, one for each row. With four channels, the floats of column k of a
  // pixel are the channels of row k.
  float* window;
  float* sums;  // column sums of the row that is next
};
constexpr int kChunk = 96;  // columns; a multiple of every kStep
constexpr int kSlack = 12;  // columns of the window that the last vector or step of a row may reach

// The column sums of the first row, added from the top down.
ORV_INLINE void sumColumns(const Filter& f) {
  eachVector(0, f.columns, [&](int x, auto loadAt) { store(f.sums + x, loadAt(f.frame + x)); });
  for (int y = 1; y < f.mask.height; ++y) {
    const Vel32f* const row = rowOf(f.frame, f.srcStep, y);
    eachVector(0, f.columns,
               [&](int x, auto loadAt) { store(f.sums + x, addInOrder(load<Floats>(f.sums + x), loadAt(row + x))); });
  }
}

// Columns from `start` to `end` of rows y to y + 3 into the window. Moves the column sums down by `moves` rows; a row
// that they do not reach is filled with those of the row above. What the next chunk will read is prefetched:
// processors predict what follows within a chunk, not where the next one begins.
template <class Band> ORV_INLINE void loadColumns(const Filter& f, int y, int moves, int start, int end, float* to) {
  const Vel32f* const leaves = rowOf(f.frame, f.srcStep, y);
  const Vel32f* const comes = rowOf(leaves, f.srcStep, f.mask.height);
  const int step = f.srcStep;
  float* const sums = f.sums;
  eachVector(start, end, [&](int x, auto loadAt) {
    const Vel32f *in = comes + x, *out = leaves + x;
    Floats4x4 m;
    Floats sum = load<Floats>(sums + x);
    ORV_UNROLL
    for (int r = 0; r < 4; ++r) {
      m.v[r] = sum;
      if (r >= moves) continue;
      prefetch(in, kChunk * ptrdiff_t(sizeof *in));
      sum = addInOrder(sum, loadAt(in)) - loadAt(out);
      in = rowOf(in, step, 1);
      out = rowOf(out, step, 1);
    }
    store(sums + x, sum);
    if (Band::kTransposes) m = transpose(m);
    ORV_UNROLL
    for (int k = 0; k < kFloats; ++k) storeAligned(to + k * Band::kRows, laneOf(m.v[k & 3], k >> 2));
    to += kFloats * Band::kRows;
  });
}

// The running sums of a band, as many vectors as the columns of a pixel fill.
template <class Band> struct Sums {
  static constexpr int kVectors = Band::kChannels * Band::kRows / kFloats;
  Floats v[kVectors];
};

// Of the first columns, from left to right.
template <class Band> ORV_INLINE Sums<Band> sumFirst(const float* at, int columns) {
  Sums<Band> s;
  memcpy(s.v, at, sizeof s.v);
  for (int x = Band::kChannels; x < columns; x += Band::kChannels)
    for (int i = 0; i < s.kVectors; ++i) s.v[i] = addInOrder(s.v[i], load<Floats>(at + x * Band::kRows + i * kFloats));
  return s;
}

// The column sums that leave, how many floats further those lie that come in, and what the sums are multiplied by.
struct Run {
  const float* at;
  ptrdiff_t lag;
  Floats norm;
};
struct Target {
  Vel32f* dst;
  int step, rows;
};

// What vector i of a step gives; then its columns leave and others come in.
template <class Band> ORV_INLINE Floats move(Sums<Band>& s, int i, const Run& run) {
  Floats& sum = s.v[i % s.kVectors];
  const float* const leaves = run.at + i * kFloats;
  const Floats mean = run.norm * sum;
  sum = addInMemory(sum, leaves + run.lag) - inMemory(leaves);
  return mean;
}

// One step, the first n columns of which go to the target.
template <class Band> ORV_INLINE void stepTransposed(Sums<Band>& s, const Run& run, const Target& target, int n) {
  constexpr int kColumn = Band::kRows / kFloats;  // vectors to a column
  ORV_UNROLL
  for (int x = 0; x < Band::kStep; x += 4) {
    if (x >= n) continue;
    Vel32f* row = target.dst + x;
    ORV_UNROLL
    for (int i = 0; i < kColumn; ++i) {
      Floats4x4 m;
      ORV_UNROLL
      for (int k = 0; k < 4; ++k) m.v[k] = move(s, (x + k) * kColumn + i, run);
      m = transpose(m);
      ORV_UNROLL
      for (int r = 0; r < kFloats; ++r) {
        if (i * kFloats + r < target.rows) Band::put(row, laneOf(m.v[r & 3], r >> 2), n - x);
        row = rowOf(row, target.step, 1);
      }
    }
  }
}

// The same for four channels: a pixel.
template <class Band> ORV_INLINE void stepPixel(Sums<Band>& s, const Run& run, const Target& target) {
  Vel32f* row = target.dst;
  ORV_UNROLL
  for (int i = 0; i < s.kVectors; ++i) {
    const Floats mean = move(s, i, run);
    ORV_UNROLL
    for (int r = 0; r < kFloats / 4; ++r) {
      if (i * kFloats / 4 + r < target.rows) Band::put(row, laneOf(mean, r), 4);
      row = rowOf(row, target.step, 1);
    }
  }
}

template <class Band> ORV_INLINE void runSums(Sums<Band>& sums, Run run, Target target, int n) {
  Sums<Band> s = sums;  // in registers
  for (; n >= Band::kStep; n -= Band::kStep) {
    if (Band::kTransposes)
      stepTransposed(s, run, target, Band::kStep);
    else
      stepPixel(s, run, target);
    run.at += Band::kStep * Band::kRows;
    target.dst += Band::kStep;
  }
  if (Band::kTransposes && n > 0) stepTransposed(s, run, target, n);
  sums = s;
}

// The band that begins with row y.
template <class Band> void filterBand(const Filter& f, int y) {
  constexpr int kRows = Band::kRows;
  const int left = f.height - y, rows = left < kRows ? left : kRows;
  const int all = f.width * Band::kChannels, lag = f.mask.width * Band::kChannels;
  int first = 0, loaded = 0;  // the first column in the window, and the one after the last
  const auto loadUpTo = [&](int end) {
    const int whole = (end + kFloats - 1) & -kFloats;  // so that a row has one vector at most that is not
    end = whole < f.columns ? whole : f.columns;
    for (int r = 0; r < rows; r += 4) {
      float* const to = f.window + (loaded - first) * kRows + r;
      if (left - r > 4)
        loadColumns<Band>(f, y + r, 4, loaded, end, to);
      else
        loadColumns<Band>(f, y + r, left - r - 1, loaded, end, to);
    }
    loaded = end;
  };
  loadUpTo(lag);
  Sums<Band> sums = sumFirst<Band>(f.window, lag);
  for (int x = 0; x < all; x += kChunk) {
    const int n = all - x < kChunk ? all - x : kChunk;
    if (x + n + lag - first > f.room) {
      memmove(f.window, f.window + (x - first) * kRows, size_t((loaded - x) * kRows) * sizeof(float));
      first = x;
    }
    loadUpTo(x + n + lag);
    const Run run{f.window + (x - first) * kRows, lag * kRows, allFloats(f.norm)};
    Vel32f* const dst = rowOf(f.dst, f.dstStep, y) + x;
    if (rows == kRows)
      runSums(sums, run, {dst, f.dstStep, kRows}, n);
    else
      runSums(sums, run, {dst, f.dstStep, rows}, n);
  }
}

// ---- The filter

ORV_INLINE VelStatus check(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize size, VeliSize mask,
                           VeliPoint anchor) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSteps(srcStep, dstStep));
  ORV_CHECK(checkSize(size));
  if (mask.width < 1 || mask.height < 1) return velStsMaskSizeErr;
  if (anchor.x < 0 || anchor.y < 0 || anchor.x >= mask.width || anchor.y >= mask.height) return velStsAnchorErr;
  return velStsNoErr;
}

// A step in whole floats, in bytes.
ORV_INLINE int wholeFloats(int step) { return step & -int(sizeof(float)); }

// The pixel under the mask's first one when the anchor is on pSrc.
ORV_INLINE const Vel32f* frameOf(const Vel32f* pSrc, int step, VeliPoint anchor, int channels) {
  return rowOf(pSrc, step, -anchor.y) - ptrdiff_t(anchor.x) * channels;
}

// Scratch for so many floats; null, too, where an int cannot say its size in bytes.
ORV_INLINE float* allocate(double floats) {
  return floats * sizeof(float) <= INT32_MAX ? ORV_NAME(velsMalloc_32f)(int(floats)) : nullptr;
}

// Last is for a last band of so few rows that its rows will do.
template <class Band, class Last = Band> ORV_INLINE VelStatus filter(const Vel32f* pSrc, int srcStep, Vel32f* pDst,
                                                                     int dstStep, VeliSize size, VeliSize mask,
                                                                     VeliPoint anchor) {
  ORV_CHECK(check(pSrc, srcStep, pDst, dstStep, size, mask, anchor));
  constexpr int kChannels = Band::kChannels, kRows = Band::kRows;
  // In doubles, which hold whatever the arguments make of them. The window takes a whole row, or, if that is less, what
  // lets it move on by a mask's width at a time.
  const double columns = (double(size.width) + mask.width - 1) * kChannels;
  const double whole = columns + kChannels, moving = 2.0 * mask.width * kChannels + kChunk;
  const double room = whole < moving ? whole : moving, window = (room + kSlack) * kRows;
  float* const scratch = allocate(window + columns + kFloats);
  if (!scratch) return velStsMemAllocErr;
  // After a row's last column the window holds what it held before: numbers.
  ORV_NAME(velsZero_32s)(reinterpret_cast<Vel32s*>(scratch), int(window));
  srcStep = wholeFloats(srcStep);
  const Filter f{frameOf(pSrc, srcStep, anchor, kChannels),
                 pDst,
                 srcStep,
                 wholeFloats(dstStep),
                 size.width,
                 size.height,
                 mask,
                 1.0f / float(double(mask.width) * mask.height),
                 int(columns),
                 int(room),
                 scratch,
                 scratch + int(window)};
  sumColumns(f);
  int y = 0;
  for (; size.height - y > Last::kRows; y += kRows) filterBand<Band>(f, y);
  if (y < size.height) filterBand<Last>(f, y);
  ORV_NAME(velsFree)(scratch);
  return velStsNoErr;
}

// ---- Four channels under a mask of 3 by 3: sums along rows, then of three rows

template <class Load> ORV_INLINE Floats sumOfThree(const Load& loadAt, const Vel32f* p) {
  return addInOrder(addInOrder(loadAt(p), loadAt(p + 4)), loadAt(p + 8));
}

ORV_INLINE VelStatus filter3x3(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize size,
                               VeliPoint anchor) {
  const double row = 4.0 * size.width + kFloats;
  float* const scratch = allocate(2 * row);
  if (!scratch) return velStsMemAllocErr;
  srcStep = wholeFloats(srcStep);
  dstStep = wholeFloats(dstStep);
  const int n = 4 * size.width;
  const Vel32f* src = frameOf(pSrc, srcStep, anchor, 4);
  float *older = scratch, *newer = scratch + int(row);  // the two rows above
  eachVector(0, n, [&](int x, auto loadAt) {
    store(older + x, sumOfThree(loadAt, src + x));
    store(newer + x, sumOfThree(loadAt, rowOf(src, srcStep, 1) + x));
  });
  src = rowOf(src, srcStep, 2);
  const Floats ninth = allFloats(1.0f / 9);
  for (int y = 0; y < size.height; ++y) {
    eachVector(0, n, [&](int x, auto loadAt) {
      const Floats newest = sumOfThree(loadAt, src + x);
      const Floats mean = addInOrder(addInOrder(load<Floats>(older + x), load<Floats>(newer + x)), newest) * ninth;
      store(older + x, newest);
      if (x + kFloats <= n)
        store(pDst + x, mean);
      else
        store(pDst + x, laneOf(mean, 0));
    });
    float* const newest = older;
    older = newer;
    newer = newest;
    src = rowOf(src, srcStep, 1);
    pDst = rowOf(pDst, dstStep, 1);
  }
  ORV_NAME(velsFree)(scratch);
  return velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliFilterBox_32f_C1R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize, VeliSize maskSize, VeliPoint anchor) {
  return filter<BandOf<1, 8>, BandOf<1, kFloats>>(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor);
}

ORV_BODY_A(veliFilterBox_32f_C3R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize, VeliSize maskSize, VeliPoint anchor) {
  return filter<BandOf<3, kFloats>>(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor);
}

ORV_BODY_B(veliFilterBox_32f_C4R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize, VeliSize maskSize, VeliPoint anchor) {
  ORV_CHECK(check(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor));
  if (maskSize.width == 3 && maskSize.height == 3) return filter3x3(pSrc, srcStep, pDst, dstStep, dstRoiSize, anchor);
  return filter<BandOf<4, 4>>(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor);
}

ORV_BODY_A(veliFilterBox_32f_AC4R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize, VeliSize maskSize, VeliPoint anchor) {
  return filter<BandOf<4, 4, true>>(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor);
}
