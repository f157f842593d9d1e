// Floating-point arithmetic in place, with a second image or with a constant for each channel.
//
// A row is a run of elements, each the result of one operation, so how it is cut into vectors does not show. The vectors
// at its two ends may overlap others; they are worked out before the loop changes their elements and stored after it.
#include "core/simd.h"
#include "image/checks.h"

namespace {

// ---- Operations: d op s. Of two NaNs they give d. kNeutral leaves d as it is.

struct Add {
  static constexpr float kNeutral = 0;
  template <class V> static ORV_INLINE V of(V d, V s) { return addInOrder(d, s); }
};
struct Sub {
  static constexpr float kNeutral = 0;
  template <class V> static ORV_INLINE V of(V d, V s) { return d - s; }
};
struct Mul {
  static constexpr float kNeutral = 1;
  template <class V> static ORV_INLINE V of(V d, V s) { return mulInOrder(d, s); }
};

// ---- The first n floats of a vector, n being 1, 2, 4 or kFloats

template <int n> ORV_INLINE auto loadFloats(const void* p) { return loadRun<n>(static_cast<const float*>(p)).v[0]; }
template <int n, class V> ORV_INLINE void storeFloats(float* p, V v) { storeRun(p, FloatRun<n>{{v}}); }

// ---- Second operands
//
// at<n>(i) is what n elements from i of a row are combined with. A loop over whole vectors takes them in blocks of kBlock:
// from(i) is the block that begins at i, next() makes it the block after it, and vector(j) is the j-th vector of it.
// isMore is the condition of a vector after the last whole block. With blocks of four it is true as a rule, and the compiler
// is told so, lest a row of a few vectors jump to and fro.

// A second image.
struct Image {
  static constexpr int kBlock = 4;
  const float* row;
  int step;

  bool isTight(ptrdiff_t rowBytes) const { return step == rowBytes; }
  Image atRow(int y) const { return {rowOf(row, step, y), step}; }
  template <int n> auto at(size_t i) const { return loadFloats<n>(row + i); }
  static ORV_INLINE bool isMore(bool is) { return __builtin_expect_with_probability(is, 1, 0.7); }

