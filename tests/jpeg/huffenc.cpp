// Huffman encoding against an encoder that goes coefficient by coefficient.
#include <cstdlib>
#include <map>
#include "jpeg/entropy.h"

namespace {

int categoryOf(int v) { return v ? std::ilogb(std::abs(v)) + 1 : 0; }

// A block's symbols with the values behind them: the DC's first.
std::vector<std::pair<int, int>> symbolsOf(const Block& block, int lastDC) {
  static const auto zigzag = zigzagOrder();
  std::vector<std::pair<int, int>> symbols{{categoryOf(block[0] - lastDC), block[0] - lastDC}};
  int run = 0;
  for (size_t k = 1; k < 64; ++k, ++run) {
    const int v = block[size_t(zigzag[k])];
    if (v == 0) continue;
    for (; run > 15; run -= 16) symbols.push_back({0xF0, 0});
    symbols.push_back({run << 4 | categoryOf(v), v});
    run = -1;
  }
  if (run) symbols.push_back({0x00, 0});
  return symbols;
}

// Dense, sparse, empty, with far coefficients only; now and then of the highest category.
Block randomBlock(std::mt19937& random, int kind) {
  Block block{};
  const int size = int(random() % 14) + 1;
  for (size_t i = 0; i < 64; ++i) {
    const bool there = kind == 0 || (kind == 1 && random() % 8 == 0) || (kind == 3 && (i == 63 || i % 23 == 22));
    if (there) block[i] = Vel16s(int(random() % (1u << size)) - (1 << (size - 1)));
  }
  block[0] = Vel16s(int(random() % 4096) - 2048);
  return block;
}

const VeliEncodeHuffmanSpec* specOf(const Codes& codes, Bytes& memory) {
  memory.resize(1024);
  auto* const spec = reinterpret_cast<VeliEncodeHuffmanSpec*>(memory.data());
  EXPECT_EQ(orviEncodeHuffmanSpecInit_JPEG_8u(codes.bits.data(), codes.values.data(), spec), 0);
  return spec;
}

class JpegEncode : public OnEveryPath {};
ORV_ON_EVERY_PATH(JpegEncode);

TEST_P(JpegEncode, WritesBlocks) {
  Random random(11);
  Bytes acSymbols;
  for (int s = 0; s < 256; ++s)
    if (s % 16 < 15 && (s % 16 || s == 0 || s == 0xF0)) acSymbols.push_back(Vel8u(s));
  for (int round = 0; round < 40; ++round) {
    const Codes dc = randomCodes(symbolsUpTo(16), 0, random), ac = randomCodes(acSymbols, 0, random);
    Bytes dcMemory, acMemory;
    const auto *dcSpec = specOf(dc, dcMemory), *acSpec = specOf(ac, acMemory);
    // The stream begins within a byte.
    Writer writer;
    const int begin = int(random() % 8);
    writer.put(int(random() % (1u << begin)), begin);
    const Bytes head = writer.bytes;
    std::vector<Block> blocks;
    std::vector<int> ends;
    for (int i = 0, last = 0; i < 30; ++i) {
      blocks.push_back(randomBlock(random, i % 4));
      bool first = true;
      for (const auto& [symbol, value] : symbolsOf(blocks.back(), last)) {
        writer.symbol(first ? dc : ac, symbol);
        const int size = first ? symbol : symbol % 16;
        writer.put(value < 0 ? value + (1 << size) - 1 : value, size);
        first = false;
      }
      last = blocks.back()[0];
      const int partial = writer.bitCount % 8;
      const bool fullFF = partial == 0 && !writer.bytes.empty() && writer.bytes.back() == 0xFF;
      ends.push_back(int(writer.bytes.size()) * 8 - (partial ? 8 - partial : 0) + (fullFF ? 8 : 0));
    }
    if (writer.bitCount % 8 == 0) writer.stuff();
    const Guarded dst(writer.bytes.size() + 8, Guard::kBehind);
    std::copy(head.begin(), head.end(), dst.data());
    int position = begin;
    Vel16s last = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
      const Guarded src(128, Guard::kBehind);
      memcpy(src.data(), blocks[i].data(), 128);
      ASSERT_EQ(
          orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(src.as<Vel16s>(), dst.data(), &position, &last, dcSpec, acSpec), 0);
      ASSERT_EQ(position, ends[i]) << "block " << i;
      ASSERT_EQ(last, blocks[i][0]);
    }
    ASSERT_TRUE(expectSame(dst.data(), writer.bytes.data(), writer.bytes.size()));
  }
}

