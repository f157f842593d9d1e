// The code paths, for tests that run on every one of them.
#pragma once
#include <gtest/gtest.h>
#include <ostream>
#include "orv.h"

struct Path {
  const char* name;
  int index;        // what velJumpIndexForMergedLibs is while it is forced
  VelCpuType code;  // what forces it
  Vel64u needs;     // features without which its bodies cannot run
};
inline std::ostream& operator<<(std::ostream& out, const Path& path) {
  return out << path.name;
}

// Index 0 and 1 have the same bodies, and no code forces 1.
inline constexpr Path kPaths[] = {
    {"w7", 0, velCpuUnknown, velCpuidSSE2}, {"v8", 2, velCpuSSSE3, velCpuidSSSE3},
    {"s8", 3, velCpuMOVBE, velCpuidSSSE3},  // its bodies do not use MOVBE
    {"p8", 4, velCpuSSE41, velCpuidSSE41},  {"g9", 5, velCpuAVX, velCpuidAVX | velAVX_ENABLEDBYOS},
};

inline bool processorHas(const Path& path) {
  Vel64u features = 0;
  return velGetCpuFeatures(&features, nullptr) == velStsNoErr && (features & path.needs) == path.needs;
}

// A fixture whose tests run once per code path, with that path forced:
//   class Xxx : public OnEveryPath {};
//   ORV_ON_EVERY_PATH(Xxx);
//   TEST_P(Xxx, DoesThis) { ... }
class OnEveryPath : public testing::TestWithParam<Path> {
 protected:
  void SetUp() override {
    if (!processorHas(GetParam())) GTEST_SKIP() << "this processor cannot run " << GetParam();
    ASSERT_EQ(velStaticInitCpu(GetParam().code), velStsNoErr);
    ASSERT_EQ(velJumpIndexForMergedLibs, GetParam().index);
  }
  void TearDown() override { velStaticInit(); }
};
#define ORV_ON_EVERY_PATH(fixture)                               \
  INSTANTIATE_TEST_SUITE_P(, fixture, testing::ValuesIn(kPaths), \
                           [](const testing::TestParamInfo<Path>& path) { return std::string(path.param.name); })
