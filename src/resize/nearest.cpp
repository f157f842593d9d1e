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

// ---- Pixel by pixel, for reductions whose pixels lie too far apart for one load

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
#if ORV_HAS_SHUFFLE
    for (; x + 6 <= last; x += 4)
      store(dst + 3 * x, shuffle8(fourPixels(src, offset + x),
                                  _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)));
#endif
    for (; x < last; ++x) store4(dst + 3 * x, load4(src + offset[x]));
  } else {
    for (; x + 4 <= columns.count; x += 4) {
      Lane four = fourPixels(src, offset + x);
      if (kKeepsFourth) {
        const Lane fourth = all32(int(0xFF000000));
        four = (~fourth & four) | (fourth & load(dst + 4 * x));
      }
      store(dst + 4 * x, four);
    }
    for (; x < columns.count; ++x) {
      const Vel32u pixel = load4(src + offset[x]);
      store4(dst + 4 * x, kKeepsFourth ? (pixel & 0xFFFFFF) | (load4(dst + 4 * x) & 0xFF000000) : pixel);
    }
  }
  for (; x < columns.count; ++x)
    for (int c = 0; c < kPixel; ++c) dst[kPixel * x + c] = src[offset[x] + c];
}

#if ORV_HAS_SHUFFLE
// ---- By byte shuffles, where what makes kSize bytes of the destination lies within 16 of the source

template <int kSize> struct Piece {
  Vel32s from;
  Vel8u at[kSize];
};
ORV_INLINE void shufflePiece(const Vel8u* src, const Piece<16>& piece, Vel8u* dst) {
  store(dst, shuffle8(load(src + piece.from), load(piece.at)));
}
ORV_INLINE void shufflePiece(const Vel8u* src, const Piece<8>& piece, Vel8u* dst) {
  storeLow(dst, shuffle8(load(src + piece.from), loadLow(piece.at)));
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
      shufflePiece(src, piece[i], dst + i * kSize);
      shufflePiece(src, piece[i + 1], dst + (i + 1) * kSize);
    }
    if (i < whole) shufflePiece(src, piece[i], dst + i * kSize);
    shufflePiece(src, piece[whole], dst + placeOf(whole));
  }
};
#endif

// ---- The image

template <class CopyRow> ORV_INLINE VelStatus copyRows(const ResizePlan& plan, const ResizeImages& images,
                                                       int repeatedBytes, const CopyRow& copyRow) {
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
  return velStsNoErr;
}

template <int kPixel, bool kKeepsFourth = false>
ORV_INLINE VelStatus resize(const ResizePlan& plan, const ResizeImages& images) {
  const Axis axis = columns(plan, images);
  const int bytes = kKeepsFourth ? 0 : plan.dstWidth * kPixel;
#if ORV_HAS_SHUFFLE
  if (kPixel < 4) {
    const Pieces<16, kPixel> sixteens = {reinterpret_cast<Piece<16>*>(images.buffer), bytes};
    if (sixteens.build(axis))
      return copyRows(plan, images, bytes, [&](const Vel8u* src, Vel8u* dst) { sixteens.copyRow(src, dst); });
  }
  if (kPixel == 1) {
    const Pieces<8, kPixel> eights = {reinterpret_cast<Piece<8>*>(images.buffer), bytes};
    if (eights.build(axis))
      return copyRows(plan, images, bytes, [&](const Vel8u* src, Vel8u* dst) { eights.copyRow(src, dst); });
  }
#endif
  const Columns offsets(axis, plan.dstWidth, kPixel, images.buffer);
  return copyRows(plan, images, bytes,
                  [&](const Vel8u* src, Vel8u* dst) { copyPixels<kPixel, kKeepsFourth>(src, offsets, dst); });
}

}  // namespace

ORV_RESIZE_KERNEL(ownResize8plN) { return resize<1>(*plan, *images); }
ORV_RESIZE_KERNEL(ownResize8pxN) { return resize<3>(*plan, *images); }
ORV_RESIZE_KERNEL(ownResize8px4N) {
  return images->channels == 3 ? resize<4, true>(*plan, *images) : resize<4>(*plan, *images);
}
