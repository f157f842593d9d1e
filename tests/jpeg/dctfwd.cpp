// The forward DCT against the exact one and against its fixed point, and its quantisation against exact division.
#include "jpeg/transforms.h"

namespace {

// The exact transform of samples less 128 (ITU-T T.81, A.3.3), coefficient (v, u).
double exact(const Bytes& samples, size_t step, int v, int u) {
  const double pi = std::acos(-1.0);
  double sum = 0;
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x)
      sum += (samples[size_t(y) * step + size_t(x)] - 128) * std::cos((2 * x + 1) * u * pi / 16) *
             std::cos((2 * y + 1) * v * pi / 16);
  return sum * (u ? 1 : std::sqrt(0.5)) * (v ? 1 : std::sqrt(0.5)) / 4;
}

// Noise over all values, noise of the two ends only, little noise, a flat block; and what makes one coefficient as large
// as it can be: the ends, by the sign of its basis.
Bytes randomSamples(size_t count, size_t step, unsigned kind, std::mt19937& random) {
  Bytes samples(count);
  for (Vel8u& s : samples)
    s = Vel8u(kind == 0 ? random() : kind == 1 ? random() % 2 * 255 : kind == 2 ? 90 + random() % 9 : 255);
  const unsigned u = random() % 8, v = random() % 8, end = random() % 2;
  const auto cosine = [](unsigned x, unsigned k) { return std::cos((2 * x + 1) * k * M_PI / 16); };
  for (unsigned i = 0; kind == 4 && i < 64; ++i)
    samples[i / 8 * step + i % 8] = Vel8u((cosine(i % 8, u) * cosine(i / 8, v) > 0) == end ? 255 : 0);
  return samples;
}

class JpegForward : public OnEveryPath {};
ORV_ON_EVERY_PATH(JpegForward);

TEST_P(JpegForward, IsItsFixedPointWithinAUnitAndQuantisesExactly) {
  Random random(5);
  for (int round = 0; round < 400; ++round) {
    for (const Guard end : {Guard::kBefore, Guard::kBehind}) {
      const size_t step = 8 + random() % 20, odd = random() % 2;
      const Bytes samples = randomSamples(7 * step + 8, step, unsigned(round) % 5, random);
      const Guarded src(samples.size(), end), ones(128 + odd, end), table(128 + odd, end), dst(128 + odd, end);
      memcpy(src.data(), samples.data(), samples.size());
      const size_t skip = end == Guard::kBehind ? 0 : odd;
      auto* const steps1 = reinterpret_cast<Vel16u*>(ones.data() + skip);
      auto* const steps = reinterpret_cast<Vel16u*>(table.data() + skip);
      auto* const out = reinterpret_cast<Vel16s*>(dst.data() + skip);
      for (int i = 0; i < 64; ++i) {
        const Vel16u one = 32768, any = Vel16u(round % 3 ? 32768 / (1 + random() % 255) : random());
        memcpy(steps1 + i, &one, 2), memcpy(steps + i, &any, 2);
      }
      ASSERT_EQ(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src.data(), int(step), out, steps1), 0);
      Block plain, quantised;
      memcpy(plain.data(), out, 128);
      ASSERT_TRUE(expectSame(plain, transforms::forward(samples, step))) << "block " << round;
      for (int i = 0; i < 64; ++i)
        ASSERT_NEAR(plain[size_t(i)], exact(samples, step, i / 8, i % 8), 1.0) << "coefficient " << i;
      ASSERT_EQ(veliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src.data(), int(step), out, steps), 0);
      memcpy(quantised.data(), out, 128);
      for (size_t i = 0; i < 64; ++i) {
        Vel16u q;
        memcpy(&q, steps + i, 2);
        plain[i] = Vel16s(std::nearbyint(plain[i] * double(q) / 32768));
      }
      ASSERT_TRUE(expectSame(quantised, plain)) << "block " << round;
      ASSERT_TRUE(dst.intact());
    }
  }
}

TEST_P(JpegForward, RoundsHalvesToEven) {
  // A flat block of 128 + n has a DC of 8 n and nothing else; these products lie on a half.
  const std::pair<int, Vel16u> kCases[] = {{1, 2048},  {3, 2048}, {5, 2048}, {-1, 2048},
                                           {-3, 2048}, {7, 6144}, {-5, 6144}};
  for (const auto& [n, q] : kCases) {
    const Bytes samples(64, Vel8u(128 + n));
    Table table;
    table.fill(q);
    Block out;
    ASSERT_EQ(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 8, out.data(), table.data()), 0);
    EXPECT_EQ(out[0], std::nearbyint(8 * n * double(q) / 32768)) << n << ", " << q;
    EXPECT_EQ(std::count(out.begin() + 1, out.end(), 0), 63);
  }
}

TEST_P(JpegForward, ChecksInOrder) {
  const Bytes samples(64);
  const Table table{};
  Block out;
  EXPECT_EQ(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(nullptr, 0, out.data(), nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 0, nullptr, nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 0, out.data(), nullptr), velStsStepErr);
  EXPECT_EQ(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 8, out.data(), nullptr), velStsNullPtrErr);
  EXPECT_EQ(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), -8, out.data(), table.data()), velStsStepErr);
}

}  // namespace
