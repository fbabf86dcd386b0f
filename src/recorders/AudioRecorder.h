#pragma once

#include "settings/AudioInputInfo.h"

#include <QAudio>
#include <QAudioFormat>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

class AudioSaver;
class Presentation;
class QAudioSource;
class QIODevice;

/// Records the selected audio input into "audio.wav" of a presentation.
///
/// Trouble with the device never blocks a recording: the recorder reports started() and, in words,
/// recordingError(). Every start ends in started() or stopped(), every stop in stopped(), when the
/// file is complete. Lives on one thread, which needs an event loop and never waits for the disk:
/// Qt Multimedia gives the samples to an AudioSaver there.
class AudioRecorder : public QObject
{
    Q_OBJECT
    Q_PROPERTY(AudioRecorder::State state READ state NOTIFY property_stateChanged)

public:
    enum State { Stopped = 0, Started = 1, Stopping = 2, Starting = 3 };
    Q_ENUM(State)

    explicit AudioRecorder(QObject* parent = nullptr);
    /// Finishes the file of a recording under way, if the disk answers.
    ~AudioRecorder() override;

    [[nodiscard]] State state() const { return m_state; }

public slots:
    /// Only a stopped recorder can be started. @p presentation stays with the caller.
    void requestStart(Presentation* presentation);
    void requestStop();
    void start();
    /// Finishes the file and becomes stopped, whatever the state: at once, or when a slow disk has
    /// taken everything.
    void stop();
    void handleAudioInputStateChange(QAudio::State state);

signals:
    void property_stateChanged(AudioRecorder::State state);
    void started();
    void stopped();
    /// While stopping: a slow disk has taken some more of the sound.
    void soundSaved();
    /// Words for the operator. A trouble that lasts is told once.
    void recordingError(const QString& message);

private:
    void setState(State state);
    void becomeStarted();
    void openSource();
    void stopSource();
    void releaseSource();
    void finishFile();
    void fileFinished();
    void checkDisk();
    void checkFlow();
    void reportSilence();
    void reportTrouble(const QString& message);
    [[nodiscard]] bool inputIsConnected() const;

    State m_state = Stopped;
    QPointer<Presentation> m_presentation;
    AudioSaver* m_saver = nullptr; ///< from the start until its file is finished or given up
    QAudioSource* m_source = nullptr; ///< our child, while there is a recording with sound
    QIODevice* m_device = nullptr; ///< what the source writes into, its child
    QAudioFormat m_format;
    AudioInputInfo m_input;
    QTimer m_startTimer;
    QTimer m_flowTimer;
    QTimer m_lastSoundTimer; ///< while stopping: the backend still holds some
    QTimer m_stopTimer;
    QTimer m_diskTimer; ///< runs while the file is being opened or finished
    qint64 m_knownAdded = 0; ///< bytes that had arrived at the last look
    qint64 m_knownWritten = 0; ///< bytes of them that the disk had taken at the last look
    int m_stillChecks = 0; ///< looks in a row that found no more bytes
    bool m_troubleReported = false;
};
