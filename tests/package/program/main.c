/* What somebody else's program does with an installed copy. */
#include <orv.h>
#include <stdio.h>

int main(void) {
  Vel8u raw[64] = {16, 11, 17}; /* the third of the zigzag order is the first of the second row */
  Vel16u table[64];
  puts(orvGetStatusString(orviQuantInvTableInit_JPEG_8u16u(raw, table)));
  printf("%d %s\n", table[8], ORV_VERSION_STRING);
  return 0;
}
