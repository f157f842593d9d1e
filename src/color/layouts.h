// The layouts of the colour families: where the rows of an image lie, how sixteen pixels are read from and written to
// them, and how kernels are led along rows.
//
// A strip is what a kernel works on at a time: a row of pixels, or two that share a row of chroma, as a pointer for each
// row of each plane. A kernel has
//   template <class V> static void convert(const Source& src, const Dest& dst)
// which converts sixteen pixels for each lane of V, from where the strips begin.
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

  // From pixel x on; it is even where a row has less than a byte for each pixel.
  Strip at(ptrdiff_t x) const {
    Strip s = *this;
    int i = 0;
    ((s.row[i++] += kPairBytes % 2 == 0 ? x * (kPairBytes / 2) : (x >> 1) * kPairBytes), ...);
    return s;
  }
  void next() {
    for (int i = 0; i < kRows; ++i) row[i] += step[i];
  }
};

// Memory of its own for a strip of sixteen pixels, of which the first few are the image's.
template <class S> struct StripTail;
template <class T, int... kPairBytes> struct StripTail<Strip<T, kPairBytes...>> {
  static constexpr int kRows = int(sizeof...(kPairBytes)), kMost = (... | (8 * kPairBytes)) <= 32 ? 32 : 64;
  Tail<kMost> rows[kRows];

  template <class Byte> void load(const Strip<Byte, kPairBytes...>& s, int pixels) {
    int i = 0;
    ((rows[i].load(s.row[i], size_t(pixels * kPairBytes / 2)), ++i), ...);
  }
  void store(const Strip<Vel8u, kPairBytes...>& s, int pixels) const {
    int i = 0;
    ((rows[i].store(s.row[i], size_t(pixels * kPairBytes / 2)), ++i), ...);
  }
  Strip<T, kPairBytes...> strip() {
    Strip<T, kPairBytes...> s;
    for (int i = 0; i < kRows; ++i) s.row[i] = rows[i].bytes, s.step[i] = 0;
    return s;
  }
};

// ---- Formats of pixels: kPlanes rows of kBytes a pixel each
//
// store(rows, pixels) writes sixteen pixels, load<V>(rows) reads them. The rows are those of one row of pixels.

template <bool kBgr, Order kOrder, class V> ORV_INLINE Pixels<kOrder, V> ordered(const Pixels<kOrder, V>& p) {
  return kBgr ? Pixels<kOrder, V>{p.b, p.g, p.r} : p;
}

// r g b in turn, or b g r.
template <bool kBgr> struct Interleaved {
  static constexpr int kPlanes = 1, kBytes = 3;
  static constexpr bool kKeepsFourth = false;

  template <class V> static ORV_INLINE Pixels<kInOrder, V> load(const Vel8u* const* rows) {
    return ordered<kBgr>(deinterleave3(load3<V>(rows[0])));
  }
  template <Order kOrder, class V> static ORV_INLINE void store(Vel8u* const* rows, const Pixels<kOrder, V>& p) {
    store3(rows[0], interleave3(ordered<kBgr>(p)));
  }
};
using C3 = Interleaved<false>;
using BgrC3 = Interleaved<true>;

// r g b and a fourth that stays as it was.
struct AC4 {
  static constexpr int kPlanes = 1, kBytes = 4;
  static constexpr bool kKeepsFourth = true;

  template <class V> static ORV_INLINE void store(Vel8u* const* rows, const Pixels<kEvenOdd, V>& p) {
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
    ::store(dst, v | (::load<V>(dst, 64) & all32(int(0xFF000000))), 64);
  }
};

// A plane for each channel.
struct P3 {
  static constexpr int kPlanes = 3, kBytes = 1;
  static constexpr bool kKeepsFourth = false;

  template <class V> static ORV_INLINE Pixels<kInOrder, V> load(const Vel8u* const* rows) {
    return {::load<V>(rows[0]), ::load<V>(rows[1]), ::load<V>(rows[2])};
  }
  template <class V> static ORV_INLINE void store(Vel8u* const* rows, const Pixels<kInOrder, V>& p) {
    ::store(rows[0], p.r);
    ::store(rows[1], p.g);
    ::store(rows[2], p.b);
  }
  template <class V> static ORV_INLINE void store(Vel8u* const* rows, const Pixels<kEvenOdd, V>& p) {
    store(rows, Pixels<kInOrder, V>{inOrder(p.r), inOrder(p.g), inOrder(p.b)});
  }
};

