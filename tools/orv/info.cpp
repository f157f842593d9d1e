// orv info: what the library finds on this machine.
#include <getopt.h>
#include <cstdio>
#include "commands.h"
#include "orv.h"
#include "paths.h"

namespace {

constexpr char kHelp[] =
    "usage: orv info\n"
    "\n"
    "Shows the library's version, this processor's features, the code path that the\n"
    "library selected, the features that path may use and the largest cache, each with\n"
    "the status that the library gave.\n";

void line(const char* name, const std::string& value, const char* status) {
  printf("%-20s  %s\n", name, value.c_str());
  if (status) printf("%-20s    %s\n", "", status);
}

std::string mask(Vel64u features) {
  char number[32];
  snprintf(number, sizeof number, "0x%llX", static_cast<unsigned long long>(features));
  return number;
}

}  // namespace

int runInfo(int argc, char** argv) {
  const option options[] = {{"help", no_argument, nullptr, 'h'}, {}};
  for (int c; (c = getopt_long(argc, argv, ":h", options, nullptr)) != -1;) {
    if (c != 'h') refuseOption(c, argv);
    fputs(kHelp, stdout);
    return 0;
  }
  if (optind < argc) throw UsageError("info takes no arguments");

  line("version", ORV_VERSION, nullptr);
  Vel64u features = 0;
  VelStatus status = velGetCpuFeatures(&features, nullptr);
  line("processor features", featureNames(features) + " (" + mask(features) + ")", velGetStatusString(status));
  status = velStaticInit();
  const std::string path = selectedPath().name;
  line("code path", path + " (index " + std::to_string(velJumpIndexForMergedLibs) + ")", velGetStatusString(status));
  const Vel64u enabled = velGetEnabledCpuFeatures();
  line("enabled features", featureNames(enabled) + " (" + mask(enabled) + ")", nullptr);
  int cache = 0;
  status = velGetMaxCacheSizeB(&cache);
  line("largest cache", status == velStsNoErr ? std::to_string(cache / 1024) + " KiB" : "unknown",
       velGetStatusString(status));
  return 0;
}
