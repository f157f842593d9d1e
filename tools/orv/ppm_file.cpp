#include "ppm_file.h"
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

[[noreturn]] void fail(const std::string& name, const std::string& why = strerror(errno)) {
  throw std::runtime_error(name + ": cannot write: " + why);
}

}  // namespace

PpmFile::PpmFile(const std::string& name, ptrdiff_t step) : name_(name), temporary_(name + ".XXXXXX"), step_(step) {
  struct stat there;
  if (stat(name.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) fail(name, "it is there and is not a regular file");
  file_ = mkstemp(temporary_.data());
  if (file_ < 0) fail(name_);
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(file_, 0666 & ~mask);
}

PpmFile::PpmFile(const std::string& name, int width, int height, int channels)
    : PpmFile(name, ptrdiff_t(width) * channels) {
  const std::string head =
      (channels == 1 ? "P5\n" : "P6\n") + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
  write(head.data(), head.size());
}

PpmFile::~PpmFile() {
  if (file_ >= 0) close(file_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

jpeg::Rows PpmFile::rows(int, int count) {
  strip_.resize(size_t(count) * size_t(step_));
  return {strip_.data(), step_};
}

void PpmFile::done(int, int) { write(strip_.data(), strip_.size()); }

void PpmFile::write(const void* data, size_t size) {
  for (const char* p = static_cast<const char*>(data); size > 0;) {
    const ssize_t written = ::write(file_, p, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(name_);
    p += written;
    size -= size_t(written);
  }
}

void PpmFile::commit() {
  const int file = file_;
  file_ = -1;
  if (close(file) != 0) fail(name_);
  if (rename(temporary_.c_str(), name_.c_str()) != 0) fail(name_);
  temporary_.clear();
}
