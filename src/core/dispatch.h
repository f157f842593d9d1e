// The dispatch index inside the library.
#pragma once
#include "orv.h"

// What the entry points read: velJumpIndexForMergedLibs under a hidden name, so that they reach it without a detour. A
// program that is linked without PIC keeps the exported variable in memory of its own; then these are two variables,
// and whoever selects writes both.
extern "C" __attribute__((visibility("hidden"))) Vel32s ownJumpIndex;

// Which of a body's variants for AVX runs: 0 for avx, 1 for avx2. Follows the index and the mask of enabled features.
extern "C" __attribute__((visibility("hidden"))) Vel32s ownVariantIndex;

// What runs when the library is loaded. Nothing calls it; from an archive it comes because cpu.cpp, without which there is
// no selection, refers to it.
extern "C" __attribute__((visibility("hidden"))) void orvInit(void);
