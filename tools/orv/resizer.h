// Pictures of another size, by the library's methods.
#pragma once
#include "orv.h"
#include "picture_file.h"

struct ResizeMethod {
  const char* name;
  int code;
  bool antialiases;  // where asked to
};
inline constexpr ResizeMethod kResizeMethods[] = {
    {"nearest", velInterNearest, false},
    {"linear", velInterLinear, true},
    {"cubic", velInterCubic, true},
    {"bspline", velInterCubicBSpline, true},
    {"catmull", velInterCubicCatmullRom, true},
    {"b05c03", velInterCubicB05C03, true},
    {"lanczos", velInterLanczos, true},
    {"super", velInterSuper, false},
};

// The whole picture, which fills all of the new size. Supersampling enlarges in no direction.
Picture resized(const Picture& from, VeliSize size, int interpolation);

// The sides scaled and rounded, but not to nothing, and to a thousand million at most.
VeliSize scaled(VeliSize size, double factor);
