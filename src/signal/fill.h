// Filling a vector with what a source gives, some bytes at a time: the frame of all element-wise work on vectors.
//
// A source is a small object with
//   template <size_t kBytes> ... at(size_t i) const    the kBytes of the result from byte i, as loadPiece makes them
//   static constexpr size_t kWhole                     the most bytes that it gives at once: 16, or kWide
//   static constexpr size_t kElement                   the bytes of an element; it is asked for whole elements only
//   static constexpr int kReads                        how many vectors it reads
//   bool reads(const Vel8u* p) const                   whether one of these starts at p
// A result may depend on the bytes of the sources at the same place only. The destination may be one of them, or
// overlap one that starts behind it: what is read has not been written before.
#pragma once
#include "core/simd.h"

namespace {

// The vectors' checks, in their order.
template <class... T> ORV_INLINE VelStatus checkVectors(int len, const T*... p) {
  if (!(p && ...)) return velStsNullPtrErr;
  return len < 1 ? velStsSizeErr : velStsNoErr;
}
template <class T> ORV_INLINE const Vel8u* bytesOf(const T* p) { return reinterpret_cast<const Vel8u*>(p); }
template <class T> ORV_INLINE Vel8u* bytesOf(T* p) { return reinterpret_cast<Vel8u*>(p); }

// ---- Pieces: kWide bytes as a Wide where that is wider than a Vec, else 1, 2, 4, 8 or 16 at the low end of a Vec

template <class T> ORV_INLINE Vec loadAs(const Vel8u* p) {
  T x;
  memcpy(&x, p, sizeof x);
  return _mm_cvtsi32_si128(int(x));
}
template <class T> ORV_INLINE void storeAs(Vel8u* p, Vec v) {
  const T x = T(_mm_cvtsi128_si32(v));
  memcpy(p, &x, sizeof x);
}

template <size_t kBytes> ORV_INLINE auto loadPiece(const Vel8u* p) {
  if constexpr (kBytes > 16) return loadWide(p);
  if constexpr (kBytes == 16) return load(p);
  if constexpr (kBytes == 8) return loadLow(p);
  if constexpr (kBytes == 4) return loadAs<Vel32u>(p);
  if constexpr (kBytes == 2) return loadAs<Vel16u>(p);
  if constexpr (kBytes == 1) return loadAs<Vel8u>(p);
}
template <size_t kBytes, class V> ORV_INLINE void storePiece(Vel8u* p, V v) {
  if constexpr (kBytes > 16) storeWide(p, v);
  if constexpr (kBytes == 16) store(p, v);
  if constexpr (kBytes == 8) storeLow(p, v);
  if constexpr (kBytes == 4) storeAs<Vel32u>(p, v);
  if constexpr (kBytes == 2) storeAs<Vel16u>(p, v);
  if constexpr (kBytes == 1) storeAs<Vel8u>(p, v);
}
template <size_t kBytes, class V> ORV_INLINE void streamPiece(Vel8u* p, V v) {
  if constexpr (kBytes > 16) streamWide(p, v);
  if constexpr (kBytes == 16) stream(p, v);
}

// ---- Filling

// Whether a call that touches so many bytes writes past the caches. A largest cache that is not known is taken for one
// of eight megabytes, where stores of either kind were seen to be equally fast.
ORV_INLINE bool streams(double bytes) {
  if (bytes <= 524288) return false;
  int cache;
  return bytes >= (velGetMaxCacheSizeB(&cache) == velStsNoErr ? cache : 8 << 20);
}

// kBytes to twice as many, by two pieces that may overlap and are both made before either is stored.
template <size_t kBytes, class Source> ORV_INLINE VelStatus fillByTwo(const Source& source, Vel8u* dst, size_t n) {
  const auto first = source.template at<kBytes>(0), last = source.template at<kBytes>(n - kBytes);
  storePiece<kBytes>(dst, first);
  storePiece<kBytes>(dst + n - kBytes, last);
  return velStsNoErr;
}

// More than one whole piece: the last may overlap others, so it is made before anything is written. Too few for aligned
// stores to be worth finding.
template <class Source> __attribute__((noinline)) VelStatus fillFew(Source source, Vel8u* dst, size_t n) {
  constexpr size_t kWhole = Source::kWhole;
  const size_t end = n - kWhole;
  const auto last = source.template at<kWhole>(end);
  for (size_t i = 0; i < end; i += kWhole) storePiece<kWhole>(dst + i, source.template at<kWhole>(i));
  storePiece<kWhole>(dst + end, last);
  return velStsNoErr;
}

// Where pieces are aligned at the destination, if they can be without cutting elements.
template <class Source> ORV_INLINE size_t alignedStart(const Source&, const Vel8u* dst) {
  return -reinterpret_cast<uintptr_t>(dst) & (Source::kWhole - 1) & ~(Source::kElement - 1);
}

// Here the first piece may overlap others, too. Stores bound this, so those between are aligned.
template <bool kPastCaches, class Source> ORV_INLINE VelStatus fillAligned(const Source& source, Vel8u* dst, size_t n) {
  constexpr size_t kWhole = Source::kWhole, kTurn = 4 * kWhole;
  const size_t end = n - kWhole;
  const auto first = source.template at<kWhole>(0), last = source.template at<kWhole>(end);
  size_t i = alignedStart(source, dst);
  for (; i + kTurn <= end; i += kTurn) {
    ORV_UNROLL for (size_t k = 0; k < kTurn; k += kWhole) {
      const auto piece = source.template at<kWhole>(i + k);
      if (kPastCaches)
        streamPiece<kWhole>(dst + i + k, piece);
      else
        storePiece<kWhole>(dst + i + k, piece);
    }
  }
  for (; i < end; i += kWhole) storePiece<kWhole>(dst + i, source.template at<kWhole>(i));
  if (kPastCaches) streamEnd();
  storePiece<kWhole>(dst, first);
  storePiece<kWhole>(dst + end, last);
  return velStsNoErr;
}

template <class Source> __attribute__((noinline)) VelStatus fillHuge(Source source, Vel8u* dst, size_t n) {
  const bool isAligned = (reinterpret_cast<uintptr_t>(dst + alignedStart(source, dst)) & (Source::kWhole - 1)) == 0;
  if (isAligned && streams((Source::kReads + 1.0) * double(n))) return fillAligned<true>(source, dst, n);
  return fillAligned<false>(source, dst, n);
}

template <class Source> __attribute__((noinline)) VelStatus fillMany(Source source, Vel8u* dst, size_t n) {
  if (n > 1 << 17 && !source.reads(dst)) return fillHuge(source, dst, n);
  return fillAligned<false>(source, dst, n);
}

// n bytes, at least one element; velStsNoErr. Calls stand last: a function that makes them anywhere else aligns its
// stack, and short calls feel that.
template <class Source> ORV_INLINE VelStatus fill(const Source& source, Vel8u* dst, size_t n) {
  if (__builtin_expect(n > 32, 0)) return n > 128 ? fillMany(source, dst, n) : fillFew(source, dst, n);
  if (__builtin_expect(n >= 16, 1)) {
    const auto first = source.template at<16>(0);
    if (n > 16) storePiece<16>(dst + n - 16, source.template at<16>(n - 16));
    storePiece<16>(dst, first);
    return velStsNoErr;
  }
  if (n >= 8) return fillByTwo<8>(source, dst, n);
  if (n >= 4) return fillByTwo<4>(source, dst, n);
  if constexpr (Source::kElement <= 2)
    if (n >= 2) return fillByTwo<2>(source, dst, n);
  if constexpr (Source::kElement == 1) storePiece<1>(dst, source.template at<1>(0));
  return velStsNoErr;
}

}  // namespace
