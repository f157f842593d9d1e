// The thin vocabulary of vector operations that the families are written in: each has one meaning, and is the path's
// best instruction sequence for it. Names say the lane width; v.. are 16-byte vectors of integers.
#pragma once
#include "core/path.h"

using Vec = __m128i;

// ---- Memory: whole vectors, halves; no alignment needed unless the name says so.

ORV_INLINE Vec load(const void* p) { return _mm_loadu_si128(static_cast<const Vec*>(p)); }
ORV_INLINE Vec loadAligned(const void* p) { return _mm_load_si128(static_cast<const Vec*>(p)); }
ORV_INLINE Vec loadLow(const void* p) { return _mm_loadl_epi64(static_cast<const Vec*>(p)); }
// Eight bytes from p, then eight from q.
ORV_INLINE Vec loadHalves(const void* p, const void* q) {
  return _mm_castpd_si128(_mm_loadh_pd(_mm_load_sd(static_cast<const double*>(p)), static_cast<const double*>(q)));
}
ORV_INLINE void store(void* p, Vec v) { _mm_storeu_si128(static_cast<Vec*>(p), v); }
// As doubles: what gcc makes of the integer form goes through general registers in 32-bit.
ORV_INLINE void storeLow(void* p, Vec v) { _mm_storel_pd(static_cast<double*>(p), _mm_castsi128_pd(v)); }
ORV_INLINE void storeHigh(void* p, Vec v) { _mm_storeh_pd(static_cast<double*>(p), _mm_castsi128_pd(v)); }
template <class T> ORV_INLINE Vec loadAs(const void* p) {
  T some;
  memcpy(&some, p, sizeof some);
  return _mm_cvtsi32_si128(int(some));
}
template <class T> ORV_INLINE void storeAs(void* p, Vec v) {
  const T some = T(_mm_cvtsi128_si32(v));
  memcpy(p, &some, sizeof some);
}
// The first kBytes of a vector: 16, 8, 4, 2 or 1. What a load does not fill is zero.
template <int kBytes> ORV_INLINE Vec loadPart(const void* p) {
  if (kBytes == 16) return load(p);
  if (kBytes == 8) return loadLow(p);
  return kBytes == 4 ? loadAs<Vel32u>(p) : kBytes == 2 ? loadAs<Vel16u>(p) : loadAs<Vel8u>(p);
}
template <int kBytes> ORV_INLINE void storePart(void* p, Vec v) {
  if (kBytes == 16) return store(p, v);
  if (kBytes == 8) return storeLow(p, v);
  return kBytes == 4 ? storeAs<Vel32u>(p, v) : kBytes == 2 ? storeAs<Vel16u>(p, v) : storeAs<Vel8u>(p, v);
}
// Past the caches; p at a multiple of 16. streamEnd orders such stores before what follows.
ORV_INLINE void stream(void* p, Vec v) { _mm_stream_si128(static_cast<Vec*>(p), v); }
ORV_INLINE void streamEnd() { _mm_sfence(); }

// Asks for the cache line that lies `ahead` bytes behind p, whosever it is.
ORV_INLINE void prefetch(const void* p, ptrdiff_t ahead) {
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<size_t>(p) + size_t(ahead)), _MM_HINT_T0);
}

// How far along a row to ask, in bytes: of 512 to 4096, what gained most where 4:2:0 becomes pixels with alpha.
constexpr ptrdiff_t kRowAhead = 2048;

// Makes the compiler forget where p points. What it loads through p afterwards it loads again, as an operand; else it
// would try to keep constants in registers, run out of them and spill.
template <class T> ORV_INLINE void reload(T*& p) { __asm__("" : "+r"(p)); }

// Makes v be worked out here and as it is written. Else the compiler may take a sum apart and put it together in an order
// that needs more registers, or lengthens a chain.
ORV_INLINE void settle(Vec& v) { __asm__("" : "+x"(v)); }
ORV_INLINE void settle(Vel32u& v) { __asm__("" : "+r"(v)); }

// ---- Constants

ORV_INLINE Vec zero() { return _mm_setzero_si128(); }
ORV_INLINE Vec all8(int x) { return _mm_set1_epi8(char(x)); }
ORV_INLINE Vec all16(int x) { return _mm_set1_epi16(short(x)); }
ORV_INLINE Vec all32(int x) { return _mm_set1_epi32(x); }

// ---- Tests

#if ORV_HAS_BLEND
ORV_INLINE bool allZero(Vec v) { return _mm_testz_si128(v, v) != 0; }
#else
ORV_INLINE bool allZero(Vec v) { return _mm_movemask_epi8(_mm_cmpeq_epi8(v, zero())) == 0xFFFF; }
#endif

// ---- Lanes

