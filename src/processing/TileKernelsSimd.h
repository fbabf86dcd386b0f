#pragma once

// The bodies of TileKernels in OpenCV's universal intrinsics, as wide as the including file is
// compiled for. No inline function of another header may be used here but those intrinsics.

#include "processing/TileKernels.h"

#include <opencv2/core/hal/intrin.hpp>

namespace {

using namespace cv;

void splitTile(const std::uint8_t* pixels, std::size_t step, int channels, int cols, int rows,
    std::uint8_t* const planes[3])
{
    constexpr int Lanes = v_uint8x16::nlanes;
    for (int offset = 0; offset < rows * TileKernels::Stride; offset += TileKernels::Stride) {
        // The last step overlaps the one before it and ends with the row.
        for (int x = 0; cols >= Lanes; x = x + 2 * Lanes <= cols ? x + Lanes : cols - Lanes) {
            v_uint8x16 first, second, third, fourth;
            if (channels == 3)
                v_load_deinterleave(pixels + 3 * x, first, second, third);
            else
                v_load_deinterleave(pixels + 4 * x, first, second, third, fourth);
            v_store(planes[0] + offset + x, first);
            v_store(planes[1] + offset + x, second);
            v_store(planes[2] + offset + x, third);
            if (x + Lanes == cols)
                break;
        }
        for (int x = 0; x < cols && cols < Lanes; ++x) {
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

template <typename Load> inline v_int16 smoothed(Load at)
{
    const v_int16 near = at(-1) + at(1);
    return v_shl<3>(at(0) + near) - near + v_shl<2>(at(-2) + at(2)) + (at(-3) + at(3));
}

TileKernels::Differences tileDifferences(const std::uint8_t* a, const std::uint8_t* b, int cols,
    int rows, const float* border, const float* borderRows, const int* mirror,
    const int* mirrorRows)
{
    constexpr int Stride = TileKernels::Stride;
    constexpr int Radius = TileKernels::Radius;
    constexpr int Lanes = v_int16::nlanes;
    short row[Left + Stride + Left] = {};
    short lines[Ring][Stride];
    short inside[Stride];
    for (int x = 0; x < Stride; ++x)
        inside[x] = x < cols ? -1 : 0;
    v_float32 squares = vx_setzero_f32();
    v_float32 total = vx_setzero_f32();
    for (int y = 0, next = 0; y < rows; ++y) {
        for (; next < rows && next <= y + 3; ++next) {
            short* const values = row + Left;
            const v_float32 rowWeight = vx_setall_f32(borderRows[next]);
            for (int x = 0; x < cols; x += Lanes) {
                const v_uint16 pixelsA = vx_load_expand(a + next * Stride + x);
                const v_uint16 pixelsB = vx_load_expand(b + next * Stride + x);
                const v_int16 d = v_reinterpret_as_s16(pixelsA) - v_reinterpret_as_s16(pixelsB);
                v_store(values + x, d);
                v_int32 low, high;
                v_mul_expand(d, d, low, high);
                const v_float32 weightedLow = v_cvt_f32(low) * vx_load(border + x);
                const v_float32 weighted
                    = v_fma(v_cvt_f32(high), vx_load(border + x + v_float32::nlanes), weightedLow);
                squares = v_fma(weighted, rowWeight, squares);
            }
            for (int k = 1; k <= 3; ++k) {
                values[-k] = values[mirror[Radius - k]];
                values[cols - 1 + k] = values[mirror[Radius + cols - 1 + k]];
            }
            for (int x = 0; x < cols; x += Lanes)
                v_store(lines[next % Ring] + x,
                    smoothed([values, x](int k) { return vx_load(values + x + k); }));
        }
        for (int x = 0; x < cols; x += Lanes) {
            const v_int16 value = vx_load(inside + x) & smoothed([&lines, mirrorRows, x, y](int k) {
                return vx_load(lines[mirrorRows[y + Radius + k] % Ring] + x);
            });
            total = total + v_cvt_f32(v_dotprod(value, value));
        }
    }
    return { v_reduce_sum(squares), v_reduce_sum(total) };
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
    const v_float32 c1 = vx_setall_f32(6.5025F);
    const v_float32 c2 = vx_setall_f32(58.5225F);
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
            for (int quantity : { Sum, Difference }) {
                float* const values = row[quantity] + Left;
                for (int k = 1; k <= Radius; ++k) {
                    values[-k] = values[mirror[Radius - k]];
                    values[cols - 1 + k] = values[mirror[Radius + cols - 1 + k]];
                }
            }
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

constexpr TileKernels kernels{ splitTile, tileStatistics, tileDifferences, tileDissimilarity };

} // namespace
