// Which coefficients of a block are not zero, in zigzag order: what the Huffman encoder walks along.
#pragma once
#include "core/simd.h"
#include "jpeg/tables.h"

namespace {

ORV_INLINE Lane saturated16(const Vel16s* src) { return narrow16(load(src), load(src + 8)); }
ORV_INLINE Vel32u zeros16(Lane bytes) { return Vel32u(signBits8(equal8(bytes, zero()))); }

// What scan() makes of a block: for each coefficient in zigzag order a bit, which is set where it is not zero, and all
// coefficients as saturated bytes. A Place is an iterator in zigzag order, and byteAt(place) the coefficient there.
//
// Byte shuffles bring the bytes into zigzag order. Without them, only the bits are, by tables.
#if ORV_HAS_SHUFFLE
struct ScannedBlock {
  Vel32u nonZero[2];
  signed char zigzag[64];

  using Place = const signed char*;
  Place placeOf(int k) const { return zigzag + k; }
  int byteAt(Place place) const { return *place; }
};

// places[q][i] is the shuffle that moves the bytes of quarter i of the block to their places in quarter q of the zigzag
// order; any[q][i] says whether there are some.
struct ZigzagShuffles {
  ByteConstant places[4][4];
  bool any[4][4];
};
constexpr ZigzagShuffles makeZigzagShuffles() {
  constexpr Vel8u kZigzag[64] = {ORV_ZIGZAG};
  ZigzagShuffles s = {};
  for (int k = 0; k < 64; ++k)
    for (int i = 0; i < 4; ++i) {
      const bool here = kZigzag[k] / 16 == i;
      s.places[k / 16][i].elements[k % 16] = here ? Vel8u(kZigzag[k] % 16) : Vel8u(0x80);
      s.any[k / 16][i] |= here;
    }
  return s;
}
constexpr ZigzagShuffles kZigzagShuffles = makeZigzagShuffles();

// A quarter of the zigzag order. Gives which are zero.
template <int kQuarter>
ORV_INLINE Vel32u scanQuarter(const Lane natural[4], const ZigzagShuffles*& shuffles, ScannedBlock* to) {
  opaque(shuffles);
  Lane zigzag = zero();
  ORV_UNROLL for (int i = 0; i < 4; ++i) {
    if (!kZigzagShuffles.any[kQuarter][i]) continue;
    zigzag = zigzag | shuffle8(natural[i], shuffles->places[kQuarter][i]);
    opaque(zigzag);
  }
  store(to->zigzag + 16 * kQuarter, zigzag);
  return zeros16(zigzag);
}
// The encoder has its constants in registers.
ORV_INLINE_ON_AVX void scan(const Vel16s* src, ScannedBlock* to) {
  const Lane natural[4] = {saturated16(src), saturated16(src + 16), saturated16(src + 32), saturated16(src + 48)};
  const ZigzagShuffles* shuffles = &kZigzagShuffles;
  const Vel32u first = scanQuarter<0>(natural, shuffles, to);
  to->nonZero[0] = ~(first | scanQuarter<1>(natural, shuffles, to) << 16);
  const Vel32u third = scanQuarter<2>(natural, shuffles, to);
  to->nonZero[1] = ~(third | scanQuarter<3>(natural, shuffles, to) << 16);
}
#else
constexpr Vel8u kZigzag[64] = {ORV_ZIGZAG};
struct ScannedBlock {
  Vel32u nonZero[2];
  signed char natural[64];

  using Place = const Vel8u*;
  Place placeOf(int k) const { return kZigzag + k; }
  int byteAt(Place place) const { return natural[*place]; }
};

__attribute__((noinline)) void scan(const Vel16s* src, ScannedBlock* to) {
  Lane bits = zero();
  ORV_UNROLL for (int i = 0; i < 4; ++i) {
    const Lane bytes = saturated16(src + 16 * i);
    store(to->natural + 16 * i, bytes);
    const Vel32u mask = ~zeros16(bytes);
    ORV_UNROLL for (int j = 0; j < 4; ++j) bits = bits | loadLow(&ownZigzagBits.of[4 * i + j][(mask >> (4 * j)) & 15]);
  }
  to->nonZero[0] = Vel32u(toInt(bits));
  to->nonZero[1] = Vel32u(toInt(shiftBytesDown<4>(bits)));
}
#endif

// Walks the AC coefficients from zigzag index `next` on that are not zero: visit(zeros before it, its value);
// false where a visit ended it. *last becomes the index of the last one, or the one before `next`.
template <class Visit> ORV_INLINE bool walk(const Vel16s* src, int next, int* last, const Visit& visit) {
  ScannedBlock scanned;
  scan(src, &scanned);
  *last = next - 1;
  for (int base = 0; base < 64; base += 32) {
    Vel32u bits = scanned.nonZero[base / 32];
    if (next > base) bits = next >= base + 32 ? 0 : bits >> (next - base) << (next - base);
    for (; bits; bits &= bits - 1) {
      const int k = base + __builtin_ctz(bits);
      if (!visit(k - *last - 1, int(src[ownZigzag[k]]))) return false;
      *last = k;
    }
  }
  return true;
}

}  // namespace
