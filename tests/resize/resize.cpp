// Resizing against the model, on every code path; the paths must agree bit for bit.
#include <sys/mman.h>
#include <algorithm>
#include <array>
#include <cfenv>
#include <climits>
#include <limits>
#include <string>
#include "resize/model.h"
#include "support/caches.h"
#include "support/image.h"

namespace {

constexpr int kMethods[] = {velInterNearest,         velInterLinear,      velInterCubic, velInterCubicBSpline,
                            velInterCubicCatmullRom, velInterCubicB05C03, velInterSuper, velInterLanczos};

struct Geometry {
  VeliSize image;
  VeliRect src, dst;
  double xFactor, yFactor, xShift, yShift;
  int interpolation;

  int method() const { return interpolation & 0x1FFFFFFF; }
  bool antialiases() const { return interpolation & model::kAntialias; }
  model::Axis x() const { return {src.x, std::min(src.width, image.width - src.x), dst.x, dst.width, xFactor, xShift}; }
  model::Axis y() const {
    return {src.y, std::min(src.height, image.height - src.y), dst.y, dst.height, yFactor, yShift};
  }
};
std::ostream& operator<<(std::ostream& out, const Geometry& g) {
  const auto rect = [&](const VeliRect& r) { out << r.x << ',' << r.y << ' ' << r.width << 'x' << r.height << ' '; };
  out << "image " << g.image.width << 'x' << g.image.height << " src ", rect(g.src), out << "dst ", rect(g.dst);
  return out << "factors " << g.xFactor << ' ' << g.yFactor << " shifts " << g.xShift << ' ' << g.yShift
             << " interpolation " << std::hex << g.interpolation << std::dec;
}

using Pixels = const Vel8u* const*;
struct Form {
  const char* name;
  int planes, pixel, channels;
  VelStatus (*call)(Pixels src, int srcStep, Vel8u* const* dst, int dstStep, const Geometry& g, Vel8u* buffer);
};
#define FORM(name, planes, pixel, channels, from, to)                                                           \
  {                                                                                                             \
#name, planes, pixel, channels,                                                                               \
        [](Pixels src, int srcStep, Vel8u* const* dst, int dstStep, const Geometry& g, Vel8u* buffer) -> VelStatus { \
          return orviResizeSqrPixel_8u_##name##R(from, g.image, srcStep, g.src, to, dstStep, g.dst, g.xFactor,    \
                                                 g.yFactor, g.xShift, g.yShift, g.interpolation, buffer);         \
        } \
  }
const Form kForms[] = {FORM(C1, 1, 1, 1, *src, *dst),  FORM(C3, 1, 3, 3, *src, *dst), FORM(C4, 1, 4, 4, *src, *dst),
                       FORM(AC4, 1, 4, 3, *src, *dst), FORM(P3, 3, 1, 1, src, dst),   FORM(P4, 4, 1, 1, src, dst)};

// Source and destination planes, and a buffer of exactly the size that is asked for.
class Call {
 public:
  Call(const Form& form, const Geometry& geometry, std::mt19937& random)
      : Call(form, geometry, {0, random() % 4 == 0, random() % 2 ? Guard::kBefore : Guard::kBehind}, random) {}
  Call(const Form& form, const Geometry& geometry, Layout layout, std::mt19937& random)
      : l(form),
        g(geometry),
        src(l.planes, g.image, {l.pixel}, layout, random),
        dst(l.planes, {g.dst.x + g.dst.width + int(random() % 3), g.dst.y + g.dst.height + int(random() % 3)},
            {l.pixel}, {0, layout.upwards != (l.planes == 1 && random() % 4 == 0), layout.guard}, random),
        shift(random() % 16) {
    EXPECT_GE(orviResizeGetBufSize(g.src, g.dst, l.channels, g.interpolation, &size), velStsNoErr);
  }

