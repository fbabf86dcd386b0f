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
    static constexpr int MaximumSize = 50;
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
    /// What the noise between two channels can cost at most, see TileComparison::lowerBound().
    struct Losses
    {
        float structure = 0; ///< the sum of G(d²), of the window G and the differences d
        float luminance = 0; ///< the sum of e·(|G(d)| + tolerance)²
    };
    /// Fixed-point weights of the window, from its centre outwards as far as they matter. All of
    /// them but those of the differences are rounded down.
    static constexpr int ReachOfDifferences = 4;
    static constexpr int ReachOfSums = 3;
    struct FixedWeights
    {
        std::int16_t differences[ReachOfDifferences + 1]; ///< in a row, of DifferenceScale
        std::int16_t sums[ReachOfSums + 1]; ///< in a row, of SumScale
        std::int16_t lines[ReachOfDifferences + 1]; ///< in a column, of 65536
    };
    /// The differences must not be above MaximumDifference. @p border, @p borderRows: 1/BorderScale
    /// of the weights for every column (and zeros up to Stride) and for every row, not rounded
    /// down; mirrors as below.
    Losses (*losses)(const std::uint8_t* a, const std::uint8_t* b, int cols, int rows,
        const FixedWeights& weights, float tolerance, const std::int16_t* border,
        const std::int16_t* borderRows, const int* mirror, const int* mirrorRows);
    static constexpr int DifferenceScale = 512;
    static constexpr int MaximumDifference = 31; ///< twice, scaled: still a number of 16 bits
    static constexpr int SumScale = 64; ///< twice, times 510: as well, without a sign
    static constexpr int BorderScale = 256;
    /// From this G(a + b) on, scaled, e is 0: 64·√(2·(C2 - C1)).
    static constexpr int BrightSum = 653;
    /// The constants of SSIM.
    static constexpr float C1 = 6.5025F;
    static constexpr float C2 = 58.5225F;
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
