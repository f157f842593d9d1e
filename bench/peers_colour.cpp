// Colour conversion, copying and swapping of channels.
#include <algorithm>
#include <cstring>
#include "peers.h"
#include "turbo.h"

namespace {

// Planes of a picture, the second and third of a share of its pixels.
template <class Byte> struct Planes {
  Planes(Byte* p, int width, int pixels, int across, int down)
      : plane{p, p + pixels, p + pixels + pixels / (across * down)}, steps{width, width / across, width / across} {}
  operator Byte* const*() const { return plane; }
  Byte* plane[3];
  int steps[3];
};

// libjpeg's arrays of rows.
struct Rows {
  JSAMPARRAY operator()(Vel8u* plane, int step, int count) {
    rows.resize(size_t(count));
    for (JSAMPROW& row : rows) row = plane, plane += step;
    return rows.data();
  }
  std::vector<JSAMPROW> rows;
};

// What is between two steps, aligned to a cache line.
Vel8u* scratch(size_t bytes) {
  constexpr size_t kLine = 64;
  static Bytes memory;
  memory.resize(std::max(memory.size(), bytes + kLine));
  return memory.data() + (kLine - uintptr_t(memory.data()) % kLine) % kLine;
}

// Two rows of pixels to luma and to chroma of full width, which is then halved.
void turboTo420(Vel8u* rgb, const Planes<Vel8u>& to, VeliSize size) {
  static Rows in, y, wide[2];
  const int w = size.width;
  Vel8u* const chroma = scratch(size_t(w) * 4);
  JSAMPARRAY out[3] = {nullptr, wide[0](chroma, w, 2), wide[1](chroma + 2 * w, w, 2)};
  JSAMPARRAY rows = in(rgb, w * 3, size.height), luma = y(to[0], w, size.height);
  for (int row = 0; row < size.height; row += 2) {
    out[0] = luma + row;
    TURBO(jsimd_extrgb_ycc_convert)(JDIMENSION(w), rows + row, out, 0, 2);
    for (int c = 1; c < 3; ++c) {
      JSAMPROW halved = to[c] + row / 2 * to.steps[c];
      TURBO(jsimd_h2v2_downsample)(JDIMENSION(w), 2, 1, JDIMENSION(w / 16), out[c], &halved);
    }
  }
}

void turboFrom420(const Planes<Vel8u>& from, Vel8u* rgb, VeliSize size) {
  static Rows planes[3], out;
  JSAMPARRAY in[3];
  for (int c = 0; c < 3; ++c) in[c] = planes[c](from[c], from.steps[c], size.height / (c ? 2 : 1));
  JSAMPARRAY rows = out(rgb, size.width * 3, size.height);
  for (int group = 0; group < size.height / 2; ++group)
    TURBO(jsimd_h2v2_extrgb_merged_upsample)(JDIMENSION(size.width), in, JDIMENSION(group), rows + 2 * group);
}

void turboFrom444(const Planes<Vel8u>& from, Vel8u* rgb, VeliSize size) {
  static Rows planes[3], out;
  JSAMPARRAY in[3];
  for (int c = 0; c < 3; ++c) in[c] = planes[c](from[c], from.steps[c], size.height);
  TURBO(jsimd_ycc_extrgb_convert)
  (JDIMENSION(size.width), in, 0, out(rgb, size.width * 3, size.height), size.height);
}

#ifdef __x86_64__
// What libyuv takes two steps for, in strips of rows that stay in the caches.
template <class First, class Second> void inStrips(VeliSize size, const First& first, const Second& second) {
  constexpr int kRows = 8;
  Vel8u* const argb = scratch(size_t(size.width) * 4 * kRows);
  for (int y = 0; y < size.height; y += kRows) {
    const int rows = std::min(kRows, size.height - y);
    first(y, argb, rows);
    second(argb, y, rows);
  }
}
void yuvToYuyv(const Vel8u* rgb, Vel8u* yuyv, VeliSize size) {
  const int w = size.width;
  inStrips(
      size, [=](int y, Vel8u* argb, int rows) { libyuv::RAWToARGB(rgb + y * w * 3, w * 3, argb, w * 4, w, rows); },
      [=](Vel8u* argb, int y, int rows) { libyuv::ARGBToYUY2(argb, w * 4, yuyv + y * w * 2, w * 2, w, rows); });
}
void yuvFromYuyv(const Vel8u* yuyv, Vel8u* rgb, VeliSize size) {
  const int w = size.width;
  inStrips(
      size, [=](int y, Vel8u* argb, int rows) { libyuv::YUY2ToARGB(yuyv + y * w * 2, w * 2, argb, w * 4, w, rows); },
      [=](Vel8u* argb, int y, int rows) { libyuv::ARGBToRAW(argb, w * 4, rgb + y * w * 3, w * 3, w, rows); });
}
void cvColour(int code, Vel8u* src, int srcType, Vel8u* dst, int dstType, VeliSize from, VeliSize to) {
  cv::Mat out = mat(dst, to, dstType);
  cv::cvtColor(mat(src, from, srcType), out, code);
}
#endif

void compare420(const Set& set) {
  const VeliSize z = set.size;
  [[maybe_unused]] const VeliSize tall = {z.width, z.height * 3 / 2};
  const int w = z.width, n = w * z.height;
  [[maybe_unused]] const int half = w / 2;
  const size_t bytes = size_t(n);
  const auto yuv = [=](Vel8u* p) { return Planes<Vel8u>(p, w, n, 2, 2); };
  const auto from = [=](const Vel8u* p) { return Planes<const Vel8u>(p, w, n, 2, 2); };
  // Its writers of RGB store past the caches where rows are aligned, which helps only where the picture is large.
  const int off = set.turns ? 0 : 8;
  compare(
      set, {"colour/RGB to 4:2:0", "pixel", double(n), bytes * 3, bytes * 3 / 2},
      [=](Vel8u* s, Vel8u* d) {
        const auto to = yuv(d);
        return orviRGBToYUV420_8u_C3P3R(s, w * 3, to, to.steps, z);
      },
      {
        LIBYUV("JFIF's chroma", const auto p = yuv(d);
               libyuv::RAWToJ420(s, w * 3, p[0], w, p[1], half, p[2], half, w, z.height)),
            {"libjpeg-turbo", "JFIF's chroma; two kernels", [=](Vel8u* s, Vel8u* d) { turboTo420(s, yuv(d), z); }},
            OPENCV("studio range; chroma of one pixel in four",
                   cvColour(cv::COLOR_RGB2YUV_I420, s, CV_8UC3, d, CV_8U, z, tall))
      });
  compare(
      set, {"colour/4:2:0 to RGB", "pixel", double(n), bytes * 3 / 2, bytes * 3},
      [=](Vel8u* s, Vel8u* d) {
        const auto in = from(s);
        return orviYUV420ToRGB_8u_P3C3R(in, in.steps, d, w * 3, z);
      },
      {
        LIBYUV("JFIF's chroma", const auto p = yuv(s);
               libyuv::J420ToRAW(p[0], w, p[1], half, p[2], half, d, w * 3, w, z.height)),
            {"libjpeg-turbo", "JFIF's chroma", [=](Vel8u* s, Vel8u* d) { turboFrom420(yuv(s), d + off, z); }},
            OPENCV("studio range", cvColour(cv::COLOR_YUV2RGB_I420, s, CV_8U, d, CV_8UC3, tall, z))
      });
  compare(
      set, {"colour/4:2:0 to four channels", "pixel", double(n), bytes * 3 / 2, bytes * 4},
      [=](Vel8u* s, Vel8u* d) {
        const auto in = from(s);
        return orviYUV420ToRGB_8u_P3AC4R(in, in.steps, d, w * 4, z);
      },
      {
        LIBYUV("JFIF's chroma; writes the fourth channel", const auto p = yuv(s);
               libyuv::J420ToABGR(p[0], w, p[1], half, p[2], half, d, w * 4, w, z.height))
      });
  compare(
      set, {"colour/4:2:0 to 565", "pixel", double(n), bytes * 3 / 2, bytes * 2},
      [=](Vel8u* s, Vel8u* d) {
        const auto in = from(s);
        return orviYUV420ToBGR565_8u16u_P3C3R(in, in.steps, reinterpret_cast<Vel16u*>(d), w * 2, z);
      },
      {
        LIBYUV("JFIF's chroma", const auto p = yuv(s);
               libyuv::J420ToRGB565(p[0], w, p[1], half, p[2], half, d, w * 2, w, z.height))
      });
}

void compare422(const Set& set) {
  const VeliSize z = set.size;
  const int w = z.width, n = w * z.height;
  const size_t bytes = size_t(n);
  compare(set, {"colour/RGB to YUYV", "pixel", double(n), bytes * 3, bytes * 2},
          [=](Vel8u* s, Vel8u* d) { return orviRGBToYUV422_8u_C3C2R(s, w * 3, d, w * 2, z); },
          {LIBYUV("studio range; two steps, in strips", yuvToYuyv(s, d, z))});
  compare(set, {"colour/YUYV to RGB", "pixel", double(n), bytes * 2, bytes * 3},
          [=](Vel8u* s, Vel8u* d) { return orviYUV422ToRGB_8u_C2C3R(s, w * 2, d, w * 3, z); },
          {LIBYUV("studio range; two steps, in strips", yuvFromYuyv(s, d, z)),
           OPENCV("studio range", cvColour(cv::COLOR_YUV2RGB_YUY2, s, CV_8UC2, d, CV_8UC3, z, z))});
  compare(
      set, {"colour/4:2:2 to RGB", "pixel", double(n), bytes * 2, bytes * 3},
      [=](Vel8u* s, Vel8u* d) {
        const Planes<const Vel8u> in(s, w, n, 2, 1);
        return orviYUV422ToRGB_8u_P3C3R(in, in.steps, d, w * 3, z);
      },
      {
        LIBYUV("studio range", const Planes<Vel8u> p(s, w, n, 2, 1);
               libyuv::I422ToRAW(p[0], w, p[1], w / 2, p[2], w / 2, d, w * 3, w, z.height))
      });
}

void compare444(const Set& set) {
  const VeliSize z = set.size;
  const int w = z.width, n = w * z.height;
  const size_t bytes = size_t(n);
  const Row row = {"", "pixel", double(n), bytes * 3, bytes * 3};
  const auto named = [row](const char* name) {
    Row r = row;
    r.name = name;
    return r;
  };
  const auto planes = [=](Vel8u* p) { return Planes<Vel8u>(p, w, n, 1, 1); };
  const int off = set.turns ? 0 : 8;
  compare(set, named("colour/RGB to YCbCr"),
          [=](Vel8u* s, Vel8u* d) { return orviRGBToYCbCr_8u_C3R(s, w * 3, d, w * 3, z); },
          {OPENCV("full range; Cr before Cb", cvColour(cv::COLOR_RGB2YCrCb, s, CV_8UC3, d, CV_8UC3, z, z))});
  compare(set, named("colour/YCbCr to RGB"),
          [=](Vel8u* s, Vel8u* d) { return orviYCbCrToRGB_8u_C3R(s, w * 3, d, w * 3, z); },
          {OPENCV("full range; Cr before Cb", cvColour(cv::COLOR_YCrCb2RGB, s, CV_8UC3, d, CV_8UC3, z, z))});
  compare(
      set, named("colour/planes of YCbCr to RGB"),
      [=](Vel8u* s, Vel8u* d) { return orviYCbCrToRGB_8u_P3C3R(Planes<const Vel8u>(s, w, n, 1, 1), w, d, w * 3, z); },
      {
        LIBYUV("blue first", const auto p = planes(s);
               libyuv::I444ToRGB24(p[0], w, p[1], w, p[2], w, d, w * 3, w, z.height)),
        {
          "libjpeg-turbo", "full range", [=](Vel8u* s, Vel8u* d) { turboFrom444(planes(s), d + off, z); }
        }
      });
}

}  // namespace

