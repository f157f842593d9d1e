// Quantisation tables: scaling by quality, and the encoder's and decoder's forms.
#include "core/simd.h"
#include "image/checks.h"
#include "jpeg/tables.h"

// 64 words from zigzag to natural order. A table is built once a picture, so this is plain.
ORV_KERNEL_A VelStatus ORV_NAME(veliZigzagInv8x8_16s_C1)(const Vel16s* pSrc, Vel16s* pDst) {
  ORV_CHECK(checkPointers(pSrc, pDst));
  for (int n = 0; n < 64; ++n) pDst[n] = pSrc[zigzag_index_Fwd[n]];
  return velStsNoErr;
}

namespace {

// A raw table, widened, in natural order. Widened lane by lane and not by image/convert.h: after a 256-bit operation in
// 32-bit code some processors (Zen 4) are slow in SSE code of the old encoding, up to the next switch of threads and
// whether the upper halves are cleared or not. 32-bit code cannot clear those of the registers 8 to 15. So an encoder,
// most of whose own code is of that kind, gets its tables without such an operation.
ORV_INLINE VelStatus naturalOrder(const Vel8u* pQuantRawTable, Vel16s natural[64]) {
  Vel16s zigzag[64];
  for (int i = 0; i < 64; i += 8) store(zigzag + i, widenLowU8(loadLow(pQuantRawTable + i)));
  return ORV_NAME(veliZigzagInv8x8_16s_C1)(zigzag, natural);
}

// 32768 / q rounded, for four q of 0..255; 65535 for zero. No quotient lies halfway between two integers, so this is
// the whole part of (65536 + q) / 2q; that misses the next integer by 2^-16 of itself at least, which leaves a division
// in single precision right in every rounding mode of the caller's.
ORV_INLINE Lane reciprocals(Lane q) {
  const Lane isZero = equal32(q, zero());
  const Lane divisor = sub32(q, isZero);
  const Floats4 ratio = toFloats(add32(all32(65536), divisor)) / toFloats(add32(divisor, divisor));
  return truncated(ratio) | (isZero & all32(65535));
}
// The low words of eight dwords.
ORV_INLINE Lane lowWords(Lane a, Lane b) {
  return narrow32(shiftRight32(shiftLeft32(a, 16), 16), shiftRight32(shiftLeft32(b, 16), 16));
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliQuantFwdRawTableInit_JPEG_8u)(Vel8u* pQuantRawTable, int qualityFactor) {
  ORV_CHECK(checkPointers(pQuantRawTable));
  if (qualityFactor < 1) return velStsBadArgErr;
  if (qualityFactor > 100) qualityFactor = 100;  // more makes every entry 1 as well, and could overflow
  const int scale = qualityFactor < 50 ? 5000 / qualityFactor : 200 - 2 * qualityFactor;
  for (int i = 0; i < 64; ++i) {
    const int t = (pQuantRawTable[i] * scale + 50) / 100;
    pQuantRawTable[i] = Vel8u(t < 1 ? 1 : t > 255 ? 255 : t);
  }
  return velStsNoErr;
}

ORV_BODY_A(veliQuantFwdTableInit_JPEG_8u16u)(const Vel8u* pQuantRawTable, Vel16u* pQuantFwdTable) {
  ORV_CHECK(checkPointers(pQuantRawTable, pQuantFwdTable));
  Vel16s natural[64];
  ORV_CHECK(naturalOrder(pQuantRawTable, natural));
  Lane anyZero = zero();
  for (int i = 0; i < 64; i += 8) {
    const Lane q = load(natural + i);
    anyZero = anyZero | equal16(q, zero());
    store(pQuantFwdTable + i,
          lowWords(reciprocals(interleaveLow16(q, zero())), reciprocals(interleaveHigh16(q, zero()))));
  }
  return allZero(anyZero) ? velStsNoErr : velStsDivByZero;
}

ORV_BODY_A(veliQuantInvTableInit_JPEG_8u16u)(const Vel8u* pQuantRawTable, Vel16u* pQuantInvTable) {
  ORV_CHECK(checkPointers(pQuantInvTable, pQuantRawTable));
  Vel16s natural[64];
  ORV_CHECK(naturalOrder(pQuantRawTable, natural));
  memcpy(pQuantInvTable, natural, sizeof natural);
  return velStsNoErr;
}