// A word for each pixel, of 5, 6 or 4 bits a channel: red in the lowest bits, blue in the highest, or the other way round.
enum Packing { k565, k555, k444 };
template <Packing kPacking, bool kBgr> struct Packed16 {
  static constexpr int kPlanes = 1, kBytes = 2;
  static constexpr bool kKeepsFourth = false;

  template <Order kOrder, class V> static ORV_INLINE void store(Vel8u* const* rows, const Pixels<kOrder, V>& pixels) {
    const Pixels<kOrder, V> p = ordered<kBgr>(pixels);
    V low, high;  // bytes of the words
    if (kPacking == k565) {
      low = bitsDown(p.r, 3, 0x1F) | bitsUp(p.g, 3, 0xE0);
      high = (p.b & all8(0xF8)) | bitsDown(p.g, 5, 0x07);
    } else if (kPacking == k555) {
      low = bitsDown(p.r, 3, 0x1F) | bitsUp(p.g, 2, 0xE0);
      high = bitsDown(p.b, 1, 0x7C) | bitsDown(p.g, 6, 0x03);
    } else {
      low = bitsDown(p.r, 4, 0x0F) | (p.g & all8(0xF0));
      high = bitsDown(p.b, 4, 0x0F);
    }
    const V first = interleaveLow8(low, high), second = interleaveHigh8(low, high);
    ::store(rows[0], kOrder == kInOrder ? first : interleaveLow16(first, second), 32);
    ::store(rows[0] + 16, kOrder == kInOrder ? second : interleaveHigh16(first, second), 32);
  }

 private:
  // Bytes are shifted as words; the mask keeps what came from the byte itself.
  template <class V> static ORV_INLINE V bitsUp(V bytes, int count, int mask) {
    return shiftLeft16(bytes, count) & all8(mask);
  }
  template <class V> static ORV_INLINE V bitsDown(V bytes, int count, int mask) {
    return shiftRightU16(bytes, count) & all8(mask);
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

// A kernel's own function, for where it runs once. In loops it is inlined.
template <class Kernel, class Src, class Dst>
__attribute__((noinline)) void convertOnce(const Src& src, const Dst& dst) {
  Kernel::template convert<Lane>(src, dst);
}

// The first few of sixteen pixels: nothing after them is read or written.
template <class Kernel, bool kKeepsFourth, class Src, class Dst>
ORV_INLINE void convertTail(const Src& src, const Dst& dst, int pixels) {
  StripTail<Src> from;
  StripTail<Dst> to;
  from.load(src, pixels);
  if (kKeepsFourth) to.load(dst, pixels);
  convertOnce<Kernel>(from.strip(), to.strip());
  to.store(dst, pixels);
}

// Where the destination may be the source, a tail must not reach back to pixels that are converted already.
enum class LastPixels { kOnce, kMayRepeat };
template <class Kernel, LastPixels kLast, bool kKeepsFourth = false, class Src, class Dst>
ORV_INLINE void convertRow(const Src& src, const Dst& dst, ptrdiff_t pixels) {
  constexpr int kPixels = int(sizeof(Lanes));
  ptrdiff_t x = 0;
  for (; x + kPixels <= pixels; x += kPixels) Kernel::template convert<Lanes>(src.at(x), dst.at(x));
  if (sizeof(Lanes) > sizeof(Lane))
    for (; x + 16 <= pixels; x += 16) Kernel::template convert<Lane>(src.at(x), dst.at(x));
  if (x == pixels) return;
  if (kLast == LastPixels::kMayRepeat && pixels > 16)
    convertOnce<Kernel>(src.at(pixels - 16), dst.at(pixels - 16));
  else
    convertTail<Kernel, kKeepsFourth>(src.at(x), dst.at(x), int(pixels - x));
}

// All strips of an image, by convertStrip(src, dst).
template <class Src, class Dst, class Convert>
ORV_INLINE void convertStrips(Src src, Dst dst, int count, const Convert& convertStrip) {
  for (; count > 0; --count) {
    convertStrip(src, dst);
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
