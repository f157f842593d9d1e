// Huffman encoding of baseline scans.
#include "jpeg/huffman.h"
#include "jpeg/tables.h"
#include "signal/memory.h"

struct VeliEncodeHuffmanSpec {
  Vel32u codes[256];  // by symbol: code length << 16 | code, or 0 for a symbol without a code
};
static_assert(sizeof(VeliEncodeHuffmanSpec) == 1024, "the layout is fixed");

struct VeliEncodeHuffmanState {
  Vel32s reserved[5];
  Vel8u staging[1024];
};
static_assert(sizeof(VeliEncodeHuffmanState) == 1044, "the size is fixed");

namespace {

constexpr int kEndOfBlock = 0x00, kSixteenZeros = 0xF0;

// ---- Tables

ORV_INLINE VelStatus buildTable(const Vel8u bits[16], const Vel8u* values, VeliEncodeHuffmanSpec* spec) {
  memset(spec, 0, sizeof *spec);
  ORV_CHECK(checkCodes(bits));
  return assignCodes(bits, [=](int length, int code, int first, int count) {
    for (int i = 0; i < count; ++i) spec->codes[values[first + i]] = Vel32u(length) << 16 | Vel32u(code + i);
  });
}

// ---- The best code for given frequencies (T.81, annex K.2), whose length T.81 limits to 16

constexpr int kSymbols = 257;  // the last is reserved, so that no symbol's code is all ones
constexpr int kLongestBeforeLimit = 32, kMostFrequent = 1000000000;

struct CodeLengths {
  int frequency[kSymbols], length[kSymbols], next[kSymbols];  // next symbol of the same subtree, or -1

