// The library's code paths: for the program, the tests and the benchmarks.
#pragma once
#include "orv.h"

struct CodePath {
  const char* name;
  int index;        // what velJumpIndexForMergedLibs is while it is forced
  VelCpuType code;  // what forces it
  Vel64u needs;     // features without which its bodies cannot run
  Vel64u without;   // features to take from the mask of enabled ones
};

// Index 0 and 1 have the same bodies, and no code forces 1. At index 5 bodies use AVX2 where the processor has it and the
// mask of enabled features keeps AVX: that is g9, and g9_avx is what a processor without AVX2 runs.
inline constexpr CodePath kCodePaths[] = {
    {"w7", 0, velCpuUnknown, velCpuidSSE2, 0},
    {"v8", 2, velCpuSSSE3, velCpuidSSSE3, 0},
    {"s8", 3, velCpuMOVBE, velCpuidSSSE3, 0},  // its bodies do not use MOVBE
    {"p8", 4, velCpuSSE41, velCpuidSSE41, 0},
    {"g9_avx", 5, velCpuAVX, velCpuidAVX | velAVX_ENABLEDBYOS, velCpuidAVX},
    {"g9", 5, velCpuAVX, velCpuidAVX | velAVX_ENABLEDBYOS, 0},
};

inline VelStatus forcePath(const CodePath& path) {
  const VelStatus status = velStaticInitCpu(path.code);
  if (path.without) velSetCpuFeaturesMask(velGetEnabledCpuFeatures() & ~path.without);
  return status;
}
// The path that calls take now.
inline const CodePath& pathInForce() {
  for (const CodePath& path : kCodePaths)
    if (path.index == velJumpIndexForMergedLibs && !(path.without & velGetEnabledCpuFeatures())) return path;
  return kCodePaths[0];  // index 1
}

inline Vel64u processorFeatures() {
  Vel64u features = 0;
  velGetCpuFeatures(&features, nullptr);
  return features;
}
inline bool processorHas(const CodePath& path) { return (processorFeatures() & path.needs) == path.needs; }
