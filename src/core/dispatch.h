// The dispatch index inside the library.
#pragma once
#include "orv.h"

// What the entry points read: velJumpIndexForMergedLibs under a hidden name, so that they reach it without a detour. A
// program that is linked without PIC has a copy of the exported variable of its own, so whoever selects writes both.
extern "C" __attribute__((visibility("hidden"))) Vel32s ownJumpIndex;
