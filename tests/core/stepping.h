// Follows a call, one instruction at a time, from an entry point to the body it reaches. The body does not run: the
// call returns from its first instruction. So neither the arguments nor the processor's features matter.
#pragma once
#include <signal.h>
#include <stddef.h>
#include <stdint.h>
#include <ucontext.h>

static void* const* stepSlots;
static void* volatile stepReached;
static volatile int stepCount;

static inline void onStep(int signal, siginfo_t* info, void* context) {
#ifdef __x86_64__
  enum { kPc = REG_RIP, kStack = REG_RSP };
#else
  enum { kPc = REG_EIP, kStack = REG_ESP };
#endif
  greg_t* const reg = ((ucontext_t*)context)->uc_mcontext.gregs;
  const greg_t trap = 0x100;
  (void)signal, (void)info;
  if (++stepCount == 100) reg[REG_EFL] &= ~trap;
  for (int i = 0; i < 6; ++i) {
    if (reg[kPc] != (greg_t)(intptr_t)stepSlots[i]) continue;
    stepReached = stepSlots[i];
    reg[REG_EFL] &= ~trap;
    reg[kPc] = *(greg_t*)reg[kStack];
    reg[kStack] += sizeof(void*);
    return;
  }
}

// The body that a call of entry reaches, or null.
static inline void* bodyReached(void* entry, void* const slots[6]) {
  struct sigaction action = {}, before;
  action.sa_sigaction = onStep;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGTRAP, &action, &before);
  stepSlots = slots;
  stepReached = NULL;
  stepCount = 0;
#ifdef __x86_64__
  __asm__ volatile(
      "lea -128(%%rsp), %%rsp\n\t" /* past the red zone */
      "pushf\n\torl $0x100, (%%rsp)\n\tpopf\n\t"
      "call *%0\n\t"
      "lea 128(%%rsp), %%rsp"
      :
      : "r"(entry)
      : "memory", "cc", "rax", "rcx", "rdx", "rsi", "rdi", "r8", "r9", "r10", "r11");
#else
  __asm__ volatile("pushf\n\torl $0x100, (%%esp)\n\tpopf\n\tcall *%0"
                   :
                   : "r"(entry)
                   : "memory", "cc", "eax", "ecx", "edx");
#endif
  sigaction(SIGTRAP, &before, NULL);
  return stepReached;
}
