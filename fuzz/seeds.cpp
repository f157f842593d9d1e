// Makes the inputs that fuzzing starts from: seeds FOLDER writes FOLDER/TARGET/NAME.
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>
#include "codec/encoder.h"
#include "support/scans.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

fs::path root;

void write(const char* target, const std::string& name, const Bytes& bytes) {
  fs::create_directories(root / target);
  std::ofstream file(root / target / name, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + (root / target / name).string());
}

Bytes& operator+=(Bytes& to, const Bytes& more) {
  to.insert(to.end(), more.begin(), more.end());
  return to;
}
Bytes& operator+=(Bytes& to, const std::string& text) {
  to.insert(to.end(), text.begin(), text.end());
  return to;
}
Bytes randomBytes(size_t count, std::mt19937& random) {
  Bytes bytes(count);
  for (uint8_t& b : bytes) b = uint8_t(random());
  return bytes;
}

// ---- JPEG files

// A slope with some noise.
Bytes picture(int width, int height, int channels) {
  std::mt19937 random(unsigned(width * 100 + height));
  Bytes samples;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < channels; ++c) samples.push_back(uint8_t(x * 7 + y * (c + 3) + int(random() % 16)));
  return samples;
}

Bytes encoded(int width, int height, int channels, const jpeg::EncoderOptions& options) {
  jpeg::Encoder encoder(width, height, channels, options);
  Bytes file;
  jpeg::encodeFrom(encoder, picture(width, height, channels).data(), ptrdiff_t(width) * channels, &file);
  return file;
}

// A picture without contrast, of 16 by 16, in any number of scans. The only code has a bit: the category 0, or the end of
// a block. So zeros are blocks.
Bytes flat(const Bytes& factors, const std::vector<Bytes>& scans, const Bytes& segment = {}) {
  Bytes file = {0xFF, 0xD8};
  file += segment;
  file += Bytes{0xFF, 0xDB, 0, 67, 0};
  file += Bytes(64, 1);
  file += Bytes{0xFF, 0xC0, 0, uint8_t(8 + 3 * factors.size()), 8, 0, 16, 0, 16, uint8_t(factors.size())};
  for (size_t i = 0; i < factors.size(); ++i) file += Bytes{uint8_t(i + 1), factors[i], 0};
  for (const int head : {0x00, 0x10}) {
    file += Bytes{0xFF, 0xC4, 0, 20, uint8_t(head), 1};
    file += Bytes(16, 0);
  }
  for (const Bytes& components : scans) {
    file += Bytes{0xFF, 0xDA, 0, uint8_t(6 + 2 * components.size()), uint8_t(components.size())};
    for (const uint8_t c : components) file += Bytes{c, 0};
    file += Bytes{0, 63, 0, 0, 0, 0};
  }
  file += Bytes{0xFF, 0xD9};
  return file;
}

// EXIF with an orientation, a resolution and its unit, and a profile in two chunks.
Bytes noted(bool little) {
  const auto number = [little](uint32_t value, int bytes) {
    Bytes all;
    for (int i = 0; i < bytes; ++i) all.push_back(uint8_t(value >> 8 * (little ? i : bytes - 1 - i)));
    return all;
  };
  Bytes tiff = {'E', 'x', 'i', 'f', 0, 0};
  tiff += little ? "II" : "MM";
  tiff += number(42, 2), tiff += number(8, 4), tiff += number(4, 2);
  constexpr uint32_t kTags[][4] = {{0x112, 3, 2, 6}, {0x11A, 5, 4, 62}, {0x11B, 5, 4, 70}, {0x128, 3, 2, 2}};
  for (const auto& [tag, type, size, value] : kTags) {
    tiff += number(tag, 2), tiff += number(type, 2), tiff += number(1, 4), tiff += number(value, int(size));
    tiff += Bytes(4 - size, 0);
  }
  for (const uint32_t value : {0u, 300u, 1u, 200u, 1u}) tiff += number(value, 4);
  Bytes all = {0xFF, 0xE1, 0, uint8_t(2 + tiff.size())};
  all += tiff;
  for (const int i : {1, 2}) {
    all += Bytes{0xFF, 0xE2, 0, 28};
    all += std::string("ICC_PROFILE") + '\0';
    all += Bytes{uint8_t(i), 2, 0, 0, 0, 0};
    all += i == 1 ? "header: " : "GRAY and";
  }
  return all;
}

// Of any script, in as many scans as it has.
Bytes progressive(const std::vector<scans::Component>& components, int width, int height, unsigned seed) {
  std::mt19937 random(seed);
  scans::Picture picture(width, height, components);
  picture.fill(random, 1 + seed % 4);
  scans::Script script = scans::anyScript(picture, random);
  if (script.size() > 5) script.resize(5);  // with the tables of each, a file of a few thousand bytes
  return scans::Writer(picture, seed).file(script, true);
}

