// orv thumb: thumbnails of all photos in a folder.
#include <dirent.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include "commands.h"
#include "endings.h"
#include "in_order.h"
#include "options.h"
#include "paths.h"
#include "progress.h"
#include "resizer.h"

namespace {

constexpr char kHelp[] =
    "usage: orv thumb [OPTION]... FOLDER OUTFOLDER\n"
    "\n"
    "Makes a thumbnail, a JPEG, of each photo in a folder: of files that are JPEG or\n"
    "binary PPM or PGM by their name or content. Folders in it are left alone. A\n"
    "thumbnail has its photo's name, with .jpg added where the photo is no JPEG by\n"
    "name. OUTFOLDER is made where it is missing; thumbnails that are there are\n"
    "replaced. Each pixel is the mean of the area that it covers. A colour profile of\n"
    "up to 4096 bytes is kept, and nothing else that is noted beside the picture.\n"
    "\n"
    "A photo that cannot be read is reported, the others are done, and the exit\n"
    "status is 1; one that is cut short or damaged is reported, too, and the exit\n"
    "status is 2. Standard output has a line for each thumbnail, in the order of\n"
    "names whatever --jobs is, or on a terminal a bar. The last line on standard\n"
    "error says how many there are and how long they took.\n"
    "\n"
    "  --size N        the longest side in pixels (default 256); smaller photos keep\n"
    "                  theirs\n"
    "  --jobs N        photos that are worked on at a time (default: the processor's\n"
    "                  cores)\n"
    "  --skip-existing leave photos out whose thumbnail is there\n" ORV_HELP_WRITES ORV_HELP_KEEPS ORV_HELP_READS
        ORV_HELP_ALL
    "  orv thumb photos thumbnails\n"
    "  orv thumb --size 160 --skip-existing photos thumbnails\n";

constexpr int kMostJobs = 1024;
constexpr size_t kLargestProfile = 4096;  // that a thumbnail keeps

struct Arguments {
  std::string from, to;
  int size = 256;
  size_t jobs = 0;  // 0: as many as there are cores
  bool skip = false;
  SharedOptions shared;
};

Arguments parse(int argc, char** argv) {
  Arguments a;
  readOptions(argc, argv, kReads | kWrites | kKeeps,
              {{"size", required_argument, nullptr, 's'},
               {"jobs", required_argument, nullptr, 'j'},
               {"skip-existing", no_argument, nullptr, 'k'}},
              &a.shared, [&](int c) {
                if (c == 's')
                  a.size = int(optionNumber("--size", optarg, jpeg::kLargestSide));
                else if (c == 'j')
                  a.jobs = size_t(optionNumber("--jobs", optarg, kMostJobs));
                else
                  a.skip = true;
              });
  if (a.shared.help) return a;
  if (argc - optind != 2) throw UsageError("thumb takes FOLDER and OUTFOLDER (see orv thumb --help)");
  a.from = argv[optind];
  a.to = argv[optind + 1];
  if (isStandard(a.from) || isStandard(a.to))
    throw UsageError("thumb works on folders, not on standard input or output (a folder of the name - is ./-)");
  return a;
}

// ---- Folders

[[noreturn]] void failOn(const std::string& name, const char* what) {
  throw FileError(name, std::string(what) + ": " + strerror(errno));
}

bool isPhoto(const std::string& name) {
  struct stat file;
  if (stat(name.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) return false;
  if (endsIn(name, kPictureEndings)) return true;
  const std::unique_ptr<FILE, int (*)(FILE*)> opened(fopen(name.c_str(), "rb"), fclose);
  char head[3] = {};
  if (!opened || fread(head, 1, sizeof head, opened.get()) < sizeof head) return false;
  return memcmp(head, "\xFF\xD8\xFF", 3) == 0 || memcmp(head, "P5\n", 3) == 0 || memcmp(head, "P6\n", 3) == 0;
}

// The names of the photos in a folder, in order.
std::vector<std::string> photosIn(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), closedir);
  if (!opened) failOn(folder, "cannot read");
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = readdir(opened.get())) {
    if (isPhoto(folder + "/" + entry->d_name)) names.push_back(entry->d_name);
    errno = 0;
  }
  if (errno != 0) failOn(folder, "cannot read");
  if (names.empty()) throw FileError(folder, "there are no JPEG, PPM or PGM files in this folder");
  std::sort(names.begin(), names.end());
  return names;
}

