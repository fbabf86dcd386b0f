#pragma once

#include <cstddef>
#include <cstdint>

/// The arithmetic of TileComparison, once for every set of vector instructions that it is compiled
/// for (TileKernels.cpp: the compiler's baseline, TileKernelsAvx2.cpp: AVX2 and FMA). Plain
/// pointers only, so that nothing compiled for one processor is ever linked into another's code.
struct TileKernels
{
    /// One channel of a tile of at most 50x50 pixels: rows of this many bytes, of which those
    /// behind the last column are 255 in both tiles of a pair.
    static constexpr int Stride = 64;
    /// Half the Gaussian window of 11 pixels.
    static constexpr int Radius = 5;

    struct Statistics
    {
        std::uint32_t squaredDifferences = 0; ///< their sum over all pixels
        int largestDifference = 0;
        int minimumA = 255;
        int minimumB = 255;
    };

    /// Takes @p rows rows, @p step bytes apart, of @p cols pixels of 3 or 4 channels of 8 bits
    /// apart into three channels; a fourth is left out.
    void (*split)(const std::uint8_t* pixels, std::size_t step, int channels, int cols, int rows,
        std::uint8_t* const planes[3]);
    Statistics (*statistics)(const std::uint8_t* a, const std::uint8_t* b, int rows);
    struct Differences
    {
        float squares = 0; ///< the sum of (a - b)² times the border weights of row and column
        float smoothed = 0; ///< the sum of (32·32·B(a - b))², B: weights 1 4 7 8 7 4 1, sum 32
    };
    /// The differences must not be above MaximumDifference. @p border, @p borderRows: a weight for
    /// every column (and zeros up to Stride) and for every row; mirrors as below.
    Differences (*differences)(const std::uint8_t* a, const std::uint8_t* b, int cols, int rows,
        const float* border, const float* borderRows, const int* mirror, const int* mirrorRows);
    static constexpr int MaximumDifference = 31; ///< times 1024: still a number of 16 bits
    /// 1 - mean SSIM of two channels. @p weights: the Gaussian's, from its centre outwards;
    /// @p mirror[i + Radius]: the pixel that stands for pixel i of a row, for i from -Radius to
    /// cols + Radius - 1; @p mirrorRows the same for rows.
    double (*dissimilarity)(const std::uint8_t* a, const std::uint8_t* b, int cols, int rows,
        const float* weights, const int* mirror, const int* mirrorRows);
};

extern const TileKernels tileKernelsBaseline;
#ifdef PODIUMCAST_AVX2
extern const TileKernels tileKernelsAvx2;
#endif
