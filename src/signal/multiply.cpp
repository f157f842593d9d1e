// Vectors multiplied by a constant, with a scale factor.
#include "signal/fill.h"
#include "signal/memory.h"

namespace {

// What is multiplied, in place.
struct InPlace {
  static constexpr size_t kVector = sizeof(Lanes), kElement = 2;
  static constexpr int kReads = 1;
  Vel8u* src;
  int val;
  bool reads(const Vel8u*) const { return true; }
};

// The product, saturated.
struct Product : InPlace {
  template <size_t kBytes> auto at(size_t i) const { return product(loadBytes<kBytes>(src + i)); }
  template <class V> V product(V x) const {
    const V low = mulLow16(x, all16<V>(val)), high = mulHigh16(x, all16<V>(val));
    return narrow32(interleaveLow16(low, high), interleaveHigh16(low, high));
  }
};

// The product times a power of two, saturated; that the product itself was saturated before makes no difference. 15 is
// as good as any power above: all but zero are at a limit then.
struct ScaledUp : Product {
  int power;  // 1..15
  template <size_t kBytes> auto at(size_t i) const { return scaledUp(product(loadBytes<kBytes>(src + i))); }
  template <class V> V scaledUp(V p) const {
    const Lane down = fromInt(16 - power);
    return narrow32(shiftRight32(interleaveLow16(zero<V>(), p), down),
                    shiftRight32(interleaveHigh16(zero<V>(), p), down));
  }
};

// The product divided by a power of two, halves to even, saturated. With half of the divisor added, as a second product
// in the multiply-add, the shift rounds halves up. Where it gives an odd number, one less is shifted instead, which
// changes halves only.
struct ScaledDown : InPlace {
  int power;  // 1..30
  template <size_t kBytes> auto at(size_t i) const { return scaledDown(loadBytes<kBytes>(src + i)); }
  template <class V> V scaledDown(V x) const {
    const int a = -(1 << (power - 1) / 2), b = -(1 << power / 2);  // a b = 2^(power - 1), each within a word
    return narrow32(rounded(interleaveLow16(x, all16<V>(a)), b), rounded(interleaveHigh16(x, all16<V>(a)), b));
  }
  template <class V> V rounded(V pairs, int b) const {
    const V sum = mulAddPairs16(pairs, allPairs16<V>(val, b)), bit = all32<V>(1 << power);
    const V odd = equal32(sum & bit, bit);  // -1
    return shiftRight32(add32(sum, odd), fromInt(power));
  }
};

}  // namespace

// ---- Bodies

ORV_BODY_A(velsMulC_16s_ISfs)(Vel16s val, Vel16s* pSrcDst, int len, int scaleFactor) {
  const VelStatus status = checkVectors(len, pSrcDst);
  if (status != velStsNoErr) return status;
  if (val == 0 || scaleFactor > 30) return clearVector(pSrcDst, len);
  Vel8u* const dst = bytesOf(pSrcDst);
  const size_t n = size_t(len) * sizeof *pSrcDst;
  const InPlace words{dst, val};
  if (scaleFactor > 0) return fill(ScaledDown{words, scaleFactor}, dst, n);
  if (scaleFactor < 0) return fill(ScaledUp{{words}, scaleFactor < -15 ? 15 : -scaleFactor}, dst, n);
  return val == 1 ? velStsNoErr : fill(Product{words}, dst, n);
}
