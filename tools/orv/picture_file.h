// Pictures in files of any kind that the program knows: JPEG, and binary PPM or PGM.
#pragma once
#include <memory>
#include <string>
#include <vector>
#include "messages.h"
#include "orientation.h"
#include "ppm_file.h"

constexpr int kMostInMemory = 1 << 28;  // pixels

// What is said of a JPEG that is not whole; nothing where it is.
std::string warningOf(const std::string& name, const jpeg::Decoder& decoder);

// How pictures are read.
struct Reading : jpeg::Options {
  bool asStored = false;  // whatever their EXIF says of which side is up
  bool strip = false;     // the picture alone
};

// Decodes a picture, upright.
void decodeUpright(jpeg::Decoder& decoder, Orientation orientation, Picture* to);

// Reads a picture of either kind, which the file's first byte tells, upright.
class PictureReader : public jpeg::RowSource {
 public:
  explicit PictureReader(const std::string& name, const Reading& options = {});

  int width() const { return size().width; }
  int height() const { return size().height; }
  int channels() const { return ppm_ ? ppm_->channels() : decoder_->channels(); }
  // A JPEG is decoded as a whole when its first rows are asked for.
  jpeg::ConstRows rows(int y, int count) override;
  // To be called once, and instead of rows(). False where the picture is not whole; what is missing is mid-grey.
  bool read(Picture* to) { return read(orientation_, to); }
  // The same, before it is made upright by orientation().
  bool readStored(Picture* to) { return read(Orientation(1), to); }
  bool readStored(jpeg::RowSink* to);
  Orientation orientation() const { return orientation_; }
  // The same, with a warning.
  Picture picture();
  Picture storedPicture();
  // For another file of the picture, with this one's density and colour profile.
  jpeg::EncoderOptions withMetadata(jpeg::EncoderOptions options) const;
  // Of what has been read.
  bool isWhole() const { return !decoder_ || decoder_->damage() == jpeg::Damage::kNone; }
  std::string warning() const { return warningOf(name_, *decoder_); }

 private:
  VeliSize storedSize() const;
  VeliSize size() const { return orientation_.other(storedSize()); }
  bool read(Orientation orientation, Picture* to);
  void requireSize() const;

  std::string name_;
  std::unique_ptr<PpmReader> ppm_;
  std::vector<uint8_t> data_;
  std::unique_ptr<jpeg::Decoder> decoder_;
  jpeg::Metadata metadata_;
  Orientation orientation_ = Orientation(1);
  Picture decoded_ = {};
};

// A JPEG file as it is made.
class JpegFile : public jpeg::ByteSink {
 public:
  explicit JpegFile(const std::string& name) : file_(name) {}
  void write(const uint8_t* data, size_t size) override { file_.write(data, size); }
  void commit() { file_.commit(); }

 private:
  OutputFile file_;
};

// What a picture is written as: what --to says, or the file's name.
enum class PictureKind { kOfName, kJpeg, kPpm };
// Throws UsageError where that is nothing, or one thing by --to and another by the name.
void requirePicture(const std::string& name, PictureKind kind);

// Writes a picture. Throws UsageError as requirePicture() does, and before there is a picture where none of this size and
// kind can be written.
class PictureFile {
 public:
  PictureFile(const std::string& name, int width, int height, int channels, const jpeg::EncoderOptions& options = {},
              PictureKind kind = PictureKind::kOfName);

  // The picture, after which the file is complete.
  void write(const Picture& picture);

 private:
  std::string name_;
  std::unique_ptr<jpeg::Encoder> encoder_;
  std::unique_ptr<JpegFile> jpeg_;
  std::unique_ptr<PpmFile> ppm_;
};
