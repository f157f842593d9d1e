// Huffman decoding against a decoder that goes bit by bit, on streams that the tests write.
#include <set>
#include <tuple>
#include "jpeg/decoder_model.h"
#include "jpeg/entropy.h"

namespace {

// A pair of tables, built, at the edge of accessible memory.
struct Tables {
  Tables(const Codes& d, const Codes& a) : dc(d), ac(a) {
    EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(dc.bits.data(), dc.values.data(), dcSpec()), velStsNoErr);
    EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(ac.bits.data(), ac.values.data(), acSpec()), velStsNoErr);
  }
  VeliDecodeHuffmanSpec* dcSpec() const { return dcMemory.as<VeliDecodeHuffmanSpec>(); }
  VeliDecodeHuffmanSpec* acSpec() const { return acMemory.as<VeliDecodeHuffmanSpec>(); }
  const Codes dc, ac;
  const Guarded dcMemory{1644, Guard::kBehind}, acMemory{1644, Guard::kBehind};
};

struct Outcome {
  std::vector<Block> blocks;
  std::set<VelStatus> statuses;
};

// Decodes a number of blocks, errors or not, and compares all that a call leaves with the model's.
Outcome decodeAll(const Bytes& bytes, const Tables& tables, size_t count, const DecoderState& start = DecoderState()) {
  Guarded stream(bytes.size(), Guard::kBehind), dst(128, Guard::kBefore);
  std::copy(bytes.begin(), bytes.end(), stream.data());
  DecoderModel model{bytes, start};
  int position = int(start.position * 8), marker = start.marker, valid = start.count;
  Vel16s lastDC = start.lastDC;
  Vel32u prefetched = Vel32u(start.store | Vel64u(0xDEADBEEF) << valid);  // only the valid bits count
  Outcome outcome;
  for (size_t i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    memset(dst.data(), 0x77, 128);
    Block expected;
    const VelStatus expectedStatus = model.decode(&expected, tables.dc, tables.ac);
    const VelStatus status =
        orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(stream.data(), &position, dst.as<Vel16s>(), &lastDC, &marker,
                                                  &prefetched, &valid, tables.dcSpec(), tables.acSpec());
    const DecoderState& s = model.s;
    EXPECT_EQ(std::tuple(status, position, valid, prefetched & ((Vel64u(1) << valid) - 1), marker, lastDC),
              std::tuple(expectedStatus, int(s.position * 8), s.count, s.store, s.marker, s.lastDC))
        << "block " << i;
    EXPECT_TRUE(expectSame(dst.as<Vel16s>(), expected.data(), 64)) << "block " << i;
    EXPECT_TRUE(dst.intact());
    outcome.blocks.push_back(expected);
    outcome.statuses.insert(status);
  }
  return outcome;
}

class JpegHuffDec : public OnEveryPath {
 protected:
  // Blocks of random symbols and values, with runs and sizes up to these, as they should come out; all of the values'
  // bits ones where asked for, so that FF and its stuffing come up often.
  std::vector<Block> write(Writer* out, const Tables& t, size_t count, unsigned run, unsigned size, bool allOnes) {
    const auto put = [&](const Codes& codes, unsigned symbol) {
      const int bitCount = int(symbol % 16), limit = 1 << bitCount;
      const int bits = allOnes ? limit - 1 : int(random() % unsigned(limit));
      out->symbol(codes, int(symbol));
      out->put(bits, bitCount);
      return bits < limit / 2 ? bits + 1 - limit : bits;
    };
    const auto zigzag = zigzagOrder();
    std::vector<Block> blocks(count, Block{});
    Vel16s lastDC = 0;
    for (Block& b : blocks) {
      b[0] = lastDC = Vel16s(lastDC + put(t.dc, random() % (size + 1)));
      for (size_t k = 1; k < 64; ++k) {
        const unsigned zeros = random() % (run + 1), bitCount = random() % 32 ? 1 + random() % size : 0;
        const int value = put(t.ac, zeros << 4 | bitCount);
        if (bitCount == 0 && zeros < 15) break;
        k += zeros;
        if (bitCount) b[size_t(zigzag[std::min<size_t>(k, 63)])] = Vel16s(value);
      }
    }
    return blocks;
  }
  Random random{81};
  Tables full{randomCodes(symbolsUpTo(16), 0, random), randomCodes(symbolsUpTo(256), 0, random)};
};
ORV_ON_EVERY_PATH(JpegHuffDec);

