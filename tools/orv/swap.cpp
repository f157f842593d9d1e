// orv swap: reorders the channels of a picture.
#include <getopt.h>
#include <cstdio>
#include "commands.h"
#include "endings.h"
#include "options.h"
#include "orv.h"
#include "paths.h"
#include "picture_file.h"

namespace {

constexpr char kHelp[] =
    "usage: orv swap --order ORDER [OPTION]... IN OUT\n"
    "\n"
    "Reorders the channels of a picture in colour. IN is a JPEG or a binary PPM file; OUT\n"
    "is one of these, as its name says (.jpg, .jpeg, .ppm, .pnm).\n"
    "\n"
    "  --order ORDER   what the red, green and blue of OUT are taken from, a letter each:\n"
    "                  bgr exchanges red and blue, ggg shows green in grey\n"
    "  --strict        refuse a JPEG that is cut short or damaged\n"
    "  --path NAME     use the library's code path w7, v8, s8, p8, g9_avx or g9\n"
    "  --help          show this\n";

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
  const option options[] = {{"help", no_argument, nullptr, 'h'},
                            {"order", required_argument, nullptr, 'o'},
                            {"strict", no_argument, nullptr, 'S'},
                            {"path", required_argument, nullptr, 'p'},
                            {}};
  Order order = {};
  bool ordered = false;
  jpeg::Options reading;
  for (int c; (c = getopt_long(argc, argv, ":h", options, nullptr)) != -1;) {
    switch (c) {
      case 'h': return fputs(kHelp, stdout), 0;
      case 'o': order = orderOf(optarg), ordered = true; break;
      case 'p': selectPath(optarg); break;
      case 'S': reading.strict = true; break;
      default: refuseOption(c, argv);
    }
  }
  if (argc - optind != 2 || !ordered) throw UsageError("swap takes --order ORDER, IN and OUT (see orv swap --help)");
  requireEnding(argv[optind + 1], kPictureEndings);
  requireSse2();
  bool whole = true;
  workOn(argv[optind], [&] {
    PictureReader reader(argv[optind], reading);
    if (reader.channels() != 3) throw FileError(argv[optind], "a grey picture; swap takes colours");
    PictureFile file(argv[optind + 1], reader.width(), reader.height(), reader.channels());
    Picture picture = reader.picture();
    must(orviSwapChannels_8u_C3IR(picture.samples.data(), int(picture.step()), {picture.width, picture.height},
                                  order.channels));
    file.write(picture);
    whole = reader.isWhole();
  });
  return whole ? kDone : kDamaged;
}
