#include "picture_file.h"
#include <algorithm>
#include <cstring>
#include <utility>
#include "endings.h"

std::string warningOf(const std::string& name, const jpeg::Decoder& decoder) {
  if (decoder.damage() == jpeg::Damage::kNone) return "";
  const bool cut = decoder.damage() == jpeg::Damage::kCut;
  return inputName(name) + ": warning: the picture is " +
         (cut ? "cut short, the rest is " : "damaged, what is lost is ") +
         (decoder.isProgressive() ? "coarse or mid-grey" : "mid-grey");
}

// ---- Reading

namespace {

// Puts rows where they belong in an upright picture, many at a time.
class UprightSink : public jpeg::RowSink {
 public:
  UprightSink(Orientation orientation, VeliSize stored, Picture* to)
      : orientation_(orientation), height_(stored.height), step_(ptrdiff_t(stored.width) * to->channels), to_(to) {
    strip_.resize(size_t(std::min(kRows, height_)) * size_t(step_));
  }
  jpeg::Rows rows(int y, int) override { return {strip_.data() + (y - first_) * step_, step_}; }
  void done(int y, int count) override {
    const int end = y + count;
    if (end < height_ && end - first_ + kMost <= kRows) return;
    orientation_.place({strip_.data(), step_}, first_, end - first_, to_);
    first_ = end;
  }

 private:
  static constexpr int kRows = 64, kMost = 16;  // kept here; that come at a time

  const Orientation orientation_;
  const int height_;
  const ptrdiff_t step_;
  Picture* const to_;
  std::vector<uint8_t> strip_;
  int first_ = 0;  // of the rows in strip_
};

}  // namespace

void decodeUpright(jpeg::Decoder& decoder, Orientation orientation, Picture* to) {
  const VeliSize stored = {decoder.width(), decoder.height()}, size = orientation.other(stored);
  to->width = size.width;
  to->height = size.height;
  to->channels = decoder.channels();
  to->samples.resize(size_t(size.height) * to->step());
  if (orientation.isUpright()) {
    decodeTo(decoder, to->samples.data(), ptrdiff_t(to->step()));
    return;
  }
  UprightSink sink(orientation, stored, to);
  decoder.decode(sink);
}

PictureReader::PictureReader(const std::string& name, const Reading& options) : name_(name) {
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
    metadata_ = jpeg::readMetadata(data_.data(), data_.size());
    if (!options.asStored) orientation_ = Orientation(metadata_.orientation);
    if (options.strip) metadata_ = {};
  });
}

VeliSize PictureReader::storedSize() const {
  if (ppm_) return {ppm_->width(), ppm_->height()};
  return {decoder_->width(), decoder_->height()};
}

void PictureReader::requireSize() const {
  const uint64_t pixels = uint64_t(width()) * uint64_t(height());
  if (pixels > kMostInMemory)
    throw FileError(name_, std::to_string(width()) + " x " + std::to_string(height()) + " is more than the " +
                               std::to_string(kMostInMemory) + " pixels that are held in memory");
}

bool PictureReader::read(Orientation orientation, Picture* to) {
  requireSize();
  workOn(name_, [&] {
    if (!ppm_) return decodeUpright(*decoder_, orientation, to);
    to->width = width();
    to->height = height();
    to->channels = channels();
    ppm_->read(&to->samples, size_t(width()) * size_t(height()) * size_t(channels()));
  });
  return isWhole();
}

bool PictureReader::readStored(jpeg::RowSink* to) {
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

Picture PictureReader::storedPicture() {
  Picture all = {};
  if (!readStored(&all)) complain(warning());
  return all;
}

jpeg::EncoderOptions PictureReader::withMetadata(jpeg::EncoderOptions options) const {
  options.density = metadata_.density;
  if (orientation_.transposes()) std::swap(options.density.x, options.density.y);
  options.profile = metadata_.profile;
  return options;
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
