// Beside what a user would pick instead: bench_peers [Google Benchmark's options] PHOTO. The environment says which code
// path of ours is forced (BENCH_PATH, by its name, or "each" for all, under their names) and what the others are held at
// (BENCH_PEERS: sse41 or avx2).
#include "peers.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <ctime>
#ifdef __x86_64__
#include <opencv2/core/ocl.hpp>
#endif

namespace {

std::string_view setting(const char* name) {
  const char* value = getenv(name);
  return value ? value : "";
}

// Memory for all rows, of bytes or of floats; whichever is asked for is filled. It only grows.
class Arena {
 public:
  explicit Arena(bool floats) : floats_(floats) {}
  Vel8u* get(size_t bytes) {
    if (bytes <= size_) return memory_.get();
    constexpr size_t kPage = 4096;
    size_ = (bytes + kPage - 1) / kPage * kPage;
    memory_.reset();
    memory_.reset(static_cast<Vel8u*>(aligned_alloc(kPage, size_)));
    if (!memory_) throw std::bad_alloc();
    fill();
    return memory_.get();
  }

 private:
  // A slope with grain on it. No float is denormal, nor becomes so where rows add to it.
  void fill() {
    uint32_t random = 1;
    for (size_t i = 0; i < size_; i += floats_ ? 4 : 1) {
      random = random * 1664525 + 1013904223;
      const auto sample = Vel8u((i / 8 % 192) + (random >> 26));
      const float value = 1 + float(sample) / 2;
      if (floats_)
        memcpy(&memory_[i], &value, sizeof value);
      else
        memory_[i] = sample;
    }
  }
  struct Free {
    void operator()(Vel8u* memory) const { free(memory); }
  };
  const bool floats_;
  size_t size_ = 0;
  std::unique_ptr<Vel8u[], Free> memory_;
};
Arena& arena(bool floats, bool destination) {
  static Arena arenas[2][2] = {{Arena(false), Arena(false)}, {Arena(true), Arena(true)}};
  return arenas[floats][destination];
}

// The copies that calls take turns with. They are larger than caches together.
class Copies {
 public:
  Copies(const Set& set, const Row& row) : src_(roomy(row.srcBytes)), dst_(roomy(row.dstBytes)) {
    constexpr size_t kTogether = 160 << 20;
    if (set.turns) count_ = (kTogether + src_ + dst_ - 1) / (src_ + dst_);
    from_ = arena(row.floats, false).get(src_ * count_);
    to_ = arena(row.floats, true).get(dst_ * count_ + kApart) + kApart;
  }
  template <class Function> auto call(const Function& function) {
    turn_ = (turn_ + 1) % count_;
    return function(from_ + turn_ * src_, to_ + turn_ * dst_);
  }

