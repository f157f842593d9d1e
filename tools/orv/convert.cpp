// orv convert: a picture to raw samples in another colour format, and back.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include "commands.h"
#include "endings.h"
#include "options.h"
#include "orv.h"
#include "output_file.h"
#include "paths.h"
#include "picture_file.h"
#include "video.h"

namespace {

constexpr char kHelp[] =
    "usage: orv convert IN --to FORMAT OUT.raw\n"
    "       orv convert IN.raw --from FORMAT --size WIDTHxHEIGHT OUT\n"
    "\n"
    "Converts a JPEG or binary PPM file to raw samples in another colour format, or\n"
    "such samples back. Rows have no padding, and planes follow each other. OUT.raw\n"
    "may end in .raw, .yuv, .rgb, .bin, the format's name or nothing; OUT is a JPEG\n"
    "or a PPM file, as its name says (.jpg, .jpeg, .ppm, .pnm), or --to jpeg or\n"
    "--to ppm beside --from. IN and OUT may be -, standard input and output.\n"
    "\n"
    "FORMAT is digital video's, in studio range, luma 16 to 235:\n"
    "  i420       planes Y, Cb, Cr, with a sample of Cb and Cr for a square of four\n"
    "             pixels, which is the mean of theirs (elsewhere yuv420p)\n"
    "  nv12       planes Y, and Cb and Cr in turn (elsewhere nv12)\n"
    "  ycbcr      Y, Cb, Cr for each pixel\n"
    "  ycbcrp     planes Y, Cb, Cr\n"
    "as in JPEG files, 0 to 255:\n"
    "  i420-jfif  planes as of i420 (elsewhere yuvj420p, or yuv420p of range pc)\n"
    "  nv12-jfif  planes as of nv12\n"
    "analogue video's YUV, U = 0.492 (B - Y) and V = 0.877 (R - Y), which is nothing\n"
    "that other programs mean by the name:\n"
    "  yuv420     planes Y, U, V, a sample of U and V for a square of four pixels\n"
    "  yuv422     planes Y, U, V, a sample of U and V for two pixels side by side\n"
    "  yuyv       the same in one piece: Y, U, Y, V for two pixels\n"
    "or words of 16 bits, low byte first, with the first colour in the low bits:\n"
    "  rgb565, rgb555, rgb444, bgr565, bgr555, bgr444\n"
    "             The library packs YCbCr, so the colours go through studio range.\n"
    "             There is no way back\n"
    "All have the weights of BT.601. Where pixels share chroma, an odd last column or\n"
    "row is repeated.\n"
    "\n" ORV_HELP_WRITES ORV_HELP_READS ORV_HELP_ALL
    "  orv convert photo.jpg --to i420 photo.yuv\n"
    "  orv convert photo.yuv --from i420 --size 1517x1003 photo.ppm\n";

// ---- Formats

struct Format {
  const char* name;
  // So many bytes for each group of across by down pixels.
  struct Plane {
    int across, down, bytes;
  } planes[3];
  // Of whole groups. fromRaw is null where the library has no way back.
  VelStatus (*toRaw)(const Vel8u* rgb, int step, const Planes& to, VeliSize size);
  VelStatus (*fromRaw)(const Planes& from, Vel8u* rgb, int step, VeliSize size);
};

using Packer = decltype(orviYCbCrToRGB565_8u16u_C3R);

template <Packer* kPack> VelStatus toWords(const Vel8u* rgb, int step, const Planes& to, VeliSize size) {
  const auto row = std::make_unique<Vel8u[]>(size_t(step));
  VelStatus status = velStsNoErr;
  for (int y = 0; y < size.height && status == velStsNoErr; ++y) {
    auto* const words = reinterpret_cast<Vel16u*>(to.plane[0] + ptrdiff_t(y) * to.step[0]);
    status = orviRGBToYCbCr_8u_C3R(rgb + ptrdiff_t(y) * step, step, row.get(), step, {size.width, 1});
    if (status == velStsNoErr) status = kPack(row.get(), step, words, to.step[0], {size.width, 1});
  }
  return status;
}

// The library converts planes to planes.
VelStatus toPlanarYCbCr(const Vel8u* rgb, int step, const Planes& to, VeliSize size) {
  const auto row = std::make_unique<Vel8u[]>(size_t(step));
  Vel8u *const r = row.get(), *const g = r + size.width, *const b = g + size.width;
  const Vel8u* const from[3] = {r, g, b};
  VelStatus status = velStsNoErr;
  for (int y = 0; y < size.height && status == velStsNoErr; ++y) {
    const Vel8u* pixel = rgb + ptrdiff_t(y) * step;
    for (int x = 0; x < size.width; ++x, pixel += 3) r[x] = pixel[0], g[x] = pixel[1], b[x] = pixel[2];
    const ptrdiff_t at = ptrdiff_t(y) * to.step[0];
    Vel8u* const rows[3] = {to.plane[0] + at, to.plane[1] + at, to.plane[2] + at};
    status = orviRGBToYCbCr_8u_P3R(from, size.width, rows, to.step[0], {size.width, 1});
  }
  return status;
}

constexpr Format kFormats[] = {
    {"i420", {{1, 1, 1}, {2, 2, 1}, {2, 2, 1}}, toVideo<Range::kStudio, false>, fromVideo<Range::kStudio, false>},
    {"nv12", {{1, 1, 1}, {2, 2, 2}}, toVideo<Range::kStudio, true>, fromVideo<Range::kStudio, true>},
    {"i420-jfif", {{1, 1, 1}, {2, 2, 1}, {2, 2, 1}}, toVideo<Range::kFull, false>, fromVideo<Range::kFull, false>},
    {"nv12-jfif", {{1, 1, 1}, {2, 2, 2}}, toVideo<Range::kFull, true>, fromVideo<Range::kFull, true>},
    {"yuv420",
     {{1, 1, 1}, {2, 2, 1}, {2, 2, 1}},
     [](const Vel8u* rgb, int step, const Planes& to, VeliSize size) {
       return orviRGBToYUV420_8u_C3P3R(rgb, step, to.plane, to.step, size);
     },
     [](const Planes& from, Vel8u* rgb, int step, VeliSize size) {
       return orviYUV420ToRGB_8u_P3C3R(from.plane, from.step, rgb, step, size);
     }},
    {"yuv422",
     {{1, 1, 1}, {2, 1, 1}, {2, 1, 1}},
     [](const Vel8u* rgb, int step, const Planes& to, VeliSize size) {
       return orviRGBToYUV422_8u_C3P3R(rgb, step, to.plane, to.step, size);
     },
     [](const Planes& from, Vel8u* rgb, int step, VeliSize size) {
       return orviYUV422ToRGB_8u_P3C3R(from.plane, from.step, rgb, step, size);
     }},
    {"yuyv",
     {{2, 1, 4}},
     [](const Vel8u* rgb, int step, const Planes& to, VeliSize size) {
       return orviRGBToYUV422_8u_C3C2R(rgb, step, to.plane[0], to.step[0], size);
     },
     [](const Planes& from, Vel8u* rgb, int step, VeliSize size) {
       return orviYUV422ToRGB_8u_C2C3R(from.plane[0], from.step[0], rgb, step, size);
     }},
    {"ycbcr",
     {{1, 1, 3}},
     [](const Vel8u* rgb, int step, const Planes& to, VeliSize size) {
       return orviRGBToYCbCr_8u_C3R(rgb, step, to.plane[0], to.step[0], size);
     },
     [](const Planes& from, Vel8u* rgb, int step, VeliSize size) {
       return orviYCbCrToRGB_8u_C3R(from.plane[0], from.step[0], rgb, step, size);
     }},
    {"ycbcrp",
     {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}},
     toPlanarYCbCr,
     [](const Planes& from, Vel8u* rgb, int step, VeliSize size) {
       return orviYCbCrToRGB_8u_P3C3R(from.plane, from.step[0], rgb, step, size);
     }},
    {"rgb565", {{1, 1, 2}}, toWords<orviYCbCrToRGB565_8u16u_C3R>, nullptr},
    {"rgb555", {{1, 1, 2}}, toWords<orviYCbCrToRGB555_8u16u_C3R>, nullptr},
    {"rgb444", {{1, 1, 2}}, toWords<orviYCbCrToRGB444_8u16u_C3R>, nullptr},
    {"bgr565", {{1, 1, 2}}, toWords<orviYCbCrToBGR565_8u16u_C3R>, nullptr},
    {"bgr555", {{1, 1, 2}}, toWords<orviYCbCrToBGR555_8u16u_C3R>, nullptr},
    {"bgr444", {{1, 1, 2}}, toWords<orviYCbCrToBGR444_8u16u_C3R>, nullptr},
};

