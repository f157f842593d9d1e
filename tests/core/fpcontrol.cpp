// Access to the control and status registers of SSE and x87.
#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include "orv.h"

namespace {

template <class T> T mxcsr(T r = 0) { return __asm__ volatile("stmxcsr %0" : "=m"(r)), r; }
