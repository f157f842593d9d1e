// What the program's commands share.
#pragma once
#include <new>
#include <stdexcept>
#include "messages.h"
#include "orv.h"

// A command gives 0 when all went well. Where it could not do its work it throws: UsageError ends the program with 2, and
// what else there is with 1. Work that was done on what is left of a picture gives kDamaged, after a warning. Of compare 1
// is an answer, so that there all else is 2.
constexpr int kDone = 0, kFailed = 1, kDamaged = 2;

// For calls of the library that leave nothing to go wrong.
inline void must(VelStatus status) {
  if (status == velStsMemAllocErr) throw std::bad_alloc();
  if (status < velStsNoErr) throw std::runtime_error(orvGetStatusString(status));
}

// Each takes its own name as argv[0] and gives the exit status.
int runInfo(int argc, char** argv);
int runDecode(int argc, char** argv);
int runEncode(int argc, char** argv);
int runCompare(int argc, char** argv);
int runConvert(int argc, char** argv);
int runFilter(int argc, char** argv);
int runSwap(int argc, char** argv);
int runResize(int argc, char** argv);
int runSheet(int argc, char** argv);
int runThumb(int argc, char** argv);
int runVerify(int argc, char** argv);
