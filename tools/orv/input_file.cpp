#include "input_file.h"
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include "messages.h"

namespace {

constexpr size_t kMost = size_t(1) << 29;
constexpr size_t kFirst = size_t(1) << 16;  // read at a time where it is not known how much comes

}  // namespace

InputFile::InputFile(const std::string& name)
    : name_(name), file_(isStandard(name) ? stdin : fopen(name.c_str(), "rb"), fclose) {
  if (!file_) fail(std::string("cannot read: ") + strerror(errno));
}

void InputFile::fail(const std::string& why) const { throw FileError(name_, why); }

void InputFile::check() const {
  if (ferror(file_.get())) fail(std::string("cannot read: ") + strerror(errno));
}

int InputFile::byte() {
  const int c = fgetc(file_.get());
  if (c == EOF) check();
  return c;
}

int InputFile::peek() {
  const int c = byte();
  if (c != EOF) ungetc(c, file_.get());
  return c;
}

size_t InputFile::read(void* to, size_t size) {
  const size_t got = fread(to, 1, size, file_.get());
  if (got < size) check();
  return got;
}

// Files of the system's own, made as they are read, have the size 0.
std::optional<uint64_t> InputFile::left() const {
  struct stat file;
  const off_t at = ftello(file_.get());
  if (at < 0 || fstat(fileno(file_.get()), &file) != 0 || !S_ISREG(file.st_mode) || file.st_size == 0) return {};
  return uint64_t(std::max(file.st_size - at, off_t(0)));
}

void InputFile::read(std::vector<uint8_t>* to, size_t most) {
  to->resize(size_t(std::min(left().value_or(kFirst), uint64_t(most))));
  for (size_t had = 0;;) {
    had += read(to->data() + had, to->size() - had);
    if (had < to->size() || had == most || peek() == EOF) return to->resize(had);
    to->resize(had + std::min(std::max(had, kFirst), most - had));
  }
}

std::vector<uint8_t> InputFile::rest() {
  std::vector<uint8_t> data;
  read(&data, kMost + 1);
  if (data.size() > kMost) fail("the file is larger than 512 MiB");
  return data;
}