const Format& format(const std::string& name) {
  std::string names;
  for (const Format& f : kFormats) {
    if (name == f.name) return f;
    names += (names.empty() ? "" : ", ") + std::string(f.name);
  }
  throw UsageError("there is no format '" + name + "', only " + names);
}

// ---- Pictures

int divideUp(int a, int b) { return (a + b - 1) / b; }

// A picture of whole groups in a format, of which the file has those rows and groups that hold pixels.
class Raw {
 public:
  Raw(const Format& format, int width, int height) : format_(format), width_(width), height_(height) {
    int across = 1, down = 1;
    for (const auto& p : format.planes) across = std::max(across, p.across), down = std::max(down, p.down);
    whole_ = {divideUp(width, across) * across, divideUp(height, down) * down};
    for (int i = 0; i < count(); ++i) planes_.step[i] = whole_.width / format.planes[i].across * format.planes[i].bytes;
  }
  // How many bytes the file has.
  size_t fileSize() const {
    size_t total = 0;
    for (int i = 0; i < count(); ++i) total += rowSize(i) * size_t(rows(i));
    return total;
  }
  void allocate() {
    size_t start[4] = {};
    for (int i = 0; i < count(); ++i)
      start[i + 1] = start[i] + size_t(planes_.step[i]) * size_t(whole_.height / format_.planes[i].down);
    samples_.resize(start[count()]);
    for (int i = 0; i < count(); ++i) planes_.plane[i] = samples_.data() + start[i];
  }
  const Planes& planes() const { return planes_; }
  VeliSize whole() const { return whole_; }

