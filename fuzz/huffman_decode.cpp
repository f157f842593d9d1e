// The block decoder on any tables, any stream and any state, against a decoder that goes bit by bit.
//
//   choice   1: tables as they come, else made codes; 2: a marker may have been met
//   tables   DC and AC: 16 counts, as many symbols
//   state    bits in store, their value, the marker, the position, the last DC
//   stream   the rest
#include "fuzz/target.h"
#include "jpeg/decoder_model.h"

namespace {

constexpr int kSpecSize = 1644, kMostBlocks = 8;

// ---- Tables

// Where asked for, counts are cut to those of a code.
Codes readCodes(Input& in, bool fit) {
  Codes codes;
  int code = 0, total = 0;
  for (int n = 1; n <= 16; ++n, code *= 2) {
    int count = in.byte();
    if (fit) count = std::min({count, (1 << n) - code - 1, 256 - total});
    codes.bits[size_t(n) - 1] = Vel8u(count);
    code += count, total += count;
  }
  codes.values = in.bytes(size_t(total));
  codes.assign();
  return codes;
}
// At most 256 codes that are prefixes of no other, and none all ones: codes of n bits and less take up less than all of
// 2^n.
bool isCode(const Codes& codes) {
  if (codes.values.size() > 256) return false;
  int taken = 0;
  for (int n = 1; n <= 16; ++n) {
    taken = 2 * taken + codes.count(n);
    if (codes.count(n) && taken >= 1 << n) return false;
  }
  return true;
}

// A table as the path in force builds it, from lists and in memory of exactly their sizes.
struct Spec {
  EdgeMemory bits, values, memory;

  VelStatus build(const Codes& codes) {
    memset(memory.last(kSpecSize), 0xCC, kSpecSize);
    const VelStatus status = orviDecodeHuffmanSpecInit_JPEG_8u(bits.copy(codes.bits.data(), codes.bits.size()),
                                                               values.copy(codes.values), get());
    require(memory.intact(), "written in front of a table");
    return status;
  }
  VeliDecodeHuffmanSpec* get() { return reinterpret_cast<VeliDecodeHuffmanSpec*>(data()); }
  uint8_t* data() { return memory.data(); }
};

// Builds a table on every path; gives whether it is one.
bool checkTable(const Codes& codes, Spec& spec) {
  const bool valid = isCode(codes);
  FuzzBytes expected(kSpecSize);
  onEveryPath([&](bool first) {
    const VelStatus status = spec.build(codes);
    require(status == (valid ? velStsNoErr : velStsJPEGHuffTableErr), "table: status %d", status);
    if (first && valid) expected.assign(spec.data(), spec.data() + kSpecSize);
    require(memcmp(spec.data(), expected.data(), kSpecSize) == 0, "table: other bytes, or not cleared");
  });
  return valid;
}

// ---- Blocks

struct Outcome {
  VelStatus status;
  DecoderState after;
  Block block;
};

// What a decoder should do that starts so, block by block.
std::vector<Outcome> expectedOf(const Bytes& stream, const DecoderState& start, const Codes& dc, const Codes& ac) {
  std::vector<Outcome> outcomes;
  DecoderModel model{stream, start};
  for (int i = 0; i < kMostBlocks; ++i) {
    Outcome o;
    o.status = model.decode(&o.block, dc, ac);
    o.after = model.s;
    outcomes.push_back(o);
  }
  return outcomes;
}

// The caller's variables, and the block in memory of exactly its size.
struct Caller {
  EdgeMemory stream, block;
  int position, marker, valid;
  Vel16s lastDC;
  Vel32u store;

  void set(const DecoderState& s) {
    position = int(s.position * 8), marker = s.marker, valid = s.count, lastDC = s.lastDC;
    store = Vel32u(s.store | (s.count >= 0 && s.count < 32 ? 0xDEADBEEFu << s.count : 0));  // only the valid bits count
  }
  VelStatus decode(const uint8_t* bytes, size_t size, Spec& dc, Spec& ac) {
    auto* const dst = reinterpret_cast<Vel16s*>(block.last(sizeof(Block)));
    memset(dst, 0x77, sizeof(Block));
    return orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(stream.copy(bytes, size), &position, dst, &lastDC, &marker, &store,
                                                     &valid, dc.get(), ac.get());
  }
};

// The stream ends where the block's bytes do: no others may be read.
void checkBlocks(const Bytes& stream, const DecoderState& start, const std::vector<Outcome>& expected, Spec& dc,
                 Spec& ac) {
  static Caller caller;
  caller.set(start);
  for (size_t i = 0; i < expected.size(); ++i) {
    const Outcome& o = expected[i];
    const VelStatus status = caller.decode(stream.data(), o.after.position, dc, ac);
    require(status == o.status, "block %zu: status %d, not %d", i, status, o.status);
    require(caller.position == int(o.after.position * 8) && caller.marker == o.after.marker,
            "block %zu: position %d and marker %d, not %zu and %d", i, caller.position, caller.marker,
            o.after.position * 8, o.after.marker);
    const Vel64u store = caller.store & ((Vel64u(1) << caller.valid) - 1);
    require(caller.valid == o.after.count && store == o.after.store, "block %zu: %d bits in store, not %d, or others",
            i, caller.valid, o.after.count);
    require(caller.lastDC == o.after.lastDC, "block %zu: last DC %d, not %d", i, caller.lastDC, o.after.lastDC);
    require(memcmp(caller.block.data(), o.block.data(), sizeof(Block)) == 0, "block %zu: other coefficients", i);
    require(caller.block.intact(), "block %zu: written in front of it", i);
  }
}

// A number of bits that a store cannot have is refused.
void checkRefusal(const Bytes& stream, DecoderState start, Spec& dc, Spec& ac) {
  static Caller caller;
  caller.set(start);
  require(caller.decode(stream.data(), stream.size(), dc, ac) == velStsBadArgErr, "%d bits in store", start.count);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Spec dcSpec, acSpec;
  Input in(data, size);
  const int choice = in.byte();
  const Codes dc = readCodes(in, !(choice & 1)), ac = readCodes(in, !(choice & 1));
  DecoderState start;
  const int bits = in.byte();
  start.count = bits % 33;
  start.store = in.dword() & ((Vel64u(1) << start.count) - 1);
  const int marker = in.byte();
  if (choice & 2) start.marker = static_cast<signed char>(marker);
  const size_t position = size_t(in.word());
  start.lastDC = Vel16s(in.word());
  Bytes stream = in.rest();
  start.position = position % (stream.size() + 1);
  stream.insert(stream.end(), {0xFF, 0xD9});

  const bool dcValid = checkTable(dc, dcSpec), acValid = checkTable(ac, acSpec);
  if (!dcValid || !acValid) return 0;
  const std::vector<Outcome> expected = expectedOf(stream, start, dc, ac);
  onEveryPath([&](bool) { checkBlocks(stream, start, expected, dcSpec, acSpec); });
  if (bits < 99) return 0;
  start.count = bits % 2 ? -1 : bits - 66;
  checkRefusal(stream, start, dcSpec, acSpec);
  return 0;
}
