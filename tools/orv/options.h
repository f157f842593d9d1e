// How commands read their options.
#pragma once
#include <getopt.h>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include "orv.h"
#include "picture_file.h"

// What getopt_long stopped at, with opterr = 0 and a leading ':' in the short options: '?' or ':'.
[[noreturn]] void refuseOption(int result, char** argv);

// An option's value, which throws UsageError where it is anything else: a number from 1 to most; or WIDTHxHEIGHT, each
// such a number.
uint64_t optionNumber(const char* option, const char* text, uint64_t most);
PictureKind optionKind(const char* text);
VeliSize optionSize(const std::string& option, const std::string& text, uint64_t most);

// ---- Options that commands share

// All commands that readOptions() serves have --help and --path. kReads: of pictures; kWrites: of JPEG files that come
// out; kKeeps: what they keep of one that is read; kNames: --to says what a picture is written as; kTimes: work in memory
// can be timed.
enum : unsigned { kReads = 1, kWrites = 2, kKeeps = 4, kNames = 8, kTimes = 16 };

struct SharedOptions {
  bool help = false;  // nothing after it has been read
  Reading reading;
  jpeg::EncoderOptions jpeg;
  PictureKind kind = PictureKind::kOfName;
  bool time = false;
  int repeat = 11;  // runs that are timed
};

// Reads the options that `shared` says, and a command's own ones, for each of which `read` is called with its `val`, a
// letter. What else there is throws UsageError.
void readOptions(int argc, char** argv, unsigned shared, std::initializer_list<option> own, SharedOptions* to,
                 const std::function<void(int)>& read);

// What the commands' help says of them. The last piece begins the examples.
#define ORV_HELP_READS                                                             \
  "  --as-stored     leave a JPEG as stored, whichever side its EXIF says is up\n" \
  "  --strict        refuse a JPEG that is cut short or damaged\n"
#define ORV_HELP_KEEPS "  --strip         keep no colour profile or density of a JPEG\n"
#define ORV_HELP_WRITES                                                             \
  "  --quality N     of a JPEG, 1 to 100 (default 85)\n"                            \
  "  --sampling S    of a JPEG, 444, 422, 420 (default) or grey: chroma for each\n" \
  "                  pixel, for two side by side, for a square of four, or none\n"
#define ORV_HELP_NAMES                                                                \
  "  --to KIND       what OUT is, jpeg or ppm, where its name has no ending: where\n" \
  "                  it is -, standard output. IN may be -, standard input\n"
#define ORV_HELP_ALL                                                             \
  "  --path NAME     use the library's code path w7, v8, s8, p8, g9_avx or g9\n" \
  "  --help          show this\n"                                                \
  "\nExamples:\n"
