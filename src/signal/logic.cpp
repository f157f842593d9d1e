// Bitwise logic of two vectors, or of a vector and a constant.
#include "signal/fill.h"
#include "signal/memory.h"

namespace {

// ---- Operations on bits, of any type. kZeroClears: a constant of zero clears a vector; else it leaves it as it is.

struct And {
  static constexpr bool kZeroClears = true;
  template <class V> static V of(V a, V b) { return a & b; }
};
struct Or {
  static constexpr bool kZeroClears = false;
  template <class V> static V of(V a, V b) { return a | b; }
};
struct Xor {
  static constexpr bool kZeroClears = false;
  template <class V> static V of(V a, V b) { return a ^ b; }
};

// ---- Sources

// Two vectors' bits know no elements.
template <class Op> struct Combination {
  static constexpr size_t kVector = sizeof(Dwords), kElement = 1;
  static constexpr int kReads = 2;
  const Vel8u *src1, *src2;
  bool reads(const Vel8u* p) const { return p == src1 || p == src2; }
  template <size_t kBytes> auto at(size_t i) const {
    const auto first = loadBytes<kBytes>(src1 + i);  // in place the destination, which may have been written just now
    return Op::of(first, loadBytes<kBytes>(src2 + i));
  }
};

template <class Op, size_t kSize> struct WithConstant {
  static constexpr size_t kVector = sizeof(Dwords), kElement = kSize;
  static constexpr int kReads = 1;
  const Vel8u* src;
  Vel32u bits;  // the constant, as often as it fits
  bool reads(const Vel8u* p) const { return p == src; }
  template <size_t kBytes> auto at(size_t i) const {
    return Op::of(loadBytes<kBytes>(src + i), repeatBytes<kBytes>(all32(int(bits))));
  }
};

// ---- Forms

// Whether elements of dst come to lie on elements of src that are read later.
ORV_INLINE bool runsInto(const Vel8u* src, const Vel8u* dst, size_t n) { return size_t(dst) - size_t(src) - 1 < n - 1; }

// Each element with what earlier ones wrote.
template <class Op>
__attribute__((noinline)) VelStatus combineOneByOne(const Vel8u* src1, const Vel8u* src2, Vel8u* dst, size_t n) {
  for (size_t i = 0; i < n; i += 4) {
    Vel32u a, b;
    memcpy(&a, src1 + i, 4);
    memcpy(&b, src2 + i, 4);
    a = Op::of(a, b);
    memcpy(dst + i, &a, 4);
  }
  return velStsNoErr;
}

template <class Op, class T> ORV_INLINE VelStatus combine(const T* pSrc1, const T* pSrc2, T* pDst, int len) {
  const VelStatus status = checkVectors(len, pSrc1, pSrc2, pDst);
  if (status != velStsNoErr) return status;
  const size_t n = size_t(len) * sizeof(T);
  const Vel8u *const src1 = bytesOf(pSrc1), *const src2 = bytesOf(pSrc2);
  Vel8u* const dst = bytesOf(pDst);
  if (sizeof(T) == 4 && (runsInto(src1, dst, n) || runsInto(src2, dst, n)))
    return combineOneByOne<Op>(src1, src2, dst, n);
  return fill(Combination<Op>{src1, src2}, dst, n);
}

template <class Op, class T> ORV_INLINE VelStatus withConstant(const T* pSrc, T val, T* pDst, int len) {
  if (val == 0) {
    if (!Op::kZeroClears) return copyVector(pSrc, pDst, len);
    return pSrc ? clearVector(pDst, len) : velStsNullPtrErr;
  }
  const VelStatus status = checkVectors(len, pSrc, pDst);
  if (status != velStsNoErr) return status;
  return fill(WithConstant<Op, sizeof(T)>{bytesOf(pSrc), val * (~Vel32u(0) / T(~T(0)))}, bytesOf(pDst),
              size_t(len) * sizeof(T));
}

template <class Op, class T> ORV_INLINE VelStatus withConstant(T val, T* pSrcDst, int len) {
  if (val == 0 && !Op::kZeroClears) return checkVectors(len, pSrcDst);
  return withConstant<Op>(pSrcDst, val, pSrcDst, len);
}

template <class T> ORV_INLINE VelStatus complement(const T* pSrc, T* pDst, int len) {
  return withConstant<Xor>(pSrc, T(~T(0)), pDst, len);
}

}  // namespace

