// Swapping three channels of four bytes in an order that takes each of them once: one shuffle of dwords a pixel.
#pragma once
#include "image/swap/selection.h"

namespace {

// Of a vector that holds a pixel and what follows it.
template <int a, int b, int c> ORV_INLINE Lane reordered(const Vel8u* src) { return shuffle32<a, b, c, 3>(load(src)); }

ORV_INLINE void storeThreeDwords(Vel8u* dst, Lane v) {
  storeLow(dst, v);
  storeFirst<4>(dst + 8, interleaveHigh64(v, v));
}

// Four pixels or a multiple of them, so many in a turn: a loop within one line of the instruction cache may store only once
// in a cycle. A pixel is loaded before a store reaches into it, in place.
template <int a, int b, int c> ORV_INLINE void reorder3(const Vel8u* src, Vel8u* dst, size_t pixels) {
  Lane v = reordered<a, b, c>(src);
  const auto step = [&v](const Vel8u* from, Vel8u* to) __attribute__((always_inline)) {
    const Lane next = reordered<a, b, c>(from + 12);
    store(to, v);
    v = next;
  };
  for (; pixels > 4; pixels -= 4, src += 48, dst += 48) {
    ORV_UNROLL for (int i = 0; i < 48; i += 12) step(src + i, dst + i);
  }
  ORV_UNROLL for (int i = 0; i < 36; i += 12) step(src + i, dst + i);
  storeThreeDwords(dst + 36, v);
}
template <int a, int b, int c> ORV_INLINE void reorder4(const Vel8u* src, Vel8u* dst, size_t pixels) {
  for (; pixels; pixels -= 4, src += 64, dst += 64) {
    ORV_UNROLL for (int i = 0; i < 64; i += 16) storeThreeDwords(dst + i, reordered<a, b, c>(src + i));
  }
}
template <class F, int a, int b, int c> ORV_INLINE bool reorder(const Vel8u* src, Vel8u* dst, size_t pixels) {
  if (F::kTo == 3)
    reorder3<a, b, c>(src, dst, pixels);
  else
    reorder4<a, b, c>(src, dst, pixels);
  return true;
}

// Unlike any of three channels where one is kValue or kKept.
constexpr Vel32u orderOf(int a, int b, int c) { return Vel32u(a) | Vel32u(b) << 2 | Vel32u(c) << 4; }
ORV_INLINE Vel32u orderOf(const Selection& s) { return orderOf(s.channel[0], s.channel[1], s.channel[2]); }

// False where this is not for such an order.
template <class F> bool reorder(Vel32u order, const Vel8u* src, Vel8u* dst, size_t pixels) {
  if (F::kBytes != 4) return false;
  switch (order) {
    case orderOf(0, 1, 2): return reorder<F, 0, 1, 2>(src, dst, pixels);
    case orderOf(0, 2, 1): return reorder<F, 0, 2, 1>(src, dst, pixels);
    case orderOf(1, 0, 2): return reorder<F, 1, 0, 2>(src, dst, pixels);
    case orderOf(1, 2, 0): return reorder<F, 1, 2, 0>(src, dst, pixels);
    case orderOf(2, 0, 1): return reorder<F, 2, 0, 1>(src, dst, pixels);
    case orderOf(2, 1, 0): return reorder<F, 2, 1, 0>(src, dst, pixels);
  }
  return false;
}

}  // namespace
