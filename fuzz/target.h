// What fuzz targets share: values from the input, memory with exact ends, every code path, and saying what does not hold.
#pragma once
#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>
#include "support/guarded.h"
#include "tools/support/code_paths.h"

// Runs one input. Any bytes are one, and the same bytes do the same every time.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

using FuzzBytes = std::vector<uint8_t>;

// Where the target is, for the report of a failure; or empty.
inline const char* whereabouts = "";

// Says what does not hold and aborts, which makes the driver keep the input.
[[gnu::format(printf, 2, 3)]] inline void require(bool holds, const char* what, ...) {
  if (holds) return;
  va_list values;
  va_start(values, what);
  vfprintf(stderr, what, values);
  va_end(values);
  fprintf(stderr, " (path %s)\n", pathInForce().name);
  abort();
}

// The input, value by value. After its end there are zeros.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}
  size_t left() const { return size_t(end_ - at_); }
  int byte() { return at_ < end_ ? *at_++ : 0; }
  int word() {
    const int high = byte();
    return high << 8 | byte();
  }
  uint32_t dword() {
    const auto high = uint32_t(word());
    return high << 16 | uint32_t(word());
  }
  FuzzBytes bytes(size_t count) {
    FuzzBytes all(at_, at_ + std::min(count, left()));
    at_ += all.size();
    all.resize(count);
    return all;
  }
  FuzzBytes rest() { return bytes(left()); }

 private:
  const uint8_t *at_, *end_;
};

// Memory that ends where a page begins that faults. It stays for the next input: mapping takes longer than most of them.
class EdgeMemory {
 public:
  // The last `size` bytes. Those in front of them hold a pattern, and intact() tells whether they still do.
  uint8_t* last(size_t size) {
    if (!memory_ || memory_->size() < size + kFront) memory_.emplace(2 * size + kFront, Guard::kBehind);
    data_ = memory_->data() + memory_->size() - size;
    memset(data_ - kFront, kPattern, kFront);
    return data_;
  }
  uint8_t* copy(const uint8_t* from, size_t size) {
    uint8_t* const to = last(size);
    if (size) memcpy(to, from, size);
    return to;
  }
  uint8_t* copy(const FuzzBytes& from) { return copy(from.data(), from.size()); }
  uint8_t* data() const { return data_; }
  bool intact() const {
    return std::all_of(data_ - kFront, data_, [](uint8_t b) { return b == kPattern; });
  }

 private:
  static constexpr size_t kFront = 64;
  static constexpr uint8_t kPattern = 0xA5;
  std::optional<Guarded> memory_;
  uint8_t* data_ = nullptr;
};

// The paths that this processor can run, of which the first is the plainest.
inline const std::vector<CodePath>& pathsHere() {
  static const std::vector<CodePath> paths = [] {
    std::vector<CodePath> all;
    for (const CodePath& path : kCodePaths)
      if (processorHas(path)) all.push_back(path);
    return all;
  }();
  return paths;
}
// act(whether it is the first) with each path in force.
template <class Act> void onEveryPath(const Act& act) {
  bool first = true;
  for (const CodePath& path : pathsHere()) {
    forcePath(path);
    act(first);
    first = false;
  }
  velStaticInit();
}
