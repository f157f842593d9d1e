/* orv.h: libOrv, image, signal and JPEG-coding primitives for x86 Linux.
 *
 * Contents (each section begins with a line of dashes and its name)
 *   Types                               elements, sizes, positions, regions
 *   Status codes                        what functions return, and what it means
 *   Code path                           which processor the library works for
 *   Floating-point control              MXCSR and the x87 words
 *   Memory                              allocation, and hooks for an allocator of one's own
 *   Vectors: A-law                      samples to and from the codes of ITU-T G.711
 *   Vectors: logic                      AND, OR, XOR, NOT
 *   Vectors: shifts                     to the left and to the right
 *   Vectors: scaled multiply and norm   with rounding and clamping; the Euclidean norm
 *   Images: copy, border, channel swap  regions, replicated borders, channels in another order
 *   Image: box filter                   means of floats, whatever the size of the box
 *   Image: floating-point arithmetic    sums, differences and products in place
 *   Image: depth conversion             bytes to floats and back
 *   Resizing                            whole images and regions, by eight methods
 *   Colour: which function              JFIF, studio video, analogue YUV; which RGB565 is the usual one
 *   Colour: YCbCr                       studio video, 4:4:4
 *   Colour: subsampled YUV              analogue YUV, 4:2:2 and 4:2:0
 *   JPEG: quantisation tables           from DQT segments, for both ways; constants of the entropy coders
 *   JPEG: forward DCT                   samples to quantised coefficients
 *   JPEG: inverse DCT                   quantised coefficients to samples
 *   JPEG: Huffman encoding              tables, statistics, the best code, blocks
 *   JPEG: Huffman decoding              tables, blocks
 *   JPEG: fused decoding                whole 4:2:0 tiles to RGB
 *   The vel names                       the same functions, without the public layer
 *   Status codes not in use             codes that no function gives
 *
 * Names are made of parts: orviYCbCrToRGB_8u_P3C3R is orv, i, what it does, _8u, _P3, C3 and R.
 *   orv              the public layer's name: programs call these. Each has a twin, vel..., with the same arguments and
 *                    the same result, which jumps to the body for this processor; orv... leads there.
 *   s, i             vectors ("signals"); images
 *   zk, izk          what goes with fused JPEG decoding
 *   8u 16u 16s 32u 32s 32f
 *                    the type of the elements: bits, and unsigned, signed or float. Where there are two, 8u16u, the
 *                    source's and the destination's. 1u is a stream of bits: 1u16s reads one, 16s1u writes one.
 *   C                after an operation, AddC: with a constant
 *   C1, C3, C4       pixels of one, three or four channels, which lie side by side
 *   AC4              pixels of four channels, of which the first three are worked on
 *   C2               YUV 4:2:2 in one piece, two bytes a pixel: Y, U, Y, V
 *   P3, P4           three or four planes, each with one channel
 *                    Where there are two layouts, P3C3 or C4C3, the source's and the destination's.
 *   I                in place: the destination is a source, too
 *   R                images with a step for each side, so that a region of a larger one will do; without R they are
 *                    packed tightly
 *   Sfs              the result is scaled, by an argument scaleFactor
 *   8x8              a block of 64 samples or coefficients; 4x4, 2x2 and 1x1 how many of its coefficients count
 *   LS               level shift: samples 0..255 on one side, numbers centred on zero on the other
 *   Direct           the coder's state is in the caller's variables
 *
 * Arguments have the same names everywhere.
 *   pSrc, pSrc1, pSrc2    what is read: a vector's first element, a region's first pixel, a block's first sample or
 *                         coefficient; of planes, the array of their pointers
 *   pDst                  what is written: first element, pixel, sample or coefficient, or planes
 *   pSrcDst               what is read and written: first element or pixel
 *   len                   the number of elements
 *   srcStep, dstStep, srcDstStep
 *                         from one row to the next, in bytes; an array where each plane has its own
 *   roiSize, srcRoiSize, dstRoiSize
 *                         width and height of the region, in pixels
 *   val                   the constant; of shifts the number of bits
 *   value                 the constant, or one for each channel
 *   scaleFactor           n where the result is divided by 2^n
 *   pNorm                 where the norm is stored
 *   topBorderHeight       rows of border above the region
 *   leftBorderWidth       columns of border to the left of it
 *   dstOrder              for each channel of the destination the number of the source's, from 0
 *   maskSize              width and height of the mask, in pixels
 *   anchor                where in the mask the pixel lies that is computed, from 0
 *   roundMode             how to round: 0 towards zero, 1 halves to even, others halves away from zero
 *   srcSize               width and height of the source image, in pixels
 *   srcRoi, dstRoi        the region of the source, of the destination image, in pixels
 *   xFactor, yFactor      what the region's width and height are multiplied by
 *   xShift, yShift        what is then added to its coordinates
 *   interpolation         velInter..., and a velFlag... ORed to it
 *   nChannel              how many channels a pixel has: 1, 3 or 4
 *   pBuffer               scratch memory of the caller's
 *   pSize, pBufferSize    where a size in bytes is stored
 *   pAlignment            where an alignment in bytes is stored
 *   ppMem                 where the address of the memory is stored
 *   pMem                  the memory to release
 *   size, align           of memory, in bytes
 *   pQuantRawTable        64 bytes of a DQT segment, in zigzag order
 *   pQuantFwdTable        64 words in natural order: the encoder's reciprocals
 *   pQuantInvTable        64 words in natural order: the decoder's steps
 *   ppQuantInvTable       where the address of the table is stored
 *   qualityFactor         1 and up; 50 leaves a table as it is
 *   pListBits             16 bytes of a DHT segment: how many codes there are of each length
 *   pListVals             the symbols, by increasing length of their codes: 256 at most
 *   pEncHuffSpec          an encoder's table
 *   pDecHuffSpec          a decoder's table
 *   pDcTable, pAcTable    the tables for DC and for AC coefficients
 *   pEncHuffState         an encoder's state
 *   pDecHuffState         a decoder's state
 *   ppEncHuffSpec, ppDecHuffSpec, ppEncHuffState, ppDecHuffState
 *                         where the address of what is allocated is stored
 *   pStatistics, pDcStatistics, pAcStatistics
 *                         how often each of the 256 symbols occurs
 *   pLastDC               the DC of the component's previous block; becomes that of this one
 *   pDstBitsLen           where the stream ends, in bits from pDst; is moved on
 *   numBlocks             the number of blocks
 *   pSrcBlocks            the blocks of luma, Cb and Cr
 *
 * What holds for every function unless its own comment says otherwise:
 *   - The caller owns every buffer. No pointer needs an alignment, not even its element type's.
 *   - Where several functions share a text, it stands in front of them, and a line with each says which one it is.
 *   - Planes that are read are an array of `const Vel8u*`. C++ takes an array of `Vel8u*` for it; C wants a cast:
 *     orviYUV420ToRGB_8u_P3R((const Vel8u* const*)planes, ...).
 *   - A step is the distance in bytes from one row to the next. Sizes and lengths count pixels or elements.
 *   - The result is a VelStatus: 0 done, negative an error, positive a warning about work that was done. A function
 *     makes its checks in the order in which its comment lists the statuses; the first that fails decides, and
 *     nothing has been written.
 *   - Results are the same, bit for bit, on every code path and in both word sizes.
 *   - Functions keep no state. Calls on disjoint destinations may run on any number of threads at once; what the
 *     sections "Code path" and "Memory" can change is to be changed before other threads start.
 *   - In the layout AC4 a pixel has four channels, of which the first three are worked on. The destination's fourth,
 *     alpha, keeps its value, but is part of the destination: it is read and written back, so that what another thread
 *     writes there during the call may be lost.
 *
 * Reserved are all names that begin with vel, Vel, VEL, orv or ORV; and, because the library exports them too, those that
 * begin with w7_, v8_, s8_, p8_ or g9_, and whatever is declared here under another name: i_malloc, i_calloc, i_realloc,
 * i_free, i_version, i_min_version, ownGetFeature, ownGetReg, the ps_ functions, tblLanczos3, the own_pj_ tables,
 * computeRGBFromYUV_JPEG_F32_U8 and clip_F32. A program must not define any of them.
 */
#ifndef ORV_H
#define ORV_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What is declared with it is exported. */
#define ORV_API __attribute__((visibility("default")))

/* The version of this header, as numbers and as a string: "6.0.0". */
#define ORV_VERSION_MAJOR 6
#define ORV_VERSION_MINOR 0
#define ORV_VERSION_PATCH 0
#define ORV_VERSION_STRING \
  ORV_STRING_OF(ORV_VERSION_MAJOR) "." ORV_STRING_OF(ORV_VERSION_MINOR) "." ORV_STRING_OF(ORV_VERSION_PATCH)

#define ORV_STRING_OF_(number) #number
#define ORV_STRING_OF(number) ORV_STRING_OF_(number)

/* ---- Types -------------------------------------------------------------------------------------------------- */

/* Elements, named after their bits: unsigned, signed or float. */
typedef uint8_t Vel8u;
typedef uint16_t Vel16u;
typedef int16_t Vel16s;
typedef uint32_t Vel32u;
typedef int32_t Vel32s;
typedef uint64_t Vel64u;
typedef float Vel32f;

/* The size of a region, in pixels. */
typedef struct {
  int width;  /* pixels in a row */
  int height; /* rows */
} VeliSize;

/* A position in pixels. */
typedef struct {
  int x; /* column, from 0 */
  int y; /* row, from 0 */
} VeliPoint;

/* A region of an image: its first column and row, and its size, in pixels. */
typedef struct {
  int x;      /* first column, from 0 */
  int y;      /* first row, from 0 */
  int width;  /* pixels in a row */
  int height; /* rows */
} VeliRect;

/* ---- Status codes ------------------------------------------------------------------------------------------- */

/* 0 done, negative an error, positive a warning; warnings may be combined with OR. */
typedef Vel32s VelStatus;

/* The codes that functions give, errors first. There are more, which none gives: they stand at the end of this file. */
enum {
  velStsUnknownStatusCodeErr = -216, /* no function returns it; its message is that of numbers that are no code */
  velStsJPEGHuffTableErr = -64,      /* counts of code lengths that make no code, or a code tree too deep */
  velStsJPEGDCTRangeErr = -63,       /* a coefficient that the code has no category for, or bits that are no code */
  velStsJPEGOutOfBufErr = -62,       /* the stream ends within a coefficient */
  velStsChannelOrderErr = -60,       /* a channel number out of range */
  velStsNumChannelsErr = -53,        /* a number of channels other than 1, 3 and 4 */
  velStsAnchorErr = -34,             /* an anchor outside its mask */
  velStsMaskSizeErr = -33,           /* a mask with a side below 1 */
  velStsShiftErr = -32,              /* a shift by less than 0 bits */
  velStsResizeFactorErr = -23,       /* a factor of 0 or less, or above 1 where the method only reduces */
  velStsInterpolationErr = -22,      /* no method of interpolation, or more than one flag */
  velStsStepErr = -14,               /* a step below 1 */
  velStsMemAllocErr = -9,            /* scratch memory could not be allocated */
  velStsNullPtrErr = -8,             /* a null pointer, or a table or state that could not be allocated */
  velStsSizeErr = -6,                /* a width, height or length below 1, or too large */
  velStsBadArgErr = -5,              /* another argument out of range */
  velStsErr = -2,                    /* an allocation of the fused group failed */
  velStsNoErr = 0,                   /* done */
  velStsNoOperation = 1,             /* there was nothing to do; nothing is written */
  velStsDivByZero = 6,               /* done; a quantisation step of zero was met */
  velStsNonNemlorCpu = 20,           /* done; the processor is of another make than the library is tuned for */
  velStsCpuMismatch = 21,            /* no processor-type code; nothing changes */
  velStsWrongIntersectROI = 29,      /* the source region begins outside the image; nothing is written */
  velStsDoubleSize = 35,             /* done, but for the odd last column or row */
  velStsNotSupportedCpu = 36,        /* the processor, or the code given, is below what the library needs */
  velStsUnknownCacheSize = 37,       /* the processor does not tell */
  velStsNoAntialiasing = 46          /* done; the method does without antialiasing */
};

/* The message of a status: its name, a colon and a sentence; for a code that is none, the message of
 * velStsUnknownStatusCodeErr. Never null. The string belongs to the library and lives as long as it is loaded. */
ORV_API const char* orvGetStatusString(VelStatus status);

/* ---- Code path ---------------------------------------------------------------------------------------------- */

/* The selected code path: an index into the six slots of every dispatch table. Loading the library selects.
 *   0  w7 bodies, on a processor without SSE2 or before any selection    3  s8: SSSE3 with MOVBE
 *   1  w7: SSE2                                                          4  p8: SSE4.1
 *   2  v8: SSSE3 (where a primitive has no v8 body, its s8 body)         5  g9: AVX, its state saved by the system
 * At index 5 primitives that gain by it use AVX2, where the processor has it and the mask of enabled features keeps AVX.
 * To be read, not written: the functions below change it. A program that is linked without PIC has a copy of the
 * variable, and what it writes there selects nothing. */
ORV_API extern Vel32s velJumpIndexForMergedLibs;
/* 1 while path 3, the one for low-power processors, is selected; else 0. To be read, too. */
ORV_API extern Vel32s velJumpIndexForMergedLibsLP;

/* Bits of the feature masks. Bits 32 to 63 are always zero. */
enum {
  velCpuidMMX = 0x1,          /* MMX */
  velCpuidSSE = 0x2,          /* SSE */
  velCpuidSSE2 = 0x4,         /* SSE2 */
  velCpuidSSE3 = 0x8,         /* SSE3 */
  velCpuidSSSE3 = 0x10,       /* SSSE3 */
  velCpuidMOVBE = 0x20,       /* MOVBE */
  velCpuidSSE41 = 0x40,       /* SSE4.1 */
  velCpuidSSE42 = 0x80,       /* SSE4.2 */
  velCpuidAVX = 0x100,        /* AVX */
  velAVX_ENABLEDBYOS = 0x200, /* the system saves AVX's state */
  velCpuidAES = 0x400,        /* AES */
  velCpuidCLMUL = 0x800,      /* carry-less multiplication */
  velCpuidFamilyBExt = 0x1000 /* the extensions of processor family 11 */
};

/* Processor-type codes: each stands for a class of processors. velStaticInitCpu accepts other numbers too (its comment
 * lists them all); these are one per code path, and the request for automatic selection. */
typedef Vel32s VelCpuType;
enum {
  velCpuAutomatic = -1, /* what velStaticInit selects */
  velCpuUnknown = 0,    /* index 0: w7 */
  velCpuSSSE3 = 33,     /* index 2: v8 */
  velCpuSSE41 = 35,     /* index 4: p8 */
  velCpuMOVBE = 36,     /* index 3: s8 */
  velCpuAVX = 70        /* index 5: g9 */
};

/* Selects the code path that suits this processor best; the library does so itself when it is loaded. velStaticInit
 * and velInit are other names. Sets the indices above and the mask of enabled features; many threads may, all at once.
 *   velStsNonNemlorCpu      the processor is of another make than the library is tuned for, or has no CPUID; a path has
 *                           been selected all the same, by features alone
 *   velStsNotSupportedCpu   no SSE2: index 0 is selected, and primitives must not be called */
ORV_API VelStatus orvStaticInit(void);

/* Selects a code path by processor-type code, whatever the processor can do. velInitCpu is another name of it.
 *   0, 6..11, 17, 32, 65, 66   index 0        35, 37, 38, 68, 69, 71   index 4
 *   33, 34, 67                 index 2        70                       index 5
 *   36                         index 3        -1                       automatic, and its status
 *   velStsNotSupportedCpu   codes 1..5, 16, 64, 96: classes below SSE2; nothing changes
 *   velStsCpuMismatch       any other number; nothing changes */
ORV_API VelStatus velStaticInitCpu(VelCpuType cpu);

/* In *pFeaturesMask on entry, with pCpuidInfoRegs not null: asks for CPUID of leaf pCpuidInfoRegs[0], sub-leaf
 * pCpuidInfoRegs[2] in place of leaf 1. The letters "cpuquery", first letter in the lowest byte. */
#define VEL_CPUID_QUERY_TAG ((Vel64u)0x79726575 << 32 | 0x71757063)

