// Planar YUV 4:2:0 to RGB against the formulas in 32-bit integers.
#include "color/support.h"

namespace {

#define TO_WORDS(name, packing, isBgr)                                                                                 \
  {                                                                                                                    \
#name, Format::k420, Format::kWords, true,                                                                         \
        CALL(orviYUV420To##name##_8u16u_P3C3R(src, srcStep, reinterpret_cast <Vel16u*>(*dst), *dstStep, size)), isBgr, \
        packing                                                                                                        \
  }
const Form kForms[] = {
    {"P3C3R", Format::k420, Format::kC3, true, CALL(orviYUV420ToRGB_8u_P3C3R(src, srcStep, *dst, *dstStep, size))},
    {"P3C3R to BGR", Format::k420, Format::kC3, true,
     CALL(orviYUV420ToBGR_8u_P3C3R(src, srcStep, *dst, *dstStep, size)), true, 0, 2},
    {"P3AC4R", Format::k420, Format::kAC4, true, CALL(orviYUV420ToRGB_8u_P3AC4R(src, srcStep, *dst, *dstStep, size))},
    {"P3R", Format::k420, Format::kP3, true, CALL(orviYUV420ToRGB_8u_P3R(src, srcStep, dst, *dstStep, size))},
    {"P3C3", Format::k420, Format::kC3, false, CALL(orviYUV420ToRGB_8u_P3C3(src, *dst, size))},
    {"P3", Format::k420, Format::kP3, false, CALL(orviYUV420ToRGB_8u_P3(src, dst, size))},
    TO_WORDS(RGB565, 565, false),
    TO_WORDS(RGB555, 555, false),
    TO_WORDS(RGB444, 444, false),
    TO_WORDS(BGR565, 565, true),
    TO_WORDS(BGR555, 555, true),
    TO_WORDS(BGR444, 444, true),
};

void expectBlocks(Picture& picture) {
  const VeliSize size = picture.size;
  if (std::min(size.width, size.height) < picture.form.least) return;
  for (int y = 0; y < (size.height & ~1); ++y)
    for (int x = 0; x < (size.width & ~1); ++x)
      expectPixel(picture, x, y,
                  rgbOf(picture.src[0].at(x, y), picture.src[1].at(x / 2, y / 2), picture.src[2].at(x / 2, y / 2)));
}

class Yuv420 : public OnEveryPath {
 protected:
  Random random{420};
};
ORV_ON_EVERY_PATH(Yuv420);

// One block column for each V, and in a column every Y; the first form takes every U, the others a seventeenth of them.
TEST_P(Yuv420, ConvertsEveryColour) {
  for (const Form& form : kForms) {
    Picture picture(form, {512, 128}, kLayouts[0], random);
    for (int y = 0; y < 128; ++y)
      for (int x = 0; x < 512; ++x) {
        picture.src[0].at(x, y) = Vel8u(y * 2 + x % 2);
        picture.src[2].at(x / 2, y / 2) = Vel8u(x / 2);
      }
    for (int u = 0; u < 256; u += &form == kForms ? 1 : 17) {
      memset(picture.src.top[1], u, 256 * 64);
      expectBlocks(picture);
      ASSERT_NO_FATAL_FAILURE(picture.expectConverted()) << form.name << ", U = " << u;
    }
  }
}
TEST_P(Yuv420, ConvertsEverySize) { convertEverySize(kForms, random, expectBlocks); }
TEST_P(Yuv420, WritesPastTheCaches) { convertPastCaches(kForms, random, expectBlocks); }
TEST_P(Yuv420, ChecksItsArgumentsInOrder) { checkArguments(kForms); }

}  // namespace
