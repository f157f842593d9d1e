// Planar YUV 4:2:0 to RGB against the formulas in 32-bit integers.
#include <algorithm>
#include <array>
#include <deque>
#include <random>
#include <vector>
#include "support/guarded.h"
#include "support/paths.h"

namespace {

// A common shape for all forms; those with one destination plane use dst[0], those without R ignore the steps.
using Convert = VelStatus(const Vel8u* const src[3], const int srcStep[3], Vel8u* const dst[3], int dstStep,
                          VeliSize size);
struct Form {
  const char* name;
  int planes, pixel;  // destination planes, and bytes of a pixel in each
  bool hasSteps, isBgr;
  Convert* convert;
};
#define CALL(...)                                                                                               \
  [](const Vel8u* const* src, const int* srcStep, Vel8u* const* dst, int dstStep, VeliSize size) -> VelStatus { \
    return (void)srcStep, (void)dstStep, __VA_ARGS__;                                                           \
  }
const Form kForms[] = {
    {"P3C3R", 1, 3, true, false, CALL(orviYUV420ToRGB_8u_P3C3R(src, srcStep, *dst, dstStep, size))},
    {"P3C3R to BGR", 1, 3, true, true, CALL(orviYUV420ToBGR_8u_P3C3R(src, srcStep, *dst, dstStep, size))},
    {"P3AC4R", 1, 4, true, false, CALL(orviYUV420ToRGB_8u_P3AC4R(src, srcStep, *dst, dstStep, size))},
    {"P3R", 3, 1, true, false, CALL(orviYUV420ToRGB_8u_P3R(src, srcStep, dst, dstStep, size))},
    {"P3C3", 1, 3, false, false, CALL(orviYUV420ToRGB_8u_P3C3(src, *dst, size))},
    {"P3", 3, 1, false, false, CALL(orviYUV420ToRGB_8u_P3(src, dst, size))},
};

Vel8u clamp(int x) { return Vel8u(x < 0 ? 0 : x > 255 ? 255 : x); }
std::array<Vel8u, 3> model(int y, int u, int v) {
  u -= 128, v -= 128;
  return {clamp((8192 * y + 9338 * v) >> 13), clamp((8192 * y - 3227 * u - 4759 * v) >> 13),
          clamp((8192 * y + 16645 * u) >> 13)};
}

struct Layout {
  int pad;       // bytes between rows
  bool upwards;  // row 0 comes last, and the step is negative
  Guard guard;
};

// A plane in exactly the memory that its rows take, filled at random.
struct Plane {
  Plane(int rowBytes, int height, Layout layout, std::mt19937& random)
      : rows(height),
        step((rowBytes + layout.pad) * (layout.upwards ? -1 : 1)),
        memory(rowBytes && rows ? size_t((rows - 1) * (rowBytes + layout.pad) + rowBytes) : 0, layout.guard) {
    for (size_t i = 0; i < memory.size(); ++i) memory[i] = Vel8u(random());
  }
  size_t at(int x, int y) const { return size_t(step < 0 && rows ? (y - rows + 1) * step + x : y * step + x); }
  Vel8u* top() const { return memory.size() ? memory.data() + at(0, 0) : memory.data(); }

  int rows, step;
  Guarded memory;
};

struct Picture {
  Picture(const Form& f, VeliSize s, Layout layout, std::mt19937& random)
      : form(f),
        size(s),
        src{{s.width, s.height, layout, random},
            {s.width / 2, s.height / 2, {layout.pad * 2, layout.upwards, layout.guard}, random},
            {s.width / 2, s.height / 2, {layout.pad * 3, layout.upwards, layout.guard}, random}} {
    for (int i = 0; i < form.planes; ++i) dst.emplace_back(s.width * form.pixel, s.height, layout, random);
  }

  void expectConverted() const {
    const Vel8u* const from[3] = {src[0].top(), src[1].top(), src[2].top()};
    const int steps[3] = {src[0].step, src[1].step, src[2].step};
    Vel8u* const to[3] = {dst[0].top(), dst[dst.size() / 2].top(), dst.back().top()};
    const VelStatus status = form.isBgr && (size.width < 2 || size.height < 2) ? velStsSizeErr
                             : (size.width | size.height) & 1                  ? velStsDoubleSize
                                                                               : velStsNoErr;
    std::vector<Vel8u> expected[3];
    for (size_t i = 0; i < dst.size(); ++i)
      expected[i].assign(dst[i].memory.data(), dst[i].memory.data() + dst[i].memory.size());
    for (int y = 0; y < (size.height & ~1); ++y)
      for (int x = 0; x < (size.width & ~1); ++x) {
        const auto rgb = model(src[0].memory[src[0].at(x, y)], src[1].memory[src[1].at(x / 2, y / 2)],
                               src[2].memory[src[2].at(x / 2, y / 2)]);
        for (int c = 0; c < 3; ++c) {
          const int plane = form.planes == 3 ? c : 0, byte = form.isBgr ? 2 - c : c - plane;
          expected[plane][dst[0].at(x * form.pixel + byte, y)] = rgb[size_t(c)];
        }
      }
    ASSERT_EQ(form.convert(from, steps, to, dst[0].step, size), status);
    for (size_t i = 0; i < dst.size(); ++i) {
      ASSERT_EQ(memcmp(dst[i].memory.data(), expected[i].data(), expected[i].size()), 0) << "plane " << i;
      ASSERT_TRUE(dst[i].memory.intact());
    }
  }