/* The features of this processor, and, where pCpuidInfoRegs is not null, EAX, EBX, ECX and EDX of CPUID leaf 1.
 *   velStsNotSupportedCpu   the processor has no CPUID
 *   velStsNullPtrErr        pFeaturesMask is null */
ORV_API VelStatus velGetCpuFeatures(Vel64u* pFeaturesMask, Vel32u pCpuidInfoRegs[4]);

/* The mask of enabled features: what the selected path may use, as the last selection or velSetCpuFeaturesMask left it;
 * 3 before any. */
ORV_API Vel64u velGetEnabledCpuFeatures(void);
/* Sets the mask of enabled features. It is not checked, always gives velStsNoErr, and changes no code path. Without the bit
 * velCpuidAVX index 5 does without AVX2, until a path is selected or the mask is set again. */
ORV_API VelStatus velSetCpuFeaturesMask(Vel64u mask);
/* 1 when every given bit is set in the mask of enabled features, else 0. */
ORV_API int ownGetFeature(Vel64u features);

/* Allows automatic selection to choose the class of code 70 (AVX), as it may from the start; no effect for other
 * codes. */
ORV_API VelStatus velEnableCpu(VelCpuType cpu);
/* Whether automatic selection may choose the class of this code: 1 for every code but 70. */
ORV_API int velIsCpuEnabled(VelCpuType cpu);

/* The size in bytes of the largest data or unified cache. The first outcome, good or bad, is remembered; any thread may
 * ask first.
 *   velStsNullPtrErr        pSizeByte is null
 *   velStsNotSupportedCpu   no CPUID leaf 2, or the processor is of another make; *pSizeByte is 0
 *   velStsUnknownCacheSize  the processor does not tell; *pSizeByte is 0 */
ORV_API VelStatus velGetMaxCacheSizeB(int* pSizeByte);

/* Executes CPUID and stores EAX, EBX, ECX and EDX. */
ORV_API void ownGetReg(Vel32u regs[4], Vel32u leaf, Vel32u subleaf);

/* Single questions to CPUID, asked anew at every call: 0 or 1 unless stated. All but vel_has_cpuid need CPUID. */

/* There is CPUID. */
ORV_API int vel_has_cpuid(void);
/* The highest standard leaf. */
ORV_API int vel_max_cpuid_input(void);
/* The processor is of the make that the library is tuned for. */
ORV_API int vel_is_vendor_genuine(void);
/* AVX, with SSE and AVX state enabled by the system. */
ORV_API int vel_is_avx_extension(void);
/* The time-stamp counter. */
ORV_API int vel_has_rdtsc(void);
/* MMX. */
ORV_API int vel_is_mmx_extension(void);
/* SSE. */
ORV_API int vel_is_ssx_extension(void);
/* SSE2. */
ORV_API int vel_is_wni_extension(void);
/* There is more than one logical processor. */
ORV_API int vel_is_htt_extension(void);
/* SSE3. */
ORV_API int vel_is_pni_extension(void);
/* SSSE3. */
ORV_API int vel_is_mni_extension(void);
/* SSE4.1. */
ORV_API int vel_is_sse41_extension(void);
/* SSE4.2. */
ORV_API int vel_is_sse42_extension(void);
/* MOVBE. */
ORV_API int vel_is_movbe(void);
/* Cores on the die, as CPUID leaf 4 tells; 1 without it. */
ORV_API int vel_get_cores_on_die(void);
/* 64-bit mode; where the processor has no leaf 0x80000001, its highest extended leaf, which is not zero either. */
ORV_API int vel_is_em64t_extension(void);

/* ---- Floating-point control --------------------------------------------------------------------------------- */

/* SSE: access to MXCSR. These need a processor with SSE. */

/* Sets the rounding field (mask 0x6000) to rc; gives MXCSR as it was. */
ORV_API Vel32u vel_set_rc_ssx(Vel32u rc);
/* Sets MXCSR. */
ORV_API void vel_set_cw_ssx(Vel32u cw);
/* MXCSR. */
ORV_API Vel32u ps_get_ssx(void);
/* Sets the bits in mask to value; gives MXCSR as it was. */
ORV_API Vel32u ps_set_ssx(Vel32u value, Vel32u mask);
/* Clears the exception flags (mask 0x3F); gives MXCSR as it was. */
ORV_API Vel32u vel_clear_ssx(void);
/* 1 when MXCSR can treat denormals as zero (bit 6); needs FXSAVE. */
ORV_API int vel_tst_daz_ssx(void);

/* x87: control word and status word, in the processor's own bit layout. */

/* The control word. */
ORV_API Vel32u ps_get_cw_fpu(void);
/* Sets the bits in mask; gives the control word as it was. */
ORV_API Vel32u ps_set_cw_fpu(Vel32u value, Vel32u mask);
/* Sets the whole word; gives it as it was. */
ORV_API Vel32u vel_set_cw_fpu(Vel32u cw);
/* Sets rounding and precision (mask 0xF00); gives the word as it was. */
ORV_API Vel32u vel_set_rcpc_fpu(Vel32u rcpc);
/* The status word. */
ORV_API Vel32u ps_get_sw_fpu(void);
/* Clears the exception flags; gives the status word as it was. */
ORV_API Vel32u ps_clear_fpu(void);

/* The same in the manner of the C runtimes' control87 family. */

/* Sets the bits in mask; gives the new control word. */
ORV_API Vel32u vel_control87(Vel32u value, Vel32u mask);
/* The status word. */
ORV_API Vel32u vel_status87(void);
/* Clears the exception flags; gives the status word as it was. */
ORV_API Vel32u vel_clear87(void);
/* 1 for a NaN. */
ORV_API int vel_isnan(double x);
/* 1 for neither a NaN nor an infinity. */
ORV_API int vel_finite(double x);

/* ---- Memory ------------------------------------------------------------------------------------------------- */

/* The allocator behind velMalloc and velFree, to begin with the C library's. A program may put in its own before the
 * first allocation. i_version is the version of this hook interface, i_min_version the oldest it is compatible with. */
ORV_API extern void* (*i_malloc)(size_t size);
ORV_API extern void* (*i_calloc)(size_t count, size_t size);
ORV_API extern void* (*i_realloc)(void* ptr, size_t size);
ORV_API extern void (*i_free)(void* ptr);
ORV_API extern Vel32s i_version;
ORV_API extern Vel32s i_min_version;

/* len bytes at a multiple of 32, not cleared; null when len is not positive or i_malloc gives null. */
ORV_API void* velMalloc(int len);
/* Releases what velMalloc gave; null may be given. */
ORV_API void velFree(void* ptr);

/* size bytes at a multiple of align, from the C library's malloc whatever the hooks say. align must be a power of two,
 * at least 4; it is not checked.
 *   velStsErr   malloc gave null; *ppMem is left as it was */
ORV_API VelStatus orvzkMallocAligned(void** ppMem, int size, int align);
/* Releases what orvzkMallocAligned gave; null may be given. Always gives velStsNoErr. */
ORV_API VelStatus orvzkFreeAligned(void* pMem);

/* ---- Vectors: A-law ----------------------------------------------------------------------------------------- */

/* Samples to and from the 8-bit A-law codes of ITU-T G.711, with their even bits inverted. Both vectors have len
 * elements; they must not overlap.
 *   velStsNullPtrErr   pSrc, then pDst is null
 *   velStsSizeErr      len below 1 */

/* Samples to codes. A word s has the magnitude m = s, or -s - 1 below zero, and its segment is the first of 0..7 whose
 * end, 2^(8 + segment), lies above m. The code has the segment in bits 6..4 and four bits of m, those from bit 3 +
 * segment (in segment 0 from bit 4), in bits 3..0, bit 7 is set from zero up, and all is exclusive-ored with 0x55:
 * 0 gives 0xD5, -1 gives 0x55.
 * A float f, -1 to 1, is first made a word: v = 32768 f, and v + 0.5, or v - 0.5 below zero, rounded to the nearest
 * float and then towards zero. So halves go away from zero, and with them the float next to a half of one step. What
 * lies outside -32768..32767 becomes the nearer of the two, and a NaN 0. How MXCSR rounds, and what it makes of
 * denormals, does not matter. */

/* Signed 16-bit samples to A-law codes. */
ORV_API VelStatus orvsLinToALaw_16s8u(const Vel16s* pSrc, Vel8u* pDst, int len);
/* Float samples, -1 to 1, to A-law codes. */
ORV_API VelStatus orvsLinToALaw_32f8u(const Vel32f* pSrc, Vel8u* pDst, int len);

/* Codes to samples. With e the bits 6..4 and m the bits 3..0 of a code exclusive-ored with 0x55, the magnitude is
 * 16 m + 8 for e = 0, else (16 m + 264) 2^(e - 1): 8 to 32256. Where bit 7 is clear the sample is negative. A float is
 * the word divided by 32768. To encode a decoded code gives that code. */

/* A-law codes to signed 16-bit samples. */
ORV_API VelStatus orvsALawToLin_8u16s(const Vel8u* pSrc, Vel16s* pDst, int len);
/* A-law codes to float samples, -1 to 1. */
ORV_API VelStatus orvsALawToLin_8u32f(const Vel8u* pSrc, Vel32f* pDst, int len);

/* ---- Vectors: logic ------------------------------------------------------------------------------------------ */

/* A vector is a pointer to its first element and a length `len` in elements. A destination may be one of its sources;
 * it may overlap them in other ways only where a function says so. */

/* AND, OR and XOR of two vectors: pDst[i] = pSrc1[i] op pSrc2[i]. The 32u functions may be given vectors that overlap
 * in any way: they give what going from element to element in order gives, reading what has been written before.
 *   velStsNullPtrErr   a pointer is null
 *   velStsSizeErr      len below 1 */

/* pDst[i] = pSrc1[i] & pSrc2[i]: bytes. */
ORV_API VelStatus orvsAnd_8u(const Vel8u* pSrc1, const Vel8u* pSrc2, Vel8u* pDst, int len);
/* pDst[i] = pSrc1[i] & pSrc2[i]: 16-bit words. */
ORV_API VelStatus orvsAnd_16u(const Vel16u* pSrc1, const Vel16u* pSrc2, Vel16u* pDst, int len);
/* pDst[i] = pSrc1[i] & pSrc2[i]: 32-bit words. */
ORV_API VelStatus orvsAnd_32u(const Vel32u* pSrc1, const Vel32u* pSrc2, Vel32u* pDst, int len);
/* pDst[i] = pSrc1[i] | pSrc2[i]: bytes. */
ORV_API VelStatus orvsOr_8u(const Vel8u* pSrc1, const Vel8u* pSrc2, Vel8u* pDst, int len);
/* pDst[i] = pSrc1[i] | pSrc2[i]: 16-bit words. */
ORV_API VelStatus orvsOr_16u(const Vel16u* pSrc1, const Vel16u* pSrc2, Vel16u* pDst, int len);
/* pDst[i] = pSrc1[i] | pSrc2[i]: 32-bit words. */
ORV_API VelStatus orvsOr_32u(const Vel32u* pSrc1, const Vel32u* pSrc2, Vel32u* pDst, int len);
/* pDst[i] = pSrc1[i] ^ pSrc2[i]: bytes. */
ORV_API VelStatus orvsXor_8u(const Vel8u* pSrc1, const Vel8u* pSrc2, Vel8u* pDst, int len);
/* pDst[i] = pSrc1[i] ^ pSrc2[i]: 16-bit words. */
ORV_API VelStatus orvsXor_16u(const Vel16u* pSrc1, const Vel16u* pSrc2, Vel16u* pDst, int len);
/* pDst[i] = pSrc1[i] ^ pSrc2[i]: 32-bit words. */
ORV_API VelStatus orvsXor_32u(const Vel32u* pSrc1, const Vel32u* pSrc2, Vel32u* pDst, int len);

/* AND, OR and XOR of two vectors in place: pSrcDst[i] = pSrcDst[i] op pSrc[i]. Statuses as above. */

/* pSrcDst[i] = pSrcDst[i] & pSrc[i]: bytes. */
ORV_API VelStatus orvsAnd_8u_I(const Vel8u* pSrc, Vel8u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] & pSrc[i]: 16-bit words. */
ORV_API VelStatus orvsAnd_16u_I(const Vel16u* pSrc, Vel16u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] & pSrc[i]: 32-bit words. */
ORV_API VelStatus orvsAnd_32u_I(const Vel32u* pSrc, Vel32u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] | pSrc[i]: bytes. */
ORV_API VelStatus orvsOr_8u_I(const Vel8u* pSrc, Vel8u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] | pSrc[i]: 16-bit words. */
ORV_API VelStatus orvsOr_16u_I(const Vel16u* pSrc, Vel16u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] | pSrc[i]: 32-bit words. */
ORV_API VelStatus orvsOr_32u_I(const Vel32u* pSrc, Vel32u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] ^ pSrc[i]: bytes. */
ORV_API VelStatus orvsXor_8u_I(const Vel8u* pSrc, Vel8u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] ^ pSrc[i]: 16-bit words. */
ORV_API VelStatus orvsXor_16u_I(const Vel16u* pSrc, Vel16u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] ^ pSrc[i]: 32-bit words. */
ORV_API VelStatus orvsXor_32u_I(const Vel32u* pSrc, Vel32u* pSrcDst, int len);

/* AND, OR and XOR with a constant: pDst[i] = pSrc[i] op val.
 *   velStsNullPtrErr   pSrc or pDst is null
 *   velStsSizeErr      len below 1 */

/* pDst[i] = pSrc[i] & val: bytes. */
ORV_API VelStatus orvsAndC_8u(const Vel8u* pSrc, Vel8u val, Vel8u* pDst, int len);
/* pDst[i] = pSrc[i] & val: 16-bit words. */
ORV_API VelStatus orvsAndC_16u(const Vel16u* pSrc, Vel16u val, Vel16u* pDst, int len);
/* pDst[i] = pSrc[i] & val: 32-bit words. */
ORV_API VelStatus orvsAndC_32u(const Vel32u* pSrc, Vel32u val, Vel32u* pDst, int len);
/* pDst[i] = pSrc[i] | val: bytes. */
ORV_API VelStatus orvsOrC_8u(const Vel8u* pSrc, Vel8u val, Vel8u* pDst, int len);
/* pDst[i] = pSrc[i] | val: 16-bit words. */
ORV_API VelStatus orvsOrC_16u(const Vel16u* pSrc, Vel16u val, Vel16u* pDst, int len);
/* pDst[i] = pSrc[i] | val: 32-bit words. */
ORV_API VelStatus orvsOrC_32u(const Vel32u* pSrc, Vel32u val, Vel32u* pDst, int len);
/* pDst[i] = pSrc[i] ^ val: bytes. */
ORV_API VelStatus orvsXorC_8u(const Vel8u* pSrc, Vel8u val, Vel8u* pDst, int len);
/* pDst[i] = pSrc[i] ^ val: 16-bit words. */
ORV_API VelStatus orvsXorC_16u(const Vel16u* pSrc, Vel16u val, Vel16u* pDst, int len);
/* pDst[i] = pSrc[i] ^ val: 32-bit words. */
ORV_API VelStatus orvsXorC_32u(const Vel32u* pSrc, Vel32u val, Vel32u* pDst, int len);

/* AND, OR and XOR with a constant in place: pSrcDst[i] = pSrcDst[i] op val.
 *   velStsNullPtrErr   pSrcDst is null
 *   velStsSizeErr      len below 1 */

/* pSrcDst[i] = pSrcDst[i] & val: bytes. */
ORV_API VelStatus orvsAndC_8u_I(Vel8u val, Vel8u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] & val: 16-bit words. */
ORV_API VelStatus orvsAndC_16u_I(Vel16u val, Vel16u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] & val: 32-bit words. */
ORV_API VelStatus orvsAndC_32u_I(Vel32u val, Vel32u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] | val: bytes. */
ORV_API VelStatus orvsOrC_8u_I(Vel8u val, Vel8u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] | val: 16-bit words. */
ORV_API VelStatus orvsOrC_16u_I(Vel16u val, Vel16u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] | val: 32-bit words. */
ORV_API VelStatus orvsOrC_32u_I(Vel32u val, Vel32u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] ^ val: bytes. */
ORV_API VelStatus orvsXorC_8u_I(Vel8u val, Vel8u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] ^ val: 16-bit words. */
ORV_API VelStatus orvsXorC_16u_I(Vel16u val, Vel16u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] ^ val: 32-bit words. */
ORV_API VelStatus orvsXorC_32u_I(Vel32u val, Vel32u* pSrcDst, int len);

