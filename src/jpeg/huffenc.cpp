// Huffman encoding of baseline scans.
#include "jpeg/bitwriter.h"
#include "jpeg/huffscan.h"
#include "jpeg/hufftables.h"
#include "signal/memory.h"

struct VeliEncodeHuffmanState {
  Vel32s reserved[5];
  Vel8u staging[1024];
};
static_assert(sizeof(VeliEncodeHuffmanState) == 1044, "the size is fixed");

namespace {

constexpr int kEndOfBlock = 0x00, kSixteenZeros = 0xF0;

// ---- Symbols

// The category of a value: its magnitude's significant bits.
ORV_INLINE int categoryOf(int v) {
  const unsigned magnitude = unsigned(v < 0 ? -v : v);
  return __builtin_expect(magnitude < 256, 1) ? ownCategory[magnitude] : 32 - __builtin_clz(magnitude);
}
// A code, then the extra bits of a value of its category: the value's own low bits, or where it is negative, those of
// one less, which are 2^category higher.
ORV_INLINE Vel32u withExtraBits(Vel32u code, int v, int category) {
  const int sign = v >> 31;
  return ((code - Vel32u(sign)) << category) + Vel32u(v + sign);
}
ORV_INLINE void appendValue(BitWriter& out, Vel32u code, int value, int category) {
  out.append(fromInt(int(withExtraBits(code & 0xFFFF, value, category))), fromInt(int(code >> 16) + category));
}

// By value as a byte, -128 at index 0, the extra bits, and kValues further on the category, so that one pointer reaches
// both. Whole lanes may be loaded from an entry; only its eight bytes count.
constexpr int kValues = 256;
constexpr int kSaturated = 256;  // the category of a byte that may have been saturated: greater than any symbol
struct Entry {
  Vel32u low, high;
};
struct alignas(16) ByteValues {
  Entry entries[2 * kValues + 1];
};
constexpr ByteValues makeByteValues() {
  ByteValues values = {};
  for (int i = 0; i < kValues; ++i) {
    const int v = i - 128;
    Vel32u category = 0;
    while ((v < 0 ? -v : v) >> category) ++category;
    values.entries[i].low = Vel32u(v < 0 ? v - 1 : v) & ((1u << category) - 1);
    values.entries[kValues + i].low = v == -128 || v == 127 ? kSaturated : category;
  }
  return values;
}
constexpr ByteValues kByteValues = makeByteValues();

// ---- Blocks

// What a block ends with where it is not plain. The encoder jumps there as the last thing that it does, so nothing that it
// holds is saved for their sake. Like a body, they give a status, and the position where the block ends to *bitsLen.

__attribute__((noinline)) VelStatus endWithZeros(Vel8u* start, Vel8u* block, const Vel8u* dst, int left, int* bitsLen) {
  *bitsLen = insertZeros(start, block, dst, left);
  return velStsNoErr;
}
// The coefficients from zigzag index `next` on, whatever their values and runs; `block` is where the block began.
__attribute__((noinline)) VelStatus encodeRest(const Vel16s* src, int next, const VeliEncodeHuffmanSpec& ac,
                                               Vel8u* start, Vel8u* block, Vel8u* dst, int left, int* bitsLen) {
  BitWriter out(dst, Vel32u(left));
  int last;
  const auto visit = [&](int zeros, int value) __attribute__((always_inline)) {
    for (; zeros > 15; zeros -= 16) out.append(&ac.codes[kSixteenZeros]), out.flush();
    const int category = categoryOf(value) & 15;  // -32768 has no category in the scan; it must do no harm
    appendValue(out, ac.codes[zeros << 4 | category], value, category);
    out.flush();
    return true;
  };
  walk(src, next, &last, visit);
  if (last < 63) out.append(&ac.codes[kEndOfBlock]), out.flush();
  *bitsLen = insertZeros(start, block, out.dst, out.left());
  return velStsNoErr;
}

// A block. Time goes into the number of operations, those of a block as much as those of its coefficients, and into the
// ends of the walk, which no processor predicts. Two coefficients share a flush, and one comparison finds both a run of
// sixteen zeros and a value that a byte may not hold. The latter ends the walk.
struct BlockEncoder {
  const VeliEncodeHuffmanSpec& ac;
  const ScannedBlock& scanned;
  const ByteValues* values = &kByteValues;
  BitWriter out;
  ScannedBlock::Place word;  // where the coefficients are that `bits` tells of
  Vel32u bits;               // which of them are to come
  int before = 0;            // sixteen times the index in the word of the coefficient before
  bool saturated = false;

