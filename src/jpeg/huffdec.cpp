// Huffman decoding of baseline scans.
#include "jpeg/huffman.h"
#include "jpeg/tables.h"
#include "signal/memory.h"

// The layout is fixed: programs allocate by its size and may keep tables.
struct VeliDecodeHuffmanSpec {
  Vel16u symbols[256];  // in order of increasing code length
  Vel32u fast[256];     // for the next 8 bits: code length << 16 | symbol, or 0 where the code is longer
  Vel16u minCode[18];   // the first code of a length,
  Vel16u maxCode[18];   // the last, or kNoCode,
  Vel16u valPtr[18];    // and which symbol the first one stands for
};
static_assert(sizeof(VeliDecodeHuffmanSpec) == 1644, "the layout is fixed");

struct VeliDecodeHuffmanState {
  Vel32s reserved[5];
};
static_assert(sizeof(VeliDecodeHuffmanState) == 20, "the size is fixed");

namespace {

constexpr Vel16u kNoCode = 65535;
constexpr int kFastBits = 8;
constexpr int kStoreBits = 32, kWanted = 25;  // while the store holds fewer than that, there is room for a byte

// ---- Tables

ORV_INLINE VelStatus buildTable(const Vel8u bits[16], const Vel8u* values, VeliDecodeHuffmanSpec* spec) {
  memset(spec, 0, sizeof *spec);
  ORV_CHECK(checkCodes(bits));
  for (int length = 1; length < 18; ++length) spec->maxCode[length] = kNoCode;
  return assignCodes(bits, [=](int length, int code, int first, int count) {
    spec->minCode[length] = Vel16u(code);
    spec->maxCode[length] = Vel16u(code + count - 1);
    spec->valPtr[length] = Vel16u(first);
    for (int i = 0; i < count; ++i) {
      const Vel8u symbol = values[first + i];
      spec->symbols[first + i] = symbol;
      if (length > kFastBits) continue;
      const int shift = kFastBits - length;
      for (int j = 0; j < 1 << shift; ++j) spec->fast[((code + i) << shift) + j] = Vel32u(length) << 16 | symbol;
    }
  });
}

// ---- Values

// The value of `size` (1..15) extra bits at the top of a window (T.81, F.2.2.1): a first bit of zero means negative.
ORV_INLINE int extend(Vel32u window, int size) {
  const Vel32u negative = ~Vel32u(Vel32s(window) >> 31);
  return Vel32s((((window ^ negative) >> (32 - size)) ^ negative) - negative);
}

// ---- The careful path

// What a step of decoding came to.
enum Step { kDone, kOutOfBits, kInvalid };

// The store and the stream that follows it.
struct Reader {
  const Vel8u* src;
  Vel32u window;  // the store's bits from the top; zeros below
  int valid;
  int marker;

  void refill() {
    while (marker <= 0 && valid < kWanted) {
      Vel32u byte = *src++;
      if (byte == 0xFF) {
        while ((byte = *src++) == 0xFF) {
        }  // fill bytes
        if (byte != 0) {
          marker = int(byte);
          return;
        }
        byte = 0xFF;
      }
      window |= byte << (24 - valid);
      valid += 8;
    }
  }
  void drop(int bits) {
    window <<= bits;
    valid -= bits;
  }

  // The next symbol. Where the bits end first, none is taken.
  Step symbol(const VeliDecodeHuffmanSpec& spec, int* value) {
    refill();
    if (const Vel32u entry = spec.fast[window >> (32 - kFastBits)]) {
      const int length = int(entry >> 16);
      if (length > valid) return kOutOfBits;
      drop(length);
      *value = int(entry & 0xFFFF);
      return kDone;
    }
    for (int length = kFastBits + 1; length <= kLongestCode; ++length) {
      if (length > valid) return kOutOfBits;
      const int code = int(window >> (32 - length));
      if (spec.maxCode[length] == kNoCode || code > spec.maxCode[length]) continue;
      drop(length);
      *value = spec.symbols[(spec.valPtr[length] - spec.minCode[length] + code) & 255];
      return kDone;
    }
    return kInvalid;
  }

