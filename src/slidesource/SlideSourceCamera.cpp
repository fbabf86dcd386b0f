#include "slidesource/SlideSourceCamera.h"

#include "settings/RecorderSettings.h"

#include <QDebug>
#include <QTimer>

namespace {

constexpr int SmallestSlideSize = 100; // the width or height must exceed it
constexpr int FailedReadsBeforeReopen = 5;

} // namespace

SlideSourceCamera::SlideSourceCamera(const SlidesSourceInfo& info)
    : SlideSource(info)
    , m_useNativeResolution(RecorderSettings::instance()->useNativeSlideSourceResolution())
    , m_slideSize(
          RecorderSettings::instance()->slideWidth(), RecorderSettings::instance()->slideHeight())
    , m_options(CameraDevice::defaultOptions())
    , m_camera(std::make_unique<CameraDevice>(info.index(), wantedResolution(), m_options))
{
}

SlideSourceCamera::~SlideSourceCamera() = default;

void SlideSourceCamera::requestStop()
{
    m_camera->interrupt();
    SlideSource::requestStop();
}

void SlideSourceCamera::abandon()
{
    m_camera->letGo();
    SlideSource::requestStop();
}

void SlideSourceCamera::run()
{
    emit slidesFrozenChanged();
    emit slidesResolutionsChanged();
    if (!createCamera()) {
        destroyCamera();
        return;
    }
    m_sourceThread = currentThreadId();
    createCaptureTimer();
    runCaptureLoop(*m_captureTimer);
    destroyCaptureTimer();
    destroyCamera();
    emit stopped();
}

QSize SlideSourceCamera::wantedResolution() const
{
    const bool usable = !m_useNativeResolution && m_slideSize.width() > SmallestSlideSize
        && m_slideSize.height() > SmallestSlideSize;
    return usable ? m_slideSize : QSize();
}

bool SlideSourceCamera::createCamera()
{
    m_camera->open();
    if (m_useNativeResolution) {
        qDebug() << "[SlideSourceCamera]"
                 << "using native slide source resolution";
    } else if (wantedResolution().isValid()) {
        qDebug() << "[SlideSourceCamera]"
                 << "setting source resolution to" << m_slideSize.width() << "x"
                 << m_slideSize.height();
    } else {
        qDebug() << "[SlideSourceCamera]"
                 << "no resolution set";
        emit captureError(tr("Invalid resolution set in Settings. Slides will be captured in "
                             "slide source native resolution."));
    }

    CameraDevice::State state = m_camera->waitOpened(m_options.slowOpenMs);
    if (state == CameraDevice::State::Opening) {
        emit captureError(tr("The camera does not answer yet. Slides will be captured as soon as "
                             "it does; otherwise check its cable and which program uses it."));
        state = m_camera->waitOpened(m_options.openTimeoutMs - m_options.slowOpenMs);
    }
    if (state == CameraDevice::State::Open || state == CameraDevice::State::Interrupted)
        return state == CameraDevice::State::Open;
    qWarning() << "[SlideSourceCamera]"
               << "opening camera failed";
    emit captureError(tr("Opening camera device failed. No slides will be captured."));
    return false;
}

void SlideSourceCamera::destroyCamera()
{
    m_camera->close();
}

void SlideSourceCamera::createCaptureTimer()
{
    m_captureTimer = newCaptureTimer([this] { capture(false); });
}

void SlideSourceCamera::destroyCaptureTimer()
{
    m_captureTimer.reset();
}

void SlideSourceCamera::captureSlide()
{
    if (currentThreadId() != m_sourceThread) {
        qWarning() << "[SlideSourceCamera]"
                   << "captureSlide can only be called from the slide source thread";
        return;
    }
    capture(true);
}

void SlideSourceCamera::capture(bool forceNewSlide)
{
    const qint64 time = currentSlideTime();
    // The operator wants the slide that was asked for, also when the recording is stopped
    // meanwhile.
    const cv::Mat frame = m_camera->read(forceNewSlide ? CameraDevice::Patience::UntilLetGo
                                                       : CameraDevice::Patience::UntilInterrupted);
    if (frame.empty() && m_camera->interrupted())
        return;
    noteRead(!frame.empty());
    const QList<SlideImage> slides{ SlideImage{
        new cv::Mat(frame), sharedImage(frame, QImage::Format_BGR888) } };
    updateSlidesResolutions(slides);
    emit slidesCaptured(time, slides, forceNewSlide);
}

void SlideSourceCamera::noteRead(bool succeeded)
{
    if (succeeded) {
        m_failedReads = 0;
        m_lastReopen.invalidate();
        return;
    }
    ++m_failedReads;
    if (m_failedReads == 1) {
        qWarning() << "[SlideSourceCamera]"
                   << "reading a frame failed";
        emit captureError(
            tr("The camera delivers no picture. Check its cable and its power; slides will be "
               "captured again as soon as it delivers."));
    }
    const bool due = !m_lastReopen.isValid() || m_lastReopen.hasExpired(m_options.reopenIntervalMs);
    if (m_failedReads >= FailedReadsBeforeReopen && due) {
        qDebug() << "[SlideSourceCamera]"
                 << "opening the camera again after" << m_failedReads << "failed reads";
        m_lastReopen.start();
        m_camera->requestReopen();
    }
}
