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

// The coefficients of a block as saturated bytes, in zigzag order where the path can bring them there. scan() tells
// which AC coefficients are not zero: bit k for zigzag index k. A Place walks the bytes in that order.
struct Scanned {
  signed char bytes[64];
};
ORV_INLINE Lane saturated16(const Vel16s* src) { return narrow16(load(src), load(src + 8)); }
ORV_INLINE Vel32u nonZero16(Lane bytes) { return Vel32u(signBits8(equal8(bytes, zero()))) ^ 0xFFFF; }

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

// A quarter of the zigzag order; gives which of it are not zero.
template <int kQuarter>
ORV_INLINE Vel32u scanQuarter(const Lane natural[4], const ZigzagShuffles*& shuffles, signed char* to) {
  opaque(shuffles);
  Lane zigzag = zero();
  ORV_UNROLL for (int i = 0; i < 4; ++i) {
    if (!kZigzagShuffles.any[kQuarter][i]) continue;
    zigzag = zigzag | shuffle8(natural[i], loadAligned(shuffles->at[kQuarter][i]));
    opaque(zigzag);
  }
  store(to + 16 * kQuarter, zigzag);
  return nonZero16(zigzag);
}
// Not inlined: the vectors that it holds would be spilled around what follows.
__attribute__((noinline)) Vel64u scan(const Vel16s* src, Scanned* to) {
  const Lane natural[4] = {saturated16(src), saturated16(src + 16), saturated16(src + 32), saturated16(src + 48)};
  const ZigzagShuffles* shuffles = &kZigzagShuffles;
  const Vel32u first = scanQuarter<0>(natural, shuffles, to->bytes);
  const Vel32u low = (first | scanQuarter<1>(natural, shuffles, to->bytes) << 16) & ~1u;
  const Vel32u third = scanQuarter<2>(natural, shuffles, to->bytes);
  return Vel64u(third | scanQuarter<3>(natural, shuffles, to->bytes) << 16) << 32 | low;
}

using Place = const signed char*;
ORV_INLINE Place placeOf(const Scanned& s, int k) { return s.bytes + k; }
ORV_INLINE int byteAt(const Scanned&, Place place) { return *place; }
#else
__attribute__((noinline)) Vel64u scan(const Vel16s* src, Scanned* to) {
  Lane bits = zero();
  ORV_UNROLL for (int i = 0; i < 4; ++i) {
    const Lane bytes = saturated16(src + 16 * i);
    store(to->bytes + 16 * i, bytes);
    const Vel32u mask = nonZero16(bytes);
    ORV_UNROLL for (int j = 0; j < 4; ++j) bits = (bits | loadLow(&ownZigzagBits.of[4 * i + j][mask >> 4 * j & 15]));
  }
  return Vel64u(Vel32u(toInt(shiftBytesDown<4>(bits)))) << 32 | (Vel32u(toInt(bits)) & ~1u);
}

constexpr Vel8u kZigzag[64] = {ORV_ZIGZAG};
using Place = const Vel8u*;
ORV_INLINE Place placeOf(const Scanned&, int k) { return kZigzag + k; }
ORV_INLINE int byteAt(const Scanned& s, Place place) { return s.bytes[*place]; }
#endif

// Walks the AC coefficients from zigzag index `next` on that are not zero: visit(zeros in front of it, its value);
// false where a visit ended it. *last becomes the index of the last one, or the one before `next`.
template <class Visit> ORV_INLINE bool walk(const Vel16s* src, int next, int* last, const Visit& visit) {
  Scanned s;
  const Vel64u all = scan(src, &s) >> next << next;
  Vel32u bits = Vel32u(all);
  *last = next - 1;
  for (int base = 0; base < 64; base += 32) {
    for (; bits; bits &= bits - 1) {
      const int k = base + __builtin_ctz(bits);
      if (!visit(k - *last - 1, int(src[ownZigzag[k]]))) return false;
      *last = k;
    }
    bits = Vel32u(all >> 32);
  }
  return true;
}

// ---- The stream

