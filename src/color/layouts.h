// The layouts of the colour families: where the rows of an image lie, how sixteen pixels are read from and written to
// them, and how kernels are led along rows.
//
// A strip is what a kernel works on at a time: a row of pixels, or two that share a row of chroma, as a pointer for each
// row of each plane. A kernel has
//   template <class V> static void convert(const Source& src, const Dest& dst)
// which converts sixteen pixels for each lane of V, from places in two strips on: src[i] and dst[i] are where their row i
// is to be read and written.
#pragma once
#include "core/cache.h"
#include "core/simd.h"
#include "image/checks.h"

namespace {

// ---- Strips

// kPairBytes: how many bytes a pair of pixels takes in each of the rows. A pair is what may share chroma.
template <class T, int... kPairBytes> struct Strip {
  static constexpr int kRows = int(sizeof...(kPairBytes));
  T* row[kRows];
  ptrdiff_t step[kRows];  // to the strip below, in bytes

  // Pixel x of row i; it is even where a row has less than a byte for each pixel.
  ORV_INLINE T* at(int i, ptrdiff_t x) const {
    constexpr int kBytes[] = {kPairBytes...};
    return row[i] + (kBytes[i] % 2 == 0 ? x * (kBytes[i] / 2) : (x >> 1) * kBytes[i]);
  }
  ORV_INLINE Strip rows() const {
    Strip s;
    ORV_UNROLL for (int i = 0; i < kRows; ++i) s.row[i] = row[i];
    return s;
  }
  void next() {
    for (int i = 0; i < kRows; ++i) row[i] += step[i];
  }
};

// Pixel x of a strip.
template <class P> struct RowsFrom;
template <class S> struct Place {
  const S& strip;
  ptrdiff_t x = 0;

  ORV_INLINE auto* operator[](int i) const { return strip.at(i, x); }
  ORV_INLINE Place at(ptrdiff_t pixels) const { return {strip, x + pixels}; }
  ORV_INLINE RowsFrom<Place> from(int i) const { return {*this, i}; }
};
// The same with rows counted from one of them.
template <class P> struct RowsFrom {
  const P& place;
  int first;
  ORV_INLINE auto* operator[](int i) const { return place[first + i]; }
};
template <class S> Place(const S&) -> Place<S>;

// Memory of its own for a strip of sixteen pixels, of which the first few are the image's.
template <class S> struct StripTail;
template <class T, int... kPairBytes> struct StripTail<Strip<T, kPairBytes...>> {
  static constexpr int kRows = int(sizeof...(kPairBytes)), kMost = (... | (8 * kPairBytes)) <= 32 ? 32 : 64;
  Tail<kMost> rows[kRows];

  template <class Byte> void load(const Place<Strip<Byte, kPairBytes...>>& from, int pixels) {
    int i = 0;
    ((rows[i].template load<8 * kPairBytes>(from[i], size_t(pixels * kPairBytes / 2)), ++i), ...);
  }
  void store(const Place<Strip<Vel8u, kPairBytes...>>& to, int pixels) const {
    int i = 0;
    ((rows[i].store(to[i], size_t(pixels * kPairBytes / 2)), ++i), ...);
  }
  Strip<T, kPairBytes...> strip() {
    Strip<T, kPairBytes...> s;
    for (int i = 0; i < kRows; ++i) s.row[i] = rows[i].bytes, s.step[i] = 0;
    return s;
  }
};

// ---- Formats of pixels: kPlanes rows of kBytes a pixel each
//
// store(rows, pixels) writes sixteen pixels, load<V>(rows) reads them. The rows are those of one row of pixels. Where
// kMayStream, PastCaches is the same format stored past the caches, rows then being multiples of 16.

template <bool kBgr, Order kOrder, class V> ORV_INLINE Pixels<kOrder, V> ordered(const Pixels<kOrder, V>& p) {
  return kBgr ? Pixels<kOrder, V>{p.b, p.g, p.r} : p;
}

// r g b in turn, or b g r.
template <bool kBgr, bool kStreams = false> struct Interleaved {
  static constexpr int kPlanes = 1, kBytes = 3;
  static constexpr bool kKeepsFourth = false, kMayStream = true;
  using PastCaches = Interleaved<kBgr, true>;

  template <class V, class Rows> static ORV_INLINE Pixels<kInOrder, V> load(const Rows& rows) {
    return ordered<kBgr>(deinterleave3(load3<V>(rows[0])));
  }
  template <class Rows, Order kOrder, class V>
  static ORV_INLINE void store(const Rows& rows, const Pixels<kOrder, V>& p) {
    store3<kStreams>(rows[0], interleave3(ordered<kBgr>(p)));
  }
};
using C3 = Interleaved<false>;
using BgrC3 = Interleaved<true>;

// r g b and a fourth that stays as it was.
struct AC4 {
  static constexpr int kPlanes = 1, kBytes = 4;
  static constexpr bool kKeepsFourth = true, kMayStream = false;  // what stays must be read
  using PastCaches = AC4;

