// What swapping the channels of pixels makes of each, and how pixels lie in vectors.
//
// Every pixel is treated alike, so a swap is a selection of bytes that repeats with the pixels: masks for it are made once
// per call, whatever the order is. Pixels are swapped in blocks of as many as have 16 bytes in each channel; a block is
// four groups of pixels that have four bytes in each channel. The algorithms are classes
//   template <class F> class Blocks
//     static constexpr int kMargin                    the pixels on either side of the blocks that they may read, too
//     static constexpr bool kMayStream                whether stores past the caches gain anything
//     explicit Blocks(const Selection&)
//     template <bool kStreams> void swap(src, dst, count) const    swaps that many blocks
//     static constexpr bool kSwapsMore                whether there is a
//     void swapAll(src, dst, count, size_t more) const    the same, and then the block that begins so many pixels, if any,
//                                                         after the last of them
#pragma once
#include "core/cache.h"
#include "core/simd.h"

namespace {

// What a destination channel becomes: a source channel, or one of these. As bytes they are indices out of reach.
enum { kValue = -128, kKept = -127 };
struct Selection {
  int channel[4];
  Vel8u value;
  bool has(int what) const {
    return channel[0] == what || channel[1] == what || channel[2] == what || channel[3] == what;
  }
};

// Channels of source and destination, bytes of a channel; kKeeps: a destination channel keeps its value.
template <int kFromChannels, int kToChannels, int kChannelBytes, bool kKeepsSome> struct Form {
  static constexpr int kFrom = kFromChannels, kTo = kToChannels, kBytes = kChannelBytes;
  static constexpr bool kKeeps = kKeepsSome;
  static constexpr int kFromPixel = kFrom * kBytes, kToPixel = kTo * kBytes;
  static constexpr int kFromGroup = 4 * kFrom, kToGroup = 4 * kTo;
  static constexpr int kPixels = 16 / kBytes;  // of a block
};

template <class F> ORV_INLINE void swapPixel(const Selection& s, const Vel8u* src, Vel8u* dst) {
  Vel8u pixel[F::kFromPixel];
  memcpy(pixel, src, sizeof pixel);
  for (int c = 0; c < F::kTo; ++c) {
    if (s.channel[c] >= 0)
      memcpy(dst + c * F::kBytes, pixel + s.channel[c] * F::kBytes, F::kBytes);
    else if (s.channel[c] == kValue)
      memset(dst + c * F::kBytes, s.value, F::kBytes);
  }
}

// One byte for each of four channels, as often as they have bytes, for as many pixels as a lane holds.
template <int kBytes, class ByteOf> ORV_INLINE Lane bytesOfChannels(const ByteOf& byteOf) {
  Lane v = allQuads8(byteOf(0), byteOf(1), byteOf(2), byteOf(3));  // 0 1 2 3 0 1 ...
  if (kBytes >= 2) v = interleaveLow8(v, v);                       // 0 0 1 1 2 2 ...
  return kBytes == 4 ? interleaveLow8(v, v) : v;
}

// What four channels become that are not selected from the source.
template <class F> class Unselected {
 public:
  // codes: for each byte of the destination kKept, kValue, or something else.
  Unselected(const Selection& s, Lane codes)
      : kept_(equal8(codes, all8(kKept))), value_(equal8(codes, all8(kValue)) & all8(s.value)) {}
  // Stores what is selected together with this; `selected` is zero elsewhere.
  template <bool kStreams, class V> void storeWith(V selected, Vel8u* dst) const {
    if constexpr (F::kKeeps)
      store(dst, withValue(selected) | (load<V>(dst) & repeated<V>(kept_)));
    else
      put<kStreams>(dst, withValue(selected));
  }
  // The same for two lanes.
  template <bool kStreams> void storeWith(Lane a, Lane b, Vel8u* dst) const {
    if (F::kKeeps) return storePairButKept(dst, withValue(a), withValue(b), kept_);
    put<kStreams>(dst, withValue(a));
    put<kStreams>(dst + 16, withValue(b));
  }

 private:
  template <class V> V withValue(V selected) const { return F::kFrom == 3 ? selected | repeated<V>(value_) : selected; }

  Lane kept_, value_;
};

}  // namespace
