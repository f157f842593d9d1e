// Channel swaps against a model that moves one channel at a time.
#include <algorithm>
#include "support/image.h"

namespace {

// A common shape for all forms; those in place ignore the source, and only one takes a value.
using Call = VelStatus(const void* src, int srcStep, void* dst, int dstStep, VeliSize size, const int* order,
                       Vel8u val);
struct Form {
  const char* name;
  int from, to, bytes;   // channels of source and destination, bytes of a channel
  int entries, highest;  // how many entries an order has, and the highest that differs from the next
  bool inPlace, checksSteps;
  Call* call;

  bool takesValue() const { return from < to; }
};
#define CALL(...)                                                                                                     \
  [](const void* src, int srcStep, void* dst, int dstStep, VeliSize size, const int* order, Vel8u val) -> VelStatus { \
    return (void)src, (void)srcStep, (void)val, __VA_ARGS__;                                                          \
  }
#define SWAP(type, layout)                                                                                           \
  CALL(orviSwapChannels_##type##_##layout(static_cast<const Vel##type*>(src), srcStep, static_cast<Vel##type*>(dst), \
                                          dstStep, size, order))
#define BOTH(type, bytes)                                            \
  {#type " C3R", 3, 3, bytes, 3, 2, false, true, SWAP(type, C3R)}, { \
#type " AC4R", 4, 4, bytes, 3, 2, false, true, SWAP(type, AC4R)  \
  }
const Form kForms[] = {
    BOTH(8u, 1),
    BOTH(16u, 2),
    BOTH(16s, 2),
    BOTH(32s, 4),
    BOTH(32f, 4),
    {"8u C3IR", 3, 3, 1, 3, 2, true, true,
     CALL(orviSwapChannels_8u_C3IR(static_cast<Vel8u*>(dst), dstStep, size, order))},
    {"8u C4IR", 4, 4, 1, 4, 3, true, true,
     CALL(orviSwapChannels_8u_C4IR(static_cast<Vel8u*>(dst), dstStep, size, order))},
    {"8u C4C3R", 4, 3, 1, 3, 3, false, false, SWAP(8u, C4C3R)},
    {"8u C3C4R", 3, 4, 1, 4, 4, false, false,
     CALL(orviSwapChannels_8u_C3C4R(static_cast<const Vel8u*>(src), srcStep, static_cast<Vel8u*>(dst), dstStep, size,
                                    order, val))},
};

struct Order {
  int entry[4];
};
std::vector<Order> everyOrder(const Form& form) {
  std::vector<Order> all;
  const int n = form.highest + 1;
  for (int i = 0; i < n * n * n * (form.entries == 4 ? n : 1); ++i)
    all.push_back({{i % n, i / n % n, i / n / n % n, i / n / n / n}});
  if (form.takesValue())
    for (int i = 0; i < 16; ++i) {
      all.push_back({{i & 1 ? 7 : 0, i & 2 ? INT32_MAX : 1, i & 4 ? 5 : 2, i & 8 ? -1 : INT32_MIN}});
      all.push_back({{2, 3, 1, i & 1 ? INT32_MAX : 5 - i}});
    }
  return all;
}

class Swap : public OnEveryPath {
 protected:
  // Swaps, in one image if so asked, and compares.
  void check(const Form& form, VeliSize size, Layout layout, const Order& order, bool inPlace) {
    const Plane src(size, {form.from, form.bytes}, layout, random), dst(size, {form.to, form.bytes}, layout, random);
    const Plane& source = inPlace ? dst : src;
    const Vel8u val = Vel8u(random());
    const Copied before = src.copy();
    Copied expected = dst.copy();
    expected.forEach([&](int x, int y, int c) {
      const int entry = c < form.entries ? order.entry[c] : -1;
      if (entry >= 0 && entry < form.from)
        std::copy_n(&source.at(x, y, entry), form.bytes, &expected.at(x, y, c));
      else if (entry == form.from)
        expected.at(x, y, c) = val;
    });
    ASSERT_EQ(form.call(source.data(), source.step, dst.data(), dst.step, size, order.entry, val), velStsNoErr);
    ASSERT_TRUE(expectSame(dst, expected));
    ASSERT_TRUE(expectSame(src, before)) << "the source has changed";
  }
  void checkEitherWay(const Form& form, VeliSize size, Layout layout, const Order& order) {
    for (const bool inPlace : {true, false}) {
      if (inPlace ? form.from != form.to : form.inPlace) continue;
      ASSERT_NO_FATAL_FAILURE(check(form, size, layout, order, inPlace))
          << form.name << (inPlace ? " in place, " : ", ") << size.width << " x " << size.height << ", pad "
          << layout.pad << ", order " << order.entry[0] << ' ' << order.entry[1] << ' ' << order.entry[2] << ' '
          << order.entry[3];
    }
  }
  Order anyOrder(const Form& form) {
    Order order{};
    for (int& entry : order.entry) entry = int(random() % unsigned(form.highest + 1));
    return order;
  }
  Random random{34};
};
ORV_ON_EVERY_PATH(Swap);

