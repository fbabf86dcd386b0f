#pragma once

#include "processing/SlideProcessor.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <memory>

class ComparingProcessor : public SlideProcessor
{
public:
    using SlideProcessor::areSlidesDifferent;
    using SlideProcessor::isPlainlyDifferent;
    using SlideProcessor::preprocessSlide;
};

enum class Change { None, Noise, NoiseInBoth, StrongNoise, NewSlide };

/// Two preprocessed frames and what is known of them.
class Comparison
{
public:
    Comparison(const cv::Mat& frame, Change change)
        : m_change(change)
    {
        const bool noise = change != Change::None && change != Change::NewSlide;
        const double sigma = change == Change::StrongNoise ? 3 : 2;
        const cv::Mat first = change == Change::NoiseInBoth ? noisy(frame, sigma) : frame;
        cv::Mat next = noise ? noisy(frame, sigma) : frame.clone();
        if (change == Change::NewSlide) // the worst case: found in the middle of the search
            cv::circle(next, { next.cols / 2, next.rows / 2 }, next.rows / 10, { 0, 0, 0 }, -1);
        m_previous.reset(m_processor.preprocessSlide(&first));
        m_current.reset(m_processor.preprocessSlide(&next));
    }

    /// Compares once, without any shortcut if @p plainly.
    [[nodiscard]] bool decidesWell(bool plainly) const
    {
        const bool different = plainly
            ? arePlainlyDifferent(*m_previous, *m_current)
            : m_processor.areSlidesDifferent(m_previous.get(), m_current.get());
        return different == (m_change == Change::NewSlide);
    }

private:
    static cv::Mat noisy(const cv::Mat& frame, double sigma)
    {
        cv::Mat noise(frame.size(), CV_16SC3);
        cv::theRNG().fill(noise, cv::RNG::NORMAL, 0, sigma);
        cv::Mat result;
        cv::add(frame, noise, result, cv::noArray(), CV_8U);
        return result;
    }
    static bool arePlainlyDifferent(const cv::Mat& previous, const cv::Mat& current)
    {
        for (int x = 0; x < current.cols; x += 50) {
            for (int y = 0; y < current.rows; y += 50) {
                const cv::Rect tile(
                    x, y, std::min(50, current.cols - x), std::min(50, current.rows - y));
                if (ComparingProcessor::isPlainlyDifferent(previous(tile), current(tile)))
                    return true;
            }
        }
        return false;
    }

    const Change m_change;
    const ComparingProcessor m_processor;
    std::unique_ptr<cv::Mat> m_previous;
    std::unique_ptr<cv::Mat> m_current;
};
