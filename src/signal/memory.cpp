// Copying, clearing and allocating vectors.
#include "signal/memory.h"
#include "signal/fill.h"

namespace {

template <class T> ORV_INLINE VelStatus copy(const T* pSrc, T* pDst, int len) {
  const VelStatus status = checkVectors(len, pSrc, pDst);
  return status != velStsNoErr ? status : fill(Copied{bytesOf(pSrc)}, bytesOf(pDst), size_t(len) * sizeof(T));
}

template <class T> ORV_INLINE VelStatus clear(T* pDst, int len) {
  const VelStatus status = checkVectors(len, pDst);
  return status != velStsNoErr ? status : fill(Repeated{zero()}, bytesOf(pDst), size_t(len) * sizeof(T));
}

}  // namespace

ORV_KERNEL VelStatus ORV_NAME(velsCopy_8u)(const Vel8u* pSrc, Vel8u* pDst, int len) { return copy(pSrc, pDst, len); }
ORV_KERNEL VelStatus ORV_NAME(velsCopy_16s)(const Vel16s* pSrc, Vel16s* pDst, int len) { return copy(pSrc, pDst, len); }
ORV_KERNEL VelStatus ORV_NAME(velsCopy_32s)(const Vel32s* pSrc, Vel32s* pDst, int len) { return copy(pSrc, pDst, len); }
ORV_KERNEL VelStatus ORV_NAME(velsZero_8u)(Vel8u* pDst, int len) { return clear(pDst, len); }
ORV_KERNEL VelStatus ORV_NAME(velsZero_16s)(Vel16s* pDst, int len) { return clear(pDst, len); }
ORV_KERNEL VelStatus ORV_NAME(velsZero_32s)(Vel32s* pDst, int len) { return clear(pDst, len); }

ORV_KERNEL Vel8u* ORV_NAME(velsMalloc_8u)(int len) { return len > 0 ? static_cast<Vel8u*>(velMalloc(len)) : nullptr; }
ORV_KERNEL Vel32f* ORV_NAME(velsMalloc_32f)(int len) {
  return len > 0 ? static_cast<Vel32f*>(velMalloc(int(4u * unsigned(len)))) : nullptr;
}
ORV_KERNEL void ORV_NAME(velsFree)(void* ptr) { velFree(ptr); }
