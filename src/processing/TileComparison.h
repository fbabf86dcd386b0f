#pragma once

#include "processing/TileKernels.h"

#include <opencv2/core/mat.hpp>

#include <array>

/// Decides cheaply, and exactly as the plain formula does, whether the similarity of two tiles
/// (mean SSIM per channel, the smallest of the first three) is below Threshold.
///
/// Three shortcuts, in this order:
/// 1. Tiles of equal bytes have the similarity 1.
/// 2. Nearly equal tiles: lowerBound() needs one window or none.
/// 3. The rest: one fused pass over each channel, without temporary matrices.
///
/// The last two differ from the plain formula by rounding only, far less than Margin (both are
/// tested). A result nearer to the threshold than Margin is left undecided: the caller decides it
/// by the plain formula, which thereby stays the one that counts.
///
/// An object holds about 20 KB of scratch memory and belongs to one thread; the stack will do.
class TileComparison
{
public:
    enum class Verdict { Similar, Different, Undecided };

    /// Below this a tile has changed. Nearer to 1, the noise of cameras and video codecs makes
    /// slides; further down, small changes of text are missed.
    static constexpr double Threshold = 0.95;
    /// More than ten times the largest difference between the fused and the plain similarity that
    /// was ever seen, and little enough that hardly a tile of a talk is computed twice.
    static constexpr double Margin = 0.005;
    /// Tiles are at most this wide and high.
    static constexpr int TileSize = TileKernels::MaximumSize;

    TileComparison();

    /// Of two tiles of equal size and type. Matrices that are not 8 bit with 3 or 4 channels are
    /// undecided, unless they are equal.
    [[nodiscard]] Verdict compare(const cv::Mat& a, const cv::Mat& b);

    /// The shortcuts one by one, for one channel of the tiles that were last given to load(), 8 bit
    /// with 3 or 4 channels.
    void load(const cv::Mat& a, const cv::Mat& b);

    /// A bound that the mean SSIM does not fall below.
    ///
    /// With d = I1 - I2, G the Gaussian window, μd = G(d) and σd² = G(d²) - μd², the two factors of
    /// SSIM are
    ///
    ///     1 - μd² / (μ1² + μ2² + C1)    and    1 - σd² / (σ1² + σ2² + C2),
    ///
    /// the first of them in 0…1. So 1 - SSIM is at most the sum of the two fractions. As σ1², σ2²
    /// are not negative, that is at most
    ///
    ///     G(d²)/C2 + μd²·e    with e = max(0, 1/(C1 + μ1² + μ2²) - 1/C2).
    ///
    /// That is first bounded by the tile's smallest pixels min1, min2, which μ1 and μ2 are not
    /// below, and μd² ≤ G(d²).
    ///
    /// The sum of G(d²) over the tile counts every d² with the sum of the weights that reach its
    /// pixel. Along one axis, where w(k) are the weights of the window (which sum up to 1) and i is
    /// the pixel's distance from the border: what falls over the border is lost, Σ w(k) for k > i,
    /// and the window at the border's other side sees the pixel once more in the mirror (which
    /// stands on pixel 0 and does not repeat it), Σ w(k) for k ≥ i, if i > 0. Together 1 + w(i), at
    /// most 1 + w(1) = 1.213 for σ = 1.5; 1.213² = 1.472 in both directions. From eleven pixels on
    /// no pixel next to one border is reached by the other one's mirror; for shorter sides the sums
    /// are computed just the same and may be larger. Therefore
    ///
    ///     mean SSIM ≥ 1 - 1.472·MSE·max(1/C2, 1/(C1 + min1² + min2²)).
    ///
    /// That is enough but for tiles with black pixels. For those the weights 1 + w are applied
    /// pixel by pixel, which makes the sum of G(d²) exact, and μd²·e is summed up pixel by pixel,
    /// too, in integers: |μd| with what their rounding can take away added, and μ1² + μ2² ≥ (μ1 +
    /// μ2)²/2 with weights that are rounded down.
    [[nodiscard]] double lowerBound(int channel) const;

    /// The mean SSIM by the fused pass.
    [[nodiscard]] double similarity(int channel) const;

private:
    /// What lies at the borders of rows or columns.
    struct Axis
    {
        /// For a length of 1…TileSize; computed once for the whole program.
        static const Axis& of(int length);
        void set(int length);
        std::array<int, TileSize + 2 * TileKernels::Radius> mirror = {}; ///< see TileKernels
        /// The weights that reach each pixel, as in TileKernels::losses; and the largest of them.
        std::array<std::int16_t, TileKernels::Stride> border = {};
        float largest = 0;
    };
    using Plane = std::array<std::uint8_t, TileSize * TileKernels::Stride>;

    const TileKernels& m_kernels;
    int m_cols = 0;
    int m_rows = 0;
    const Axis* m_axisX = nullptr; ///< written by load(), as the following
    const Axis* m_axisY = nullptr;
    std::array<Plane, 3> m_a;
    std::array<Plane, 3> m_b;
};
