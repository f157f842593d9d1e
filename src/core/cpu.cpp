// Processor features and cache size, from CPUID. Compiled for processors without SSE: the library must load anywhere.
#include "dispatch.h"

namespace {

// A reference that brings the load routines out of an archive: see dispatch.h.
__attribute__((used)) void (*const kLoadRoutine)(void) = orvInit;

// The enabled features, as the last selection or velSetCpuFeaturesMask left them: the lower and the upper half, because
// not every processor stores 64 bits in one piece.
Vel32u ownFeaturesMask[2] = {velCpuidMMX | velCpuidSSE, 0};

// What is found once and remembered. Threads that ask first at the same time all find it, and find the same; none sees
// that it is there before it sees what it is. Features have no upper half, and 32 bits are stored in one piece anywhere.
Vel32u ownFeatures;
Vel32s ownFeaturesAreValid;
template <class T> T seen(const T& variable) { return __atomic_load_n(&variable, __ATOMIC_ACQUIRE); }
template <class T> void publish(T& variable, T value) { __atomic_store_n(&variable, value, __ATOMIC_RELEASE); }

// Registers of CPUID in the order in which ownGetReg stores them.
enum { EAX, EBX, ECX, EDX };

struct Regs {
  Vel32u r[4];
  explicit Regs(Vel32u leaf, Vel32u subleaf = 0) { ownGetReg(r, leaf, subleaf); }
  bool bit(int reg, int n) const { return r[reg] >> n & 1; }
  Vel32u field(int reg, int high, int low) const { return r[reg] >> low & ((2u << (high - low)) - 1); }
};

int leaf1(int reg, int bit) { return Regs(1).bit(reg, bit); }

// The mask of features; false where the processor has no CPUID, and then nothing is remembered.
bool ownGetMaskFeatures(Vel64u* mask) {
  if (!seen(ownFeaturesAreValid)) {
    if (!vel_has_cpuid()) return false;
    static const struct {
      Vel32u feature;
      signed char reg, bit;
    } kBits[] = {{velCpuidMMX, EDX, 23},  {velCpuidSSE, EDX, 25},   {velCpuidSSE2, EDX, 26},  {velCpuidSSE3, ECX, 0},
                 {velCpuidSSSE3, ECX, 9}, {velCpuidMOVBE, ECX, 22}, {velCpuidSSE41, ECX, 19}, {velCpuidSSE42, ECX, 20},
                 {velCpuidAVX, ECX, 28},  {velCpuidAES, ECX, 25},   {velCpuidCLMUL, ECX, 1}};
    const Regs one(1);
    Vel32u m = 0;
    for (const auto& b : kBits)
      if (one.bit(b.reg, b.bit)) m |= b.feature;
    if (one.bit(ECX, 27) && one.bit(ECX, 28) && vel_is_avx_extension()) m |= velAVX_ENABLEDBYOS;
    if (one.field(EAX, 11, 8) == 0xB && Regs(0x20000001).bit(EDX, 1)) m |= velCpuidFamilyBExt;
    publish(ownFeatures, m);
    publish(ownFeaturesAreValid, 1);
  }
  *mask = seen(ownFeatures);
  return true;
}

// Cache sizes by the descriptor bytes of CPUID leaf 2, the largest first. A size is given in units of 64 KiB.
struct Descriptor {
  Vel8u byte;
  Vel16u size64K;
};
constexpr Descriptor kDescriptors[] = {
    {0xEC, 384}, {0xEB, 288}, {0x4D, 256}, {0xEA, 192}, {0x4C, 192}, {0xE4, 128}, {0xDE, 128}, {0x4B, 128},
    {0x47, 128}, {0x4E, 96},  {0x4A, 96},  {0xE3, 64},  {0xDD, 64},  {0xD8, 64},  {0x49, 64},  {0x29, 64},
    {0x46, 64},  {0x48, 48},  {0xE2, 32},  {0xDC, 32},  {0xD7, 32},  {0xD2, 32},  {0x25, 32},  {0x7D, 32},
    {0x85, 32},  {0x45, 32},  {0xD6, 16},  {0xD1, 16},  {0x23, 16},  {0x87, 16},  {0x7C, 16},  {0x78, 16},
    {0x84, 16},  {0x44, 16},  {0xD0, 8},   {0x22, 8},   {0x7B, 8},   {0x80, 8},   {0x86, 8},   {0x3E, 8},
    {0x7F, 8},   {0x83, 8},   {0x43, 8},   {0x3D, 6},   {0x21, 4},   {0x7A, 4},   {0x82, 4},   {0x3C, 4},
    {0x3F, 4},   {0x42, 4},   {0x3A, 3},   {0x79, 2},   {0x39, 2},   {0x3B, 2},   {0x41, 2}};
static_assert(sizeof kDescriptors / sizeof kDescriptors[0] == 55, "a cache descriptor was lost");

// The largest cache that CPUID leaf 2 describes, in bytes, or -1.
int ownGetCacheSize() {
  const Regs two(2);
  if ((two.r[EAX] & 0xFF) != 1) return -1;
  Vel8u bytes[17] = {};
  int stored = 0, count = 0;
  for (int reg = EAX; reg <= EDX; ++reg) {
    if (two.bit(reg, 31) || two.r[reg] == 0) continue;
    for (int i = 0; i < 4; ++i) bytes[stored++] = Vel8u(two.r[reg] >> 8 * i);
    count += reg == EAX ? 3 : 4;
  }
  if (count == 0) return -1;
  // The lowest byte of EAX counts and describes nothing, so the walk begins after it; it does so too when EAX was
  // dropped, and then ends on a zero.
  for (const Descriptor& d : kDescriptors)
    for (int i = 1; i <= count; ++i)
      if (bytes[i] == d.byte) return d.size64K * 65536;
  return -1;
}

// The largest data or unified cache that CPUID leaf 4 describes, in bytes, or 0.
int largestOfLeaf4() {
  int largest = 0;
  for (Vel32u sub = 0; sub < 32; ++sub) {
    const Regs four(4, sub);
    const Vel32u type = four.field(EAX, 4, 0);
    if (type == 0) break;
    if (type == 2) continue;  // instructions
    const int size = int((four.field(EBX, 31, 22) + 1) * (four.field(EBX, 21, 12) + 1) * (four.field(EBX, 11, 0) + 1) *
                         (four.r[ECX] + 1));
    if (size >= largest) largest = size;
  }
  return largest;
}

VelStatus findCacheSize(int* size) {
  *size = 0;
  if (!vel_has_cpuid() || vel_max_cpuid_input() < 2 || !vel_is_vendor_genuine()) return velStsNotSupportedCpu;
  const int found = vel_max_cpuid_input() < 4 ? ownGetCacheSize() : largestOfLeaf4();
  if (found <= 0) return velStsUnknownCacheSize;
  *size = found;
  return velStsNoErr;
}

}  // namespace