TEST_P(JpegEncode, CountsSymbols) {
  Random random(12);
  int dc[256] = {}, ac[256] = {}, expectedDc[256] = {}, expectedAc[256] = {};
  Vel16s last = 0;
  for (int i = 0; i < 400; ++i) {
    const Block block = randomBlock(random, i % 4);
    const auto symbols = symbolsOf(block, last);
    ++expectedDc[symbols[0].first];
    for (size_t k = 1; k < symbols.size(); ++k) ++expectedAc[symbols[k].first];
    ASSERT_EQ(orviGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc, ac, &last), 0);
    ASSERT_EQ(last, block[0]);
  }
  EXPECT_TRUE(std::equal(dc, dc + 256, expectedDc) && std::equal(ac, ac + 256, expectedAc));

  // A DC difference of 16 bits; then an AC coefficient of 15, behind one that counts.
  Block block{};
  block[0] = 32767, last = -1;
  EXPECT_EQ(orviGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc, ac, &last), velStsJPEGDCTRangeErr);
  EXPECT_EQ(last, 32767);
  block[1] = 1, block[8] = -16384;
  EXPECT_EQ(orviGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc, ac, &last), velStsJPEGDCTRangeErr);
  ++expectedDc[0], ++expectedAc[0x01];
  EXPECT_TRUE(std::equal(dc, dc + 256, expectedDc) && std::equal(ac, ac + 256, expectedAc));
}

// The best code by T.81's procedure: the two rarest subtrees become one, of equally rare ones those of the highest
// first symbol; then the longest codes are shortened. Gives symbols by length.
std::map<int, int> lengthsOf(const std::vector<int>& counts) {
  struct Tree {
    int count, first;
    std::vector<int> symbols;
  };
  std::vector<Tree> trees;
  std::map<int, int> lengths;
  for (int i = 0; i < 257; ++i)
    if (const int count = i < 256 ? counts[size_t(i)] : 1) trees.push_back({count, i, {i}});
  const auto takeRarest = [&] {
    const auto rarest = std::min_element(trees.begin(), trees.end(), [](const Tree& a, const Tree& b) {
      return std::make_pair(a.count, -a.first) < std::make_pair(b.count, -b.first);
    });
    const Tree tree = *rarest;
    trees.erase(rarest);
    return tree;
  };
  while (trees.size() > 1) {
    Tree a = takeRarest();
    const Tree b = takeRarest();
    a.count += b.count;
    a.symbols.insert(a.symbols.end(), b.symbols.begin(), b.symbols.end());
    for (const int s : a.symbols) ++lengths[s];
    trees.push_back(a);
  }
  return lengths;
}

// Counts whose tree has so many levels: every symbol is as frequent as the two before it.
std::vector<int> chainOf(int levels) {
  std::vector<int> counts(256);
  int next = 2;
  for (int i = 0, count = 1; i < levels; ++i, std::swap(count, next), next += count) counts[size_t(i)] = count;
  return counts;
}

