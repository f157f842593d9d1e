#include "yuv.h"
#include <memory>
#include "run.h"

namespace {

template <class Byte> struct Planes {
  // The first has a byte a pixel, the others a byte for so many pixels.
  Planes(Byte* p, int pixels, int share) : plane{p, p + pixels, p + pixels + pixels / share} {}
  operator Byte* const*() const { return plane; }
  Byte* plane[3];
};

// A source and a destination, each in one piece that holds any of the layouts. The kernels do not branch on samples, so
// any will do.
struct Images {
  explicit Images(VeliSize s)
      : size(s),
        width(s.width),
        pixels(s.width * s.height),
        steps{width, width / 2, width / 2},
        bytes(size_t(pixels) * 3),
        room(size_t(pixels) * 4) {
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i * i >> 7);
  }
  Planes<const Vel8u> from(int share) const { return {bytes.data(), pixels, share}; }
  Planes<Vel8u> to(int share) { return {room.data(), pixels, share}; }

  VeliSize size;
  int width, pixels, steps[3];
  Bytes bytes, room;
  const Vel8u* const src = bytes.data();
  Vel8u* const dst = room.data();
};

}  // namespace

void benchmarkYuv(const std::string& name, VeliSize size) {
  const auto images = std::make_shared<Images>(size);
  const auto add = [&](const char* operation, VelStatus (*convert)(Images&)) {
    benchmarkOnEveryPath(operation + (", " + name), "pixel", images->pixels, [=] { return convert(*images); });
  };
  add("RGBToYUV420 C3P3R",
      [](Images& i) { return orviRGBToYUV420_8u_C3P3R(i.src, i.width * 3, i.to(4), i.steps, i.size); });
  add("RGBToYUV420 P3R",
      [](Images& i) { return orviRGBToYUV420_8u_P3R(i.from(1), i.width, i.to(4), i.steps, i.size); });
  add("RGBToYUV422 C3C2R",
      [](Images& i) { return orviRGBToYUV422_8u_C3C2R(i.src, i.width * 3, i.dst, i.width * 2, i.size); });
  add("YUV420ToRGB C3R",
      [](Images& i) { return orviYUV420ToRGB_8u_P3C3R(i.from(4), i.steps, i.dst, i.width * 3, i.size); });
  add("YUV420ToRGB AC4R",
      [](Images& i) { return orviYUV420ToRGB_8u_P3AC4R(i.from(4), i.steps, i.dst, i.width * 4, i.size); });
  add("YUV420ToRGB P3R",
      [](Images& i) { return orviYUV420ToRGB_8u_P3R(i.from(4), i.steps, i.to(1), i.width, i.size); });
  add("YUV420ToRGB565", [](Images& i) {
    return orviYUV420ToRGB565_8u16u_P3C3R(i.from(4), i.steps, reinterpret_cast<Vel16u*>(i.dst), i.width * 2, i.size);
  });
  add("YUV422ToRGB C2C3R",
      [](Images& i) { return orviYUV422ToRGB_8u_C2C3R(i.src, i.width * 2, i.dst, i.width * 3, i.size); });
  add("YUV422ToRGB P3C3R",
      [](Images& i) { return orviYUV422ToRGB_8u_P3C3R(i.from(2), i.steps, i.dst, i.width * 3, i.size); });
}
