// Resizing by the nearest pixel: copying, by tables that hold for all rows.
#include "resize/kernels.h"
#include "signal/memory.h"

namespace {

// The source pixel whose square holds the centre of the i-th pixel written.
ORV_INLINE int nearestOf(const Axis& axis, int i) {
  const double v = (double(axis.start) + i + 0.5) * axis.inverse + axis.offset - axis.first;
  return !(v < axis.count) ? axis.count - 1 : v < 1 ? 0 : int(v);
}

// Four bytes at once; memory has no type here.
ORV_INLINE Vel32u load4(const Vel8u* p) {
  Vel32u v;
  memcpy(&v, p, 4);
  return v;
}
ORV_INLINE void store4(Vel8u* p, Vel32u v) { memcpy(p, &v, 4); }

// ---- The image

// All rows, by copyRow(src, dst). A row from the same source row as the one before is a copy of that, of repeatedBytes;
// where those are 0, there are gaps that must stay.
template <class CopyRow> ORV_INLINE void copyRows(const ResizePlan& plan, const ResizeImages& images, int repeatedBytes,
                                                  const CopyRow& copyRow) {
  const Axis axis = rows(plan, images);
  for (const ResizePlane plane : images) {
    int last = -1;
    for (int y = 0; y < plan.dstHeight; ++y) {
      Vel8u* const dst = rowOf(plane.dst, images.dstStep, y);
      const int from = nearestOf(axis, y);
      if (from == last && repeatedBytes)
        ORV_NAME(velsCopy_8u)(rowOf(plane.dst, images.dstStep, y - 1), dst, repeatedBytes);
      else
        copyRow(rowOf(plane.src, images.srcStep, from), dst);
      last = from;
    }
  }
}

// ---- Columns

// Where each column comes from, in bytes.
struct Columns {
  Vel32s* offset;
  int count, before;  // the first `before` do not come from the last source column

