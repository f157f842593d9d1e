// The parts of a resize call, under names by which a profiler shows them. `pl` takes images of one channel, `px`
// interleaved ones; where `px4` takes those of four bytes, `px` takes three.
#pragma once
#include "resize/plan.h"

// A step is called for every row, or every few pixels of a table. Compilers that inline exported functions would hide it.
#define ORV_STEP ORV_KERNEL __attribute__((noinline))

// Checks a request, clips its source region and fills the plan.
ORV_KERNEL VelStatus ORV_NAME(ownpiPreludeToResize)(ResizeRequest* request, ResizePlan* plan);

// ---- Whole images: each fills the plan's rectangle and works in the buffer of the images.

#define ORV_RESIZE_KERNEL(name) ORV_KERNEL VelStatus ORV_NAME(name)(const ResizePlan* plan, const ResizeImages* images)
ORV_RESIZE_KERNEL(ownpiResizeSP);  // by the plan's method
ORV_RESIZE_KERNEL(ownpiResizeAA);  // linear, cubic and Lanczos with a kernel as wide as the reduction asks for
ORV_RESIZE_KERNEL(ownResize8plN);  // nearest
ORV_RESIZE_KERNEL(ownResize8pxN);
ORV_RESIZE_KERNEL(ownResize8px4N);
ORV_RESIZE_KERNEL(ownResize8plL);  // linear
ORV_RESIZE_KERNEL(ownResize8pxL);
ORV_RESIZE_KERNEL(ownResize8plC);  // the cubics
ORV_RESIZE_KERNEL(ownResize8pxC);
ORV_RESIZE_KERNEL(ownResize8plLz);  // Lanczos
ORV_RESIZE_KERNEL(ownResize8pxLz);
ORV_RESIZE_KERNEL(ownDecimate8plSP);  // supersampling
ORV_RESIZE_KERNEL(ownDecimate8pxSP);
ORV_RESIZE_KERNEL(ownDecimate8px4SP);

// ---- Steps of linear resizing

// What the horizontal pass takes: a table of its columns.
struct LinearColumns {
  void* groups;
  int count, columns, bytes;  // bytes: of a destination row
  bool isNarrow;              // a single source column, which is its own neighbour
  bool isShuffled;            // the groups' kind
  bool keepsFourth;
  int pixel;
  bool streams;  // the vertical pass writes past the caches
};
// A row's sums, with six fractional bits for the vertical pass.
#define ORV_COEF_KERNEL(name) ORV_STEP void ORV_NAME(name)(const LinearColumns* columns, const Vel8u* row, Vel16u* sums)
ORV_COEF_KERNEL(ownpi_CoefLinear8pl);
ORV_COEF_KERNEL(ownpi_CoefLinear8px);
ORV_COEF_KERNEL(ownpi_CoefLinear8px4);
// A destination row of two rows of sums; `weight` is the lower one's.
#define ORV_SUMM_KERNEL(name)                                                                                      \
  ORV_STEP void ORV_NAME(name)(const LinearColumns* columns, const Vel16u* upper, const Vel16u* lower, int weight, \
                               Vel8u* dst)
ORV_SUMM_KERNEL(ownpi_SummLinear8pl);
ORV_SUMM_KERNEL(ownpi_SummLinear8px);
// A destination row beside the first or last pixels' centres, which has one neighbour: of that row, or where it is null
// of the sums that the last such call left.
#define ORV_BORDER_ROW_KERNEL(name) \
  ORV_STEP void ORV_NAME(name)(const LinearColumns* columns, const Vel8u* row, Vel16u* sums, Vel8u* dst)
ORV_BORDER_ROW_KERNEL(ownpi_CalcBorder8plL);
ORV_BORDER_ROW_KERNEL(ownpi_CalcBorder8pxL);

// ---- Steps of cubic and Lanczos resizing

// The weights of four or six taps for each of some fractions.
#define ORV_WEIGHTS_KERNEL(name) ORV_STEP void ORV_NAME(name)(const Vel32f* fractions, int count, Vel32f* weights)
ORV_WEIGHTS_KERNEL(ownpi_Cubic0Kernel);  // velInterCubic
ORV_WEIGHTS_KERNEL(ownpi_Cubic1Kernel);  // velInterCubicBSpline
ORV_WEIGHTS_KERNEL(ownpi_Cubic2Kernel);  // velInterCubicCatmullRom
ORV_WEIGHTS_KERNEL(ownpi_Cubic3Kernel);  // velInterCubicB05C03
ORV_WEIGHTS_KERNEL(ownpi_Lanczos3);

// The columns of a filter: those whose taps reach out of the row on the left, those whose taps lie in it, and those
// that reach out on the right or would load what comes after it.
enum FilterPart { kLeftEnd, kMiddle, kRightEnd };
struct FilterColumns {
  void* groups;
  int begin[4];  // the first column of each part, and their end
  int width;     // of the source region
  int pixel, channels;
  bool isShuffled;  // the groups' kind
  bool streams;     // the vertical pass writes past the caches
};
// A source row's sums: of the middle columns, and of an end's, whose taps take the first or last pixel for what is
// outside. Of columns that are shuffled the former does all.
#define ORV_ROW_KERNEL(name) ORV_STEP void ORV_NAME(name)(const FilterColumns* columns, const Vel8u* row, Vel32f* sums)
#define ORV_ROW_END_KERNEL(name) \
  ORV_STEP void ORV_NAME(name)(const FilterColumns* columns, FilterPart part, const Vel8u* row, Vel32f* sums)
ORV_ROW_KERNEL(ownpi_RowCubic8pl);
ORV_ROW_KERNEL(ownpi_RowCubic8px);
ORV_ROW_KERNEL(ownpi_RowCubic8px4);
ORV_ROW_END_KERNEL(ownpi_CalcBorder8plC);
ORV_ROW_END_KERNEL(ownpi_CalcBorder8pxC);
ORV_ROW_KERNEL(ownpi_RowLanczos8pl);
ORV_ROW_KERNEL(ownpi_RowLanczos8px);
ORV_ROW_KERNEL(ownpi_RowLanczos8px4);
ORV_ROW_END_KERNEL(ownpi_CalcBorder8plLz);
ORV_ROW_END_KERNEL(ownpi_CalcBorder8pxLz);
// A destination row: the weighted sum of four or six rows of sums.
#define ORV_COLUMN_KERNEL(name)                                                                                \
  ORV_STEP void ORV_NAME(name)(const FilterColumns* columns, const Vel32f* const* rows, const Vel32f* weights, \
                               Vel8u* dst)
ORV_COLUMN_KERNEL(ownpi_ColCubic8pl);
ORV_COLUMN_KERNEL(ownpi_SummCubic8px);
ORV_COLUMN_KERNEL(ownpi_ColLanczos8pl);
ORV_COLUMN_KERNEL(ownpi_ColLanczos8px);

// ---- The ring

// Of pixels around the rectangle that the image covers in part. dst is the rectangle's first pixel.
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
