#pragma once

#include <QElapsedTimer>
#include <QJsonObject>
#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QString>

class Presentation;
class ScreenGeometrySaver;
class QRect;
class QScreen;

/// "x", "y", "width", "height".
[[nodiscard]] QJsonObject rectToJson(const QRect& rect);
/// Everything that Qt knows about @p screen, which is number @p index of
/// QGuiApplication::screens().
[[nodiscard]] QJsonObject screenToJson(qint64 index, QScreen* screen);

/// Records the layout of all screens into "screens_geometry.txt" of a presentation: a snapshot when
/// the time base is set and one for every change, compact JSON objects back to back. Main thread.
class ScreenGeometryRecorder : public QObject
{
    Q_OBJECT
    Q_PROPERTY(ScreenGeometryRecorder::State state READ state NOTIFY property_stateChanged)

public:
    enum State { Stopped = 0, Started = 1, Stopping = 2, Starting = 3 };
    Q_ENUM(State)

    explicit ScreenGeometryRecorder(QObject* parent = nullptr);
    /// Waits until the snapshots are written, should a recording run.
    ~ScreenGeometryRecorder() override;

    /// Snapshots of the latest recording are still being written; a second stopped() is to come.
    [[nodiscard]] bool isSaving() const { return m_saver != nullptr; }

    [[nodiscard]] State state() const { return m_state; }

public slots:
    /// Only a stopped recorder can be started. @p presentation stays with the caller.
    void requestStart(Presentation* presentation);
    /// Nothing unless the state is Started.
    void requestStop();
    void start();
    void stop();
    void checkStop();
    /// Appends a snapshot.
    void saveScreenGeometry();
    /// Makes now the zero of the times and takes the first snapshot from the event loop; nothing
    /// when no recording runs or starts.
    void restartRecordingTimer();

signals:
    void property_stateChanged(ScreenGeometryRecorder::State state);
    void started();
    void stopped();
    /// Words for the operator, at most once a recording.
    void recordingError(const QString& message);

private:
    void setState(State state);
    void createSaver();
    /// Has a snapshot taken for every change of @p screen but that of its virtual geometry.
    void connectScreen(QScreen* screen);

    State m_state = Stopped;
    QPointer<Presentation> m_presentation;
    QElapsedTimer m_timer;
    QList<QMetaObject::Connection> m_connections;
    bool m_timerSetWhileStarting = false;
    ScreenGeometrySaver* m_saver = nullptr; ///< child; ends when its snapshots are written
};
