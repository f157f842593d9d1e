// Filling memory with what a source gives, some bytes at a time: the frame of copying, and of all element-wise work on
// vectors.
//
// A source is a small object with
//   template <size_t kBytes> ... at(size_t i) const    the kBytes of the result from byte i, as loadPiece makes them
//   static constexpr size_t kWhole                     the most bytes that it gives at once: 16, or kFloatsBytes
//   static constexpr size_t kElement                   the bytes of an element; it is asked for whole elements only
//   static constexpr int kReads                        how many vectors it reads
//   bool reads(const Vel8u* p) const                   whether one of these starts at p
// A result may depend on the bytes of the sources at the same place only. The destination may be one of them, or
// overlap one that starts behind it: what is read has not been written before.
#pragma once
#include "core/cache.h"
#include "core/simd.h"

namespace {

// The vectors' checks, in their order.
template <class... T> ORV_INLINE VelStatus checkVectors(int len, const T*... p) {
  if (!(p && ...)) return velStsNullPtrErr;
  return len < 1 ? velStsSizeErr : velStsNoErr;
}
template <class T> ORV_INLINE const Vel8u* bytesOf(const T* p) { return reinterpret_cast<const Vel8u*>(p); }
template <class T> ORV_INLINE Vel8u* bytesOf(T* p) { return reinterpret_cast<Vel8u*>(p); }

// ---- Pieces: kFloatsBytes bytes as a Floats where that is wider than a Lane, else 1, 2, 4, 8 or 16 at the low end of a Lane

template <size_t kBytes> ORV_INLINE auto loadPiece(const Vel8u* p) {
  if constexpr (kBytes > 16)
    return load<Floats>(p);
  else
    return loadFirst<int(kBytes)>(p);
}
template <size_t kBytes, class V> ORV_INLINE void storePiece(Vel8u* p, V v) {
  if constexpr (kBytes > 16)
    store(p, v);
  else
    storeFirst<int(kBytes)>(p, v);
}

// ---- What is copied, and bytes that are all alike

struct Copied {
  static constexpr size_t kWhole = kFloatsBytes, kElement = 1;
  static constexpr int kReads = 1;
  const Vel8u* src;
  bool reads(const Vel8u* p) const { return p == src; }
  template <size_t kBytes> auto at(size_t i) const { return loadPiece<kBytes>(src + i); }
};
struct Repeated {
  static constexpr size_t kWhole = kFloatsBytes, kElement = 1;
  static constexpr int kReads = 0;
  Lane v;
  bool reads(const Vel8u*) const { return false; }
  template <size_t kBytes> auto at(size_t) const {
    if constexpr (kBytes > 16)
      return repeatLane(v);
    else
      return v;
  }
};

// ---- Filling a run of bytes, in place: n of them from byte i on

// kBytes to twice as many, by two pieces that may overlap and are both made before either is stored.
template <size_t kBytes, class Source>
ORV_INLINE void fillByTwo(const Source& source, Vel8u* dst, size_t n, size_t i = 0) {
  const auto first = source.template at<kBytes>(i), last = source.template at<kBytes>(i + n - kBytes);
  storePiece<kBytes>(dst + i, first);
  storePiece<kBytes>(dst + i + n - kBytes, last);
}

// Up to 32.
template <class Source> ORV_INLINE void fillShort(const Source& source, Vel8u* dst, size_t n, size_t i = 0) {
  if (__builtin_expect(n >= 16, 1)) {
    const auto first = source.template at<16>(i);
    if (n > 16) storePiece<16>(dst + i + n - 16, source.template at<16>(i + n - 16));
    storePiece<16>(dst + i, first);
  } else if (n >= 8) {
    fillByTwo<8>(source, dst, n, i);
  } else if (n >= 4) {
    fillByTwo<4>(source, dst, n, i);
  } else if (Source::kElement <= 2 && n >= 2) {
    fillByTwo<2>(source, dst, n, i);
  } else if (Source::kElement == 1 && n == 1) {
    storePiece<1>(dst + i, source.template at<1>(i));
  }
}

// More than one whole piece: the last may overlap others, so it is made before anything is written. Too few for aligned
// stores to be worth finding.
template <class Source> ORV_INLINE void fillFew(const Source& source, Vel8u* dst, size_t n, size_t i = 0) {
  constexpr size_t kWhole = Source::kWhole;
  const size_t end = i + n - kWhole;
  const auto last = source.template at<kWhole>(end);
  for (; i < end; i += kWhole) storePiece<kWhole>(dst + i, source.template at<kWhole>(i));
  storePiece<kWhole>(dst + end, last);
}

template <class Source> ORV_INLINE void fillShortOrFew(const Source& source, Vel8u* dst, size_t n, size_t i = 0) {
  if (n <= 32) return fillShort(source, dst, n, i);
  fillFew(source, dst, n, i);
}

// kBytes of whole pieces.
template <size_t kBytes, bool kPastCaches, class Source>
ORV_INLINE void fillTurn(const Source& source, Vel8u* dst, size_t i) {
  constexpr size_t kWhole = Source::kWhole;
  ORV_UNROLL for (size_t k = 0; k < kBytes; k += kWhole) {
    const auto piece = source.template at<kWhole>(i + k);
    if constexpr (!kPastCaches)
      storePiece<kWhole>(dst + i + k, piece);
    else if constexpr (kWhole > 16)
      stream(dst + i + k, piece);
    else
      stream(dst + i + k, piece);
  }
}

constexpr size_t kMany = 128;

// How many bytes lie in front of a multiple of kAlign, if that can be reached without cutting elements.
template <size_t kAlign, class Source> ORV_INLINE size_t toAligned(const Source&, const Vel8u* dst) {
  return -reinterpret_cast<uintptr_t>(dst) & (kAlign - 1) & ~(Source::kElement - 1);
}

// More than kMany. Here the first piece may overlap others, too. Stores bound this, so those between are aligned.
template <class Source> ORV_INLINE void fillMany(const Source& source, Vel8u* dst, size_t n) {
  constexpr size_t kWhole = Source::kWhole;
  const size_t end = n - kWhole;
  const auto first = source.template at<kWhole>(0), last = source.template at<kWhole>(end);
  // In fewer pieces the loop may lie within one line of the instruction cache, and some processors then store only one of
  // them in a cycle.
  constexpr size_t kTurn = 8 * kWhole;
  size_t i = toAligned<kWhole>(source, dst);
  for (; i + kTurn <= end; i += kTurn) fillTurn<kTurn, false>(source, dst, i);
  for (; i + kLine <= end; i += kLine) fillTurn<kLine, false>(source, dst, i);
  for (; i < end; i += kWhole) storePiece<kWhole>(dst + i, source.template at<kWhole>(i));
  storePiece<kWhole>(dst, first);
  storePiece<kWhole>(dst + end, last);
}

// Any number. For a few hundred bytes this is worth inlining where it is done again and again.
template <class Source> ORV_INLINE void fillHere(const Source& source, Vel8u* dst, size_t n) {
  if (n <= kMany) return fillShortOrFew(source, dst, n);
  fillMany(source, dst, n);
}

// Past the caches, whole lines of it: a line that is written in part, or in both ways, takes many times as long. Elements
// do not straddle lines, and the source is not the destination. A streamEnd is due after the last.
template <class Source> ORV_INLINE void fillPastCaches(const Source& source, Vel8u* dst, size_t n) {
  size_t i = toAligned<kLine>(source, dst);
  if (n < i + kLine) return fillHere(source, dst, n);
  fillShortOrFew(source, dst, i, 0);
  for (; i + kLine <= n; i += kLine) fillTurn<kLine, true>(source, dst, i);
  fillShortOrFew(source, dst, n - i, i);
}

// ---- Filling a vector

template <class Source> __attribute__((noinline)) VelStatus fillCallFew(Source source, Vel8u* dst, size_t n) {
  fillFew(source, dst, n);
  return velStsNoErr;
}
template <class Source> __attribute__((noinline)) VelStatus fillCallHuge(Source source, Vel8u* dst, size_t n) {
  const bool isAligned = (reinterpret_cast<uintptr_t>(dst) & (Source::kElement - 1)) == 0;
  if (isAligned && exceedsCaches((Source::kReads + 1.0) * double(n))) {
    fillPastCaches(source, dst, n);
    streamEnd();
  } else {
    fillMany(source, dst, n);
  }
  return velStsNoErr;
}
template <class Source> __attribute__((noinline)) VelStatus fillCallMany(Source source, Vel8u* dst, size_t n) {
  if (n > 1 << 17 && !source.reads(dst)) return fillCallHuge(source, dst, n);
  fillMany(source, dst, n);
  return velStsNoErr;
}

// n bytes, at least one element; velStsNoErr. Calls stand last: a function that makes them anywhere else aligns its
// stack, and short calls feel that.
template <class Source> ORV_INLINE VelStatus fill(const Source& source, Vel8u* dst, size_t n) {
  if (__builtin_expect(n > 32, 0)) return n > kMany ? fillCallMany(source, dst, n) : fillCallFew(source, dst, n);
  fillShort(source, dst, n);
  return velStsNoErr;
}

}  // namespace
