// RGB to YCbCr, back, and to 16-bit words, against the formulas in plain integers.
#include <algorithm>
#include <array>
#include "support/caches.h"
#include "support/image.h"

namespace {

// ---- The model

using Colour = std::array<int, 3>;
int clamp(int x) { return x < 0 ? 0 : x > 255 ? 255 : x; }

Colour forward(int r, int g, int b) {
  return {(16843 * r + 33030 * g + 6423 * b + 1081344) >> 16, (-9699 * r - 19071 * g + 28770 * b + 8421376) >> 16,
          (28770 * r - 24117 * g - 4653 * b + 8421376) >> 16};
}
template <int kLess, int kOffset> Colour exact(int y, int cb, int cr) {
  const int luma = (76284 - kLess) * y - kOffset, u = cb - 128, v = cr - 128;
  return {clamp((luma + (104595 - kLess) * v) >> 16),
          clamp((luma - (25690 - kLess / 2) * u - (53281 - kLess) * v) >> 16),
          clamp((luma + (132186 - kLess) * u) >> 16)};
}
template <int kLuma, int kGreen> Colour group(int y, int cb, int cr) {
  const auto m = [](int x, int k) { return (x * k) >> 16; };
  const int a = m((y - 16) * 128, kLuma), b = (cb - 128) * 128, c = (cr - 128) * 128;
  return {clamp((a + m(c, 13074) + 8) >> 4), clamp((a + m(b, kGreen) + m(c, -6660) + 8) >> 4),
          clamp((a + m(b, 16523) + 8) >> 4)};
}
constexpr auto *rounded = exact<0, 1187776>, *truncated = exact<0, 1220544>, *lesser = exact<2, 1220512>;
constexpr auto *groupC3 = group<9536, -3203>, *groupP3C3 = group<9535, -3211>;

// ---- The functions under a common shape; images in one piece are src[0] and dst[0].

using Convert = VelStatus(const Vel8u* const src[3], int srcStep, Vel8u* const dst[3], int dstStep, VeliSize size);
struct Form {
  const char* name;
  int srcPlanes, srcPixel, dstPlanes, dstPixel;  // planes, and bytes of a pixel in each
  Colour (*inGroups)(int, int, int);             // of eight pixels from the start of a row
  Colour (*inTail)(int, int, int);
  Convert* convert;
  int bits[3] = {};  // of a word's fields, from the lowest
  bool isBgr = false;

