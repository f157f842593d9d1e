// The constant tables of the JPEG coders: those of the public header, and the library's own.
#pragma once
#include "orv.h"

// The public zigzag table with room for any run from any place: the longest from 63 ends at 78.
extern "C" __attribute__((visibility("hidden"))) const Vel32s ownZigzag[80];
// The zigzag index of each natural position.
extern "C" __attribute__((visibility("hidden"))) const Vel32s zigzag_index_Fwd[64];