  // The value of `size` extra bits, 0..15.
  Step value(int size, int* v) {
    *v = 0;
    if (size == 0) return kDone;
    if (valid < size) refill();
    if (valid < size) return kOutOfBits;
    *v = extend(window, size);
    drop(size);
    return kDone;
  }
};

VelStatus decodeBlock(Reader& in, Vel16s* dst, Vel16s* lastDC, const VeliDecodeHuffmanSpec& dc,
                      const VeliDecodeHuffmanSpec& ac) {
  memset(dst, 0, 64 * sizeof *dst);
  int symbol, value;
  const auto failed = [](Step step) { return step == kInvalid ? velStsJPEGDCTRangeErr : velStsNoErr; };
  if (const Step step = in.symbol(dc, &symbol)) return failed(step);
  if (symbol > 15) return velStsJPEGDCTRangeErr;
  if (in.value(symbol, &value)) return velStsJPEGOutOfBufErr;
  *lastDC = dst[0] = Vel16s(*lastDC + value);

  for (int k = 1; k < 64; ++k) {
    if (const Step step = in.symbol(ac, &symbol)) return failed(step);
    const int run = symbol >> 4 & 15, size = symbol & 15;
    k += run;  // 15 zeros and, for a size of zero, one more
    if (size == 0) {
      if (run != 15) break;
      continue;
    }
    if (in.value(size, &value)) return velStsJPEGOutOfBufErr;
    dst[ownZigzag[k]] = Vel16s(value);
  }
  return velStsNoErr;
}

// ---- The fast path
//
// Takes the same bytes as the careful one, before a code two at a time where neither is FF, and leaves the same state;
// false, with nothing but the block changed, where anything but plain codes comes up: a marker, fill bytes, an invalid
// code, a run past the end. It reads nothing that the careful path would not read: with 16 bits or fewer before a code
// that one takes two bytes at least, or meets FF in the first and reads on.

// Appends one byte to the store; false at anything but data.
ORV_INLINE bool appendByte(const Vel8u*& src, Vel32u& window, int& valid) {
  const Vel32u byte = *src;
  if (byte == 0xFF) {
    if (src[1] != 0) return false;
    ++src;
  }
  ++src;
  window |= byte << (24 - valid);
  valid += 8;
  return true;
}

// With 16 bits or fewer in store, appends two bytes.
ORV_INLINE bool appendTwo(const Vel8u*& src, Vel32u& window, int& valid) {
  Vel16u loaded;
  memcpy(&loaded, src, 2);
  const Vel32u two = loaded;
  if (__builtin_expect((two & 0xFF) == 0xFF || two >= 0xFF00, 0))
    return appendByte(src, window, valid) && appendByte(src, window, valid);
  window |= __builtin_bswap32(two) >> valid;
  valid += 16;
  src += 2;
  return true;
}

// The first 9, 10 ... 16 bits of a window, a word for each length: the high words of products with powers of 2, and the
// first 16 bits as they are.
ORV_INLINE Lane codesOfLengths9To16(Vel32u window) {
  const Lane top = all16(int(window >> 16));
  const Lane shifted = mulHighU16(top, laneOf16(1 << 9, 1 << 10, 1 << 11, 1 << 12, 1 << 13, 1 << 14, 1 << 15, 0));
  return shifted | (top & laneOf16(0, 0, 0, 0, 0, 0, 0, -1));
}
// A code of 9 to 16 bits at the top of the window: length << 16 | symbol, or 0. All eight lengths are tried at once.
__attribute__((noinline)) Vel32u longCode(const VeliDecodeHuffmanSpec& spec, Vel32u window) {
  const Lane codes = codesOfLengths9To16(window), last = load(spec.maxCode + 9);
  const Lane above = subSatU16(codes, last);  // zero where the code is not above the last of its length
  const Lane matches = ~equal16(last, all16(kNoCode)) & equal16(above, zero());
  const int found = signBits8(matches);
  if (found == 0) return 0;
  const int length = 9 + __builtin_ctz(unsigned(found)) / 2;
  const int code = int(window >> (32 - length));
  return Vel32u(length) << 16 | spec.symbols[(spec.valPtr[length] - spec.minCode[length] + code) & 255];
}

// One by one, because the compiler would make a loop a string instruction, which is slow to start.
ORV_INLINE void clearBlock(Vel16s* dst) {
  const Lane z = zero();
  store(dst, z), store(dst + 8, z), store(dst + 16, z), store(dst + 24, z);
  store(dst + 32, z), store(dst + 40, z), store(dst + 48, z), store(dst + 56, z);
}

struct State {
  const Vel8u* src;
  Vel32u window;
  int valid;
};

// Where decodeFast stands. The store holds 17 bits at least before every code, and a code and its extra bits need
// more only when both are long.
struct Fast : State {
  explicit Fast(const State& s) : State(s) {}

