// Video with a chroma sample for a square of four pixels, in the two ranges of digital video.
#pragma once
#include "orv.h"

// A picture's planes, and the steps of their rows in bytes. Cb and Cr have a plane each, or alternate in the second one.
struct Planes {
  Vel8u* plane[3] = {};
  int step[3] = {};
};

// kStudio: BT.601, luma 16..235, chroma 16..240; kFull: as in JPEG files, 0..255.
enum class Range { kStudio, kFull };

// Of pictures whose width and height are even. A chroma sample is the mean of its pixels'; on the way back all four have
// it.
template <Range kRange, bool kAlternate> VelStatus toVideo(const Vel8u* rgb, int step, const Planes& to, VeliSize size);
template <Range kRange, bool kAlternate> VelStatus fromVideo(const Planes& from, Vel8u* rgb, int step, VeliSize size);
