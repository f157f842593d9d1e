// Reordering the channels of pixels.
//
// Every pixel is treated alike, so a swap is a selection of bytes that repeats with the pixels: masks for it are made once
// per call, whatever the order is. Pixels are swapped in blocks of as many as have 16 bytes in each channel. The last block
// of a row overlaps the one before it, but not in place, where no pixel may be swapped twice: there, and in short rows,
// what is left is swapped one by one.
#include "core/cache.h"
#include "core/simd.h"
#include "image/checks.h"

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

// Channels of source and destination, bytes of a channel; kKeeps: a destination channel keeps its value. A block is four
// groups of pixels that have four bytes in each channel.
template <int kFromChannels, int kToChannels, int kChannelBytes, bool kKeepsSome> struct Form {
  static constexpr int kFrom = kFromChannels, kTo = kToChannels, kBytes = kChannelBytes;
  static constexpr bool kKeeps = kKeepsSome;
  static constexpr int kFromPixel = kFrom * kBytes, kToPixel = kTo * kBytes;
  static constexpr int kFromGroup = 4 * kFrom, kToGroup = 4 * kTo;
  static constexpr int kPixels = 16 / kBytes;  // of a block
};

template <class F> ORV_INLINE void swapOne(const Selection& s, const Vel8u* src, Vel8u* dst) {
  Vel8u pixel[F::kFromPixel];
  memcpy(pixel, src, sizeof pixel);
  for (int c = 0; c < F::kTo; ++c) {
    if (s.channel[c] >= 0)
      memcpy(dst + c * F::kBytes, pixel + s.channel[c] * F::kBytes, F::kBytes);
    else if (s.channel[c] == kValue)
      memset(dst + c * F::kBytes, s.value, F::kBytes);
  }
}

template <bool kStreams> ORV_INLINE void putVec(Vel8u* dst, Lane v) {
  if (kStreams)
    stream(dst, v);
  else
    store(dst, v);
}

// What four channels become that are not selected from the source.
template <class F> struct Rest {
  Lane kept, value;
  // codes: for each byte of the destination kKept, kValue, or something else.
  Rest(const Selection& s, Lane codes)
      : kept(equal8(codes, all8(kKept))), value((equal8(codes, all8(kValue)) & all8(s.value))) {}
  Lane withValue(Lane selected) const { return F::kFrom == 3 ? (selected | value) : selected; }
  // Stores what is selected with the rest; putTwo does it for two vectors, and touches what is kept of both at once.
  template <bool kStreams> void put(Vel8u* dst, Lane selected) const {
    selected = withValue(selected);
    if (F::kKeeps)
      store(dst, (selected | (load(dst) & kept)));
    else
      putVec<kStreams>(dst, selected);
  }
  template <bool kStreams> void putTwo(Vel8u* dst, Lane a, Lane b) const {
#if ORV_HAS_WIDE_FLOAT
    if (F::kKeeps) {
      const Floats selected = asFloats(_mm256_set_m128i(withValue(b), withValue(a)));
      return store(dst, bitOr(selected, bitAnd(load<Floats>(dst), repeatLane(kept))));
    }
#endif
    put<kStreams>(dst, a);
    put<kStreams>(dst + 16, b);
  }
};

#if ORV_HAS_SHUFFLE