  // The table's entry for the next code, or 0; the code stays.
  bool next(const VeliDecodeHuffmanSpec& spec, Vel32u* entry) {
    if (valid <= 16 && !appendTwo(src, window, valid)) return false;
    *entry = spec.fast[window >> (32 - kFastBits)];
    if (__builtin_expect(*entry == 0, 0)) *entry = longCode(spec, window);
    return *entry != 0;
  }
  // Takes a code of `length` bits and `size` (1 to 15) extra bits: their value. For the last ones of a block a single
  // byte more may be all that there is to read.
  bool take(int length, int size, int* value) {
    window <<= length;
    valid -= length + size;
    while (__builtin_expect(valid < 0, 0)) {
      valid += size;
      if (!appendByte(src, window, valid)) return false;
      valid -= size;
    }
    *value = extend(window, size);
    window <<= size;
    return true;
  }
  void take(int length) {
    window <<= length;
    valid -= length;
  }
};

ORV_INLINE bool decodeFast(State& state, Vel16s* dst, Vel16s* lastDC, const VeliDecodeHuffmanSpec& dc,
                           const VeliDecodeHuffmanSpec& ac) {
  Fast in(state);
  Vel32u entry;
  int value = 0;
  clearBlock(dst);

  if (!in.next(dc, &entry)) return false;
  int length = int(entry >> 16), size = int(entry & 0xFF);
  if (size > 15) return false;
  if (size == 0)
    in.take(length);
  else if (!in.take(length, size, &value))
    return false;
  const Vel16s newDC = Vel16s(*lastDC + value);
  dst[0] = newDC;

  const Vel32s* k = ownZigzag + 1;
  const Vel32s* const end = ownZigzag + 64;
  do {
    if (!in.next(ac, &entry)) return false;
    length = int(entry >> 16), size = int(entry & 15);
    const int run = int(entry >> 4 & 15);
    if (__builtin_expect(size == 0, 0)) {
      in.take(length);
      if (run != 15) break;
      k += 16;
    } else {
      if (!in.take(length, size, &value)) return false;
      k += run;
      dst[*k++] = Vel16s(value);
    }
  } while (k < end);
  if (k > end) return false;

  // The careful path had 25 to 32 bits in store before the last code.
  const int last = length + size;
  while (in.valid + last < kWanted)
    if (!appendByte(in.src, in.window, in.valid)) return false;
  if (in.valid + last > kStoreBits) return false;

  *lastDC = newDC;
  state = in;
  return true;
}

}  // namespace

// ---- Bodies

ORV_BODY_A(veliDecodeHuffmanSpecGetBufSize_JPEG_8u)(int* pSize) {
  ORV_CHECK(checkPointers(pSize));
  *pSize = sizeof(VeliDecodeHuffmanSpec);
  return velStsNoErr;
}

ORV_BODY_A(veliDecodeHuffmanSpecInit_JPEG_8u)
(const Vel8u* pListBits, const Vel8u* pListVals, VeliDecodeHuffmanSpec* pDecHuffSpec) {
  ORV_CHECK(checkPointers(pListBits, pListVals, pDecHuffSpec));
  return buildTable(pListBits, pListVals, pDecHuffSpec);
}

ORV_BODY_A(veliDecodeHuffmanStateInit_JPEG_8u)(VeliDecodeHuffmanState* pDecHuffState) {
  ORV_CHECK(checkPointers(pDecHuffState));
  return ORV_NAME(velsZero_8u)(reinterpret_cast<Vel8u*>(pDecHuffState), sizeof *pDecHuffState);
}

ORV_BODY_A(veliDecodeHuffmanStateInitAlloc_JPEG_8u)(VeliDecodeHuffmanState** ppDecHuffState) {
  ORV_CHECK(checkPointers(ppDecHuffState));
  Vel8u* const memory = ORV_NAME(velsMalloc_8u)(sizeof **ppDecHuffState);
  ORV_CHECK(checkPointers(memory));
  *ppDecHuffState = reinterpret_cast<VeliDecodeHuffmanState*>(memory);
  return ORV_NAME(velsZero_8u)(memory, sizeof **ppDecHuffState);
}

ORV_BODY_A(veliDecodeHuffmanStateFree_JPEG_8u)(VeliDecodeHuffmanState* pDecHuffState) {
  ORV_CHECK(checkPointers(pDecHuffState));
  ORV_NAME(velsFree)(pDecHuffState);
  return velStsNoErr;
}

ORV_BODY_A(veliDecodeHuffman8x8_Direct_JPEG_1u16s_C1)
(const Vel8u* pSrc, int* pSrcBitsLen, Vel16s* pDst, Vel16s* pLastDC, int* pMarker, Vel32u* pPrefetchedBits,
 int* pNumValidPrefetchedBits, const VeliDecodeHuffmanSpec* pDcTable, const VeliDecodeHuffmanSpec* pAcTable) {
  ORV_CHECK(checkPointers(pSrc, pSrcBitsLen));
  if (*pSrcBitsLen < 0) return velStsBadArgErr;
  ORV_CHECK(checkPointers(pDst, pLastDC, pMarker, pPrefetchedBits, pNumValidPrefetchedBits));
  const int valid = *pNumValidPrefetchedBits;
  if (valid < 0 || valid > kStoreBits) return velStsBadArgErr;
  ORV_CHECK(checkPointers(pDcTable, pAcTable));

  State state{pSrc + *pSrcBitsLen / 8, valid ? *pPrefetchedBits << (kStoreBits - valid) : 0, valid};
  VelStatus status = velStsNoErr;
  if (*pMarker > 0 || !decodeFast(state, pDst, pLastDC, *pDcTable, *pAcTable)) {
    Reader in{state.src, state.window, state.valid, *pMarker};
    status = decodeBlock(in, pDst, pLastDC, *pDcTable, *pAcTable);
    state = {in.src, in.window, in.valid};
    *pMarker = in.marker;
  }
  *pSrcBitsLen = int((state.src - pSrc) * 8);
  *pPrefetchedBits = state.valid ? state.window >> (kStoreBits - state.valid) : 0;
  *pNumValidPrefetchedBits = state.valid;
  return status;
}
