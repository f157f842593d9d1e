// Pictures: what the program decodes against djpeg, and against itself by other roads.
#include <regex>
#include "pictures.h"

namespace {

class Decode : public Pictures {};

TEST_F(Decode, TheExampleIsWhatDjpegMakesOfIt) { expectLikeDjpegOnEveryPath(ORV_PHOTO); }

TEST_F(Decode, EverySamplingSizeAndQualityIsWhatDjpegMakesOfIt) {
  constexpr int kSizes[][2] = {{1, 1}, {2, 3}, {8, 8}, {9, 16}, {15, 17}, {33, 17}, {16, 33}, {130, 70}};
  constexpr const char* kKinds[] = {"-sample 1x1",
                                    "-sample 2x1",
                                    "-sample 1x2",
                                    "-sample 2x2",
                                    "-grayscale",
                                    "-rgb",
                                    "-sample 2x2 -restart 1B",
                                    "-sample 2x1 -restart 3B -optimize",
                                    "-sample 2x2 -progressive",
                                    "-sample 2x1 -progressive -restart 2B",
                                    "-grayscale -progressive"};
  int quality = 5;
  for (const auto& size : kSizes) {
    writePicture("picture", size[0], size[1]);
    for (const char* kind : kKinds) {
      SCOPED_TRACE(std::string(kind) + " -quality " + std::to_string(quality));
      // Without -baseline the coarsest tables have 16 bits; then the file is extended sequential or progressive.
      must(ORV_CJPEG " " + std::string(kind) + " -quality " + std::to_string(quality) + " -outfile a.jpg picture");
      expectLikeDjpegOnEveryPath("a.jpg");
      quality = quality == 100 ? 5 : quality + 19;
    }
  }
}

// The same coefficients, written differently, are the same picture to the last bit; in several scans it goes through
// planes and tables instead of MCUs.
TEST_F(Decode, HowAFileIsWrittenDoesNotMatter) {
  writePicture("picture", 70, 36);
  write("all", "0;\n1;\n2;\n");
  write("two", "1 2;\n0;\n");
  write("bits",
        "0: 0-0, 0, 2;\n1 2: 0-0, 0, 0;\n0: 1-9, 0, 3;\n0: 10-63, 0, 1;\n0: 1-5, 3, 2;\n2: 1-63, 0, 0;\n"
        "0: 0-0, 2, 1;\n0: 6-9, 3, 2;\n0: 1-9, 2, 1;\n1: 1-63, 0, 0;\n0: 1-63, 1, 0;\n0: 0-0, 1, 0;\n");
  for (const char* sampling : {"2x2", "2x1", "1x2", "1x1"}) {
    SCOPED_TRACE(sampling);
    must(ORV_CJPEG " -quality 80 -sample " + std::string(sampling) + " -outfile a.jpg picture");
    const Bytes jpeg = read("a.jpg"), picture = decoded("a.jpg");
    for (const char* how : {"-optimize", "-restart 1", "-restart 2B", "-scans all", "-scans two -restart 5B",
                            "-progressive", "-progressive -restart 1", "-scans bits", "-scans bits -restart 3B"}) {
      must(ORV_JPEGTRAN " " + std::string(how) + " -outfile b.jpg a.jpg");
      EXPECT_TRUE(decoded("b.jpg") == picture) << how;
    }
    // Fill bytes behind each restart interval.
    must(ORV_JPEGTRAN " -restart 1B -outfile b.jpg a.jpg");
    write("b.jpg", std::regex_replace(read("b.jpg"), std::regex("\xFF([\xD0-\xD7\xD9])"), "\xFF\xFF\xFF$1"));
    EXPECT_TRUE(decoded("b.jpg") == picture);
    // Fill bytes, a comment, an application's segment, and tables that the file's own ones then replace.
    const Bytes tables = Bytes("\xFF\xDB\x00\x43\x00", 5) + Bytes(64, '\x63') + Bytes("\xFF\xC4\x00\x14\x00\x01", 6) +
                         Bytes(15, '\0') + Bytes("\x05", 1);
    const size_t sof = jpeg.find("\xFF\xC0");
    write("b.jpg", jpeg.substr(0, 2) + Bytes("\xFF\xFF\xFF\xFE\x00\x04hi\xFF\xEB\x00\x02", 12) + tables +
                       jpeg.substr(2, sof - 2) + "\xFF\xFF" + jpeg.substr(sof));
    EXPECT_TRUE(decoded("b.jpg") == picture);
  }
}

TEST_F(Decode, WhatIsMissingOfAPictureIsMidGrey) {
  writePicture("picture", 160, 120);
  for (const char* kind : {"-sample 2x2", "-sample 2x1", "-sample 2x2 -restart 4B"}) {
    SCOPED_TRACE(kind);
    must(ORV_CJPEG " -quality 80 " + std::string(kind) + " -outfile a.jpg picture");
    const Bytes whole = decoded("a.jpg"), jpeg = read("a.jpg");
    // The last MCU is cut off too where only its last bits are missing.
    write("b.jpg", jpeg.substr(0, jpeg.size() - 3));
    EXPECT_NE(orv("decode b.jpg b.ppm").err, "");
    EXPECT_TRUE(read("b.ppm").substr(whole.size() - 3) == "\x80\x80\x80");
    for (const char* end : {"", "\xFF\xD9", "\xFF"}) {
      write("b.jpg", jpeg.substr(0, jpeg.size() * 6 / 10) + end);
      const Outcome o = orv("decode b.jpg b.ppm");
      EXPECT_EQ(o.code, 2);
      EXPECT_EQ(o.err, "orv: b.jpg: warning: the picture is cut short, the rest is mid-grey\n");
      const Bytes part = read("b.ppm");
      ASSERT_EQ(part.size(), whole.size());
      EXPECT_TRUE(part.substr(0, 160 * 3 * 32) == whole.substr(0, 160 * 3 * 32));
      EXPECT_TRUE(part.substr(part.size() - 160 * 3 * 16) == Bytes(160 * 3 * 16, '\x80'));
    }
  }
}

TEST_F(Decode, CutProgressivePicturesAreCoarse) {
  writePicture("picture", 160, 120);
  must(ORV_CJPEG " -progressive -outfile a.jpg picture");
  const Bytes whole = decoded("a.jpg"), jpeg = read("a.jpg");
  write("b.jpg", jpeg.substr(0, jpeg.size() * 6 / 10));
  const Outcome o = orv("decode b.jpg b.ppm");
  EXPECT_EQ(o.code, 2);
  EXPECT_EQ(o.err, "orv: b.jpg: warning: the picture is cut short, the rest is coarse or mid-grey\n");
  const Bytes part = read("b.ppm");
  ASSERT_EQ(part.size(), whole.size());
  for (size_t row = 0; row < 120; ++row)  // something of each is known
    ASSERT_FALSE(part.substr(part.size() - (row + 1) * 480, 480) == Bytes(480, '\x80'))
        << "row " << row << " from below";
}

// Without colour, the fused primitive's YUV is the same as JFIF's.
TEST_F(Decode, FusedDecodingDiffersInColourOnly) {
  writePicture("picture", 50, 37);
  must(ORV_CJPEG " -grayscale -outfile grey.jpg picture && " ORV_DJPEG " -rgb -outfile grey grey.jpg");
  must(ORV_CJPEG " -sample 2x2 -outfile a.jpg grey && " ORV_CJPEG " -sample 2x2 -outfile b.jpg picture");
  EXPECT_TRUE(decoded("a.jpg", "--fused") == decoded("a.jpg"));
  EXPECT_FALSE(decoded("b.jpg", "--fused") == decoded("b.jpg"));
  EXPECT_EQ(orv("decode --fused grey.jpg c.ppm").code, 1);
}

// ---- Damage

const std::string kDamaged = "orv: b.jpg: warning: the picture is damaged, what is lost is mid-grey\n";
const Bytes kNoCodes = [] {
  Bytes ones;
  for (int i = 0; i < 50; ++i) ones += Bytes("\xFF\0", 2);
  return ones;
}();

class Damage : public Pictures {
 protected:
  // Ten MCUs a row, two to an interval.
  static constexpr int kWidth = 160, kHeight = 120, kWhich = 13;

