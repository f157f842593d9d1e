// YUV 4:2:2 to RGB against the formulas in 32-bit integers.
#include "color/support.h"

namespace {

const Form kForms[] = {
    {"C2C3R", Format::kC2, Format::kC3, true, CALL(orviYUV422ToRGB_8u_C2C3R(*src, *srcStep, *dst, *dstStep, size))},
    {"P3C3R", Format::k422, Format::kC3, true, CALL(orviYUV422ToRGB_8u_P3C3R(src, srcStep, *dst, *dstStep, size))},
    {"P3AC4R", Format::k422, Format::kAC4, true, CALL(orviYUV422ToRGB_8u_P3AC4R(src, srcStep, *dst, *dstStep, size))},
    {"P3R", Format::k422, Format::kP3, true, CALL(orviYUV422ToRGB_8u_P3R(src, srcStep, dst, *dstStep, size))},
    {"P3C3", Format::k422, Format::kC3, false, CALL(orviYUV422ToRGB_8u_P3C3(src, *dst, size))},
    {"P3", Format::k422, Format::kP3, false, CALL(orviYUV422ToRGB_8u_P3(src, dst, size))},
};

// Where the samples of pixel x of a row lie; what there is none of is 128.
struct At {
  int plane, x, channel = 0;
};
std::array<At, 3> samplesOf(const Form& form, int x, int width) {
  if (form.src == Format::kC2) {
    const int v = x | 1;
    return {At{0, x}, At{0, v - 1, 1}, At{0, v < width ? v : x - 1, 1}};  // the pair before has the lone pixel's
  }
  const int pair = !form.hasSteps && x == (width & ~1) ? x / 2 - 1 : x / 2;
  return {At{0, x}, At{1, pair}, At{2, pair}};
}
void expectRows(Picture& picture) {
  for (int y = 0; y < picture.size.height; ++y)
    for (int x = 0; x < picture.size.width; ++x) {
      int yuv[3], i = 0;
      for (const At& at : samplesOf(picture.form, x, picture.size.width))
        yuv[i++] = at.x < 0 ? 128 : picture.src[size_t(at.plane)].at(at.x, y, at.channel);
      expectPixel(picture, x, y, rgbOf(yuv[0], yuv[1], yuv[2]));
    }
}

class Yuv422 : public OnEveryPath {
 protected:
  Random random{422};
};
ORV_ON_EVERY_PATH(Yuv422);

TEST_P(Yuv422, ConvertsRandomColours) {
  for (const Form& form : kForms) {
    Picture picture(form, {1000, 300}, kLayouts[0], random);
    expectRows(picture);
    ASSERT_NO_FATAL_FAILURE(picture.expectConverted()) << form.name;
  }
}
TEST_P(Yuv422, ConvertsEverySize) { convertEverySize(kForms, random, expectRows); }
TEST_P(Yuv422, WritesPastTheCaches) { convertPastCaches(kForms, random, expectRows); }
TEST_P(Yuv422, ChecksItsArgumentsInOrder) { checkArguments(kForms); }

}  // namespace