  // Compares the first path's result with the model, and this path's with the first's.
  void expectResized(const Path& path) {
    SCOPED_TRACE(testing::Message() << l.name << ' ' << g);
    const std::vector<Copied> before = dst.copy();
    forcePath(kPaths[0]);
    ASSERT_NO_FATAL_FAILURE(run());
    for (size_t i = 0; i < dst.size() && path.index == kPaths[0].index; ++i)
      ASSERT_NO_FATAL_FAILURE(compare(dst[i], src[i], before[i]));
    const std::vector<Copied> first = dst.copy();
    for (size_t i = 0; i < dst.size(); ++i) dst[i].restore(before[i]);
    forcePath(path);
    ASSERT_NO_FATAL_FAILURE(run());
    ASSERT_TRUE(expectSame(dst, first));
  }
  void run() {
    const Guarded behind(size_t(size) + shift, Guard::kBehind, 0xFF),
        before(size_t(size) + shift, Guard::kBefore, 0xFF);
    Vel8u* const buffer = shift % 2 ? behind.data() : before.data() + shift;
    // What a call must not compute from: as floats quiet NaNs, signalling ones, and numbers whose sums overflow.
    constexpr Vel32u kRubbish[] = {0xFFFFFFFF, 0x7FA07FA0, 0x7F7F7F7F};
    for (int i = 0; i + 4 <= size; i += 4) memcpy(buffer + i, &kRubbish[shift % 3], 4);
    markUndefined(buffer, size_t(size));
    feclearexcept(FE_ALL_EXCEPT);
    status = l.call(src.top, src.step[0], dst.top, dst.step[0], g, buffer);
    const int raised = fetestexcept(FE_INVALID | FE_OVERFLOW | FE_DIVBYZERO);
    ASSERT_EQ(raised, 0) << "floating-point exceptions, rubbish " << std::hex << kRubbish[shift % 3];
    for (size_t i = 0; i < shift; ++i) {
      ASSERT_EQ(behind[size_t(size) + i], 0xFF);
      ASSERT_EQ(before[i], 0xFF);
    }
    for (const Plane& plane : dst) ASSERT_TRUE(plane.memory.intact());
  }

  const Form& l;
  const Geometry g;
  Planes src, dst;
  VelStatus status = velStsNoErr;
  int size = 0;
  size_t shift;

 private:
  void compare(const Plane& plane, const Plane& source, Copied expected) const {
    const bool hasRing = g.interpolation & (model::kSmooth | model::kSubpixel);
    const model::Axis axes[2] = {g.x(), g.y()};
    const int method = model::substituted(g.method(), g.image);
    const model::Resized resized(method, g.antialiases(), axes[0], axes[1]);
    const model::Source at = [&](int x, int y, int c) { return source.at(g.src.x + x, g.src.y + y, c); };
    const double noise = method == velInterNearest || (method == velInterLinear && !g.antialiases()) ? 0 : 0.501;
    int from[2] = {INT_MAX, INT_MAX}, to[2] = {-1, -1};
    for (int i = 0; i < 2; ++i)
      for (int k = axes[i].dst; k < axes[i].dst + axes[i].dstCount; ++k)
        if (axes[i].isWritten(k, hasRing)) from[i] = std::min(from[i], k), to[i] = k;
    const bool isDone = to[0] >= 0 && to[1] >= 0;
    ASSERT_EQ(status, !isDone                                                                     ? velStsNoOperation
                      : g.antialiases() && (method == velInterNearest || method == velInterSuper) ? velStsNoAntialiasing
                                                                                                  : velStsNoErr);
    for (int y = from[1]; y <= to[1] && isDone; ++y)
      for (int x = from[0]; x <= to[0]; ++x)
        for (int c = 0; c < l.channels; ++c) {
          const double value = resized.at(x - g.dst.x, y - g.dst.y, c, at);
          ASSERT_NEAR(plane.at(x, y, c), value, noise) << x << ", " << y << " channel " << c;
          expected.at(x, y, c) = plane.at(x, y, c);
        }
    if (hasRing && isDone) {
      // How much the ring's pixels are covered: before and behind.
      double coverage[2][2];
      for (int i = 0; i < 2; ++i) {
        coverage[i][0] = from[i] - axes[i].low(), coverage[i][1] = axes[i].high() - (to[i] + 1);
      }
      const auto draw = [&](int x, int y, double weight) {
        const int edgeX = std::min(std::max(x, from[0]), to[0]), edgeY = std::min(std::max(y, from[1]), to[1]);
        for (int c = 0; c < l.channels; ++c) {
          const int wanted =
              model::ring(g.interpolation & model::kSmooth, weight, plane.at(edgeX, edgeY, c), expected.at(x, y, c));
          ASSERT_EQ(plane.at(x, y, c), wanted) << "ring " << x << ", " << y;
          expected.at(x, y, c) = plane.at(x, y, c);
        }
      };
      for (int side = 0; side < 2; ++side) {
        const int column = side ? to[0] + 1 : from[0] - 1, row = side ? to[1] + 1 : from[1] - 1;
        const double across = coverage[0][side], down = coverage[1][side];
        for (int x = from[0]; x <= to[0] && down > 0; ++x) draw(x, row, down);
        for (int y = from[1]; y <= to[1] && across > 0; ++y) draw(column, y, across);
        for (int other = 0; other < 2; ++other)
          if (across > 0 && coverage[1][other] > 0)
            draw(column, other ? to[1] + 1 : from[1] - 1, across * coverage[1][other]);
      }
    }
    ASSERT_TRUE(expectSame(plane, expected)) << "something else was written";
  }
};

