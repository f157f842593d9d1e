// The Euclidean norm of a vector.
#include "signal/fill.h"

namespace {

// The sum of squares. A multiply-add gives the sum of two in 32 bits without sign: of two -32768 it is 2^31. `all` adds
// up pairs of such numbers as 64-bit ones, modulo 2^64, and `high` their high halves alone; together they tell both.
class Squares {
 public:
  void add(Lane words) {
    const Lane pairs = mulAddPairs16(words, words);
    all = add64(all, pairs);
    high = add64(high, shiftRightU64(pairs, 32));
  }
  void add(const Squares& other) {
    all = add64(all, other.all);
    high = add64(high, other.high);
  }
  Vel64u sum() const {
    Vel64u lanes[2];
    store(lanes, add64(sub64(all, shiftLeft64(high, 32)), high));
    return lanes[0] + lanes[1];
  }

 private:
  Lane all = zero(), high = zero();
};

ORV_INLINE Vel64u sumOfSquares(const Vel8u* p, size_t n) {
  Squares even, odd;
  for (; n >= 32; p += 32, n -= 32) {
    odd.add(load(p + 16));
    even.add(load(p));
  }
  if (n & 16) even.add(load(p)), p += 16;
  if (n & 8) odd.add(loadBytes<8>(p)), p += 8;
  if (n & 4) even.add(loadBytes<4>(p)), p += 4;
  if (n & 2) odd.add(loadBytes<2>(p));
  even.add(odd);
  return even.sum();
}

// Rounded once, in the addition.
ORV_INLINE double toDouble(Vel64u x) { return double(Vel32s(x >> 32)) * 4294967296.0 + double(Vel32u(x)); }

}  // namespace

// ---- Bodies

ORV_BODY_A(velsNorm_L2_16s32f)(const Vel16s* pSrc, int len, Vel32f* pNorm) {
  if (!pSrc || !pNorm) return velStsNullPtrErr;
  if (len < 1) return velStsSizeErr;
  *pNorm = float(__builtin_sqrt(toDouble(sumOfSquares(bytesOf(pSrc), size_t(len) * sizeof *pSrc))));
  return velStsNoErr;
}