// Two scans with a marker behind each, decoded until the marker is met.
TEST_P(JpegHuffDec, DecodesWhatWasWritten) {
  for (int i = 0; i < 120 && !HasFailure(); ++i) {
    const Tables tables(randomCodes(symbolsUpTo(16), 0, random), randomCodes(symbolsUpTo(256), 0, random));
    Writer out;
    for (int code : {0xD3, 0xD9}) {
      DecoderState state;
      state.position = out.bytes.size();
      const size_t count = size_t(20 + i);
      auto blocks = write(&out, tables, count, unsigned(i) % 16, 1 + unsigned(i) % 15, i % 5 == 0);
      out.marker(code, i % 3);
      blocks.push_back(Block{});  // from the bits that fill the last byte
      ASSERT_EQ(decodeAll(out.bytes, tables, count + 1, state).blocks == blocks, true) << "stream " << i;
    }
  }
}

TEST_P(JpegHuffDec, StopsWhereAStreamIsCutOff) {
  std::set<VelStatus> seen;
  for (bool allOnes : {false, true}) {
    Writer out;
    write(&out, full, 12, 3, 9, allOnes);
    for (size_t size = 0; size < out.bytes.size() && !HasFailure(); ++size) {
      Bytes cut(out.bytes.begin(), out.bytes.begin() + ptrdiff_t(size));
      cut.insert(cut.end(), {0xFF, 0xD9});
      seen.merge(decodeAll(cut, full, 14).statuses);
    }
  }
  EXPECT_EQ(seen, (std::set<VelStatus>{velStsJPEGOutOfBufErr, velStsNoErr}));
}

// Any bytes, any number of bits in store, and a marker that has been met already or not.
TEST_P(JpegHuffDec, SurvivesGarbage) {
  std::set<VelStatus> seen;
  for (int i = 0; i < 100 && !HasFailure(); ++i) {
    const Tables gappy(randomCodes({0, 1, 5, 11, 15, 16, 255}, size_t(i % 3), random),
                       randomCodes(symbolsUpTo(256), size_t(random() % 200), random));
    for (int j = 0; j < 40 && !HasFailure(); ++j) {
      Bytes bytes(random() % 60);
      for (Vel8u& b : bytes) b = random() % 9 ? Vel8u(random()) : 0xFF;
      for (size_t at = 1; at < bytes.size(); ++at)
        if (bytes[at - 1] == 0xFF && random() % 8) bytes[at] = 0;
      bytes.insert(bytes.end(), {0xFF, Vel8u(0xD0 + j % 10)});
      DecoderState start;
      start.count = j % 33;
      start.store = Vel64u(random()) & ((Vel64u(1) << start.count) - 1);
      start.position = random() % bytes.size() / 2;
      start.lastDC = Vel16s(random());
      start.marker = j % 7 == 0 ? 0xD9 : j % 7 == 1 ? -1 : 0;
      seen.merge(decodeAll(bytes, j % 2 ? gappy : full, 5, start).statuses);
    }
  }
  EXPECT_EQ(seen, (std::set<VelStatus>{velStsJPEGOutOfBufErr, velStsJPEGDCTRangeErr, velStsNoErr}));
}