class Resize : public OnEveryPath {
 protected:
  int below(int n) { return int(random() % unsigned(n)); }
  // A region of an image, which often touches its borders.
  VeliRect regionOf(VeliSize image) {
    const auto part = [&](int size, int& start, int& length) {
      start = below(3) ? below(size) : 0;
      length = below(3) ? 1 + below(size - start) : size - start + below(9);
    };
    VeliRect r;
    part(image.width, r.x, r.width), part(image.height, r.y, r.height);
    return r;
  }
  // So large that the region fits more or less.
  VeliRect destinationOf(const Geometry& g) {
    const auto length = [&](int size, double factor) {
      return std::min(std::max(int(std::ceil(size * factor)) + below(6) - 2, 1), 50);
    };
    return {below(4), below(4), length(g.x().count, g.xFactor), length(g.y().count, g.yFactor)};
  }
  // Shifts that put the region's edge on the destination region's, a little or exactly half a pixel away from it.
  double shiftTo(int dst, int src, double factor) {
    constexpr double kShifts[] = {0, 0.3, 0.5, -0.5, -0.7, 1.25};
    return below(8) ? dst + kShifts[below(6)] - src * factor : 0;
  }
  void check(int interpolation, double xFactor, double yFactor, VeliSize image) {
    Geometry g = {image, regionOf(image), {}, xFactor, yFactor, 0, 0, interpolation};
    g.dst = destinationOf(g);
    g.xShift = shiftTo(g.dst.x, g.src.x, xFactor), g.yShift = shiftTo(g.dst.y, g.src.y, yFactor);
    ASSERT_NO_FATAL_FAILURE(Call(kForms[below(6)], g, random).expectResized(GetParam()));
  }
  Random random{85};
};
ORV_ON_EVERY_PATH(Resize);

TEST_P(Resize, FollowsTheModel) {
  constexpr double kFactors[] = {2, 1.7, 1, 0.5, 0.37, 0.274, 0.25, 1.0 / 3, 0.06, 30};
  for (const int method : kMethods)
    for (const int flag : {0, model::kAntialias, model::kSubpixel, model::kSmooth})
      for (const double x : kFactors)
        for (const double y : kFactors) {
          if (method == velInterSuper && (x > 1 || y > 1)) continue;
          const bool small = below(8) == 0;
          const VeliSize image = {1 + below(small ? 7 : 60), 1 + below(small ? 7 : 40)};
          ASSERT_NO_FATAL_FAILURE(check(method | flag, x, y, image));
        }
}

