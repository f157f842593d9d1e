// Box filter: running sums in an order of additions that is fixed, so that results are the same everywhere.
//
// The running sum along a row is a chain of an addition and a subtraction for every pixel, and nothing may reorder it:
// its latency is what bounds a row by itself. So the rows of a band run side by side, one in each lane of a vector.
// Column sums, four rows at a time, each row's from those of the row above, are turned so that a vector holds one
// column; then come the running sums along these vectors, and what they give is turned back: all of it for a chunk of
// columns that stays in the first-level cache, then for the next. The channels of four-channel pixels run side by side
// already, and so do the four rows of a band of them: nothing is turned.
#include "core/cache.h"
#include "core/simd.h"
#include "image/checks.h"
#include "signal/memory.h"

namespace {

constexpr int kLanes = int(kFloatsBytes / sizeof(float));

// ---- Vectors

// loadSome: the first n floats, nothing behind them is touched. four: lanes 4 i to 4 i + 3.
#if ORV_HAS_WIDE_FLOAT
ORV_INLINE Floats loadSome(const float* p, int n) {
  const Floats places = _mm256_setr_ps(0, 1, 2, 3, 4, 5, 6, 7);
  return _mm256_maskload_ps(p, asBits(_mm256_cmp_ps(places, allFloats(float(n)), _CMP_LT_OQ)));
}
ORV_INLINE Floats4 four(Floats v, int i) { return i == 0 ? lowHalf(v) : highHalf(v); }
#define ORV_WIDE(name) _mm256_##name
#else
ORV_INLINE Floats loadSome(const float* p, int n) {
  if (n == 1) return _mm_load_ss(p);
  const Floats two = asFloats(loadLow(p));
  return n == 2 ? two : _mm_movelh_ps(two, _mm_load_ss(p + 2));
}
ORV_INLINE Floats4 four(Floats v, int) { return v; }
#define ORV_WIDE(name) _mm_##name
#endif
ORV_INLINE void storeSome(float* p, Floats4 v, int n) {
  if (n == 1) return _mm_store_ss(p, v);
  storeLow(p, asBits(v));
  if (n == 3) _mm_store_ss(p + 2, _mm_movehl_ps(v, v));
}

// What stands in the window: aligned to 16 bytes, so that instructions take it from there.
#if ORV_HAS_WIDE_FLOAT
using InWindow = __m256_u;
#else
using InWindow = Floats4;
#endif
ORV_INLINE const InWindow& inWindow(const float* p) { return *reinterpret_cast<const InWindow*>(p); }

// sum + x. Of two NaNs an instruction gives its first operand, so that here the one in the sum stays. Compilers think that
// the operands of an addition may change places, hence the instruction itself.
#if ORV_HAS_WIDE_FLOAT
#define ORV_ADD(sum, where, x) __asm__("vaddps %2, %1, %0" : "=x"(sum) : "x"(sum), where(x))
#else
#define ORV_ADD(sum, where, x) __asm__("addps %1, %0" : "+x"(sum) : where(x))
#endif
ORV_INLINE Floats added(Floats sum, Floats x) {
  ORV_ADD(sum, "x", x);
  return sum;
}
ORV_INLINE Floats addedInWindow(Floats sum, const float* p) {
  ORV_ADD(sum, "m", inWindow(p));
  return sum;
}

// Four vectors: matrices of four by four.
struct Tile {
  Floats v[4];
};
ORV_INLINE Tile turned(const Tile& t) {
  const Floats a = ORV_WIDE(unpacklo_ps)(t.v[0], t.v[1]), b = ORV_WIDE(unpacklo_ps)(t.v[2], t.v[3]);
  const Floats c = ORV_WIDE(unpackhi_ps)(t.v[0], t.v[1]), d = ORV_WIDE(unpackhi_ps)(t.v[2], t.v[3]);
  return {{ORV_WIDE(shuffle_ps)(a, b, 0x44), ORV_WIDE(shuffle_ps)(a, b, 0xEE), ORV_WIDE(shuffle_ps)(c, d, 0x44),
           ORV_WIDE(shuffle_ps)(c, d, 0xEE)}};
}

// Calls work(x, loadAt) for each vector of the columns from x to `end`; loadAt(p) loads what there is of it.
template <class Work> ORV_INLINE void eachVector(int x, int end, const Work& work) {
  for (; x + kLanes <= end; x += kLanes) work(x, [](const float* p) { return load<Floats>(p); });
  if (x < end) work(x, [=](const float* p) { return loadSome(p, end - x); });
}

// ---- Layouts

// kRows: of a band. kStep: columns of whole tiles after which the channels come round again.
template <int kChannels_, int kRows_> struct Interleaved {
  static constexpr int kChannels = kChannels_, kRows = kRows_, kStep = kChannels == 3 ? 12 : 4;
  static constexpr bool kTurned = kChannels != 4;
  // The first n floats, when there are no more.
  static ORV_INLINE void put(float* to, Floats4 v, int n) { n < 4 ? storeSome(to, v, n) : store(to, v); }
};
struct C4 : Interleaved<4, 4> {};
struct AC4 : C4 {
  static ORV_INLINE void put(float* to, Floats4 v, int) {
    const Floats4 alpha = load<Floats4>(to);
#if ORV_HAS_BLEND
    store(to, _mm_blend_ps(v, alpha, 8));
#else
    store(to, _mm_shuffle_ps(v, _mm_unpackhi_ps(v, alpha), 0xC4));
#endif
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
               [&](int x, auto loadAt) { store(f.sums + x, added(load<Floats>(f.sums + x), loadAt(row + x))); });
  }
}

