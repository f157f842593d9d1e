// Copying, clearing and allocating vectors.
#include "signal/memory.h"
#include "signal/fill.h"

namespace {

struct Copy {
  static constexpr size_t kWhole = kWide, kElement = 1;
  static constexpr int kReads = 1;
  const Vel8u* src;
  bool reads(const Vel8u* p) const { return p == src; }
  template <size_t kBytes> auto at(size_t i) const { return loadPiece<kBytes>(src + i); }
};

struct Zero {
  static constexpr size_t kWhole = kWide, kElement = 1;
  static constexpr int kReads = 0;
  bool reads(const Vel8u*) const { return false; }
  template <size_t kBytes> auto at(size_t) const {
    if constexpr (kBytes > 16)
      return zeroWide();
    else
      return zero();
  }
};

template <class T> ORV_INLINE VelStatus copy(const T* pSrc, T* pDst, int len) {
  const VelStatus status = checkVectors(len, pSrc, pDst);
  return status != velStsNoErr ? status : fill(Copy{bytesOf(pSrc)}, bytesOf(pDst), size_t(len) * sizeof(T));
}

template <class T> ORV_INLINE VelStatus clear(T* pDst, int len) {
  const VelStatus status = checkVectors(len, pDst);
  return status != velStsNoErr ? status : fill(Zero{}, bytesOf(pDst), size_t(len) * sizeof(T));
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
