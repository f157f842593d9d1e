// What the core's files share about the processor.
#pragma once
#include "orv.h"

// The enabled features, as the last selection or velSetCpuFeaturesMask left them.
extern Vel64u ownFeaturesMask;
