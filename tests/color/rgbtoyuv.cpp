// RGB to YUV 4:2:0 and 4:2:2 against the formulas in 32-bit integers.
#include <set>
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

// ---- The models: one pixel on its own; and a pixel of a block, which shares its chroma.

struct Yuv {
  int y, u, v;
};
Yuv lonePixel(int r, int g, int b) {
  const int s = 9798 * r + 19235 * g + 3736 * b;
  return {s >> 15, 128 + (((b * 32768 - s) >> 15) * 16121 >> 15), clamp(128 + (((r * 32768 - s) >> 15) * 28737 >> 15))};
}
int lumaOf(int r, int g, int b) { return ((19596 * r >> 8) + (38470 * g >> 8) + (7472 * b >> 8) + 2) >> 8; }
// Of the sums of a channel and of luma over n pixels.
int chromaOf(int channel, int luma, int n, int weight) {
  const int product = (channel - luma) * weight, divisor = n * 32768;
  return clamp(128 + (product - (product % divisor + divisor) % divisor) / divisor);
}

struct Rgb {
  int r, g, b;
};
// A channel's byte of a pixel of the source.
Vel8u& sample(Picture& picture, int channel, int x, int y) { return channelAt(picture.src, x, y, channel); }
Rgb pixelAt(Picture& picture, int x, int y) {
  return {sample(picture, 0, x, y), sample(picture, 1, x, y), sample(picture, 2, x, y)};
}

void expectBlocks(Picture& picture) {
  const bool isPacked = picture.form.dst == Format::kC2;
  const int rows = picture.form.dst == Format::k420 ? 2 : 1;
  std::vector<Copied>& expected = picture.expected;
  const auto expectLuma = [&](int x, int y, int value) { expected[0].at(x, y) = Vel8u(value); };
  const auto expectChroma = [&](int plane, int pair, int y, int value) {
    if (isPacked)
      expected[0].at(2 * pair + plane - 1, y, 1) = Vel8u(value);
    else
      expected[size_t(plane)].at(pair, y) = Vel8u(value);
  };
  for (int top = 0; top + rows <= picture.size.height; top += rows) {
    for (int x = 0; x + 2 <= picture.size.width; x += 2) {
      int red = 0, blue = 0, luma = 0;
      for (int i = 0; i < 2 * rows; ++i) {
        const int column = x + i % 2, row = top + i / 2;
        const Rgb p = pixelAt(picture, column, row);
        const int y = lumaOf(p.r, p.g, p.b);
        expectLuma(column, row, y);
        red += p.r, blue += p.b, luma += y;
      }
      expectChroma(1, x / 2, top / rows, chromaOf(blue, luma, 2 * rows, 16121));
      expectChroma(2, x / 2, top / rows, chromaOf(red, luma, 2 * rows, 28737));
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
  Random random{709};
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
        const int luma = lumaOf(r, g, b),
                  expected[3] = {luma, chromaOf(4 * b, 4 * luma, 4, 16121), chromaOf(4 * r, 4 * luma, 4, 28737)};
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

// From yellow to blue, and from cyan to red, by way of black: with every colour the channel's difference from luma grows
// by 1 or not at all. Pixels of a block have the same colour or the next one, so that the sum of their differences takes
// every value.
TEST_P(RgbToYuv, TakesEveryDifferenceFromLuma) {
  for (const Form& form : kForms)
    for (const int channel : {0, 2}) {
      Picture picture(form, {2 * 511, 8}, kLayouts[0], random);
      std::set<int> differences;
      for (int y = 0; y < 8; ++y)
        for (int x = 0; x < picture.size.width; ++x) {
          const bool isNext = y % 2 * 2 + x % 2 < y / 2;
          const int step = std::min(x / 2 + isNext, 510), value = std::max(step - 255, 0);
          for (int c = 0; c < 3; ++c) sample(picture, c, x, y) = Vel8u(c == channel ? value : std::max(255 - step, 0));
          const Rgb p = pixelAt(picture, x, y);
          differences.insert(value - lumaOf(p.r, p.g, p.b));
        }
      ASSERT_EQ(int(differences.size()), *differences.rbegin() - *differences.begin() + 1);
      expectBlocks(picture);
      ASSERT_NO_FATAL_FAILURE(picture.expectConverted()) << form.name << ", channel " << channel;
    }
}

// Of pixels whose channels are 0 or 255, every pair and every block.
TEST_P(RgbToYuv, ConvertsEveryBlockOfExtremes) {
  for (const Form& form : kForms) {
    Picture picture(form, {2 * 64, 2 * 64}, kLayouts[1], random);
    for (int y = 0; y < 2 * 64; ++y)
      for (int x = 0; x < 2 * 64; ++x) {
        const int colours = y % 2 ? y / 2 : x / 2, colour = x % 2 ? colours / 8 : colours % 8;
        for (int c = 0; c < 3; ++c) sample(picture, c, x, y) = colour >> c & 1 ? 255 : 0;
      }
    expectBlocks(picture);
    ASSERT_NO_FATAL_FAILURE(picture.expectConverted()) << form.name;
  }
}

TEST_P(RgbToYuv, ChecksItsArgumentsInOrder) { checkArguments(kForms); }

TEST_P(RgbToYuv, ConvertsKnownColours) {
  // Red, black and white, yellow, blue, as pairs; white on its own.
  const Vel8u rgb[27] = {255, 0,   0,   255, 0, 0, 0,   0, 0, 255, 255, 255, 255, 255,
                         0,   255, 255, 0,   0, 0, 255, 0, 0, 255, 255, 255, 255};
  Vel8u y[9], u[5], v[5], *const planes[3] = {y, u, v};
  const int steps[3] = {9, 5, 5};
  ASSERT_EQ(orviRGBToYUV422_8u_C3P3R(rgb, 27, planes, steps, {9, 1}), velStsNoErr);
  const std::vector<int> expected = {76,  76, 0,   255, 225, 225, 29,  29,  255, 90,
                                     128, 17, 239, 127, 255, 128, 154, 102, 127};
  std::vector<int> found(y, y + 9);
  found.insert(found.end(), u, u + 5);
  found.insert(found.end(), v, v + 5);
  EXPECT_EQ(found, expected);
}

}  // namespace
