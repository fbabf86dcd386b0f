#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>

class MouseListenerPrivate;
class MouseSaver;
class Presentation;

/// Records every position of the pointer into "mouse_positions.txt" of a presentation and keeps the
/// last one for the preview. Main thread; the file is written on the saver's thread.
///
/// One recording emits stopped() twice, once for the listener and once for the saver: the state is
/// Stopped from the first on, the file is complete with the second. When a new recording begins in
/// between, the second one is not told any more.
class MouseRecorder : public QObject
{
    Q_OBJECT
    Q_PROPERTY(MouseRecorder::State state READ state NOTIFY property_stateChanged)

public:
    enum State { Stopped = 0, Started = 1, Stopping = 2, Starting = 3 };
    Q_ENUM(State)

    explicit MouseRecorder(QObject* parent = nullptr);
    /// Ends a recording under way; waits until the queued positions are written.
    ~MouseRecorder() override;

    /// Positions of the latest recording are still being written; its second stopped() is to come.
    [[nodiscard]] bool isSaving() const { return m_saver != nullptr; }
    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] qint64 positionX() const { return m_positionX; }
    [[nodiscard]] qint64 positionY() const { return m_positionY; }

    void start();
    void stop();
    void checkStop();
    /// Makes now the zero of the position times; nothing when no recording runs or starts.
    void restartMouseTimer();

public slots:
    /// Only a stopped recorder can be started. @p presentation stays with the caller.
    void requestStart(Presentation* presentation);
    /// Nothing unless the state is Started.
    void requestStop();
    void mouseListenerStopped();
    void mouseSaverStopped();

signals:
    void property_stateChanged(MouseRecorder::State state);
    void started();
    void stopped();
    void mousePositionChanged(qint64 time, qint64 x, qint64 y);
    /// One more of them is in the file, or was refused by the disk.
    void positionSaved();
    /// Words for the operator, at most once a recording.
    void recordingError(const QString& message);

private:
    void setState(State state);

    State m_state = Stopped;
    QPointer<Presentation> m_presentation;
    // Our children. Each deletes itself after its stopped(), the saver when its thread has ended.
    MouseListenerPrivate* m_listener = nullptr;
    MouseSaver* m_saver = nullptr;
    QElapsedTimer m_earlyZero; ///< valid when the zero was set before the listener existed
    qint64 m_positionX = 0;
    qint64 m_positionY = 0;
    quint64 m_recording = 0; ///< counts the starts, so that late signals change nothing
};
