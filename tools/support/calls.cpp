// Memory, contents and arguments of calls: what does not depend on which primitive is called.
#include "tools/support/calls.h"
#include <sys/mman.h>
#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>

void failCall(const char* what, const char* name) {
  fprintf(stderr, "%s: %s\n", name, what);
  abort();
}

namespace {

// ---- Memory

constexpr size_t kPage = 4096, kSlot = Call::kMostBytes, kGuard = 64;
constexpr int kBufferSlots = 14, kHeapSlots = 4;
constexpr char kNoRoom[] = "there is not enough memory for the buffers of calls";

// Accessible memory of kSlot bytes between pages that fault. All are mapped once, and pages that no call touches take
// no room.
uint8_t* slot(int i) {
  static uint8_t* const base = [] {
    constexpr size_t kAll = (kBufferSlots + kHeapSlots) * (kSlot + kPage) + kPage;
    void* const all = mmap(nullptr, kAll, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (all == MAP_FAILED) throw std::runtime_error(kNoRoom);
    auto* const first = static_cast<uint8_t*>(all) + kPage;
    for (size_t k = 0; k < kBufferSlots + kHeapSlots; ++k)
      if (mprotect(first + k * (kSlot + kPage), kSlot, PROT_READ | PROT_WRITE)) throw std::runtime_error(kNoRoom);
    return first;
  }();
  return base + size_t(i) * (kSlot + kPage);
}

// The allocator behind the hooks: blocks at the ends of slots of their own.
struct {
  int live, blocks;
  bool fails;
  uint8_t poison;
} heap;
void* allocateBlock(size_t size) {
  if (heap.fails || heap.blocks == kHeapSlots || size > Call::kMostBytes) return nullptr;
  ++heap.live;
  uint8_t* const end = slot(kBufferSlots + heap.blocks++) + kSlot;
  uint8_t* const p = end - (size + 15) / 16 * 16;
  memset(p, heap.poison, size_t(end - p));
  return p;
}
void releaseBlock(void* p) { heap.live -= p != nullptr; }

// ---- Contents

// Kinds of them: a pool each, of which calls take pieces.
enum Content { kAny, kEdges, kRuns, kSmall, kWordEdges, kByteLike, kSpecial, kPlain, kTiny, kALaw, kContents };
constexpr size_t kPool = 1 << 16;

float floatOf(uint32_t bits) {
  float f;
  memcpy(&f, &bits, sizeof f);
  return f;
}
// Or one of the two floats next to it.
float nearly(float f, uint32_t r) {
  const float ends[] = {std::nextafter(f, -INFINITY), f, std::nextafter(f, INFINITY)};
  return ends[r % 3];
}
// Quarters of bytes; infinities, NaNs and what is at the ends of integers; denormals; what companding rounds.
float floatFor(Content content, uint32_t r) {
  constexpr float kEnds[] = {0.0f,    -0.0f,    INFINITY,       -INFINITY, NAN,           -NAN,   FLT_MIN,
                             FLT_MAX, -FLT_MAX, 0.5f,           -0.5f,     255.0f,        255.5f, 65535.0f,
                             0x1p31f, -0x1p31f, 0x1.fffffep30f, 0x1p23f,   0x1.fffffep-2f};
  const int high = int(r >> 8);
  switch (content) {
    case kByteLike: return nearly(float(high % 1044 - 4) * 0.25f, r);
    case kSpecial: return r % 4 ? float(high % 601 - 300) + 0.5f : kEnds[size_t(high) % std::size(kEnds)];
    case kPlain: return float(high - 8388608) / 8192;
    case kTiny: return floatOf(r & 0x80FFFFFF);
    default: return nearly(float(high % 131200 - 65600) / (r & 4 ? 65536 : 1048576), r);
  }
}
using Pool = std::array<uint8_t, kPool>;
void fillPool(Content content, Pool& pool) {
  constexpr uint8_t kByteEnds[] = {0, 0, 1, 2, 15, 16, 127, 128, 129, 235, 240, 254, 255, 255};
  constexpr int16_t kWordEnds[] = {-32768, -32767, 32767, 32766, 0, 1, -1, 127, 128, 255, 256, -256, 16384, -16384};
  std::mt19937 random(content);
  uint8_t run = 0;
  for (size_t i = 0; i < kPool; i += content < kSmall ? 1 : content < kByteLike ? 2 : 4) {
    const auto r = uint32_t(random());
    if (r % 8 == 0) run = uint8_t(r >> 8);
    const auto word = content == kSmall ? int16_t(int(r % 601) - 300)
                      : r % 4           ? kWordEnds[r / 4 % std::size(kWordEnds)]
                                        : int16_t(r >> 16);
    const float f = floatFor(content, r);
    if (content < kSmall)
      pool[i] = content == kAny ? uint8_t(r >> 8) : content == kEdges ? kByteEnds[r % std::size(kByteEnds)] : run;
    else if (content < kByteLike)
      memcpy(&pool[i], &word, sizeof word);
    else
      memcpy(&pool[i], &f, sizeof f);
  }
}
const uint8_t* pool(Content content) {
  static const auto* const all = [] {
    auto* const pools = new Pool[kContents];
    for (int k = 0; k < kContents; ++k) fillPool(Content(k), pools[k]);
    return pools;
  }();
  return all[content].data();
}

}  // namespace

// From the pools, or a few bytes of the numbers themselves, over and over.
void Call::fill(uint8_t* p, size_t size, const Format& format) {
  constexpr Content kForBytes[] = {kAny, kEdges, kRuns, kSmall}, kForWords[] = {kAny, kWordEdges, kSmall, kEdges};
  constexpr Content kForFloats[] = {kByteLike, kSpecial, kAny, kPlain, kTiny, kALaw};
  if (in().oneIn(8)) {
    uint8_t bytes[32];
    const auto period = size_t(in().range(1, int(sizeof bytes)));
    for (size_t i = 0; i < period; ++i) bytes[i] = uint8_t(in().byte());
    for (size_t i = 0; i < size; ++i) p[i] = bytes[i % period];
    return;
  }
  const uint8_t* const contents = pool(format.floats         ? in().pick(kForFloats)
                                       : format.element == 1 ? in().pick(kForBytes)
                                                             : in().pick(kForWords));
  for (uint32_t place = in().dword(); size; place = place * 5 + 1) {
    const size_t at = place % kPool & ~size_t(7), part = std::min(size, kPool - at);
    memcpy(p, contents + at, part);
    p += part, size -= part;
  }
}

// ---- A call

Buffer& Call::buffer(Role role, size_t size) {
  if (bufferCount == kBufferSlots || size + kGuard > kMostBytes) failCall("more memory than there is", primitive->name);
  Buffer& b = buffers[size_t(bufferCount)];
  uint8_t *const start = slot(bufferCount++), *const end = start + kSlot;
  const int place = in().byte();
  b.role = role, b.size = size, b.rows = 1, b.row = size, b.step = 0;
  b.p = b.first = place < 112 ? end - size : place < 144 ? start : end - size - place % 64;
  b.from = std::max(start, b.p - kGuard), b.to = std::min(end, b.p + size + kGuard);
  memset(b.from, 0xA5, size_t(b.to - b.from));
  return b;
}
Value& Call::add(char kind, Refused refused) {
  Value& value = values[size_t(count++)];
  value = {kind, refused, {}, 0, nullptr, 0};
  return value;
}
void Call::size(int width, int height, Refused refused) {
  Value& value = add('s', refused);
  value.v[0] = width, value.v[1] = height;
}
void Call::rectangle(const VeliRect& r) {
  Value& value = add('r', Refused::kNotPositive);
  value.v[0] = r.x, value.v[1] = r.y, value.v[2] = r.width, value.v[3] = r.height;
}

// One to three arguments that are refused.
void Call::spoil() {
  constexpr int kBad[] = {-1, -100, INT_MIN, 0};
  for (int n = 1 + in().below(3); n > 0; --n) {
    Value& value = values[size_t(in().below(count))];
    const int member = in().below(4), bad = in().pick(kBad);
    if (value.refused == Refused::kNull && value.p && member < value.members)
      memset(value.p + size_t(member) * sizeof(void*), 0, sizeof(void*));
    else if (value.refused == Refused::kNull)
      value.p = nullptr, allocate = nullptr;
    else if (value.refused == Refused::kNegative || (value.kind == 'r' && member < 2))
      value.v[value.kind == 'i' ? 0 : member % 2] = bad ? bad : -2;
    else if (value.refused == Refused::kNotPositive)
      value.v[value.kind == 'i' ? 0 : value.kind == 's' ? member % 2 : member] = bad;
  }
}
void Call::draw(const Primitive& which, Numbers& source) {
  i_malloc = allocateBlock, i_free = releaseBlock;
  heap = {};
  static_cast<Drawn&>(*this) = Drawn();
  primitive = &which, numbers = &source, from = which.from, to = which.to;
  viaOrv = in().oneIn(8), mallocFails = in().oneIn(32);
  const bool spoiled = in().oneIn(24);
  // x87, with which 32-bit programs calculate, is to round doubles as SSE does: to 53 bits.
  const Vel32u control = ps_set_cw_fpu(0x200, 0x300);
  for (auto* drawing = which.draw; *drawing; ++drawing) (*drawing)(*this);
  vel_set_cw_fpu(control);
  if (spoiled && !trusts) spoil();
  for (int i = 0; i < bufferCount; ++i)
    buffers[size_t(i)].before.assign(buffers[size_t(i)].from, buffers[size_t(i)].to);
}
void Call::begin(int turn) {
  heap = {0, 0, mallocFails, uint8_t(0x5A + turn)};
  for (int i = 0; i < bufferCount; ++i) {
    const Buffer& b = buffers[size_t(i)];
    if (b.role == Role::kDestination) memcpy(b.from, b.before.data(), b.before.size());
    if (b.role == Role::kScratch) memset(b.p, heap.poison, b.size);
  }
  void* block = nullptr;
  if (allocate && allocate(&block) == velStsNoErr) values[0].p = static_cast<uint8_t*>(block);
}
int liveBlocks() { return heap.live; }

// Refused, or nothing to do: nothing may be written then. A code that is none still clears its table, and a block that
// cannot be coded is coded up to there.
bool Call::writesNothing(int status) const {
  if (trusts) return false;
  return status == velStsNoOperation || status == velStsWrongIntersectROI ||
         (status < 0 && status != velStsJPEGHuffTableErr && status != velStsJPEGDCTRangeErr &&
          status != velStsJPEGOutOfBufErr);
}
bool Call::intact(const Buffer& b, int status) const {
  const auto same = [&](const uint8_t* p, const uint8_t* end) {
    return memcmp(p, b.before.data() + (p - b.from), size_t(end - p)) == 0;
  };
  if (b.role == Role::kSource || (b.role == Role::kDestination && writesNothing(status))) return same(b.from, b.to);
  const uint8_t* at = b.from;
  const uint8_t* row = b.role == Role::kScratch ? b.p : b.first;
  for (size_t y = 0; y < b.rows && b.size; ++y, row += b.step) {
    if (!same(at, row)) return false;
    at = row + b.row;
  }
  return same(at, b.to);
}
const uint8_t* Call::blockOf(int status) const {
  const uint8_t* block = nullptr;
  if (allocated && status == velStsNoErr) memcpy(&block, values[size_t(count) - 1].p, sizeof block);
  return block;
}

// Where it points, if it is into a buffer.
std::string Call::textOf(const uint8_t* p) const {
  for (int k = 0; k < bufferCount; ++k) {
    const Buffer& b = buffers[size_t(k)];
    if (p >= b.p && p <= b.p + b.size)
      return "buffer " + std::to_string(k) + " of " + std::to_string(b.size) + " bytes + " + std::to_string(p - b.p);
  }
  return p ? "a pointer" : "null";
}
std::string Call::text() const {
  std::string all = primitive->name;
  for (int i = 0; i < count; ++i) {
    const Value& a = values[size_t(i)];
    all += i ? ", " : "(";
    char number[32];
    snprintf(number, sizeof number, "%.17g", a.kind == 'f' ? double(floatOf(uint32_t(a.v[0]))) : a.real);
    if (a.kind == 'p') all += textOf(a.p);
    if (a.kind == 'f' || a.kind == 'd') all += number;
    for (int k = 0; k < (a.kind == 'i' ? 1 : a.kind == 's' ? 2 : a.kind == 'r' ? 4 : 0); ++k)
      all += (k ? " x " : "") + std::to_string(a.v[k]);
  }
  return all + ")";
}