void compareColour(const Set& set) {
  compare420(set);
  compare422(set);
  compare444(set);
}

void compareMoves(const Set& set) {
  static const int kReversed[] = {2, 1, 0, 3};
  constexpr Vel8u kOpaque = 255;
  const VeliSize z = set.size;
  const int w = z.width, n = w * z.height;
  const size_t bytes = size_t(n);
  const auto row = [=](const char* name, size_t srcPixel, size_t dstPixel) {
    return Row{name, "pixel", double(n), bytes * srcPixel, bytes * dstPixel};
  };
  compare(set, row("moving/copy C3", 3, 3), [=](Vel8u* s, Vel8u* d) { return orviCopy_8u_C3R(s, w * 3, d, w * 3, z); },
          {LIBYUV("", libyuv::CopyPlane(s, w * 3, d, w * 3, w * 3, z.height)),
           {"memcpy", "", [=](Vel8u* s, Vel8u* d) { memcpy(d, s, bytes * 3); }}});
  compare(set, row("moving/RGB to BGR", 3, 3),
          [=](Vel8u* s, Vel8u* d) { return orviSwapChannels_8u_C3R(s, w * 3, d, w * 3, z, kReversed); },
          {LIBYUV("", libyuv::RAWToRGB24(s, w * 3, d, w * 3, w, z.height)),
           OPENCV("", cvColour(cv::COLOR_BGR2RGB, s, CV_8UC3, d, CV_8UC3, z, z))});
  compare(
      set, row("moving/RGBA to BGRA, in place", 0, 4),
      [=](Vel8u*, Vel8u* d) { return orviSwapChannels_8u_C4IR(d, w * 4, z, kReversed); },
      {
        LIBYUV("", (void)s; libyuv::ARGBToABGR(d, w * 4, d, w * 4, w, z.height)),
            OPENCV("", (void)s; cvColour(cv::COLOR_BGRA2RGBA, d, CV_8UC4, d, CV_8UC4, z, z))
      });
  compare(set, row("moving/RGB to BGRA", 3, 4),
          [=](Vel8u* s, Vel8u* d) { return orviSwapChannels_8u_C3C4R(s, w * 3, d, w * 4, z, kReversed, kOpaque); },
          {LIBYUV("", libyuv::RAWToARGB(s, w * 3, d, w * 4, w, z.height)),
           OPENCV("", cvColour(cv::COLOR_RGB2BGRA, s, CV_8UC3, d, CV_8UC4, z, z))});
  compare(set, row("moving/RGBA to BGR", 4, 3),
          [=](Vel8u* s, Vel8u* d) { return orviSwapChannels_8u_C4C3R(s, w * 4, d, w * 3, z, kReversed); },
          {LIBYUV("", libyuv::ARGBToRAW(s, w * 4, d, w * 3, w, z.height)),
           OPENCV("", cvColour(cv::COLOR_RGBA2BGR, s, CV_8UC4, d, CV_8UC3, z, z))});
}