// Columns from `start` to `end` of rows y to y + 3 into the window. Moves the column sums down by `moves` rows; a row
// that they do not reach is filled with those of the row above. What the next chunk will read is asked for in time: a
// processor foresees what follows within a chunk, not where the next one begins.
template <class Layout> ORV_INLINE void loadColumns(const Filter& f, int y, int moves, int start, int end, float* to) {
  const Vel32f* const leaves = rowOf(f.frame, f.srcStep, y);
  const Vel32f* const comes = rowOf(leaves, f.srcStep, f.mask.height);
  const int step = f.srcStep;
  float* const sums = f.sums;
  eachVector(start, end, [&](int x, auto loadAt) {
    const Vel32f *in = comes + x, *out = leaves + x;
    Tile t;
    Floats sum = load<Floats>(sums + x);
    ORV_UNROLL
    for (int r = 0; r < 4; ++r) {
      t.v[r] = sum;
      if (r >= moves) continue;
      sum = added(sum, loadAt(in)) - loadAt(out);
      prefetch(in, kChunk * ptrdiff_t(sizeof *in));
      in = rowOf(in, step, 1);
      out = rowOf(out, step, 1);
    }
    store(sums + x, sum);
    if (Layout::kTurned) t = turned(t);
    ORV_UNROLL
    for (int k = 0; k < kLanes; ++k) _mm_store_ps(to + k * Layout::kRows, four(t.v[k & 3], k >> 2));
    to += kLanes * Layout::kRows;
  });
}

// The running sums of a band, as many vectors as the columns of a pixel fill.
template <class Layout> struct Sums {
  static constexpr int kVectors = Layout::kChannels * Layout::kRows / kLanes;
  Floats v[kVectors];
};

