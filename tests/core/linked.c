/* A program that is linked with the library in the plain way. Compiled without PIC it has its own copy of the
 * library's data, which must be the one that the library uses. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <execinfo.h>
#include <stdio.h>
#include <string.h>
#include "orv.h"

#define CHECK(what)                                             \
  do {                                                          \
    if (!(what)) {                                              \
      printf("%s:%d: failed: %s\n", __FILE__, __LINE__, #what); \
      return 1;                                                 \
    }                                                           \
  } while (0)

/* What a program sees that calls before any library has been initialised. */
static struct {
  Vel32s index;
  Vel64u enabled;
  VelStatus status;
  Vel8u raw[64];
  Vel16u table[64];
} early;
static void runEarly(void) {
  early.index = velJumpIndexForMergedLibs;
  early.enabled = velGetEnabledCpuFeatures();
  memset(early.raw, 3, sizeof early.raw);
  early.status = orviQuantInvTableInit_JPEG_8u16u(early.raw, early.table);
}
__attribute__((section(".preinit_array"), used)) static void (*const kRunEarly)(void) = runEarly;

static char arena[256];
static void* freed;
/* The path of the body that asked for the memory: what the program set must be what the entry points read. */
static char path[3];
static void* allocate(size_t size) {
  void* callers[8];
  Dl_info symbol;
  for (int i = backtrace(callers, 8); i-- > 0;)
    if (dladdr(callers[i], &symbol) && symbol.dli_sname && strstr(symbol.dli_sname, "_veliDecodeHuffmanStateInitAlloc"))
      memcpy(path, symbol.dli_sname, 2);
  return size <= sizeof arena ? arena : NULL;
}
static void release(void* ptr) { freed = ptr; }

int main(void) {
  static const struct {
    VelCpuType code;
    int index;
    const char* body; /* of a primitive that has no v8 */
  } kPaths[] = {{0, 0, "w7"}, {33, 2, "s8"}, {36, 3, "s8"}, {35, 4, "p8"}, {70, 5, "g9"}};
  VeliDecodeHuffmanState* state;
  const Vel32s loaded = velJumpIndexForMergedLibs;

  CHECK(early.index == 0 && early.enabled == 3);
  CHECK(early.status == velStsNoErr && early.table[0] == 3 && early.table[63] == 3);
  i_malloc = allocate;
  i_free = release;
  for (int i = 0; i < 5; ++i) {
    CHECK(velStaticInitCpu(kPaths[i].code) == velStsNoErr);
    CHECK(velJumpIndexForMergedLibs == kPaths[i].index && velJumpIndexForMergedLibsLP == (kPaths[i].index == 3));
    if (kPaths[i].index > loaded) continue; /* beyond this processor */
    CHECK(orviDecodeHuffmanStateInitAlloc_JPEG_8u(&state) == velStsNoErr);
    CHECK(strcmp(path, kPaths[i].body) == 0);
  }
  velStaticInit();
  CHECK(velJumpIndexForMergedLibs == loaded);

  char* const p = velMalloc(100);
  CHECK(p > arena && p + 100 <= arena + sizeof arena);
  velFree(p);
  CHECK(freed == arena);
  CHECK(velMalloc(1000) == NULL);
  CHECK(own_pj_izigzag_index[2] == 8 && i_version == 1 && i_min_version == 0);
  return 0;
}
