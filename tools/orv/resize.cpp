// orv resize: makes a picture smaller or larger.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include "commands.h"
#include "options.h"
#include "paths.h"
#include "resizer.h"
#include "timing.h"

namespace {

constexpr char kHelp[] =
    "usage: orv resize [OPTION]... IN OUT SIZE\n"
    "       orv resize [OPTION]... --fit WxH|--fill WxH|--crop WxH+X+Y IN OUT\n"
    "\n"
    "Resizes a picture. IN is a JPEG or a binary PPM or PGM file; OUT is one of\n"
    "these, as its name says (.jpg, .jpeg, .ppm, .pgm, .pnm). Grey stays grey. From\n"
    "JPEG to JPEG the colour profile and the density are kept, and nothing else that\n"
    "is noted beside the picture.\n"
    "\n"
    "SIZE is one of\n"
    "  640x480      so many pixels, whatever becomes of the proportions\n"
    "  640x, x480   the other side follows\n"
    "  50%, 50      percent of both sides; 0.5 and 333.3 will do\n"
    "\n"
    "  --fit WxH       instead of SIZE, the largest that fits within W by H pixels,\n"
    "                  with the proportions kept\n"
    "  --fill WxH      instead of SIZE, exactly W by H pixels with the proportions\n"
    "                  kept: what goes beyond is cropped on both sides\n"
    "  --crop WxH+X+Y  take W by H pixels of the picture, X from its left and Y from\n"
    "                  its top, and resize these, or leave them without another size\n"
    "  --only-shrink   enlarge nothing: a side that is smaller stays, and one that\n"
    "                  follows it, too\n"
    "  --method M      nearest, linear, cubic, bspline, catmull, b05c03, lanczos or\n"
    "                  super (the mean of the area that a pixel covers; only\n"
    "                  reduces). Without --method it is catmull: sharp with few halos\n"
    "  --no-antialias  where the picture becomes smaller, a method sees all that a\n"
    "                  pixel covers, so that there is no moire; with this it sees\n"
    "                  what lies nearest only. It makes no difference to nearest and\n"
    "                  super\n"
    "  --antialias     the contrary, and what is done without either\n"
    "  --time          print the median time of resizing in memory, and the pixels\n"
    "                  that it makes in a second\n"
    "  --repeat N      ... of N runs (default 11)\n" ORV_HELP_NAMES ORV_HELP_WRITES ORV_HELP_KEEPS ORV_HELP_READS
        ORV_HELP_ALL
    "  orv resize photo.jpg small.jpg 50%\n"
    "  orv resize --fit 1920x1080 --only-shrink photo.jpg screen.jpg\n"
    "  orv resize --fill 400x400 --quality 90 photo.jpg square.jpg\n"
    "  orv resize --crop 640x480+100+50 photo.jpg part.ppm\n"
    "  orv resize --to jpeg - - x480 <photo.jpg >small.jpg\n";

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

VeliSize sizeFor(const Size& size, VeliSize from, bool onlyShrink) {
  const auto by = [&](double factor) { return scaled(from, onlyShrink ? std::min(factor, 1.0) : factor); };
  const auto side = [&](int wanted, int had) { return onlyShrink ? std::min(wanted, had) : wanted; };
  if (size.percent > 0) return by(size.percent / 100);
  if (size.height == 0) return {side(size.width, from.width), by(double(size.width) / from.width).height};
  if (size.width == 0) return {by(double(size.height) / from.height).width, side(size.height, from.height)};
  return {side(size.width, from.width), side(size.height, from.height)};
}

// WIDTHxHEIGHT+X+Y.
VeliRect parseCrop(const std::string& text) {
  const size_t first = std::min(text.find('+'), text.size()), second = std::min(text.find('+', first + 1), text.size());
  const auto offset = [&](size_t from, size_t to) {
    const std::string number = text.substr(std::min(from, to), to - std::min(from, to));
    if (number.empty() || number.size() > 9 || number.find_first_not_of("0123456789") != std::string::npos)
      throw UsageError("--crop takes a size and a place like 640x480+20+10");
    return std::stoi(number);
  };
  const VeliPoint at = {offset(first + 1, second), offset(second + 1, text.size())};
  const VeliSize size = optionSize("--crop", text.substr(0, first), kMostInMemory);
  return {at.x, at.y, size.width, size.height};
}

// ---- The command

struct Arguments {
  std::string in, out;
  Size size;
  VeliSize fit = {}, fill = {};  // where there is no size
  VeliRect crop = {};
  bool sized = false, onlyShrink = false;  // sized: by SIZE, fit or fill
  const ResizeMethod* method = &::method("catmull");
  bool antialias = true;  // where it makes a difference
  SharedOptions shared;
};

void readOption(int letter, Arguments* a) {
  switch (letter) {
    case 'm': a->method = &method(optarg); break;
    case 'i': a->fit = optionSize("--fit", optarg, kMostInMemory); break;
    case 'l': a->fill = optionSize("--fill", optarg, kMostInMemory); break;
    case 'c': a->crop = parseCrop(optarg); break;
    case 'o': a->onlyShrink = true; break;
    default: a->antialias = letter == 'a';
  }
}

Arguments parse(int argc, char** argv) {
  Arguments a;
  readOptions(argc, argv, kReads | kWrites | kKeeps | kNames | kTimes,
              {{"method", required_argument, nullptr, 'm'},
               {"antialias", no_argument, nullptr, 'a'},
               {"no-antialias", no_argument, nullptr, 'n'},
               {"fit", required_argument, nullptr, 'i'},
               {"fill", required_argument, nullptr, 'l'},
               {"crop", required_argument, nullptr, 'c'},
               {"only-shrink", no_argument, nullptr, 'o'}},
              &a.shared, [&](int letter) { readOption(letter, &a); });
  if (a.shared.help) return a;
  const int files = argc - optind, sizes = (files == 3) + (a.fit.width > 0) + (a.fill.width > 0);
  if (files < 2 || files > 3 || (sizes == 0 && a.crop.width == 0))
    throw UsageError("resize takes IN, OUT and a size (see orv resize --help)");
  if (sizes > 1) throw UsageError("SIZE, --fit and --fill exclude each other");
  if (sizes == 0 && a.onlyShrink) throw UsageError("--only-shrink goes with SIZE, --fit or --fill");
  a.sized = sizes > 0;
  a.in = argv[optind];
  a.out = argv[optind + 1];
  if (files == 3) a.size = parseSize(argv[optind + 2]);
  requirePicture(a.out, a.shared.kind);
  return a;
}

// The part of the upright picture that is taken, and what size it becomes.
struct Plan {
  VeliRect part;
  VeliSize to;

