// Benchmarks that run once per code path, under the name "operation/path".
#pragma once
#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <vector>
#include "tools/support/code_paths.h"

// One call of `work` does `count` units of work and gives the statuses of all, combined with OR.
template <class Work>
void benchmarkOnEveryPath(const std::string& operation, const char* unit, int count, const Work& work) {
  for (const CodePath& path : kCodePaths) {
    if (!processorHas(path)) continue;
    benchmark::RegisterBenchmark((operation + '/' + path.name).c_str(), [=](benchmark::State& state) {
      VelStatus status = forcePath(path);
      if (velJumpIndexForMergedLibs != path.index) state.SkipWithError("the code path could not be forced");
      for (auto _ : state) status |= work();
      if (status != velStsNoErr) state.SkipWithError("a primitive did not give velStsNoErr");
      state.SetItemsProcessed(state.iterations() * count);
      state.SetLabel(unit);
    });
  }
}

using Bytes = std::vector<uint8_t>;

// Registers a program's benchmarks on a file that has been read into memory and stays there.
void registerBenchmarks(const Bytes& file);