// More columns than one vector, group or table has, of every layout; reductions beyond all proportion; factors that have
// nothing to do with the regions; a pixel between two; fractions that single precision rounds up to 1; rows beside
// the first one and beside the last, with one between them or none.
TEST_P(Resize, FollowsTheModelInExtremeCases) {
  const Geometry cases[] = {
      {{700, 4}, {0, 0, 700, 4}, {0, 0, 630, 3}, 0.9, 0.75, 0, 0, 0},
      {{1030, 3}, {3, 0, 1027, 3}, {1, 1, 515, 1}, 0.5, 1.0 / 3, 0, 0, 0},
      {{2, 1500}, {0, 0, 2, 1500}, {0, 0, 1, 1}, 0.5, 1.0 / 1500, 0, 0, 0},
      {{3000, 2}, {0, 0, 3000, 2}, {0, 0, 1, 2}, 1.0 / 3000, 1, 0, 0, 0},
      {{40, 30}, {0, 0, 40, 30}, {0, 0, 1, 1}, 1, 1, 0, 0, 0},
      {{90, 90}, {0, 0, 90, 90}, {0, 0, 300, 300}, 0.01, 0.02, 0.5, 0, 0},
      {{8, 8}, {3, 3, 1, 1}, {0, 0, 2, 2}, 1, 1, -2.5, -2.5, 0},
      {{9, 7}, {0, 0, 9, 7}, {0, 0, 4, 4}, 1e-3, 1e-3, 0.5, 0.5, 0},
      {{33, 17}, {0, 0, 33, 17}, {0, 0, 3, 30}, 0.11, 0.99, -0.5, 0.5, 0},
      {{30, 21}, {0, 0, 30, 21}, {0, 0, 10, 7}, 1.0 / 3, 1.0 / 3, 1e-9, 1e-9, 0},
      {{30, 21}, {0, 0, 30, 21}, {0, 0, 30, 21}, 1, 1, 1e-9, 1e-9, 0},
      {{16, 2}, {0, 0, 16, 2}, {0, 0, 16, 3}, 1, 1, 0, 0.5, 0},
      {{16, 2}, {0, 0, 16, 2}, {0, 0, 16, 2}, 1, 0.7, 0, 0.29, 0},
  };
  for (Geometry g : cases)
    for (const int method : kMethods)
      for (const int flag : {0, model::kAntialias})
        for (const Form& form : kForms) {
          g.interpolation = method | flag;
          ASSERT_NO_FATAL_FAILURE(Call(form, g, random).expectResized(GetParam()));
        }
}

// Sides of the ring that are covered nearly whole, hardly, or so that single precision cannot tell which; corners of a
// half, which depends on the last bit of the product.
TEST_P(Resize, LeavesNoPixelOut) {
  constexpr double kShifts[] = {2, 2.05, 2.1, 2.00000001, 1.99999999, 2.0000000002, 1.9999999998, 2 + 1e-12, 2 - 1e-12};
  for (const double x : kShifts)
    for (const double y : kShifts)
      for (const int flag : {model::kSubpixel, model::kSmooth})
        for (const Form& form : kForms) {
          Call call(form, {{10, 9}, {0, 0, 10, 9}, {1, 1, 14, 12}, 1, 1, x, y, velInterNearest | flag}, random);
          for (Plane& plane : call.src) memset(plane.memory.data(), below(2) ? 100 : 200, plane.memory.size());
          ASSERT_NO_FATAL_FAILURE(call.expectResized(GetParam()));
        }
}

// Cells of whole pixels are averaged exactly, halves up, where kernels of their own do it and where not; a constant image
// stays what it is, however much of it makes a pixel.
TEST_P(Resize, SupersamplesExactly) {
  for (const int n : {2, 3, 4, 5, 6, 8})
    for (const Form& form : kForms)
      for (const int first : {0, 1}) {
        const int width = 21, height = 3;
        const Geometry g = {{width * n + 2, height * n + 1},
                            {first, 0, width * n + 1, height * n + 1},
                            {0, 0, width, height},
                            1.0 / n,
                            1.0 / n,
                            -double(first) / n,
                            0,
                            velInterSuper};
        Call call(form, g, random);
        for (Plane& plane : call.src)
          for (size_t i = 0; i < plane.memory.size(); ++i) plane.memory[i] &= 0x81;  // often a half
        ASSERT_NO_FATAL_FAILURE(call.expectResized(GetParam()));
        for (size_t p = 0; p < call.dst.size(); ++p)
          for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
              for (int c = 0; c < form.channels; ++c) {
                int sum = 0;
                for (int i = 0; i < n * n; ++i) sum += call.src[p].at(first + x * n + i % n, y * n + i / n, c);
                ASSERT_EQ(call.dst[p].at(x, y, c), (2 * sum + n * n) / (2 * n * n)) << form.name << " n = " << n;
              }
      }
  for (const VeliSize image : {VeliSize{70001, 3}, {3, 70001}, {300, 300}})
    for (const int value : {1, 101, 254, 255}) {
      Call call(kForms[below(6)],
                {image,
                 {0, 0, image.width, image.height},
                 {0, 0, 1, 1},
                 1.0 / image.width,
                 1.0 / image.height,
                 0,
                 0,
                 velInterSuper},
                random);
      for (Plane& plane : call.src) memset(plane.memory.data(), value, plane.memory.size());
      ASSERT_NO_FATAL_FAILURE(call.run());
      ASSERT_EQ(call.dst[0].at(0, 0), value);
    }
}

