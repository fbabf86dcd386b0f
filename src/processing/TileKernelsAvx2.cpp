// Compiled for AVX2 and FMA, run only where the processor has both. OpenCV's headers choose their
// widest registers by these macros, which its own build sets, and keep each choice in a namespace
// of its own, so that the linker cannot mix them up.
#if !defined(__AVX2__) || !defined(__FMA__) || !defined(PODIUMCAST_AVX2)
#error "CMakeLists.txt sets these"
#endif

#include <immintrin.h>

#define CV_SSE3 1
#define CV_SSSE3 1
#define CV_SSE4_1 1
#define CV_SSE4_2 1
#define CV_POPCNT 1
#define CV_AVX 1
#define CV_AVX2 1
#define CV_FMA3 1
#define CV_CPU_DISPATCH_MODE AVX2

#include "processing/TileKernelsSimd.h"

const TileKernels tileKernelsAvx2 = kernels;
