// The processor's features and the choice of the code path, against CPUID asked afresh.
#include <cpuid.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <set>
#include <tuple>
#include "orv.h"

namespace {

enum { EAX, EBX, ECX, EDX };
using Regs = std::array<Vel32u, 4>;

// Without what names the core that the thread happens to be on: the top byte of EBX in leaf 1.
Regs withoutCore(Regs r, Vel32u leaf) {
  if (leaf == 1) r[EBX] &= 0xFFFFFF;
  return r;
}
Regs cpuid(Vel32u leaf, Vel32u subleaf = 0) {
  Regs r;
  __cpuid_count(leaf, subleaf, r[EAX], r[EBX], r[ECX], r[EDX]);
  return withoutCore(r, leaf);
}
int bit(int reg, int n, Vel32u leaf = 1) { return cpuid(leaf)[reg] >> n & 1; }
bool genuine() {
  const Regs r = cpuid(0);
  return r[EBX] == 0x756E6547 && r[EDX] == 0x49656E69 && r[ECX] == 0x6C65746E;
}
bool avxWithState() {
  if (!bit(ECX, 27) || !bit(ECX, 28)) return false;
  Vel32u low, high;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & 6) == 6;
}
Vel64u features() {
  const std::pair<int, int> kSources[] = {{EDX, 23}, {EDX, 25}, {EDX, 26}, {ECX, 0},  {ECX, 9},  {ECX, 22},
                                          {ECX, 19}, {ECX, 20}, {ECX, 28}, {EAX, -1}, {ECX, 25}, {ECX, 1}};
  Vel64u mask = 0, value = 1;
  for (auto [reg, n] : kSources) {
    if (n < 0 ? avxWithState() : bit(reg, n)) mask |= value;
    value *= 2;
  }
  return (cpuid(1)[EAX] >> 8 & 15) == 11 && bit(EDX, 1, 0x20000001) ? mask | 0x1000 : mask;
}

TEST(Features, MaskAndRegisters) {
  Vel64u mask;
  Regs regs = {7, 7, 7, 7};
  EXPECT_EQ(velGetCpuFeatures(nullptr, regs.data()), -8);
  EXPECT_EQ(regs, (Regs{7, 7, 7, 7}));
  for (Vel32u* asked : {static_cast<Vel32u*>(nullptr), regs.data()}) {
    mask = ~Vel64u(0);
    EXPECT_EQ(velGetCpuFeatures(&mask, asked), 0);
    EXPECT_EQ(mask, features());
  }
  EXPECT_EQ(withoutCore(regs, 1), cpuid(1));
  const std::pair<Vel32u, Vel32u> kLeaves[] = {{0, 0}, {1, 0}, {4, 0}, {4, 1}, {13, 1}, {13, 2}, {0x80000002, 0}};
  for (auto [leaf, subleaf] : kLeaves) {
    mask = 0x7972657571757063;  // "cpuquery"
    regs = {leaf, ~0u, subleaf, ~0u};
    EXPECT_EQ(velGetCpuFeatures(&mask, regs.data()), 0);
    EXPECT_EQ(mask, features());
    EXPECT_EQ(withoutCore(regs, leaf), cpuid(leaf, subleaf)) << leaf << ", " << subleaf;
    ownGetReg(regs.data(), leaf, subleaf);
    EXPECT_EQ(withoutCore(regs, leaf), cpuid(leaf, subleaf)) << leaf << ", " << subleaf;
  }
}

TEST(Features, EnabledMask) {
  for (Vel64u mask : {Vel64u(0), Vel64u(0x5F), ~Vel64u(0), Vel64u(1) << 40}) {
    EXPECT_EQ(velSetCpuFeaturesMask(mask), 0);
    EXPECT_EQ(velGetEnabledCpuFeatures(), mask);
    for (Vel64u asked : {Vel64u(0), Vel64u(1), Vel64u(0x11), Vel64u(0x21), Vel64u(1) << 40, Vel64u(1) << 41 | 1})
      EXPECT_EQ(ownGetFeature(asked), (asked & ~mask) == 0) << mask << ", " << asked;
  }
  velStaticInit();
}