// A slope must come out where it was: half a pixel beside it, or mirrored, it would be off by more than roundings are.
TEST_P(Resize, KeepsThingsInTheirPlaces) {
  for (const int method : kMethods)
    for (const int flag : {0, model::kAntialias})
      for (const double factor : {0.4, 0.5, 0.77, 1.0, 1.5, 2.0, 3.3}) {
        if (method == velInterNearest || (method == velInterSuper && factor > 1)) continue;
        const double xFactor = factor, yFactor = factor * 0.9, xShift = 0.3, yShift = -0.4;
        const int width = int(40 * xFactor), height = int(30 * yFactor);
        Call call(kForms[below(6)],
                  {{40, 30}, {0, 0, 40, 30}, {0, 0, width, height}, xFactor, yFactor, xShift, yShift, method | flag},
                  random);
        for (Plane& plane : call.src)
          for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
              for (int c = 0; c < plane.pixel.channels; ++c) plane.at(x, y, c) = Vel8u(93 + 4 * x - 3 * y);
        ASSERT_NO_FATAL_FAILURE(call.run());
        int checked = 0;
        for (int y = 0; y < height; ++y)
          for (int x = 0; x < width; ++x) {
            const double u = (x + 0.5 - xShift) / xFactor - 0.5, v = (y + 0.5 - yShift) / yFactor - 0.5;
            if (u < 8 || u > 31 || v < 8 || v > 21) continue;
            ++checked;
            ASSERT_NEAR(call.dst[0].at(x, y), 93 + 4 * u - 3 * v, 0.9) << method << ' ' << flag << ' ' << factor;
          }
        ASSERT_GT(checked, 30);
      }
}

// An image that exceeds the caches is what its bands are, which do not.
TEST_P(Resize, WritesPastTheCaches) {
  for (const Form& form : kForms)
    for (const int method : {velInterLinear, velInterCubicCatmullRom, velInterLanczos}) {
      if (form.channels < form.pixel || form.planes == 4) continue;  // nothing of their own
      const VeliSize size = sizeBeyondCaches(form.pixel * form.planes), image = {606, int(size.height / 1.7) + 1};
      const VeliRect src = {0, 0, image.width, image.height}, dst = {below(4), below(4), size.width, size.height};
      const Geometry g = {image, src, dst, 1.7, 1.7, double(dst.x), double(dst.y), method};
      Call call(form, g, random);
      SCOPED_TRACE(testing::Message() << form.name << ' ' << g);
      const std::vector<Copied> before = call.dst.copy();
      std::vector<Vel8u> buffer(size_t(call.size));
      for (int y = 0; y < size.height; y += 64) {
        Geometry band = g;
        band.dst.y += y, band.dst.height = std::min(64, size.height - y);
        ASSERT_EQ(form.call(call.src.top, call.src.step[0], call.dst.top, call.dst.step[0], band, buffer.data()),
                  velStsNoErr);
      }
      const std::vector<Copied> expected = call.dst.copy();
      for (size_t i = 0; i < before.size(); ++i) call.dst[i].restore(before[i]);
      ASSERT_NO_FATAL_FAILURE(call.run());
      ASSERT_TRUE(expectSame(call.dst, expected));
    }
}

// A buffer of just the size that is asked for holds a method's tables and sums, between pages that no one may touch:
// at all small sizes, where the least room is left.
TEST_P(Resize, FitsIntoTheBuffer) {
  for (const int method : kMethods)
    for (const int flag : {0, model::kAntialias})
      for (int from = 1; from <= 12; ++from)
        for (int to = 1; to <= 12; ++to) {
          if (method == velInterSuper && to > from) continue;
          const int height = 1 + below(3), dstHeight = method == velInterSuper ? height : 1 + below(5);
          Call call(kForms[below(6)],
                    {{from, height},
                     {0, 0, from, height},
                     {0, 0, to, dstHeight},
                     double(to) / from,
                     double(dstHeight) / height,
                     0,
                     0,
                     method | flag},
                    random);
          ASSERT_NO_FATAL_FAILURE(call.run()) << call.l.name << ' ' << call.g;
        }
}

class ResizeArguments : public OnEveryPath {};
ORV_ON_EVERY_PATH(ResizeArguments);

