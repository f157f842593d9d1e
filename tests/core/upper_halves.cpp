// The upper halves of the registers that AVX widens: a caller's may hold anything, and what calls leave there slows down the
// caller's SSE code.
#include <cstring>
#include <vector>
#include "support/paths.h"
#include "support/random.h"
#include "tools/support/calls.h"

namespace {

#ifdef __x86_64__
#define ON_EVERY_REGISTER(x) x(0) x(1) x(2) x(3) x(4) x(5) x(6) x(7) x(8) x(9) x(10) x(11) x(12) x(13) x(14) x(15)
constexpr int kRegisters = 16;
#define CLOBBERED                                                                                                     \
  "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11", "xmm12", "xmm13", \
      "xmm14", "xmm15"
#else
#define ON_EVERY_REGISTER(x) x(0) x(1) x(2) x(3) x(4) x(5) x(6) x(7)
constexpr int kRegisters = 8;
#define CLOBBERED "memory"  // tests do not use these registers
#endif

// All bits of all registers set; the registers' upper halves read. What the compiler makes in between is SSE, which keeps
// upper halves as they are.
void fillRegisters() {
#define FILL(n) "vcmpps $15, %%ymm" #n ", %%ymm" #n ", %%ymm" #n "\n\t"
  __asm__ volatile(ON_EVERY_REGISTER(FILL)::: CLOBBERED);
}
bool upperHalvesAreClean() {
  Vel8u halves[kRegisters][16];
  constexpr Vel8u kZero[16] = {};
#define STORE(n) "vextractf128 $1, %%ymm" #n ", " #n "*16(%0)\n\t"
  __asm__ volatile(ON_EVERY_REGISTER(STORE)::"r"(halves) : "memory");
  for (const auto& half : halves)
    if (memcmp(half, kZero, sizeof half) != 0) return false;
  return true;
}

class UpperHalves : public OnEveryPath {};
INSTANTIATE_TEST_SUITE_P(, UpperHalves, testing::Values(kPaths[4], kPaths[5]),
                         [](const testing::TestParamInfo<Path>& path) { return std::string(path.param.name); });

class Dice : public Numbers {
  int byte() override { return int(random_() >> 8 & 255); }
  bool big() override { return false; }
  Random random_{256};
};
std::vector<std::vector<Vel8u>> writtenBy(const Call& call) {
  std::vector<std::vector<Vel8u>> all;
  for (int i = 0; i < call.bufferCount; ++i)
    if (const Buffer& b = call.buffers[size_t(i)]; b.role == Role::kDestination) all.emplace_back(b.p, b.p + b.size);
  return all;
}

TEST_P(UpperHalves, MayHoldAnythingAndAreLeftClean) {
  ASSERT_EQ(GetParam().index, 5);
  static Call call;
  Dice dice;
  for (const Primitive& primitive : primitives())
    for (int i = 0; i < 25; ++i) {
      call.draw(primitive, dice);
      call.begin(0);
      __asm__ volatile("vzeroupper");
      const int status = call.make();
      ASSERT_TRUE(upperHalvesAreClean()) << call.text();
      if (call.allocated) continue;  // the last buffer has the block's address
      const auto expected = writtenBy(call);
      call.begin(0);
      fillRegisters();
      ASSERT_EQ(call.make(), status) << call.text();
      ASSERT_EQ(writtenBy(call), expected) << call.text();
    }
}

}  // namespace
