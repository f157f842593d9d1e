// Supersampling: the mean of what a destination pixel's square covers of the source.
#include "resize/areas.h"
#include "resize/cells.h"

namespace {

template <int kPixel, int kChannels, class Columns>
ORV_INLINE VelStatus resize(const ResizePlan& plan, const ResizeImages& images) {
  if (resizeIfCells<2, kPixel, kChannels>(plan, images) || resizeIfCells<3, kPixel, kChannels>(plan, images) ||
      resizeIfCells<4, kPixel, kChannels>(plan, images))
    return velStsNoErr;
  return resizeAreas<kPixel, kChannels, Columns>(plan, images);
}
template <int kPixel, int kChannels = kPixel>
ORV_INLINE VelStatus resizePixels(const ResizePlan& plan, const ResizeImages& images) {
  return resize<kPixel, kChannels, PixelColumns<kPixel, kChannels>>(plan, images);
}

}  // namespace

ORV_RESIZE_KERNEL(ownDecimate8plSP) { return resize<1, 1, PlaneColumns>(*plan, *images); }
ORV_RESIZE_KERNEL(ownDecimate8pxSP) { return resizePixels<3>(*plan, *images); }
ORV_RESIZE_KERNEL(ownDecimate8px4SP) {
  return images->channels == 3 ? resizePixels<4, 3>(*plan, *images) : resizePixels<4>(*plan, *images);
}
