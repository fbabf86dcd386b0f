#pragma once

#include "slidesource/CameraDevice.h"
#include "slidesource/SlideSource.h"

#include <QElapsedTimer>
#include <QSize>

#include <memory>

class QTimer;

/// Slides from a camera or capture card: once a second the device's current frame.
///
/// Create it on the main thread, where it reads the wanted resolution from the settings. The device
/// is used by a thread of its own (CameraDevice), which this one asks with bounded waits that
/// requestStop() ends. A failed read travels on as an empty frame; the operator is told once until
/// frames come again, and the device is opened anew after five of them, then every ten seconds.
class SlideSourceCamera : public SlideSource
{
    Q_OBJECT

public:
    explicit SlideSourceCamera(const SlidesSourceInfo& info);
    ~SlideSourceCamera() override;

public slots:
    /// Also while the device is being opened or hangs. Any thread, does not wait. A forced capture
    /// still gets its frame, if the device delivers one within a bounded time.
    void requestStop() override;
    void abandon() override;
    /// Captures one frame, also while frozen; refused off the source thread.
    void captureSlide() override;

protected:
    void run() override;
    [[nodiscard]] bool createCamera();
    void destroyCamera();
    void createCaptureTimer();
    void destroyCaptureTimer();

protected slots:
    void capture(bool forceNewSlide);

private:
    /// The size to ask the device for; invalid: its own.
    [[nodiscard]] QSize wantedResolution() const;
    void noteRead(bool succeeded);

    const bool m_useNativeResolution;
    const QSize m_slideSize;
    const CameraDevice::Options m_options;
    Qt::HANDLE m_sourceThread = nullptr;
    std::unique_ptr<QTimer> m_captureTimer;
    // Made with the object, opened by run(): requestStop() may come at any time.
    const std::unique_ptr<CameraDevice> m_camera;
    int m_failedReads = 0;
    QElapsedTimer m_lastReopen;
};
