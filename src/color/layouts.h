// The layouts of the colour families: where the rows of an image lie, how sixteen pixels are read from and written to
// them, and how kernels are led along rows.
//
// A strip is what a kernel works on at a time: a row of pixels, or two that share a row of chroma, as a pointer for each
// plane. A kernel has
//   template <class V, class Src, class Dst> static ORV_INLINE void convert(const Src& src, const Dst& dst)
// which converts sixteen pixels for each lane of V, from places in two strips on: src[i] and dst[i] are where plane i is
// to be read and written, src.row(1)[i] and dst.row(1)[i] the same in the lower row.
#pragma once
#include "core/cache.h"
#include "core/simd.h"
#include "image/checks.h"

namespace {

// ---- Strips

// Of a plane: how many bytes a unit takes, and how many rows are in a strip.
template <int kUnitBytes, int kRows = 1> struct Plane { static constexpr int kBytes = kUnitBytes, kRowCount = kRows; };

// Along a row, places are counted in units of kUnit pixels: pairs where two pixels share chroma, else single ones.
template <class T, int kUnitPixels, class... Planes> struct Strip {
  static constexpr int kUnit = kUnitPixels, kPlanes = int(sizeof...(Planes));
  T* plane[kPlanes];
  ptrdiff_t below;  // from a row to the lower one, in bytes, where planes have two
};

// Unit x of a strip.
template <class S> struct Place;
template <class T, int kUnit, class... Planes> struct Place<Strip<T, kUnit, Planes...>> {
  const Strip<T, kUnit, Planes...>& strip;
  ptrdiff_t x = 0, offset = 0;  // units, and bytes

  ORV_INLINE T* operator[](int i) const {
    constexpr int kBytes[] = {Planes::kBytes...};
    return strip.plane[i] + (offset + x * kBytes[i]);
  }
  ORV_INLINE Place at(ptrdiff_t units) const { return {strip, x + units, offset}; }
  ORV_INLINE Place row(int r) const { return {strip, x, r * strip.below}; }
};
template <class S> Place(const S&) -> Place<S>;

// From there on counted in single pixels.
template <class T, int kUnit, class... Planes>
ORV_INLINE Strip<T, 1, Plane<Planes::kBytes / kUnit>...> inPixels(const Place<Strip<T, kUnit, Planes...>>& place) {
  Strip<T, 1, Plane<Planes::kBytes / kUnit>...> s;
  ORV_UNROLL for (int i = 0; i < s.kPlanes; ++i) s.plane[i] = place[i];
  s.below = 0;
  return s;
}

// Memory of its own for a strip of sixteen pixels, of which the first few are the image's.
template <class S> struct StripTail;
template <class T, int kUnit, class... Planes> struct StripTail<Strip<T, kUnit, Planes...>> {
  static constexpr int kPlanes = int(sizeof...(Planes)), kUnits = 16 / kUnit, kMost = (... | (kUnits * Planes::kBytes));
  Tail<kMost> rows[2][kPlanes];

  template <class Byte> void load(const Place<Strip<Byte, kUnit, Planes...>>& from, int units) {
    int i = 0;
    const auto loadPlane = [&](auto plane) {
      using P = decltype(plane);
      for (int r = 0; r < P::kRowCount; ++r)
        rows[r][i].template load<kUnits * P::kBytes>(from.row(r)[i], size_t(units * P::kBytes));
      ++i;
    };
    (loadPlane(Planes{}), ...);
  }
  void store(const Place<Strip<Vel8u, kUnit, Planes...>>& to, int units) const {
    int i = 0;
    const auto storePlane = [&](auto plane) {
      using P = decltype(plane);
      for (int r = 0; r < P::kRowCount; ++r) rows[r][i].store(to.row(r)[i], size_t(units * P::kBytes));
      ++i;
    };
    (storePlane(Planes{}), ...);
  }
  // The last few of sixteen pixels, where a row has as many: those before them are written back as they are.
  void storeLast(const Place<Strip<Vel8u, kUnit, Planes...>>& to, int units) const {
    int i = 0;
    const auto storePlane = [&](auto plane) {
      using P = decltype(plane);
      static_assert(P::kRowCount == 1 && P::kBytes >= kUnit, "not whole lanes of a row");
      const Lane lastKept = all8((kUnits - units) * P::kBytes - 1);
      ORV_UNROLL for (int at = 0; at < kUnits * P::kBytes; at += 16) {
        const Lane isNew = greater8(bytePattern([=](int byte) { return at + byte; }), lastKept);
        ::store(to[i] + at, selectBits(isNew, loadAligned(rows[0][i].bytes + at), ::load(to[i] + at)));
      }
      ++i;
    };
    (storePlane(Planes{}), ...);
  }
  Strip<T, kUnit, Planes...> strip() {
    Strip<T, kUnit, Planes...> s;
    for (int i = 0; i < kPlanes; ++i) s.plane[i] = rows[0][i].bytes;
    s.below = sizeof rows[0];
    return s;
  }
};

// ---- Formats of pixels: kPlanes rows of kBytes a pixel each
//
// store(row, pixels) writes sixteen pixels, load<V>(row) reads them, at a place in a row of pixels. Where
// kMayStream, PastCaches is the same format stored past the caches, at multiples of 16.

template <bool kBgr, Order kOrder, class V> ORV_INLINE Pixels<kOrder, V> ordered(const Pixels<kOrder, V>& p) {
  return kBgr ? Pixels<kOrder, V>{p.b, p.g, p.r} : p;
}

// r g b in turn, or b g r.
template <bool kBgr, bool kStreams = false> struct Interleaved {
  static constexpr int kPlanes = 1, kBytes = 3;
  static constexpr bool kIsBgr = kBgr, kKeepsFourth = false, kMayStream = true;
  using PastCaches = Interleaved<kBgr, true>;

  template <class V, class Row> static ORV_INLINE Pixels<kInOrder, V> load(const Row& row) {
    return ordered<kBgr>(deinterleave3(load3<V>(row[0])));
  }
  template <class Row, Order kOrder, class V> static ORV_INLINE void store(const Row& row, const Pixels<kOrder, V>& p) {
    store3<kStreams>(row[0], interleave3(ordered<kBgr>(p)));
  }
};
using C3 = Interleaved<false>;
using BgrC3 = Interleaved<true>;

// r g b and a fourth that stays as it was.
struct AC4 {
  static constexpr int kPlanes = 1, kBytes = 4;
  static constexpr bool kIsBgr = false, kKeepsFourth = true, kMayStream = false;  // what stays must be read
  using PastCaches = AC4;

