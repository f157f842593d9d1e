// The constant tables of the JPEG coders: those of the public header, and the library's own.
#pragma once
#include "orv.h"

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