TEST_P(ResizeArguments, AreCheckedInOrder) {
  Guarded memory(16384, Guard::kBehind, 7);
  Vel8u* const p = memory.data();
  const double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
  const Geometry good = {{8, 8}, {0, 0, 8, 8}, {0, 0, 8, 8}, 1, 1, 0, 0, velInterLinear};
  using Change = std::function<void(Geometry&)>;
  struct {
    VelStatus status;
    std::vector<Change> changes;
  } const kinds[] = {
      {velStsSizeErr,
       {[](auto& g) { g.image.width = 0; }, [](auto& g) { g.image.height = -1; }, [](auto& g) { g.src.x = -1; },
        [](auto& g) { g.src.y = INT_MIN; }, [](auto& g) { g.src.width = 0; }, [](auto& g) { g.src.height = 0; },
        [](auto& g) { g.dst.x = -1; }, [](auto& g) { g.dst.y = -1; }, [](auto& g) { g.dst.width = 0; },
        [](auto& g) { g.dst.height = 0; }}},
      {velStsResizeFactorErr,
       {[](auto& g) { g.xFactor = 0; }, [](auto& g) { g.yFactor = -1; }, [=](auto& g) { g.xFactor = nan; },
        [=](auto& g) { g.yFactor = nan; }}},
      {velStsInterpolationErr,
       {[](auto& g) { g.interpolation = 3; }, [](auto& g) { g.interpolation = 0; },
        [](auto& g) { g.interpolation = 9; }, [](auto& g) { g.interpolation = 15; },
        [](auto& g) { g.interpolation = 17; }, [](auto& g) { g.interpolation = 0x60000002; },
        [](auto& g) { g.interpolation = INT_MIN | 0x20000002; },
        [](auto& g) { g.interpolation = INT_MIN | 0x40000002; }}},
      {velStsResizeFactorErr,
       {[](auto& g) { g.interpolation = velInterSuper, g.xFactor = 1.5; },
        [](auto& g) { g.interpolation = velInterSuper, g.yFactor = 1.00001; }}},
      {velStsWrongIntersectROI, {[](auto& g) { g.src.x = 8; }, [](auto& g) { g.src.y = INT_MAX; }}},
      {velStsNoOperation,
       {[](auto& g) { g.xShift = -8; }, [](auto& g) { g.yShift = 8; }, [](auto& g) { g.xShift = 1e12; },
        [](auto& g) { g.yShift = -1e300; }, [=](auto& g) { g.xShift = nan; }, [=](auto& g) { g.yShift = -infinity; },
        [=](auto& g) { g.xShift = infinity; }, [=](auto& g) { g.xFactor = infinity; },
        [](auto& g) { g.xFactor = 1e-300; }, [](auto& g) { g.xFactor = 5e-324, g.xShift = 3; },
        [](auto& g) { g.dst.x = INT_MAX; }}},
  };
  for (const Form& l : kForms) {
    SCOPED_TRACE(l.name);
    const Vel8u* const src[4] = {p, p, p, p};
    Vel8u* const dst[4] = {p, p, p, p};
    Vel8u* const none[4] = {};
    Geometry later = good;  // with the faults that are found later
    for (size_t k = std::size(kinds); k-- > 0;) {
      for (const Change& change : kinds[k].changes) {
        Geometry g = later;
        change(g);
        EXPECT_EQ(l.call(src, 8, dst, 8, g, p), kinds[k].status) << g;
      }
      if (k != 3) kinds[k].changes[0](later);  // the fault of supersampling rules out other methods' faults
    }
    EXPECT_EQ(l.call(src, 8, dst, 8, later, nullptr), velStsNullPtrErr);
    EXPECT_EQ(l.call(none, 8, dst, 8, later, p), velStsNullPtrErr);
    EXPECT_EQ(l.call(src, 8, none, 8, later, p), velStsNullPtrErr);
    for (int i = 0; i < l.planes; ++i) {
      const Vel8u* someSrc[4] = {p, p, p, p};
      Vel8u* someDst[4] = {p, p, p, p};
      someSrc[i] = someDst[i] = nullptr;
      EXPECT_EQ(l.call(someSrc, 8, dst, 8, later, p), velStsNullPtrErr);
      EXPECT_EQ(l.call(src, 8, someDst, 8, later, p), velStsNullPtrErr);
    }
  }
  EXPECT_EQ(orviResizeSqrPixel_8u_P3R(nullptr, {8, 8}, 8, good.src, nullptr, 8, good.dst, 1, 1, 0, 0, 2, p),
            velStsNullPtrErr);
  EXPECT_EQ(std::count(p, p + memory.size(), 7), int(memory.size())) << "an error wrote";
}

