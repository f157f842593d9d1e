#include "video.h"
#include <cstring>
#include <vector>
#include "codec/colour.h"

namespace {

// Two rows of pixels become two of luma and one of each chroma.
struct Strip {
  std::vector<Vel8u> luma[2], cb, cr;
};

// Converts RGB in JPEG's range. It takes groups of columns, and reads a byte after them.
class FullConverter {
 public:
  explicit FullConverter(int width) : size_(size_t(3 * width)) {
    padded_ = (width + jpeg::kGroup - 1) / jpeg::kGroup * jpeg::kGroup;
    for (auto& row : rgb_) row.resize(size_t(padded_) * 3 + 1);
    for (auto& row : strip_.luma) row.resize(size_t(padded_));
    strip_.cb.resize(size_t(padded_) / 2);
    strip_.cr.resize(size_t(padded_) / 2);
  }
  VelStatus convert(const Vel8u* rgb, int step) {
    for (int i = 0; i < 2; ++i) memcpy(rgb_[i].data(), rgb + i * step, size_);
    const Vel8u* const rows[2] = {rgb_[0].data(), rgb_[1].data()};
    jpeg::convertRgbTo420(rows, padded_, strip_.luma[0].data(), strip_.luma[1].data(), strip_.cb.data(),
                          strip_.cr.data());
    return velStsNoErr;
  }
  const Strip& strip() const { return strip_; }

 private:
  const size_t size_;
  int padded_;
  std::vector<Vel8u> rgb_[2];
  Strip strip_;
};

// Converts RGB in studio range: each pixel by the library, then the mean of four pixels' chroma.
class StudioConverter {
 public:
  explicit StudioConverter(int width) : width_(width), ycc_(size_t(width) * 6) {
    for (auto& row : strip_.luma) row.resize(size_t(width));
    strip_.cb.resize(size_t(width) / 2);
    strip_.cr.resize(size_t(width) / 2);
  }
  VelStatus convert(const Vel8u* rgb, int step) {
    const VelStatus status = orviRGBToYCbCr_8u_C3R(rgb, step, ycc_.data(), 3 * width_, {width_, 2});
    const Vel8u *const top = ycc_.data(), *const bottom = top + 3 * width_;
    for (int x = 0; x < width_; ++x) {
      strip_.luma[0][size_t(x)] = top[3 * x];
      strip_.luma[1][size_t(x)] = bottom[3 * x];
    }
    const auto mean = [&](int at) { return Vel8u((top[at] + top[at + 3] + bottom[at] + bottom[at + 3] + 2) >> 2); };
    for (int x = 0; x < width_ / 2; ++x) {
      strip_.cb[size_t(x)] = mean(6 * x + 1);
      strip_.cr[size_t(x)] = mean(6 * x + 2);
    }
    return status;
  }
  const Strip& strip() const { return strip_; }

 private:
  const int width_;
  std::vector<Vel8u> ycc_;
  Strip strip_;
};

template <Range> struct ConverterOf { using Type = StudioConverter; };
template <> struct ConverterOf<Range::kFull> { using Type = FullConverter; };

}  // namespace

template <Range kRange, bool kAlternate>
VelStatus toVideo(const Vel8u* rgb, int step, const Planes& to, VeliSize size) {
  typename ConverterOf<kRange>::Type converter(size.width);
  const Strip& strip = converter.strip();
  const auto row = [&](int plane, int y) { return to.plane[plane] + ptrdiff_t(y) * to.step[plane]; };
  VelStatus status = velStsNoErr;
  for (int y = 0; y < size.height && status == velStsNoErr; y += 2) {
    status = converter.convert(rgb + ptrdiff_t(y) * step, step);
    for (int i = 0; i < 2; ++i) memcpy(row(0, y + i), strip.luma[i].data(), size_t(size.width));
    for (int x = 0; x < size.width / 2; ++x) {
      row(1, y / 2)[kAlternate ? 2 * x : x] = strip.cb[size_t(x)];
      (kAlternate ? row(1, y / 2) + 2 * x + 1 : row(2, y / 2) + x)[0] = strip.cr[size_t(x)];
    }
  }
  return status;
}

template <Range kRange, bool kAlternate> VelStatus fromVideo(const Planes& from, Vel8u* rgb, int step, VeliSize size) {
  const auto width = size_t(size.width);
  std::vector<Vel8u> cb(width), cr(width);
  VelStatus status = velStsNoErr;
  for (int y = 0; y < size.height && status == velStsNoErr; ++y) {
    const auto row = [&](int plane, int at) { return from.plane[plane] + ptrdiff_t(at) * from.step[plane]; };
    for (size_t x = 0; x < width; ++x) {
      cb[x] = row(1, y / 2)[kAlternate ? x / 2 * 2 : x / 2];
      cr[x] = kAlternate ? row(1, y / 2)[x / 2 * 2 + 1] : row(2, y / 2)[x / 2];
    }
    Vel8u* const pixels = rgb + ptrdiff_t(y) * step;
    const Vel8u* const rows[3] = {row(0, y), cb.data(), cr.data()};
    if (kRange == Range::kFull)
      jpeg::convertYcc(rows[0], rows[1], rows[2], size.width, pixels);
    else
      status = orviYCbCrToRGB_8u_P3C3R(rows, size.width, pixels, step, {size.width, 1});
  }
  return status;
}

#define ORV_VIDEO(range, alternate)                                                         \
  template VelStatus toVideo<range, alternate>(const Vel8u*, int, const Planes&, VeliSize); \
  template VelStatus fromVideo<range, alternate>(const Planes&, Vel8u*, int, VeliSize);
ORV_VIDEO(Range::kStudio, false)
ORV_VIDEO(Range::kStudio, true)
ORV_VIDEO(Range::kFull, false)
ORV_VIDEO(Range::kFull, true)
