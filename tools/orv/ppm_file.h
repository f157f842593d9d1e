// Pictures as binary PPM (P6), or PGM (P5) when they are grey.
#pragma once
#include <string>
#include <vector>
#include "codec/decoder.h"
#include "codec/encoder.h"
#include "input_file.h"
#include "output_file.h"

// Writes one, row by row. Throws FileError where a PGM file would have colours.
class PpmFile : public jpeg::RowSink {
 public:
  PpmFile(const std::string& name, int width, int height, int channels);

  jpeg::Rows rows(int y, int count) override;
  void done(int y, int count) override;
  // The next rows, without padding.
  void write(const uint8_t* samples, int count) { file_.write(samples, size_t(count) * size_t(step_)); }
  void commit() { file_.commit(); }

 private:
  OutputFile file_;
  ptrdiff_t step_;
  std::vector<uint8_t> strip_;
};

// Reads one of 8 bits a sample, row by row. What is wrong with the file throws FileError; that a pipe ends too early shows
// when the rows are asked for.
class PpmReader : public jpeg::RowSource {
 public:
  explicit PpmReader(const std::string& name) : PpmReader(InputFile(name)) {}
  explicit PpmReader(InputFile file);

  int width() const { return width_; }
  int height() const { return height_; }
  int channels() const { return channels_; }
  jpeg::ConstRows rows(int y, int count) override;
  // *samples becomes the next `count` ones.
  void read(std::vector<uint8_t>* samples, size_t count);

 private:
  [[noreturn]] void failInHeader() const;
  [[noreturn]] void failAtEnd() const;
  int character();
  int number();

  InputFile file_;
  int width_, height_, channels_;
  std::vector<uint8_t> strip_;
};
