// The vocabulary that the families are written in: vectors of 16-byte lanes, and operations that each have one meaning
// and are the path's best instruction sequence for it. What differs between paths lives here.
//
// A Lane is 16 bytes. Lanes is as many of them as are worked on side by side: two in the variant avx2, else one. An
// operation acts within each lane, so shuffles, narrowing and multiply-adds that are thought through for 16 bytes hold for
// any number: the other lanes hold different pieces of the same work. Floats is the path's vector of floats.
//
// Names: a number is the width of the elements in bits, U says that they are unsigned where that matters, Sat that
// results saturate. Element 0 is the one at the lowest address. Bits are combined with the operators & | ^ ~.
//
//   simd/memory.h     load and store: whole vectors, the first n bytes, past the caches
//   simd/integers.h   constants, arithmetic, comparisons, widening and narrowing
//   simd/shuffles.h   moving elements within a lane and interleaving two
//   simd/pixels.h     pixels of three channels
//   simd/floats.h     vectors of floats, from and to integers
//   simd/runs.h       runs of n floats or integers, in as many vectors as they take
//   cache.h           when to write past the caches, and how far to fetch ahead
#pragma once
#include "core/simd/floats.h"
#include "core/simd/integers.h"
#include "core/simd/memory.h"
#include "core/simd/pixels.h"
#include "core/simd/runs.h"
#include "core/simd/shuffles.h"
