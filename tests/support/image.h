// Images between guard pages, and where two images, vectors or blocks differ.
#pragma once
#include <array>
#include <cstdlib>
#include <deque>
#include <iomanip>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>
#include "orv.h"
#include "support/guarded.h"
#include "support/paths.h"
#include "support/random.h"

enum class Number { kBits, kSigned, kFloat };

// What a plane has in one place.
struct Pixel {
  int channels = 1, bytes = 1;    // bytes of a channel
  Number number = Number::kBits;  // how a channel is shown
  int size() const { return channels * bytes; }
};
template <class T> constexpr Pixel pixelOf(int channels = 1) {
  return {channels, int(sizeof(T)),
          std::is_floating_point_v<T> ? Number::kFloat
          : std::is_signed_v<T>       ? Number::kSigned
                                      : Number::kBits};
}

// How a plane lies in its memory.
struct Layout {
  int pad = 0;           // bytes between rows
  bool upwards = false;  // row 0 comes last, and the step is negative
  Guard guard = Guard::kBehind;
  int shift = 0;     // bytes between the plane and the guard page that is next to it
  int stepUnit = 1;  // what a step has beyond whole units does not count
};

// Where things lie in a plane of exactly the memory that its rows take, but for the shift.
struct Shape {
  Shape(VeliSize planeSize, Pixel planePixel, Layout layout = {})
      : size(planeSize), pixel(planePixel), rowBytes(size.width * pixel.size()) {
    step = (rowBytes + layout.pad) * (layout.upwards ? -1 : 1);
    stride = step & -layout.stepUnit;
    const int rows = rowBytes && size.height ? (size.height - 1) * std::abs(stride) + rowBytes : 0;
    bytes = size_t(rows + layout.shift);
    first = layout.guard == Guard::kBefore ? layout.shift : 0;
    top = first + (stride < 0 && rows ? rows - rowBytes : 0);
  }
  size_t at(int x, int y, int channel = 0) const {
    return size_t(top + y * stride + x * pixel.size() + channel * pixel.bytes);
  }
  template <class Do> void forEach(const Do& act) const {
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x)
        for (int channel = 0; channel < pixel.channels; ++channel) act(x, y, channel);
  }

  VeliSize size;
  Pixel pixel;
  int rowBytes, step, stride;  // the step as a function is told it, and as it takes it
  int first, top;              // where the rows begin in the memory, and row 0
  size_t bytes;
};

// A plane, in guarded memory or as a copy of it. Elements may lie at any address.
template <class Memory> struct BasicPlane : Shape {
  template <class... Args> BasicPlane(const Shape& shape, Args&&... args)
      : Shape(shape), memory(std::forward<Args>(args)...) {}
  Vel8u& at(int x, int y, int channel = 0) { return memory.data()[Shape::at(x, y, channel)]; }
  const Vel8u& at(int x, int y, int channel = 0) const { return memory.data()[Shape::at(x, y, channel)]; }
  template <class T> T get(int x, int y, int channel = 0) const {
    T value;
    memcpy(&value, &at(x, y, channel), sizeof value);
    return value;
  }
  template <class T> void set(int x, int y, int channel, T value) { memcpy(&at(x, y, channel), &value, sizeof value); }

  Memory memory;
};
using Copied = BasicPlane<std::vector<Vel8u>>;

// Filled at random.
struct Plane : BasicPlane<Guarded> {
  Plane(VeliSize planeSize, Pixel planePixel, Layout layout, std::mt19937& random)
      : BasicPlane<Guarded>(Shape(planeSize, planePixel, layout), Shape(planeSize, planePixel, layout).bytes,
                            layout.guard) {
    fill(random);
  }
  void fill(std::mt19937& random) {
    for (size_t i = 0; i < bytes; i += 4) {
      const Vel32u four = Vel32u(random());
      memcpy(memory.data() + i, &four, std::min<size_t>(4, bytes - i));
    }
  }
  template <class T = Vel8u> T* data() const { return reinterpret_cast<T*>(memory.data() + (bytes ? top : 0)); }
  Copied copy() const { return {*this, memory.data(), memory.data() + bytes}; }
  void restore(const Copied& copy) { memcpy(memory.data(), copy.memory.data(), bytes); }
};

// Planes that make an image together, as functions take them.
struct Planes : std::deque<Plane> {
  Planes(int count, VeliSize planeSize, Pixel pixel, Layout layout, std::mt19937& random) {
    for (int i = 0; i < count; ++i) add(planeSize, pixel, layout, random);
  }
  void add(VeliSize planeSize, Pixel pixel, Layout layout, std::mt19937& random) {
    const Plane& plane = emplace_back(planeSize, pixel, layout, random);
    for (size_t i = size() - 1; i < 4; ++i) top[i] = plane.data(), step[i] = plane.step;
  }
  std::vector<Copied> copy() const {
    std::vector<Copied> all;
    for (const Plane& plane : *this) all.push_back(plane.copy());
    return all;
  }
  Vel8u* top[4] = {};
  int step[4] = {};
};
// A channel's byte, in the planes of an image or in a copy of them.
template <class P> auto& channelAt(P& planes, int x, int y, int channel) {
  return planes.size() == 1 ? planes[0].at(x, y, channel) : planes[size_t(channel)].at(x, y);
}

