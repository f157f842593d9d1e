// The passes of cubic and Lanczos resizing that gain by integers of two lanes: the horizontal one over a plane, and the
// vertical one.
#include "resize/filter.h"

ORV_ROW_KERNEL(ownpi_RowCubic8pl) { filterPlaneRow<4>(*columns, row, sums); }
ORV_ROW_KERNEL(ownpi_RowLanczos8pl) { filterPlaneRow<6>(*columns, row, sums); }
ORV_COLUMN_KERNEL(ownpi_ColCubic8pl) { sumRows<CubicSums>(*columns, rows, weights, dst); }
ORV_COLUMN_KERNEL(ownpi_SummCubic8px) {
  if (columns->channels == columns->pixel) return ORV_NAME(ownpi_ColCubic8pl)(columns, rows, weights, dst);
  sumRowsKeepingFourth<CubicSums>(*columns, rows, weights, dst);
}
ORV_COLUMN_KERNEL(ownpi_ColLanczos8pl) { sumRows<LanczosSums>(*columns, rows, weights, dst); }
ORV_COLUMN_KERNEL(ownpi_ColLanczos8px) {
  if (columns->channels == columns->pixel) return ORV_NAME(ownpi_ColLanczos8pl)(columns, rows, weights, dst);
  sumRowsKeepingFourth<LanczosSums>(*columns, rows, weights, dst);
}
