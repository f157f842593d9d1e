// Writes JPEG files of given coefficients, sequential ones and progressive ones of any script: the independent side of
// the decoder's tests, and what fuzzing starts from.
#pragma once
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

namespace scans {

using Bytes = std::vector<uint8_t>;
using Block = std::array<int, 64>;  // in zigzag order

struct Component {
  int h, v, wide = 0, high = 0,
            stride = 0;  // wide, high: blocks that hold pixels; stride: with those that complete MCUs
  std::vector<Block> blocks = {};
};
struct Picture {
  int width, height;
  std::vector<Component> components;
  int hMax = 1, vMax = 1, mcusWide = 0, mcusHigh = 0;

  Picture(int w, int h, std::vector<Component> all) : width(w), height(h), components(std::move(all)) {
    const auto up = [](int a, int b) { return (a + b - 1) / b; };
    for (const Component& c : components) hMax = std::max(hMax, c.h), vMax = std::max(vMax, c.v);
    mcusWide = up(width, hMax * 8), mcusHigh = up(height, vMax * 8);
    for (Component& c : components) {
      c.wide = up(up(width * c.h, hMax), 8), c.high = up(up(height * c.v, vMax), 8), c.stride = mcusWide * c.h;
      c.blocks.resize(size_t(c.stride * mcusHigh * c.v));
    }
  }
  // In each block that holds pixels a DC, and in one of `sparse` some AC coefficients.
  void fill(std::mt19937& random, unsigned sparse) {
    for (Component& c : components)
      for (size_t i = 0; i < c.blocks.size(); ++i) {
        const auto any = [&](int most) { return int(random() % unsigned(2 * most + 1)) - most; };
        c.blocks[i][0] = any(127);
        if (int(i) % c.stride >= c.wide || int(i) / c.stride >= c.high || random() % sparse) continue;
        for (unsigned n = random() % 2 ? random() % 6 : random() % 64; n > 0; --n)
          c.blocks[i][1 + random() % (random() % 2 ? 63 : 9)] = any(random() % 3 ? 3 : 60);
      }
  }
};

// Components by their number; coefficients `first` to `last` from the bit above `high`, or 0 for the first time, to `low`.
struct Scan {
  std::vector<int> components;
  int first = 0, last = 63, high = 0, low = 0, restart = 0;
};
using Script = std::vector<Scan>;

// Codes of 2 to 16 bits for all symbols, shuffled.
struct Codes {
  static constexpr uint8_t kCounts[16] = {0, 1, 1, 2, 2, 0, 4, 10, 0, 100, 0, 80, 0, 0, 0, 56};
  Bytes symbols;
  std::array<uint32_t, 256> code;
  std::array<int, 256> length;

  explicit Codes(std::mt19937& random) : symbols(256) {
    for (size_t i = 0; i < 256; ++i) symbols[i] = uint8_t(i);
    std::shuffle(symbols.begin(), symbols.end(), random);
    uint32_t next = 0;
    size_t place = 0;
    for (int n = 1; n <= 16; ++n, next <<= 1)
      for (int i = 0; i < kCounts[n - 1]; ++i) code[symbols[place]] = next++, length[symbols[place++]] = n;
  }
};

class Writer {
 public:
  Writer(const Picture& picture, unsigned seed) : picture_(picture), random_(seed) {}

