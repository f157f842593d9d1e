// orv encode: a picture to a JPEG file.
#include <cstdio>
#include "commands.h"
#include "endings.h"
#include "options.h"
#include "paths.h"
#include "picture_file.h"
#include "timing.h"

namespace {

constexpr char kHelp[] =
    "usage: orv encode [OPTION]... IN OUT.jpg\n"
    "       orv encode --time [OPTION]... IN [OUT.jpg]\n"
    "\n"
    "Encodes a binary PPM or PGM file of 8 bits a sample, or another JPEG anew, as a\n"
    "baseline JPEG (JFIF). Grey pictures give a grey JPEG whatever the sampling. OUT\n"
    "ends in .jpg, .jpeg or nothing. IN and OUT may be -, standard input and output.\n"
    "Another JPEG's colour profile and density are kept, and nothing else that is\n"
    "noted beside the picture.\n"
    "\n"
    "  --quality N     1 to 100 (default 85): scales the usual quantisation tables\n"
    "  --sampling S    444, 422, 420 (default) or grey: one chroma sample for each\n"
    "                  pixel, for two side by side, for a square of four, or none. It\n"
    "                  is the mean of theirs, rounded to nearest\n"
    "  --optimize      make the best Huffman codes for this picture: smaller, slower,\n"
    "                  and up to 6 bytes of memory a pixel\n"
    "  --restart N     a restart marker every N MCUs (1 to 65535)\n"
    "  --time          print the median time of encoding in memory\n"
    "  --repeat N      ... of N runs (default 11)\n" ORV_HELP_KEEPS ORV_HELP_READS ORV_HELP_ALL
    "  orv encode picture.ppm picture.jpg\n"
    "  orv encode --quality 75 --optimize photo.jpg small.jpg\n";

struct Arguments {
  std::string in, out;  // out may be empty when time is to be taken
  SharedOptions shared;
};

Arguments parse(int argc, char** argv) {
  Arguments a;
  readOptions(argc, argv, kReads | kWrites | kKeeps | kTimes,
              {{"optimize", no_argument, nullptr, 'o'}, {"restart", required_argument, nullptr, 'i'}}, &a.shared,
              [&](int c) {
                if (c == 'o')
                  a.shared.jpeg.optimize = true;
                else
                  a.shared.jpeg.restartInterval = int(optionNumber("--restart", optarg, 65535));
              });
  if (a.shared.help) return a;
  const int files = argc - optind;
  if (files > 2 || files < (a.shared.time ? 1 : 2))
    throw UsageError("encode takes IN and OUT.jpg (see orv encode --help)");
  a.in = argv[optind];
  if (files < 2) return a;
  a.out = argv[optind + 1];
  requireEnding(a.out, {"jpg", "jpeg", ""});
  return a;
}

// These give whether the picture was whole.
bool encodeToFile(const Arguments& a) {
  PictureReader picture(a.in, a.shared.reading);
  jpeg::Encoder encoder(picture.width(), picture.height(), picture.channels(), picture.withMetadata(a.shared.jpeg));
  JpegFile file(a.out);
  encoder.encode(picture, file);
  file.commit();
  return picture.isWhole();
}

bool timeEncoding(const Arguments& a) {
  PictureReader reader(a.in, a.shared.reading);
  const Picture picture = reader.picture();
  if (!a.out.empty())
    PictureFile(a.out, picture.width, picture.height, picture.channels, reader.withMetadata(a.shared.jpeg),
                PictureKind::kJpeg)
        .write(picture);
  std::vector<uint8_t> data;
  printMedianTime(a.shared.repeat, a.out, [&] {
    jpeg::Encoder encoder(picture.width, picture.height, picture.channels, a.shared.jpeg);
    encodeFrom(encoder, picture.samples.data(), ptrdiff_t(picture.step()), &data);
    return 1e-6 * picture.width * picture.height;
  });
  return reader.isWhole();
}

}  // namespace

int runEncode(int argc, char** argv) {
  const Arguments a = parse(argc, argv);
  if (a.shared.help) return fputs(kHelp, stdout), kDone;
  requireSse2();
  bool whole = true;
  workOn(a.in, [&] { whole = a.shared.time ? timeEncoding(a) : encodeToFile(a); });
  return whole ? kDone : kDamaged;
}
