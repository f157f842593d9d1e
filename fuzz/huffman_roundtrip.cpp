// Blocks and codes for them, encoded and decoded again.
//
//   choice    1: blocks as they come, else fit to be encoded; the rest: bits in the stream before the first block
//   weights   DC and AC: how many, for each a symbol and the power of 2 that is added to its count
//   blocks    DC, how many coefficients; each an index and a value
#include "fuzz/target.h"
#include "jpeg/codes.h"

namespace {

constexpr int kMostBlocks = 16;
// Every code with its extra bits is shorter than 32 bits, and each byte may get a zero.
constexpr size_t kBlockRoom = 2 * (64 * 32 / 8 + 8);

// ---- The input

using Counts = std::array<int, 256>;

Counts readWeights(Input& in) {
  Counts counts{};
  for (int left = in.byte(); left > 0; --left) {
    const int symbol = in.byte();
    counts[size_t(symbol)] = 1 << in.byte() % 21;  // all together less than 1000000000
  }
  return counts;
}

// DC differences of up to 15 bits, and other coefficients of up to 14, can be encoded.
std::vector<Block> readBlocks(Input& in, bool fit) {
  std::vector<Block> blocks;
  int lastDC = 0;
  while (in.left() && blocks.size() < kMostBlocks) {
    Block block{};
    const int dc = Vel16s(in.word());
    block[0] = Vel16s(fit && abs(dc - lastDC) > 32767 ? lastDC : dc);
    lastDC = block[0];
    for (int left = in.byte() & 63; left > 0; --left) {
      const size_t index = size_t(in.byte() & 63);
      const int value = Vel16s(in.word());
      if (index) block[index] = Vel16s(fit ? std::clamp(value, -16383, 16383) : value);
    }
    blocks.push_back(block);
  }
  return blocks;
}

// ---- Tables

struct Kind {
  Counts counts;  // of the blocks' symbols
  Codes codes;
  EdgeMemory encoder, decoder;

