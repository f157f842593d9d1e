// Pictures as binary PPM (P6), or PGM (P5) when they are grey.
#pragma once
#include <cstdio>
#include <memory>
#include <string>
#include <vector>
#include "jpeg_decoder.h"
#include "jpeg_encoder.h"
#include "output_file.h"

// Writes one, row by row.
class PpmFile : public jpeg::RowSink {
 public:
  PpmFile(const std::string& name, int width, int height, int channels);

  jpeg::Rows rows(int y, int count) override;
  void done(int y, int count) override;
  void commit() { file_.commit(); }

 private:
  OutputFile file_;
  ptrdiff_t step_;
  std::vector<uint8_t> strip_;
};

// A whole picture in memory, without padding between rows.
constexpr int kMostInMemory = 1 << 28;  // pixels
struct Picture {
  int width, height, channels;
  std::vector<uint8_t> samples;
};

// Reads one of 8 bits a sample, row by row or as a whole. What is wrong with the file throws std::runtime_error; that
// it ends too early shows when the rows are asked for.
class PpmReader : public jpeg::RowSource {
 public:
  explicit PpmReader(const std::string& name);

  int width() const { return width_; }
  int height() const { return height_; }
  int channels() const { return channels_; }
  jpeg::ConstRows rows(int y, int count) override;
  Picture picture();

 private:
  [[noreturn]] void fail(const std::string& why) const;
  [[noreturn]] void failToRead() const;
  [[noreturn]] void failInHeader() const;
  int character();
  int number();
  void read(uint8_t* samples, size_t count);

  std::string name_;
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
  int width_, height_, channels_;
  std::vector<uint8_t> strip_;
};
