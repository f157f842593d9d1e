/* A program that is linked with the library in the plain way. Compiled without PIC it has its own copy of the
 * library's data, which must be the one that the library uses. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>
#include "core/stepping.h"
#include "orv.h"

#define CHECK(what)                                             \
  do {                                                          \
    if (!(what)) {                                              \
      printf("%s:%d: failed: %s\n", __FILE__, __LINE__, #what); \
      return 1;                                                 \
    }                                                           \
  } while (0)

static Vel8u raw[64];
static Vel16u table[64];

/* What a program sees that calls before any library has been initialised. */
static struct {
  Vel32s index;
  Vel64u enabled;
  VelStatus status;
} early;
static void runEarly(void) {
  early.index = velJumpIndexForMergedLibs;
  early.enabled = velGetEnabledCpuFeatures();
  memset(raw, 3, sizeof raw);
  early.status = orviQuantInvTableInit_JPEG_8u16u(raw, table);
}
__attribute__((section(".preinit_array"), used)) static void (*const kRunEarly)(void) = runEarly;

static char arena[256];
static void* freed;
static void* allocate(size_t size) { return size <= sizeof arena ? arena : NULL; }
static void release(void* ptr) { freed = ptr; }

int main(void) {
  static const struct {
    VelCpuType code;
    int index;
  } kPaths[] = {{0, 0}, {33, 2}, {36, 3}, {35, 4}, {70, 5}};
  void* const entry = dlsym(RTLD_DEFAULT, "orviQuantInvTableInit_JPEG_8u16u");
  void* const* const slots = dlsym(RTLD_DEFAULT, "veliQuantInvTableInit_JPEG_8u16u_arraddr");
  const Vel32s loaded = velJumpIndexForMergedLibs;

  CHECK(early.index == 0 && early.enabled == 3);
  CHECK(early.status == velStsNoErr && table[0] == 3 && table[63] == 3);
  velStaticInit();
  CHECK(velJumpIndexForMergedLibs == loaded && velJumpIndexForMergedLibsLP == (loaded == 3));
  CHECK(entry && slots);
  for (size_t i = 0; i < sizeof kPaths / sizeof kPaths[0]; ++i) {
    CHECK(velStaticInitCpu(kPaths[i].code) == velStsNoErr);
    CHECK(velJumpIndexForMergedLibs == kPaths[i].index && velJumpIndexForMergedLibsLP == (kPaths[i].index == 3));
    CHECK(bodyReached(entry, slots) == slots[kPaths[i].index]);
  }
  velStaticInit();

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
