#include "ppm_file.h"
#include <cctype>
#include <cerrno>
#include <cstring>
#include <stdexcept>

// ---- Writing

PpmFile::PpmFile(const std::string& name, int width, int height, int channels)
    : file_(name), step_(ptrdiff_t(width) * channels) {
  const std::string head =
      (channels == 1 ? "P5\n" : "P6\n") + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
  file_.write(head.data(), head.size());
}

jpeg::Rows PpmFile::rows(int, int count) {
  strip_.resize(size_t(count) * size_t(step_));
  return {strip_.data(), step_};
}

void PpmFile::done(int, int) { file_.write(strip_.data(), strip_.size()); }

// ---- Reading

PpmReader::PpmReader(const std::string& name) : name_(name), file_(fopen(name.c_str(), "rb"), fclose) {
  if (!file_) failToRead();
  const int letter = fgetc(file_.get()), kind = fgetc(file_.get());
  if (ferror(file_.get())) failToRead();
  if (letter != 'P' || (kind != '5' && kind != '6')) fail("not a binary PPM (P6) or PGM (P5) file");
  if (!isspace(character())) failInHeader();
  channels_ = kind == '5' ? 1 : 3;
  width_ = number();
  height_ = number();
  const int most = number();
  if (width_ == 0 || height_ == 0) fail("the picture has no size: width or height is zero");
  if (most != 255) fail("samples up to " + std::to_string(most) + " are not supported, only up to 255");
}

void PpmReader::fail(const std::string& why) const { throw std::runtime_error(name_ + ": " + why); }
void PpmReader::failToRead() const { fail(std::string("cannot read: ") + strerror(errno)); }
void PpmReader::failInHeader() const { fail("not a binary PPM or PGM file: its header is damaged"); }

// A character of the header. A comment counts as the end of its line.
int PpmReader::character() {
  int c = fgetc(file_.get());
  if (c == '#')
    while (c != '\n' && c != EOF) c = fgetc(file_.get());
  if (c == EOF) fail("the file ends within its header");
  return c;
}

// A number with white space in front of it, and the one white space behind it.
int PpmReader::number() {
  int c = character(), value = 0;
  while (isspace(c)) c = character();
  if (c < '0' || c > '9') failInHeader();
  for (; c >= '0' && c <= '9'; c = character()) {
    value = value * 10 + (c - '0');
    if (value > 99999999) failInHeader();
  }
  if (!isspace(c)) failInHeader();
  return value;
}

void PpmReader::read(uint8_t* samples, size_t count) {
  if (fread(samples, 1, count, file_.get()) == count) return;
  if (ferror(file_.get())) failToRead();
  fail("the file ends before its picture does");
}

jpeg::ConstRows PpmReader::rows(int, int count) {
  const size_t step = size_t(width_) * size_t(channels_);
  strip_.resize(step * size_t(count));
  read(strip_.data(), strip_.size());
  return {strip_.data(), ptrdiff_t(step)};
}

Picture PpmReader::picture() {
  const uint64_t pixels = uint64_t(width_) * uint64_t(height_);
  if (pixels > kMostInMemory)
    fail(std::to_string(width_) + " x " + std::to_string(height_) + " is more than the " +
         std::to_string(kMostInMemory) + " pixels that are held in memory");
  Picture all{width_, height_, channels_, std::vector<uint8_t>(size_t(pixels) * size_t(channels_))};
  read(all.samples.data(), all.samples.size());
  return all;
}
