/* A program that is linked with the library in the plain way. Compiled without PIC it has its own copy of the
 * library's data, which must be the one that the library uses. */
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
static void* allocate(size_t size) { return size <= sizeof arena ? arena : NULL; }
static void release(void* ptr) { freed = ptr; }

int main(void) {
  static const int kPaths[][2] = {{0, 0}, {33, 2}, {36, 3}, {35, 4}, {70, 5}}; /* processor type, index */
  const Vel32s loaded = velJumpIndexForMergedLibs;

  CHECK(early.index == 0 && early.enabled == 3);
  CHECK(early.status == velStsNoErr && early.table[0] == 3 && early.table[63] == 3);
  for (int i = 0; i < 5; ++i) {
    CHECK(velStaticInitCpu(kPaths[i][0]) == velStsNoErr);
    CHECK(velJumpIndexForMergedLibs == kPaths[i][1] && velJumpIndexForMergedLibsLP == (kPaths[i][1] == 3));
  }
  velStaticInit();
  CHECK(velJumpIndexForMergedLibs == loaded);

  i_malloc = allocate;
  i_free = release;
  char* const p = velMalloc(100);
  CHECK(p > arena && p + 100 <= arena + sizeof arena);
  velFree(p);
  CHECK(freed == arena);
  CHECK(velMalloc(1000) == NULL);
  CHECK(own_pj_izigzag_index[2] == 8 && i_version == 1 && i_min_version == 0);
  return 0;
}
