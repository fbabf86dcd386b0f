#include "processing/SlideProcessor.h"
#include "processing/TileComparison.h"

#include <QDebug>
#include <QElapsedTimer>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <memory>
#include <utility>

namespace {

cv::Mat gaussian(const cv::Mat& mat)
{
    cv::Mat result;
    cv::GaussianBlur(mat, result, cv::Size(11, 11), 1.5);
    return result;
}

} // namespace

SlideProcessor::SlideProcessor() = default;

SlideProcessor::~SlideProcessor()
{
    requestStop();
    wait();
    const QList<SlidesToProcess> left = m_queue.takeAll();
    for (const SlidesToProcess& capture : left)
        deleteMatrices(capture.slides);
    qDeleteAll(m_previousFrames);
}

void SlideProcessor::updateResolution(int width, int height)
{
    if (m_resolution.width() >= 0 && m_resolution.height() >= 0
        && m_resolution == QSize(width, height))
        return;
    m_resolution = QSize(width, height);
    emit resolutionChanged(m_resolution);
}

void SlideProcessor::addSlides(qint64 time, const QList<SlideImage>& slides, bool forceNewSlide)
{
    if (!m_queue.push({ time, slides, forceNewSlide }))
        deleteMatrices(slides);
}

void SlideProcessor::requestStop()
{
    m_queue.close();
}

void SlideProcessor::run()
{
    emit capturedSlideCountChanged();
    qsizetype remaining = 0;
    while (const auto capture = m_queue.pop(&remaining)) {
        qDebug() << "[SlideProcessor]" << remaining << "slides in queue";
        processSlides(capture->time, capture->slides, capture->forceNewSlide);
    }
    emit stopped();
}

cv::Mat* SlideProcessor::preprocessSlide(const cv::Mat* slide) const
{
    QElapsedTimer timer;
    timer.start();
    auto result = std::make_unique<cv::Mat>();
    if (slide && !slide->empty()) {
        cv::Mat source = *slide; // shares the pixels
        if (slide->cols > ProcessingWidth) {
            // Truncated, not rounded; at least one row, which a very flat frame would not leave.
            const int height
                = std::max(1, int(ProcessingWidth / (double(slide->cols) / slide->rows)));
            cv::Mat resized;
            cv::resize(source, resized, cv::Size(ProcessingWidth, height), 0, 0, cv::INTER_LINEAR);
            source = resized;
            qDebug() << "[SlideProcessor]"
                     << "processing resolution is width" << ProcessingWidth << "and height"
                     << height;
        }
        cv::blur(source, *result, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_DEFAULT);
    }
    qDebug() << "[SlideProcessor]"
             << "slide preprocessed in" << timer.elapsed() << "ms";
    return result.release();
}

QList<const cv::Mat*> SlideProcessor::preprocessSlides(const QList<SlideImage>& slides) const
{
    QList<const cv::Mat*> frames;
    frames.reserve(slides.size());
    try {
        for (const SlideImage& slide : slides)
            frames.append(preprocessSlide(slide.mat));
    } catch (...) {
        qDeleteAll(frames);
        throw;
    }
    return frames;
}

cv::Scalar SlideProcessor::getMSSIM(const cv::Mat& i1, const cv::Mat& i2)
{
    // (K1·L)² and (K2·L)² with K1 = 0.01, K2 = 0.03, L = 255; added to every channel explicitly,
    // because a matrix and a bare number meet in the first channel only.
    const cv::Scalar c1 = cv::Scalar::all(6.5025);
    const cv::Scalar c2 = cv::Scalar::all(58.5225);

    cv::Mat a;
    cv::Mat b;
    i1.convertTo(a, CV_32F);
    i2.convertTo(b, CV_32F);

    const cv::Mat mu1 = gaussian(a);
    const cv::Mat mu2 = gaussian(b);
    const cv::Mat mu1Squared = mu1.mul(mu1);
    const cv::Mat mu2Squared = mu2.mul(mu2);
    const cv::Mat mu1mu2 = mu1.mul(mu2);
    const cv::Mat sigma1Squared = gaussian(a.mul(a)) - mu1Squared;
    const cv::Mat sigma2Squared = gaussian(b.mul(b)) - mu2Squared;
    const cv::Mat sigma12 = gaussian(a.mul(b)) - mu1mu2;

    const cv::Mat luminance = 2 * mu1mu2 + c1;
    const cv::Mat structure = 2 * sigma12 + c2;
    const cv::Mat luminanceNorm = mu1Squared + mu2Squared + c1;
    const cv::Mat structureNorm = sigma1Squared + sigma2Squared + c2;
    cv::Mat map;
    cv::divide(luminance.mul(structure), luminanceNorm.mul(structureNorm), map);
    return cv::mean(map);
}

