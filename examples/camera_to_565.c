/* A camera's YUYV frame to the usual RGB565, red in the highest bits: camera_to_565 IN.yuyv WIDTH HEIGHT OUT.565
 *
 * Cameras send studio video: luma 16..235, a pair of pixels sharing its chroma. The YUV functions are for other data,
 * so each row becomes pixels of Y, Cb and Cr, and a function for these does the rest. */
#include <orv.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
  if (argc != 5) return fprintf(stderr, "camera_to_565 IN.yuyv WIDTH HEIGHT OUT.565\n"), 2;
  const int width = atoi(argv[2]), height = atoi(argv[3]);
  if (width < 2 || width % 2 || height < 1) return fprintf(stderr, "the width must be even\n"), 1;
  FILE *in = fopen(argv[1], "rb"), *out = fopen(argv[4], "wb");
  if (!in || !out) return perror(in ? argv[4] : argv[1]), 1;

  Vel8u* yuyv = malloc((size_t)width * 2);
  Vel8u* pixels = malloc((size_t)width * 3);
  Vel16u* words = malloc((size_t)width * 2);
  if (!yuyv || !pixels || !words) return perror("malloc"), 1;
  const VeliSize row = {width, 1};
  for (int y = 0; y < height; ++y) {
    if (fread(yuyv, 2, (size_t)width, in) != (size_t)width) return fprintf(stderr, "%s ends early\n", argv[1]), 1;
    for (int x = 0; x < width; ++x) {
      const Vel8u* pair = yuyv + 4 * (x / 2);
      pixels[3 * x] = yuyv[2 * x];
      pixels[3 * x + 1] = pair[1];
      pixels[3 * x + 2] = pair[3];
    }
    /* Words are named from bit 0 upwards: blue, green, red. */
    const VelStatus status = orviYCbCrToBGR565_8u16u_C3R(pixels, 3 * width, words, 2 * width, row);
    if (status != velStsNoErr) return fprintf(stderr, "%s\n", orvGetStatusString(status)), 1;
    fwrite(words, 2, (size_t)width, out);
  }
  return fclose(out) != 0;
}
