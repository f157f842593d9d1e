// Memory whose neighbourhood faults: a byte read or written outside ends the test.
#pragma once
#include <sys/mman.h>
#include <unistd.h>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#endif

// Tells memcheck, where the program runs under it, that nobody may compute from what is there until it is written.
inline void markUndefined([[maybe_unused]] void* memory, [[maybe_unused]] size_t size) {
#ifdef VALGRIND_MAKE_MEM_UNDEFINED
  (void)VALGRIND_MAKE_MEM_UNDEFINED(memory, size);
#endif
}

// Which end of the buffer touches a page that cannot be accessed.
enum class Guard { kBefore, kBehind };

// `size` bytes filled with `fill`, at the very start or end of accessible memory. The accessible bytes on the other
// side hold a pattern; intact() tells whether they still do.
class Guarded {
 public:
  Guarded(size_t size, Guard guard, uint8_t fill = 0) : size_(size) {
    const size_t page = size_t(sysconf(_SC_PAGESIZE));
    room_ = (size + page - 1) / page * page;
    if (room_ == 0) room_ = page;
    whole_ = room_ + 2 * page;
    base_ = static_cast<uint8_t*>(mmap(nullptr, whole_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED || mprotect(base_ + page, room_, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    inner_ = base_ + page;
    data_ = guard == Guard::kBefore ? inner_ : inner_ + room_ - size;
    memset(inner_, kPattern, room_);
    if (size) memset(data_, fill, size);
  }
  ~Guarded() { munmap(base_, whole_); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  uint8_t* data() const { return data_; }
  template <class T> T* as() const { return reinterpret_cast<T*>(data_); }
  size_t size() const { return size_; }
  uint8_t& operator[](size_t i) const { return data_[i]; }

  bool intact() const {
    for (uint8_t* p = inner_; p < inner_ + room_; ++p)
      if ((p < data_ || p >= data_ + size_) && *p != kPattern) return false;
    return true;
  }

 private:
  static constexpr uint8_t kPattern = 0xA5;
  size_t size_, room_, whole_;
  uint8_t *base_, *inner_, *data_;
};
