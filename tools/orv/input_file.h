// A file that is read from its start to its end.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

// What goes wrong throws std::runtime_error, which names the file.
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
  // All that is left, up to 512 MiB.
  std::vector<uint8_t> rest();

 private:
  void check() const;

  std::string name_;
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
};
