// The weights of the colours as integers.
#pragma once

namespace {

// The weight times 2^bits, rounded to the nearest.
constexpr int fixedPoint(double weight, int bits) {
  const double scaled = weight * (1 << bits);
  return int(scaled < 0 ? scaled - 0.5 : scaled + 0.5);
}
// A little less: times 65535 in place of 65536, cut off there, and cut off to so many bits, at most 16.
constexpr int fixedPointBelow(double weight, int bits) { return int(weight * 65535) / (1 << (16 - bits)); }

}  // namespace
