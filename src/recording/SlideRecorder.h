#pragma once

#include <QImage>
#include <QList>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QVariant>

class Presentation;
class SlideProcessor;
class SlideSaver;
class SlideSource;

/// The slide pipeline of one recording: source → processor → saver, each on its own thread, built
/// at the start and deleted when all of them have ended. The object itself lives on the main
/// thread and meets the workers only through queued signals.
///
/// A stop runs down the pipeline: each worker is asked to stop once the one before it has finished
/// and all its results have arrived, so nothing that was captured is lost.
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
    /// Only when started; stopped() follows when everything queued is written.
    void requestStop();
    void freezeSlides();
    void captureSlide();
    void restartSlideTimer();

    // While what they read does not exist, the getters return 0, false or an empty value.
    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] bool isLiveStream() const;
    [[nodiscard]] QString liveStreamPresentationId() const;
    [[nodiscard]] QString liveStreamPresentationTitle() const;
    [[nodiscard]] bool slidesFrozen() const;
    [[nodiscard]] QVariantList slidesResolutions() const;
    [[nodiscard]] qint64 slidesCaptured() const;
    [[nodiscard]] qint64 slidesSaved() const;

signals:
    void started();
    void stopped();
    void slidesFrozenChanged();
    void slidesResolutionsChanged();
    void slidesCapturedChanged();
    void slidesSavedChanged();
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

private:
    void setState(State state);
    void connectPipeline();
    void reportSavingError(const QString& message);

    State m_state = Stopped;
    Presentation* m_presentation = nullptr;
    SlideSource* m_slideSource = nullptr;
    SlideProcessor* m_slideProcessor = nullptr;
    SlideSaver* m_slideSaver = nullptr;

    // Set when QThread::finished has arrived here: everything that the thread emitted before it has
    // arrived as well, since both came through this thread's event queue.
    bool m_sourceFinished = false;
    bool m_processorFinished = false;
    bool m_saverFinished = false;

    // A full disk fails for every slide; the operator is told once until a slide is saved again.
    bool m_savingErrorTold = false;
};
