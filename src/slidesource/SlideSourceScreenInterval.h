#pragma once

#include "slidesource/ScreenGrabber.h"
#include "slidesource/ScreenRegistry.h"
#include "slidesource/SlideSource.h"

/// Grabs every screen of the desktop once a second; one SlideImage per screen, in Qt's order.
///
/// Constructed and destroyed on the GUI thread (it follows the monitors from there); everything
/// else as for SlideSource.
class SlideSourceScreenInterval : public SlideSource
{
    Q_OBJECT

public:
    explicit SlideSourceScreenInterval(const SlidesSourceInfo& info);
    ~SlideSourceScreenInterval() override;

public slots:
    /// Forced capture; the next timed one follows a full interval later. Source thread.
    void captureSlide() override;

protected:
    void run() override;

    void createCaptureTimer();
    void destroyCaptureTimer();
    /// Grabs all screens and emits slidesCaptured(). Source thread.
    void capture(bool forceNewSlide);
    /// A new matrix with pixels of its own (owned by the caller) from a screenshot: BGR for the
    /// formats that screens deliver, empty for images with an alpha channel and for an invalid
    /// image, BGRA with a captureError() for anything else.
    [[nodiscard]] cv::Mat* qImageToCvMat(const QImage& image);

private:
    ScreenRegistry m_screens;
    ScreenGrabber m_grabber; ///< used under the registry's lock
    std::unique_ptr<QTimer> m_captureTimer; ///< exists only while run() does
};
