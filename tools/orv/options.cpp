#include "options.h"
#include <getopt.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include "messages.h"

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

int optionQuality(const char* text) { return int(optionNumber("--quality", text, 100)); }
int optionRepeat(const char* text) { return int(optionNumber("--repeat", text, 1000000)); }