bool isSame(const std::string& a, const std::string& b) {
  struct stat first, second;
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

// Whether the file of this name, or the one it links to, lies in a folder.
bool liesIn(const std::string& folder, const std::string& name) {
  const std::unique_ptr<char, void (*)(void*)> path(realpath(name.c_str(), nullptr), free);
  if (!path) return false;
  const std::string whole = path.get();
  return isSame(whole.substr(0, whole.rfind('/') + 1), folder);
}

// There is to be a folder of this name, and another one than that of the photos, which thumbnails would replace.
void makeFolder(const std::string& name, const std::string& photos) {
  struct stat to;
  if (mkdir(name.c_str(), 0777) != 0 && errno != EEXIST) failOn(name, "cannot make this folder");
  if (stat(name.c_str(), &to) != 0) failOn(name, "cannot write");
  if (!S_ISDIR(to.st_mode)) throw FileError(name, "cannot write: it is there and is not a folder");
  if (isSame(name, photos))
    throw UsageError(name + ": thumbnails would replace the photos in this folder; give another one");
}

// Of the photos' names, in order: whether another photo, which comes before, has the thumbnail that this one would have.
// That is one with .jpg added.
bool isTaken(const std::vector<std::string>& names, const std::string& name) {
  constexpr size_t kAdded = sizeof ".jpg" - 1;
  if (name.size() <= kAdded || name.compare(name.size() - kAdded, kAdded, ".jpg") != 0) return false;
  const std::string other = name.substr(0, name.size() - kAdded);
  return !endsIn(other, kJpegEndings) && std::binary_search(names.begin(), names.end(), other);
}

// ---- Thumbnails

// Those who work at a time have photos of no more pixels together than one alone may have.
class Room {
 public:
  class Taken {
   public:
    Taken(Room* room, uint64_t pixels) : room_(room), pixels_(pixels) {
      std::unique_lock lock(room_->mutex_);
      room_->left_.wait(lock, [&] { return room_->used_ == 0 || room_->used_ + pixels_ <= uint64_t(kMostInMemory); });
      room_->used_ += pixels_;
    }
    ~Taken() {
      const std::lock_guard lock(room_->mutex_);
      room_->used_ -= pixels_;
      room_->left_.notify_all();
    }
    Taken(const Taken&) = delete;
    Taken& operator=(const Taken&) = delete;

   private:
    Room* const room_;
    const uint64_t pixels_;
  };

 private:
  std::mutex mutex_;
  std::condition_variable left_;
  uint64_t used_ = 0;
};

struct Outcome {
  enum { kMade, kSkipped, kFailed } kind = kFailed;
  std::string line, warning;
  const char* fault = nullptr;  // where there is no memory for a line
  double megapixels = 0;

  const char* said() const { return fault ? fault : line.c_str(); }
};

// A profile may be larger than the thumbnail; the common ones are small.
jpeg::EncoderOptions thumbnailOptions(const PictureReader& reader, const Arguments& a) {
  jpeg::EncoderOptions options = reader.withMetadata(a.shared.jpeg);
  options.density = {};
  if (options.profile.size() > kLargestProfile) options.profile.clear();
  return options;
}

// `memory` is that of a photo before, and is used again.
void makeThumbnail(const std::string& from, const std::string& to, const Arguments& a, Room* room, Picture* memory,
                   Outcome* outcome) {
  if (isSame(from, to) || liesIn(a.from, to))
    throw FileError(to, "the thumbnail would replace a photo: this is a link");
  PictureReader reader(from, a.shared.reading);
  VeliSize size = {reader.width(), reader.height()};
  const double pixels = double(size.width) * size.height;
  const Room::Taken taken(room, uint64_t(pixels));
  const int longest = std::max(size.width, size.height);
  if (longest > a.size) size = scaled(size, double(a.size) / longest);
  PictureFile file(to, size.width, size.height, reader.channels(), thumbnailOptions(reader, a));
  outcome->line = from + " -> " + to + ", " + std::to_string(size.width) + " x " + std::to_string(size.height);
  if (longest > a.size) {
    const Orientation orientation = reader.orientation();
    ReducingSink sink(orientation.other({reader.width(), reader.height()}), reader.channels(), orientation.other(size));
    if (!reader.readStored(&sink)) outcome->warning = reader.warning();
    file.write(orientation.upright(sink.picture()));
  } else {
    if (!reader.read(memory)) outcome->warning = reader.warning();
    file.write(*memory);
  }
  outcome->kind = Outcome::kMade;
  outcome->megapixels = pixels / 1e6;
  constexpr size_t kKept = size_t(1) << 26;
  if (memory->samples.capacity() > kKept) memory->samples = {};
}

// What becomes of the photo of this name.
Outcome outcomeOf(const std::vector<std::string>& names, const std::string& name, const Arguments& a, Room* room,
                  Picture* memory) noexcept {
  Outcome outcome;
  try {
    const std::string from = a.from + "/" + name, thumbnail = name + (endsIn(name, kJpegEndings) ? "" : ".jpg");
    workOn(from, [&] {
      if (isTaken(names, name)) throw FileError(from, "another photo has the thumbnail of this name, " + thumbnail);
      const std::string to = a.to + "/" + thumbnail;
      if (a.skip && access(to.c_str(), F_OK) == 0)
        outcome.kind = Outcome::kSkipped;
      else
        makeThumbnail(from, to, a, room, memory, &outcome);
    });
    return outcome;
  } catch (const std::bad_alloc&) {
    outcome.fault = kNoMemory;
  } catch (const std::exception& e) {
    try {
      outcome.line = e.what();
    } catch (const std::bad_alloc&) {
      outcome.fault = kNoMemory;
    }
  }
  return outcome;
}

// Those that this process may run on.
size_t cores() {
  cpu_set_t set;
  return sched_getaffinity(0, sizeof set, &set) == 0 ? size_t(CPU_COUNT(&set)) : 1;
}

}  // namespace

int runThumb(int argc, char** argv) {
  const Arguments a = parse(argc, argv);
  if (a.shared.help) return fputs(kHelp, stdout), 0;
  requireSse2();
  const std::vector<std::string> names = photosIn(a.from);
  makeFolder(a.to, a.from);
  Progress progress(names.size());
  Room room;
  int status = kDone;
  const auto work = [&](size_t i, Picture& memory) { return outcomeOf(names, names[i], a, &room, &memory); };
  const auto take = [&](const Outcome& outcome) {
    if (!outcome.warning.empty()) progress.complain(outcome.warning.c_str());
    if (outcome.kind == Outcome::kMade)
      progress.done(outcome.said(), outcome.megapixels);
    else if (outcome.kind == Outcome::kSkipped)
      progress.skipped();
    else
      progress.failed(outcome.said());
    if (outcome.kind == Outcome::kFailed)
      status = kFailed;
    else if (!outcome.warning.empty() && status == kDone)
      status = kDamaged;
    return !ferror(stdout);
  };
  const size_t jobs = std::min(a.jobs ? a.jobs : cores(), names.size());
  workInOrder<Outcome, Picture>(names.size(), jobs, work, take);
  if (!ferror(stdout)) progress.close("thumbnails");
  return status;
}
