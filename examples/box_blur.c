/* The mean of a box around each pixel of a PGM picture: box_blur IN.pgm WIDTH HEIGHT OUT.pgm
 *
 * The filter works on floats and leaves the border to its caller: the outermost pixels are repeated around the picture,
 * bytes become floats, and bytes again at the end. */
#include <orv.h>
#include <stdio.h>
#include <stdlib.h>

static void must(VelStatus status) {
  if (status == velStsNoErr) return;
  fprintf(stderr, "%s\n", orvGetStatusString(status));
  exit(1);
}

int main(int argc, char** argv) {
  if (argc != 5) return fprintf(stderr, "box_blur IN.pgm WIDTH HEIGHT OUT.pgm\n"), 2;
  VeliSize size;
  FILE* in = fopen(argv[1], "rb");
  if (!in || fscanf(in, "P5 %d %d 255%*c", &size.width, &size.height) != 2) return perror(argv[1]), 1;
  const VeliSize mask = {atoi(argv[2]), atoi(argv[3])};
  if (mask.width < 1 || mask.height < 1) return fprintf(stderr, "the box has no pixels\n"), 1;

  /* The picture with its border. The anchor is the mask's middle, and so the border's width to the left and above. */
  const VeliPoint anchor = {mask.width / 2, mask.height / 2};
  const VeliSize whole = {size.width + mask.width - 1, size.height + mask.height - 1};
  const size_t count = (size_t)whole.width * (size_t)whole.height;
  const int byteStep = whole.width, floatStep = 4 * whole.width;
  Vel8u* bytes = malloc(count);
  Vel32f *floats = malloc(4 * count), *means = malloc(4 * count);
  if (!bytes || !floats || !means) return perror("malloc"), 1;
  Vel8u* first = bytes + anchor.y * byteStep + anchor.x;
  for (int y = 0; y < size.height; ++y)
    if (fread(first + y * byteStep, 1, (size_t)size.width, in) != (size_t)size.width)
      return fprintf(stderr, "%s ends early\n", argv[1]), 1;

  must(orviCopyReplicateBorder_8u_C1IR(first, byteStep, size, whole, anchor.y, anchor.x));
  must(orviConvert_8u32f_C1R(bytes, byteStep, floats, floatStep, whole));
  must(orviFilterBox_32f_C1R(floats + anchor.y * whole.width + anchor.x, floatStep, means, floatStep, size, mask,
                             anchor));
  must(orviConvert_32f8u_C1R(means, floatStep, bytes, byteStep, size, 1)); /* to the nearest */

  FILE* out = fopen(argv[4], "wb");
  if (!out) return perror(argv[4]), 1;
  fprintf(out, "P5\n%d %d\n255\n", size.width, size.height);
  for (int y = 0; y < size.height; ++y) fwrite(bytes + y * byteStep, 1, (size_t)size.width, out);
  return fclose(out) != 0;
}