TEST_P(JpegEncode, FindsTheBestCode) {
  Random random(13);
  for (int round = 0; round < 60; ++round) {
    std::vector<int> counts = round < 3 ? chainOf(30 + round) : std::vector<int>(256);
    const int used = round < 4 ? round / 3 : 1 + int(random() % 256);
    for (int i = 0; i < used; ++i) counts[random() % 256] = round % 3 ? 1 + int(random() % 1000) : 1 << (random() % 21);
    const Guarded bits(16, Guard::kBehind), values(256, Guard::kBehind, 0xCC);
    ASSERT_EQ(orviEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), bits.data(), values.data()), 0);
    const auto lengths = lengthsOf(counts);
    std::array<int, 33> perLength{};
    Bytes expected;
    for (int n = 1; n <= 32; ++n)
      for (const auto& [symbol, length] : lengths)
        if (length == n) {
          ++perLength[size_t(n)];
          if (symbol < 256) expected.push_back(Vel8u(symbol));
        }
    for (size_t i = 32; i > 16; --i)
      for (; perLength[i] > 0; perLength[i] -= 2) {
        size_t j = i - 2;
        while (perLength[j] == 0) --j;
        ++perLength[i - 1], perLength[j + 1] += 2, --perLength[j];
      }
    for (size_t n = 16, reserved = 1; n > 0; --n)
      if (reserved && perLength[n]) --perLength[n], reserved = 0;
    for (size_t n = 1; n <= 16; ++n) ASSERT_EQ(bits[n - 1], perLength[n]) << "length " << n;
    ASSERT_TRUE(expectSame(values.data(), expected.data(), expected.size()));
    ASSERT_TRUE(expected.size() == 256 || values[expected.size()] == 0xCC);
  }
  for (int levels : {33, 40}) {
    Bytes bits(16), values(256);
    EXPECT_EQ(orviEncodeHuffmanRawTableInit_JPEG_8u(chainOf(levels).data(), bits.data(), values.data()),
              velStsJPEGHuffTableErr)
        << levels << " levels";
  }
}

TEST_P(JpegEncode, BuildsTables) {
  Random random(14);
  const Codes codes = randomCodes(symbolsUpTo(200), 9, random);
  const Guarded values(codes.values.size(), Guard::kBehind);
  memcpy(values.data(), codes.values.data(), values.size());
  std::vector<Vel32u> expected(256);
  for (int n = 1; n <= 16; ++n)
    for (int i = 0; i < codes.count(n); ++i)
      expected[codes.values[size_t(codes.index[n] + i)]] = Vel32u(n) << 16 | Vel32u(codes.first[n] + i);
  VeliEncodeHuffmanSpec* spec = nullptr;
  ASSERT_EQ(orviEncodeHuffmanSpecInitAlloc_JPEG_8u(codes.bits.data(), values.data(), &spec), 0);
  EXPECT_TRUE(expectSame(reinterpret_cast<const Vel32u*>(spec), expected.data(), 256));
  // Over-subscribed, too many, all ones; the caller's table is cleared, and the caller's pointer stays.
  const std::array<Vel8u, 16> kBad[] = {{3}, {0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 2}, {2}};
  const Bytes zeros(512);
  VeliEncodeHuffmanSpec* const before = spec;
  for (const auto& bits : kBad) {
    EXPECT_EQ(orviEncodeHuffmanSpecInitAlloc_JPEG_8u(bits.data(), zeros.data(), &spec), velStsJPEGHuffTableErr);
    EXPECT_EQ(spec, before);
    EXPECT_EQ(orviEncodeHuffmanSpecInit_JPEG_8u(bits.data(), zeros.data(), spec), velStsJPEGHuffTableErr);
    EXPECT_EQ(std::count(reinterpret_cast<Vel8u*>(spec), reinterpret_cast<Vel8u*>(spec) + 1024, 0), 1024);
  }
  EXPECT_EQ(orviEncodeHuffmanSpecFree_JPEG_8u(spec), 0);
  EXPECT_EQ(orviEncodeHuffmanSpecFree_JPEG_8u(nullptr), velStsNullPtrErr);
  int size = 0;
  EXPECT_EQ(orviEncodeHuffmanSpecGetBufSize_JPEG_8u(&size), 0);
  EXPECT_EQ(size, 1024);
  VeliEncodeHuffmanState* state = nullptr;
  ASSERT_EQ(orviEncodeHuffmanStateInitAlloc_JPEG_8u(&state), 0);
  EXPECT_EQ(std::count(reinterpret_cast<Vel8u*>(state), reinterpret_cast<Vel8u*>(state) + 1044, 0), 1044);
  EXPECT_EQ(orviEncodeHuffmanStateFree_JPEG_8u(state), 0);
  EXPECT_EQ(orviEncodeHuffmanStateFree_JPEG_8u(nullptr), velStsNullPtrErr);
}

}  // namespace
