// What the tests of the JPEG families share.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>
#include "support/image.h"

using Block = std::array<Vel16s, 64>;
using Table = std::array<Vel16u, 64>;
using Bytes = std::vector<Vel8u>;

// The natural position of each zigzag index: along the diagonals, turning at the edges.
inline std::array<int, 64> zigzagOrder() {
  std::array<int, 64> order{};
  size_t k = 0;
  for (int d = 0; d < 15; ++d)
    for (int i = 0; i <= d; ++i) {
      const int row = d % 2 ? i : d - i, column = d - row;
      if (row < 8 && column < 8) order[k++] = 8 * row + column;
    }
  return order;
}

// Any 16 bits, every other time one at the ends of the range or near zero.
inline int wildWord(std::mt19937& random) {
  static const int kEnds[] = {-32768, -32767, 32767, -1, 0, 0, 1, 8};
  return random() & 1 ? kEnds[random() % 8] : int(random() & 0xFFFF) - 32768;
}
