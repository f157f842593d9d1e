#include "picture_file.h"
#include <algorithm>
#include <cstring>
#include <utility>
#include "endings.h"

std::string warningOf(const std::string& name, jpeg::Damage damage) {
  return inputName(name) + ": warning: the picture is " +
         (damage == jpeg::Damage::kCut ? "cut short, the rest is mid-grey" : "damaged, what is lost is mid-grey");
}

// ---- Reading

PictureReader::PictureReader(const std::string& name, const jpeg::Options& options) : name_(name) {
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
    decoder_ = std::make_unique<jpeg::Decoder>(data_.data(), data_.size(), options);
  });
}

void PictureReader::requireSize() const {
  const uint64_t pixels = uint64_t(width()) * uint64_t(height());
  if (pixels > kMostInMemory)
    throw FileError(name_, std::to_string(width()) + " x " + std::to_string(height()) + " is more than the " +
                               std::to_string(kMostInMemory) + " pixels that are held in memory");
}

bool PictureReader::read(Picture* to) {
  requireSize();
  workOn(name_, [&] {
    to->width = width();
    to->height = height();
    to->channels = channels();
    const size_t count = size_t(width()) * size_t(height()) * size_t(channels());
    if (ppm_) return ppm_->read(&to->samples, count);
    to->samples.resize(count);
    decodeTo(*decoder_, to->samples.data(), ptrdiff_t(to->step()));
  });
  return isWhole();
}

bool PictureReader::read(jpeg::RowSink* to) {
  constexpr int kMost = 16;
  requireSize();
  workOn(name_, [&] {
    if (decoder_) decoder_->decode(*to);
    for (int y = 0; ppm_ && y < height(); y += kMost) {
      const int count = std::min(kMost, height() - y);
      const jpeg::ConstRows from = ppm_->rows(y, count);
      const jpeg::Rows rows = to->rows(y, count);
      for (int i = 0; i < count; ++i)
        memcpy(rows.data + i * rows.step, from.data + i * from.step, size_t(width()) * size_t(channels()));
      to->done(y, count);
    }
  });
  return isWhole();
}

Picture PictureReader::picture() {
  Picture all = {};
  if (!read(&all)) complain(warning());
  return all;
}

jpeg::ConstRows PictureReader::rows(int y, int count) {
  if (ppm_) return ppm_->rows(y, count);
  if (decoded_.samples.empty()) decoded_ = picture();
  return {decoded_.row(y), ptrdiff_t(decoded_.step())};
}

// ---- Writing

void requirePicture(const std::string& name, PictureKind kind) {
  if (kind == PictureKind::kOfName && isStandard(name))
    throw UsageError("standard output has no name that would say what it is to be: give --to jpeg or --to ppm");
  if (kind == PictureKind::kOfName) return requireEnding(name, kPictureEndings);
  if (endingOf(name).empty()) return;
  requireEnding(name, kPictureEndings);
  if (endsIn(name, kJpegEndings) != (kind == PictureKind::kJpeg))
    throw UsageError(name + ": its name says something else than --to");
}

PictureFile::PictureFile(const std::string& name, int width, int height, int channels,
                         const jpeg::EncoderOptions& options, PictureKind kind)
    : name_(outputName(name)) {
  requirePicture(name, kind);
  if (kind == PictureKind::kJpeg || endsIn(name, kJpegEndings)) {
    workOn(name_, [&] { encoder_ = std::make_unique<jpeg::Encoder>(width, height, channels, options); });
    jpeg_ = std::make_unique<JpegFile>(name);
    return;
  }
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