/* The complement of every bit: pDst[i] = ~pSrc[i], and in place.
 *   velStsNullPtrErr   pSrc, pDst or pSrcDst is null
 *   velStsSizeErr      len below 1 */

/* pDst[i] = ~pSrc[i]: bytes. */
ORV_API VelStatus orvsNot_8u(const Vel8u* pSrc, Vel8u* pDst, int len);
/* pDst[i] = ~pSrc[i]: 16-bit words. */
ORV_API VelStatus orvsNot_16u(const Vel16u* pSrc, Vel16u* pDst, int len);
/* pDst[i] = ~pSrc[i]: 32-bit words. */
ORV_API VelStatus orvsNot_32u(const Vel32u* pSrc, Vel32u* pDst, int len);
/* pSrcDst[i] = ~pSrcDst[i]: bytes. */
ORV_API VelStatus orvsNot_8u_I(Vel8u* pSrcDst, int len);
/* pSrcDst[i] = ~pSrcDst[i]: 16-bit words. */
ORV_API VelStatus orvsNot_16u_I(Vel16u* pSrcDst, int len);
/* pSrcDst[i] = ~pSrcDst[i]: 32-bit words. */
ORV_API VelStatus orvsNot_32u_I(Vel32u* pSrcDst, int len);

/* ---- Vectors: shifts ----------------------------------------------------------------------------------------- */

/* Every element shifted by val bits. Bits that leave the element are lost; zeros come in, and from the left of signed
 * elements their sign. A val of the element's width or more leaves zeros, or of signed elements shifted to the right
 * their sign: 0 or -1. 0 leaves the elements as they are.
 *   velStsNullPtrErr   pSrc or pDst is null
 *   velStsSizeErr      len below 1
 *   velStsShiftErr     val below 0 */

/* pDst[i] = pSrc[i] << val: bytes. */
ORV_API VelStatus orvsLShiftC_8u(const Vel8u* pSrc, int val, Vel8u* pDst, int len);
/* pDst[i] = pSrc[i] << val: 16-bit words. */
ORV_API VelStatus orvsLShiftC_16u(const Vel16u* pSrc, int val, Vel16u* pDst, int len);
/* pDst[i] = pSrc[i] << val: signed 16-bit words. */
ORV_API VelStatus orvsLShiftC_16s(const Vel16s* pSrc, int val, Vel16s* pDst, int len);
/* pDst[i] = pSrc[i] << val: signed 32-bit words. */
ORV_API VelStatus orvsLShiftC_32s(const Vel32s* pSrc, int val, Vel32s* pDst, int len);
/* pDst[i] = pSrc[i] >> val: bytes. */
ORV_API VelStatus orvsRShiftC_8u(const Vel8u* pSrc, int val, Vel8u* pDst, int len);
/* pDst[i] = pSrc[i] >> val: 16-bit words. */
ORV_API VelStatus orvsRShiftC_16u(const Vel16u* pSrc, int val, Vel16u* pDst, int len);
/* pDst[i] = pSrc[i] >> val: signed 16-bit words. */
ORV_API VelStatus orvsRShiftC_16s(const Vel16s* pSrc, int val, Vel16s* pDst, int len);
/* pDst[i] = pSrc[i] >> val: signed 32-bit words. */
ORV_API VelStatus orvsRShiftC_32s(const Vel32s* pSrc, int val, Vel32s* pDst, int len);

/* Every element shifted by val bits in place.
 *   velStsNullPtrErr   pSrcDst is null
 *   velStsSizeErr      len below 1
 *   velStsShiftErr     val below 0 */

/* pSrcDst[i] = pSrcDst[i] << val: bytes. */
ORV_API VelStatus orvsLShiftC_8u_I(int val, Vel8u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] << val: 16-bit words. */
ORV_API VelStatus orvsLShiftC_16u_I(int val, Vel16u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] << val: signed 16-bit words. */
ORV_API VelStatus orvsLShiftC_16s_I(int val, Vel16s* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] << val: signed 32-bit words. */
ORV_API VelStatus orvsLShiftC_32s_I(int val, Vel32s* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] >> val: bytes. */
ORV_API VelStatus orvsRShiftC_8u_I(int val, Vel8u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] >> val: 16-bit words. */
ORV_API VelStatus orvsRShiftC_16u_I(int val, Vel16u* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] >> val: signed 16-bit words. */
ORV_API VelStatus orvsRShiftC_16s_I(int val, Vel16s* pSrcDst, int len);
/* pSrcDst[i] = pSrcDst[i] >> val: signed 32-bit words. */
ORV_API VelStatus orvsRShiftC_32s_I(int val, Vel32s* pSrcDst, int len);

/* ---- Vectors: scaled multiply and norm ----------------------------------------------------------------------- */

/* Multiplies by val * 2^-scaleFactor in place: the product with val is exact, and what becomes of it is rounded to the
 * nearest integer, halves to the even one, and clamped to -32768..32767. Any scaleFactor will do; above 30 everything
 * becomes zero.
 *   velStsNullPtrErr   pSrcDst is null
 *   velStsSizeErr      len below 1 */
ORV_API VelStatus orvsMulC_16s_ISfs(Vel16s val, Vel16s* pSrcDst, int len, int scaleFactor);

/* The Euclidean norm, the root of the sum of the squares. The sum is exact; converting it to double, its root and
 * converting that to float round to nearest.
 *   velStsNullPtrErr   pSrc or pNorm is null
 *   velStsSizeErr      len below 1 */
ORV_API VelStatus orvsNorm_L2_16s32f(const Vel16s* pSrc, int len, Vel32f* pNorm);

/* ---- Images: copy, border, channel swap --------------------------------------------------------------------- */

/* Copies a region; source and destination do not overlap. Regions of more than 1048576 bytes are written past the caches.
 *   velStsNullPtrErr   pSrc or pDst is null
 *   velStsSizeErr      width or height below 1
 * Steps are not checked: a negative one walks upwards. */

/* Copies pixels of one byte. */
ORV_API VelStatus orviCopy_8u_C1R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);
/* Copies pixels of three bytes. */
ORV_API VelStatus orviCopy_8u_C3R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);
/* Copies pixels of four bytes, alpha too. */
ORV_API VelStatus orviCopy_8u_C4R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);

/* Surrounds a region of one-channel pixels with copies of its outermost ones, in the same image. pSrc is the first
 * pixel of the region, which itself stays as it is. The result is a region of dstRoiSize that begins topBorderHeight
 * rows above and leftBorderWidth pixels to the left of it; each new pixel has the value of the nearest old one.
 *   velStsNullPtrErr   pSrc is null
 *   velStsStepErr      srcDstStep below 1
 *   velStsSizeErr      a width or height below 1, a border below 0, or the source with its top and left border reaches
 *                      beyond dstRoiSize */
ORV_API VelStatus orviCopyReplicateBorder_8u_C1IR(const Vel8u* pSrc, int srcDstStep, VeliSize srcRoiSize,
                                                  VeliSize dstRoiSize, int topBorderHeight, int leftBorderWidth);

/* Reorders the channels of every pixel: destination channel i becomes what source channel dstOrder[i] was; one source
 * channel may serve several. Channels are counted from 0. pDst may be pSrc, with the same step.
 *   C3    three channels; dstOrder[3], entries 0..2
 *   C4    four channels; dstOrder[4], entries 0..3
 *   AC4   the first three of four channels; dstOrder[3], entries 0..2. The destination's fourth keeps its value.
 *   velStsNullPtrErr        pSrc, pDst, pSrcDst or dstOrder is null
 *   velStsStepErr           C4IR: the step is below 1
 *   velStsSizeErr           width or height below 1
 *   velStsStepErr           the other forms: a step below 1
 *   velStsChannelOrderErr   an entry of dstOrder is none of those above */

/* Reorders three channels: bytes. */
ORV_API VelStatus orviSwapChannels_8u_C3R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize,
                                          const int dstOrder[3]);
/* Reorders three channels: 16-bit words. */
ORV_API VelStatus orviSwapChannels_16u_C3R(const Vel16u* pSrc, int srcStep, Vel16u* pDst, int dstStep, VeliSize roiSize,
                                           const int dstOrder[3]);
/* Reorders three channels: signed 16-bit words. */
ORV_API VelStatus orviSwapChannels_16s_C3R(const Vel16s* pSrc, int srcStep, Vel16s* pDst, int dstStep, VeliSize roiSize,
                                           const int dstOrder[3]);
/* Reorders three channels: signed 32-bit words. */
ORV_API VelStatus orviSwapChannels_32s_C3R(const Vel32s* pSrc, int srcStep, Vel32s* pDst, int dstStep, VeliSize roiSize,
                                           const int dstOrder[3]);
/* Reorders three channels: floats. */
ORV_API VelStatus orviSwapChannels_32f_C3R(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize,
                                           const int dstOrder[3]);
/* Reorders three channels of four: bytes. */
ORV_API VelStatus orviSwapChannels_8u_AC4R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize,
                                           const int dstOrder[3]);
/* Reorders three channels of four: 16-bit words. */
ORV_API VelStatus orviSwapChannels_16u_AC4R(const Vel16u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                            VeliSize roiSize, const int dstOrder[3]);
/* Reorders three channels of four: signed 16-bit words. */
ORV_API VelStatus orviSwapChannels_16s_AC4R(const Vel16s* pSrc, int srcStep, Vel16s* pDst, int dstStep,
                                            VeliSize roiSize, const int dstOrder[3]);
/* Reorders three channels of four: signed 32-bit words. */
ORV_API VelStatus orviSwapChannels_32s_AC4R(const Vel32s* pSrc, int srcStep, Vel32s* pDst, int dstStep,
                                            VeliSize roiSize, const int dstOrder[3]);
/* Reorders three channels of four: floats. */
ORV_API VelStatus orviSwapChannels_32f_AC4R(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep,
                                            VeliSize roiSize, const int dstOrder[3]);
/* Reorders three channels in place: bytes. */
ORV_API VelStatus orviSwapChannels_8u_C3IR(Vel8u* pSrcDst, int srcDstStep, VeliSize roiSize, const int dstOrder[3]);
/* Reorders four channels in place: bytes. */
ORV_API VelStatus orviSwapChannels_8u_C4IR(Vel8u* pSrcDst, int srcDstStep, VeliSize roiSize, const int dstOrder[4]);

/* Three of four channels: destination channel i gets source channel dstOrder[i], 0..3.
 *   velStsNullPtrErr        pSrc, pDst or dstOrder is null
 *   velStsSizeErr           width or height below 1
 *   velStsChannelOrderErr   an entry of dstOrder is none of 0..3
 * Steps are not checked: a negative one walks upwards. */
ORV_API VelStatus orviSwapChannels_8u_C4C3R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize,
                                            const int dstOrder[3]);

/* Three channels to four. Destination channel i
 *   gets source channel dstOrder[i]   where that is 0..2
 *   gets val                          where it is 3
 *   keeps its value                   where it is above 3; the fourth channel also where dstOrder[3] is negative
 *   velStsNullPtrErr        pSrc, pDst or dstOrder is null
 *   velStsSizeErr           width or height below 1
 *   velStsChannelOrderErr   one of the first three entries of dstOrder is negative
 * Steps are not checked: a negative one walks upwards. */
ORV_API VelStatus orviSwapChannels_8u_C3C4R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize,
                                            const int dstOrder[4], Vel8u val);

/* ---- Image: box filter -------------------------------------------------------------------------------------- */

/* Means of single-precision floats over a mask of maskSize pixels, of which the one at `anchor` lies over the pixel
 * that is computed. C1, C3, C4: each channel by itself; AC4: the first three, the destination's fourth keeps its value.
 * The border is the caller's: pSrc is the pixel under the anchor of the first result. What is read is the region and
 * anchor.y rows above it, maskSize.height - 1 - anchor.y below, anchor.x pixels to the left of it and
 * maskSize.width - 1 - anchor.x to the right. Of a step only whole floats count: step / 4 of them. Source and
 * destination must not overlap.
 * All in single precision, and in this order:
 *   column sums   in the first row, of the pixels under the mask from the top down; in every other row
 *                 (sum + pixel that comes in) - pixel that leaves
 *   sum           at the first pixel, of its column sums from left to right; at every other
 *                 (sum + column that comes in) - column that leaves
 *   result        norm times sum, with norm = 1 / n, n the exact number of pixels in the mask as a float
 * So rounding adds up along rows and columns, with a mask of 1 by 1 too, and a NaN or an infinity spoils the results to
 * its right and below it. Of two NaNs that meet, the one that is in the sum already stays.
 * C4 with a mask of 3 by 3, wherever its anchor is, takes another way: h = (left + centre + right) in each row, then
 * (h above + h + h below) times 0x3DE38E39 (1/9), added from the left.
 * Time does not depend on the mask's size. Scratch comes through the hooks above: a row of column sums, and for up to 8
 * rows twice the mask's width and 108 floats, if not the whole row; in the 3 by 3 case two rows.
 *   velStsNullPtrErr    pSrc or pDst is null
 *   velStsStepErr       a step below 1
 *   velStsSizeErr       width or height below 1
 *   velStsMaskSizeErr   the mask's width or height below 1
 *   velStsAnchorErr     the anchor lies outside the mask
 *   velStsMemAllocErr   the scratch could not be allocated, or is larger than an int can say; nothing was written */

/* Mean of a box around each pixel: floats, one channel. */
ORV_API VelStatus orviFilterBox_32f_C1R(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize,
                                        VeliSize maskSize, VeliPoint anchor);
/* Mean of a box around each pixel: floats, three channels. */
ORV_API VelStatus orviFilterBox_32f_C3R(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize,
                                        VeliSize maskSize, VeliPoint anchor);
/* Mean of a box around each pixel: floats, four channels. */
ORV_API VelStatus orviFilterBox_32f_C4R(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize dstRoiSize,
                                        VeliSize maskSize, VeliPoint anchor);
/* Mean of a box around each pixel: floats, three channels of four. */
ORV_API VelStatus orviFilterBox_32f_AC4R(const Vel32f* pSrc, int srcStep, Vel32f* pDst, int dstStep,
                                         VeliSize dstRoiSize, VeliSize maskSize, VeliPoint anchor);

/* ---- Image: floating-point arithmetic ----------------------------------------------------------------------- */

/* In place on rows of floats: each element d of pSrcDst becomes
 *   Add   d + s     AddC   d + k
 *   Sub   d - s     SubC   d - k
 *   Mul   d s       MulC   d k
 * where s is the element of pSrc at the same place and k the constant of its channel. One IEEE operation in the caller's
 * rounding mode; infinities and NaNs propagate, of two NaNs that of d. pSrc may be pSrcDst itself, with the same step.
 *   C1, C3, C4   elements of every channel alike; value: one constant, or as many as channels
 *   AC4          four elements a pixel; value: three constants. The fourth element is worked on with 0, 0 or 1 in place
 *                of its s or k, which keeps its value; but -0 plus 0 is 0.
 *   velStsSizeErr      C3 and C4 with an image only: width below 1
 *   velStsNullPtrErr   pSrc, value (where it is a pointer) or pSrcDst is null
 *   velStsSizeErr      width or height below 1
 * Steps are not checked: a negative one walks upwards. */