 private:
  // Whole pages, and one more for vectors that end after the last pixel.
  static size_t roomy(size_t bytes) { return (bytes + 8192) / 4096 * 4096; }
  // Reads would wait for writes to memory at the same place of another page.
  static constexpr size_t kApart = 2048;
  const size_t src_, dst_;
  size_t count_ = 1, turn_ = 0;
  Vel8u *from_, *to_;
};

double distance(const Vel8u* a, const Vel8u* b, const Row& row) {
  double sum = 0;
  for (size_t i = 0; i + 4 <= row.dstBytes; i += 4) {
    float x, y;
    memcpy(&x, a + i, 4);
    memcpy(&y, b + i, 4);
    for (int k = 0; k < 4; ++k) sum += row.floats ? std::abs(x - y) : std::abs(a[i + size_t(k)] - b[i + size_t(k)]);
  }
  return sum / double(row.dstBytes);
}

// Times are worth comparing only where the results are.
void requireSameResult(const Row& row, const Call& ours, const Peer& peer) {
  Vel8u* const src = arena(row.floats, false).get(row.srcBytes);
  std::vector<Vel8u> start(row.dstBytes, row.floats ? 0 : 7), results[2];
  for (std::vector<Vel8u>& result : results) {
    Vel8u* const dst = arena(row.floats, true).get(row.dstBytes + 64);
    memcpy(dst, start.data(), start.size());
    if (&result == results)
      ours(src, dst);
    else
      peer.call(src, dst);
    result.assign(dst, dst + row.dstBytes);
  }
  const double mean = distance(results[0].data(), results[1].data(), row);
  if (!(mean <= 1))
    throw std::runtime_error(row.name + ": " + peer.name + " gives another result, by " + std::to_string(mean));
}

// What a short piece of work takes that keeps the core busy: more where another thread shares the core, or its clock falls.
__attribute__((target("sse2"))) double probe() {
  using Dwords = uint32_t __attribute__((vector_size(16)));
  const auto now = [] {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
  };
  static Dwords values[64];
  Dwords a = {}, b = {}, c = {}, d = {}, e = {};
  const double start = now();
  for (int i = 0; i < 100000; ++i) {
    a += values[i % 32], b ^= values[32 + i % 32], c -= a, d += b, e ^= c;
    asm volatile("" : "+x"(a), "+x"(b), "+x"(c), "+x"(d), "+x"(e));
  }
  return now() - start;
}

template <class Function> void add(const Set& set, const Row& row, const std::string& who, const std::string& note,
                                   const Function& work, const CodePath* path = nullptr) {
  benchmark::RegisterBenchmark((row.name + '/' + who + '/' + set.name).c_str(), [=](benchmark::State& state) {
    if (path) forcePath(*path);
    Copies copies(set, row);
    const double before = probe();
    for (auto _ : state) copies.call(work);
    state.counters["probe"] = std::max(before, probe());
    state.SetItemsProcessed(int64_t(double(state.iterations()) * row.count));
    state.SetLabel(row.unit + ("|" + note));
  });
}

}  // namespace

Instructions allowed() {
  const std::string_view name = setting("BENCH_PEERS");
  return name == "sse41" ? Instructions::kSse41 : name == "avx2" ? Instructions::kAvx2 : Instructions::kWidest;
}

void compare(const Set& set, const Row& row, const Call& ours, const std::vector<Peer>& peers) {
  if (std::none_of(peers.begin(), peers.end(), [](const Peer& peer) { return bool(peer.call); })) return;
  const auto work = [=](Vel8u* src, Vel8u* dst) {
    if (ours(src, dst) < velStsNoErr) throw std::runtime_error(row.name + ": a primitive failed");
  };
  if (setting("BENCH_PATH") == "each") {
    for (const CodePath& path : kCodePaths)
      if (processorHas(path)) add(set, row, path.name, "", work, &path);
    return;
  }
  add(set, row, "libOrv", "", work);
  for (const Peer& peer : peers) {
    if (!peer.call) continue;
    add(set, row, peer.name, peer.note, peer.call);
    if (!set.turns && !*peer.note && row.srcBytes) requireSameResult(row, ours, peer);
  }
}

void registerBenchmarks(const Bytes& file) {
  velStaticInit();
  for (const CodePath& path : kCodePaths)
    if (path.name == setting("BENCH_PATH")) forcePath(path);
#ifdef __x86_64__
  using namespace libyuv;
  constexpr int kSse41 = kCpuHasX86 | kCpuHasSSE2 | kCpuHasSSSE3 | kCpuHasSSE41,
                kAvx2 = kSse41 | kCpuHasSSE42 | kCpuHasAVX | kCpuHasAVX2 | kCpuHasERMS | kCpuHasFMA3 | kCpuHasF16C;
  MaskCpuFlags(allowed() == Instructions::kSse41 ? kSse41 : allowed() == Instructions::kAvx2 ? kAvx2 : ~0);
  cv::setNumThreads(1);
  cv::ocl::setUseOpenCL(false);
#endif
  static constexpr Set kSets[] = {{"small", {320, 240}, false},  {"large", {3264, 2448}, true},
                                  {"1 MP", {1152, 864}, true},   {"4 MP", {2304, 1728}, true},
                                  {"16 MP", {4608, 3456}, true}, {"64 MP", {9216, 6912}, true}};
  for (const Set& set : kSets) {
    compareColour(set);
    compareMoves(set);
    compareResizing(set);
    compareImages(set);
  }
  compareBlocks(kSets[0], file);
}