// A shuffle swaps a group. Of groups of three channels it leaves the first or last dword twice, so that three further
// shuffles join four groups of 12 bytes to three vectors.
template <class F> class Blocks {
 public:
  static constexpr int kMargin = 0;
  static constexpr bool kMayStream = !F::kKeeps;

  explicit Blocks(const Selection& s) : Blocks(s, codes(s)) {}
  // Two in a turn: a loop within one line of the instruction cache may store only once in a cycle.
  template <bool kStreams> void swap(const Vel8u* src, Vel8u* dst, size_t count) const {
    const Blocks masks = *this;  // which the stores cannot reach
    for (; count > 1; count -= 2, src += 8 * F::kFromGroup, dst += 8 * F::kToGroup) {
      masks.block<kStreams>(src, dst);
      masks.block<kStreams>(src + 4 * F::kFromGroup, dst + 4 * F::kToGroup);
    }
    if (count) masks.block<kStreams>(src, dst);
  }

 private:
  Blocks(const Selection& s, Lane codes)
      : rest_(s, codes),
        early_(F::kTo == 3 ? shuffle32<0, 0, 1, 2>(codes) : codes),
        late_(F::kTo == 3 ? shuffle32<0, 1, 2, 2>(codes) : codes),
        last_(add8(late_, all8(16 - F::kFromGroup))) {}
  template <bool kStreams> __attribute__((always_inline)) void block(const Vel8u* src, Vel8u* dst) const {
    if constexpr (F::kTo == 3) {
      const Lane a = group(src, 0), b = group(src, 1), c = group(src, 2), d = group(src, 3);
      putVec<kStreams>(dst, align8<4>(a, b));
      putVec<kStreams>(dst + 16, align8<8>(b, c));
      putVec<kStreams>(dst + 32, align8<12>(c, d));
    } else {
      ORV_UNROLL
      for (int i = 0; i < 4; i += 2) rest_.template putTwo<kStreams>(dst + 16 * i, group(src, i), group(src, i + 1));
    }
  }
  // The i-th of a block. Of three channels, the last one stands at the end of its vector.
  Lane group(const Vel8u* src, int i) const {
    const Lane mask = i == 3 ? last_ : i == 2 ? late_ : early_;
    return shuffle8(load(src + i * F::kFromGroup - (i == 3 ? 16 - F::kFromGroup : 0)), mask);
  }
  static Lane codes(const Selection& s) {
    Vel8u code[16] = {};
    for (int i = 0; i < F::kToGroup; ++i) {
      const int pixel = i / F::kToPixel, channel = s.channel[i / F::kBytes % F::kTo];
      code[i] = Vel8u(channel < 0 ? channel : pixel * F::kFromPixel + channel * F::kBytes + i % F::kBytes);
    }
    return load(code);
  }

  Rest<F> rest_;
  Lane early_, late_, last_;
};

#else

// Channels of four bytes in an order that takes each of three once: an instruction for a pixel. Of a vector that holds a
// pixel and what follows it:
template <int kOrder> ORV_INLINE Lane reordered(const Vel8u* src) {
  return _mm_shuffle_epi32(load(src), kOrder | 0xC0);
}
ORV_INLINE void storeThree(Vel8u* dst, Lane v) {
  storeLow(dst, v);
  storeFirst<4>(dst + 8, interleaveHigh64(v, v));
}
// Four pixels or a multiple of them, so many in a turn: a loop within one line of the instruction cache may store only once
// in a cycle. A pixel is loaded before a store reaches into it, in place.
template <int kOrder> ORV_INLINE void reorder3(const Vel8u* src, Vel8u* dst, size_t pixels) {
  Lane v = reordered<kOrder>(src);
  const auto step = [&v](const Vel8u* from, Vel8u* to) __attribute__((always_inline)) {
    const Lane next = reordered<kOrder>(from + 12);
    store(to, v);
    v = next;
  };
  for (; pixels > 4; pixels -= 4, src += 48, dst += 48) {
    ORV_UNROLL for (int i = 0; i < 48; i += 12) step(src + i, dst + i);
  }
  ORV_UNROLL for (int i = 0; i < 36; i += 12) step(src + i, dst + i);
  storeThree(dst + 36, v);
}
template <int kOrder> ORV_INLINE void reorder4(const Vel8u* src, Vel8u* dst, size_t pixels) {
  for (; pixels; pixels -= 4, src += 64, dst += 64) {
    ORV_UNROLL for (int i = 0; i < 64; i += 16) storeThree(dst + i, reordered<kOrder>(src + i));
  }
}
template <class F, int kOrder> ORV_INLINE bool reorder(const Vel8u* src, Vel8u* dst, size_t pixels) {
  if (F::kTo == 3)
    reorder3<kOrder>(src, dst, pixels);
  else
    reorder4<kOrder>(src, dst, pixels);
  return true;
}