extern "C" {
Vel32s ownVariantIndex = 0;
}

void ownGetReg(Vel32u regs[4], Vel32u leaf, Vel32u subleaf) {
  __asm__ volatile("cpuid"
                   : "=a"(regs[EAX]), "=b"(regs[EBX]), "=c"(regs[ECX]), "=d"(regs[EDX])
                   : "a"(leaf), "c"(subleaf));
}

VelStatus velGetCpuFeatures(Vel64u* pFeaturesMask, Vel32u pCpuidInfoRegs[4]) {
  Vel64u mask;
  if (!ownGetMaskFeatures(&mask)) return velStsNotSupportedCpu;
  if (!pFeaturesMask) return velStsNullPtrErr;
  const bool asked = *pFeaturesMask == VEL_CPUID_QUERY_TAG;
  *pFeaturesMask = mask;
  if (pCpuidInfoRegs) {
    if (asked)
      ownGetReg(pCpuidInfoRegs, pCpuidInfoRegs[0], pCpuidInfoRegs[2]);
    else
      ownGetReg(pCpuidInfoRegs, 1, 0);
  }
  return velStsNoErr;
}

// The processor's AVX2, for which the system must save the registers as for AVX.
static bool hasAvx2() {
  Vel64u features;
  const Vel32u needs = velCpuidAVX | velAVX_ENABLEDBYOS;
  return ownGetMaskFeatures(&features) && (features & needs) == needs && vel_max_cpuid_input() >= 7 &&
         Regs(7).bit(EBX, 5);
}

