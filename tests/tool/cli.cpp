// What goes wrong is said in one line, with an exit status, and leaves no file behind.
#include <cstring>
#include <regex>
#include "orv.h"
#include "run.h"

namespace {

class Cli : public InDirectory {
 protected:
  void expectRefusal(const std::string& arguments, int code, const std::string& part) const {
    const Outcome o = orv(arguments);
    EXPECT_EQ(o.code, code) << arguments;
    EXPECT_EQ(o.out, "") << arguments;
    EXPECT_TRUE(std::regex_match(o.err, std::regex("orv: [^\n]+\n"))) << arguments << "\n" << o.err;
    EXPECT_NE(o.err.find(part), std::string::npos) << arguments << "\n" << o.err;
    for (const auto& entry : std::filesystem::directory_iterator(at("")))
      EXPECT_EQ(entry.path().filename().string().find("OUT"), std::string::npos) << arguments << ": " << entry;
  }
  void expectBadFile(const Bytes& jpeg, const std::string& part) const {
    write("bad.jpg", jpeg);
    expectRefusal("decode --strict bad.jpg OUT", 1, "orv: bad.jpg: ");
    expectRefusal("decode --strict bad.jpg OUT", 1, part);
    if (jpeg[0] == '\xFF') expectRefusal("resize --strict bad.jpg OUT.ppm 50%", 1, part);
  }
};

TEST_F(Cli, BadPictures) {
  writePicture("picture", 64, 48);
  must(ORV_CJPEG " -quality 80 -restart 1 -outfile a.jpg picture");
  const Bytes jpeg = read("a.jpg");
  const auto find = [&](const char* marker) { return jpeg.find(marker); };
  const size_t sof = find("\xFF\xC0"), dqt = find("\xFF\xDB"), dht = find("\xFF\xC4"), sos = find("\xFF\xDA");
  const size_t rst0 = find("\xFF\xD0"), rst1 = find("\xFF\xD1"), data = sos + 14;
  const auto patched = [&](size_t at, uint8_t value) { return Bytes(jpeg).replace(at, 1, 1, char(value)); };
  Bytes ones;
  for (int i = 0; i < 50; ++i) ones += Bytes("\xFF\0", 2);
  const struct {
    Bytes jpeg;
    const char* part;
  } kCases[] = {
      {"", "empty"},
      {"P6 no JPEG at all", "not a JPEG"},
      {patched(sof + 1, 0xC3), "lossless JPEG (SOF3)"},
      {patched(sof + 1, 0xC5), "hierarchical JPEG (SOF5)"},
      {patched(sof + 4, 12), "12 bits"},
      {patched(sof + 6, 0), "no size"},
      {patched(sof + 8, 0), "no size"},
      {patched(sof + 9, 4), "4 components"},
      {patched(sof + 11, 0x02), "sampling factors cannot be"},
      {patched(sof + 11, 0x41), "sampling factors of 4x1"},
      {patched(sof + 12, 3), "quantisation table 3 is missing"},
      {patched(dqt + 4, 0x10), "too short"},
      {patched(dht + 4, 0x03), "Huffman table 0 is missing"},
      {patched(dht + 5, 5).replace(dht + 7, 1, 1, '\0'), "more codes of a length"},
      {patched(sos + 5, 99), "component that the frame does not have"},
      {patched(rst1 + 1, 0xD2), "corrupt: a marker"},
      {Bytes(jpeg).replace(rst1 - 20, 20, ""), "corrupt: a marker"},
      {Bytes(jpeg).replace(rst0 - 20, 20, ones), "corrupt: a code"},
      {jpeg.substr(0, data + 200), "the picture is cut short"},
      {jpeg.substr(0, data), "64 x 48 is more than a file of this size can hold"},
      {patched(sof + 5, 60).replace(sof + 7, 1, 1, char(60)),
       "15424 x 15408 is more than a file of this size can hold"},
      {jpeg.substr(0, 2) + "\xFF\xD9", "no picture"},
  };
  for (const auto& c : kCases) expectBadFile(c.jpeg, c.part);
  for (size_t length = 2; length < sos; length += 23) expectBadFile(jpeg.substr(0, length), "ends within its headers");
  must(ORV_CJPEG " -arithmetic -outfile c.jpg picture");
  expectBadFile(read("c.jpg"), "arithmetic");
}

TEST_F(Cli, BadPpmFiles) {
  writePicture("picture", 20, 10);
  const Bytes ppm = read("picture");
  const struct {
    Bytes ppm;
    const char* part;
  } kCases[] = {
      {"", "the file is empty"},
      {"GIF89a", "neither a JPEG nor a binary PPM (P6) or PGM (P5) file"},
      {"P3 1 1 255 1 2 3\n", "not a binary PPM (P6) or PGM (P5) file"},
      {"P6", "ends within its header"},
      {"P6 3 4 255", "ends within its header"},
      {"P6 3 # 4 255 ", "ends within its header"},
      {"P63 4 255 ", "header is damaged"},
      {"P6 -3 4 255 ", "header is damaged"},
      {"P6 3x4 255 ", "header is damaged"},
      {"P6 4294967297 1 255 ", "header is damaged"},
      {"P6 0 4 255 ", "no size"},
      {"P5 4 0 255 ", "no size"},
      {"P6 1 1 65535 123456", "samples up to 65535 are not supported"},
      {"P5 1 1 1 1", "samples up to 1 are not supported"},
      {"P5 65501 1 255 " + Bytes(65501, 'x'), "65501 x 1 is too large for JPEG"},
      {"P6 1 65501 255 " + Bytes(3 * 65501, 'x'), "1 x 65501 is too large for JPEG"},
      {"P6 50000 50000 255\n", "ends before its picture does"},
      {ppm.substr(0, ppm.size() - 1), "ends before its picture does"},
      {ppm.substr(0, ppm.size() - 20 * 10 * 3), "ends before its picture does"},
  };
  for (const auto& c : kCases) {
    write("bad.ppm", c.ppm);
    expectRefusal("encode bad.ppm OUT", 1, "orv: bad.ppm: ");
    expectRefusal("encode --optimize bad.ppm OUT", 1, c.part);
    if (!strstr(c.part, "too large")) expectRefusal("resize bad.ppm OUT.ppm 50%", 1, "orv: bad.ppm: ");
  }
  write("bad.ppm", "P6 20000 20000 255 ");
  std::filesystem::resize_file(at("bad.ppm"), 19 + 20000 * 20000 * 3ull);
  expectRefusal("encode --optimize bad.ppm OUT", 1, "20000 x 20000 is too large to optimise");
  expectRefusal("encode --time bad.ppm", 1, "held in memory");
  write("other", "P5 20 10 255\n" + Bytes(200, 'x'));
  expectRefusal("compare picture other", 1, "differ in size or kind");
  expectRefusal("compare picture bad.ppm", 1, "differ in size or kind");
  expectRefusal("filter --box 3x3 bad.ppm OUT.ppm", 1, "too large to filter");
  expectRefusal("filter --box 9999x9999 picture OUT.ppm", 1, "too large to filter");
  expectRefusal("filter picture OUT", 2, "filter takes --box");
  expectRefusal("filter --box 3 picture OUT", 2, "a size like 9x9");
  expectRefusal("swap picture OUT", 2, "swap takes --order");
  expectRefusal("swap --order rgbr picture OUT", 2, "'rgbr' is no order");
  expectRefusal("swap --order rga picture OUT", 2, "'rga' is no order");
  expectRefusal("swap --order bgr other OUT.ppm", 1, "a grey picture");
  expectRefusal("filter --box 0x3 picture OUT", 2, "a number from 1 to 9999");
}

TEST_F(Cli, BadFilesAndArguments) {
  writePicture("picture", 20, 10);
  must(ORV_CJPEG " -outfile a.jpg picture");
  std::filesystem::create_directory(at("folder"));
  expectRefusal("decode missing.jpg OUT", 1, "missing.jpg: cannot read");
  expectRefusal("decode folder OUT", 1, "folder: cannot read");
  expectRefusal("decode a.jpg nowhere/OUT", 1, "nowhere/OUT: cannot write");
  expectRefusal("decode a.jpg folder", 1, "folder: cannot write");
  expectRefusal("decode --max-pixels 199 a.jpg OUT", 1, "20 x 10 is more than the limit of 199");
  expectRefusal("encode missing.ppm OUT", 1, "missing.ppm: cannot read");
  expectRefusal("encode folder OUT", 1, "folder: cannot read");
  expectRefusal("encode picture nowhere/OUT", 1, "nowhere/OUT: cannot write");
  expectRefusal("encode picture folder", 1, "folder: cannot write");
  expectRefusal("compare picture missing.ppm", 2, "missing.ppm: cannot read");
  for (const char* arguments : {"",
                                "paint",
                                "--paint",
                                "info --all",
                                "info extra",
                                "decode a.jpg",
                                "decode a.jpg OUT 3",
                                "decode --paint a.jpg OUT",
                                "decode -x a.jpg OUT",
                                "decode a.jpg OUT --path",
                                "decode --path z1 a.jpg OUT",
                                "decode --max-pixels 0 a.jpg OUT",
                                "decode --repeat 1x a.jpg OUT",
                                "decode --fused=1 a.jpg OUT",
                                "encode picture",
                                "encode picture OUT 3",
                                "encode --paint picture OUT",
                                "encode --quality 0 picture OUT",
                                "encode --quality 101 picture OUT",
                                "encode --quality high picture OUT",
                                "encode --sampling 411 picture OUT",
                                "encode --restart 0 picture OUT",
                                "encode --restart 65536 picture OUT",
                                "encode --path z1 picture OUT",
                                "encode picture OUT --quality",
                                "compare picture",
                                "compare picture picture picture",
                                "compare --all a b",
                                "compare --psnr high a b",
                                "compare --psnr -1 a b",
                                "convert picture OUT",
                                "convert picture --to yuyv",
                                "convert picture --to yuyv OUT 3",
                                "convert picture --to yuyv --from yuyv --size 2x1 OUT",
                                "convert picture --to yuyv --size 2x1 OUT",
                                "convert six.raw --from yuyv OUT",
                                "convert six.raw --from yuyv --size 2 OUT",
                                "convert six.raw --from yuyv --size 2x OUT",
                                "convert six.raw --from yuyv --size 0x1 OUT",
                                "convert six.raw --from yuyv --size 20000x20000 OUT"})
    expectRefusal(arguments, 2, "");
}

// OUT's name is looked at before IN.
TEST_F(Cli, EndingsThatACommandDoesNotWrite) {
  for (const char* arguments :
       {"decode missing OUT.jpg", "decode missing OUT.png", "encode missing OUT.png", "encode missing OUT.ppm",
        "convert missing --to yuyv OUT.png", "convert missing --to yuyv OUT.ppm", "convert missing --to yuyv OUT.ycbcr",
        "convert missing --from yuyv --size 2x1 OUT.raw", "filter --box 3x3 missing OUT",
        "swap --order bgr missing OUT.gif", "resize missing OUT 50%", "resize missing OUT.d/r 50%",
        "sheet missing OUT"})
    expectRefusal(arguments, 2, ": what can be written here ends in .");
  writePicture("picture", 20, 10);
  must(ORV_CJPEG " -outfile a.jpg picture");
  expectRefusal("decode a.jpg OUT.pgm", 1, "OUT.pgm: the picture has colours");
  // Raw samples become a JPEG where the name says so.
  must(ORV_PROGRAM " convert picture --to ycbcr a.YCbCr && " ORV_PROGRAM
                   " convert a.YCbCr --from ycbcr --size 20x10 b.jpg && " ORV_DJPEG " b.jpg");
}

TEST_F(Cli, WhatCannotBeResized) {
  writePicture("picture", 20, 10);
  writePicture("line", 70000, 1, 1);
  std::filesystem::create_directory(at("folder"));
  std::filesystem::create_directory(at("folder.ppm"));
  write("text", "some text");
  write("empty", "");
  const struct {
    const char* arguments;
    int code;
    const char* part;
  } kCases[] = {
      {"missing OUT.ppm 50%", 1, "missing: cannot read"},
      {"folder OUT.ppm 50%", 1, "folder: cannot read"},
      {"empty OUT.ppm 50%", 1, "empty: the file is empty"},
      {"text OUT.ppm 50%", 1, "text: neither a JPEG nor"},
      {"picture nowhere/OUT.jpg 50%", 1, "nowhere/OUT.jpg: cannot write"},
      {"picture folder.ppm 50%", 1, "folder.ppm: cannot write: it is there"},
      {"picture OUT.png 50%", 2, "OUT.png: what can be written here ends in .jpg, .jpeg, .ppm, .pgm, .pnm"},
      {"picture OUT.pgm 50%", 1, "OUT.pgm: the picture has colours"},
      {"line OUT.jpg 100%", 1, "OUT.jpg: 70000 x 1 is too large for JPEG"},
      {"picture OUT.jpg 65501x1", 1, "OUT.jpg: 65501 x 1 is too large for JPEG"},
      {"picture OUT.ppm 20000x20000", 1, "picture: 20 x 10 to 20000 x 20000: more than the 268435456 pixels"},
      {"picture OUT.ppm 100000x", 1, "picture: 20 x 10 to 100000 x 50000: more than"},
      {"picture OUT.ppm 1000000000000%", 1, "picture: 20 x 10 to 1000000000 x 1000000000: more than"},
      {"--method super picture OUT.ppm 21x10", 1, "picture: 20 x 10 to 21 x 10: the method super only reduces"},
      {"--method super picture OUT.ppm 110%", 1, "super only reduces"},
      {"--method box picture OUT.ppm 50%", 2, "there is no method 'box', only nearest, linear"},
      {"--quality 0 picture OUT.ppm 50%", 2, "--quality takes a number from 1 to 100"},
      {"--path z1 picture OUT.ppm 50%", 2, "no code path 'z1'"},
      {"picture OUT.ppm 0x5", 2, "SIZE's width takes a number from 1 to"},
      {"picture OUT.ppm 5x5x5", 2, "SIZE's height takes a number from 1 to"},
      {"picture OUT.ppm x", 2, "SIZE's width"},
      {"picture OUT.ppm 99999999999x1", 2, "SIZE's width"},
      {"picture OUT.ppm 0", 2, "'0' is no size: give one like"},
      {"picture OUT.ppm 0%", 2, "'0%' is no size"},
      {"picture OUT.ppm %", 2, "'%' is no size"},
      {"picture OUT.ppm ''", 2, "'' is no size"},
      {"picture OUT.ppm 5.5.5", 2, "'5.5.5' is no size"},
      {"picture OUT.ppm 1e9", 2, "'1e9' is no size"},
      {"picture OUT.ppm half", 2, "'half' is no size"},
      {"picture OUT.ppm -- -50%", 2, "'-50%' is no size"},
      {"picture 50%", 2, "resize takes IN, OUT and a size"},
      {"picture OUT.ppm", 2, "resize takes IN, OUT and a size"},
      {"--only-shrink picture OUT.ppm", 2, "resize takes IN, OUT and a size"},
      {"--fit 5x5 picture OUT.ppm 50%", 2, "SIZE, --fit and --fill exclude each other"},
      {"--fit 5x5 --fill 5x5 picture OUT.ppm", 2, "SIZE, --fit and --fill exclude each other"},
      {"--only-shrink --crop 5x5+0+0 picture OUT.ppm", 2, "--only-shrink goes with SIZE, --fit or --fill"},
      {"--fit 5 picture OUT.ppm", 2, "--fit takes a size like"},
      {"--fill 5x0 picture OUT.ppm", 2, "--fill's height takes a number from 1 to"},
      {"--crop 5x5 picture OUT.ppm", 2, "--crop takes a size and a place like"},
      {"--crop 5x5+1 picture OUT.ppm", 2, "--crop takes a size and a place like"},
      {"--crop 5x5+1+ picture OUT.ppm", 2, "--crop takes a size and a place like"},
      {"--crop 5x5+1+-1 picture OUT.ppm", 2, "--crop takes a size and a place like"},
      {"--crop 5x5+1+2+3 picture OUT.ppm", 2, "--crop takes a size and a place like"},
      {"--crop 5x5+9999999999+0 picture OUT.ppm", 2, "--crop takes a size and a place like"},
      {"--crop +1+1 picture OUT.ppm", 2, "--crop takes a size like"},
      {"--crop 5x0+1+1 picture OUT.ppm", 2, "--crop's height takes a number from 1 to"},
      {"--crop 5x5+16+0 picture OUT.ppm", 1, "picture: the part to crop reaches beyond the picture, which is 20 x 10"},
      {"--crop 5x5+0+6 picture OUT.ppm 50%", 1, "reaches beyond"},
      {"--crop 268435456x1+999999999+0 picture OUT.ppm", 1, "reaches beyond"},
      {"--fit 100000x100000 picture OUT.ppm", 1, "picture: 20 x 10 to 100000 x 50000: more than"},
      {"--fill 20000x20000 picture OUT.ppm", 1, "picture: 10 x 10 to 20000 x 20000: more than"},
      {"--fill 30x30 --method super picture OUT.ppm", 1, "picture: 10 x 10 to 30 x 30: the method super only reduces"},
      {"picture OUT.ppm 50% 50%", 2, "resize takes IN, OUT and a size"},
  };
  for (const auto& c : kCases) expectRefusal(std::string("resize ") + c.arguments, c.code, c.part);
}

TEST_F(Cli, WhatGoesRight) {
  writePicture("picture", 20, 10);
  must(ORV_CJPEG " -outfile a.jpg picture");
  EXPECT_EQ(orv("decode --max-pixels 200 a.jpg a.ppm").code, 0);
  const Outcome timed = orv("decode --time --repeat 3 --path w7 a.jpg");
  EXPECT_TRUE(std::regex_match(timed.out, std::regex("w7: [0-9.]+ ms, [0-9.]+ MP/s\n"))) << timed.out;
  EXPECT_TRUE(std::regex_match(orv("encode --time --repeat 2 --path w7 picture").out, std::regex("w7: .*MP/s\n")));
  EXPECT_TRUE(
      std::regex_match(orv("resize --time --repeat 2 --path w7 picture out.ppm 50").out, std::regex("w7: .*MP/s\n")));
  for (const char* arguments :
       {"--help", "info --help", "decode --help", "encode --help", "compare --help", "convert --help", "filter --help",
        "resize --help", "sheet --help", "thumb --help", "verify --help", "--version", "info"}) {
    const Outcome o = orv(arguments);
    EXPECT_EQ(o.code, 0) << arguments;
    EXPECT_NE(o.out, "") << arguments;
    EXPECT_EQ(o.err, "") << arguments;
  }
  // What the library reports of a processor that it was not tuned for is no fault.
  const VelStatus selected = velStaticInit();
  int cache;
  const bool known = velGetMaxCacheSizeB(&cache) == velStsNoErr;
  const Bytes info = orv("info").out;
  EXPECT_EQ(info.find("(all is well: the path is chosen by features alone") != Bytes::npos, selected != velStsNoErr)
      << info;
  EXPECT_EQ(info.find("(all is well: the library goes by a usual size") != Bytes::npos, !known) << info;
  EXPECT_TRUE(
      std::regex_search(orv("info").out, std::regex("code path +[wvspg][0-9] \\(index [0-5](, with AVX2)?\\)")));
}

}  // namespace
