// The upper halves of the registers that AVX widens: a caller's may hold anything, and what calls leave there slows down the
// caller's SSE code.
#include <cstring>
#include <functional>
#include <utility>
#include <vector>
#include "support/paths.h"

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

TEST_P(UpperHalves, MayHoldAnythingAndAreLeftClean) {
  ASSERT_EQ(GetParam().index, 5);
  constexpr int kWidth = 150, kHeight = 6, kPixels = kWidth * kHeight;
  constexpr VeliSize kSize = {kWidth, kHeight};
  std::vector<Vel8u> bytes(kPixels * 4), scratch(1 << 18), result(kPixels * 16);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = Vel8u(i * 151 + (i >> 8) * 7);
  Vel8u *const from = bytes.data(), *const to = result.data();
  const Vel8u* const src[3] = {from, from + kPixels, from + 2 * kPixels};
  Vel8u* const dst[3] = {to, to + kPixels, to + 2 * kPixels};
  const int steps[3] = {kWidth, kWidth / 2, kWidth / 2}, order[4] = {2, 3, 0, 1};
  const auto floats = reinterpret_cast<Vel32f*>(to);
  const auto words = reinterpret_cast<Vel16s*>(to);
  const Vel16s kMcu[384] = {}, *const blocks[3] = {kMcu, kMcu + 256, kMcu + 320};
  const auto resize = [&](int method) {
    return orviResizeSqrPixel_8u_C3R(from, kSize, 3 * kWidth, {0, 0, kWidth, kHeight}, to, 3 * kWidth, {0, 0, 100, 4},
                                     100.0 / kWidth, 4.0 / kHeight, 0, 0, method, scratch.data());
  };
  const std::pair<const char*, std::function<VelStatus()>> kCalls[] = {
      {"YUV420ToRGB", [&] { return orviYUV420ToRGB_8u_P3C3R(src, steps, to, 4 * kWidth, kSize); }},
      {"YUV422ToRGB", [&] { return orviYUV422ToRGB_8u_P3AC4R(src, steps, to, 4 * kWidth, kSize); }},
      {"RGBToYUV420", [&] { return orviRGBToYUV420_8u_C3P3R(from, 3 * kWidth, dst, steps, kSize); }},
      {"RGBToYCbCr", [&] { return orviRGBToYCbCr_8u_C3R(from, 3 * kWidth, to, 3 * kWidth, kSize); }},
      {"YCbCrToRGB", [&] { return orviYCbCrToRGB_8u_P3C3R(src, kWidth, to, 3 * kWidth, kSize); }},
      {"MCU", [&] { return orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(blocks, to, 48); }},
      {"Convert_8u32f", [&] { return orviConvert_8u32f_C4R(from, 4 * kWidth, floats, 16 * kWidth, kSize); }},
      {"Convert_32f8u", [&] { return orviConvert_32f8u_C1R(floats, 4 * kWidth, to, 4 * kWidth, kSize, 1); }},
      {"AddC", [&] { return orviAddC_32f_C1IR(1.5f, floats, 4 * kWidth, kSize); }},
      {"MulC", [&] { return orvsMulC_16s_ISfs(57, words, kPixels, 3); }},
      {"And", [&] { return orvsAnd_8u(from, from + 1, to, 4 * kPixels - 1); }},
      {"SwapChannels", [&] { return orviSwapChannels_8u_C4IR(to, 4 * kWidth, kSize, order); }},
      {"Resize linear", [&] { return resize(velInterLinear); }},
      {"Resize cubic", [&] { return resize(velInterCubic); }},
      {"Resize super", [&] { return resize(velInterSuper); }},
  };
  for (const auto& [name, call] : kCalls) {
    SCOPED_TRACE(name);
    memset(to, 0, result.size());
    __asm__ volatile("vzeroupper");
    ASSERT_GE(call(), 0);
    EXPECT_TRUE(upperHalvesAreClean());
    const std::vector<Vel8u> expected = result;
    memset(to, 0, result.size());
    fillRegisters();
    call();
    EXPECT_EQ(result, expected);
  }
}

}  // namespace
