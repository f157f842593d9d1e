// The wrapper layer's functions for decoders: both ways from an MCU to pixels, and allocation.
#include "jpeg/support.h"

namespace {

using Mcu = std::array<Vel16s, 384>;

class JpegFused : public OnEveryPath {
 protected:
  Random random{384};
};
ORV_ON_EVERY_PATH(JpegFused);

// ---- Through planes

TEST_P(JpegFused, PlanePathIsSixTransformsAndAConversion) {
  const struct { int offset, step; } places[6] = {{0, 16}, {8, 16}, {128, 16}, {136, 16}, {256, 8}, {320, 8}};
  const VeliSize sizes[] = {{16, 16}, {15, 16}, {16, 9}, {7, 5}, {2, 2}, {1, 16}, {0, 3}};
  for (int i = 0; i < 200; ++i) {
    Guarded src(768, Guard::kBehind), tables(768, Guard::kBefore);
    for (int n = 0; n < 384; ++n) {
      src.as<Vel16s>()[n] = Vel16s(int(random() % 101) - 50);
      tables.as<Vel16u>()[n] = Vel16u(1 + random() % 30);
    }
    const Vel16u* quant[6];
    for (int b = 0; b < 6; ++b) quant[b] = i % 8 || b < 2 ? tables.as<Vel16u>() + 64 * b : nullptr;
    const VeliSize size = sizes[i % 7];
    const int step = 3 * size.width + 1 + i % 5;
    const size_t used = size_t(size.height - 1) * size_t(step) + size_t(size.width) * 3;
    Vel8u expectedTmp[384] = {};
    Bytes expected(used, 0x5A);
    VelStatus status = velStsNoErr;  // the first error ends the work
    for (int b = 0; b < 6 && status == velStsNoErr; ++b)
      status = veliDCTQuantInv8x8LS_JPEG_16s8u_C1R(src.as<Vel16s>() + 64 * b, expectedTmp + places[b].offset,
                                                   places[b].step, quant[b]);
    const Vel8u* const planes[3] = {expectedTmp, expectedTmp + 256, expectedTmp + 320};
    const int steps[3] = {16, 8, 8};
    if (status == velStsNoErr) status = veliYUV420ToRGB_8u_P3C3R(planes, steps, expected.data(), step, size);

    // Four bytes of the scratch's memory stay behind it every third time, so that it is aligned to no more than four.
    Guarded tmp(384 + (i % 3 ? 0 : 4), i % 2 ? Guard::kBefore : Guard::kBehind), dst(used, Guard::kBehind, 0x5A);
    if (status == velStsNoErr) markUndefined(tmp.data(), 384);  // else what is not reached is compared, too
    ASSERT_EQ(orvizkDCTQuantInv8x8LS_JPEG_16s8u_YUV420ToRGB_8u_P3C3R(src.as<Vel16s>(), tmp.data(), quant, dst.data(),
                                                                     step, size),
              status);
    ASSERT_TRUE(expectSame(tmp.data(), expectedTmp, 384)) << "samples of " << size.width << " x " << size.height;
    ASSERT_TRUE(expectSame(dst.data(), expected.data(), used)) << size.width << " x " << size.height;
    ASSERT_TRUE(tmp.intact() && dst.intact());
  }
}

// ---- Pixel by pixel

using Rgb = std::array<Vel8u, 3>;
Rgb pixel(float y, float cb, float cr) {
  Rgb p{1, 2, 3};
  EXPECT_EQ(computeRGBFromYUV_JPEG_F32_U8(y, cb, cr, &p[0], &p[1], &p[2]), 0);
  return p;
}

// One step after the other, as the equations say where precision ends.
Rgb model(float y, float cb, float cr) {
  const long double zero = 0, sums[3] = {128.0L + y + (long double)1.402 * cr + zero * cb,
                                         128.0L + y - (long double)0.34414 * cb - (long double)0.71414 * cr,
                                         128.0L + y + (long double)1.772 * cb + zero * cr};
  Rgb p;
  for (size_t i = 0; i < 3; ++i) {
    const volatile float single = float(sums[i]);
    p[i] = Vel8u(!(single > 0) ? 0 : single >= 255 ? 255 : std::floor(0.5L + single));
  }
  return p;
}

TEST(JpegPixel, IsRoundedAndClipped) {
  for (int y : {-128, 33, 127})
    for (int cb = -128; cb < 128; ++cb)
      for (int cr = -128; cr < 128; ++cr)
        ASSERT_EQ(pixel(float(y), float(cb), float(cr)), model(float(y), float(cb), float(cr)))
            << y << ' ' << cb << ' ' << cr;
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  const float values[] = {nan, inf, -inf, 3e38f, -32768, 70000, -127.5f, 1e-40f, -0.0f, 0.1f, 126.99999f, -127.49999f};
  for (float y : values)
    for (float cb : values)
      for (float cr : values) ASSERT_EQ(pixel(y, cb, cr), model(y, cb, cr)) << y << ' ' << cb << ' ' << cr;
  EXPECT_EQ(pixel(0, 0, inf), (Rgb{255, 0, 0})) << "blue adds zero times infinity";
  EXPECT_EQ(pixel(0, nan, 0), (Rgb{0, 0, 0}));
  EXPECT_EQ(pixel(0, 0, 127), (Rgb{255, 37, 128}));
  float cr = 0.35663f;  // around a red of one half
  for (int i = 0; i < 2000; ++i, cr = std::nextafterf(cr, 1.0f))
    ASSERT_EQ(pixel(-128, 0, cr), model(-128, 0, cr)) << cr;

  const float clips[][4] = {{0, 255, 3, 3}, {5, 1, 3, 1}, {5, 1, 0, 5}};
  for (const auto& c : clips) EXPECT_EQ(clip_F32(c[0], c[1], c[2]), c[3]) << c[2];
  EXPECT_TRUE(std::isnan(clip_F32(0, 255, nan)));
}

// Converts an MCU in exactly the memory that it needs, misaligned by `off` bytes, and compares each pixel.
void expectPixels(const Mcu& mcu, int step, Guard guard, int off, std::mt19937& random) {
  const Plane luma({256, 1}, {1, 2}, {0, false, guard, off}, random),
      cb({64, 1}, {1, 2}, {0, false, guard, off}, random), cr({64, 1}, {1, 2}, {0, false, guard, off}, random),
      dst({16, 16}, {3}, {std::abs(step) - 48, step < 0, guard, off}, random);
  memcpy(luma.data(), mcu.data(), 512);
  memcpy(cb.data(), mcu.data() + 256, 128);
  memcpy(cr.data(), mcu.data() + 320, 128);
  const Vel16s* const src[3] = {luma.data<Vel16s>(), cb.data<Vel16s>(), cr.data<Vel16s>()};
  Copied expected = dst.copy();
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 16; ++x) {
      const size_t c = size_t(y / 2 * 8 + x / 2), l = size_t(y / 8 * 128 + x / 8 * 64 + y % 8 * 8 + x % 8);
      const Rgb p = pixel(mcu[l], mcu[256 + c], mcu[320 + c]);
      std::copy(p.begin(), p.end(), &expected.at(x, y));
    }
  ASSERT_EQ(orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(src, dst.data(), step), velStsNoErr);
  ASSERT_TRUE(expectSame(dst, expected));
}

