// An image between guards.
#pragma once
#include <random>
#include <vector>
#include "orv.h"
#include "support/guarded.h"

struct Layout {
  int pad;       // bytes between rows
  bool upwards;  // row 0 comes last, and the step is negative
  Guard guard;
};

// An image in exactly the memory that its rows take, filled at random.
struct Plane {
  Plane(int bytes, int height, Layout layout, std::mt19937& random)
      : rows(height),
        step((bytes + layout.pad) * (layout.upwards ? -1 : 1)),
        memory(size_t((rows - 1) * (bytes + layout.pad) + bytes), layout.guard) {
    for (size_t i = 0; i < memory.size(); ++i) memory[i] = Vel8u(random());
  }
  std::vector<Vel8u> copy() const { return {memory.data(), memory.data() + memory.size()}; }
  // Where element x of row y lies in the memory, or in a copy of it.
  template <class T> size_t at(int x, int y) const {
    return size_t((step < 0 ? y - rows + 1 : y) * step) + size_t(x) * sizeof(T);
  }
  template <class T> T get(int x, int y) const {
    T value;
    memcpy(&value, &memory[at<T>(x, y)], sizeof value);
    return value;
  }
  template <class T> void set(int x, int y, T value) const { memcpy(&memory[at<T>(x, y)], &value, sizeof value); }
  template <class T> T* top() const { return reinterpret_cast<T*>(memory.data() + at<Vel8u>(0, 0)); }

  int rows, step;
  Guarded memory;
};
