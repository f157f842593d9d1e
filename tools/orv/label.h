// Small words in a picture.
#pragma once
#include <string>
#include "picture_file.h"

// Black letters, kLabelHeight high and kLabelLetter apart, their upper left corner at x and y; what lies outside of the
// picture is cut off. There are lower case letters, digits, and what else labels need.
constexpr int kLabelHeight = 18, kLabelLetter = 12;
void drawLabel(Picture* picture, int x, int y, const std::string& text);
