#pragma once

#include "recorders/AudioRecorder.h"
#include "recorders/MouseRecorder.h"
#include "recorders/ScreenGeometryRecorder.h"
#include "recording/SlideRecorder.h"
#include "web/VMixApiPoller.h"

#include <QDateTime>
#include <QImage>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <chrono>

class Presentation;
class RecordingKeeper;

/// Runs one recording at a time: makes its presentation, starts the recorders in the order that
/// gives them one time origin, and reports the end when every one of them has stopped.
/// Lives on the main thread; the recorders it holds do their heavy work on threads of their own.
class Recorder : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Recorder::State state READ state NOTIFY property_stateChanged)

public:
    enum State { Stopped = 0, Started = 1, Stopping = 2, Starting = 3 };
    Q_ENUM(State)

    explicit Recorder(QObject* parent = nullptr);

    [[nodiscard]] State state() const { return m_state; }
    /// Something is still to come into the recording's files, not only to the service.
    [[nodiscard]] bool isWriting() const;
    /// After stopped(): until the last bytes of the recording are on the disk and it is no longer
    /// marked as one under way. Only a disk that hangs needs all of @p timeout.
    void waitForKeepers(std::chrono::milliseconds timeout);
    [[nodiscard]] bool isLiveStream() const { return m_slideRecorder.isLiveStream(); }
    [[nodiscard]] SlidesSourceInfo slidesSourceInfo() const
    {
        return m_slideRecorder.slidesSourceInfo();
    }
    [[nodiscard]] QString liveStreamPresentationId() const;
    [[nodiscard]] QString liveStreamPresentationTitle() const;
    [[nodiscard]] bool slidesFrozen() const { return m_slideRecorder.slidesFrozen(); }
    [[nodiscard]] QVariantList slidesResolutions() const;
    [[nodiscard]] qint64 slidesCaptured() const { return m_slideRecorder.slidesCaptured(); }
    [[nodiscard]] qint64 slidesSaved() const { return m_slideRecorder.slidesSaved(); }
    [[nodiscard]] qint64 slidesToUpload() const { return m_slideRecorder.slidesToUpload(); }
    [[nodiscard]] qint64 slidesUploaded() const { return m_slideRecorder.slidesUploaded(); }
    [[nodiscard]] qint64 slidesUploadFailed() const { return m_slideRecorder.slidesUploadFailed(); }
    [[nodiscard]] qint64 slideInfoWebSuccessCount() const
    {
        return m_slideRecorder.slideInfoWebSuccessCount();
    }
    [[nodiscard]] qint64 slideInfoWebFailCount() const
    {
        return m_slideRecorder.slideInfoWebFailCount();
    }
    [[nodiscard]] bool lastSlideInfoWebSuccess() const;
    [[nodiscard]] QNetworkReply::NetworkError lastSlideInfoWebError() const;
    [[nodiscard]] QString lastSlideInfoWebErrorString() const;
    [[nodiscard]] qint64 mousePositionX() const { return m_mouseRecorder.positionX(); }
    [[nodiscard]] qint64 mousePositionY() const { return m_mouseRecorder.positionY(); }

signals:
    void started();
    void stopped();
    void slidesCapturedSignal(const QList<QImage>& images);
    void presentationCreated(Presentation* presentation);
    void property_stateChanged(Recorder::State state);
    void liveStreamStartFailed(const QString& message);
    void recordingError(const QString& message);
    void slidesFrozenChanged();
    void slidesResolutionsChanged();
    void slidesCapturedChanged();
    void slidesSavedChanged();
    /// A disk, perhaps a slow one, has taken some more: of the pointer's positions, and while
    /// stopping of the sound. For slides there is slidesSavedChanged().
    void moreSaved();
    void slidesToUploadChanged();
    void slidesUploadedChanged();
    void slidesUploadFailedChanged();
    void slideInfoWebSuccessCountChanged();
    void slideInfoWebFailCountChanged();
    void lastSlideInfoWebSuccessChanged();
    void lastSlideInfoWebErrorChanged();
    void lastSlideInfoWebErrorStringChanged();
    void mousePositionChanged();

public slots:
    /// Starts a recording. When no presentation can be made, returns with the state unchanged and
    /// without a signal. Ignored while a recording is under way.
    void requestStart(
        bool liveStream, bool connectToExistingLiveStream, const QString& livestreamPresentationId);
    /// Also while starting; stopped() follows when every recorder has stopped.
    void requestStop();
    void freezeSlides();
    void captureSlide();
    void slideRecorderStarted();
    void slideRecorderStopped();
    void audioRecorderStarted();
    void audioRecorderStopped();
    void mouseRecorderStopped();
    void screenGeometryRecorderStopped();
    void checkStart();
    void start();
    void checkStop();
    void stop();
    /// Tells the service what the recording of a live stream is doing; its answer schedules the
    /// next.
    void sendWebApiPingData();

private:
    void setState(State state);
    void connectSlideRecorder();
    void connectSideRecorders();
    void sideRecorderStarted();
    void schedulePing();
    [[nodiscard]] bool isEnding() const;

    State m_state = Stopped;
    /// The recording's presentation while it runs. Earlier ones stay this object's children.
    Presentation* m_presentation = nullptr;
    /// Our child: it goes after the recorders below, whose last bytes it takes to the disk.
    RecordingKeeper* m_keeper = nullptr;
    SlideRecorder m_slideRecorder;
    AudioRecorder m_audioRecorder;
    MouseRecorder m_mouseRecorder;
    ScreenGeometryRecorder m_screenGeometryRecorder;
    VMixApiPoller m_vMixApiPoller;
    QTimer m_pingTimer;
    QDateTime m_recordingStart; ///< UTC; invalid when idle
    QStringList m_recordingErrors;
};
