// Arithmetic, conversion, logic and the box filter, beside OpenCV.
#include "peers.h"

namespace {

Vel32f* floats(Vel8u* memory) { return reinterpret_cast<Vel32f*>(memory); }

#ifdef __x86_64__
cv::Mat floatMat(Vel8u* data, VeliSize size, int channels = 1) {
  return mat(data, size, CV_MAKETYPE(CV_32F, channels));
}
void convertMat(Vel8u* src, int srcType, Vel8u* dst, int dstType, VeliSize size, double factor = 1) {
  cv::Mat to = mat(dst, size, dstType);
  mat(src, size, srcType).convertTo(to, dstType, factor);
}
void boxMat(Vel8u* src, VeliSize whole, Vel8u* dst, VeliSize size, int channels, int side) {
  const cv::Mat from = floatMat(src, whole, channels);
  cv::Mat to = floatMat(dst, size, channels);
  cv::boxFilter(from(cv::Rect(side / 2, side / 2, size.width, size.height)), to, -1, {side, side});
}
#endif

void compareFloats(const Set& set) {
  static constexpr Vel32f kConstants[] = {0.5f, -0.25f, 0.125f}, kNearlyOne = 1.0000001f;
  const VeliSize z = set.size, narrow = {z.width / 4, z.height};
  const int step = z.width / 4 * 4;  // a quarter of the pixels, so that bytes are as many as in other rows
  const double n = double(narrow.width) * z.height;
  const size_t bytes = size_t(n) * 4;
  compare(
      set, {"arithmetic/add images, float", "pixel", n, bytes, bytes, true},
      [=](Vel8u* s, Vel8u* d) { return orviAdd_32f_C1IR(floats(s), step, floats(d), step, narrow); },
      { OPENCV("", cv::Mat to = floatMat(d, narrow); cv::add(to, floatMat(s, narrow), to)) });
  compare(
      set, {"arithmetic/add a constant, float C3", "pixel", n, 0, bytes * 3, true},
      [=](Vel8u*, Vel8u* d) { return orviAddC_32f_C3IR(kConstants, floats(d), step * 3, narrow); },
      {
        OPENCV("", (void)s; cv::Mat to = floatMat(d, narrow, 3);
               cv::add(to, cv::Scalar(kConstants[0], kConstants[1], kConstants[2]), to))
      });
  compare(
      set, {"arithmetic/multiply by a constant, float", "pixel", n, 0, bytes, true},
      [=](Vel8u*, Vel8u* d) { return orviMulC_32f_C1IR(kNearlyOne, floats(d), step, narrow); },
      { OPENCV("", (void)s; convertMat(d, CV_32F, d, CV_32F, narrow, kNearlyOne)) });
}

void compareConversions(const Set& set) {
  const VeliSize z = set.size;
  const int w = z.width;
  const double n = double(w) * z.height;
  const size_t bytes = size_t(n);
  compare(set, {"conversion/bytes to floats", "pixel", n, bytes, bytes * 4, true},
          [=](Vel8u* s, Vel8u* d) { return orviConvert_8u32f_C1R(s, w, floats(d), w * 4, z); },
          {OPENCV("", convertMat(s, CV_8U, d, CV_32F, z))});
  compare(set, {"conversion/floats to bytes", "pixel", n, bytes * 4, bytes, true},
          [=](Vel8u* s, Vel8u* d) { return orviConvert_32f8u_C1R(floats(s), w * 4, d, w, z, 1); },
          {OPENCV("", convertMat(s, CV_32F, d, CV_8U, z))});
}

void compareVectors(const Set& set) {
  const VeliSize z = set.size;
  const int n = z.width * z.height;
  const size_t bytes = size_t(n);
  compare(
      set, {"logic/and", "byte", double(n), bytes, bytes},
      [=](Vel8u* s, Vel8u* d) { return orvsAnd_8u(s, s + 1, d, n); },
      { OPENCV("", cv::Mat to = mat(d, z, CV_8U); cv::bitwise_and(mat(s, z, CV_8U), mat(s + 1, z, CV_8U), to)) });
  compare(
      set, {"logic/not", "byte", double(n), bytes, bytes}, [=](Vel8u* s, Vel8u* d) { return orvsNot_8u(s, d, n); },
      { OPENCV("", cv::Mat to = mat(d, z, CV_8U); cv::bitwise_not(mat(s, z, CV_8U), to)) });
  compare(
      set, {"logic/exclusive or with a constant", "byte", double(n), bytes, bytes},
      [=](Vel8u* s, Vel8u* d) { return orvsXorC_8u(s, 0x5A, d, n); },
      { OPENCV("", cv::Mat to = mat(d, z, CV_8U); cv::bitwise_xor(mat(s, z, CV_8U), cv::Scalar::all(0x5A), to)) });
  compare(
      set, {"arithmetic/L2 norm of samples of 16 bits", "sample", double(n), bytes * 2, 0},
      [=](Vel8u* s, Vel8u*) {
        Vel32f norm;
        return orvsNorm_L2_16s32f(reinterpret_cast<Vel16s*>(s), n, &norm);
      },
      {
        OPENCV("sums in double, not exactly", (void)d;
               benchmark::DoNotOptimize(cv::norm(mat(s, z, CV_16S), cv::NORM_L2)))
      });
}

void compareBox(const Set& set, int channels, int side) {
  const VeliSize z = {set.size.width / channels, set.size.height}, whole = {z.width + side - 1, z.height + side - 1};
  const int pixel = channels * 4, step = whole.width * pixel;
  const auto filter = channels == 1 ? orviFilterBox_32f_C1R : orviFilterBox_32f_C3R;
  const double n = double(z.width) * z.height;
  const std::string mask = std::to_string(side);
  compare(set,
          {"box filter/" + (mask + "x" + mask) + ", float C" + std::to_string(channels), "pixel", n,
           size_t(step) * size_t(whole.height), size_t(n) * size_t(pixel), true},
          [=](Vel8u* s, Vel8u* d) {
            return filter(floats(s + side / 2 * (step + pixel)), step, floats(d), z.width * pixel, z, {side, side},
                          {side / 2, side / 2});
          },
          {OPENCV("", boxMat(s, whole, d, z, channels, side))});
}

}  // namespace

void compareImages(const Set& set) {
  compareFloats(set);
  compareConversions(set);
  compareVectors(set);
  for (const int side : {3, 7, 15}) compareBox(set, 1, side);
  compareBox(set, 3, 3);
}
