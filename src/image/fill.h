// Filling memory from a source of vectors.
#pragma once
#include "core/simd.h"

namespace {

// A source gives what belongs at byte i of the destination: the first n bytes of a vector, or a wide vector. from(i) is the
// source for what begins there.
struct Copied {
  const Vel8u* src;
  template <int n> Vec part(size_t i) const { return loadPart<n>(src + i); }
  Wide wide(size_t i) const { return loadWide(src + i); }
  Copied from(size_t i) const { return {src + i}; }
};
struct Repeated {
  Vec v;  // all bytes alike
  template <int n> Vec part(size_t) const { return v; }
  Wide wide(size_t) const { return repeatWide(v); }
  Repeated from(size_t) const { return *this; }
};

// n bytes from byte i on, n vectors of 16 bytes, or as wide ones.
template <int n, class Source> ORV_INLINE void fillVecs(Source source, Vel8u* dst, size_t i) {
  Vec v[n];
  ORV_UNROLL
  for (int k = 0; k < n; ++k) v[k] = source.template part<16>(i + 16 * k);
  ORV_UNROLL
  for (int k = 0; k < n; ++k) store(dst + i + 16 * k, v[k]);
}
template <int n, class Source> ORV_INLINE void fillWide(Source source, Vel8u* dst, size_t i) {
  if (kWide == 16) return fillVecs<n>(source, dst, i);
  ORV_UNROLL
  for (size_t k = 0; k < n * 16; k += kWide) storeWide(dst + i + k, source.wide(i + k));
}

// n to 2 n bytes: the first n and the last n, which may overlap.
template <int n, class Source> ORV_INLINE void fillEnds(Source source, Vel8u* dst, size_t len) {
  const Vec first = source.template part<n>(0), last = source.template part<n>(len - n);
  storePart<n>(dst, first);
  storePart<n>(dst + len - n, last);
}

// Up to a line.
template <class Source> ORV_INLINE void fillShort(Source source, Vel8u* dst, size_t n) {
  if (n >= 32) {
    fillWide<2>(source, dst, 0);
    fillWide<2>(source, dst, n - 32);
  } else if (n >= 16) {
    fillEnds<16>(source, dst, n);
  } else if (n >= 8) {
    fillEnds<8>(source, dst, n);
  } else if (n >= 4) {
    fillEnds<4>(source, dst, n);
  } else if (n >= 2) {
    fillEnds<2>(source, dst, n);
  } else if (n == 1) {
    storePart<1>(dst, source.template part<1>(0));
  }
}

// Fills n bytes from source. Stores bound this, so all but the first and last line, which may overlap others, are aligned.
// To or from beyond the first-level cache wide vectors gain nothing and lose a little.
template <class Source> ORV_INLINE void fill(Source source, Vel8u* dst, size_t n) {
  if (n <= kLine) return fillShort(source, dst, n);
  const size_t last = n - kLine;
  size_t i = kLine - reinterpret_cast<uintptr_t>(dst) % kLine;
  fillWide<4>(source, dst, 0);
  if (n <= 16384)
    for (; i < last; i += kLine) fillWide<4>(source, dst, i);
  else
    for (; i < last; i += kLine) fillVecs<4>(source, dst, i);
  fillWide<4>(source, dst, last);
}

// The same past the caches, whole lines of it: a line that is written in part, or in both ways, takes many times as long.
// A streamEnd is due after the last.
template <class Source> ORV_INLINE void fillPastCaches(Source source, Vel8u* dst, size_t n) {
  size_t i = -reinterpret_cast<uintptr_t>(dst) % kLine;
  if (n < i + kLine) return fill(source, dst, n);
  fillShort(source, dst, i);
  for (; i + kLine <= n; i += kLine)
    for (size_t k = i; k < i + kLine; k += kWide) streamWide(dst + k, source.wide(k));
  fillShort(source.from(i), dst + i, n - i);
}

}  // namespace
