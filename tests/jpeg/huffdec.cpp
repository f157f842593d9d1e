// Huffman decoding against a decoder that goes bit by bit, on streams from an encoder of the tests' own.
#include <set>
#include "jpeg/support.h"

namespace {

// A table as a DHT segment carries it, with the codes that it stands for (ITU-T T.81, annex C).
struct Codes {
  std::array<Vel8u, 16> bits{};
  Bytes values;
  int first[17] = {}, index[17] = {};  // by length: the first code, and which value it stands for

  Codes() = default;
  Codes(const std::array<Vel8u, 16>& b, Bytes v) : bits(b), values(std::move(v)) { assign(); }
  void assign() {
    for (int n = 1, code = 0, total = 0; n <= 16; ++n, code *= 2) {
      first[n] = code, index[n] = total;
      code += count(n), total += count(n);
    }
  }
  int count(int length) const { return bits[size_t(length) - 1]; }
  // The value of a code, or -1.
  int find(int length, int code) const {
    const int i = code - first[length];
    return i >= 0 && i < count(length) ? values[size_t(index[length] + i)] : -1;
  }
};

// A code for these symbols grown by splitting leaves, without its last `spare` codes. The all-ones code is no symbol's.
Codes randomCodes(Bytes symbols, size_t spare, std::mt19937& random) {
  std::array<size_t, 17> leaves{};
  leaves[1] = 2;
  for (size_t n = 1; n < symbols.size();) {
    const size_t length = 1 + random() % 15;
    if (leaves[length] == 0) continue;
    --leaves[length], leaves[length + 1] += 2, ++n;
  }
  std::shuffle(symbols.begin(), symbols.end(), random);
  symbols.resize(symbols.size() - spare);
  Codes codes;
  for (size_t length = 1, left = symbols.size(); length <= 16; ++length) {
    codes.bits[length - 1] = Vel8u(std::min(left, leaves[length]));
    left -= codes.bits[length - 1];
  }
  codes.values = symbols;
  codes.assign();
  return codes;
}
Bytes symbolsUpTo(int count) {
  Bytes symbols;
  for (int i = 0; i < count; ++i) symbols.push_back(Vel8u(i));
  return symbols;
}

// Tables K.3 and K.5 of T.81: luma, DC and AC.
const Codes& lumaDc() {
  static const Codes codes({0, 1, 5, 1, 1, 1, 1, 1, 1}, symbolsUpTo(12));
  return codes;
}
const Codes& lumaAc() {
  static const Codes codes = [] {
    Bytes v{0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13,
            0x51, 0x61, 0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42,
            0xB1, 0xC1, 0x15, 0x52, 0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72, 0x82};
    for (int s = 0; s < 256; ++s)  // the codes of 16 bits
      if (s % 16 >= 1 && s % 16 <= 10 && std::count(v.begin(), v.end(), s) == 0) v.push_back(Vel8u(s));
    return Codes({0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125}, v);
  }();
  return codes;
}

// ---- The encoder

struct Writer {
  Bytes bytes;
  int bitCount = 0;

  void stuff() {
    if (!bytes.empty() && bytes.back() == 0xFF) bytes.push_back(0);
  }
  void put(int value, int length) {
    while (length-- > 0) {
      if (bitCount % 8 == 0) {
        stuff();
        bytes.push_back(0);
      }
      bytes.back() = Vel8u(bytes.back() | (value >> length & 1) << (7 - bitCount++ % 8));
    }
  }
  void symbol(const Codes& codes, int symbol) {
    for (int n = 1; n <= 16; ++n)
      for (int i = 0; i < codes.count(n); ++i)
        if (codes.values[size_t(codes.index[n] + i)] == symbol) return put(codes.first[n] + i, n);
    FAIL() << "no code for symbol " << symbol;
  }
  void value(int v, int size) { put(v < 0 ? v + (1 << size) - 1 : v, size); }
  void block(const Block& b, int lastDC, const Codes& dc, const Codes& ac) {
    static const auto zigzag = zigzagOrder();
    const auto sizeOf = [](int v) { return v ? std::ilogb(std::abs(v)) + 1 : 0; };
    const int diff = b[0] - lastDC;
    symbol(dc, sizeOf(diff));
    value(diff, sizeOf(diff));
    int run = 0;
    for (size_t k = 1; k < 64; ++k, ++run) {
      const int v = b[size_t(zigzag[k])];
      if (v == 0) continue;
      for (; run > 15; run -= 16) symbol(ac, 0xF0);
      symbol(ac, run << 4 | sizeOf(v));
      value(v, sizeOf(v));
      run = -1;
    }
    if (run) symbol(ac, 0);
  }
  // Fills the last byte with ones and appends a marker.
  void marker(int code, int fillBytes = 0) {
    while (bitCount % 8) put(1, 1);
    stuff();
    bytes.insert(bytes.end(), size_t(fillBytes) + 1, 0xFF);
    bytes.push_back(Vel8u(code));
    bitCount = 0;
  }
};

// ---- The decoder bit by bit

struct State {
  size_t position = 0;
  Vel64u store = 0;
  int count = 0, marker = 0;
  Vel16s lastDC = 0;
};

struct Model {
  const Bytes& bytes;
  State s;

