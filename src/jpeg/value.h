// One value of what may be aligned to nothing.
#pragma once
#include "core/path.h"

namespace {

template <class T> ORV_INLINE T valueAt(const T* p) {
  T value;
  memcpy(&value, p, sizeof value);
  return value;
}

}  // namespace