// A block whose extra bits end at index 63 needs no more bytes than those bits do; no marker need follow. All numbers of
// bits in store, code lengths and sizes; three codes of a bit skip to the last coefficient.
TEST_P(JpegHuffDec, ReadsNoFurtherThanTheLastBits) {
  for (int length = 2; length <= 16; ++length)
    for (int size = 1; size <= 15; ++size) {
      Codes dc, ac;
      dc.bits[0] = ac.bits[0] = ac.bits[size_t(length) - 1] = 1;
      dc.values = {0}, ac.values = {0xF0, Vel8u(0xE0 + size)};
      dc.assign(), ac.assign();
      const Tables tables(dc, ac);
      for (int count = 0; count <= 32 && !HasFailure(); ++count) {
        Writer out;
        DecoderState start;
        start.count = count;
        for (int i = 0; i < 128; ++i) {
          const int bit = i < 4 + length ? i == 4 : random() % 8 != 0;
          if (i < count)
            start.store = start.store * 2 + Vel64u(bit);
          else
            out.put(bit, 1);
        }
        DecoderModel model{out.bytes, start};
        Block block;
        ASSERT_EQ(model.decode(&block, dc, ac), velStsNoErr);
        out.bytes.resize(model.s.position);
        decodeAll(out.bytes, tables, 1, start);
      }
      ASSERT_FALSE(HasFailure()) << "a code of " << length << " bits, " << size << " extra bits";
    }
}

TEST_P(JpegHuffDec, BuildsTables) {
  for (int symbols : {1, 2, 12, 100, 255, 256})
    for (Guard guard : {Guard::kBefore, Guard::kBehind}) {
      const Codes codes = randomCodes(symbolsUpTo(symbols), size_t(symbols / 50), random);
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

TEST_P(JpegHuffDec, ChecksItsArguments) {
  Vel8u bytes[64] = {0xFF, 0xD9};
  Vel16s dst[64] = {}, lastDC = 0;
  Vel32u prefetched = 0;
  int marker = 0, position, valid;
  // Pointers by bits, in the order of the arguments; a set bit makes one null.
  const auto call = [&](int nulls, int at, int bits) {
    position = at, valid = bits;
    dst[63] = 5;
    const auto unless = [nulls](int bit, auto* p) { return nulls >> bit & 1 ? nullptr : p; };
    const VelStatus status = orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(
        unless(0, bytes), unless(1, &position), unless(2, dst), unless(3, &lastDC), unless(4, &marker),
        unless(5, &prefetched), unless(6, &valid), unless(7, full.dcSpec()), unless(8, full.acSpec()));
    EXPECT_EQ(dst[63], 5) << "an error wrote";
    return status;
  };
  for (int nulls : {1, 2}) EXPECT_EQ(call(nulls, -8, -1), velStsNullPtrErr);
  EXPECT_EQ(call(0x1FC, -8, -1), velStsBadArgErr);
  for (int bit = 2; bit <= 6; ++bit) EXPECT_EQ(call(1 << bit, 0, -1), velStsNullPtrErr);
  for (int bits : {-1, 33}) EXPECT_EQ(call(0x180, 0, bits), velStsBadArgErr);
  for (int bit : {7, 8}) EXPECT_EQ(call(1 << bit, 0, 0), velStsNullPtrErr);

  for (int bit = 0; bit < 3; ++bit)
    EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(bit == 0 ? nullptr : bytes, bit == 1 ? nullptr : bytes,
                                                bit == 2 ? nullptr : full.dcSpec()),
              velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanSpecGetBufSize_JPEG_8u(nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanStateInitAlloc_JPEG_8u(nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanStateFree_JPEG_8u(nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDecodeHuffmanStateInit_JPEG_8u(nullptr), velStsNullPtrErr);
}

TEST_P(JpegHuffDec, TellsTheTablesSizeAndClearsAState) {
  int size = 0;
  EXPECT_EQ(orviDecodeHuffmanSpecGetBufSize_JPEG_8u(&size), velStsNoErr);
  EXPECT_EQ(size, 1644);
  Guarded state(20, Guard::kBehind, 0xCC);
  EXPECT_EQ(orviDecodeHuffmanStateInit_JPEG_8u(state.as<VeliDecodeHuffmanState>()), velStsNoErr);
  EXPECT_TRUE(std::count(state.data(), state.data() + 20, 0) == 20 && state.intact());
}

}  // namespace
