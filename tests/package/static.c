/* A program that is linked with the library as an archive: it has what it calls for, and the selection at load time. */
#include <stdio.h>
#include "orv.h"

int main(void) {
  const Vel8u src[3] = {0x0F, 0x33, 0x55}, mask[3] = {0xF0, 0x3C, 0xFF};
  Vel8u dst[3];
  const Vel32s loaded = velJumpIndexForMergedLibs;
  if (orvsAnd_8u(src, mask, dst, 3) != velStsNoErr || dst[0] != 0 || dst[1] != 0x30 || dst[2] != 0x55) return 1;
  velStaticInit();
  printf("index %d when loaded, %d when selected\n", loaded, velJumpIndexForMergedLibs);
  return loaded == 0 || loaded != velJumpIndexForMergedLibs;
}
