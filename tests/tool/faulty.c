// A library to be loaded first, in which inverting bytes has a fault that ORV_FAULT tells:
//   value    on path p8, one byte of the result
//   all      on every path, one byte of the result
//   mode     on path p8, MXCSR stays another
//   trap     on path p8, there is an instruction that no processor has
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>
#include "orv.h"

VelStatus velsNot_8u(const Vel8u* pSrc, Vel8u* pDst, int len) {
  VelStatus (*const not_8u)(const Vel8u*, Vel8u*, int) = dlsym(RTLD_NEXT, __func__);
  const char* const fault = getenv("ORV_FAULT");
  const VelStatus status = not_8u(pSrc, pDst, len);
  const int all = !strcmp(fault, "all");
  if (status != velStsNoErr || len < 20 || (!all && velJumpIndexForMergedLibs != 4)) return status;
  if (!strcmp(fault, "trap")) __builtin_trap();
  if (!strcmp(fault, "mode"))
    ps_set_ssx(0x8000, 0x8000);
  else
    pDst[17] ^= 1;
  return status;
}