  // visit(bytes, how many) for each row of each plane, as they come in the file.
  template <class Visit> void forEachRow(const Visit& visit) const {
    for (int i = 0; i < count(); ++i)
      for (int y = 0; y < rows(i); ++y) visit(planes_.plane[i] + ptrdiff_t(y) * planes_.step[i], rowSize(i));
  }

 private:
  int count() const { return format_.planes[2].bytes ? 3 : format_.planes[1].bytes ? 2 : 1; }
  int rows(int plane) const { return divideUp(height_, format_.planes[plane].down); }
  size_t rowSize(int plane) const {
    const auto& p = format_.planes[plane];
    return size_t(divideUp(width_, p.across) * p.bytes);
  }

  const Format& format_;
  const int width_, height_;
  VeliSize whole_;
  std::vector<Vel8u> samples_;
  Planes planes_;
};

// The picture, with its last column and row repeated.
std::vector<Vel8u> completed(Picture picture, VeliSize whole) {
  if (whole.width == picture.width && whole.height == picture.height) return std::move(picture.samples);
  std::vector<Vel8u> rgb;
  rgb.reserve(size_t(whole.width) * size_t(whole.height) * 3);
  for (int y = 0; y < whole.height; ++y) {
    const Vel8u* const row = &picture.samples[size_t(std::min(y, picture.height - 1)) * size_t(picture.width) * 3];
    rgb.insert(rgb.end(), row, row + 3 * picture.width);
    for (int x = picture.width; x < whole.width; ++x)
      rgb.insert(rgb.end(), row + 3 * (picture.width - 1), row + 3 * picture.width);
  }
  return rgb;
}

// ---- The command

struct Arguments {
  const Format *to = nullptr, *from = nullptr;
  int width = 0, height = 0;
  std::string in, out;
  SharedOptions shared;
};

