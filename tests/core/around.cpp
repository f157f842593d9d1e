// To be loaded before a program: each call of the library comes to it as from a caller of another kind. In 32-bit code the
// stack is aligned to 4 bytes only; the floating-point units round otherwise, flush denormals, and raise exceptions as
// signals. What a call must leave as it was is looked at. What results must be is the program's to know.
#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// As around_entries.S has it.
struct Around {
  void* target;
  size_t offset;  // of the stack, below a multiple of 16
#ifdef __x86_64__
  uint32_t mxcsr;
  uint16_t x87, none0;
  size_t stack, stackAfter;
  uint32_t mxcsrAfter;
  uint16_t x87After, none1;
  size_t result, first, others;
#else
  uint32_t mxcsr;
  size_t stack;
  uint16_t x87, none0;
  size_t stackAfter;
  uint32_t mxcsrAfter;
  uint16_t x87After, none1;
  size_t result, resultHigh, first, others;
#endif
  size_t flags;
  uint32_t callersMxcsr;
  uint16_t callersX87, none2;
  const char* name;
#ifdef __x86_64__
  char none3[16];
#else
  char none3[8];
#endif
  uint32_t environment[7];
};
static_assert(offsetof(Around, environment) == (sizeof(void*) == 8 ? 112 : 72), "");

namespace {

constexpr const char* kNames[] = {
#define ORV_FUNCTION(name) #name,
#define ORV_PRIMITIVE(name, pattern) "vel" #name, "orv" #name,
#include "src/core/primitives.def"

#include "tests/core/around.def"
};
constexpr int kCount = sizeof kNames / sizeof kNames[0];
#undef ORV_PRIMITIVE
#define ORV_PRIMITIVE(name, pattern) +2
constexpr int kPrimitives = 0
#include "src/core/primitives.def"
    ;
void* targets[kCount];
unsigned calls[kCount];
const char* running;

constexpr uint32_t kExceptions = 0x3F, kMasks = 0x1F80;  // of MXCSR

[[noreturn]] void fail(const char* name, const char* what, unsigned long expected, unsigned long got) {
  fprintf(stderr, "around: %s: %s: expected %lX, got %lX\n", name, what, expected, got);
  _exit(97);
}

bool has(const char* name, const char* part) { return strstr(name, part) != nullptr; }
// Computes in floats as the caller has set, and raises what arithmetic raises.
bool followsModes(const char* name) {
  return (has(name, "_32f") && !has(name, "32f8u") && !has(name, "8u32f")) || has(name, "FilterBox") ||
         has(name, "ResizeSqr") || has(name, "computeRGB") || has(name, "Norm");
}
// The exceptions that stay masked for a function: floats that become integers may be inexact, or out of range; a table of
// reciprocals is inexact before it is rounded. What else computes in integers raises none.
uint32_t maskedFor(const char* name) {
  return has(name, "32f8u") ? kMasks : has(name, "QuantFwdTableInit") ? kMasks & 0x1000 : 0;
}

// At the end: that all were called that the program is to call, ORV_CALLED: primitives, or helpers.
void report() {
  const bool helpers = has(getenv("ORV_CALLED"), "helpers");
  for (int i = 0; i < kCount; ++i) {
    const bool isHelper = i >= kPrimitives && !has(kNames[i], "orv") && !has(kNames[i], "compute");
    const bool wanted = helpers ? isHelper : i < kPrimitives && calls[i ^ 1] == 0;  // by one of its two names
    if (wanted && calls[i] == 0) fail(kNames[i], "is never called", 1, 0);
  }
}

void onSignal(int signal) {
  fprintf(stderr, "around: %s: signal %d\n", running ? running : "between calls", signal);
  _exit(97);
}

struct Start {
  Start() {
    signal(SIGFPE, onSignal);
    if (getenv("ORV_CALLED")) atexit(report);
  }
} start;

}  // namespace

extern "C" {
__attribute__((visibility("hidden"))) void aroundBefore(size_t index, Around* a) {
  static uint32_t turn = 0;
  turn = turn * 1664525 + 1013904223;
  const uint32_t random = turn >> 8;
  a->name = kNames[index];
  ++calls[index];
  if (!targets[index]) targets[index] = dlsym(RTLD_NEXT, a->name);
  if (!targets[index]) fail(a->name, "is not in the library", 1, 0);
  a->target = targets[index];
  a->offset = sizeof(void*) == 8 ? 0 : random % 4 * 4;
  __asm__ volatile("stmxcsr %0\n\tfnstcw %1\n\tfnclex" : "=m"(a->callersMxcsr), "=m"(a->callersX87));
  a->mxcsr = a->callersMxcsr & ~kExceptions;
  a->x87 = a->callersX87;
  if (!followsModes(a->name)) {
    const uint32_t modes = (random >> 4 & 0xE000) | (random >> 2 & 0x40);
    a->mxcsr = maskedFor(a->name) | modes;
    const bool isExtended = has(a->name, "MCU_S16");  // of chroma that is out of range
    if (!isExtended) a->x87 = uint16_t(0x40 | (random & 0xC00) | (random >> 4 & 0x200));  // no exception is masked
  }
  running = a->name;
}

__attribute__((visibility("hidden"))) void aroundAfter(Around* a) {
  running = nullptr;
  const uint32_t raised = a->mxcsrAfter & kExceptions;
  const uint32_t mxcsr = a->callersMxcsr | raised;
  __asm__ volatile("fnclex\n\tldmxcsr %0\n\tfldcw %1" : : "m"(mxcsr), "m"(a->callersX87));
  const auto check = [a](const char* what, size_t expected, size_t got) {
    if (got != expected) fail(a->name, what, static_cast<unsigned long>(expected), static_cast<unsigned long>(got));
  };
  check("MXCSR", a->mxcsr, a->mxcsrAfter & ~kExceptions);
  check("x87's control word", a->x87, a->x87After);
  check("x87's tags", 0xFFFF, a->environment[2] & 0xFFFF);
  check("the stack", a->stack, a->stackAfter);
  check("the first register to be kept", 0x11111111, a->first);
  check("the other registers to be kept", sizeof(void*) == 8 ? 0 : 0x11111111, a->others);
  check("the direction flag", 0, a->flags & 0x400);
}
}
