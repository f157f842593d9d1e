// Pixels of three channels: sixteen in a lane of bytes for each channel, interleaved in three or four lanes, or as words.
#pragma once
#include "core/simd/shuffles.h"

namespace {

// Sixteen pixels a lane, a vector of bytes for each channel: r g b as a rule. The pixels are in their order, or the eight
// even ones stand before the eight odd ones, which is how subsampled chroma leaves them.
enum Order { kInOrder, kEvenOdd };
template <Order kOrder, class V> struct Pixels { V r, g, b; };
template <Order kOrder, class V> ORV_INLINE Pixels<kOrder, V> pixelsOf(V r, V g, V b) { return {r, g, b}; }

// 0 1 2 ... from 0 2 4 ... 1 3 5 ...
template <class V> ORV_INLINE V inOrder(V evenOdd) { return interleaveLow8(evenOdd, shiftBytesDown<8>(evenOdd)); }

// ---- Three bytes a pixel: r0 g0 b0 r1 ... in three lanes

template <class V> struct Interleaved3 { V v[3]; };

#if ORV_HAS_SHUFFLE
// Byte 3 p + c of the 48 is channel c of pixel p. 3 is odd, so modulo 16 the bytes of a channel all lie at different
// places: one shuffle a channel moves every byte between its pixel and its place, and each of the three vectors takes
// every third byte from each channel.
template <Order kOrder, class V> ORV_INLINE V spread(V channel, int c) {
  return shuffle8(channel, bytePattern<V>([=](int i) {
                    const int pixel = (11 * (i + 16 - c)) & 15;  // 11 is 1 / 3 modulo 16
                    return kOrder == kInOrder ? pixel : pixel >> 1 | (pixel & 1) << 3;
                  }));
}
template <class V> ORV_INLINE V collect(V mixed, int c) {
  return shuffle8(mixed, bytePattern<V>([=](int i) { return (3 * i + c) & 15; }));
}
// Bytes i with i mod 3 = wa from a, with i mod 3 = wb from b, the others from v.
template <class V> ORV_INLINE V mixThirds(V v, V a, int wa, V b, int wb) {
  const auto third = [](int m) { return bytePattern<V>([=](int i) { return i % 3 == m ? -1 : 0; }); };
#if ORV_HAS_BLEND
  return select(third(wb), b, select(third(wa), a, v));
#else
  return v ^ ((v ^ a) & third(wa)) ^ ((v ^ b) & third(wb));
#endif
}
template <Order kOrder, class V> ORV_INLINE Interleaved3<V> interleave3(const Pixels<kOrder, V>& p) {
  const V r = spread<kOrder>(p.r, 0), g = spread<kOrder>(p.g, 1), b = spread<kOrder>(p.b, 2);
  return {{mixThirds(r, g, 1, b, 2), mixThirds(r, g, 0, b, 1), mixThirds(r, g, 2, b, 0)}};
}
template <class V> ORV_INLINE Pixels<kInOrder, V> deinterleave3(const Interleaved3<V>& t) {
  return {collect(mixThirds(t.v[0], t.v[1], 2, t.v[2], 1), 0), collect(mixThirds(t.v[0], t.v[1], 0, t.v[2], 2), 1),
          collect(mixThirds(t.v[0], t.v[1], 1, t.v[2], 0), 2)};
}
#else
// A pair of pixels is three words: x = r g of the even one, y = its b and r of the odd one, z = g b of the odd one.
template <class V> struct PixelPairs {
  V x, y, z;
  explicit PixelPairs(const Pixels<kEvenOdd, V>& p)
      : x(interleaveLow8(p.r, p.g)), y(interleaveLow8(p.b, shiftBytesDown<8>(p.r))), z(interleaveHigh8(p.g, p.b)) {}
  explicit PixelPairs(const Pixels<kInOrder, V>& p)
      : x((p.r & all16<V>(0xFF)) | shiftLeft16(p.g, 8)),
        y((p.b & all16<V>(0xFF)) | clearBits(p.r, all16<V>(0xFF))),
        z(shiftRightU16(p.g, 8) | clearBits(p.b, all16<V>(0xFF))) {}
};
// Dwords i and i + 2 of a in turn with j and j + 2 of b.
template <int i, int j, class V> ORV_INLINE V inTurn(V a, V b) {
  return shuffle32<0, 2, 1, 3>(joinPairs32<i, i + 2, j, j + 2>(a, b));
}
// Two pairs are three dwords: a = x0 y0, b = z0 x1, c = y1 z1.
template <Order kOrder, class V> ORV_INLINE Interleaved3<V> interleave3(const Pixels<kOrder, V>& p) {
  const PixelPairs<V> q(p);
  const V low = all32<V>(0xFFFF);
  const V a = (q.x & low) | shiftLeft32(q.y, 16);
  const V b = (q.z & low) | clearBits(q.x, low);
  const V c = shiftRightU32(q.y, 16) | clearBits(q.z, low);
  // a0 b0 c0 a1 | b1 c1 a2 b2 | c2 a3 b3 c3
  const V ab = inTurn<0, 0>(a, b), ca = inTurn<0, 1>(c, a), bc = inTurn<1, 1>(b, c);
  return {{interleaveLow64(ab, ca), join64<0, 1>(bc, ab), interleaveHigh64(ca, bc)}};
}
// Four perfect shuffles of 48 bytes: of halves that lie 24 bytes apart, one byte from each in turn. A byte at place i
// goes to 2 i modulo 47, and 2 to the fourth is 1 / 3 modulo 47.
template <class V> ORV_INLINE Pixels<kInOrder, V> deinterleave3(Interleaved3<V> t) {
  ORV_UNROLL for (int i = 0; i < 4; ++i)
      t = {{interleaveLow8(t.v[0], shiftBytesDown<8>(t.v[1])), interleaveLow8(shiftBytesDown<8>(t.v[0]), t.v[2]),
            interleaveLow8(t.v[1], shiftBytesDown<8>(t.v[2]))}};
  return {t.v[0], t.v[1], t.v[2]};
}
#endif

template <class V> ORV_INLINE Interleaved3<V> load3(const Vel8u* p) {
  return {{load<V>(p, 48), load<V>(p + 16, 48), load<V>(p + 32, 48)}};
}
// Streams to a multiple of the vector's size.
template <bool kStreams = false> ORV_INLINE void store3(Vel8u* p, const Interleaved3<Lane>& t) {
  ORV_UNROLL for (int i = 0; i < 3; ++i) put<kStreams>(p + 16 * i, t.v[i]);
}
#if ORV_HAS_WIDE_INTEGER
// a0 a1 | b0 b1 | c0 c1   ->   a0 b0 | c0 a1 | b1 c1: half as many stores.
template <bool kStreams = false> ORV_INLINE void store3(Vel8u* p, const Interleaved3<Lanes>& t) {
  put<kStreams>(p, Lanes(_mm256_permute2x128_si256(t.v[0], t.v[1], 0x20)));
  put<kStreams>(p + 32, Lanes(_mm256_blend_epi32(t.v[2], t.v[0], 0xF0)));
  put<kStreams>(p + 64, Lanes(_mm256_permute2x128_si256(t.v[1], t.v[2], 0x31)));
}
#endif

// ---- Sixteen pixels of three bytes as words of 256 times a sample, even and odd pixels apart

template <class V> struct PixelWords { EvenOdd<V> r, g, b; };
// Bytes as words of 256 times their value.
template <class V> ORV_INLINE EvenOdd<V> splitTimes256(V bytes) {
  return {shiftLeft16(bytes, 8), bytes & all16<V>(0xFF00)};
}
template <class V> ORV_INLINE PixelWords<V> splitTimes256(const Pixels<kInOrder, V>& p) {
  return {splitTimes256(p.r), splitTimes256(p.g), splitTimes256(p.b)};
}
template <class V> ORV_INLINE PixelWords<V> load3Times256(const Vel8u* p) {
  // Four pixels are twelve bytes. Of each four, dwords r0 g0 b0 r1, g1 b1 r2 g2 and b2 r3 g3 b3: words x y, z x, y z.
  const auto everyThird = [](const Vel8u* q) { return joinPairs32<0, 3, 0, 3>(load<V>(q, 48), load<V>(q + 24, 48)); };
  const V xy = everyThird(p), zx = everyThird(p + 4), yz = everyThird(p + 8);
  const V x = blend16<0xAA>(xy, zx), z = blend16<0xAA>(zx, yz);
#if ORV_HAS_BLEND
  const V y = blend16<0xAA>(yz, xy);  // each two words exchanged
  const auto bytesOfY = [=](int which) {
    return shuffle8(
        y, bytePattern<V>([=](int i) { return i % 2 == 0 ? -1 : 4 * (i / 4) + (i % 4 == 1 ? 2 : 0) + which; }));
  };
  const V b = bytesOfY(0), r = bytesOfY(1);
#else
  const V y = shiftRightU32(xy, 16) | shiftLeft32(yz, 16);
  const V b = shiftLeft16(y, 8), r = y & all16<V>(0xFF00);
#endif
  return {{shiftLeft16(x, 8), r}, {x & all16<V>(0xFF00), shiftLeft16(z, 8)}, {b, z & all16<V>(0xFF00)}};
}

}  // namespace
