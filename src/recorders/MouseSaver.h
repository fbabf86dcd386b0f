#pragma once

#include "processing/BlockingQueue.h"

#include <QDir>
#include <QString>
#include <QThread>

/// Appends pointer positions to "mouse_positions.txt" on a thread of its own, in the order in which
/// they were added: "time x y" a line, milliseconds and physical pixels.
///
/// The object lives on the thread that created it; all public members may be called from any
/// thread. A stop writes everything that was added before it; so does the destructor, which waits
/// for the disk: whoever deletes a saver whose thread may still run goes through WorkerEnd.
class MouseSaver : public QThread
{
    Q_OBJECT

public:
    explicit MouseSaver(const QDir& presentationDir, QObject* parent = nullptr);
    ~MouseSaver() override;

public slots:
    /// Never blocks on the disk; ignored once a stop was requested.
    void addPosition(qint64 time, qint64 x, qint64 y);
    void requestStop();

signals:
    /// Declared for receivers that expect it, but never emitted: one message for each lost position
    /// would flood the operator. savingFailed() tells it once.
    void mousePositionSavingError(const QString& message);
    void mousePositionSaved(qint64 time, qint64 x, qint64 y);
    /// Everything is written; the thread ends right after. Emitted on the saver's thread.
    void stopped();
    /// The first position that could not be written, in words for the operator; told once.
    void savingFailed(const QString& message);

protected:
    void run() override;

private:
    struct Position
    {
        qint64 time;
        qint64 x;
        qint64 y;
    };

    void savePosition(const Position& position);

    const QDir m_presentationDir;
    BlockingQueue<Position> m_queue;
    bool m_failureReported = false; ///< saver's thread only
};
