#include "slidesource/SlideSourceScreenInterval.h"

#include <QDebug>
#include <QMetaEnum>
#include <QTimer>

#include <opencv2/imgproc.hpp>

namespace {

// The image's own pixels under a matrix header; valid as long as the image. OpenCV has no constant
// headers: the result is only read.
cv::Mat wrapped(const QImage& image, int type)
{
    return cv::Mat(image.height(), image.width(), type, const_cast<uchar*>(image.constBits()),
        size_t(image.bytesPerLine()));
}

} // namespace

SlideSourceScreenInterval::SlideSourceScreenInterval(const SlidesSourceInfo& info)
    : SlideSource(info)
{
}

SlideSourceScreenInterval::~SlideSourceScreenInterval() = default;

void SlideSourceScreenInterval::run()
{
    emit slidesFrozenChanged();
    emit slidesResolutionsChanged();
    createCaptureTimer();
    runCaptureLoop(*m_captureTimer);
    destroyCaptureTimer();
    emit stopped();
}

void SlideSourceScreenInterval::createCaptureTimer()
{
    m_captureTimer = newCaptureTimer([this] { capture(false); });
}

void SlideSourceScreenInterval::destroyCaptureTimer()
{
    m_captureTimer.reset();
}

void SlideSourceScreenInterval::captureSlide()
{
    capture(true);
    if (m_captureTimer)
        m_captureTimer->start();
}

void SlideSourceScreenInterval::capture(bool forceNewSlide)
{
    const qint64 time = currentSlideTime();
    QList<SlideImage> slides;
    m_screens.forEach([&](QScreen* screen) { slides.append({ nullptr, m_grabber.grab(screen) }); });
    // Outside the registry's lock: the conversion needs no screen.
    for (SlideImage& slide : slides)
        slide.mat = qImageToCvMat(slide.image);
    updateSlidesResolutions(slides);
    emit slidesCaptured(time, slides, forceNewSlide);
}

cv::Mat* SlideSourceScreenInterval::qImageToCvMat(const QImage& image)
{
    auto mat = std::make_unique<cv::Mat>();
    try {
        switch (image.format()) {
        case QImage::Format_Invalid:
        // A screen has nothing to be transparent to. Such a grab is kept as an image but takes no
        // part in the search for new slides: its matrix stays empty.
        case QImage::Format_ARGB32:
        case QImage::Format_ARGB32_Premultiplied:
            break;
        case QImage::Format_RGB32:
            cv::cvtColor(wrapped(image, CV_8UC4), *mat, cv::COLOR_BGRA2BGR);
            break;
        case QImage::Format_RGB888:
            cv::cvtColor(wrapped(image, CV_8UC3), *mat, cv::COLOR_RGB2BGR);
            break;
        default:
            qWarning() << "[SlideSourceScreenInterval]"
                       << "unhandled screenshot image format"
                       << QMetaEnum::fromType<QImage::Format>().valueToKey(image.format());
            wrapped(image.convertToFormat(QImage::Format_ARGB32), CV_8UC4).copyTo(*mat);
            emit captureError(tr("Invalid screenshot format. Recorded slides can be corrupted or "
                                 "have broken colors."));
        }
    } catch (const std::exception& exception) {
        qWarning() << "[SlideSourceScreenInterval]"
                   << "converting a screenshot failed" << exception.what();
        mat->release();
        emit captureError(tr("A screenshot could not be converted. This slide may be missed; close "
                             "other programs if memory is short."));
    }
    return mat.release();
}
