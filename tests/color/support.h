// What the tests of the conversions between RGB and subsampled YUV share: images in guarded memory in every layout, and
// a picture that is converted and compared.
#pragma once
#include <algorithm>
#include <array>
#include <vector>
#include "support/caches.h"
#include "support/image.h"

enum class Format { kC3, kAC4, kP3, kC2, kWords, k420, k422 };
constexpr bool isPlanar(Format f) { return f == Format::kP3 || f == Format::k420 || f == Format::k422; }

// A common shape for all forms: those with one plane use the first pointer, those with one step the first step, and
// those without R ignore the steps.
using Convert = VelStatus(const Vel8u* const* src, const int* srcStep, Vel8u* const* dst, const int* dstStep,
                          VeliSize size);
struct Form {
  const char* name;
  Format src, dst;
  bool hasSteps;
  Convert* convert;
  bool isBgr = false;
  int packing = 0, least = 1;  // bits of a pixel's channels, as 565; the smallest width and height
};
#define CALL(...)                                                                                         \
  [](const Vel8u* const* src, const int* srcStep, Vel8u* const* dst, const int* dstStep, VeliSize size) { \
    return (void)srcStep, (void)dstStep, __VA_ARGS__;                                                     \
  }

constexpr Layout kLayouts[] = {{0, false, Guard::kBehind},  {0, false, Guard::kBefore}, {1, false, Guard::kBehind},
                               {24, false, Guard::kBefore}, {0, true, Guard::kBefore},  {7, true, Guard::kBehind}};

inline Planes planesOf(Format format, VeliSize size, bool hasSteps, Layout layout, std::mt19937& random) {
  const bool isSubsampled = format == Format::k420 || format == Format::k422;
  const int channels = format == Format::kC3 ? 3 : format == Format::kAC4 ? 4 : format == Format::kC2 ? 2 : 1;
  Planes planes(format == Format::kP3 ? 3 : 1, size, {channels, format == Format::kWords ? 2 : 1}, layout, random);
  const int width = (size.width + (format == Format::k422 && hasSteps)) / 2;
  const int height = format == Format::k420 ? size.height / 2 : size.height;
  for (int padFactor = 2; isSubsampled && padFactor <= 3; ++padFactor)
    planes.add({width, height}, {}, {layout.pad * padFactor, layout.upwards, layout.guard}, random);
  return planes;
}

struct Picture {
  Picture(const Form& f, VeliSize s, Layout layout, std::mt19937& random)
      : form(f),
        size(s),
        src(planesOf(f.src, s, f.hasSteps, layout, random)),
        dst(planesOf(f.dst, s, f.hasSteps, layout, random)),
        expected(dst.copy()) {}

  void expectConverted() {
    const bool is420 = form.src == Format::k420 || form.dst == Format::k420;
    const VelStatus status = std::min(size.width, size.height) < form.least ? velStsSizeErr
                             : is420 && (size.width | size.height) & 1      ? velStsDoubleSize
                                                                            : velStsNoErr;
    ASSERT_EQ(form.convert(src.top, src.step, dst.top, dst.step, size), status);
    ASSERT_TRUE(expectSame(dst, expected));
  }

  const Form& form;
  VeliSize size;
  Planes src, dst;
  std::vector<Copied> expected;
};

// Converts pictures of every size in every memory layout. Rows that end at a guard page begin at every alignment as the
// width changes; chroma of a picture one pixel wide or high may be no memory at all. expect(picture) says what is
// expected.
template <size_t n, class Expect>
void convertEverySize(const Form (&forms)[n], std::mt19937& random, const Expect& expect) {
  for (const Form& form : forms)
    for (const Layout& layout : kLayouts)
      for (const int height : {1, 2, 5})
        for (int width = 1; width <= 52; ++width) {
          if (!form.hasSteps && (layout.pad || layout.upwards)) continue;
          Picture picture(form, {width, height}, layout, random);
          expect(picture);
          ASSERT_NO_FATAL_FAILURE(picture.expectConverted())
              << form.name << ' ' << width << " x " << height << ", layout " << &layout - kLayouts;
        }
}