  template <class Row, class V> static ORV_INLINE void store(const Row& row, const Pixels<kEvenOdd, V>& p) {
    const V rgEven = interleaveLow8(p.r, p.g), rgOdd = interleaveHigh8(p.r, p.g);
    const V bEven = widenLowU8(p.b), bOdd = widenHighU8(p.b);
    // r g b 0 of pixels 0 2 4 6 | 8 10 12 14, and of the odd ones
    const V even[2] = {interleaveLow16(rgEven, bEven), interleaveHigh16(rgEven, bEven)};
    const V odd[2] = {interleaveLow16(rgOdd, bOdd), interleaveHigh16(rgOdd, bOdd)};
    Vel8u* const dst = row[0];
    // Loads wait for their lines as stores do not.
    ORV_UNROLL for (int i = 0; i < int(sizeof(V)); i += 16) prefetch(dst + 4 * i, kRowAhead);
    ORV_UNROLL for (int i = 0; i < 2; ++i) {
      storeFour(dst + 32 * i, interleaveLow32(even[i], odd[i]));
      storeFour(dst + 32 * i + 16, interleaveHigh32(even[i], odd[i]));
    }
  }
  // Four pixels with zero in the fourth place.
  template <class V> static ORV_INLINE void storeFour(Vel8u* dst, V v) {
    ::store(dst, v | (::load<V>(dst, 64) & all32<V>(int(0xFF000000))), 64);
  }
};

// A plane for each channel.
struct P3 {
  using PastCaches = P3;
  static constexpr int kPlanes = 3, kBytes = 1;
  static constexpr bool kIsBgr = false, kKeepsFourth = false,
                        kMayStream = false;  // lines of three rows are not filled one after another

