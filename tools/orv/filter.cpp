// orv filter: smooths a picture with a box filter.
#include <algorithm>
#include <cstdio>
#include <vector>
#include "commands.h"
#include "options.h"
#include "orv.h"
#include "paths.h"
#include "picture_file.h"

namespace {

constexpr char kHelp[] =
    "usage: orv filter --box WIDTHxHEIGHT [OPTION]... IN OUT\n"
    "\n"
    "Replaces each pixel of a picture by the mean of WIDTH by HEIGHT pixels around\n"
    "it, rounded to nearest. Beyond its edges the picture goes on with its outermost\n"
    "pixels. IN is a JPEG or a binary PPM or PGM file; OUT is one of these, as its\n"
    "name says (.jpg, .jpeg, .ppm, .pgm, .pnm).\n"
    "\n"
    "  --box WxH       the size of the box (1 to 9999 a side)\n" ORV_HELP_NAMES ORV_HELP_WRITES ORV_HELP_KEEPS
        ORV_HELP_READS ORV_HELP_ALL "  orv filter --box 5x5 photo.jpg soft.jpg\n";

constexpr int kLargestBox = 9999;
constexpr double kMostSamples = 1 << 26;  // of the picture with its border, which are floats in memory

// Floats with a border of repeated pixels all round, which the filter reads.
struct Bordered {
  int left, top, channels, row;  // row: floats
  std::vector<Vel32f> samples;

  Bordered(const Picture& picture, VeliSize box, VeliPoint anchor)
      : left(anchor.x * picture.channels),
        top(anchor.y),
        channels(picture.channels),
        row((picture.width + box.width - 1) * picture.channels),
        samples(size_t(row) * size_t(picture.height + box.height - 1)) {
    const int inside = picture.width * channels;
    for (int y = 0; y < picture.height; ++y) {
      Vel32f* const to = at(y);
      must(orviConvert_8u32f_C1R(picture.row(y), inside, to, row * int(sizeof *to), {inside, 1}));
      for (int i = 1; i <= left; ++i) to[-i] = to[channels - 1 - (i - 1) % channels];
      for (int i = inside; i < row - left; ++i) to[i] = to[i - channels];
    }
    const auto repeat = [&](int y, int from) {
      std::copy_n(at(from) - left, row, samples.begin() + ptrdiff_t(y) * row);
    };
    for (int y = 0; y < top; ++y) repeat(y, 0);
    for (int y = top + picture.height; y < picture.height + box.height - 1; ++y) repeat(y, picture.height - 1);
  }
  // The first sample of the picture's row y.
  Vel32f* at(int y) { return &samples[size_t(top + y) * size_t(row) + size_t(left)]; }
};

void filter(Picture& picture, VeliSize box) {
  const VeliPoint anchor = {box.width / 2, box.height / 2};
  Bordered from(picture, box, anchor);
  const int inside = picture.width * picture.channels, step = inside * int(sizeof(Vel32f));
  std::vector<Vel32f> means(picture.samples.size());
  const auto run = picture.channels == 1 ? orviFilterBox_32f_C1R : orviFilterBox_32f_C3R;
  must(run(from.at(0), from.row * int(sizeof(Vel32f)), means.data(), step, {picture.width, picture.height}, box,
           anchor));
  must(orviConvert_32f8u_C1R(means.data(), step, picture.samples.data(), inside, {inside, picture.height}, 1));
}

}  // namespace

int runFilter(int argc, char** argv) {
  VeliSize box = {};
  SharedOptions shared;
  readOptions(argc, argv, kReads | kWrites | kKeeps | kNames, {{"box", required_argument, nullptr, 'b'}}, &shared,
              [&](int) { box = optionSize("--box", optarg, kLargestBox); });
  if (shared.help) return fputs(kHelp, stdout), kDone;
  if (argc - optind != 2 || box.width == 0)
    throw UsageError("filter takes --box WIDTHxHEIGHT, IN and OUT (see orv filter --help)");
  requirePicture(argv[optind + 1], shared.kind);
  requireSse2();
  bool whole = true;
  workOn(argv[optind], [&] {
    PictureReader reader(argv[optind], shared.reading);
    const double wide = double(reader.width()) + box.width, high = double(reader.height()) + box.height;
    if (wide * high * reader.channels() > kMostSamples)
      throw FileError(argv[optind], "the picture or the box is too large to filter in memory");
    PictureFile file(argv[optind + 1], reader.width(), reader.height(), reader.channels(),
                     reader.withMetadata(shared.jpeg), shared.kind);
    Picture picture = reader.picture();
    filter(picture, box);
    file.write(picture);
    whole = reader.isWhole();
  });
  return whole ? kDone : kDamaged;
}
