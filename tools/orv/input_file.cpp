#include "input_file.h"
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace {

constexpr size_t kMost = size_t(1) << 29;

}  // namespace

InputFile::InputFile(const std::string& name) : name_(name), file_(fopen(name.c_str(), "rb"), fclose) {
  if (!file_) fail(std::string("cannot read: ") + strerror(errno));
}

void InputFile::fail(const std::string& why) const { throw std::runtime_error(name_ + ": " + why); }

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

std::vector<uint8_t> InputFile::rest() {
  std::vector<uint8_t> data;
  for (size_t had = 0, got = 1; got > 0; had += got) {
    if (had > kMost) fail("the file is larger than 512 MiB");
    data.resize(had + std::max(had, size_t(1) << 16));
    got = read(data.data() + had, data.size() - had);
    if (got == 0) data.resize(had);
  }
  return data;
}
