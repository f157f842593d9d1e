// The argument checks of the image primitives, in the order in which a call makes them.
#pragma once
#include "core/path.h"

namespace {

// Evaluates a check and leaves the body with its status when it failed.
#define ORV_CHECK(check)                        \
  do {                                          \
    const VelStatus failed_ = check;            \
    if (failed_ != velStsNoErr) return failed_; \
  } while (0)

template <class... T> ORV_INLINE VelStatus checkPointers(T*... p) {
  return ((p != nullptr) && ...) ? velStsNoErr : velStsNullPtrErr;
}
template <class T> ORV_INLINE VelStatus checkPlanes(T* const planes[3]) {
  return checkPointers(planes[0], planes[1], planes[2]);
}
// Of pixels in one piece there are no planes to check.
ORV_INLINE VelStatus checkPlanes(const void*) { return velStsNoErr; }
ORV_INLINE VelStatus checkSize(VeliSize size, int least = 1) {
  return size.width < least || size.height < least ? velStsSizeErr : velStsNoErr;
}
template <class... T> ORV_INLINE VelStatus checkSteps(T... step) {
  return ((step >= 1) && ...) ? velStsNoErr : velStsStepErr;
}

// The start of a row.
template <class T> ORV_INLINE T* rowOf(T* image, int step, int row) {
  return reinterpret_cast<T*>(reinterpret_cast<uintptr_t>(image) + uintptr_t(ptrdiff_t(step) * row));
}

}  // namespace