  // The picture of a damaged file, as samples.
  Bytes picture(const Bytes& jpeg, const std::string& error = kDamaged) const {
    write("b.jpg", jpeg);
    const Outcome o = orv("decode b.jpg b.ppm");
    EXPECT_EQ(o.code, error.empty() ? 0 : 2);
    EXPECT_EQ(o.err, error);
    EXPECT_EQ(orv("decode --strict b.jpg c.ppm").code, error.empty() ? 0 : 1);
    EXPECT_EQ(exists("c.ppm"), error.empty());
    std::filesystem::remove(at("c.ppm"));
    const Bytes ppm = read("b.ppm");
    return ppm.substr(ppm.size() - kWidth * kHeight * 3);
  }
  // All intervals but kWhich are as they were, and that is, too, or its last MCU is grey.
  static void expectLost(bool lost, const Bytes& got, const Bytes& whole) {
    for (size_t i = 0; i < whole.size(); ++i) {
      const int x = int(i) / 3 % kWidth, y = int(i) / 3 / kWidth, mcu = y / 16 * (kWidth / 16) + x / 16;
      if (lost && mcu == kWhich * 2) continue;  // may have come before the damage
      const bool grey = lost && mcu == kWhich * 2 + 1;
      ASSERT_EQ(int(uint8_t(got[i])), grey ? 0x80 : int(uint8_t(whole[i]))) << "at " << x << ", " << y;
    }
  }
};

TEST_F(Damage, CostsAnIntervalAtMost) {
  writePicture("picture", kWidth, kHeight);
  must(ORV_CJPEG " -quality 80 -sample 2x2 -restart 2B -outfile a.jpg picture");
  const Bytes jpeg = read("a.jpg"), whole = picture(jpeg, "");
  std::vector<size_t> marks;  // marks[i] is the marker in front of interval i + 1
  for (size_t at = jpeg.find("\xFF\xDA"); (at = jpeg.find('\xFF', at + 1)) != Bytes::npos;)
    if ((uint8_t(jpeg[at + 1]) & 0xF8) == 0xD0) marks.push_back(at);
  ASSERT_EQ(marks.size(), 39u);
  const size_t start = marks[kWhich - 1], end = marks[kWhich];
  const Bytes before = jpeg.substr(0, start), mark = jpeg.substr(start, 2),
              data = jpeg.substr(start + 2, end - start - 2), behind = jpeg.substr(end),
              half = data.substr(0, data.size() / 2);
  const auto marker = [&](int number) { return Bytes("\xFF") + char(0xD0 + (kWhich - 1 + number + 8) % 8); };
  const struct {
    const char* what;
    bool lost;
    Bytes jpeg;
  } kCases[] = {
      {"codes that are none", true, before + mark + kNoCodes + behind},
      {"codes that are none, at its end", true, before + mark + half + kNoCodes + behind},
      {"data that are missing", true, before + mark + half + behind},
      {"all data that are missing", true, before + mark + behind},
      {"a marker that is missing", true, before + data + behind},
      {"an interval that is missing", true, before + behind},
      {"a foreign marker", true, before + mark + half + "\xFF\x5A" + data + behind},
      {"the number before", false, before + marker(-1) + data + behind},
      {"the number behind", false, before + marker(1) + data + behind},
      {"a number far off", false, before + marker(4) + data + behind},
      {"a marker too many", false, before + marker(-1) + mark + data + behind},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.what);
    expectLost(c.lost, picture(c.jpeg), whole);
  }
}

