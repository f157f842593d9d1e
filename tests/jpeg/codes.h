// Blocks of coefficients and Huffman codes, for the tests and the fuzz targets.
#pragma once
#include <array>
#include <vector>
#include "orv.h"

using Block = std::array<Vel16s, 64>;
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

// A table as a DHT segment carries it, with the codes that it stands for (ITU-T T.81, annex C).
struct Codes {
  std::array<Vel8u, 16> bits{};
  Bytes values;
  int first[17] = {}, index[17] = {};  // by length: the first code, and which value it stands for

  void assign() {
    for (int n = 1, code = 0, total = 0; n <= 16; ++n, code *= 2) {
      first[n] = code, index[n] = total;
      code += count(n), total += count(n);
    }
  }
  int count(int length) const { return bits[size_t(length) - 1]; }
  // The value of a code, or -1.
  int find(int length, int code) const {
    const int i = code - first[length];
    return i >= 0 && i < count(length) ? values[size_t(index[length] + i)] : -1;
  }
};