  explicit CodeLengths(const int statistics[256]) {
    for (int i = 0; i < kSymbols; ++i) frequency[i] = i < 256 ? statistics[i] : 1, length[i] = 0, next[i] = -1;
  }
  // The rarest symbol but one, the last of several; -1 where there is none.
  int rarest(int except) const {
    int found = -1, least = kMostFrequent;
    for (int i = 0; i < kSymbols; ++i)
      if (frequency[i] != 0 && frequency[i] <= least && i != except) least = frequency[found = i];
    return found;
  }
  // One level further from the root for a subtree; gives its last symbol.
  int deepen(int i) {
    for (;; i = next[i]) {
      ++length[i];
      if (next[i] < 0) return i;
    }
  }
  void build() {
    for (;;) {
      const int first = rarest(-1), second = first < 0 ? -1 : rarest(first);
      if (second < 0) return;
      frequency[first] += frequency[second];
      frequency[second] = 0;
      next[deepen(first)] = second;
      deepen(second);
    }
  }
};

// Moves codes longer than 16 bits up: a pair of them gives its place to the prefix they share and hangs below a shorter
// code.
ORV_INLINE void limitLengths(int count[kLongestBeforeLimit + 1]) {
  for (int i = kLongestBeforeLimit; i > kLongestCode; --i)
    while (count[i] > 0) {
      int j = i - 2;
      while (count[j] == 0) --j;
      count[i] -= 2;
      count[i - 1] += 1;
      count[j + 1] += 2;
      count[j] -= 1;
    }
}

// ---- Coefficients

// The category of a value: its magnitude's significant bits.
ORV_INLINE int categoryOf(int v) {
  const unsigned magnitude = unsigned(v < 0 ? -v : v);
  return __builtin_expect(magnitude < 256, 1) ? ownCategory[magnitude] : 32 - __builtin_clz(magnitude);
}
// A code with the extra bits of a value of its category behind it: the value's own low bits, or where it is negative,
// those of one less, which are 2^category higher.
ORV_INLINE Vel32u withExtraBits(Vel32u code, int v, int category) {
  const int sign = v >> 31;
  return ((code - Vel32u(sign)) << category) + Vel32u(v + sign);
}

// Which coefficients are not zero: bit k for zigzag index k.
struct NonZero {
  Vel32u low, high;
};
// Sixteen coefficients: which of them are zero, in bytes.
ORV_INLINE Vec zeros16(const Vel16s* src) { return _mm_cmpeq_epi8(_mm_packs_epi16(load(src), load(src + 8)), zero()); }

#if ORV_HAS_SHUFFLE
// Byte shuffles that bring what belongs there of each quarter of the coefficients to each quarter of the zigzag order.
struct ZigzagShuffles {
  alignas(16) Vel8u at[4][4][16];
  bool any[4][4];
};
constexpr ZigzagShuffles makeZigzagShuffles() {
  constexpr Vel8u kZigzag[64] = {ORV_ZIGZAG};
  ZigzagShuffles s = {};
  for (int k = 0; k < 64; ++k)
    for (int i = 0; i < 4; ++i) {
      const bool here = kZigzag[k] / 16 == i;
      s.at[k / 16][i][k % 16] = here ? Vel8u(kZigzag[k] % 16) : Vel8u(0x80);
      s.any[k / 16][i] |= here;
    }
  return s;
}
constexpr ZigzagShuffles kZigzagShuffles = makeZigzagShuffles();

template <int kQuarter> ORV_INLINE Vel32u zigzagQuarter(const Vec natural[4]) {
  Vec zigzag = zero();
  ORV_UNROLL for (int i = 0; i < 4; ++i) {
    if (!kZigzagShuffles.any[kQuarter][i]) continue;
    zigzag = _mm_or_si128(zigzag, _mm_shuffle_epi8(natural[i], loadAligned(kZigzagShuffles.at[kQuarter][i])));
  }
  return Vel32u(_mm_movemask_epi8(zigzag));
}
ORV_INLINE NonZero nonZero(const Vel16s* src) {
  const Vec natural[4] = {zeros16(src), zeros16(src + 16), zeros16(src + 32), zeros16(src + 48)};
  return {~(zigzagQuarter<0>(natural) | zigzagQuarter<1>(natural) << 16),
          ~(zigzagQuarter<2>(natural) | zigzagQuarter<3>(natural) << 16)};
}
#else
ORV_INLINE NonZero nonZero(const Vel16s* src) {
  Vec bits = zero();
  ORV_UNROLL for (int i = 0; i < 4; ++i) {
    const unsigned mask = unsigned(_mm_movemask_epi8(zeros16(src + 16 * i))) ^ 0xFFFF;
    ORV_UNROLL for (int j = 0; j < 4; ++j) bits =
        _mm_or_si128(bits, loadLow(&ownZigzagBits.of[4 * i + j][mask >> 4 * j & 15]));
  }
  return {Vel32u(_mm_cvtsi128_si32(bits)), Vel32u(_mm_cvtsi128_si32(_mm_srli_si128(bits, 4)))};
}
#endif

// Walks the AC coefficients that are not zero: visit(zeros in front of it, its value); false where a visit ended it.
// *last becomes the zigzag index of the last one.
template <class Visit> ORV_INLINE bool walk(const Vel16s* src, int* last, const Visit& visit) {
  const NonZero mask = nonZero(src);
  Vel32u bits = mask.low & ~1u;
  *last = 0;
  for (int base = 0; base < 64; base += 32) {
    for (; bits; bits &= bits - 1) {
      const int k = base + __builtin_ctz(bits);
      if (!visit(k - *last - 1, int(src[ownZigzag[k]]))) return false;
      *last = k;
    }
    bits = mask.high;
  }
  return true;
}

// ---- The stream

// Bits on their way into the stream, the last ones written lowest.
struct Writer {
  Vel8u* dst;
  Vel32u store = 0;
  int room = 32;  // bits that the store takes before it is full

