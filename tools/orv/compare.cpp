// orv compare: how far two pictures lie apart.
#include <getopt.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include "commands.h"
#include "paths.h"
#include "picture_file.h"

namespace {

constexpr char kHelp[] =
    "usage: orv compare A B\n"
    "\n"
    "Compares two pictures of the same size, both grey or both in colour: prints the\n"
    "peak signal-to-noise ratio in dB over all samples, and the largest difference of\n"
    "two samples; or that the pictures are the same. A and B are JPEG or binary PPM or\n"
    "PGM files.\n";

}  // namespace

int runCompare(int argc, char** argv) {
  const option options[] = {{"help", no_argument, nullptr, 'h'}, {}};
  for (int c; (c = getopt_long(argc, argv, ":h", options, nullptr)) != -1;) {
    if (c != 'h') refuseOption(c, argv);
    fputs(kHelp, stdout);
    return 0;
  }
  if (argc - optind != 2) throw UsageError("compare takes two pictures (see orv compare --help)");
  requireSse2();
  PictureReader a(argv[optind]), b(argv[optind + 1]);
  if (a.width() != b.width() || a.height() != b.height() || a.channels() != b.channels())
    throw std::runtime_error(std::string(argv[optind]) + " and " + argv[optind + 1] +
                             ": the pictures differ in size or kind");
  const int row = a.width() * a.channels();
  uint64_t squares = 0;
  int largest = 0;
  for (int y = 0; y < a.height(); ++y) {
    const uint8_t *const p = a.rows(y, 1).data, *const q = b.rows(y, 1).data;
    for (int x = 0; x < row; ++x) {
      const int difference = std::abs(p[x] - q[x]);
      squares += uint64_t(difference * difference);
      largest = std::max(largest, difference);
    }
  }
  if (squares == 0) return puts("the pictures are the same"), 0;
  const double mean = double(squares) / row / a.height();
  printf("PSNR %.2f dB, largest difference %d\n", 10 * std::log10(255 * 255 / mean), largest);
  return 0;
}
