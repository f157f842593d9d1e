// What the conversions from subsampled YUV share: the colours of sixteen pixels that share eight chroma samples, and
// the layouts they are stored in.
#pragma once
#include "color/interleave.h"
#include "color/pack16.h"
#include "image/checks.h"

namespace {

using Pixels = Rgb16<kSplit>;

// What eight chroma samples, given as words, add to luma.
//
// 8192 Y is a whole multiple of what the final shift drops, so (8192 Y + c) >> 13 is Y + (c >> 13): the chroma terms
// are worked out once for all pixels that share a sample, exactly, and added to luma. Words hold the sums: a term lies
// in -261..258.
struct ChromaTerms {
  Vec r, g, b;
  ChromaTerms(Vec u16, Vec v16) {
    const Vec u = _mm_sub_epi16(u16, all16(128)), v = _mm_sub_epi16(v16, all16(128));
    // c x >> 13 is the high word of c times 8 x.
    r = _mm_mulhi_epi16(_mm_slli_epi16(v, 3), all16(9338));
    b = _mm_mulhi_epi16(_mm_slli_epi16(u, 3), all16(16645));
    const Vec weights = _mm_set1_epi32(int(Vel16u(-3227) | unsigned(Vel16u(-4759)) << 16));
    g = _mm_packs_epi32(_mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(u, v), weights), 13),
                        _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(u, v), weights), 13));
  }
};

// Sixteen pixels of a row, with the terms of their eight chroma samples.
ORV_INLINE Pixels sixteen(Vec luma, const ChromaTerms& c) {
  const Vec even = _mm_and_si128(luma, all16(0xFF)), odd = _mm_srli_epi16(luma, 8);
  return {_mm_packus_epi16(_mm_add_epi16(even, c.r), _mm_add_epi16(odd, c.r)),
          _mm_packus_epi16(_mm_add_epi16(even, c.g), _mm_add_epi16(odd, c.g)),
          _mm_packus_epi16(_mm_add_epi16(even, c.b), _mm_add_epi16(odd, c.b))};
}

// ---- Layouts of a destination: the kRows rows that are written at a time. next(step) goes on to the next ones;
// put(row, x, pixels) stores sixteen pixels from column x, put(row, x, pixels, n) the first n of them.

template <class Format, int kRows> struct Interleaved {
  static constexpr bool kKeepsBytes = Format::kKeepsBytes;
  Vel8u* row[kRows];
  Interleaved(void* dst, int step) {
    for (int r = 0; r < kRows; ++r) row[r] = rowOf(static_cast<Vel8u*>(dst), step, r);
  }
  void next(int step) {
    for (int r = 0; r < kRows; ++r) row[r] = rowOf(row[r], step, kRows);
  }
  void put(int r, int x, const Pixels& p) const { Format::store(row[r] + Format::kBytes * x, p); }
  void put(int r, int x, const Pixels& p, int n) const {
    Vel8u* const at = row[r] + Format::kBytes * x;
    Vel8u whole[16 * Format::kBytes] = {};
    if (kKeepsBytes) memcpy(whole, at, size_t(n) * Format::kBytes);
    Format::store(whole, p);
    memcpy(at, whole, size_t(n) * Format::kBytes);
  }
};
template <bool kBgr> ORV_INLINE Pixels ordered(const Pixels& p) { return kBgr ? Pixels{p.b, p.g, p.r} : p; }

template <bool kBgr> struct Bytes3 {
  static constexpr int kBytes = 3;
  static constexpr bool kKeepsBytes = false;
  static void store(Vel8u* dst, const Pixels& p) { storeC3(dst, ordered<kBgr>(p)); }
};
struct Bytes4 {
  static constexpr int kBytes = 4;
  static constexpr bool kKeepsBytes = true;
  static void store(Vel8u* dst, const Pixels& p) { storeAC4(dst, p); }
};
template <Packing kPacking, bool kBgr> struct Word {
  static constexpr int kBytes = 2;
  static constexpr bool kKeepsBytes = false;
  static void store(Vel8u* dst, const Pixels& p) {
    storePacked<kPacking>(reinterpret_cast<Vel16u*>(dst), ordered<kBgr>(p));
  }
};
template <int kRows> using C3 = Interleaved<Bytes3<false>, kRows>;
template <int kRows> using BgrC3 = Interleaved<Bytes3<true>, kRows>;
template <int kRows> using AC4 = Interleaved<Bytes4, kRows>;

template <int kRows> struct P3 {
  static constexpr bool kKeepsBytes = false;
  Vel8u *red, *green, *blue;
  int step;
  P3(Vel8u* const dst[3], int s) : red(dst[0]), green(dst[1]), blue(dst[2]), step(s) {}
  void next(int) {
    red = rowOf(red, step, kRows);
    green = rowOf(green, step, kRows);
    blue = rowOf(blue, step, kRows);
  }
  void put(int r, int x, const Pixels& p) const {
    const ptrdiff_t at = ptrdiff_t(step) * r + x;
    store(red + at, natural(p.r));
    store(green + at, natural(p.g));
    store(blue + at, natural(p.b));
  }
  void put(int r, int x, const Pixels& p, int n) const {
    const ptrdiff_t at = ptrdiff_t(step) * r + x;
    Vel8u whole[16];
    const auto some = [&](Vel8u* plane, Vec channel) {
      store(whole, natural(channel));
      memcpy(plane + at, whole, size_t(n));
    };
    some(red, p.r);
    some(green, p.g);
    some(blue, p.b);
  }
};

}  // namespace
