// orv sheet: a photo resized by every method, in one picture.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>
#include "commands.h"
#include "label.h"
#include "options.h"
#include "paths.h"
#include "resizer.h"

namespace {

constexpr char kHelp[] =
    "usage: orv sheet [OPTION]... IN OUT\n"
    "\n"
    "Makes a contact sheet of a photo: by each method of orv resize the photo\n"
    "reduced, without and with antialiasing, and its detail of most contrast\n"
    "enlarged. IN is a JPEG or a binary PPM or PGM file; OUT is one of these, as its\n"
    "name says (.jpg, .jpeg, .ppm, .pgm, .pnm).\n"
    "\n"
    "  --quality N     of a JPEG, 1 to 100 (default 95: what differs is to be the\n"
    "                  methods' doing)\n"
    "  --sampling S    of a JPEG, 444 (default), 422, 420 or grey\n" ORV_HELP_NAMES ORV_HELP_KEEPS ORV_HELP_READS
        ORV_HELP_ALL "  orv sheet photo.jpg sheet.jpg\n";

constexpr int kMethods = int(std::size(kResizeMethods)), kColumns = 4, kKinds = 3;
constexpr int kCell = 320, kGap = 8, kEnlargement = 6;

Picture cutOut(const Picture& from, int left, int top, VeliSize size) {
  Picture part = {size.width, size.height, from.channels, {}};
  for (int y = 0; y < size.height; ++y) {
    const uint8_t* const row = from.row(top + y) + left * from.channels;
    part.samples.insert(part.samples.end(), row, row + part.step());
  }
  return part;
}

// The part of this size, of those side by side, whose green or grey differs most: edges show what a method does.
Picture detailOf(const Picture& from, VeliSize size) {
  Picture detail = {};
  double most = -1;
  for (int top = 0; top + size.height <= from.height; top += size.height)
    for (int left = 0; left + size.width <= from.width; left += size.width) {
      Picture part = cutOut(from, left, top, size);
      double sum = 0, squares = 0;
      for (size_t i = size_t(part.channels / 2); i < part.samples.size(); i += size_t(part.channels)) {
        sum += part.samples[i];
        squares += part.samples[i] * part.samples[i];
      }
      const double variance = squares - sum * sum / size.width / size.height;
      if (variance <= most) continue;
      most = variance;
      detail = std::move(part);
    }
  return detail;
}

// Cells in columns, each with a label above its picture.
class Sheet {
 public:
  Sheet(VeliSize cell, int rows, int channels) : cell_(cell) {
    picture_ = {kGap + kColumns * across(), kGap + rows * down(), channels, {}};
    picture_.samples.assign(size_t(picture_.height) * picture_.step(), 255);
  }
  const Picture& picture() const { return picture_; }

  void label(int column, int row, const std::string& text) {
    drawLabel(&picture_, left(column), kGap + row * down(), text);
  }
  void place(int column, int row, const Picture& what) {
    uint8_t* to = picture_.row(kGap + row * down() + kLabelHeight + kGap / 2) + left(column) * picture_.channels;
    for (int y = 0; y < what.height; ++y, to += picture_.step()) memcpy(to, what.row(y), what.step());
  }

 private:
  int across() const { return cell_.width + kGap; }
  int down() const { return kLabelHeight + kGap / 2 + cell_.height + 2 * kGap; }
  int left(int column) const { return kGap + column * across(); }

  const VeliSize cell_;
  Picture picture_;
};

Picture sheetOf(const Picture& photo) {
  const VeliSize whole = {photo.width, photo.height};
  const double longest = std::max(whole.width, whole.height), factor = std::min(0.25, kCell / longest);
  const VeliSize small = scaled(whole, factor);
  const Picture detail = detailOf(photo, scaled(whole, std::min(1.0, kCell / kEnlargement / longest)));
  const VeliSize large = {detail.width * kEnlargement, detail.height * kEnlargement};
  Sheet sheet({kCell, std::max(small.height, large.height)}, kMethods / kColumns * kKinds, photo.channels);
  const std::string percent = std::to_string(std::lround(std::max(1.0, 100 * factor))) + "%";
  for (int i = 0; i < kMethods; ++i) {
    const ResizeMethod& m = kResizeMethods[i];
    const int column = i % kColumns, row = i / kColumns * kKinds;
    const auto show = [&](int kind, const Picture& what, const std::string& how) {
      sheet.label(column, row + kind, std::string(m.name) + ", " + how);
      sheet.place(column, row + kind, what);
    };
    show(0, resized(photo, small, m.code), percent);
    if (m.antialiases)
      show(1, resized(photo, small, m.code | velFlagAntialiasing), percent + ", antialiased");
    else
      sheet.label(column, row + 1, std::string(m.name) + ": no antialiasing");
    if (m.code != velInterSuper)
      show(2, resized(detail, large, m.code), std::to_string(100 * kEnlargement) + "%");
    else
      sheet.label(column, row + 2, std::string(m.name) + ": only reduces");
  }
  return sheet.picture();
}

}  // namespace

int runSheet(int argc, char** argv) {
  SharedOptions shared;
  shared.jpeg.quality = 95;
  shared.jpeg.sampling = jpeg::Sampling::k444;
  readOptions(argc, argv, kReads | kWrites | kKeeps | kNames, {}, &shared, [](int) {});
  if (shared.help) return fputs(kHelp, stdout), kDone;
  if (argc - optind != 2) throw UsageError("sheet takes IN and OUT (see orv sheet --help)");
  requirePicture(argv[optind + 1], shared.kind);
  requireSse2();
  bool whole = true;
  workOn(argv[optind], [&] {
    PictureReader reader(argv[optind], shared.reading);
    const Picture sheet = sheetOf(reader.picture());
    whole = reader.isWhole();
    PictureFile(argv[optind + 1], sheet.width, sheet.height, sheet.channels, reader.withMetadata(shared.jpeg),
                shared.kind)
        .write(sheet);
  });
  return whole ? kDone : kDamaged;
}