// Every pair of chroma samples, with four luma samples from all of their range.
TEST_P(JpegFused, PixelPathConvertsEveryChroma) {
  for (int round = 0; round < 3; ++round)
    for (int block = 0; block < 1024; ++block) {
      Mcu mcu;
      for (int n = 0; n < 256; ++n) mcu[size_t(n)] = Vel16s(int(random() & 255) - 128);
      for (int n = 0; n < 64; ++n) {
        const int pair = block * 64 + n;
        mcu[size_t(256 + n)] = Vel16s(pair / 256 - 128), mcu[size_t(320 + n)] = Vel16s(pair % 256 - 128);
      }
      ASSERT_NO_FATAL_FAILURE(expectPixels(mcu, 48, block % 2 ? Guard::kBefore : Guard::kBehind, 0, random))
          << "block " << block;
    }
}

// Samples out of the usual range: luma, chroma, both, or one sample of a block only.
TEST_P(JpegFused, PixelPathConvertsAnySamples) {
  for (int i = 0; i < 3000; ++i) {
    Mcu mcu;
    for (size_t n = 0; n < 384; ++n) {
      const bool isWild = n < 256 ? i & 1 : i & 2;
      mcu[n] = Vel16s(isWild ? wildWord(random) : int(random() & 255) - 128);
    }
    if (i & 4) mcu[256 + random() % 128] = Vel16s(i & 8 ? 128 : -129);
    const int steps[] = {48, 49, 61, 4000, -48, -51};
    ASSERT_NO_FATAL_FAILURE(
        expectPixels(mcu, steps[i % 6], i % 5 ? Guard::kBehind : Guard::kBefore, i < 100 ? i % 17 : 0, random))
        << "MCU " << i;
  }
}

// ---- Memory

TEST(JpegFusedMemory, IsAllocatedAndReleased) {
  VeliDecodeHuffmanSpec* spec = nullptr;
  Vel16u* table = nullptr;
  ASSERT_EQ(orvizkDecodeHuffmanSpecAlloc_JPEG_8u(&spec), velStsNoErr);
  ASSERT_EQ(orvizkQuantInvTableAlloc(&table), velStsNoErr);
  EXPECT_EQ(uintptr_t(spec) % 8, 0u);
  memset(static_cast<void*>(spec), 1, 1644);
  memset(table, 1, 128);
  for (auto* p : {spec, static_cast<decltype(spec)>(nullptr)}) EXPECT_EQ(orvizkDecodeHuffmanSpecFree_JPEG_8u(p), 0);
  for (auto* p : {table, static_cast<decltype(table)>(nullptr)}) EXPECT_EQ(orvizkQuantInvTableFree(p), 0);
  int size = -1, alignment = -1;
  EXPECT_EQ(orvizkDCTQuantInv8x8TmpBufferSize(&size, &alignment, 6), velStsNoErr);
  EXPECT_EQ(size, 384);
  EXPECT_EQ(alignment, 4);
}

}  // namespace