// ---- Bodies

ORV_BODY_A(velsAnd_8u)(const Vel8u* pSrc1, const Vel8u* pSrc2, Vel8u* pDst, int len) {
  return combine<And>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_A(velsAnd_8u_I)(const Vel8u* pSrc, Vel8u* pSrcDst, int len) {
  return combine<And>(pSrcDst, pSrc, pSrcDst, len);
}
ORV_BODY_A(velsAnd_16u)(const Vel16u* pSrc1, const Vel16u* pSrc2, Vel16u* pDst, int len) {
  return combine<And>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_B(velsAnd_16u_I)(const Vel16u* pSrc, Vel16u* pSrcDst, int len) {
  return combine<And>(pSrcDst, pSrc, pSrcDst, len);
}
ORV_BODY_B(velsAnd_32u)(const Vel32u* pSrc1, const Vel32u* pSrc2, Vel32u* pDst, int len) {
  return combine<And>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_B(velsAnd_32u_I)(const Vel32u* pSrc, Vel32u* pSrcDst, int len) {
  return combine<And>(pSrcDst, pSrc, pSrcDst, len);
}

ORV_BODY_A(velsOr_8u)(const Vel8u* pSrc1, const Vel8u* pSrc2, Vel8u* pDst, int len) {
  return combine<Or>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_A(velsOr_8u_I)(const Vel8u* pSrc, Vel8u* pSrcDst, int len) { return combine<Or>(pSrcDst, pSrc, pSrcDst, len); }
ORV_BODY_B(velsOr_16u)(const Vel16u* pSrc1, const Vel16u* pSrc2, Vel16u* pDst, int len) {
  return combine<Or>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_A(velsOr_16u_I)(const Vel16u* pSrc, Vel16u* pSrcDst, int len) {
  return combine<Or>(pSrcDst, pSrc, pSrcDst, len);
}
ORV_BODY_A(velsOr_32u)(const Vel32u* pSrc1, const Vel32u* pSrc2, Vel32u* pDst, int len) {
  return combine<Or>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_B(velsOr_32u_I)(const Vel32u* pSrc, Vel32u* pSrcDst, int len) {
  return combine<Or>(pSrcDst, pSrc, pSrcDst, len);
}

ORV_BODY_A(velsXor_8u)(const Vel8u* pSrc1, const Vel8u* pSrc2, Vel8u* pDst, int len) {
  return combine<Xor>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_A(velsXor_8u_I)(const Vel8u* pSrc, Vel8u* pSrcDst, int len) {
  return combine<Xor>(pSrcDst, pSrc, pSrcDst, len);
}
ORV_BODY_A(velsXor_16u)(const Vel16u* pSrc1, const Vel16u* pSrc2, Vel16u* pDst, int len) {
  return combine<Xor>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_B(velsXor_16u_I)(const Vel16u* pSrc, Vel16u* pSrcDst, int len) {
  return combine<Xor>(pSrcDst, pSrc, pSrcDst, len);
}
ORV_BODY_A(velsXor_32u)(const Vel32u* pSrc1, const Vel32u* pSrc2, Vel32u* pDst, int len) {
  return combine<Xor>(pSrc1, pSrc2, pDst, len);
}
ORV_BODY_A(velsXor_32u_I)(const Vel32u* pSrc, Vel32u* pSrcDst, int len) {
  return combine<Xor>(pSrcDst, pSrc, pSrcDst, len);
}

ORV_BODY_B(velsAndC_8u)(const Vel8u* pSrc, Vel8u val, Vel8u* pDst, int len) {
  return withConstant<And>(pSrc, val, pDst, len);
}
ORV_BODY_B(velsAndC_8u_I)(Vel8u val, Vel8u* pSrcDst, int len) { return withConstant<And>(val, pSrcDst, len); }
ORV_BODY_B(velsAndC_16u)(const Vel16u* pSrc, Vel16u val, Vel16u* pDst, int len) {
  return withConstant<And>(pSrc, val, pDst, len);
}
ORV_BODY_B(velsAndC_16u_I)(Vel16u val, Vel16u* pSrcDst, int len) { return withConstant<And>(val, pSrcDst, len); }
ORV_BODY_A(velsAndC_32u)(const Vel32u* pSrc, Vel32u val, Vel32u* pDst, int len) {
  return withConstant<And>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsAndC_32u_I)(Vel32u val, Vel32u* pSrcDst, int len) { return withConstant<And>(val, pSrcDst, len); }

ORV_BODY_B(velsOrC_8u)(const Vel8u* pSrc, Vel8u val, Vel8u* pDst, int len) {
  return withConstant<Or>(pSrc, val, pDst, len);
}
ORV_BODY_B(velsOrC_8u_I)(Vel8u val, Vel8u* pSrcDst, int len) { return withConstant<Or>(val, pSrcDst, len); }
ORV_BODY_B(velsOrC_16u)(const Vel16u* pSrc, Vel16u val, Vel16u* pDst, int len) {
  return withConstant<Or>(pSrc, val, pDst, len);
}
ORV_BODY_B(velsOrC_16u_I)(Vel16u val, Vel16u* pSrcDst, int len) { return withConstant<Or>(val, pSrcDst, len); }
ORV_BODY_A(velsOrC_32u)(const Vel32u* pSrc, Vel32u val, Vel32u* pDst, int len) {
  return withConstant<Or>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsOrC_32u_I)(Vel32u val, Vel32u* pSrcDst, int len) { return withConstant<Or>(val, pSrcDst, len); }

ORV_BODY_B(velsXorC_8u)(const Vel8u* pSrc, Vel8u val, Vel8u* pDst, int len) {
  return withConstant<Xor>(pSrc, val, pDst, len);
}
ORV_BODY_C(velsXorC_8u_I)(Vel8u val, Vel8u* pSrcDst, int len) { return withConstant<Xor>(val, pSrcDst, len); }
ORV_BODY_B(velsXorC_16u)(const Vel16u* pSrc, Vel16u val, Vel16u* pDst, int len) {
  return withConstant<Xor>(pSrc, val, pDst, len);
}
ORV_BODY_C(velsXorC_16u_I)(Vel16u val, Vel16u* pSrcDst, int len) { return withConstant<Xor>(val, pSrcDst, len); }
ORV_BODY_A(velsXorC_32u)(const Vel32u* pSrc, Vel32u val, Vel32u* pDst, int len) {
  return withConstant<Xor>(pSrc, val, pDst, len);
}
ORV_BODY_A(velsXorC_32u_I)(Vel32u val, Vel32u* pSrcDst, int len) { return withConstant<Xor>(val, pSrcDst, len); }

ORV_BODY_C(velsNot_8u)(const Vel8u* pSrc, Vel8u* pDst, int len) { return complement(pSrc, pDst, len); }
ORV_BODY_C(velsNot_8u_I)(Vel8u* pSrcDst, int len) { return complement(pSrcDst, pSrcDst, len); }
ORV_BODY_C(velsNot_16u)(const Vel16u* pSrc, Vel16u* pDst, int len) { return complement(pSrc, pDst, len); }
ORV_BODY_C(velsNot_16u_I)(Vel16u* pSrcDst, int len) { return complement(pSrcDst, pSrcDst, len); }
ORV_BODY_A(velsNot_32u)(const Vel32u* pSrc, Vel32u* pDst, int len) { return complement(pSrc, pDst, len); }
ORV_BODY_A(velsNot_32u_I)(Vel32u* pSrcDst, int len) { return complement(pSrcDst, pSrcDst, len); }
