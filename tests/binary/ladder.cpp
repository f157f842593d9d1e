// One rung of the processor ladder: says what the library makes of the processor it finds itself on, then makes the calls
// that `orv verify` leaves out there, and prints a checksum of each. An argument forces a code path by processor-type code.
// Old 32-bit programs align their stack to 4 bytes only, so there the calls run from every such offset.
#include <cpuid.h>
#include <dlfcn.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include "orv.h"

namespace {

// FNV-1a over everything that a call wrote.
uint32_t sum;
template <class T> void add(const T& data) {
  for (size_t i = 0; i < sizeof data; ++i) sum = (sum ^ reinterpret_cast<const Vel8u*>(&data)[i]) * 16777619u;
}

void expectDone(VelStatus status) {
  if (status != velStsNoErr) puts(orvGetStatusString(status)), exit(3);
}

// Numbers of either sign, smaller than `below`, the same in every run.
template <class T, size_t n> void scatter(T (&data)[n], int below, uint32_t seed) {
  for (T& x : data) {
    seed = seed * 1664525u + 1013904223u;
    const int number = int(seed >> 8) % below;
    x = T(T(-1) < T(0) && seed >> 31 ? -number : number);
  }
}

void mcu() {
  Vel16s luma[256], cb[64], cr[64];
  scatter(luma, 140, 7);
  for (int below : {128, 400}) {  // past a byte's range, chroma is converted in floats
    scatter(cb, below, 8);
    scatter(cr, below, 9);
    const Vel16s* const blocks[3] = {luma, cb, cr};
    Vel8u tile[16 * 50] = {};
    expectDone(orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(blocks, tile, 50));
    add(tile);
  }
}

void box() {
  constexpr int kWidth = 13, kHeight = 11;  // whole vectors, a whole band of rows, and what is left over
  static Vel32f src[(kWidth + 4) * (kHeight + 4) * 4], dst[kWidth * kHeight * 4];
  scatter(src, 1000, 12);
  const struct {
    decltype(orviFilterBox_32f_C1R)* filter;
    int pixel;
  } forms[] = {{orviFilterBox_32f_C1R, 4},
               {orviFilterBox_32f_C3R, 12},
               {orviFilterBox_32f_C4R, 16},
               {orviFilterBox_32f_AC4R, 16}};
  for (const auto& form : forms)
    for (int side : {3, 5}) {
      memset(dst, 0x5A, sizeof dst);
      expectDone(form.filter(src, (kWidth + 4) * form.pixel, dst, kWidth * form.pixel, {kWidth, kHeight}, {side, side},
                             {0, 0}));
      add(dst);
    }
}

void control() { add(vel_tst_daz_ssx()); }

// What CPUID and XGETBV say, asked without the library, and what the library makes of it.
void printSelection() {
  unsigned a, b, c = 0, d = 0, xcr = 0;
  __get_cpuid(1, &a, &b, &c, &d);
  if (c >> 27 & 1) __asm__ volatile(".byte 0x0F, 0x01, 0xD0" /* xgetbv */ : "=a"(xcr) : "c"(0) : "edx");
  printf("ecx=%u\nedx=%u\nxcr=%u\n", c, d, xcr);

  const VelStatus status = velStaticInit();
  Vel64u features = 0;
  velGetCpuFeatures(&features, nullptr);
  int cache = -1;
  const VelStatus cacheStatus = velGetMaxCacheSizeB(&cache);
  printf("index=%d\nlp=%d\nfeatures=%llu\nenabled=%llu\nstatus=%d\nstring=%s\ncache=%d %d\n", velJumpIndexForMergedLibs,
         velJumpIndexForMergedLibsLP, static_cast<unsigned long long>(features),
         static_cast<unsigned long long>(velGetEnabledCpuFeatures()), status, orvGetStatusString(status), cacheStatus,
         cache);
  fflush(stdout);
}

// The hidden index of variants lies so far from velStaticInit. What it is as selected, with the bit of AVX taken from the
// mask of enabled features, and selected again.
void printVariants(const char* distance) {
  const auto variant = reinterpret_cast<const volatile Vel32s*>(
      reinterpret_cast<intptr_t>(dlsym(RTLD_DEFAULT, "velStaticInit")) + atol(distance));
  printf("variant=%d", *variant);
  velSetCpuFeaturesMask(velGetEnabledCpuFeatures() & ~Vel64u(velCpuidAVX));
  printf(" %d", *variant);
  velStaticInit();
  printf(" %d\n", *variant);
}

}  // namespace

// Calls run with the stack so many bytes below a multiple of 16.
extern "C" void callBelow(int offset, void (*run)());
#ifdef __i386__
constexpr int kOffsets[] = {0, 4, 8, 12};
__asm__(
    ".text\n"
    "callBelow:\n\t"
    "push %ebp\n\tmov %esp, %ebp\n\tand $-16, %esp\n\tsub 8(%ebp), %esp\n\tcall *12(%ebp)\n\tleave\n\tret\n");
#else
constexpr int kOffsets[] = {0};
void callBelow(int, void (*run)()) { run(); }
#endif

int main(int argc, char** argv) {
  printSelection();
  if (argc > 2) printVariants(argv[2]);
  if (argc > 1 && velStaticInitCpu(atoi(argv[1])) != velStsNoErr) return 1;
  if (argc == 1 && velJumpIndexForMergedLibs == 0) return 0;

  static const struct {
    const char* name;
    void (*run)();
  } kCalls[] = {{"mcu", mcu}, {"box", box}, {"control", control}};
  for (const auto& call : kCalls)
    for (int offset : kOffsets) {
      sum = 2166136261u;
      callBelow(offset, call.run);
      printf("sum.%s.%d=%08x\n", call.name, offset, unsigned(sum));
    }
}
