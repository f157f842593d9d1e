// Which arguments each primitive takes: what draws them, and the table of all.
#include <algorithm>
#include <cctype>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include "tools/support/calls.h"

namespace {

// ---- Arguments that are memory

constexpr Format kBytes = {}, kWords = {2}, kFloats = {4, 1, 1, true};

uint8_t* take(Call& c, Role role, size_t size, const Format& content = kBytes) {
  const Buffer& b = c.buffer(role, size);
  c.fill(b.p, b.size, content);
  c.pointer(b.p);
  return b.p;
}
template <size_t size> void in(Call& c) { take(c, Role::kSource, size); }
template <size_t size> void out(Call& c) { take(c, Role::kDestination, size); }
// A list of its own for the call. Of pointers, each is refused if it is null.
template <class T> void list(Call& c, const T* elements, int count) {
  uint8_t* const p = c.buffer(Role::kSource, sizeof(T) * size_t(count)).p;
  memcpy(p, elements, sizeof(T) * size_t(count));
  c.pointer(p);
  if (std::is_pointer_v<T>) c.values[size_t(c.count) - 1].members = count;
}

// A variable of the caller's.
template <class T> void variable(Call& c, T value) {
  uint8_t* const p = c.buffer(Role::kDestination, sizeof value).p;
  memcpy(p, &value, sizeof value);
  c.pointer(p);
}

int drawStep(Call& c, int row, bool source) {
  Numbers& in = c.in();
  if (!c.stepped) return row;
  if (c.big) return row + in.below(64);
  if (source && in.oneIn(60)) return std::max(in.below(row + 1), c.checksSteps ? 1 : 0);  // rows may overlap
  switch (in.below(5)) {
    case 0: return row;
    case 1: return row + in.range(1, 7);
    case 2: return (row + 63) & ~63;
    case 3: return row + 4 * in.below(40);
    default: return row + in.range(1, 130);
  }
}
// Of so many rows and bytes in a row; gives where its first row is, and the step as an argument. Every plane has the same.
struct Rows {
  std::vector<uint8_t*> planes;
  int step;
};
Rows drawRows(Call& c, Role role, const Format& format, int row, int rows, int planes) {
  const int unit = c.stepUnit, step = (drawStep(c, row, role == Role::kSource) + unit - 1) / unit * unit;
  const bool upwards = c.stepped && !c.checksSteps && c.in().oneIn(10);
  const size_t size = row && rows ? size_t(step) * size_t(rows - 1) + size_t(row) : 0;
  Rows all = {{}, (upwards ? -step : step) + c.in().below(unit)};
  for (int i = 0; i < planes; ++i) {
    Buffer& b = c.buffer(role, size);
    c.fill(b.p, b.size, format);
    if (step >= row) b.rows = size_t(rows), b.row = size_t(row), b.step = size_t(step);
    uint8_t* const first = upwards && size ? b.p + step * (rows - 1) : b.p;
    const ptrdiff_t before = ptrdiff_t(c.origin.y) * (upwards ? -step : step) + ptrdiff_t(c.origin.x) * format.pixel();
    all.planes.push_back(reinterpret_cast<uint8_t*>(uintptr_t(first) - uintptr_t(before)));
  }
  return all;
}
// The pointer, or the list of planes; the step is for later.
void image(Call& c, Role role, const Format& format) {
  const int value = c.count, buffer = c.bufferCount;
  const Rows rows = drawRows(c, role, format, c.w * format.pixel(), c.h, format.planes);
  if (format.planes > 1)
    list(c, rows.planes.data(), format.planes);
  else
    c.pointer(rows.planes[0]);
  c.step = rows.step;
  c.images[size_t(c.imageCount++)] = {value, c.step, buffer, format.planes,
                                      std::abs(rows.step) >= c.w * format.pixel()};
}
void step(Call& c) {
  if (c.stepped) c.integer(c.step, c.checksSteps ? Refused::kNotPositive : Refused::kNothing);
}
// An image that there is already.
bool again(Call& c, Role role) {
  const Call::Image& same = c.images[size_t(c.in().below(c.imageCount))];
  if (role == Role::kDestination && !same.rowsApart) return false;
  for (int i = 0; i < same.buffers; ++i) c.buffers[size_t(same.buffer + i)].role = role;
  c.values[size_t(c.count++)] = c.values[size_t(same.value)];
  c.step = same.step;
  return true;
}
void source(Call& c) {
  if (!c.imageCount || !c.in().oneIn(8) || !again(c, Role::kSource)) image(c, Role::kSource, c.from);
  step(c);
}
void destination(Call& c) {
  if (!c.mayBeSource || !c.in().oneIn(6) || !again(c, Role::kDestination)) image(c, Role::kDestination, c.to);
  step(c);
}
void mayBeSource(Call& c) { c.mayBeSource = true; }
void checkedSteps(Call& c) { c.checksSteps = true; }
template <int unit> void stepUnit(Call& c) { c.stepUnit = unit; }

// ---- Sizes

// Of what is written past the caches, which begins at one megabyte, or at eight.
int bigBytes(Numbers& in) { return in.oneIn(2) ? in.range(8400000, 9500000) : in.range(1050000, 3400000); }
int bytesOfPixel(const Call& c) { return c.from.pixel() * c.from.planes + c.to.pixel() * c.to.planes; }
bool drawBig(Call& c) { return c.big = c.in().big(); }

void elements(Call& c) {
  constexpr int kMost[] = {80, 80, 80, 300, 300, 1500, 1500, 9000};
  c.w = drawBig(c) ? bigBytes(c.in()) / bytesOfPixel(c) : c.in().range(1, c.in().pick(kMost));
  c.h = 1;
}
void pixels(Call& c) {
  constexpr int kMostColumns[] = {40, 40, 40, 40, 40, 100, 100, 300}, kMostRows[] = {4, 4, 4, 20};
  const size_t length = strlen(c.primitive->name);
  c.stepped = c.primitive->name[length - 1] == 'R';
  if (drawBig(c)) {
    c.w = c.in().range(300, 3000), c.h = bigBytes(c.in()) / bytesOfPixel(c) / c.w + 1;
    return;
  }
  c.w = c.in().range(1, c.in().pick(kMostColumns)), c.h = c.in().range(1, c.in().pick(kMostRows));
  if (c.in().oneIn(64)) c.w = c.in().range(300, 3000), c.h = 1;
}
void square(Call& c) { c.w = c.h = 8, c.stepped = c.checksSteps = true; }
void tile(Call& c) { c.w = c.h = 16, c.stepped = true; }
void size(Call& c) { c.size(c.w, c.h); }
void length(Call& c) { c.integer(c.w, Refused::kNotPositive); }

// ---- Plain arguments

// Rounding in any direction, and denormals as zeros.
void anyMode(Call& c) {
  if (!c.in().oneIn(8)) return;
  constexpr Vel32u kModes[] = {0, 0x2000, 0x4000, 0x6000, 0x8000, 0x0040, 0x8040, 0xE040};
  c.mxcsr |= c.in().pick(kModes);
}
void trusts(Call& c) { c.trusts = true; }
int anyInt(Numbers& in) {
  constexpr int kEnds[] = {0, 1, -1, 2, 127, 128, 255, 256, 32767, -32768, 65535, INT_MAX, INT_MIN};
  return in.oneIn(3) ? in.pick(kEnds) : in.oneIn(3) ? in.range(-4, 4) : int(in.dword());
}
void constant(Call& c) { c.integer(anyInt(c.in())); }
void shiftCount(Call& c) {
  constexpr int kFar[] = {31, 32, 33, 64, 100, 255, 256, INT_MAX, 0x10001, 1 << 30};
  c.integer(c.in().oneIn(12) ? c.in().pick(kFar) : c.in().below(c.from.element * 8 + 2), Refused::kNegative);
}
void scaleFactor(Call& c) {
  constexpr int kFar[] = {INT_MIN, INT_MAX, -1000, -100, -33, -32, -31, 31, 32, 33, 64, 1000};
  c.integer(c.in().oneIn(5) ? c.in().pick(kFar) : c.in().range(-18, 34));
}
void roundMode(Call& c) { c.integer(c.in().oneIn(8) ? anyInt(c.in()) : c.in().below(3)); }
void quality(Call& c) {
  c.integer(c.in().oneIn(4) ? std::max(1, anyInt(c.in())) : c.in().range(1, 110), Refused::kNotPositive);
}
void real(Call& c) { c.fill(reinterpret_cast<uint8_t*>(c.add('f', Refused::kNothing).v), sizeof(float), kFloats); }
void reals(Call& c) {
  take(c, Role::kSource, size_t(strstr(c.primitive->name, "AC4") ? 3 : c.to.channels) * 4, kFloats);
}
// Where channels go: three or four of them, with a value beyond the last now and then.
void order(Call& c) {
  const char* const name = c.primitive->name;
  const bool widens = strstr(name, "C3C4R"), four = widens || strstr(name, "C4IR");
  const int highest = four || strstr(name, "C4C3R") ? 3 : 2;
  int channels[4];
  const bool reversed = c.in().oneIn(4);
  for (int i = 0; i < 4; ++i) channels[i] = reversed ? std::abs(2 - i) : c.in().below(highest + 1);
  if (c.in().oneIn(widens ? 4 : 30)) channels[c.in().below(four ? 4 : 3)] = anyInt(c.in());
  list(c, channels, four ? 4 : 3);
}

// ---- Vectors that overlap in any way, or as others do

void overlapping(Call& c) {
  const int vectors = strstr(c.primitive->name, "_I") ? 2 : 3, bytes = c.w * 4;
  if (c.big || c.in().oneIn(2)) {
    while (c.count < vectors - 1) source(c);
    mayBeSource(c);
    return destination(c);
  }
  constexpr int kUnits[] = {4, 4, 4, 1};
  const int unit = c.in().pick(kUnits), reach = c.in().oneIn(2) ? 12 : 40;
  Buffer& all = c.buffer(Role::kDestination, size_t(bytes + reach * unit));
  c.fill(all.p, all.size, kWords);
  for (int i = 0; i < vectors; ++i) c.pointer(all.first = all.p + unit * c.in().below(reach + 1));
  all.row = size_t(bytes);
}

// ---- Images that need more than a region

void box(Call& c) {
  Numbers& in = c.in();
  const int w = in.range(1, in.oneIn(3) ? 120 : 40), h = in.range(1, in.oneIn(4) ? 24 : 10);
  int maskWidth = in.range(1, in.oneIn(6) ? 40 : 9), maskHeight = in.range(1, in.oneIn(6) ? 30 : 7);
  if (in.oneIn(3)) maskWidth = maskHeight = 3;
  const int x = in.below(maskWidth), y = in.below(maskHeight);
  c.stepped = c.checksSteps = true, c.stepUnit = 4;
  c.w = w + maskWidth - 1, c.h = h + maskHeight - 1, c.origin = {-x, -y};
  source(c);
  c.w = w, c.h = h, c.origin = {};
  destination(c), size(c), c.size(maskWidth, maskHeight);
  const int anchorX = in.oneIn(60) ? maskWidth : x, anchorY = in.oneIn(60) ? INT_MAX : y;
  c.size(anchorX, anchorY, Refused::kNegative);
}
void border(Call& c) {
  Numbers& in = c.in();
  constexpr int kReach[] = {9, 9, 17, 33, 70, 300};
  const int reach = in.pick(kReach), high = in.oneIn(12) ? 30 : 5;
  const VeliSize inner = {in.range(1, 40), in.range(1, 8)};
  const int left = in.range(0, reach), top = in.below(high), right = in.oneIn(3) ? left : in.range(0, reach);
  c.stepped = c.checksSteps = true;
  c.w = left + inner.width + right, c.h = top + inner.height + in.below(high), c.origin = {-left, -top};
  destination(c), c.size(inner.width, inner.height), size(c);
  for (const int side : {top, left}) c.integer(in.oneIn(40) ? INT_MAX - in.byte() : side, Refused::kNegative);
}
// Three planes, of which two have a chroma sample for two pixels or four, each with a step of its own.
void yuv(Call& c, Role role) {
  const bool both = strstr(c.primitive->name, "420");
  uint8_t* planes[3];
  int steps[3];
  for (int i = 0; i < 3; ++i) {
    const int w = i == 0 ? c.w : both || !c.stepped ? c.w / 2 : (c.w + 1) / 2, h = i && both ? c.h / 2 : c.h;
    const Rows rows = drawRows(c, role, kBytes, w, h, 1);
    planes[i] = rows.planes[0], steps[i] = rows.step;
  }
  list(c, planes, 3);
  if (c.stepped) list(c, steps, 3);
}
void yuvSource(Call& c) { yuv(c, Role::kSource); }
void yuvDestination(Call& c) { yuv(c, Role::kDestination); }

// ---- Resizing

double anyDouble(Numbers& in) {
  constexpr double kEnds[] = {5e-324, 1e-300, 1e-9, 5e-5, DBL_MIN, 1e9, 1e300, DBL_MAX, HUGE_VAL, NAN, 0, -1};
  if (in.oneIn(2)) return in.pick(kEnds);
  const uint64_t high = in.dword(), bits = high << 32 | in.dword();
  double value;
  memcpy(&value, &bits, sizeof value);
  return value;
}
double drawFactor(Numbers& in, bool reduces, int from, int to) {
  constexpr double kNice[] = {1, 0.5, 0.25, 1.0 / 3, 2.0 / 3, 0.75, 0.125, 0.1, 2, 3, 4, 1.5, 1.25, 8, 2.5, 16};
  double factor = double(to) / from;
  switch (in.below(8)) {
    case 4: factor = in.pick(kNice); break;
    case 5: factor = double(in.range(1, 40)) / from; break;
    case 6: factor = double(in.range(1, 4000)) / 1000; break;
    case 7: return in.oneIn(4) ? anyDouble(in) : factor;
    default: break;
  }
  return reduces && factor > 1 ? 1 / factor : factor;
}
double drawShift(Numbers& in, double fitting) {
  constexpr double kNear[] = {0.5, -0.5, 0.25, 1, -1, 2.5, 1e-11, -1e-11, 0.4999999999, 1e-7, 0.49999997, 0.50000006};
  switch (in.below(8)) {
    case 5: return in.pick(kNear);
    case 6: return fitting + in.pick(kNear);
    case 7: return in.oneIn(4) ? anyDouble(in) : 0;
    default: return fitting;
  }
}
void geometry(Call& c) {
  constexpr int kMethods[] = {1, 2, 4, 5, 6, 7, 8, 16};
  constexpr int kFlags[] = {0, 0, velFlagAntialiasing, velFlagSubpixelEdge, velFlagSmoothEdge};
  constexpr int kMost[] = {6, 20, 20, 40, 40, 150};
  Numbers& in = c.in();
  c.interpolation = in.oneIn(60) ? anyInt(in) : in.pick(kMethods) | in.pick(kFlags);
  const bool tall = in.oneIn(60), wide = !tall && in.oneIn(60);
  VeliRect &s = c.regions[0], &d = c.regions[1];
  c.w = wide ? in.range(500, 9000) : in.range(1, in.pick(kMost)),
  c.h = tall ? in.range(200, 1500) : in.range(1, in.pick(kMost));
  s = {0, 0, c.w, c.h};
  if (in.oneIn(3)) {  // a part, which may reach beyond the image, or lie outside
    s.x = in.below(c.w), s.y = in.below(c.h);
    s.width = in.range(1, c.w - s.x + (in.oneIn(6) ? 20 : 0)),
    s.height = in.range(1, c.h - s.y + (in.oneIn(6) ? 20 : 0));
    if (in.oneIn(40)) (in.oneIn(2) ? s.x : s.y) += 9000;
  }
  d = {in.oneIn(2) ? in.below(20) : 0, in.oneIn(2) ? in.below(20) : 0, in.range(1, in.pick(kMost)),
       in.range(1, in.oneIn(4) ? 40 : 12)};
}
void channelsAndMethod(Call& c) {
  constexpr int kChannels[] = {1, 3, 4, 1, 3, 4, 0, 2};
  if (c.in().oneIn(4))
    for (VeliRect& r : c.regions) r.width = std::max(1, anyInt(c.in())), r.height = std::max(1, anyInt(c.in()));
  c.rectangle(c.regions[0]), c.rectangle(c.regions[1]);
  c.integer(c.in().pick(kChannels)), c.integer(c.interpolation);
}
// Of both images there is only what may be read and written. pBuffer has the size that is asked for.
void resize(Call& c) {
  const VeliRect s = c.regions[0], d = c.regions[1];
  const VeliSize whole = {c.w, c.h};
  Numbers& in = c.in();
  c.stepped = true;
  c.w = std::max(0, std::min(s.width, whole.width - s.x)), c.h = std::max(0, std::min(s.height, whole.height - s.y));
  c.origin = {s.x, s.y};
  image(c, Role::kSource, c.from);
  c.size(whole.width, whole.height), step(c), c.rectangle(s);
  c.w = d.width, c.h = d.height, c.origin = {d.x, d.y};
  image(c, Role::kDestination, c.to);
  step(c), c.rectangle(d);
  const bool reduces = c.interpolation == velInterSuper && !in.oneIn(20);
  const double fx = drawFactor(in, reduces, s.width, d.width),
               fy = in.oneIn(3) ? fx : drawFactor(in, reduces, s.height, d.height);
  for (const double f : {fx, fy, drawShift(in, d.x - s.x * fx), drawShift(in, d.y - s.y * fy)})
    c.add('d', Refused::kNothing).real = f;
  const int channels = strstr(c.primitive->name, "AC4") ? 3 : c.from.channels;
  int bytes = 0;
  if (orviResizeGetBufSize(s, d, channels, c.interpolation, &bytes) < 0) bytes = 0;
  if (bytes > int(Call::kMostBytes / 2)) bytes = 0, c.interpolation = 0;
  c.integer(c.interpolation), c.pointer(c.buffer(Role::kScratch, size_t(bytes)).p);
}

// ---- JPEG

// Blocks as pictures have them, of a corner of coefficients that matter, or any words.
template <int blocks> void coefficients(Call& c) {
  auto* const p = take(c, Role::kSource, blocks * 128, kWords);
  for (int block = 0; block < blocks; ++block) {
    if (c.in().oneIn(4)) continue;
    const int w = c.in().range(1, 8), h = c.in().range(1, 8), shift = c.in().below(16), sparse = c.in().byte();
    for (int i = 0; i < 64; ++i) {
      Vel16s v;
      memcpy(&v, p + block * 128 + 2 * i, 2);
      v = i % 8 < w && i / 8 < h && (sparse >> i % 7 & 1) == 0 ? Vel16s(v >> shift) : Vel16s(0);
      memcpy(p + block * 128 + 2 * i, &v, 2);
    }
  }
}
// The steps of a table, or any words.
uint8_t* quantTable(Call& c, const Buffer& b) {
  c.fill(b.p, b.size, kWords);
  const bool forward = strstr(c.primitive->name, "Fwd"), any = c.in().oneIn(4);
  const int mask = c.in().oneIn(2) ? 31 : 255;
  for (int i = 0; i < 64 && !any; ++i) {
    const int step = std::max(1, b.p[2 * i] & mask);
    const auto value = Vel16u(forward ? (32768 + step / 2) / step : step);
    memcpy(b.p + 2 * i, &value, 2);
  }
  return b.p;
}
void table(Call& c) { c.pointer(quantTable(c, c.buffer(Role::kSource, 128))); }
void sixTables(Call& c) {
  const uint8_t* tables[6];
  for (int i = 0; i < 6; ++i) tables[i] = i > 3 ? tables[i - 3] : quantTable(c, c.buffer(Role::kSource, 128));
  list(c, tables, 6);
}
void upToTile(Call& c) { c.w = c.in().range(1, 16), c.h = c.in().range(1, 16), c.stepped = true; }
void tileBlocks(Call& c) {
  uint8_t* planes[3];
  for (int i = 0; i < 3; ++i) {
    const Buffer& b = c.buffer(Role::kSource, i ? 128 : 512);
    c.fill(b.p, b.size, kWords), planes[i] = b.p;
  }
  list(c, planes, 3);
}

// A code for the symbols 0 to count - 1, in any order that exclusive-or gives; count is a power of two.
struct Codes {
  uint8_t bits[16], values[256];
};
Codes drawCodes(Numbers& in, int count) {
  Codes codes = {};
  int left = count, room = 65535;  // in codes of 16 bits, all ones being none
  for (int n = 1; n <= 16; ++n) {
    const int each = 1 << (16 - n), most = n == 16 ? left : std::min({left, 255, (room - left) / (each - 1)});
    const int least = n == 16 ? left : n == 15 ? std::max(0, left - 255) : 0;
    const int codesHere = std::max(least, std::min(most, in.oneIn(8) ? most : in.below(4)));
    codes.bits[n - 1] = uint8_t(codesHere), left -= codesHere, room -= codesHere * each;
  }
  const int mask = in.byte() & (count - 1);
  for (int i = 0; i < count; ++i) codes.values[i] = uint8_t(i ^ mask);
  return codes;
}
// Counts and symbols, which need not be a code.
void codeLists(Call& c) {
  Codes codes = drawCodes(c.in(), 1 << c.in().range(0, 8));
  for (int wrong = c.in().oneIn(4) ? c.in().range(1, 4) : 0; wrong > 0; --wrong)
    codes.bits[c.in().below(16)] = uint8_t(c.in().byte());
  list(c, codes.bits, 16);
  size_t total = 0;
  for (const uint8_t n : codes.bits) total += n;
  uint8_t* const values = take(c, Role::kSource, total);
  if (c.in().oneIn(2)) memcpy(values, codes.values, std::min(total, sizeof codes.values));
}
template <size_t size, class Spec>
void coder(Call& c, int symbols, VelStatus (*build)(const Vel8u*, const Vel8u*, Spec*)) {
  const Codes codes = drawCodes(c.in(), symbols);
  uint8_t* const p = c.buffer(Role::kSource, size).p;
  if (build(codes.bits, codes.values, reinterpret_cast<Spec*>(p)) != velStsNoErr)
    failCall("its codes are none", c.primitive->name);
  c.pointer(p);
}
void counters(Call& c) {
  auto* const p = take(c, Role::kDestination, 1024);
  for (int i = 3; i < 1024; i += 4) p[i] = 0;
}
void statistics(Call& c) {
  int counts[256] = {}, used = 0;
  const int symbols = c.in().range(0, 255), most = c.in().oneIn(2) ? 4 : 65536,
            grow = c.in().oneIn(4) ? c.in().byte() : 0;
  double grown = 1;  // so that codes become long
  for (int i = 0; i <= symbols; ++i, grown = grown > 3e6 ? 1 : grown * (1 + grow / 200.0)) {
    counts[i] = grow ? int(grown) : (c.in().byte() * 257 + i * 7919) % most;
    used += counts[i] > 0;
  }
  list(c, counts, 256);
  take(c, Role::kDestination, 16), take(c, Role::kDestination, size_t(used));
}
void tablesLast(Call& c) { std::rotate(&c.values[0], &c.values[2], &c.values[size_t(c.count)]); }
// There is exactly as much room as the block takes, and 8 bytes.
void encode(Call& c) {
  coder<1024>(c, 16, orviEncodeHuffmanSpecInit_JPEG_8u), coder<1024>(c, 256, orviEncodeHuffmanSpecInit_JPEG_8u);
  coefficients<1>(c);
  uint8_t* const block = c.values[2].p;
  for (int i = 1; i < 128; i += 2) block[i] = uint8_t(static_cast<signed char>(block[i]) / 2);  // of 14 bits
  const int at = c.in().below(100);
  const auto last = Vel16s(static_cast<signed char>(c.in().byte()) * 100);
  int end = at;
  Vel16s after = last;
  Vel8u room[640] = {};
  using Spec = const VeliEncodeHuffmanSpec*;
  orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(reinterpret_cast<Vel16s*>(block), room, &end, &after,
                                            reinterpret_cast<Spec>(c.values[0].p),
                                            reinterpret_cast<Spec>(c.values[1].p));
  take(c, Role::kDestination, size_t(end) / 8 + 1 + 8);
  variable(c, at), variable(c, last);
  tablesLast(c);
}
// Any stream up to a marker.
void decode(Call& c) {
  coder<1644>(c, c.in().oneIn(4) ? 32 : 16, orviDecodeHuffmanSpecInit_JPEG_8u),
      coder<1644>(c, 256, orviDecodeHuffmanSpecInit_JPEG_8u);
  const int size = c.in().below(100);
  uint8_t* const stream = take(c, Role::kSource, size_t(size) + 2);
  if (!c.in().oneIn(8))
    for (int i = 0; i < size; ++i) stream[i] = uint8_t(i && stream[i - 1] == 0xFF ? 0 : stream[i]);
  stream[size] = 0xFF, stream[size + 1] = 0xD9;
  variable(c, c.in().oneIn(30) ? -8 : 8 * c.in().below(std::min(size, 8) + 1));
  take(c, Role::kDestination, 128);
  variable(c, Vel16s(c.in().dword()));
  variable(c, c.in().oneIn(20) ? 0xD9 : 0), variable(c, c.in().dword()),
      variable(c, c.in().oneIn(4) ? c.in().range(-1, 34) : 0);
  tablesLast(c);
}

template <size_t size> void allocates(Call& c) { take(c, Role::kDestination, sizeof(void*)), c.allocated = size; }
VelStatus allocateCode(void** p) {
  const Vel8u bits[16] = {1}, value = 0;
  return orviEncodeHuffmanSpecInitAlloc_JPEG_8u(bits, &value, reinterpret_cast<VeliEncodeHuffmanSpec**>(p));
}
template <class State, VelStatus (*allocate)(State**)> VelStatus allocateState(void** p) {
  return allocate(reinterpret_cast<State**>(p));
}
template <VelStatus (*allocate)(void**)> void releases(Call& c) { c.pointer(nullptr), c.allocate = allocate; }
constexpr auto* kAllocateEncoder = allocateState<VeliEncodeHuffmanState, orviEncodeHuffmanStateInitAlloc_JPEG_8u>;
constexpr auto* kAllocateDecoder = allocateState<VeliDecodeHuffmanState, orviDecodeHuffmanStateInitAlloc_JPEG_8u>;

// ---- The table

// The first row whose pattern a name matches says how its arguments are drawn, in their order. In a pattern * stands for
// any characters, and ? for one.
struct Row {
  const char *family, *pattern;
  void (*draw[10])(Call&);
};
constexpr Row kRows[] = {
    {"A-law", "s*Lin*", {elements, anyMode, source, destination, length}},
    {"shift", "s?ShiftC_*_I", {elements, shiftCount, destination, length}},
    {"shift", "s?ShiftC_*", {elements, source, shiftCount, mayBeSource, destination, length}},
    {"multiply", "sMulC_*", {elements, anyMode, constant, destination, length, scaleFactor}},
    {"norm", "sNorm_*", {elements, anyMode, source, length, out<4>}},
    {"logic", "sNot_*_I", {elements, destination, length}},
    {"logic", "sNot_*", {elements, source, mayBeSource, destination, length}},
    {"logic", "s*C_*_I", {elements, constant, destination, length}},
    {"logic", "s*C_*", {elements, source, constant, mayBeSource, destination, length}},
    {"logic", "s*_32u*", {elements, overlapping, length}},
    {"logic", "s*_I", {elements, source, mayBeSource, destination, length}},
    {"logic", "s*", {elements, source, source, mayBeSource, destination, length}},
    {"box", "iFilterBox_*", {box}},
    {"arithmetic", "i???_32f_*", {pixels, anyMode, source, mayBeSource, destination, size}},
    {"arithmetic", "i???C_32f_C1IR", {pixels, anyMode, real, destination, size}},
    {"arithmetic", "i???C_32f_*", {pixels, anyMode, reals, destination, size}},
    {"convert", "iConvert_8u32f_*", {pixels, anyMode, checkedSteps, source, destination, size}},
    {"convert", "iConvert_32f8u_*", {pixels, anyMode, checkedSteps, source, destination, size, roundMode}},
    {"copy", "iCopy_8u_*", {pixels, source, destination, size}},
    {"copy", "iCopyReplicateBorder_*", {border}},
    {"swap", "iSwapChannels_8u_C3C4R", {pixels, source, destination, size, order, constant}},
    {"swap", "iSwapChannels_8u_C4C3R", {pixels, source, destination, size, order}},
    {"swap", "iSwapChannels_*IR", {pixels, checkedSteps, destination, size, order}},
    {"swap", "iSwapChannels_*", {pixels, checkedSteps, source, mayBeSource, destination, size, order}},
    {"resize", "iResizeGetBufSize", {geometry, channelsAndMethod, out<4>}},
    {"resize", "iResizeSqrPixel_*", {geometry, resize}},
    {"ycbcr", "iYCbCrTo*_8u16u_C3R", {pixels, source, stepUnit<2>, destination, size}},
    {"ycbcr", "iYCbCrToRGB_8u_P3C3R", {pixels, source, destination, size}},
    {"ycbcr", "i*YCbCr*", {pixels, source, mayBeSource, destination, size}},
    {"yuv", "i*_8u_C?C?R", {pixels, source, destination, size}},
    {"yuv", "iRGBToYUV*", {pixels, source, yuvDestination, size}},
    {"yuv", "iYUV*", {pixels, yuvSource, destination, size}},
    {"quant", "iQuantFwdRawTableInit_*", {out<64>, quality}},
    {"quant", "*Quant*TableInit_*", {anyMode, in<64>, out<128>}},
    {"dct", "iDCTQuantFwd*", {square, checkedSteps, source, out<128>, table}},
    {"dct", "*DCTQuantInv8x8LS_*JPEG_16s8u_C1R", {square, checkedSteps, coefficients<1>, destination, table}},
    {"huffman", "i*HuffmanSpecGetBufSize_*", {out<4>}},
    {"huffman", "iEncodeHuffmanSpecInit_*", {codeLists, out<1024>}},
    {"huffman", "iDecodeHuffmanSpecInit_*", {codeLists, out<1644>}},
    {"huffman", "iEncodeHuffmanSpecInitAlloc_*", {codeLists, allocates<1024>}},
    {"huffman", "iEncodeHuffmanStateInitAlloc_*", {allocates<1044>}},
    {"huffman", "iDecodeHuffmanStateInitAlloc_*", {allocates<20>}},
    {"huffman", "iEncodeHuffmanSpecFree_*", {releases<allocateCode>}},
    {"huffman", "iEncodeHuffmanStateFree_*", {releases<kAllocateEncoder>}},
    {"huffman", "iDecodeHuffmanStateFree_*", {releases<kAllocateDecoder>}},
    {"huffman", "iDecodeHuffmanStateInit_*", {out<20>}},
    {"huffman", "iGetHuffmanStatistics8x8_*", {coefficients<1>, counters, counters, out<2>}},
    {"huffman", "iEncodeHuffmanRawTableInit_*", {statistics}},
    {"huffman", "iEncodeHuffman8x8_*", {encode}},
    {"huffman", "iDecodeHuffman8x8_*", {decode}},
    {"fused", "orvizkDCTQuantInv8x8TmpBufferSize", {trusts, out<4>, out<4>, constant}},
    {"fused",
     "orvizkDCTQuantInv8x8LS_*_P3C3R",
     {trusts, upToTile, coefficients<6>, out<384>, sixTables, destination, size}},
    {"fused", "orvizkYUV420ToRGB888LS_*", {trusts, tile, tileBlocks, destination}},
    {"fused", "computeRGBFromYUV_*", {trusts, real, real, real, out<1>, out<1>, out<1>}},
    {"fused", "clip_F32", {trusts, real, real, real}},
};

constexpr bool matches(const char* pattern, const char* name) {
  if (*pattern == '*') return matches(pattern + 1, name) || (*name && matches(pattern, name + 1));
  if (!*pattern || !*name) return *pattern == *name;
  return (*pattern == '?' || *pattern == *name) && matches(pattern + 1, name + 1);
}
constexpr int rowOf(const char* name) {
  int i = 0;
  for (const Row& row : kRows) {
    if (matches(row.pattern, name)) return i;
    ++i;
  }
  return -1;
}

// ---- Calls

template <class T> constexpr char kindOf() {
  if constexpr (std::is_pointer_v<T>) return 'p';
  if constexpr (std::is_same_v<T, VeliRect>) return 'r';
  if constexpr (std::is_class_v<T>) return 's';
  if constexpr (std::is_same_v<T, float>) return 'f';
  return std::is_same_v<T, double> ? 'd' : 'i';
}
template <class T> T as(const Value& a) {
  T value;
  if constexpr (std::is_pointer_v<T>)
    value = reinterpret_cast<T>(a.p);
  else if constexpr (std::is_same_v<T, double>)
    value = a.real;
  else  // sizes and regions as well: they are integers side by side
    memcpy(&value, a.v, sizeof value);
  return value;
}
template <class R, class... A, size_t... i> int callWith(R (*f)(A...), const Call& c, std::index_sequence<i...>) {
  if (c.count != sizeof...(A) || !(... && (c.values[i].kind == kindOf<A>())))
    failCall("its row of the table draws other arguments", c.primitive->name);
  R result = f(as<A>(c.values[i])...);
  // x87, which hands floats over in 32-bit programs, makes a signalling NaN a quiet one.
  if constexpr (std::is_same_v<R, float>) result = std::isnan(result) ? R(NAN) : result;
  int bits;
  static_assert(sizeof bits == sizeof result);
  memcpy(&bits, &result, sizeof bits);
  return bits;
}
template <class R, class... A> int callOf(R (*f)(A...), const Call& c) {
  return callWith(f, c, std::index_sequence_for<A...>());
}
template <auto f> int callTo(const Call& c) { return callOf(f, c); }

// ---- Names

// "8u16s" and "P3C3" of iName_8u16s_P3C3R: the sides' elements and layouts; where there is but one, both have it.
void readName(const char* name, Format* from, Format* to) {
  Format* sides[] = {from, to};
  for (const char* p = name; (p = strchr(p, '_')); ++p) {
    int bits, read, side = 0;
    char kind[2];
    const char* q = p + 1;
    for (; side < 2 && sscanf(q, "%2d%1[usf]%n", &bits, kind, &read) == 2; ++side, q += read)
      for (int k = side; k < 2; ++k) sides[k]->element = bits / 8, sides[k]->floats = *kind == 'f';
    if (side) break;
  }
  const char* p = strrchr(name, '_');
  for (int side = 0; p && side < 2; ++side, p += 2) {
    p += p[1] == 'A' ? 2 : 1;
    if ((*p != 'C' && *p != 'P') || !isdigit(p[1])) break;
    for (int k = side; k < 2; ++k)
      sides[k]->channels = *p == 'C' ? p[1] - '0' : 1, sides[k]->planes = *p == 'P' ? p[1] - '0' : 1;
    --p;
  }
  // Packed words are pixels.
  if (strstr(name, "_8u16u_")) to->channels = 1;
}
Primitive primitiveOf(const char* name, int (*orv)(const Call&), int (*vel)(const Call&), int row) {
  Primitive p = {name, kRows[row].family, orv, vel, kRows[row].draw, {}, {}};
  readName(name, &p.from, &p.to);
  return p;
}

// Functions that are not dispatched, and have an orv name only.
#define ORV_WRAPPERS(_)                                     \
  _(orvizkQuantInvTableInit_JPEG_8u16u)                     \
  _(orvizkDCTQuantInv8x8TmpBufferSize)                      \
  _(orvizkDCTQuantInv8x8LS_JPEG_16s8u_C1R)                  \
  _(orvizkDCTQuantInv8x8LS_JPEG_16s8u_YUV420ToRGB_8u_P3C3R) \
  _(orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3)                 \
  _(computeRGBFromYUV_JPEG_F32_U8)                          \
  _(clip_F32)

#define ORV_PRIMITIVE(name, pattern) static_assert(rowOf(#name) >= 0, "no row of the table says how to call " #name);
#include "src/core/primitives.def"
#undef ORV_PRIMITIVE

}  // namespace

const std::vector<Primitive>& primitives() {
#define ORV_PRIMITIVE(name, pattern) primitiveOf(#name, callTo<&orv##name>, callTo<&vel##name>, rowOf(#name)),
#define ORV_WRAPPER(name) primitiveOf(#name, callTo<&name>, callTo<&name>, rowOf(#name)),
  static const std::vector<Primitive> all = {
#include "src/core/primitives.def"
      ORV_WRAPPERS(ORV_WRAPPER)};
#undef ORV_PRIMITIVE
#undef ORV_WRAPPER
  return all;
}
