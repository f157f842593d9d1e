// Benchmarks of the conversions between RGB and subsampled YUV.
#pragma once
#include <string>
#include "orv.h"

void benchmarkYuv(const std::string& name, VeliSize size);
