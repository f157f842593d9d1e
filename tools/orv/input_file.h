// A file, or standard input, that is read from its start to its end.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What goes wrong throws FileError.
class InputFile {
 public:
  explicit InputFile(const std::string& name);

  const std::string& name() const { return name_; }
  [[noreturn]] void fail(const std::string& why) const;
  // The next byte, or EOF; peek() leaves it where it is.
  int byte();
  int peek();
  // Gives how many bytes there were: fewer at the end only.
  size_t read(void* to, size_t size);
  // How many bytes are left, where that is known: not of a pipe.
  std::optional<uint64_t> left() const;
  // *to becomes the next `most` bytes, or those that are left. Its memory grows with what there is, whatever most says.
  void read(std::vector<uint8_t>* to, size_t most);
  // All that is left, up to 512 MiB.
  std::vector<uint8_t> rest();

 private:
  void check() const;

  std::string name_;
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
};
