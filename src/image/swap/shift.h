// Swapping three channels to three without a shuffle of bytes: what belongs in channel c stands a fixed way off, and is
// loaded from there. Loads so reach into the pixels around a block, but nothing comes of what they find there.
#pragma once
#include "image/swap/exchange.h"

namespace {

template <int kBytes> class Blocks<Form<3, 3, kBytes, false>> {
 public:
  static constexpr int kMargin = 1;
  static constexpr bool kSwapsMore = false;
  static constexpr bool kMayStream = true;

  explicit Blocks(const Selection& s) : order_(orderOf(s)) {
    for (int c = 0; c < 3; ++c) {
      offset_[c] = (s.channel[c] - c) * kBytes;
      Vel8u mask[16];
      for (int i = 0; i < 16; ++i) mask[i] = i / kBytes % 3 == c ? 0xFF : 0;
      third_[c] = load(mask);
    }
  }
  // The last vector of a block is stored after the next has been loaded from: in place, that load would wait for it.
  template <bool kStreams> ORV_INLINE void swap(const Vel8u* src, Vel8u* dst, size_t count) const {
    if (!count) return;
    if (!kStreams && reorder<Form<3, 3, kBytes, false>>(order_, src, dst, count * (16 / kBytes))) return;
    const Blocks masks = *this;  // which the stores cannot reach
    Lane a = masks.swapped<0>(src);
    for (;;) {
      const Lane b = masks.swapped<1>(src + 16), c = masks.swapped<2>(src + 32);
      put<kStreams>(dst, a);
      put<kStreams>(dst + 16, b);
      src += 48;
      if (--count) a = masks.swapped<0>(src);
      put<kStreams>(dst + 32, c);
      if (!count) return;
      dst += 48;
    }
  }

 private:
  // Of the n-th vector of a block. Modulo 3 it begins n channels further on than the first, for a vector has 16 or 4, or 2 n
  // where it has 8.
  template <int n> Lane swapped(const Vel8u* src) const {
    const auto part = [&](int c) { return load(src + offset_[c]) & third_[(c + n * (kBytes == 2 ? 1 : 2)) % 3]; };
    return part(0) | part(1) | part(2);
  }

  ptrdiff_t offset_[3];
  Lane third_[3];  // where each channel stands in a block's first vector
  Vel32u order_;
};

}  // namespace
