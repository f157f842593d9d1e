// The library's code paths: for the program, the tests and the benchmarks.
#pragma once
#include "orv.h"

struct CodePath {
  const char* name;
  int index;        // what velJumpIndexForMergedLibs is while it is forced
  VelCpuType code;  // what forces it
  Vel64u needs;     // features without which its bodies cannot run
};

// Index 0 and 1 have the same bodies, and no code forces 1.
inline constexpr CodePath kCodePaths[] = {
    {"w7", 0, velCpuUnknown, velCpuidSSE2}, {"v8", 2, velCpuSSSE3, velCpuidSSSE3},
    {"s8", 3, velCpuMOVBE, velCpuidSSSE3},  // its bodies do not use MOVBE
    {"p8", 4, velCpuSSE41, velCpuidSSE41},  {"g9", 5, velCpuAVX, velCpuidAVX | velAVX_ENABLEDBYOS},
};

inline Vel64u processorFeatures() {
  Vel64u features = 0;
  velGetCpuFeatures(&features, nullptr);
  return features;
}
inline bool processorHas(const CodePath& path) { return (processorFeatures() & path.needs) == path.needs; }
