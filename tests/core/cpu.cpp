// What the processor is asked, and the choice of a code path by code. That the features and the automatic choice follow
// from the answers is for the processor ladder to show, on many models.
#include <cpuid.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <x86intrin.h>
#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <tuple>
#include <vector>
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
bool avxWithState() {
  if (!bit(ECX, 27) || !bit(ECX, 28)) return false;
  Vel32u low, high;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & 6) == 6;
}

TEST(Features, Registers) {
  Vel64u mask, plain;
  Regs regs = {7, 7, 7, 7};
  EXPECT_EQ(velGetCpuFeatures(nullptr, regs.data()), -8);
  EXPECT_EQ(regs, (Regs{7, 7, 7, 7}));
  EXPECT_EQ(velGetCpuFeatures(&plain, nullptr), 0);
  EXPECT_EQ(velGetCpuFeatures(&(mask = 0), regs.data()), 0);
  EXPECT_EQ(mask, plain);
  EXPECT_EQ(withoutCore(regs, 1), cpuid(1));
  for (auto [leaf, subleaf] : {std::pair(0u, 0u), {1u, 0u}, {4u, 1u}, {0x80000002, 0u}}) {
    mask = VEL_CPUID_QUERY_TAG;
    regs = {leaf, ~0u, subleaf, ~0u};
    EXPECT_EQ(velGetCpuFeatures(&mask, regs.data()), 0);
    EXPECT_EQ(mask, plain);
    EXPECT_EQ(withoutCore(regs, leaf), cpuid(leaf, subleaf)) << leaf << ", " << subleaf;
    ownGetReg(regs.data(), leaf, subleaf);
    EXPECT_EQ(withoutCore(regs, leaf), cpuid(leaf, subleaf)) << leaf << ", " << subleaf;
  }
  EXPECT_EQ(velGetMaxCacheSizeB(nullptr), -8);
}

// What a thread gets that asks while another one is finding the answer: a call is stopped at its instructions, and from
// one of them on there is another call at each. Children do it, as what is found is remembered; all this they share.
struct Interrupted {
  int from, steps;
  bool isWrong;
  std::pair<VelStatus, int> answer;

  void ask() {
    std::pair<VelStatus, int> now(-1, -1);
    now.first = velGetMaxCacheSizeB(&now.second);
    if (answer.first == -1) answer = now;
    isWrong |= now != answer;
  }
};
Interrupted* interrupted;
void traceSteps(bool on) {
  const auto others = __readeflags() & ~0x100ul;
  __writeeflags(others | (on ? 0x100 : 0));
}
TEST(Features, CacheSizeAskedWhileItIsFound) {
  constexpr int kNear = 50;      // steps from the beginning or the end, where the answer is looked up and stored
  velGetMaxCacheSizeB(nullptr);  // binds the name
  interrupted = static_cast<Interrupted*>(
      mmap(nullptr, sizeof *interrupted, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  int steps = INT_MAX;
  for (int from = 0; from < steps; ++from) {
    if (from == kNear) from = std::max(from, steps - kNear);
    *interrupted = {from, 0, false, {-1, -1}};
    const pid_t child = fork();
    if (child == 0) {
      signal(SIGTRAP, [](int) {
        if (interrupted->steps++ >= interrupted->from) interrupted->ask();
      });
      traceSteps(true);
      std::pair<VelStatus, int> answer(-1, -1);
      answer.first = velGetMaxCacheSizeB(&answer.second);
      traceSteps(false);
      interrupted->isWrong |= answer != interrupted->answer;
      _exit(0);
    }
    int outcome = -1;
    ASSERT_EQ(waitpid(child, &outcome, 0), child);
    ASSERT_EQ(outcome, 0) << "from step " << from;
    ASSERT_FALSE(interrupted->isWrong) << "from step " << from << " of " << interrupted->steps;
    steps = interrupted->steps;
  }
  EXPECT_GT(steps, kNear);
  munmap(interrupted, sizeof *interrupted);
}

TEST(Features, EnabledMask) {
  for (Vel64u mask : {Vel64u(0x5F), ~Vel64u(0), Vel64u(1) << 40}) {
    EXPECT_EQ(velSetCpuFeaturesMask(mask), 0);
    EXPECT_EQ(velGetEnabledCpuFeatures(), mask);
    for (Vel64u asked : {Vel64u(0), Vel64u(0x11), Vel64u(0x21), Vel64u(1) << 40, Vel64u(1) << 41 | 1})
      EXPECT_EQ(ownGetFeature(asked), (asked & ~mask) == 0) << mask << ", " << asked;
  }
  velStaticInit();
}

TEST(Features, Probes) {
  const Regs r = cpuid(0);
  const Vel32u highest = cpuid(0x80000000)[EAX];
  const std::pair<int (*)(), int> kProbes[] = {
      {vel_has_cpuid, 1},
      {vel_max_cpuid_input, int(r[EAX])},
      {vel_is_vendor_genuine, r[EBX] == 0x756E6547 && r[EDX] == 0x49656E69 && r[ECX] == 0x6C65746E},
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
      {vel_get_cores_on_die, r[EAX] < 4 ? 1 : int(cpuid(4)[EAX] >> 26) + 1},
      {vel_is_em64t_extension, highest < 0x80000001 ? int(highest) : bit(EDX, 29, 0x80000001)},
  };
  for (const auto& p : kProbes) EXPECT_EQ(p.first(), p.second) << "probe " << &p - kProbes;
}

// Index, low-power flag, enabled mask.
using Choice = std::tuple<Vel32s, Vel32s, Vel64u>;
Choice chosen() { return {velJumpIndexForMergedLibs, velJumpIndexForMergedLibsLP, velGetEnabledCpuFeatures()}; }

TEST(Selection, ByCode) {
  const VelStatus automaticStatus = velStaticInit();
  const Choice automatic = chosen();
  const std::pair<std::vector<VelCpuType>, Choice> kForced[] = {
      {{0, 6, 7, 8, 9, 10, 11, 17, 32, 65, 66}, {0, 0, 0x7}},
      {{33, 34, 67}, {2, 0, 0x1F}},
      {{36}, {3, 1, 0x3F}},
      {{35, 68}, {4, 0, 0x5F}},
      {{37, 69}, {4, 0, 0xDF}},
      {{38, 71}, {4, 0, 0xCDF}},
      {{70}, {5, 0, 0xFDF}},
      {{-1}, automatic},
  };
  const std::vector<VelCpuType> kBelowSse2 = {1, 2, 3, 4, 5, 16, 64, 96};
  const auto has = [](const auto& codes, VelCpuType code) { return std::count(codes.begin(), codes.end(), code) != 0; };
  for (auto force : {velStaticInitCpu, velInitCpu})
    for (VelCpuType code = -2; code <= 100; ++code) {
      velStaticInitCpu(36);
      velSetCpuFeaturesMask(0x80001);
      Choice expected = chosen();
      VelStatus status = has(kBelowSse2, code) ? 36 : 21;
      for (const auto& [codes, choice] : kForced)
        if (has(codes, code)) expected = choice, status = code == -1 ? automaticStatus : 0;
      EXPECT_EQ(force(code), status) << code;
      EXPECT_EQ(chosen(), expected) << code;
    }
  for (auto select : {velInit, orvStaticInit, velStaticInit}) {
    velStaticInitCpu(36);
    EXPECT_EQ(velEnableCpu(70), 0);
    EXPECT_EQ(select(), automaticStatus);
    EXPECT_EQ(chosen(), automatic);
  }
  EXPECT_TRUE(velIsCpuEnabled(70) && velIsCpuEnabled(36));
}

}  // namespace
