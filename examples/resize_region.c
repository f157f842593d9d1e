/* A region of a PPM picture, brought to another size:
 * resize_region IN.ppm X Y WIDTH HEIGHT OUT.ppm NEWWIDTH NEWHEIGHT */
#include <orv.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
  if (argc != 9) return fprintf(stderr, "resize_region IN.ppm X Y WIDTH HEIGHT OUT.ppm NEWWIDTH NEWHEIGHT\n"), 2;
  VeliSize size;
  FILE* in = fopen(argv[1], "rb");
  if (!in || fscanf(in, "P6 %d %d 255%*c", &size.width, &size.height) != 2) return perror(argv[1]), 1;
  const VeliRect src = {atoi(argv[2]), atoi(argv[3]), atoi(argv[4]), atoi(argv[5])};
  const VeliRect dst = {0, 0, atoi(argv[7]), atoi(argv[8])};
  if (src.x < 0 || src.y < 0 || src.width < 1 || src.height < 1 || src.width > size.width - src.x ||
      src.height > size.height - src.y)
    return fprintf(stderr, "the region does not lie in the picture\n"), 1;

  /* The rule for a region: its size gives the factors, and its place the shifts. */
  const double xFactor = (double)dst.width / src.width, yFactor = (double)dst.height / src.height;
  const double xShift = dst.x - src.x * xFactor, yShift = dst.y - src.y * yFactor;
  /* Supersampling only reduces; the cubic enlarges well. */
  const int method = xFactor <= 1 && yFactor <= 1 ? velInterSuper : velInterCubicCatmullRom;

  int bufferSize = 0;
  VelStatus status = orviResizeGetBufSize(src, dst, 3, method, &bufferSize);
  if (status < 0) return fprintf(stderr, "%s\n", orvGetStatusString(status)), 1;
  const int srcStep = 3 * size.width, dstStep = 3 * dst.width;
  Vel8u* pixels = malloc((size_t)srcStep * (size_t)size.height);
  Vel8u* result = calloc((size_t)dst.height, (size_t)dstStep);
  Vel8u* buffer = malloc((size_t)bufferSize);
  if (!pixels || !result || !buffer) return perror("malloc"), 1;
  if (fread(pixels, (size_t)srcStep, (size_t)size.height, in) != (size_t)size.height)
    return fprintf(stderr, "%s ends early\n", argv[1]), 1;

  /* Both pointers are the images' first pixels, not the regions'. */
  status = orviResizeSqrPixel_8u_C3R(pixels, size, srcStep, src, result, dstStep, dst, xFactor, yFactor, xShift, yShift,
                                     method, buffer);
  if (status != velStsNoErr) return fprintf(stderr, "%s\n", orvGetStatusString(status)), 1;

  FILE* out = fopen(argv[6], "wb");
  if (!out) return perror(argv[6]), 1;
  fprintf(out, "P6\n%d %d\n255\n", dst.width, dst.height);
  fwrite(result, (size_t)dstStep, (size_t)dst.height, out);
  return fclose(out) != 0;
}
