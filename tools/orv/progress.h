// Tells how far work on many files is: a bar where standard output is a terminal, a line for each file elsewhere; and at
// its end what has become of it. No memory is needed.
#pragma once
#include <chrono>
#include <cstddef>

class Progress {
 public:
  explicit Progress(size_t files);

  // A file is done, and a line that says so; nothing was to be done for it; or it failed, which a line says.
  void done(const char* line, double megapixels);
  void skipped();
  void failed(const char* line);
  // A line for standard error. Whether its file is done is said apart from it.
  void complain(const char* line);
  // The closing line, on standard error: so what is on standard output does not depend on time. things: what the files
  // were made into.
  void close(const char* things) const;

 private:
  double seconds() const;
  void draw() const;

  const size_t files_;
  size_t done_ = 0, failed_ = 0, skipped_ = 0;  // done_: in all
  double megapixels_ = 0;
  const bool terminal_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};