  // What is in front of the scans; then each scan with its tables; then the end.
  Bytes head(int sof) {
    out_ = {0xFF, 0xD8};
    Bytes content{0};
    for (int k = 0; k < 64; ++k) content.push_back(uint8_t(1 + k / 8));
    segment(0xDB, content);
    const auto& all = picture_.components;
    content = {8,
               high(picture_.height),
               low(picture_.height),
               high(picture_.width),
               low(picture_.width),
               low(int(all.size()))};
    for (size_t i = 0; i < all.size(); ++i)
      content.insert(content.end(), {low(int(i + 1)), low(all[i].h << 4 | all[i].v), 0});
    segment(sof, content);
    return std::move(out_);
  }
  Bytes scan(const Scan& s, bool progressive) {
    out_.clear();
    const Codes dc(random_), ac(random_);
    for (const Codes* codes : {&dc, &ac}) {
      Bytes content{uint8_t(codes == &ac ? 0x10 : 0)};
      content.insert(content.end(), Codes::kCounts, Codes::kCounts + 16);
      content.insert(content.end(), codes->symbols.begin(), codes->symbols.end());
      segment(0xC4, content);
    }
    segment(0xDD, {high(s.restart), low(s.restart)});
    Bytes content{low(int(s.components.size()))};
    for (const int c : s.components) content.insert(content.end(), {low(c + 1), 0});
    content.insert(content.end(), {low(s.first), low(s.last), low(s.high << 4 | s.low)});
    segment(0xDA, content);
    dc_ = &dc, ac_ = &ac, scan_ = &s, progressive_ = progressive;
    encode();
    return std::move(out_);
  }
  static Bytes end() { return {0xFF, 0xD9}; }

  Bytes file(const Script& script, bool progressive) {
    Bytes all = head(progressive ? 0xC2 : 0xC1);
    for (const Scan& s : script) {
      const Bytes part = scan(s, progressive);
      all.insert(all.end(), part.begin(), part.end());
    }
    all.insert(all.end(), {0xFF, 0xD9});
    return all;
  }

 private:
  static uint8_t high(int word) { return uint8_t(word >> 8); }
  static uint8_t low(int word) { return uint8_t(word); }
  void segment(int code, const Bytes& content) {
    const int size = int(content.size()) + 2;
    out_.insert(out_.end(), {0xFF, uint8_t(code), high(size), low(size)});
    out_.insert(out_.end(), content.begin(), content.end());
  }

  void put(uint32_t bits, int count) {
    while (count-- > 0) {
      byte_ = byte_ << 1 | (bits >> count & 1);
      if (++used_ < 8) continue;
      out_.push_back(uint8_t(byte_));
      if (out_.back() == 0xFF) out_.push_back(0);
      byte_ = 0, used_ = 0;
    }
  }
  void put(const Codes& codes, int symbol) { put(codes.code[size_t(symbol)], codes.length[size_t(symbol)]); }
  static int sizeOf(int magnitude) { return magnitude == 0 ? 0 : 1 + sizeOf(magnitude / 2); }
  static int magnitude(int value, int shift) { return std::abs(value) >> shift; }
  // A symbol with the run before and the size of the value, then the value.
  void putValue(const Codes& codes, int run, int value) {
    const int size = sizeOf(std::abs(value));
    put(codes, run << 4 | size);
    put(uint32_t(value > 0 ? value : value + (1 << size) - 1), size);
  }
  void putPending() {
    for (const int bit : pending_) put(uint32_t(bit), 1);
    pending_.clear();
  }
  // The run of blocks that end, with the bits that correct what these had.
  void endRun() {
    if (run_ == 0) return;
    const int size = sizeOf(run_) - 1;
    put(*ac_, size << 4);
    put(uint32_t(run_) & ((1u << size) - 1), size);
    run_ = 0;
    for (const int bit : runBits_) put(uint32_t(bit), 1);
    runBits_.clear();
  }
  void endBlock() {
    runBits_.insert(runBits_.end(), pending_.begin(), pending_.end());
    pending_.clear();
    if (++run_ == 0x7FFF || !progressive_ || random_() % 50 == 0) endRun();
  }

