#include "ycbcr.h"
#include <memory>
#include "run.h"

namespace {

// A source and a destination, each with room for any layout. The kernels do not branch on samples, so any will do.
struct Images {
  explicit Images(VeliSize s) : size(s), from(size_t(s.width * s.height) * 4), to(from.size()) {
    for (size_t i = 0; i < from.size(); ++i) from[i] = uint8_t(i * i >> 7);
  }
  VeliSize size;
  int width = size.width, plane = size.width * size.height;
  Bytes from, to;
  Vel8u *src = from.data(), *dst = to.data();
  const Vel8u* srcPlanes[3] = {src, src + plane, src + 2 * plane};
  Vel8u* dstPlanes[3] = {dst, dst + plane, dst + 2 * plane};
  Vel16u* words = reinterpret_cast<Vel16u*>(dst);
};

struct Operation {
  const char* name;
  VelStatus (*run)(const Images&);
};
#define OPERATION(name, function, from, to, srcPixel, dstPixel)                                                  \
  {                                                                                                              \
    name, [](const Images& i) { return function(i.from, i.width * srcPixel, i.to, i.width * dstPixel, i.size); } \
  }
#define WORDS(name, function) OPERATION(name, function, src, words, 3, 2)
const Operation kOperations[] = {
    OPERATION("RGBToYCbCr C3R", orviRGBToYCbCr_8u_C3R, src, dst, 3, 3),
    OPERATION("RGBToYCbCr AC4R", orviRGBToYCbCr_8u_AC4R, src, dst, 4, 4),
    OPERATION("RGBToYCbCr P3R", orviRGBToYCbCr_8u_P3R, srcPlanes, dstPlanes, 1, 1),
    OPERATION("YCbCrToRGB C3R", orviYCbCrToRGB_8u_C3R, src, dst, 3, 3),
    OPERATION("YCbCrToRGB AC4R", orviYCbCrToRGB_8u_AC4R, src, dst, 4, 4),
    OPERATION("YCbCrToRGB P3R", orviYCbCrToRGB_8u_P3R, srcPlanes, dstPlanes, 1, 1),
    OPERATION("YCbCrToRGB P3C3R", orviYCbCrToRGB_8u_P3C3R, srcPlanes, dst, 1, 3),
    WORDS("YCbCrToRGB565", orviYCbCrToRGB565_8u16u_C3R),
    WORDS("YCbCrToRGB555", orviYCbCrToRGB555_8u16u_C3R),
    WORDS("YCbCrToRGB444", orviYCbCrToRGB444_8u16u_C3R),
    WORDS("YCbCrToBGR565", orviYCbCrToBGR565_8u16u_C3R),
    WORDS("YCbCrToBGR555", orviYCbCrToBGR555_8u16u_C3R),
    WORDS("YCbCrToBGR444", orviYCbCrToBGR444_8u16u_C3R),
};

}  // namespace

void benchmarkYcbcr(const std::string& name, VeliSize size) {
  const auto images = std::make_shared<const Images>(size);
  for (const Operation& operation : kOperations)
    benchmarkOnEveryPath(operation.name + (", " + name), "pixel", images->plane,
                         [=] { return operation.run(*images); });
}
