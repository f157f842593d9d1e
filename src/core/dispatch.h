// The dispatch index inside the library.
#pragma once
#include "orv.h"

// What the entry points read: always velJumpIndexForMergedLibs, which a program that is linked without PIC keeps in memory of its
// own. Whoever selects writes both.
extern "C" __attribute__((visibility("hidden"))) Vel32s ownJumpIndex;
