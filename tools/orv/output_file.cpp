#include "output_file.h"
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

OutputFile::OutputFile(const std::string& name) : name_(name), temporary_(name + ".XXXXXX") {
  struct stat there;
  if (stat(name.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) fail(name, "it is there and is not a regular file");
  file_ = mkstemp(temporary_.data());
  if (file_ < 0) fail(name_);
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(file_, 0666 & ~mask);
}

OutputFile::~OutputFile() {
  if (file_ >= 0) close(file_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::write(const void* data, size_t size) {
  for (const char* p = static_cast<const char*>(data); size > 0;) {
    const ssize_t written = ::write(file_, p, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(name_);
    p += written;
    size -= size_t(written);
  }
}

void OutputFile::commit() {
  const int file = file_;
  file_ = -1;
  if (close(file) != 0) fail(name_);
  if (rename(temporary_.c_str(), name_.c_str()) != 0) fail(name_);
  temporary_.clear();
}
