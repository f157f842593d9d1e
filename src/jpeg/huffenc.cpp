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
ORV_INLINE void appendSymbol(BitWriter& out, const VeliEncodeHuffmanSpec& spec, int symbol, int value = 0,
                             int category = 0) {
  const Vel32u code = spec.codes[symbol];
  out.append(withExtraBits(code & 0xFFFF, value, category), int(code >> 16) + category);
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

// The coefficients from zigzag index `next` on, whatever their values and runs; `block` is where the block began.
__attribute__((noinline)) int encodeRest(const Vel16s* src, int next, const VeliEncodeHuffmanSpec& ac, Vel8u* start,
                                         Vel8u* block, Vel8u* dst, int left) {
  BitWriter out(dst, Vel32u(left));
  int last;
  const auto visit = [&](int zeros, int value) __attribute__((always_inline)) {
    for (; zeros > 15; zeros -= 16) appendSymbol(out, ac, kSixteenZeros), out.flush();
    const int category = categoryOf(value) & 15;  // -32768 has no category in the scan; it must do no harm
    appendSymbol(out, ac, zeros << 4 | category, value, category);
    out.flush();
    return true;
  };
  walk(src, next, &last, visit);
  if (last < 63) appendSymbol(out, ac, kEndOfBlock), out.flush();
  return insertZeros(start, block, out.dst, out.left());
}

// The AC coefficients of a block. Time goes into the number of operations, those of a block as much as those of its
// coefficients, and into the ends of the walk, which no processor predicts. Two coefficients share a flush, and one
// comparison finds both a run of sixteen zeros and a value that a byte may not hold. The latter ends the walk.
struct BlockEncoder {
  const VeliEncodeHuffmanSpec& ac;
  const ScannedBlock& scanned;
  Vel32u bits, high;  // which coefficients are to come, in this half of the zigzag order and in the second one
  BitWriter out;
  ScannedBlock::Place half;
  int before = 0;  // sixteen times the index, in this half, of the coefficient before
  bool saturated = false;
  const ByteValues* values = &kByteValues;

  ORV_INLINE BlockEncoder(const VeliEncodeHuffmanSpec& table, const ScannedBlock& block, Vel64u nonZero,
                          const BitWriter& writer)
      : ac(table),
        scanned(block),
        bits(Vel32u(nonZero)),
        high(Vel32u(nonZero >> 32)),
        out(writer),
        half(block.placeOf(0)) {
    opaque(values);
  }

  ORV_INLINE void encodeAll() {
    for (;;) {
      while (bits) {
        encodeNext();
        out.flush();
        if (!bits) break;
        encodeNext();
      }
      if (!high) return;
      out.flush();
      bits = high;
      high = 0;
      half = scanned.placeOf(32);
      before -= 16 * 32;
    }
  }
  ORV_INLINE void encodeNext() {
    const int k = __builtin_ctz(bits);
    bits &= bits - 1;
    opaque(bits);
    const Entry* extra = &values->entries[ptrdiff_t(scanned.byteAt(half + k)) + 128];
    opaque(extra);
    const Entry* const category = extra + kValues;
    // 16 times the run, and 16 more, and the category. The probability keeps what is rare out of the loop.
    int index = 16 * k - before + int(category->low);
    if (__builtin_expect_with_probability(index > 255 + 16, 0, 0.999)) {
      if (category->low == kSaturated) {
        saturated = true;
        bits = high = 0;
        return;
      }
      for (; index > 255 + 16; index -= 256) appendSymbol(out, ac, kSixteenZeros), out.flush();
    }
    before = 16 * k;
    const Lane code = fromInt(int(ac.codes[index - 16])), n = loadLowOrMore(category);
    out.append(shiftLeft64(code & fromInt(0xFFFF), n) | loadLowOrMore(extra), add32(shiftRightU32(code, 16), n));
  }
  // The zigzag index after the last coefficient that is encoded.
  ORV_INLINE int next() const { return int(half - scanned.placeOf(0)) + before / 16 + 1; }
};

// One block, from a bit position to another.
ORV_INLINE int encodeBlock(const Vel16s* src, int diff, Vel8u* dst, Vel32u position, const VeliEncodeHuffmanSpec& dc,
                           const VeliEncodeHuffmanSpec& ac) {
  ScannedBlock scanned;
  const Vel64u nonZero = scan(src, &scanned);
  const bool isFull = nonZero >> 63;
  BitWriter start(dst, position);
  Vel8u* const block = start.dst;
  const int category = categoryOf(diff);
  appendSymbol(start, dc, category, diff, category);  // with a first small coefficient, at most 7 + 31 + 23 bits

  BlockEncoder encoder(ac, scanned, nonZero, start);
  encoder.encodeAll();
  BitWriter& out = encoder.out;
  if (__builtin_expect(encoder.saturated, 0)) {
    out.flush();
    return encodeRest(src, encoder.next(), ac, dst, block, out.dst, out.left());
  }
  if (!isFull) appendSymbol(out, ac, kEndOfBlock);
  out.flush();
  if (__builtin_expect(out.needsZeros(), 0)) return insertZeros(dst, block, out.dst, out.left());
  return int(out.dst - dst) * 8 + out.left();
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
  ORV_CHECK(checkPointers(pSrc, pDst, pDstBitsLen, pLastDC));
  ORV_CHECK(checkPointers(pDcTable, pAcTable));
  const int diff = pSrc[0] - *pLastDC;
  *pLastDC = pSrc[0];
  *pDstBitsLen = encodeBlock(pSrc, diff, pDst, Vel32u(*pDstBitsLen), *pDcTable, *pAcTable);
  return velStsNoErr;
}
