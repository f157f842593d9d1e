// The kernels of libjpeg-turbo 2.1, which its static library exports, and its interface.
#pragma once
#include <cstddef>
#include <cstdio>
extern "C" {
#define JPEG_INTERNALS
#include <jpeglib.h>
#undef JPEG_INTERNALS

#define TURBO_KERNELS(isa)                                                                                         \
  void jsimd_extrgb_ycc_convert_##isa(JDIMENSION width, JSAMPARRAY in, JSAMPIMAGE out, JDIMENSION row, int rows);  \
  void jsimd_ycc_extrgb_convert_##isa(JDIMENSION width, JSAMPIMAGE in, JDIMENSION row, JSAMPARRAY out, int rows);  \
  void jsimd_h2v2_downsample_##isa(JDIMENSION width, int maxFactor, JDIMENSION factor, JDIMENSION blocks,          \
                                   JSAMPARRAY in, JSAMPARRAY out);                                                 \
  void jsimd_h2v2_extrgb_merged_upsample_##isa(JDIMENSION width, JSAMPIMAGE in, JDIMENSION group, JSAMPARRAY out); \
  void jsimd_convsamp_##isa(JSAMPARRAY in, JDIMENSION column, short* work);                                        \
  void jsimd_fdct_islow_##isa(short* work);                                                                        \
  void jsimd_quantize_##isa(JCOEFPTR out, short* divisors, short* work);                                           \
  void jsimd_idct_islow_##isa(void* table, JCOEFPTR in, JSAMPARRAY out, JDIMENSION column);
TURBO_KERNELS(sse2)
TURBO_KERNELS(avx2)
#undef TURBO_KERNELS

// The Huffman encoder, its code and its state.
struct c_derived_tbl {
  unsigned codes[256];
  char sizes[256];
};
struct TurboStream {
  JOCTET* next;
  size_t room;
  union {
    size_t word;
    unsigned long long bits;
  };
  int freeBits, lastDC[MAX_COMPS_IN_SCAN];
  j_compress_ptr info;
  int simd;
};
JOCTET* jsimd_huff_encode_one_block_sse2(void* stream, JOCTET* buffer, JCOEFPTR block, int lastDC, c_derived_tbl* dc,
                                         c_derived_tbl* ac);
void jpeg_make_c_derived_tbl(j_compress_ptr info, boolean isDC, int number, c_derived_tbl** table);
}

// Its best kernel that may be used. Which one that is costs no time in a loop over blocks.
#define TURBO(kernel) (kTurboAvx2 ? kernel##_avx2 : kernel##_sse2)
inline const bool kTurboAvx2 = allowed() != Instructions::kSse41 && __builtin_cpu_supports("avx2");
