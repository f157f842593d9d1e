// orv resize: what it makes of a picture is one call of the library for all of it.
#include <algorithm>
#include <cmath>
#include <regex>
#include "pictures.h"
#include "resizer.h"

namespace {

Picture picture(int width, int height, int channels) {
  Picture p = {width, height, channels, std::vector<uint8_t>(size_t(width * height * channels))};
  unsigned noise = 1;
  for (uint8_t& sample : p.samples) sample = uint8_t((noise = noise * 1664525 + 1013904223) >> 24);
  return p;
}

Bytes ppm(const Picture& p) {
  return (p.channels == 1 ? "P5\n" : "P6\n") + std::to_string(p.width) + " " + std::to_string(p.height) + "\n255\n" +
         Bytes(p.samples.begin(), p.samples.end());
}

// Each method, without and with antialiasing.
template <class Visit> void forEachInterpolation(const Visit& visit) {
  for (const ResizeMethod& m : kResizeMethods) {
    visit(m, m.code);
    if (m.antialiases) visit(m, m.code | velFlagAntialiasing);
  }
}

// A picture of one colour stays one, so a pixel that is not written shows.
void expectFilled(VeliSize from, VeliSize to, int channels) {
  Picture plain = {from.width, from.height, channels, {}};
  plain.samples.assign(size_t(from.height) * plain.step(), 201);
  forEachInterpolation([&](const ResizeMethod& m, int interpolation) {
    if (m.code == velInterSuper && (to.width > from.width || to.height > from.height)) return;
    const Picture p = resized(plain, to, interpolation);
    ASSERT_EQ(p.samples.size(), size_t(to.width) * size_t(to.height) * size_t(channels));
    ASSERT_TRUE(std::all_of(p.samples.begin(), p.samples.end(), [](uint8_t s) { return s == 201; }))
        << m.name << " " << interpolation << ": " << from.width << " x " << from.height << " to " << to.width << " x "
        << to.height;
  });
}

TEST(Resizer, EveryPixelIsWritten) {
  for (int from = 1; from <= 40; ++from)
    for (int to = 1; to <= 40; ++to) expectFilled({from, 41 - from}, {to, from * to % 37 + 1}, from % 2 ? 1 : 3);
  for (const int side : {1, 2, 3, 7, 641, 997, 4096, 65500})
    for (const int other : {1, 2, 3, 7, 640, 1009, 4095, 65521, 300007}) {
      expectFilled({side, 3}, {other, 2}, 1);
      expectFilled({3, side}, {2, other}, 3);
      expectFilled({other, 2}, {side, 1}, 3);
    }
}

// Antialiasing that would need much memory is done in bands; nothing shows where they meet.
TEST(Resizer, BandsAreAsTheWhole) {
  struct {
    VeliSize from, to;
    int channels;
  } kCases[] = {{{2000, 3000}, {1500, 1100}, 3}, {{100, 30000}, {1000, 9999}, 1}, {{40, 1500}, {2000, 5000}, 3}};
  for (const auto& c : kCases) {
    const Picture from = picture(c.from.width, c.from.height, c.channels);
    for (const int method : {velInterLinear, velInterCubicCatmullRom, velInterLanczos}) {
      const int interpolation = method | velFlagAntialiasing;
      const VeliRect all = {0, 0, from.width, from.height}, whole = {0, 0, c.to.width, c.to.height};
      int size = 0;
      ASSERT_EQ(orviResizeGetBufSize(all, whole, c.channels, interpolation, &size), velStsNoErr);
      ASSERT_GT(size, 1 << 26);
      std::vector<uint8_t> buffer(size_t(size), 0), expected(size_t(c.to.width) * size_t(c.to.height * c.channels));
      const auto resize = c.channels == 1 ? orviResizeSqrPixel_8u_C1R : orviResizeSqrPixel_8u_C3R;
      ASSERT_EQ(resize(from.samples.data(), c.from, from.width * c.channels, all, expected.data(),
                       c.to.width * c.channels, whole, double(c.to.width) / from.width,
                       double(c.to.height) / from.height, 0, 0, interpolation, buffer.data()),
                velStsNoErr);
      EXPECT_TRUE(resized(from, c.to, interpolation).samples == expected) << method << " to " << c.to.height;
    }
  }
}

class Resize : public Pictures {
 protected:
  // The picture's file that the program makes, by default of `in`.
  Bytes made(const std::string& arguments, const std::string& out = "out.ppm") const {
    const Outcome o = orv("resize " + arguments);
    EXPECT_EQ(o.code, 0) << arguments << "\n" << o.err;
    EXPECT_EQ(o.out + o.err, "") << arguments;
    return read(out);
  }
  double psnr(const std::string& a, const std::string& b) const {
    const Outcome o = orv("compare " + a + " " + b);
    std::smatch match;
    return std::regex_search(o.out, match, std::regex("PSNR ([0-9.]+) dB")) ? std::stod(match[1]) : 0;
  }
};

TEST_F(Resize, MethodsAndPathsAreTheLibrarys) {
  for (const int channels : {1, 3}) {
    const Picture from = picture(47, 31, channels);
    write("in", ppm(from));
    for (const VeliSize& to : {VeliSize{20, 13}, VeliSize{47, 31}, VeliSize{90, 40}})
      forEachInterpolation([&](const ResizeMethod& m, int interpolation) {
        if (m.code == velInterSuper && to.width > from.width) return;
        // Antialiasing is for what becomes smaller.
        const Bytes expected = ppm(resized(from, to, to.width < from.width ? interpolation : m.code));
        const std::string arguments = "in out.ppm " + std::to_string(to.width) + "x" + std::to_string(to.height) +
                                      " --method " + m.name + (interpolation == m.code ? " --no-antialias" : "");
        for (const Path& path : kPaths) {
          if (!processorHas(path)) continue;
          EXPECT_TRUE(made(arguments + " --path " + path.name) == expected) << path << " " << arguments;
        }
      });
    EXPECT_TRUE(made("in out.ppm 20x13") == made("in out.ppm 20x13 --no-antialias --antialias --method catmull"));
    EXPECT_FALSE(made("in out.ppm 20x13") == made("in out.ppm 20x13 --no-antialias"));
    EXPECT_FALSE(made("in out.ppm 40x40") == made("in out.ppm 40x40 --no-antialias"));  // smaller one way
    EXPECT_TRUE(made("in out.ppm 90x40") == made("in out.ppm 90x40 --method catmull --no-antialias"));
    for (const char* method : {"nearest", "super"})
      EXPECT_TRUE(made(std::string("in out.ppm 20x13 --antialias --method ") + method) ==
                  made(std::string("in out.ppm 20x13 --no-antialias --method ") + method));
  }
}

TEST_F(Resize, SizesAreWhatIsAskedFor) {
  write("in", ppm(picture(31, 20, 3)));
  for (const auto& [size, expected] : {std::pair("7x9", "7 9"),
                                       std::pair("1x1", "1 1"),
                                       std::pair("62x", "62 40"),
                                       std::pair("x10", "16 10"),
                                       std::pair("50%", "16 10"),
                                       std::pair("50", "16 10"),
                                       std::pair("0.1", "1 1"),
                                       std::pair("333.3%", "103 67"),
                                       std::pair("100", "31 20"),
                                       std::pair("3x", "3 2"),
                                       std::pair("x500", "775 500"),
                                       std::pair("--fit 10x10", "10 6"),
                                       std::pair("--fit 100x10", "16 10"),
                                       std::pair("--fit 62x999", "62 40"),
                                       std::pair("--fit 1x1", "1 1"),
                                       std::pair("--fill 10x10", "10 10"),
                                       std::pair("--fill 1x99", "1 99"),
                                       std::pair("--only-shrink 99x10", "31 10"),
                                       std::pair("--only-shrink 7x9", "7 9"),
                                       std::pair("--only-shrink 200%", "31 20"),
                                       std::pair("--only-shrink 50%", "16 10"),
                                       std::pair("--only-shrink x40", "31 20"),
                                       std::pair("--only-shrink 40x", "31 20"),
                                       std::pair("--only-shrink x10", "16 10"),
                                       std::pair("--only-shrink --fit 99x10", "16 10"),
                                       std::pair("--only-shrink --fit 99x99", "31 20"),
                                       std::pair("--only-shrink --fill 10x10", "10 10"),
                                       std::pair("--only-shrink --fill 99x5", "31 5"),
                                       std::pair("--only-shrink --fill 99x99", "31 20"),
                                       std::pair("--crop 31x20+0+0", "31 20"),
                                       std::pair("--crop 5x4+26+16", "5 4"),
                                       std::pair("--crop 10x9+3+2 50%", "5 5"),
                                       std::pair("--crop 9x20+0+0 --fit 5x5", "2 5"),
                                       std::pair("--crop 1x1+30+19 --only-shrink --fill 5x5", "1 1")}) {
    const Bytes file = made("in out.ppm " + std::string(size));
    EXPECT_EQ(file.substr(0, file.find("\n255\n")), "P6\n" + std::string(expected)) << size;
  }
}

TEST_F(Resize, CropsWhatIsAskedFor) {
  for (const int channels : {1, 3}) {
    const Picture from = picture(31, 20, channels);
    write("in", ppm(from));
    for (const auto& [arguments, x, y, width, height] :
         {std::tuple("--crop 7x5+2+3", 2, 3, 7, 5), std::tuple("--crop 31x1+0+19", 0, 19, 31, 1),
          std::tuple("--crop 1x20+30+0", 30, 0, 1, 20),
          // Where nothing is enlarged, what is as large as wanted or smaller is left alone, in the middle.
          std::tuple("--only-shrink --fill 99x5", 0, 7, 31, 5), std::tuple("--only-shrink --fill 8x99", 11, 0, 8, 20),
          std::tuple("--only-shrink --fit 99x99", 0, 0, 31, 20), std::tuple("--only-shrink 99x99", 0, 0, 31, 20),
          std::tuple("--crop 9x9+1+1 --only-shrink --fill 4x99", 3, 1, 4, 9)}) {
      Picture part = {width, height, channels, {}};
      for (int v = y; v < y + height; ++v)
        part.samples.insert(part.samples.end(), from.row(v) + x * channels, from.row(v) + (x + width) * channels);
      EXPECT_TRUE(made(std::string("--method bspline in out.ppm ") + arguments) == ppm(part)) << arguments;
    }
    // A part is resized as if it were all.
    made("--crop 20x20+5+0 in part.ppm", "part.ppm");
    EXPECT_TRUE(made("--fill 10x10 in out.ppm") == made("part.ppm out.ppm 10x10"));
    EXPECT_TRUE(made("--fill 40x40 in out.ppm") == made("part.ppm out.ppm 40x40"));
    EXPECT_TRUE(made("--crop 20x20+5+0 in out.ppm --fit 9x30") == made("part.ppm out.ppm 9x9"));
  }
  const Outcome timed = orv("resize --crop 7x5+2+3 --time --repeat 2 in timed.ppm");
  EXPECT_NE(timed.out.find("MP/s"), Bytes::npos);
  EXPECT_TRUE(read("timed.ppm") == made("--crop 7x5+2+3 in out.ppm"));
}

TEST_F(Resize, JpegsAreAsAskedForOfEveryCommand) {
  write("in", ppm(picture(40, 30, 3)));
  must("mkdir folder && cp in folder/a.ppm && " ORV_PROGRAM " convert --to ycbcr in raw");
  const std::string options = "--quality 42 --sampling 422 ";
  for (const std::string command : {"filter --box 3x3 in ", "swap --order bgr in ", "sheet in ", "resize --fit 9x9 in ",
                                    "convert --from ycbcr --size 40x30 raw "}) {
    must(ORV_PROGRAM " " + command + "out.ppm && " ORV_PROGRAM " " + command + options + "out.jpg");
    EXPECT_TRUE(read("out.jpg") == encoded("out.ppm", options)) << command;
  }
  must(ORV_PROGRAM " thumb " + options + "folder thumbs");
  EXPECT_TRUE(read("thumbs/a.ppm.jpg") == encoded("in", options));
}

TEST_F(Resize, FilesOfAnyKindByContentAndName) {
  must("cp " ORV_PHOTO " photo.ppm");  // not what it says
  must(ORV_PROGRAM " decode " ORV_PHOTO " whole.ppm && " ORV_PROGRAM " resize whole.ppm small.ppm 25%");
  EXPECT_TRUE(made("photo.ppm out.ppm 25%") == read("small.ppm"));
  for (const char* name : {"out.jpg", "out.JPEG", "out.Jpg"}) {
    EXPECT_TRUE(made(std::string("photo.ppm ") + name + " 25% --quality 93", name) ==
                encoded("small.ppm", "--quality 93"));
    EXPECT_EQ(made(std::string("photo.ppm ") + name + " 25%", name), encoded("small.ppm"));
  }
  EXPECT_EQ(made("photo.ppm out.pnm 9x8", "out.pnm"), made("photo.ppm out.PPM 9x8", "out.PPM"));
  must(ORV_DJPEG " -grayscale -outfile grey " ORV_PHOTO " && " ORV_CJPEG " -outfile grey.jpg grey");
  EXPECT_EQ(made("grey out.pgm 9x8", "out.pgm").substr(0, 2), "P5");
  made("grey.jpg out.jpg 90x80", "out.jpg");
  EXPECT_EQ(decoded("out.jpg").substr(0, 10), "P5\n90 80\n2");
  // The other commands read and write through the same.
  must(ORV_PROGRAM " filter --box 3x3 photo.ppm a.ppm && " ORV_PROGRAM " filter --box 3x3 whole.ppm a.jpg");
  EXPECT_TRUE(encoded("a.ppm") == read("a.jpg"));
  EXPECT_TRUE(encoded("photo.ppm") == encoded("whole.ppm"));
  must(ORV_PROGRAM " convert photo.ppm --to yuyv a && " ORV_PROGRAM " convert whole.ppm --to yuyv b");
  EXPECT_TRUE(read("a") == read("b"));
  EXPECT_EQ(orv("compare photo.ppm whole.ppm").out, "the pictures are the same\n");
  // Cut short, the rest is grey; that is said.
  write("cut.jpg", read("photo.ppm").substr(0, 100000));
  const Outcome o = orv("resize cut.jpg out.ppm 50%");
  EXPECT_EQ(o.code, 2);
  EXPECT_EQ(o.err, "orv: cut.jpg: warning: the picture is cut short, the rest is mid-grey\n");
}

// A smooth picture is what it was, at other places: samples of a formula. And there and back keeps a photo.
TEST_F(Resize, PicturesKeepTheirContent) {
  const auto smooth = [](VeliSize size) {
    Picture p = {size.width, size.height, 1, {}};
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x) {
        const double u = (x + 0.5) / size.width, v = (y + 0.5) / size.height;
        p.samples.push_back(uint8_t(std::lround(128 + 100 * std::cos(3.1416 * u) * std::cos(6.2832 * v))));
      }
    return p;
  };
  write("in", ppm(smooth({300, 200})));
  for (const VeliSize& to : {VeliSize{77, 150}, VeliSize{640, 470}, VeliSize{299, 201}}) {
    write("expected", ppm(smooth(to)));
    for (const char* options : {"", "--method linear", "--method lanczos", "--method cubic --no-antialias"}) {
      made("in out.ppm " + std::to_string(to.width) + "x" + std::to_string(to.height) + " " + options);
      EXPECT_GT(psnr("out.ppm", "expected"), 50) << options << " to " << to.width;
    }
  }
  made(ORV_PHOTO " half.ppm 758x502");
  made("half.ppm back.ppm 1517x1003");
  must(ORV_PROGRAM " decode " ORV_PHOTO " photo");
  EXPECT_GT(psnr("back.ppm", "photo"), 30);
}

}  // namespace
