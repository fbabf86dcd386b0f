#pragma once

#include "slidesource/SlidesSourceInfo.h"
#include <QDir>

#include <QImage>
#include <QList>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QVariant>

class LiveStream;
class Presentation;
class SlideProcessor;
class SlideSaver;
class SlideSource;

/// The slide pipeline of one recording: source → processor → saver, each on its own thread, built
/// at the start and deleted when all of them have ended. The object itself lives on the main
/// thread and meets the workers only through queued signals.
///
/// For a live stream the service is asked first; the pipeline is built when the stream exists, and
/// its saver hands every written slide on to the stream.
///
/// A stop runs down the pipeline: each worker is asked to stop once the one before it has finished
/// and all its results have arrived, so nothing that was captured is lost, and every slide that was
/// written is offered to the live stream before that ends.
class SlideRecorder : public QObject
{
    Q_OBJECT
    Q_PROPERTY(SlideRecorder::State state READ state NOTIFY property_stateChanged)

public:
    enum State { Stopped = 0, Started = 1, Stopping = 2, Starting = 3 };
    Q_ENUM(State)

    explicit SlideRecorder(QObject* parent = nullptr);
    ~SlideRecorder() override;

    /// @p presentation is borrowed and must live until stopped().
    void requestStart(Presentation* presentation);
    /// Only when started (not while a live stream is being created); stopped() follows when
    /// everything queued is written.
    void requestStop();
    void freezeSlides();
    void captureSlide();
    void restartSlideTimer();

    // While what they read does not exist, the getters return 0, false or an empty value.
    [[nodiscard]] State state() const { return m_state; }
    /// Of this recording, or the last one: what was chosen when its start was requested.
    [[nodiscard]] const SlidesSourceInfo& slidesSourceInfo() const { return m_sourceInfo; }
    /// The pipeline exists and its saver has not written its last slide.
    [[nodiscard]] bool isWriting() const { return m_slideSaver && !m_saverFinished; }
    [[nodiscard]] bool isLiveStream() const;
    [[nodiscard]] QString liveStreamPresentationId() const;
    [[nodiscard]] QString liveStreamPresentationTitle() const;
    [[nodiscard]] int liveStreamPresentationStreamVersion() const;
    [[nodiscard]] qint64 liveStreamPresentationStreamStart() const;
    [[nodiscard]] bool slidesFrozen() const;
    [[nodiscard]] QVariantList slidesResolutions() const;
    [[nodiscard]] qint64 slidesCaptured() const;
    [[nodiscard]] qint64 slidesSaved() const;
    [[nodiscard]] qint64 slidesToUpload() const;
    [[nodiscard]] qint64 slidesUploaded() const;
    [[nodiscard]] qint64 slidesUploadFailed() const;
    [[nodiscard]] qint64 slideInfoWebSuccessCount() const;
    [[nodiscard]] qint64 slideInfoWebFailCount() const;
    [[nodiscard]] bool lastSlideInfoWebSuccess() const;
    [[nodiscard]] QNetworkReply::NetworkError lastSlideInfoWebError() const;
    [[nodiscard]] QString lastSlideInfoWebErrorString() const;

signals:
    void started();
    void stopped();
    void slidesFrozenChanged();
    void slidesResolutionsChanged();
    void slidesCapturedChanged();
    void slidesSavedChanged();
    void slidesToUploadChanged();
    void slidesUploadedChanged();
    void slidesUploadFailedChanged();
    void slideInfoWebSuccessCountChanged();
    void slideInfoWebFailCountChanged();
    void lastSlideInfoWebSuccessChanged();
    void lastSlideInfoWebErrorChanged();
    void lastSlideInfoWebErrorStringChanged();
    /// After stopped(): the service refused the stream, or cannot be reached.
    void liveStreamStartFailed(const QString& message);
    void recordingError(const QString& message);
    /// The images of the newest slide; they share no pixels with the pipeline.
    void slidesCapturedSignal(const QList<QImage>& images);
    void property_stateChanged(SlideRecorder::State state);

private slots:
    void start();
    void stop();
    void checkStop();
    void slideSourceStopped();
    void slideProcessorStopped();
    void slideSaverStopped();
    void liveStreamStopped();
    void onLiveStreamStartFailed(const QString& message);

private:
    void setState(State state);
    void createLiveStream();
    void retireLiveStream();
    [[nodiscard]] QDir saveDirectory() const;
    void connectPipeline();
    void reportSavingError(const QString& message);

    State m_state = Stopped;
    Presentation* m_presentation = nullptr;
    SlidesSourceInfo m_sourceInfo; ///< chosen when the start was requested
    SlideSource* m_slideSource = nullptr;
    SlideProcessor* m_slideProcessor = nullptr;
    SlideSaver* m_slideSaver = nullptr;
    LiveStream* m_liveStream = nullptr;

    // Set when QThread::finished has arrived here: everything that the thread emitted before it has
    // arrived as well, since both came through this thread's event queue.
    bool m_sourceFinished = false;
    bool m_processorFinished = false;
    bool m_saverFinished = false;

    // A full disk fails for every slide; the operator is told once until a slide is saved again.
    bool m_savingErrorTold = false;
    bool m_processingErrorTold = false;
};
