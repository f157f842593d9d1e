// The Huffman encoder's tables: from the lists of a JPEG file, and the best ones for given frequencies.
#pragma once
#include "jpeg/huffman.h"

struct VeliEncodeHuffmanSpec {
  Vel32u codes[256];  // by symbol: code length << 16 | code, or 0 for a symbol without a code
};
static_assert(sizeof(VeliEncodeHuffmanSpec) == 1024, "the layout is fixed");

namespace {

ORV_INLINE VelStatus buildTable(const Vel8u bits[16], const Vel8u* values, VeliEncodeHuffmanSpec* spec) {
  memset(spec, 0, sizeof *spec);
  ORV_CHECK(checkCodes(bits));
  return assignCodes(bits, [=](int length, int code, int first, int count) {
    for (int i = 0; i < count; ++i) spec->codes[values[first + i]] = Vel32u(length) << 16 | Vel32u(code + i);
  });
}

// ---- The best code for given frequencies (ITU-T T.81, annex K.2), whose length T.81 limits to 16

constexpr int kSymbols = 257;  // the last is reserved, so that no symbol's code is all ones
constexpr int kLongestBeforeLimit = 32, kMostFrequent = 1000000000;

struct CodeLengths {
  int frequency[kSymbols], length[kSymbols], next[kSymbols];  // next symbol of the same subtree, or -1

  explicit CodeLengths(const int statistics[256]) {
    for (int i = 0; i < kSymbols; ++i) frequency[i] = i < 256 ? statistics[i] : 1, length[i] = 0, next[i] = -1;
  }
  // The rarest symbol but one, the last of several; -1 where there is none.
  int rarest(int except) const {
    int found = -1, least = kMostFrequent;
    for (int i = 0; i < kSymbols; ++i)
      if (frequency[i] != 0 && frequency[i] <= least && i != except) least = frequency[found = i];
    return found;
  }
  // One level further from the root for a subtree; gives its last symbol.
  int deepen(int i) {
    for (;; i = next[i]) {
      ++length[i];
      if (next[i] < 0) return i;
    }
  }
  void build() {
    for (;;) {
      const int first = rarest(-1), second = first < 0 ? -1 : rarest(first);
      if (second < 0) return;
      frequency[first] += frequency[second];
      frequency[second] = 0;
      next[deepen(first)] = second;
      deepen(second);
    }
  }
};

// Moves codes longer than 16 bits up. One of a pair of them gets the prefix that they share. A shorter code, made longer
// by a bit, has room for the other and for its own symbol.
ORV_INLINE void limitLengths(int count[kLongestBeforeLimit + 1]) {
  for (int i = kLongestBeforeLimit; i > kLongestCode; --i)
    while (count[i] > 0) {
      int j = i - 2;
      while (count[j] == 0) --j;
      count[i] -= 2;
      count[i - 1] += 1;
      count[j + 1] += 2;
      count[j] -= 1;
    }
}

// The code's lists: how many codes there are of each length, and their symbols.
//   velStsJPEGHuffTableErr   a code of more than 32 bits
ORV_INLINE VelStatus bestCode(const int statistics[256], Vel8u bits[16], Vel8u* values) {
  CodeLengths codes(statistics);
  codes.build();
  int count[kLongestBeforeLimit + 1] = {};
  for (int length : codes.length) {
    if (length > kLongestBeforeLimit) return velStsJPEGHuffTableErr;
    ++count[length];
  }
  count[0] = 1;  // ends the search below where no symbol is used
  limitLengths(count);
  int longest = kLongestCode;
  while (count[longest] == 0) --longest;
  --count[longest];  // the reserved symbol's
  for (int i = 0; i < kLongestCode; ++i) bits[i] = Vel8u(count[i + 1]);
  for (int length = 1; length <= kLongestBeforeLimit; ++length)
    for (int symbol = 0; symbol < 256; ++symbol)
      if (codes.length[symbol] == length) *values++ = Vel8u(symbol);
  return velStsNoErr;
}

}  // namespace
