// Huffman decoding of baseline scans.
#include "core/simd.h"
#include "image/checks.h"
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
constexpr int kFastBits = 8, kLongest = 16;
constexpr int kStoreBits = 32, kWanted = 25;  // while the store holds fewer than that, there is room for a byte

// ---- Tables

// Assigns the codes of each length in turn (ITU-T T.81, annex C); visit(length, first code, index of its symbol, count)
// sees those lengths that have codes. The all-ones code of a length may not be used.
template <class Visit> ORV_INLINE VelStatus assignCodes(const Vel8u bits[16], const Visit& visit) {
  int code = 0, total = 0;
  for (int length = 1; length <= kLongest; ++length, code *= 2) {
    const int count = bits[length - 1];
    if (count == 0) continue;
    if (total + count > 256) return velStsJPEGHuffTableErr;
    if (code + count >= 1 << length) return velStsJPEGHuffTableErr;
    visit(length, code, total, count);
    code += count;
    total += count;
  }
  return velStsNoErr;
}

ORV_INLINE VelStatus buildTable(const Vel8u bits[16], const Vel8u* values, VeliDecodeHuffmanSpec* spec) {
  memset(spec, 0, sizeof *spec);
  ORV_CHECK(assignCodes(bits, [](int, int, int, int) {}));
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

// The store and the stream behind it.
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
    for (int length = kFastBits + 1; length <= kLongest; ++length) {
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
    dst[ownZigzag[k < 63 ? k : 63]] = Vel16s(value);
  }
  return velStsNoErr;
}

// ---- The fast path
//
// Takes the same bytes as the careful one, two at a time where neither is FF, and leaves the same state; false, with
// nothing but the block changed, where anything but plain codes comes up: a marker, fill bytes, an invalid code, a run
// past the end. Two bytes may always be read: the careful path would read both, or meet FF in the first and read on.

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
  Vel16u two;
  memcpy(&two, src, 2);
  if (__builtin_expect((two & 0xFF) == 0xFF || two >> 8 == 0xFF, 0))
    return appendByte(src, window, valid) && appendByte(src, window, valid);
  window |= Vel32u(__builtin_bswap16(two)) << (16 - valid);
  valid += 16;
  src += 2;
  return true;
}

// A code of more than 8 bits at the top of the window: length << 16 | symbol, or 0.
__attribute__((noinline)) Vel32u longCode(const VeliDecodeHuffmanSpec& spec, Vel32u window) {
  for (int length = kFastBits + 1; length <= kLongest; ++length) {
    const int code = int(window >> (32 - length));
    if (spec.maxCode[length] == kNoCode || code > spec.maxCode[length]) continue;
    return Vel32u(length) << 16 | spec.symbols[(spec.valPtr[length] - spec.minCode[length] + code) & 255];
  }
  return 0;
}

struct State {
  const Vel8u* src;
  Vel32u window;
  int valid;
};

ORV_INLINE bool decodeFast(State& state, Vel16s* dst, Vel16s* lastDC, const VeliDecodeHuffmanSpec& dc,
                           const VeliDecodeHuffmanSpec& ac) {
  const Vel8u* src = state.src;
  Vel32u window = state.window;
  int valid = state.valid;
  for (int i = 0; i < 64; i += 8) store(dst + i, zero());

    // The store holds 17 bits at least in front of every code; a long code or many extra bits may need more.
#define APPEND_TWO_IF(few) \
  if ((few) && !appendTwo(src, window, valid)) return false
#define NEXT_CODE(spec)                                      \
  APPEND_TWO_IF(valid <= 16);                                \
  entry = spec.fast[window >> (32 - kFastBits)];             \
  if (__builtin_expect(entry == 0, 0)) {                     \
    if ((entry = longCode(spec, window)) == 0) return false; \
  }                                                          \
  bits = int(entry >> 16);                                   \
  window <<= bits;                                           \
  valid -= bits

  Vel32u entry;
  int bits;
  NEXT_CODE(dc);
  int size = int(entry & 0xFF), value = 0;
  if (size > 11) return false;
  if (size) {
    APPEND_TWO_IF(valid < size);
    value = extend(window, size);
    window <<= size;
    valid -= size;
  }
  const Vel16s newDC = Vel16s(*lastDC + value);
  dst[0] = newDC;

  const Vel32s* k = ownZigzag + 1;
  const Vel32s* const end = ownZigzag + 64;
  do {
    NEXT_CODE(ac);
    size = int(entry & 15);
    const int run = int(entry >> 4 & 15);
    if (size == 0) {
      if (run != 15) break;
      k += 16;
      continue;
    }
    k += run;
    if (k >= end) return false;
    APPEND_TWO_IF(valid < size);
    dst[*k] = Vel16s(extend(window, size));
    ++k;
    window <<= size;
    valid -= size;
    bits += size;
  } while (k < end);
  if (k > end) return false;

  // The careful path had 25 to 32 bits in store in front of the last code.
  while (valid + bits < kWanted)
    if (!appendByte(src, window, valid)) return false;
  if (valid + bits > kStoreBits) return false;

  *lastDC = newDC;
  state = {src, window, valid};
  return true;
#undef NEXT_CODE
#undef APPEND_TWO_IF
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
