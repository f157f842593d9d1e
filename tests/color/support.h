// What the tests of the conversions between RGB and subsampled YUV share: images in guarded memory in every layout, and
// a picture that is converted and compared.
#pragma once
#include <algorithm>
#include <array>
#include <deque>
#include <random>
#include <vector>
#include "support/guarded.h"
#include "support/paths.h"

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

struct Layout {
  int pad;       // bytes between rows
  bool upwards;  // row 0 comes last, and the step is negative
  Guard guard;
};
constexpr Layout kLayouts[] = {{0, false, Guard::kBehind},  {0, false, Guard::kBefore}, {1, false, Guard::kBehind},
                               {24, false, Guard::kBefore}, {0, true, Guard::kBefore},  {7, true, Guard::kBehind}};

// A plane in exactly the memory that its rows take, filled at random, and what is expected to stand there.
class Plane {
 public:
  Plane(int rowBytes, int height, Layout layout, std::mt19937& random)
      : rows_(height),
        step_((rowBytes + layout.pad) * (layout.upwards ? -1 : 1)),
        memory_(rowBytes && rows_ ? size_t((rows_ - 1) * (rowBytes + layout.pad) + rowBytes) : 0, layout.guard) {
    for (size_t i = 0; i < memory_.size(); ++i) memory_[i] = Vel8u(random());
    expected_.assign(memory_.data(), memory_.data() + memory_.size());
  }
  Vel8u& at(int x, int y) const { return memory_[index(x, y)]; }
  Vel8u& expected(int x, int y) { return expected_[index(x, y)]; }
  bool isAsExpected() const {
    return std::equal(expected_.begin(), expected_.end(), memory_.data()) && memory_.intact();
  }
  Vel8u* top() const { return memory_.size() ? &at(0, 0) : memory_.data(); }
  int step() const { return step_; }

 private:
  size_t index(int x, int y) const { return size_t((step_ < 0 ? y - rows_ + 1 : y) * step_ + x); }

  int rows_, step_;
  Guarded memory_;
  std::vector<Vel8u> expected_;
};

struct Image {
  Image(Format format, VeliSize size, bool hasSteps, Layout layout, std::mt19937& random) {
    const auto add = [&](int rowBytes, int height, int padFactor) {
      planes.emplace_back(rowBytes, height, Layout{layout.pad * padFactor, layout.upwards, layout.guard}, random);
    };
    const int w = size.width, h = size.height;
    if (format == Format::k420 || format == Format::k422) {
      const int width = format == Format::k422 && hasSteps ? (w + 1) / 2 : w / 2;
      const int height = format == Format::k420 ? h / 2 : h;
      add(w, h, 1), add(width, height, 2), add(width, height, 3);
    } else {
      const int bytes = format == Format::kC3 ? 3 : format == Format::kAC4 ? 4 : format == Format::kP3 ? 1 : 2;
      for (int i = 0; i < (format == Format::kP3 ? 3 : 1); ++i) add(w * bytes, h, 1);
    }
    for (int i = 0; i < 3; ++i) {
      const Plane& plane = planes[planes.size() == 3 ? size_t(i) : 0];
      top[i] = plane.top();
      step[i] = plane.step();
    }
  }
  Plane& operator[](int i) { return planes[size_t(i)]; }

  std::deque<Plane> planes;
  Vel8u* top[3];
  int step[3];
};

struct Picture {
  Picture(const Form& f, VeliSize s, Layout layout, std::mt19937& random)
      : form(f), size(s), src(f.src, s, f.hasSteps, layout, random), dst(f.dst, s, f.hasSteps, layout, random) {}

  void expectConverted() {
    const bool is420 = form.src == Format::k420 || form.dst == Format::k420;
    const VelStatus status = std::min(size.width, size.height) < form.least ? velStsSizeErr
                             : is420 && (size.width | size.height) & 1      ? velStsDoubleSize
                                                                            : velStsNoErr;
    ASSERT_EQ(form.convert(src.top, src.step, dst.top, dst.step, size), status);
    for (const Plane& plane : dst.planes) ASSERT_TRUE(plane.isAsExpected()) << "plane " << &plane - &dst.planes[0];
  }

  const Form& form;
  VeliSize size;
  Image src, dst;
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
    picture.dst[0].expected(2 * x, y) = Vel8u(word);
    picture.dst[0].expected(2 * x + 1, y) = Vel8u(word >> 8);
    return;
  }
  for (int c = 0; c < 3; ++c)
    if (form.dst == Format::kP3)
      picture.dst[c].expected(x, y) = Vel8u(rgb[size_t(c)]);
    else
      picture.dst[0].expected(x * (form.dst == Format::kAC4 ? 4 : 3) + c, y) = Vel8u(rgb[size_t(c)]);
}
