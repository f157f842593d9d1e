// When a call writes past the caches, and how far ahead it asks for what it will need.
//
// A store into the caches reads its line first. A store past them does not, but its line is then not at hand for whoever
// reads it next. So whole lines go past the caches when the call touches more than the largest cache holds.
#pragma once
#include "core/path.h"

namespace {

constexpr size_t kLine = 64;  // of a cache, in bytes

// ---- Writing past the caches

// Half a megabyte is never too much, whatever the largest cache is said to be.
constexpr double kNeverStreamed = 512 << 10;
// What is taken for the largest cache where its size is not known: stores of either kind are equally fast there.
constexpr double kUnknownCache = 8 << 20;

enum class UnknownSize { kAssumed, kNeverExceeded };
// Whether a call that touches so many bytes should write past the caches. Widening bytes does so only where the size of
// the largest cache is known: part of what those functions promise.
ORV_INLINE bool exceedsCaches(double bytes, UnknownSize unknown = UnknownSize::kAssumed) {
  if (bytes <= kNeverStreamed) return false;
  int largest;
  if (velGetMaxCacheSizeB(&largest) == velStsNoErr) return bytes >= largest;
  return unknown == UnknownSize::kAssumed && bytes >= kUnknownCache;
}
// Copying, with or without channels in another order, goes by the bytes written alone: also part of what is promised.
constexpr double kCopiedPastCaches = 1 << 20;

// ---- Fetching ahead

// Asks for the cache line at p + ahead. Nothing is touched, so it may lie outside of what the call was given.
ORV_INLINE void prefetch(const void* p, ptrdiff_t ahead) {
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<size_t>(p) + size_t(ahead)), _MM_HINT_T0);
}
// For a kernel that reads rows in short pieces, or several at once: the hardware prefetcher does not follow from one row to
// the next. Asks for two rows, the first of which is so many below the one that p is in.
ORV_INLINE void prefetchTwoRows(const void* p, ptrdiff_t step, int first) {
  prefetch(p, first * step);
  prefetch(p, (first + 1) * step);
}
// How far along a row, in bytes, where a kernel reads in a way that processors do not predict: pieces of 48 bytes, or a
// destination that is read first.
constexpr ptrdiff_t kRowAhead = 2048;

}  // namespace
