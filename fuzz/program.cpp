// What the program reads: pictures in files and pipes, numbers and sizes on its command line, raw samples.
//
//   choice   its low bits, what is read; 4: through a pipe
//   then     for a command: which output file, options up to a 0, each a line; then the file
#include <getopt.h>
#include <sys/mman.h>
#include <unistd.h>
#include <filesystem>
#include <string>
#include "commands.h"
#include "endings.h"
#include "fuzz/target.h"
#include "options.h"
#include "picture_file.h"

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMostDecoded = 1 << 16;  // pixels of a JPEG
constexpr size_t kMostInPipe = 1 << 12;     // what one holds on every system

// Bytes that can be opened under a name, as a file or a pipe.
class Named {
 public:
  Named(const FuzzBytes& bytes, bool pipe) {
    int ends[2] = {-1, -1};
    if (pipe && bytes.size() <= kMostInPipe && ::pipe(ends) == 0) {
      file_ = ends[0];
      put(ends[1], bytes);
      close(ends[1]);
    } else {
      file_ = memfd_create("input", 0);
      put(file_, bytes);
    }
  }
  ~Named() { close(file_); }
  Named(const Named&) = delete;
  Named& operator=(const Named&) = delete;
  std::string name() const { return "/proc/self/fd/" + std::to_string(file_); }

 private:
  static void put(int file, const FuzzBytes& bytes) {
    require(bytes.empty() || write(file, bytes.data(), bytes.size()) == ssize_t(bytes.size()), "no input file");
  }
  int file_;
};

// What no input may bring the program to say: that memory lacks, or that a call of the library failed.
void checkMessage(const std::string& message) {
  require(
      !message.empty() && message.find(kNoMemory) == std::string::npos && message.find("velSts") == std::string::npos,
      "it says: %s", message.c_str());
}

// ---- Pictures

void checkRows(const FuzzBytes& bytes, bool pipe, const Picture& whole) {
  const Named file(bytes, pipe);
  PpmReader reader(file.name());
  for (int y = 0, count = 1; y < whole.height; y += count, count = std::min(1 + y % 16, whole.height - y)) {
    const jpeg::ConstRows rows = reader.rows(y, count);
    for (int i = 0; i < count; ++i)
      require(memcmp(rows.data + i * rows.step, whole.row(y + i), whole.step()) == 0, "another row %d", y + i);
  }
}

void readPicture(const FuzzBytes& bytes, bool pipe) {
  Picture picture;
  try {
    const Named file(bytes, pipe);
    Reading options;
    options.maxPixels = kMostDecoded;
    PictureReader reader(file.name(), options);
    reader.read(&picture);
  } catch (const FileError& e) {
    return checkMessage(e.what());
  }
  require(picture.width > 0 && picture.height > 0 && (picture.channels == 1 || picture.channels == 3),
          "%d x %d, %d channels", picture.width, picture.height, picture.channels);
  require(picture.samples.size() == picture.step() * size_t(picture.height), "%zu samples", picture.samples.size());
  if (bytes[0] == 'P') checkRows(bytes, pipe, picture);
}

// ---- Numbers

// The value of a number from 1 to most, or 0 where the text is none.
uint64_t valueOf(const std::string& text, uint64_t most) {
  uint64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return 0;
    value = value * 10 + uint64_t(c - '0');
    if (value > most) return 0;
  }
  return value;
}

void parseNumbers(Input& in) {
  const uint64_t most = uint64_t(in.dword() >> 1) + 1;
  const FuzzBytes rest = in.rest();
  const std::string text(rest.begin(), std::find(rest.begin(), rest.end(), 0));
  uint64_t got = 0;
  try {
    got = optionNumber("--number", text.c_str(), most);
  } catch (const UsageError&) {
  }
  require(got == valueOf(text, most), "'%s' is %llu", text.c_str(), static_cast<unsigned long long>(got));

  const int side = int(std::min<uint64_t>(most, 0x7FFFFFFF));
  const size_t cross = std::min(text.find('x'), text.size());
  VeliSize size = {};
  try {
    size = optionSize("--size", text, uint64_t(side));
  } catch (const UsageError&) {
  }
  const uint64_t width = valueOf(text.substr(0, cross), uint64_t(side));
  const uint64_t height = cross < text.size() ? valueOf(text.substr(cross + 1), uint64_t(side)) : 0;
  const bool valid = width && height;
  require(uint64_t(size.width) == (valid ? width : 0) && uint64_t(size.height) == (valid ? height : 0),
          "'%s' is %d x %d", text.c_str(), size.width, size.height);
}