TEST(Features, Probes) {
  const Vel32u highest = cpuid(0x80000000)[EAX];
  const struct {
    int (*probe)();
    int expected;
  } kProbes[] = {
      {vel_has_cpuid, 1},
      {vel_max_cpuid_input, int(cpuid(0)[EAX])},
      {vel_is_vendor_genuine, genuine()},
      {vel_is_avx_extension, avxWithState()},
      {vel_has_rdtsc, bit(EDX, 4)},
      {vel_is_mmx_extension, bit(EDX, 23)},
      {vel_is_ssx_extension, bit(EDX, 25)},
      {vel_is_wni_extension, bit(EDX, 26)},
      {vel_is_htt_extension, bit(EDX, 28) && (cpuid(1)[EBX] >> 16 & 255) > 1},
      {vel_is_pni_extension, bit(ECX, 0)},
      {vel_is_mni_extension, bit(ECX, 9)},
      {vel_is_sse41_extension, bit(ECX, 19)},
      {vel_is_sse42_extension, bit(ECX, 20)},
      {vel_is_movbe, bit(ECX, 22)},
      {vel_get_cores_on_die, cpuid(0)[EAX] < 4 ? 1 : int(cpuid(4)[EAX] >> 26) + 1},
      {vel_is_em64t_extension, highest < 0x80000001 ? int(highest) : bit(EDX, 29, 0x80000001)},
  };
  for (const auto& p : kProbes) EXPECT_EQ(p.probe(), p.expected) << "probe " << &p - kProbes;
}

TEST(Features, LargestCache) {
  int expected = 0;
  if (genuine()) {
    if (cpuid(0)[EAX] < 4) GTEST_SKIP() << "tells its caches by descriptors";
    for (Vel32u i = 0; i < 32 && (cpuid(4, i)[EAX] & 31) != 0; ++i) {
      const Regs r = cpuid(4, i);
      const int size = ((r[EBX] >> 22) + 1) * ((r[EBX] >> 12 & 1023) + 1) * ((r[EBX] & 4095) + 1) * (r[ECX] + 1);
      if ((r[EAX] & 31) != 2) expected = std::max(expected, size);
    }
  }
  EXPECT_EQ(velGetMaxCacheSizeB(nullptr), -8);
  for (int repeat = 0; repeat < 2; ++repeat) {
    int size = -1;
    EXPECT_EQ(velGetMaxCacheSizeB(&size), !genuine() ? 36 : expected == 0 ? 37 : 0);
    EXPECT_EQ(size, expected);
  }
}

// Index, low-power flag, enabled mask.
using Choice = std::tuple<Vel32s, Vel32s, Vel64u>;
Choice chosen() { return {velJumpIndexForMergedLibs, velJumpIndexForMergedLibsLP, velGetEnabledCpuFeatures()}; }
Choice automaticChoice() {
  const Vel64u m = features();
  if ((m & 0x300) == 0x300) return {5, 0, m & 0xFDF};
  if (m & 0x40) return {4, 0, m & 0xCDF};
  if ((m & 0x30) == 0x30) return {3, 1, m & 0x3F};
  if (m & 0x10) return {2, 0, m & 0x1F};
  return m & 0x4 ? Choice{1, 0, m & 0x7} : Choice{0, 0, m & 0x3};
}
VelStatus automaticStatus() { return !genuine() ? 20 : std::get<0>(automaticChoice()) == 0 ? 36 : 0; }

TEST(Selection, Automatic) {
  EXPECT_EQ(chosen(), automaticChoice()) << "at load";
  for (VelCpuType code : {12, 36, 70}) {
    EXPECT_EQ(velEnableCpu(code), 0);
    EXPECT_EQ(velIsCpuEnabled(code), 1);
    for (auto select : {velStaticInit, velInit, orvStaticInit}) {
      velStaticInitCpu(code == 70 ? 36 : 70);
      EXPECT_EQ(select(), automaticStatus());
      EXPECT_EQ(chosen(), automaticChoice());
    }
  }
}

TEST(Selection, Forced) {
  const std::pair<std::set<VelCpuType>, Choice> kForced[] = {
      {{0, 6, 7, 8, 9, 10, 11, 17, 32, 65, 66}, {0, 0, 0x7}},
      {{33, 34, 67}, {2, 0, 0x1F}},
      {{36}, {3, 1, 0x3F}},
      {{35, 68}, {4, 0, 0x5F}},
      {{37, 69}, {4, 0, 0xDF}},
      {{38, 71}, {4, 0, 0xCDF}},
      {{70}, {5, 0, 0xFDF}},
      {{-1}, automaticChoice()},
  };
  const std::set<VelCpuType> kBelowSse2 = {1, 2, 3, 4, 5, 16, 64, 96};
  for (auto force : {velStaticInitCpu, velInitCpu}) {
    for (VelCpuType before : {36, 70}) {
      for (VelCpuType code = -2; code <= 100; ++code) {
        velStaticInitCpu(before);
        velSetCpuFeaturesMask(0x80001);
        Choice expected = chosen();
        VelStatus status = kBelowSse2.count(code) ? 36 : 21;
        for (const auto& [codes, choice] : kForced)
          if (codes.count(code)) expected = choice, status = code == -1 ? automaticStatus() : 0;
        EXPECT_EQ(force(code), status) << code;
        EXPECT_EQ(chosen(), expected) << code;
      }
    }
  }
  velStaticInit();
}

}  // namespace