  Columns(const Axis& axis, int n, int pixel, Vel8u* buffer)
      : offset(reinterpret_cast<Vel32s*>(buffer)), count(n), before(n) {
    for (int x = n; --x >= 0;) {
      const int from = nearestOf(axis, x);
      offset[x] = from * pixel;
      if (from == axis.count - 1) before = x;
    }
  }
};
ORV_INLINE Lane fourPixels(const Vel8u* src, const Vel32s* offset) {
  const auto at = [=](int i) { return loadFirst<4>(src + offset[i]); };
  return interleaveLow64(interleaveLow32(at(0), at(1)), interleaveLow32(at(2), at(3)));
}

#if ORV_HAS_SHUFFLE
// ---- By byte shuffles, where what makes kSize bytes of the destination lies within 16 of the source. Without them,
// bytes come together no faster than pixel by pixel.

template <int kSize> struct Piece {
  Vel32s from;
  Vel8u at[kSize];
};
template <int kSize> ORV_INLINE void copyPiece(const Vel8u* src, const Piece<kSize>& piece, Vel8u* dst) {
  storeFirst<kSize>(dst, shuffle8(load(src + piece.from), loadFirst<kSize>(piece.at)));
}

// The last piece ends with the row, so it may overlap the one before.
template <int kSize, int kPixel> struct Pieces {
  Piece<kSize>* piece;
  int bytes;  // of a row

  int count() const { return (bytes + kSize - 1) / kSize; }
  int placeOf(int i) const { return (i + 1) * kSize <= bytes ? i * kSize : bytes - kSize; }

  // False where the pixels lie too far apart, or a row is too short.
  bool build(const Axis& axis) const {
    const int srcBytes = axis.count * kPixel;
    if (bytes < kSize || srcBytes < 16) return false;
    for (int i = 0; i < count(); ++i) {
      int source[kSize], least = srcBytes - 16;
      for (int b = 0; b < kSize; ++b) {
        const int place = placeOf(i) + b;
        source[b] = b > 0 && place % kPixel != 0 ? source[b - 1] + 1
                                                 : nearestOf(axis, place / kPixel) * kPixel + place % kPixel;
        if (source[b] < least) least = source[b];
      }
      piece[i].from = least;
      for (int b = 0; b < kSize; ++b) {
        if (source[b] - least > 15) return false;
        piece[i].at[b] = Vel8u(source[b] - least);
      }
    }
    return true;
  }
  void copyRow(const Vel8u* src, Vel8u* dst) const {
    const int whole = count() - 1;
    int i = 0;
    for (; i + 2 <= whole; i += 2) {  // one alone takes as long as the loop around it
      copyPiece(src, piece[i], dst + i * kSize);
      copyPiece(src, piece[i + 1], dst + (i + 1) * kSize);
    }
    if (i < whole) copyPiece(src, piece[i], dst + i * kSize);
    copyPiece(src, piece[whole], dst + placeOf(whole));
  }
};
// False where there are no such pieces.
template <int kSize, int kPixel> ORV_INLINE bool resizeByPieces(const ResizePlan& plan, const ResizeImages& images) {
  const int bytes = plan.dstWidth * kPixel;
  const Pieces<kSize, kPixel> pieces = {reinterpret_cast<Piece<kSize>*>(images.buffer), bytes};
  if (!pieces.build(columns(plan, images))) return false;
  copyRows(plan, images, bytes, [&](const Vel8u* src, Vel8u* dst) { pieces.copyRow(src, dst); });
  return true;
}
template <int kPixel> ORV_INLINE bool resizeByShuffles(const ResizePlan& plan, const ResizeImages& images) {
  if (kPixel < 4 && resizeByPieces<16, kPixel>(plan, images)) return true;
  return kPixel == 1 && resizeByPieces<8, kPixel>(plan, images);
}

// Pixels of three bytes, four at a time, and up to four bytes more that the next pixels of `count` write over. Gives how
// many are done.
ORV_INLINE int copyByFour(const Vel8u* src, const Vel32s* offset, int count, Vel8u* dst) {
  const Lane three = bytePattern([](int i) { return i < 12 ? i / 3 * 4 + i % 3 : -1; });
  int x = 0;
  for (; x + 6 <= count; x += 4) store(dst + 3 * x, shuffle8(fourPixels(src, offset + x), three));
  return x;
}
#else
template <int> ORV_INLINE bool resizeByShuffles(const ResizePlan&, const ResizeImages&) { return false; }
ORV_INLINE int copyByFour(const Vel8u* src, const Vel32s* offset, int count, Vel8u* dst) {
  int x = 0;
  for (; x + 4 <= count; x += 4) ORV_UNROLL for (int i = x; i < x + 4; ++i) store4(dst + 3 * i, load4(src + offset[i]));
  return x;
}
#endif

// ---- Pixel by pixel, for reductions whose pixels lie too far apart for one load

template <int kPixel, bool kKeepsFourth>
ORV_INLINE void copyPixels(const Vel8u* src, const Columns& columns, Vel8u* dst) {
  const Vel32s* const offset = columns.offset;
  int x = 0;
  if (kPixel == 1) {
    for (; x + 4 <= columns.count; x += 4)
      store4(dst + x, src[offset[x]] | unsigned(src[offset[x + 1]]) << 8 | unsigned(src[offset[x + 2]]) << 16 |
                          unsigned(src[offset[x + 3]]) << 24);
  } else if (kPixel == 3) {
    // Three bytes and one more, which the next pixel writes over.
    const int last = columns.before < columns.count ? columns.before : columns.count - 1;
    x = copyByFour(src, offset, last, dst);
    for (; x < last; ++x) store4(dst + 3 * x, load4(src + offset[x]));
  } else {
    for (; x + 4 <= columns.count; x += 4) {
      const Lane four = fourPixels(src, offset + x);
      store(dst + 4 * x, kKeepsFourth ? keepFourth8(four, load(dst + 4 * x)) : four);
    }
    for (; x < columns.count; ++x) {
      const Vel32u pixel = load4(src + offset[x]);
      store4(dst + 4 * x, kKeepsFourth ? (pixel & 0xFFFFFF) | (load4(dst + 4 * x) & 0xFF000000) : pixel);
    }
  }
  for (; x < columns.count; ++x)
    for (int c = 0; c < kPixel; ++c) dst[kPixel * x + c] = src[offset[x] + c];
}

template <int kPixel, bool kKeepsFourth = false>
ORV_INLINE VelStatus resize(const ResizePlan& plan, const ResizeImages& images) {
  if (resizeByShuffles<kPixel>(plan, images)) return velStsNoErr;
  const Columns offsets(columns(plan, images), plan.dstWidth, kPixel, images.buffer);
  copyRows(plan, images, kKeepsFourth ? 0 : plan.dstWidth * kPixel,
           [&](const Vel8u* src, Vel8u* dst) { copyPixels<kPixel, kKeepsFourth>(src, offsets, dst); });
  return velStsNoErr;
}

}  // namespace

ORV_RESIZE_KERNEL(ownResize8plN) { return resize<1>(*plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxN) { return resize<3>(*plan, *images); }
ORV_RESIZE_KERNEL(ownResize8px4N) {
  return images->channels == 3 ? resize<4, true>(*plan, *images) : resize<4>(*plan, *images);
}