// Unlike any of three channels where one is kValue or kKept.
constexpr Vel32u orderOf(int a, int b, int c) { return Vel32u(a) | Vel32u(b) << 2 | Vel32u(c) << 4; }
// False where this is not for such an order.
template <class F> bool reorder(Vel32u order, const Vel8u* src, Vel8u* dst, size_t pixels) {
  if (F::kBytes != 4) return false;
  constexpr Vel32u k012 = orderOf(0, 1, 2), k021 = orderOf(0, 2, 1), k102 = orderOf(1, 0, 2);
  constexpr Vel32u k120 = orderOf(1, 2, 0), k201 = orderOf(2, 0, 1), k210 = orderOf(2, 1, 0);
  switch (order) {
    case k012: return reorder<F, k012>(src, dst, pixels);
    case k021: return reorder<F, k021>(src, dst, pixels);
    case k102: return reorder<F, k102>(src, dst, pixels);
    case k120: return reorder<F, k120>(src, dst, pixels);
    case k201: return reorder<F, k201>(src, dst, pixels);
    case k210: return reorder<F, k210>(src, dst, pixels);
  }
  return false;
}

// Four channels: channel c becomes channel c ^ x, so pixels are taken with their channels exchanged in each of these four
// ways, and masked. kPairs: x is 0 or 2 for all.
template <int kBytes, int x> ORV_INLINE Lane exchanged(Lane v) {
  if (x == 0) return v;
  if (kBytes == 1) {
    if (x >= 2) v = shuffleHalves16<1, 0, 3, 2>(v);
    return x & 1 ? (shiftLeft16(v, 8) | shiftRightU16(v, 8)) : v;
  }
  if (kBytes == 4) return _mm_shuffle_epi32(v, x == 1 ? 0xB1 : x == 2 ? 0x4E : 0x1B);
  if (x == 2) return shuffle32<1, 0, 3, 2>(v);
  constexpr int kWords = x == 1 ? 0xB1 : 0x1B;
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, kWords), kWords);
}

template <class F> class Exchange {
 public:
  explicit Exchange(const Selection& s) : Exchange(s, codes(s)) {}
  // The channels that nothing from the source becomes are zero.
  template <bool kPairs> Lane swapped(Lane v) const {
    Lane sum = (v & where_[0]) | _mm_and_si128(exchanged<F::kBytes, 2>(v), where_[2]);
    if (kPairs) return sum;
    sum = sum | _mm_and_si128(exchanged<F::kBytes, 1>(v), where_[1]);
    return sum | _mm_and_si128(exchanged<F::kBytes, 3>(v), where_[3]);
  }
  const Rest<F>& rest() const { return rest_; }
  bool pairs() const { return allZero((where_[1] | where_[3])); }

 private:
  Exchange(const Selection& s, Lane codes) : rest_(s, codes) {
    for (int x = 0; x < 4; ++x) where_[x] = equal8(codes, all8(x));
  }
  static Lane codes(const Selection& s) {
    Vel8u code[16];
    for (int i = 0; i < 16; ++i) {
      const int c = i / F::kBytes % 4;
      code[i] = Vel8u(c >= F::kTo ? kKept : s.channel[c] < 0 ? s.channel[c] : s.channel[c] ^ c);
    }
    return load(code);
  }

  Lane where_[4];
  Rest<F> rest_;
};