TEST_P(Swap, EveryOrder) {
  for (const Form& form : kForms)
    for (const Order& order : everyOrder(form))
      for (int width : {3, 37})
        ASSERT_NO_FATAL_FAILURE(checkEitherWay(form, {width, 1}, {0, false, Guard::kBehind}, order));
}

TEST_P(Swap, EverySize) {
  const Layout layouts[] = {{0, false, Guard::kBehind},  {0, false, Guard::kBefore}, {1, false, Guard::kBehind},
                            {24, false, Guard::kBefore}, {0, true, Guard::kBefore},  {7, true, Guard::kBehind}};
  for (const Form& form : kForms)
    for (int i = 0; i < (form.checksSteps ? 4 : 6); ++i)
      for (int height = 1; height <= 3; ++height)
        for (int width = 1; width <= 70; ++width)
          ASSERT_NO_FATAL_FAILURE(checkEitherWay(form, {width, height}, layouts[i], anyOrder(form)));
}

// More than a megabyte goes past the caches, where a row has whole cache lines to offer.
TEST_P(Swap, LargeImages) {
  constexpr struct { int height, pad; } kShapes[] = {{16, 0}, {16, 1}, {16, 12}, {20000, 4}};
  for (const Form& form : kForms)
    for (const auto& shape : kShapes) {
      const VeliSize size = {1048577 / (shape.height * form.to * form.bytes) + 1, shape.height};
      ASSERT_NO_FATAL_FAILURE(checkEitherWay(form, size, {shape.pad, false, Guard::kBehind}, anyOrder(form)));
    }
}

TEST_P(Swap, ChecksItsArgumentsInOrder) {
  Guarded memory(64, Guard::kBehind, 7);
  Vel8u* const p = memory.data();
  const int good[4] = {2, 1, 0, 2}, bad[4] = {-1, -1, -1, -1};
  for (const Form& form : kForms) {
    SCOPED_TRACE(form.name);
    const auto call = [&](const void* src, int srcStep, void* dst, int dstStep, VeliSize size, const int* order) {
      return form.call(src, srcStep, dst, dstStep, size, order, 1);
    };
    const bool stepsFirst = form.inPlace && form.to == 4;
    const VelStatus size = velStsSizeErr;
    if (!form.inPlace) {
      EXPECT_EQ(call(nullptr, 0, p, 0, {0, 0}, bad), velStsNullPtrErr);
    }
    EXPECT_EQ(call(p, 0, nullptr, 0, {0, 0}, bad), velStsNullPtrErr);
    EXPECT_EQ(call(p, 0, p, 0, {0, 0}, nullptr), velStsNullPtrErr);
    for (const VeliSize none : {VeliSize{0, 2}, {2, 0}, {-2, 2}, {2, INT32_MIN}}) {
      EXPECT_EQ(call(p, 0, p, 0, none, bad), stepsFirst ? velStsStepErr : size);
      EXPECT_EQ(call(p, 1, p, 1, none, bad), size);
    }
    for (int step : {0, -1, INT32_MIN}) {
      const VelStatus expected = form.checksSteps ? velStsStepErr : velStsChannelOrderErr;
      EXPECT_EQ(call(p, 64, p, step, {2, 2}, bad), expected);
      EXPECT_EQ(call(p, step, p, form.inPlace ? step : 64, {2, 2}, bad), expected);
    }
    for (int i = 0; i < (form.takesValue() ? 3 : form.entries); ++i)
      for (int entry : {-1, INT32_MIN, form.highest + 1, INT32_MAX}) {
        int order[4] = {good[0], good[1], good[2], good[3]};
        order[i] = entry;
        if (entry > 0 && form.takesValue()) continue;
        EXPECT_EQ(call(p, 64, p, 64, {2, 2}, order), velStsChannelOrderErr);
      }
  }
  EXPECT_EQ(std::count(p, p + 64, 7), 64) << "an error wrote";
}

}  // namespace