  int peek(int n) const { return int(s.store >> (s.count - n)); }
  int take(int n) {
    const int value = peek(n);
    s.count -= n, s.store &= (Vel64u(1) << s.count) - 1;
    return value;
  }
  void refill() {
    while (s.marker <= 0 && s.count < 25) {
      int byte = bytes.at(s.position++);
      if (byte == 0xFF) {
        do byte = bytes.at(s.position++);
        while (byte == 0xFF);
        if (byte) {
          s.marker = byte;
          return;
        }
        byte = 0xFF;
      }
      s.store = s.store << 8 | Vel64u(byte), s.count += 8;
    }
  }
  static constexpr int kNoBits = -1, kNoCode = -2;
  int symbol(const Codes& codes) {
    refill();
    for (int n = 1; n <= 16; ++n) {
      if (n > s.count) return kNoBits;
      const int found = codes.find(n, peek(n));
      if (found < 0) continue;
      take(n);
      return found;
    }
    return kNoCode;
  }
  bool extra(int size, int* v) {
    if (s.count < size) refill();
    if (s.count < size) return false;
    *v = take(size);
    if (size && *v < 1 << (size - 1)) *v += 1 - (1 << size);
    return true;
  }
  VelStatus decode(Block* block, const Codes& dc, const Codes& ac) {
    static const auto zigzag = zigzagOrder();
    block->fill(0);
    const int category = symbol(dc);
    int v;
    if (category == kNoBits) return velStsNoErr;
    if (category == kNoCode || category > 15) return velStsJPEGDCTRangeErr;
    if (!extra(category, &v)) return velStsJPEGOutOfBufErr;
    (*block)[0] = s.lastDC = Vel16s(s.lastDC + v);
    for (int k = 1; k < 64;) {
      const int code = symbol(ac);
      if (code < 0) return code == kNoBits ? velStsNoErr : velStsJPEGDCTRangeErr;
      if (code % 16 == 0) {
        if (code != 0xF0) break;
        k += 16;
        continue;
      }
      k += code / 16;
      if (!extra(code % 16, &v)) return velStsJPEGOutOfBufErr;
      (*block)[size_t(zigzag[size_t(std::min(k++, 63))])] = Vel16s(v);
    }
    return velStsNoErr;
  }
};

// A pair of tables, built, at the edge of accessible memory.
struct Tables {
  Tables(const Codes& d, const Codes& a) : dc(d), ac(a) {
    EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(dc.bits.data(), dc.values.data(), dcSpec()), velStsNoErr);
    EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(ac.bits.data(), ac.values.data(), acSpec()), velStsNoErr);
  }
  VeliDecodeHuffmanSpec* dcSpec() const { return dcMemory.as<VeliDecodeHuffmanSpec>(); }
  VeliDecodeHuffmanSpec* acSpec() const { return acMemory.as<VeliDecodeHuffmanSpec>(); }
  Codes dc, ac;
  Guarded dcMemory{1644, Guard::kBehind}, acMemory{1644, Guard::kBehind};
};

struct Outcome {
  State state;
  std::vector<Block> blocks;
  std::vector<VelStatus> statuses;
};

