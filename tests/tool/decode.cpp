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
                                    "-sample 2x1 -restart 3B -optimize"};
  int quality = 10;
  for (const auto& size : kSizes) {
    writePicture("picture", size[0], size[1]);
    for (const char* kind : kKinds) {
      SCOPED_TRACE(std::string(kind) + " -quality " + std::to_string(quality));
      must(ORV_CJPEG " " + std::string(kind) + " -baseline -quality " + std::to_string(quality) +
           " -outfile a.jpg picture");
      expectLikeDjpegOnEveryPath("a.jpg");
      quality = quality == 100 ? 10 : quality + 15;
    }
  }
}

// The same coefficients, written differently, are the same picture to the last bit; in several scans it goes through
// planes and tables instead of MCUs.
TEST_F(Decode, HowAFileIsWrittenDoesNotMatter) {
  writePicture("picture", 70, 36);
  write("all", "0;\n1;\n2;\n");
  write("two", "1 2;\n0;\n");
  for (const char* sampling : {"2x2", "2x1", "1x2", "1x1"}) {
    SCOPED_TRACE(sampling);
    must(ORV_CJPEG " -quality 80 -sample " + std::string(sampling) + " -outfile a.jpg picture");
    const Bytes jpeg = read("a.jpg"), picture = decoded("a.jpg");
    for (const char* how : {"-optimize", "-restart 1", "-restart 2B", "-scans all", "-scans two -restart 5B"}) {
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
      EXPECT_EQ(o.code, 0);
      EXPECT_EQ(o.err, "orv: b.jpg: warning: the picture is cut short, the rest is mid-grey\n");
      const Bytes part = read("b.ppm");
      ASSERT_EQ(part.size(), whole.size());
      EXPECT_TRUE(part.substr(0, 160 * 3 * 32) == whole.substr(0, 160 * 3 * 32));
      EXPECT_TRUE(part.substr(part.size() - 160 * 3 * 16) == Bytes(160 * 3 * 16, '\x80'));
    }
  }
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

}  // namespace
