#include "paths.h"
#include <stdexcept>
#include "messages.h"

namespace {

constexpr struct {
  Vel64u bit;
  const char* name;
} kFeatures[] = {
    {velCpuidMMX, "MMX"},
    {velCpuidSSE, "SSE"},
    {velCpuidSSE2, "SSE2"},
    {velCpuidSSE3, "SSE3"},
    {velCpuidSSSE3, "SSSE3"},
    {velCpuidMOVBE, "MOVBE"},
    {velCpuidSSE41, "SSE4.1"},
    {velCpuidSSE42, "SSE4.2"},
    {velCpuidAVX, "AVX"},
    {velAVX_ENABLEDBYOS, "AVX-enabled-by-system"},
    {velCpuidAES, "AES"},
    {velCpuidCLMUL, "CLMUL"},
    {velCpuidFamilyBExt, "family-B-extensions"},
};

}  // namespace

void selectPath(const std::string& name) {
  const Vel64u features = processorFeatures();
  for (const CodePath& path : kCodePaths) {
    if (name != path.name) continue;
    if ((features & path.needs) != path.needs)
      throw std::runtime_error("this processor cannot run code path " + name + ": it lacks " +
                               featureNames(path.needs & ~features));
    forcePath(path);
    return;
  }
  throw UsageError("there is no code path '" + name + "', only w7, v8, s8, p8, g9_avx and g9");
}

void requireSse2() {
  if (!(processorFeatures() & velCpuidSSE2))
    throw std::runtime_error("this processor lacks SSE2, which every code path needs");
}

std::string featureNames(Vel64u mask) {
  std::string names;
  for (const auto& feature : kFeatures)
    if (mask & feature.bit) names += (names.empty() ? "" : " ") + std::string(feature.name);
  return names;
}
