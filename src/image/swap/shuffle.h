// Swapping channels by shuffling bytes: one shuffle swaps a group, whatever the order is. A group is as many pixels as have
// four bytes in each channel, and a block four groups (see selection.h).
#pragma once
#include "image/swap/selection.h"

namespace {

template <class F> class Blocks {
 public:
  static constexpr int kMargin = 0;
  static constexpr bool kSwapsMore = true;
  static constexpr bool kMayStream = !F::kKeeps;

  explicit Blocks(const Selection& s) : Blocks(s, codes(s)) {}
  template <bool kStreams> ORV_INLINE void swap(const Vel8u* src, Vel8u* dst, size_t count) const {
    swapAll<kStreams>(src, dst, count, 0);
  }
  // Two in a turn: a loop within one line of the instruction cache may store only once in a cycle.
  template <bool kStreams = false>
  ORV_INLINE void swapAll(const Vel8u* src, Vel8u* dst, size_t count, size_t more) const {
    const Blocks masks = *this;  // which the stores cannot reach
    if (count > 1) {
      for (; count > 1; count -= 2, src += 2 * kFromBlock, dst += 2 * kToBlock) {
        if constexpr (sizeof(Lanes) > sizeof(Lane)) {
          masks.twoBlocks<Lanes, kStreams>(src, dst);
        } else {
          masks.block<kStreams>(src, dst);
          masks.block<kStreams>(src + kFromBlock, dst + kToBlock);
        }
      }
      lanesEnd();
    }
    if (count) {
      masks.block<kStreams>(src, dst);
      src += kFromBlock, dst += kToBlock;
    }
    if (more) masks.block<kStreams>(src - kFromBlock + more * F::kFromPixel, dst - kToBlock + more * F::kToPixel);
  }

 private:
  static constexpr int kFromBlock = 4 * F::kFromGroup, kToBlock = 4 * F::kToGroup;

  Blocks(const Selection& s, Lane codes)
      : unselected_(s, codes),
        early_(F::kTo == 3 ? shuffle32<0, 0, 1, 2>(codes) : codes),
        late_(F::kTo == 3 ? shuffle32<0, 1, 2, 2>(codes) : codes),
        last_(add8(late_, all8(16 - F::kFromGroup))) {}

  template <bool kStreams> ORV_INLINE void block(const Vel8u* src, Vel8u* dst) const {
    if constexpr (F::kTo == 3) {
      store3<kStreams>(dst, threeOf<Lane>(src));
    } else {
      ORV_UNROLL for (int i = 0; i < 4; i += 2)
          unselected_.template storeWith<kStreams>(group<Lane>(src, i), group<Lane>(src, i + 1), dst + 16 * i);
    }
  }
  // Stores are what bounds this, so what lies next to each other in the destination comes to lie so in a vector.
  template <class V, bool kStreams> ORV_INLINE void twoBlocks(const Vel8u* src, Vel8u* dst) const {
    if constexpr (F::kTo == 3) {
      store3<kStreams>(dst, threeOf<V>(src));
    } else {
      ORV_UNROLL for (int i = 0; i < 8; i += 2)
          unselected_.template storeWith<kStreams>(neighbours<V>(src + i / 4 * kFromBlock, i % 4), dst + 16 * i);
    }
  }
  // Four groups of three channels: a0 a1 a2 b0 | b1 b2 c0 c1 | c2 d0 d1 d2 from dwords
  //   a0 a0 a1 a2 | b0 b0 b1 b2 | c0 c1 c2 c2 | d0 d1 d2 d2
  template <class V> Interleaved3<V> threeOf(const Vel8u* src) const {
    const V a = group<V>(src, 0), b = group<V>(src, 1), c = group<V>(src, 2), d = group<V>(src, 3);
    return {{align8<4>(a, b), align8<8>(b, c), align8<12>(c, d)}};
  }
  // The i-th group of a block in the first lane, the one after it in the second; four channels.
  template <class V> V neighbours(const Vel8u* src, int i) const {
    if (F::kFrom == 4) return shuffle8(load<V>(src + 16 * i), repeated<V>(early_));
    if (i == 0) return shuffle8(load<V>(src, F::kFromGroup), repeated<V>(early_));
    return shuffle8(load<V>(src + 2 * F::kFromGroup, kFromBlock - 16 - 2 * F::kFromGroup),
                    joinLanes([this](int lane) { return lane == 0 ? late_ : last_; }));
  }
  // The i-th of a block. The last one of three channels is loaded at the end of its vector, so that nothing after the block
  // is read.
  template <class V> V group(const Vel8u* src, int i) const {
    const Lane mask = i == 3 ? last_ : i == 2 ? late_ : early_;
    return shuffle8(load<V>(src + i * F::kFromGroup - (i == 3 ? 16 - F::kFromGroup : 0), kFromBlock),
                    repeated<V>(mask));
  }
  // For each byte of a destination group its place in the source group, or kValue or kKept.
  static Lane codes(const Selection& s) {
    if constexpr (F::kTo == 4) {
      const Lane first =
          bytesOfChannels<F::kBytes>([&](int c) { return s.channel[c] < 0 ? s.channel[c] : s.channel[c] * F::kBytes; });
      const Lane further = bytePattern([](int i) { return i / F::kToPixel * F::kFromPixel + i % F::kBytes; });
      return add8(first, further & greater8(first, all8(-1)));
    }
    Vel8u code[16] = {};
    for (int i = 0; i < F::kToGroup; ++i) {
      const int pixel = i / F::kToPixel, channel = s.channel[i / F::kBytes % F::kTo];
      code[i] = Vel8u(channel < 0 ? channel : pixel * F::kFromPixel + channel * F::kBytes + i % F::kBytes);
    }
    return load(code);
  }

  Unselected<F> unselected_;
  Lane early_, late_, last_;  // of groups 0 and 1, of 2, of 3
};

}  // namespace