  const Form& form;
  VeliSize size;
  Plane src[3];
  std::deque<Plane> dst;
};

class Yuv420 : public OnEveryPath {
 protected:
  std::mt19937 random{420};
};
ORV_ON_EVERY_PATH(Yuv420);

// One block column for each V, and in a column every Y; the first form takes every U, the others a seventh of them.
TEST_P(Yuv420, ConvertsEveryColour) {
  for (const Form& form : kForms) {
    const Picture picture(form, {512, 128}, {0, false, Guard::kBehind}, random);
    for (int y = 0; y < 128; ++y)
      for (int x = 0; x < 512; ++x) {
        picture.src[0].memory[picture.src[0].at(x, y)] = Vel8u(y * 2 + x % 2);
        picture.src[2].memory[picture.src[2].at(x / 2, y / 2)] = Vel8u(x / 2);
      }
    for (int u = 0; u < 256; u += &form == kForms ? 1 : 7) {
      memset(picture.src[1].memory.data(), u, picture.src[1].memory.size());
      ASSERT_NO_FATAL_FAILURE(picture.expectConverted()) << form.name << ", U = " << u;
    }
  }
}

// Rows that end at a guard page begin at every alignment as the width changes. Chroma of a picture one pixel wide or
// high is no memory at all.
TEST_P(Yuv420, ConvertsEverySize) {
  const Layout layouts[] = {{0, false, Guard::kBehind},  {0, false, Guard::kBefore}, {1, false, Guard::kBehind},
                            {24, false, Guard::kBefore}, {0, true, Guard::kBefore},  {7, true, Guard::kBehind}};
  for (const Form& form : kForms)
    for (int i = 0; i < (form.hasSteps ? 6 : 2); ++i)
      for (int height = 1; height <= 5; ++height)
        for (int width = 1; width <= 70; ++width)
          ASSERT_NO_FATAL_FAILURE(Picture(form, {width, height}, layouts[i], random).expectConverted())
              << form.name << ' ' << width << " x " << height << ", layout " << i;
}

TEST_P(Yuv420, ChecksItsArgumentsInOrder) {
  Guarded memory(64, Guard::kBehind, 7);
  Vel8u* const p = memory.data();
  const int steps[3] = {4, 2, 2};
  for (const Form& form : kForms)
    for (int i = 0; i < 3; ++i) {
      SCOPED_TRACE(form.name);
      const bool toPlanes = form.planes == 3;
      const Vel8u *const src[3] = {p, p, p}, *someSrc[3] = {p, p, p};
      Vel8u *const dst[3] = {p, p, p}, *const noDst[3] = {}, *someDst[3] = {p, p, p};
      someSrc[i] = someDst[toPlanes ? i : 0] = nullptr;
      EXPECT_EQ(form.convert(nullptr, steps, dst, 4, {0, 0}), velStsNullPtrErr);
      EXPECT_EQ(form.convert(src, steps, toPlanes ? nullptr : noDst, 4, {0, 0}), velStsNullPtrErr);
      EXPECT_EQ(form.convert(src, nullptr, dst, 4, {0, 0}), form.hasSteps ? velStsNullPtrErr : velStsSizeErr);
      const int few = form.isBgr ? 1 : 0;
      for (const VeliSize size : {VeliSize{few, 2}, {2, few}, {-2, 2}, {2, INT32_MIN}})
        EXPECT_EQ(form.convert(someSrc, steps, toPlanes ? someDst : dst, 4, size), velStsSizeErr);
      EXPECT_EQ(form.convert(someSrc, steps, dst, 4, {2, 2}), velStsNullPtrErr);
      EXPECT_EQ(form.convert(src, steps, someDst, 4, {2, 2}), velStsNullPtrErr);
    }
  EXPECT_EQ(std::count(p, p + 64, 7), 64) << "an error wrote";
}

}  // namespace
