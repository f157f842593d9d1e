// The image primitives one by one, on images that fit in the second-level cache and on ones that fit in none. They do
// not branch on samples, so any will do.
#include <memory>
#include "run.h"

namespace {

struct Buffers {
  explicit Buffers(VeliSize s)
      : size(s), floats(size_t(s.width * s.height), 1.0f), others(floats), bytes(floats.size(), 77) {}
  VeliSize size;
  std::vector<Vel32f> floats, others;
  Bytes bytes;
};

struct Row {
  const char* name;
  int channels;  // the width is divided by them
  VelStatus (*work)(Buffers& b, VeliSize size, int floatStep, int byteStep);
};

constexpr Vel32f kTiny[4] = {1e-9f, -1e-9f, 1e-9f, -1e-9f};  // what keeps numbers near 1
#define ROW(name, channels, ...)                                                              \
  {                                                                                           \
    name, channels, [](Buffers& b, VeliSize size, int floatStep, int byteStep) -> VelStatus { \
      return (void)byteStep, __VA_ARGS__;                                                     \
    }                                                                                         \
  }
const Row kRows[] = {
    ROW("Add C1", 1, orviAdd_32f_C1IR(b.others.data(), floatStep, b.floats.data(), floatStep, size)),
    ROW("Sub C3", 3, orviSub_32f_C3IR(b.others.data(), floatStep, b.floats.data(), floatStep, size)),
    ROW("Mul C4", 4, orviMul_32f_C4IR(b.others.data(), floatStep, b.floats.data(), floatStep, size)),
    ROW("Add AC4", 4, orviAdd_32f_AC4IR(b.others.data(), floatStep, b.floats.data(), floatStep, size)),
    ROW("AddC C1", 1, orviAddC_32f_C1IR(*kTiny, b.floats.data(), floatStep, size)),
    ROW("AddC C3", 3, orviAddC_32f_C3IR(kTiny, b.floats.data(), floatStep, size)),
    ROW("AddC AC4", 4, orviAddC_32f_AC4IR(kTiny, b.floats.data(), floatStep, size)),
    ROW("8u32f C1", 1, orviConvert_8u32f_C1R(b.bytes.data(), byteStep, b.floats.data(), floatStep, size)),
    ROW("8u32f AC4", 4, orviConvert_8u32f_AC4R(b.bytes.data(), byteStep, b.floats.data(), floatStep, size)),
    ROW("32f8u C1 truncated", 1, orviConvert_32f8u_C1R(b.floats.data(), floatStep, b.bytes.data(), byteStep, size, 0)),
    ROW("32f8u C1 nearest", 1, orviConvert_32f8u_C1R(b.floats.data(), floatStep, b.bytes.data(), byteStep, size, 1)),
    ROW("32f8u C1 halves away", 1,
        orviConvert_32f8u_C1R(b.floats.data(), floatStep, b.bytes.data(), byteStep, size, 2)),
    ROW("32f8u AC4 nearest", 4, orviConvert_32f8u_AC4R(b.floats.data(), floatStep, b.bytes.data(), byteStep, size, 1)),
};

}  // namespace

void registerBenchmarks(const Bytes&) {
  for (const VeliSize size : {VeliSize{240, 180}, {4092, 3072}}) {
    const auto buffers = std::make_shared<Buffers>(size);
    for (const Row& row : kRows)
      benchmarkOnEveryPath(
          std::string(row.name) + ", " + std::to_string(size.width) + "x" + std::to_string(size.height), "element",
          size.width * size.height, [=] {
            return row.work(*buffers, {size.width / row.channels, size.height}, size.width * 4, size.width);
          });
  }
}
