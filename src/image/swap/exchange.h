// Swapping channels without a shuffle of bytes, from or to four: channel c becomes channel c ^ x, so pixels are taken with
// their channels exchanged in each of these four ways, and masked.
#pragma once
#include "image/swap/reorder.h"

namespace {

// Channel c of a pixel of four in the place of channel c ^ x.
template <int kBytes, int x> ORV_INLINE Lane exchanged(Lane v) {
  if constexpr (x == 0) return v;
  if constexpr (kBytes == 4) return shuffle32<x, 1 ^ x, 2 ^ x, 3 ^ x>(v);
  if constexpr (kBytes == 2) return x == 2 ? shuffle32<1, 0, 3, 2>(v) : shuffleHalves16<x, 1 ^ x, 2 ^ x, 3 ^ x>(v);
  if (x >= 2) v = shuffleHalves16<1, 0, 3, 2>(v);
  return x & 1 ? shiftLeft16(v, 8) | shiftRightU16(v, 8) : v;
}

template <class F> class Exchange {
 public:
  explicit Exchange(const Selection& s) : Exchange(s, codes(s)) {}
  // Whether x is 0 or 2 for all channels.
  bool isOfPairs() const { return allZero(where_[1] | where_[3]); }
  // The channels that nothing from the source becomes are zero.
  template <bool kPairs> Lane swapped(Lane v) const {
    const Lane sum = (v & where_[0]) | (exchanged<F::kBytes, 2>(v) & where_[2]);
    if (kPairs) return sum;
    return sum | (exchanged<F::kBytes, 1>(v) & where_[1]) | (exchanged<F::kBytes, 3>(v) & where_[3]);
  }
  const Unselected<F>& unselected() const { return unselected_; }

 private:
  Exchange(const Selection& s, Lane codes) : unselected_(s, codes) {
    ORV_UNROLL for (int x = 0; x < 4; ++x) where_[x] = equal8(codes, all8(x));
  }
  // For each byte of a destination group of four channels x, or kValue or kKept.
  static Lane codes(const Selection& s) {
    return bytesOfChannels<F::kBytes>([&](int c) {
      return c >= F::kTo ? kKept : s.channel[c] < 0 ? s.channel[c] : s.channel[c] ^ c;
    });
  }

  Lane where_[4];
  Unselected<F> unselected_;
};

// A group takes a vector, in four channels, in between.
template <class F> class Blocks {
 public:
  static constexpr int kMargin = 0;
  static constexpr bool kSwapsMore = true;
  static constexpr bool kMayStream = false;  // it would gain nothing: the instructions take as long as memory does

  explicit Blocks(const Selection& s) : exchange_(s), isOfPairs_(exchange_.isOfPairs()), order_(orderOf(s)) {}
  template <bool> void swap(const Vel8u* src, Vel8u* dst, size_t count) const { swapAll(src, dst, count, 0); }
  void swapAll(const Vel8u* src, Vel8u* dst, size_t count, size_t more) const {
    if (reorder<F>(order_, src, dst, count * F::kPixels)) {
      const size_t last = (count - 1) * F::kPixels + more;
      if (more > 0) reorder<F>(order_, src + last * F::kFromPixel, dst + last * F::kToPixel, F::kPixels);
    } else if (isOfPairs_) {
      blocks<true>(src, dst, count, more);
    } else {
      blocks<false>(src, dst, count, more);
    }
  }

 private:
  // A function of its own: between others, its masks would not stay in registers. One call does all of a row.
  template <bool kPairs>
  __attribute__((noinline)) void blocks(const Vel8u* src, Vel8u* dst, size_t count, size_t more) const {
    const Exchange<F> exchange = exchange_;  // which the stores cannot reach
    for (;;) {
      do {
        if constexpr (F::kTo == 3) {
          Lane g[4];
          ORV_UNROLL for (int i = 0; i < 4; ++i) g[i] = joined(exchange.template swapped<kPairs>(group(src, i)));
          store(dst, shiftBytesDown<2>(g[0]) | shiftBytesUp<10>(g[1]));
          store(dst + 16, shiftBytesDown<6>(g[1]) | shiftBytesUp<6>(g[2]));
          store(dst + 32, shiftBytesDown<10>(g[2]) | shiftBytesUp<2>(g[3]));
        } else {
          ORV_UNROLL for (int i = 0; i < 4; ++i) exchange.unselected().template storeWith<false>(
              exchange.template swapped<kPairs>(group(src, i)), dst + 16 * i);
        }
        src += F::kPixels * F::kFromPixel, dst += F::kPixels * F::kToPixel;
      } while (--count > 0);
      if (more == 0) return;
      const size_t shared = F::kPixels - more;  // pixels of the last two blocks
      src -= shared * F::kFromPixel, dst -= shared * F::kToPixel;
      more = 0, count = 1;
    }
  }
  // The i-th group of a block in four channels. Pixels of three bytes get a fourth, whichever follows them; those of the
  // last group are loaded with the byte before them and shifted, so that nothing after the block is read.
  static Lane group(const Vel8u* src, int i) {
    if (F::kFrom == 4) return load(src + 16 * i);
    if (i < 3) {
      const Vel8u* const p = src + 12 * i;
      return joinPairs32<0, 2, 0, 2>(loadHalves(p, p + 3), loadHalves(p + 6, p + 9));
    }
    return shiftRightU32(joinPairs32<0, 2, 1, 3>(loadHalves(src + 35, src + 38), loadHalves(src + 37, src + 40)), 8);
  }
  // Of pixels with a fourth channel of zeros the other three, with two zeros on either side.
  //   r0 g0 b0 0 | r1 g1 b1 0 | ...   ->   r0 g0 b0 r1 g1 b1 0 0 | r2 ... 0 0   ->   0 0 r0 g0 b0 r1 ... b3 0 0
  static Lane joined(Lane v) {
    const Lane even = all64(0xFFFFFFFF);
    return shuffleLow16<3, 0, 1, 2>((v & even) | shiftRightU64(v & ~even, 8));
  }

  Exchange<F> exchange_;
  bool isOfPairs_;
  Vel32u order_;
};

}  // namespace
