// The box filter against its sums in the order that the header states, one float at a time.
#include <climits>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>
#include "support/image.h"

namespace {

struct Form {
  const char* name;
  int channels;
  bool keepsFourth;
  decltype(orviFilterBox_32f_C1R)* filter;
};
const Form kForms[] = {{"C1R", 1, false, orviFilterBox_32f_C1R},
                       {"C3R", 3, false, orviFilterBox_32f_C3R},
                       {"C4R", 4, false, orviFilterBox_32f_C4R},
                       {"AC4R", 4, true, orviFilterBox_32f_AC4R}};

struct Call {
  VeliSize size, mask;
  VeliPoint anchor;
};

using Floats = std::vector<float>;

float ofBits(Vel32u bits) {
  float x;
  memcpy(&x, &bits, 4);
  return x;
}
Vel32u bitsAt(const void* p) {
  Vel32u bits;
  memcpy(&bits, p, 4);
  return bits;
}
// Of two NaNs the first operand stays, quiet; a NaN that comes of numbers is the negative one without a payload.
float nanOr(float a, float b, float result) {
  for (const float operand : {a, b}) {
    if (std::isnan(operand)) return ofBits(bitsAt(&operand) | 0x400000);
  }
  return std::isnan(result) ? ofBits(0xFFC00000) : result;
}
// Rounded to single precision after every operation, which the x87 does not do by itself.
float add(float a, float b) {
  const volatile float sum = a + b;
  return nanOr(a, b, sum);
}
float subtract(float a, float b) {
  const volatile float difference = a - b;
  return nanOr(a, b, difference);
}
float multiply(float a, float b) {
  const volatile float product = a * b;
  return nanOr(a, b, product);
}

// The means for all channels. `frame` is all that lies under the mask, without gaps.
Floats model(const Form& form, const Call& call, const Floats& frame) {
  const int width = call.size.width, height = call.size.height, w = call.mask.width, h = call.mask.height;
  const int c = form.channels, n = (width + w - 1) * c;
  const auto at = [&](int x, int y) { return frame[size_t(y * n + x)]; };
  Floats means;
  if (c == 4 && !form.keepsFourth && w == 3 && h == 3) {
    const auto three = [&](int x, int y) { return add(add(at(x, y), at(x + 4, y)), at(x + 8, y)); };
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width * c; ++x)
        means.push_back(multiply(add(add(three(x, y), three(x, y + 1)), three(x, y + 2)), 0x1.C71C72p-4f));
    return means;
  }
  Floats sums(frame.begin(), frame.begin() + n);
  for (int y = 1; y < h; ++y)
    for (int x = 0; x < n; ++x) sums[size_t(x)] = add(sums[size_t(x)], at(x, y));
  sums.resize(size_t(n + c));
  const volatile float norm = 1.0f / float(w * h);
  for (int y = 0; y < height; ++y) {
    Floats running(sums.begin(), sums.begin() + c);
    for (int x = c; x < w * c; ++x) running[size_t(x % c)] = add(running[size_t(x % c)], sums[size_t(x)]);
    for (int x = 0; x < width * c; ++x) {
      float& sum = running[size_t(x % c)];
      means.push_back(multiply(norm, sum));
      sum = subtract(add(sum, sums[size_t(x + w * c)]), sums[size_t(x)]);
    }
    for (int x = 0; x < n && y + 1 < height; ++x)
      sums[size_t(x)] = subtract(add(sums[size_t(x)], at(x, y + h)), at(x, y));
  }
  return means;
}

// Steps count in whole floats, which may lie off their alignment.
const Layout kLayouts[] = {{0, false, Guard::kBehind, 0, 4},
                           {3, false, Guard::kBefore, 0, 4},
                           {21, false, Guard::kBehind, 1, 4},
                           {32, false, Guard::kBefore, 2, 4},
                           {2, false, Guard::kBehind, 3, 4}};

// The scratch lies before a guard page and holds NaNs at first.
std::unique_ptr<Guarded> scratch;
int allocations;

class Box : public OnEveryPath {
 protected:
  void SetUp() override {
    OnEveryPath::SetUp();
    i_malloc = [](size_t size) -> void* {
      ++allocations;
      scratch = std::make_unique<Guarded>(size, Guard::kBehind, 0xFF);
      markUndefined(scratch->data(), size);
      return scratch->data();
    };
    i_free = [](void* ptr) {
      EXPECT_TRUE(scratch && ptr == scratch->data());
      scratch = nullptr;
    };
  }
  void TearDown() override {
    i_malloc = malloc, i_free = free;
    OnEveryPath::TearDown();
  }

