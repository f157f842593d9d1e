// Files that the program encodes: as pictures, against cjpeg's and jpegtran's, and against each other.
#include <cstring>
#include <random>
#include <regex>
#include "codec/decoder.h"
#include "codec/encoder.h"
#include "pictures.h"
#include "support/guarded.h"

namespace {

// A picture in memory, encoded there.
struct Source {
  int width, height, channels;
  Bytes samples;

  Bytes encoded(const jpeg::EncoderOptions& options, const uint8_t* from = nullptr) const {
    if (!from) from = reinterpret_cast<const uint8_t*>(samples.data());
    jpeg::Encoder encoder(width, height, channels, options);
    std::vector<uint8_t> file;
    encodeFrom(encoder, from, ptrdiff_t(width) * channels, &file);
    return Bytes(file.begin(), file.end());
  }
  // Cut off, or with its last column and row repeated.
  Source resized(int to, int down) const {
    Source wide{to, down, channels, {}};
    for (int y = 0; y < down; ++y)
      for (int x = 0; x < to; ++x)
        wide.samples += samples.substr(size_t((std::min(y, height - 1) * width + std::min(x, width - 1)) * channels),
                                       size_t(channels));
    return wide;
  }
};

Source decodedInMemory(const Bytes& file) {
  jpeg::Decoder decoder(reinterpret_cast<const uint8_t*>(file.data()), file.size(), {});
  Source picture{decoder.width(), decoder.height(), decoder.channels(), {}};
  picture.samples.resize(size_t(picture.width * picture.height * picture.channels));
  decodeTo(decoder, reinterpret_cast<uint8_t*>(picture.samples.data()), picture.width * picture.channels);
  return picture;
}

// Samples of any value, or of the two that give the largest coefficients.
Source noise(int width, int height, int channels, bool extreme) {
  std::mt19937 random(unsigned(width * height + extreme));
  Source picture{width, height, channels, {}};
  for (int i = 0; i < width * height * channels; ++i) picture.samples += char(extreme ? -int(random() & 1) : random());
  return picture;
}

class Encode : public Pictures {
 protected:
  double psnr(const std::string& a, const std::string& b) const {
    const Outcome o = orv("compare " + a + " " + b);
    std::smatch match;
    return std::regex_match(o.out, match, std::regex("PSNR ([0-9.]+) dB, largest difference [0-9]+\n"))
               ? std::stod(match[1])
               : 0;
  }
};

const std::string kSamplings[] = {"444", "422", "420", "grey"};
constexpr jpeg::Sampling kSamplingOf[] = {jpeg::Sampling::k444, jpeg::Sampling::k422, jpeg::Sampling::k420,
                                          jpeg::Sampling::kGrey};
constexpr const char* kCjpegSampling[] = {"-sample 1x1", "-sample 2x1", "-sample 2x2", "-grayscale"};

// What stands in front of the scan's data is cjpeg's to the last byte: the tables, their order and what they are for.
// The picture is as good as cjpeg's at no larger size.
TEST_F(Encode, HeadersAreCjpegsAndPicturesAreAsGood) {
  must(ORV_DJPEG " -outfile photo " ORV_PHOTO " && " ORV_DJPEG " -grayscale -outfile grey " ORV_PHOTO);
  for (const int quality : {1, 10, 49, 50, 85, 100})
    for (size_t i = 0; i < std::size(kSamplings); ++i) {
      SCOPED_TRACE(kSamplings[i] + " of quality " + std::to_string(quality));
      const std::string photo = kSamplings[i] == "grey" ? "grey" : "photo";
      const Bytes jpeg =
          encoded(photo, "--sampling " + kSamplings[i] + " --restart 9 --quality " + std::to_string(quality));
      must(ORV_CJPEG " -baseline -restart 9B -quality " + std::to_string(quality) + " " + kCjpegSampling[i] +
           " -outfile theirs " + photo);
      const Bytes theirs = read("theirs");
      const size_t head = theirs.find("\xFF\xDA") + 2;
      EXPECT_TRUE(jpeg.substr(0, head) == theirs.substr(0, head));
      EXPECT_LT(double(jpeg.size()), 1.015 * double(theirs.size()));
      must(ORV_DJPEG " -nosmooth -outfile a encoded && " ORV_DJPEG " -nosmooth -outfile b theirs");
      EXPECT_GT(psnr(photo, "a"), psnr(photo, "b") - 0.1);
    }
}

TEST_F(Encode, EverySamplingSizeAndQualityIsWhatDjpegMakesOfIt) {
  constexpr int kSizes[][2] = {{1, 1}, {2, 3}, {8, 8}, {16, 16}, {17, 9}, {31, 33}, {273, 20}, {1000, 35}};
  int quality = 5;
  for (const auto& size : kSizes) {
    writePicture("picture", size[0], size[1]);
    writePicture("grey", size[0], size[1], 1);
    for (size_t i = 0; i < std::size(kSamplings); ++i)
      for (const char* kind : {"", " --restart 1", " --optimize --restart 2"}) {
        const std::string options = "--sampling " + kSamplings[i] + kind + " --quality " + std::to_string(quality);
        SCOPED_TRACE(std::to_string(size[0]) + " x " + std::to_string(size[1]) + " " + options);
        const Bytes jpeg = encoded(i == 3 ? "grey" : "picture", options);
        expectLikeDjpeg("encoded");
        for (const Path& path : kPaths) {
          if (!processorHas(path) || !strstr(kind, "optimize")) continue;
          EXPECT_TRUE(encoded(i == 3 ? "grey" : "picture", options + " --path " + path.name) == jpeg) << path;
        }
        quality = quality == 100 ? 5 : quality + 19;
      }
  }
}

// The largest coefficients and the longest blocks, with many bytes FF; files that do not fit into the encoder's buffer.
TEST_F(Encode, NoiseAndExtremes) {
  for (const bool extreme : {false, true})
    for (const jpeg::Sampling sampling : kSamplingOf)
      for (const int quality : {1, 100}) {
        SCOPED_TRACE(std::to_string(extreme) + " " + std::to_string(int(sampling)) + " " + std::to_string(quality));
        const Source picture = noise(320, 200, 3, extreme);
        jpeg::EncoderOptions options;
        options.quality = quality;
        options.sampling = sampling;
        write("a.jpg", picture.encoded(options));
        const Bytes whole = expectLikeDjpeg("a.jpg");
        options.optimize = true;
        options.restartInterval = 11;  // all eight restart markers, many times
        write("a.jpg", picture.encoded(options));
        EXPECT_TRUE(decoded("a.jpg") == whole);
      }
}

// Of the same coefficients jpegtran makes the same file, down to the blocks outside of the picture.
TEST_F(Encode, OptimisedFilesAreJpegtrans) {
  must(ORV_DJPEG " -outfile photo " ORV_PHOTO);
  writePicture("small", 40, 30);
  write("noise", "P6 90 70 255\n" + noise(90, 70, 3, false).samples);
  for (const char* picture : {"photo", "small", "noise"})
    for (const std::string& sampling : kSamplings)
      for (const char* restart : {"0", "4"}) {
        SCOPED_TRACE(picture + (" " + sampling) + " " + restart);
        const std::string options = "--sampling " + sampling + (*restart == '0' ? "" : " --restart 4");
        const size_t usual = encoded(picture, options).size();
        must(ORV_JPEGTRAN " -copy all -optimize -restart " + std::string(restart) + "B -outfile theirs encoded");
        const Bytes best = encoded(picture, options + " --optimize");
        EXPECT_LT(best.size(), usual);
        EXPECT_TRUE(best == read("theirs")) << best.size() << " bytes, not " << read("theirs").size();
      }
}

// The edges are those of a picture that goes on with its last column and row, up to whole MCUs. A byte read outside of
// it would end the test.
TEST_F(Encode, EdgesAreRepeatedAndNothingElseIsRead) {
  for (const int channels : {3, 1})
    for (int width = 1; width <= 49; ++width)
      for (const jpeg::Sampling sampling : kSamplingOf)
        for (const Guard guard : {Guard::kBefore, Guard::kBehind}) {
          const Source picture = noise(width, width % 17 + 1, channels, false);
          jpeg::EncoderOptions options;
          options.sampling = sampling;
          const Guarded samples(picture.samples.size(), guard);
          memcpy(samples.data(), picture.samples.data(), samples.size());
          const Source part = decodedInMemory(picture.encoded(options, samples.data()));
          const Source whole = decodedInMemory(picture.resized(64, 32).encoded(options));
          ASSERT_TRUE(part.samples == whole.resized(width, picture.height).samples) << width << " " << int(sampling);
        }
}

TEST_F(Encode, HeadersOfPpmFiles) {
  writePicture("picture", 21, 10);
  const Bytes ppm = read("picture"), expected = encoded("picture");
  for (const char* head : {"P6 21\t10 255 ", "P6#one\n# two 3 4\n21\r\n10#three\n\n255\n", "P6\n0021 10\n255#four\n"}) {
    write("other", head + ppm.substr(ppm.size() - 21 * 10 * 3));
    EXPECT_TRUE(encoded("other") == expected) << head;
  }
  write("other", ppm + "P6\n");  // of several pictures in a file the first counts
  EXPECT_TRUE(encoded("other") == expected);
  writePicture("grey", 21, 10, 1);
  EXPECT_TRUE(encoded("grey", "--sampling 422") == encoded("grey"));
  EXPECT_TRUE(encoded("picture", "--quality 85 --sampling 420") == expected);
  writePicture("wide", 65500, 1, 1);
  encoded("wide");
  expectLikeDjpeg("encoded");
}

TEST_F(Encode, Compare) {
  write("a", "P5 2 2 255\n\x10\x20\x30\x40");
  write("b", "P5 2 2 255\n\x11\x1F\x31\x3F");
  write("c", Bytes("P6 1 1 255\n\0\0\0", 14));
  write("d", "P6 1 1 255\n\xFF\xFF\xFF");
  for (const auto& [arguments, out, code] :
       {std::tuple("a b", "PSNR 48.13 dB, largest difference 1\n", 1),
        std::tuple("c d", "PSNR 0.00 dB, largest difference 255\n", 1),
        std::tuple("a a", "the pictures are the same\n", 0),
        std::tuple("--psnr 99 a a", "the pictures are the same\n", 0),
        std::tuple("--psnr 48 a b", "PSNR 48.13 dB, largest difference 1\n", 0),
        std::tuple("--psnr 48.2 a b", "PSNR 48.13 dB, largest difference 1\n", 1)}) {
    const Outcome o = orv(std::string("compare ") + arguments);
    EXPECT_EQ(o.out, out) << arguments;
    EXPECT_EQ(o.code, code) << arguments;
  }
}

}  // namespace
