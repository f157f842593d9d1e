// A file that appears under its name when it is complete, and not before; or standard output.
#pragma once
#include <cstddef>
#include <string>
#include <vector>

// What is written goes to a file in the same folder that has no name, or a temporary one where the file system knows no
// others; commit() gives it its name. Otherwise it is removed, by signals as well. A file that is there is replaced and
// keeps its mode; a symbolic link stays, and what it points to is replaced. Threads may write a file each. What fails throws
// FileError.
//
// To standard output, of the name -, goes what is written when there is much of it. A terminal is refused.
class OutputFile {
 public:
  enum class Unfinished { kNamelessIfPossible, kNamed };
  explicit OutputFile(const std::string& name, Unfinished unfinished = Unfinished::kNamelessIfPossible);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void write(const void* data, size_t size);
  void commit();

  // What is not complete is removed, by a thread that ends the program: no file can be begun or completed any more.
  static void removeUnfinished();

 private:
  [[noreturn]] void fail() const;
  template <class Make> bool makeTemporary(const Make& make);
  void openStandard();
  void openNamed(unsigned mode);
  void keepRights(unsigned user, unsigned group, unsigned mode);
  void writeNow(const char* data, size_t size);
  void linkNameless();
  void forgetTemporary();

  std::string name_, target_, temporary_;  // target_: name_, or where that link leads; temporary_: empty without one
  int file_ = -1;
  std::vector<char> waiting_;        // to be written
  OutputFile* following_ = nullptr;  // in the list of those with a temporary name
};
