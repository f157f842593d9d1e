// How much work it takes until the library writes past the caches.
#pragma once
#include <algorithm>
#include <cstddef>
#include "orv.h"

// Bytes that a call has to touch, where it is free to choose.
inline size_t beyondCaches() {
  int cache = 0;
  return size_t(velGetMaxCacheSizeB(&cache) == velStsNoErr ? std::max(cache, 1 << 20) : 8 << 20) + 1;
}
// An image of so many bytes a pixel that no cache holds. The width is odd: rows without padding begin anywhere in a line.
inline VeliSize sizeBeyondCaches(int pixelBytes) {
  constexpr int kWidth = 1029;
  return {kWidth, int(beyondCaches() / size_t(kWidth * pixelBytes)) + 3};
}
