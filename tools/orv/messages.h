// What the program says when something is wrong: one line, which names the file.
#pragma once
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>

// A command line that makes no sense.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// This name is no file's, but standard input's or output's.
inline bool isStandard(const std::string& name) { return name == "-"; }
inline std::string inputName(const std::string& name) { return isStandard(name) ? "standard input" : name; }
inline std::string outputName(const std::string& name) { return isStandard(name) ? "standard output" : name; }

// What is wrong with a file that is read, or with another one whose name is no -.
struct FileError : std::runtime_error {
  FileError(const std::string& name, const std::string& why) : std::runtime_error(inputName(name) + ": " + why) {}
};

inline constexpr char kNoMemory[] = "there is not enough memory for this picture";

// Runs work for a file: whatever goes wrong with it, and names no file, is said with this one's name.
template <class Work> void workOn(const std::string& name, const Work& work) {
  try {
    work();
  } catch (const UsageError&) {
    throw;
  } catch (const FileError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw FileError(name, kNoMemory);
  } catch (const std::length_error&) {  // more than a vector can hold
    throw FileError(name, kNoMemory);
  } catch (const std::exception& e) {
    throw FileError(name, e.what());
  }
}

// A line, for which no memory is needed: there may be none left. Names may hold any byte: control characters become \n,
// \t or \x1B, so that a line stays one and a terminal obeys none.
void print(FILE* to, const char* prefix, const char* line);
// One on standard error.
inline void complain(const char* line) { print(stderr, "orv: ", line); }
inline void complain(const std::string& line) { complain(line.c_str()); }
