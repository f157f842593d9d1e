// orv decode: a JPEG file to a PPM file.
#include <cstdio>
#include "commands.h"
#include "endings.h"
#include "options.h"
#include "paths.h"
#include "picture_file.h"
#include "timing.h"

namespace {

constexpr char kHelp[] =
    "usage: orv decode [OPTION]... IN.jpg OUT.ppm\n"
    "       orv decode --time [OPTION]... IN.jpg [OUT.ppm]\n"
    "\n"
    "Decodes a JPEG to binary PPM, or to PGM when it is grey; OUT ends in .ppm, .pgm,\n"
    ".pnm or nothing. Either may be -, standard input and output. The JPEG is\n"
    "baseline, extended sequential or progressive, with Huffman codes, 8 bits, and\n"
    "one or three components. Chroma of fewer samples than luma is replicated. Of a\n"
    "picture that is cut short or damaged the rest is mid-grey, or that up to the\n"
    "next restart marker, or in a progressive one less sharp; that is said, and the\n"
    "exit status is 2.\n"
    "\n"
    "  --fused         decode 4:2:0 with the library's fused primitive; its colours\n"
    "                  are those of analogue video's YUV, a little off the true ones\n"
    "  --max-pixels N  refuse larger pictures (default 268435456, at most 1073741824)\n"
    "  --time          print the median time of decoding in memory, as stored\n"
    "  --repeat N      ... of N runs (default 11)\n" ORV_HELP_READS ORV_HELP_ALL
    "  orv decode photo.jpg photo.ppm\n"
    "  orv decode - - <photo.jpg | orv encode - small.jpg\n";

struct Arguments {
  std::string in, out;  // out may be empty when time is to be taken
  SharedOptions shared;
};

Arguments parse(int argc, char** argv) {
  Arguments a;
  readOptions(argc, argv, kReads | kTimes,
              {{"fused", no_argument, nullptr, 'f'}, {"max-pixels", required_argument, nullptr, 'm'}}, &a.shared,
              [&](int c) {
                if (c == 'f')
                  a.shared.reading.fused = true;
                else
                  a.shared.reading.maxPixels = optionNumber("--max-pixels", optarg, jpeg::kMostPixels);
              });
  if (a.shared.help) return a;
  const int files = argc - optind;
  if (files > 2 || files < (a.shared.time ? 1 : 2))
    throw UsageError("decode takes IN.jpg and OUT.ppm (see orv decode --help)");
  a.in = argv[optind];
  if (files < 2) return a;
  a.out = argv[optind + 1];
  requireEnding(a.out, {"ppm", "pgm", "pnm", ""});
  return a;
}

// These give what is to be said of a picture that is not whole, or nothing.
std::string decodeToFile(const std::vector<uint8_t>& data, const Arguments& a) {
  jpeg::Decoder decoder(data.data(), data.size(), a.shared.reading);
  const Orientation orientation(a.shared.reading.asStored ? 1
                                                          : jpeg::readMetadata(data.data(), data.size()).orientation);
  const VeliSize size = orientation.other({decoder.width(), decoder.height()});
  PpmFile file(a.out, size.width, size.height, decoder.channels());
  if (orientation.isUpright()) {
    decoder.decode(file);
  } else {  // its first row may come last
    Picture picture = {};
    decodeUpright(decoder, orientation, &picture);
    file.write(picture.samples.data(), picture.height);
  }
  file.commit();
  return warningOf(a.in, decoder);
}

std::string timeDecoding(const std::vector<uint8_t>& data, const Arguments& a) {
  std::vector<uint8_t> pixels;
  std::string warning;
  printMedianTime(a.shared.repeat, a.out, [&] {
    jpeg::Decoder decoder(data.data(), data.size(), a.shared.reading);
    const size_t step = size_t(decoder.width()) * size_t(decoder.channels());
    pixels.resize(step * size_t(decoder.height()));
    decodeTo(decoder, pixels.data(), ptrdiff_t(step));
    warning = warningOf(a.in, decoder);
    return 1e-6 * decoder.width() * decoder.height();
  });
  return warning;
}

}  // namespace

int runDecode(int argc, char** argv) {
  const Arguments a = parse(argc, argv);
  if (a.shared.help) return fputs(kHelp, stdout), kDone;
  requireSse2();
  std::string warning;
  workOn(a.in, [&] {
    const std::vector<uint8_t> data = InputFile(a.in).rest();
    if (!a.out.empty()) warning = decodeToFile(data, a);
    if (a.shared.time) warning = timeDecoding(data, a);
  });
  if (warning.empty()) return kDone;
  complain(warning);
  return kDamaged;
}