// To or from four channels: a group takes a vector, in four channels, in between.
template <class F> class Blocks {
 public:
  static constexpr int kMargin = 0;
  static constexpr bool kMayStream = false;  // it would gain nothing: the instructions take as long as memory does

  explicit Blocks(const Selection& s)
      : exchange_(s), pairs_(exchange_.pairs()), order_(orderOf(s.channel[0], s.channel[1], s.channel[2])) {}
  template <bool> void swap(const Vel8u* src, Vel8u* dst, size_t count) const {
    if (reorder<F>(order_, src, dst, count * F::kPixels)) return;
    if (pairs_)
      blocks<true>(src, dst, count);
    else
      blocks<false>(src, dst, count);
  }

 private:
  template <bool kPairs> void blocks(const Vel8u* src, Vel8u* dst, size_t count) const {
    const Exchange<F> exchange = exchange_;  // which the stores cannot reach
    for (; count; --count, src += 4 * F::kFromGroup, dst += 4 * F::kToGroup) {
      if constexpr (F::kTo == 3) {
        Lane g[4];
        ORV_UNROLL
        for (int i = 0; i < 4; ++i) g[i] = joined(exchange.template swapped<kPairs>(four<F::kFrom>(src, i)));
        store(dst, (shiftBytesDown<2>(g[0]) | shiftBytesUp<10>(g[1])));
        store(dst + 16, (shiftBytesDown<6>(g[1]) | shiftBytesUp<6>(g[2])));
        store(dst + 32, (shiftBytesDown<10>(g[2]) | shiftBytesUp<2>(g[3])));
      } else {
        ORV_UNROLL
        for (int i = 0; i < 4; ++i)
          exchange.rest().template put<false>(dst + 16 * i, exchange.template swapped<kPairs>(four<F::kFrom>(src, i)));
      }
    }
  }
  // The i-th group of a block in four channels. Pixels of three bytes get a fourth, whichever lies behind them; those of
  // the last group are loaded with one in front and shifted, so that nothing behind the block is read.
  template <int kFrom> static Lane four(const Vel8u* src, int i) {
    if (kFrom == 4) return load(src + 16 * i);
    if (i < 3) return dwords<0x88>(src + 12 * i, src + 12 * i + 3, src + 12 * i + 6, src + 12 * i + 9);
    return shiftRightU32(dwords<0xD8>(src + 35, src + 38, src + 37, src + 40), 8);
  }
  // Two each from eight bytes at a and b, and from eight bytes at c and d.
  template <int kWhich> static Lane dwords(const Vel8u* a, const Vel8u* b, const Vel8u* c, const Vel8u* d) {
    return asBits(_mm_shuffle_ps(asFloats(loadHalves(a, b)), asFloats(loadHalves(c, d)), kWhich));
  }
  // Of pixels with a fourth channel of zeros the other three: twelve bytes, with two zeros on either side.
  static Lane joined(Lane v) {
    const Lane twos = (v & evenDwords()) | shiftRightU64((v & oddDwords()), 8);
    return shuffleLow16<3, 0, 1, 2>(twos);
  }
  static Lane evenDwords() { return _mm_set_epi32(0, -1, 0, -1); }
  static Lane oddDwords() { return _mm_set_epi32(-1, 0, -1, 0); }

  Exchange<F> exchange_;
  bool pairs_;
  Vel32u order_;
};

// Three channels to three: what belongs in channel c stands a fixed way off, and is loaded from there. Loads so reach into
// the pixels around a block, but nothing comes of what they find there.
template <int kBytes> class Blocks<Form<3, 3, kBytes, false>> {
 public:
  static constexpr int kMargin = 1;
  static constexpr bool kMayStream = true;

  explicit Blocks(const Selection& s) : order_(orderOf(s.channel[0], s.channel[1], s.channel[2])) {
    for (int c = 0; c < 3; ++c) {
      way_[c] = (s.channel[c] - c) * kBytes;
      Vel8u mask[16];
      for (int i = 0; i < 16; ++i) mask[i] = i / kBytes % 3 == c ? 0xFF : 0;
      third_[c] = load(mask);
    }
  }
  // The last vector of a block is stored after the next has been loaded from: in place, that load would wait for it.
  template <bool kStreams> void swap(const Vel8u* src, Vel8u* dst, size_t count) const {
    if (!count) return;
    if (!kStreams && reorder<Form<3, 3, kBytes, false>>(order_, src, dst, count * (16 / kBytes))) return;
    const Blocks masks = *this;  // which the stores cannot reach
    Lane a = masks.swapped<0>(src);
    for (;;) {
      const Lane b = masks.swapped<1>(src + 16), c = masks.swapped<2>(src + 32);
      putVec<kStreams>(dst, a);
      putVec<kStreams>(dst + 16, b);
      src += 48;
      if (--count) a = masks.swapped<0>(src);
      putVec<kStreams>(dst + 32, c);
      if (!count) return;
      dst += 48;
    }
  }

 private:
  // Of the n-th vector of a block.
  template <int n> Lane swapped(const Vel8u* src) const {
    const auto part = [&](int c) { return load(src + way_[c]) & third_[(c + n * (kBytes == 2 ? 1 : 2)) % 3]; };
    return (part(0) | part(1)) | part(2);
  }

  ptrdiff_t way_[3];
  Lane third_[3];
  Vel32u order_;
};

