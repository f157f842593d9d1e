// Filling memory with what a source gives, some bytes at a time: the frame of copying, and of all element-wise work on
// vectors.
//
// A source is a small object with
//   template <size_t kBytes> ... at(size_t i) const    the kBytes of the result from byte i, as loadBytes gives them
//   static constexpr size_t kVector                    the most bytes that it gives at once: those of Lanes or of Dwords
//   static constexpr size_t kElement                   the bytes of an element; it is asked for whole elements only
//   static constexpr int kReads                        how many runs of bytes it reads
//   bool reads(const Vel8u* p) const                   whether one of these starts at p
// A result may depend on the bytes of the sources at the same place only. The destination may be one of them, or
// overlap one that starts after it: what is read has not been written before.
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

// ---- kBytes bytes of a vector: all of Dwords, or the first 1, 2, 4, 8 or 16 of a Lane

template <size_t kBytes> ORV_INLINE auto loadBytes(const Vel8u* p) {
  if constexpr (kBytes > 16)
    return load<Dwords>(p);
  else
    return loadFirst<int(kBytes)>(p);
}
template <size_t kBytes, class V> ORV_INLINE void storeBytes(Vel8u* p, V v) {
  if constexpr (kBytes > 16)
    store(p, v);
  else
    storeFirst<int(kBytes)>(p, v);
}
// The same lane in each.
template <size_t kBytes> ORV_INLINE auto repeatBytes(Lane v) {
  if constexpr (kBytes > 16)
    return Dwords(repeatLane(v));
  else
    return v;
}

// ---- What is copied, and bytes that are all alike

struct CopyOf {
  static constexpr size_t kVector = sizeof(Dwords), kElement = 1;
  static constexpr int kReads = 1;
  const Vel8u* src;
  bool reads(const Vel8u* p) const { return p == src; }
  template <size_t kBytes> auto at(size_t i) const { return loadBytes<kBytes>(src + i); }
};
struct Constant {
  static constexpr size_t kVector = sizeof(Dwords), kElement = 1;
  static constexpr int kReads = 0;
  Lane v;
  bool reads(const Vel8u*) const { return false; }
  template <size_t kBytes> auto at(size_t) const { return repeatBytes<kBytes>(v); }
};

// ---- Filling a run of bytes, in place: n of them from byte i on

// kBytes to twice as many: both ends, which may overlap and are both made before either is stored.
template <size_t kBytes, class Source>
ORV_INLINE void fillEnds(const Source& source, Vel8u* dst, size_t n, size_t i = 0) {
  const auto first = source.template at<kBytes>(i), last = source.template at<kBytes>(i + n - kBytes);
  storeBytes<kBytes>(dst + i, first);
  storeBytes<kBytes>(dst + i + n - kBytes, last);
}

// Up to 32.
template <class Source> ORV_INLINE void fillShort(const Source& source, Vel8u* dst, size_t n, size_t i = 0) {
  if (__builtin_expect(n >= 16, 1)) {
    const auto first = source.template at<16>(i);
    if (n > 16) storeBytes<16>(dst + i + n - 16, source.template at<16>(i + n - 16));
    storeBytes<16>(dst + i, first);
  } else if (n >= 8) {
    fillEnds<8>(source, dst, n, i);
  } else if (n >= 4) {
    fillEnds<4>(source, dst, n, i);
  } else if (Source::kElement <= 2 && n >= 2) {
    fillEnds<2>(source, dst, n, i);
  } else if (Source::kElement == 1 && n == 1) {
    storeBytes<1>(dst + i, source.template at<1>(i));
  }
}

// More than a vector: the last may overlap others, so it is made before anything is written. Up to kSmall this is faster
// than to find places for aligned stores.
constexpr size_t kSmall = 128;
template <class Source> ORV_INLINE void fillUnaligned(const Source& source, Vel8u* dst, size_t n, size_t i = 0) {
  constexpr size_t kVector = Source::kVector;
  const size_t end = i + n - kVector;
  const auto last = source.template at<kVector>(end);
  for (; i < end; i += kVector) storeBytes<kVector>(dst + i, source.template at<kVector>(i));
  storeBytes<kVector>(dst + end, last);
}

