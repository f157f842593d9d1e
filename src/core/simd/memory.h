// Vectors from and to memory. No alignment is needed unless a name says so.
#pragma once
#include "core/path.h"

// The compiler's own vectors: what the intrinsics take and give, but for an attribute that templates would lose.
typedef long long Lane __attribute__((vector_size(16)));
#if ORV_HAS_WIDE_INTEGER
typedef long long Lanes __attribute__((vector_size(32)));
#else
using Lanes = Lane;
#endif
// Dwords are as many integers as Floats has floats.
#if ORV_HAS_WIDE_FLOAT
typedef float Floats __attribute__((vector_size(32)));
typedef long long Dwords __attribute__((vector_size(32)));
#else
typedef float Floats __attribute__((vector_size(16)));
using Dwords = Lane;
#endif

namespace {

// ---- Whole vectors

template <class V> ORV_INLINE V load(const void* p) {
  V v;
  memcpy(&v, p, sizeof v);
  return v;
}
ORV_INLINE Lane load(const void* p) { return load<Lane>(p); }
ORV_INLINE Lane loadAligned(const void* p) { return _mm_load_si128(static_cast<const Lane*>(p)); }
template <class V> ORV_INLINE void store(void* p, V v) { memcpy(p, &v, sizeof v); }
// p is a multiple of the vector's size.
template <class V> ORV_INLINE void storeAligned(void* p, V v) { *static_cast<V*>(p) = v; }
// Lanes that lie `distance` bytes apart: the first at p.
template <class V> ORV_INLINE V load(const void* p, ptrdiff_t distance) {
#if ORV_HAS_WIDE_INTEGER
  if constexpr (sizeof(V) == 32)
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load(p)), load(static_cast<const char*>(p) + distance), 1);
  else
#endif
    return (void)distance, load<V>(p);
}
ORV_INLINE void store(void* p, Lane v, ptrdiff_t) { store(p, v); }
#if ORV_HAS_WIDE_INTEGER
ORV_INLINE void store(void* p, Lanes v, ptrdiff_t distance) {
  store(p, Lane(_mm256_castsi256_si128(v)));
  store(static_cast<char*>(p) + distance, Lane(_mm256_extracti128_si256(v, 1)));
}
#endif
// The same lane as often as V has lanes.
template <class V> ORV_INLINE V repeated(Lane v) {
#if ORV_HAS_WIDE_INTEGER
  if constexpr (sizeof(V) == 32)
    return _mm256_broadcastsi128_si256(v);
  else
#endif
    return v;
}
// The first lane of V, and the second one, where it has one.
template <class V> ORV_INLINE V joined(Lane first, [[maybe_unused]] Lane second) {
#if ORV_HAS_WIDE_INTEGER
  if constexpr (sizeof(V) == 32)
    return _mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1);
  else
#endif
    return first;
}
#if ORV_HAS_WIDE_INTEGER
ORV_INLINE Lane firstLane(Lanes v) { return _mm256_castsi256_si128(v); }
ORV_INLINE Lane secondLane(Lanes v) { return _mm256_extracti128_si256(v, 1); }
#endif
ORV_INLINE Lane firstLane(Lane v) { return v; }
ORV_INLINE Lane secondLane(Lane v) { return v; }

// Due after a loop over Lanes: clears the upper halves of the registers, in which a caller's SSE code would be slow. The
// compiler does so where a function ends, but gcc not on every way that leads there.
ORV_INLINE void lanesEnd() {
#if ORV_HAS_WIDE_INTEGER
  _mm256_zeroupper();
#endif
}

// A vector of constants in memory, for kernels with more of them than registers: each use reads it there.
template <class T, class V> struct alignas(sizeof(V)) VectorConstant {
  T elements[sizeof(V) / sizeof(T)];
  ORV_INLINE operator V() const { return *reinterpret_cast<const V*>(this); }
};
template <class V> using ByteConstants = VectorConstant<Vel8u, V>;
template <class V> using WordConstants = VectorConstant<Vel16s, V>;
template <class V> using DwordConstants = VectorConstant<Vel32s, V>;
using ByteConstant = ByteConstants<Lane>;
using WordConstant = WordConstants<Lane>;
using DwordConstant = DwordConstants<Lane>;
// The first lane of a; of the second one, where V has one, that of b.
template <class V, class T>
constexpr VectorConstant<T, V> joinConstants(const VectorConstant<T, Lane>& a, const VectorConstant<T, Lane>& b) {
  constexpr size_t n = 16 / sizeof(T);
  VectorConstant<T, V> joined{};
  for (size_t i = 0; i < sizeof(V) / sizeof(T); ++i) joined.elements[i] = i < n ? a.elements[i] : b.elements[i - n];
  return joined;
}

// ---- Half lanes