  bool sameLayout() const { return srcPlanes == dstPlanes && srcPixel == dstPixel; }
  bool isPacked() const { return bits[0] != 0; }
  // The bytes that three channels are stored in, plane after plane.
  std::array<Vel8u, 3> stored(Colour c) const {
    if (!isPacked()) return {Vel8u(c[0]), Vel8u(c[1]), Vel8u(c[2])};
    if (isBgr) std::swap(c[0], c[2]);
    const int word =
        c[0] >> (8 - bits[0]) | (c[1] >> (8 - bits[1])) << bits[0] | (c[2] >> (8 - bits[2])) << (bits[0] + bits[1]);
    return {Vel8u(word), Vel8u(word >> 8), 0};
  }
};
#define CALL(name, from, to)                                                                             \
  [](const Vel8u* const* src, int srcStep, Vel8u* const* dst, int dstStep, VeliSize size) -> VelStatus { \
    return name(from, srcStep, to, dstStep, size);                                                       \
  }
#define FIRST(planes) (planes) ? *(planes) : nullptr
#define PACKED(colour, ...)                                                                                   \
  {                                                                                                           \
    "to " #colour, 1, 3, 1, 2, groupP3C3, truncated,                                                          \
        CALL(orviYCbCrTo##colour##_8u16u_C3R, FIRST(src), reinterpret_cast<Vel16u*>(FIRST(dst))), __VA_ARGS__ \
  }
const Form kForms[] = {
    {"forward C3R", 1, 3, 1, 3, forward, forward, CALL(orviRGBToYCbCr_8u_C3R, FIRST(src), FIRST(dst))},
    {"forward AC4R", 1, 4, 1, 4, forward, forward, CALL(orviRGBToYCbCr_8u_AC4R, FIRST(src), FIRST(dst))},
    {"forward P3R", 3, 1, 3, 1, forward, forward, CALL(orviRGBToYCbCr_8u_P3R, src, dst)},
    {"inverse C3R", 1, 3, 1, 3, groupC3, truncated, CALL(orviYCbCrToRGB_8u_C3R, FIRST(src), FIRST(dst))},
    {"inverse AC4R", 1, 4, 1, 4, truncated, truncated, CALL(orviYCbCrToRGB_8u_AC4R, FIRST(src), FIRST(dst))},
    {"inverse P3R", 3, 1, 3, 1, rounded, rounded, CALL(orviYCbCrToRGB_8u_P3R, src, dst)},
    {"inverse P3C3R", 3, 1, 1, 3, groupP3C3, lesser, CALL(orviYCbCrToRGB_8u_P3C3R, src, FIRST(dst))},
    PACKED(RGB565, {5, 6, 5}, false),
    PACKED(RGB555, {5, 5, 5}, false),
    PACKED(RGB444, {4, 4, 4}, false),
    PACKED(BGR565, {5, 6, 5}, true),
    PACKED(BGR555, {5, 5, 5}, true),
    PACKED(BGR444, {4, 4, 4}, true),
};

// ---- Images

struct Picture {
  Picture(const Form& f, VeliSize s, Layout from, Layout to, std::mt19937& random)
      : form(f), size(s), src(f.srcPlanes, s, {f.srcPixel}, from, random), dst(planesOf(f, s, to, random)) {
    // Words of tightly packed images are one row.
    if (f.isPacked() && src[0].step == s.width * 3 && dst[0].step >> 1 == s.width) groupWidth = s.width * s.height;
  }
  static Planes planesOf(const Form& f, VeliSize s, Layout layout, std::mt19937& random) {
    layout.stepUnit = f.isPacked() ? 2 : 1;
    return Planes(f.dstPlanes, s, f.isPacked() ? pixelOf<Vel16u>() : Pixel{f.dstPixel}, layout, random);
  }
  // Gives every pixel the colour of colourOf(index).
  template <class ColourOf> void paint(const ColourOf& colourOf) {
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x)
        for (int c = 0; c < 3; ++c) channelAt(src, x, y, c) = Vel8u(colourOf(y * size.width + x)[size_t(c)]);
  }
  // inPlace: from the destination into itself.
  void expectConverted(bool inPlace = false) {
    const Planes& from = inPlace ? dst : src;
    std::vector<Copied> expected = dst.copy();
    const int length = groupWidth ? groupWidth : size.width;
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x) {
        const auto convert = (groupWidth ? y * size.width + x : x) < (length & ~7) ? form.inGroups : form.inTail;
        const auto at = [&](int c) { return channelAt(from, x, y, c); };
        const auto bytes = form.stored(convert(at(0), at(1), at(2)));
        if (form.isPacked())
          std::copy_n(bytes.begin(), 2, &expected[0].at(x, y));
        else
          for (int c = 0; c < 3; ++c) channelAt(expected, x, y, c) = bytes[size_t(c)];
      }
    ASSERT_EQ(form.convert(from.top, from.step[0], dst.top, dst.step[0], size), velStsNoErr);
    ASSERT_TRUE(expectSame(dst, expected));
  }

  const Form& form;
  VeliSize size;
  Planes src, dst;
  int groupWidth = 0;
};

class Ycbcr : public OnEveryPath {
 protected:
  Random random{601};
};
ORV_ON_EVERY_PATH(Ycbcr);

