// Huffman codes and streams of the tests' own.
#pragma once
#include <numeric>
#include "jpeg/support.h"

// A code for these symbols grown by splitting leaves, without its last `spare` codes. The all-ones code is no symbol's.
inline Codes randomCodes(Bytes symbols, size_t spare, std::mt19937& random) {
  std::array<size_t, 17> leaves{};
  leaves[1] = 2;
  for (size_t n = 1; n < symbols.size();)
    if (const size_t length = 1 + random() % 15; leaves[length]) --leaves[length], leaves[length + 1] += 2, ++n;
  std::shuffle(symbols.begin(), symbols.end(), random);
  symbols.resize(symbols.size() - spare);
  Codes codes;
  for (size_t length = 1, left = symbols.size(); length <= 16; ++length) {
    codes.bits[length - 1] = Vel8u(std::min(left, leaves[length]));
    left -= codes.bits[length - 1];
  }
  codes.values = symbols;
  codes.assign();
  return codes;
}
inline Bytes symbolsUpTo(int count) {
  Bytes symbols(static_cast<size_t>(count));
  std::iota(symbols.begin(), symbols.end(), Vel8u(0));
  return symbols;
}

// A stream as it is written, bit by bit.
struct Writer {
  Bytes bytes;
  int bitCount = 0;

  void stuff() {
    if (!bytes.empty() && bytes.back() == 0xFF) bytes.push_back(0);
  }
  void put(int value, int length) {
    while (length-- > 0) {
      if (bitCount % 8 == 0) {
        stuff();
        bytes.push_back(0);
      }
      bytes.back() = Vel8u(bytes.back() | (value >> length & 1) << (7 - bitCount++ % 8));
    }
  }
  void symbol(const Codes& codes, int symbol) {
    for (int n = 1; n <= 16; ++n)
      for (int i = 0; i < codes.count(n); ++i)
        if (codes.values[size_t(codes.index[n] + i)] == symbol) return put(codes.first[n] + i, n);
    FAIL() << "no code for symbol " << symbol;
  }
  // Fills the last byte with ones and appends a marker.
  void marker(int code, int fillBytes = 0) {
    while (bitCount % 8) put(1, 1);
    stuff();
    bytes.insert(bytes.end(), size_t(fillBytes) + 1, 0xFF);
    bytes.push_back(Vel8u(code));
    bitCount = 0;
  }
};
