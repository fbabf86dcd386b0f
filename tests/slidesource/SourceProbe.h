#pragma once

#include "slidesource/SlideSource.h"

#include <QtTest>

#include <memory>

/// A source and what came from it, received on the test's thread as a recording does.
class SourceProbe : public QObject
{
public:
    struct Capture
    {
        qint64 time = 0;
        bool forced = false;
        bool sharesPixels = false; ///< each picture with its matrix
        QList<QImage> images;
        QList<cv::Mat> mats; ///< the heap matrices themselves are deleted already
    };

    explicit SourceProbe(const SlidesSourceInfo& info)
        : source(SlideSource::create(info))
    {
        connect(source.get(), &SlideSource::slidesCaptured, this,
            [this](qint64 time, const QList<SlideImage>& slides, bool forced) {
                captures.append({ time, forced, true, {}, {} });
                Capture& capture = captures.last();
                for (const SlideImage& slide : slides) {
                    capture.sharesPixels &= slide.image.constBits() == slide.mat->data;
                    capture.images.append(slide.image);
                    capture.mats.append(*slide.mat);
                }
                deleteMatrices(slides);
            });
        connect(source.get(), &SlideSource::captureError, this,
            [this](const QString& error) { errors.append(error); });
        connect(source.get(), &SlideSource::ready, this, [this] { ++ready; });
        connect(source.get(), &SlideSource::stopped, this, [this] { ++stopped; });
    }
    ~SourceProbe() override
    {
        source->requestStop();
        source->wait();
        QCoreApplication::sendPostedEvents(this); // matrices on their way
    }

    bool becomesReady()
    {
        source->start();
        return QTest::qWaitFor([this] { return ready == 1; });
    }
    /// One forced capture, and all that it led to.
    void force()
    {
        captures.clear();
        QMetaObject::invokeMethod(
            source.get(), &SlideSource::captureSlide, Qt::BlockingQueuedConnection);
        QCoreApplication::sendPostedEvents(this);
    }
    QImage forcedImage()
    {
        force();
        return captures.isEmpty() ? QImage() : captures.last().images.first();
    }
    bool stopsPromptly()
    {
        QElapsedTimer timer;
        timer.start();
        source->requestStop();
        return source->wait(5000) && timer.elapsed() < 1000;
    }

    std::unique_ptr<SlideSource> source;
    QList<Capture> captures;
    QStringList errors;
    int ready = 0;
    int stopped = 0;
};