  auto* encoderSpec() { return reinterpret_cast<VeliEncodeHuffmanSpec*>(encoder.data()); }
  auto* decoderSpec() { return reinterpret_cast<VeliDecodeHuffmanSpec*>(decoder.data()); }
};

// False where a block cannot be encoded.
bool countSymbols(const std::vector<Block>& blocks, Kind& dc, Kind& ac) {
  static EdgeMemory source, dcMemory, acMemory;
  bool inRange = true;
  onEveryPath([&](bool first) {
    auto* const dcCounts = reinterpret_cast<int*>(dcMemory.last(sizeof(Counts)));
    auto* const acCounts = reinterpret_cast<int*>(acMemory.last(sizeof(Counts)));
    memset(dcCounts, 0, sizeof(Counts));
    memset(acCounts, 0, sizeof(Counts));
    Vel16s lastDC = 0;
    bool good = true;
    for (const Block& block : blocks) {
      const uint8_t* const from = source.copy(reinterpret_cast<const uint8_t*>(block.data()), sizeof block);
      const VelStatus status =
          orviGetHuffmanStatistics8x8_JPEG_16s_C1(reinterpret_cast<const Vel16s*>(from), dcCounts, acCounts, &lastDC);
      require(status == velStsNoErr || status == velStsJPEGDCTRangeErr, "counting: status %d", status);
      require(lastDC == block[0], "counting: last DC %d, not %d", lastDC, block[0]);
      good &= status == velStsNoErr;
    }
    if (first) {
      memcpy(dc.counts.data(), dcCounts, sizeof(Counts));
      memcpy(ac.counts.data(), acCounts, sizeof(Counts));
      inRange = good;
    }
    require(good == inRange && memcmp(dc.counts.data(), dcCounts, sizeof(Counts)) == 0 &&
                memcmp(ac.counts.data(), acCounts, sizeof(Counts)) == 0,
            "counted differently");
  });
  return inRange;
}

// The best code on every path; false where its tree is too deep.
bool findCode(const Counts& counts, Codes* codes) {
  static EdgeMemory from, bits, values;
  const auto used = size_t(256 - std::count(counts.begin(), counts.end(), 0));
  const auto* const source =
      reinterpret_cast<const int*>(from.copy(reinterpret_cast<const uint8_t*>(counts.data()), sizeof counts));
  bool found = false;
  onEveryPath([&](bool first) {
    const VelStatus status = orviEncodeHuffmanRawTableInit_JPEG_8u(source, bits.last(16), values.last(used));
    require(bits.intact() && values.intact(), "written in front of a list");
    const bool good = status == velStsNoErr;
    require(good || status == velStsJPEGHuffTableErr, "finding a code: status %d", status);
    if (first) found = good;
    require(good == found, "found a code, and did not");
    if (!good) return;
    if (first) {
      codes->bits = {};
      memcpy(codes->bits.data(), bits.data(), 16);
      codes->values.assign(values.data(), values.data() + used);
    }
    require(memcmp(codes->bits.data(), bits.data(), 16) == 0 &&
                std::equal(codes->values.begin(), codes->values.end(), values.data()),
            "found different codes");
  });
  return found;
}

void makeTables(const Counts& weights, Kind& kind) {
  Counts counts = kind.counts;
  for (size_t i = 0; i < counts.size(); ++i) counts[i] += weights[i];
  while (!findCode(counts, &kind.codes))
    for (int& count : counts) count = (count + 1) / 2;
  size_t total = 0;
  for (const Vel8u count : kind.codes.bits) total += count;
  require(total == kind.codes.values.size(), "%zu codes for %zu symbols", total, kind.codes.values.size());
  kind.codes.assign();
  kind.encoder.last(1024);
  kind.decoder.last(1644);
  static EdgeMemory bitsMemory, valuesMemory;
  const Vel8u* const bits = bitsMemory.copy(kind.codes.bits.data(), kind.codes.bits.size());
  const Vel8u* const values = valuesMemory.copy(kind.codes.values);
  require(orviEncodeHuffmanSpecInit_JPEG_8u(bits, values, kind.encoderSpec()) == velStsNoErr, "no encoder table");
  require(orviDecodeHuffmanSpecInit_JPEG_8u(bits, values, kind.decoderSpec()) == velStsNoErr, "no decoder table");
}

// ---- The stream

struct Stream {
  Bytes bytes;
  int bits;
};

// Where `bits` bits go on, one block. There is room up to 8 bytes after its last byte, and no more.
void encodeBlock(const Block& block, Stream* stream, Vel16s* lastDC, Kind& dc, Kind& ac) {
  static EdgeMemory source, memory;
  const auto* const from =
      reinterpret_cast<const Vel16s*>(source.copy(reinterpret_cast<const uint8_t*>(block.data()), sizeof block));
  const auto encode = [&](Vel8u* to, int* bits) {
    *bits = stream->bits;
    Vel16s dcBefore = *lastDC;
    const VelStatus status =
        orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(from, to, bits, &dcBefore, dc.encoderSpec(), ac.encoderSpec());
    require(status == velStsNoErr && dcBefore == block[0], "encoding: status %d, last DC %d", status, dcBefore);
  };
  Stream result = *stream;
  const auto start = size_t(stream->bits / 8);
  onEveryPath([&](bool first) {
    if (first) {
      result.bytes.resize(start + kBlockRoom);
      encode(result.bytes.data(), &result.bits);
      require(result.bits > stream->bits && size_t(result.bits / 8) <= start + kBlockRoom - 8, "a block up to bit %d",
              result.bits);
      result.bytes.resize(size_t(result.bits / 8) + 1);
    }
    const size_t size = size_t(result.bits / 8) + 1 + 8;
    uint8_t* const to = memory.last(size);
    memset(to, 0xCC, size);
    std::copy(stream->bytes.begin(), stream->bytes.end(), to);
    int bits;
    encode(to, &bits);
    const auto whole = size_t(result.bits / 8);
    require(bits == result.bits && memcmp(to, result.bytes.data(), whole) == 0,
            "encoded differently, up to bit %d or %d", bits, result.bits);
    if (bits % 8) require(to[whole] == result.bytes[whole], "other last bits");
    require(memory.intact(), "written in front of the stream");
  });
  require(std::equal(stream->bytes.begin(), stream->bytes.begin() + ptrdiff_t(start), result.bytes.begin()),
          "what was in the stream has changed");
  *stream = result;
  *lastDC = block[0];
}

// How many bits the symbols take, the zeros after bytes FF not among them.
Vel64u bitsOf(const Kind& kind) {
  Vel64u total = 0;
  size_t i = 0;
  for (int n = 1; n <= 16; ++n)
    for (int k = 0; k < kind.codes.count(n); ++k, ++i) {
      const size_t symbol = kind.codes.values[i];
      total += Vel64u(kind.counts[symbol]) * (unsigned(n) + symbol % 16);
    }
  return total;
}

void checkDecoding(const std::vector<Block>& blocks, Stream stream, int startBits, Kind& dc, Kind& ac) {
  static EdgeMemory memory, destination;
  if (const int used = stream.bits % 8) {
    stream.bytes.back() |= Vel8u(0xFF >> used);
    if (stream.bytes.back() == 0xFF) stream.bytes.push_back(0);
  } else {
    stream.bytes.pop_back();
  }
  stream.bytes.insert(stream.bytes.end(), {0xFF, 0xD9});
  const uint8_t* const from = memory.copy(stream.bytes);
  onEveryPath([&](bool) {
    int position = 0, marker = 0, valid = 0;
    Vel32u store = 0;
    Vel16s lastDC = 0;
    if (startBits) {
      position = from[0] == 0xFF ? 16 : 8;
      valid = 8 - startBits;
      store = from[0];
    }
    for (size_t i = 0; i < blocks.size(); ++i) {
      auto* const dst = reinterpret_cast<Vel16s*>(destination.last(sizeof(Block)));
      const VelStatus status = orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(from, &position, dst, &lastDC, &marker, &store,
                                                                         &valid, dc.decoderSpec(), ac.decoderSpec());
      require(status == velStsNoErr, "decoding block %zu: status %d", i, status);
      require(memcmp(dst, blocks[i].data(), sizeof(Block)) == 0, "block %zu has become another", i);
    }
    require(marker == 0 || marker == 0xD9, "a marker %X in the stream", unsigned(marker));
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Kind dc, ac;
  Input in(data, size);
  const int choice = in.byte(), startBits = choice >> 1 & 7;
  const Counts dcWeights = readWeights(in), acWeights = readWeights(in);
  const std::vector<Block> blocks = readBlocks(in, !(choice & 1));
  const bool inRange = countSymbols(blocks, dc, ac);
  require(inRange || choice & 1, "a block that fits is out of range");
  makeTables(dcWeights, dc);
  makeTables(acWeights, ac);

  Stream stream{{Vel8u(choice & 0xFF00 >> startBits)}, startBits};
  Vel16s lastDC = 0;
  for (const Block& block : blocks) encodeBlock(block, &stream, &lastDC, dc, ac);
  if (!inRange) return 0;
  const auto zeros = std::count(stream.bytes.begin(), stream.bytes.begin() + stream.bits / 8, 0xFF);
  const Vel64u expected = unsigned(startBits) + bitsOf(dc) + bitsOf(ac) + 8 * Vel64u(zeros);
  require(Vel64u(stream.bits) == expected, "%d bits, not %d", stream.bits, int(expected));
  checkDecoding(blocks, stream, startBits, dc, ac);
  return 0;
}
