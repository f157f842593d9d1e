// Shifts of integer elements by a number of bits.
#include "signal/fill.h"
#include "signal/memory.h"

namespace {

enum Direction { kLeft, kRight };

// Bytes are shifted as words, and the bits that came in from their neighbours cleared.
template <size_t kSize, Direction kTo, bool kKeepsSign> struct Shifted {
  static constexpr size_t kVector = sizeof(Lanes), kElement = kSize;
  static constexpr int kReads = 1;
  const Vel8u* src;
  int count;
  bool reads(const Vel8u* p) const { return p == src; }
  template <size_t kBytes> auto at(size_t i) const {
    const auto v = loadBytes<kBytes>(src + i);
    const Lane n = fromInt(count);
    if constexpr (kSize == 4) return kTo == kLeft ? shiftLeft32(v, n) : shiftRight32(v, n);
    const auto words = kTo == kLeft ? shiftLeft16(v, n) : kKeepsSign ? shiftRight16(v, n) : shiftRightU16(v, n);
    return kSize == 2 ? words : words & all8<decltype(words)>(kTo == kLeft ? 0xFF << count : 0xFF >> count);
  }
};

// ---- Forms

template <Direction kTo, class T> constexpr bool keepsSign() { return kTo == kRight && T(-1) < T(0); }
template <Direction kTo, class T> constexpr bool leavesNothing(int val) {
  return !keepsSign<kTo, T>() && val >= int(8 * sizeof(T));
}

// val is positive; where the sign is kept, more than the element's width does what its width does.
template <Direction kTo, class T> ORV_INLINE VelStatus shift(const T* pSrc, int val, T* pDst, int len) {
  return fill(Shifted<sizeof(T), kTo, keepsSign<kTo, T>()>{bytesOf(pSrc), val}, bytesOf(pDst), size_t(len) * sizeof(T));
}

template <Direction kTo, class T> ORV_INLINE VelStatus shifted(const T* pSrc, int val, T* pDst, int len) {
  if (val == 0) return copyVector(pSrc, pDst, len);
  if (leavesNothing<kTo, T>(val)) return pSrc ? clearVector(pDst, len) : velStsNullPtrErr;
  const VelStatus status = checkVectors(len, pSrc, pDst);
  if (status != velStsNoErr) return status;
  return val < 0 ? velStsShiftErr : shift<kTo>(pSrc, val, pDst, len);
}

template <Direction kTo, class T> ORV_INLINE VelStatus shifted(int val, T* pSrcDst, int len) {
  if (leavesNothing<kTo, T>(val)) return clearVector(pSrcDst, len);
  const VelStatus status = checkVectors(len, pSrcDst);
  if (status != velStsNoErr || val == 0) return status;
  return val < 0 ? velStsShiftErr : shift<kTo>(pSrcDst, val, pSrcDst, len);
}

}  // namespace

// ---- Bodies

ORV_BODY_A(velsLShiftC_8u)(const Vel8u* pSrc, int val, Vel8u* pDst, int len) {
  return shifted<kLeft>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsLShiftC_8u_I)(int val, Vel8u* pSrcDst, int len) { return shifted<kLeft>(val, pSrcDst, len); }
ORV_BODY_A(velsLShiftC_16u)(const Vel16u* pSrc, int val, Vel16u* pDst, int len) {
  return shifted<kLeft>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsLShiftC_16u_I)(int val, Vel16u* pSrcDst, int len) { return shifted<kLeft>(val, pSrcDst, len); }
ORV_BODY_A(velsLShiftC_16s)(const Vel16s* pSrc, int val, Vel16s* pDst, int len) {
  return shifted<kLeft>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsLShiftC_16s_I)(int val, Vel16s* pSrcDst, int len) { return shifted<kLeft>(val, pSrcDst, len); }
ORV_BODY_A(velsLShiftC_32s)(const Vel32s* pSrc, int val, Vel32s* pDst, int len) {
  return shifted<kLeft>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsLShiftC_32s_I)(int val, Vel32s* pSrcDst, int len) { return shifted<kLeft>(val, pSrcDst, len); }

ORV_BODY_A(velsRShiftC_8u)(const Vel8u* pSrc, int val, Vel8u* pDst, int len) {
  return shifted<kRight>(pSrc, val, pDst, len);
}
ORV_BODY_B(velsRShiftC_8u_I)(int val, Vel8u* pSrcDst, int len) { return shifted<kRight>(val, pSrcDst, len); }
ORV_BODY_B(velsRShiftC_16u)(const Vel16u* pSrc, int val, Vel16u* pDst, int len) {
  return shifted<kRight>(pSrc, val, pDst, len);
}
ORV_BODY_B(velsRShiftC_16u_I)(int val, Vel16u* pSrcDst, int len) { return shifted<kRight>(val, pSrcDst, len); }
ORV_BODY_A(velsRShiftC_16s)(const Vel16s* pSrc, int val, Vel16s* pDst, int len) {
  return shifted<kRight>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsRShiftC_16s_I)(int val, Vel16s* pSrcDst, int len) { return shifted<kRight>(val, pSrcDst, len); }
ORV_BODY_A(velsRShiftC_32s)(const Vel32s* pSrc, int val, Vel32s* pDst, int len) {
  return shifted<kRight>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsRShiftC_32s_I)(int val, Vel32s* pSrcDst, int len) { return shifted<kRight>(val, pSrcDst, len); }
