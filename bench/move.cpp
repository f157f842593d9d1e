// Copying, replicating borders, and swapping channels: images that stay in the second-level cache, and large ones.
#include <memory>
#include "run.h"

namespace {

struct Images {
  explicit Images(VeliSize s) : size(s), src(size_t(s.width * s.height) * 16), dst(src.size()) {}
  VeliSize size;
  Bytes src, dst;
};

// A form that takes a source and a destination, whose pixels have so many bytes.
template <class T, class Form, class... More> void benchmarkForm(const std::string& name,
                                                                 const std::shared_ptr<Images>& i, int fromPixel,
                                                                 int toPixel, Form form, More... more) {
  const VeliSize size = i->size;
  benchmarkOnEveryPath(name + ", " + std::to_string(size.width) + "x" + std::to_string(size.height), "pixel",
                       size.width * size.height, [=] {
                         return form(reinterpret_cast<const T*>(i->src.data()), fromPixel * size.width,
                                     reinterpret_cast<T*>(i->dst.data()), toPixel * size.width, size, more...);
                       });
}

void benchmarkImages(VeliSize size) {
  static const int kReversed[] = {2, 1, 0, 3};
  constexpr Vel8u kOpaque = 255;
  const auto images = std::make_shared<Images>(size);
  benchmarkForm<Vel8u>("Copy 8u C3R", images, 3, 3, orviCopy_8u_C3R);
  benchmarkForm<Vel8u>("Border 8u, 16 pixels", images, 1, 1, [](auto, int, Vel8u* dst, int step, VeliSize whole) {
    const VeliSize inner = {whole.width - 32, whole.height - 32};
    return orviCopyReplicateBorder_8u_C1IR(dst + 16 * step + 16, step, inner, whole, 16, 16);
  });
  benchmarkForm<Vel8u>("Swap 8u C3R", images, 3, 3, orviSwapChannels_8u_C3R, kReversed);
  benchmarkForm<Vel8u>("Swap 8u C4IR", images, 4, 4, [](auto, int, Vel8u* dst, int step, VeliSize roi) {
    return orviSwapChannels_8u_C4IR(dst, step, roi, kReversed);
  });
  benchmarkForm<Vel8u>("Swap 8u AC4R", images, 4, 4, orviSwapChannels_8u_AC4R, kReversed);
  benchmarkForm<Vel8u>("Swap 8u C3C4R", images, 3, 4, orviSwapChannels_8u_C3C4R, kReversed, kOpaque);
  benchmarkForm<Vel8u>("Swap 8u C4C3R", images, 4, 3, orviSwapChannels_8u_C4C3R, kReversed);
  benchmarkForm<Vel16u>("Swap 16u C3R", images, 6, 6, orviSwapChannels_16u_C3R, kReversed);
  benchmarkForm<Vel32f>("Swap 32f C3R", images, 12, 12, orviSwapChannels_32f_C3R, kReversed);
  benchmarkForm<Vel32f>("Swap 32f AC4R", images, 16, 16, orviSwapChannels_32f_AC4R, kReversed);
}

}  // namespace

void registerBenchmarks(const Bytes&) {
  benchmarkImages({160, 120});
  benchmarkImages({1920, 1440});
}
