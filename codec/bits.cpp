#include "codec/bits.h"
#include <algorithm>

namespace jpeg {

MarkerAt Bits::load(const uint8_t* data, const uint8_t* limit) {
  bytes_.clear();
  MarkerAt marker = {limit, 0};
  for (const uint8_t* p = data; p < limit;) {
    const uint8_t* ff = static_cast<const uint8_t*>(memchr(p, 0xFF, size_t(limit - p)));
    bytes_.insert(bytes_.end(), p, ff ? ff : limit);
    if (!ff) break;
    while (limit - ff >= 2 && ff[1] == 0xFF) ++ff;
    if (limit - ff < 2) break;
    if (ff[1] != 0) {
      marker = {ff, ff[1]};
      break;
    }
    bytes_.push_back(0xFF);
    p = ff + 2;
  }
  const size_t size = bytes_.size();
  bytes_.resize(size + kPadding);
  store_ = BitStore{bytes_.data(), bytes_.data() + size};
  return marker;
}

void Codes::build(const HuffmanCodes& codes, int low) {
  std::fill(std::begin(fast_), std::end(fast_), Entry());
  std::copy(std::begin(codes.symbols), std::end(codes.symbols), symbols_);
  uint32_t code = 0;
  int place = 0;
  for (int length = 1; length <= 16; ++length, code <<= 1) {
    offset_[length] = place - int(code);
    for (int i = 0; i < codes.counts[length - 1]; ++i, ++code, ++place) {
      if (length > kFastBits) continue;
      const int symbol = codes.symbols[place], size = symbol & 15, spare = kFastBits - length;
      const bool whole = size > 0 && size <= spare && size + low < 16;
      Entry* const to = &fast_[code << spare];
      for (uint32_t rest = 0; rest < 1u << spare; ++rest)
        to[rest] = whole ? Entry(length + size, symbol, extend(rest >> (spare - size), size) * (1 << low))
                         : Entry(length, symbol, 0);
    }
    bound_[length] = code << (16 - length);
  }
}

Codes::Entry Codes::longer(uint32_t bits) const {
  for (int length = kFastBits + 1; length <= 16; ++length)
    if (bits < bound_[length]) {
      const int place = int(bits >> (16 - length)) + offset_[length];
      return Entry(length, symbols_[place & 255], 0);
    }
  return Entry();
}

}  // namespace jpeg
