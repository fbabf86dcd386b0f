#pragma once

#include "processing/BlockingQueue.h"

#include <QByteArray>
#include <QString>
#include <QThread>

/// Appends snapshots of the screens to "screens_geometry.txt" on a thread of its own, so that the
/// window never waits for the disk. The object lives on the thread that created it; whoever deletes
/// one whose thread may still run goes through WorkerEnd.
class ScreenGeometrySaver : public QThread
{
    Q_OBJECT

public:
    ScreenGeometrySaver(const QString& path, QObject* parent);

    /// Never blocks; ignored once a stop was requested.
    void addSnapshot(const QByteArray& json);
    /// What was added before is still written; the thread ends then.
    void requestStop();

signals:
    /// The first snapshot that could not be written, in words for the operator. Saver's thread.
    void savingFailed(const QString& message);

protected:
    void run() override;

private:
    const QString m_path;
    BlockingQueue<QByteArray> m_queue;
};