/* pSrcDst = pSrcDst + pSrc: floats, one channel. */
ORV_API VelStatus orviAdd_32f_C1IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst + pSrc: floats, three channels. */
ORV_API VelStatus orviAdd_32f_C3IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst + pSrc: floats, four channels. */
ORV_API VelStatus orviAdd_32f_C4IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst + pSrc: floats, three channels of four. */
ORV_API VelStatus orviAdd_32f_AC4IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst - pSrc: floats, one channel. */
ORV_API VelStatus orviSub_32f_C1IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst - pSrc: floats, three channels. */
ORV_API VelStatus orviSub_32f_C3IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst - pSrc: floats, four channels. */
ORV_API VelStatus orviSub_32f_C4IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst - pSrc: floats, three channels of four. */
ORV_API VelStatus orviSub_32f_AC4IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst * pSrc: floats, one channel. */
ORV_API VelStatus orviMul_32f_C1IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst * pSrc: floats, three channels. */
ORV_API VelStatus orviMul_32f_C3IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst * pSrc: floats, four channels. */
ORV_API VelStatus orviMul_32f_C4IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst * pSrc: floats, three channels of four. */
ORV_API VelStatus orviMul_32f_AC4IR(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst + value: floats, one channel. */
ORV_API VelStatus orviAddC_32f_C1IR(Vel32f value, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst + value: floats, three channels. */
ORV_API VelStatus orviAddC_32f_C3IR(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst + value: floats, four channels. */
ORV_API VelStatus orviAddC_32f_C4IR(const Vel32f value[4], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst + value: floats, three channels of four. */
ORV_API VelStatus orviAddC_32f_AC4IR(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst - value: floats, one channel. */
ORV_API VelStatus orviSubC_32f_C1IR(Vel32f value, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst - value: floats, three channels. */
ORV_API VelStatus orviSubC_32f_C3IR(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst - value: floats, four channels. */
ORV_API VelStatus orviSubC_32f_C4IR(const Vel32f value[4], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst - value: floats, three channels of four. */
ORV_API VelStatus orviSubC_32f_AC4IR(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst * value: floats, one channel. */
ORV_API VelStatus orviMulC_32f_C1IR(Vel32f value, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst * value: floats, three channels. */
ORV_API VelStatus orviMulC_32f_C3IR(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst * value: floats, four channels. */
ORV_API VelStatus orviMulC_32f_C4IR(const Vel32f value[4], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);
/* pSrcDst = pSrcDst * value: floats, three channels of four. */
ORV_API VelStatus orviMulC_32f_AC4IR(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize);

/* ---- Image: depth conversion -------------------------------------------------------------------------------- */

/* Bytes to floats of the same value. C1, C3, C4: every channel; AC4: three channels of four, the fourth float of a
 * destination pixel keeps its value. Source and destination do not overlap.
 *   velStsNullPtrErr   pSrc or pDst is null
 *   velStsSizeErr      width or height below 1
 *   velStsStepErr      a step below 1 */

/* Bytes to floats of the same value: one channel. */
ORV_API VelStatus orviConvert_8u32f_C1R(const Vel8u* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize);
/* Bytes to floats of the same value: three channels. */
ORV_API VelStatus orviConvert_8u32f_C3R(const Vel8u* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize);
/* Bytes to floats of the same value: four channels. */
ORV_API VelStatus orviConvert_8u32f_C4R(const Vel8u* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize);
/* Bytes to floats of the same value: three channels of four. */
ORV_API VelStatus orviConvert_8u32f_AC4R(const Vel8u* pSrc, int srcStep, Vel32f* pDst, int dstStep, VeliSize roiSize);

/* Floats to bytes: limited to 0..255 and rounded as roundMode says, whatever rounding mode the caller has set, which is
 * the same again afterwards. A NaN gives 255. Layouts as above; in AC4 the fourth byte keeps its value. Source and
 * destination do not overlap.
 *   0       towards zero
 *   1       to the nearest integer, halves to the even one
 *   other   to the nearest integer, halves away from zero
 * Statuses as above. */

/* Floats to bytes, rounded and saturated: one channel. */
ORV_API VelStatus orviConvert_32f8u_C1R(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize,
                                        int roundMode);
/* Floats to bytes, rounded and saturated: three channels. */
ORV_API VelStatus orviConvert_32f8u_C3R(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize,
                                        int roundMode);
/* Floats to bytes, rounded and saturated: four channels. */
ORV_API VelStatus orviConvert_32f8u_C4R(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize,
                                        int roundMode);
/* Floats to bytes, rounded and saturated: three channels of four. */
ORV_API VelStatus orviConvert_32f8u_AC4R(const Vel32f* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize,
                                         int roundMode);

/* ---- Resizing ----------------------------------------------------------------------------------------------- */

/* How pixels between source pixels are found: one method, and at most one flag ORed to it. */
enum {
  velInterNearest = 1,                /* the source pixel whose square holds the centre */
  velInterLinear = 2,                 /* 2 by 2 pixels */
  velInterCubic = 4,                  /* 4 by 4 pixels: the cubic through four points */
  velInterCubicBSpline = 5,           /* the cubic B-spline: smooths */
  velInterCubicCatmullRom = 6,        /* Catmull-Rom: B = 0, C = 0.5 */
  velInterCubicB05C03 = 7,            /* B = 0.5, C = 0.3 */
  velInterSuper = 8,                  /* the mean of the area that a pixel covers; only reduces */
  velInterLanczos = 16,               /* 6 by 6 pixels: Lanczos' window of three lobes */
  velFlagAntialiasing = 0x20000000,   /* linear, cubic, Lanczos: a reduction widens the filter to what a pixel covers */
  velFlagSubpixelEdge = 0x40000000,   /* pixels that are covered in part become the edge, scaled by their coverage */
  velFlagSmoothEdge = -2147483647 - 1 /* (bit 31) they are blended with the edge, by their coverage */
};

/* The size of the buffer for a resize call with regions of these sizes, in bytes; any alignment will do. nChannel is
 * 1 (also for planes), 3 (also for AC4) or 4.
 *   velStsNullPtrErr        pBufferSize is null
 *   velStsSizeErr           a region's x or y is negative, or its width or height below 1
 *   velStsNumChannelsErr    nChannel is not 1, 3 or 4
 *   velStsInterpolationErr  interpolation is no method with at most one flag
 *   velStsSizeErr           the size does not fit an int; nothing is stored
 *   velStsNoAntialiasing    done; antialiasing was asked of nearest or supersampling, which do without */
ORV_API VelStatus orviResizeGetBufSize(VeliRect srcRoi, VeliRect dstRoi, int nChannel, int interpolation,
                                       int* pBufferSize);

/* Scales the region srcRoi of an image into the region dstRoi of another one.
 *
 *   pSrc, pDst   the images' first pixels, not the regions'; of planes, the arrays of their pointers
 * Steps are in bytes and are not checked, a negative one walks upwards. srcRoi is clipped to the image of srcSize.
 * Nothing outside the clipped region is read, and nothing outside dstRoi is written. pBuffer has the size that
 * orviResizeGetBufSize gives for srcRoi, dstRoi, the channels and interpolation.
 *   C1   one channel           C3   three channels          C4   four channels
 *   AC4  four channels, of which the destination's fourth keeps its value
 *   P3, P4  three or four planes of one channel, which share a step on each side
 *
 * To fit srcRoi into dstRoi, which is what most callers want:
 *   xFactor = (double)dstRoi.width / srcRoi.width        xShift = dstRoi.x - srcRoi.x * xFactor
 *   yFactor = (double)dstRoi.height / srcRoi.height      yShift = dstRoi.y - srcRoi.y * yFactor
 * The shifts are 0 when both regions begin at their image's first pixel. To bring the 400 by 300 pixels from (100, 50)
 * on to 200 by 150 pixels from (10, 20) on, the factors are 0.5, xShift is 10 - 100 * 0.5 = -40 and yShift
 * 20 - 50 * 0.5 = -5. With a shift that does not fit, pixels of dstRoi stay as they were.
 *
 * The model. Source pixel i covers [i, i + 1). The edge coordinate u of the source lies at u * xFactor + xShift in the
 * destination, and the centre of destination pixel x at (x + 0.5 - xShift) / xFactor - 0.5 between the centres of
 * source pixels: the whole part tells the pixel, the fraction (held in single precision) the weights. Rows likewise.
 * What a filter needs outside the source region is its nearest pixel in the region.
 * Written are the pixels of dstRoi whose centre lies in the scaled region or, within 1e-10, on its edge. With
 * velFlagSubpixelEdge or velFlagSmoothEdge it is those that lie in it whole or but for 1e-10, and then the ring of pixels
 * that are covered in part: each from the pixel next to it with its coverage w, a corner's being the product of two.
 * Coverages and their product are worked out in double precision, the rest in single:
 *   subpixel  trunc(0.5000001 + w edge)      smooth  trunc(0.5000001 + (w (edge - old) + old))
 *
 * The methods. With f and g the fractions of column and row:
 *   nearest   the pixel itself, without arithmetic
 *   linear    weights w = trunc(16384 f + 0.0000001), and v likewise of g; for the upper and the lower row
 *             h = ((16384 - w) left + w right + 128) >> 8, then ((16384 - v) upper + v lower + 0x80000) >> 20; a row
 *             beside the first or last pixels' centres has but one neighbour: ((16384 - w) left + w right + 8192) >> 14
 *   cubic     four weights k(1 + f), k(f), k(1 - f), k(2 - f), evaluated in double precision and held in single; rows,
 *             then columns are summed in single precision, and the sum is rounded to the nearest integer, ties to even
 *               cubic        d < 1:  0.5 d^3 - d^2 - 0.5 d + 1         d < 2:  -1/6 d^3 + d^2 - 11/6 d + 1
 *               B-spline             0.5 d^3 - d^2 + 2/3                       -1/6 d^3 + d^2 - 2 d + 4/3
 *               Catmull-Rom          1.5 d^3 - 2.5 d^2 + 1                     -0.5 d^3 + 2.5 d^2 - 4 d + 2
 *               B05C03               0.95 d^3 - 1.7 d^2 + 0.8333333333333334   -0.38333333333333336 d^3 + 2 d^2 - 3.4 d
 *                                                                              + 1.8666666666666667
 *   Lanczos   six weights from tblLanczos3 by linear interpolation, divided by their sum, all in single precision; to
 *             the sum of columns 0.5000001192092896 is added, and the fraction cut off
 *   super     the mean of what the destination pixel's square [(x - xShift) / xFactor, (x + 1 - xShift) / xFactor)
 *             covers of the source region, weighted by the area covered. Columns of pixels, then rows of those sums are
 *             added up in single precision, and multiplied by the inverse of the area; a pixel that is covered but for
 *             1e-7 counts as covered. Rounded to the nearest integer, halves up: 1 / 4096 is added to what is rounded,
 *             so that inexact sums do not miss a half
 * Antialiased, linear, cubic and Lanczos have kernels as wide as s = max(1, 1 / xFactor) asks for: source pixel i, at the
 * distance d = |i - centre| / s below the radius r, weighs k(d) divided by the sum of all such weights, in double
 * precision and then held in single. k is 1 - d for linear (r = 1), the above for the cubics (r = 2), and tblLanczos3 with
 * linear interpolation for Lanczos (r = 3). Pixels outside the region add their weights to its nearest pixel's. s counts
 * up to 65536 plus four times the region's width. Rows of the source are summed first, each channel in four lanes: the
 * taps 0, 4, ..., the taps 1, 5, ... and so on, added as (lane 0 + lane 2) + (lane 1 + lane 3); then columns tap by tap.
 * All in single precision, rounded to the nearest integer, ties to even.
 * Results saturate to 0..255. An image (not region) with a side below 6 is not filtered by Lanczos but by velInterCubic,
 * and one with a side below 4 by velInterLinear instead of any cubic.
 *
 *   velStsNullPtrErr         pSrc, pDst, pBuffer, or a plane's pointer is null
 *   velStsSizeErr            srcSize has a side below 1; a region's x or y is negative, or its width or height below 1
 *   velStsResizeFactorErr    a factor is not greater than 0
 *   velStsInterpolationErr   interpolation is no method with at most one flag
 *   velStsResizeFactorErr    supersampling with a factor greater than 1
 *   velStsWrongIntersectROI  warning: srcRoi begins outside the image; nothing is written
 *   velStsNoOperation        warning: no pixel of dstRoi is in the scaled region; nothing is written
 *   velStsNoAntialiasing     done; antialiasing was asked of nearest or supersampling, which do without */

/* Resizes bytes: one channel. */
ORV_API VelStatus orviResizeSqrPixel_8u_C1R(const Vel8u* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi,
                                            Vel8u* pDst, int dstStep, VeliRect dstRoi, double xFactor, double yFactor,
                                            double xShift, double yShift, int interpolation, Vel8u* pBuffer);
/* Resizes bytes: three channels. */
ORV_API VelStatus orviResizeSqrPixel_8u_C3R(const Vel8u* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi,
                                            Vel8u* pDst, int dstStep, VeliRect dstRoi, double xFactor, double yFactor,
                                            double xShift, double yShift, int interpolation, Vel8u* pBuffer);
/* Resizes bytes: four channels. */
ORV_API VelStatus orviResizeSqrPixel_8u_C4R(const Vel8u* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi,
                                            Vel8u* pDst, int dstStep, VeliRect dstRoi, double xFactor, double yFactor,
                                            double xShift, double yShift, int interpolation, Vel8u* pBuffer);
/* Resizes bytes: three channels of four. */
ORV_API VelStatus orviResizeSqrPixel_8u_AC4R(const Vel8u* pSrc, VeliSize srcSize, int srcStep, VeliRect srcRoi,
                                             Vel8u* pDst, int dstStep, VeliRect dstRoi, double xFactor, double yFactor,
                                             double xShift, double yShift, int interpolation, Vel8u* pBuffer);
/* Resizes bytes: three planes. */
ORV_API VelStatus orviResizeSqrPixel_8u_P3R(const Vel8u* const pSrc[3], VeliSize srcSize, int srcStep, VeliRect srcRoi,
                                            Vel8u* const pDst[3], int dstStep, VeliRect dstRoi, double xFactor,
                                            double yFactor, double xShift, double yShift, int interpolation,
                                            Vel8u* pBuffer);
/* Resizes bytes: four planes. */
ORV_API VelStatus orviResizeSqrPixel_8u_P4R(const Vel8u* const pSrc[4], VeliSize srcSize, int srcStep, VeliRect srcRoi,
                                            Vel8u* const pDst[4], int dstStep, VeliRect dstRoi, double xFactor,
                                            double yFactor, double xShift, double yShift, int interpolation,
                                            Vel8u* pBuffer);

/* Lanczos' window of three lobes in hundredths: entry i is L(i / 100), where L(x) = 3 sin(pi x) sin(pi x / 3) / (pi x)^2,
 * L(0) = 1, rounded to single precision; entries 300 and 301 are 0. */
ORV_API extern const Vel32f tblLanczos3[302];

/* ---- Colour: which function --------------------------------------------------------------------------------- */

/* Three encodings go by the names YCbCr and YUV, and a picture that is taken for another one looks almost right: too
 * flat, too pale, or too blue. All have the luma weights of ITU-R BT.601.
 *
 *   data                          luma, chroma            to RGB                            from RGB
 *   JFIF: what JPEG files hold    0..255, 0..255          orvizkYUV420ToRGB888LS_MCU_...,   none; orviRGBToYCbCr
 *                                                         a 4:2:0 MCU; for one pixel        is not for JPEG
 *                                                         computeRGBFromYUV_JPEG_F32_U8
 *   studio video: what cameras,   16..235, 16..240        orviYCbCrToRGB_..., 4:4:4         orviRGBToYCbCr_...
 *   capture cards and video                               orviYCbCrToRGB565_... and so
 *   files hold                                            on, to words
 *   analogue video's YUV          0..255, 128 + 0.492     orviYUV420ToRGB_...               orviRGBToYUV420_...
 *                                 (B - Y), 128 + 0.877    orviYUV422ToRGB_...               orviRGBToYUV422_...
 *                                 (R - Y)                 orviYUV420ToRGB565_... and so on
 *
 * Subsampled studio video has no function of its own. Of planes (I420), bring chroma to the size of luma with
 * orviResizeSqrPixel_8u_C1R and convert with orviYCbCrToRGB_8u_P3C3R; of YUYV, write each pixel's Y, Cb and Cr side by
 * side and convert with the C3 functions. The YUV functions take such data as well, but their reds are then pale, black
 * is 16 and white 235. BT.709 (HDTV) has other weights, for which there is no function here.
 *
 * Words of sixteen bits are named from bit 0 upwards: RGB565 has R in bits 0 to 4. What framebuffers, graphics
 * libraries and cameras call RGB565 has R in bits 11 to 15, and is BGR565 here. So it is with 555 and 444. Words are
 * in the processor's byte order. */

/* ---- Colour: YCbCr ------------------------------------------------------------------------------------------ */

/* RGB and YCbCr of ITU-R BT.601 in studio range: luma 16..235, chroma 16..240 centred on 128. Weights are those of the
 * standard's equations times 65536, rounded to whole numbers; shifts are arithmetic, and all sums are 32-bit integers.
 *   C3   pixels of three bytes: R, G, B or Y, Cb, Cr
 *   AC4  the same and a fourth byte, which in the destination keeps its value
 *   P3   an array of three planes, of which one step serves all
 * Steps are not checked: a negative one walks upwards. What has one layout on both sides may be converted in place:
 * pSrc and pDst, or their planes one by one, are then the same, and so are the steps.
 *   velStsNullPtrErr   pSrc or pDst is null
 *   velStsSizeErr      width or height below 1
 *   velStsNullPtrErr   a plane is null */

/* RGB to YCbCr, every pixel exactly, on every path:
 *   Y  = (16843 R + 33030 G + 6423 B + 1081344) >> 16       16.5 * 65536: the offset, and a half to round
 *   Cb = (-9699 R - 19071 G + 28770 B + 8421376) >> 16      128.5 * 65536
 *   Cr = (28770 R - 24117 G - 4653 B + 8421376) >> 16 */

/* RGB to studio YCbCr: three bytes a pixel. */
ORV_API VelStatus orviRGBToYCbCr_8u_C3R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);
/* RGB to studio YCbCr: three bytes of four. */
ORV_API VelStatus orviRGBToYCbCr_8u_AC4R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);
/* RGB to studio YCbCr: three planes. */
ORV_API VelStatus orviRGBToYCbCr_8u_P3R(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], int dstStep,
                                        VeliSize roiSize);

/* YCbCr to RGB, each result clamped to 0..255. With u = Cb - 128 and v = Cr - 128, AC4R converts every pixel by
 *   R = (76284 Y + 104595 v - 1220544) >> 16                1.164, 1.596; 1220544 is 16 * 76284
 *   G = (76284 Y - 25690 u - 53281 v - 1220544) >> 16       0.392, 0.813
 *   B = (76284 Y + 132186 u - 1220544) >> 16                2.017
 * and P3R, which rounds, by the same with 1187776, which is 32768 less, in place of 1220544. To C3, groups of eight
 * pixels from the start of each row are converted in sixteen bits: with m(x, k) = (x * k) >> 16 and
 * y = m(128 (Y - 16), 9535), b = 128 u, c = 128 v,
 *   R = (y + m(c, 13074) + 8) >> 4
 *   G = (y + m(b, -3211) + m(c, -6660) + 8) >> 4
 *   B = (y + m(b, 16523) + 8) >> 4
 * by P3C3R, and by C3R with 9536 and -3203 in place of 9535 and -3211. These results are those of P3R or differ by
 * one. The last width % 8 pixels of a row are converted by C3R like those of AC4R, by P3C3R with the weights 76282,
 * 104593, 25689, 53279 and 132184, and 1220512, which is 16 * 76282. */

/* Studio YCbCr to RGB: three bytes a pixel. */
ORV_API VelStatus orviYCbCrToRGB_8u_C3R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);
/* Studio YCbCr to RGB: three bytes of four. */
ORV_API VelStatus orviYCbCrToRGB_8u_AC4R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);
/* Studio YCbCr to RGB: three planes. */
ORV_API VelStatus orviYCbCrToRGB_8u_P3R(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3], int dstStep,
                                        VeliSize roiSize);
/* Studio YCbCr to RGB: three planes to three bytes a pixel. */
ORV_API VelStatus orviYCbCrToRGB_8u_P3C3R(const Vel8u* const pSrc[3], int srcStep, Vel8u* pDst, int dstStep,
                                          VeliSize roiSize);

/* YCbCr to RGB in words of sixteen bits. Groups of eight pixels from the start of a row are converted like those of
 * P3C3R above, the last width % 8 pixels like those of AC4R, and each channel is cut to its highest bits. When the
 * rows of both sides follow one another without a gap, the whole image is one row.
 *          RGB: R in bits   G       B         BGR: B in bits   G       R        zero
 *   565    0-4              5-10    11-15     0-4              5-10    11-15
 *   555    0-4              5-9     10-14     0-4              5-9     10-14    15
 *   444    0-3              4-7     8-11      0-3              4-7     8-11     12-15
 * dstStep is in bytes; an odd one counts as the even one below it. Steps are not checked.
 *   velStsNullPtrErr   pSrc or pDst is null
 *   velStsSizeErr      width or height below 1 */

/* Studio YCbCr to words: R in bits 0-4, G 5-10, B 11-15. */
ORV_API VelStatus orviYCbCrToRGB565_8u16u_C3R(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                              VeliSize roiSize);
/* Studio YCbCr to words: R in bits 0-4, G 5-9, B 10-14. */
ORV_API VelStatus orviYCbCrToRGB555_8u16u_C3R(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                              VeliSize roiSize);
/* Studio YCbCr to words: R in bits 0-3, G 4-7, B 8-11. */
ORV_API VelStatus orviYCbCrToRGB444_8u16u_C3R(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                              VeliSize roiSize);
/* Studio YCbCr to words: B in bits 0-4, G 5-10, R 11-15; the usual RGB565. */
ORV_API VelStatus orviYCbCrToBGR565_8u16u_C3R(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                              VeliSize roiSize);
/* Studio YCbCr to words: B in bits 0-4, G 5-9, R 10-14; the usual RGB555. */
ORV_API VelStatus orviYCbCrToBGR555_8u16u_C3R(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                              VeliSize roiSize);
/* Studio YCbCr to words: B in bits 0-3, G 4-7, R 8-11; the usual RGB444. */
ORV_API VelStatus orviYCbCrToBGR444_8u16u_C3R(const Vel8u* pSrc, int srcStep, Vel16u* pDst, int dstStep,
                                              VeliSize roiSize);

/* ---- Colour: subsampled YUV --------------------------------------------------------------------------------- */

/* The YUV of analogue video: luma 0..255 unscaled, U = 0.492 (B - Y), V = 0.877 (R - Y), both centred on 128, with the
 * luma weights of ITU-R BT.601. A chroma sample serves a pair of pixels in a row (4:2:2) or a block of 2 by 2 pixels
 * (4:2:0), whose first pixel has even coordinates.
 *   C3   R, G, B bytes (BGR: B, G, R)                AC4  R, G, B and a fourth byte that keeps its value
 *   P3   planes R, G, B, which share a step, or planes Y, U, V with a step for each
 *   C2   4:2:2 in one piece: the bytes Y, U, Y, V for a pair
 * The forms without R take whole images packed tightly: step width for planes R, G, B and Y, width / 2 (rounded down)
 * for U and V, 3 width for C3. Source and destination do not overlap.
 *
 * 4:2:0: whole blocks are converted, width / 2 by height / 2; an odd last column or row is left as it was.
 *
 * 4:2:2: the last pixel of an odd width has chroma of its own. Where planes have steps, it is one more sample: a row of
 * U or V holds (width + 1) / 2. Tightly packed rows have no room for it: from RGB it is not stored, and to RGB the
 * pixel takes the chroma of the pair before it. In C2, a row of 2 width bytes ends in that pixel's Y and U: from RGB
 * its V is not stored, and to RGB it is the byte before them, the V of the pair before. Where no pair is before, what
 * is missing is 128.
 *
 * What they return:
 *   velStsNullPtrErr   pSrc, pDst or an array of steps is null
 *   velStsSizeErr      width or height below 1 (orviYUV420ToBGR_8u_P3C3R: below 2)
 *   velStsNullPtrErr   a plane is null, sources first
 *   velStsDoubleSize   4:2:0: done; width or height is odd
 * Steps are not checked: a negative one walks upwards. */

/* RGB to YUV. In integers, with shifts that round down:
 *   y = (19596 R >> 8) + (38470 G >> 8) + (7472 B >> 8)       256 times 0.299 R + 0.587 G + 0.114 B
 *   Y = (y + 2) >> 8
 * and for a pair or block of n pixels, from sums over them, of Y as it is stored,
 *   U = 128 + floor((sum of B - sum of Y) * 16121 / (n * 32768)), which lies in 17..239
 *   V = 128 + floor((sum of R - sum of Y) * 28737 / (n * 32768)), clamped to 0..255
 * A grey gives itself, and U = V = 128. The last pixel of an odd 4:2:2 width gives
 *   S = 9798 R + 19235 G + 3736 B       Y = S >> 15
 *   U = 128 + (((32768 B - S) >> 15) * 16121 >> 15)
 *   V = 128 + (((32768 R - S) >> 15) * 28737 >> 15), clamped to 0..255
 * (a grey but black U = V = 127). A pair or block of one colour gives the same or one more, in each of Y, U and V. */

/* RGB pixels to planes of YUV 4:2:0. */
ORV_API VelStatus orviRGBToYUV420_8u_C3P3R(const Vel8u* pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3],
                                           VeliSize roiSize);
/* RGB pixels to planes of YUV 4:2:0, tightly packed. */
ORV_API VelStatus orviRGBToYUV420_8u_C3P3(const Vel8u* pSrc, Vel8u* const pDst[3], VeliSize roiSize);
/* R, G and B planes to planes of YUV 4:2:0. */
ORV_API VelStatus orviRGBToYUV420_8u_P3R(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3],
                                         const int dstStep[3], VeliSize roiSize);
/* R, G and B planes to planes of YUV 4:2:0, tightly packed. */
ORV_API VelStatus orviRGBToYUV420_8u_P3(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize);
/* RGB pixels to YUV 4:2:2 as bytes Y, U, Y, V. */
ORV_API VelStatus orviRGBToYUV422_8u_C3C2R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);
/* RGB pixels to planes of YUV 4:2:2. */
ORV_API VelStatus orviRGBToYUV422_8u_C3P3R(const Vel8u* pSrc, int srcStep, Vel8u* const pDst[3], const int dstStep[3],
                                           VeliSize roiSize);
/* R, G and B planes to planes of YUV 4:2:2. */
ORV_API VelStatus orviRGBToYUV422_8u_P3R(const Vel8u* const pSrc[3], int srcStep, Vel8u* const pDst[3],
                                         const int dstStep[3], VeliSize roiSize);
/* RGB pixels to planes of YUV 4:2:2, tightly packed. */
ORV_API VelStatus orviRGBToYUV422_8u_C3P3(const Vel8u* pSrc, Vel8u* const pDst[3], VeliSize roiSize);
/* R, G and B planes to planes of YUV 4:2:2, tightly packed. */
ORV_API VelStatus orviRGBToYUV422_8u_P3(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize);

/* YUV to RGB. With u = U - 128, v = V - 128 and arithmetic shifts,
 *   R = clamp((8192 Y + 9338 v) >> 13)             1.140 v
 *   G = clamp((8192 Y - 3227 u - 4759 v) >> 13)    0.394 u, 0.581 v
 *   B = clamp((8192 Y + 16645 u) >> 13)            2.032 u
 * clamped to 0..255. Chroma is not interpolated. */

/* Planes of YUV 4:2:0 to RGB pixels. */
ORV_API VelStatus orviYUV420ToRGB_8u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep,
                                           VeliSize roiSize);
/* Planes of YUV 4:2:0 to RGB pixels of four bytes, of which the fourth keeps its value. */
ORV_API VelStatus orviYUV420ToRGB_8u_P3AC4R(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep,
                                            VeliSize roiSize);
/* Planes of YUV 4:2:0 to R, G and B planes. */
ORV_API VelStatus orviYUV420ToRGB_8u_P3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* const pDst[3],
                                         int dstStep, VeliSize roiSize);