TEST_F(Damage, WithoutRestartMarkersCostsTheRest) {
  writePicture("picture", kWidth, kHeight);
  must(ORV_CJPEG " -quality 80 -outfile a.jpg picture");
  const Bytes jpeg = read("a.jpg"), whole = picture(jpeg, "");
  const Bytes got = picture(Bytes(jpeg).replace(jpeg.size() / 2, kNoCodes.size(), kNoCodes));
  const size_t rows = kWidth * 3 * 16;
  EXPECT_TRUE(got.substr(0, 2 * rows) == whole.substr(0, 2 * rows));
  EXPECT_TRUE(got.substr(got.size() - rows) == Bytes(rows, '\x80'));
  // Of several scans the others are whole: blue needs no Cr.
  write("scans", "0;\n2;\n1;\n");
  must(ORV_JPEGTRAN " -scans scans -outfile c.jpg a.jpg");
  const Bytes scans = read("c.jpg");
  const size_t cr = scans.find("\xFF\xDA", scans.find("\xFF\xDA") + 2) + 10;
  const Bytes other = picture(Bytes(scans).replace(cr + 20, kNoCodes.size(), kNoCodes));
  bool blue = true, red = true;
  for (size_t i = 0; i < whole.size(); i += 3) blue &= other[i + 2] == whole[i + 2], red &= other[i] == whole[i];
  EXPECT_TRUE(blue);
  EXPECT_FALSE(red);
}

TEST_F(Damage, EveryCommandSaysSo) {
  writePicture("picture", kWidth, kHeight);
  must(ORV_CJPEG " -quality 80 -outfile a.jpg picture && mkdir in");
  write("in/cut.jpg", read("a.jpg").substr(0, 3000));
  for (const std::string arguments :
       {"decode --time in/cut.jpg", "decode in/cut.jpg out.ppm", "encode in/cut.jpg out.jpg",
        "compare in/cut.jpg in/cut.jpg", "convert --to yuyv in/cut.jpg out.raw", "filter --box 3x3 in/cut.jpg out.ppm",
        "swap --order bgr in/cut.jpg out.ppm", "resize in/cut.jpg out.ppm 50%", "sheet in/cut.jpg out.ppm",
        "thumb in folder"}) {
    const Outcome o = orv(arguments), strict = orv(arguments + " --strict");
    EXPECT_EQ(o.code, 2) << arguments;
    EXPECT_EQ(o.err.find("orv: in/cut.jpg: warning: the picture is cut short, the rest is mid-grey\n"), 0u) << o.err;
    EXPECT_EQ(strict.code, arguments[1] == 'o' && arguments[2] == 'm' ? 2 : 1) << arguments;
    const std::string closing = arguments[0] == 't' ? "0 thumbnails in " : "";
    EXPECT_EQ(strict.err.find("orv: in/cut.jpg: the picture is cut short\n" + closing), 0u) << strict.err;
  }
}

}  // namespace
