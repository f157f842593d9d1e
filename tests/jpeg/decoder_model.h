// A Huffman decoder that goes bit by bit, for the tests and the fuzz targets.
#pragma once
#include <algorithm>
#include "jpeg/codes.h"

struct DecoderState {
  size_t position = 0;
  Vel64u store = 0;
  int count = 0, marker = 0;
  Vel16s lastDC = 0;
};

struct DecoderModel {
  const Bytes& bytes;
  DecoderState s;

  int peek(int n) const { return int(s.store >> (s.count - n)); }
  int take(int n) {
    const int value = peek(n);
    s.count -= n, s.store &= (Vel64u(1) << s.count) - 1;
    return value;
  }
  void refill() {
    while (s.marker <= 0 && s.count < 25) {
      const int byte = bytes.at(s.position++);
      if (byte == 0xFF) {
        int next = 0xFF;
        while (next == 0xFF) next = bytes.at(s.position++);
        if (next) return void(s.marker = next);
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
      if (code % 16 == 0 && code != 0xF0) break;
      k += code / 16;
      if (!extra(code % 16, &v)) return velStsJPEGOutOfBufErr;
      if (code != 0xF0) (*block)[size_t(zigzag[size_t(std::min(k, 63))])] = Vel16s(v);
      ++k;
    }
    return velStsNoErr;
  }
};