// What the coder wants next to each other: masks, and by value as a byte (-128 at index 0) the extra bits, the value's
// own low ones, or where it is negative, those of one less; kCategories further on its category.
constexpr int kCategories = 256;
constexpr int kSaturated = 256;  // the category of a byte that may have been saturated: more than any symbol
struct alignas(16) Coding {
  Vel32u lowWord[4], seven[4];
  Vel8u swap[16];
  struct Entry {
    Vel32u low, high;
  } entries[2 * kCategories + 1];  // whole vectors are loaded from an entry; only its eight bytes count
};
constexpr Coding makeCoding() {
  Coding table = {{0xFFFF}, {7}, {7, 6, 5, 4, 3, 2, 1, 0, 128, 128, 128, 128, 128, 128, 128, 128}, {}};
  for (int i = 0; i < kCategories; ++i) {
    const int v = i - 128;
    Vel32u category = 0;
    while ((v < 0 ? -v : v) >> category) ++category;
    table.entries[kCategories + i].low = v == -128 || v == 127 ? kSaturated : category;
    table.entries[i].low = Vel32u(v < 0 ? v - 1 : v) & ((1u << category) - 1);
  }
  return table;
}
constexpr Coding kCoding = makeCoding();

#if ORV_HAS_WIDE_FLOAT
ORV_INLINE Lane loadEntry(const Coding::Entry* p) { return load(p); }  // an operand of what uses it
#else
ORV_INLINE Lane loadEntry(const Coding::Entry* p) { return loadLow(p); }
#endif

// The low eight bytes from last to first.
ORV_INLINE Lane swap8(Lane v, [[maybe_unused]] const Coding* coding) {
#if ORV_HAS_SHUFFLE
  return shuffle8(v, loadAligned(coding->swap));
#else
  return shuffleLow16<3, 2, 1, 0>((shiftRightU16(v, 8) | shiftLeft16(v, 8)));
#endif
}

// Bits on their way into the stream. They wait in the low half of a vector, the last one lowest, and so does their
// count: 32-bit code needs its general registers elsewhere. Nothing here branches on how many there are. An FF goes out
// without its zero; stuff() puts the zeros in where there was one.
struct Writer {
  Lane window, count;     // the count is of those bits that are not in the stream as whole bytes
  Lane largest = zero();  // of the bytes stored
  Vel8u* dst;

  Writer(Vel8u* p, Vel32u bitPosition)
      : window(fromInt(p[bitPosition / 8] >> (8 - (bitPosition & 7)))),
        count(fromInt(int(bitPosition & 7))),
        dst(p + bitPosition / 8) {}
  // Bits and how many, which may not fill the window.
  __attribute__((always_inline)) void append(Lane bits, Lane n) {
    opaque(bits);
    window = shiftLeft64(window, n) | bits;
    count = add32(count, n);
  }
  __attribute__((always_inline)) void append(Vel32u bits, int n) { append(fromInt(int(bits)), fromInt(n)); }
  // Stores the whole bytes, and the last bits with zeros behind them: eight bytes in all. Those last bits, fewer than
  // eight, stay.
  __attribute__((always_inline)) void flush(const Coding*& coding) {
    opaque(coding);
    const Lane bytes = swap8(shiftLeft64(window, sub32(fromInt(64), count)), coding);
    storeLow(dst, bytes);
    largest = maxU8(largest, bytes);
    dst += toInt(count) >> 3;
    count = count & loadAligned(coding->seven);
  }
  int left() const { return toInt(count); }
  bool needsZeros() const { return (signBits8(equal8(largest, all8(-1))) & 0xFF) != 0; }
};

// Puts a zero behind every FF of the whole bytes [from, to); the byte at `to` has `left` bits. Gives the position.
constexpr int kMostBytes = 7 + 64 * 32 / 8;  // of one block: every code with its extra bits is shorter than 32
__attribute__((noinline)) int stuff(Vel8u* start, Vel8u* from, const Vel8u* to, int left) {
  Vel8u raw[kMostBytes];
  const int count = int(to - from);
  memcpy(raw, from, size_t(count));
  const Vel8u last = *to;
  for (int i = 0; i < count; ++i) {
    *from++ = raw[i];
    if (raw[i] == 0xFF) *from++ = 0;
  }
  *from = last;
  return int(from - start) * 8 + left;
}

ORV_INLINE void putSymbol(Writer& out, const VeliEncodeHuffmanSpec& spec, int symbol, int value, int category) {
  const Vel32u code = spec.codes[symbol];
  out.append(withExtraBits(code & 0xFFFF, value, category), int(code >> 16) + category);
}

