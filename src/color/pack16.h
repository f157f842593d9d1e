// Sixteen pixels in words of 5, 6 or 4 bits a channel: red in the lowest bits, blue in the highest.
#pragma once
#include "color/interleave.h"

namespace {

enum Packing { k565, k555, k444 };

// Of bytes shifted as words, a mask keeps what came from the byte itself.
ORV_INLINE Vec up(Vec bytes, int count, int mask) { return _mm_and_si128(_mm_slli_epi16(bytes, count), all8(mask)); }
ORV_INLINE Vec down(Vec bytes, int count, int mask) { return _mm_and_si128(_mm_srli_epi16(bytes, count), all8(mask)); }

template <Packing kPacking, Order kOrder> ORV_INLINE void storePacked(Vel16u* dst, const Rgb16<kOrder>& p) {
  Vec low, high;  // bytes of the words
  if (kPacking == k565) {
    low = _mm_or_si128(down(p.r, 3, 0x1F), up(p.g, 3, 0xE0));
    high = _mm_or_si128(_mm_and_si128(p.b, all8(0xF8)), down(p.g, 5, 0x07));
  } else if (kPacking == k555) {
    low = _mm_or_si128(down(p.r, 3, 0x1F), up(p.g, 2, 0xE0));
    high = _mm_or_si128(down(p.b, 1, 0x7C), down(p.g, 6, 0x03));
  } else {
    low = _mm_or_si128(down(p.r, 4, 0x0F), _mm_and_si128(p.g, all8(0xF0)));
    high = down(p.b, 4, 0x0F);
  }
  const Vec first = _mm_unpacklo_epi8(low, high), second = _mm_unpackhi_epi8(low, high);
  store(dst, kOrder == kNatural ? first : _mm_unpacklo_epi16(first, second));
  store(dst + 8, kOrder == kNatural ? second : _mm_unpackhi_epi16(first, second));
}

}  // namespace
