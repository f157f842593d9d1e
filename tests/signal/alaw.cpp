// A-law companding against the definition, sample by sample.
#include <algorithm>
#include <climits>
#include <cmath>
#include <numeric>
#include <vector>
#include "support/caches.h"
#include "support/image.h"

namespace {

using Bytes = std::vector<Vel8u>;

// ---- The definition

Vel8u encodeWord(Vel16s sample) {
  static const int ends[8] = {0x1F, 0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF};
  int x = sample >> 3, mask = 0xD5;
  if (x < 0) x = ~x, mask = 0x55;
  const int segment = int(std::find_if(ends, ends + 8, [=](int end) { return end >= x; }) - ends);
  return Vel8u((segment << 4 | (x >> std::max(segment, 1) & 15)) ^ mask);
}
// By way of memory, so that no unit keeps more of a number than its type holds.
Vel8u encodeFloat(Vel32f sample) {
  const volatile float product = sample * 32768.0f;
  const double v = product;
  if (std::isnan(v)) return encodeWord(0);
  if (v > 32767.0) return encodeWord(32767);
  if (v < -32768.0) return encodeWord(-32768);
  const volatile float rounded = float(v < 0 ? v - 0.5 : v + 0.5);
  return encodeWord(Vel16s(rounded));
}
Vel16s decodeToWord(Vel8u code) {
  const int c = code ^ 0x55, segment = c >> 4 & 7, mantissa = (c & 15) << 4;
  const int magnitude = segment == 0 ? mantissa + 8 : (mantissa + 0x108) << (segment - 1);
  return Vel16s(c & 0x80 ? magnitude : -magnitude);
}
Vel32f decodeToFloat(Vel8u code) { return Vel32f(decodeToWord(code)) / 32768; }

// ---- A common shape for all four

struct Form {
  const char* name;
  size_t from, to;  // bytes of an element
  VelStatus (*convert)(const void* src, void* dst, int len);
  void (*model)(const Vel8u* src, Vel8u* dst);  // one element
};
template <class Src, class Dst, VelStatus (*kConvert)(const Src*, Dst*, int), Dst (*kModel)(Src)>
constexpr Form form(const char* name) {
  return {name, sizeof(Src), sizeof(Dst),
          [](const void* src, void* dst, int len) {
            return kConvert(static_cast<const Src*>(src), static_cast<Dst*>(dst), len);
          },
          [](const Vel8u* src, Vel8u* dst) {
            Src x;
            memcpy(&x, src, sizeof x);
            const Dst y = kModel(x);
            memcpy(dst, &y, sizeof y);
          }};
}
const Form kEncodeWords = form<Vel16s, Vel8u, orvsLinToALaw_16s8u, encodeWord>("16s8u"),
           kEncodeFloats = form<Vel32f, Vel8u, orvsLinToALaw_32f8u, encodeFloat>("32f8u"),
           kDecodeToWords = form<Vel8u, Vel16s, orvsALawToLin_8u16s, decodeToWord>("8u16s"),
           kDecodeToFloats = form<Vel8u, Vel32f, orvsALawToLin_8u32f, decodeToFloat>("8u32f");
const Form* const kForms[] = {&kEncodeWords, &kEncodeFloats, &kDecodeToWords, &kDecodeToFloats};

Bytes expected(const Form& form, const Bytes& source) {
  Bytes result(source.size() / form.from * form.to);
  for (size_t i = 0; i < source.size() / form.from; ++i) form.model(&source[i * form.from], &result[i * form.to]);
  return result;
}
template <class T> Bytes bytesOf(const std::vector<T>& v) {
  const auto p = reinterpret_cast<const Vel8u*>(v.data());
  return {p, p + v.size() * sizeof(T)};
}

class ALaw : public OnEveryPath {
 protected:
  // Converts from guarded memory to guarded memory, both off their alignment, and leaves the result in `result`.
  void check(const Form& form, const Bytes& source, const Bytes& wanted, Guard guard = Guard::kBehind, int shift = 0) {
    const int len = int(source.size() / form.from);
    Plane src({len, 1}, {1, int(form.from)}, {0, false, guard, shift * 7 % 16}, random);
    const Plane dst({len, 1}, {1, int(form.to)}, {0, false, guard, shift}, random);
    std::copy(source.begin(), source.end(), src.data());
    Copied around = dst.copy();
    std::copy(wanted.begin(), wanted.end(), &around.at(0, 0));
    ASSERT_EQ(form.convert(src.data(), dst.data(), len), velStsNoErr);
    ASSERT_TRUE(expectSame(dst, around)) << form.name;
    result.assign(dst.data(), dst.data() + wanted.size());
  }
  Bytes result;
  Random random{711};
};
ORV_ON_EVERY_PATH(ALaw);

TEST_P(ALaw, ConvertsEverySampleAndCode) {
  std::vector<Vel16s> samples(65536);
  std::iota(samples.begin(), samples.end(), INT16_MIN);
  Bytes codes(256);
  std::iota(codes.begin(), codes.end(), Vel8u(0));
  check(kEncodeWords, bytesOf(samples), expected(kEncodeWords, bytesOf(samples)));
  check(kEncodeWords, bytesOf<Vel16s>({0, -1, 32767, -32768}), {0xD5, 0x55, 0xAA, 0x2A});
  for (const auto& [to, back] : {std::pair(&kDecodeToWords, &kEncodeWords), {&kDecodeToFloats, &kEncodeFloats}}) {
    ASSERT_NO_FATAL_FAILURE(check(*to, codes, expected(*to, codes)));
    ASSERT_NO_FATAL_FAILURE(check(*back, Bytes(result), codes));
  }
}

// Each half step and each whole one with three floats on either side, NaNs, infinities, and patterns at random, most of
// them in range. However MXCSR rounds and whatever it makes of denormals, results are those of rounding to nearest.
TEST_P(ALaw, RoundsFloats) {
  std::vector<Vel32u> patterns = {0x7FC00000, 0xFFC00000, 0x7F800001, 0x7F800000, 0xFF800000};
  for (int halves = -65540; halves <= 65540; ++halves) {
    const Vel32f f = Vel32f(halves) / 65536;
    Vel32u bits;
    memcpy(&bits, &f, sizeof bits);
    for (Vel32u i = 0; i < 7; ++i) patterns.push_back(bits + i - 3);
  }
  for (int i = 0; i < 200000; ++i) {
    const Vel32u bits = Vel32u(random());
    patterns.push_back(i % 4 ? (bits & 0x807FFFFF) | (108 + i % 20) << 23 : bits);
  }
  const Bytes source = bytesOf(patterns), wanted = expected(kEncodeFloats, source);
  const Vel32u zeroes = vel_tst_daz_ssx() ? 0x8040 : 0x8000;
  for (Vel32u rounding = 0; rounding < 4; ++rounding)
    for (const Vel32u denormals : {Vel32u(0), zeroes}) {
      const Vel32u before = ps_set_ssx(rounding << 13 | denormals, 0xE040);
      check(kEncodeFloats, source, wanted);
      const Vel32u after = ps_set_ssx(before, 0xFFC0);
      ASSERT_EQ(after & 0xE040, rounding << 13 | denormals);
      ASSERT_FALSE(HasFatalFailure()) << "rounding " << rounding;
    }
}

TEST_P(ALaw, ConvertsEveryLength) {
  for (const Form* form : kForms) {
    Bytes source, wanted;
    for (int len = 1; len <= 200; ++len) {
      for (size_t i = 0; i < form->from; ++i) source.push_back(Vel8u(i == 3 ? 0x37 + random() % 9 : random()));
      wanted = expected(*form, source);
      check(*form, source, wanted);
      for (int shift = 0; shift < 16; ++shift)
        ASSERT_NO_FATAL_FAILURE(check(*form, source, wanted, Guard::kBefore, shift));
    }
  }
}

// What exceeds the caches, to a destination that can be aligned and to one that cannot.
TEST_P(ALaw, ConvertsLongVectors) {
  Bytes codes(beyondCaches() / 3 + 37);
  for (size_t i = 0; i < codes.size(); ++i) codes[i] = Vel8u(i * i >> 5);
  for (const Form* form : {&kDecodeToWords, &kDecodeToFloats}) {
    const Bytes wanted = expected(*form, codes);
    for (int shift : {0, int(form->to), 1}) ASSERT_NO_FATAL_FAILURE(check(*form, codes, wanted, Guard::kBefore, shift));
  }
}

TEST_P(ALaw, ChecksItsArgumentsInOrder) {
  Guarded memory(64, Guard::kBehind, 7);
  Vel8u* const p = memory.data();
  for (const Form* form : kForms) {
    EXPECT_EQ(form->convert(nullptr, p, 0), velStsNullPtrErr);
    EXPECT_EQ(form->convert(p, nullptr, 0), velStsNullPtrErr);
    for (int len : {0, -1, INT_MIN}) EXPECT_EQ(form->convert(p, p + 32, len), velStsSizeErr);
  }
  EXPECT_EQ(std::count(p, p + 64, 7), 64) << "an error wrote";
}

}  // namespace
