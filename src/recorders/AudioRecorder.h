#pragma once

#include "settings/AudioInputInfo.h"

#include <QAudio>
#include <QFile>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

class Presentation;
class QAudioSource;

/// Records the selected audio input into "audio.wav" of a presentation.
///
/// Trouble with the device never blocks a recording: the recorder reports started() and, in words,
/// recordingError(). Every start ends in started() or stopped(), every stop in stopped(). Lives on
/// one thread, which needs an event loop; Qt Multimedia writes the samples on the same thread.
class AudioRecorder : public QObject
{
    Q_OBJECT
    Q_PROPERTY(AudioRecorder::State state READ state NOTIFY property_stateChanged)

public:
    enum State { Stopped = 0, Started = 1, Stopping = 2, Starting = 3 };
    Q_ENUM(State)

    explicit AudioRecorder(QObject* parent = nullptr);
    /// Finishes the file of a recording under way.
    ~AudioRecorder() override;

    [[nodiscard]] State state() const { return m_state; }

public slots:
    /// Only a stopped recorder can be started. @p presentation stays with the caller.
    void requestStart(Presentation* presentation);
    void requestStop();
    void start();
    /// Finishes the file and becomes stopped, whatever the state.
    void stop();
    void handleAudioInputStateChange(QAudio::State state);

signals:
    void property_stateChanged(AudioRecorder::State state);
    void started();
    void stopped();
    /// Words for the operator. A trouble that lasts is told once.
    void recordingError(const QString& message);

private:
    void setState(State state);
    void becomeStarted();
    void openSource();
    void releaseSource();
    [[nodiscard]] bool finishFile();
    void checkFlow();
    void reportSilence();
    void reportTrouble(const QString& message);
    [[nodiscard]] bool inputIsConnected() const;

    State m_state = Stopped;
    QPointer<Presentation> m_presentation;
    QFile m_file;
    QAudioSource* m_source = nullptr; ///< our child, while there is a recording with sound
    AudioInputInfo m_input;
    QTimer m_startTimer;
    QTimer m_flowTimer;
    QTimer m_stopTimer;
    qint64 m_knownSize = 0; ///< bytes of the file at the last look
    int m_stillChecks = 0; ///< looks in a row that found no more bytes
    bool m_troubleReported = false;
};