/* Planes of YUV 4:2:0 to RGB pixels, tightly packed. */
ORV_API VelStatus orviYUV420ToRGB_8u_P3C3(const Vel8u* const pSrc[3], Vel8u* pDst, VeliSize roiSize);
/* Planes of YUV 4:2:0 to R, G and B planes, tightly packed. */
ORV_API VelStatus orviYUV420ToRGB_8u_P3(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize);
/* Planes of YUV 4:2:0 to BGR pixels. */
ORV_API VelStatus orviYUV420ToBGR_8u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep,
                                           VeliSize roiSize);
/* YUV 4:2:2, as bytes Y, U, Y, V, to RGB pixels. */
ORV_API VelStatus orviYUV422ToRGB_8u_C2C3R(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, VeliSize roiSize);
/* Planes of YUV 4:2:2 to RGB pixels. */
ORV_API VelStatus orviYUV422ToRGB_8u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep,
                                           VeliSize roiSize);
/* Planes of YUV 4:2:2 to RGB pixels of four bytes, of which the fourth keeps its value. */
ORV_API VelStatus orviYUV422ToRGB_8u_P3AC4R(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* pDst, int dstStep,
                                            VeliSize roiSize);
/* Planes of YUV 4:2:2 to R, G and B planes. */
ORV_API VelStatus orviYUV422ToRGB_8u_P3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel8u* const pDst[3],
                                         int dstStep, VeliSize roiSize);
/* Planes of YUV 4:2:2 to RGB pixels, tightly packed. */
ORV_API VelStatus orviYUV422ToRGB_8u_P3C3(const Vel8u* const pSrc[3], Vel8u* pDst, VeliSize roiSize);
/* Planes of YUV 4:2:2 to R, G and B planes, tightly packed. */
ORV_API VelStatus orviYUV422ToRGB_8u_P3(const Vel8u* const pSrc[3], Vel8u* const pDst[3], VeliSize roiSize);

/* YUV 4:2:0 to 16-bit words: the colours above, cut to their upper bits and packed from bit 0 upwards,
 *   565   R >> 3, G >> 2, B >> 3
 *   555   R >> 3, G >> 3, B >> 3; bit 15 is 0
 *   444   R >> 4, G >> 4, B >> 4; bits 12 to 15 are 0
 * with R and B exchanged in the BGR forms. dstStep is in bytes, like all steps; it may be odd. */

/* Planes of YUV 4:2:0 to words: R in bits 0-4, G 5-10, B 11-15. */
ORV_API VelStatus orviYUV420ToRGB565_8u16u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst,
                                                 int dstStep, VeliSize roiSize);
/* Planes of YUV 4:2:0 to words: R in bits 0-4, G 5-9, B 10-14. */
ORV_API VelStatus orviYUV420ToRGB555_8u16u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst,
                                                 int dstStep, VeliSize roiSize);
/* Planes of YUV 4:2:0 to words: R in bits 0-3, G 4-7, B 8-11. */
ORV_API VelStatus orviYUV420ToRGB444_8u16u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst,
                                                 int dstStep, VeliSize roiSize);
/* Planes of YUV 4:2:0 to words: B in bits 0-4, G 5-10, R 11-15; the usual RGB565. */
ORV_API VelStatus orviYUV420ToBGR565_8u16u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst,
                                                 int dstStep, VeliSize roiSize);
/* Planes of YUV 4:2:0 to words: B in bits 0-4, G 5-9, R 10-14; the usual RGB555. */
ORV_API VelStatus orviYUV420ToBGR555_8u16u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst,
                                                 int dstStep, VeliSize roiSize);
/* Planes of YUV 4:2:0 to words: B in bits 0-3, G 4-7, R 8-11; the usual RGB444. */
ORV_API VelStatus orviYUV420ToBGR444_8u16u_P3C3R(const Vel8u* const pSrc[3], const int srcStep[3], Vel16u* pDst,
                                                 int dstStep, VeliSize roiSize);

/* ---- JPEG: quantisation tables ------------------------------------------------------------------------------ */

/* A raw quantisation table is what a DQT segment carries: 64 bytes in zigzag order (ITU-T T.81, B.2.4.1). The tables
 * for the transforms hold 64 words in natural (row-major) order. */

/* Scales a raw table in place by a quality of 1 and up: s = 5000 / quality below 50, else 200 - 2 * quality, and each
 * entry v becomes (v * s + 50) / 100, divisions truncating, clamped to 1..255. 50 changes nothing, 100 and up give
 * ones.
 *   velStsNullPtrErr   pQuantRawTable is null
 *   velStsBadArgErr    qualityFactor below 1 */
ORV_API VelStatus orviQuantFwdRawTableInit_JPEG_8u(Vel8u* pQuantRawTable, int qualityFactor);

/* The encoder's table from a raw one: reciprocals 32768 / step, rounded to the nearest integer. A step of 1 gives
 * 32768.
 *   velStsNullPtrErr   a pointer is null
 *   velStsDivByZero    done; a step of zero was given 65535 */