// Decodes a number of blocks, errors or not, and compares all that a call leaves with the model's.
Outcome decodeAll(const Bytes& bytes, const Tables& tables, size_t count, const State& start = State()) {
  Guarded stream(bytes.size(), Guard::kBehind), dst(128, Guard::kBefore);
  std::copy(bytes.begin(), bytes.end(), stream.data());
  Model model{bytes, start};
  int position = int(start.position * 8), marker = start.marker, valid = start.count;
  Vel16s lastDC = start.lastDC;
  Vel32u prefetched = Vel32u(start.store | Vel64u(0xDEADBEEF) << valid);  // only the valid bits count
  Outcome outcome;
  for (size_t i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    memset(dst.data(), 0x77, 128);
    Block expected, got;
    const VelStatus status = model.decode(&expected, tables.dc, tables.ac);
    EXPECT_EQ(orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(stream.data(), &position, dst.as<Vel16s>(), &lastDC, &marker,
                                                        &prefetched, &valid, tables.dcSpec(), tables.acSpec()),
              status);
    memcpy(got.data(), dst.data(), 128);
    EXPECT_EQ(got, expected) << "block " << i;
    EXPECT_EQ(position, int(model.s.position * 8)) << "block " << i;
    EXPECT_EQ(valid, model.s.count);
    EXPECT_EQ(prefetched & ((Vel64u(1) << valid) - 1), model.s.store);
    EXPECT_EQ(marker, model.s.marker);
    EXPECT_EQ(lastDC, model.s.lastDC);
    EXPECT_TRUE(dst.intact());
    outcome.blocks.push_back(expected);
    outcome.statuses.push_back(status);
  }
  outcome.state = model.s;
  return outcome;
}

class JpegHuffDec : public OnEveryPath {
 protected:
  // Blocks of which so many in 64 coefficients are not zero, of so many bits at most; all of the bits ones where asked
  // for, so that FF and its stuffing come up often.
  std::vector<Block> encode(Writer* out, const Tables& t, size_t count, int full, int bits, bool allOnes) {
    std::vector<Block> blocks(count, Block{});
    int lastDC = 0;
    for (Block& b : blocks) {
      for (Vel16s& v : b)
        if (int(random() % 64) < full) {
          const int most = (1 << (1 + random() % unsigned(bits))) - 1;
          v = Vel16s(allOnes ? most : int(random() % unsigned(2 * most + 1)) - most);
        }
      b[0] = Vel16s(b[0] / 2);  // a difference has one bit more
      out->block(b, lastDC, t.dc, t.ac);
      lastDC = b[0];
    }
    return blocks;
  }
  std::mt19937 random{81};
  Tables luma{lumaDc(), lumaAc()};
};
ORV_ON_EVERY_PATH(JpegHuffDec);

// Two scans with a marker behind each, decoded until the marker is met.
TEST_P(JpegHuffDec, DecodesWhatWasEncoded) {
  for (int i = 0; i < 120 && !HasFailure(); ++i) {
    const bool isLuma = i % 3 == 0;
    const Tables wide(randomCodes(symbolsUpTo(16), 0, random), randomCodes(symbolsUpTo(256), 0, random));
    const Tables& tables = isLuma ? luma : wide;
    const int full = i % 4 == 0 ? 2 : i % 4 == 1 ? 64 : int(random() % 64), bits = isLuma ? 10 : 1 + i % 15;
    Writer out;
    for (int code : {0xD3, 0xD9}) {
      State state;
      state.position = out.bytes.size();
      const size_t count = size_t(20 + i);
      const auto blocks = encode(&out, tables, count, full, bits, i % 5 == 0);
      out.marker(code, i % 3);
      const Outcome outcome = decodeAll(out.bytes, tables, count + 1, state);
      ASSERT_FALSE(HasFailure()) << "stream " << i;
      ASSERT_TRUE(std::equal(blocks.begin(), blocks.end(), outcome.blocks.begin()));
      ASSERT_EQ(outcome.blocks.back(), Block{}) << "nothing is left but the bits that fill the last byte";
      ASSERT_EQ(outcome.state.marker, code);
      ASSERT_EQ(outcome.state.position, out.bytes.size());
    }
  }
}

TEST_P(JpegHuffDec, StopsWhereAStreamIsCutOff) {
  std::set<VelStatus> seen;
  for (bool allOnes : {false, true}) {
    Writer out;
    encode(&out, luma, 12, 30, 9, allOnes);
    out.marker(0xD9);
    for (size_t size = 0; size < out.bytes.size() && !HasFailure(); ++size) {
      Bytes cut(out.bytes.begin(), out.bytes.begin() + ptrdiff_t(size));
      cut.insert(cut.end(), {0xFF, 0xD9});
      for (VelStatus status : decodeAll(cut, luma, 14).statuses) seen.insert(status);
    }
  }
  EXPECT_EQ(seen, (std::set<VelStatus>{velStsJPEGOutOfBufErr, velStsNoErr}));
}

