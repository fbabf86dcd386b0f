#include "processing/TileComparison.h"

#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr int Radius = TileKernels::Radius;
constexpr double C1 = 6.5025;
constexpr double C2 = 58.5225;

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

void TileComparison::Axis::set(int length)
{
    for (int i = -Radius; i < length + Radius; ++i)
        mirror[i + Radius] = cv::borderInterpolate(i, length, cv::BORDER_REFLECT_101);
    border.fill(0);
    for (int i = -Radius; i < length + Radius; ++i) {
        for (int k = -Radius; k <= Radius; ++k) {
            if (i + k >= 0 && i + k < length)
                border[mirror[i + Radius]] += weights()[k < 0 ? -k : k];
        }
    }
    largest = *std::max_element(border.begin(), border.end());
}

void TileComparison::load(const cv::Mat& a, const cv::Mat& b)
{
    if (m_cols != a.cols) {
        for (auto* planes : { &m_a, &m_b }) {
            for (Plane& plane : *planes)
                plane.fill(255); // behind the last column
        }
        m_axisX.set(a.cols);
    }
    if (m_rows != a.rows)
        m_axisY.set(a.rows);
    m_cols = a.cols;
    m_rows = a.rows;
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
    const double border = double(m_axisX.largest) * m_axisY.largest;
    const double coarse = 1 - border * mse * (1 / C2 + excess);
    // The finer bound costs more: not where it is not needed, and hardly where it cannot help.
    if (coarse >= Threshold + Margin || 1 - mse / C2 < Threshold + Margin
        || statistics.largestDifference > TileKernels::MaximumDifference
        || std::min(m_cols, m_rows) < SmoothingLength)
        return coarse;
    const TileKernels::Differences differences = m_kernels.differences(a, b, m_cols, m_rows,
        m_axisX.border.data(), m_axisY.border.data(), m_axisX.mirror.data(), m_axisY.mirror.data());
    const double smoothed = differences.smoothed / (1024.0 * 1024 * pixels);
    return 1 - differences.squares / pixels / C2 - (smoothed + SmoothingExcess * mse) * excess;
}

double TileComparison::similarity(int channel) const
{
    return 1
        - m_kernels.dissimilarity(m_a[channel].data(), m_b[channel].data(), m_cols, m_rows,
            weights().data(), m_axisX.mirror.data(), m_axisY.mirror.data());
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
