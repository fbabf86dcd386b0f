#include "processing/TileKernelsSimd.h"

const TileKernels tileKernelsBaseline = kernels;
