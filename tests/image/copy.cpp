// Copying a region and replicating its border, byte by byte.
#include <algorithm>
#include "support/image.h"

namespace {

struct Form {
  int channels;
  decltype(orviCopy_8u_C1R)* copy;
};
const Form kForms[] = {{1, orviCopy_8u_C1R}, {3, orviCopy_8u_C3R}, {4, orviCopy_8u_C4R}};

class Copy : public OnEveryPath {
 protected:
  void check(const Form& form, VeliSize size, Layout srcLayout, Layout dstLayout) {
    const Plane src(size, {form.channels}, srcLayout, random), dst(size, {form.channels}, dstLayout, random);
    Copied expected = dst.copy();
    for (int y = 0; y < size.height; ++y) std::copy_n(&src.at(0, y), src.rowBytes, &expected.at(0, y));
    ASSERT_EQ(form.copy(src.data(), src.step, dst.data(), dst.step, size), velStsNoErr);
    ASSERT_TRUE(expectSame(dst, expected)) << 'C' << form.channels << ' ' << size.width << " x " << size.height
                                           << ", pads " << srcLayout.pad << ' ' << dstLayout.pad;
  }
  Random random{35};
};
ORV_ON_EVERY_PATH(Copy);

TEST_P(Copy, EverySize) {
  const Layout layouts[] = {{0, false, Guard::kBehind},
                            {0, false, Guard::kBefore},
                            {5, false, Guard::kBehind},
                            {13, true, Guard::kBefore},
                            {0, true, Guard::kBehind}};
  for (const Form& form : kForms)
    for (const Layout& src : layouts)
      for (const Layout& dst : layouts)
        for (int height : {1, 3})
          for (int width = 1; width <= 200 / form.channels; ++width)
            ASSERT_NO_FATAL_FAILURE(check(form, {width, height}, src, dst));
}

// Rows beyond the first-level cache; images of a megabyte, and of more, which go past the caches: whole lines of them,
// where a row has any.
TEST_P(Copy, LargeImages) {
  for (const Form& form : kForms)
    for (int pad : {0, 28})
      for (const VeliSize size : {VeliSize{20001, 2}, {1024, 1024}, {4099, 256}, {47, 22400}})
        ASSERT_NO_FATAL_FAILURE(check(form, {size.width / form.channels, size.height}, {pad * 2, false, Guard::kBefore},
                                      {pad, false, Guard::kBehind}));
}

TEST_P(Copy, ChecksItsArgumentsInOrder) {
  Guarded memory(64, Guard::kBehind, 7);
  Vel8u* const p = memory.data();
  for (const Form& form : kForms) {
    EXPECT_EQ(form.copy(nullptr, 8, p, 8, {0, 0}), velStsNullPtrErr);
    EXPECT_EQ(form.copy(p, 8, nullptr, 8, {0, 0}), velStsNullPtrErr);
    for (const VeliSize none : {VeliSize{0, 1}, {1, 0}, {-1, 1}, {1, INT32_MIN}})
      EXPECT_EQ(form.copy(p, 8, p + 32, 8, none), velStsSizeErr);
  }
  EXPECT_EQ(std::count(p, p + 64, 7), 64) << "an error wrote";
}

// ---- Border

class Border : public OnEveryPath {
 protected:
  void check(VeliSize size, int left, int top, int right, int bottom, Layout layout) {
    const VeliSize whole = {left + size.width + right, top + size.height + bottom};
    const Plane image(whole, {}, layout, random);
    Copied expected = image.copy();
    expected.forEach([&](int x, int y, int) {
      expected.at(x, y) =
          image.at(std::clamp(x, left, left + size.width - 1), std::clamp(y, top, top + size.height - 1));
    });
    ASSERT_EQ(orviCopyReplicateBorder_8u_C1IR(&image.at(left, top), image.step, size, whole, top, left), velStsNoErr);
    ASSERT_TRUE(expectSame(image, expected))
        << size.width << " x " << size.height << ", borders " << left << ' ' << top << ' ' << right << ' ' << bottom;
  }
  Random random{36};
};
ORV_ON_EVERY_PATH(Border);

TEST_P(Border, EverySize) {
  const auto any = [this](int most) { return int(random() % unsigned(most + 1)); };
  for (int i = 0; i <= 40; ++i)
    for (int j = 0; j <= 40; ++j) {
      const Layout layout{any(1) * any(20), false, any(1) ? Guard::kBefore : Guard::kBehind};
      ASSERT_NO_FATAL_FAILURE(check({1 + any(70), 1 + any(3)}, i, any(2), j, any(2), layout));
      ASSERT_NO_FATAL_FAILURE(check({1 + any(70), 1 + any(3)}, any(70), i, any(70), j, layout));
    }
  check({20001, 2}, 20000, 1, 300, 2, {0, false, Guard::kBehind});
}

TEST_P(Border, ChecksItsArgumentsInOrder) {
  Guarded memory(64, Guard::kBehind, 7);
  memory[20] = 9;  // what a border would take
  const auto border = [&](int step, VeliSize size, VeliSize whole, int top, int left) {
    return orviCopyReplicateBorder_8u_C1IR(memory.data() + 20, step, size, whole, top, left);
  };
  EXPECT_EQ(orviCopyReplicateBorder_8u_C1IR(nullptr, 0, {0, 0}, {0, 0}, -1, -1), velStsNullPtrErr);
  for (int step : {0, -8, INT32_MIN}) EXPECT_EQ(border(step, {0, 0}, {0, 0}, -1, -1), velStsStepErr);
  constexpr int kMost = INT32_MAX;
  const struct {
    VeliSize size, whole;
    int top, left;
  } kBad[] = {{{0, 2}, {4, 4}, 1, 1},    {{2, 0}, {4, 4}, 1, 1},  {{-1, 2}, {4, 4}, 1, 1}, {{2, 2}, {0, 4}, 0, 0},
              {{2, 2}, {4, -4}, 0, 0},   {{2, 2}, {4, 4}, -1, 1}, {{2, 2}, {4, 4}, 1, -1}, {{2, 2}, {4, 4}, 3, 1},
              {{2, 2}, {4, 4}, 1, 3},    {{5, 2}, {4, 4}, 0, 0},  {{2, 5}, {4, 4}, 0, 0},  {{2, 2}, {4, 4}, kMost, 0},
              {{kMost, 2}, {4, 4}, 0, 2}};
  for (const auto& b : kBad) EXPECT_EQ(border(8, b.size, b.whole, b.top, b.left), velStsSizeErr);
  EXPECT_EQ(border(8, {2, 2}, {2, 2}, 0, 0), velStsNoErr);
  EXPECT_EQ(std::count(memory.data(), memory.data() + 64, 7), 63) << "an error or a border of nothing wrote";
}

}  // namespace
