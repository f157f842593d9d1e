// Depth conversion against whole numbers.
#include <algorithm>
#include <cmath>
#include "support/image.h"
#include "support/caches.h"

namespace {

// A common shape for all forms; those to floats ignore the rounding.
using Call = VelStatus(const void* src, int srcStep, void* dst, int dstStep, VeliSize size, int roundMode);
struct Form {
  const char* name;
  int channels;
  bool keepsAlpha, toBytes;
  Call* call;
  Pixel floats() const { return pixelOf<Vel32f>(channels); }
};
#define TO_FLOATS(layout)                                                                                             \
  [](const void* src, int srcStep, void* dst, int dstStep, VeliSize size, int) {                                      \
    return orviConvert_8u32f_##layout##R(static_cast<const Vel8u*>(src), srcStep, static_cast<Vel32f*>(dst), dstStep, \
                                         size);                                                                       \
  }
#define TO_BYTES(layout)                                                                                              \
  [](const void* src, int srcStep, void* dst, int dstStep, VeliSize size, int roundMode) {                            \
    return orviConvert_32f8u_##layout##R(static_cast<const Vel32f*>(src), srcStep, static_cast<Vel8u*>(dst), dstStep, \
                                         size, roundMode);                                                            \
  }
const Form kForms[] = {{"8u32f C1", 1, false, false, TO_FLOATS(C1)}, {"8u32f C3", 3, false, false, TO_FLOATS(C3)},
                       {"8u32f C4", 4, false, false, TO_FLOATS(C4)}, {"8u32f AC4", 4, true, false, TO_FLOATS(AC4)},
                       {"32f8u C1", 1, false, true, TO_BYTES(C1)},   {"32f8u C3", 3, false, true, TO_BYTES(C3)},
                       {"32f8u C4", 4, false, true, TO_BYTES(C4)},   {"32f8u AC4", 4, true, true, TO_BYTES(AC4)}};

Vel8u model(float x, int roundMode) {
  if (std::isnan(x) || x >= 255) return 255;
  if (x <= 0) return 0;
  const int whole = int(std::floor(x));
  const float rest = x - float(whole);  // exact
  const bool up = roundMode == 0 ? false : roundMode == 1 ? rest > 0.5f || (rest == 0.5f && whole % 2) : rest >= 0.5f;
  return Vel8u(whole + up);
}

// What the modes tell apart: whole numbers and halves in and around the range and their neighbours, and the ends of
// what there is.
std::vector<float> interestingFloats() {
  const auto ofBits = [](Vel32u bits) {
    float x;
    memcpy(&x, &bits, sizeof x);
    return x;
  };
  std::vector<float> all = {1e-30f, 1e30f,  2147483520.0f, 2147483648.0f, -2147483904.0f, 32768.0f,  65536.0f,
                            3e38f,  -3e38f, -3.7f,         300.0f,        -1e30f,         -32769.0f, -65536.0f};
  for (Vel32u bits : {0x80000000u, 1u, 0x80000001u, 0x7F800000u, 0xFF800000u, 0x7FC00000u, 0xFFC12345u, 0x7F800001u})
    all.push_back(ofBits(bits));
  for (int twice = -6; twice <= 516; ++twice)
    for (float towards : {-1e9f, float(twice) / 2, 1e9f}) all.push_back(std::nextafter(float(twice) / 2, towards));
  return all;
}

constexpr int kRoundModes[] = {0, 1, 2, -1, INT32_MIN};

struct Picture {
  Picture(const Form& f, VeliSize s, Layout srcLayout, Layout dstLayout, std::mt19937& random)
      : form(f),
        size(s),
        src(s, f.toBytes ? f.floats() : Pixel{f.channels}, srcLayout, random),
        dst(s, f.toBytes ? Pixel{f.channels} : f.floats(), dstLayout, random) {
    static const std::vector<float> interesting = interestingFloats();
    if (f.toBytes)
      src.forEach([&](int x, int y, int c) { src.set(x, y, c, interesting[random() % interesting.size()]); });
  }

  void expectConverted(int roundMode) const {
    Copied expected = dst.copy();
    expected.forEach([&](int x, int y, int c) {
      if (form.keepsAlpha && c == 3) return;
      if (form.toBytes)
        expected.at(x, y, c) = model(src.get<float>(x, y, c), roundMode);
      else
        expected.set(x, y, c, float(src.at(x, y, c)));
    });
    ASSERT_EQ(form.call(src.data(), src.step, dst.data(), dst.step, size, roundMode), velStsNoErr);
    ASSERT_TRUE(expectSame(dst, expected));
  }

