#pragma once

#include "slidesource/NdiRuntime.h"
#include "slidesource/SlideSource.h"

#include <opencv2/core/mat.hpp>

#include <memory>

class QTimer;

/// Slides from one NDI source: once a second the newest frame that the receiver holds.
///
/// The receiver belongs to the source thread and never blocks it. A sender that goes away is not an
/// error: the receiver connects again by itself when it is back.
class SlideSourceNDI : public SlideSource
{
    Q_OBJECT

public:
    explicit SlideSourceNDI(const SlidesSourceInfo& info);
    ~SlideSourceNDI() override;

public slots:
    /// Captures the newest frame, also while frozen; refused off the source thread.
    void captureSlide() override;

protected:
    void run() override;
    [[nodiscard]] bool createNDISource();
    void destroyNDISource();
    void createCaptureTimer();
    void destroyCaptureTimer();

protected slots:
    void capture(bool forceNewSlide);

private:
    /// Takes everything that the receiver holds, frees it, and copies the newest of it if that is a
    /// picture. Returns the type of the newest thing.
    [[nodiscard]] int takeNewest(cv::Mat& picture);

    Qt::HANDLE m_sourceThread = nullptr;
    std::unique_ptr<QTimer> m_captureTimer;
    NdiRuntime::Receiver m_receiver = nullptr;
};