bool SlideProcessor::isPlainlyDifferent(const cv::Mat& before, const cv::Mat& after)
{
    const cv::Scalar similarity = getMSSIM(before, after);
    return std::min({ similarity[0], similarity[1], similarity[2] }) < TileComparison::Threshold;
}

bool SlideProcessor::areSlidesDifferent(const cv::Mat* previous, const cv::Mat* current) const
{
    if (current->cols < 1 || current->rows < 1)
        return false;
    // A camera that changed its mode, a monitor that changed its resolution: nothing to compare.
    if (previous->size() != current->size() || previous->type() != current->type())
        return true;
    // The channels that a frame lacks count as similarity 0.
    if (current->channels() < 3)
        return true;

    // A change of one letter must not drown in the rest of the frame: similarity is averaged over
    // small tiles, not over the frame.
    constexpr int TileSize = TileComparison::TileSize;
    TileComparison tiles;
    for (int x = 0; x < current->cols; x += TileSize) {
        for (int y = 0; y < current->rows; y += TileSize) {
            const cv::Rect tile(
                x, y, std::min(TileSize, current->cols - x), std::min(TileSize, current->rows - y));
            const cv::Mat before = (*previous)(tile);
            const cv::Mat after = (*current)(tile);
            const TileComparison::Verdict verdict = tiles.compare(before, after);
            if (verdict == TileComparison::Verdict::Different
                || (verdict == TileComparison::Verdict::Undecided
                    && isPlainlyDifferent(before, after)))
                return true;
        }
    }
    return false;
}

bool SlideProcessor::shouldSaveSlides(const QList<const cv::Mat*>& slides, bool forceNewSlide)
{
    struct Frames
    {
        ~Frames() { qDeleteAll(list); }
        const QList<const cv::Mat*> list;
    } previous{ std::exchange(m_previousFrames, slides) };

    if (forceNewSlide || slides.size() != previous.list.size())
        return true;
    for (qsizetype i = 0; i < slides.size(); ++i) {
        if (areSlidesDifferent(previous.list[i], slides[i]))
            return true;
    }
    return false;
}

bool SlideProcessor::isNewSlide(const QList<SlideImage>& slides, bool forceNewSlide)
{
    bool preprocessed = false;
    try {
        const QList<const cv::Mat*> frames = preprocessSlides(slides);
        preprocessed = true;
        return shouldSaveSlides(frames, forceNewSlide);
    } catch (const std::exception& exception) {
        // A slide too many can be deleted later, a lost one is lost: keep it and go on.
        qWarning() << "[SlideProcessor]"
                   << "comparing slides failed" << exception.what();
        emit processingError(tr("A slide could not be compared with the one before it and was kept "
                                "as a new slide (%1). If this goes on, close other programs or "
                                "choose another slide source.")
                                 .arg(QString::fromLocal8Bit(exception.what())));
        if (!preprocessed) {
            // Without a copy of this capture there is no reference for the next one.
            qDeleteAll(m_previousFrames);
            m_previousFrames.clear();
        }
        return true;
    }
}

void SlideProcessor::processSlides(qint64 time, const QList<SlideImage>& slides, bool forceNewSlide)
{
    if (!isNewSlide(slides, forceNewSlide)) {
        deleteMatrices(slides);
        return;
    }
    ++m_capturedSlideCount;
    emit capturedSlideCountChanged();
    QElapsedTimer timer;
    timer.start();
    emit slidesProcessed(time, slides);
    qDebug() << "[SlideProcessor]"
             << "slides processed in" << timer.elapsed() << "ms";
}