  struct Block {
    const float* p;
    Floats vector(int j) const { return load<Floats>(p + j * kFloats); }
    void next() { p += kBlock * kFloats; }
  };
  Block from(size_t i) const { return {row + i}; }
};

// kPeriod elements again and again. A loop over fewer vectors may lie within a line of the instruction cache, and some
// processors then store only once in a cycle.
template <int kPeriod> struct Pattern {
  static constexpr int kVectors = kPeriod == 3 ? 3 : 1, kBlock = kPeriod == 3 ? 6 : 8;
  static constexpr int kCount = (kFloats + kPeriod - 1 + 3) / 4 * 4;  // whole lanes
  Vel32u elements[kCount];                                            // as bits: a mask is no number

  explicit Pattern(const void* value) {
    Vel32u period[kPeriod];
    memcpy(period, value, sizeof period);
    if constexpr (kPeriod == 1) {
      store(elements, repeatLane(all32(int(period[0]))));
    } else {
      const auto dword = [&](int i) { return fromInt(int(period[i % kPeriod])); };
      storeFrom<0>(interleaveLow64(interleaveLow32(dword(0), dword(1)), interleaveLow32(dword(2), dword(3))));
    }
  }
  // Elements i to i + 3, and those after them.
  template <int i> ORV_INLINE void storeFrom(Lane first) {
    constexpr int k = i % kPeriod;
    store(elements + i, shuffle32<k, (k + 1) % kPeriod, (k + 2) % kPeriod, (k + 3) % kPeriod>(first));
    if constexpr (i + 4 < kCount) storeFrom<i + 4>(first);
  }
  bool isTight(ptrdiff_t) const { return true; }
  const Pattern& atRow(int) const { return *this; }
  template <int n> auto at(size_t i) const { return loadFloats<n>(elements + i % kPeriod); }
  static ORV_INLINE bool isMore(bool is) { return is; }

  struct Block {
    Floats v[kVectors];
    Floats vector(int j) const { return v[j % kVectors]; }
    void next() {}
  };
  Block from(size_t i) const {
    Block block;
    ORV_UNROLL
    for (int j = 0; j < kVectors; ++j) block.v[j] = at<kFloats>(i + size_t(j) * kFloats);
    return block;
  }
};

// A second image of four channels, with the neutral number in place of the fourth.
template <class Op> struct ImageButAlpha {
  static constexpr int kBlock = 4;
  Image image;
  const Pattern<4>&colourBits, &neutralAlpha;  // all bits of three channels; the number in the fourth

  template <class V> static V butAlpha(V s, V kept, V other) {
    s = bitAnd(s, kept);
    return Op::kNeutral == 0 ? s : bitOr(s, other);
  }

  bool isTight(ptrdiff_t rowBytes) const { return image.isTight(rowBytes); }
  ImageButAlpha atRow(int y) const { return {image.atRow(y), colourBits, neutralAlpha}; }
  template <int n> auto at(size_t i) const {
    return butAlpha(image.at<n>(i), colourBits.template at<n>(i), neutralAlpha.template at<n>(i));
  }
  static ORV_INLINE bool isMore(bool is) { return Image::isMore(is); }

  struct Block {
    Image::Block image;
    Floats colourBits, neutralAlpha;
    Floats vector(int j) const { return butAlpha(image.vector(j), colourBits, neutralAlpha); }
    void next() { image.next(); }
  };
  Block from(size_t i) const {
    return {image.from(i), colourBits.template at<kFloats>(i), neutralAlpha.template at<kFloats>(i)};
  }
};

// ---- Rows

template <class Op, int n, class Operand> ORV_INLINE auto result(const float* d, const Operand& s, size_t i) {
  return Op::of(loadFloats<n>(d + i), s.template at<n>(i));
}

// A row of n to 2 n elements.
template <class Op, int n, class Operand> ORV_INLINE void combineEnds(float* d, const Operand& s, size_t len) {
  const auto first = result<Op, n>(d, s, 0), last = result<Op, n>(d, s, len - n);
  storeFloats<n>(d, first);
  storeFloats<n>(d + len - n, last);
}

// A row of a vector or more. Those between the ends are at aligned places.
template <class Op, class Operand> ORV_INLINE void combineVectors(float* d, const Operand& s, size_t len) {
  float* const end = d + (len - kFloats);
  const Floats first = result<Op, kFloats>(d, s, 0), last = result<Op, kFloats>(d, s, len - kFloats);
  const size_t head = kFloats - reinterpret_cast<uintptr_t>(d) / sizeof *d % kFloats;
  auto loop = s.from(head);
  float* p = d + head;
  constexpr int kBlock = Operand::kBlock;
  for (; p + (kBlock - 1) * kFloats < end; p += kBlock * kFloats) {
    ORV_UNROLL
    for (int j = 0; j < kBlock; ++j) store(p + j * kFloats, Op::of(load<Floats>(p + j * kFloats), loop.vector(j)));
    loop.next();
  }
  ORV_UNROLL
  for (int j = 0; j < kBlock - 1; ++j)
    if (Operand::isMore(p + j * kFloats < end))
      store(p + j * kFloats, Op::of(load<Floats>(p + j * kFloats), loop.vector(j)));
  store(d, first);
  store(end, last);
}

template <class Op, class Operand> ORV_INLINE void combineRow(float* d, const Operand& s, size_t len) {
  if (len >= kFloats)
    combineVectors<Op>(d, s, len);
  else if (len >= 4)
    combineEnds<Op, 4>(d, s, len);
  else if (len >= 2)
    combineEnds<Op, 2>(d, s, len);
  else
    combineEnds<Op, 1>(d, s, len);
}

// Rows of len elements that lie close together make one row.
template <class Op, class Operand> void combineRows(const Operand& s, float* d, int step, size_t len, int height) {
  const ptrdiff_t rowBytes = ptrdiff_t(len * sizeof *d);
  if (step == rowBytes && s.isTight(rowBytes)) {
    len *= size_t(height);
    height = 1;
  }
  for (int y = 0; y < height; ++y) combineRow<Op>(rowOf(d, step, y), s.atRow(y), len);
}

// ---- Images: the checks, then the rows

template <class Op> ORV_INLINE VelStatus withImage(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int step,
                                                   VeliSize size, int channels = 1) {
  if (channels > 1 && size.width < 1) return velStsSizeErr;
  ORV_CHECK(checkPointers(pSrc, pSrcDst));
  ORV_CHECK(checkSize(size));
  combineRows<Op>(Image{pSrc, srcStep}, pSrcDst, step, size_t(size.width) * size_t(channels), size.height);
  return velStsNoErr;
}

template <class Op>
ORV_INLINE VelStatus withImageButAlpha(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int step, VeliSize size) {
  ORV_CHECK(checkPointers(pSrc, pSrcDst));
  ORV_CHECK(checkSize(size));
  const Vel32u bits[4] = {~0u, ~0u, ~0u, 0};
  const float number[4] = {0, 0, 0, Op::kNeutral};
  const Pattern<4> colourBits(bits), neutralAlpha(number);
  combineRows<Op>(ImageButAlpha<Op>{{pSrc, srcStep}, colourBits, neutralAlpha}, pSrcDst, step, size_t(size.width) * 4,
                  size.height);
  return velStsNoErr;
}

// As many constants as channels.
template <class Op, int kChannels>
ORV_INLINE VelStatus withConstants(const Vel32f* value, Vel32f* pSrcDst, int step, VeliSize size) {
  ORV_CHECK(checkPointers(value, pSrcDst));
  ORV_CHECK(checkSize(size));
  combineRows<Op>(Pattern<kChannels>(value), pSrcDst, step, size_t(size.width) * kChannels, size.height);
  return velStsNoErr;
}

template <class Op>
ORV_INLINE VelStatus withConstantsButAlpha(const Vel32f* value, Vel32f* pSrcDst, int step, VeliSize size) {
  ORV_CHECK(checkPointers(value));
  float four[4] = {0, 0, 0, Op::kNeutral};
  memcpy(four, value, 3 * sizeof *value);
  return withConstants<Op, 4>(four, pSrcDst, step, size);
}

}  // namespace