// Any bytes, any number of bits in store, and a marker that has been met already or not.
TEST_P(JpegHuffDec, SurvivesGarbage) {
  std::set<VelStatus> seen;
  Bytes categories{0, 1, 5, 11, 15, 16, 255};
  for (int i = 0; i < 100 && !HasFailure(); ++i) {
    const Tables gappy(randomCodes(categories, size_t(i % 3), random),
                       randomCodes(symbolsUpTo(256), size_t(random() % 200), random));
    for (int j = 0; j < 40 && !HasFailure(); ++j) {
      Bytes bytes(random() % 60);
      for (Vel8u& b : bytes) b = random() % 9 ? Vel8u(random()) : 0xFF;
      for (size_t at = 1; at < bytes.size(); ++at)
        if (bytes[at - 1] == 0xFF && random() % 8) bytes[at] = 0;
      bytes.insert(bytes.end(), {0xFF, Vel8u(0xD0 + j % 10)});
      State start;
      start.count = j % 33;
      start.store = Vel64u(random()) & ((Vel64u(1) << start.count) - 1);
      start.position = random() % bytes.size() / 2;
      start.lastDC = Vel16s(random());
      start.marker = j % 7 == 0 ? 0xD9 : j % 7 == 1 ? -1 : 0;
      for (VelStatus status : decodeAll(bytes, j % 2 ? gappy : luma, 5, start).statuses) seen.insert(status);
    }
  }
  EXPECT_EQ(seen, (std::set<VelStatus>{velStsJPEGOutOfBufErr, velStsJPEGDCTRangeErr, velStsNoErr}));
}

// Blocks whose end is worked out by hand: AC symbols with their values, and the last coefficient by its zigzag index.
TEST_P(JpegHuffDec, EndsABlockAsItShould) {
  using Put = std::array<int, 2>;
  struct Case {
    std::vector<Put> ac;
    size_t index;
    int value;
  };
  const Put skip{0xF0, 0};
  const Case cases[] = {
      {{{0x00, 0}}, 0, 3},
      {{{0x12, 2}, {0x50, 0}}, 2, 2},  // size 0 ends a block, whatever the run
      {{skip, skip, skip, skip}, 0, 3},
      {{skip, skip, skip, {0xE2, -3}}, 63, -3},
      {{skip, skip, skip, {0xFF, -32767}}, 63, -32767},  // runs past the end
      {{skip, skip, skip, {0xD1, 1}, {0xF3, 7}}, 63, 7},
  };
  const Tables wide(lumaDc(), randomCodes(symbolsUpTo(256), 0, random));
  for (const Case& c : cases) {
    Writer out;
    out.symbol(wide.dc, 2);
    out.value(3, 2);
    for (const Put& p : c.ac) out.symbol(wide.ac, p[0]), out.value(p[1], p[0] & 15);
    out.marker(0xD9);
    const Outcome outcome = decodeAll(out.bytes, wide, 1);
    ASSERT_FALSE(HasFailure()) << "case " << &c - cases;
    EXPECT_EQ(outcome.statuses[0], velStsNoErr);
    EXPECT_EQ(outcome.blocks[0][0], 3);
    EXPECT_EQ(outcome.blocks[0][size_t(zigzagOrder()[c.index])], c.value);
  }
}

TEST_P(JpegHuffDec, BuildsTables) {
  std::vector<Codes> all{lumaDc(), lumaAc(), Codes()};
  for (int n : {1, 2, 3, 12, 100, 255, 256}) all.push_back(randomCodes(symbolsUpTo(n), size_t(n / 50), random));
  for (const Codes& codes : all)
    for (Guard guard : {Guard::kBefore, Guard::kBehind}) {
      Guarded bits(16, guard), values(codes.values.size(), guard), spec(1644, guard, 0xCC);
      std::copy(codes.bits.begin(), codes.bits.end(), bits.data());
      std::copy(codes.values.begin(), codes.values.end(), values.data());
      ASSERT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), spec.as<VeliDecodeHuffmanSpec>()),
                velStsNoErr);
      const auto word = [&](size_t at) { return spec[at] | spec[at + 1] << 8; };
      for (size_t i = 0; i < 256; ++i) {
        ASSERT_EQ(word(2 * i), i < codes.values.size() ? codes.values[i] : 0) << "symbol " << i;
        int entry = 0;
        for (int n = 1; n <= 8; ++n) {
          const int symbol = codes.find(n, int(i) >> (8 - n));
          if (symbol >= 0) entry = n << 16 | symbol;
        }
        ASSERT_EQ(word(512 + 4 * i) | word(514 + 4 * i) << 16, entry) << "next byte " << i;
      }
      for (size_t n = 0; n < 18; ++n) {
        const int count = n >= 1 && n <= 16 ? codes.count(int(n)) : 0, first = count ? codes.first[n] : 0;
        ASSERT_EQ(word(1536 + 2 * n), first) << "first code of length " << n;
        ASSERT_EQ(word(1572 + 2 * n), count ? first + count - 1 : n ? 65535 : 0) << "last code of length " << n;
        ASSERT_EQ(word(1608 + 2 * n), count ? codes.index[n] : 0) << "first symbol of length " << n;
      }
      ASSERT_TRUE(spec.intact());
    }
}

