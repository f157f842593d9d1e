// The inverse DCT against the exact transform and against its fixed point, in all its forms.
#include "jpeg/transforms.h"

namespace {

using Samples = std::array<Vel8u, 64>;
using Square = std::array<double, 64>;
using Form = VelStatus(const Vel16s*, Vel8u*, int, const Vel16u*);
using ClipForm = VelStatus(const Vel16s*, Vel8u*, int, Vel16s, Vel8u, Vel8u);

Form* const kForms[] = {orvizkDCTQuantInv8x8LS_JPEG_16s8u_C1R, orviDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R,
                        orviDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, orviDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R};
constexpr size_t kCorners[] = {8, 4, 2, 1};  // the coefficients that a form reads: so many columns and rows

// The 8 by 8 DCT (ITU-T T.81, A.3.3): to coefficients, or back.
Square transform(const Square& in, bool back) {
  static const Square basis = [] {
    Square b;
    for (size_t i = 0; i < 64; ++i)
      b[i] = (i < 8 ? std::sqrt(0.125) : 0.5) * std::cos(double(2 * (i % 8) + 1) * double(i / 8) * M_PI / 16);
    return b;
  }();
  Square half{}, out{};
  const auto at = [&](size_t i, size_t j) { return basis[back ? 8 * j + i : 8 * i + j]; };
  for (size_t i = 0; i < 512; ++i) half[i / 8] += at(i / 8 % 8, i % 8) * in[i / 64 * 8 + i % 8];
  for (size_t i = 0; i < 512; ++i) out[i / 8] += at(i / 64, i % 8) * half[i % 8 * 8 + i / 8 % 8];
  return out;
}

Block dequantised(const Block& coef, const Table& table) {
  Block b;
  for (size_t i = 0; i < 64; ++i) b[i] = Vel16s(Vel16u(Vel32u(coef[i]) * table[i]));
  return b;
}

Block within(Block b, size_t columns, size_t rows) {
  for (size_t i = 0; i < 64; ++i)
    if (i % 8 >= columns || i / 8 >= rows) b[i] = 0;
  return b;
}

// Runs a form, a call with source, destination and step, in memory that ends or begins at a guard page; `variant` picks
// the guard, the step, and how many of 16 bytes lie between the page and each buffer.
template <class Call> Samples run(const Block& coef, const Table& table, int variant, const Call& call) {
  const int pad = std::array{0, 1, 23, 992}[size_t(variant) % 4], off = variant / 8 % 16;
  const Guard guard = variant & 4 ? Guard::kBefore : Guard::kBehind;
  static std::mt19937 random;
  const Layout layout = {0, false, guard, off};
  Plane src({64, 1}, pixelOf<Vel16s>(), layout, random), quant({64, 1}, pixelOf<Vel16u>(), layout, random);
  const Plane dst({8, 8}, {}, {pad, false, guard, off}, random);
  memcpy(src.data(), coef.data(), 128);
  memcpy(quant.data(), table.data(), 128);
  Copied expected = dst.copy();
  EXPECT_EQ(call(src.data<Vel16s>(), dst.data(), dst.step, quant.data<Vel16u>()), velStsNoErr);
  Samples samples;
  for (int i = 0; i < 64; ++i) samples[size_t(i)] = expected.at(i % 8, i / 8) = dst.at(i % 8, i / 8);
  EXPECT_TRUE(expectSame(dst, expected)) << "around the samples";
  return samples;
}
Samples runClip(ClipForm* form, const Block& coef, int level, int low, int high, int variant) {
  return run(coef, Table(), variant, [=](const Vel16s* src, Vel8u* dst, int step, const Vel16u*) {
    return form(src, dst, step, Vel16s(level), Vel8u(low), Vel8u(high));
  });
}

Samples modelOf(const Block& dequantised, int level, int low, int high) {
  Samples samples;
  const auto values = transforms::inverse(dequantised);
  for (size_t i = 0; i < 64; ++i) samples[i] = Vel8u(std::clamp(int(Vel16s(values[i] + level)), low, high));
  return samples;
}

Table tableOf(int strength) {
  Table t;
  for (size_t i = 0; i < 64; ++i) t[i] = Vel16u(std::min(255, 1 + strength * int(1 + i / 8 + i % 8)));
  return t;
}

// Noise of any strength around any level, transformed and quantised.
Block noiseBlock(const Table& table, std::mt19937& random) {
  const int level = int(random() & 255), most = 1 << random() % 9;
  Square s;
  for (double& x : s) x = std::clamp(level + int(random() % unsigned(2 * most)) - most, 0, 255) - 128;
  s = transform(s, false);
  Block b;
  for (size_t i = 0; i < 64; ++i) b[i] = Vel16s(std::lround(s[i] / table[i]));
  return b;
}
template <class Words> Words wild(std::mt19937& random) {
  Words w;
  for (auto& x : w) x = typename Words::value_type(wildWord(random));
  return w;
}

class JpegDctInv : public OnEveryPath {
 protected:
  ClipForm* clipForm = kernelOf<ClipForm>(GetParam(), "veliDCT8x8InvLSClip_16s8u_C1R");
  Random random{8};
};
ORV_ON_EVERY_PATH(JpegDctInv);

TEST_P(JpegDctInv, IsWithinOneUnitOfTheExactTransform) {
  int differing = 0, total = 0;
  for (int strength : {0, 1, 3, 8, 20, 60})
    for (int i = 0; i < 900; ++i) {
      const Table table = tableOf(strength);
      const Block coef = noiseBlock(table, random);
      Square exact;
      const Block plain = dequantised(coef, table);
      std::copy(plain.begin(), plain.end(), exact.begin());
      exact = transform(exact, true);
      const Samples samples = run(coef, table, i, kForms[0]);
      const int level = i % 256 - 64, low = i % 50, high = 255 - i % 70;
      const Samples clipped = runClip(clipForm, plain, level, low, high, i);
      for (size_t n = 0; n < 64; ++n) {
        const double up = exact[n] + 0.5;
        const int x = int(std::floor(up)), error = samples[n] - std::clamp(x + 128, 0, 255);
        ASSERT_LE(std::abs(error), 1) << "strength " << strength << ", block " << i << ", sample " << n;
        ASSERT_LE(std::abs(clipped[n] - std::clamp(x + level, low, high)), 1);
        differing += error != 0 && std::abs(up - std::round(up)) > 1e-9, ++total;  // halves may go either way
      }
    }
  EXPECT_LT(differing, total / 100);
}

TEST_P(JpegDctInv, OneCoefficientIsShiftedAndClamped) {
  for (int coef : {-32768, -1025, -1024, -9, -8, -1, 0, 1, 7, 8, 1015, 1016, 1024, 32767})
    for (int quant : {0, 1, 3, 8, 255, 32768, 65535}) {
      Block block = wild<Block>(random);
      Table table = wild<Table>(random);
      block[0] = Vel16s(coef), table[0] = Vel16u(quant);
      const int level = Vel16s(int(std::floor(coef * double(quant) / 8)) + 128);  // a word, which may wrap
      Samples flat;
      flat.fill(Vel8u(std::clamp(level, 0, 255)));
      ASSERT_TRUE(expectSame(run(block, table, coef & 127, kForms[3]), flat)) << coef << " times " << quant;
    }
}

// Whatever the coefficients: sums saturate and products wrap. What lies outside their corner does not count for the
// reduced forms.
TEST_P(JpegDctInv, IsItsFixedPointInEveryForm) {
  for (int i = 0; i < 3000; ++i) {
    const Table table = i & 1 ? wild<Table>(random) : tableOf(i % 20);
    Block coef = wild<Block>(random);
    if (i & 2)
      for (Vel16s& x : coef) x %= i & 4 ? 64 : 1024;
    const auto model = [&](const Block& b) { return modelOf(dequantised(b, table), 128, 0, 255); };
    const Block some = within(coef, 1 + random() % 8, 1 + random() % 8);
    for (const Block& b : {coef, some}) ASSERT_TRUE(expectSame(run(b, table, i, kForms[0]), model(b))) << "block " << i;
    for (size_t form : {1u, 2u})
      ASSERT_TRUE(expectSame(run(coef, table, i, kForms[form]), model(within(coef, kCorners[form], kCorners[form]))))
          << "block " << i << ", form " << form;
    const int level = wildWord(random), low = i % 100, high = 255 - i % 90;
    ASSERT_TRUE(expectSame(runClip(clipForm, coef, level, low, high, i), modelOf(coef, level, low, high)))
        << "block " << i;
  }
}

TEST_P(JpegDctInv, ReducedFormsReadTheirCornerOnly) {
  for (size_t form = 0; form < 4; ++form) {
    Guarded src(2 * (9 * kCorners[form] - 8), Guard::kBehind);
    Samples samples;
    EXPECT_EQ(kForms[form](src.as<Vel16s>(), samples.data(), 8, tableOf(1).data()), velStsNoErr);
    EXPECT_EQ(std::count(samples.begin(), samples.end(), 128), 64);
  }
}

TEST_P(JpegDctInv, ChecksItsArgumentsInOrder) {
  const Block coef{};
  Samples s{};
  for (Form* form : kForms) {
    EXPECT_EQ(form(nullptr, s.data(), 0, nullptr), velStsNullPtrErr);
    EXPECT_EQ(form(coef.data(), nullptr, 0, nullptr), velStsNullPtrErr);
    for (int step : {0, -8}) EXPECT_EQ(form(coef.data(), s.data(), step, nullptr), velStsStepErr);
    EXPECT_EQ(form(coef.data(), s.data(), 8, nullptr), velStsNullPtrErr);
  }
  EXPECT_EQ(clipForm(nullptr, s.data(), 0, 128, 0, 255), velStsNullPtrErr);
  EXPECT_EQ(clipForm(coef.data(), nullptr, 0, 128, 0, 255), velStsNullPtrErr);
  EXPECT_EQ(clipForm(coef.data(), s.data(), 0, 128, 0, 255), velStsStepErr);
  EXPECT_EQ(s, Samples{}) << "an error wrote";
}

}  // namespace
