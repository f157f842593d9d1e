// Raw samples: what the program writes and reads is what the library converts.
#include <functional>
#include <regex>
#include "pictures.h"

namespace {

constexpr const char* kBothWays[] = {"i420",   "nv12",   "i420-jfif", "nv12-jfif", "ycbcr",
                                     "ycbcrp", "yuv420", "yuv422",    "yuyv"};
constexpr const char* kWords[] = {"rgb565", "rgb555", "rgb444", "bgr565", "bgr555", "bgr444"};

class Convert : public Pictures {
 protected:
  Bytes converted(const std::string& name, const std::string& format, const std::string& options = "") const {
    must(ORV_PROGRAM " convert " + options + " " + name + " --to " + format + " raw");
    return read("raw");
  }
  // The raw samples that were written last.
  Bytes back(const std::string& format, int width, int height, const std::string& options = "") const {
    must(ORV_PROGRAM " convert " + options + " raw --from " + format + " --size " + std::to_string(width) + "x" +
         std::to_string(height) + " back.ppm");
    return read("back.ppm");
  }
};

void expectWithinOne(const Bytes& a, const Bytes& b) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) ASSERT_LE(std::abs(a[i] - b[i]), 1) << i;
}

// A picture and a library function's result for it, in as many planes as `samples` has.
struct Expected {
  int width, height;
  const Vel8u* rgb;

  VeliSize size() const { return {width, height}; }
  Bytes planes(const std::vector<int>& samples, const std::function<VelStatus(Vel8u* const*)>& convert) const {
    std::vector<std::vector<Vel8u>> memory;
    std::vector<Vel8u*> pointers;
    for (const int count : samples) memory.emplace_back(size_t(count));
    for (auto& plane : memory) pointers.push_back(plane.data());
    EXPECT_EQ(convert(pointers.data()), velStsNoErr);
    Bytes all;
    for (const auto& plane : memory) all.append(plane.begin(), plane.end());
    return all;
  }
};

TEST_F(Convert, EachFormatIsTheLibrarys) {
  constexpr int kWidth = 40, kHeight = 10, kPixels = kWidth * kHeight;
  writePicture("picture", kWidth, kHeight);
  const Bytes ppm = read("picture");
  const Expected e{kWidth, kHeight, reinterpret_cast<const Vel8u*>(ppm.data() + ppm.size() - 3 * kPixels)};
  EXPECT_EQ(converted("picture", "yuv420"), e.planes({kPixels, kPixels / 4, kPixels / 4}, [&](Vel8u* const* to) {
    return orviRGBToYUV420_8u_C3P3(e.rgb, to, e.size());
  }));
  EXPECT_EQ(converted("picture", "yuv422"), e.planes({kPixels, kPixels / 2, kPixels / 2}, [&](Vel8u* const* to) {
    return orviRGBToYUV422_8u_C3P3(e.rgb, to, e.size());
  }));
  EXPECT_EQ(converted("picture", "yuyv"), e.planes({2 * kPixels}, [&](Vel8u* const* to) {
    return orviRGBToYUV422_8u_C3C2R(e.rgb, 3 * kWidth, *to, 2 * kWidth, e.size());
  }));
  const Bytes ycc = e.planes({3 * kPixels}, [&](Vel8u* const* to) {
    return orviRGBToYCbCr_8u_C3R(e.rgb, 3 * kWidth, *to, 3 * kWidth, e.size());
  });
  EXPECT_EQ(converted("picture", "ycbcr"), ycc);
  Bytes rgbPlanes(3 * kPixels, '\0');
  for (int i = 0; i < 3 * kPixels; ++i) rgbPlanes[size_t(i % 3 * kPixels + i / 3)] = char(e.rgb[i]);
  const auto* const r = reinterpret_cast<const Vel8u*>(rgbPlanes.data());
  EXPECT_EQ(converted("picture", "ycbcrp"), e.planes({kPixels, kPixels, kPixels}, [&](Vel8u* const* to) {
    const Vel8u* const from[3] = {r, r + kPixels, r + 2 * kPixels};
    return orviRGBToYCbCr_8u_P3R(from, kWidth, to, kWidth, e.size());
  }));
  decltype(orviYCbCrToRGB565_8u16u_C3R)* const kPack[] = {orviYCbCrToRGB565_8u16u_C3R, orviYCbCrToRGB555_8u16u_C3R,
                                                          orviYCbCrToRGB444_8u16u_C3R, orviYCbCrToBGR565_8u16u_C3R,
                                                          orviYCbCrToBGR555_8u16u_C3R, orviYCbCrToBGR444_8u16u_C3R};
  for (size_t i = 0; i < std::size(kPack); ++i)
    EXPECT_EQ(converted("picture", kWords[i]), e.planes({2 * kPixels}, [&](Vel8u* const* to) {
      return kPack[i](reinterpret_cast<const Vel8u*>(ycc.data()), 3 * kWidth, reinterpret_cast<Vel16u*>(*to),
                      2 * kWidth, e.size());
    })) << kWords[i];
}