// ---- Commands

// A folder of this run's own, which goes when the run ends.
struct Folder {
  fs::path path;
  Folder() {
    std::string name = (fs::temp_directory_path() / "orv-fuzz-XXXXXX").string();
    require(mkdtemp(name.data()) != nullptr, "no folder for output files");
    path = name;
    require(freopen("/dev/null", "w", stdout) != nullptr, "no /dev/null for what commands print");
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
};

// Only long options: anything else would be the name of a file.
std::vector<std::string> readOptions(Input& in) {
  std::vector<std::string> options(1);
  while (const int c = in.byte()) {
    if (c == '\n')
      options.emplace_back();
    else
      options.back() += char(c);
  }
  const auto none = [](const std::string& option) { return option.size() < 3 || option.compare(0, 2, "--") != 0; };
  options.erase(std::remove_if(options.begin(), options.end(), none), options.end());
  return options;
}

VeliSize sizeOf(const std::string& name) {
  const PictureReader reader(name);
  return {reader.width(), reader.height()};
}
// Whether raw samples of a picture in one of the formats have so many bytes.
bool isRawSize(uint64_t bytes, VeliSize size) {
  const auto width = uint64_t(size.width), height = uint64_t(size.height), across = (width + 1) / 2;
  const uint64_t all[] = {width * height + 2 * across * ((height + 1) / 2), width * height + 2 * across * height,
                          4 * across * height, 3 * width * height, 2 * width * height};
  return std::find(std::begin(all), std::end(all), bytes) != std::end(all);
}
// What a command that succeeded made of these bytes: of one size, where both are pictures.
void checkOutput(const FuzzBytes& bytes, const std::string& out, bool bothPictures) {
  const Named file(bytes, false);
  const bool isPicture = endsIn(out, kPictureEndings);
  const VeliSize size = sizeOf(isPicture ? out : file.name());
  if (!bothPictures) {
    const uint64_t raw = isPicture ? bytes.size() : fs::file_size(out);
    return require(isRawSize(raw, size), "%d x %d and raw samples of %d bytes", size.width, size.height, int(raw));
  }
  const VeliSize before = sizeOf(file.name());
  require(size.width == before.width && size.height == before.height, "a picture of another size");
}

void runCommand(const char* command, int (*run)(int, char**), Input& in, bool pipe) {
  static const Folder folder;
  constexpr const char* kNames[] = {"out.ppm", "out.raw", "out.jpg", "out", "out.rgb565", "out.pgm"};
  const std::string out = folder.path / kNames[size_t(in.byte()) % std::size(kNames)];
  const std::vector<std::string> options = readOptions(in);
  FuzzBytes bytes = in.rest();
  if (!bytes.empty() && bytes[0] == 0xFF) bytes[0] = 0;  // no JPEG, which may be large
  const Named file(bytes, pipe);

  std::vector<std::string> words = {command};
  words.insert(words.end(), options.begin(), options.end());
  words.insert(words.end(), {file.name(), out});
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  optind = 0;  // getopt_long starts anew
  opterr = 0;
  bool done = false;
  try {
    const int status = run(int(argv.size()) - 1, argv.data());
    require(status == kDone, "status %d", status);
    done = true;
  } catch (const UsageError&) {  // which may quote anything
  } catch (const std::runtime_error& e) {
    checkMessage(e.what());
  }
  velStaticInit();  // --path may have selected another one
  if (!fs::exists(out)) return;
  require(done, "a file without a result");
  checkOutput(bytes, out, run == runSwap);
  unlink(out.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const int choice = in.byte();
  const bool pipe = choice & 4;
  switch (choice & 3) {
    case 0: readPicture(in.rest(), pipe); break;
    case 1: parseNumbers(in); break;
    case 2: runCommand("convert", runConvert, in, pipe); break;
    case 3: runCommand("swap", runSwap, in, pipe); break;
  }
  return 0;
}
