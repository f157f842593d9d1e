// orv compare: how far two pictures lie apart.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include "commands.h"
#include "options.h"
#include "paths.h"
#include "picture_file.h"

namespace {

constexpr char kHelp[] =
    "usage: orv compare [OPTION]... A B\n"
    "\n"
    "Compares two pictures of the same size, both grey or both in colour: prints the\n"
    "peak signal-to-noise ratio in dB over all samples, and the largest difference of\n"
    "two samples; or that the pictures are the same. A and B are JPEG or binary PPM\n"
    "or PGM files, and one of them may be -, standard input. The exit status is 0\n"
    "when they are the same, 1 when they differ, and 2 when they cannot be compared,\n"
    "or one is a JPEG that is cut short or damaged.\n"
    "\n"
    "  --psnr N        pictures of this PSNR or a larger one count as the same\n" ORV_HELP_READS ORV_HELP_ALL
    "  orv compare photo.jpg small.jpg\n"
    "  orv compare --psnr 40 before.ppm after.jpg && echo near enough\n";

double decibels(const std::string& text) {
  char* end = nullptr;
  const double value = strtod(text.c_str(), &end);
  if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos || *end != 0)
    throw UsageError("--psnr takes decibels, like 40 or 38.5");
  return value;
}

struct Difference {
  uint64_t squares = 0;
  int largest = 0;
};

Difference difference(PictureReader& a, PictureReader& b) {
  Difference d;
  const int row = a.width() * a.channels();
  for (int y = 0; y < a.height(); ++y) {
    const uint8_t *const p = a.rows(y, 1).data, *const q = b.rows(y, 1).data;
    for (int x = 0; x < row; ++x) {
      const int samples = std::abs(p[x] - q[x]);
      d.squares += uint64_t(samples * samples);
      d.largest = std::max(d.largest, samples);
    }
  }
  return d;
}

}  // namespace

int runCompare(int argc, char** argv) {
  constexpr int kDiffer = 1;
  SharedOptions shared;
  double enough = HUGE_VAL;
  readOptions(argc, argv, kReads, {{"psnr", required_argument, nullptr, 'p'}}, &shared,
              [&](int) { enough = decibels(optarg); });
  if (shared.help) return fputs(kHelp, stdout), kDone;
  if (argc - optind != 2) throw UsageError("compare takes two pictures (see orv compare --help)");
  requireSse2();
  const std::string names[] = {argv[optind], argv[optind + 1]};
  if (isStandard(names[0]) && isStandard(names[1])) throw UsageError("only one picture can be standard input");
  PictureReader a(names[0], shared.reading), b(names[1], shared.reading);
  if (a.width() != b.width() || a.height() != b.height() || a.channels() != b.channels()) {
    complain(inputName(names[0]) + " and " + inputName(names[1]) + ": the pictures differ in size or kind");
    return kDiffer;
  }
  Difference d;
  workOn(names[0], [&] { d = difference(a, b); });
  const double mean = double(d.squares) / a.width() / a.channels() / a.height();
  const double psnr = d.squares == 0 ? HUGE_VAL : 10 * std::log10(255 * 255 / mean);
  if (d.squares == 0)
    puts("the pictures are the same");
  else
    printf("PSNR %.2f dB, largest difference %d\n", psnr, d.largest);
  if (!a.isWhole() || !b.isWhole()) return kDamaged;
  return psnr >= enough ? kDone : kDiffer;
}
