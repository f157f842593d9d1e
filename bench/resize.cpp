// Resizing: each method, up and down.
#include <memory>
#include "run.h"

namespace {

using Resize = decltype(orviResizeSqrPixel_8u_C1R);

void benchmarkResize(const std::string& name, int method, int channels, Resize* resize, double factor) {
  constexpr VeliSize kSize = {640, 480};
  const VeliRect src = {0, 0, kSize.width, kSize.height}, dst = {0, 0, int(640 * factor), int(480 * factor)};
  int size = 0;
  if (orviResizeGetBufSize(src, dst, channels, method, &size) != velStsNoErr) return;
  const auto from = std::make_shared<Bytes>(size_t(640 * 480 * channels)),
             buffer = std::make_shared<Bytes>(size_t(size)),
             to = std::make_shared<Bytes>(size_t(dst.width * dst.height * channels));
  for (size_t i = 0; i < from->size(); ++i) (*from)[i] = uint8_t(i * i >> 7);
  benchmarkOnEveryPath(
      "resize " + name + " C" + std::to_string(channels) + " by " + std::to_string(factor).substr(0, 4), "pixel",
      dst.width * dst.height, [=] {
        return resize(from->data(), kSize, kSize.width * channels, src, to->data(), dst.width * channels, dst, factor,
                      factor, 0, 0, method, buffer->data());
      });
}

}  // namespace

// The picture is not used: what is resized makes no difference.
void registerBenchmarks(const Bytes&) {
  static constexpr struct {
    const char* name;
    int code;
  } kMethods[] = {{"nearest", velInterNearest},
                  {"linear", velInterLinear},
                  {"cubic", velInterCubicCatmullRom},
                  {"Lanczos", velInterLanczos},
                  {"super", velInterSuper},
                  {"linear, antialiased", velInterLinear | velFlagAntialiasing},
                  {"cubic, antialiased", velInterCubicCatmullRom | velFlagAntialiasing},
                  {"Lanczos, antialiased", velInterLanczos | velFlagAntialiasing}};
  for (const auto& method : kMethods)
    for (const double factor : {0.5, 0.25, 0.37, 2.0, 1.7}) {
      if (method.code == velInterSuper && factor > 1) continue;
      benchmarkResize(method.name, method.code, 1, orviResizeSqrPixel_8u_C1R, factor);
      benchmarkResize(method.name, method.code, 3, orviResizeSqrPixel_8u_C3R, factor);
      benchmarkResize(method.name, method.code, 4, orviResizeSqrPixel_8u_C4R, factor);
    }
}
