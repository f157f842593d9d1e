// A file that appears under its name when it is complete, and not before.
#pragma once
#include <cstddef>
#include <string>

// What is written goes to a temporary file beside it, which commit() renames and which is removed otherwise. What fails
// throws std::runtime_error.
class OutputFile {
 public:
  explicit OutputFile(const std::string& name);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void write(const void* data, size_t size);
  void commit();

 private:
  std::string name_, temporary_;
  int file_ = -1;
};
