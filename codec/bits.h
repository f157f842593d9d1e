// The bits of a scan, one by one and code by code: for scans that hold parts of blocks, which the library's decoder of
// whole blocks does not read.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>
#include "codec/reader.h"

namespace jpeg {

// Where in the bytes the next bit is, and the bits in store. It is small, and best copied while many bits are taken.
struct BitStore {
  using Word = uintptr_t;
  static constexpr int kWordBits = 8 * int(sizeof(Word));
  static constexpr int kMostTaken = kWordBits - 8;  // between two calls of refill()

  const uint8_t *at = nullptr, *end = nullptr;
  Word word = 0;  // the next bit highest; after the valid ones there may be more
  int valid = 0;

  // Reads a word, of which bytes that do not fit whole are read again the next time.
  void refill() {
    Word next;
    memcpy(&next, at, sizeof next);
    word |= (sizeof next == 8 ? Word(__builtin_bswap64(next)) : Word(__builtin_bswap32(uint32_t(next)))) >> valid;
    at += (kWordBits - 1 - valid) / 8;
    valid |= kMostTaken;
  }
  // The next 1 to kMostTaken bits.
  uint32_t peek(int count) const { return uint32_t(word >> (kWordBits - count)); }
  void skip(int count) {
    word <<= count;
    valid -= count;
  }
  uint32_t take(int count) {
    const uint32_t bits = peek(count);
    skip(count);
    return bits;
  }
  // A bit, whenever.
  uint32_t bit() {
    if (valid == 0) refill();
    return take(1);
  }

  // How many bits there are; of many, not all are counted. Below 0: more were taken.
  int left() const { return int(std::min<ptrdiff_t>(end - at, 1024)) * 8 + valid; }
  bool isOver() const { return __builtin_expect(at > end, 0) && left() < 0; }
};

// The bytes between two markers, without the zeros that follow each FF, and with kPadding zeros after them.
class Bits {
 public:
  // Between two calls of isOver() at most a block is taken, 63 codes of 16 bits with 15 bits after each; before and after
  // it a word may be read ahead.
  static constexpr int kPadding = 63 * (16 + 15) / 8 + 1 + 2 * 8;

  // From `data` to the first marker, which is returned.
  MarkerAt load(const uint8_t* data, const uint8_t* limit);
  BitStore& store() { return store_; }

 private:
  std::vector<uint8_t> bytes_;
  BitStore store_;
};

// A Huffman table to decode with: what the next kFastBits bits say, a code and often the value after it, is looked up
// at once.
class Codes {
 public:
  // Of the code at hand. Fields are 0 for a code that is none.
  class Entry {
   public:
    Entry() = default;
    Entry(int length, int symbol, int value)
        : all_(int32_t(uint32_t(value) << 16 | uint32_t(symbol) << 8 | uint32_t(length))) {}
    int length() const { return all_ & 0xFF; }  // in bits, with those of the value
    int symbol() const { return all_ >> 8 & 0xFF; }
    int run() const { return all_ >> 12 & 15; }
    int size() const { return all_ >> 8 & 15; }
    int value() const { return all_ >> 16; }  // 0: not looked up

   private:
    int32_t all_ = 0;
  };

  // Values are shifted left by `low`.
  void build(const HuffmanCodes& codes, int low);
  // There must be 16 bits in store.
  Entry next(const BitStore& in) const {
    const Entry entry = fast_[in.peek(kFastBits)];
    return __builtin_expect(entry.length() != 0, 1) ? entry : longer(in.peek(16));
  }

 private:
  static constexpr int kFastBits = 10;
  Entry longer(uint32_t bits) const;

  Entry fast_[1 << kFastBits];
  uint32_t bound_[17];  // 16 bits below this start with a code of so many bits or fewer
  int offset_[17];      // from a code to its place among the symbols
  uint8_t symbols_[256];
};

// The number that `size` bits stand for (ITU-T T.81, F.2.2.1).
inline int extend(uint32_t bits, int size) { return int(bits) - (bits >> (size - 1) ? 0 : (1 << size) - 1); }

}  // namespace jpeg