// By BT.601's equations and those of JPEG files, in doubles: each sample within its rounding, and that of the four whose
// mean it is.
TEST_F(Convert, DigitalVideoIsAsItsStandardsSay) {
  constexpr int kWidth = 38, kHeight = 6, kPixels = kWidth * kHeight;
  writePicture("picture", kWidth, kHeight);
  const Bytes ppm = read("picture"), rgb = ppm.substr(ppm.size() - 3 * kPixels);
  for (const bool full : {false, true}) {
    const std::string range = full ? "-jfif" : "";
    const Bytes planes = converted("picture", "i420" + range), turns = converted("picture", "nv12" + range);
    ASSERT_EQ(planes.size(), size_t(kPixels * 3 / 2));
    const auto at = [](const Bytes& bytes, int i) { return double(uint8_t(bytes[size_t(i)])); };
    for (int i = 0; i < kPixels / 4; ++i) {
      double cb = 0, cr = 0;
      for (const int pixel : {0, 1, kWidth, kWidth + 1}) {
        const int p = i / (kWidth / 2) * 2 * kWidth + i % (kWidth / 2) * 2 + pixel;
        const double r = at(rgb, 3 * p), g = at(rgb, 3 * p + 1), b = at(rgb, 3 * p + 2);
        const double y = 0.299 * r + 0.587 * g + 0.114 * b;
        EXPECT_NEAR(at(planes, p), full ? y : 16 + y * 219 / 255, full ? 0.501 : 1.01) << p;
        cb += (b - y) / 1.772 / 4;
        cr += (r - y) / 1.402 / 4;
      }
      const double scale = full ? 1 : 224 / 255.0, most = full ? 0.501 : 1.51;
      EXPECT_NEAR(at(planes, kPixels + i), 128 + cb * scale, most) << i;
      EXPECT_NEAR(at(planes, kPixels * 5 / 4 + i), 128 + cr * scale, most) << i;
      EXPECT_EQ(at(turns, kPixels + 2 * i), at(planes, kPixels + i)) << i;
      EXPECT_EQ(at(turns, kPixels + 2 * i + 1), at(planes, kPixels * 5 / 4 + i)) << i;
    }
    EXPECT_EQ(turns.substr(0, kPixels), planes.substr(0, kPixels));
    must(ORV_PROGRAM " convert picture --to i420" + range + " raw");
    const Bytes fromPlanes = back("i420" + range, kWidth, kHeight);
    write("raw", turns);
    EXPECT_EQ(back("nv12" + range, kWidth, kHeight), fromPlanes);
  }
}

// What is there of a completed picture is the picture's; and the way back finds it.
TEST_F(Convert, OddSizesAreCompleted) {
  for (const auto& [width, height] : {std::pair(1, 1), std::pair(2, 1), std::pair(5, 4), std::pair(33, 19)}) {
    const std::string size = std::to_string(width) + " " + std::to_string(height) + " 255\n";
    const Bytes grey(size_t(3 * width * height), '\x77');
    write("grey", "P6 " + size + grey);
    writePicture("picture", width, height);
    for (const std::string format : kBothWays) {
      SCOPED_TRACE(format + " " + size);
      const int w = (width + 1) / 2, h = (height + 1) / 2;
      const bool shared = format == "yuv420" || format[0] == 'i' || format[0] == 'n';
      const int samples = shared               ? width * height + 2 * w * h
                          : format == "yuv422" ? width * height + 2 * w * height
                          : format == "yuyv"   ? 4 * w * height
                                               : 3 * width * height;
      EXPECT_EQ(int(converted("grey", format).size()), samples);
      const Bytes picture = back(format, width, height);
      expectWithinOne(picture.substr(picture.size() - grey.size()), grey);
      const Bytes raw = converted("picture", format), there = back(format, width, height);
      EXPECT_EQ(there.size(), read("picture").size());
      for (const Path& path : kPaths) {
        if (!processorHas(path) || width < 33) continue;
        const std::string option = std::string("--path ") + path.name;
        EXPECT_TRUE(converted("picture", format, option) == raw) << path;
        EXPECT_TRUE(back(format, width, height, option) == there) << path;
      }
    }
  }
}

TEST_F(Convert, ThereAndBackIsNearlyTheSame) {
  must(ORV_DJPEG " -outfile photo " ORV_PHOTO);
  for (const std::string format : kBothWays) {
    converted("photo", format);
    back(format, 1517, 1003);
    std::smatch match;
    const Outcome o = orv("compare photo back.ppm");
    ASSERT_TRUE(std::regex_search(o.out, match, std::regex("PSNR ([0-9.]+) dB"))) << o.out;
    EXPECT_GT(std::stod(match[1]), format[0] == 'i' || format[0] == 'n' ? 40 : format[1] == 'u' ? 41 : 52) << format;
  }
}

}  // namespace