#endif

// ---- Images

// How many pixels on a cache line begins with one; -1: none does.
template <class F> ORV_INLINE ptrdiff_t pixelsToLine(const Vel8u* dst) {
  constexpr size_t kUnit = F::kToPixel & -F::kToPixel;  // bytes of a pixel are as many as this, or three times as many
  const size_t bytes = -reinterpret_cast<uintptr_t>(dst) % kLine;
  if (bytes % kUnit) return -1;
  return ptrdiff_t(bytes / kUnit * (F::kTo == 3 ? 43 : 1) % (kLine / kUnit));  // 43 is 1 / 3 modulo 64
}

template <class F> struct Row {
  const Selection& selection;
  const Blocks<F>& blocks;
  const Vel8u* src;
  Vel8u* dst;

  static constexpr size_t kMargin = Blocks<F>::kMargin, kBlock = F::kPixels;

  template <bool kStreams> void swapBlocks(size_t i, size_t count) const {
    blocks.template swap<kStreams>(src + i * F::kFromPixel, dst + i * F::kToPixel, count);
  }
  void swapPixels(size_t i, size_t end) const {
    for (; i < end; ++i) swapOne<F>(selection, src + i * F::kFromPixel, dst + i * F::kToPixel);
  }
  void swap(size_t i, size_t end) const {
    if (end - i >= kBlock + 2 * kMargin) {
      const size_t last = end - kMargin - kBlock;  // the last block's place
      swapPixels(i, i + kMargin);
      i += kMargin;
      const size_t count = (last - i) / kBlock + 1;
      swapBlocks<false>(i, count);
      i += count * kBlock;
      if (i < last + kBlock && src != dst) {
        swapBlocks<false>(last, 1);
        i = last + kBlock;
      }
    }
    swapPixels(i, end);
  }
  // Four blocks are whole cache lines. Only such go past the caches: a line that is written in part, or in both ways, takes
  // many times as long.
  void swapPastCaches(size_t n) const {
    const ptrdiff_t way = pixelsToLine<F>(dst + kMargin * F::kToPixel);
    const size_t first = size_t(way) + kMargin;
    if (way < 0 || n < first + kMargin + 4 * kBlock) return swap(0, n);
    const size_t count = (n - kMargin - first) / kBlock & ~size_t(3);
    swap(0, first);
    swapBlocks<true>(first, count);
    swap(first + count * kBlock, n);
  }
};

template <class F, class T>
void swapRows(const T* pSrc, int srcStep, T* pDst, int dstStep, VeliSize size, const Selection& selection) {
  const Blocks<F> blocks(selection);
  size_t width = size_t(size.width);
  int rows = size.height;
  const bool streams = Blocks<F>::kMayStream && pSrc != pDst && double(width * F::kToPixel) * rows > kCopiedPastCaches;
  if (size_t(srcStep) == width * F::kFromPixel && size_t(dstStep) == width * F::kToPixel) {
    width *= size_t(rows);
    rows = 1;
  }
  for (int y = 0; y < rows; ++y) {
    const Vel8u* const src = reinterpret_cast<const Vel8u*>(rowOf(pSrc, srcStep, y));
    Vel8u* const dst = reinterpret_cast<Vel8u*>(rowOf(pDst, dstStep, y));
    const Row<F> row{selection, blocks, src, dst};
    if (streams)
      row.swapPastCaches(width);
    else
      row.swap(0, width);
  }
  if (streams) streamEnd();
}

// ---- Arguments

// Each of the first `count` entries is in 0..last.
ORV_INLINE VelStatus checkOrder(const int* order, int count, int last) {
  for (int i = 0; i < count; ++i)
    if (order[i] < 0 || order[i] > last) return velStsChannelOrderErr;
  return velStsNoErr;
}

