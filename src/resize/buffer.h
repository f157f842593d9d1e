// The size of the buffer, which callers ask for and methods have to do with. Methods say what they keep in it, and that
// there is room, where they lay it out.
#pragma once
#include "core/path.h"

namespace {

// In 64 bits, for what does not fit an int is refused.
constexpr Vel64u roundedUp(Vel64u n, Vel64u multiple) { return (n + multiple - 1) & ~(multiple - 1); }
// How far a kernel reaches that is widened by a reduction.
constexpr Vel64u reach(int radius, int src, int dst) {
  return src < dst ? Vel64u(radius) : Vel64u((Vel64u(radius) * Vel64u(src) + Vel64u(dst) - 1) / Vel64u(dst));
}
// From an aligned place on.
constexpr Vel64u bufferSize(const VeliRect& src, const VeliRect& dst, unsigned n, int method, bool antialias) {
  const Vel64u w = Vel64u(dst.width), h = Vel64u(dst.height);
  if (method == velInterSuper) return roundedUp(Vel64u(src.width), 16) * 8 * n;
  if (method != velInterNearest && antialias) {
    const int radius = method == velInterLinear ? 1 : method == velInterLanczos ? 3 : 2;
    const Vel64u kx = reach(radius, src.width, dst.width), ky = reach(radius, src.height, dst.height);
    return 8 * roundedUp(w * Vel64u(src.height) * n, 16) + 4 * roundedUp(w * n, 16) +
           8 * roundedUp((2 * kx + 2) * w, 16) + 8 * roundedUp((2 * ky + 2) * h, 16);
  }
  const Vel64u indices = 4 * (roundedUp(w, 16) + roundedUp(h, 16));
  if (method == velInterNearest) return indices;
  if (method == velInterLinear)
    return indices + 4 * (roundedUp(w, 64) + roundedUp(h, 64) + roundedUp(2 * w + 64, 64) * n);
  if (method == velInterLanczos) {
    const Vel64u l = roundedUp(6 * w + 160, 32);
    return indices + 4 * (roundedUp(w, 32) + roundedUp(h, 32) + l + roundedUp(6 * h + 160, 32) + l * n);
  }
  return indices + 4 * (roundedUp(w, 32) + roundedUp(h, 32) + roundedUp(4 * w + 96, 32) + roundedUp(4 * h + 96, 32) +
                        roundedUp(4 * w + 192, 64) * n);
}

}  // namespace
