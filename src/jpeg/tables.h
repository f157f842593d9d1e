// The constant tables of the JPEG coders: those of the public header, and the library's own.
#pragma once
#include "orv.h"

// The public zigzag table again, under a name that the library reaches without a detour.
extern "C" __attribute__((visibility("hidden"))) const Vel32s ownZigzag[72];
// The zigzag index of each natural position.
extern "C" __attribute__((visibility("hidden"))) const Vel32s zigzag_index_Fwd[64];