// The first sample by picture, the others by pixel. Rows of 256 pixels are groups, rows of 7 what groups leave. Words
// have an arithmetic that others have too, and take a part of the colours only.
TEST_P(Ycbcr, ConvertsEveryColour) {
  for (const Form& form : kForms)
    for (const int width : {256, 7}) {
      if (width == 7 && form.inGroups == form.inTail) continue;
      Picture picture(form, {width, 65536 / width + 1}, {form.isPacked() ? 3 : 0}, {}, random);
      for (int first = 0; first < 256; first += form.isPacked() ? 17 : 1) {
        picture.paint([=](int i) { return Colour{first, i >> 8, i}; });
        ASSERT_NO_FATAL_FAILURE(picture.expectConverted()) << form.name << ", width " << width << ", " << first;
      }
    }
}

// Rows that end at a guard page begin at every alignment as the width changes.
TEST_P(Ycbcr, ConvertsEverySize) {
  constexpr Guard kBefore = Guard::kBefore, kBehind = Guard::kBehind;
  const Layout layouts[][2] = {{{0, false, kBehind}, {0, false, kBehind}}, {{0, false, kBefore}, {0, false, kBefore}},
                               {{0, false, kBehind}, {1, false, kBehind}}, {{24, false, kBefore}, {7, true, kBefore}},
                               {{0, true, kBefore}, {0, true, kBefore}},   {{7, true, kBehind}, {5, false, kBehind}}};
  for (const Form& form : kForms)
    for (const auto& layout : layouts)
      for (int height = 1; height <= 3; ++height)
        for (int width = 1; width <= 67; ++width) {
          Picture picture(form, {width, height}, layout[0], layout[1], random);
          SCOPED_TRACE(testing::Message()
                       << form.name << ' ' << width << " x " << height << ", layout " << &layout - layouts);
          ASSERT_NO_FATAL_FAILURE(picture.expectConverted());
          if (form.sameLayout()) {
            ASSERT_NO_FATAL_FAILURE(picture.expectConverted(true)) << "in place";
          }
        }
}

// Rows that begin anywhere, and at even addresses.
TEST_P(Ycbcr, WritesPastTheCaches) {
  for (const Form& form : kForms)
    for (const int pad : {0, 1, 2}) {
      if (form.dstPlanes != 1 || form.dstPixel == 4) continue;
      Picture picture(form, sizeBeyondCaches(form.dstPixel), {}, {pad}, random);
      ASSERT_NO_FATAL_FAILURE(picture.expectConverted()) << form.name << ", padding " << pad;
    }
}

TEST_P(Ycbcr, ChecksItsArgumentsInOrder) {
  Guarded memory(64, Guard::kBehind, 7);
  Vel8u* const p = memory.data();
  for (const Form& form : kForms)
    for (int i = 0; i < 3; ++i) {
      SCOPED_TRACE(form.name);
      const Vel8u *const src[3] = {p, p, p}, *someSrc[3] = {p, p, p};
      Vel8u *const dst[3] = {p, p, p}, *someDst[3] = {p, p, p};
      someSrc[form.srcPlanes == 3 ? i : 1] = someDst[form.dstPlanes == 3 ? i : 1] = nullptr;
      EXPECT_EQ(form.convert(nullptr, 8, dst, 8, {0, 0}), velStsNullPtrErr);
      EXPECT_EQ(form.convert(src, 8, nullptr, 8, {0, 0}), velStsNullPtrErr);
      for (const VeliSize size : {VeliSize{0, 1}, {1, 0}, {-1, 1}, {1, INT32_MIN}})
        EXPECT_EQ(form.convert(someSrc, 8, someDst, 8, size), velStsSizeErr);
      if (form.srcPlanes == 3) {
        EXPECT_EQ(form.convert(someSrc, 8, dst, 8, {1, 1}), velStsNullPtrErr);
      }
      if (form.dstPlanes == 3) {
        EXPECT_EQ(form.convert(src, 8, someDst, 8, {1, 1}), velStsNullPtrErr);
      }
    }
  EXPECT_EQ(std::count(p, p + 64, 7), 64) << "an error wrote";
}

}  // namespace