void parseSize(const std::string& text, Arguments* a) {
  const VeliSize size = optionSize("--size", text, kMostInMemory);
  a->width = size.width;
  a->height = size.height;
  if (a->width > kMostInMemory / a->height)
    throw UsageError("--size takes up to " + std::to_string(kMostInMemory) + " pixels");
}

Arguments parse(int argc, char** argv) {
  Arguments a;
  readOptions(argc, argv, kReads | kWrites,
              {{"to", required_argument, nullptr, 't'},
               {"from", required_argument, nullptr, 'f'},
               {"size", required_argument, nullptr, 's'}},
              &a.shared, [&](int c) {
                if (c == 't' && (strcmp(optarg, "jpeg") == 0 || strcmp(optarg, "ppm") == 0))
                  a.shared.kind = optionKind(optarg);
                else if (c == 't')
                  a.to = &format(optarg);
                else if (c == 'f')
                  a.from = &format(optarg);
                else
                  parseSize(optarg, &a);
              });
  if (a.shared.help) return a;
  if (argc - optind != 2) throw UsageError("convert takes two files (see orv convert --help)");
  if (!a.to == !a.from || (a.to && a.shared.kind != PictureKind::kOfName))
    throw UsageError("convert takes either --to or --from (see orv convert --help)");
  if (!a.from == (a.width > 0)) throw UsageError("--size goes with --from, and --from with --size");
  if (a.from && !a.from->fromRaw) throw UsageError("there is no way back from " + std::string(a.from->name));
  a.in = argv[optind];
  a.out = argv[optind + 1];
  if (a.to)
    requireEnding(a.out, {"raw", "yuv", "rgb", "bin", a.to->name, ""});
  else
    requirePicture(a.out, a.shared.kind);
  return a;
}

// Gives whether the picture was whole.
bool convertTo(const Arguments& a) {
  PictureReader reader(a.in, a.shared.reading);
  if (reader.channels() != 3) throw FileError(a.in, "a grey picture; convert takes colours");
  Picture picture = reader.picture();
  Raw raw(*a.to, picture.width, picture.height);
  const std::vector<Vel8u> rgb = completed(std::move(picture), raw.whole());
  raw.allocate();
  must(a.to->toRaw(rgb.data(), raw.whole().width * 3, raw.planes(), raw.whole()));
  OutputFile file(a.out);
  raw.forEachRow([&](const Vel8u* row, size_t size) { file.write(row, size); });
  file.commit();
  return reader.isWhole();
}

void convertFrom(const Arguments& a) {
  InputFile file(a.in);
  Raw raw(*a.from, a.width, a.height);
  std::vector<Vel8u> samples;
  file.read(&samples, raw.fileSize());
  const bool longer = file.peek() != EOF;
  if (samples.size() < raw.fileSize() || longer)
    file.fail(std::string("the file is ") + (longer ? "longer" : "shorter") +
              " than a picture of this format and size");
  raw.allocate();
  const Vel8u* from = samples.data();
  raw.forEachRow([&](Vel8u* row, size_t count) {
    memcpy(row, from, count);
    from += count;
  });
  const int step = raw.whole().width * 3;
  std::vector<Vel8u> rgb(size_t(step) * size_t(raw.whole().height));
  must(a.from->fromRaw(raw.planes(), rgb.data(), step, raw.whole()));
  // Without the columns that only complete groups.
  Picture picture = {a.width, a.height, 3, std::move(rgb)};
  for (int y = 1; y < a.height; ++y)
    memmove(picture.row(y), &picture.samples[size_t(y) * size_t(step)], picture.step());
  PictureFile(a.out, a.width, a.height, 3, a.shared.jpeg, a.shared.kind).write(picture);
}

}  // namespace

int runConvert(int argc, char** argv) {
  const Arguments a = parse(argc, argv);
  if (a.shared.help) return fputs(kHelp, stdout), kDone;
  requireSse2();
  bool whole = true;
  workOn(a.in, [&] {
    if (a.to)
      whole = convertTo(a);
    else
      convertFrom(a);
  });
  return whole ? kDone : kDamaged;
}
