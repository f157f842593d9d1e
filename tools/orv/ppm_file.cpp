#include "ppm_file.h"
#include <cctype>
#include <utility>
#include "endings.h"
#include "messages.h"

// ---- Writing

namespace {

// The name of a file that can have so many channels.
const std::string& checked(const std::string& name, int channels) {
  if (channels != 1 && endsIn(name, {"pgm"})) throw FileError(name, "the picture has colours; a PGM file has none");
  return name;
}

}  // namespace

PpmFile::PpmFile(const std::string& name, int width, int height, int channels)
    : file_(checked(name, channels)), step_(ptrdiff_t(width) * channels) {
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

PpmReader::PpmReader(InputFile file) : file_(std::move(file)) {
  const int letter = file_.byte(), kind = file_.byte();
  if (letter != 'P' || (kind != '5' && kind != '6')) file_.fail("not a binary PPM (P6) or PGM (P5) file");
  if (!isspace(character())) failInHeader();
  channels_ = kind == '5' ? 1 : 3;
  width_ = number();
  height_ = number();
  const int most = number();
  if (width_ == 0 || height_ == 0) file_.fail("the picture has no size: width or height is zero");
  if (most != 255) file_.fail("samples up to " + std::to_string(most) + " are not supported, only up to 255");
  const auto left = file_.left();
  if (left && *left < uint64_t(width_) * uint64_t(height_) * uint64_t(channels_)) failAtEnd();
}

void PpmReader::failInHeader() const { file_.fail("not a binary PPM or PGM file: its header is damaged"); }

void PpmReader::failAtEnd() const { file_.fail("the file ends before its picture does"); }

// A character of the header. A comment counts as the end of its line.
int PpmReader::character() {
  int c = file_.byte();
  if (c == '#')
    while (c != '\n' && c != EOF) c = file_.byte();
  if (c == EOF) file_.fail("the file ends within its header");
  return c;
}

// A number with white space in front of it, and the one white space after it.
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

void PpmReader::read(std::vector<uint8_t>* samples, size_t count) {
  file_.read(samples, count);
  if (samples->size() < count) failAtEnd();
}

jpeg::ConstRows PpmReader::rows(int, int count) {
  const size_t step = size_t(width_) * size_t(channels_);
  strip_.resize(step * size_t(count));
  if (file_.read(strip_.data(), strip_.size()) < strip_.size()) failAtEnd();
  return {strip_.data(), ptrdiff_t(step)};
}
