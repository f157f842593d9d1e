// Benchmarks of the conversions between RGB and YCbCr.
#pragma once
#include <string>
#include "orv.h"

void benchmarkYcbcr(const std::string& name, VeliSize size);
