// What the Huffman encoder and decoder share.
#pragma once
#include "core/simd.h"
#include "image/checks.h"

namespace {

constexpr int kLongestCode = 16;

// Assigns the codes of each length in turn (ITU-T T.81, annex C); visit(length, first code, index of its symbol, count)
// sees those lengths that have codes. The all-ones code of a length may not be used.
//   velStsJPEGHuffTableErr   more than 256 codes, or more of a length than it has room for
template <class Visit> ORV_INLINE VelStatus assignCodes(const Vel8u bits[16], const Visit& visit) {
  int code = 0, total = 0;
  for (int length = 1; length <= kLongestCode; ++length, code *= 2) {
    const int count = bits[length - 1];
    if (count == 0) continue;
    if (total + count > 256) return velStsJPEGHuffTableErr;
    if (code + count >= 1 << length) return velStsJPEGHuffTableErr;
    visit(length, code, total, count);
    code += count;
    total += count;
  }
  return velStsNoErr;
}
ORV_INLINE VelStatus checkCodes(const Vel8u bits[16]) {
  return assignCodes(bits, [](int, int, int, int) {});
}

}  // namespace
