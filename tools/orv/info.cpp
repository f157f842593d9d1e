// orv info: what the library finds on this machine.
#include <getopt.h>
#include <cstdio>
#include "commands.h"
#include "options.h"
#include "orv.h"
#include "paths.h"

namespace {

constexpr char kHelp[] =
    "usage: orv info\n"
    "\n"
    "Shows the library's version, this processor's features, the code path that the\n"
    "library selected, the features that path may use and the largest cache, each\n"
    "with the status that the library gave and what that means.\n"
    "\n"
    "  --help          show this\n"
    "\n"
    "Examples:\n"
    "  orv info\n";

void line(const char* name, const std::string& value) { printf("%-20s  %s\n", name, value.c_str()); }

// The status of what a line shows, and what it means for the user.
void status(VelStatus status, const char* meaning) {
  printf("%-20s    %s\n", "", velGetStatusString(status));
  if (status != velStsNoErr) printf("%-20s    (%s)\n", "", meaning);
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

  line("version", ORV_VERSION);
  Vel64u features = 0;
  const VelStatus known = velGetCpuFeatures(&features, nullptr);
  line("processor features", featureNames(features) + " (" + mask(features) + ")");
  status(known, "the processor has no CPUID that would tell its features");
  const VelStatus selected = velStaticInit();
  const CodePath& path = pathInForce();
  const std::string index = "index " + std::to_string(velJumpIndexForMergedLibs);
  const bool isAvx2 = path.index == 5 && __builtin_cpu_supports("avx2");
  line("code path", path.name + (" (" + index + (isAvx2 ? ", with AVX2)" : ")")));
  status(selected, selected == velStsNonNemlorCpu
                       ? "all is well: the path is chosen by features alone, whatever make the processor is of"
                       : "the processor lacks SSE2, which every code path needs");
  const Vel64u enabled = velGetEnabledCpuFeatures();
  line("enabled features", featureNames(enabled) + " (" + mask(enabled) + ")");
  int cache = 0;
  const VelStatus sized = velGetMaxCacheSizeB(&cache);
  line("largest cache", sized == velStsNoErr ? std::to_string(cache / 1024) + " KiB" : "unknown");
  status(sized, "all is well: the library goes by a usual size instead");
  return kDone;
}
