#include "options.h"
#include <getopt.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>
#include "messages.h"
#include "paths.h"

void refuseOption(int result, char** argv) {
  const std::string given = optopt > 0 && optopt < 128 && strncmp(argv[optind - 1], "--", 2) != 0
                                ? std::string("-") + char(optopt)
                                : argv[optind - 1];
  if (result == ':') throw UsageError("option '" + given + "' needs a value");
  throw UsageError("unknown option '" + given + "' (see orv " + argv[0] + " --help)");
}

uint64_t optionNumber(const char* option, const char* text, uint64_t most) {
  char* end = nullptr;
  errno = 0;
  const unsigned long long value = strtoull(text, &end, 10);
  if (*text < '0' || *text > '9' || *end != 0 || errno != 0 || value < 1 || value > most)
    throw UsageError(std::string(option) + " takes a number from 1 to " + std::to_string(most));
  return value;
}

VeliSize optionSize(const std::string& option, const std::string& text, uint64_t most) {
  const size_t cross = text.find('x');
  if (cross == std::string::npos) throw UsageError(option + " takes a size like 9x9");
  const std::string width = text.substr(0, cross), height = text.substr(cross + 1);
  return {int(optionNumber((option + "'s width").c_str(), width.c_str(), most)),
          int(optionNumber((option + "'s height").c_str(), height.c_str(), most))};
}

PictureKind optionKind(const char* text) {
  if (strcmp(text, "jpeg") == 0) return PictureKind::kJpeg;
  if (strcmp(text, "ppm") == 0) return PictureKind::kPpm;
  throw UsageError("--to takes jpeg or ppm");
}

// ---- Options that commands share

namespace {

// Above all letters, which are commands' own options.
enum Shared { kPath = 256, kStrict, kAsStored, kStrip, kQuality, kSampling, kTo, kTime, kRepeat };

jpeg::Sampling samplingOf(const std::string& name) {
  if (name == "444") return jpeg::Sampling::k444;
  if (name == "422") return jpeg::Sampling::k422;
  if (name == "420") return jpeg::Sampling::k420;
  if (name == "grey") return jpeg::Sampling::kGrey;
  throw UsageError("--sampling takes 444, 422, 420 or grey");
}

std::vector<option> withShared(unsigned shared, std::initializer_list<option> own) {
  std::vector<option> all = own;
  const auto add = [&](bool wanted, std::initializer_list<option> more) {
    if (wanted) all.insert(all.end(), more);
  };
  add(true, {{"help", no_argument, nullptr, 'h'}, {"path", required_argument, nullptr, kPath}});
  add(shared & kReads, {{"strict", no_argument, nullptr, kStrict}, {"as-stored", no_argument, nullptr, kAsStored}});
  add(shared & kKeeps, {{"strip", no_argument, nullptr, kStrip}});
  add(shared & kWrites,
      {{"quality", required_argument, nullptr, kQuality}, {"sampling", required_argument, nullptr, kSampling}});
  add(shared & kTimes, {{"time", no_argument, nullptr, kTime}, {"repeat", required_argument, nullptr, kRepeat}});
  add(shared & kNames, {{"to", required_argument, nullptr, kTo}});
  all.emplace_back();
  return all;
}

}  // namespace

void readOptions(int argc, char** argv, unsigned shared, std::initializer_list<option> own, SharedOptions* to,
                 const std::function<void(int)>& read) {
  const std::vector<option> options = withShared(shared, own);
  for (int c; (c = getopt_long(argc, argv, ":h", options.data(), nullptr)) != -1;) {
    switch (c) {
      case 'h': to->help = true; return;
      case kPath: selectPath(optarg); break;
      case kStrict: to->reading.strict = true; break;
      case kAsStored: to->reading.asStored = true; break;
      case kStrip: to->reading.strip = true; break;
      case kQuality: to->jpeg.quality = int(optionNumber("--quality", optarg, 100)); break;
      case kSampling: to->jpeg.sampling = samplingOf(optarg); break;
      case kTo: to->kind = optionKind(optarg); break;
      case kRepeat: to->repeat = int(optionNumber("--repeat", optarg, 1000000)); [[fallthrough]];
      case kTime: to->time = true; break;
      case '?':
      case ':': refuseOption(c, argv);
      default: read(c);
    }
  }
}
