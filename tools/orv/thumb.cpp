// orv thumb: thumbnails of all photos in a folder.
#include <dirent.h>
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include "commands.h"
#include "endings.h"
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
    "status is 2.\n"
    "\n"
    "  --size N        the longest side in pixels (default 256); smaller photos keep\n"
    "                  theirs\n" ORV_HELP_WRITES ORV_HELP_KEEPS ORV_HELP_READS ORV_HELP_ALL
    "  orv thumb photos thumbnails\n"
    "  orv thumb --size 160 --quality 75 photos thumbnails\n";

constexpr size_t kLargestProfile = 4096;  // that a thumbnail keeps

struct Arguments {
  std::string from, to;
  int size = 256;
  SharedOptions shared;
};

Arguments parse(int argc, char** argv) {
  Arguments a;
  readOptions(argc, argv, kReads | kWrites | kKeeps, {{"size", required_argument, nullptr, 's'}}, &a.shared,
              [&](int) { a.size = int(optionNumber("--size", optarg, jpeg::kLargestSide)); });
  if (a.shared.help) return a;
  if (argc - optind != 2) throw UsageError("thumb takes FOLDER and OUTFOLDER (see orv thumb --help)");
  a.from = argv[optind];
  a.to = argv[optind + 1];
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

// ---- Thumbnails

struct Made {
  VeliSize size;
  bool whole;
};

// A profile may be larger than the thumbnail; the common ones are small.
jpeg::EncoderOptions thumbnailOptions(const PictureReader& reader, const Arguments& a) {
  jpeg::EncoderOptions options = reader.withMetadata(a.shared.jpeg);
  options.density = {};
  if (options.profile.size() > kLargestProfile) options.profile.clear();
  return options;
}

// `memory` is that of the photo before, and is used again.
Made makeThumbnail(const std::string& from, const std::string& to, const Arguments& a, Picture* memory,
                   Progress* progress) {
  if (isSame(from, to) || liesIn(a.from, to))
    throw FileError(to, "the thumbnail would replace a photo: this is a link");
  PictureReader reader(from, a.shared.reading);
  VeliSize size = {reader.width(), reader.height()};
  const int longest = std::max(size.width, size.height);
  if (longest > a.size) size = scaled(size, double(a.size) / longest);
  PictureFile file(to, size.width, size.height, reader.channels(), thumbnailOptions(reader, a));
  if (!reader.readStored(memory)) progress->complain(reader.warning().c_str());
  const Orientation orientation = reader.orientation();
  const bool reduces = longest > a.size;
  file.write(orientation.upright(reduces ? resized(*memory, orientation.other(size), velInterSuper) : *memory));
  return {size, reader.isWhole()};
}

}  // namespace

int runThumb(int argc, char** argv) {
  const Arguments a = parse(argc, argv);
  if (a.shared.help) return fputs(kHelp, stdout), 0;
  requireSse2();
  const std::vector<std::string> names = photosIn(a.from);
  makeFolder(a.to, a.from);
  Progress progress(names.size());
  Picture memory = {};
  std::set<std::string> made;
  int status = kDone;
  const auto fail = [&](const char* why) {
    progress.complain(why);
    progress.failed();
    status = kFailed;
  };
  for (const std::string& name : names) {
    try {
      const std::string from = a.from + "/" + name, thumbnail = name + (endsIn(name, kJpegEndings) ? "" : ".jpg");
      workOn(from, [&] {
        if (!made.insert(thumbnail).second)
          throw FileError(from, "another photo has the thumbnail of this name, " + thumbnail);
        const std::string to = a.to + "/" + thumbnail;
        const Made m = makeThumbnail(from, to, a, &memory, &progress);
        progress.done(from + " -> " + to + ", " + std::to_string(m.size.width) + " x " + std::to_string(m.size.height));
        if (!m.whole && status == kDone) status = kDamaged;
      });
    } catch (const std::bad_alloc&) {
      fail(kNoMemory);
    } catch (const std::exception& e) {
      fail(e.what());
    }
  }
  return status;
}
