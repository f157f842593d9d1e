// The program: bench_... [Google Benchmark's options] PHOTO
#include "run.h"
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

int main(int argc, char** argv) try {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) throw std::runtime_error("give Google Benchmark's options and one photo");
  std::ifstream stream(argv[1], std::ios::binary);
  const Bytes file{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream) throw std::runtime_error(std::string(argv[1]) + ": cannot be read");
  registerBenchmarks(file);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
} catch (const std::exception& e) {
  fprintf(stderr, "bench: %s\n", e.what());
  return 1;
}