  // Numbers that make every addition round.
  Floats frameFor(const Form& form, const Call& call) {
    Floats frame(
        size_t((call.size.width + call.mask.width - 1) * form.channels * (call.size.height + call.mask.height - 1)));
    for (float& x : frame) x = std::ldexp(float(random() % 0x2000000) - 0x800000, int(random() % 8) - 20);
    return frame;
  }
  void expectFiltered(const Form& form, const Call& call, const Layout& layout) {
    expectFiltered(form, call, layout, frameFor(form, call));
  }
  void expectFiltered(const Form& form, const Call& call, const Layout& layout, const Floats& frame) {
    SCOPED_TRACE(testing::Message() << form.name << ' ' << call.size.width << " x " << call.size.height << ", mask "
                                    << call.mask.width << " x " << call.mask.height << ", anchor " << call.anchor.x
                                    << ", " << call.anchor.y << ", layout " << &layout - kLayouts);
    const VeliSize all = {call.size.width + call.mask.width - 1, call.size.height + call.mask.height - 1};
    Plane src(all, pixelOf<Vel32f>(form.channels), layout, random);
    const Plane dst(call.size, src.pixel, layout, random);
    auto from = frame.begin();
    src.forEach([&](int x, int y, int c) { memcpy(&src.at(x, y, c), &*from++, 4); });
    Copied expected = dst.copy();
    const Copied before = src.copy();
    const Floats means = model(form, call, frame);
    auto mean = means.begin();
    expected.forEach([&](int x, int y, int c) {
      if (!(form.keepsFourth && c == 3)) memcpy(&expected.at(x, y, c), &*mean, 4);
      ++mean;
    });

    allocations = 0;
    const auto anchor = reinterpret_cast<const Vel32f*>(&src.at(call.anchor.x, call.anchor.y));
    ASSERT_EQ(form.filter(anchor, src.step, dst.data<Vel32f>(), dst.step, call.size, call.mask, call.anchor),
              velStsNoErr);
    EXPECT_EQ(allocations, 1);
    EXPECT_EQ(scratch, nullptr);
    ASSERT_TRUE(expectSame(dst, expected));
    ASSERT_TRUE(expectSame(src, before)) << "the source has changed";
  }

  Random random{77};
};
ORV_ON_EVERY_PATH(Box);

TEST_P(Box, TakesEveryMaskAndAnchor) {
  for (const Form& form : kForms)
    for (int w = 1; w <= 17; ++w)
      for (int h = 1; h <= 17; ++h)
        for (int corner = 0; corner < 4; ++corner) {
          const VeliPoint anchor = {corner & 1 ? w - 1 : 0, corner & 2 ? h - 1 : 0};
          ASSERT_NO_FATAL_FAILURE(expectFiltered(form, {{7 + w % 5, 5}, {w, h}, anchor}, kLayouts[(w + h) % 5]));
        }
}

TEST_P(Box, TakesEverySize) {
  for (const Form& form : kForms)
    for (int width = 1; width <= 40; ++width)
      for (int height = 1; height <= 20; ++height)
        for (const VeliSize mask : {VeliSize{3, 3}, {1 + width % 6, 1 + height % 7}})
          ASSERT_NO_FATAL_FAILURE(expectFiltered(form, {{width, height}, mask, {mask.width / 2, mask.height / 2}},
                                                 kLayouts[(width + height) % 5]));
}

// Past a chunk of columns, past the window's end, and masks larger than the image.
TEST_P(Box, TakesWideImagesAndLargeMasks) {
  for (const Form& form : kForms) {
    for (const int width : {3, 24, 31, 32, 33, 95, 96, 97, 130, 193, 400})
      for (const int w : {1, 2, 13, 50, 97, 200})
        ASSERT_NO_FATAL_FAILURE(expectFiltered(form, {{width, 9}, {w, 3}, {w - 1, 0}}, kLayouts[width % 5]));
    ASSERT_NO_FATAL_FAILURE(expectFiltered(form, {{50, 13}, {3, 200}, {1, 70}}, kLayouts[0]));
  }
}

TEST_P(Box, InfinitiesAndNaNsStayInTheSums) {
  for (const Form& form : kForms)
    for (const float special : {INFINITY, -INFINITY, NAN}) {
      const Call call = {{21, 11}, {4, 3}, {0, 0}};
      Floats frame = frameFor(form, call);
      frame[frame.size() / 3] = special;
      ASSERT_NO_FATAL_FAILURE(expectFiltered(form, call, kLayouts[0], frame));
    }
}