// ---- Bodies

ORV_BODY_C(veliAdd_32f_C1IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Add>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliAdd_32f_C3IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Add>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, 3);
}

ORV_BODY_C(veliAdd_32f_C4IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Add>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, 4);
}

ORV_BODY_C(veliAdd_32f_AC4IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImageButAlpha<Add>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliSub_32f_C1IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Sub>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliSub_32f_C3IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Sub>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, 3);
}

ORV_BODY_C(veliSub_32f_C4IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Sub>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, 4);
}

ORV_BODY_C(veliSub_32f_AC4IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImageButAlpha<Sub>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliMul_32f_C1IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Mul>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliMul_32f_C3IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Mul>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, 3);
}

ORV_BODY_C(veliMul_32f_C4IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImage<Mul>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize, 4);
}

ORV_BODY_C(veliMul_32f_AC4IR)
(const Vel32f* pSrc, int srcStep, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withImageButAlpha<Mul>(pSrc, srcStep, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliAddC_32f_C1IR)(Vel32f value, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Add, 1>(&value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_A(veliAddC_32f_C3IR)(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Add, 3>(value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliAddC_32f_C4IR)(const Vel32f value[4], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Add, 4>(value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliAddC_32f_AC4IR)(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstantsButAlpha<Add>(value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliSubC_32f_C1IR)(Vel32f value, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Sub, 1>(&value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_A(veliSubC_32f_C3IR)(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Sub, 3>(value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliSubC_32f_C4IR)(const Vel32f value[4], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Sub, 4>(value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliSubC_32f_AC4IR)(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstantsButAlpha<Sub>(value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliMulC_32f_C1IR)(Vel32f value, Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Mul, 1>(&value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_A(veliMulC_32f_C3IR)(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Mul, 3>(value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_B(veliMulC_32f_C4IR)(const Vel32f value[4], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstants<Mul, 4>(value, pSrcDst, srcDstStep, roiSize);
}

ORV_BODY_C(veliMulC_32f_AC4IR)(const Vel32f value[3], Vel32f* pSrcDst, int srcDstStep, VeliSize roiSize) {
  return withConstantsButAlpha<Mul>(value, pSrcDst, srcDstStep, roiSize);
}