// The coefficients from zigzag index `next` on, whatever their values and runs; `block` is where the block began.
__attribute__((noinline)) int encodeRest(const Vel16s* src, int next, const VeliEncodeHuffmanSpec& ac, Vel8u* start,
                                         Vel8u* block, Vel8u* dst, int left) {
  Writer out(dst, Vel32u(left));
  const Coding* coding = &kCoding;
  int last;
  walk(
      src, next, &last, [&](int zeros, int value) __attribute__((always_inline)) {
        for (; zeros > 15; zeros -= 16) putSymbol(out, ac, kSixteenZeros, 0, 0), out.flush(coding);
        const int category = categoryOf(value) & 15;  // -32768 has no category in the scan; it must do no harm
        putSymbol(out, ac, zeros << 4 | category, value, category);
        out.flush(coding);
        return true;
      });
  if (last < 63) putSymbol(out, ac, kEndOfBlock, 0, 0), out.flush(coding);
  return stuff(start, block, out.dst, out.left());
}

// One block, from a bit position to another. Its time goes into the number of operations, those of a block as much as
// those of its coefficients, and into the ends of the walk, which no processor predicts. Two coefficients share a flush,
// and one comparison finds both a run of sixteen zeros and a value that a byte may not hold; the latter encodeRest takes
// over.
ORV_INLINE int encodeBlock(const Vel16s* src, int diff, Vel8u* dst, Vel32u position, const VeliEncodeHuffmanSpec& dc,
                           const VeliEncodeHuffmanSpec& ac) {
  Scanned s;
  const Vel64u nonZero = scan(src, &s);
  Vel32u bits = Vel32u(nonZero), high = Vel32u(nonZero >> 32);
  const bool full = high >> 31;
  Writer out(dst, position);
  Vel8u* const block = out.dst;
  const int category = categoryOf(diff);
  putSymbol(out, dc, category, diff, category);  // with a first small coefficient, at most 7 + 31 + 23 bits

  const Coding* coding = &kCoding;
  opaque(coding);
  Place half = placeOf(s, 0);
  int before = 0;  // sixteen times the index, in this half, of the coefficient before
  const auto symbol = [&]() __attribute__((always_inline)) {
    const int k = __builtin_ctz(bits);
    bits &= bits - 1;
    opaque(bits);
    const Coding::Entry* extra = &coding->entries[byteAt(s, half + k) + 128];
    opaque(extra);
    const Coding::Entry* const size = extra + kCategories;
    int index = 16 * k - before + int(size->low);
    if (__builtin_expect(index > 255 + 16, 0)) {
      if (size->low == kSaturated) return false;
      for (; index > 255 + 16; index -= 256) putSymbol(out, ac, kSixteenZeros, 0, 0), out.flush(coding);
    }
    before = 16 * k;
    const Lane code = fromInt(int(ac.codes[index - 16])), n = loadEntry(size);  // a neighbour is a run of none
    out.append((shiftLeft64((code & loadAligned(coding->lowWord)), n) | loadEntry(extra)),
               add32(shiftRightU32(code, 16), n));
    return true;
  };
  for (;;) {
    while (bits) {
      if (!symbol()) goto rest;
      out.flush(coding);
      if (!bits) break;
      if (!symbol()) goto rest;
    }
    if (!high) break;
    out.flush(coding);
    bits = high;
    high = 0;
    half = placeOf(s, 32);
    before -= 16 * 32;
  }
  if (!full) putSymbol(out, ac, kEndOfBlock, 0, 0);
  out.flush(coding);
  if (__builtin_expect(out.needsZeros(), 0)) return stuff(dst, block, out.dst, out.left());
  return int(out.dst - dst) * 8 + out.left();
rest:
  out.flush(coding);
  return encodeRest(src, int(half - placeOf(s, 0)) + before / 16 + 1, ac, dst, block, out.dst, out.left());
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
  const int diff = pSrc[0] - *pLastDC;
  *pLastDC = pSrc[0];
  *pDstBitsLen = encodeBlock(pSrc, diff, pDst, Vel32u(*pDstBitsLen), *pDcTable, *pAcTable);
  return velStsNoErr;
}