// Converts pictures that exceed the caches. They go past these only where rows begin at even addresses, those of words at
// multiples of four: so do all rows of the first picture, and of one of the others, whose rows end within a pair.
template <size_t n, class Expect>
void convertPastCaches(const Form (&forms)[n], std::mt19937& random, const Expect& expect) {
  for (const Form& form : forms)
    for (const int pad : {0, 1, 2}) {
      if (form.dst != Format::kC3 && form.dst != Format::kWords && form.dst != Format::kAC4) continue;
      VeliSize size = sizeBeyondCaches(form.dst == Format::kC3 ? 3 : form.dst == Format::kWords ? 2 : 4);
      size.width += pad == 0;
      Picture picture(form, size, {form.hasSteps ? pad : 0, false, pad ? Guard::kBefore : Guard::kBehind}, random);
      expect(picture);
      ASSERT_NO_FATAL_FAILURE(picture.expectConverted()) << form.name << ", padding " << pad;
    }
}

template <size_t n> void checkArguments(const Form (&forms)[n]) {
  Guarded memory(64, Guard::kBehind, 7);
  Vel8u* const p = memory.data();
  const int steps[3] = {4, 4, 4};
  for (const Form& form : forms)
    for (int i = 0; i < 3; ++i) {
      SCOPED_TRACE(form.name);
      const auto hasStepArray = [&](Format f) { return form.hasSteps && (f == Format::k420 || f == Format::k422); };
      Vel8u *const good[3] = {p, p, p}, *const none[3] = {}, *someOf[3] = {p, p, p};
      someOf[i] = nullptr;
      const auto without = [&](Format f) { return isPlanar(f) ? nullptr : none; };
      const auto some = [&](Format f) { return isPlanar(f) ? someOf : good; };
      std::vector<VelStatus> nulls = {form.convert(without(form.src), steps, good, steps, {0, 0}),
                                      form.convert(good, steps, without(form.dst), steps, {0, 0})};
      if (hasStepArray(form.src)) nulls.push_back(form.convert(good, nullptr, good, steps, {0, 0}));
      if (hasStepArray(form.dst)) nulls.push_back(form.convert(good, steps, good, nullptr, {0, 0}));
      if (isPlanar(form.src)) nulls.push_back(form.convert(someOf, steps, good, steps, {2, 2}));
      if (isPlanar(form.dst)) nulls.push_back(form.convert(good, steps, someOf, steps, {2, 2}));
      EXPECT_EQ(nulls, std::vector<VelStatus>(nulls.size(), velStsNullPtrErr));
      const int few = form.least - 1;
      for (const VeliSize size : {VeliSize{few, 2}, {2, few}, {-2, 2}, {2, INT32_MIN}})
        EXPECT_EQ(form.convert(some(form.src), steps, some(form.dst), steps, size), velStsSizeErr);
    }
  EXPECT_EQ(std::count(p, p + 64, 7), 64) << "an error wrote";
}

// ---- Models

inline int clamp(int x) { return x < 0 ? 0 : x > 255 ? 255 : x; }
inline std::array<int, 3> rgbOf(int y, int u, int v) {
  u -= 128, v -= 128;
  return {clamp((8192 * y + 9338 * v) >> 13), clamp((8192 * y - 3227 * u - 4759 * v) >> 13),
          clamp((8192 * y + 16645 * u) >> 13)};
}

// Expects a colour in a pixel of RGB.
inline void expectPixel(Picture& picture, int x, int y, std::array<int, 3> rgb) {
  const Form& form = picture.form;
  if (form.isBgr) std::swap(rgb[0], rgb[2]);
  if (form.dst == Format::kWords) {
    const int bits[3] = {form.packing / 100, form.packing / 10 % 10, form.packing % 10};
    const int word =
        rgb[0] >> (8 - bits[0]) | rgb[1] >> (8 - bits[1]) << bits[0] | rgb[2] >> (8 - bits[2]) << (bits[0] + bits[1]);
    picture.expected[0].set(x, y, 0, Vel16u(word));
    return;
  }
  for (int c = 0; c < 3; ++c) channelAt(picture.expected, x, y, c) = Vel8u(rgb[size_t(c)]);
}
