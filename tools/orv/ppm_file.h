// Writes a picture as binary PPM (P6), or PGM (P5) when it is grey.
#pragma once
#include <string>
#include <vector>
#include "jpeg_decoder.h"

// The file appears under its name when it is complete, and not before: rows go to a temporary file beside it, which
// commit() renames and which is removed otherwise. What fails throws std::runtime_error.
class PpmFile : public jpeg::RowSink {
 public:
  PpmFile(const std::string& name, int width, int height, int channels);
  ~PpmFile() override;
  PpmFile(const PpmFile&) = delete;
  PpmFile& operator=(const PpmFile&) = delete;

  jpeg::Rows rows(int y, int count) override;
  void done(int y, int count) override;
  void commit();

 private:
  PpmFile(const std::string& name, ptrdiff_t step);
  void write(const void* data, size_t size);

  std::string name_, temporary_;
  int file_ = -1;
  ptrdiff_t step_;
  std::vector<uint8_t> strip_;
};