  void encodeDc(const Block& block, int* last) {
    if (scan_->high) return put(uint32_t(block[0] >> scan_->low) & 1, 1);
    const int value = block[0] >> scan_->low;
    putValue(*dc_, 0, value - *last);
    *last = value;
  }
  void encodeAc(const Block& block) {
    const int first = std::max(scan_->first, 1), shift = scan_->low;
    const bool refines = scan_->high > 0;
    int end = scan_->last;  // of those that get a code
    while (end >= first &&
           (refines ? magnitude(block[size_t(end)], shift) != 1 : !magnitude(block[size_t(end)], shift)))
      --end;
    int zeros = 0;
    for (int k = first; k <= scan_->last; ++k) {
      const int value = block[size_t(k)], m = magnitude(value, shift);
      if (m == 0) {
        ++zeros;
        continue;
      }
      for (; zeros > 15 && k <= end; zeros -= 16) {
        endRun();
        put(*ac_, 0xF0);
        putPending();
      }
      if (refines && m > 1) {
        pending_.push_back(m & 1);
        continue;
      }
      endRun();
      putValue(*ac_, zeros, value < 0 ? -m : m);
      putPending();
      zeros = 0;
    }
    if (end < scan_->last) endBlock();
  }

  void endInterval() {
    endRun();
    while (used_) put(1, 1);
  }
  void encode() {
    const bool single = scan_->components.size() == 1;
    const Component& only = picture_.components[size_t(scan_->components[0])];
    const int wide = single ? only.wide : picture_.mcusWide, all = wide * (single ? only.high : picture_.mcusHigh);
    int last[3] = {};
    for (int n = 0; n < all; ++n) {
      if (scan_->restart && n && n % scan_->restart == 0) {
        endInterval();
        out_.insert(out_.end(), {0xFF, uint8_t(0xD0 + (n / scan_->restart - 1) % 8)});
        std::fill(last, last + 3, 0);
      }
      for (size_t i = 0; i < scan_->components.size(); ++i) {
        const Component& c = picture_.components[size_t(scan_->components[i])];
        const int h = single ? 1 : c.h, v = single ? 1 : c.v;
        for (int b = 0; b < h * v; ++b) {
          const Block& block = c.blocks[size_t((n / wide * v + b / h) * c.stride + n % wide * h + b % h)];
          if (scan_->first == 0) encodeDc(block, &last[i]);
          if (scan_->last > 0) encodeAc(block);
        }
      }
    }
    endInterval();
  }

  const Picture& picture_;
  std::mt19937 random_;
  Bytes out_;
  uint32_t byte_ = 0;
  int used_ = 0;
  const Codes *dc_ = nullptr, *ac_ = nullptr;
  const Scan* scan_ = nullptr;
  bool progressive_ = false;
  int run_ = 0;
  std::vector<int> pending_, runBits_;
};

// A valid script: of each component DC first, then bands and bits in any order that is allowed.
inline Script anyScript(const Picture& picture, std::mt19937& random) {
  const auto below = [&](int n) { return int(random() % unsigned(n)); };
  const int components = int(picture.components.size()), mcus = picture.mcusWide * picture.mcusHigh;
  const auto restart = [&] { return below(3) ? 0 : 1 + below(mcus + 3); };
  Script open, script;  // what can come next
  const int low = below(4);
  std::vector<int> all;
  for (int i = 0; i < components; ++i) all.push_back(i);
  if (below(2)) {
    open.push_back({all, 0, 0, 0, low, 0});
  } else {
    for (const int i : all) open.push_back({{i}, 0, 0, 0, low, 0});
  }
  std::vector<Scan> bands;
  for (const int i : all)
    for (int first = 1; first < 64;) {
      const int last = below(2) ? 63 : first + below(64 - first);
      bands.push_back({{i}, first, last, 0, below(3) ? below(3) : below(14), 0});
      first = last + 1;
    }
  open.insert(open.end(), bands.begin(), bands.end());
  while (!open.empty()) {
    const size_t at = size_t(below(int(open.size())));
    Scan s = open[at];
    s.restart = restart();
    open.erase(open.begin() + ptrdiff_t(at));
    script.push_back(s);
    if (s.low == 0) continue;
    s.high = s.low--;
    const int middle = s.first + below(s.last - s.first + 1);
    if (middle < s.last && below(3) == 0) {
      open.push_back({s.components, s.first, middle, s.high, s.low, 0});
      s.first = middle + 1;
    }
    open.push_back(s);
  }
  return script;
}

}  // namespace scans