  template <class V, class Row> static ORV_INLINE Pixels<kInOrder, V> load(const Row& row) {
    return {::load<V>(row[0]), ::load<V>(row[1]), ::load<V>(row[2])};
  }
  template <class Row, class V> static ORV_INLINE void store(const Row& row, const Pixels<kInOrder, V>& p) {
    ::store(row[0], p.r);
    ::store(row[1], p.g);
    ::store(row[2], p.b);
  }
  template <class Row, class V> static ORV_INLINE void store(const Row& row, const Pixels<kEvenOdd, V>& p) {
    ::store(row[0], inOrder(p.r));
    ::store(row[1], inOrder(p.g));
    ::store(row[2], inOrder(p.b));
  }
};

// A word for each pixel, of 5, 6 or 4 bits a channel: red in the lowest bits, blue in the highest, or the other way round.
enum Packing { k565, k555, k444 };
template <Packing kPacking, bool kBgr, bool kStreams = false> struct Packed16 {
  static constexpr int kPlanes = 1, kBytes = 2;
  static constexpr bool kIsBgr = kBgr, kKeepsFourth = false, kMayStream = true;
  using PastCaches = Packed16<kPacking, kBgr, true>;

  template <class Row, Order kOrder, class V>
  static ORV_INLINE void store(const Row& row, const Pixels<kOrder, V>& pixels) {
    const Pixels<kOrder, V> p = ordered<kBgr>(pixels);
    V low, high;  // bytes of the words
    if (kPacking == k565) {
      low = bitsDown(p.r, 3, 0x1F) | bitsUp(p.g, 3, 0xE0);
      high = (p.b & all8<V>(0xF8)) | bitsDown(p.g, 5, 0x07);
    } else if (kPacking == k555) {
      low = bitsDown(p.r, 3, 0x1F) | bitsUp(p.g, 2, 0xE0);
      high = bitsDown(p.b, 1, 0x7C) | bitsDown(p.g, 6, 0x03);
    } else {
      low = bitsDown(p.r, 4, 0x0F) | (p.g & all8<V>(0xF0));
      high = bitsDown(p.b, 4, 0x0F);
    }
    const V first = interleaveLow8(low, high), second = interleaveHigh8(low, high);
    put<kStreams>(row[0], kOrder == kInOrder ? first : interleaveLow16(first, second), 32);
    put<kStreams>(row[0] + 16, kOrder == kInOrder ? second : interleaveHigh16(first, second), 32);
  }

 private:
  // Bytes are shifted as words; the mask keeps what came from the byte itself.
  template <class V> static ORV_INLINE V bitsUp(V bytes, int count, int mask) {
    return shiftLeft16(bytes, count) & all8<V>(mask);
  }
  template <class V> static ORV_INLINE V bitsDown(V bytes, int count, int mask) {
    return shiftRightU16(bytes, count) & all8<V>(mask);
  }
};

// ---- The strips of images: one row of pixels, or two

// The first one, and the bytes from there to the next.
template <class S> struct Strips {
  S strip;
  ptrdiff_t step[S::kPlanes];
  ORV_INLINE void next() { ORV_UNROLL for (int i = 0; i < S::kPlanes; ++i) strip.plane[i] += step[i]; }
};

// Interleaved pixels, and planes with a common step.
template <class Format, int kUnit, int kRows, class T>
ORV_INLINE Strips<Strip<T, kUnit, Plane<kUnit * Format::kBytes, kRows>>> stripsOf(T* image, int step) {
  static_assert(Format::kPlanes == 1, "planes come in an array");
  return {{{image}, step}, {ptrdiff_t(step) * kRows}};
}
template <class Format, int kUnit, int kRows, class T>
ORV_INLINE Strips<Strip<T, kUnit, Plane<kUnit, kRows>, Plane<kUnit, kRows>, Plane<kUnit, kRows>>> stripsOf(
    T* const planes[3], int step) {
  const ptrdiff_t next = ptrdiff_t(step) * kRows;
  return {{{planes[0], planes[1], planes[2]}, step}, {next, next, next}};
}
template <class Format, int kUnit, int kRows> ORV_INLINE auto stripsOf(Vel16u* image, int step) {
  return stripsOf<Format, kUnit, kRows>(reinterpret_cast<Vel8u*>(image), step);
}
// Planes of luma, U and V, of which a row of the latter two serves kRows of luma.
template <class T, int kRows> using StripOfYuv = Strip<T, 2, Plane<2, kRows>, Plane<1>, Plane<1>>;
template <class T, int kRows>
ORV_INLINE Strips<StripOfYuv<T, kRows>> stripsOfYuv(T* const planes[3], const int step[3]) {
  return {{{planes[0], planes[1], planes[2]}, step[0]}, {ptrdiff_t(step[0]) * kRows, step[1], step[2]}};
}
// The steps of such planes without bytes between their rows.
struct TightSteps {
  int step[3];
  explicit TightSteps(VeliSize size) : step{size.width, size.width / 2, size.width / 2} {}
};

constexpr bool kHasSeveralLanes = sizeof(Lanes) > sizeof(Lane);

// ---- Along a row, which is so many units long
//
// The functions that do the ends of rows get copies of strips: those of the loop then stay in registers.

// Sixteen pixels: where they are the ends of rows, the kernel need not be there once more for each way to get at them.
template <class Kernel, class Src, class Dst>
__attribute__((noinline)) void convertOnce(const Place<Src>& src, const Place<Dst>& dst) {
  Kernel::template convert<Lane>(src, dst);
}
// A row of sixteen pixels at most: nothing after them is read or written.
template <class Kernel, bool kKeepsFourth, class Src, class Dst>
__attribute__((noinline)) void convertTail(Src src, ptrdiff_t srcX, Dst dst, ptrdiff_t dstX, int units) {
  StripTail<Src> from;
  StripTail<Dst> to;
  from.load(Place<Src>{src, srcX}, units);
  if (kKeepsFourth) to.load(Place<Dst>{dst, dstX}, units);
  const auto fromStrip = from.strip();
  const auto toStrip = to.strip();
  convertOnce<Kernel>(Place<Src>{fromStrip}, Place{toStrip});
  to.store(Place<Dst>{dst, dstX}, units);
}
// The end of a row from unit `done` on, fewer than sixteen pixels. Those before them are converted, too, where they may be.
template <class Kernel, bool kKeepsFourth, class Src, class Dst>
__attribute__((noinline)) void convertLast(Src src, ptrdiff_t srcX, Dst dst, ptrdiff_t dstX, ptrdiff_t done,
                                           ptrdiff_t units, bool mayRepeat) {
  constexpr int kUnits = 16 / Src::kUnit;
  if (units < kUnits) return convertTail<Kernel, kKeepsFourth>(src, srcX + done, dst, dstX + done, int(units - done));
  const Place<Src> lastOfSource = {src, srcX + units - kUnits};
  const Place<Dst> last = {dst, dstX + units - kUnits};
  if (mayRepeat) return convertOnce<Kernel>(lastOfSource, last);
  StripTail<Dst> to;
  if (kKeepsFourth) to.load(last, kUnits);
  const auto toStrip = to.strip();
  convertOnce<Kernel>(lastOfSource, Place{toStrip});
  to.storeLast(last, int(units - done));
}

// The destination, or a plane of it, may be the source's where their pixels are laid out alike. What is converted must not
// be converted again.
template <class Src, class Dst> constexpr bool kMayBeInPlace = false;
template <int kUnit, class... Planes>
constexpr bool kMayBeInPlace<Strip<const Vel8u, kUnit, Planes...>, Strip<Vel8u, kUnit, Planes...>> = true;
template <class Src, class Dst> ORV_INLINE bool isInPlace(const Place<Src>& src, const Place<Dst>& dst) {
  if constexpr (kMayBeInPlace<Src, Dst>)
    for (int i = 0; i < Src::kPlanes; ++i)
      if (src[i] == dst[i]) return true;
  return false;
}

// As many units as whole V take, and the rest, too, where pixels may be converted twice: with a V that ends where they
// end. Tells how many units are done. There is at least one V.
template <class Kernel, class V, class Src, class Dst>
ORV_INLINE ptrdiff_t convertVectors(const Place<Src>& src, const Place<Dst>& dst, ptrdiff_t units, bool mayRepeat) {
  constexpr ptrdiff_t kUnits = sizeof(V) / Src::kUnit;
  if (!mayRepeat) units &= -kUnits;
  const ptrdiff_t last = units - kUnits;
  // A single plane's pointer moves: places three or six bytes apart are no multiples that an address can have of an index.
  constexpr bool kOnePlane = Dst::kPlanes == 1;
  Dst to = dst.strip;
  if (kOnePlane) to.plane[0] = dst[0];
  for (ptrdiff_t x = 0;;) {
    Kernel::template convert<V>(src.at(x), kOnePlane ? Place<Dst>{to} : dst.at(x));
    x += kUnits;
    if (kOnePlane) to.plane[0] += dst.at(kUnits)[0] - dst[0];
    if (__builtin_expect(x <= last, 1)) continue;
    if (x == units) return units;
    x = last;
    if (kOnePlane) to.plane[0] = dst.at(x)[0];
  }
}

template <class Kernel, bool kKeepsFourth = false, class Src, class Dst>
ORV_INLINE void convertRow(const Place<Src>& src, const Place<Dst>& dst, ptrdiff_t units) {
  constexpr ptrdiff_t kOfLane = sizeof(Lane) / Src::kUnit, kOfLanes = sizeof(Lanes) / Src::kUnit;
  if (units < kOfLane) {
    if (units > 0) convertTail<Kernel, kKeepsFourth>(src.strip, src.x, dst.strip, dst.x, int(units));
    return;
  }
  const bool mayRepeat = !isInPlace(src, dst);
  ptrdiff_t done = 0;
  if (kHasSeveralLanes && units >= kOfLanes) {
    done = convertVectors<Kernel, Lanes>(src, dst, units, mayRepeat);
    lanesEnd();
  }
  if (units - done >= kOfLane)
    done += convertVectors<Kernel, Lane>(src.at(done), dst.at(done), units - done, mayRepeat);
  if constexpr (kMayBeInPlace<Src, Dst>)
    if (done < units) convertLast<Kernel, kKeepsFourth>(src.strip, src.x, dst.strip, dst.x, done, units, false);
}

// The few pixels beside those that go past the caches.
template <class Kernel, class Src, class Dst>
__attribute__((noinline)) void convertBeside(Src src, Dst dst, ptrdiff_t x, ptrdiff_t end) {
  constexpr ptrdiff_t kUnits = 16 / Src::kUnit;
  for (; x < end; x += kUnits) convertTail<Kernel, false>(src, x, dst, x, int(end - x < kUnits ? end - x : kUnits));
}

// Whether an image of such pixels is to go past the caches: it exceeds them, and has whole lines of them that begin with a
// unit in each row.
template <class Format, int kUnit>
ORV_INLINE bool goesPastCaches(const void* image, int step, ptrdiff_t width, int height) {
  constexpr size_t kAlignment = Format::kBytes == 3 ? kUnit : Format::kBytes * kUnit;
  return Format::kMayStream && width >= 128 && exceedsCaches(double(width) * height * Format::kBytes) &&
         (reinterpret_cast<uintptr_t>(image) | size_t(step)) % kAlignment == 0;
}
// A row of such an image, one destination row in a strip: whole lines of it by Kernel::PastCaches, the others by Kernel. A
// line that is written in part, or in both ways, takes many times as long. 64 pixels are whole lines. Stores take effect in
// their order, so one that waits for its line holds up all after it: the lines at the ends of the row are asked for first
// and written last.
template <class Kernel, int kBytes, class Src, class Dst>
__attribute__((noinline)) void convertRowPastCaches(Src src, Dst dst, ptrdiff_t units) {
  constexpr ptrdiff_t kUnits = 64 / Src::kUnit;
  const size_t toLine = -reinterpret_cast<uintptr_t>(dst.plane[0]) % kLine;
  // How many pixels until one begins a line: 43 is 1 / 3 modulo 64.
  const ptrdiff_t head = ptrdiff_t(kBytes == 3 ? toLine * 43 % kLine : toLine / kBytes) / Src::kUnit;
  const ptrdiff_t end = head + ((units - head) & -kUnits);
  prefetch(Place<Dst>{dst}[0], 0);
  prefetch(Place<Dst>{dst, units}[0], 0);
  for (ptrdiff_t x = head; x < end; x += ptrdiff_t(sizeof(Lanes)) / Src::kUnit)
    Kernel::PastCaches::template convert<Lanes>(Place<Src>{src, x}, Place<Dst>{dst, x});
  lanesEnd();
  convertBeside<Kernel>(src, dst, 0, head);
  convertBeside<Kernel>(src, dst, end, units);
}
template <class Kernel, class Format, class Src, class Dst>
ORV_INLINE void convertRowOf(bool isPastCaches, const Place<Src>& src, const Place<Dst>& dst, ptrdiff_t units) {
  if constexpr (Format::kMayStream)
    if (isPastCaches) return convertRowPastCaches<Kernel, Format::kBytes>(src.strip, dst.strip, units);
  convertRow<Kernel, Format::kKeepsFourth>(src, dst, units);
}

// All strips of an image, by convertStrip(src, dst, units) from their first pixels on.
template <class Src, class Dst, class Convert>
ORV_INLINE void convertEach(Strips<Src> src, Strips<Dst> dst, int count, ptrdiff_t units, const Convert& convertStrip) {
  for (; count > 0; --count) {
    convertStrip(Place<Src>{src.strip}, Place<Dst>{dst.strip}, units);
    src.next();
    dst.next();
  }
}
// Strips too narrow for Lanes have a loop of their own: it need not load the constants of the one over Lanes.
template <class Src, class Dst, class Convert>
ORV_INLINE void convertStrips(const Strips<Src>& src, const Strips<Dst>& dst, int count, ptrdiff_t units,
                              const Convert& convertStrip) {
  if (kHasSeveralLanes && units < ptrdiff_t(sizeof(Lanes)) / Src::kUnit)
    convertEach(src, dst, count, units, convertStrip);
  else
    convertEach(src, dst, count, units, convertStrip);
}
// A lambda that is always inlined:  [=](...) ORV_INLINED { ... }
#define ORV_INLINED __attribute__((always_inline))

// ---- The arguments' checks, but for an array of steps. Images are first pixels or arrays of planes.

template <class Src, class Dst> ORV_INLINE VelStatus checkImages(Src pSrc, Dst pDst, VeliSize size, int least = 1) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(size, least));
  ORV_CHECK(checkPlanes(pSrc));
  return checkPlanes(pDst);
}

}  // namespace
