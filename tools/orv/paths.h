// The library's code paths, by name.
#pragma once
#include <string>
#include "tools/support/code_paths.h"

// Selects a path by name; throws UsageError where there is no such path, std::runtime_error where the processor lacks
// what it needs.
void selectPath(const std::string& name);
// Throws std::runtime_error where the processor cannot run any path.
void requireSse2();
// The names of the features in a mask, with a space between them.
std::string featureNames(Vel64u mask);
