// The constant tables of the JPEG coders: those of the public header, and the library's own.
#pragma once
#include "orv.h"

// The natural position of each zigzag index (ITU-T T.81, figure A.6).
#define ORV_ZIGZAG                                                                                                    \
  0, 1, 8, 16, 9, 2, 3, 10, 17, 24, 32, 25, 18, 11, 4, 5, 12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6, 7, 14, 21,   \
      28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, \
      54, 47, 55, 62, 63

// The public zigzag table with room for any run from any place: the longest from 63 ends at 78.
extern "C" __attribute__((visibility("hidden"))) const Vel32s ownZigzag[80];
// The zigzag index of each natural position.
extern "C" __attribute__((visibility("hidden"))) const Vel32s zigzag_index_Fwd[64];

// For each of the sixteen nibbles of a 64-bit mask in natural order, its bits in zigzag order.
struct ZigzagBits {
  Vel64u of[16][16];
};
extern "C" __attribute__((visibility("hidden"))) const ZigzagBits ownZigzagBits;
// own_pj_csize in bytes.
extern "C" __attribute__((visibility("hidden"))) const Vel8u ownCategory[256];
