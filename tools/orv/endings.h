// What files' names end in, which says what is in them.
#pragma once
#include <initializer_list>
#include <string>

using Endings = std::initializer_list<const char*>;
constexpr Endings kJpegEndings = {"jpg", "jpeg"}, kPictureEndings = {"jpg", "jpeg", "ppm", "pgm", "pnm"};

// What follows the last dot, in lower case; "" without one.
std::string endingOf(const std::string& name);
bool endsIn(const std::string& name, Endings endings);
// Throws UsageError where a file of this name would be something else. "" among the endings is a name without one.
void requireEnding(const std::string& name, Endings endings);
