// Benchmarks of the box filter.
#pragma once

void benchmarkBox();