// NaNs that differ, some of them signalling, meet one another and infinities: at the start of columns and rows, and later.
TEST_P(Box, OfTwoNaNsTheOneInTheSumStays) {
  for (const Form& form : kForms)
    for (const VeliSize mask : {VeliSize{1, 1}, {3, 3}, {4, 2}, {2, 5}})
      for (const int every : {2, 9, 60}) {
        const Call call = {{33, 11}, mask, {0, 0}};
        Floats frame = frameFor(form, call);
        for (size_t i = 0; i < frame.size(); ++i) {
          if (random() % unsigned(every)) continue;
          const Vel32u kinds[] = {0x7FC00000, 0xFFC00000, 0x7F800000};
          const Vel32u bits = random() % 4 == 0 ? 0x7F800000 | random() << 31 : kinds[random() % 3] | Vel32u(i + 1);
          memcpy(&frame[i], &bits, 4);
        }
        ASSERT_NO_FATAL_FAILURE(expectFiltered(form, call, kLayouts[0], frame)) << "one in " << every;
      }
  // Two in a row.
  const Vel32u row[5] = {0x3F800000, 0x7FC00111, 0x7FC00222, 0x3F800000, 0x3F800000};
  Vel32u means[5] = {};
  ASSERT_EQ(orviFilterBox_32f_C1R(reinterpret_cast<const Vel32f*>(row), 20, reinterpret_cast<Vel32f*>(means), 20,
                                  {5, 1}, {1, 1}, {0, 0}),
            velStsNoErr);
  EXPECT_EQ(std::vector<Vel32u>(means, means + 5),
            (std::vector<Vel32u>{0x3F800000, 0x7FC00111, 0x7FC00111, 0x7FC00111, 0x7FC00111}));
}

// The number of its pixels is more than an int holds. A step below 4 is none, so every row is the same.
TEST_P(Box, CountsThePixelsOfAnEnormousMask) {
  constexpr int kSide = 46341;
  const Floats ones(kSide, 1.0f);
  float sum = 0, mean = 0;
  for (int i = 0; i < kSide; ++i) sum = add(sum, kSide);
  ASSERT_EQ(orviFilterBox_32f_C1R(ones.data(), 3, &mean, 4, {1, 1}, {kSide, kSide}, {0, 0}), velStsNoErr);
  const volatile float norm = 1.0f / 2147488281.0f;
  EXPECT_EQ(mean, multiply(norm, sum));
}

TEST_P(Box, WithoutScratchNothingIsWritten) {
  Floats src(4 * 81, 1.0f), dst(4, 7.0f);
  for (const Form& form : kForms)
    for (const int side : {3, 9}) {
      const auto status = [&](VeliSize size, int w) {
        return form.filter(src.data(), 144, dst.data(), 16, size, {w, side}, {0, 0});
      };
      // More bytes than an int can say are not asked for.
      allocations = 0;
      EXPECT_EQ(status({INT_MAX, 1}, side), velStsMemAllocErr);
      EXPECT_EQ(status({1, 1}, INT_MAX), velStsMemAllocErr);
      for (const int floats : {1 << 29, 1 << 30})
        EXPECT_EQ(status({floats / form.channels + 9, 1}, side), velStsMemAllocErr);
      EXPECT_EQ(allocations, 0);
      i_malloc = [](size_t) -> void* { return ++allocations, nullptr; };
      EXPECT_EQ(status({1, 1}, side), velStsMemAllocErr);
      EXPECT_EQ(allocations, 1);
      SetUp();
    }
  EXPECT_EQ(dst, Floats(4, 7.0f));
}

TEST_P(Box, ChecksItsArgumentsInOrder) {
  Floats src(4, 1.0f), dst(4, 7.0f);
  const VeliSize some = {1, 1}, none = {0, 0};
  for (const Form& form : kForms) {
    const auto status = [&](int srcStep, int dstStep, VeliSize size, VeliSize mask, VeliPoint anchor) {
      return form.filter(src.data(), srcStep, dst.data(), dstStep, size, mask, anchor);
    };
    EXPECT_EQ(form.filter(nullptr, 0, dst.data(), 0, none, none, {-1, -1}), velStsNullPtrErr);
    EXPECT_EQ(form.filter(src.data(), 0, nullptr, 0, none, none, {-1, -1}), velStsNullPtrErr);
    for (const int step : {0, -16, INT_MIN}) {
      EXPECT_EQ(status(step, 16, none, none, {-1, -1}), velStsStepErr);
      EXPECT_EQ(status(16, step, none, none, {-1, -1}), velStsStepErr);
    }
    for (const VeliSize bad : {VeliSize{0, 1}, {1, 0}, {-1, 1}, {1, INT_MIN}}) {
      EXPECT_EQ(status(16, 16, bad, none, {-1, -1}), velStsSizeErr);
      EXPECT_EQ(status(16, 16, some, bad, {-1, -1}), velStsMaskSizeErr);
    }
    for (const VeliPoint bad : {VeliPoint{-1, 0}, {0, -1}, {2, 0}, {0, 3}, {INT_MIN, 0}, {0, INT_MAX}})
      EXPECT_EQ(status(16, 16, some, {2, 3}, bad), velStsAnchorErr);
  }
  EXPECT_EQ(dst, Floats(4, 7.0f));
}

}  // namespace
