// Copying, clearing and allocating vectors: this path's helpers for all families.
#pragma once
#include "core/path.h"

// Copy and clear len elements; source and destination do not overlap.
//   velStsNullPtrErr   pSrc, then pDst is null
//   velStsSizeErr      len below 1
ORV_KERNEL VelStatus ORV_NAME(velsCopy_8u)(const Vel8u* pSrc, Vel8u* pDst, int len);
ORV_KERNEL VelStatus ORV_NAME(velsCopy_16s)(const Vel16s* pSrc, Vel16s* pDst, int len);
ORV_KERNEL VelStatus ORV_NAME(velsCopy_32s)(const Vel32s* pSrc, Vel32s* pDst, int len);
ORV_KERNEL VelStatus ORV_NAME(velsZero_8u)(Vel8u* pDst, int len);
ORV_KERNEL VelStatus ORV_NAME(velsZero_16s)(Vel16s* pDst, int len);
ORV_KERNEL VelStatus ORV_NAME(velsZero_32s)(Vel32s* pDst, int len);

// Copies rows of len bytes, one at least; a vector is one row. There are no checks. isPastCaches: by stores past the caches,
// after the last of which a streamEnd is due.
ORV_KERNEL void ORV_NAME(ownsCopy_8u)(const Vel8u* pSrc, int srcStep, Vel8u* pDst, int dstStep, size_t len, int rows,
                                      bool isPastCaches);

// velMalloc for len elements, and velFree. The size in bytes is not checked for overflow.
ORV_KERNEL Vel8u* ORV_NAME(velsMalloc_8u)(int len);
ORV_KERNEL Vel32f* ORV_NAME(velsMalloc_32f)(int len);
ORV_KERNEL void ORV_NAME(velsFree)(void* ptr);

namespace {

// The same for any type of element.
template <class T> ORV_INLINE VelStatus copyVector(const T* pSrc, T* pDst, int len) {
  if constexpr (sizeof(T) == 1)
    return ORV_NAME(velsCopy_8u)(pSrc, pDst, len);
  else if constexpr (sizeof(T) == 2)
    return ORV_NAME(velsCopy_16s)(reinterpret_cast<const Vel16s*>(pSrc), reinterpret_cast<Vel16s*>(pDst), len);
  else
    return ORV_NAME(velsCopy_32s)(reinterpret_cast<const Vel32s*>(pSrc), reinterpret_cast<Vel32s*>(pDst), len);
}
template <class T> ORV_INLINE VelStatus clearVector(T* pDst, int len) {
  if constexpr (sizeof(T) == 1)
    return ORV_NAME(velsZero_8u)(pDst, len);
  else if constexpr (sizeof(T) == 2)
    return ORV_NAME(velsZero_16s)(reinterpret_cast<Vel16s*>(pDst), len);
  else
    return ORV_NAME(velsZero_32s)(reinterpret_cast<Vel32s*>(pDst), len);
}

}  // namespace
