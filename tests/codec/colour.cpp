// The colour conversions: to RGB against the library's definition of a pixel, from RGB against JFIF's equations.
#include <gtest/gtest.h>
#include <algorithm>
#include <random>
#include <vector>
#include "codec/colour.h"
#include "orv.h"

TEST(Colour, EveryChromaPairGivesTheLibrarysPixel) {
  std::vector<Vel8u> y(256), cb(256), cr(256), rgb(3 * 256);
  for (int b = 0; b < 256; ++b)
    for (const int offset : {0, 85, 170}) {  // luma that meets each pair differently
      for (int r = 0; r < 256; ++r) cb[r] = Vel8u(b), cr[r] = Vel8u(r), y[r] = Vel8u(r * 7 + b + offset);
      jpeg::convertYcc(y.data(), cb.data(), cr.data(), 256, rgb.data());
      for (int r = 0; r < 256; ++r) {
        Vel8u p[3];
        computeRGBFromYUV_JPEG_F32_U8(float(y[r] - 128), float(b - 128), float(r - 128), p, p + 1, p + 2);
        ASSERT_TRUE(std::equal(p, p + 3, &rgb[3 * r])) << "y " << int(y[r]) << " cb " << b << " cr " << r;
      }
    }
}

TEST(Colour, AnyWidthKeepsToItsPixels) {
  std::mt19937 random(2);
  for (int width = 1; width < 300; ++width) {
    std::vector<Vel8u> rows[3], joined(3 * size_t(width) + 1, 7), converted = joined;
    for (auto& row : rows) {
      row.resize(size_t(width));
      for (Vel8u& s : row) s = Vel8u(random());
    }
    jpeg::interleave(rows[0].data(), rows[1].data(), rows[2].data(), width, joined.data());
    jpeg::convertYcc(rows[0].data(), rows[1].data(), rows[2].data(), width, converted.data());
    for (size_t x = 0; x < size_t(width); ++x) {
      const int y = rows[0][x], b = rows[1][x], r = rows[2][x];
      Vel8u p[3];
      computeRGBFromYUV_JPEG_F32_U8(float(y - 128), float(b - 128), float(r - 128), p, p + 1, p + 2);
      for (size_t c = 0; c < 3; ++c) {
        ASSERT_EQ(joined[3 * x + c], rows[c][x]) << "width " << width << ", x " << x << ", channel " << c;
        ASSERT_EQ(converted[3 * x + c], p[c]) << "width " << width << ", x " << x << ", channel " << c;
      }
    }
    ASSERT_EQ(joined.back(), 7) << "width " << width;
    ASSERT_EQ(converted.back(), 7) << "width " << width;
  }
}

namespace {

// The mean of `count` pixels whose sums are r, g, b, rounded to nearest, halves up.
int rounded(int thousandths, int divisor, int offset) {
  return std::min((2 * thousandths + divisor * (2 * offset + 1)) / (2 * divisor), 255);
}
int lumaOf(int r, int g, int b) { return rounded(299 * r + 587 * g + 114 * b, 1000, 0); }
int cbOf(int r, int g, int b, int count) { return rounded(-299 * r - 587 * g + 886 * b, 1772 * count, 128); }
int crOf(int r, int g, int b, int count) { return rounded(701 * r - 587 * g - 114 * b, 1402 * count, 128); }

using Samples = std::vector<Vel8u>;

}  // namespace

TEST(Colour, EveryRgbGivesJfifsSamples) {
  constexpr int kWidth = 1 << 16;
  Samples rgb(3 * kWidth + 1), y(kWidth), cb(kWidth), cr(kWidth), grey(kWidth);
  for (int r = 0; r < 256; ++r) {
    for (int i = 0; i < kWidth; ++i) rgb[3 * i] = Vel8u(r), rgb[3 * i + 1] = Vel8u(i >> 8), rgb[3 * i + 2] = Vel8u(i);
    jpeg::convertRgbTo444(rgb.data(), kWidth, y.data(), cb.data(), cr.data());
    jpeg::convertRgbToGrey(rgb.data(), kWidth, grey.data());
    ASSERT_TRUE(grey == y);
    for (int i = 0; i < kWidth; ++i) {
      const int g = i >> 8, b = i & 255;
      ASSERT_EQ(y[i], lumaOf(r, g, b)) << r << " " << g << " " << b;
      ASSERT_EQ(cb[i], cbOf(r, g, b, 1)) << r << " " << g << " " << b;
      ASSERT_EQ(cr[i], crOf(r, g, b, 1)) << r << " " << g << " " << b;
    }
  }
}

TEST(Colour, ChromaOfSeveralPixelsIsTheirMean) {
  constexpr int kWidth = 1 << 16;
  Samples rows[2] = {Samples(3 * kWidth + 1), Samples(3 * kWidth + 1)};
  Samples y0(kWidth), y1(kWidth), cb(kWidth / 2), cr(kWidth / 2), luma(kWidth), any(kWidth);
  std::mt19937 random(1);
  for (int round = 0; round < 16; ++round) {
    // Of any values; of extremes, grey and the primary colours among them; of neighbouring values.
    for (Samples& row : rows)
      for (Vel8u& s : row)
        s = Vel8u(round % 3 == 0 ? random() : round % 3 == 1 ? random() & 1 ? 255 : 0 : 100 + random() % 4);
    const auto expectMeans = [&](int down) {
      for (int i = 0; i < kWidth / 2; ++i) {
        int sum[3] = {};
        for (int c = 0; c < 3; ++c)
          for (int k = 0; k < 2 * down; ++k) sum[c] += rows[k / 2][6 * i + 3 * (k % 2) + c];
        ASSERT_EQ(cb[i], cbOf(sum[0], sum[1], sum[2], 2 * down)) << sum[0] << " " << sum[1] << " " << sum[2];
        ASSERT_EQ(cr[i], crOf(sum[0], sum[1], sum[2], 2 * down)) << sum[0] << " " << sum[1] << " " << sum[2];
      }
    };
    jpeg::convertRgbTo422(rows[0].data(), kWidth, y0.data(), cb.data(), cr.data());
    expectMeans(1);
    const Vel8u* const both[2] = {rows[0].data(), rows[1].data()};
    jpeg::convertRgbTo420(both, kWidth, luma.data(), y1.data(), cb.data(), cr.data());
    expectMeans(2);
    ASSERT_TRUE(y0 == luma);
    jpeg::convertRgbToGrey(rows[0].data(), kWidth, any.data());
    ASSERT_TRUE(any == luma);
    jpeg::convertRgbToGrey(rows[1].data(), kWidth, any.data());
    ASSERT_TRUE(any == y1);
  }
}