// Of the first columns, from left to right.
template <class Layout> ORV_INLINE Sums<Layout> sumFirst(const float* at, int columns) {
  Sums<Layout> s;
  memcpy(s.v, at, sizeof s.v);
  for (int x = Layout::kChannels; x < columns; x += Layout::kChannels)
    for (int i = 0; i < s.kVectors; ++i) s.v[i] = added(s.v[i], load<Floats>(at + x * Layout::kRows + i * kLanes));
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
template <class Layout> ORV_INLINE Floats move(Sums<Layout>& s, int i, const Run& run) {
  Floats& sum = s.v[i % s.kVectors];
  const float* const leaves = run.at + i * kLanes;
  const Floats mean = run.norm * sum;
  sum = addedInWindow(sum, leaves + run.lag) - inWindow(leaves);
  return mean;
}

// One step, the first n columns of which go to the target.
template <class Layout> ORV_INLINE void stepTurned(Sums<Layout>& s, const Run& run, const Target& target, int n) {
  constexpr int kColumn = Layout::kRows / kLanes;  // vectors to a column
  ORV_UNROLL
  for (int x = 0; x < Layout::kStep; x += 4) {
    if (x >= n) continue;
    Vel32f* row = target.dst + x;
    ORV_UNROLL
    for (int i = 0; i < kColumn; ++i) {
      Tile t;
      ORV_UNROLL
      for (int k = 0; k < 4; ++k) t.v[k] = move(s, (x + k) * kColumn + i, run);
      t = turned(t);
      ORV_UNROLL
      for (int r = 0; r < kLanes; ++r) {
        if (i * kLanes + r < target.rows) Layout::put(row, four(t.v[r & 3], r >> 2), n - x);
        row = rowOf(row, target.step, 1);
      }
    }
  }
}

// The same for four channels: a pixel.
template <class Layout> ORV_INLINE void stepPixel(Sums<Layout>& s, const Run& run, const Target& target) {
  Vel32f* row = target.dst;
  ORV_UNROLL
  for (int i = 0; i < s.kVectors; ++i) {
    const Floats mean = move(s, i, run);
    ORV_UNROLL
    for (int r = 0; r < kLanes / 4; ++r) {
      if (i * kLanes / 4 + r < target.rows) Layout::put(row, four(mean, r), 4);
      row = rowOf(row, target.step, 1);
    }
  }
}

template <class Layout> ORV_INLINE void runSums(Sums<Layout>& sums, Run run, Target target, int n) {
  Sums<Layout> s = sums;  // in registers
  for (; n >= Layout::kStep; n -= Layout::kStep) {
    if (Layout::kTurned)
      stepTurned(s, run, target, Layout::kStep);
    else
      stepPixel(s, run, target);
    run.at += Layout::kStep * Layout::kRows;
    target.dst += Layout::kStep;
  }
  if (Layout::kTurned && n > 0) stepTurned(s, run, target, n);
  sums = s;
}

// The band that begins with row y.
template <class Layout> void filterBand(const Filter& f, int y) {
  constexpr int kRows = Layout::kRows;
  const int left = f.height - y, rows = left < kRows ? left : kRows;
  const int all = f.width * Layout::kChannels, lag = f.mask.width * Layout::kChannels;
  int first = 0, loaded = 0;  // the first column in the window, and that behind the last
  const auto loadUpTo = [&](int end) {
    const int whole = (end + kLanes - 1) & -kLanes;  // so that a row has one vector at most that is not
    end = whole < f.columns ? whole : f.columns;
    for (int r = 0; r < rows; r += 4) {
      float* const to = f.window + (loaded - first) * kRows + r;
      if (left - r > 4)
        loadColumns<Layout>(f, y + r, 4, loaded, end, to);
      else
        loadColumns<Layout>(f, y + r, left - r - 1, loaded, end, to);
    }
    loaded = end;
  };
  loadUpTo(lag);
  Sums<Layout> sums = sumFirst<Layout>(f.window, lag);
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

// Layout is for bands of rows, Last for a last band of so few that its rows will do.
template <class Layout, class Last = Layout> ORV_INLINE VelStatus filter(const Vel32f* pSrc, int srcStep, Vel32f* pDst,
                                                                         int dstStep, VeliSize size, VeliSize mask,
                                                                         VeliPoint anchor) {
  ORV_CHECK(check(pSrc, srcStep, pDst, dstStep, size, mask, anchor));
  constexpr int kChannels = Layout::kChannels, kRows = Layout::kRows;
  // In doubles, which hold whatever the arguments make of them. The window takes a whole row, or, if that is less, what
  // lets it move on by a mask's width at a time.
  const double columns = (double(size.width) + mask.width - 1) * kChannels;
  const double whole = columns + kChannels, moving = 2.0 * mask.width * kChannels + kChunk;
  const double room = whole < moving ? whole : moving, window = (room + kSlack) * kRows;
  float* const scratch = allocate(window + columns + kLanes);
  if (!scratch) return velStsMemAllocErr;
  // Behind a row's last column the window holds what it held before: numbers.
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
  for (; size.height - y > Last::kRows; y += kRows) filterBand<Layout>(f, y);
  if (y < size.height) filterBand<Last>(f, y);
  ORV_NAME(velsFree)(scratch);
  return velStsNoErr;
}

// ---- Four channels under a mask of 3 by 3: sums along rows, then of three rows

template <class Load> ORV_INLINE Floats sumOfThree(const Load& loadAt, const Vel32f* p) {
  return added(added(loadAt(p), loadAt(p + 4)), loadAt(p + 8));
}

ORV_INLINE VelStatus filter3x3(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize size,
                               VeliPoint anchor) {
  const double row = 4.0 * size.width + kLanes;
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
      const Floats mean = added(added(load<Floats>(older + x), load<Floats>(newer + x)), newest) * ninth;
      store(older + x, newest);
      if (x + kLanes <= n)
        store(pDst + x, mean);
      else
        store(pDst + x, four(mean, 0));
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
  return filter<Interleaved<1, 8>, Interleaved<1, kLanes>>(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor);
}

ORV_BODY_A(veliFilterBox_32f_C3R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize, VeliSize maskSize, VeliPoint anchor) {
  return filter<Interleaved<3, kLanes>>(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor);
}

ORV_BODY_B(veliFilterBox_32f_C4R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize, VeliSize maskSize, VeliPoint anchor) {
  ORV_CHECK(check(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor));
  if (maskSize.width == 3 && maskSize.height == 3) return filter3x3(pSrc, srcStep, pDst, dstStep, dstRoiSize, anchor);
  return filter<C4>(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor);
}

ORV_BODY_A(veliFilterBox_32f_AC4R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize, VeliSize maskSize, VeliPoint anchor) {
  return filter<AC4>(pSrc, srcStep, pDst, dstStep, dstRoiSize, maskSize, anchor);
}