ORV_API VelStatus orviQuantFwdTableInit_JPEG_8u16u(const Vel8u* pQuantRawTable, Vel16u* pQuantFwdTable);

/* The decoder's table from a raw one: the steps themselves, in natural order.
 *   velStsNullPtrErr   a pointer is null */
ORV_API VelStatus orviQuantInvTableInit_JPEG_8u16u(const Vel8u* pQuantRawTable, Vel16u* pQuantInvTable);

/* Constants of the JPEG entropy coders (ITU-T T.81, figure A.6 and F.1.2), for programs with coders of their own. */
ORV_API extern const Vel32s own_pj_izigzag_index[72]; /* natural position of each zigzag index; then eight times 63,
                                                         where a run past the block's end lands */
ORV_API extern const Vel32s own_pj_csize[256];        /* significant bits of the index */
ORV_API extern const Vel32s own_pj_eobsize[512];      /* floor(log2(index)), 0 for 0 */
/* For a magnitude category n: 2^(n-1), and 1 - 2^n; both 0 for n = 0. A received value below the first is negative and
 * has the second added (T.81, F.2.2.1). */
ORV_API extern const Vel32s own_pj_extend_test[16];
ORV_API extern const Vel32s own_pj_twoexpnminusone[16];
ORV_API extern const Vel32s own_pj_extend_offset[16];
ORV_API extern const Vel32s own_pj_lowest_coef[16];

/* ---- JPEG: forward DCT -------------------------------------------------------------------------------------- */

/* A block of 8 by 8 samples to 64 quantised coefficients in natural order: subtract 128, forward DCT (ITU-T T.81,
 * A.3.3) in 16-bit fixed point, within one unit of the exact transform, then multiply by the forward table and divide
 * by 32768, rounding to the nearest integer, halves to the even one, saturated to 16 bits.
 *   velStsNullPtrErr   pSrc or pDst is null
 *   velStsStepErr      srcStep below 1
 *   velStsNullPtrErr   pQuantFwdTable is null */
ORV_API VelStatus orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Vel8u* pSrc, int srcStep, Vel16s* pDst,
                                                      const Vel16u* pQuantFwdTable);

/* ---- JPEG: inverse DCT -------------------------------------------------------------------------------------- */

/* 64 quantised coefficients in natural order to a block of 8 by 8 samples: dequantise (the low 16 bits of each
 * product), inverse DCT (ITU-T T.81, A.3.3) in 16-bit fixed point, add 128, clamp to 0..255. Sums on the way saturate;
 * where none does, the result is within one unit of the exact transform, rounded. The reduced forms read only the 4x4,
 * 2x2 or 1x1 coefficients of lowest frequency, take the others as zero, and write all 8 by 8 samples. 4x4 and 2x2 give
 * the very samples that the full form gives for such a block; 1x1 gives the dequantised DC >> 3 (32-bit product,
 * arithmetic shift, no rounding) plus 128.
 *   velStsNullPtrErr   pSrc or pDst is null
 *   velStsStepErr      dstStep below 1
 *   velStsNullPtrErr   pQuantInvTable is null */

/* A block of samples from all 64 coefficients. */
ORV_API VelStatus orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(const Vel16s* pSrc, Vel8u* pDst, int dstStep,
                                                      const Vel16u* pQuantInvTable);
/* A block of samples from the 4x4 coefficients of lowest frequency. */
ORV_API VelStatus orviDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(const Vel16s* pSrc, Vel8u* pDst, int dstStep,
                                                          const Vel16u* pQuantInvTable);
/* A block of samples from the 2x2 coefficients of lowest frequency. */
ORV_API VelStatus orviDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(const Vel16s* pSrc, Vel8u* pDst, int dstStep,
                                                          const Vel16u* pQuantInvTable);
/* A block of samples from the DC alone. */
ORV_API VelStatus orviDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(const Vel16s* pSrc, Vel8u* pDst, int dstStep,
                                                          const Vel16u* pQuantInvTable);

/* ---- JPEG: Huffman encoding --------------------------------------------------------------------------------- */

/* An encoder table: 1024 bytes, as orviEncodeHuffmanSpecGetBufSize_JPEG_8u tells. */
typedef struct VeliEncodeHuffmanSpec VeliEncodeHuffmanSpec;
/* An encoder state of 1044 bytes. The block encoder keeps its state in the caller's variables instead. */
typedef struct VeliEncodeHuffmanState VeliEncodeHuffmanState;

/* The size of an encoder table in bytes.
 *   velStsNullPtrErr   pSize is null */
ORV_API VelStatus orviEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);

/* Builds an encoder table from what a DHT segment carries: the number of codes of each length 1..16 (16 bytes), and as
 * many symbols as they add up to, by increasing code length (ITU-T T.81, annex C); of a symbol given twice the later
 * code counts. InitAlloc allocates the table, too (released with SpecFree, through the allocation hooks).
 *   velStsNullPtrErr         a pointer is null, or the table could not be allocated
 *   velStsJPEGHuffTableErr   more than 256 codes, more codes of a length than it has room for, or a code that is all
 *                            ones; the caller's table is cleared; InitAlloc leaves *ppEncHuffSpec as it was */

/* Builds an encoder table in the caller's memory. */
ORV_API VelStatus orviEncodeHuffmanSpecInit_JPEG_8u(const Vel8u* pListBits, const Vel8u* pListVals,
                                                    VeliEncodeHuffmanSpec* pEncHuffSpec);
/* Allocates and builds an encoder table. */
ORV_API VelStatus orviEncodeHuffmanSpecInitAlloc_JPEG_8u(const Vel8u* pListBits, const Vel8u* pListVals,
                                                         VeliEncodeHuffmanSpec** ppEncHuffSpec);
/* Releases what SpecInitAlloc allocated.
 *   velStsNullPtrErr   pEncHuffSpec is null */
ORV_API VelStatus orviEncodeHuffmanSpecFree_JPEG_8u(VeliEncodeHuffmanSpec* pEncHuffSpec);

/* Allocates and clears a state, and releases one.
 *   velStsNullPtrErr   the pointer is null, or a state could not be allocated, and *ppEncHuffState is left as it was */

/* Allocates and clears an encoder state. */
ORV_API VelStatus orviEncodeHuffmanStateInitAlloc_JPEG_8u(VeliEncodeHuffmanState** ppEncHuffState);
/* Releases an encoder state. */
ORV_API VelStatus orviEncodeHuffmanStateFree_JPEG_8u(VeliEncodeHuffmanState* pEncHuffState);

/* Counts the symbols of one block (64 coefficients in natural order) in the caller's counters; sets *pLastDC.
 *   velStsNullPtrErr        a pointer is null
 *   velStsJPEGDCTRangeErr   the DC difference has a category above 15, or an AC coefficient one above 14; *pLastDC is
 *                           set and what comes before it is counted */
ORV_API VelStatus orviGetHuffmanStatistics8x8_JPEG_16s_C1(const Vel16s* pSrc, int pDcStatistics[256],
                                                          int pAcStatistics[256], Vel16s* pLastDC);

/* The best code for counted symbols (ITU-T T.81, annex K.2; among equally rare symbols the one of highest number
 * first), with codes of 16 bits at most and none all ones: pListBits gets 16 bytes, pListVals as many as there are
 * symbols with a count. Counts add up to less than 1000000000.
 *   velStsNullPtrErr         a pointer is null
 *   velStsJPEGHuffTableErr   the code tree is deeper than 32 levels */
ORV_API VelStatus orviEncodeHuffmanRawTableInit_JPEG_8u(const int pStatistics[256], Vel8u* pListBits, Vel8u* pListVals);

/* Encodes one block (64 coefficients in natural order) of a baseline scan (ITU-T T.81, F.1.2) at *pDstBitsLen, in bits
 * from pDst: the bits in front of it in its byte are kept. Sets *pDstBitsLen to where the next block goes on, and
 * *pLastDC. An FF is followed by 00. The last byte may be there in part, and up to 8 bytes after it are overwritten,
 * for which there must be room. The DC difference must have a category of 15 at most, AC coefficients one of 14, and
 * each symbol a code: this is not checked.
 *   velStsNullPtrErr   a pointer is null */
ORV_API VelStatus orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Vel16s* pSrc, Vel8u* pDst, int* pDstBitsLen,
                                                            Vel16s* pLastDC, const VeliEncodeHuffmanSpec* pDcTable,
                                                            const VeliEncodeHuffmanSpec* pAcTable);

/* ---- JPEG: Huffman decoding --------------------------------------------------------------------------------- */

/* A decoder table: 1644 bytes, as orviDecodeHuffmanSpecGetBufSize_JPEG_8u tells. */
typedef struct VeliDecodeHuffmanSpec VeliDecodeHuffmanSpec;
/* A decoder state of 20 bytes. The block decoder keeps its state in the caller's variables instead. */
typedef struct VeliDecodeHuffmanState VeliDecodeHuffmanState;

/* The size of a decoder table in bytes.
 *   velStsNullPtrErr   pSize is null */
ORV_API VelStatus orviDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize);

/* Builds a decoder table from what a DHT segment carries: the number of codes of each length 1..16 (16 bytes), and as
 * many symbols as they add up to, by increasing code length (ITU-T T.81, annex C).
 *   velStsNullPtrErr         a pointer is null
 *   velStsJPEGHuffTableErr   more than 256 codes, more codes of a length than it has room for, or a code that is all
 *                            ones; the table is cleared */
ORV_API VelStatus orviDecodeHuffmanSpecInit_JPEG_8u(const Vel8u* pListBits, const Vel8u* pListVals,
                                                    VeliDecodeHuffmanSpec* pDecHuffSpec);

/* Clears a state; allocates and clears one (released with StateFree, through the allocation hooks); releases one.
 *   velStsNullPtrErr   the pointer is null, or a state could not be allocated, and *ppDecHuffState is left as it was */

/* Clears a decoder state in the caller's memory. */
ORV_API VelStatus orviDecodeHuffmanStateInit_JPEG_8u(VeliDecodeHuffmanState* pDecHuffState);
/* Allocates and clears a decoder state. */
ORV_API VelStatus orviDecodeHuffmanStateInitAlloc_JPEG_8u(VeliDecodeHuffmanState** ppDecHuffState);
/* Releases a decoder state. */
ORV_API VelStatus orviDecodeHuffmanStateFree_JPEG_8u(VeliDecodeHuffmanState* pDecHuffState);

/* Decodes one block of a baseline scan (ITU-T T.81, F.2.2) to 64 coefficients in natural order.
 * The caller keeps the decoder's state between blocks and clears it at the start of a scan and after each restart
 * marker:
 *   pSrc                     the stream
 *   pSrcBitsLen              where its next byte lies in it, in bits (a multiple of 8)
 *   pPrefetchedBits          bits that were taken from the stream and not used, the next one highest
 *   pNumValidPrefetchedBits  how many there are: the low ones of *pPrefetchedBits
 *   pLastDC                  the DC of the component's previous block
 *   pMarker                  the code of a marker that the decoder met (0xD9 for FF D9), else 0. While it is positive
 *                            nothing more is read; the byte position is then just after the marker
 * The stream must end in a marker or hold all bytes that its blocks take: no others are read. Bytes are taken while
 * fewer than 25 bits are in store: before every code, and before extra bits that the store does not hold. FF 00 stands
 * for a byte FF.
 *   velStsNullPtrErr        pSrc or pSrcBitsLen is null
 *   velStsBadArgErr         *pSrcBitsLen below 0
 *   velStsNullPtrErr        pDst, pLastDC, pMarker, pPrefetchedBits or pNumValidPrefetchedBits is null
 *   velStsBadArgErr         *pNumValidPrefetchedBits below 0, or above 32, which the store cannot hold
 *   velStsNullPtrErr        a table is null
 *   velStsJPEGDCTRangeErr   a code that is none, or a DC category above 15
 *   velStsJPEGOutOfBufErr   a coefficient's extra bits end at a marker
 * The last two leave what was decoded before. When the bits end at a marker in front of or within a code, the result is
 * velStsNoErr, and the coefficients that are missing are zero. A run past the block's end lands in the last
 * coefficient. */
ORV_API VelStatus orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const Vel8u* pSrc, int* pSrcBitsLen, Vel16s* pDst,
                                                            Vel16s* pLastDC, int* pMarker, Vel32u* pPrefetchedBits,
                                                            int* pNumValidPrefetchedBits,
                                                            const VeliDecodeHuffmanSpec* pDcTable,
                                                            const VeliDecodeHuffmanSpec* pAcTable);

/* ---- JPEG: fused decoding ----------------------------------------------------------------------------------- */

/* The scratch for numBlocks blocks: *pSize bytes at a multiple of *pAlignment. Nothing is checked. */
ORV_API VelStatus orvizkDCTQuantInv8x8TmpBufferSize(int* pSize, int* pAlignment, int numBlocks);

/* Allocates a decoder table, for orviDecodeHuffmanSpecInit_JPEG_8u to build, with orvzkMallocAligned.
 *   velStsErr   malloc gave null; *ppDecHuffSpec is left as it was */
ORV_API VelStatus orvizkDecodeHuffmanSpecAlloc_JPEG_8u(VeliDecodeHuffmanSpec** ppDecHuffSpec);
/* Releases such a table; null may be given. */
ORV_API VelStatus orvizkDecodeHuffmanSpecFree_JPEG_8u(VeliDecodeHuffmanSpec* pDecHuffSpec);

/* Allocates an inverse quantisation table, with the C library's malloc.
 *   velStsErr   the allocation failed; *ppQuantInvTable is null */
ORV_API VelStatus orvizkQuantInvTableAlloc(Vel16u** ppQuantInvTable);
/* Releases such a table; null may be given. */
ORV_API VelStatus orvizkQuantInvTableFree(Vel16u* pQuantInvTable);
/* orviQuantInvTableInit_JPEG_8u16u under a name of this group. */
ORV_API VelStatus orvizkQuantInvTableInit_JPEG_8u16u(const Vel8u* pQuantRawTable, Vel16u* pQuantInvTable);
/* orviDCTQuantInv8x8LS_JPEG_16s8u_C1R under a name of this group. */
ORV_API VelStatus orvizkDCTQuantInv8x8LS_JPEG_16s8u_C1R(const Vel16s* pSrc, Vel8u* pDst, int dstStep,
                                                        const Vel16u* pQuantInvTable);

/* One 4:2:0 MCU to interleaved RGB: six inverse transforms into pTmp, then orviYUV420ToRGB_8u_P3C3R, whose colours
 * these are (analogue video's, not JFIF's).
 *   pSrcMCU            six blocks of 64 coefficients: luma top left, top right, bottom left, bottom right; Cb; Cr
 *   pTmp               384 bytes: afterwards the luma plane (16 by 16, step 16), Cb at 256 and Cr at 320 (8 by 8,
 *                      step 8)
 *   pQuantInvTables    the table of each block
 *   roiSize            how much of the 16 by 16 tile is converted; no more than that is checked of it
 * The result is the first status other than 0 of the six transforms, which ends the work, or the conversion's. */
ORV_API VelStatus orvizkDCTQuantInv8x8LS_JPEG_16s8u_YUV420ToRGB_8u_P3C3R(const Vel16s* pSrcMCU, Vel8u* pTmp,
                                                                         const Vel16u* const pQuantInvTables[6],
                                                                         Vel8u* pDst, int dstStep, VeliSize roiSize);

/* One 4:2:0 MCU of samples centred on zero to a tile of 16 by 16 pixels of interleaved RGB, in JFIF's colours: each
 * pixel is what computeRGBFromYUV_JPEG_F32_U8 gives. pSrcBlocks[0]: four luma blocks of 64, in the order above;
 * pSrcBlocks[1], [2]: Cb and Cr, each sample serving its block of 2 by 2 pixels. Nothing is checked. */
ORV_API VelStatus orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(const Vel16s* const pSrcBlocks[3], Vel8u* pDst, int dstStep);

/* One pixel (JFIF's equations, ITU-T T.871): with Y = 128 + y,
 *   R = Y + 1.402 cr + 0 cb      G = Y - 0.34414 cb - 0.71414 cr      B = Y + 1.772 cb + 0 cr
 * in extended precision with double-precision constants, rounded to single precision, clamped to 0..255 by clip_F32;
 * then 0.5 is added and the fraction cut off. A NaN gives 0. The result is 0. */
