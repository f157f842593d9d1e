// The library is loaded and unloaded a thousand times, by several threads at once, while a path is chosen, and around a fork:
// each call gives what it gives alone, and nothing is left of it.
#include <dlfcn.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>
#include "orv.h"

#define CHECK(what)                                                      \
  do {                                                                   \
    if (!(what)) {                                                       \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #what); \
      _exit(1);                                                          \
    }                                                                    \
  } while (0)

namespace {

const char* path;

class Library {
 public:
  Library() : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) { CHECK(handle_); }
  ~Library() { CHECK(dlclose(handle_) == 0); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  template <class F> F* function(const char* name, F*) const {
    auto* const f = reinterpret_cast<F*>(dlsym(handle_, name));
    CHECK(f);
    return f;
  }
  template <class T> T* variable(const char* name) const { return static_cast<T*>(dlsym(handle_, name)); }

 private:
  void* const handle_;
};
#define FUNCTION(library, name) (library).function(#name, static_cast<decltype(name)*>(nullptr))

// Primitives of which one has two variants, and one allocates; their results as one number.
unsigned long work(const Library& library) {
  constexpr int kWidth = 101;
  Vel8u rgb[3 * kWidth], ycc[3 * kWidth], mixed[3 * kWidth];
  for (int i = 0; i < 3 * kWidth; ++i) rgb[i] = Vel8u(i * 151 + (i >> 3));
  CHECK(FUNCTION(library, orviRGBToYCbCr_8u_C3R)(rgb, 3 * kWidth, ycc, 3 * kWidth, {kWidth, 1}) == velStsNoErr);
  CHECK(FUNCTION(library, orvsXor_8u)(rgb, ycc, mixed, 3 * kWidth) == velStsNoErr);
  VeliDecodeHuffmanState* state = nullptr;
  CHECK(FUNCTION(library, orviDecodeHuffmanStateInitAlloc_JPEG_8u)(&state) == velStsNoErr);
  CHECK(FUNCTION(library, orviDecodeHuffmanStateFree_JPEG_8u)(state) == velStsNoErr);
  int size = 0;
  FUNCTION(library, velGetMaxCacheSizeB)(&size);
  unsigned long sum = static_cast<unsigned long>(size);
  for (const Vel8u b : mixed) sum = sum * 31 + b;
  return sum;
}

unsigned long expected;
bool isLoaded() {
  void* const handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  return handle && dlclose(handle) == 0;
}

// What a process has: mappings, open files, bytes of the heap.
struct Holdings {
  size_t mappings = 0, files = 0, heap = 0;
  Holdings() {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) ++mappings;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) files += !entry.path().empty();
    heap = mallinfo2().uordblks;
  }
};

void loadOften() {
  size_t heap = 0;
  Holdings early;
  for (int i = 0; i < 1000; ++i) {
    CHECK(work(Library()) == expected);
    CHECK(!isLoaded());
    if (i == 50) early = Holdings(), heap = mallinfo2().uordblks;
  }
  CHECK(mallinfo2().uordblks <= heap + 4096);  // less than four bytes a time
  const Holdings late;
  CHECK(late.mappings <= early.mappings + 1);  // the heap may have grown into two
  CHECK(late.files == early.files);
}

template <class Run> void inThreads(int count, const Run& run) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(run, i);
  for (std::thread& t : threads) t.join();
}

// A thread outlives the library that it has used.
void loadInThreads() {
  inThreads(4, [](int) {
    for (int i = 0; i < 200; ++i) CHECK(work(Library()) == expected);
  });
  CHECK(!isLoaded());
}

// A path is chosen, and the mask of features set, while others call, and fork.
void chooseWhileOthersCall() {
  const Library library;
  std::atomic<bool> done = false;
  const Vel32s highest = *library.variable<Vel32s>("velJumpIndexForMergedLibs");
  inThreads(4, [&](int thread) {
    if (thread == 0) {
      constexpr struct {
        VelCpuType code;
        int index;
      } kPaths[] = {{0, 0}, {33, 2}, {36, 3}, {35, 4}, {70, 5}};
      for (int i = 0; i < 20000; ++i) {
        const auto& p = kPaths[i % 5];
        if (p.index <= highest && p.index != 3) FUNCTION(library, velStaticInitCpu)(p.code);
        FUNCTION(library, velSetCpuFeaturesMask)(i & 16 ? 0xFDF : 0x1F);
        if (i % 7 == 0) FUNCTION(library, velStaticInit)();
      }
      done = true;
    }
    for (int i = 0; !done || i < 20; ++i) {
      CHECK(work(library) == expected);
      if (thread != 3 || i % 64) continue;
      const pid_t child = fork();
      if (child == 0) {
        FUNCTION(library, velStaticInit)();
        CHECK(work(library) == expected);
        _exit(0);
      }
      int status = -1;
      CHECK(child > 0 && waitpid(child, &status, 0) == child && status == 0);
    }
  });
}

}  // namespace

int main(int, char** argv) {
  path = argv[1];
  expected = work(Library());
  loadOften();
  loadInThreads();
  chooseWhileOthersCall();
  return 0;
}