template <class Source> ORV_INLINE void fillSmall(const Source& source, Vel8u* dst, size_t n, size_t i = 0) {
  if (n <= 32) return fillShort(source, dst, n, i);
  fillUnaligned(source, dst, n, i);
}

// kBytes bytes, in whole vectors.
template <size_t kBytes, bool kStreams, class Source>
ORV_INLINE void fillBlock(const Source& source, Vel8u* dst, size_t i) {
  constexpr size_t kVector = Source::kVector;
  ORV_UNROLL for (size_t k = 0; k < kBytes; k += kVector)
      put<kStreams>(dst + i + k, source.template at<kVector>(i + k));
}

// How many bytes lie in front of a multiple of kAlign, if that can be reached without cutting elements.
template <size_t kAlign, class Source> ORV_INLINE size_t toAligned(const Source&, const Vel8u* dst) {
  return -reinterpret_cast<uintptr_t>(dst) & (kAlign - 1) & ~(Source::kElement - 1);
}

// More than kSmall. Here the first vector may overlap others, too. Stores bound this, so those between are aligned.
template <class Source> ORV_INLINE void fillAligned(const Source& source, Vel8u* dst, size_t n) {
  constexpr size_t kVector = Source::kVector;
  const size_t end = n - kVector;
  const auto first = source.template at<kVector>(0), last = source.template at<kVector>(end);
  // With fewer vectors the loop may lie within one line of the instruction cache, and some processors then store only one
  // of them in a cycle.
  constexpr size_t kBlock = 8 * kVector;
  size_t i = toAligned<kVector>(source, dst);
  for (; i + kBlock <= end; i += kBlock) fillBlock<kBlock, false>(source, dst, i);
  for (; i + kLine <= end; i += kLine) fillBlock<kLine, false>(source, dst, i);
  for (; i < end; i += kVector) storeBytes<kVector>(dst + i, source.template at<kVector>(i));
  storeBytes<kVector>(dst, first);
  storeBytes<kVector>(dst + end, last);
}

// Any number. For a few hundred bytes this is worth inlining where it is done again and again.
template <class Source> ORV_INLINE void fillAny(const Source& source, Vel8u* dst, size_t n) {
  if (n <= kSmall) return fillSmall(source, dst, n);
  fillAligned(source, dst, n);
}

// Past the caches, whole lines of it: a line that is written in part, or in both ways, takes many times as long. Elements
// do not straddle lines, and the source is not the destination. A streamEnd is due after the last.
template <class Source> ORV_INLINE void fillPastCaches(const Source& source, Vel8u* dst, size_t n) {
  size_t i = toAligned<kLine>(source, dst);
  if (n < i + kLine) return fillAny(source, dst, n);
  fillSmall(source, dst, i, 0);
  for (; i + kLine <= n; i += kLine) fillBlock<kLine, true>(source, dst, i);
  fillSmall(source, dst, n - i, i);
}

// ---- Filling a vector

template <class Source> __attribute__((noinline)) VelStatus fillMedium(Source source, Vel8u* dst, size_t n) {
  fillUnaligned(source, dst, n);
  return velStsNoErr;
}
template <class Source> __attribute__((noinline)) VelStatus fillHuge(Source source, Vel8u* dst, size_t n) {
  const bool isAligned = (reinterpret_cast<uintptr_t>(dst) & (Source::kElement - 1)) == 0;
  if (isAligned && exceedsCaches((Source::kReads + 1.0) * double(n))) {
    fillPastCaches(source, dst, n);
    streamEnd();
  } else {
    fillAligned(source, dst, n);
  }
  return velStsNoErr;
}
template <class Source> __attribute__((noinline)) VelStatus fillLarge(Source source, Vel8u* dst, size_t n) {
  if (n > 1 << 17 && !source.reads(dst)) return fillHuge(source, dst, n);
  fillAligned(source, dst, n);
  return velStsNoErr;
}

// n bytes, at least one element; velStsNoErr. Calls stand last: a function that makes them anywhere else aligns its
// stack, and short calls feel that.
template <class Source> ORV_INLINE VelStatus fill(const Source& source, Vel8u* dst, size_t n) {
  if (__builtin_expect(n > 32, 0)) return n > kSmall ? fillLarge(source, dst, n) : fillMedium(source, dst, n);
  fillShort(source, dst, n);
  return velStsNoErr;
}

}  // namespace
