// What the tests of the JPEG families share.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>
#include "jpeg/codes.h"
#include "support/image.h"

using Table = std::array<Vel16u, 64>;

// Any 16 bits, every other time one at the ends of the range or near zero.
inline int wildWord(std::mt19937& random) {
  static const int kEnds[] = {-32768, -32767, 32767, -1, 0, 0, 1, 8};
  return random() & 1 ? kEnds[random() % 8] : int(random() & 0xFFFF) - 32768;
}