template <class T>
ORV_INLINE VelStatus swapC3(const T* pSrc, int srcStep, T* pDst, int dstStep, VeliSize size, const int* order) {
  ORV_CHECK(checkPointers(pSrc, pDst, order));
  ORV_CHECK(checkSize(size));
  ORV_CHECK(checkSteps(srcStep, dstStep));
  ORV_CHECK(checkOrder(order, 3, 2));
  swapRows<Form<3, 3, sizeof(T), false>>(pSrc, srcStep, pDst, dstStep, size, {{order[0], order[1], order[2]}, 0});
  return velStsNoErr;
}

template <class T>
ORV_INLINE VelStatus swapAC4(const T* pSrc, int srcStep, T* pDst, int dstStep, VeliSize size, const int* order) {
  ORV_CHECK(checkPointers(pSrc, pDst, order));
  ORV_CHECK(checkSize(size));
  ORV_CHECK(checkSteps(srcStep, dstStep));
  ORV_CHECK(checkOrder(order, 3, 2));
  swapRows<Form<4, 4, sizeof(T), true>>(pSrc, srcStep, pDst, dstStep, size, {{order[0], order[1], order[2], kKept}, 0});
  return velStsNoErr;
}

}  // namespace

// ---- Bodies

ORV_BODY_C(veliSwapChannels_8u_C3R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_16u_C3R)
(const Vel16u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_16s_C3R)
(const Vel16s* pSrc, int srcStep, Vel16s* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_32s_C3R)
(const Vel32s* pSrc, int srcStep, Vel32s* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_32f_C3R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_A(veliSwapChannels_8u_AC4R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_16u_AC4R)
(const Vel16u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_16s_AC4R)
(const Vel16s* pSrc, int srcStep, Vel16s* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_32s_AC4R)
(const Vel32s* pSrc, int srcStep, Vel32s* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_B(veliSwapChannels_32f_AC4R)
(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapAC4(pSrc, srcStep, pDst, dstStep, roiSize, dstOrder);
}

ORV_BODY_A(veliSwapChannels_8u_C3IR)(Vel8u* pSrcDst, int srcDstStep, VeliSize roiSize, const int dstOrder[3]) {
  return swapC3(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize, dstOrder);
}

ORV_BODY_A(veliSwapChannels_8u_C4IR)(Vel8u* pSrcDst, int srcDstStep, VeliSize roiSize, const int dstOrder[4]) {
  ORV_CHECK(checkPointers(pSrcDst, dstOrder));
  ORV_CHECK(checkSteps(srcDstStep));
  ORV_CHECK(checkSize(roiSize));
  ORV_CHECK(checkOrder(dstOrder, 4, 3));
  swapRows<Form<4, 4, 1, false>>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize,
                                 {{dstOrder[0], dstOrder[1], dstOrder[2], dstOrder[3]}, 0});
  return velStsNoErr;
}

ORV_BODY_A(veliSwapChannels_8u_C4C3R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[3]) {
  ORV_CHECK(checkPointers(pSrc, pDst, dstOrder));
  ORV_CHECK(checkSize(roiSize));
  ORV_CHECK(checkOrder(dstOrder, 3, 3));
  swapRows<Form<4, 3, 1, false>>(pSrc, srcStep, pDst, dstStep, roiSize, {{dstOrder[0], dstOrder[1], dstOrder[2]}, 0});
  return velStsNoErr;
}

ORV_BODY_C(veliSwapChannels_8u_C3C4R)
(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize, const int dstOrder[4], Vel8u val) {
  ORV_CHECK(checkPointers(pSrc, pDst, dstOrder));
  ORV_CHECK(checkSize(roiSize));
  ORV_CHECK(checkOrder(dstOrder, 3, INT32_MAX));
  Selection selection{{}, val};
  for (int i = 0; i < 4; ++i) {
    const int from = dstOrder[i];
    selection.channel[i] = from == 3 ? kValue : from < 0 || from > 3 ? kKept : from;
  }
  if (selection.has(kKept))
    swapRows<Form<3, 4, 1, true>>(pSrc, srcStep, pDst, dstStep, roiSize, selection);
  else
    swapRows<Form<3, 4, 1, false>>(pSrc, srcStep, pDst, dstStep, roiSize, selection);
  return velStsNoErr;
}
