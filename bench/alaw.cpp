// A-law companding, beside the loop that a program would write instead: one look-up a sample.
#include <memory>
#include "run.h"

namespace {

constexpr int kLen = 1 << 16;

// The place of a sample or a code in its table.
size_t placeOf(Vel16s sample) { return Vel16u(sample) >> 3; }
size_t placeOf(Vel8u code) { return code; }
size_t placeOf(Vel32f sample) {
  const float v = sample * 32768;
  return placeOf(v > 32767 ? Vel16s(32767) : v < -32768 ? Vel16s(-32768) : Vel16s(v < 0 ? v - 0.5f : v + 0.5f));
}

template <class Src, class Dst> struct Vectors {
  Src src[kLen];
  Dst dst[kLen], table[8192];
};

// Fills the table with what the primitive itself makes of `numbers`, a one for every place.
template <class Src, class Dst> void benchmarkALaw(const std::string& operation,
                                                   VelStatus (*convert)(const Src*, Dst*, int),
                                                   const std::vector<Src>& numbers) {
  const auto v = std::make_shared<Vectors<Src, Dst>>();
  for (const Src& number : numbers) convert(&number, &v->table[placeOf(number)], 1);
  for (size_t i = 0; i < kLen; ++i) v->src[i] = numbers[(i * i + i * 40503) % numbers.size()];
  benchmark::RegisterBenchmark((operation + "/table").c_str(), [=](benchmark::State& state) {
    for (auto _ : state) {
      for (int i = 0; i < kLen; ++i) v->dst[i] = v->table[placeOf(v->src[i])];
      benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kLen);
    state.SetLabel("sample");
  });
  benchmarkOnEveryPath(operation, "sample", kLen, [=] { return convert(v->src, v->dst, kLen); });
}

}  // namespace

void registerBenchmarks(const Bytes&) {
  std::vector<Vel16s> words;
  std::vector<Vel32f> floats;
  for (int i = -4096; i < 4096; ++i) words.push_back(Vel16s(i * 8 + 3)), floats.push_back(Vel32f(words.back()) / 32768);
  std::vector<Vel8u> codes;
  for (int i = 0; i < 256; ++i) codes.push_back(Vel8u(i));
  benchmarkALaw("LinToALaw_16s8u", orvsLinToALaw_16s8u, words);
  benchmarkALaw("LinToALaw_32f8u", orvsLinToALaw_32f8u, floats);
  benchmarkALaw("ALawToLin_8u16s", orvsALawToLin_8u16s, codes);
  benchmarkALaw("ALawToLin_8u32f", orvsALawToLin_8u32f, codes);
}
