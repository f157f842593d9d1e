// Included first by every file that is compiled once per code path. Says which path this is, what it has, and defines
// its bodies and kernels under the path's prefix.
//
// Everything such a file defines is a prefixed body, a prefixed kernel, or has internal linkage: of an inline function
// the linker keeps one copy for everybody, and if that were the one compiled for AVX, an older processor would die of
// it. So no standard C++ headers here, and helpers live in anonymous namespaces.
#pragma once
#include <stdint.h>
#include <string.h>
#include "orv.h"

// ---- The path: ORV_PATH and one of ORV_PATH_w7 ... ORV_PATH_g9 come from the build.

#if ORV_VARIANT_avx2 != defined(__AVX2__)
#error "only the variant avx2 is built for AVX2"
#endif
#if !defined(__SSE2__) || defined(__FMA__) || defined(__BMI__) || defined(__MOVBE__)
#error "instruction flags do not fit the code path; a global -march must not reach the files of a path"
#endif
#if ORV_PATH_w7
#if defined(__SSE3__)
#error "w7 is built for SSE2"
#endif
#include <emmintrin.h>
#define ORV_HAS_SHUFFLE 0
#define ORV_HAS_BLEND 0
#define ORV_HAS_WIDE_FLOAT 0
#elif ORV_PATH_v8 || ORV_PATH_s8
#if !defined(__SSSE3__) || defined(__SSE4_1__)
#error "v8 and s8 are built for SSSE3"
#endif
#include <tmmintrin.h>
#define ORV_HAS_SHUFFLE 1
#define ORV_HAS_BLEND 0
#define ORV_HAS_WIDE_FLOAT 0
#elif ORV_PATH_p8
#if !defined(__SSE4_1__) || defined(__SSE4_2__)
#error "p8 is built for SSE4.1"
#endif
#include <smmintrin.h>
#define ORV_HAS_SHUFFLE 1
#define ORV_HAS_BLEND 1
#define ORV_HAS_WIDE_FLOAT 0
#elif ORV_PATH_g9
#if !defined(__AVX__)
#error "g9 is built for AVX"
#endif
#include <immintrin.h>
#define ORV_HAS_SHUFFLE 1
#define ORV_HAS_BLEND 1
#define ORV_HAS_WIDE_FLOAT 1
#define ORV_HAS_WIDE_INTEGER ORV_VARIANT_avx2
#else
#error "ORV_PATH_<path> is not set"
#endif

// ---- Names

#define ORV_PASTE_(a, b) a##_##b
#define ORV_PASTE(a, b) ORV_PASTE_(a, b)
// This path's name of a body or kernel: w7_name and so on. In the passes for variants, avx and avx2, names that have
// variants begin so; g9_name is then what jumps to one of them.
#ifdef ORV_VARIANT
#include "variants.h"  // made from variants.def: defines ORV_HAS_VARIANTS_name as a comma for each
#define ORV_SECOND_(a, b, ...) b
#define ORV_SECOND(...) ORV_SECOND_(__VA_ARGS__)
#define ORV_IF_VARIANTS(name, yes, no) ORV_SECOND(ORV_HAS_VARIANTS_##name yes, no, )
#define ORV_NAME(name) ORV_PASTE(ORV_IF_VARIANTS(name, ORV_VARIANT, ORV_PATH), name)
#else
#define ORV_NAME(name) ORV_PASTE(ORV_PATH, name)
#endif

// An exported kernel of this path:  ORV_KERNEL VelStatus ORV_NAME(velsCopy_8u)(...) { ... }
#define ORV_KERNEL extern "C" ORV_API

// A body of a primitive:  ORV_BODY_A(veliXxx)(arguments) { ... }
// The letter is the primitive's slot pattern. A path without a slot of that pattern exports no body; there the
// definition becomes an unused static function. The declaration in front checks the arguments against the public
// prototype.
#define ORV_EXPORTED_BODY(name)                     \
  extern "C" ORV_API decltype(name) ORV_NAME(name); \
  extern "C" VelStatus ORV_NAME(name)
#define ORV_ABSENT_BODY(name) [[maybe_unused]] static VelStatus ORV_NAME(name)

// ORV_KERNEL_A is a kernel that only bodies of pattern A call.
#if ORV_PATH_v8
#define ORV_BODY_A ORV_ABSENT_BODY
#define ORV_KERNEL_A [[maybe_unused]] static
#else
#define ORV_BODY_A ORV_EXPORTED_BODY
#define ORV_KERNEL_A ORV_KERNEL
#endif
#if ORV_PATH_s8
#define ORV_BODY_B ORV_ABSENT_BODY
#else
#define ORV_BODY_B ORV_EXPORTED_BODY
#endif
#define ORV_BODY_C ORV_EXPORTED_BODY
#if ORV_VARIANT_avx2  // the pass before has what has no variants
#undef ORV_BODY_A
#undef ORV_BODY_B
#undef ORV_BODY_C
#define ORV_BODY_A(name) ORV_IF_VARIANTS(name, ORV_EXPORTED_BODY, ORV_ABSENT_BODY)(name)
#define ORV_BODY_B ORV_BODY_A
#define ORV_BODY_C ORV_BODY_A
#endif

// A helper that is always inlined. It is defined in an anonymous namespace, or in a class there.
#define ORV_INLINE inline __attribute__((always_inline, unused))

// One that is inlined where operations do not overwrite an operand, and takes too many registers for copies elsewhere.
#if ORV_HAS_WIDE_FLOAT
#define ORV_INLINE_ON_AVX ORV_INLINE
#else
#define ORV_INLINE_ON_AVX __attribute__((noinline))
#endif

// In front of a loop with a constant count: unroll it.
#ifdef __clang__
#define ORV_UNROLL _Pragma("unroll")
#else
#define ORV_UNROLL _Pragma("GCC unroll 16")
#endif
