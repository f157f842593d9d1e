// The parts of a resize call that have files of their own. `pl` takes images of one channel, `px` interleaved ones. Each
// fills the plan's rectangle and works in the buffer of the images.
#pragma once
#include "resize/plan.h"

#define ORV_RESIZE_KERNEL(name) ORV_KERNEL VelStatus ORV_NAME(name)(const ResizePlan* plan, const ResizeImages* images)
ORV_RESIZE_KERNEL(ownResize8plN);  // nearest
ORV_RESIZE_KERNEL(ownResize8pxN);
ORV_RESIZE_KERNEL(ownResize8plL);  // linear
ORV_RESIZE_KERNEL(ownResize8pxL);
ORV_RESIZE_KERNEL(ownResize8plC);  // the cubics
ORV_RESIZE_KERNEL(ownResize8pxC);
ORV_RESIZE_KERNEL(ownResize8plLz);  // Lanczos
ORV_RESIZE_KERNEL(ownResize8pxLz);
ORV_RESIZE_KERNEL(ownDecimate8plSP);  // supersampling
ORV_RESIZE_KERNEL(ownDecimate8pxSP);
ORV_RESIZE_KERNEL(ownpiResizeAA);  // linear, cubic and Lanczos with a kernel as wide as the reduction asks for

// The ring of pixels around the rectangle that the image covers in part. dst is the rectangle's first pixel.
#define ORV_EDGE_KERNEL(name)                                                                               \
  ORV_KERNEL void ORV_NAME(name)(Vel8u * dst, int dstStep, int width, int height, double xMin, double xMax, \
                                 double yMin, double yMax)
ORV_EDGE_KERNEL(ownpi_SmoothDstBorder8pl);
ORV_EDGE_KERNEL(ownpi_SmoothDstBorder8px);
ORV_EDGE_KERNEL(ownpi_SmoothDstBorder8px4);
ORV_EDGE_KERNEL(ownpi_SmoothDstBorder8px4a);
ORV_EDGE_KERNEL(ownpi_SubpixDstBorder8pl);
ORV_EDGE_KERNEL(ownpi_SubpixDstBorder8px);
ORV_EDGE_KERNEL(ownpi_SubpixDstBorder8px4);
ORV_EDGE_KERNEL(ownpi_SubpixDstBorder8px4a);
