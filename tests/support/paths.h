// The code paths, for tests that run on every one of them.
#pragma once
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include "tools/support/code_paths.h"

using Path = CodePath;
inline constexpr auto& kPaths = kCodePaths;
inline std::ostream& operator<<(std::ostream& out, const Path& path) { return out << path.name; }
// A kernel of one path by its name without prefix; null where the path has none.
template <class F> F* kernelOf(const Path& path, const std::string& name) {
  const std::string prefix(path.name, 2);
  return reinterpret_cast<F*>(dlsym(RTLD_DEFAULT, (prefix + '_' + name).c_str()));
}

// A fixture whose tests run once per code path, with that path forced:
//   class Xxx : public OnEveryPath {};
//   ORV_ON_EVERY_PATH(Xxx);
//   TEST_P(Xxx, DoesThis) { ... }
class OnEveryPath : public testing::TestWithParam<Path> {
 protected:
  void SetUp() override {
    if (!processorHas(GetParam())) GTEST_SKIP() << "this processor cannot run " << GetParam();
    ASSERT_EQ(forcePath(GetParam()), velStsNoErr);
    ASSERT_EQ(velJumpIndexForMergedLibs, GetParam().index);
  }
  void TearDown() override { velStaticInit(); }
};
#define ORV_ON_EVERY_PATH(fixture)                               \
  INSTANTIATE_TEST_SUITE_P(, fixture, testing::ValuesIn(kPaths), \
                           [](const testing::TestParamInfo<Path>& path) { return std::string(path.param.name); })