// Bytes to words: the low and the high eight.
ORV_INLINE Vec widenLow8(Vec v) { return _mm_unpacklo_epi8(v, zero()); }
ORV_INLINE Vec widenHigh8(Vec v) { return _mm_unpackhi_epi8(v, zero()); }

// Words without their sign, and words of another vector with the signs of v (nothing in particular where v is zero).
#if ORV_HAS_SHUFFLE
ORV_INLINE Vec magnitude16(Vec v) { return _mm_abs_epi16(v); }
ORV_INLINE Vec withSignOf16(Vec v, Vec magnitude) { return _mm_sign_epi16(magnitude, v); }
#else
ORV_INLINE Vec withSignOf16(Vec v, Vec magnitude) {
  const Vec negative = _mm_srai_epi16(v, 15);
  return _mm_sub_epi16(_mm_xor_si128(magnitude, negative), negative);
}
ORV_INLINE Vec magnitude16(Vec v) { return withSignOf16(v, v); }
#endif

// ---- Cache

// Whether a call that touches so many bytes should write past the caches: past half a megabyte, and not less than the
// largest cache, or than `unknown` bytes where its size is not known.
ORV_INLINE bool exceedsCaches(double bytes, double unknown) {
  int cache;
  return bytes > 524288 && bytes >= (velGetMaxCacheSizeB(&cache) == velStsNoErr ? cache : unknown);
}
constexpr double kCacheIfUnknown = 8 << 20;  // stores of either kind were seen to be equally fast there
// Images of more bytes than these are moved past the caches, whatever their size.
constexpr double kMovedPastCaches = 1048576;
constexpr size_t kLine = 64;  // of a cache, in bytes

// ---- Wide: the widest vector that the path loads, stores, and works on as floats or bit by bit

#if ORV_HAS_WIDE_FLOAT
using Wide = __m256;
ORV_INLINE Wide loadWide(const void* p) { return _mm256_loadu_ps(static_cast<const float*>(p)); }
ORV_INLINE void storeWide(void* p, Wide v) { _mm256_storeu_ps(static_cast<float*>(p), v); }
ORV_INLINE void streamWide(void* p, Wide v) { _mm256_stream_ps(static_cast<float*>(p), v); }
ORV_INLINE Wide zeroWide() { return _mm256_setzero_ps(); }
ORV_INLINE Wide allWide(float x) { return _mm256_set1_ps(x); }
ORV_INLINE Wide repeatWide(Vec v) { return _mm256_castsi256_ps(_mm256_set_m128i(v, v)); }
ORV_INLINE Wide addWide(Wide a, Wide b) { return _mm256_add_ps(a, b); }
ORV_INLINE Wide subWide(Wide a, Wide b) { return _mm256_sub_ps(a, b); }
ORV_INLINE Wide mulWide(Wide a, Wide b) { return _mm256_mul_ps(a, b); }
ORV_INLINE Wide minWide(Wide a, Wide b) { return _mm256_min_ps(a, b); }  // b where one is a NaN
ORV_INLINE Wide andWide(Wide a, Wide b) { return _mm256_and_ps(a, b); }
ORV_INLINE Wide orWide(Wide a, Wide b) { return _mm256_or_ps(a, b); }
ORV_INLINE Wide xorWide(Wide a, Wide b) { return _mm256_xor_ps(a, b); }
#else
using Wide = __m128;
ORV_INLINE Wide loadWide(const void* p) { return _mm_loadu_ps(static_cast<const float*>(p)); }
ORV_INLINE void storeWide(void* p, Wide v) { _mm_storeu_ps(static_cast<float*>(p), v); }
ORV_INLINE void streamWide(void* p, Wide v) { _mm_stream_ps(static_cast<float*>(p), v); }
ORV_INLINE Wide zeroWide() { return _mm_setzero_ps(); }
ORV_INLINE Wide allWide(float x) { return _mm_set1_ps(x); }
ORV_INLINE Wide repeatWide(Vec v) { return _mm_castsi128_ps(v); }
ORV_INLINE Wide addWide(Wide a, Wide b) { return _mm_add_ps(a, b); }
ORV_INLINE Wide subWide(Wide a, Wide b) { return _mm_sub_ps(a, b); }
ORV_INLINE Wide mulWide(Wide a, Wide b) { return _mm_mul_ps(a, b); }
ORV_INLINE Wide minWide(Wide a, Wide b) { return _mm_min_ps(a, b); }
ORV_INLINE Wide andWide(Wide a, Wide b) { return _mm_and_ps(a, b); }
ORV_INLINE Wide orWide(Wide a, Wide b) { return _mm_or_ps(a, b); }
ORV_INLINE Wide xorWide(Wide a, Wide b) { return _mm_xor_ps(a, b); }
#endif
constexpr size_t kWide = sizeof(Wide);