void seedCodec() {
  const auto add = [](const std::string& name, Bytes file, int quality, int choice) {
    file += Bytes{uint8_t(quality - 1), uint8_t(choice)};
    write("codec", name, file);
  };
  using jpeg::Sampling;
  add("grey", encoded(17, 9, 1, {}), 100, 0);
  add("grey-restarts", encoded(24, 24, 1, {100, Sampling::kGrey, false, 2}), 100, 0x10);
  add("444", encoded(17, 15, 3, {90, Sampling::k444, false, 0}), 75, 1);
  add("422", encoded(33, 9, 3, {50, Sampling::k422, true, 0}), 85, 6);
  add("420", encoded(33, 31, 3, {75, Sampling::k420, false, 1}), 30, 8);
  add("420-fused", encoded(32, 18, 3, {75, Sampling::k420, true, 0}), 100, 0x22);
  add("one-pixel", encoded(1, 1, 3, {}), 1, 3);
  add("wide", encoded(300, 2, 3, {20, Sampling::k420, false, 3}), 95, 0);
  add("scans", flat({0x11, 0x11, 0x11}, {{1}, {2}, {3}}), 85, 0);
  add("two-scans", flat({0x22, 0x11, 0x11}, {{1}, {2, 3}}), 85, 1);
  add("odd-factors", flat({0x21, 0x12, 0x11}, {{1, 2, 3}}), 85, 2);
  add("small-first", flat({0x11, 0x22, 0x21}, {{1, 2, 3}}), 85, 2);
  for (unsigned seed = 0; seed < 12; ++seed) {
    const std::vector<scans::Component> kinds[] = {{{1, 1}}, {{2, 2}, {1, 1}, {1, 1}}, {{2, 1}, {1, 1}, {1, 2}}};
    add("progressive-" + std::to_string(seed), progressive(kinds[seed % 3], 20 + int(seed), 17, seed), 85, int(seed));
  }
  add("adobe-rgb",
      flat({0x11, 0x11, 0x11}, {{1, 2, 3}}, {0xFF, 0xEE, 0, 14, 'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0}), 85,
      0);
  for (const bool little : {false, true})
    add(little ? "noted-little" : "noted-big", flat({0x11}, {{1}}, noted(little)), 85, 0);
  // A Huffman table of more codes than there are symbols, and all that it announces.
  Bytes codes = {0xFF, 0xC4, 1, 254, 0};
  codes += Bytes(14, 0);
  codes += Bytes{255, 236};
  codes += Bytes(491, 7);
  add("too-many-codes", flat({0x11}, {{1}}, codes), 85, 0);
  add("too-large", {0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8, 0xFF, 0xFF, 0xFF, 0xFF, 1, 1, 0x11, 0}, 85, 0);
}

// ---- Blocks

// The counts of codes of one to `longest` bits, one of each.
Bytes ladder(int longest) {
  Bytes bits(16, 0);
  for (size_t i = 0; i < size_t(longest); ++i) bits[i] = 1;
  return bits;
}

void seedHuffmanDecode() {
  std::mt19937 random(1);
  const Bytes usualDc = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
  const Bytes usualAc = {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125};
  Bytes dcValues, acValues;
  for (int i = 0; i < 12; ++i) dcValues.push_back(uint8_t(i));
  for (int i = 0; i < 162; ++i) acValues.push_back(uint8_t(i / 10 << 4 | (1 + i % 10)));
  acValues[3] = 0, acValues[20] = 0xF0;
  for (int i = 0; i < 12; ++i) {
    Bytes input = {uint8_t(i % 4)};
    const int longest = 1 + int(random() % 16);
    input += i < 6 ? usualDc : ladder(longest);
    input += i < 8 ? usualAc : ladder(16);
    input += i < 6 ? dcValues : randomBytes(size_t(longest), random);
    if (i < 8)
      input += acValues;
    else
      for (int k = 0; k < 16; ++k) input.push_back(uint8_t(k % 3 ? random() : 0xE0 + random() % 16));
    input += Bytes{uint8_t(i == 11 ? 100 : random() % 33)};
    input += randomBytes(4, random);
    input += Bytes{uint8_t(i % 4 == 2 ? 0xD9 : 0), 0, uint8_t(i % 5), uint8_t(random()), uint8_t(random())};
    Bytes stream = randomBytes(size_t(20 + 10 * i), random);
    for (size_t k = 1; k < stream.size(); ++k)
      if (stream[k - 1] == 0xFF || (i % 2 && random() % 6 == 0)) stream[k - 1] = 0xFF, stream[k] = 0;
    input += stream;
    write("huffman_decode", "stream-" + std::to_string(i), input);
  }
  Bytes full = {1};
  full += Bytes(16, 255);
  full += Bytes(16, 1);
  write("huffman_decode", "no-table", full);
}

void seedHuffmanRoundtrip() {
  std::mt19937 random(2);
  for (int i = 0; i < 10; ++i) {
    Bytes input = {uint8_t(i == 9 ? 1 : random() & 0xFE)};
    for (int kind = 0; kind < 2; ++kind) {
      const int weights = i % 3 * 20;
      input.push_back(uint8_t(weights));
      for (int k = 0; k < weights; ++k) input += Bytes{uint8_t(kind ? random() : k % 16), uint8_t(k % 21)};
    }
    for (int block = 0; block < 4; ++block) {
      const int dc = int(random() % 2048), coefficients = i == 8 ? 63 : int(random() % 20);
      input += Bytes{uint8_t(dc >> 8), uint8_t(dc), uint8_t(coefficients)};
      for (int k = 0; k < coefficients; ++k) {
        // Values whose bits are ones give bytes FF.
        const int value = i % 2 ? (1 << random() % 15) - 1 : int(random() % 512) - 256;
        input += Bytes{uint8_t(i == 8 ? k + 1 : random() % 64), uint8_t(value >> 8), uint8_t(value)};
      }
    }
    write("huffman_roundtrip", "blocks-" + std::to_string(i), input);
  }
}

// ---- Primitives

// Two of each: which it is, and what decides a little of its arguments, or all.
void seedPrimitives() {
  std::mt19937 random(3);
  for (int i = 0; i < 512; ++i) {
    Bytes input = {uint8_t(i), 0, 0, 0};  // neither allocations that fail nor refused arguments to begin with
    input += randomBytes(i < 256 ? 8 : 120, random);
    write("primitives", "call-" + std::to_string(i), input);
  }
}

// ---- The program

void seedProgram() {
  const auto add = [](const std::string& name, int choice, const Bytes& head, const std::string& text,
                      const Bytes& bytes = {}) {
    Bytes input = {uint8_t(choice)};
    input += head;
    input += text;
    input += bytes;
    write("program", name, input);
  };
  const std::string end(1, '\0'), ppm = "P6\n# a comment\n5 3\n255\n", pgm = "P5 20 2 255 ";
  add("ppm", 0, {}, ppm, picture(5, 3, 3));
  add("pgm", 0, {}, pgm, picture(20, 2, 1));
  add("ppm-pipe", 4, {}, ppm, picture(5, 3, 3));
  add("large-pipe", 4, {}, "P6 99999999 99999999 255\n");
  add("large-numbers", 0, {}, "P5 4294967297 1 255\nA");
  add("jpeg", 0, {}, "", encoded(9, 9, 3, {}));
  Bytes oriented = encoded(9, 40, 3, {});
  const Bytes segment = noted(true);
  oriented.insert(oriented.begin() + 2, segment.begin(), segment.end());
  add("jpeg-oriented", 0, {}, "", oriented);
  add("number", 1, {0, 1, 0, 0}, "017");
  add("size", 1, {0xFF, 0xFF, 0xFF, 0xFF}, "640x480");
  add("size-too-large", 1, {0xFF, 0xFF, 0xFF, 0xFF}, "18446744073709551617x0x2147483647");
  for (const char* format : {"yuv420", "yuv422", "yuyv", "ycbcr", "ycbcrp", "rgb565", "bgr444"})
    add(std::string("to-") + format, 2, {1}, std::string("--to=") + format + end + ppm, picture(5, 3, 3));
  add("from-yuv420", 2, {0}, "--from=yuv420\n--size=5x3" + end, picture(5 * 3 + 2 * 3 * 2, 1, 1));
  add("from-yuyv", 6, {0}, "--from=yuyv\n--size=5x3" + end, picture(3 * 4 * 3, 1, 1));
  add("from-ycbcrp", 2, {2}, "--from=ycbcrp\n--size=4x2\n--path=v8" + end, picture(4 * 2 * 3, 1, 1));
  add("from-short", 2, {0}, "--from=ycbcr\n--size=4x2" + end, picture(23, 1, 1));
  add("swap", 3, {0}, "--order=bgr\n--strict" + end + ppm, picture(5, 3, 3));
  add("swap-help", 3, {0}, "--help" + end + pgm, picture(20, 2, 1));
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) throw std::runtime_error("usage: seeds FOLDER");
  root = argv[1];
  seedCodec();
  seedHuffmanDecode();
  seedHuffmanRoundtrip();
  seedPrimitives();
  seedProgram();
  return 0;
} catch (const std::exception& e) {
  fprintf(stderr, "seeds: %s\n", e.what());
  return 1;
}
