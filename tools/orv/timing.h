// How long work takes, in one line.
#pragma once
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>
#include "messages.h"
#include "paths.h"

// The median of `repeat` runs of work, which gives how many megapixels it worked on. Where the picture goes to standard
// output, on standard error.
template <class Work> void printMedianTime(int repeat, const std::string& out, const Work& work) {
  std::vector<double> times;
  double megapixels = 0;
  for (int i = 0; i < repeat; ++i) {
    const auto start = std::chrono::steady_clock::now();
    megapixels = work();
    times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(times.begin(), times.end());
  const double median = (times[times.size() / 2] + times[(times.size() - 1) / 2]) / 2;
  fprintf(isStandard(out) ? stderr : stdout, "%s: %.3f ms, %.1f MP/s\n", pathInForce().name, median * 1e3,
          megapixels / median);
}