// Eight bytes, then zeros.
ORV_INLINE Lane loadLow(const void* p) { return _mm_loadl_epi64(static_cast<const Lane*>(p)); }
// Eight bytes, then anything: where it is at hand as an operand, so much is read.
ORV_INLINE Lane loadLowOrMore(const void* p) {
#if ORV_HAS_WIDE_FLOAT
  return load(p);
#else
  return loadLow(p);
#endif
}
// Eight bytes from p, then eight from q.
ORV_INLINE Lane loadHalves(const void* p, const void* q) {
  return _mm_castpd_si128(_mm_loadh_pd(_mm_load_sd(static_cast<const double*>(p)), static_cast<const double*>(q)));
}
// As doubles: what gcc makes of the integer form goes through general registers in 32-bit.
ORV_INLINE void storeLow(void* p, Lane v) { _mm_storel_pd(static_cast<double*>(p), _mm_castsi128_pd(v)); }
ORV_INLINE void storeHigh(void* p, Lane v) { _mm_storeh_pd(static_cast<double*>(p), _mm_castsi128_pd(v)); }
// Of all lanes, one after the other in memory.
ORV_INLINE void storeLowHalves(void* p, Lane v) { storeLow(p, v); }
ORV_INLINE void storeHighHalves(void* p, Lane v) { storeHigh(p, v); }
#if ORV_HAS_WIDE_INTEGER
ORV_INLINE void storeLowHalves(void* p, Lanes v) {
  store(p, Lane(_mm256_castsi256_si128(_mm256_permute4x64_epi64(v, 0x08))));
}
ORV_INLINE void storeHighHalves(void* p, Lanes v) {
  store(p, Lane(_mm256_castsi256_si128(_mm256_permute4x64_epi64(v, 0x0D))));
}
#endif

// ---- The first bytes of a lane

ORV_INLINE Lane fromInt(int x) { return _mm_cvtsi32_si128(x); }  // in dword 0; zeros in the others
ORV_INLINE int toInt(Lane v) { return _mm_cvtsi128_si32(v); }    // dword 0

// n is 16, 8, 4, 2 or 1. What a load does not fill is zero.
template <int n> ORV_INLINE Lane loadFirst(const void* p) {
  if constexpr (n == 16) {
    return load<Lane>(p);
  } else if constexpr (n == 8) {
    return loadLow(p);
  } else {
    Vel32u dword = 0;
    memcpy(&dword, p, n);
    return fromInt(int(dword));
  }
}
template <int n> ORV_INLINE void storeFirst(void* p, Lane v) {
  if constexpr (n == 16) {
    _mm_storeu_si128(static_cast<__m128i_u*>(p), v);  // gcc lays out branches around it better than around memcpy
  } else if constexpr (n == 8) {
    storeLow(p, v);
  } else {
    const int dword = toInt(v);
    memcpy(p, &dword, n);
  }
}

// The first n bytes of a lane where n, at most 16, is known at run time only.
ORV_INLINE Lane loadFirst(const void* p, size_t n) {
  alignas(16) Vel8u bytes[16] = {};
  memcpy(bytes, p, n);
  return loadAligned(bytes);
}
ORV_INLINE void storeFirst(void* p, Lane v, size_t n) {
  alignas(16) Vel8u bytes[16];
  store(static_cast<Vel8u*>(bytes), v);
  memcpy(p, bytes, n);
}

// The tail of a run, of a length that is known at run time only: memory for whole vectors, of which the first n bytes are
// the run's. A kernel works there and touches nothing else of the run. What load() does not fill is zero.
template <int kBytes> struct Tail {
  alignas(16) Vel8u bytes[(kBytes + 15) / 16 * 16];

  // kUsed: how many bytes the kernel reads.
  template <int kUsed = kBytes> void load(const void* p, size_t n) {
    for (int i = 0; i < kUsed; i += 16) ::store(bytes + i, _mm_setzero_si128());
    memcpy(bytes, p, n);
  }
  void store(void* p, size_t n) const { memcpy(p, bytes, n); }
};

// ---- Past the caches: p is a multiple of the vector's size. streamEnd orders such stores before what follows.

ORV_INLINE void stream(void* p, Lane v) { _mm_stream_si128(static_cast<Lane*>(p), v); }
#if ORV_HAS_WIDE_FLOAT
ORV_INLINE void stream(void* p, Floats v) { _mm256_stream_ps(static_cast<float*>(p), v); }
ORV_INLINE void stream(void* p, Dwords v) { stream(p, Floats(v)); }
#else
ORV_INLINE void stream(void* p, Floats v) { _mm_stream_ps(static_cast<float*>(p), v); }
#endif
ORV_INLINE void streamEnd() { _mm_sfence(); }
// One or the other.
template <bool kStreams, class V> ORV_INLINE void put(void* p, V v) {
  if constexpr (kStreams)
    stream(p, v);
  else
    store(p, v);
}
// The same for lanes that lie `distance` bytes apart; p and distance are multiples of 16.
template <bool kStreams, class V> ORV_INLINE void put(void* p, V v, ptrdiff_t distance) {
  if constexpr (!kStreams) {
    store(p, v, distance);
  } else {
#if ORV_HAS_WIDE_INTEGER
    if constexpr (sizeof(V) == 32) {
      stream(p, Lane(_mm256_castsi256_si128(v)));
      stream(static_cast<char*>(p) + distance, Lane(_mm256_extracti128_si256(v, 1)));
    } else
#endif
      stream(p, v);
  }
}

// ---- What the compiler may not see through

// Makes the compiler forget what it knows of x: a vector or an integer is then worked out here and as it is written,
// where it would else be taken apart and put together in an order that needs more registers. What is read through a
// pointer afterwards is read again, as an operand, where constants would else fill the registers and spill.
ORV_INLINE void opaque(Lane& x) { __asm__("" : "+x"(x)); }
ORV_INLINE void opaque(Vel32u& x) { __asm__("" : "+r"(x)); }
template <class T> ORV_INLINE void opaque(T*& x) { __asm__("" : "+r"(x)); }

}  // namespace