  ORV_INLINE BlockEncoder(const VeliEncodeHuffmanSpec& table, const ScannedBlock& block, Vel8u* dst, Vel32u position)
      : ac(table), scanned(block), out(dst, position), word(block.placeOf(0)), bits(block.nonZero[0] & ~1u) {
    opaque(values);
  }

  // With a first small coefficient, at most 7 + 31 + 23 bits.
  ORV_INLINE void encodeDC(const VeliEncodeHuffmanSpec& dc, int diff) {
    if (__builtin_expect(diff > -128 && diff < 127, 1)) {
      const Entry *const extra = &values->entries[diff + 128], *const category = extra + kValues;
      out.append(&dc.codes[category->low], loadLowOrMore(extra), loadLowOrMore(category));
    } else {
      const int category = categoryOf(diff);
      appendValue(out, dc.codes[category], diff, category);
    }
  }
  ORV_INLINE void encodeAll() {
    encodeWord();
    if (scanned.nonZero[1] == 0 || saturated) return;
    out.flush();
    bits = scanned.nonZero[1];
    word = scanned.placeOf(32);
    before -= 16 * 32;
    encodeWord();
  }
  ORV_INLINE void encodeWord() {
    while (bits) {
      encodeNext();
      out.flush();
      if (!bits) break;
      encodeNext();
    }
  }
  ORV_INLINE void encodeNext() {
    const int k = __builtin_ctz(bits);
    bits &= bits - 1;
    opaque(bits);
    const Entry* extra = &values->entries[ptrdiff_t(scanned.byteAt(word + k)) + 128];
    opaque(extra);
    const Entry* const category = extra + kValues;
    // 16 times the run, and 16 more, and the category. The probability keeps what is rare out of the loop.
    int index = 16 * k - before + int(category->low);
    if (__builtin_expect_with_probability(index > 255 + 16, 0, 0.999)) {
      if (category->low == kSaturated) {
        saturated = true;
        bits = 0;
        return;
      }
      for (; index > 255 + 16; index -= 256) out.append(&ac.codes[kSixteenZeros]), out.flush();
    }
    before = 16 * k;
    out.append(&ac.codes[index - 16], loadLowOrMore(extra), loadLowOrMore(category));
  }
  // The zigzag index after the last coefficient that is encoded.
  ORV_INLINE int next() const { return int(word - scanned.placeOf(0)) + before / 16 + 1; }
};

// The body, as a function of its own because a body cannot be declared to go without a stack protector, which costs a
// tenth of a short block. There is nothing to protect: what is written into this frame is a scanned block, always whole.
// In 32-bit the arguments stay where the body has them, so that the body is a jump.
#ifdef __i386__
#define ORV_ARGUMENTS_STAY , regparm(0)
#else
#define ORV_ARGUMENTS_STAY
#endif
__attribute__((noinline, no_stack_protector ORV_ARGUMENTS_STAY)) VelStatus encodeBlock(
    const Vel16s* pSrc, Vel8u* pDst, int* pDstBitsLen, Vel16s* pLastDC, const VeliEncodeHuffmanSpec* pDcTable,
    const VeliEncodeHuffmanSpec* pAcTable) {
  ORV_CHECK(checkPointers(pSrc, pDst, pDstBitsLen, pLastDC));
  ORV_CHECK(checkPointers(pDcTable, pAcTable));
  const int diff = pSrc[0] - *pLastDC;
  *pLastDC = pSrc[0];
  ScannedBlock scanned;
  scan(pSrc, &scanned);
  BlockEncoder encoder(*pAcTable, scanned, pDst, Vel32u(*pDstBitsLen));
  BitWriter& out = encoder.out;
  Vel8u* const block = out.dst;
  encoder.encodeDC(*pDcTable, diff);
  encoder.encodeAll();
  if (__builtin_expect(encoder.saturated, 0)) {
    out.flush();
    return encodeRest(pSrc, encoder.next(), *pAcTable, pDst, block, out.dst, out.left(), pDstBitsLen);
  }
  if (!(scanned.nonZero[1] >> 31)) out.append(&pAcTable->codes[kEndOfBlock]);
  out.flush();
  if (__builtin_expect(out.needsZeros(), 0)) return endWithZeros(pDst, block, out.dst, out.left(), pDstBitsLen);
  *pDstBitsLen = int(out.dst - pDst) * 8 + out.left();
  return velStsNoErr;
}

}  // namespace

// Clears a state.
ORV_KERNEL_A VelStatus ORV_NAME(ownpj_EncodeHuffmanStateInit)(VeliEncodeHuffmanState* pEncHuffState) {
  return ORV_NAME(velsZero_8u)(reinterpret_cast<Vel8u*>(pEncHuffState), sizeof *pEncHuffState);
}

