#include "processing/TileComparison.h"

#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr int Radius = TileKernels::Radius;
constexpr double C1 = TileKernels::C1;
constexpr double C2 = TileKernels::C2;

// The weights of the Gaussian window with σ = 1.5, from its centre outwards.
std::array<float, Radius + 1> windowWeights()
{
    std::array<double, Radius + 1> weights;
    double sum = 0;
    for (int k = 0; k <= Radius; ++k) {
        weights[k] = std::exp(-k * k / (2 * 1.5 * 1.5));
        sum += k ? 2 * weights[k] : weights[k];
    }
    std::array<float, Radius + 1> normalised;
    for (int k = 0; k <= Radius; ++k)
        normalised[k] = float(weights[k] / sum);
    return normalised;
}

const std::array<float, Radius + 1>& weights()
{
    static const std::array<float, Radius + 1> result = windowWeights();
    return result;
}

const TileKernels::FixedWeights& fixedWeights()
{
    static const TileKernels::FixedWeights result = [] {
        TileKernels::FixedWeights fixed;
        for (int k = 0; k <= TileKernels::ReachOfDifferences; ++k) {
            fixed.differences[k]
                = std::int16_t(std::lround(weights()[k] * TileKernels::DifferenceScale));
            fixed.lines[k] = std::int16_t(weights()[k] * 65536);
        }
        for (int k = 0; k <= TileKernels::ReachOfSums; ++k)
            fixed.sums[k] = std::int16_t(weights()[k] * TileKernels::SumScale);
        return fixed;
    }();
    return result;
}

// How far the fixed-point G(d) can be from the true one, for differences of 1: its weights in a row
// and in a column are not quite the window's.
double inexactness()
{
    static const double result = [] {
        double sum = 0;
        for (int k = 0; k <= Radius; ++k) {
            const bool used = k <= TileKernels::ReachOfDifferences;
            const double row
                = used ? fixedWeights().differences[k] / double(TileKernels::DifferenceScale) : 0;
            const double column = used ? fixedWeights().lines[k] / 65536.0 : 0;
            // The row's weights add up to hardly more than 1.
            sum += (k ? 2 : 1)
                * (std::abs(row - weights()[k]) + 1.01 * std::abs(column - weights()[k]));
        }
        return sum;
    }();
    return result;
}

// Each of the products of a column is cut off.
constexpr double CutOff = (TileKernels::ReachOfDifferences + 1.0) / TileKernels::DifferenceScale;

bool sameBytes(const cv::Mat& a, const cv::Mat& b)
{
    const size_t rowBytes = size_t(a.cols) * a.elemSize();
    for (int row = 0; row < a.rows; ++row) {
        if (std::memcmp(a.ptr(row), b.ptr(row), rowBytes) != 0)
            return false;
    }
    return true;
}

const TileKernels& kernelsOfThisProcessor()
{
#ifdef PODIUMCAST_AVX2
    if (cv::checkHardwareSupport(CV_CPU_AVX2) && cv::checkHardwareSupport(CV_CPU_FMA3))
        return tileKernelsAvx2;
#endif
    return tileKernelsBaseline;
}

} // namespace

TileComparison::TileComparison()
    : m_kernels(kernelsOfThisProcessor())
{
}

const TileComparison::Axis& TileComparison::Axis::of(int length)
{
    static const std::array<Axis, TileSize + 1> axes = [] {
        std::array<Axis, TileSize + 1> all;
        for (int each = 1; each <= TileSize; ++each)
            all[size_t(each)].set(each);
        return all;
    }();
    return axes[size_t(length)];
}

void TileComparison::Axis::set(int length)
{
    for (int i = -Radius; i < length + Radius; ++i)
        mirror[i + Radius] = cv::borderInterpolate(i, length, cv::BORDER_REFLECT_101);
    std::array<float, TileKernels::Stride> sums = {};
    for (int i = -Radius; i < length + Radius; ++i) {
        for (int k = -Radius; k <= Radius; ++k) {
            if (i + k >= 0 && i + k < length)
                sums[mirror[i + Radius]] += weights()[k < 0 ? -k : k];
        }
    }
    largest = *std::max_element(sums.begin(), sums.end());
    for (int i = 0; i < TileKernels::Stride; ++i)
        border[i] = std::int16_t(std::ceil(sums[i] * TileKernels::BorderScale));
}

void TileComparison::load(const cv::Mat& a, const cv::Mat& b)
{
    if (m_cols != a.cols) {
        for (auto* planes : { &m_a, &m_b }) {
            for (Plane& plane : *planes)
                plane.fill(255); // behind the last column
        }
    }
    m_cols = a.cols;
    m_rows = a.rows;
    m_axisX = &Axis::of(m_cols);
    m_axisY = &Axis::of(m_rows);
    std::uint8_t* const planesA[3] = { m_a[0].data(), m_a[1].data(), m_a[2].data() };
    std::uint8_t* const planesB[3] = { m_b[0].data(), m_b[1].data(), m_b[2].data() };
    m_kernels.split(a.data, a.step, a.channels(), m_cols, m_rows, planesA);
    m_kernels.split(b.data, b.step, b.channels(), m_cols, m_rows, planesB);
}

double TileComparison::lowerBound(int channel) const
{
    const std::uint8_t* const a = m_a[channel].data();
    const std::uint8_t* const b = m_b[channel].data();
    const TileKernels::Statistics statistics = m_kernels.statistics(a, b, m_rows);
    const int squaredMinima
        = statistics.minimumA * statistics.minimumA + statistics.minimumB * statistics.minimumB;
    const double pixels = double(m_cols) * m_rows;
    const double mse = statistics.squaredDifferences / pixels;
    const double excess = std::max(0.0, 1 / (C1 + squaredMinima) - 1 / C2);
    const double border = double(m_axisX->largest) * m_axisY->largest;
    const double coarse = 1 - border * mse * (1 / C2 + excess);
    // The finer bound costs more: not where it is not needed, and hardly where it cannot help.
    if (coarse >= Threshold + Margin || 1 - mse / C2 < Threshold + Margin
        || statistics.largestDifference > TileKernels::MaximumDifference)
        return coarse;
    const double tolerance = statistics.largestDifference * inexactness() + CutOff;
    const TileKernels::Losses losses = m_kernels.losses(a, b, m_cols, m_rows, fixedWeights(),
        float(tolerance), m_axisX->border.data(), m_axisY->border.data(), m_axisX->mirror.data(),
        m_axisY->mirror.data());
    return 1 - (losses.structure / C2 + losses.luminance) / pixels;
}

double TileComparison::similarity(int channel) const
{
    return 1
        - m_kernels.dissimilarity(m_a[channel].data(), m_b[channel].data(), m_cols, m_rows,
            weights().data(), m_axisX->mirror.data(), m_axisY->mirror.data());
}

TileComparison::Verdict TileComparison::compare(const cv::Mat& a, const cv::Mat& b)
{
    if (sameBytes(a, b))
        return Verdict::Similar;
    if (a.depth() != CV_8U || a.channels() < 3 || a.channels() > 4)
        return Verdict::Undecided;
    load(a, b);
    Verdict verdict = Verdict::Similar;
    for (int channel = 0; channel < 3; ++channel) {
        if (lowerBound(channel) >= Threshold + Margin)
            continue;
        const double value = similarity(channel);
        if (value < Threshold - Margin)
            return Verdict::Different;
        if (value < Threshold + Margin)
            verdict = Verdict::Undecided;
    }
    return verdict;
}
