#include "picture_file.h"
#include <cctype>
#include <cstdio>
#include <utility>
#include "commands.h"

std::string cutWarning(const std::string& name) {
  return name + ": warning: the picture is cut short, the rest is mid-grey";
}
void warnOfCut(const std::string& name) { fprintf(stderr, "orv: %s\n", cutWarning(name).c_str()); }

std::string endingOf(const std::string& name) {
  const size_t start = name.rfind('/') + 1, dot = name.rfind('.');
  if (dot == std::string::npos || dot < start) return "";
  std::string ending = name.substr(dot + 1);
  for (char& c : ending) c = char(tolower(static_cast<unsigned char>(c)));
  return ending;
}

// ---- Reading

PictureReader::PictureReader(const std::string& name) : name_(name) {
  InputFile file(name);
  const int first = file.peek();
  if (first == EOF) file.fail("the file is empty");
  if (first == 'P') {
    ppm_ = std::make_unique<PpmReader>(std::move(file));
    return;
  }
  if (first != 0xFF) file.fail("neither a JPEG nor a binary PPM (P6) or PGM (P5) file");
  workOn(name, [&] {
    data_ = file.rest();
    decoder_ = std::make_unique<jpeg::Decoder>(data_.data(), data_.size(), jpeg::Options());
  });
}

bool PictureReader::read(Picture* to) {
  const uint64_t pixels = uint64_t(width()) * uint64_t(height());
  if (pixels > kMostInMemory)
    throw std::runtime_error(name_ + ": " + std::to_string(width()) + " x " + std::to_string(height()) +
                             " is more than the " + std::to_string(kMostInMemory) + " pixels that are held in memory");
  bool whole = true;
  workOn(name_, [&] {
    to->width = width();
    to->height = height();
    to->channels = channels();
    to->samples.resize(size_t(pixels) * size_t(channels()));
    if (ppm_)
      ppm_->read(to->samples.data(), to->samples.size());
    else
      whole = decodeTo(*decoder_, to->samples.data(), ptrdiff_t(to->step()));
  });
  return whole;
}

Picture PictureReader::picture() {
  Picture all = {};
  if (!read(&all)) warnOfCut(name_);
  return all;
}

jpeg::ConstRows PictureReader::rows(int y, int count) {
  if (ppm_) return ppm_->rows(y, count);
  if (decoded_.samples.empty()) decoded_ = picture();
  return {decoded_.row(y), ptrdiff_t(decoded_.step())};
}

// ---- Writing

PictureFile::PictureFile(const std::string& name, int width, int height, int channels,
                         const jpeg::EncoderOptions& options)
    : name_(name) {
  const std::string ending = endingOf(name);
  if (ending == "jpg" || ending == "jpeg") {
    workOn(name, [&] { encoder_ = std::make_unique<jpeg::Encoder>(width, height, channels, options); });
    jpeg_ = std::make_unique<JpegFile>(name);
    return;
  }
  if (ending != "" && ending != "ppm" && ending != "pgm" && ending != "pnm")
    throw UsageError(name + ": only .jpg, .jpeg, .ppm, .pgm and .pnm files can be written");
  if (ending == "pgm" && channels != 1)
    throw std::runtime_error(name + ": the picture has colours; a PGM file has none");
  ppm_ = std::make_unique<PpmFile>(name, width, height, channels);
}

void PictureFile::write(const Picture& picture) {
  if (ppm_) {
    ppm_->write(picture.samples.data(), picture.height);
    return ppm_->commit();
  }
  struct Source : jpeg::RowSource {
    const Picture& picture;
    explicit Source(const Picture& p) : picture(p) {}
    jpeg::ConstRows rows(int y, int) override { return {picture.row(y), ptrdiff_t(picture.step())}; }
  } source(picture);
  workOn(name_, [&] { encoder_->encode(source, *jpeg_); });
  jpeg_->commit();
}
