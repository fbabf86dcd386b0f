#pragma once

// The bodies of TileKernels in OpenCV's universal intrinsics, as wide as the including file is
// compiled for. No inline function of another header may be used here but those intrinsics.

#include "processing/TileKernels.h"

#include <opencv2/core/hal/intrin.hpp>

namespace {

using namespace cv;

template <typename Register>
inline void splitRow(
    const std::uint8_t* pixels, int channels, int cols, std::uint8_t* const planes[3], int offset)
{
    constexpr int Lanes = Register::nlanes;
    // The last step overlaps the one before it and ends with the row.
    for (int x = 0;; x = x + 2 * Lanes <= cols ? x + Lanes : cols - Lanes) {
        Register first, second, third, fourth;
        if (channels == 3)
            v_load_deinterleave(pixels + 3 * x, first, second, third);
        else
            v_load_deinterleave(pixels + 4 * x, first, second, third, fourth);
        v_store(planes[0] + offset + x, first);
        v_store(planes[1] + offset + x, second);
        v_store(planes[2] + offset + x, third);
        if (x + Lanes == cols)
            return;
    }
}

void splitTile(const std::uint8_t* pixels, std::size_t step, int channels, int cols, int rows,
    std::uint8_t* const planes[3])
{
    for (int offset = 0; offset < rows * TileKernels::Stride; offset += TileKernels::Stride) {
        if (cols >= v_uint8::nlanes)
            splitRow<v_uint8>(pixels, channels, cols, planes, offset);
        else if (cols >= v_uint8x16::nlanes)
            splitRow<v_uint8x16>(pixels, channels, cols, planes, offset);
        for (int x = 0; x < cols && cols < v_uint8x16::nlanes; ++x) {
            for (int channel = 0; channel < 3; ++channel)
                planes[channel][offset + x] = pixels[x * channels + channel];
        }
        pixels += step;
    }
}

TileKernels::Statistics tileStatistics(const std::uint8_t* a, const std::uint8_t* b, int rows)
{
    v_uint32 sum = vx_setzero_u32();
    v_uint8 minimumA = vx_setall_u8(255);
    v_uint8 minimumB = minimumA;
    v_uint8 largest = vx_setzero_u8();
    for (int i = 0; i < rows * TileKernels::Stride; i += v_uint8::nlanes) {
        const v_uint8 pixelsA = vx_load(a + i);
        const v_uint8 pixelsB = vx_load(b + i);
        const v_uint8 difference = v_absdiff(pixelsA, pixelsB);
        sum = v_dotprod_expand_fast(difference, difference, sum);
        largest = v_max(largest, difference);
        minimumA = v_min(minimumA, pixelsA);
        minimumB = v_min(minimumB, pixelsB);
    }
    return { v_reduce_sum(sum), int(v_reduce_max(largest)), int(v_reduce_min(minimumA)),
        int(v_reduce_min(minimumB)) };
}

constexpr int Left = 16; // room for the mirrored pixels in front of a row, and keeps it aligned
constexpr int Ring = 16; // rows that are kept of a tile, of which the window sees eleven

// Fills the places before and behind a row of pixels as the mirror says.
template <typename Value> inline void extend(Value* values, int cols, const int* mirror)
{
    for (int k = 1; k <= TileKernels::Radius; ++k) {
        values[-k] = values[mirror[TileKernels::Radius - k]];
        values[cols - 1 + k] = values[mirror[TileKernels::Radius + cols - 1 + k]];
    }
}

TileKernels::Losses tileLosses(const std::uint8_t* a, const std::uint8_t* b, int cols, int rows,
    const TileKernels::FixedWeights& weights, float tolerance, const std::int16_t* border,
    const std::int16_t* borderRows, const int* mirror, const int* mirrorRows)
{
    constexpr int Stride = TileKernels::Stride;
    constexpr int Radius = TileKernels::Radius;
    constexpr int Lanes = v_int16::nlanes;
    short difference[Left + Stride + Left] = {};
    unsigned short sum[Left + Stride + Left] = {};
    // Every row, smoothed along itself.
    short differences[TileKernels::MaximumSize][Stride];
    unsigned short sums[TileKernels::MaximumSize][Stride];

    v_float32 structure = vx_setzero_f32();
    for (int y = 0; y < rows; ++y) {
        v_int32 squares = vx_setzero_s32();
        for (int x = 0; x < cols; x += Lanes) {
            const v_uint16 pixelsA = vx_load_expand(a + y * Stride + x);
            const v_uint16 pixelsB = vx_load_expand(b + y * Stride + x);
            const v_int16 d = v_reinterpret_as_s16(pixelsA) - v_reinterpret_as_s16(pixelsB);
            v_store(difference + Left + x, d);
            v_store(sum + Left + x, pixelsA + pixelsB);
            squares = v_dotprod(v_mul_wrap(d, d), vx_load(border + x), squares);
        }
        structure = v_fma(v_cvt_f32(squares), vx_setall_f32(borderRows[y]), structure);
        extend(difference + Left, cols, mirror);
        extend(sum + Left, cols, mirror);
        for (int x = 0; x < cols; x += Lanes) {
            const short* const d = difference + Left + x;
            const unsigned short* const s = sum + Left + x;
            v_int16 smoothD = v_mul_wrap(vx_load(d), vx_setall_s16(weights.differences[0]));
            v_uint16 smoothS = v_mul_wrap(vx_load(s), vx_setall_u16(weights.sums[0]));
            for (int k = 1; k <= TileKernels::ReachOfDifferences; ++k)
                smoothD = smoothD
                    + v_mul_wrap(
                        vx_load(d - k) + vx_load(d + k), vx_setall_s16(weights.differences[k]));
            for (int k = 1; k <= TileKernels::ReachOfSums; ++k)
                smoothS = smoothS
                    + v_mul_wrap(vx_load(s - k) + vx_load(s + k), vx_setall_u16(weights.sums[k]));
            v_store(differences[y] + x, smoothD);
            v_store(sums[y] + x, smoothS);
        }
    }

    short inside[Stride];
    for (int x = 0; x < Stride; ++x)
        inside[x] = x < cols ? -1 : 0;
    const v_float32 scaleD = vx_setall_f32(1.0F / TileKernels::DifferenceScale);
    const v_float32 scaleS = vx_setall_f32(0.5F / TileKernels::SumScale / TileKernels::SumScale);
    const v_float32 inexact = vx_setall_f32(tolerance);
    const v_float32 c1 = vx_setall_f32(TileKernels::C1);
    const v_float32 inverseC2 = vx_setall_f32(1 / TileKernels::C2);
    const v_float32 one = vx_setall_f32(1);
    const v_float32 zero = vx_setzero_f32();
    const v_uint16 bright = vx_setall_u16(TileKernels::BrightSum);
    v_float32 luminance = zero;
    for (int y = 0; y < rows; ++y) {
        const int* const lines = mirrorRows + y + Radius;
        for (int x = 0; x < cols; x += Lanes) {
            v_uint16 s = v_mul_hi(vx_load(sums[y] + x), vx_setall_u16(ushort(weights.lines[0])));
            for (int k = 1; k <= TileKernels::ReachOfSums; ++k)
                s = s
                    + v_mul_hi(vx_load(sums[lines[-k]] + x) + vx_load(sums[lines[k]] + x),
                        vx_setall_u16(ushort(weights.lines[k])));
            const v_uint16 dark = (s < bright) & v_reinterpret_as_u16(vx_load(inside + x));
            if (!v_check_any(dark))
                continue;
            v_int16 d = v_mul_hi(vx_load(differences[y] + x), vx_setall_s16(weights.lines[0]));
            for (int k = 1; k <= TileKernels::ReachOfDifferences; ++k)
                d = d
                    + v_mul_hi(
                        vx_load(differences[lines[-k]] + x) + vx_load(differences[lines[k]] + x),
                        vx_setall_s16(weights.lines[k]));
            v_uint32 means[2], sizes[2], darkHalves[2];
            v_expand(s, means[0], means[1]);
            v_expand(v_abs(d), sizes[0], sizes[1]);
            v_expand(dark, darkHalves[0], darkHalves[1]);
            for (int half = 0; half < 2; ++half) {
                const v_float32 mean = v_cvt_f32(v_reinterpret_as_s32(means[half]));
                const v_float32 size
                    = v_fma(v_cvt_f32(v_reinterpret_as_s32(sizes[half])), scaleD, inexact);
                const v_float32 m = v_fma(mean * mean, scaleS, c1);
                const v_float32 e = v_max(one / m - inverseC2, zero);
                luminance = luminance
                    + (v_reinterpret_as_f32(darkHalves[half] > vx_setzero_u32())
                        & (e * size * size));
            }
        }
    }
    constexpr float BorderScales = float(TileKernels::BorderScale) * TileKernels::BorderScale;
    return { v_reduce_sum(structure) / BorderScales, v_reduce_sum(luminance) };
}

// The window's weighted sum over eleven rows or columns; at(k) loads the one at the distance k.
template <typename Load> inline v_float32 weightedSum(const v_float32* weights, Load at)
{
    v_float32 sum = weights[0] * at(0);
    for (int k = 1; k <= TileKernels::Radius; ++k)
        sum = v_fma(weights[k], at(-k) + at(k), sum);
    return sum;
}

double tileDissimilarity(const std::uint8_t* a, const std::uint8_t* b, int cols, int rows,
    const float* weights, const int* mirror, const int* mirrorRows)
{
    constexpr int Stride = TileKernels::Stride;
    constexpr int Radius = TileKernels::Radius;
    constexpr int Lanes = v_float32::nlanes;
    enum { Sum, Difference, SumSquared, DifferenceSquared, Quantities };

    // What the variances need of a pair (a, b): the window's means of a+b, a-b and their squares.
    // The sum is centred: the smaller its square, the smaller the rounding of the variance.
    constexpr float Centre = 255;
    float row[Quantities][Left + Stride + Left] = {};
    float lineMeans[Ring][Quantities][Stride];

    v_float32 gauss[Radius + 1];
    for (int k = 0; k <= Radius; ++k)
        gauss[k] = vx_setall_f32(weights[k]);
    float inside[Stride];
    for (int x = 0; x < Stride; ++x)
        inside[x] = x < cols ? 1 : 0;

    const v_float32 centre = vx_setall_f32(Centre);
    const v_float32 half = vx_setall_f32(0.5F);
    const v_float32 c1 = vx_setall_f32(TileKernels::C1);
    const v_float32 c2 = vx_setall_f32(TileKernels::C2);
    v_float32 total = vx_setzero_f32();

    for (int y = 0, next = 0; y < rows; ++y) {
        for (; next < rows && next <= y + Radius; ++next) {
            for (int x = 0; x < cols; x += Lanes) {
                const v_float32 pixelsA
                    = v_cvt_f32(v_reinterpret_as_s32(vx_load_expand_q(a + next * Stride + x)));
                const v_float32 pixelsB
                    = v_cvt_f32(v_reinterpret_as_s32(vx_load_expand_q(b + next * Stride + x)));
                v_store(row[Sum] + Left + x, pixelsA + pixelsB - centre);
                v_store(row[Difference] + Left + x, pixelsA - pixelsB);
            }
            extend(row[Sum] + Left, cols, mirror);
            extend(row[Difference] + Left, cols, mirror);
            for (int x = 0; x < Left + Stride + Left; x += Lanes) {
                const v_float32 sum = vx_load(row[Sum] + x);
                const v_float32 difference = vx_load(row[Difference] + x);
                v_store(row[SumSquared] + x, sum * sum);
                v_store(row[DifferenceSquared] + x, difference * difference);
            }
            for (int x = 0; x < cols; x += Lanes) {
                for (int quantity = 0; quantity < Quantities; ++quantity) {
                    const float* const values = row[quantity] + Left + x;
                    v_store(lineMeans[next % Ring][quantity] + x,
                        weightedSum(gauss, [values](int k) { return vx_load(values + k); }));
                }
            }
        }
        const float* lines[2 * Radius + 1];
        for (int k = 0; k <= 2 * Radius; ++k)
            lines[k] = lineMeans[mirrorRows[y + k] % Ring][0];
        for (int x = 0; x < cols; x += Lanes) {
            v_float32 mean[Quantities];
            for (int quantity = 0; quantity < Quantities; ++quantity) {
                mean[quantity] = weightedSum(gauss, [&lines, quantity, x](int k) {
                    return vx_load(lines[Radius + k] + quantity * Stride + x);
                });
            }
            // With s = a+b, d = a-b: 2·μ1μ2 = (μs² - μd²)/2 and μ1² + μ2² = (μs² + μd²)/2, the same
            // for the variances; so 1 - SSIM = 1 - (1 - μd²/m)·(1 - σd²/v) with m and v as below.
            const v_float32 meanSum = mean[Sum] + centre;
            const v_float32 d = mean[Difference] * mean[Difference];
            const v_float32 m = v_fma(half, v_fma(meanSum, meanSum, d), c1);
            const v_float32 varianceD = mean[DifferenceSquared] - d;
            const v_float32 varianceS = mean[SumSquared] - mean[Sum] * mean[Sum];
            const v_float32 v = v_fma(half, varianceS + varianceD, c2);
            const v_float32 numerator = d * (v - varianceD) + varianceD * m;
            total = v_fma(vx_load(inside + x), numerator / (m * v), total);
        }
    }
    return double(v_reduce_sum(total)) / (cols * rows);
}

constexpr TileKernels kernels{ splitTile, tileStatistics, tileLosses, tileDissimilarity };

} // namespace