// ---- Bodies

ORV_BODY_A(veliEncodeHuffmanSpecGetBufSize_JPEG_8u)(int* pSize) {
  ORV_CHECK(checkPointers(pSize));
  *pSize = sizeof(VeliEncodeHuffmanSpec);
  return velStsNoErr;
}

ORV_BODY_A(veliEncodeHuffmanSpecInit_JPEG_8u)
(const Vel8u* pListBits, const Vel8u* pListVals, VeliEncodeHuffmanSpec* pEncHuffSpec) {
  ORV_CHECK(checkPointers(pListBits, pListVals, pEncHuffSpec));
  return buildTable(pListBits, pListVals, pEncHuffSpec);
}

ORV_BODY_A(veliEncodeHuffmanSpecInitAlloc_JPEG_8u)
(const Vel8u* pListBits, const Vel8u* pListVals, VeliEncodeHuffmanSpec** ppEncHuffSpec) {
  ORV_CHECK(checkPointers(pListBits, pListVals, ppEncHuffSpec));
  auto* const spec = reinterpret_cast<VeliEncodeHuffmanSpec*>(ORV_NAME(velsMalloc_8u)(sizeof(VeliEncodeHuffmanSpec)));
  ORV_CHECK(checkPointers(spec));
  const VelStatus status = buildTable(pListBits, pListVals, spec);
  if (status == velStsNoErr)
    *ppEncHuffSpec = spec;
  else
    ORV_NAME(velsFree)(spec);
  return status;
}

ORV_BODY_A(veliEncodeHuffmanSpecFree_JPEG_8u)(VeliEncodeHuffmanSpec* pEncHuffSpec) {
  ORV_CHECK(checkPointers(pEncHuffSpec));
  ORV_NAME(velsFree)(pEncHuffSpec);
  return velStsNoErr;
}

ORV_BODY_A(veliEncodeHuffmanStateInitAlloc_JPEG_8u)(VeliEncodeHuffmanState** ppEncHuffState) {
  ORV_CHECK(checkPointers(ppEncHuffState));
  auto* const state =
      reinterpret_cast<VeliEncodeHuffmanState*>(ORV_NAME(velsMalloc_8u)(sizeof(VeliEncodeHuffmanState)));
  ORV_CHECK(checkPointers(state));
  *ppEncHuffState = state;
  return ORV_NAME(ownpj_EncodeHuffmanStateInit)(state);
}

ORV_BODY_A(veliEncodeHuffmanStateFree_JPEG_8u)(VeliEncodeHuffmanState* pEncHuffState) {
  ORV_CHECK(checkPointers(pEncHuffState));
  ORV_NAME(velsFree)(pEncHuffState);
  return velStsNoErr;
}

ORV_BODY_A(veliGetHuffmanStatistics8x8_JPEG_16s_C1)
(const Vel16s* pSrc, int pDcStatistics[256], int pAcStatistics[256], Vel16s* pLastDC) {
  ORV_CHECK(checkPointers(pSrc, pDcStatistics, pAcStatistics, pLastDC));
  const int dc = categoryOf(pSrc[0] - *pLastDC);
  *pLastDC = pSrc[0];
  if (dc > 15) return velStsJPEGDCTRangeErr;
  ++pDcStatistics[dc];
  int last;
  const bool inRange = walk(pSrc, 1, &last, [=](int zeros, int value) {
    for (; zeros > 15; zeros -= 16) ++pAcStatistics[kSixteenZeros];
    const int category = categoryOf(value);
    if (category > 14) return false;
    ++pAcStatistics[zeros << 4 | category];
    return true;
  });
  if (!inRange) return velStsJPEGDCTRangeErr;
  if (last < 63) ++pAcStatistics[kEndOfBlock];
  return velStsNoErr;
}

ORV_BODY_A(veliEncodeHuffmanRawTableInit_JPEG_8u)(const int pStatistics[256], Vel8u* pListBits, Vel8u* pListVals) {
  ORV_CHECK(checkPointers(pStatistics, pListBits, pListVals));
  return bestCode(pStatistics, pListBits, pListVals);
}

ORV_BODY_A(veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1)
(const Vel16s* pSrc, Vel8u* pDst, int* pDstBitsLen, Vel16s* pLastDC, const VeliEncodeHuffmanSpec* pDcTable,
 const VeliEncodeHuffmanSpec* pAcTable) {
  return encodeBlock(pSrc, pDst, pDstBitsLen, pLastDC, pDcTable, pAcTable);
}