  template <class Rows, class V> static ORV_INLINE void store(const Rows& rows, const Pixels<kEvenOdd, V>& p) {
    const V rgEven = interleaveLow8(p.r, p.g), rgOdd = interleaveHigh8(p.r, p.g);
    const V bEven = widenLowU8(p.b), bOdd = widenHighU8(p.b);
    // r g b 0 of pixels 0 2 4 6 | 8 10 12 14, and of the odd ones
    const V even[2] = {interleaveLow16(rgEven, bEven), interleaveHigh16(rgEven, bEven)};
    const V odd[2] = {interleaveLow16(rgOdd, bOdd), interleaveHigh16(rgOdd, bOdd)};
    Vel8u* const dst = rows[0];
    prefetch(dst, kRowAhead);  // loads wait for their lines as stores do not
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
  static constexpr bool kKeepsFourth = false,
                        kMayStream = false;  // lines of three rows are not filled one after another

  template <class V, class Rows> static ORV_INLINE Pixels<kInOrder, V> load(const Rows& rows) {
    return {::load<V>(rows[0]), ::load<V>(rows[1]), ::load<V>(rows[2])};
  }
  template <class Rows, class V> static ORV_INLINE void store(const Rows& rows, const Pixels<kInOrder, V>& p) {
    ::store(rows[0], p.r);
    ::store(rows[1], p.g);
    ::store(rows[2], p.b);
  }
  template <class Rows, class V> static ORV_INLINE void store(const Rows& rows, const Pixels<kEvenOdd, V>& p) {
    store(rows, Pixels<kInOrder, V>{inOrder(p.r), inOrder(p.g), inOrder(p.b)});
  }
};

// A word for each pixel, of 5, 6 or 4 bits a channel: red in the lowest bits, blue in the highest, or the other way round.
enum Packing { k565, k555, k444 };
template <Packing kPacking, bool kBgr, bool kStreams = false> struct Packed16 {
  static constexpr int kPlanes = 1, kBytes = 2;
  static constexpr bool kKeepsFourth = false, kMayStream = true;
  using PastCaches = Packed16<kPacking, kBgr, true>;

  template <class Rows, Order kOrder, class V>
  static ORV_INLINE void store(const Rows& rows, const Pixels<kOrder, V>& pixels) {
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
    put<kStreams>(rows[0], kOrder == kInOrder ? first : interleaveLow16(first, second), 32);
    put<kStreams>(rows[0] + 16, kOrder == kInOrder ? second : interleaveHigh16(first, second), 32);
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

// As many rows of kBytes a pixel as the planes have.
template <class T, int kPlanes, int kBytes, int kRows> struct StripOf;
template <class T, int kBytes> struct StripOf<T, 1, kBytes, 1> { using Type = Strip<T, 2 * kBytes>; };
template <class T, int kBytes> struct StripOf<T, 1, kBytes, 2> { using Type = Strip<T, 2 * kBytes, 2 * kBytes>; };
template <class T> struct StripOf<T, 3, 1, 1> { using Type = Strip<T, 2, 2, 2>; };
template <class T> struct StripOf<T, 3, 1, 2> { using Type = Strip<T, 2, 2, 2, 2, 2, 2>; };

template <int kRows, class S, class T> ORV_INLINE S stripOfPlanes(T* const* planes, int count, int step) {
  S s;
  for (int r = 0; r < kRows; ++r)
    for (int i = 0; i < count; ++i) {
      s.row[r * count + i] = rowOf(planes[i], step, r);
      s.step[r * count + i] = ptrdiff_t(step) * kRows;
    }
  return s;
}
// The image is its first pixel, or an array of planes.
template <class Format, int kRows, class T>
ORV_INLINE typename StripOf<T, Format::kPlanes, Format::kBytes, kRows>::Type stripOf(T* image, int step) {
  return stripOfPlanes<kRows, typename StripOf<T, Format::kPlanes, Format::kBytes, kRows>::Type>(&image, 1, step);
}
template <class Format, int kRows, class T>
ORV_INLINE typename StripOf<T, Format::kPlanes, Format::kBytes, kRows>::Type stripOf(T* const planes[3], int step) {
  return stripOfPlanes<kRows, typename StripOf<T, Format::kPlanes, Format::kBytes, kRows>::Type>(planes, 3, step);
}
template <class Format, int kRows> ORV_INLINE auto stripOf(Vel16u* image, int step) {
  return stripOf<Format, kRows>(reinterpret_cast<Vel8u*>(image), step);
}

// Planes of luma, U and V, of which a row of the latter two serves kRows of luma: rows y, (y,) u, v.
template <class T, int kRows> ORV_INLINE auto stripOfYuv(T* const planes[3], const int step[3]) {
  if constexpr (kRows == 1)
    return Strip<T, 2, 1, 1>{{planes[0], planes[1], planes[2]}, {step[0], step[1], step[2]}};
  else
    return Strip<T, 2, 2, 1, 1>{{planes[0], rowOf(planes[0], step[0], 1), planes[1], planes[2]},
                                {ptrdiff_t(step[0]) * 2, ptrdiff_t(step[0]) * 2, step[1], step[2]}};
}
// The steps of such planes without bytes between their rows.
struct TightSteps {
  int step[3];
  explicit TightSteps(VeliSize size) : step{size.width, size.width / 2, size.width / 2} {}
};

// ---- Along a row

// A kernel as a function of its own, for where it runs once. In loops it is inlined.
template <class Kernel, class Src, class Dst>
__attribute__((noinline)) void convertOnce(const Src& src, ptrdiff_t srcX, const Dst& dst, ptrdiff_t dstX) {
  Kernel::template convert<Lane>(Place<Src>{src, srcX}, Place<Dst>{dst, dstX});
}

// The first few of sixteen pixels: nothing after them is read or written. Its memory stays out of whoever calls it.
template <class Kernel, bool kKeepsFourth, class Src, class Dst>
__attribute__((noinline)) void convertTail(const Src& src, ptrdiff_t srcX, const Dst& dst, ptrdiff_t dstX, int pixels) {
  StripTail<Src> from;
  StripTail<Dst> to;
  from.load(Place<Src>{src, srcX}, pixels);
  if (kKeepsFourth) to.load(Place<Dst>{dst, dstX}, pixels);
  const auto fromStrip = from.strip();
  const auto toStrip = to.strip();
  Kernel::template convert<Lane>(Place{fromStrip}, Place{toStrip});
  to.store(Place<Dst>{dst, dstX}, pixels);
}

// Where the destination may be the source, a tail must not reach back to pixels that are converted already.
enum class LastPixels { kOnce, kMayRepeat };
template <class Kernel, LastPixels kLast, bool kKeepsFourth = false, class Src, class Dst>
ORV_INLINE void convertRow(const Place<Src>& source, const Place<Dst>& destination, ptrdiff_t pixels) {
  constexpr int kPixels = int(sizeof(Lanes));
  const Src from = source.strip.rows();  // copies, which stores cannot change
  const Dst to = destination.strip.rows();
  const Place<Src> src = {from, source.x};
  const Place<Dst> dst = {to, destination.x};
  ptrdiff_t x = 0;
  for (; x + kPixels <= pixels; x += kPixels) Kernel::template convert<Lanes>(src.at(x), dst.at(x));
  lanesEnd();
  if (sizeof(Lanes) > sizeof(Lane))
    for (; x + 16 <= pixels; x += 16) Kernel::template convert<Lane>(src.at(x), dst.at(x));
  if (x == pixels) return;
  if (kLast == LastPixels::kMayRepeat && pixels > 16)
    convertOnce<Kernel>(source.strip, src.x + pixels - 16, destination.strip, dst.x + pixels - 16);
  else
    convertTail<Kernel, kKeepsFourth>(source.strip, src.x + x, destination.strip, dst.x + x, int(pixels - x));
}

// The same as a function of its own: the few pixels beside those that go past the caches.
template <class Kernel, class Src, class Dst>
__attribute__((noinline)) void convertBeside(const Place<Src>& src, const Place<Dst>& dst, ptrdiff_t pixels) {
  convertRow<Kernel, LastPixels::kOnce>(src, dst, pixels);
}

// A row that goes past the caches, one destination row in a strip: whole lines of it by Kernel::PastCaches, the others by
// Kernel. A line that is written in part, or in both ways, takes many times as long. 64 pixels are whole lines.
template <class Kernel, int kBytes, class Src, class Dst>
ORV_INLINE void convertRowPastCaches(const Place<Src>& src, const Place<Dst>& dst, ptrdiff_t pixels) {
  const size_t toLine = -reinterpret_cast<uintptr_t>(dst[0]) % kLine;
  // How many pixels until one begins a line: 43 is 1 / 3 modulo 64. They come in pairs.
  const ptrdiff_t head = ptrdiff_t(kBytes == 3 ? toLine * 43 % kLine : toLine / kBytes);
  const ptrdiff_t end = head + ((pixels - head) & ~ptrdiff_t(63));
  if (toLine % 2 != 0 || head % 2 != 0 || pixels < head + 64)
    return convertBeside<Kernel>(src, dst, pixels);
  convertBeside<Kernel>(src, dst, head);
  for (ptrdiff_t x = head; x < end; x += int(sizeof(Lanes)))
    Kernel::PastCaches::template convert<Lanes>(src.at(x), dst.at(x));
  lanesEnd();
  convertBeside<Kernel>(src.at(end), dst.at(end), pixels - end);
}
template <class Kernel, LastPixels kLast, class Format, class Src, class Dst>
ORV_INLINE void convertRowOf(bool isPastCaches, const Place<Src>& src, const Place<Dst>& dst, ptrdiff_t pixels) {
  if constexpr (Format::kMayStream)
    if (isPastCaches) return convertRowPastCaches<Kernel, Format::kBytes>(src, dst, pixels);
  convertRow<Kernel, kLast, Format::kKeepsFourth>(src, dst, pixels);
}
// Whether an image of such pixels exceeds the caches.
template <class Format> ORV_INLINE bool goesPastCaches(VeliSize size) {
  return Format::kMayStream && exceedsCaches(double(size.width) * size.height * Format::kBytes);
}

// All strips of an image, by convertStrip(src, dst) from their first pixels on.
template <class Src, class Dst, class Convert>
ORV_INLINE void convertStrips(Src src, Dst dst, int count, const Convert& convertStrip) {
  for (; count > 0; --count) {
    convertStrip(Place<Src>{src}, Place<Dst>{dst});
    src.next();
    dst.next();
  }
}

// ---- The arguments' checks, but for an array of steps. Images are first pixels or arrays of planes.

template <class Src, class Dst> ORV_INLINE VelStatus checkImages(Src pSrc, Dst pDst, VeliSize size, int least = 1) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  ORV_CHECK(checkSize(size, least));
  ORV_CHECK(checkPlanes(pSrc));
  return checkPlanes(pDst);
}

}  // namespace
