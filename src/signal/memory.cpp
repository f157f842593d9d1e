// Copying, clearing and allocating vectors.
#include "signal/memory.h"
#include "signal/fill.h"

namespace {

// So many that the call of a kernel does not count.
constexpr size_t kLong = 1 << 15;
__attribute__((noinline)) VelStatus copyLong(const Vel8u* src, Vel8u* dst, size_t n) {
  const bool isPastCaches = n > 1 << 17 && src != dst && exceedsCaches(2.0 * double(n));
  ORV_NAME(ownsCopy_8u)(src, 0, dst, 0, n, 1, isPastCaches);
  if (isPastCaches) streamEnd();
  return velStsNoErr;
}
template <class T> ORV_INLINE VelStatus copy(const T* pSrc, T* pDst, int len) {
  const VelStatus status = checkVectors(len, pSrc, pDst);
  if (status != velStsNoErr) return status;
  const size_t n = size_t(len) * sizeof(T);
  if (__builtin_expect(n > kLong, 0)) return copyLong(bytesOf(pSrc), bytesOf(pDst), n);
  return fill(CopyOf{bytesOf(pSrc)}, bytesOf(pDst), n);
}

template <class T> ORV_INLINE VelStatus clear(T* pDst, int len) {
  const VelStatus status = checkVectors(len, pDst);
  return status != velStsNoErr ? status : fill(Constant{zero()}, bytesOf(pDst), size_t(len) * sizeof(T));
}

}  // namespace

// Not to be inlined: a profile is to show it.
ORV_KERNEL __attribute__((noinline)) void ORV_NAME(ownsCopy_8u)(const Vel8u* pSrc, int srcStep, Vel8u* pDst,
                                                                int dstStep, size_t len, int rows, bool isPastCaches) {
  const auto each = [&](const auto& copyRow) {
    for (; rows > 0; --rows, pSrc += srcStep, pDst += dstStep) copyRow(CopyOf{pSrc}, pDst);
  };
  if (isPastCaches)
    each([=](CopyOf src, Vel8u* dst) { fillPastCaches(src, dst, len); });
  else if (len <= kSmall)
    each([=](CopyOf src, Vel8u* dst) { fillSmall(src, dst, len); });
  else
    each([=](CopyOf src, Vel8u* dst) { fillAligned(src, dst, len); });
}

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