VelStatus velSetCpuFeaturesMask(Vel64u mask) {
  publish(ownFeaturesMask[0], Vel32u(mask));
  publish(ownFeaturesMask[1], Vel32u(mask >> 32));
  publish(ownVariantIndex, Vel32s((mask & velCpuidAVX) != 0 && hasAvx2()));
  return velStsNoErr;
}
Vel64u velGetEnabledCpuFeatures(void) { return Vel64u(seen(ownFeaturesMask[1])) << 32 | seen(ownFeaturesMask[0]); }
int ownGetFeature(Vel64u features) { return (velGetEnabledCpuFeatures() & features) == features; }

VelStatus velGetMaxCacheSizeB(int* pSizeByte) {
  constexpr VelStatus kNotYet = 1;
  static int cacheSize;
  static VelStatus cacheStatus = kNotYet;
  if (!pSizeByte) return velStsNullPtrErr;
  VelStatus status = seen(cacheStatus);
  if (status == kNotYet) {
    int size;
    status = findCacheSize(&size);
    publish(cacheSize, size);
    publish(cacheStatus, status);
  }
  *pSizeByte = seen(cacheSize);
  return status;
}

// ---- Probes

int vel_has_cpuid(void) {
  // CPUID is there when bit 21 of the flags can be changed.
  unsigned long before, after;
  __asm__ volatile(
      "pushf\n\t"
      "pushf\n\t"
      "pop %0\n\t"
      "mov %0, %1\n\t"
      "xor $0x200000, %1\n\t"
      "push %1\n\t"
      "popf\n\t"
      "pushf\n\t"
      "pop %1\n\t"
      "popf"
      : "=&r"(before), "=&r"(after)
      :
      : "cc");
  return ((before ^ after) & 0x200000) != 0;
}

int vel_max_cpuid_input(void) { return int(Regs(0).r[EAX]); }

int vel_is_vendor_genuine(void) {
  // The maker's identification as CPUID leaf 0 returns it: four letters a register, the first in the lowest byte.
  const Regs zero(0);
  return zero.r[EBX] == 0x756E6547 && zero.r[EDX] == 0x49656E69 && zero.r[ECX] == 0x6C65746E;
}

int vel_is_avx_extension(void) {
  const Regs one(1);
  if (!one.bit(ECX, 27) || !one.bit(ECX, 28)) return 0;
  Vel32u low, high;
  __asm__ volatile(".byte 0x0F, 0x01, 0xD0" /* xgetbv */ : "=a"(low), "=d"(high) : "c"(0));
  return (low & 6) == 6;
}

int vel_has_rdtsc(void) { return leaf1(EDX, 4); }
int vel_is_mmx_extension(void) { return leaf1(EDX, 23); }
int vel_is_ssx_extension(void) { return leaf1(EDX, 25); }
int vel_is_wni_extension(void) { return leaf1(EDX, 26); }
int vel_is_htt_extension(void) {
  const Regs one(1);
  return one.bit(EDX, 28) && one.field(EBX, 23, 16) > 1;
}
int vel_is_pni_extension(void) { return leaf1(ECX, 0); }
int vel_is_mni_extension(void) { return leaf1(ECX, 9); }
int vel_is_sse41_extension(void) { return leaf1(ECX, 19); }
int vel_is_sse42_extension(void) { return leaf1(ECX, 20); }
int vel_is_movbe(void) { return leaf1(ECX, 22); }

int vel_get_cores_on_die(void) { return vel_max_cpuid_input() < 4 ? 1 : int(Regs(4).field(EAX, 31, 26) + 1); }

int vel_is_em64t_extension(void) {
  const Vel32u highest = Regs(0x80000000).r[EAX];
  return highest < 0x80000001 ? int(highest) : Regs(0x80000001).bit(EDX, 29);
}