ORV_API int computeRGBFromYUV_JPEG_F32_U8(float y, float cb, float cr, Vel8u* pR, Vel8u* pG, Vel8u* pB);
/* high where x > high, low where x < low, else x, which a NaN is. */
ORV_API float clip_F32(float low, float high, float x);

/* ---- The vel names ------------------------------------------------------------------------------------------ */

/* Each vel name stands for the function that its orv name leads to: arguments and results are written there, and are
 * taken from there. A call by the vel name saves a jump. */
ORV_API extern __typeof__(orvGetStatusString) velGetStatusString;
ORV_API extern __typeof__(orvStaticInit) velStaticInit;
ORV_API extern __typeof__(orvStaticInit) velInit;
ORV_API extern __typeof__(velStaticInitCpu) velInitCpu;

ORV_API extern __typeof__(orvsLinToALaw_16s8u) velsLinToALaw_16s8u;
ORV_API extern __typeof__(orvsLinToALaw_32f8u) velsLinToALaw_32f8u;
ORV_API extern __typeof__(orvsALawToLin_8u16s) velsALawToLin_8u16s;
ORV_API extern __typeof__(orvsALawToLin_8u32f) velsALawToLin_8u32f;
ORV_API extern __typeof__(orvsAnd_8u) velsAnd_8u;
ORV_API extern __typeof__(orvsAnd_16u) velsAnd_16u;
ORV_API extern __typeof__(orvsAnd_32u) velsAnd_32u;
ORV_API extern __typeof__(orvsOr_8u) velsOr_8u;
ORV_API extern __typeof__(orvsOr_16u) velsOr_16u;
ORV_API extern __typeof__(orvsOr_32u) velsOr_32u;
ORV_API extern __typeof__(orvsXor_8u) velsXor_8u;
ORV_API extern __typeof__(orvsXor_16u) velsXor_16u;
ORV_API extern __typeof__(orvsXor_32u) velsXor_32u;
ORV_API extern __typeof__(orvsAnd_8u_I) velsAnd_8u_I;
ORV_API extern __typeof__(orvsAnd_16u_I) velsAnd_16u_I;
ORV_API extern __typeof__(orvsAnd_32u_I) velsAnd_32u_I;
ORV_API extern __typeof__(orvsOr_8u_I) velsOr_8u_I;
ORV_API extern __typeof__(orvsOr_16u_I) velsOr_16u_I;
ORV_API extern __typeof__(orvsOr_32u_I) velsOr_32u_I;
ORV_API extern __typeof__(orvsXor_8u_I) velsXor_8u_I;
ORV_API extern __typeof__(orvsXor_16u_I) velsXor_16u_I;
ORV_API extern __typeof__(orvsXor_32u_I) velsXor_32u_I;
ORV_API extern __typeof__(orvsAndC_8u) velsAndC_8u;
ORV_API extern __typeof__(orvsAndC_16u) velsAndC_16u;
ORV_API extern __typeof__(orvsAndC_32u) velsAndC_32u;
ORV_API extern __typeof__(orvsOrC_8u) velsOrC_8u;
ORV_API extern __typeof__(orvsOrC_16u) velsOrC_16u;
ORV_API extern __typeof__(orvsOrC_32u) velsOrC_32u;
ORV_API extern __typeof__(orvsXorC_8u) velsXorC_8u;
ORV_API extern __typeof__(orvsXorC_16u) velsXorC_16u;
ORV_API extern __typeof__(orvsXorC_32u) velsXorC_32u;
ORV_API extern __typeof__(orvsAndC_8u_I) velsAndC_8u_I;
ORV_API extern __typeof__(orvsAndC_16u_I) velsAndC_16u_I;
ORV_API extern __typeof__(orvsAndC_32u_I) velsAndC_32u_I;
ORV_API extern __typeof__(orvsOrC_8u_I) velsOrC_8u_I;
ORV_API extern __typeof__(orvsOrC_16u_I) velsOrC_16u_I;
ORV_API extern __typeof__(orvsOrC_32u_I) velsOrC_32u_I;
ORV_API extern __typeof__(orvsXorC_8u_I) velsXorC_8u_I;
ORV_API extern __typeof__(orvsXorC_16u_I) velsXorC_16u_I;
ORV_API extern __typeof__(orvsXorC_32u_I) velsXorC_32u_I;
ORV_API extern __typeof__(orvsNot_8u) velsNot_8u;
ORV_API extern __typeof__(orvsNot_16u) velsNot_16u;
ORV_API extern __typeof__(orvsNot_32u) velsNot_32u;
ORV_API extern __typeof__(orvsNot_8u_I) velsNot_8u_I;
ORV_API extern __typeof__(orvsNot_16u_I) velsNot_16u_I;
ORV_API extern __typeof__(orvsNot_32u_I) velsNot_32u_I;
ORV_API extern __typeof__(orvsLShiftC_8u) velsLShiftC_8u;
ORV_API extern __typeof__(orvsLShiftC_16u) velsLShiftC_16u;
ORV_API extern __typeof__(orvsLShiftC_16s) velsLShiftC_16s;
ORV_API extern __typeof__(orvsLShiftC_32s) velsLShiftC_32s;
ORV_API extern __typeof__(orvsRShiftC_8u) velsRShiftC_8u;
ORV_API extern __typeof__(orvsRShiftC_16u) velsRShiftC_16u;
ORV_API extern __typeof__(orvsRShiftC_16s) velsRShiftC_16s;
ORV_API extern __typeof__(orvsRShiftC_32s) velsRShiftC_32s;
ORV_API extern __typeof__(orvsLShiftC_8u_I) velsLShiftC_8u_I;
ORV_API extern __typeof__(orvsLShiftC_16u_I) velsLShiftC_16u_I;
ORV_API extern __typeof__(orvsLShiftC_16s_I) velsLShiftC_16s_I;
ORV_API extern __typeof__(orvsLShiftC_32s_I) velsLShiftC_32s_I;
ORV_API extern __typeof__(orvsRShiftC_8u_I) velsRShiftC_8u_I;
ORV_API extern __typeof__(orvsRShiftC_16u_I) velsRShiftC_16u_I;
ORV_API extern __typeof__(orvsRShiftC_16s_I) velsRShiftC_16s_I;
ORV_API extern __typeof__(orvsRShiftC_32s_I) velsRShiftC_32s_I;
ORV_API extern __typeof__(orvsMulC_16s_ISfs) velsMulC_16s_ISfs;
ORV_API extern __typeof__(orvsNorm_L2_16s32f) velsNorm_L2_16s32f;
ORV_API extern __typeof__(orviCopy_8u_C1R) veliCopy_8u_C1R;
ORV_API extern __typeof__(orviCopy_8u_C3R) veliCopy_8u_C3R;
ORV_API extern __typeof__(orviCopy_8u_C4R) veliCopy_8u_C4R;
ORV_API extern __typeof__(orviCopyReplicateBorder_8u_C1IR) veliCopyReplicateBorder_8u_C1IR;
ORV_API extern __typeof__(orviSwapChannels_8u_C3R) veliSwapChannels_8u_C3R;
ORV_API extern __typeof__(orviSwapChannels_16u_C3R) veliSwapChannels_16u_C3R;
ORV_API extern __typeof__(orviSwapChannels_16s_C3R) veliSwapChannels_16s_C3R;
ORV_API extern __typeof__(orviSwapChannels_32s_C3R) veliSwapChannels_32s_C3R;
ORV_API extern __typeof__(orviSwapChannels_32f_C3R) veliSwapChannels_32f_C3R;
ORV_API extern __typeof__(orviSwapChannels_8u_AC4R) veliSwapChannels_8u_AC4R;
ORV_API extern __typeof__(orviSwapChannels_16u_AC4R) veliSwapChannels_16u_AC4R;
ORV_API extern __typeof__(orviSwapChannels_16s_AC4R) veliSwapChannels_16s_AC4R;
ORV_API extern __typeof__(orviSwapChannels_32s_AC4R) veliSwapChannels_32s_AC4R;
ORV_API extern __typeof__(orviSwapChannels_32f_AC4R) veliSwapChannels_32f_AC4R;
ORV_API extern __typeof__(orviSwapChannels_8u_C3IR) veliSwapChannels_8u_C3IR;
ORV_API extern __typeof__(orviSwapChannels_8u_C4IR) veliSwapChannels_8u_C4IR;
ORV_API extern __typeof__(orviSwapChannels_8u_C4C3R) veliSwapChannels_8u_C4C3R;
ORV_API extern __typeof__(orviSwapChannels_8u_C3C4R) veliSwapChannels_8u_C3C4R;
ORV_API extern __typeof__(orviFilterBox_32f_C1R) veliFilterBox_32f_C1R;
ORV_API extern __typeof__(orviFilterBox_32f_C3R) veliFilterBox_32f_C3R;
ORV_API extern __typeof__(orviFilterBox_32f_C4R) veliFilterBox_32f_C4R;
ORV_API extern __typeof__(orviFilterBox_32f_AC4R) veliFilterBox_32f_AC4R;
ORV_API extern __typeof__(orviAdd_32f_C1IR) veliAdd_32f_C1IR;
ORV_API extern __typeof__(orviAdd_32f_C3IR) veliAdd_32f_C3IR;
ORV_API extern __typeof__(orviAdd_32f_C4IR) veliAdd_32f_C4IR;
ORV_API extern __typeof__(orviAdd_32f_AC4IR) veliAdd_32f_AC4IR;
ORV_API extern __typeof__(orviSub_32f_C1IR) veliSub_32f_C1IR;
ORV_API extern __typeof__(orviSub_32f_C3IR) veliSub_32f_C3IR;
ORV_API extern __typeof__(orviSub_32f_C4IR) veliSub_32f_C4IR;
ORV_API extern __typeof__(orviSub_32f_AC4IR) veliSub_32f_AC4IR;
ORV_API extern __typeof__(orviMul_32f_C1IR) veliMul_32f_C1IR;
ORV_API extern __typeof__(orviMul_32f_C3IR) veliMul_32f_C3IR;
ORV_API extern __typeof__(orviMul_32f_C4IR) veliMul_32f_C4IR;
ORV_API extern __typeof__(orviMul_32f_AC4IR) veliMul_32f_AC4IR;
ORV_API extern __typeof__(orviAddC_32f_C1IR) veliAddC_32f_C1IR;
ORV_API extern __typeof__(orviAddC_32f_C3IR) veliAddC_32f_C3IR;
ORV_API extern __typeof__(orviAddC_32f_C4IR) veliAddC_32f_C4IR;
ORV_API extern __typeof__(orviAddC_32f_AC4IR) veliAddC_32f_AC4IR;
ORV_API extern __typeof__(orviSubC_32f_C1IR) veliSubC_32f_C1IR;
ORV_API extern __typeof__(orviSubC_32f_C3IR) veliSubC_32f_C3IR;
ORV_API extern __typeof__(orviSubC_32f_C4IR) veliSubC_32f_C4IR;
ORV_API extern __typeof__(orviSubC_32f_AC4IR) veliSubC_32f_AC4IR;
ORV_API extern __typeof__(orviMulC_32f_C1IR) veliMulC_32f_C1IR;
ORV_API extern __typeof__(orviMulC_32f_C3IR) veliMulC_32f_C3IR;
ORV_API extern __typeof__(orviMulC_32f_C4IR) veliMulC_32f_C4IR;
ORV_API extern __typeof__(orviMulC_32f_AC4IR) veliMulC_32f_AC4IR;
ORV_API extern __typeof__(orviConvert_8u32f_C1R) veliConvert_8u32f_C1R;
ORV_API extern __typeof__(orviConvert_8u32f_C3R) veliConvert_8u32f_C3R;
ORV_API extern __typeof__(orviConvert_8u32f_C4R) veliConvert_8u32f_C4R;
ORV_API extern __typeof__(orviConvert_8u32f_AC4R) veliConvert_8u32f_AC4R;
ORV_API extern __typeof__(orviConvert_32f8u_C1R) veliConvert_32f8u_C1R;
ORV_API extern __typeof__(orviConvert_32f8u_C3R) veliConvert_32f8u_C3R;
ORV_API extern __typeof__(orviConvert_32f8u_C4R) veliConvert_32f8u_C4R;
ORV_API extern __typeof__(orviConvert_32f8u_AC4R) veliConvert_32f8u_AC4R;
ORV_API extern __typeof__(orviResizeGetBufSize) veliResizeGetBufSize;
ORV_API extern __typeof__(orviResizeSqrPixel_8u_C1R) veliResizeSqrPixel_8u_C1R;
ORV_API extern __typeof__(orviResizeSqrPixel_8u_C3R) veliResizeSqrPixel_8u_C3R;
ORV_API extern __typeof__(orviResizeSqrPixel_8u_C4R) veliResizeSqrPixel_8u_C4R;
ORV_API extern __typeof__(orviResizeSqrPixel_8u_AC4R) veliResizeSqrPixel_8u_AC4R;
ORV_API extern __typeof__(orviResizeSqrPixel_8u_P3R) veliResizeSqrPixel_8u_P3R;
ORV_API extern __typeof__(orviResizeSqrPixel_8u_P4R) veliResizeSqrPixel_8u_P4R;
ORV_API extern __typeof__(orviRGBToYCbCr_8u_C3R) veliRGBToYCbCr_8u_C3R;
ORV_API extern __typeof__(orviRGBToYCbCr_8u_AC4R) veliRGBToYCbCr_8u_AC4R;
ORV_API extern __typeof__(orviRGBToYCbCr_8u_P3R) veliRGBToYCbCr_8u_P3R;
ORV_API extern __typeof__(orviYCbCrToRGB_8u_C3R) veliYCbCrToRGB_8u_C3R;
ORV_API extern __typeof__(orviYCbCrToRGB_8u_AC4R) veliYCbCrToRGB_8u_AC4R;
ORV_API extern __typeof__(orviYCbCrToRGB_8u_P3R) veliYCbCrToRGB_8u_P3R;
ORV_API extern __typeof__(orviYCbCrToRGB_8u_P3C3R) veliYCbCrToRGB_8u_P3C3R;
ORV_API extern __typeof__(orviYCbCrToRGB565_8u16u_C3R) veliYCbCrToRGB565_8u16u_C3R;
ORV_API extern __typeof__(orviYCbCrToRGB555_8u16u_C3R) veliYCbCrToRGB555_8u16u_C3R;
ORV_API extern __typeof__(orviYCbCrToRGB444_8u16u_C3R) veliYCbCrToRGB444_8u16u_C3R;
ORV_API extern __typeof__(orviYCbCrToBGR565_8u16u_C3R) veliYCbCrToBGR565_8u16u_C3R;
ORV_API extern __typeof__(orviYCbCrToBGR555_8u16u_C3R) veliYCbCrToBGR555_8u16u_C3R;
ORV_API extern __typeof__(orviYCbCrToBGR444_8u16u_C3R) veliYCbCrToBGR444_8u16u_C3R;
ORV_API extern __typeof__(orviRGBToYUV420_8u_C3P3R) veliRGBToYUV420_8u_C3P3R;
ORV_API extern __typeof__(orviRGBToYUV420_8u_C3P3) veliRGBToYUV420_8u_C3P3;
ORV_API extern __typeof__(orviRGBToYUV420_8u_P3R) veliRGBToYUV420_8u_P3R;
ORV_API extern __typeof__(orviRGBToYUV420_8u_P3) veliRGBToYUV420_8u_P3;
ORV_API extern __typeof__(orviRGBToYUV422_8u_C3C2R) veliRGBToYUV422_8u_C3C2R;
ORV_API extern __typeof__(orviRGBToYUV422_8u_C3P3R) veliRGBToYUV422_8u_C3P3R;
ORV_API extern __typeof__(orviRGBToYUV422_8u_P3R) veliRGBToYUV422_8u_P3R;
ORV_API extern __typeof__(orviRGBToYUV422_8u_C3P3) veliRGBToYUV422_8u_C3P3;
ORV_API extern __typeof__(orviRGBToYUV422_8u_P3) veliRGBToYUV422_8u_P3;
ORV_API extern __typeof__(orviYUV420ToRGB_8u_P3C3R) veliYUV420ToRGB_8u_P3C3R;
ORV_API extern __typeof__(orviYUV420ToRGB_8u_P3AC4R) veliYUV420ToRGB_8u_P3AC4R;
ORV_API extern __typeof__(orviYUV420ToRGB_8u_P3R) veliYUV420ToRGB_8u_P3R;
ORV_API extern __typeof__(orviYUV420ToRGB_8u_P3C3) veliYUV420ToRGB_8u_P3C3;
ORV_API extern __typeof__(orviYUV420ToRGB_8u_P3) veliYUV420ToRGB_8u_P3;
ORV_API extern __typeof__(orviYUV420ToBGR_8u_P3C3R) veliYUV420ToBGR_8u_P3C3R;
ORV_API extern __typeof__(orviYUV422ToRGB_8u_C2C3R) veliYUV422ToRGB_8u_C2C3R;
ORV_API extern __typeof__(orviYUV422ToRGB_8u_P3C3R) veliYUV422ToRGB_8u_P3C3R;
ORV_API extern __typeof__(orviYUV422ToRGB_8u_P3AC4R) veliYUV422ToRGB_8u_P3AC4R;
ORV_API extern __typeof__(orviYUV422ToRGB_8u_P3R) veliYUV422ToRGB_8u_P3R;
ORV_API extern __typeof__(orviYUV422ToRGB_8u_P3C3) veliYUV422ToRGB_8u_P3C3;
ORV_API extern __typeof__(orviYUV422ToRGB_8u_P3) veliYUV422ToRGB_8u_P3;
ORV_API extern __typeof__(orviYUV420ToRGB565_8u16u_P3C3R) veliYUV420ToRGB565_8u16u_P3C3R;
ORV_API extern __typeof__(orviYUV420ToRGB555_8u16u_P3C3R) veliYUV420ToRGB555_8u16u_P3C3R;
ORV_API extern __typeof__(orviYUV420ToRGB444_8u16u_P3C3R) veliYUV420ToRGB444_8u16u_P3C3R;
ORV_API extern __typeof__(orviYUV420ToBGR565_8u16u_P3C3R) veliYUV420ToBGR565_8u16u_P3C3R;
ORV_API extern __typeof__(orviYUV420ToBGR555_8u16u_P3C3R) veliYUV420ToBGR555_8u16u_P3C3R;
ORV_API extern __typeof__(orviYUV420ToBGR444_8u16u_P3C3R) veliYUV420ToBGR444_8u16u_P3C3R;
ORV_API extern __typeof__(orviQuantFwdRawTableInit_JPEG_8u) veliQuantFwdRawTableInit_JPEG_8u;
ORV_API extern __typeof__(orviQuantFwdTableInit_JPEG_8u16u) veliQuantFwdTableInit_JPEG_8u16u;
ORV_API extern __typeof__(orviQuantInvTableInit_JPEG_8u16u) veliQuantInvTableInit_JPEG_8u16u;
ORV_API extern __typeof__(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R) veliDCTQuantFwd8x8LS_JPEG_8u16s_C1R;
ORV_API extern __typeof__(orviDCTQuantInv8x8LS_JPEG_16s8u_C1R) veliDCTQuantInv8x8LS_JPEG_16s8u_C1R;
ORV_API extern __typeof__(orviDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R) veliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R;
ORV_API extern __typeof__(orviDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R) veliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R;
ORV_API extern __typeof__(orviDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R) veliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R;
ORV_API extern __typeof__(orviEncodeHuffmanSpecGetBufSize_JPEG_8u) veliEncodeHuffmanSpecGetBufSize_JPEG_8u;
ORV_API extern __typeof__(orviEncodeHuffmanSpecInit_JPEG_8u) veliEncodeHuffmanSpecInit_JPEG_8u;
ORV_API extern __typeof__(orviEncodeHuffmanSpecInitAlloc_JPEG_8u) veliEncodeHuffmanSpecInitAlloc_JPEG_8u;
ORV_API extern __typeof__(orviEncodeHuffmanSpecFree_JPEG_8u) veliEncodeHuffmanSpecFree_JPEG_8u;
ORV_API extern __typeof__(orviEncodeHuffmanStateInitAlloc_JPEG_8u) veliEncodeHuffmanStateInitAlloc_JPEG_8u;
ORV_API extern __typeof__(orviEncodeHuffmanStateFree_JPEG_8u) veliEncodeHuffmanStateFree_JPEG_8u;
ORV_API extern __typeof__(orviGetHuffmanStatistics8x8_JPEG_16s_C1) veliGetHuffmanStatistics8x8_JPEG_16s_C1;
ORV_API extern __typeof__(orviEncodeHuffmanRawTableInit_JPEG_8u) veliEncodeHuffmanRawTableInit_JPEG_8u;
ORV_API extern __typeof__(orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1) veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1;
ORV_API extern __typeof__(orviDecodeHuffmanSpecGetBufSize_JPEG_8u) veliDecodeHuffmanSpecGetBufSize_JPEG_8u;
ORV_API extern __typeof__(orviDecodeHuffmanSpecInit_JPEG_8u) veliDecodeHuffmanSpecInit_JPEG_8u;
ORV_API extern __typeof__(orviDecodeHuffmanStateInit_JPEG_8u) veliDecodeHuffmanStateInit_JPEG_8u;
ORV_API extern __typeof__(orviDecodeHuffmanStateInitAlloc_JPEG_8u) veliDecodeHuffmanStateInitAlloc_JPEG_8u;
ORV_API extern __typeof__(orviDecodeHuffmanStateFree_JPEG_8u) veliDecodeHuffmanStateFree_JPEG_8u;
ORV_API extern __typeof__(orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1) veliDecodeHuffman8x8_Direct_JPEG_1u16s_C1;