  const Form& form;
  VeliSize size;
  Plane src, dst;
};

class Convert : public OnEveryPath {
 protected:
  Random random{8};
};
ORV_ON_EVERY_PATH(Convert);

// Tight rows, padded ones, tight on one side only; what ends at a guard page begins at every alignment.
TEST_P(Convert, EverySize) {
  constexpr int kPads[][2] = {{0, 0}, {0, 16}, {4, 0}, {1, 3}, {13, 7}};
  int mode = 0;
  for (const Form& form : kForms)
    for (const auto& pads : kPads)
      for (Guard guard : {Guard::kBefore, Guard::kBehind})
        for (int height : {1, 4})
          for (int width = 1; width <= 70; ++width)
            ASSERT_NO_FATAL_FAILURE(
                Picture(form, {width, height}, {pads[0], false, guard}, {pads[1], false, guard}, random)
                    .expectConverted(kRoundModes[mode++ % 5]))
                << form.name << ' ' << width << " x " << height << ", pads " << pads[0] << ", " << pads[1];
}

// Whatever the caller's rounding mode, which is what it was afterwards, with the rest of the control register.
TEST_P(Convert, RoundsInEveryModeOfTheCaller) {
  const std::vector<float> floats = interestingFloats();
  const int n = int(floats.size());
  const Vel32u before = ps_get_ssx();
  for (Vel32u callers : {0u, 0x2000u, 0x4000u, 0x6000u})
    for (int roundMode : kRoundModes)
      for (int count : {1, 2, 5, 9, n}) {  // every size of a vector
        std::vector<Vel8u> bytes(floats.size());
        for (int i = 0; i + count <= n; i += count) {
          vel_set_cw_ssx((before & ~0x6000u) | callers);
          orviConvert_32f8u_C1R(&floats[size_t(i)], 4 * n, &bytes[size_t(i)], n, {count, 1}, roundMode);
          const Vel32u after = ps_get_ssx();
          vel_set_cw_ssx(before);
          ASSERT_EQ(after & ~0x3Fu, (before & ~0x603Fu) | callers);
        }
        for (int i = 0; i < n / count * count; ++i)
          ASSERT_EQ(int(bytes[size_t(i)]), int(model(floats[size_t(i)], roundMode)))
              << floats[size_t(i)] << ", mode " << roundMode << ", caller's " << callers << ", " << count;
      }
}

// Images that are written past the caches: floats only where the size of the caches is known.
TEST_P(Convert, LargeImages) {
  const int elements = int(beyondCaches() / 5), width = 97;
  int mode = 0;
  for (const Form& form : kForms) {
    const VeliSize size = {width, elements / (width * form.channels) + 1};
    for (int pad : {0, 1, 20})
      ASSERT_NO_FATAL_FAILURE(Picture(form, size, {0, false, Guard::kBehind}, {pad, false, Guard::kBehind}, random)
                                  .expectConverted(kRoundModes[mode++ % 5]))
          << form.name << ", pad " << pad;
  }
}

TEST_P(Convert, ChecksItsArgumentsInOrder) {
  Vel32u src[8] = {}, dst[8] = {7};
  for (const Form& form : kForms)
    for (int roundMode : {0, 1, 2}) {
      SCOPED_TRACE(form.name);
      EXPECT_EQ(form.call(nullptr, 0, dst, 0, {0, 0}, roundMode), velStsNullPtrErr);
      EXPECT_EQ(form.call(src, 0, nullptr, 0, {0, 0}, roundMode), velStsNullPtrErr);
      for (VeliSize size : {VeliSize{0, 1}, {1, 0}, {-1, 1}, {1, INT32_MIN}})
        EXPECT_EQ(form.call(src, 0, dst, 0, size, roundMode), velStsSizeErr);
      for (int step : {0, -1, INT32_MIN}) {
        EXPECT_EQ(form.call(src, step, dst, 16, {1, 1}, roundMode), velStsStepErr);
        EXPECT_EQ(form.call(src, 16, dst, step, {1, 1}, roundMode), velStsStepErr);
      }
    }
  EXPECT_EQ(dst[0], 7u) << "an error wrote";
}

}  // namespace