// More codes of a length than it has room for, an all-ones code, and 257 codes.
TEST_P(JpegHuffDec, RefusesTablesThatAreNone) {
  const std::array<Vel8u, 16> bad[] = {
      {3}, {2}, {1, 2}, {1, 1, 1, 1, 1, 1, 1, 2}, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 2}};
  for (const auto& bits : bad) {
    const Bytes values(257, 9);
    Guarded spec(1644, Guard::kBehind, 0xCC);
    EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(bits.data(), values.data(), spec.as<VeliDecodeHuffmanSpec>()),
              velStsJPEGHuffTableErr);
    EXPECT_EQ(std::count(spec.data(), spec.data() + 1644, 0), 1644) << "table " << &bits - bad;
  }
}

TEST_P(JpegHuffDec, ChecksItsArgumentsInOrder) {
  Vel8u stream[2] = {0xFF, 0xD9};
  Vel16s dst[64], lastDC = 0;
  Vel32u prefetched = 0;
  int marker = 0, position, valid;
  std::fill(dst, dst + 64, Vel16s(5));
  // Pointers by bits, in the order of the arguments; a set bit makes one null.
  const auto call = [&](int nulls, int at, int bits) {
    position = at, valid = bits;
    const auto unless = [nulls](int bit, auto* p) { return nulls >> bit & 1 ? nullptr : p; };
    return orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(
        unless(0, stream), unless(1, &position), unless(2, dst), unless(3, &lastDC), unless(4, &marker),
        unless(5, &prefetched), unless(6, &valid), unless(7, luma.dcSpec()), unless(8, luma.acSpec()));
  };
  EXPECT_EQ(call(1, -8, -1), velStsNullPtrErr);
  EXPECT_EQ(call(2, -8, -1), velStsNullPtrErr);
  EXPECT_EQ(call(0x1FC, -8, -1), velStsBadArgErr);
  for (int bit = 2; bit <= 6; ++bit) EXPECT_EQ(call(1 << bit, 0, -1), velStsNullPtrErr);
  for (int bits : {-1, 33, INT32_MIN, INT32_MAX}) EXPECT_EQ(call(0x180, 0, bits), velStsBadArgErr);
  for (int bit : {7, 8}) EXPECT_EQ(call(1 << bit, 0, 0), velStsNullPtrErr);
  EXPECT_EQ(std::count(dst, dst + 64, 5), 64) << "an error wrote";

  EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(nullptr, stream, luma.dcSpec()), velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(stream, nullptr, luma.dcSpec()), velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(stream, stream, nullptr), velStsNullPtrErr);
  int size = 0;
  EXPECT_EQ(orviDecodeHuffmanSpecGetBufSize_JPEG_8u(nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanSpecGetBufSize_JPEG_8u(&size), velStsNoErr);
  EXPECT_EQ(size, 1644);
}

TEST_P(JpegHuffDec, KeepsStates) {
  const auto isClear = [](const VeliDecodeHuffmanState* p) { return Bytes(20) == Bytes((Vel8u*)p, (Vel8u*)p + 20); };
  Guarded memory(20, Guard::kBehind, 0xCC);
  VeliDecodeHuffmanState *const state = memory.as<VeliDecodeHuffmanState>(), *allocated = nullptr, *kept = state;
  EXPECT_EQ(orviDecodeHuffmanStateInit_JPEG_8u(state), velStsNoErr);
  EXPECT_TRUE(isClear(state) && memory.intact());
  ASSERT_EQ(orviDecodeHuffmanStateInitAlloc_JPEG_8u(&allocated), velStsNoErr);
  EXPECT_TRUE(isClear(allocated));
  EXPECT_EQ(orviDecodeHuffmanStateFree_JPEG_8u(allocated), velStsNoErr);

  void* (*const allocate)(size_t) = std::exchange(i_malloc, [](size_t) -> void* { return nullptr; });
  EXPECT_EQ(orviDecodeHuffmanStateInitAlloc_JPEG_8u(&kept), velStsNullPtrErr);
  i_malloc = allocate;
  EXPECT_EQ(kept, state);
  EXPECT_EQ(orviDecodeHuffmanStateInit_JPEG_8u(nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanStateInitAlloc_JPEG_8u(nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanStateFree_JPEG_8u(nullptr), velStsNullPtrErr);
}

}  // namespace
