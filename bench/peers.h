// Rows of the comparison with other libraries: what a user would call instead, on the same memory.
#pragma once
#include <functional>
#include <string>
#include <vector>
#include "run.h"

// The most that the other libraries may use.
enum class Instructions { kSse41, kAvx2, kWidest };
Instructions allowed();

// Pictures of a size. Where calls take turns, each finds its data outside the caches: it works on another copy.
struct Set {
  const char* name;
  VeliSize size;
  bool turns;
};

// What a row counts, and the memory that a call works on. In place: a source of no bytes.
struct Row {
  std::string name;  // family/row
  const char* unit;
  double count;
  size_t srcBytes, dstBytes;
  bool floats = false;
};
using Call = std::function<VelStatus(Vel8u* src, Vel8u* dst)>;
// Where there is no note on how its work differs, its result must be ours but for rounding.
struct Peer {
  const char *name, *note;
  std::function<void(Vel8u* src, Vel8u* dst)> call;
};
// Registers "family/row/library/set" for our call and every peer's that is there, if any is.
void compare(const Set& set, const Row& row, const Call& ours, const std::vector<Peer>& peers);

// These two are compared in 64-bit code alone: Debian builds them for 32-bit processors without vector code.
#ifdef __x86_64__
#define LIBYUV(note, ...)                                    \
  Peer {                                                     \
    "libyuv", note, [=](Vel8u* s, Vel8u* d) { __VA_ARGS__; } \
  }
#define OPENCV(note, ...)                                    \
  Peer {                                                     \
    "OpenCV", note, [=](Vel8u* s, Vel8u* d) { __VA_ARGS__; } \
  }
#include <libyuv.h>
#include <opencv2/imgproc.hpp>
// A picture of OpenCV's around rows that follow one another.
inline cv::Mat mat(void* data, VeliSize size, int type) { return cv::Mat(size.height, size.width, type, data); }
#else
#define LIBYUV(note, ...) \
  Peer {}
#define OPENCV(note, ...) \
  Peer {}
#endif

void compareColour(const Set& set);
void compareMoves(const Set& set);
void compareResizing(const Set& set);
void compareImages(const Set& set);
void compareBlocks(const Set& set, const Bytes& file);
