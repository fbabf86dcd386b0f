#pragma once

#include "processing/BlockingQueue.h"
#include "slidesource/SlideImage.h"

#include <QSize>
#include <QThread>

#include <atomic>

/// Decides which captures are new slides: reduces every frame to a small blurred copy and compares
/// it, tile by tile, with the copy of the capture before it by mean structural similarity.
///
/// addSlides() and requestStop() may be called from any thread and never wait. The signals are
/// emitted on the worker thread. A stop drains: captures that were accepted before it are processed
/// first, then stopped() follows; later ones are refused and their matrices deleted.
class SlideProcessor : public QThread
{
    Q_OBJECT

public:
    SlideProcessor();
    /// Stops and waits, should the thread still run.
    ~SlideProcessor() override;

    /// Captures passed on as new slides. Any thread.
    [[nodiscard]] qint64 capturedSlideCount() const { return m_capturedSlideCount; }
    void updateResolution(int width, int height);

public slots:
    /// Takes over the matrices of @p slides.
    void addSlides(qint64 time, const QList<SlideImage>& slides, bool forceNewSlide);
    void requestStop();

signals:
    void resolutionChanged(const QSize& resolution);
    /// A new slide; the receiver owns the matrices of @p slides.
    void slidesProcessed(qint64 time, const QList<SlideImage>& slides);
    void stopped();
    void capturedSlideCountChanged();
    /// A capture could not be compared, in words for the operator; it was passed on as a new slide.
    void processingError(const QString& message);

protected:
    void run() override;

    /// At most ProcessingWidth pixels wide and smoothed; owned by the caller. A missing or empty
    /// frame gives an empty matrix.
    [[nodiscard]] cv::Mat* preprocessSlide(const cv::Mat* slide) const;
    [[nodiscard]] QList<const cv::Mat*> preprocessSlides(const QList<SlideImage>& slides) const;
    /// Mean structural similarity per channel (unused channels: 0) of two matrices of equal size
    /// and type, after Wang, Bovik, Sheikh and Simoncelli, "Image quality assessment: from error
    /// visibility to structural similarity", IEEE Transactions on Image Processing 13 (2004).
    [[nodiscard]] static cv::Scalar getMSSIM(const cv::Mat& i1, const cv::Mat& i2);
    /// The decision about a tile by getMSSIM() alone; what every shortcut agrees with.
    [[nodiscard]] static bool isPlainlyDifferent(const cv::Mat& before, const cv::Mat& after);
    [[nodiscard]] bool areSlidesDifferent(const cv::Mat* previous, const cv::Mat* current) const;
    /// Takes over the preprocessed @p slides as the reference for the next capture, whatever it
    /// decides, also when the comparison throws.
    [[nodiscard]] bool shouldSaveSlides(const QList<const cv::Mat*>& slides, bool forceNewSlide);
    void processSlides(qint64 time, const QList<SlideImage>& slides, bool forceNewSlide);

    /// Enough to see a changed letter of a slide, little enough for every machine.
    static constexpr int ProcessingWidth = 640;

private:
    struct SlidesToProcess
    {
        qint64 time = 0;
        QList<SlideImage> slides;
        bool forceNewSlide = false;
    };

    [[nodiscard]] bool isNewSlide(const QList<SlideImage>& slides, bool forceNewSlide);

    QSize m_resolution;
    std::atomic<qint64> m_capturedSlideCount = 0;
    BlockingQueue<SlidesToProcess> m_queue;
    QList<const cv::Mat*> m_previousFrames; ///< owned; worker thread only
};