  VeliSize from() const { return {part.width, part.height}; }
  bool changesSize() const { return to.width != part.width || to.height != part.height; }
  bool enlarges() const { return to.width > part.width || to.height > part.height; }
  bool reduces() const { return to.width < part.width || to.height < part.height; }
};

// The part in the middle that has the wanted proportions; where it is not to be enlarged, the wanted size or less.
Plan planToFill(VeliSize wanted, VeliRect part, bool onlyShrink) {
  double factor = std::max(double(wanted.width) / part.width, double(wanted.height) / part.height);
  const bool keeps = onlyShrink && factor > 1;
  if (keeps) factor = 1;
  const auto side = [factor](int pixels, int most) {
    return std::min(std::max(int(std::min(std::round(pixels / factor), double(most))), 1), most);
  };
  const VeliSize size = {side(wanted.width, part.width), side(wanted.height, part.height)};
  part = {part.x + (part.width - size.width) / 2, part.y + (part.height - size.height) / 2, size.width, size.height};
  return {part, keeps ? size : wanted};
}

Plan planFor(const Arguments& a, VeliSize whole) {
  Plan plan = {a.crop.width ? a.crop : VeliRect{0, 0, whole.width, whole.height}, {}};
  if (plan.part.x + plan.part.width > whole.width || plan.part.y + plan.part.height > whole.height)
    throw FileError(a.in, "the part to crop reaches beyond the picture, which is " + std::to_string(whole.width) +
                              " x " + std::to_string(whole.height));
  plan.to = plan.from();
  if (a.fill.width) return planToFill(a.fill, plan.part, a.onlyShrink);
  if (a.fit.width) {
    const double factor = std::min(double(a.fit.width) / plan.to.width, double(a.fit.height) / plan.to.height);
    plan.to = scaled(plan.to, a.onlyShrink ? std::min(factor, 1.0) : factor);
  } else if (a.sized) {
    plan.to = sizeFor(a.size, plan.to, a.onlyShrink);
  }
  return plan;
}

// What the method does to change a picture's size as planned.
int interpolationFor(const Arguments& a, const Plan& plan) {
  const VeliSize from = plan.from(), to = plan.to;
  const auto fail = [&](const std::string& why) {
    throw FileError(a.in, std::to_string(from.width) + " x " + std::to_string(from.height) + " to " +
                              std::to_string(to.width) + " x " + std::to_string(to.height) + ": " + why);
  };
  if (to.width > kMostInMemory / to.height)
    fail("more than the " + std::to_string(kMostInMemory) + " pixels that are held in memory");
  if (a.method->code == velInterSuper && plan.enlarges()) fail("the method super only reduces");
  const bool antialias = a.antialias && a.method->antialiases && plan.reduces();
  return a.method->code | (antialias ? velFlagAntialiasing : 0);
}

void cropTo(const VeliRect& part, Picture* picture) {
  const size_t step = picture->step(), left = size_t(part.x) * size_t(picture->channels);
  picture->width = part.width;
  picture->height = part.height;
  for (int y = 0; y < part.height; ++y)
    memmove(&picture->samples[size_t(y) * picture->step()], &picture->samples[size_t(part.y + y) * step + left],
            picture->step());
  picture->samples.resize(size_t(part.height) * picture->step());
}

// Gives whether the picture was whole.
bool resize(const Arguments& a) {
  PictureReader reader(a.in, a.shared.reading);
  const Plan plan = planFor(a, {reader.width(), reader.height()});
  const VeliSize to = plan.to;
  const int interpolation = interpolationFor(a, plan);
  PictureFile file(a.out, to.width, to.height, reader.channels(), reader.withMetadata(a.shared.jpeg), a.shared.kind);

  // What has fewer pixels is made upright, the part that is taken or what becomes of it.
  const bool first = double(to.width) * to.height > double(plan.part.width) * plan.part.height;
  const Orientation after = first ? Orientation(1) : reader.orientation();
  Picture picture = first ? reader.picture() : reader.storedPicture();
  cropTo(after.stored(plan.part, {picture.width, picture.height}), &picture);
  const bool keepsPixels = !plan.changesSize() && (!a.sized || a.onlyShrink);
  const auto work = [&] {
    return after.upright(keepsPixels ? picture : resized(picture, after.other(to), interpolation));
  };
  file.write(keepsPixels && !a.shared.time ? after.upright(std::move(picture)) : work());
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
