// RGB to YUV 4:2:0 and 4:2:2 against the formulas in 32-bit integers.
#include "color/support.h"

namespace {

const Form kForms[] = {
    {"420 C3P3R", Format::kC3, Format::k420, true, CALL(orviRGBToYUV420_8u_C3P3R(*src, *srcStep, dst, dstStep, size))},
    {"420 C3P3", Format::kC3, Format::k420, false, CALL(orviRGBToYUV420_8u_C3P3(*src, dst, size))},
    {"420 P3R", Format::kP3, Format::k420, true, CALL(orviRGBToYUV420_8u_P3R(src, *srcStep, dst, dstStep, size))},
    {"420 P3", Format::kP3, Format::k420, false, CALL(orviRGBToYUV420_8u_P3(src, dst, size))},
    {"422 C3C2R", Format::kC3, Format::kC2, true, CALL(orviRGBToYUV422_8u_C3C2R(*src, *srcStep, *dst, *dstStep, size))},
    {"422 C3P3R", Format::kC3, Format::k422, true, CALL(orviRGBToYUV422_8u_C3P3R(*src, *srcStep, dst, dstStep, size))},
    {"422 P3R", Format::kP3, Format::k422, true, CALL(orviRGBToYUV422_8u_P3R(src, *srcStep, dst, dstStep, size))},
    {"422 C3P3", Format::kC3, Format::k422, false, CALL(orviRGBToYUV422_8u_C3P3(*src, dst, size))},
    {"422 P3", Format::kP3, Format::k422, false, CALL(orviRGBToYUV422_8u_P3(src, dst, size))},
};

// ---- The models: one pixel on its own; and a pixel of a block, of which chroma takes means.

struct Yuv {
  int y, u, v;
};
Yuv lonePixel(int r, int g, int b) {
  const int s = 9798 * r + 19235 * g + 3736 * b;
  return {s >> 15, 128 + (((b * 32768 - s) >> 15) * 16121 >> 15), clamp(128 + (((r * 32768 - s) >> 15) * 28737 >> 15))};
}
int fineLuma(int r, int g, int b) { return (19596 * r >> 8) + (38470 * g >> 8) + (7472 * b >> 8); }
int luma(int fine) { return (fine + 2) >> 8; }
int chroma(int channelTimes128, int fine, int weight) {
  return clamp(128 + ((channelTimes128 - (fine >> 1)) * weight >> 22));
}

struct Rgb {
  int r, g, b;
};
Rgb pixelAt(Picture& picture, int x, int y) {
  if (picture.form.src == Format::kP3)
    return {picture.src[0].at(x, y), picture.src[1].at(x, y), picture.src[2].at(x, y)};
  return {picture.src[0].at(3 * x, y), picture.src[0].at(3 * x + 1, y), picture.src[0].at(3 * x + 2, y)};
}

void expectBlocks(Picture& picture) {
  const bool isPacked = picture.form.dst == Format::kC2;
  const int rows = picture.form.dst == Format::k420 ? 2 : 1;
  Image& dst = picture.dst;
  const auto expectLuma = [&](int x, int y, int value) { dst[0].expected(isPacked ? 2 * x : x, y) = Vel8u(value); };
  const auto expectChroma = [&](int plane, int pair, int y, int value) {
    if (isPacked)
      dst[0].expected(4 * pair + 2 * plane - 1, y) = Vel8u(value);
    else
      dst[plane].expected(pair, y) = Vel8u(value);
  };
  for (int top = 0; top + rows <= picture.size.height; top += rows) {
    for (int x = 0; x + 2 <= picture.size.width; x += 2) {
      int sumR = 0, sumB = 0, fine[2] = {};
      for (int i = 0; i < rows; ++i) {
        int pair[2];
        for (int j = 0; j < 2; ++j) {
          const Rgb p = pixelAt(picture, x + j, top + i);
          pair[j] = fineLuma(p.r, p.g, p.b);
          expectLuma(x + j, top + i, luma(pair[j]));
          sumR += p.r, sumB += p.b;
        }
        fine[i] = (pair[0] + pair[1] + 1) >> 1;
      }
      const int mean = rows == 2 ? (fine[0] + fine[1] + 1) >> 1 : fine[0];
      expectChroma(1, x / 2, top / rows, chroma(sumB * 64 / rows, mean, 16121));
      expectChroma(2, x / 2, top / rows, chroma(sumR * 64 / rows, mean, 28737));
    }
    if (rows == 2 || picture.size.width % 2 == 0) continue;
    const int x = picture.size.width - 1;
    const Rgb p = pixelAt(picture, x, top);
    const Yuv yuv = lonePixel(p.r, p.g, p.b);
    expectLuma(x, top, yuv.y);
    if (picture.form.hasSteps) expectChroma(1, x / 2, top, yuv.u);
    if (picture.form.hasSteps && !isPacked) expectChroma(2, x / 2, top, yuv.v);
  }
}

class RgbToYuv : public OnEveryPath {
 protected:
  std::mt19937 random{709};
};
ORV_ON_EVERY_PATH(RgbToYuv);

// Blocks of one colour: they come to what the formulas for a single pixel give, or one more.
TEST_P(RgbToYuv, ConvertsEveryColour) {
  constexpr int kSide = 512;
  std::vector<Vel8u> rgb(kSide * kSide * 3), y(kSide * kSide), u(kSide * kSide / 4), v(kSide * kSide / 4);
  Vel8u* const planes[3] = {y.data(), u.data(), v.data()};
  for (int r = 0; r < 256; ++r) {
    for (size_t i = 0; i < kSide * kSide; ++i) {
      Vel8u* const p = &rgb[3 * i];
      p[0] = Vel8u(r), p[1] = Vel8u(i / kSide / 2), p[2] = Vel8u(i % kSide / 2);
    }
    ASSERT_EQ(orviRGBToYUV420_8u_C3P3(rgb.data(), planes, {kSide, kSide}), velStsNoErr);
    for (int g = 0; g < 256; ++g)
      for (int b = 0; b < 256; ++b) {
        const size_t block = size_t(g * 256 + b), pixel = size_t(g * 2 * kSide + b * 2);
        const int fine = fineLuma(r, g, b),
                  expected[3] = {luma(fine), chroma(128 * b, fine, 16121), chroma(128 * r, fine, 28737)};
        const Yuv single = lonePixel(r, g, b);
        const bool same = y[pixel] == expected[0] && y[pixel + 1] == expected[0] && y[pixel + kSide] == expected[0] &&
                          y[pixel + kSide + 1] == expected[0] && u[block] == expected[1] && v[block] == expected[2];
        const auto isUpToOneMore = [](int value, int than) { return value == than || value == than + 1; };
        const bool near =
            isUpToOneMore(y[pixel], single.y) && isUpToOneMore(u[block], single.u) && isUpToOneMore(v[block], single.v);
        const bool neutral = r != g || g != b || (y[pixel] == r && u[block] == 128 && v[block] == 128);
        ASSERT_TRUE(same && near && neutral) << r << ' ' << g << ' ' << b;
      }
  }
}
TEST_P(RgbToYuv, ConvertsEverySize) { convertEverySize(kForms, random, expectBlocks); }
TEST_P(RgbToYuv, ChecksItsArgumentsInOrder) { checkArguments(kForms); }

TEST_P(RgbToYuv, ConvertsKnownColours) {
  // Red and red; black and white; white on its own.
  const Vel8u rgb[15] = {255, 0, 0, 255, 0, 0, 0, 0, 0, 255, 255, 255, 255, 255, 255};
  Vel8u y[5], u[3], v[3], *const planes[3] = {y, u, v};
  const int steps[3] = {5, 3, 3};
  ASSERT_EQ(orviRGBToYUV422_8u_C3P3R(rgb, 15, planes, steps, {5, 1}), velStsNoErr);
  const std::vector<int> expected = {76, 76, 0, 255, 255, 90, 128, 127, 255, 128, 127};
  std::vector<int> found(y, y + 5);
  found.insert(found.end(), u, u + 3);
  found.insert(found.end(), v, v + 3);
  EXPECT_EQ(found, expected);
}

}  // namespace
