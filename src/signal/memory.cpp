// Copying, clearing and allocating vectors.
#include "signal/memory.h"
#include "core/simd.h"

namespace {

struct Copy {
  const Vel8u* src;
  Wide wide(size_t i) const { return loadWide(src + i); }
  Vec vec(size_t i) const { return load(src + i); }
  Vel8u byte(size_t i) const { return src[i]; }
};
struct Zero {
  Wide wide(size_t) const { return zeroWide(); }
  Vec vec(size_t) const { return zero(); }
  Vel8u byte(size_t) const { return 0; }
};

// Fills n bytes from source: bytes when they are few; else whole vectors, the first and last of which may overlap
// others. Stores bound this, so those in the middle are aligned; past the caches' size they go around them.
template <class Source> ORV_INLINE void fill(Source source, Vel8u* dst, size_t n) {
  if (n < 16) {
    for (size_t i = 0; i < n; ++i) dst[i] = source.byte(i);
    return;
  }
  if (n <= kWide) {
    store(dst, source.vec(0));
    store(dst + n - 16, source.vec(n - 16));
    return;
  }
  storeWide(dst, source.wide(0));
  const size_t last = n - kWide;
  size_t i = kWide - (reinterpret_cast<uintptr_t>(dst) & (kWide - 1));
  if (exceedsCaches(2.0 * double(n))) {
    for (; i < last; i += kWide) streamWide(dst + i, source.wide(i));
    streamEnd();
  } else {
    for (; i + 2 * kWide <= last; i += 2 * kWide) {
      const Wide a = source.wide(i), b = source.wide(i + kWide);
      storeWide(dst + i, a);
      storeWide(dst + i + kWide, b);
    }
    for (; i < last; i += kWide) storeWide(dst + i, source.wide(i));
  }
  storeWide(dst + last, source.wide(last));
}

template <class T> VelStatus copy(const T* pSrc, T* pDst, int len) {
  if (!pSrc || !pDst) return velStsNullPtrErr;
  if (len < 1) return velStsSizeErr;
  fill(Copy{reinterpret_cast<const Vel8u*>(pSrc)}, reinterpret_cast<Vel8u*>(pDst), size_t(len) * sizeof(T));
  return velStsNoErr;
}

template <class T> VelStatus clear(T* pDst, int len) {
  if (!pDst) return velStsNullPtrErr;
  if (len < 1) return velStsSizeErr;
  fill(Zero{}, reinterpret_cast<Vel8u*>(pDst), size_t(len) * sizeof(T));
  return velStsNoErr;
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
