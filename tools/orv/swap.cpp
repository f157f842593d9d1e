// orv swap: reorders the channels of a picture.
#include <cstdio>
#include "commands.h"
#include "options.h"
#include "orv.h"
#include "paths.h"
#include "picture_file.h"

namespace {

constexpr char kHelp[] =
    "usage: orv swap --order ORDER [OPTION]... IN OUT\n"
    "\n"
    "Reorders the channels of a picture in colour. IN is a JPEG or a binary PPM file;\n"
    "OUT is one of these, as its name says (.jpg, .jpeg, .ppm, .pnm).\n"
    "\n"
    "  --order ORDER   what the red, green and blue of OUT are taken from, a letter\n"
    "                  each: bgr exchanges red and blue, ggg shows green in grey\n" ORV_HELP_NAMES ORV_HELP_WRITES
        ORV_HELP_KEEPS ORV_HELP_READS ORV_HELP_ALL "  orv swap --order bgr photo.jpg blue.jpg\n";

struct Order {
  int channels[3];
};

Order orderOf(const char* text) {
  const std::string letters = "rgb", given = text;
  if (given.size() != 3 || given.find_first_not_of(letters) != std::string::npos)
    throw UsageError("'" + given + "' is no order: give three of the letters r, g and b");
  const auto at = [&](size_t i) { return int(letters.find(given[i])); };
  return {{at(0), at(1), at(2)}};
}

}  // namespace

int runSwap(int argc, char** argv) {
  Order order = {};
  bool ordered = false;
  SharedOptions shared;
  readOptions(argc, argv, kReads | kWrites | kKeeps | kNames, {{"order", required_argument, nullptr, 'o'}}, &shared,
              [&](int) { order = orderOf(optarg), ordered = true; });
  if (shared.help) return fputs(kHelp, stdout), kDone;
  if (argc - optind != 2 || !ordered) throw UsageError("swap takes --order ORDER, IN and OUT (see orv swap --help)");
  requirePicture(argv[optind + 1], shared.kind);
  requireSse2();
  bool whole = true;
  workOn(argv[optind], [&] {
    PictureReader reader(argv[optind], shared.reading);
    if (reader.channels() != 3) throw FileError(argv[optind], "a grey picture; swap takes colours");
    PictureFile file(argv[optind + 1], reader.width(), reader.height(), reader.channels(),
                     reader.withMetadata(shared.jpeg), shared.kind);
    Picture picture = reader.picture();
    must(orviSwapChannels_8u_C3IR(picture.samples.data(), int(picture.step()), {picture.width, picture.height},
                                  order.channels));
    file.write(picture);
    whole = reader.isWhole();
  });
  return whole ? kDone : kDamaged;
}
