// What resizing comes to, from its definition: for each pixel a list of source pixels and weights in double precision.
#pragma once
#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>
#include <vector>
#include "orv.h"

namespace model {

constexpr int kAntialias = velFlagAntialiasing, kSubpixel = velFlagSubpixelEdge, kSmooth = velFlagSmoothEdge;

// One direction of a call; the region has been clipped to the image.
struct Axis {
  int first, count;  // of the source region
  int dst, dstCount;
  double factor, shift;

  double low() const { return std::max(first * factor + shift, double(dst)); }
  double high() const { return std::min((double(first) + count) * factor + shift, double(dst) + dstCount); }
  // Whether a pixel of the destination region is written, and not one of the ring.
  bool isWritten(int x, bool hasRing) const {
    if (hasRing) return low() - x <= 1e-10 && high() - x + 1e-10 >= 1;
    return x + 0.5 >= low() - 1e-10 && x + 0.5 <= high() + 1e-10;
  }
  // Where the edge coordinate d lies in the region.
  double edge(double d) const { return d * (1 / factor) + -shift / factor - first; }
  double centre(int x) const { return (x + 0.5) * (1 / factor) + (-shift / factor - 0.5); }
};

inline double cubic(int method, double d) {
  d = std::fabs(d);
  if (d >= 2) return 0;
  const double d2 = d * d, d3 = d2 * d;
  switch (method) {
    case velInterCubic: return d < 1 ? 0.5 * d3 - d2 - 0.5 * d + 1 : -d3 / 6 + d2 - 11 * d / 6 + 1;
    case velInterCubicBSpline: return d < 1 ? 0.5 * d3 - d2 + 2. / 3 : -d3 / 6 + d2 - 2 * d + 4. / 3;
    case velInterCubicCatmullRom: return d < 1 ? 1.5 * d3 - 2.5 * d2 + 1 : -0.5 * d3 + 2.5 * d2 - 4 * d + 2;
    default: return d < 1 ? 0.95 * d3 - 1.7 * d2 + 2.5 / 3 : -1.15 / 3 * d3 + 2 * d2 - 3.4 * d + 5.6 / 3;
  }
}
inline float lanczos(float d) {
  const float place = std::min(std::fabs(d), 3.0f) * 100;
  const int i = int(place);
  return tblLanczos3[i] + (place - float(i)) * (tblLanczos3[i + 1] - tblLanczos3[i]);
}
inline double kernel(int method, double d) {
  return method == velInterLinear    ? std::max(0.0, 1 - std::fabs(d))
         : method == velInterLanczos ? double(lanczos(float(d)))
                                     : cubic(method, d);
}

// Source pixels of the region, and their weights. A neighbour outside is the nearest one inside.
using Taps = std::vector<std::pair<int, double>>;
inline Taps tapsOf(int method, bool antialias, const Axis& a, int x) {
  Taps taps;
  const auto inside = [&](double i) { return int(std::min(std::max(i, 0.0), a.count - 1.0)); };
  const auto add = [&](double i, double weight) { taps.emplace_back(inside(i), weight); };
  const double centre = a.centre(x), index = std::floor(centre) - a.first;
  const float fraction = float(centre - std::floor(centre));
  double sum = 0;
  if (method == velInterNearest) {
    add(std::floor(a.edge(x + 0.5)), 1);
  } else if (method == velInterSuper) {
    const double left = std::max(a.edge(x), 0.0), right = std::min(a.edge(x + 1), double(a.count));
    for (int i = int(left); i < right; ++i)
      add(i, (std::min(i + 1.0, right) - std::max(double(i), left)) / (right - left));
  } else if (antialias) {
    const double scale = std::max(1.0, 1 / a.factor), at = centre - a.first;
    const double reach = scale * (method == velInterLinear ? 1 : method == velInterLanczos ? 3 : 2);
    for (double i = std::ceil(at - reach); i <= at + reach; ++i) sum += kernel(method, (i - at) / scale);
    for (double i = std::ceil(at - reach); i <= at + reach; ++i) {
      if (taps.empty() || taps.back().first != inside(i)) add(i, 0);
      taps.back().second += kernel(method, (i - at) / scale) / sum;
    }
  } else if (method == velInterLinear) {
    const int weight = int(double(fraction) * 16384 + 1e-7);
    add(index, 16384 - weight);
    add(index + 1, weight);
  } else if (method == velInterLanczos) {
    for (int t = -2; t <= 3; ++t) sum += double(lanczos(-fraction + float(t)));
    for (int t = -2; t <= 3; ++t) add(index + t, double(lanczos(-fraction + float(t))) / sum);
  } else {
    for (int t = -1; t <= 2; ++t) add(index + t, cubic(method, double(-1 - fraction) + (t + 1)));
  }
  return taps;
}

inline int substituted(int method, VeliSize image) {
  const int least = std::min(image.width, image.height);
  if (method == velInterLanczos && least < 6) method = velInterCubic;
  return method >= velInterCubic && method <= velInterCubicB05C03 && least < 4 ? int(velInterLinear) : method;
}

// The values of a row of pixels before rounding, which for linear is done already. source(column, row, channel).
using Source = std::function<int(int, int, int)>;
class Resized {
 public:
  Resized(int method, bool antialias, const Axis& x, const Axis& y)
      : isLinear_(method == velInterLinear && !antialias) {
    for (int i = 0; i < x.dstCount; ++i) columns_.push_back(tapsOf(method, antialias, x, x.dst + i));
    for (int i = 0; i < y.dstCount; ++i) rows_.push_back(tapsOf(method, antialias, y, y.dst + i));
  }
  // Pixel (x, y) of the destination region.
  double at(int x, int y, int channel, const Source& source) const {
    const Taps &columns = columns_[size_t(x)], &rows = rows_[size_t(y)];
    const auto across = [&](int row) {
      double sum = 0;
      for (const auto& [column, weight] : columns) sum += weight * source(column, row, channel);
      return sum;
    };
    if (!isLinear_) {
      double sum = 0;
      for (const auto& [row, weight] : rows) sum += weight * across(row);
      return std::min(std::max(sum, 0.0), 255.0);
    }
    // Columns outside the region have twice the same neighbour, of which the sums are the same as of one; not so rows.
    if (rows[0].first == rows[1].first) return (int(across(rows[0].first)) + 8192) >> 14;
    const int upper = (int(across(rows[0].first)) + 128) >> 8, lower = (int(across(rows[1].first)) + 128) >> 8;
    return (upper * int(rows[0].second) + lower * int(rows[1].second) + 0x80000) >> 20;
  }

 private:
  bool isLinear_;
  std::vector<Taps> columns_, rows_;
};

// A pixel of the ring, covered in part.
inline int ring(bool isSmooth, double coverage, int edge, int old) {
  const float weight = float(coverage);
  const float value = isSmooth ? weight * float(edge - old) + float(old) : weight * float(edge);
  return std::min(std::max(int(0.5000001f + value), 0), 255);
}

}  // namespace model