// Regions far larger than the image and the destination's part that is written.
TEST_P(ResizeArguments, ClipsEndlessRegions) {
  std::vector<Vel8u> src(64), dst(256), expected(256), buffer(65536);
  for (size_t i = 0; i < 64; ++i) src[i] = Vel8u(i * 37);
  for (const int method : kMethods)
    for (const int flag : {0, model::kAntialias}) {
      Geometry g = {{8, 8}, {0, 0, 8, 8}, {0, 0, 16, 16}, 0.9, 0.9, 1e-3, 0.5, method | flag};
      const Vel8u* from = src.data();
      Vel8u *to = dst.data(), *wanted = expected.data();
      const VelStatus status = kForms[0].call(&from, 8, &wanted, 16, g, buffer.data());
      g.src.width = g.src.height = g.dst.width = g.dst.height = INT_MAX;
      EXPECT_EQ(kForms[0].call(&from, 8, &to, 16, g, buffer.data()), status);
      EXPECT_EQ(dst, expected) << g;
    }
}

// A row that is nearly as wide as an int allows. All of its columns are past the end where the inverse of the factor is
// infinite.
TEST_P(ResizeArguments, CountsToTheLastColumn) {
  constexpr int kWidth = INT_MAX - 4;
  void* const image = mmap(nullptr, kWidth, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (image == MAP_FAILED) GTEST_SKIP() << "no room for an image of 2 GB";
  Vel8u* const src = static_cast<Vel8u*>(image);
  src[kWidth - 1] = 200;
  for (const int method : kMethods) {
    if (method == velInterSuper) continue;
    Vel8u dst[8] = {}, *to = dst;
    std::vector<Vel8u> buffer(1 << 16);
    const Vel8u* from = src;  // eight times, by a step of 0
    const Geometry g = {{kWidth, 8}, {0, 0, kWidth, 8}, {0, 0, 1, 8}, 1e-310, 1, 0.5, 0, method};
    EXPECT_EQ(kForms[0].call(&from, 0, &to, 1, g, buffer.data()), velStsNoErr);
    EXPECT_EQ(std::count(dst, dst + 8, 200), 8) << g;
  }
  munmap(image, kWidth);
}

class ResizeBuffer : public OnEveryPath {};
ORV_ON_EVERY_PATH(ResizeBuffer);

TEST_P(ResizeBuffer, HasTheDocumentedSize) {
  const auto up = [](long long n, int multiple) { return (n + multiple - 1) / multiple * multiple; };
  const auto sizeOf = [&](VeliRect s, VeliRect d, int n, int method, bool antialias) {
    const long long w = d.width, h = d.height, indices = 4 * (up(w, 16) + up(h, 16));
    const bool isLinear = method == velInterLinear, isLanczos = method == velInterLanczos;
    if (method == velInterSuper) return up(s.width, 16) * 8 * n + 16;
    if (method == velInterNearest) return indices + 16;
    if (antialias) {
      const int r = isLinear ? 1 : isLanczos ? 3 : 2;
      const auto reach = [&](int from, int to) { return from < to ? r : (long long)std::ceil(double(r) * from / to); };
      return 8 * up(w * s.height * n, 16) + 4 * up(w * n, 16) + 8 * up((2 * reach(s.width, d.width) + 2) * w, 16) +
             8 * up((2 * reach(s.height, d.height) + 2) * h, 16) + 16;
    }
    if (isLinear) return indices + 4 * (up(w, 64) + up(h, 64) + up(2 * w + 64, 64) * n) + 16;
    const long long row = up(6 * w + 160, 32);
    if (isLanczos) return indices + 4 * (up(w, 32) + up(h, 32) + row + up(6 * h + 160, 32) + row * n) + 16;
    return indices + 4 * (up(w, 32) + up(h, 32) + up(4 * w + 96, 32) + up(4 * h + 96, 32) + up(4 * w + 192, 64) * n) +
           16;
  };
  int size;
  for (const int method : kMethods)
    for (const int flag : {0, model::kAntialias, model::kSmooth, model::kSubpixel})
      for (const int n : {1, 3, 4})
        for (const auto [sw, sh, w, h] : {std::array{1, 1, 1, 1},
                                          {16, 33, 7, 100},
                                          {640, 480, 321, 239},
                                          {7, 5, 64, 65},
                                          {100, 3, 49, 1},
                                          {100000, 100, 3, 50000}}) {
          const VeliRect src = {5, 6, sw, sh}, dst = {7, 8, w, h};
          const bool antialias = flag == model::kAntialias;
          ASSERT_EQ(orviResizeGetBufSize(src, dst, n, method | flag, &size),
                    antialias && (method == 1 || method == 8) ? velStsNoAntialiasing : velStsNoErr);
          ASSERT_EQ(size, sizeOf(src, dst, n, method, antialias)) << method << ' ' << flag << ' ' << n << ' ' << w;
        }
  // Each call has the faults that are found later, too.
  size = 7;
  const VeliRect good = {0, 0, 9, 9}, huge = {0, 0, INT_MAX, INT_MAX};
  EXPECT_EQ(orviResizeGetBufSize({-1, 0, 9, 9}, good, 2, 3, nullptr), velStsNullPtrErr);
  for (const VeliRect bad : {VeliRect{-1, 0, 9, 9}, {0, -1, 9, 9}, {0, 0, 0, 9}, {0, 0, 9, INT_MIN}}) {
    EXPECT_EQ(orviResizeGetBufSize(bad, good, 2, 3, &size), velStsSizeErr);
    EXPECT_EQ(orviResizeGetBufSize(good, bad, 2, 3, &size), velStsSizeErr);
  }
  for (const int n : {0, 2, 5, -1}) EXPECT_EQ(orviResizeGetBufSize(huge, huge, n, 3, &size), velStsNumChannelsErr);
  for (const int bad : {0, 3, 9, 15, 32, 0x60000002, INT_MIN | 0x20000002, INT_MIN | 0x40000002})
    EXPECT_EQ(orviResizeGetBufSize(huge, huge, 1, bad, &size), velStsInterpolationErr);
  for (const int method : kMethods) EXPECT_EQ(orviResizeGetBufSize(huge, huge, 1, method, &size), velStsSizeErr);
  EXPECT_EQ(size, 7);
}

// The exported kernels that turn fractions into weights.
class ResizeWeights : public OnEveryPath {};
ORV_ON_EVERY_PATH(ResizeWeights);
TEST_P(ResizeWeights, AreThoseOfTheMethod) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float fractions[] = {0, 0.5f, 0.25f, 1.0f / 3, 0.999f, 1, nan};
  constexpr struct {
    const char* name;
    int method, taps;
  } kKernels[] = {{"ownpi_Cubic0Kernel", velInterCubic, 4},
                  {"ownpi_Cubic1Kernel", velInterCubicBSpline, 4},
                  {"ownpi_Cubic2Kernel", velInterCubicCatmullRom, 4},
                  {"ownpi_Cubic3Kernel", velInterCubicB05C03, 4},
                  {"ownpi_Lanczos3", velInterLanczos, 6}};
  for (const auto& k : kKernels) {
    const auto weigh = kernelOf<void(const float*, int, float*)>(GetParam(), k.name);
    ASSERT_NE(weigh, nullptr) << k.name;
    const int count = int(std::size(fractions)) - (k.taps == 6);  // Lanczos' window takes no NaN
    std::vector<float> weights(size_t(count * k.taps + 1), 7.f);
    weigh(fractions, count, weights.data());
    EXPECT_EQ(weights.back(), 7);
    for (int i = 0; i < count; ++i) {
      double sum = 0;
      const auto at = [&](int t) { return model::kernel(k.method, t - (k.taps / 2 - 1) - double(fractions[i])); };
      for (int t = 0; t < k.taps; ++t) sum += at(t);
      for (int t = 0; t < k.taps; ++t)
        EXPECT_NEAR(weights[size_t(i * k.taps + t)],
                    std::isnan(fractions[i]) ? 1
                    : k.taps == 6            ? at(t) / sum
                                             : at(t),
                    3e-6)
            << k.name << ", fraction " << fractions[i] << ", tap " << t;
    }
  }
}

TEST(ResizeTable, HoldsTheWindow) {
  const double pi = std::acos(-1.0);
  EXPECT_EQ(tblLanczos3[0], 1);
  EXPECT_EQ(tblLanczos3[1], 0.9998171925544739f);
  EXPECT_EQ(tblLanczos3[300], 0);
  EXPECT_EQ(tblLanczos3[301], 0);
  for (int i = 1; i < 300; ++i) {
    const double x = i / 100.0 * pi;
    EXPECT_NEAR(tblLanczos3[i], 3 * std::sin(x) * std::sin(x / 3) / (x * x), 1e-7) << i;
  }
}

}  // namespace