// ---- Comparing

// "0x41", and what a number comes to that is not its bits.
inline std::string shown(const Vel8u* p, Pixel pixel) {
  std::ostringstream out;
  Vel64u bits = 0;
  memcpy(&bits, p, size_t(pixel.bytes));
  out << "0x" << std::hex << std::uppercase << std::setfill('0') << std::setw(2 * pixel.bytes) << bits << std::dec;
  if (pixel.number == Number::kSigned)
    out << " (" << (int64_t(bits << (64 - 8 * pixel.bytes)) >> (64 - 8 * pixel.bytes)) << ')';
  if (pixel.number == Number::kFloat && pixel.bytes == 4) {
    float value;
    memcpy(&value, p, sizeof value);
    out << " (" << std::setprecision(9) << value << ')';
  }
  return out.str();
}

// "x 17, y 0, channel 2: 0x41, not 0x40; 1 of 148 bytes; seed 8; path p8"
inline testing::AssertionResult compareMemory(const Vel8u* got, const Vel8u* expected, const Shape& shape) {
  if (shape.bytes == 0 || memcmp(got, expected, shape.bytes) == 0) return testing::AssertionSuccess();
  size_t i = 0, wrong = 0;
  for (size_t k = shape.bytes; k-- > 0;)
    if (got[k] != expected[k]) i = k, ++wrong;
  const int place = int(i) - shape.first, stride = std::max(std::abs(shape.stride), 1), row = place / stride;
  const int byte = place % stride, y = shape.stride < 0 ? shape.size.height - 1 - row : row;
  std::ostringstream out;
  Pixel pixel = shape.pixel;
  if (place < 0 || row >= shape.size.height || byte >= shape.rowBytes) {
    pixel = Pixel();
    if (place < 0 || row >= shape.size.height || y == (shape.stride < 0 ? 0 : shape.size.height - 1))
      out << "outside the rows, byte " << place << " from their first";
    else
      out << "padding after row " << y << ", byte " << byte - shape.rowBytes;
  } else {
    i -= size_t(byte % pixel.bytes);
    out << "x " << byte / pixel.size();
    if (shape.size.height > 1) out << ", y " << y;
    if (pixel.channels > 1) out << ", channel " << byte / pixel.bytes % pixel.channels;
  }
  out << ": " << shown(got + i, pixel) << ", not " << shown(expected + i, pixel) << "; " << wrong << " of "
      << shape.bytes << " bytes";
  if (const unsigned* seed = Random::seedInUse()) out << "; seed " << *seed;
  return testing::AssertionFailure() << out.str() << "; path " << pathInForce().name;
}

// Whether memory holds what is expected, in padding and up to the guard pages, too: ASSERT_TRUE(expectSame(...)).
inline testing::AssertionResult expectSame(const Plane& got, const Copied& expected) {
  const testing::AssertionResult result = compareMemory(got.memory.data(), expected.memory.data(), got);
  if (!result || got.memory.intact()) return result;
  return testing::AssertionFailure() << "written outside the plane's memory; path " << pathInForce().name;
}
inline testing::AssertionResult expectSame(const Planes& got, const std::vector<Copied>& expected) {
  for (size_t i = 0; i < got.size(); ++i)
    if (const auto result = expectSame(got[i], expected[i]); !result)
      return got.size() > 1 ? testing::AssertionFailure() << "plane " << i << ", " << result.message() : result;
  return testing::AssertionSuccess();
}
// Vectors, whose elements x counts.
template <class T> testing::AssertionResult expectSame(const T* got, const T* expected, size_t n) {
  return compareMemory(reinterpret_cast<const Vel8u*>(got), reinterpret_cast<const Vel8u*>(expected),
                       Shape({int(n), 1}, pixelOf<T>()));
}
template <class T> testing::AssertionResult expectSame(const std::vector<T>& got, const std::vector<T>& expected) {
  if (got.size() == expected.size()) return expectSame(got.data(), expected.data(), got.size());
  return testing::AssertionFailure() << got.size() << " elements, not " << expected.size() << "; path "
                                     << pathInForce().name;
}
// Blocks of 8 by 8.
template <class T>
testing::AssertionResult expectSame(const std::array<T, 64>& got, const std::array<T, 64>& expected) {
  return compareMemory(reinterpret_cast<const Vel8u*>(got.data()), reinterpret_cast<const Vel8u*>(expected.data()),
                       Shape({8, 8}, pixelOf<T>()));
}
