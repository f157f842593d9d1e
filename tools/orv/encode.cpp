// orv encode: a picture to a JPEG file.
#include <getopt.h>
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
    "baseline JPEG (JFIF). Grey pictures give a grey JPEG whatever the sampling. OUT ends\n"
    "in .jpg, .jpeg or nothing.\n"
    "\n"
    "  --quality N     1 to 100 (default 85): scales the usual quantisation tables\n"
    "  --sampling S    444, 422, 420 (default) or grey: one chroma sample for each pixel,\n"
    "                  for two side by side, for a square of four, or none. It is the\n"
    "                  mean of theirs, rounded to nearest\n"
    "  --optimize      make the best Huffman codes for this picture: smaller, slower,\n"
    "                  and up to 6 bytes of memory a pixel\n"
    "  --restart N     a restart marker every N MCUs (1 to 65535)\n"
    "  --strict        refuse a JPEG that is cut short or damaged\n"
    "  --path NAME     use the library's code path w7, v8, s8, p8, g9_avx or g9\n"
    "  --time          print the median time of encoding in memory\n"
    "  --repeat N      ... of N runs (default 11)\n"
    "  --help          show this\n";

struct Arguments {
  std::string in, out;  // out may be empty when time is to be taken
  jpeg::EncoderOptions jpeg;
  jpeg::Options reading;
  bool help = false, time = false;
  int repeat = 11;
};

jpeg::Sampling sampling(const std::string& name) {
  if (name == "444") return jpeg::Sampling::k444;
  if (name == "422") return jpeg::Sampling::k422;
  if (name == "420") return jpeg::Sampling::k420;
  if (name == "grey") return jpeg::Sampling::kGrey;
  throw UsageError("--sampling takes 444, 422, 420 or grey");
}

Arguments parse(int argc, char** argv) {
  const option options[] = {{"help", no_argument, nullptr, 'h'},          {"path", required_argument, nullptr, 'p'},
                            {"quality", required_argument, nullptr, 'q'}, {"sampling", required_argument, nullptr, 's'},
                            {"optimize", no_argument, nullptr, 'o'},      {"restart", required_argument, nullptr, 'i'},
                            {"strict", no_argument, nullptr, 'S'},        {"repeat", required_argument, nullptr, 'r'},
                            {"time", no_argument, nullptr, 't'},          {}};
  Arguments a;
  for (int c; (c = getopt_long(argc, argv, ":h", options, nullptr)) != -1;) {
    switch (c) {
      case 'h': a.help = true; return a;
      case 'p': selectPath(optarg); break;
      case 'q': a.jpeg.quality = optionQuality(optarg); break;
      case 's': a.jpeg.sampling = sampling(optarg); break;
      case 'o': a.jpeg.optimize = true; break;
      case 'i': a.jpeg.restartInterval = int(optionNumber("--restart", optarg, 65535)); break;
      case 'S': a.reading.strict = true; break;
      case 'r': a.repeat = optionRepeat(optarg); [[fallthrough]];
      case 't': a.time = true; break;
      default: refuseOption(c, argv);
    }
  }
  const int files = argc - optind;
  if (files > 2 || files < (a.time ? 1 : 2)) throw UsageError("encode takes IN and OUT.jpg (see orv encode --help)");
  a.in = argv[optind];
  if (files < 2) return a;
  a.out = argv[optind + 1];
  requireEnding(a.out, {"jpg", "jpeg", ""});
  return a;
}

// These give whether the picture was whole.
bool encodeToFile(const Arguments& a) {
  PictureReader picture(a.in, a.reading);
  jpeg::Encoder encoder(picture.width(), picture.height(), picture.channels(), a.jpeg);
  JpegFile file(a.out);
  encoder.encode(picture, file);
  file.commit();
  return picture.isWhole();
}

bool timeEncoding(const Arguments& a) {
  PictureReader reader(a.in, a.reading);
  const Picture picture = reader.picture();
  std::vector<uint8_t> data;
  printMedianTime(a.repeat, [&] {
    jpeg::Encoder encoder(picture.width, picture.height, picture.channels, a.jpeg);
    encodeFrom(encoder, picture.samples.data(), ptrdiff_t(picture.step()), &data);
    return 1e-6 * picture.width * picture.height;
  });
  return reader.isWhole();
}

}  // namespace

int runEncode(int argc, char** argv) {
  const Arguments a = parse(argc, argv);
  if (a.help) {
    fputs(kHelp, stdout);
    return 0;
  }
  requireSse2();
  bool whole = true;
  workOn(a.in, [&] {
    if (!a.out.empty()) whole = encodeToFile(a);
    if (a.time) whole = timeEncoding(a);
  });
  return whole ? kDone : kDamaged;
}
