// Calls of every primitive, with arguments that a source of numbers decides: valid for the most part, and in memory of
// exactly the size that each needs, next to a page that faults. The same numbers give the same call in both word sizes
// and with every compiler.
//
//   call.draw(primitives()[i], numbers);    arguments, and what their memory holds
//   call.begin(turn), call.make();          on one path, then on another
//   call.buffers                            what has come out of it
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>
#include "orv.h"

// ---- What decides

class Numbers {
 public:
  virtual ~Numbers() = default;
  // 0 to 255. Where all are 0, arguments are small and valid.
  virtual int byte() = 0;

  uint32_t dword() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | uint32_t(byte());
    return value;
  }
  int below(int n) { return n <= 256 ? byte() % n : int(dword() % uint32_t(n)); }
  int range(int low, int high) { return low + below(high - low + 1); }
  bool oneIn(int n) { return below(n) == n - 1; }
  template <class T, size_t n> T pick(const T (&list)[n]) { return list[below(int(n))]; }
  // Whether a call that can work on megabytes does so.
  virtual bool big() { return byte() == 255 && byte() >= 240; }
};

// ---- What is called

// What a name says of one side of a primitive.
struct Format {
  int element = 1, channels = 1, planes = 1;  // element: in bytes
  bool floats = false;
  int pixel() const { return element * channels; }
};
class Call;
struct Primitive {
  const char *name, *family;  // the name without vel or orv, where a primitive has both
  int (*orv)(const Call&);
  int (*vel)(const Call&);
  void (*const* draw)(Call&);  // up to a null: what draws its arguments
  Format from, to;
};
// Those of src/core/primitives.def in its order, then functions of the wrapper layer that lead to them.
const std::vector<Primitive>& primitives();

// ---- A call

enum class Role { kSource, kDestination, kScratch };
struct Buffer {
  Role role;
  uint8_t* p;
  size_t size;
  uint8_t *from, *to;  // with the bytes around it
  // What may be written of a destination.
  uint8_t* first;
  size_t rows, row, step;
  std::vector<uint8_t> before;  // what lies from `from` to `to` before the call
};
// Which values of an argument are refused.
enum class Refused { kNothing, kNull, kNegative, kNotPositive };
struct Value {
  char kind;  // pointer, integer, float, double, size (or point), or rectangle: its first letter
  Refused refused;
  int v[4];
  double real;
  uint8_t* p;
  int members;  // of a list of pointers, each of which is refused if it is null
};

struct Drawn {
  const Primitive* primitive = nullptr;
  bool viaOrv = false, mallocFails = false;
  bool big = false;                         // takes long
  bool trusts = false;                      // checks nothing
  Vel32u mxcsr = 0x1F80;                    // to be set during the call
  size_t allocated = 0;                     // the size of the block whose address the last argument is to receive
  VelStatus (*allocate)(void**) = nullptr;  // gives the block that the call releases

  // For what draws arguments.
  Numbers* numbers = nullptr;
  Format from, to;
  std::array<Value, 16> values;
  int count = 0, bufferCount = 0;
  int w = 0, h = 0;          // in pixels, or elements
  bool stepped = false;      // there are steps
  bool checksSteps = false;  // which must be positive
  int stepUnit = 1;          // what a step has beyond whole units does not count
  int step = 0;              // of the last image
  bool mayBeSource = false;  // the destination
  VeliPoint origin = {};     // of what there is of an image
  VeliRect regions[2] = {};  // of a resizing: source and destination
  int interpolation = 0;
  // Images that were drawn: the argument, its step, its buffers, and whether rows lie apart.
  struct Image {
    int value, step, buffer, buffers;
    bool rowsApart;
  };
  std::array<Image, 4> images;
  int imageCount = 0;
};
class Call : public Drawn {
 public:
  void draw(const Primitive& which, Numbers& source);
  // Before each call: memory as it was drawn, and other bytes each turn in scratch memory and blocks of the heap.
  void begin(int turn);
  // The status, or the bits of a result that is none.
  int make() const { return (viaOrv ? primitive->orv : primitive->vel)(*this); }
  // After it: whether what it may not write is as before, and the block that it allocated, or null.
  bool intact(const Buffer& b, int status) const;
  const uint8_t* blockOf(int status) const;
  std::string text() const;

  static constexpr size_t kMostBytes = size_t(16) << 20;  // in a buffer
  Numbers& in() { return *numbers; }
  Buffer& buffer(Role role, size_t size);
  void fill(uint8_t* p, size_t size, const Format& format);
  Value& add(char kind, Refused refused);
  void pointer(const void* p) { add('p', Refused::kNull).p = static_cast<uint8_t*>(const_cast<void*>(p)); }
  void integer(int v, Refused refused = Refused::kNothing) { add('i', refused).v[0] = v; }
  void size(int width, int height, Refused refused = Refused::kNotPositive);
  void rectangle(const VeliRect& r);

  std::array<Buffer, 14> buffers;  // bufferCount of them

 private:
  void spoil();
  bool writesNothing(int status) const;
  std::string textOf(const uint8_t* p) const;
};
// For what is wrong with the table.
[[noreturn]] void failCall(const char* what, const char* name);

// Blocks of i_malloc that the call has not released. The first Call takes the hooks.
int liveBlocks();