  Writer(Vel8u* p, int bitPosition) : dst(p + bitPosition / 8) {
    if (const int written = bitPosition & 7) {
      store = Vel32u(*dst) >> (8 - written);
      room -= written;
    }
  }
  // `count` bits, at most 31.
  __attribute__((always_inline)) void put(Vel32u bits, int count) {
    room -= count;
    if (__builtin_expect(room >= 0, 1)) {
      store = store << count | bits;
      return;
    }
    // The store takes all but the last -room bits.
    flush(store << (count + room) | bits >> -room);
    store = bits;
    room += 32;
  }
  // Four bytes, an FF each followed by a zero.
  void flush(Vel32u four) {
    if (__builtin_expect((four & ~(four + 0x01010101) & 0x80808080) == 0, 1)) {
      four = __builtin_bswap32(four);
      memcpy(dst, &four, 4);
      dst += 4;
      return;
    }
    for (int shift = 24; shift >= 0; shift -= 8) byte(Vel8u(four >> shift));
  }
  void byte(Vel8u b) {
    *dst++ = b;
    if (b == 0xFF) *dst++ = 0;
  }
  // Writes what is in store, the last byte perhaps in part, and up to four zeros behind it; gives the position in bits.
  int finish(const Vel8u* start) {
    const int count = 32 - room;
    Vel32u left = room < 32 ? store << room : 0;
    if (__builtin_expect((left & ~(left + 0x01010101) & 0x80808080) == 0, 1)) {
      left = __builtin_bswap32(left);
      memcpy(dst, &left, 4);
      return int(dst - start) * 8 + count;
    }
    int whole = count;
    for (; whole >= 8; whole -= 8, left <<= 8) byte(Vel8u(left >> 24));
    if (whole) *dst = Vel8u(left >> 24);
    return int(dst - start) * 8 + whole;
  }
};

ORV_INLINE void putSymbol(Writer& out, const VeliEncodeHuffmanSpec& spec, int symbol) {
  const Vel32u code = spec.codes[symbol];
  out.put(code & 0xFFFF, int(code >> 16));
}

}  // namespace

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
  Vel8u* const memory = ORV_NAME(velsMalloc_8u)(sizeof **ppEncHuffState);
  ORV_CHECK(checkPointers(memory));
  *ppEncHuffState = reinterpret_cast<VeliEncodeHuffmanState*>(memory);
  return ORV_NAME(velsZero_8u)(memory, sizeof **ppEncHuffState);
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
  const bool inRange = walk(pSrc, &last, [=](int zeros, int value) {
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
  CodeLengths codes(pStatistics);
  codes.build();
  int count[kLongestBeforeLimit + 1] = {};
  for (int length : codes.length) {
    if (length > kLongestBeforeLimit) return velStsJPEGHuffTableErr;
    ++count[length];
  }
  count[0] = 1;  // ends the search below where no symbol is used
  limitLengths(count);
  int longest = kLongestCode;
  while (count[longest] == 0) --longest;
  --count[longest];  // the reserved symbol's
  for (int i = 0; i < kLongestCode; ++i) pListBits[i] = Vel8u(count[i + 1]);
  for (int length = 1; length <= kLongestBeforeLimit; ++length)
    for (int symbol = 0; symbol < 256; ++symbol)
      if (codes.length[symbol] == length) *pListVals++ = Vel8u(symbol);
  return velStsNoErr;
}

ORV_BODY_A(veliEncodeHuffman8x8_Direct_JPEG_16s1u_C1)
(const Vel16s* pSrc, Vel8u* pDst, int* pDstBitsLen, Vel16s* pLastDC, const VeliEncodeHuffmanSpec* pDcTable,
 const VeliEncodeHuffmanSpec* pAcTable) {
  ORV_CHECK(checkPointers(pSrc, pDst, pDstBitsLen, pLastDC));
  ORV_CHECK(checkPointers(pDcTable, pAcTable));
  Writer out(pDst, *pDstBitsLen);
  const int diff = pSrc[0] - *pLastDC, dc = categoryOf(diff);
  *pLastDC = pSrc[0];
  putSymbol(out, *pDcTable, dc);
  out.put(withExtraBits(0, diff, dc), dc);
  int last;
  walk(
      pSrc, &last, [&](int zeros, int value) __attribute__((always_inline)) {
        for (; zeros > 15; zeros -= 16) putSymbol(out, *pAcTable, kSixteenZeros);
        const int category = categoryOf(value) & 15;  // -32768 has no category in the scan; it must do no harm
        const Vel32u code = pAcTable->codes[zeros << 4 | category];
        out.put(withExtraBits(code & 0xFFFF, value, category), int(code >> 16) + category);
        return true;
      });
  if (last < 63) putSymbol(out, *pAcTable, kEndOfBlock);
  *pDstBitsLen = out.finish(pDst);
  return velStsNoErr;
}
