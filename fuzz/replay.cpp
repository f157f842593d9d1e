// Runs a fuzz target without a fuzzing engine: on files, and on mutations of them that a seed decides.
//   fuzz_TARGET [--runs N] [--seed S] FILE|FOLDER...
// An input that fails is written to failed-TARGET in the current folder; the target run on that file repeats it.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include "fuzz/target.h"

namespace {

namespace fs = std::filesystem;

// What no input may take. Sanitizers reserve far more memory than they use, so that their builds have no such limit.
#ifdef __SANITIZE_ADDRESS__
#define ORV_HAS_SANITIZER 1
#elif defined(__has_feature)
#define ORV_HAS_SANITIZER __has_feature(address_sanitizer)
#else
#define ORV_HAS_SANITIZER 0
#endif
constexpr unsigned kMostSeconds = 20;
constexpr rlim_t kMostMemory = rlim_t(1) << 30;

// ---- The input that is run, for when it fails

struct Running {
  const uint8_t* data = nullptr;
  size_t size = 0;
  char what[512] = "no input", file[512] = "";
} running;

void say(const char* text) {
  if (write(STDERR_FILENO, text, strlen(text)) < 0) _exit(1);
}
void keepInput(int signal) {
  const int file = open(running.file, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const bool kept = file >= 0 && write(file, running.data, running.size) == ssize_t(running.size);
  say(signal == SIGALRM ? "took too long: " : "failed: ");
  say(running.what);
  if (*whereabouts) say(", in "), say(whereabouts), say(" on "), say(pathInForce().name);
  say(kept ? "; the input is in " : "; the input could not be written to ");
  say(running.file);
  say("\n");
  _exit(1);
}

// An exception that leaves the target is a failure, too.
void run(const FuzzBytes& input, const std::string& what) noexcept {
  // Exactly as long as its memory.
  const FuzzBytes exact(input.begin(), input.end());
  running.data = exact.data();
  running.size = exact.size();
  snprintf(running.what, sizeof running.what, "%s", what.c_str());
  alarm(kMostSeconds);
  LLVMFuzzerTestOneInput(running.data, running.size);
  alarm(0);
}

// ---- Mutations

class Mutator {
 public:
  Mutator(unsigned seed, const std::vector<FuzzBytes>& inputs) : random_(seed), inputs_(inputs) {}

  // Of one of the inputs: one to four changes, most often one.
  FuzzBytes next(size_t* from) {
    *from = below(inputs_.size());
    FuzzBytes bytes = inputs_[*from];
    do change(&bytes);
    while (below(3) == 0);
    return bytes;
  }

 private:
  // 0 to n - 1; 0 for none.
  size_t below(size_t n) { return n ? random_() % n : 0; }
  ptrdiff_t place(const FuzzBytes& bytes) { return ptrdiff_t(below(bytes.size() + 1)); }

  void change(FuzzBytes* bytes) {
    const size_t kind = below(6);
    if (kind == 0) {
      const FuzzBytes& other = inputs_[below(inputs_.size())];
      bytes->resize(size_t(place(*bytes)));
      bytes->insert(bytes->end(), other.begin() + place(other), other.end());
    } else if (kind == 1) {
      const auto at = bytes->begin() + place(*bytes);
      bytes->insert(at, 1 + below(4), uint8_t(random_()));
    } else if (bytes->empty()) {
      bytes->push_back(uint8_t(random_()));
    } else if (kind == 2) {
      const size_t at = below(bytes->size()), count = std::min(1 + below(8), bytes->size() - at);
      bytes->erase(bytes->begin() + ptrdiff_t(at), bytes->begin() + ptrdiff_t(at + count));
    } else if (kind == 3) {
      overwrite(bytes);
    } else {
      (*bytes)[below(bytes->size())] ^= uint8_t(1 << below(8));
    }
  }
  // With a number at the end of a range, of one, two or four bytes, the highest or the lowest first.
  void overwrite(FuzzBytes* bytes) {
    constexpr uint32_t kValues[] = {0,      1,      7,      8,      15,     16,     17,         63,         64,
                                    0x7F,   0x80,   0xC0,   0xD0,   0xD8,   0xD9,   0xDA,       0xFF,       0x100,
                                    0x7FFF, 0x8000, 0xFFD9, 0xFFFF, 0xFF00, 0xFFFE, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const uint32_t value = kValues[below(std::size(kValues))];
    const size_t size = size_t(1) << below(3), at = below(bytes->size()), backwards = below(2);
    for (size_t i = 0; i < size && at + i < bytes->size(); ++i)
      (*bytes)[at + i] = uint8_t(value >> 8 * (backwards ? i : size - 1 - i));
  }

  std::mt19937 random_;
  const std::vector<FuzzBytes>& inputs_;
};

// ---- The command

// Files, and those of folders, by name.
std::vector<fs::path> filesOf(const std::vector<std::string>& names) {
  std::vector<fs::path> files;
  for (const std::string& name : names) {
    if (!fs::is_directory(name)) {
      files.emplace_back(name);
      continue;
    }
    std::vector<fs::path> inside;
    for (const auto& entry : fs::directory_iterator(name)) inside.push_back(entry.path());
    std::sort(inside.begin(), inside.end());
    files.insert(files.end(), inside.begin(), inside.end());
  }
  return files;
}
FuzzBytes contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error(file.string() + ": cannot be read");
  return {std::istreambuf_iterator<char>(in), {}};
}

void prepare(const std::string& target) {
  snprintf(running.file, sizeof running.file, "failed-%s", target.c_str());
  for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGALRM}) ::signal(signal, keepInput);
  const rlimit most = {kMostMemory, kMostMemory};
  if (!ORV_HAS_SANITIZER) setrlimit(RLIMIT_AS, &most);
}

}  // namespace

int main(int argc, char** argv) try {
  const std::string target = fs::path(argv[0]).filename();
  unsigned long runs = 0, seed = 1;
  std::vector<std::string> names;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--runs" && i + 1 < argc)
      runs = std::stoul(argv[++i]);
    else if (argument == "--seed" && i + 1 < argc)
      seed = std::stoul(argv[++i]);
    else
      names.push_back(argument);
  }
  const std::vector<fs::path> files = filesOf(names);
  if (files.empty()) throw std::runtime_error("usage: " + target + " [--runs N] [--seed S] FILE|FOLDER...");
  std::vector<FuzzBytes> inputs;
  for (const fs::path& file : files) inputs.push_back(contentOf(file));

  prepare(target);
  for (size_t i = 0; i < inputs.size(); ++i) run(inputs[i], files[i]);
  Mutator mutator(unsigned(seed), inputs);
  for (unsigned long i = 1; i <= runs; ++i) {
    size_t from;
    const FuzzBytes input = mutator.next(&from);
    run(input, "mutation " + std::to_string(i) + " with seed " + std::to_string(seed) + ", of " + files[from].string());
  }
  // Standard output is the target's.
  fprintf(stderr, "%s: %zu files and %lu mutations with seed %lu, nothing found\n", target.c_str(), inputs.size(), runs,
          seed);
  return 0;
} catch (const std::exception& e) {
  fprintf(stderr, "%s\n", e.what());
  return 2;
}