/* ---- Status codes not in use --------------------------------------------------------------------------------- */

/* Codes that no function gives. velGetStatusString knows them, and programs may use them for outcomes of their own. */
enum {
  velStsNotSupportedModeErr = -9999,
  velStsCpuNotSupportedErr = -9998,
  velStsDitherTypeErr = -224,
  velStsH264BufferFullErr = -223,
  velStsWrongAffinitySettingErr = -222,
  velStsLoadDynErr = -221,
  velStsPointAtInfinity = -220,
  velStsI18nUnsupportedErr = -219,
  velStsI18nMsgCatalogOpenErr = -218,
  velStsI18nMsgCatalogCloseErr = -217,
  velStsOFBSizeErr = -215,
  velStsLzoBrokenStreamErr = -214,
  velStsRoundModeNotSupportedErr = -213,
  velStsDecimateFractionErr = -212,
  velStsWeightErr = -211,
  velStsQualityIndexErr = -210,
  velStsIIRPassbandRippleErr = -209,
  velStsFilterFrequencyErr = -208,
  velStsFIRGenOrderErr = -207,
  velStsIIRGenOrderErr = -206,
  velStsConvergeErr = -205,
  velStsSizeMatchMatrixErr = -204,
  velStsCountMatrixErr = -203,
  velStsRoiShiftMatrixErr = -202,
  velStsResizeNoOperationErr = -201,
  velStsSrcDataErr = -200,
  velStsMaxLenHuffCodeErr = -199,
  velStsCodeLenTableErr = -198,
  velStsFreqTableErr = -197,
  velStsIncompleteContextErr = -196,
  velStsSingularErr = -195,
  velStsSparseErr = -194,
  velStsBitOffsetErr = -193,
  velStsQPErr = -192,
  velStsVLCErr = -191,
  velStsRegExpOptionsErr = -190,
  velStsRegExpErr = -189,
  velStsRegExpMatchLimitErr = -188,
  velStsRegExpQuantifierErr = -187,
  velStsRegExpGroupingErr = -186,
  velStsRegExpBackRefErr = -185,
  velStsRegExpChClassErr = -184,
  velStsRegExpMetaChErr = -183,
  velStsStrideMatrixErr = -182,
  velStsCTRSizeErr = -181,
  velStsJPEG2KCodeBlockIsNotAttached = -180,
  velStsNotPosDefErr = -179,
  velStsEphemeralKeyErr = -178,
  velStsMessageErr = -177,
  velStsShareKeyErr = -176,
  velStsIvalidPublicKey = -175,
  velStsIvalidPrivateKey = -174,
  velStsOutOfECErr = -173,
  velStsECCInvalidFlagErr = -172,
  velStsMP3FrameHeaderErr = -171,
  velStsMP3SideInfoErr = -170,
  velStsBlockStepErr = -169,
  velStsMBStepErr = -168,
  velStsAacPrgNumErr = -167,
  velStsAacSectCbErr = -166,
  velStsAacSfValErr = -164,
  velStsAacCoefValErr = -163,
  velStsAacMaxSfbErr = -162,
  velStsAacPredSfbErr = -161,
  velStsAacPlsDataErr = -160,
  velStsAacGainCtrErr = -159,
  velStsAacSectErr = -158,
  velStsAacTnsNumFiltErr = -157,
  velStsAacTnsLenErr = -156,
  velStsAacTnsOrderErr = -155,
  velStsAacTnsCoefResErr = -154,
  velStsAacTnsCoefErr = -153,
  velStsAacTnsDirectErr = -152,
  velStsAacTnsProfileErr = -151,
  velStsAacErr = -150,
  velStsAacBitOffsetErr = -149,
  velStsAacAdtsSyncWordErr = -148,
  velStsAacSmplRateIdxErr = -147,
  velStsAacWinLenErr = -146,
  velStsAacWinGrpErr = -145,
  velStsAacWinSeqErr = -144,
  velStsAacComWinErr = -143,
  velStsAacStereoMaskErr = -142,
  velStsAacChanErr = -141,
  velStsAacMonoStereoErr = -140,
  velStsAacStereoLayerErr = -139,
  velStsAacMonoLayerErr = -138,
  velStsAacScalableErr = -137,
  velStsAacObjTypeErr = -136,
  velStsAacWinShapeErr = -135,
  velStsAacPcmModeErr = -134,
  velStsVLCUsrTblHeaderErr = -133,
  velStsVLCUsrTblUnsupportedFmtErr = -132,
  velStsVLCUsrTblEscAlgTypeErr = -131,
  velStsVLCUsrTblEscCodeLengthErr = -130,
  velStsVLCUsrTblCodeLengthErr = -129,
  velStsVLCInternalTblErr = -128,
  velStsVLCInputDataErr = -127,
  velStsVLCAACEscCodeLengthErr = -126,
  velStsNoiseRangeErr = -125,
  velStsUnderRunErr = -124,
  velStsPaddingErr = -123,
  velStsCFBSizeErr = -122,
  velStsPaddingSchemeErr = -121,
  velStsInvalidCryptoKeyErr = -120,
  velStsLengthErr = -119,
  velStsBadModulusErr = -118,
  velStsLPCCalcErr = -117,
  velStsRCCalcErr = -116,
  velStsIncorrectLSPErr = -115,
  velStsNoRootFoundErr = -114,
  velStsJPEG2KBadPassNumber = -113,
  velStsJPEG2KDamagedCodeBlock = -112,
  velStsH263CBPYCodeErr = -111,
  velStsH263MCBPCInterCodeErr = -110,
  velStsH263MCBPCIntraCodeErr = -109,
  velStsNotEvenStepErr = -108,
  velStsHistoNofLevelsErr = -107,
  velStsLUTNofLevelsErr = -106,
  velStsMP4BitOffsetErr = -105,
  velStsMP4QPErr = -104,
  velStsMP4BlockIdxErr = -103,
  velStsMP4BlockTypeErr = -102,
  velStsMP4MVCodeErr = -101,
  velStsMP4VLCCodeErr = -100,
  velStsMP4DCCodeErr = -99,
  velStsMP4FcodeErr = -98,
  velStsMP4AlignErr = -97,
  velStsMP4TempDiffErr = -96,
  velStsMP4BlockSizeErr = -95,
  velStsMP4ZeroBABErr = -94,
  velStsMP4PredDirErr = -93,
  velStsMP4BitsPerPixelErr = -92,
  velStsMP4VideoCompModeErr = -91,
  velStsMP4LinearModeErr = -90,
  velStsH263PredModeErr = -83,
  velStsH263BlockStepErr = -82,
  velStsH263MBStepErr = -81,
  velStsH263FrameWidthErr = -80,
  velStsH263FrameHeightErr = -79,
  velStsH263ExpandPelsErr = -78,
  velStsH263PlaneStepErr = -77,
  velStsH263QuantErr = -76,
  velStsH263MVCodeErr = -75,
  velStsH263VLCCodeErr = -74,
  velStsH263DCCodeErr = -73,
  velStsH263ZigzagLenErr = -72,
  velStsFBankFreqErr = -71,
  velStsFBankFlagErr = -70,
  velStsFBankErr = -69,
  velStsNegOccErr = -67,
  velStsCdbkFlagErr = -66,
  velStsSVDCnvgErr = -65,
  velStsDrawTextErr = -61,
  velStsZeroMaskValuesErr = -59,
  velStsQuadErr = -58,
  velStsRectErr = -57,
  velStsCoeffErr = -56,
  velStsNoiseValErr = -55,
  velStsDitherLevelsErr = -54,
  velStsCOIErr = -52,
  velStsDivisorErr = -51,
  velStsAlphaTypeErr = -50,
  velStsGammaRangeErr = -49,
  velStsGrayCoefSumErr = -48,
  velStsChannelErr = -47,
  velStsToneMagnErr = -46,
  velStsToneFreqErr = -45,
  velStsTonePhaseErr = -44,
  velStsTrnglMagnErr = -43,
  velStsTrnglFreqErr = -42,
  velStsTrnglPhaseErr = -41,
  velStsTrnglAsymErr = -40,
  velStsHugeWinErr = -39,
  velStsJaehneErr = -38,
  velStsStrideErr = -37,
  velStsEpsValErr = -36,
  velStsWtOffsetErr = -35,
  velStsSampleFactorErr = -31,
  velStsSamplePhaseErr = -30,
  velStsFIRMRFactorErr = -29,
  velStsFIRMRPhaseErr = -28,
  velStsRelFreqErr = -27,
  velStsFIRLenErr = -26,
  velStsIIROrderErr = -25,
  velStsDlyLineIndexErr = -24,
  velStsMirrorFlipErr = -21,
  velStsMoment00ZeroErr = -20,
  velStsThreshNegLevelErr = -19,
  velStsThresholdErr = -18,
  velStsContextMatchErr = -17,
  velStsFftFlagErr = -16,
  velStsFftOrderErr = -15,
  velStsScaleRangeErr = -13,
  velStsDataTypeErr = -12,
  velStsOutOfRangeErr = -11,
  velStsDivByZeroErr = -10,
  velStsRangeErr = -7,
  velStsNoMemErr = -4,
  velStsSAReservedErr3 = -3,
  velStsSAReservedErr1 = -1,
  velStsMisalignedBuf = 2,
  velStsSqrtNegArg = 3,
  velStsInvZero = 4,
  velStsEvenMedianMaskSize = 5,
  velStsLnZeroArg = 7,
  velStsLnNegArg = 8,
  velStsNanArg = 9,
  velStsJPEGMarker = 10,
  velStsResFloor = 11,
  velStsOverflow = 12,
  velStsLSFLow = 13,
  velStsLSFHigh = 14,
  velStsLSFLowAndHigh = 15,
  velStsZeroOcc = 16,
  velStsUnderflow = 17,
  velStsSingularity = 18,
  velStsDomain = 19,
  velStsNoVelFunctionFound = 22,
  velStsDllNotFoundBestUsed = 23,
  velStsNoOperationInDll = 24,
  velStsInsufficientEntropy = 25,
  velStsOvermuchStrings = 26,
  velStsOverlongString = 27,
  velStsAffineQuadChanged = 28,
  velStsWrongIntersectQuad = 30,
  velStsSmallerCodebook = 31,
  velStsSrcSizeLessExpected = 32,
  velStsDstSizeLessExpected = 33,
  velStsStreamEnd = 34,
  velStsSymKernelExpected = 38,
  velStsEvenMedianWeight = 39,
  velStsWrongIntersectVOI = 40,
  velStsI18nMsgCatalogInvalid = 41,
  velStsI18nGetMessageFail = 42,
  velStsWaterfall = 43,
  velStsPrevLibraryUsed = 44,
  velStsLLADisabled = 45,
  velStsRepetitiveSrcData = 47
};

#ifdef __cplusplus
}
#endif

#endif
