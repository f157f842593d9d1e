// Writing bits into a stream of JPEG data.
#pragma once
#include "core/simd.h"

namespace {

// Bits on their way into the stream. They wait in the low half of a vector, the last one lowest, and so does their
// count: 32-bit code needs its general registers elsewhere. Nothing here branches on how many there are. An FF goes out
// without its zero; insertZeros() adds the zeros where there was one.
struct BitWriter {
  Lane window, count;     // the count is of those bits that are not in the stream as whole bytes
  Lane largest = zero();  // of the bytes stored
  Vel8u* dst;

  ORV_INLINE BitWriter(Vel8u* p, Vel32u bitPosition)
      : count(fromInt(int(bitPosition)) & fromInt(7)), dst(p + bitPosition / 8) {
    window = shiftRightU32(fromInt(*dst), sub32(fromInt(8), count));
  }
  // Bits and how many, which may not fill the window.
  ORV_INLINE void append(Lane bits, Lane n) {
    opaque(bits);
    window = shiftLeft64(window, n) | bits;
    count = add32(count, n);
  }
  // A code of a table, followed by the low n bits of `extra`, which has no others.
  ORV_INLINE void append(const Vel32u* entry, Lane extra, Lane n) {
    const Lane code = loadFirst<4>(entry);
    append(shiftLeft64(code & fromInt(0xFFFF), n) | extra, add32(shiftRightU32(code, 16), n));
  }
  ORV_INLINE void append(const Vel32u* entry) {
    const Lane code = loadFirst<4>(entry);
    append(code & fromInt(0xFFFF), shiftRightU32(code, 16));
  }
  // Stores the whole bytes, and the last bits followed by zeros: eight bytes in all. Those last bits, fewer than eight,
  // stay.
  ORV_INLINE void flush() {
    const Lane bytes = reverseLow8(shiftLeft64(window, sub32(fromInt(64), count)));
    storeLow(dst, bytes);
    largest = maxU8(largest, bytes);
    dst += toInt(count) >> 3;
    count = count & fromInt(7);
  }
  int left() const { return toInt(count); }
  bool needsZeros() const { return (signBits8(equal8(largest, all8(-1))) & 0xFF) != 0; }
};

// Inserts a zero after every FF of the whole bytes [from, to), of a block; the byte at `to` has `left` bits. Gives the
// position, in bits from start.
constexpr int kMostBytes = 7 + 64 * 32 / 8;  // of one block: every code with its extra bits is shorter than 32
__attribute__((noinline)) int insertZeros(Vel8u* start, Vel8u* from, const Vel8u* to, int left) {
  Vel8u raw[kMostBytes];
  const int count = int(to - from);
  memcpy(raw, from, size_t(count));
  const Vel8u last = *to;
  for (int i = 0; i < count; ++i) {
    *from++ = raw[i];
    if (raw[i] == 0xFF) *from++ = 0;
  }
  *from = last;
  return int(from - start) * 8 + left;
}

}  // namespace
