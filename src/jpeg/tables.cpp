// The constant tables of the JPEG coders.
#include "jpeg/tables.h"

#define ROW8(f, i) f(i), f(i + 1), f(i + 2), f(i + 3), f(i + 4), f(i + 5), f(i + 6), f(i + 7)
#define ROW64(f, i)                                                                                                \
  ROW8(f, i), ROW8(f, i + 8), ROW8(f, i + 16), ROW8(f, i + 24), ROW8(f, i + 32), ROW8(f, i + 40), ROW8(f, i + 48), \
      ROW8(f, i + 56)
#define ROW256(f, i) ROW64(f, i), ROW64(f, i + 64), ROW64(f, i + 128), ROW64(f, i + 192)

namespace {
constexpr int log2Of(int x) { return x < 2 ? 0 : 1 + log2Of(x >> 1); }
constexpr ZigzagBits makeZigzagBits(const Vel32s (&zigzagOf)[64]) {
  ZigzagBits bits = {};
  for (int nibble = 0; nibble < 16; ++nibble)
    for (int value = 0; value < 16; ++value)
      for (int i = 0; i < 4; ++i)
        if (value >> i & 1) bits.of[nibble][value] |= Vel64u(1) << zigzagOf[4 * nibble + i];
  return bits;
}
constexpr int bitsOf(int x) { return x == 0 ? 0 : 1 + log2Of(x); }
}  // namespace

extern "C" {

#define EIGHT_LAST 63, 63, 63, 63, 63, 63, 63, 63
const Vel32s own_pj_izigzag_index[72] = {ORV_ZIGZAG, EIGHT_LAST};
const Vel32s ownZigzag[80] = {ORV_ZIGZAG, EIGHT_LAST, EIGHT_LAST};

// Its inverse: the zigzag index of each natural position.
constexpr Vel32s zigzag_index_Fwd[64] = {0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42,
                                         3,  8,  12, 17, 25, 30, 41, 43, 9,  11, 18, 24, 31, 40, 44, 53,
                                         10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38, 46, 51, 55, 60,
                                         21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};

constexpr ZigzagBits ownZigzagBits = makeZigzagBits(zigzag_index_Fwd);

const Vel32s own_pj_csize[256] = {ROW256(bitsOf, 0)};
const Vel8u ownCategory[256] = {ROW256(bitsOf, 0)};
const Vel32s own_pj_eobsize[512] = {ROW256(log2Of, 0), ROW256(log2Of, 256)};

#define FIRST_OF_CATEGORY 0, 1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192, 16384
const Vel32s own_pj_extend_test[16] = {FIRST_OF_CATEGORY};
const Vel32s own_pj_twoexpnminusone[16] = {FIRST_OF_CATEGORY};

#define LOWEST_OF_CATEGORY 0, -1, -3, -7, -15, -31, -63, -127, -255, -511, -1023, -2047, -4095, -8191, -16383, -32767
const Vel32s own_pj_extend_offset[16] = {LOWEST_OF_CATEGORY};
const Vel32s own_pj_lowest_coef[16] = {LOWEST_OF_CATEGORY};
}
