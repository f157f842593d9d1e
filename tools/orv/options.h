// How commands read their options.
#pragma once
#include <cstdint>
#include <string>
#include "orv.h"

// What getopt_long stopped at, with opterr = 0 and a leading ':' in the short options: '?' or ':'.
[[noreturn]] void refuseOption(int result, char** argv);

// An option's value, which throws UsageError where it is anything else: a number from 1 to most; or WIDTHxHEIGHT, each
// such a number.
uint64_t optionNumber(const char* option, const char* text, uint64_t most);
VeliSize optionSize(const std::string& option, const std::string& text, uint64_t most);

// The values of --quality, of a JPEG, and of --repeat, how many runs are timed.
int optionQuality(const char* text);
int optionRepeat(const char* text);
