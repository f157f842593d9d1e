// orv resize: makes a picture smaller or larger.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include "commands.h"
#include "options.h"
#include "paths.h"
#include "resizer.h"
#include "timing.h"

namespace {

constexpr char kHelp[] =
    "usage: orv resize [OPTION]... IN OUT SIZE\n"
    "\n"
    "Resizes a picture. IN is a JPEG or a binary PPM or PGM file; OUT is one of these, as\n"
    "its name says (.jpg, .jpeg, .ppm, .pgm, .pnm). Grey stays grey. What a camera notes\n"
    "beside the picture, such as which side is up, is not kept.\n"
    "\n"
    "SIZE is one of\n"
    "  640x480      so many pixels, whatever becomes of the proportions\n"
    "  640x, x480   the other side follows\n"
    "  50%, 50      percent of both sides; 0.5 and 333.3 will do\n"
    "\n"
    "  --method M      nearest, linear, cubic, bspline, catmull, b05c03, lanczos or super\n"
    "                  (the mean of the area that a pixel covers; only reduces).\n"
    "                  Without --method it is catmull: sharp with few halos\n"
    "  --no-antialias  where the picture becomes smaller, a method sees all that a pixel\n"
    "                  covers, so that there is no moire; with this it sees what lies\n"
    "                  nearest only. It makes no difference to nearest and super\n"
    "  --antialias     the contrary, and what is done without either\n"
    "  --time          print the median time of resizing in memory, and the pixels that it\n"
    "                  makes in a second\n"
    "  --repeat N      ... of N runs (default 11)\n" ORV_HELP_NAMES ORV_HELP_WRITES ORV_HELP_READS ORV_HELP_ALL;

const ResizeMethod& method(const std::string& name) {
  std::string names;
  for (const ResizeMethod& m : kResizeMethods) {
    if (name == m.name) return m;
    names += (names.empty() ? "" : ", ") + std::string(m.name);
  }
  throw UsageError("there is no method '" + name + "', only " + names);
}

// ---- Sizes

struct Size {
  int width = 0, height = 0;  // either may be 0: it follows
  double percent = 0;         // or this
};

Size parseSize(const std::string& text) {
  const size_t cross = text.find('x');
  Size size;
  if (cross != std::string::npos) {
    const std::string width = text.substr(0, cross), height = text.substr(cross + 1);
    if (!width.empty() || height.empty()) size.width = int(optionNumber("SIZE's width", width.c_str(), kMostInMemory));
    if (!height.empty()) size.height = int(optionNumber("SIZE's height", height.c_str(), kMostInMemory));
    return size;
  }
  const std::string number = text.substr(0, text.size() - (!text.empty() && text.back() == '%'));
  char* end = nullptr;
  if (number.find_first_not_of("0123456789.") == std::string::npos) size.percent = strtod(number.c_str(), &end);
  if (!end || *end != 0 || !(size.percent > 0))
    throw UsageError("'" + text + "' is no size: give one like 640x480, 640x, x480 or 50%");
  return size;
}

VeliSize sizeFor(const Size& size, VeliSize from) {
  if (size.percent > 0) return scaled(from, size.percent / 100);
  if (size.height == 0) return {size.width, scaled(from, double(size.width) / from.width).height};
  if (size.width == 0) return {scaled(from, double(size.height) / from.height).width, size.height};
  return {size.width, size.height};
}

// ---- The command

struct Arguments {
  std::string in, out;
  Size size;
  const ResizeMethod* method = &::method("catmull");
  bool antialias = true;  // where it makes a difference
  SharedOptions shared;
};

Arguments parse(int argc, char** argv) {
  Arguments a;
  readOptions(argc, argv, kReads | kWrites | kNames | kTimes,
              {{"method", required_argument, nullptr, 'm'},
               {"antialias", no_argument, nullptr, 'a'},
               {"no-antialias", no_argument, nullptr, 'n'}},
              &a.shared, [&](int c) {
                if (c == 'm')
                  a.method = &method(optarg);
                else
                  a.antialias = c == 'a';
              });
  if (a.shared.help) return a;
  if (argc - optind != 3) throw UsageError("resize takes IN, OUT and a size (see orv resize --help)");
  a.in = argv[optind];
  a.out = argv[optind + 1];
  a.size = parseSize(argv[optind + 2]);
  requirePicture(a.out, a.shared.kind);
  return a;
}

// Gives whether the picture was whole.
bool resize(const Arguments& a) {
  PictureReader reader(a.in, a.shared.reading);
  const VeliSize from = {reader.width(), reader.height()}, to = sizeFor(a.size, from);
  const auto fail = [&](const std::string& why) {
    throw FileError(a.in, std::to_string(from.width) + " x " + std::to_string(from.height) + " to " +
                              std::to_string(to.width) + " x " + std::to_string(to.height) + ": " + why);
  };
  if (to.width > kMostInMemory / to.height)
    fail("more than the " + std::to_string(kMostInMemory) + " pixels that are held in memory");
  const bool reduces = to.width < from.width || to.height < from.height;
  const bool antialias = a.antialias && a.method->antialiases && reduces;
  const int interpolation = a.method->code | (antialias ? velFlagAntialiasing : 0);
  if (interpolation == velInterSuper && (to.width > from.width || to.height > from.height))
    fail("the method super only reduces");
  PictureFile file(a.out, to.width, to.height, reader.channels(), a.shared.jpeg, a.shared.kind);
  const Picture picture = reader.picture();
  const auto work = [&] { return resized(picture, to, interpolation); };
  file.write(work());
  if (a.shared.time)
    printMedianTime(a.shared.repeat, a.out, [&] {
      work();
      return 1e-6 * to.width * to.height;
    });
  return reader.isWhole();
}

}  // namespace

int runResize(int argc, char** argv) {
  const Arguments a = parse(argc, argv);
  if (a.shared.help) return fputs(kHelp, stdout), 0;
  requireSse2();
  bool whole = true;
  workOn(a.in, [&] { whole = resize(a); });
  return whole ? kDone : kDamaged;
}
