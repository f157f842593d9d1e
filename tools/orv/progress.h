// Tells how far work on many files is: a bar where standard output is a terminal, a line for each file elsewhere.
#pragma once
#include <cstddef>
#include <string>

class Progress {
 public:
  explicit Progress(size_t files);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // A file is done, and a line that says so.
  void done(const std::string& line);
  // A line for standard error. Whether its file is done is said apart from it.
  void complain(const char* line);
  void failed();

 private:
  void draw() const;

  const size_t files_;
  size_t done_ = 0;
  const bool terminal_;
};
